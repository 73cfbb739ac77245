// Word Count figures on documents built here.
#include "engine/access/WordStatistics.h"

#include "TestDocuments.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::testing;

TEST(WordStatistics, CountsLikeWordCount)
{
    struct Case {
        std::u16string_view text;
        int64_t characters, withSpaces, words;
    } cases[] = {
        {u"", 0, 0, 0},
        {u"Hello world", 10, 11, 2},
        {u"  two   spaces  ", 9, 16, 2},
        {u"06/30/2003 well-known", 20, 21, 2},
        {u"tab\tseparated", 12, 13, 2},
        {u"no\u00A0break", 7, 8, 2},
        {u"line\u000Bbreak", 9, 9, 2},
        {u"soft\u001Fhyphen", 10, 10, 1},
        {u"hard\u001Ehyphen", 11, 11, 1},
        // Latin-1 letters, then a combining accent, an ideograph (a word of
        // its own) and a Latin letter after it (a new word).
        {u"na\u00EFve caf\u00E9", 9, 10, 2},
        {u"e\u0301t\u00E9\u65E5x", 6, 6, 3},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        auto doc = makeDocument(c.text);
        const WordStatistics s = computeWordStatistics(*doc);
        EXPECT_EQ(s.characters, c.characters);
        EXPECT_EQ(s.charactersWithSpaces, c.withSpaces);
        EXPECT_EQ(s.words, c.words);
    }
}

TEST(WordStatistics, HiddenTextCountsAndMarksButTheLastCountAsSpaces)
{
    DocumentBuilder b("txt");
    // A picture and a line break in the third paragraph.
    appendRuns(b, {{u"one"}, {u" secret", CharFormat{.hidden = true}}, {u"\r\ra\u0001b\u000Bc\r"}});
    appendRow(b, {u"cell"});
    appendRuns(b, {{u"two\r"}});
    auto doc = b.finish(SectionFormat{}, HeaderFooterRefs{});
    const WordStatistics s = computeWordStatistics(*doc);
    EXPECT_EQ(s.words, 7);       // one secret a b c cell two: a picture and a break both end a word
    EXPECT_EQ(s.characters, 19); // hidden "secret" included
    // 19, one space, the picture, and the marks less the story's last: four
    // paragraph marks and a cell and a row end make 5.
    EXPECT_EQ(s.charactersWithSpaces, 26);
    EXPECT_EQ(s.paragraphs, 4);
}

TEST(WordStatistics, RangeOfAStory)
{
    auto doc = makeDocument(u"alpha beta\rgamma\r");
    EXPECT_EQ(computeWordStatistics(*doc, 0, 6, 10).words, 1);
    EXPECT_EQ(computeWordStatistics(*doc, 0, 0, 5).characters, 5);
    EXPECT_EQ(computeWordStatistics(*doc, 9, 0).words, 0); // no such story
}

// Word's rules for every script, by category; figures worked out by hand:
// each East Asian character is a word and an Asian character, a run of other
// non-space characters is one non-Asian word, every code point but a space or
// one of Word's marks is a character.
TEST(WordStatistics, EveryScriptCountsAsWordCounts)
{
    struct Case {
        const char* category;
        std::u16string_view text;
        int64_t characters, withSpaces, words, asian, nonAsian;
    } cases[] = {
        {"east asian", u"\u3053\u3093\u306B\u3061\u306F", 5, 5, 5, 5, 0}, // こんにちは
        {"east asian", u"\u65E5\u672C\u8A9E\u3068English\u306E\u6DF7\u5728", 14, 14, 8, 7, 1},
        {"east asian", u"\u6771\u4EAC\u30012024\u5E74\u3002", 9, 9, 6, 5, 1},          // 東京、2024年。
        {"east asian", u"\uFF21\uFF22\uFF23\uFF11\uFF12\uFF13", 6, 6, 6, 6, 0},        // full-width letters, digits
        {"east asian", u"\u65E5\u672C\u3000\u8A9E", 3, 4, 3, 3, 0},                    // ideographic space
        {"east asian", u"\uC548\uB155\uD558\uC138\uC694 \uC138\uACC4", 7, 8, 7, 7, 0}, // Hangul
        {"east asian", u"\uFF76\uFF80\uFF76\uFF85", 4, 4, 4, 4, 0},                    // half-width katakana
        {"east asian", u"\U00020B9F\u2E80\uF900\uFE35", 4, 4, 4, 4, 0}, // ext. B, radical, compatibility, vertical form
        {"east asian", u"\u304B\u3099", 2, 2, 1, 1, 0},                 // kana and a combining voiced mark
        {"emoji", u"ok \U0001F600", 3, 4, 2, 0, 2},
        {"emoji", u"\U0001F468\u200D\U0001F469\u200D\U0001F467", 5, 5, 1, 0, 1}, // a family: 3 emoji, 2 joiners
        {"emoji", u"\U0001F44D\U0001F3FD \U0001F1EF\U0001F1F5", 4, 5, 2, 0, 2},  // skin tone; a flag
        {"emoji", u"1\uFE0F\u20E3", 3, 3, 1, 0, 1},                              // keycap
        {"emoji", u"\u65E5\U0001F600\u672C", 3, 3, 3, 2, 1},
        {"invisible", u"a\u200Bb a\u2060b co\u00ADop", 11, 13, 3, 0, 3},
        {"invisible", u"a \u200B b", 3, 5, 2, 0, 2},               // begins no word
        {"invisible", u"\uFEFFHello \u845B\uFE00", 8, 9, 2, 1, 1}, // BOM; a variation selector
        {"spaces", u"a\u2028b\u2029c 1\u202F000 x\u00A0y", 9, 15, 7, 0, 7},
        {"spaces", u"a\u2003b\u3000c", 3, 5, 3, 0, 3},
        {"no spaces",
         u"\u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35\u0E04\u0E23\u0E31\u0E1A \u0E02\u0E2D\u0E1A\u0E04\u0E38\u0E13", 16, 17,
         2, 0, 2},                                                       // Thai
        {"no spaces", u"\u1781\u17D2\u1798\u17C2\u179A", 5, 5, 1, 0, 1}, // Khmer
        {"right to left", u"\u0645\u0631\u062D\u0628\u0627 \u0628\u0627\u0644\u0639\u0627\u0644\u0645", 12, 13, 2, 0,
         2},
        {"right to left", u"\u05E9\u05DC\u05D5\u05DD\u200F \u05E2\u05D5\u05DC\u05DD", 9, 10, 2, 0, 2},
        {"complex", u"\u0928\u092E\u0938\u094D\u0924\u0947 \u0926\u0941\u0928\u093F\u092F\u093E", 12, 13, 2, 0,
         2}, // Devanagari
        // Letters, symbols and spaces beyond Latin-1 take a short way of
        // their own; marks and East Asian characters among them the long one.
        {"mixed", u"\u0414\u0430 \u65E5\u0301x", 5, 6, 3, 1, 2},        // a mark on an ideograph, then Latin
        {"mixed", u"\u0430\u0301\u0431 \u2013 \u03B1", 5, 7, 3, 0, 3}, // a mark inside a word; a dash is a word
        {"mixed", u"\u0394\u2003\u0394\uFEFF\u0394", 4, 5, 2, 0, 2},   // an em space splits, a BOM does not
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.category) + ": " + utf8(c.text));
        auto doc = makeDocument(c.text);
        const WordStatistics s = computeWordStatistics(*doc);
        EXPECT_EQ(s.characters, c.characters);
        EXPECT_EQ(s.charactersWithSpaces, c.withSpaces);
        EXPECT_EQ(s.words, c.words);
        EXPECT_EQ(s.asianCharacters, c.asian);
        EXPECT_EQ(s.nonAsianWords, c.nonAsian);
    }
}
