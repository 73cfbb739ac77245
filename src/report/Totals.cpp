// The figures of the totals screen: documents, count total and amount total of a run.
#include "report/Totals.h"

#include "report/ReportFormats.h"

#include <cstdlib>

namespace qm::report {

double leadingNumber(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
        ++i;
    std::string number;
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        number += text[i++];
    bool seenPoint = false;
    bool seenDigit = false;
    for (; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            number += c;
            seenDigit = true;
        } else if (c == '.' && !seenPoint) {
            number += c;
            seenPoint = true;
        } else {
            break;
        }
    }
    return seenDigit ? std::strtod(number.c_str(), nullptr) : 0.0;
}

std::optional<Totals> computeTotals(std::span<const app::ResultRow> rows, std::string unitPlural,
                                    CountRounding rounding, const app::CurrencyFormat& currency,
                                    const StopRequested& stopRequested)
{
    Totals totals;
    totals.unitPlural = std::move(unitPlural);
    for (const app::ResultRow& row : rows) {
        if (stopRequested && stopRequested())
            return std::nullopt;
        if (!row.count.empty()) {
            const double value = leadingNumber(row.count);
            totals.countValue = rounding == CountRounding::WholeUnits
                                    ? app::roundHalfEven(totals.countValue) + app::roundHalfEven(value)
                                    : totals.countValue + value;
        }
        // An amount cell that is not money (never written by a run) adds nothing
        // rather than ending the screen.
        if (!row.amount.empty())
            if (const auto amount = app::parseCurrency(row.amount))
                totals.amountValue = totals.amountValue + *amount;
    }
    totals.documents = std::to_string(app::countedDocuments(rows));
    totals.countTotal = formatNumber(totals.countValue, rounding == CountRounding::WholeUnits ? "##0" : "##0.00");
    totals.amountTotal = app::formatCurrency(totals.amountValue, currency);
    return totals;
}

} // namespace qm::report
