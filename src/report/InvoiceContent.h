// The texts of the invoice, worked out before any document is built from them.
#pragma once

#include "app/CountRun.h"
#include "app/Money.h"

#include <chrono>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qm::report {

/// What the invoice needs from the options and the profile, already read.
struct InvoiceSettings {
    std::string profileName;
    std::string donePer;    ///< the profile's unit, e.g. "Gross Line"
    std::string billAmount; ///< the rate as stored, e.g. "$1.25"
    bool roundCountToNearestWholeNumber = false;
    bool printCountedDoc = true;
    bool tableColor = true;
    bool showDocPath = false;
    bool showBillingRate = false;
    std::string showFileCreateInfo; ///< "Date Created", "Date Last Modified", "Date Last Accessed" or other
    // Sender (the user's company).
    std::string companyName, address, city, state, zip, phone, fax;
    bool includeDate = false;
    // Bill-to (the profile's customer).
    std::string billAddress, billCity, billState, billZip;
    /// The invoice's number from the ledger; empty when the ledger could not
    /// record the run (the invoice says it has no number); none when the
    /// ledger is off.
    std::optional<std::string> invoiceNumber;
};

/// One result row of the invoice table: its three cell texts and whether it is banded.
struct InvoiceRow {
    std::string document;
    std::string count;
    std::string amount;
    bool banded = false;
};

/// The invoice's texts in reading order; the document builder turns them into stories.
struct InvoiceContent {
    std::string unitPlural;
    std::string unitSingular;
    std::vector<std::string> senderLines; ///< right cell of the letterhead, company name first
    std::vector<std::string> billToLines; ///< left cell, after its empty first line
    bool hasTable = false;
    std::vector<InvoiceRow> rows; ///< one per results grid row
    std::string totalLabel;       ///< "Total:3" for three counted documents
    std::string billedAt;         ///< " Billed @ $1.25 / Line " when the rate is shown
    std::string countTotal;
    std::string amountTotal;
};

/// The date of one kind for a file, as the browser shows it; empty when unknown.
using FileDateText = std::function<std::string(const std::string& path, const std::string& kind)>;

/// The plural and singular labels of a unit; both empty for a unit the program does not know.
struct UnitLabels {
    std::string plural;
    std::string singular;
};
[[nodiscard]] UnitLabels unitLabels(std::string_view donePer);

/// Works out every text of the invoice from the settings and the results grid.
[[nodiscard]] InvoiceContent invoiceContent(const InvoiceSettings& settings, std::span<const app::ResultRow> rows,
                                            std::chrono::year_month_day today, const app::CurrencyFormat& currency,
                                            const FileDateText& fileDate = {});

} // namespace qm::report
