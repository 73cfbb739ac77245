// The ledger in one SQLite file, the embedded default.
#pragma once

#include "ledger/LedgerStore.h"

#include <filesystem>
#include <memory>

namespace qm::ledger {

/// The schema version this program writes. Older ledgers are brought forward
/// when opened; a newer one is refused and left as it is.
inline constexpr int kLedgerSchemaVersion = 1;

/// The file name of the ledger in the settings folder.
inline constexpr std::string_view kLedgerFileName = "ledger.sqlite";

class SqliteLedger : public LedgerStore {
public:
    /// Opens the ledger file, creating it when absent. Throws LedgerError,
    /// naming the file, for a file that is not a ledger, a ledger from a newer
    /// version or a folder that cannot hold it; such a file is never written.
    explicit SqliteLedger(std::filesystem::path file);
    ~SqliteLedger() override;

    std::string location() const override;
    RunRecord recordRun(RunRecord run, const std::string& numberFormat) override;
    void setInvoiceFile(int64_t run, const std::string& file) override;
    std::vector<RunSummary> listRuns(const RunFilter& filter) override;
    std::optional<RunRecord> loadRun(int64_t run) override;
    std::vector<BilledDocument> findBilled(const std::string& profile,
                                           const std::vector<std::pair<std::string, std::string>>& documents) override;

private:
    struct Connection;
    std::filesystem::path m_file;
    std::unique_ptr<Connection> m_db;
};

} // namespace qm::ledger
