// libFuzzer entry: any bytes through the HTML reader must give a document or an error.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qm::engine::ReadOptions options;
    options.limits.maxStoryChars = 1u << 20;
    options.limits.maxTotalChars = 4u << 20;
    options.limits.maxNestingDepth = 64;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    qm::engine::ReadResult r = qm::engine::readHtml(bytes, options);
    if (r.ok() && r.document->stories.empty())
        __builtin_trap(); // the builder always leaves the main story
    return 0;
}
