// Fuzz target: the Word 97-2003 reader must turn any bytes into a document or a clear error.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qm::engine::ReadOptions options;
    // Small caps keep each input quick while still reaching every limit.
    options.limits.maxStoryChars = 1 << 20;
    options.limits.maxTotalChars = 1 << 21;
    const auto result = qm::engine::readDoc(std::string_view(reinterpret_cast<const char*>(data), size), options);
    if (!result.ok() && result.error.empty())
        __builtin_trap(); // a refusal must say why
    return 0;
}
