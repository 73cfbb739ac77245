// Tests for the invoice document: built from INI files, written as .docx and read back with our own reader.
#include "report/InvoiceDocument.h"

#include "engine/formats/Reader.h"
#include "engine/formats/docxwriter/DocxWriter.h"
#include "report/Report.h"

#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <stdexcept>
#include <unistd.h>

namespace qm::report {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;
using engine::Alignment;
using engine::Document;
using Strings = std::vector<std::string>;

struct Cell {
    std::string text; ///< the cell's paragraphs joined with "|"
    uint32_t shading = engine::AutoColor;
    Alignment alignment = Alignment::Left;
};
using Row = std::vector<Cell>;
using Table = std::vector<Row>;

/// The invoice as our reader sees it: the paragraphs before the first table,
/// the tables cell by cell, the paragraphs after the last one, the footer.
struct ReadInvoice {
    std::unique_ptr<Document> doc;
    Strings before;
    std::vector<Table> tables;
    size_t paragraphsAfter = 0;
    std::string footer;
    Alignment footerAlignment = Alignment::Left;
    std::string footerXml; ///< the footer part as written, where its field shows

    /// The character format at the first place `text` appears in the main story.
    const engine::CharFormat& formatAt(std::u16string_view text) const
    {
        const engine::Story& main = doc->mainStory();
        const auto at = main.text.find(text);
        EXPECT_NE(at, std::u16string::npos);
        return doc->charFormatAt(main, static_cast<uint32_t>(std::min<size_t>(at, main.size() - 1)));
    }
};

Strings paragraphs(const Document& doc, uint32_t from, uint32_t to)
{
    Strings out(1);
    for (uint32_t i = from; i < to; ++i) {
        if (doc.endsParagraph(0, i))
            out.emplace_back();
        else
            out.back() += static_cast<char>(doc.mainStory().text[i] < 128 ? doc.mainStory().text[i] : '?');
    }
    out.pop_back();
    return out;
}

ReadInvoice readBack(const Document& invoice, const fs::path& folder)
{
    const fs::path file = folder / "invoice.docx";
    const engine::WriteResult written = engine::writeDocx(invoice, file);
    EXPECT_TRUE(written.ok()) << written.error;
    engine::ReadResult read = engine::readDocument(file);
    EXPECT_TRUE(read.ok()) << read.error;
    ReadInvoice out;
    for (const auto& [name, part] : engine::docxParts(invoice))
        if (name.starts_with("word/footer"))
            out.footerXml = part;
    if (!read.ok())
        return out;
    out.doc = std::move(read.document);
    const Document& doc = *out.doc;
    const auto tables = engine::findTables(doc, 0, 0, doc.mainStory().size());
    out.before = paragraphs(doc, 0, tables.empty() ? doc.mainStory().size() : tables.front().start);
    for (const engine::Table& t : tables) {
        Table& table = out.tables.emplace_back();
        for (const engine::TableRow& r : t.rows) {
            Row& row = table.emplace_back();
            const engine::TableRowFormat& format = doc.rowFormats.at(static_cast<size_t>(r.rowFormat));
            for (size_t c = 0; c < r.cells.size(); ++c) {
                Cell& cell = row.emplace_back();
                const Strings ps = paragraphs(doc, r.cells[c].start, r.cells[c].end + 1);
                for (size_t i = 0; i < ps.size(); ++i)
                    cell.text += (i ? "|" : "") + ps[i];
                cell.shading = c < format.cells.size() ? format.cells[c].shading : engine::AutoColor;
                cell.alignment = doc.paraFormatOf(doc.mainStory(), r.cells[c].end).alignment;
            }
        }
    }
    out.paragraphsAfter = tables.empty() ? 0 : paragraphs(doc, tables.back().end, doc.mainStory().size()).size();
    const int32_t footer = doc.footerStory(0, engine::HeaderFooterIndex::Primary);
    if (footer > 0) {
        const engine::Story& s = doc.stories[static_cast<size_t>(footer)];
        for (char16_t c : s.text)
            out.footer += static_cast<char>(c);
        out.footerAlignment = doc.paraFormatOf(s, s.size() - 1).alignment;
    }
    return out;
}

Strings texts(const Row& row)
{
    Strings out;
    for (const Cell& c : row)
        out.push_back(c.text);
    return out;
}

app::ResultRow row(const char* name, const char* count, const char* amount, const char* path)
{
    app::ResultRow r;
    r.name = name;
    r.count = count;
    r.amount = amount;
    r.path = path;
    return r;
}

using Keys = std::map<std::string, std::string>;

class InvoiceDocumentTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = fs::temp_directory_path() / ("qm-invoice-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_folder);
        fs::create_directories(m_folder);
        m_options = {{"CompanyName", "Quill Typing"}, {"Address", "1 Main St"}, {"City", "Springfield"},
                     {"State", "il"}, {"Zip", "627011234"}, {"Phone", "2175551234"}, {"Fax", "2175559876"}};
        m_profile = {{"DonePer", "Line"}, {"BillAmount", "$1.25"}, {"Address", "9 Oak Ave"}, {"City", "Peoria"},
                     {"State", "il"}, {"zip", "61602"}, {"PrintCountedDoc", "1"}, {"TableColor", "1"}};
        // The grid's own spaces around a name are not typed.
        m_rows = {row(" a.doc ", "2.5", "$3.13", "/docs/a.doc"), row("b.doc", "3.5", "$4.38", "/docs/b.doc"),
                  row("c.doc", "", "", "/docs/c.doc"), row("d.doc", "1", "$1.25", "/docs/d.doc")};
    }
    void TearDown() override { fs::remove_all(m_folder); }

    ReadInvoice build()
    {
        for (const auto& [file, section, keys] :
             {std::tuple{"Options.ini", "MAIN", &m_options}, std::tuple{"Profiles.ini", "Acme Clinic", &m_profile}}) {
            std::ofstream ini(m_folder / file);
            ini << "[" << section << "]\n";
            for (const auto& [k, v] : *keys)
                ini << k << "=" << v << "\n";
        }

        ReportSources sources;
        sources.settings.folder = m_folder;
        sources.settings.today = [] { return 2026y / November / 2d; };
        sources.rows = m_rows;
        sources.fileDate = [](const std::string& path, const std::string& kind) {
            return kind == "Date Created" ? "11/01/2026 " + path : "?";
        };
        Report report(std::move(sources), m_prompter);
        const auto doc = report.writereport("Acme Clinic");
        EXPECT_TRUE(m_prompter.messages.empty());
        return readBack(*doc, m_folder);
    }

    fs::path m_folder;
    Keys m_options, m_profile;
    std::vector<app::ResultRow> m_rows;
    RecordingPrompter m_prompter;
};

TEST_F(InvoiceDocumentTest, HiddenLineLetterheadAndBillTo)
{
    const ReadInvoice invoice = build();
    ASSERT_TRUE(invoice.doc);
    // The profile name, then five empty lines before the letterhead.
    EXPECT_EQ(invoice.before, (Strings{"Acme Clinic", "", "", "", "", ""}));
    const engine::CharFormat& hidden = invoice.doc->charFormatAt(invoice.doc->mainStory(), 0);
    EXPECT_EQ(hidden.sizeHalfPoints, 2);
    EXPECT_EQ(hidden.color, InvoiceColor::White);
    EXPECT_EQ(invoice.doc->charFormatAt(invoice.doc->mainStory(), 12).sizeHalfPoints, 20) << "10 point after it";

    ASSERT_EQ(invoice.tables.size(), 2u);
    ASSERT_EQ(invoice.tables[0].size(), 1u);
    const Row& letterhead = invoice.tables[0][0];
    ASSERT_EQ(letterhead.size(), 2u);
    // Each block ends with its own line's mark, then the cell's empty paragraph.
    EXPECT_EQ(letterhead[0].text, "|Bill To:|Acme Clinic|9 Oak Ave|Peoria, il 61602|");
    EXPECT_EQ(letterhead[1].text,
              "Quill Typing|1 Main St|Springfield, IL 62701-1234|Phone: (217) 555-1234|Fax:    (217) 555-9876|");
    EXPECT_EQ(letterhead[0].alignment, Alignment::Left);
    EXPECT_EQ(letterhead[1].alignment, Alignment::Right);
    const auto& rowFormats = invoice.doc->rowFormats;
    const auto letterRow =
        std::find_if(rowFormats.begin(), rowFormats.end(), [](const auto& r) { return r.cells.size() == 2; });
    ASSERT_NE(letterRow, rowFormats.end());
    EXPECT_FALSE(letterRow->borders);
    EXPECT_EQ(letterRow->grid, (std::vector<engine::Twips>{4680, 4680}));

    // The company name is bold 18 point Times New Roman; the address is 10 point.
    EXPECT_TRUE(invoice.formatAt(u"Quill Typing").bold);
    EXPECT_EQ(invoice.formatAt(u"Quill Typing").sizeHalfPoints, 36);
    EXPECT_EQ(invoice.formatAt(u"Quill Typing").fontName, "Times New Roman");
    EXPECT_FALSE(invoice.formatAt(u"1 Main St").bold);
    EXPECT_EQ(invoice.formatAt(u"1 Main St").sizeHalfPoints, 20);
}

TEST_F(InvoiceDocumentTest, ResultsTableWithHeadingBandsAndTotals)
{
    m_profile["RoundCountToNearestWholeNumber"] = "1";
    m_profile["ShowBillingRate"] = "1";
    m_rows.push_back(row("e.doc", "1", "$1.25", "/docs/e.doc"));
    const ReadInvoice invoice = build();
    ASSERT_EQ(invoice.tables.size(), 2u);
    const Table& results = invoice.tables[1];
    ASSERT_EQ(results.size(), 7u) << "heading, five documents, totals";

    EXPECT_EQ(texts(results[0]), (Strings{"Document Name", "Lines", "Amount:"}));
    EXPECT_EQ(texts(results[1]), (Strings{"a.doc", "3", "$3.13"}));
    EXPECT_EQ(texts(results[2]), (Strings{"b.doc", "4", "$4.38"}));
    EXPECT_EQ(texts(results[3]), (Strings{"c.doc", "", ""})) << "empty cells typed as they are";
    // 2.5 and 3.5 round to 2 and 4 before they are added: 2 + 4 + 1 + 1 = 8;
    // the amounts add as shown.
    EXPECT_EQ(texts(results[6]), (Strings{"Total:4    ( Billed @ $1.25 / Line )", "8", "$10.01"}));

    // Heading on black, every third document on 25% grey from the third on, totals on 50% grey.
    const uint32_t none = engine::AutoColor;
    const uint32_t shading[] = {InvoiceColor::Black, none, none, InvoiceColor::Gray25, none, InvoiceColor::Gray25,
                                InvoiceColor::Gray50};
    for (size_t r = 0; r < results.size(); ++r) {
        SCOPED_TRACE(r);
        for (const Cell& cell : results[r])
            EXPECT_EQ(cell.shading, shading[r]);
        EXPECT_EQ(results[r][0].alignment, Alignment::Left);
        EXPECT_EQ(results[r][1].alignment, Alignment::Right);
        EXPECT_EQ(results[r][2].alignment, Alignment::Right);
    }

    EXPECT_EQ(invoice.formatAt(u"Lines").color, InvoiceColor::White);
    EXPECT_TRUE(invoice.formatAt(u"Lines").bold);
    EXPECT_EQ(invoice.formatAt(u"Document Name").color, InvoiceColor::White) << "the colour the totals row left";
    EXPECT_EQ(invoice.formatAt(u"Total:4").sizeHalfPoints, 24);
    EXPECT_EQ(invoice.formatAt(u"Total:4").color, InvoiceColor::White);
    EXPECT_EQ(invoice.formatAt(u" Billed @").sizeHalfPoints, 20);
    EXPECT_EQ(invoice.formatAt(u")\a").sizeHalfPoints, 24);
    EXPECT_EQ(invoice.formatAt(u"a.doc").sizeHalfPoints, 20);
    EXPECT_FALSE(invoice.formatAt(u"a.doc").bold);

    const auto widths = std::find_if(invoice.doc->rowFormats.begin(), invoice.doc->rowFormats.end(),
                                     [](const auto& r) { return r.cells.size() == 3; });
    ASSERT_NE(widths, invoice.doc->rowFormats.end());
    EXPECT_EQ(widths->grid, (std::vector<engine::Twips>{6480, 1440, 1440}));
    EXPECT_EQ(invoice.paragraphsAfter, 1u);
    EXPECT_EQ(invoice.footer, "1\r");
    EXPECT_EQ(invoice.footerAlignment, Alignment::Right);
    // The footer's number is a PAGE field, so every page shows its own, and
    // the tables are placed the older way our own PDF places them.
    EXPECT_NE(invoice.footerXml.find("<w:instrText xml:space=\"preserve\"> PAGE </w:instrText>"),
              std::string::npos)
        << invoice.footerXml;
    EXPECT_EQ(invoice.doc->settings.compatibilityMode, 14);
}

// Each case changes a few keys; everything else must stay as the defaults make it.
TEST_F(InvoiceDocumentTest, SettingsChangeLetterheadAndTable)
{
    struct Case {
        const char* name;
        Keys options, profile;
        std::string sender =
            "Quill Typing|1 Main St|Springfield, IL 62701-1234|Phone: (217) 555-1234|Fax:    (217) 555-9876|";
        std::string billToLast = "Peoria, il 61602";
        Strings heading = {"Document Name", "Lines", "Amount:"};
        Strings firstRow = {"a.doc", "2.50", "$3.13"};
        Strings totals = {"Total:3", "7.00", "$8.76"};
        uint32_t totalsShading = InvoiceColor::Gray50;
    };
    const Case cases[] = {
        {.name = "empty phone and fax leave their lines, the date follows",
         .options = {{"Phone", " "}, {"Fax", ""}},
         .profile = {{"IncludeDate", "1"}},
         .sender = "Quill Typing|1 Main St|Springfield, IL 62701-1234|||Monday, November 02, 2026|"},
        {.name = "zips of 5 characters as stored, 9 through the mask; only 1 includes the date",
         .options = {{"Zip", "62701"}},
         .profile = {{"zip", "616021111"}, {"IncludeDate", "yes"}},
         .sender = "Quill Typing|1 Main St|Springfield, IL 62701|Phone: (217) 555-1234|Fax:    (217) 555-9876|",
         .billToLast = "Peoria, il 61602-1111"},
        {.name = "plain counts, no colour", .profile = {{"TableColor", "0"}}, .totalsShading = engine::AutoColor},
        {.name = "document paths", .profile = {{"ShowDocPath", "1"}}, .firstRow = {"/docs/a.doc", "2.50", "$3.13"}},
        {.name = "file dates under the name",
         .profile = {{"ShowFileCreateInfo", "Date Created"}},
         .firstRow = {"a.doc||Date Created 11/01/2026 /docs/a.doc|", "2.50", "$3.13"}},
        {.name = "unknown unit: no heading and no unit after the slash",
         .profile = {{"DonePer", "Paragraph"}, {"ShowBillingRate", " 1"}},
         .heading = {"Document Name", "", "Amount:"},
         .totals = {"Total:3    ( Billed @ $1.25 /  )", "7.00", "$8.76"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        for (const auto& [key, value] : c.options)
            m_options[key] = value;
        for (const auto& [key, value] : c.profile)
            m_profile[key] = value;
        const ReadInvoice invoice = build();
        ASSERT_EQ(invoice.tables.size(), 2u);
        EXPECT_EQ(invoice.tables[0][0][1].text, c.sender);
        EXPECT_EQ(invoice.tables[0][0][0].text, "|Bill To:|Acme Clinic|9 Oak Ave|" + c.billToLast + "|");
        const Table& results = invoice.tables[1];
        ASSERT_EQ(results.size(), 6u);
        EXPECT_EQ(texts(results[0]), c.heading);
        EXPECT_EQ(texts(results[1]), c.firstRow);
        EXPECT_EQ(texts(results[5]), c.totals);
        EXPECT_EQ(results[5][0].shading, c.totalsShading);
        EXPECT_EQ(results[3][0].shading, c.totalsShading == engine::AutoColor ? c.totalsShading : InvoiceColor::Gray25);
    }
}

TEST_F(InvoiceDocumentTest, WithoutCountedDocumentsOnlyTheLetterhead)
{
    m_profile = {{"DonePer", "Line"}, {"TableColor", "1"}}; // PrintCountedDoc missing: off
    const ReadInvoice invoice = build();
    ASSERT_EQ(invoice.tables.size(), 1u);
    EXPECT_EQ(invoice.paragraphsAfter, 4u) << "three empty lines and the last paragraph";
    EXPECT_EQ(invoice.doc->mainStory().text.find(u"Total:"), std::u16string::npos);
    EXPECT_EQ(invoice.footer, "1\r");
}

TEST_F(InvoiceDocumentTest, FailureReportsAndKeepsThePartialDocument)
{
    ReportSources sources;
    sources.settings.folder = m_folder;
    sources.rows = m_rows;
    sources.fileDate = [](const std::string&, const std::string&) -> std::string {
        throw std::runtime_error("the disk went away");
    };
    std::ofstream(m_folder / "Profiles.ini") << "[Acme Clinic]\nPrintCountedDoc=1\nShowFileCreateInfo=Date Created\n";
    Report report(std::move(sources), m_prompter);
    const auto doc = report.writereport("Acme Clinic");
    ASSERT_EQ(m_prompter.messages.size(), 1u);
    const Message& m = m_prompter.messages[0];
    EXPECT_EQ(m.title, "Error");
    EXPECT_EQ(m.icon, MessageIcon::Critical);
    EXPECT_NE(m.text.find("Error Message <<the disk went away>>"), std::string::npos);
    EXPECT_TRUE(m.text.ends_with("-Export To Report-"));
    // What was typed before the failure stays: the hidden line and the empty lines.
    ASSERT_TRUE(doc);
    EXPECT_TRUE(doc->mainStory().text.starts_with(u"Acme Clinic\r\r\r\r\r\r"));
    EXPECT_EQ(readBack(*doc, m_folder).footer, "1\r");
}

} // namespace
} // namespace qm::report
