// Invoice numbers: a sequence number set in the user's format.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace qm::ledger {

inline constexpr std::string_view kDefaultInvoiceNumberFormat = "{yyyy}-{n:04}";

/// The invoice number `n` issued on `day` in `format`: "{yyyy}", "{yy}",
/// "{mm}", "{dd}" stand for the day, "{n}" for the number and "{n:05}" for
/// it padded with zeros to five digits; any other text is kept as it is.
/// Throws std::invalid_argument for a format without "{n}" (two invoices
/// would share a number) or with an unknown field.
std::string formatInvoiceNumber(std::string_view format, int64_t n, std::chrono::year_month_day day);

} // namespace qm::ledger
