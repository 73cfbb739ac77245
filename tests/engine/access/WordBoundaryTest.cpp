// Word boundaries: the inline answer for plain Latin text must be the one the
// full classification gives, and both must match hand-worked boundaries.
#include "engine/access/WordCharacters.h"

#include <gtest/gtest.h>

using namespace qm::engine;

namespace {

// The boundaries of a text as a string of the same length plus one: 's' where
// a word starts, 'e' where one ends, 'b' for both, '.' for neither.
std::string marks(std::u16string_view text, bool inlinePath)
{
    std::string out;
    for (size_t pos = 0; pos <= text.size(); ++pos) {
        const bool start = inlinePath ? isWordStart(text, pos) : detail::isWordStartBeyondLatin(text, pos);
        const bool end = pos > 0 && (inlinePath ? isWordEnd(text, pos) : detail::isWordEndBeyondLatin(text, pos));
        out += start && end ? 'b' : start ? 's' : end ? 'e' : '.';
    }
    return out;
}

} // namespace

TEST(WordBoundary, HandWorkedBoundaries)
{
    struct Case {
        std::u16string_view text;
        const char* expected;
    } const cases[] = {
        {u"ab cd", "s.es.e"},
        {u"don't stop", "s....es...e"},        // an apostrophe between letters joins
        {u"'quoted'", ".s.....e."},             // at the edges it does not
        {u"well-known", "s...es....e"},         // a hyphen splits
        {u"na\u00EFve caf\u00E9", "s....es...e"}, // Latin-1 letters
        {u"x\u00ADy", "s..e"},                  // a soft hyphen belongs to the word
        {u"a\u2019b c", "s..ese"},              // a typographic apostrophe joins
        {u"\u65E5\u672Cx", "sbbe"},             // each ideograph a word, then a Latin word
        {u"caf\u00E9\u0301 ok", "s....es.e"},   // a combining mark stays in the word
        {u"\u0414\u0430 no", "s.es.e"},         // Cyrillic letters, then Latin
        {u"", "."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.expected));
        EXPECT_EQ(marks(c.text, true), c.expected);
    }
}

TEST(WordBoundary, InlineLatinAnswersMatchTheFullClassification)
{
    // Every position of texts mixing plain Latin with the characters the
    // inline path hands on (apostrophes, soft hyphens, Latin beyond Latin-1,
    // marks, ideographs, surrogate pairs).
    static const char16_t loneSurrogate[] = {u'a', 0xD800, u'x', u' ', 0xDC00, u'b', 0};
    const std::u16string_view texts[] = {
        u"The quick brown fox, 1999-2003; it's \u00A0done.",
        u"l'\u00E9t\u00E9 \u2019tis o'clock'",
        u"co\u00ADop e\u0301t\u00E9 \u0100bc",
        u"ab\u65E5cd \u3042\u3044 x\u200By",
        u"\U0001F600a\U00020000b",
        loneSurrogate,
        u"\t\x0B\r\x1E\x1F-\x07",
    };
    for (std::u16string_view t : texts)
        EXPECT_EQ(marks(t, true), marks(t, false));
}
