// The formats the invoice types its numbers, zip codes, phone numbers and dates through.
#include "report/ReportFormats.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace qm::report {

namespace {

int decimalsOf(std::string_view pattern)
{
    const auto point = pattern.find('.');
    if (point == std::string_view::npos)
        return 0;
    return static_cast<int>(std::count(pattern.begin() + static_cast<std::ptrdiff_t>(point), pattern.end(), '0'));
}

std::string_view trimBlanks(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

} // namespace

std::string formatNumber(double value, std::string_view pattern)
{
    assert(pattern.find_first_not_of("#0.") == std::string_view::npos);
    if (!std::isfinite(value))
        return {};
    const int decimals = decimalsOf(pattern);
    // Scale through a 15-digit decimal text first so that a value typed as 2.675 rounds
    // as the decimal the user sees, not as its slightly smaller binary neighbour.
    const double scaled = value * std::pow(10.0, decimals);
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%.15g", scaled);
    const double rounded = std::round(std::strtod(buffer, nullptr)) / std::pow(10.0, decimals);
    if (std::fabs(rounded) >= 1e18)
        return {};
    std::snprintf(buffer, sizeof buffer, "%.*f", decimals, rounded);
    std::string text = buffer;
    if (text.starts_with("-") && text.find_first_not_of("-0.") == std::string::npos)
        text.erase(0, 1);
    return text;
}

std::string formatDigits(std::string_view text, std::string_view mask)
{
    const std::string_view digits = trimBlanks(text);
    if (digits.empty() || digits.find_first_not_of("0123456789") != std::string_view::npos)
        return std::string(text);
    // Leading zeros carry no value in a number, so they never reach the mask.
    std::string_view significant = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    std::string out(mask);
    auto next = significant.rbegin();
    for (auto place = out.rbegin(); place != out.rend(); ++place) {
        if (*place != '#')
            continue;
        if (next != significant.rend())
            *place = *next++;
        else
            *place = '\0';
    }
    std::erase(out, '\0');
    // Digits beyond the mask's places go in front, as a number never loses digits.
    return std::string(significant.substr(0, static_cast<std::size_t>(significant.rend() - next))) + out;
}

std::string formatLongDate(std::chrono::year_month_day date)
{
    static constexpr std::array<const char*, 7> weekdays = {
        "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    static constexpr std::array<const char*, 12> months = {"January", "February", "March",
        "April", "May", "June", "July", "August", "September", "October", "November", "December"};
    assert(date.ok());
    const std::chrono::weekday weekday{std::chrono::sys_days{date}};
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%s, %s %02u, %d", weekdays[weekday.c_encoding()],
        months[static_cast<unsigned>(date.month()) - 1], static_cast<unsigned>(date.day()),
        static_cast<int>(date.year()));
    return buffer;
}

} // namespace qm::report
