// WordPerfect and Works documents through libwpd and libwps.
#include "../doc/DocFixture.h"
#include "../docx/DocxTestPackage.h"
#include "../support/Describe.h"
#include "WorksFixture.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using namespace std::literals;
using test::buildWorksFile;
using test::buildWorksStream;
using test::describe;
using test::describeSections;
using test::WorksDocument;

// A WordPerfect 5.1 file as the program writes its simplest document: the
// 16-byte prefix (signature, offset of the text, product 1, file type 10
// for a document, version 0.1, no encryption), then the text, where 0x0A
// is a hard return and C3 n C3 / C4 n C4 switch attribute n on and off
// (12 bold, 8 italic).
std::string wordPerfect51(std::string_view text)
{
    return "\xFFWPC\x10\0\0\0\x01\x0A\x00\x01\0\0\0\0"s + std::string(text);
}

const std::string kSample = wordPerfect51("Hello \xC3\x0C\xC3"
                                          "bold\xC4\x0C\xC4 \xC3\x08\xC3"
                                          "it\xC4\x08\xC4 world\x0A"
                                          "Second para\x0A"sv);

// Before, a WordPerfect file's bytes were counted as text, its codes as
// words; under a .doc name it went to the Word reader and was refused.
TEST(WordPerfect, ReadsTextAndAttributesUnderAnyName)
{
    for (const char* extension : {"wpd", "doc", "wp5"}) {
        SCOPED_TRACE(extension);
        EXPECT_EQ(detectFormat(kSample, extension), DocumentFormat::WordPerfect);
        const ReadResult r = readDocumentBytes(kSample, extension);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.document->format, "wpd");
        EXPECT_EQ(describe(*r.document, "b i"), "Hello {b|bold} {i|it} world¶Second para¶");
    }
}

// The same text as .docx gives the same counts: 6 words, 16 + 10 characters.
TEST(WordPerfect, CountsAgreeWithTheSameTextAsDocx)
{
    const ReadResult r = readDocumentBytes(kSample, "wpd");
    ASSERT_TRUE(r.ok()) << r.error;
    test::DocxPackage package;
    package.body =
        R"(<w:p><w:r><w:t>Hello bold it world</w:t></w:r></w:p><w:p><w:r><w:t>Second para</w:t></w:r></w:p>)";
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok());
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, 6);
    EXPECT_EQ(a.characters, 26);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.characters, b.characters);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
}

// Damaged and foreign input gives a clear error or a partial document,
// never a crash.
TEST(WordPerfect, DamagedInputIsRefusedClearly)
{
    const std::string pastTheEnd = "\xFFWPC\xFF\xFF\0\0\x01\x0A\x00\x01\0\0\0\0text"s;
    const ReadResult r = readDocumentBytes(pastTheEnd, "wpd");
    if (!r.ok())
        EXPECT_FALSE(r.error.empty());
    EXPECT_TRUE(test::failsWith(readWordPerfect("plain words", {}), "not a WordPerfect document"));
    EXPECT_TRUE(test::failsWith(readWorks("plain words", {}), "not a Works document"));
}

// A Works document as Works writes its simplest: three paragraphs, a bold
// word, a tab, the second paragraph centred, and a page break before the
// third (Works keeps the break as character 12 at the paragraph's start).
WorksDocument worksSample(uint8_t version)
{
    WorksDocument s;
    s.version = version;
    s.text = "Hello bold world\r\nSecond\tpara\r\n\fThird page\r\n";
    s.chars = {{6, 10, 1}};
    s.paras = {{18, 31, 1}};
    return s;
}

// What Word holds for worksSample: the break a character of its own.
constexpr std::string_view kWorksText = "Hello {b|bold} world¶Second→para¶[center]§Third page¶";

// Works 3 and 4 keep the document in a compound file's "MN0" stream, Works 2
// and Works for DOS write the same layout straight into the file; a .doc
// name is common for all of them.
TEST(Works, ReadsParagraphsRunsTabsAndBreaksFromEachVersion)
{
    struct Case {
        const char* name;
        uint8_t version;
        bool container;
        const char* extension;
        DocumentFormat detected;
    };
    const Case cases[] = {
        {"Works 4", 6, true, "wps", DocumentFormat::Doc},
        {"Works 4 as .doc", 6, true, "doc", DocumentFormat::Doc},
        {"Works 3", 4, true, "wps", DocumentFormat::Doc},
        {"Works 2", 1, false, "wps", DocumentFormat::Works},
        {"Works 2 as .doc", 1, false, "doc", DocumentFormat::Works},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const WorksDocument w = worksSample(c.version);
        const std::string bytes = c.container ? buildWorksFile(w) : buildWorksStream(w);
        EXPECT_EQ(detectFormat(bytes, c.extension), c.detected);
        const ReadResult r = readDocumentBytes(bytes, c.extension);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.document->format, "wps");
        EXPECT_EQ(describe(*r.document, "b al"), kWorksText);
        // One page setup throughout: the break is no new section.
        EXPECT_EQ(r.document->sections.size(), 1u);
    }
}

// Works names the fonts of runs from its own font table; a run without one
// takes the version's default face at 12 points: Times New Roman in Works 3
// and 4, Courier in Works 2 and for DOS.
TEST(Works, RunsTakeTheirFontAndSize)
{
    struct Case {
        uint8_t version;
        const char* expected;
    };
    for (const Case& c : {Case{6, "{sz24 'Times New Roman'|Plain }{sz24 'Arial'|Arial }{'Arial'|ten}¶"},
                          Case{1, "{sz24 'Courier'|Plain }{sz24 'Arial'|Arial }{'Arial'|ten}¶"}}) {
        SCOPED_TRACE(c.version);
        WorksDocument s;
        s.version = c.version;
        s.text = "Plain Arial ten\r\n";
        s.chars = {{6, 12, 0, 1}, {12, 15, 0, 1, 20}};
        const ReadResult r = readDocumentBytes(c.version == 1 ? buildWorksStream(s) : buildWorksFile(s), "wps");
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, "font sz"), c.expected);
    }
}

// Works for DOS wrote its text in the DOS page its header names, else in
// page 850; Works for Windows in Windows-1252. Read as Windows-1252, the
// DOS á (0xA0) was a no-break space: 13 characters where Word counts 14.
TEST(Works, TextIsInTheCodePageOfItsSystem)
{
    struct Case {
        uint8_t version;
        uint16_t oem;
        std::string text;
        const char* expected;
        int characters;
    } cases[] = {
        {1, 0,
         "Espa\xA4"
         "a est\xA0 aqu\xA1\r\n",
         "España está aquí¶", 14},
        {1, 437,
         "Espa\xA4"
         "a est\xA0 aqu\xA1\r\n",
         "España está aquí¶", 14},
        {1, 866, "\x8F\xE0\xA8\xA2\xA5\xE2 \xAC\xA8\xE0\r\n", "Привет мир¶", 9},
        {6, 0, "Caf\xE9 cr\xE8me\r\n", "Café crème¶", 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        WorksDocument w;
        w.version = c.version, w.oemCodePage = c.oem, w.text = c.text;
        const ReadResult r = readDocumentBytes(c.version == 1 ? buildWorksStream(w) : buildWorksFile(w), "wps");
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, ""), c.expected);
        EXPECT_EQ(computeWordStatistics(*r.document).characters, c.characters);
    }
}

// The page comes from the file's own header. libwps narrows the right
// margin by 0.2 inch (or halves one under 0.4 inch); Word lays the text out
// on the margins Works saved.
TEST(Works, PageSetupIsTheOneWorksSaved)
{
    struct Case {
        uint16_t width, height, left, right;
        const char* expected;
    };
    const Case cases[] = {
        {12240, 15840, 1440, 1440, "§41"},
        {12240, 15840, 1800, 1800, "§41 ml1800 mr1800"},
        {11906, 16838, 1000, 360, "§41 w11906 h16838 ml1000 mr360"},
        {15840, 12240, 720, 2880, "§41 w15840 h12240 ml720 mr2880"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        WorksDocument s = worksSample(6);
        s.pageWidth = c.width, s.pageHeight = c.height, s.marginLeft = c.left, s.marginRight = c.right;
        const ReadResult r = readDocumentBytes(buildWorksFile(s), "wps");
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describeSections(*r.document), c.expected);
    }
}

// libwps repeats the header and footer in the span it opens for each page;
// they are read once. A Works header left off the first page shows from
// the second on: the section has a different first page, with the footer
// on it too. Before, each page was a section with stories of its own.
TEST(Works, HeaderAndFooterAreReadOnceWithTheirFirstPage)
{
    struct Case {
        bool noFirstPageHeader;
        const char* sections;
    };
    for (const Case& c : {Case{false, "§14 H:Head¶ F:Foot¶"}, Case{true, "§14 title H:Head¶ F:Foot¶ F1:Foot¶"}}) {
        SCOPED_TRACE(c.sections);
        WorksDocument s;
        s.header = "Head\r\n", s.footer = "Foot\r\n", s.text = "One\r\n\fTwo\r\n\fSix\r\n";
        s.marginLeft = s.marginRight = 1440;
        s.noFirstPageHeader = c.noFirstPageHeader;
        const ReadResult r = readDocumentBytes(buildWorksFile(s), "wps");
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(describe(*r.document, ""), "One¶§Two¶§Six¶");
        EXPECT_EQ(describeSections(*r.document), c.sections);
        EXPECT_EQ(r.document->stories.size(), c.noFirstPageHeader ? 4u : 3u);
    }
}

// The same text as .docx gives Word's same figures: 7 words; 33 characters,
// 40 with the three spaces, the tab, and the two paragraph marks and the page
// break before the last mark.
TEST(Works, CountsAgreeWithTheSameTextAsDocx)
{
    const ReadResult r = readDocumentBytes(buildWorksFile(worksSample(6)), "wps");
    ASSERT_TRUE(r.ok()) << r.error;
    test::DocxPackage package;
    package.body =
        R"(<w:p><w:r><w:t xml:space="preserve">Hello </w:t></w:r><w:r><w:rPr><w:b/></w:rPr><w:t>bold</w:t></w:r>)"
        R"(<w:r><w:t xml:space="preserve"> world</w:t></w:r></w:p>)"
        R"(<w:p><w:pPr><w:jc w:val="center"/></w:pPr><w:r><w:t>Second</w:t><w:tab/><w:t>para</w:t></w:r></w:p>)"
        R"(<w:p><w:r><w:br w:type="page"/><w:t>Third page</w:t></w:r></w:p>)";
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok()) << docx.error;
    EXPECT_EQ(describe(*docx.document, "b al"), kWorksText);
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, 7);
    EXPECT_EQ(a.characters, 33);
    EXPECT_EQ(a.charactersWithSpaces, 40);
    EXPECT_EQ(a.paragraphs, 3);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.characters, b.characters);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
    EXPECT_EQ(a.paragraphs, b.paragraphs);
}

// A Works spreadsheet or database is no document to count, and a damaged
// Works document is refused with a reason, never read as garbage.
TEST(Works, SpreadsheetsDatabasesAndDamageAreRefusedClearly)
{
    // A Works for Windows spreadsheet: records of id, type, size and data,
    // the first naming the version (0x0404), then settings, then the end.
    const std::string sheet = "\xFF\x00\x02\x00\x04\x04"
                              "\x02\x00\x01\x00\x00"
                              "\x03\x00\x01\x00\x00"
                              "\x04\x00\x01\x00\x00"
                              "\x05\x00\x01\x00\x00"
                              "\x01\x00\x00\x00"s;
    EXPECT_TRUE(test::failsWith(readWorks(sheet, {}), "spreadsheet or database"));
    EXPECT_EQ(detectFormat(sheet, "wks"), DocumentFormat::Unknown);
    EXPECT_FALSE(readDocumentBytes(sheet, "wps").ok());

    // A Works 4 database keeps its records in the same container as the
    // word processor, its stream opening with 0xFF 0x54.
    const std::string database = doc::test::buildCompoundFile({{u"MN0", "\xFF\x54\x02\x00\x00\x00"s}});
    EXPECT_TRUE(test::failsWith(readDocumentBytes(database, "wdb"), "Works"));

    const std::string good = buildWorksStream(worksSample(1));
    struct Damage {
        const char* name;
        std::string bytes;
    };
    std::string badLimits = good;
    doc::test::set32(badLimits, 0x26, 0x10000); // the text ends past the file
    const Damage damaged[] = {
        {"cut inside the header", good.substr(0, 0x80)},
        {"text past the end", badLimits},
    };
    for (const Damage& d : damaged) {
        SCOPED_TRACE(d.name);
        const ReadResult r = readWorks(d.bytes, {});
        ASSERT_FALSE(r.ok());
        EXPECT_TRUE(r.error.contains("Works")) << r.error;
    }
}

} // namespace
} // namespace qm::engine
