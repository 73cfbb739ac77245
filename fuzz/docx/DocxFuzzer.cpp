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
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    // Inputs of odd length are read with the text of metafile pictures too.
    options.pictureText = size % 2 == 1;
    qm::engine::ReadResult r = qm::engine::readDocx(bytes, options);
    if (r.ok() && r.document->stories.empty())
        __builtin_trap(); // the builder always leaves the main story
    if (r.ok() && options.pictureText) {
        const qm::engine::Document& doc = *r.document;
        for (const auto& o : doc.objects)
            if (o.picture >= static_cast<int32_t>(doc.pictures.size()))
                __builtin_trap();
        for (const auto& p : doc.pictures)
            for (const auto& t : p.texts)
                if (t.charFormat >= doc.charFormats.size() || t.text.empty())
                    __builtin_trap();
        // Pictures' text never changes the text that is counted.
        options.pictureText = false;
        const qm::engine::ReadResult counted = qm::engine::readDocx(bytes, options);
        if (!counted.ok() || counted.document->mainStory().text != doc.mainStory().text)
            __builtin_trap();
    }
    return 0;
}
