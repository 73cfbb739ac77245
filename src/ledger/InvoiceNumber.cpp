// Invoice numbers: a sequence number set in the user's format.
#include "ledger/InvoiceNumber.h"

#include <charconv>
#include <stdexcept>

namespace qm::ledger {

namespace {

std::string padded(int64_t value, size_t width)
{
    std::string digits = std::to_string(value);
    if (digits.size() < width)
        digits.insert(0, width - digits.size(), '0');
    return digits;
}

} // namespace

std::string formatInvoiceNumber(std::string_view format, int64_t n, std::chrono::year_month_day day)
{
    std::string out;
    bool hasNumber = false;
    size_t i = 0;
    while (i < format.size()) {
        if (format[i] != '{') {
            out += format[i++];
            continue;
        }
        const size_t close = format.find('}', i);
        if (close == std::string_view::npos)
            throw std::invalid_argument("the invoice number format \"" + std::string(format) +
                                        "\" has a \"{\" without its \"}\"");
        const std::string_view field = format.substr(i + 1, close - i - 1);
        if (field == "yyyy") {
            out += padded(int(day.year()), 4);
        } else if (field == "yy") {
            out += padded(int(day.year()) % 100, 2);
        } else if (field == "mm") {
            out += padded(unsigned(day.month()), 2);
        } else if (field == "dd") {
            out += padded(unsigned(day.day()), 2);
        } else if (field == "n") {
            out += std::to_string(n);
            hasNumber = true;
        } else if (field.starts_with("n:0") && field.size() > 3) {
            unsigned width = 0;
            const auto [end, error] = std::from_chars(field.data() + 3, field.data() + field.size(), width);
            if (error != std::errc() || end != field.data() + field.size() || width > 20)
                throw std::invalid_argument("the invoice number format \"" + std::string(format) +
                                            "\" has an unknown field {" + std::string(field) + "}");
            out += padded(n, width);
            hasNumber = true;
        } else {
            throw std::invalid_argument("the invoice number format \"" + std::string(format) +
                                        "\" has an unknown field {" + std::string(field) + "}");
        }
        i = close + 1;
    }
    if (!hasNumber)
        throw std::invalid_argument("the invoice number format \"" + std::string(format) +
                                    "\" has no {n}, so invoices would share a number");
    return out;
}

} // namespace qm::ledger
