// The ledger on the desktop.
#include "ui/history/DesktopLedger.h"

#include "ui/history/HistoryTab.h"
#include "ui/main/frmMain.h"

#include <QTabWidget>
#include <chrono>

namespace qm::ui {

DesktopLedger::DesktopLedger(frmMain& main) : QObject(&main), m_main(main) {}

DesktopLedger::~DesktopLedger() = default;

ledger::LedgerStore* DesktopLedger::store()
{
    if (m_opened)
        return m_store.get();
    m_opened = true;
    const ledger::LedgerSettings options = ledger::readLedgerSettings(m_main.settingsContext());
    if (!options.on) {
        m_problem = "The ledger is off (option Ledger=off).";
        return nullptr;
    }
    try {
        m_store = ledger::openLedger(options, m_main.settingsContext());
    } catch (const ledger::LedgerError& e) {
        // Counting goes on without it; the user is told once.
        m_problem = QString::fromStdString(e.what());
        m_main.prompter().show(Message{"Ledger",
                                       "The Billing Ledger Cannot Be Used:\r" + std::string(e.what()) +
                                           "\rDocuments Will Be Counted, But No Run Will Be Recorded.",
                                       MessageIcon::Exclamation, MessageButtons::Ok});
    }
    return m_store.get();
}

bool DesktopLedger::checkBilled(app::ChaseList& list, const std::string& profile)
{
    m_runProfile = profile;
    m_lastNumber.reset();
    m_lastRun.reset();
    ledger::LedgerStore* ledger = store();
    if (!ledger || !ledger::readLedgerSettings(m_main.settingsContext()).checkBilled)
        return true;
    std::vector<std::string> paths;
    for (const auto& entry : list.entries())
        paths.push_back(entry.path);
    std::vector<ledger::BilledDocument> billed;
    try {
        billed = ledger::findBilledDocuments(*ledger, profile, paths, m_fingerprints);
    } catch (const ledger::LedgerError& e) {
        m_main.prompter().show(errorReport(e.what(), "-Ledger-"));
        return true;
    }
    if (billed.empty())
        return true;
    std::vector<std::string> billedPaths;
    std::string text = "These Documents Were Already Billed To " + profile + ":\r";
    for (const auto& b : billed) {
        billedPaths.push_back(b.path);
        text += ledger::describeBilled(b) + "\r";
    }
    m_main.markChaseEntries(billedPaths, "Already billed");
    text += "Count Them Again? (No Leaves Them Out)";
    const MessageAnswer answer =
        m_main.prompter().show(Message{"Already Billed", text, MessageIcon::Question, MessageButtons::YesNoCancel});
    if (answer == MessageAnswer::Cancel)
        return false;
    if (answer == MessageAnswer::No) {
        app::ChaseList kept;
        for (const auto& entry : list.entries())
            if (std::find(billedPaths.begin(), billedPaths.end(), entry.path) == billedPaths.end())
                kept.append(entry.display, entry.path);
        list = std::move(kept);
        return !list.empty();
    }
    return true;
}

void DesktopLedger::record(const app::RunResult& result)
{
    if (result.ending != app::RunEnding::Finished && result.ending != app::RunEnding::Stopped)
        return;
    ledger::LedgerStore* ledger = store();
    if (!ledger) {
        m_lastNumber = m_problem.startsWith("The ledger is off") ? std::nullopt : std::optional<std::string>("");
        return;
    }
    const std::string profile = m_runProfile.empty() ? m_main.currentProfile().toStdString() : m_runProfile;
    try {
        ledger::RunRecord run =
            ledger::makeRunRecord(result, profile, m_main.settingsContext(), app::CurrencyFormat::fromEnvironment(),
                                  m_fingerprints, std::chrono::system_clock::now());
        run = ledger->recordRun(std::move(run), ledger::readLedgerSettings(m_main.settingsContext()).numberFormat);
        m_lastNumber = run.invoiceNumber.value_or("");
        m_lastRun = run.id;
    } catch (const std::exception& e) {
        m_lastNumber = "";
        m_main.prompter().show(
            errorReport(std::string(e.what()) + "; the run was not written to the ledger", "-Ledger-"));
    }
    // A document changed after this run must be fingerprinted afresh.
    m_fingerprints = ledger::Fingerprints{};
    emit recorded();
}

void DesktopLedger::invoiceSaved(const std::filesystem::path& file)
{
    if (!m_lastRun || !m_store)
        return;
    try {
        m_store->setInvoiceFile(*m_lastRun, file.string());
    } catch (const std::exception& e) {
        m_main.prompter().show(errorReport(e.what(), "-Ledger-"));
    }
}

DesktopLedger* attachLedger(frmMain& main, ReportServices& services)
{
    auto* ledger = new DesktopLedger(main);
    main.beforeRun = [ledger](app::ChaseList& list, const std::string& profile) {
        return ledger->checkBilled(list, profile);
    };
    // Connected before the report's handler, so the invoice carries the number.
    QObject::connect(&main, &frmMain::runEnded, ledger, [ledger](const app::RunResult& result) {
        if (result.ending == app::RunEnding::Stopped)
            ledger->record(result);
    });
    QObject::connect(&main, &frmMain::runFinished, ledger,
                     [ledger](const app::RunResult& result) { ledger->record(result); });
    services.invoiceNumber = [ledger] { return ledger->lastInvoiceNumber(); };
    services.invoiceSaved = [ledger](const std::filesystem::path& file) { ledger->invoiceSaved(file); };
    if (auto* tabs = main.findChild<QTabWidget*>()) {
        auto* history = new HistoryTab(*ledger, main, services);
        tabs->insertTab(1, history, QObject::tr("&History"));
        QObject::connect(ledger, &DesktopLedger::recorded, history, &HistoryTab::refresh);
    }
    return ledger;
}

} // namespace qm::ui
