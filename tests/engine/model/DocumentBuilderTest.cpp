// The builder keeps Word's marks: paragraph ends, cell and row ends, section breaks.
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <chrono>
#include <gtest/gtest.h>
#include <tuple>

using namespace qm::engine;

namespace {
std::u16string visible(const Story& s)
{
    std::u16string out;
    for (char16_t c : s.text)
        out += c == 13 ? u'¶' : c == 7 ? u'¤' : c == 12 ? u'§' : c;
    return out;
}
} // namespace

TEST(DocumentBuilder, EveryStoryEndsWithAParagraphMark)
{
    // Without this an empty header would have no paragraph and a story ending
    // in a table would lose the paragraph Word always keeps after it.
    DocumentBuilder b("test");
    StoryId header = b.newStory(StoryType::PrimaryHeader);
    b.appendUtf8("text without end", 0);
    b.beginTable();
    b.beginCell();
    b.appendUtf8("x", 0);
    b.endCell(0, 0);
    b.endRow({}, 0);
    b.endTable();
    b.setStory(header);
    auto doc = b.finish({}, {});
    EXPECT_EQ(visible(doc->mainStory()), u"text without end¶x¤¤¶");
    EXPECT_EQ(visible(doc->stories[header]), u"¶");
}

TEST(DocumentBuilder, CellsTurnTheirLastParagraphMarkIntoACellMark)
{
    DocumentBuilder b("test");
    b.beginTable();
    b.beginCell();
    b.appendUtf8("a", 0);
    b.endParagraph(0, 0);
    b.appendUtf8("b", 0);
    b.endParagraph(0, 0);
    b.endCell(0, 0);
    b.beginCell(); // an empty cell still gets its mark
    b.endCell(0, 0);
    b.endRow({}, 0);
    b.endTable();
    b.appendUtf8("after", 0);
    b.endParagraph(0, 0);
    auto doc = b.finish({}, {});
    const Story& s = doc->mainStory();
    EXPECT_EQ(visible(s), u"a¶b¤¤¤after¶");
    auto tables = findTables(*doc, 0, 0, s.size());
    ASSERT_TRUE(tables.size() == 1 && tables[0].rows.size() == 1 && tables[0].rows[0].cells.size() == 2);
    const auto& cells = tables[0].rows[0].cells;
    EXPECT_EQ(std::tuple(cells[0].start, cells[0].end, cells[1].end, tables[0].end), std::tuple(0u, 3u, 4u, 6u));
    // The first paragraph inside the cell is in the table; the one after is not.
    EXPECT_EQ(std::tuple(doc->paraFormatOf(s, 1).tableDepth, doc->paraFormatOf(s, 11).tableDepth), std::tuple(1, 0));
}

TEST(DocumentBuilder, NestedTablesAreFoundLevelByLevel)
{
    DocumentBuilder b("test");
    b.beginTable();
    b.beginCell();
    b.beginTable();
    for (int i = 0; i < 2; ++i) {
        b.beginCell();
        b.appendUtf8("n", 0);
        b.endCell(0, 0);
    }
    b.endRow({}, 0);
    b.endTable();
    b.appendUtf8("o", 0);
    b.endCell(0, 0);
    b.endRow({}, 0);
    b.endTable();
    b.beginTable(); // a second top-level table after a paragraph
    b.beginCell();
    b.endCell(0, 0);
    b.endRow({}, 0);
    b.endTable();
    auto doc = b.finish({}, {});
    const Story& s = doc->mainStory();
    EXPECT_EQ(visible(s), u"n¤n¤¤o¤¤¤¤¶");
    auto outer = findTables(*doc, 0, 0, s.size());
    // The two top-level tables touch: Word would merge them, and so does the
    // derivation, since no paragraph separates them.
    ASSERT_EQ(outer.size(), 1u);
    EXPECT_EQ(outer[0].rows.size(), 2u);
    const TableCell& cell = outer[0].rows[0].cells.at(0);
    auto inner = findTables(*doc, 0, cell.start, cell.end, 2);
    ASSERT_EQ(inner.size(), 1u);
    EXPECT_EQ(inner[0].rows.at(0).cells.size(), 2u);
}

TEST(DocumentBuilder, SectionsEndAfterTheirBreakAndTheLastAtTheEnd)
{
    DocumentBuilder b("test");
    StoryId h1 = b.newStory(StoryType::PrimaryHeader);
    b.appendUtf8("one", 0);
    HeaderFooterRefs refs;
    refs.headers[0] = static_cast<int32_t>(h1);
    SectionFormat landscape;
    landscape.pageWidth = 15840;
    b.endSection(landscape, refs, 0, 0);
    b.appendUtf8("two", 0);
    auto doc = b.finish({}, {});
    ASSERT_EQ(doc->sections.size(), 2u);
    EXPECT_EQ(visible(doc->mainStory()), u"one§two¶");
    EXPECT_EQ(std::tuple(doc->sections[0].end, doc->sections[0].format.pageWidth, doc->sections[1].end),
              std::tuple(4u, 15840, 8u));
    EXPECT_TRUE(doc->isSectionBreak(3) && doc->endsParagraph(0, 3));
    // The second section defines no header and shows the first one's.
    EXPECT_EQ(
        std::tuple(doc->headerStory(1, HeaderFooterIndex::Primary), doc->headerStory(1, HeaderFooterIndex::FirstPage)),
        std::tuple(static_cast<int32_t>(h1), -1));
}

TEST(DocumentBuilder, FormatsAreInternedAndControlsFiltered)
{
    DocumentBuilder b("test");
    CharFormat bold;
    bold.bold = true;
    uint32_t first = b.charFormat(bold);
    EXPECT_EQ(b.charFormat(bold), first);
    EXPECT_NE(b.charFormat(CharFormat{}), first);
    b.appendText(u"a\r\x07\x03\tb\x0c", first);
    auto doc = b.finish({}, {});
    EXPECT_EQ(doc->mainStory().text, u"a\tb\x0c\r");
}

// Each appended character keeps its run's format, whether the dropped
// controls stand at a run's start, inside it, at its end or make up all of it.
TEST(DocumentBuilder, AppendedCharactersKeepTheirFormatAroundDroppedControls)
{
    DocumentBuilder b("test");
    const uint32_t plain = b.charFormat(CharFormat{});
    const uint32_t bold = b.charFormat(CharFormat{.bold = true});
    const uint32_t italic = b.charFormat(CharFormat{.italic = true});
    struct Append {
        std::u16string_view text;
        uint32_t format;
    } appends[] = {
        {u"\x03" u"ab", bold}, {u"c\x05\x06" u"d", plain}, {u"e\x10", italic}, {u"\x04\x05", bold}, {u"", plain},
        {u"\tf", italic},     {u"g", bold},          {u"\x05", italic},
    };
    for (const Append& a : appends)
        b.appendText(a.text, a.format);
    auto doc = b.finish({}, {});
    const Story& main = doc->mainStory();
    EXPECT_EQ(main.text, u"abcde\tfg\r");
    const std::vector<uint32_t> expected = {bold, bold, plain, plain, italic, italic, italic, bold};
    ASSERT_EQ(main.attrs.size(), expected.size() + 1); // and the closing mark
    for (size_t i = 0; i < expected.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(main.attrs[i].charFormat, expected[i]);
        EXPECT_EQ(main.attrs[i].paraFormat, 0u);
    }
}

TEST(DocumentBuilder, TextPastTheLimitIsRefusedWithOneDiagnostic)
{
    Limits limits;
    limits.maxStoryChars = 10;
    DocumentBuilder b("test", limits);
    for (int i = 0; i < 5; ++i)
        b.appendUtf8("abcd", 0);
    EXPECT_TRUE(b.limitReached());
    auto doc = b.finish({}, {});
    EXPECT_EQ(doc->mainStory().text, u"abcdabcd\r");
    ASSERT_EQ(doc->diagnostics.size(), 1u);
    EXPECT_EQ(doc->diagnostics[0].code, "limit.text");
}

// A bullet in Symbol is stored as U+F0B7 (or as the byte 0xB7) and prints
// as "•"; the same code in another font, or a code without a twin, stays.
TEST(DocumentBuilder, SymbolFontListLabelsReadAsTheyPrint)
{
    struct Case {
        const char* font;
        std::u16string label, shown;
    };
    const Case cases[] = {
        {"Symbol", u"\uF0B7", u"\u2022"},
        {"Symbol", u"\u00B7", u"\u2022"},
        {"Wingdings", u"\uF0A7", u"\u25AA"},
        {"Wingdings", u"\uF0D8", u"\u27A2"},
        {"Arial", u"\uF0B7", u"\uF0B7"},
        {"Symbol", u"\uF041", u"\uF041"},
        {"Symbol", u"1.", u"1."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.font);
        DocumentBuilder b("docx");
        CharFormat cf;
        cf.fontName = c.font;
        ParaFormat pf;
        pf.listLabel = c.label;
        pf.listLabelCharFormat = static_cast<int32_t>(b.charFormat(cf));
        const uint32_t index = b.paraFormat(pf);
        EXPECT_EQ(b.document().paraFormats[index].listLabel, c.shown);
    }
}

// Formats given again and again, in runs and interleaved: each keeps the
// index it was first given, the last one given or not.
TEST(DocumentBuilder, RepeatedFormatsKeepTheirIndex)
{
    DocumentBuilder b("test");
    const CharFormat plain{}, bold{.bold = true}, big{.sizeHalfPoints = 48}, times{.fontName = "Times"};
    // Each row: the format given and the index worked out by hand (the
    // default format is index 0, new ones follow in order of first use).
    const std::pair<CharFormat, uint32_t> chars[] = {
        {bold, 1}, {bold, 1}, {big, 2}, {bold, 1}, {plain, 0}, {plain, 0}, {times, 3}, {big, 2}, {times, 3},
    };
    for (size_t i = 0; i < std::size(chars); ++i)
        EXPECT_EQ(b.charFormat(chars[i].first), chars[i].second) << "run " << i;
    const ParaFormat normal{}, centred{.alignment = Alignment::Center}, indented{.leftIndent = 720};
    const std::pair<ParaFormat, uint32_t> paras[] = {
        {centred, 1}, {centred, 1}, {normal, 0}, {indented, 2}, {centred, 1}, {indented, 2}, {indented, 2},
    };
    for (size_t i = 0; i < std::size(paras); ++i)
        EXPECT_EQ(b.paraFormat(paras[i].first), paras[i].second) << "paragraph " << i;
}

// Paragraph formats that differ in any one field are different formats,
// whichever field it is; one given again keeps its index.
TEST(DocumentBuilder, ParagraphFormatsDifferingInAnyFieldKeepApart)
{
    DocumentBuilder b("test");
    ParaFormat keep, shaded, tabbed, movedTab, bordered, offGrid, label, otherLabel, styled;
    keep.keepWithNext = true;
    shaded.shading = 0xFFEE00;
    tabbed.tabs = {{720, TabAlignment::Left, TabLeader::None}};
    movedTab.tabs = {{1440, TabAlignment::Left, TabLeader::None}};
    bordered.borders.top.style = BorderStyle::Single;
    offGrid.snapToGrid = false;
    label.listLabel = u"1.";
    otherLabel.listLabel = u"2.";
    styled.styleName = "Heading 1";
    const ParaFormat formats[] = {keep, shaded, tabbed, movedTab, bordered, offGrid, label, otherLabel, styled};
    for (size_t i = 0; i < std::size(formats); ++i)
        EXPECT_EQ(b.paraFormat(formats[i]), i + 1) << "format " << i;
    for (size_t i = std::size(formats); i-- > 0;)
        EXPECT_EQ(b.paraFormat(formats[i]), i + 1) << "format " << i << " again";
    EXPECT_EQ(b.paraFormat(ParaFormat{}), 0u);
    EXPECT_EQ(b.document().paraFormats.size(), std::size(formats) + 1);
}

// UTF-8 text goes into the story as its UTF-16 form would: control
// characters other than Word's own dropped, formats on every character, the
// story's limit kept (the text that would pass it is left out whole).
TEST(DocumentBuilder, Utf8TextGoesInAsItsUtf16FormWould)
{
    struct Case {
        const char* what;
        std::vector<std::string> runs;
    } const cases[] = {
        {"printable ASCII", {"Hello", " world", "!"}},
        {"Word's controls kept, others dropped", {"a\tb\x0B" "c", "d\x01" "e\x05" "f", "\x1F\x1E"}},
        {"beyond ASCII", {"na\xC3\xAFve", "\xE2\x80\x94", "\xF0\x9F\x98\x80 x"}},
        {"a single character and nothing", {"x", "", "yz"}},
        {"past the story's limit", {"abcdef", "ghijk", "lm", "n"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Limits limits;
        limits.maxStoryChars = 12;
        DocumentBuilder fromUtf8("test", limits), fromUtf16("test", limits);
        uint32_t format = 0;
        for (const std::string& run : c.runs) {
            const uint32_t a = fromUtf8.charFormat(CharFormat{.sizeHalfPoints = static_cast<uint16_t>(20 + format)});
            const uint32_t b = fromUtf16.charFormat(CharFormat{.sizeHalfPoints = static_cast<uint16_t>(20 + format)});
            fromUtf8.appendUtf8(run, a);
            fromUtf16.appendText(utf8ToUtf16(run), b);
            ++format;
        }
        const Story& got = fromUtf8.document().mainStory();
        const Story& expected = fromUtf16.document().mainStory();
        EXPECT_EQ(got.text, expected.text);
        ASSERT_EQ(got.attrs.size(), expected.attrs.size());
        for (size_t i = 0; i < got.attrs.size(); ++i)
            EXPECT_EQ(got.attrs[i].charFormat, expected.attrs[i].charFormat) << i;
        EXPECT_EQ(fromUtf8.limitReached(), fromUtf16.limitReached());
        EXPECT_EQ(fromUtf8.document().diagnostics.size(), fromUtf16.document().diagnostics.size());
    }
}

// A long numbered list gives a paragraph format for each label. They differ
// in their labels alone, and must still be told apart at once: indexed by
// fields they share, 60,000 of them would each be compared with all the
// others (some seconds), where a few milliseconds are enough.
TEST(DocumentBuilder, ListParagraphsDifferingInTheirLabelsAloneAreIndexedQuickly)
{
    DocumentBuilder b("test");
    constexpr uint32_t Count = 60000;
    const auto start = std::chrono::steady_clock::now();
    for (uint32_t i = 1; i <= Count; ++i) {
        ParaFormat item;
        item.leftIndent = 720;
        item.listLabel = utf8ToUtf16(std::to_string(i) + ".");
        EXPECT_EQ(b.paraFormat(item), i);
    }
    const auto seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_LT(seconds, 3.0);
    EXPECT_EQ(b.document().paraFormats.size(), Count + 1);
}
