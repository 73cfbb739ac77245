// Fixed-point currency with four decimals, rounding half to even, and its display.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qm::app {

/// An amount of money in ten-thousandths of the unit, as the billing
/// figures are kept: sums of currency never drift the way doubles do.
struct Currency {
    int64_t units = 0; ///< value × 10,000

    static Currency fromDouble(double value); ///< rounded half to even at the fourth decimal
    double toDouble() const { return double(units) / 10000.0; }
    Currency operator+(Currency other) const { return Currency{units + other.units}; }
    bool operator==(const Currency&) const = default;
};

/// Rounds to a whole number, halves to the even neighbour (12.5 → 12, 13.5 → 14).
double roundHalfEven(double value);

/// Reads an amount as typed or stored: an optional currency symbol, digits
/// with optional thousands separators and a decimal point, a leading minus
/// or parentheses for a negative amount ("$1,234.50", "(2.00)", "0.00").
/// Nothing for any other text, which the caller reports as a profile error.
std::optional<Currency> parseCurrency(std::string_view text);

/// How the user's locale writes money. The fallback, for a locale that
/// defines none (the C and POSIX locales), is US dollars.
struct CurrencyFormat {
    std::string symbol = "$";
    bool symbolBefore = true;
    bool spaceBetween = false;
    std::string decimalPoint = ".";
    std::string thousandsSeparator = ",";
    int decimals = 2;
    bool parenthesesForNegative = true;

    static CurrencyFormat fromEnvironment(); ///< from the LC_MONETARY of the process
};

/// The amount as the format shows it: rounded, halves to even, to the
/// format's decimals. A bill's total is the sum of these, so it agrees with
/// the rows the customer reads.
Currency shownAmount(Currency amount, const CurrencyFormat& format = {});

/// "$1,234.50"; a negative amount in parentheses, "($2.00)", as the US format writes it.
std::string formatCurrency(Currency amount, const CurrencyFormat& format = {});

/// A number as plain text: up to 15 significant digits, no exponent for
/// everyday magnitudes, no trailing zeros ("12.4", "1234", "0.0833333333333333").
std::string plainNumber(double value);

/// A count as the results grid and the command line's table show it: a whole
/// number as it is ("1234"), anything else with two decimals ("11.71"), so a
/// reader sees billable figures, not the float behind them. The full value
/// stays in the row for JSON, CSV, the totals and the invoice.
std::string shownCount(double value);

} // namespace qm::app
