// libFuzzer entry: any bytes through the Word 2003 XML and Flat OPC readers must give a document or an error.
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
    // The first byte chooses the reader, so one corpus serves both.
    qm::engine::ReadResult r = size > 0 && data[0] == '<' && size > 1 && data[1] == 'p'
                                   ? qm::engine::readFlatOpc(bytes.substr(1), options)
                                   : qm::engine::readWordMl(bytes, options);
    if (r.ok() && r.document->stories.empty())
        __builtin_trap(); // the builder always leaves the main story
    return 0;
}
