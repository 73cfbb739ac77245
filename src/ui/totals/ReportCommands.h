// What follows a finished count run on the desktop: the invoice, or the totals screen first.
#pragma once

#include "app/CountRun.h"

#include <QString>
#include <filesystem>
#include <functional>
#include <optional>

class QWidget;

namespace qm::ui {

class frmMain;
class frmTotals;

/// Asks where to keep the invoice, offering .docx and .pdf; nothing when cancelled.
std::optional<std::filesystem::path> askInvoicePath(QWidget* parent, const std::filesystem::path& suggested);
/// Opens a file in the desktop's default application for its kind.
bool openWithDesktop(const std::filesystem::path& file);

/// The desktop pieces the report uses; tests put scripted ones in their place.
struct ReportServices {
    std::function<std::optional<std::filesystem::path>(QWidget* parent, const std::filesystem::path& suggested)>
        askSavePath = askInvoicePath;
    std::function<bool(const std::filesystem::path&)> open = openWithDesktop;
    /// Where an invoice nobody chose a place for is kept; empty for the
    /// desktop's temporary folder.
    std::filesystem::path temporaryFolder;
    /// Runs the totals screen modally.
    std::function<void(frmTotals&)> runTotals;
    /// The invoice number of the run just finished (the ledger's); none when
    /// there is no ledger, empty when the ledger could not record the run.
    std::function<std::optional<std::string>()> invoiceNumber;
    /// Told where the invoice of the run just finished was kept.
    std::function<void(const std::filesystem::path&)> invoiceSaved;
};

/// Makes every finished run of `main` hand over to the report of the
/// profile it counted with: when the profile's `ShowReportInWord` is not
/// "0" the invoice is built and opened at once, otherwise the totals screen
/// shows the figures and builds the invoice on "&Create Invoice".
void attachReportCommands(frmMain& main, ReportServices services = {});

/// Builds the invoice of `rows` for `profileName` and hands it to the user:
/// the save dialog when the options ask for it, then the default application.
void createInvoice(frmMain& main, const ReportServices& services, const std::string& profileName,
                   const std::vector<app::ResultRow>& rows);

} // namespace qm::ui
