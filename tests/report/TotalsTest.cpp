// Tests for the totals screen's figures.
#include "report/Totals.h"

#include <gtest/gtest.h>

#include <vector>

namespace qm::report {
namespace {

app::ResultRow row(const char* count, const char* amount)
{
    app::ResultRow r;
    r.name = "doc";
    r.count = count;
    r.amount = amount;
    return r;
}

TEST(Totals, SumsCountsAndAmountsWithAndWithoutRounding)
{
    struct Case {
        const char* name;
        std::vector<app::ResultRow> rows;
        CountRounding rounding;
        const char* documents;
        const char* count;
        const char* amount;
    };
    const Case cases[] = {
        {"no results", {}, CountRounding::Plain, "0", "0.00", "$0.00"},
        {"no results rounded", {}, CountRounding::WholeUnits, "0", "0", "$0.00"},
        {"halves to even", {row("1.5", "$1.00"), row("2.5", "$2.00")}, CountRounding::WholeUnits,
            "2", "4", "$3.00"},
        {"plain sum", {row("1.5", "$1.00"), row("2.5", "$2.00")}, CountRounding::Plain, "2",
            "4.00", "$3.00"},
        {"3.5 rounds up", {row("3.5", ""), row("0.4", "")}, CountRounding::WholeUnits, "2", "4",
            "$0.00"},
        {"a row without a count is not a document", {row("", ""), row("12.25", "$1,234.5678")},
            CountRounding::Plain, "1", "12.25", "$1,234.57"},
        {"amounts add in fixed point", {row("1", "$0.10"), row("1", "$0.20"), row("1", "$0.30")},
            CountRounding::Plain, "3", "3.00", "$0.60"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const auto totals = computeTotals(c.rows, "Gross Lines", c.rounding, app::CurrencyFormat{});
        ASSERT_TRUE(totals.has_value());
        EXPECT_EQ(totals->unitPlural, "Gross Lines");
        EXPECT_EQ(totals->documents, c.documents);
        EXPECT_EQ(totals->countTotal, c.count);
        EXPECT_EQ(totals->amountTotal, c.amount);
    }
}

TEST(Totals, StopEndsTheWalkWithoutFigures)
{
    const std::vector<app::ResultRow> rows = {row("1", "$1.00"), row("2", "$2.00")};
    int asked = 0;
    const auto totals = computeTotals(rows, "Pages", CountRounding::Plain, app::CurrencyFormat{},
        [&] { return ++asked == 2; });
    EXPECT_FALSE(totals.has_value());
    EXPECT_EQ(asked, 2);
}

TEST(Totals, LeadingNumberReadsTheNumericStartOfACell)
{
    EXPECT_DOUBLE_EQ(leadingNumber(" 12.5 lines"), 12.5);
    EXPECT_DOUBLE_EQ(leadingNumber("-3"), -3.0);
    EXPECT_DOUBLE_EQ(leadingNumber("Gross Lines"), 0.0);
    EXPECT_DOUBLE_EQ(leadingNumber("1.2.3"), 1.2);
    EXPECT_DOUBLE_EQ(leadingNumber(""), 0.0);
}

} // namespace
} // namespace qm::report
