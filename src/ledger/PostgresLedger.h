// The ledger on a PostgreSQL server, shared by several desktops.
#pragma once

#include "ledger/LedgerStore.h"

#include <memory>

namespace qm::ledger {

/// A ledger in a PostgreSQL database, reached through libpq with a
/// connection string or a postgresql:// address. The same records and the
/// same guarantees as the file: one transaction per run, and invoice numbers
/// taken from a counter row that concurrent runs from any machine lock in
/// turn, so no two runs get the same number.
class PostgresLedger : public LedgerStore {
public:
    /// Connects and brings the schema forward. Throws LedgerError, naming
    /// the server (without its password), when it cannot be reached, holds
    /// tables that are not a ledger's, or was written by a newer version.
    explicit PostgresLedger(const std::string& address);
    ~PostgresLedger() override;

    std::string location() const override;
    RunRecord recordRun(RunRecord run, const std::string& numberFormat) override;
    void setInvoiceFile(int64_t run, const std::string& file) override;
    std::vector<RunSummary> listRuns(const RunFilter& filter) override;
    std::optional<RunRecord> loadRun(int64_t run) override;
    std::vector<BilledDocument> findBilled(const std::string& profile,
                                           const std::vector<std::pair<std::string, std::string>>& documents) override;

private:
    struct Connection;
    std::unique_ptr<Connection> m_db;
};

/// The address as it may be shown: any password replaced by "***".
std::string withoutPassword(const std::string& address);

} // namespace qm::ledger
