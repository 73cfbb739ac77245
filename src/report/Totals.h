// The figures of the totals screen: documents, count total and amount total of a run.
#pragma once

#include "app/CountRun.h"
#include "app/Money.h"

#include <functional>
#include <optional>
#include <span>
#include <string>

namespace qm::report {

enum class CountRounding { Plain, WholeUnits };

/// The texts the totals screen shows, computed from the results grid.
struct Totals {
    std::string unitPlural;  ///< Label2
    std::string documents;   ///< Label4: the number of counted documents
    std::string countTotal;  ///< Label5: "##0" when rounding, else "##0.00"
    std::string amountTotal; ///< Label6: the locale's currency format
    double countValue = 0;
    app::Currency amountValue;
};

/// Asked before each row; true ends the walk early (the user pressed Stop).
using StopRequested = std::function<bool()>;

/// Sums the grid's count and amount cells, one row per document. The
/// documents figure is the number of rows that hold a result
/// (app::countedDocuments), so a row without one is not a document; empty
/// cells add nothing. With whole-unit rounding each count and the running
/// total are rounded half to even before adding, so 1.5 and 2.5 make 4.
/// Nothing when stopped early.
[[nodiscard]] std::optional<Totals> computeTotals(std::span<const app::ResultRow> rows, std::string unitPlural,
                                                  CountRounding rounding, const app::CurrencyFormat& currency,
                                                  const StopRequested& stopRequested = {});

/// The number at the start of a grid cell, as a count cell is read: blanks skipped,
/// digits with an optional sign and decimal point, anything after it ignored, 0 when
/// there is none.
[[nodiscard]] double leadingNumber(std::string_view text);

} // namespace qm::report
