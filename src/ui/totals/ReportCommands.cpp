// What follows a finished count run on the desktop: the invoice, or the totals screen first.
#include "ui/totals/ReportCommands.h"

#include "report/InvoiceFile.h"
#include "report/Report.h"
#include "settings/IniRW.h"
#include "ui/main/frmMain.h"
#include "ui/totals/frmTotals.h"

#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QStandardPaths>
#include <QUrl>

namespace qm::ui {

namespace {

constexpr const char* kDocxFilter = "Word Document (*.docx)";
constexpr const char* kPdfFilter = "PDF Document (*.pdf)";

report::ReportSources reportSources(frmMain& main, const std::vector<app::ResultRow>& rows,
                                    const ReportServices& services)
{
    report::ReportSources sources;
    if (services.invoiceNumber)
        sources.invoiceNumber = services.invoiceNumber();
    sources.settings = main.settingsContext();
    sources.rows = rows;
    sources.currency = app::CurrencyFormat::fromEnvironment();
    sources.stopRequested = [&main] { return main.stopFlag().isSet(); };
    return sources;
}

} // namespace

std::optional<std::filesystem::path> askInvoicePath(QWidget* parent, const std::filesystem::path& suggested)
{
    const QString start = QDir(QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation))
                              .filePath(QString::fromStdString(suggested.string()));
    QString filter = kDocxFilter;
    QString chosen = QFileDialog::getSaveFileName(parent, "Save Invoice As", start,
                                                  QString(kDocxFilter) + ";;" + kPdfFilter, &filter);
    if (chosen.isEmpty())
        return std::nullopt;
    // A name typed without either extension takes the kind picked in the dialog.
    if (!report::invoiceFormatOf(chosen.toStdString()))
        chosen += filter == kPdfFilter ? ".pdf" : ".docx";
    return std::filesystem::path(chosen.toStdString());
}

bool openWithDesktop(const std::filesystem::path& file)
{
    return QDesktopServices::openUrl(QUrl::fromLocalFile(QString::fromStdString(file.string())));
}

void createInvoice(frmMain& main, const ReportServices& services, const std::string& profileName,
                   const std::vector<app::ResultRow>& rows)
{
    report::Report report(reportSources(main, rows, services), main.prompter());
    const auto invoice = report.writereport(profileName);

    report::InvoiceHandover handover;
    if (services.askSavePath)
        handover.askSavePath = [&](const std::filesystem::path& suggested) {
            return services.askSavePath(&main, suggested);
        };
    // Without an application for the file the invoice is still kept: the
    // user is told where, so it can be opened by hand.
    handover.open = [&](const std::filesystem::path& file) {
        if (services.open && services.open(file))
            return true;
        main.prompter().show({"Invoice",
                              "The Invoice Was Saved As\r" + file.string() + "\rNo Program Could Be Found To Open It.",
                              MessageIcon::Information});
        return false;
    };
    handover.temporaryFolder = services.temporaryFolder.empty() ? std::filesystem::path(QDir::tempPath().toStdString())
                                                                : services.temporaryFolder;
    const auto kept = report::handOverInvoice(*invoice, profileName, main.settingsContext(), main.prompter(), handover);
    if (kept && services.invoiceSaved)
        services.invoiceSaved(*kept);
}

void attachReportCommands(frmMain& main, ReportServices services)
{
    QObject::connect(&main, &frmMain::runFinished, &main, [&main, services](const app::RunResult& result) {
        const std::string profile = main.currentProfile().toStdString();
        if (profile.empty())
            return;
        const std::string showInWord =
            settings::ReadINI(main.settingsContext(), "Profiles", profile, "ShowReportInWord", "1");
        if (showInWord != "0") {
            createInvoice(main, services, profile, result.rows);
            return;
        }
        report::Report report(reportSources(main, result.rows, services), main.prompter());
        report.ReportToWindow(profile, [&](const report::Totals& totals, const std::string& profileName) {
            frmTotals form(totals, &main);
            form.setProfileName(QString::fromStdString(profileName));
            if (const auto number = services.invoiceNumber ? services.invoiceNumber() : std::nullopt)
                form.setInvoiceNumber(QString::fromStdString(number->empty() ? "none (not recorded)" : *number));
            form.createInvoice = [&main, &services, rows = result.rows](const QString& name) {
                createInvoice(main, services, name.toStdString(), rows);
            };
            if (services.runTotals)
                services.runTotals(form);
            else
                form.exec();
        });
    });
}

} // namespace qm::ui
