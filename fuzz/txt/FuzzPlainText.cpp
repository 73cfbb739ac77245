// libFuzzer target: any bytes through the plain-text reader, with small limits.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    qm::engine::ReadOptions options;
    options.limits.maxStoryChars = 1 << 16;
    options.limits.maxTotalChars = 1 << 17;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    qm::engine::ReadResult r = qm::engine::readPlainText(bytes, options);
    if (r.ok() && r.document->mainStory().text.empty())
        __builtin_trap(); // every story ends with a paragraph mark
    return 0;
}
