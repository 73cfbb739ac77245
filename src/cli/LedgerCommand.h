// The ledger from the command line: the count run's records and the "ledger" command.
#pragma once

#include "Cli.h"
#include "app/ChaseList.h"
#include "app/CountRun.h"
#include "ledger/LedgerStore.h"
#include "ledger/RunRecorder.h"
#include "settings/SettingsContext.h"

#include <memory>
#include <optional>
#include <string>

namespace qm::cli {

/// The ledger's part in one `count`: it takes the options --ledger, --rebill,
/// --skip-billed and --no-billed-check, looks for documents already billed
/// before the run and records the run after it. A ledger that cannot be
/// opened leaves the count running without it, said once on stderr.
class CountLedger {
public:
    CountLedger(Context& ctx, const settings::SettingsContext& settings);
    ~CountLedger();

    /// Before the run: the documents of `list` already billed under the
    /// profile. Returns an exit code when the run must not go on (billed
    /// documents and neither --rebill nor --skip-billed); with --skip-billed
    /// they leave the list.
    std::optional<int> checkBilled(app::ChaseList& list, const std::string& profile);

    /// After the run: records it (a finished or stopped one) with the invoice
    /// file it will have. Returns the invoice number the invoice shows: none
    /// when the ledger is off, empty when the run could not be recorded.
    std::optional<std::string> record(const app::RunResult& result, const std::string& profile,
                                      const app::CurrencyFormat& currency, const std::string& invoiceFile);

    /// Whether recording the run failed (the count's exit code says so).
    bool failed() const { return m_failed; }
    /// The run's id in the ledger once recorded.
    std::optional<int64_t> run() const { return m_run; }

private:
    /// Opens the ledger at its first use, once.
    void open();

    Context& m_ctx;
    settings::SettingsContext m_settings;
    ledger::LedgerSettings m_options;
    bool m_rebill = false, m_skipBilled = false;
    std::unique_ptr<ledger::LedgerStore> m_store;
    ledger::Fingerprints m_fingerprints;
    bool m_opened = false;
    bool m_failed = false;
    std::optional<int64_t> m_run;
};

int ledgerCommand(Context& ctx);

} // namespace qm::cli
