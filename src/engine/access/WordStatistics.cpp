// Word's Word Count figures over the model's character stream.
#include "engine/access/WordStatistics.h"

#include "engine/access/ScriptRules.h"

#include <algorithm>
#include <array>

namespace qm::engine {

namespace {

enum class CharClass { Ignored, Space, Visible, EastAsian, Attached, Mark };

// Marks that Word's Word Count neither shows nor counts: paragraph, cell and
// row ends, breaks, anchors of floating objects and optional hyphens (which
// print only at a line end). Everything else takes its class from
// ScriptRules: one code point is one character.
constexpr CharClass classify(char32_t c)
{
    switch (c) {
    case Ch::Tab: return CharClass::Space;
    case Ch::NonBreakingHyphen:
    case Ch::NoteReference: // shows as the note's number
        return CharClass::Visible;
    default:
        break;
    }
    switch (scriptClass(c)) {
    case ScriptClass::Control: return CharClass::Ignored;
    case ScriptClass::Space: return CharClass::Space;
    case ScriptClass::EastAsian: return CharClass::EastAsian;
    case ScriptClass::Invisible: return CharClass::Attached;
    case ScriptClass::Mark: return CharClass::Mark;
    case ScriptClass::Letter:
    case ScriptClass::Symbol: return CharClass::Visible;
    }
    return CharClass::Visible;
}

constexpr std::array<CharClass, 256> latin1Table()
{
    std::array<CharClass, 256> t{};
    for (char32_t c = 0; c < 256; ++c)
        t[c] = classify(c);
    return t;
}

// The classes of ASCII and Latin-1, worked out once: Latin text takes one
// look-up per character.
constexpr std::array<CharClass, 256> Latin1 = latin1Table();

CharClass classOf(char32_t c) { return c < 256 ? Latin1[c] : classify(c); }

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
    // Where the last character left the word count: outside a word, inside a
    // run of non-Asian characters, or just after an East Asian character.
    enum class Open { None, NonAsian, EastAsian } open = Open::None;
    bool paragraphHasText = false;
    int64_t marks = 0;
    // A range that starts between the halves of a surrogate pair starts after it.
    uint32_t i = from;
    if (i < to && isInsidePair(s.text, i))
        ++i;
    const char16_t* text = s.text.data();
    for (uint32_t units = 1; i < to; i += units) {
        // Latin-1 letters, digits, punctuation and spaces, most of any
        // text, in a loop of their own: none of them is a mark that ends a
        // paragraph or counts apart, and each is visible or a space.
        // Letters and spaces alternate too irregularly for a branch on each
        // to be guessed: the counts are added without one.
        // Letters, symbols and spaces of the rest of the Basic Multilingual
        // Plane (Greek, Cyrillic, Arabic...) count the same way, their class
        // read from the table of its blocks; surrogates, marks, format
        // characters and East Asian characters go the long way below.
        for (; i < to; ++i) {
            const char16_t c = text[i];
            CharClass k;
            if (c < 256) {
                if (c <= Ch::ColumnBreak)
                    break;
                k = Latin1[c];
            } else if (c < 0xD800 || c > 0xDFFF) {
                const ScriptClass script = scriptClass(c);
                k = script == ScriptClass::Letter || script == ScriptClass::Symbol ? CharClass::Visible
                    : script == ScriptClass::Space                                 ? CharClass::Space
                                                                                   : CharClass::Mark;
            } else {
                break;
            }
            if (k != CharClass::Visible && k != CharClass::Space)
                break;
            const bool visible = k == CharClass::Visible;
            stats.characters += visible ? 1 : 0;
            ++stats.charactersWithSpaces;
            stats.nonAsianWords += (visible && open != Open::NonAsian) ? 1 : 0;
            open = visible ? Open::NonAsian : Open::None;
            paragraphHasText = paragraphHasText || visible;
        }
        if (i >= to)
            break;
        const char16_t unit = s.text[i];
        char32_t c = unit;
        units = 1;
        if (unit >= 0xD800) {
            const CodePoint cp = codePointAt(std::u16string_view(s.text).substr(0, to), i);
            c = cp.value;
            units = cp.units;
        }
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
        CharClass k = classOf(c);
        // A combining mark belongs to an East Asian character before it (a
        // voiced-sound mark on kana); elsewhere it shows as a letter does.
        if (k == CharClass::Mark)
            k = open == Open::EastAsian ? CharClass::Attached : CharClass::Visible;
        switch (k) {
        case CharClass::Mark:
        case CharClass::Visible:
            ++stats.characters;
            ++stats.charactersWithSpaces;
            if (open != Open::NonAsian)
                ++stats.nonAsianWords;
            open = Open::NonAsian;
            paragraphHasText = true;
            break;
        case CharClass::EastAsian:
            ++stats.characters;
            ++stats.charactersWithSpaces;
            ++stats.asianCharacters;
            open = Open::EastAsian;
            paragraphHasText = true;
            break;
        case CharClass::Attached:
            // Counted, but neither a word of its own nor a split between two:
            // it belongs to whatever it follows.
            ++stats.characters;
            ++stats.charactersWithSpaces;
            paragraphHasText = true;
            break;
        case CharClass::Space:
            ++stats.charactersWithSpaces;
            open = Open::None;
            break;
        case CharClass::Ignored:
            if (c != Ch::OptionalHyphen && c != Ch::Anchor)
                open = Open::None;
            break;
        }
        if (doc.endsParagraph(story, i + units - 1)) {
            if (paragraphHasText)
                ++stats.paragraphs;
            paragraphHasText = false;
        }
    }
    if (marks > 0)
        stats.charactersWithSpaces += marks - 1;
    stats.words = stats.asianCharacters + stats.nonAsianWords;
    return stats;
}

} // namespace qm::engine
