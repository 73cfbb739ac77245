// The formats the invoice types its numbers, zip codes, phone numbers and dates through.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace qm::report {

/// Formats a number through a "##0" or "##0.00" style pattern: as many decimals as the
/// pattern has zeros after its point, halves rounded away from zero (the way the
/// invoice's format function rounds; half-to-even rounding happens earlier, in the
/// totals), at least one integer digit, no grouping.
[[nodiscard]] std::string formatNumber(double value, std::string_view pattern);

/// Types a stored text through a digit mask such as "#####-####" or "(###) ###-####".
/// A text of digits only (blanks around it ignored) fills the mask's '#' places from
/// the right; places left over at the start stay empty while the literals stay, so
/// "5551234" becomes "() 555-1234". Any other text is returned unchanged, because the
/// mask only applies to numbers.
[[nodiscard]] std::string formatDigits(std::string_view text, std::string_view mask);

/// The long date of the invoice, "dddd, mmmm dd, yyyy": "Monday, November 02, 2026".
[[nodiscard]] std::string formatLongDate(std::chrono::year_month_day date);

} // namespace qm::report
