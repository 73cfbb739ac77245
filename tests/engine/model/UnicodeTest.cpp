// Text conversions: malformed input never throws and never loses the rest.
#include "engine/model/Unicode.h"

#include <gtest/gtest.h>

using namespace qm::engine;

TEST(Unicode, Utf8RoundTripsAndMalformedBytesBecomeReplacementCharacters)
{
    std::string text = "caf\xC3\xA9 \xF0\x9F\x98\x80";
    EXPECT_TRUE(isValidUtf8(text));
    std::u16string wide = utf8ToUtf16(text);
    EXPECT_EQ(wide.size(), 7u); // the emoji is a surrogate pair
    EXPECT_EQ(utf16ToUtf8(wide), text);
    for (std::string bad : {"\xC3", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80", "\xFF"}) {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(isValidUtf8(bad));
        EXPECT_EQ(utf8ToUtf16(bad + "z").back(), u'z');
        EXPECT_EQ(utf8ToUtf16(bad).front(), u'\uFFFD');
    }
}

// Each sequence gives its units: ASCII one a byte, a character outside the
// Basic Multilingual Plane a surrogate pair, and each byte that starts no
// valid sequence (a stray byte, a cut-off or over-long one, an encoded
// surrogate) one replacement character.
TEST(Unicode, Utf8ToUtf16GivesEachSequenceItsUnits)
{
    struct Case {
        std::string_view utf8;
        std::u16string_view utf16;
    } cases[] = {
        {"", u""},
        {"plain ASCII text", u"plain ASCII text"},
        {"a\xC3\xA9", u"a\u00E9"},
        {"\xE2\x82\xAC!", u"\u20AC!"},
        {"\xF0\x9F\x98\x80x", u"\U0001F600x"},
        {"x\xFFy", u"x\uFFFDy"},
        {"ab\xE2\x82", u"ab\uFFFD\uFFFD"},
        {"\xED\xA0\x80z", u"\uFFFD\uFFFD\uFFFDz"},
        {"\xC0\xAF", u"\uFFFD\uFFFD"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.utf8));
        EXPECT_EQ(utf8ToUtf16(c.utf8), c.utf16);
    }
}

TEST(Unicode, WindowsCodePages)
{
    EXPECT_EQ(cp1252ToUnicode(0x80), u'\u20AC');
    EXPECT_EQ(cp1252ToUnicode(0xE9), u'\u00E9');
    EXPECT_EQ(codePageToUnicode(1251, 0xC0), u'\u0410'); // Cyrillic A
    EXPECT_EQ(codePageToUnicode(1250, 0x8A), u'\u0160');
    EXPECT_EQ(decodeCodePage(932, "\x82\xA0"), u"\u3042"); // Hiragana A in Shift-JIS
}
