// Currency arithmetic, parsing and locale formatting.
#include "app/Money.h"

#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <langinfo.h>
#include <locale.h>

namespace qm::app {

double roundHalfEven(double value)
{
    return std::nearbyint(value); // the default rounding mode rounds halves to even
}

Currency Currency::fromDouble(double value) { return Currency{static_cast<int64_t>(std::nearbyint(value * 10000.0))}; }

std::optional<Currency> parseCurrency(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    bool negative = false;
    if (text.size() >= 2 && text.front() == '(' && text.back() == ')') {
        negative = true;
        text = text.substr(1, text.size() - 2);
    }
    if (!text.empty() && text.front() == '-') {
        negative = !negative;
        text.remove_prefix(1);
    }
    if (!text.empty() && text.front() == '$')
        text.remove_prefix(1);
    int64_t whole = 0;
    int64_t fraction = 0;
    int fractionDigits = 0;
    bool digits = false, point = false;
    for (char c : text) {
        if (c >= '0' && c <= '9') {
            digits = true;
            if (!point) {
                if (whole > (INT64_MAX / 10 - 9) / 10000)
                    return std::nullopt;
                whole = whole * 10 + (c - '0');
            } else if (fractionDigits < 4) {
                fraction = fraction * 10 + (c - '0');
                ++fractionDigits;
            } else if (fractionDigits == 4) {
                // Beyond four decimals: round half to even on the next digit.
                const int next = c - '0';
                if (next > 5 || (next == 5 && (fraction % 2 == 1)))
                    ++fraction;
                ++fractionDigits;
            }
        } else if (c == ',' && !point) {
            continue;
        } else if (c == '.' && !point) {
            point = true;
        } else {
            return std::nullopt;
        }
    }
    if (!digits)
        return std::nullopt;
    for (int d = std::min(fractionDigits, 4); d < 4; ++d)
        fraction *= 10;
    const int64_t units = whole * 10000 + fraction;
    return Currency{negative ? -units : units};
}

CurrencyFormat CurrencyFormat::fromEnvironment()
{
    CurrencyFormat format;
    locale_t locale = newlocale(LC_MONETARY_MASK, "", static_cast<locale_t>(nullptr));
    if (!locale)
        return format;
    const std::string symbol = nl_langinfo_l(CRNCYSTR, locale);
    // CRNCYSTR starts with '-' (before), '+' (after) or '.' (replaces the point).
    if (symbol.size() > 1 && (symbol[0] == '-' || symbol[0] == '+')) {
        format.symbol = symbol.substr(1);
        format.symbolBefore = symbol[0] == '-';
        format.decimalPoint = nl_langinfo_l(MON_DECIMAL_POINT, locale);
        format.thousandsSeparator = nl_langinfo_l(MON_THOUSANDS_SEP, locale);
        const char digits = *nl_langinfo_l(FRAC_DIGITS, locale);
        if (digits >= 0 && digits <= 4)
            format.decimals = digits;
        format.spaceBetween = *nl_langinfo_l(P_SEP_BY_SPACE, locale) == 1;
        format.parenthesesForNegative = *nl_langinfo_l(N_SIGN_POSN, locale) == 0;
        if (format.decimalPoint.empty())
            format.decimalPoint = ".";
    }
    freelocale(locale);
    return format;
}

Currency shownAmount(Currency amount, const CurrencyFormat& format)
{
    const bool negative = amount.units < 0;
    const int64_t magnitude = negative ? -amount.units : amount.units;
    int64_t scale = 1;
    for (int d = format.decimals; d < 4; ++d)
        scale *= 10;
    int64_t shown = magnitude / scale;
    const int64_t rest = magnitude % scale;
    if (rest * 2 > scale || (rest * 2 == scale && shown % 2 == 1))
        ++shown;
    return Currency{(negative ? -shown : shown) * scale};
}

std::string formatCurrency(Currency amount, const CurrencyFormat& format)
{
    const bool negative = amount.units < 0;
    int64_t scale = 1;
    for (int d = format.decimals; d < 4; ++d)
        scale *= 10;
    const int64_t rounded = shownAmount(amount, format).units;
    const int64_t shown = (negative ? -rounded : rounded) / scale;
    int64_t decimalsScale = 1;
    for (int d = 0; d < format.decimals; ++d)
        decimalsScale *= 10;
    std::string whole = std::to_string(shown / decimalsScale);
    std::string grouped;
    for (size_t i = 0; i < whole.size(); ++i) {
        if (i > 0 && (whole.size() - i) % 3 == 0)
            grouped += format.thousandsSeparator;
        grouped += whole[i];
    }
    std::string number = grouped;
    if (format.decimals > 0) {
        std::string fraction = std::to_string(shown % decimalsScale);
        fraction.insert(0, size_t(format.decimals) - fraction.size(), '0');
        number += format.decimalPoint + fraction;
    }
    const std::string gap = format.spaceBetween ? " " : "";
    std::string text = format.symbolBefore ? format.symbol + gap + number : number + gap + format.symbol;
    if (negative)
        text = format.parenthesesForNegative ? "(" + text + ")" : "-" + text;
    return text;
}

std::string shownCount(double value)
{
    const double whole = std::nearbyint(value);
    if (std::fabs(value - whole) < 1e-9 && std::fabs(whole) < 1e15)
        return plainNumber(whole);
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    return std::strcmp(text, "-0.00") == 0 ? "0.00" : text;
}

std::string plainNumber(double value)
{
    if (value == 0)
        return "0";
    char text[64];
    std::snprintf(text, sizeof text, "%.15g", value);
    std::string s = text;
    if (s.find('e') != std::string::npos)
        return s;
    if (s.find('.') != std::string::npos) {
        while (s.back() == '0')
            s.pop_back();
        if (s.back() == '.')
            s.pop_back();
    }
    return s;
}

} // namespace qm::app
