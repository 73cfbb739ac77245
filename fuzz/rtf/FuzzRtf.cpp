// libFuzzer target: any bytes through the RTF reader, with small limits and the model's invariants checked.
#include "engine/formats/Reader.h"

#include <cstddef>
#include <cstdint>

namespace {

// A broken invariant is a reader bug: stop so the fuzzer keeps the input.
void check(bool condition)
{
    if (!condition)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    using namespace qm::engine;
    ReadOptions options;
    options.limits.maxStoryChars = 1 << 16;
    options.limits.maxTotalChars = 1 << 17;
    options.limits.maxNestingDepth = 64;
    options.limits.maxTableDepth = 8;
    options.limits.maxStories = 64;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    // Inputs of odd length are read with the text of metafile pictures too.
    options.pictureText = size % 2 == 1;
    ReadResult r = readRtf(bytes, options);
    if (!r.ok())
        return 0;
    const Document& doc = *r.document;
    if (options.pictureText) {
        // Pictures' text never changes the text that is counted.
        ReadOptions plain = options;
        plain.pictureText = false;
        const ReadResult counted = readRtf(bytes, plain);
        check(counted.ok() && counted.document->mainStory().text == doc.mainStory().text &&
              counted.document->stories.size() == doc.stories.size());
        for (const InlineObject& o : doc.objects)
            check(o.picture < static_cast<int32_t>(doc.pictures.size()));
        for (const Picture& p : doc.pictures)
            for (const PictureText& t : p.texts)
                check(t.charFormat < doc.charFormats.size() && !t.text.empty());
    }
    for (const Story& s : doc.stories) {
        check(!s.text.empty() && s.text.back() == Ch::ParagraphMark);
        check(s.attrs.size() == s.text.size());
        for (const CharAttr& a : s.attrs) {
            check(a.charFormat < doc.charFormats.size() && a.paraFormat < doc.paraFormats.size());
            const CharFormat& f = doc.charFormats[a.charFormat];
            check(f.objectIndex < static_cast<int32_t>(doc.objects.size()));
            check(f.noteIndex < static_cast<int32_t>(doc.notes.size()));
        }
    }
    check(!doc.sections.empty() && doc.sections.back().end == doc.mainStory().size());
    for (const Note& n : doc.notes)
        check(n.story >= 0 && static_cast<size_t>(n.story) < doc.stories.size() && n.start <= n.end &&
              n.end <= doc.stories[n.story].size());
    (void)findTables(doc, 0, 0, doc.mainStory().size());
    return 0;
}
