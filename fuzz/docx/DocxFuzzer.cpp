// libFuzzer entry: any bytes through the Word package reader must give a document or an error.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qm::engine::ReadOptions options;
    // Small caps keep each run fast; the caps themselves are what is tested.
    options.limits.maxEntryBytes = 4u << 20;
    options.limits.maxUncompressedBytes = 16u << 20;
    options.limits.maxStoryChars = 1u << 20;
    options.limits.maxTotalChars = 4u << 20;
    qm::engine::ReadResult r = qm::engine::readDocx(
        std::string_view(reinterpret_cast<const char*>(data), size), options);
    if (r.ok() && r.document->stories.empty())
        __builtin_trap(); // the builder always leaves the main story
    return 0;
}
