// Tests for the invoice's number, digit-mask and long-date formats.
#include "report/ReportFormats.h"

#include <gtest/gtest.h>

namespace qm::report {
namespace {

using namespace std::chrono;

TEST(ReportFormats, NumbersRoundHalvesAwayFromZeroAtThePatternsDecimals)
{
    struct Case {
        double value;
        const char* pattern;
        const char* expected;
    };
    const Case cases[] = {
        {2.5, "##0", "3"},
        {3.5, "##0", "4"},
        {0.4, "##0", "0"},
        {0.0, "##0.00", "0.00"},
        {1234567.0, "##0", "1234567"},
        {2.675, "##0.00", "2.68"},
        {1.005, "##0.00", "1.01"},
        {12.3, "##0.00", "12.30"},
        {-0.004, "##0.00", "0.00"},
        {-2.5, "##0", "-3"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pattern) + " " + std::to_string(c.value));
        EXPECT_EQ(formatNumber(c.value, c.pattern), c.expected);
    }
}

TEST(ReportFormats, DigitMasksFillFromTheRightAndLeaveOtherTextAlone)
{
    struct Case {
        const char* text;
        const char* mask;
        const char* expected;
    };
    const Case cases[] = {
        {"123456789", "#####-####", "12345-6789"},
        {"012345678", "#####-####", "1234-5678"},
        {"12345-6789", "#####-####", "12345-6789"},
        {"5551234567", "(###) ###-####", "(555) 123-4567"},
        {" 5551234567 ", "(###) ###-####", "(555) 123-4567"},
        {"5551234", "(###) ###-####", "() 555-1234"},
        {"15551234567", "(###) ###-####", "1(555) 123-4567"},
        {"555-123-4567", "(###) ###-####", "555-123-4567"},
        {"", "(###) ###-####", ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.mask) + " '" + c.text + "'");
        EXPECT_EQ(formatDigits(c.text, c.mask), c.expected);
    }
}

TEST(ReportFormats, LongDateSpellsWeekdayAndMonthWithTwoDigitDay)
{
    EXPECT_EQ(formatLongDate(2024y / February / 29d), "Thursday, February 29, 2024");
    EXPECT_EQ(formatLongDate(2000y / January / 1d), "Saturday, January 01, 2000");
}

} // namespace
} // namespace qm::report
