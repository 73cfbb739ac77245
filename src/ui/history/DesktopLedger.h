// The ledger on the desktop: documents already billed asked about once before
// a run, every finished or stopped run recorded, and the History tab.
#pragma once

#include "ledger/LedgerStore.h"
#include "ledger/RunRecorder.h"
#include "ui/totals/ReportCommands.h"

#include <QObject>
#include <memory>
#include <optional>
#include <string>

namespace qm::ui {

class frmMain;
class HistoryTab;

class DesktopLedger : public QObject {
    Q_OBJECT
public:
    explicit DesktopLedger(frmMain& main);
    ~DesktopLedger() override;

    /// The ledger, opened at its first use; nothing when it is off or cannot
    /// be opened (said once, through the prompter).
    ledger::LedgerStore* store();
    /// Why there is no ledger, for the History tab; empty when there is one.
    QString problem() const { return m_problem; }

    /// Finds the documents of `list` already billed under `profile`, marks
    /// them in the Chase List and asks once whether to count them again
    /// (Yes), leave them out (No) or count nothing (Cancel).
    bool checkBilled(app::ChaseList& list, const std::string& profile);
    /// Records a finished or stopped run.
    void record(const app::RunResult& result);

    std::optional<std::string> lastInvoiceNumber() const { return m_lastNumber; }
    void invoiceSaved(const std::filesystem::path& file);

signals:
    void recorded();

private:
    frmMain& m_main;
    std::unique_ptr<ledger::LedgerStore> m_store;
    bool m_opened = false;
    QString m_problem;
    ledger::Fingerprints m_fingerprints;
    std::string m_runProfile;
    std::optional<std::string> m_lastNumber;
    std::optional<int64_t> m_lastRun;
};

/// Puts the ledger into the main screen: the check before each run, the
/// record after it (before the report, so the invoice has its number; call
/// this before attachReportCommands with the same services), and the History
/// tab.
DesktopLedger* attachLedger(frmMain& main, ReportServices& services);

} // namespace qm::ui
