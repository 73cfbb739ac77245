// libFuzzer entry: any bytes through the OpenDocument readers, packaged and flat.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qm::engine::ReadOptions options;
    options.limits.maxEntryBytes = 4u << 20;
    options.limits.maxUncompressedBytes = 16u << 20;
    options.limits.maxStoryChars = 1u << 20;
    options.limits.maxTotalChars = 4u << 20;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    // A zip goes to the package reader, anything else to the flat one.
    qm::engine::ReadResult r = bytes.starts_with("PK") ? qm::engine::readOdt(bytes, options)
                                                       : qm::engine::readFlatOdt(bytes, options);
    if (r.ok() && r.document->stories.empty())
        __builtin_trap();
    return 0;
}
