// Word's Word Count figures over the model's character stream.
#include "engine/access/WordStatistics.h"

#include <algorithm>

namespace qm::engine {

namespace {

enum class CharClass { Ignored, Space, Visible };

// Marks that Word's Word Count neither shows nor counts: paragraph, cell and
// row ends, breaks, anchors of floating objects and optional hyphens (which
// print only at a line end).
CharClass classify(char16_t c)
{
    switch (c) {
    case Ch::ParagraphMark:
    case Ch::CellEnd:
    case Ch::LineBreak:
    case Ch::PageBreak:
    case Ch::ColumnBreak:
    case Ch::Anchor:
    case Ch::OptionalHyphen:
    case Ch::Object:
        return CharClass::Ignored;
    case Ch::Space:
    case Ch::Tab:
    case Ch::NoBreakSpace:
    case 0x3000: // ideographic space
        return CharClass::Space;
    case Ch::NonBreakingHyphen:
    case Ch::NoteReference: // shows as the note's number
        return CharClass::Visible;
    default:
        break;
    }
    if (c >= 0x2000 && c <= 0x200A) // en, em, thin and the other typographic spaces
        return CharClass::Space;
    if (c < 32)
        return CharClass::Ignored;
    if (c >= 0xDC00 && c <= 0xDFFF) // second half of a surrogate pair: one character
        return CharClass::Ignored;
    return CharClass::Visible;
}

} // namespace

// Hidden text counts: Word's figures include it whether or not it is shown.
// Characters with spaces also count every mark that ends a paragraph, cell,
// row, page or section except the story's last one, and each picture and
// floating-object anchor: that is how Word's own figure comes out on real
// documents, where the visible characters and spaces alone fall short by
// exactly those marks.
WordStatistics computeWordStatistics(const Document& doc, size_t story, uint32_t from, uint32_t to)
{
    WordStatistics stats;
    if (story >= doc.stories.size())
        return stats;
    const Story& s = doc.stories[story];
    to = std::min(to, s.size());
    bool inWord = false;
    bool paragraphHasText = false;
    int64_t marks = 0;
    for (uint32_t i = from; i < to; ++i) {
        const char16_t c = s.text[i];
        switch (c) {
        case Ch::ParagraphMark:
        case Ch::CellEnd:
        case Ch::PageBreak:
        case Ch::ColumnBreak:
            ++marks;
            break;
        case Ch::Object:
        case Ch::Anchor:
            ++stats.charactersWithSpaces;
            break;
        default:
            break;
        }
        switch (classify(c)) {
        case CharClass::Visible:
            ++stats.characters;
            ++stats.charactersWithSpaces;
            if (!inWord)
                ++stats.words;
            inWord = true;
            paragraphHasText = true;
            break;
        case CharClass::Space:
            ++stats.charactersWithSpaces;
            inWord = false;
            break;
        case CharClass::Ignored:
            if (c != Ch::OptionalHyphen && c != Ch::Anchor)
                inWord = false;
            break;
        }
        if (doc.endsParagraph(story, i)) {
            if (paragraphHasText)
                ++stats.paragraphs;
            paragraphHasText = false;
        }
    }
    if (marks > 0)
        stats.charactersWithSpaces += marks - 1;
    return stats;
}

} // namespace qm::engine
