// From a finished count run to the ledger: where the ledger is, the documents'
// fingerprints, the run as recorded and the documents already billed.
#pragma once

#include "app/CountRun.h"
#include "app/Money.h"
#include "ledger/LedgerStore.h"
#include "settings/SettingsContext.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qm::ledger {

/// The ledger options of Options.ini: `Ledger` (empty: ledger.sqlite in the
/// settings folder; a file; a postgresql:// address; "off"),
/// `InvoiceNumberFormat` and `CheckBilled` (1: look for documents already
/// billed before a run).
struct LedgerSettings {
    bool on = true;
    std::string location;
    std::string numberFormat;
    bool checkBilled = true;
};

/// The options as stored; `locationOverride` (the command line's --ledger)
/// wins over the option.
LedgerSettings readLedgerSettings(const settings::SettingsContext& settings,
                                  const std::optional<std::string>& locationOverride = std::nullopt);

/// Whether a ledger location names a PostgreSQL server rather than a file.
bool isServerAddress(const std::string& location);

/// Opens the ledger the settings name: a postgresql:// address is a server,
/// anything else a file (by default ledger.sqlite in the settings folder). Throws LedgerError naming it.
std::unique_ptr<LedgerStore> openLedger(const LedgerSettings& ledger, const settings::SettingsContext& settings);

/// SHA-256 fingerprints of files, each file read once however often it is asked for.
class Fingerprints {
public:
    /// The file's fingerprint; nothing, with the reason in `error`, when it cannot be read.
    std::optional<std::string> of(const std::string& path, std::string& error);

private:
    std::map<std::string, std::string> m_known;
};

/// The queued documents whose bytes a run of `profile` already billed.
/// Documents that cannot be read are left to the run, which reports them.
std::vector<BilledDocument> findBilledDocuments(LedgerStore& ledger, const std::string& profile,
                                                const std::vector<std::string>& paths, Fingerprints& fingerprints);

/// The run as the ledger keeps it: every figure of each row, the file's size,
/// modification time and fingerprint, and the profile and options as stored.
RunRecord makeRunRecord(const app::RunResult& result, const std::string& profile,
                        const settings::SettingsContext& settings, const app::CurrencyFormat& currency,
                        Fingerprints& fingerprints, std::chrono::system_clock::time_point when);

/// The result rows of a recorded run, as the invoice reads them.
std::vector<app::ResultRow> resultRows(const RunRecord& run);

/// One line per already-billed document: "PATH (billed as BILLED on DATE, invoice N)".
std::string describeBilled(const BilledDocument& billed);

} // namespace qm::ledger
