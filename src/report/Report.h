// The billing report of a count run: the invoice document and the totals screen's figures.
#pragma once

#include "app/CountRun.h"
#include "engine/Prompter.h"
#include "engine/model/Document.h"
#include "report/InvoiceContent.h"
#include "report/Totals.h"
#include "settings/SettingsContext.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qm::report {

/// Everything the invoice reads from the profile's section of Profiles.ini
/// and from section "MAIN" of Options.ini, each key with its own default,
/// read now (settings are never cached between reports).
[[nodiscard]] InvoiceSettings readInvoiceSettings(const settings::SettingsContext& context,
                                                  const std::string& profileName);

/// A file's date of one kind ("Date Created", "Date Last Modified", "Date Last
/// Accessed") as "mm/dd/yyyy"; empty when the file cannot be examined.
[[nodiscard]] std::string fileDateText(const std::string& path, const std::string& kind);

/// What a report reads besides the settings: the results grid's document
/// rows, the locale's money format, the file-date service and the stop flag.
struct ReportSources {
    settings::SettingsContext settings;
    std::vector<app::ResultRow> rows;
    app::CurrencyFormat currency;
    FileDateText fileDate = fileDateText;
    StopRequested stopRequested;
    /// The run's invoice number, as InvoiceSettings::invoiceNumber.
    std::optional<std::string> invoiceNumber;
};

/// The report of one count run, made for one call and dropped after it.
class Report {
public:
    Report(ReportSources sources, Prompter& prompter);

    /// Builds the invoice for the profile. Never throws: a failure shows the
    /// "-Export To Report-" error report and the document built up to it is
    /// returned, partial as it is.
    std::unique_ptr<engine::Document> writereport(const std::string& profileName);

    /// Shows the figures of the run; the totals screen is one such `show`.
    using ShowTotals = std::function<void(const Totals& totals, const std::string& profileName)>;
    /// Works out the figures and hands them to `show`. Returns false, without
    /// showing anything, when a stop was asked for during the walk.
    bool ReportToWindow(const std::string& profileName, const ShowTotals& show);

private:
    ReportSources m_sources;
    Prompter& m_prompter;
};

} // namespace qm::report
