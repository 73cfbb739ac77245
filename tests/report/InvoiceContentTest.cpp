// Tests for the invoice's texts: letterhead, bill-to block, rows, banding and totals.
#include "report/InvoiceContent.h"

#include <gtest/gtest.h>

#include <vector>

namespace qm::report {
namespace {

using namespace std::chrono;

InvoiceSettings baseSettings()
{
    InvoiceSettings s;
    s.profileName = "Acme Clinic";
    s.donePer = "Line";
    s.billAmount = "$1.25";
    s.companyName = "Quill Typing";
    s.address = "1 Main St";
    s.city = "Springfield";
    s.state = "il";
    s.zip = "627011234";
    s.phone = "2175551234";
    s.fax = "2175559876";
    s.billAddress = "9 Oak Ave";
    s.billCity = "Peoria";
    s.billState = "il";
    s.billZip = "61602";
    return s;
}

app::ResultRow row(const char* name, const char* count, const char* amount, const char* path = "")
{
    app::ResultRow r;
    r.name = name;
    r.count = count;
    r.amount = amount;
    r.path = path;
    return r;
}

InvoiceContent make(const InvoiceSettings& s, const std::vector<app::ResultRow>& rows)
{
    return invoiceContent(s, rows, 2026y / November / 2d, app::CurrencyFormat{},
        [](const std::string& path, const std::string& kind) { return kind + "@" + path; });
}

TEST(InvoiceContent, LetterheadAndBillToFormatTheirFields)
{
    struct Case {
        const char* name;
        std::function<void(InvoiceSettings&)> change;
        std::vector<std::string> sender;
        std::vector<std::string> billTo;
    };
    const Case cases[] = {
        {"full", [](InvoiceSettings&) {},
            {"Quill Typing", "1 Main St", "Springfield, IL 62701-1234", "Phone: (217) 555-1234",
                "Fax:    (217) 555-9876"},
            {"Bill To:", "Acme Clinic", "9 Oak Ave", "Peoria, il 61602"}},
        {"empty phone and fax keep their lines",
            [](InvoiceSettings& s) { s.phone = "  "; s.fax = ""; s.includeDate = true; },
            {"Quill Typing", "1 Main St", "Springfield, IL 62701-1234", "", "",
                "Monday, November 02, 2026"},
            {"Bill To:", "Acme Clinic", "9 Oak Ave", "Peoria, il 61602"}},
        {"zips of 10 and 9 characters",
            [](InvoiceSettings& s) { s.zip = "62701-1234"; s.billZip = "616021111"; },
            {"Quill Typing", "1 Main St", "Springfield, IL 62701-1234", "Phone: (217) 555-1234",
                "Fax:    (217) 555-9876"},
            {"Bill To:", "Acme Clinic", "9 Oak Ave", "Peoria, il 61602-1111"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        InvoiceSettings s = baseSettings();
        c.change(s);
        const InvoiceContent content = make(s, {});
        EXPECT_EQ(content.senderLines, c.sender);
        EXPECT_EQ(content.billToLines, c.billTo);
    }
}

TEST(InvoiceContent, RowsBandingAndTotals)
{
    InvoiceSettings s = baseSettings();
    s.showBillingRate = true;
    s.roundCountToNearestWholeNumber = true;
    const std::vector<app::ResultRow> rows = {row(" a.doc ", "2.5", "$3.13"),
        row("b.doc", "3.5", "$4.38"), row("c.doc", "", ""), row("d.doc", "1", "$1.25")};
    const InvoiceContent content = make(s, rows);
    ASSERT_TRUE(content.hasTable);
    ASSERT_EQ(content.rows.size(), 4u);
    EXPECT_EQ(content.rows[0].document, "a.doc");
    EXPECT_EQ(content.rows[0].count, "3"); // a single count goes through the format, halves up
    EXPECT_EQ(content.rows[2].count, ""); // an empty cell is typed as it is
    EXPECT_EQ(content.rows[2].amount, "");
    const bool banding[] = {false, false, true, false};
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(content.rows[i].banded, banding[i]);
    }
    EXPECT_EQ(content.totalLabel, "Total:5");
    EXPECT_EQ(content.billedAt, " Billed @ $1.25 / Line ");
    EXPECT_EQ(content.countTotal, "7"); // 2 + 4 + 1: the total rounds halves to even
    EXPECT_EQ(content.amountTotal, "$8.76");
}

TEST(InvoiceContent, OptionsChangeTheTable)
{
    const std::vector<app::ResultRow> rows = {row("a.doc", "12.345", "$1.00", " /d/a.doc "),
        row("b.doc", "1", "$1.00", "/d/b.doc"), row("c.doc", "1", "$1.00", "/d/c.doc")};
    InvoiceSettings s = baseSettings();
    s.printCountedDoc = false;
    EXPECT_FALSE(make(s, rows).hasTable);
    EXPECT_TRUE(make(s, rows).rows.empty());

    s = baseSettings();
    s.showDocPath = true;
    s.tableColor = false;
    s.showFileCreateInfo = "Date Last Modified";
    s.donePer = "Paragraph";
    const InvoiceContent content = make(s, rows);
    EXPECT_EQ(content.rows[0].document, "/d/a.doc\r|Date Last Modified Date Last Modified@ /d/a.doc |");
    EXPECT_EQ(content.rows[0].count, "12.35");
    EXPECT_FALSE(content.rows[2].banded);
    EXPECT_EQ(content.unitPlural, "");
    EXPECT_EQ(content.billedAt, "");
    EXPECT_EQ(content.countTotal, "14.35");
}

} // namespace
} // namespace qm::report
