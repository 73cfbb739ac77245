// Word 6 and Word 95 documents: the older header, 8-bit text in the
// document's code page and one-byte property modifiers.
#include "engine/formats/doc/Word6.h"

#include "../support/Describe.h"
#include "DocFixture.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine::doc::test {
namespace {

using engine::test::describe;

// A Word 6 document stream as Word 6 saves it in full: the 0x200-byte
// header, the 8-bit text from fcMin, the character-run index (two-byte page
// numbers) at 0x300 and one property page at 0x400 whose middle run sets
// the one-byte modifier 85 (bold) on; every paragraph is centred.
std::string word6Stream(std::string_view text, uint16_t lid, uint16_t nFib = 101)
{
    std::string wd(0x800, '\0');
    set16(wd, 0, 0xA5DC);
    set16(wd, 2, nFib);
    set16(wd, 6, lid);
    const auto n = static_cast<uint32_t>(text.size());
    set32(wd, 0x18, 0x200);
    set32(wd, 0x1C, 0x200 + n);
    set32(wd, 0x34, n);
    wd.replace(0x200, n, text);
    // The index: one page covering all the text, page number 2 (0x400).
    set32(wd, 0x300, 0x200), set32(wd, 0x304, 0x200 + n), set16(wd, 0x308, 2);
    set32(wd, 0xB8, 0x300), set32(wd, 0xBC, 10);
    // The page: runs [0,6) plain, [6,10) bold, [10,n) plain.
    const size_t page = 0x400;
    const uint32_t fcs[] = {0x200, 0x206, 0x20A, 0x200 + n};
    for (size_t i = 0; i < 4; ++i)
        set32(wd, page + 4 * i, fcs[i]);
    wd[page + 16 + 1] = static_cast<char>(0xF0); // the second run's properties at 2 * 0xF0
    wd[page + 0x1E0] = 2, wd[page + 0x1E1] = 85, wd[page + 0x1E2] = 1;
    wd[page + 511] = 3;
    // The paragraph index at 0x320 and its page at 0x600: one run over all
    // the text, its properties two words after the count byte (style 0, then
    // modifier 5, justification, 1: centred).
    set32(wd, 0x320, 0x200), set32(wd, 0x324, 0x200 + n), set16(wd, 0x328, 3);
    set32(wd, 0xC0, 0x320), set32(wd, 0xC4, 10);
    set32(wd, 0x600, 0x200), set32(wd, 0x604, 0x200 + n);
    wd[0x600 + 8] = static_cast<char>(0xF0);
    wd[0x600 + 0x1E0] = 2, wd[0x600 + 0x1E3] = 5, wd[0x600 + 0x1E4] = 1;
    wd[0x600 + 511] = 1;
    return wd;
}

// Before, every Word 6/95 file was refused. Its text is now read with its
// formatting, and counted as the same text saved by Word 97 would be.
TEST(Word6, ReadsTextAndOneByteModifiers)
{
    const std::string file = buildCompoundFile({{u"WordDocument", word6Stream("Hello bold\rSecond\r", 0x0409)}});
    const ReadResult r = readDocumentBytes(file, "doc");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b al"), "Hello {b|bold}¶[center]Second¶[center]");
    const WordStatistics stats = computeWordStatistics(*r.document);
    EXPECT_EQ(stats.words, 3);
    EXPECT_EQ(stats.characters, 15);
}

// 8-bit text is in the code page of the document's language: the same
// bytes are Cyrillic in a Russian document and Latin in an English one.
// Word 6 for the Macintosh says so in the header's character set (256 at
// 0x14), and its text is in the Mac page of the language's script.
TEST(Word6, TextIsDecodedInTheDocumentsCodePage)
{
    struct Case {
        uint16_t lid;
        const char* expected;
        uint16_t chse = 0;
    } cases[] = {
        {0x0409, "Hello \u00CF\u00F0\u00E8¶"},      // English: Windows-1252
        {0x0419, "Hello \u041F\u0440\u0438¶"},      // Russian: Windows-1251
        {0x0405, "Hello \u010E\u0111\u010D¶"},      // Czech: Windows-1250
        {0x040C, "Hello \u0153\uF8FF\u00CB¶", 256}, // French on a Mac: Mac Roman
        {0x0419, "Hello \u0455\u0440\u0438¶", 256}, // Russian on a Mac: Mac Cyrillic
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.lid);
        std::string wd = word6Stream("Hello \xCF\xF0\xE8\r", c.lid, 104);
        set16(wd, 0x14, c.chse);
        const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, ""), c.expected);
    }
}

// Word 6 names the text's page in its fonts' character sets: a Russian
// document written on an English system says so only there (204, Cyrillic).
TEST(Word6, FontCharacterSetGivesTheCodePage)
{
    std::string wd = word6Stream("Hello \xCF\xF0\xE8\r", 0x0409);
    // The font table at 0x500: its size, then one font of 10 bytes less one.
    const std::string font = std::string("\x09\x00\x90\x01\xCC\x00"
                                         "Ar\0",
                                         9);
    wd.replace(0x500, 2 + font.size(), std::string("\x0B\x00", 2) + font);
    set32(wd, 0xD0, 0x500), set32(wd, 0xD4, 11);
    const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, ""), "Hello \u041F\u0440\u0438¶");
}

// Word 6 and Word 95 for the Far East keep a character in one byte or two
// in the document's double-byte page, a position for each byte: a lead byte
// and its trail are one character over two positions, so runs, paragraph
// marks and story lengths count bytes. Read a byte at a time in Windows-1252
// the text was Latin letters; now each pair is its character and the bold
// run over bytes [6, 10) covers exactly two of them. The trail byte of 表
// is 0x5C, a backslash alone, and the ideographic space is 0x81 0x40.
TEST(Word6, EastAsianTextIsReadAPairOfBytesACharacter)
{
    struct Case {
        const char* name;
        uint16_t lid;
        std::string text;
        const char* expected;
    } cases[] = {
        {"Japanese, Shift-JIS", 0x0411,
         "Hello \x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x95\x5C\x82\xC5\x82\xB7\x81\x42\r\xB1\xB2\x81\x40\x8A\xBF\x8E\x9A\r",
         "Hello {b|日本}語の表です。¶[center]ｱｲ　漢字¶[center]"},
        {"Simplified Chinese, GBK", 0x0804, "Hello \xD6\xD0\xCE\xC4\xCE\xC4\xB5\xB5\xA1\xA3\r",
         "Hello {b|中文}文档。¶[center]"},
        {"Korean, Unified Hangul", 0x0412, "Hello \xC7\xD1\xB1\xB9\xBE\xEE \xB9\xAE\xBC\xAD\r",
         "Hello {b|한국}어 문서¶[center]"},
        {"Traditional Chinese, Big5", 0x0404, "Hello \xA4\xA4\xA4\xE5\xA4\xE5\xA5\xF3\xA1\x43\r",
         "Hello {b|中文}文件。¶[center]"},
        // A lead byte without a trail the page knows stands alone; the
        // paragraph mark after it stays a mark.
        {"a stray lead byte", 0x0411, "Hello \x93\xFA\x96\x7B\x93\rok\r", "Hello {b|日本}\uFFFD¶[center]ok¶[center]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", word6Stream(c.text, c.lid)}}), {});
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, "b al"), c.expected);
    }
}

// A Japanese document written on an English system names its page only in
// its fonts' character set (128, Shift-JIS), and the font's own name is in
// that page: "ＭＳ 明朝" is the bytes 82 6C 82 72 20 96 BE 92 A9. Fonts
// with Latin names under 128, as English corpus files list Times New Roman
// and Arial a second time, name no page: their é stays é.
TEST(Word6, EastAsianFontCharacterSetGivesThePageAndTheFontsName)
{
    struct Case {
        std::string name;
        const char* expected;
        const char* font;
    } cases[] = {
        {"\x82\x6C\x82\x72\x20\x96\xBE\x92\xA9", "Hello {b|日本}caf\uFFFD¶", "ＭＳ 明朝"},
        {"Times New Roman", "Hello {b|\u201C\u00FA\u2013{}caf\u00E9¶", "Times New Roman"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.font);
        std::string wd = word6Stream("Hello \x93\xFA\x96\x7B"
                                     "caf\xE9\r",
                                     0x0409);
        std::string font = std::string("\x00\x00\x90\x01\x80\x00", 6) + c.name + '\0';
        font[0] = static_cast<char>(font.size() - 1);
        wd.replace(0x500, 2 + font.size(), std::string(1, static_cast<char>(font.size() + 2)) + '\0' + font);
        set32(wd, 0xD0, 0x500), set32(wd, 0xD4, static_cast<uint32_t>(font.size() + 2));
        const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, "b"), c.expected);
        EXPECT_EQ(word6FontNames(wd), std::vector<std::string>{c.font});
    }
}

// Word 95 for the Far East with the extended-character flag keeps a unit of
// two bytes a position: a pair as lead byte times 256 plus trail (0x93FA is
// 日, not the ideograph U+93FA), a single byte as itself (0xB1 is the
// half-width ｱ in Shift-JIS, not ±). The bold run over bytes [6, 10) is
// positions 3 and 4 here.
TEST(Word6, EastAsianExtendedCharactersAreUnitsOfThePage)
{
    std::string text;
    for (const uint16_t unit : {0x48, 0x65, 0x6C, 0x6C, 0x6F, 0x20, 0x93FA, 0x967B, 0xB1, 0x8140, 0x0D})
        put16(text, unit);
    std::string wd = word6Stream(text, 0x0411, 104);
    set16(wd, 0x0A, 0x1000);
    set32(wd, 0x34, static_cast<uint32_t>(text.size() / 2));
    const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b"), "Hel{b|lo} 日本ｱ　¶");
}

// Counted as Word counts: Hello one word, each of the twelve East Asian
// characters one (。 and the half-width kana too); 17 characters, the
// ideographic space counted with the spaces, 20 with them and the first
// paragraph mark; the same as the text in Unicode.
TEST(Word6, EastAsianTextCountsAsTheSameTextInUnicode)
{
    const std::string sjis =
        "Hello \x93\xFA\x96\x7B\x8C\xEA\x82\xCC\x95\x5C\x82\xC5\x82\xB7\x81\x42\r\xB1\xB2\x81\x40\x8A\xBF\x8E\x9A\r";
    const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", word6Stream(sjis, 0x0411)}}), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const ReadResult text = readDocumentBytes("Hello 日本語の表です。\r\nｱｲ　漢字\r\n", "txt");
    ASSERT_TRUE(text.ok()) << text.error;
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*text.document);
    EXPECT_EQ(std::tuple(a.words, a.asianCharacters, a.characters, a.charactersWithSpaces, a.paragraphs),
              std::tuple(13, 12, 17, 20, 2));
    EXPECT_EQ(std::tuple(a.words, a.asianCharacters, a.characters, a.charactersWithSpaces, a.paragraphs),
              std::tuple(b.words, b.asianCharacters, b.characters, b.charactersWithSpaces, b.paragraphs));
}

// A Word 6 style sheet: eight-byte style bases, 8-bit names, one-byte
// modifiers. Read as Word 97's, a paragraph in "Heading" (based on Normal,
// 12 pt) is bold and 12 pt: without it, the text kept the defaults.
TEST(Word6, StyleSheetGivesParagraphsTheirStyles)
{
    std::string wd = word6Stream("Hello bold\rSecond\r", 0x0409);
    wd[0x600 + 0x1E1] = 1; // the paragraphs' style: istd 1
    std::string stsh;
    for (int v : {14, 2, 8, 0, 0, 0, 0, 0})
        put16(stsh, static_cast<uint16_t>(v));
    auto style = [&](uint16_t sti, uint16_t base, const std::string& name, const std::string& chpx) {
        std::string std;
        for (int v : {int{sti}, 1 | (base << 4), 2, 0})
            put16(std, static_cast<uint16_t>(v));
        std += static_cast<char>(name.size()) + name + '\0';
        if (std.size() & 1)
            std += '\0';
        put16(std, 2), put16(std, sti); // the paragraph list: its style index only
        put16(std, static_cast<uint16_t>(chpx.size()));
        std += chpx;
        if (std.size() & 1)
            std += '\0';
        put16(stsh, static_cast<uint16_t>(std.size()));
        stsh += std;
    };
    style(0, 0x0FFF, "Normal", std::string("\x63\x18\x00", 3)); // 99: 24 half points
    style(1, 0, "Heading", "\x55\x01");                         // 85: bold
    wd.replace(0x700, stsh.size(), stsh);
    set32(wd, 0x60, 0x700), set32(wd, 0x64, static_cast<uint32_t>(stsh.size()));
    const ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b sz style"), "{b sz24|Hello bold}¶['Heading']{b sz24|Second}¶['Heading']");
}

TEST(Word6, CutHeaderIsRefusedClearly)
{
    std::string wd = word6Stream("x\r", 0x0409).substr(0, 0x100);
    EXPECT_TRUE(
        engine::test::failsWith(readDoc(buildCompoundFile({{u"WordDocument", wd}}), {}), "header is cut short"));
}

} // namespace
} // namespace qm::engine::doc::test
