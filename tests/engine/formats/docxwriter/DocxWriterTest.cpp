// Tests for the .docx writer: what it writes reads back through our own reader unchanged.
#include "engine/formats/docxwriter/DocxWriter.h"

#include "../support/Describe.h"
#include "engine/formats/Reader.h"
#include "engine/formats/docx/ZipPackage.h"
#include "engine/model/DocumentBuilder.h"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace qm::engine {
namespace {

using test::describe;
using test::describeSections;

namespace fs = std::filesystem;

class DocxWriterTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = fs::temp_directory_path() / ("qm-docxwriter-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
    }
    void TearDown() override { fs::remove_all(m_folder); }

    std::unique_ptr<Document> roundTrip(const Document& doc)
    {
        const fs::path file = m_folder / "out.docx";
        const WriteResult written = writeDocx(doc, file);
        EXPECT_TRUE(written.ok()) << written.error;
        ReadResult read = readDocument(file);
        EXPECT_TRUE(read.ok()) << read.error;
        if (read.ok())
            for (const Diagnostic& d : read.document->diagnostics)
                ADD_FAILURE() << "reader diagnostic " << d.code << ": " << d.message;
        return std::move(read.document);
    }

    fs::path m_folder;
};

/// A document with every kind of content the writer handles: formatted runs,
/// special characters, a nested table with widths, shading and no borders,
/// two sections of different page setups, and a footer with a PAGE field.
std::unique_ptr<Document> sample()
{
    DocumentBuilder b("docx");
    const CharFormat plain{.fontName = "Arial", .sizeHalfPoints = 22};
    const CharFormat bold{.fontName = "Arial", .sizeHalfPoints = 22, .bold = true, .color = 0x1F3864};
    const CharFormat hidden{.fontName = "Courier New",
                            .sizeHalfPoints = 2,
                            .italic = true,
                            .hidden = true,
                            .underline = UnderlineKind::Double};
    const CharFormat raised{.fontName = "Times New Roman",
                            .sizeHalfPoints = 16,
                            .allCaps = true,
                            .strike = true,
                            .verticalPosition = VerticalPosition::Superscript};
    const ParaFormat right{.alignment = Alignment::Right,
                           .leftIndent = 360,
                           .firstLineIndent = -180,
                           .spaceAfter = 120,
                           .lineRule = LineRule::Exact,
                           .lineSpacing = 300,
                           .tabs = {TabStop{2880, TabAlignment::Decimal, TabLeader::Dot}}};
    const ParaFormat centred{.alignment = Alignment::Center,
                             .keepWithNext = true,
                             .widowControl = false,
                             .rightToLeft = true,
                             .snapToGrid = false};

    b.appendUtf8("Fish & chips <cost> \"a lot\"", b.charFormat(plain));
    b.appendUtf8(" bold", b.charFormat(bold));
    b.appendText(u"\t\u00e9t\u00e9 \u20ac\u000bnext line", b.charFormat(plain));
    b.endParagraph(b.paraFormat(right), b.charFormat(bold));
    b.appendUtf8("hidden", b.charFormat(hidden));
    b.appendUtf8("x2", b.charFormat(raised));
    b.endParagraph(b.paraFormat(centred), b.charFormat(plain));

    TableRowFormat row;
    row.borders = false;
    row.grid = {3000, 2000};
    row.cells = {TableCellFormat{3000, 1, VerticalMerge::None, CellVerticalAlign::Top, 0xC0C0C0},
                 TableCellFormat{2000, 1, VerticalMerge::None, CellVerticalAlign::Bottom, AutoColor}};
    TableRowFormat inner;
    inner.grid = {900, 900};
    inner.cells = {TableCellFormat{900, 1, VerticalMerge::None, CellVerticalAlign::Top, 0x000000},
                   TableCellFormat{900, 1, VerticalMerge::None, CellVerticalAlign::Top, AutoColor}};
    b.beginTable();
    b.beginRow();
    b.beginCell();
    b.appendUtf8("cell one", b.charFormat(plain));
    b.endParagraph(b.paraFormat(right), b.charFormat(plain));
    b.appendUtf8("second paragraph", b.charFormat(bold));
    b.endCell(b.paraFormat(right), b.charFormat(plain));
    b.beginCell();
    b.beginTable();
    b.beginRow();
    b.beginCell();
    b.appendUtf8("in", b.charFormat(plain));
    b.endCell(0, b.charFormat(plain));
    b.beginCell();
    b.endCell(0, b.charFormat(plain));
    b.endRow(inner, b.charFormat(plain));
    b.endTable();
    b.appendUtf8("after inner", b.charFormat(plain));
    b.endCell(0, b.charFormat(plain));
    b.endRow(row, b.charFormat(plain));
    b.endTable();

    SectionFormat landscape;
    landscape.pageWidth = 15840;
    landscape.pageHeight = 12240;
    landscape.marginLeft = 720;
    landscape.titlePage = true;
    landscape.gridType = DocGridType::Lines;
    landscape.linePitch = 312;
    b.appendUtf8("end of first section", b.charFormat(plain));
    b.endSection(landscape, HeaderFooterRefs{}, 0, b.charFormat(plain));

    const StoryId footer = b.newStory(StoryType::PrimaryFooter);
    b.setStory(footer);
    b.appendUtf8("Page ", b.charFormat(plain));
    const uint32_t start = b.position();
    b.appendUtf8("1", b.charFormat(bold));
    b.addField(start, "PAGE");
    b.endParagraph(b.paraFormat(right), b.charFormat(plain));
    b.setStory(0);
    b.appendUtf8("second section", b.charFormat(plain));
    HeaderFooterRefs refs;
    refs.footers[0] = static_cast<int32_t>(footer);
    SectionFormat last;
    last.marginTop = 2000;
    last.start = SectionStart::Continuous;
    return b.finish(last, refs);
}

/// The properties the writer promises to keep.
constexpr std::string_view Kept =
    "b i hid caps strike u pos sz font color mark al ind space line keep rtl grid tabs depth row";

TEST_F(DocxWriterTest, ContentFormatsAndSectionsReadBackUnchanged)
{
    const auto doc = sample();
    const auto read = roundTrip(*doc);
    ASSERT_TRUE(read);
    // Without escaping, the ampersand and brackets would make the part unreadable;
    // without the row and cell widths the grid would come back empty.
    EXPECT_EQ(describe(*read, Kept), describe(*doc, Kept));
    // The first section has no footer of its own and none before it.
    EXPECT_EQ(describeSections(*read), describeSections(*doc));
    EXPECT_EQ(describe(*read, Kept, read->footerStory(1, HeaderFooterIndex::Primary)),
              describe(*doc, Kept, doc->footerStory(1, HeaderFooterIndex::Primary)));
}

TEST_F(DocxWriterTest, PageFieldStaysAFieldWithItsResult)
{
    const auto doc = sample();
    const auto parts = docxParts(*doc);
    ASSERT_TRUE(parts.contains("word/footer1.xml"));
    const std::string& footer = parts.at("word/footer1.xml");
    // Begin, instruction, separator, the result in its own format, end: a word
    // processor shows each page's number, a reader that ignores fields the "1".
    size_t at = 0;
    for (const char* piece : {"w:fldCharType=\"begin\"", "> PAGE </w:instrText>", "w:fldCharType=\"separate\"",
                              ">1</w:t>", "w:fldCharType=\"end\""}) {
        at = footer.find(piece, at);
        ASSERT_NE(at, std::string::npos) << piece << " missing or out of order";
    }
    EXPECT_EQ(footer.find("Page 1"), std::string::npos) << "the label and the field are separate runs";
}

TEST_F(DocxWriterTest, PackageHasEveryPartItsRelationshipsName)
{
    const auto doc = sample();
    const fs::path file = m_folder / "parts.docx";
    ASSERT_TRUE(writeDocx(*doc, file).ok());
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    ZipPackage zip(bytes, Limits{});
    ASSERT_TRUE(zip.isOpen()) << zip.error();
    for (const char* part : {"[Content_Types].xml", "_rels/.rels", "word/document.xml", "word/styles.xml",
                             "word/settings.xml", "word/footer1.xml", "word/_rels/document.xml.rels",
                             "docProps/core.xml", "docProps/app.xml"}) {
        SCOPED_TRACE(part);
        EXPECT_TRUE(zip.contains(part));
    }
    const std::string types = zip.read("[Content_Types].xml").bytes;
    EXPECT_NE(types.find("/word/footer1.xml"), std::string::npos) << "a part without a content type is refused";
    const std::string rels = zip.read("word/_rels/document.xml.rels").bytes;
    EXPECT_NE(rels.find("Target=\"footer1.xml\""), std::string::npos);
}

TEST_F(DocxWriterTest, WriteReplacesAWholeFileAndLeavesNothingOnFailure)
{
    const auto doc = sample();
    const fs::path file = m_folder / "invoice.docx";
    std::ofstream(file) << "an older file";
    ASSERT_TRUE(writeDocx(*doc, file).ok());
    EXPECT_TRUE(readDocument(file).ok());
    // Only the document itself is left in the folder: no temporary file.
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()), 1);

    const WriteResult failed = writeDocx(*doc, m_folder / "no such folder" / "x.docx");
    EXPECT_TRUE(!failed.ok() && !failed.error.empty());
    EXPECT_EQ(std::distance(fs::directory_iterator(m_folder), fs::directory_iterator()), 1);
}

} // namespace
} // namespace qm::engine
