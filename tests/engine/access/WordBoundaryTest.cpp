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

TEST(WordBoundary, OtherScriptsHandWorked)
{
    // Letters of scripts beyond Latin-1 are answered inline on their own;
    // marks, format characters and apostrophes beside them still look
    // around them.
    struct Case {
        std::u16string_view text;
        const char* expected;
    } const cases[] = {
        {u"\u039A\u03B1\u03BB\u03B7 \u03BC\u03AD\u03C1\u03B1", "s...es...e"},   // Greek, two words
        {u"\u043C\u0438\u0440, \u0434\u0430!", "s..e.s.e."},                      // Cyrillic with punctuation
        {u"\u0645\u0631\u062D\u0628\u0627 \u0628\u0643", "s....es.e"},            // Arabic
        {u"\u0628\u064E\u0627\u0628 x", "s...ese"},                               // an Arabic vowel mark stays in the word
        {u"\u05E9\u05DC\u05D5\u05DD\u200F \u05D0", "s....ese"},                   // a direction mark after a Hebrew word
        {u"\u0434\u200D\u0430", "s..e"},                                          // a joiner between letters joins
        {u"\u0434\u2019\u0430 \u0434\u2019", "s..ese."},                          // typographic apostrophe, inside and at the end
        {u"\u0939\u093F\u0902\u0926\u0940", "s....e"},                            // Devanagari with vowel signs
        {u"\u2022\u0434\u2013\u0430", ".sese"},                                   // a bullet and a dash split
        {u"\u65E5\u0434\u0430\u3002", "sb.be"},                                   // ideograph, Cyrillic word, ideographic full stop
        {u"\u0301\u0434", "s.e"},                                                 // a mark with nothing before it is a letter
        {u"1\u00A0\u0662\u0663", "ses.e"},                                       // Arabic-Indic digits are a word too
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.expected));
        EXPECT_EQ(marks(c.text, true), c.expected);
        EXPECT_EQ(marks(c.text, false), c.expected);
    }
}

TEST(WordBoundary, InlineAnswersMatchTheFullClassificationOverMixedText)
{
    // Many texts drawn from units of every kind the inline paths tell apart
    // and every kind they hand on, compared at every position with the full
    // classification. The generator is fixed, so a failure repeats.
    static const char16_t pool[] = {
        u'a',   u'Z',   u'7',   u' ',   u'.',   u'-',   u'\'',  0x00AD, 0x00A0, 0x00E9, 0x0007, u'\t',
        0x0100, 0x0391, 0x03B1, 0x0414, 0x0430, 0x05D0, 0x05B7, 0x0627, 0x0628, 0x064E, 0x0640, 0x0662,
        0x0915, 0x093F, 0x0E01, 0x0E31, 0x200B, 0x200C, 0x200D, 0x200F, 0x2019, 0x2013, 0x2022, 0x3000,
        0x3002, 0x3042, 0x65E5, 0xAC00, 0xFF21, 0xFE0F, 0xD83D, 0xDE00, 0xD840, 0xDC00, 0x0301, 0xE000,
    };
    constexpr size_t poolSize = sizeof pool / sizeof pool[0];
    uint32_t state = 12345;
    auto next = [&] {
        state = state * 1103515245u + 12345u;
        return (state >> 16) % poolSize;
    };
    for (int round = 0; round < 3000; ++round) {
        std::u16string text;
        const size_t length = 1 + round % 12;
        for (size_t k = 0; k < length; ++k)
            text.push_back(pool[next()]);
        ASSERT_EQ(marks(text, true), marks(text, false)) << "round " << round;
    }
}
