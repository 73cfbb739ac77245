// Tests for the invoice document: written as .docx and read back with our own reader.
#include "engine/formats/Reader.h"
#include "engine/formats/docxwriter/DocxWriter.h"
#include "report/InvoiceDocument.h"
#include "report/Report.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <unistd.h>

namespace qm::report {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono;
using engine::Document;

struct Cell {
    std::vector<std::string> paragraphs;
    uint32_t shading = engine::AutoColor;
    engine::Alignment alignment = engine::Alignment::Left;
};
using Row = std::vector<Cell>;
using Table = std::vector<Row>;

/// The invoice as our reader sees it: the paragraphs before the first table,
/// the tables cell by cell, the paragraphs after the last one, the footer.
struct ReadInvoice {
    std::unique_ptr<Document> doc;
    std::vector<std::string> before;
    std::vector<Table> tables;
    size_t paragraphsAfter = 0;
    std::string footer;
    engine::Alignment footerAlignment = engine::Alignment::Left;
    std::string footerXml; ///< the footer part as written, where its field shows
};

std::string utf8(std::u16string_view text)
{
    std::string out;
    for (char16_t c : text)
        out += static_cast<char>(c < 128 ? c : '?');
    return out;
}

std::vector<std::string> paragraphs(const Document& doc, uint32_t from, uint32_t to)
{
    std::vector<std::string> out;
    const engine::Story& s = doc.mainStory();
    uint32_t start = from;
    for (uint32_t i = from; i < to; ++i) {
        if (doc.endsParagraph(0, i)) {
            out.push_back(utf8(std::u16string_view(s.text).substr(start, i - start)));
            start = i + 1;
        }
    }
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
        Table table;
        for (const engine::TableRow& r : t.rows) {
            Row row;
            const engine::TableRowFormat& format = doc.rowFormats.at(static_cast<size_t>(r.rowFormat));
            for (size_t c = 0; c < r.cells.size(); ++c) {
                Cell cell;
                cell.paragraphs = paragraphs(doc, r.cells[c].start, r.cells[c].end + 1);
                cell.shading = c < format.cells.size() ? format.cells[c].shading : engine::AutoColor;
                cell.alignment = doc.paraFormatOf(doc.mainStory(), r.cells[c].end).alignment;
                row.push_back(cell);
            }
            table.push_back(row);
        }
        out.tables.push_back(table);
    }
    out.paragraphsAfter = tables.empty() ? 0 : paragraphs(doc, tables.back().end, doc.mainStory().size()).size();
    const int32_t footer = doc.footerStory(0, engine::HeaderFooterIndex::Primary);
    if (footer > 0) {
        const engine::Story& s = doc.stories[static_cast<size_t>(footer)];
        out.footer = utf8(s.text);
        out.footerAlignment = doc.paraFormatOf(s, s.size() - 1).alignment;
    }
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

using Keys = std::vector<std::pair<std::string, std::string>>;

/// Sets keys of an INI section's lines, replacing a key already there.
void set(Keys& keys, const Keys& changes)
{
    for (const auto& [key, value] : changes) {
        const auto it = std::find_if(keys.begin(), keys.end(), [&](const auto& e) { return e.first == key; });
        if (it != keys.end())
            it->second = value;
        else
            keys.emplace_back(key, value);
    }
}

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
        m_rows = {row("a.doc", "2.5", "$3.13", "/docs/a.doc"), row("b.doc", "3.5", "$4.38", "/docs/b.doc"),
                  row("c.doc", "", "", "/docs/c.doc"), row("d.doc", "1", "$1.25", "/docs/d.doc")};
    }
    void TearDown() override { fs::remove_all(m_folder); }

    ReadInvoice build()
    {
        std::ofstream options(m_folder / "Options.ini");
        options << "[MAIN]\n";
        for (const auto& [k, v] : m_options)
            options << k << "=" << v << "\n";
        options.close();
        std::ofstream profiles(m_folder / "Profiles.ini");
        profiles << "[Acme Clinic]\n";
        for (const auto& [k, v] : m_profile)
            profiles << k << "=" << v << "\n";
        profiles.close();

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

std::vector<std::string> texts(const Row& row)
{
    std::vector<std::string> out;
    for (const Cell& c : row) {
        std::string joined;
        for (size_t i = 0; i < c.paragraphs.size(); ++i)
            joined += (i ? "|" : "") + c.paragraphs[i];
        out.push_back(joined);
    }
    return out;
}

TEST_F(InvoiceDocumentTest, HiddenLineLetterheadAndBillTo)
{
    const ReadInvoice invoice = build();
    ASSERT_TRUE(invoice.doc);
    // The profile name, then five empty lines before the letterhead.
    EXPECT_EQ(invoice.before, (std::vector<std::string>{"Acme Clinic", "", "", "", "", ""}));
    const engine::CharFormat& hidden = invoice.doc->charFormatAt(invoice.doc->mainStory(), 0);
    EXPECT_EQ(hidden.sizeHalfPoints, 2);
    EXPECT_EQ(hidden.color, InvoiceColor::White);
    EXPECT_EQ(invoice.doc->charFormatAt(invoice.doc->mainStory(), 12).sizeHalfPoints, 20) << "10 point after it";

    ASSERT_EQ(invoice.tables.size(), 2u);
    const Table& letterhead = invoice.tables[0];
    ASSERT_EQ(letterhead.size(), 1u);
    ASSERT_EQ(letterhead[0].size(), 2u);
    // Each block ends with its own line's mark, then the cell's empty paragraph.
    EXPECT_EQ(letterhead[0][0].paragraphs,
              (std::vector<std::string>{"", "Bill To:", "Acme Clinic", "9 Oak Ave", "Peoria, il 61602", ""}));
    EXPECT_EQ(letterhead[0][1].paragraphs,
              (std::vector<std::string>{"Quill Typing", "1 Main St", "Springfield, IL 62701-1234",
                                        "Phone: (217) 555-1234", "Fax:    (217) 555-9876", ""}));
    EXPECT_EQ(letterhead[0][1].alignment, engine::Alignment::Right);
    EXPECT_EQ(letterhead[0][0].alignment, engine::Alignment::Left);
    const auto& rowFormats = invoice.doc->rowFormats;
    const auto letterRow = std::find_if(rowFormats.begin(), rowFormats.end(),
                                        [](const auto& r) { return r.cells.size() == 2; });
    ASSERT_NE(letterRow, rowFormats.end());
    EXPECT_FALSE(letterRow->borders);
    EXPECT_EQ(letterRow->grid, (std::vector<engine::Twips>{4680, 4680}));

    // The company name is bold 18 point Times New Roman; the address is 10 point.
    const engine::Story& main = invoice.doc->mainStory();
    const auto company = main.text.find(u"Quill Typing");
    ASSERT_NE(company, std::u16string::npos);
    const engine::CharFormat& name = invoice.doc->charFormatAt(main, static_cast<uint32_t>(company));
    EXPECT_TRUE(name.bold);
    EXPECT_EQ(name.sizeHalfPoints, 36);
    EXPECT_EQ(name.fontName, "Times New Roman");
    const auto street = main.text.find(u"1 Main St");
    EXPECT_FALSE(invoice.doc->charFormatAt(main, static_cast<uint32_t>(street)).bold);
    EXPECT_EQ(invoice.doc->charFormatAt(main, static_cast<uint32_t>(street)).sizeHalfPoints, 20);
}

TEST_F(InvoiceDocumentTest, LetterheadFieldsVary)
{
    struct Case {
        const char* name;
        Keys options;
        Keys profile;
        std::vector<std::string> sender;
        std::string billToLastLine;
    };
    const Case cases[] = {
        {"empty phone and fax leave their lines, the date follows",
         {{"Phone", " "}, {"Fax", ""}},
         {{"IncludeDate", "1"}},
         {"Quill Typing", "1 Main St", "Springfield, IL 62701-1234", "", "", "Monday, November 02, 2026", ""},
         "Peoria, il 61602"},
        {"zips of 5 and 10 characters as stored, 9 through the mask",
         {{"Zip", "62701"}},
         {{"zip", "616021111"}, {"IncludeDate", "yes"}},
         {"Quill Typing", "1 Main St", "Springfield, IL 62701", "Phone: (217) 555-1234", "Fax:    (217) 555-9876", ""},
         "Peoria, il 61602-1111"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        set(m_options, c.options);
        set(m_profile, c.profile);
        const ReadInvoice invoice = build();
        ASSERT_FALSE(invoice.tables.empty());
        EXPECT_EQ(invoice.tables[0][0][1].paragraphs, c.sender);
        EXPECT_EQ(invoice.tables[0][0][0].paragraphs.at(4), c.billToLastLine);
    }
}

TEST_F(InvoiceDocumentTest, ResultsTableWithHeadingBandsAndTotals)
{
    set(m_profile, {{"RoundCountToNearestWholeNumber", "1"}, {"ShowBillingRate", "1"}});
    m_rows.push_back(row("e.doc", "1", "$1.25", "/docs/e.doc"));
    const ReadInvoice invoice = build();
    ASSERT_EQ(invoice.tables.size(), 2u);
    EXPECT_EQ(invoice.tables[0].size(), 1u);
    const Table& results = invoice.tables[1];
    ASSERT_EQ(results.size(), 7u) << "heading, five documents, totals";

    EXPECT_EQ(texts(results[0]), (std::vector<std::string>{"Document Name", "Lines", "Amount:"}));
    EXPECT_EQ(texts(results[1]), (std::vector<std::string>{"a.doc", "3", "$3.13"}));
    EXPECT_EQ(texts(results[3]), (std::vector<std::string>{"c.doc", "", ""})) << "empty cells typed as they are";
    // 2.5 and 3.5 round to 2 and 4 before they are added: 2 + 4 + 1 + 1 = 8.
    EXPECT_EQ(texts(results[6]),
              (std::vector<std::string>{"Total:6    ( Billed @ $1.25 / Line )", "8", "$10.01"}));

    // Heading on black, every third document on 25% grey from the third on, totals on 50% grey.
    const uint32_t none = engine::AutoColor;
    const uint32_t shading[] = {InvoiceColor::Black, none, none, InvoiceColor::Gray25, none, InvoiceColor::Gray25,
                                InvoiceColor::Gray50};
    for (size_t r = 0; r < results.size(); ++r) {
        SCOPED_TRACE(r);
        for (const Cell& cell : results[r])
            EXPECT_EQ(cell.shading, shading[r]);
        EXPECT_EQ(results[r][0].alignment, engine::Alignment::Left);
        EXPECT_EQ(results[r][1].alignment, engine::Alignment::Right);
        EXPECT_EQ(results[r][2].alignment, engine::Alignment::Right);
    }

    const engine::Story& main = invoice.doc->mainStory();
    auto formatAt = [&](std::u16string_view text) -> const engine::CharFormat& {
        const auto at = main.text.find(text);
        EXPECT_NE(at, std::u16string::npos);
        return invoice.doc->charFormatAt(main, static_cast<uint32_t>(std::min<size_t>(at, main.size() - 1)));
    };
    EXPECT_EQ(formatAt(u"Lines").color, InvoiceColor::White);
    EXPECT_TRUE(formatAt(u"Lines").bold);
    EXPECT_EQ(formatAt(u"Document Name").color, InvoiceColor::White) << "the colour the totals row left";
    EXPECT_EQ(formatAt(u"Total:6").sizeHalfPoints, 24);
    EXPECT_EQ(formatAt(u"Total:6").color, InvoiceColor::White);
    EXPECT_EQ(formatAt(u" Billed @").sizeHalfPoints, 20);
    EXPECT_EQ(formatAt(u")\a").sizeHalfPoints, 24);
    EXPECT_EQ(formatAt(u"a.doc").sizeHalfPoints, 20);
    EXPECT_FALSE(formatAt(u"a.doc").bold);

    const auto widths = std::find_if(invoice.doc->rowFormats.begin(), invoice.doc->rowFormats.end(),
                                     [](const auto& r) { return r.cells.size() == 3; });
    ASSERT_NE(widths, invoice.doc->rowFormats.end());
    EXPECT_EQ(widths->grid, (std::vector<engine::Twips>{6480, 1440, 1440}));
    EXPECT_EQ(invoice.paragraphsAfter, 1u);
    EXPECT_EQ(invoice.footer, "1\r");
    EXPECT_EQ(invoice.footerAlignment, engine::Alignment::Right);
    // The footer's number is a PAGE field, so every page shows its own, and
    // the tables are placed the older way our own PDF places them.
    EXPECT_NE(invoice.footerXml.find("<w:instrText xml:space=\"preserve\"> PAGE </w:instrText>"),
              std::string::npos)
        << invoice.footerXml;
    EXPECT_EQ(invoice.doc->settings.compatibilityMode, 14);
}

TEST_F(InvoiceDocumentTest, ProfileSwitchesChangeTheTable)
{
    struct Case {
        const char* name;
        Keys profile;
        std::vector<std::string> firstRow;
        std::vector<std::string> totals;
        std::vector<std::string> heading;
        uint32_t totalsShading;
    };
    const uint32_t none = engine::AutoColor;
    const Case cases[] = {
        {"plain counts, no colour",
         {{"TableColor", "0"}},
         {"a.doc", "2.50", "$3.13"},
         {"Total:5", "7.00", "$8.76"},
         {"Document Name", "Lines", "Amount:"},
         none},
        {"document paths",
         {{"ShowDocPath", "1"}},
         {"/docs/a.doc", "2.50", "$3.13"},
         {"Total:5", "7.00", "$8.76"},
         {"Document Name", "Lines", "Amount:"},
         InvoiceColor::Gray50},
        {"file dates under the name",
         {{"ShowFileCreateInfo", "Date Created"}},
         {"a.doc||Date Created 11/01/2026 /docs/a.doc|", "2.50", "$3.13"},
         {"Total:5", "7.00", "$8.76"},
         {"Document Name", "Lines", "Amount:"},
         InvoiceColor::Gray50},
        {"unknown unit: no heading and no unit after the slash",
         {{"DonePer", "Paragraph"}, {"ShowBillingRate", " 1"}},
         {"a.doc", "2.50", "$3.13"},
         {"Total:5    ( Billed @ $1.25 /  )", "7.00", "$8.76"},
         {"Document Name", "", "Amount:"},
         InvoiceColor::Gray50},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        SetUp();
        set(m_profile, c.profile);
        const ReadInvoice invoice = build();
        ASSERT_EQ(invoice.tables.size(), 2u);
        const Table& results = invoice.tables[1];
        ASSERT_EQ(results.size(), 6u);
        EXPECT_EQ(texts(results[0]), c.heading);
        EXPECT_EQ(texts(results[1]), c.firstRow);
        EXPECT_EQ(texts(results[5]), c.totals);
        EXPECT_EQ(results[5][0].shading, c.totalsShading);
        EXPECT_EQ(results[3][0].shading, c.totalsShading == none ? none : InvoiceColor::Gray25);
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
    {
        std::ofstream profiles(m_folder / "Profiles.ini");
        profiles << "[Acme Clinic]\nPrintCountedDoc=1\nShowFileCreateInfo=Date Created\n";
    }
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
    const ReadInvoice invoice = readBack(*doc, m_folder);
    EXPECT_EQ(invoice.footer, "1\r");
}

} // namespace
} // namespace qm::report
