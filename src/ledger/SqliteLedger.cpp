// The ledger in one SQLite file: WAL, a busy timeout, foreign keys, a schema
// version brought forward by migrations, and one transaction per write.
#include "ledger/SqliteLedger.h"

#include "ledger/InvoiceNumber.h"

#include <chrono>
#include <cstdio>
#include <sqlite3.h>
#include <system_error>
#include <thread>

namespace fs = std::filesystem;

namespace qm::ledger {

namespace {

// Written into the file's header, so a ledger is known from any other SQLite
// database that happens to sit under the same name ("QMLG").
constexpr int kApplicationId = 0x514D4C47;

// How long a write waits for another process's transaction before it fails:
// runs are short transactions, so a wait of this length means a stuck writer.
constexpr int kBusyTimeoutMs = 15000;

// Each entry brings the schema from its index to the next version. Entries are
// only ever appended: a released ledger is migrated, never rebuilt.
constexpr const char* kMigrations[] = {
    // 0 → 1
    R"sql(
CREATE TABLE runs (
  id INTEGER PRIMARY KEY,
  time TEXT NOT NULL,
  local_date TEXT NOT NULL,
  profile TEXT NOT NULL,
  unit TEXT NOT NULL,
  unit_label TEXT NOT NULL,
  rate TEXT NOT NULL,
  documents INTEGER NOT NULL,
  count_total REAL NOT NULL,
  amount_total TEXT NOT NULL,
  amount_total_units INTEGER NOT NULL,
  stopped INTEGER NOT NULL CHECK (stopped IN (0, 1)),
  invoice_number TEXT UNIQUE,
  invoice_file TEXT NOT NULL DEFAULT '',
  program_version TEXT NOT NULL
);
CREATE INDEX runs_profile ON runs (profile COLLATE NOCASE, local_date);
CREATE TABLE run_settings (
  run_id INTEGER NOT NULL REFERENCES runs (id) ON DELETE CASCADE,
  source TEXT NOT NULL CHECK (source IN ('profile', 'options')),
  position INTEGER NOT NULL,
  key TEXT NOT NULL,
  value TEXT NOT NULL,
  PRIMARY KEY (run_id, source, position)
);
CREATE TABLE documents (
  id INTEGER PRIMARY KEY,
  run_id INTEGER NOT NULL REFERENCES runs (id) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  path TEXT NOT NULL,
  name TEXT NOT NULL,
  size INTEGER NOT NULL,
  modified TEXT NOT NULL,
  sha256 TEXT NOT NULL,
  count REAL NOT NULL,
  count_text TEXT NOT NULL,
  amount_text TEXT NOT NULL,
  amount_units INTEGER NOT NULL,
  UNIQUE (run_id, position)
);
CREATE INDEX documents_sha256 ON documents (sha256);
CREATE TABLE measurements (
  document_id INTEGER NOT NULL REFERENCES documents (id) ON DELETE CASCADE,
  position INTEGER NOT NULL,
  name TEXT NOT NULL,
  value REAL NOT NULL,
  PRIMARY KEY (document_id, position)
);
CREATE TABLE counters (
  name TEXT PRIMARY KEY,
  value INTEGER NOT NULL
);
INSERT INTO counters (name, value) VALUES ('invoice', 0);
)sql",
};
static_assert(std::size(kMigrations) == kLedgerSchemaVersion);

std::chrono::year_month_day parseDay(const std::string& text)
{
    int y = 0;
    unsigned m = 0, d = 0;
    if (std::sscanf(text.c_str(), "%d-%u-%u", &y, &m, &d) != 3)
        return std::chrono::year_month_day{};
    return std::chrono::year_month_day{std::chrono::year{y}, std::chrono::month{m}, std::chrono::day{d}};
}

} // namespace

struct SqliteLedger::Connection {
    sqlite3* db = nullptr;
    std::string name;

    ~Connection()
    {
        if (db)
            sqlite3_close_v2(db);
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        throw LedgerError("the ledger " + name + ": " + what + ": " + sqlite3_errmsg(db));
    }

    void exec(const char* sql)
    {
        char* message = nullptr;
        if (sqlite3_exec(db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
            const std::string text = message ? message : sqlite3_errmsg(db);
            sqlite3_free(message);
            throw LedgerError("the ledger " + name + ": " + text);
        }
    }

    class Statement {
    public:
        Statement(Connection& c, const char* sql) : m_c(c)
        {
            if (sqlite3_prepare_v2(c.db, sql, -1, &m_stmt, nullptr) != SQLITE_OK)
                c.fail("cannot be read");
        }
        ~Statement() { sqlite3_finalize(m_stmt); }
        Statement(const Statement&) = delete;
        Statement& operator=(const Statement&) = delete;

        Statement& bind(int i, const std::string& text)
        {
            sqlite3_bind_text(m_stmt, i, text.data(), int(text.size()), SQLITE_TRANSIENT);
            return *this;
        }
        Statement& bind(int i, int64_t value)
        {
            sqlite3_bind_int64(m_stmt, i, value);
            return *this;
        }
        Statement& bind(int i, double value)
        {
            sqlite3_bind_double(m_stmt, i, value);
            return *this;
        }
        Statement& bind(int i, const std::optional<std::string>& text)
        {
            if (text)
                return bind(i, *text);
            sqlite3_bind_null(m_stmt, i);
            return *this;
        }
        /// True while there is a row.
        bool step()
        {
            const int rc = sqlite3_step(m_stmt);
            if (rc == SQLITE_ROW)
                return true;
            if (rc == SQLITE_DONE)
                return false;
            m_c.fail("cannot be read or written");
        }
        /// Runs a statement that returns no rows, ready for its next use.
        void run()
        {
            step();
            reset();
        }
        void reset()
        {
            sqlite3_reset(m_stmt);
            sqlite3_clear_bindings(m_stmt);
        }
        std::string text(int i) const
        {
            const auto* p = sqlite3_column_text(m_stmt, i);
            return p ? std::string(reinterpret_cast<const char*>(p), size_t(sqlite3_column_bytes(m_stmt, i)))
                     : std::string();
        }
        std::optional<std::string> optionalText(int i) const
        {
            if (sqlite3_column_type(m_stmt, i) == SQLITE_NULL)
                return std::nullopt;
            return text(i);
        }
        int64_t integer(int i) const { return sqlite3_column_int64(m_stmt, i); }
        double real(int i) const { return sqlite3_column_double(m_stmt, i); }

    private:
        Connection& m_c;
        sqlite3_stmt* m_stmt = nullptr;
    };

    int64_t pragmaInt(const char* sql)
    {
        Statement s(*this, sql);
        return s.step() ? s.integer(0) : 0;
    }

    /// Runs `work` in one write transaction, taken at once so two writers
    /// queue on the busy timeout instead of failing half-way; rolled back
    /// whole when anything fails.
    template <typename Work> auto transaction(Work&& work)
    {
        exec("BEGIN IMMEDIATE");
        try {
            if constexpr (std::is_void_v<decltype(work())>) {
                work();
                exec("COMMIT");
            } else {
                auto result = work();
                exec("COMMIT");
                return result;
            }
        } catch (...) {
            sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
            throw;
        }
    }
};

SqliteLedger::SqliteLedger(fs::path file) : m_file(std::move(file)), m_db(std::make_unique<Connection>())
{
    m_db->name = m_file.string();
    std::error_code error;
    const auto status = fs::status(m_file, error);
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw LedgerError("the ledger " + m_db->name + " is not a file");
    const bool existed = fs::exists(status);
    if (sqlite3_open_v2(m_db->name.c_str(), &m_db->db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) !=
        SQLITE_OK) {
        const std::string reason = m_db->db ? sqlite3_errmsg(m_db->db) : "out of memory";
        throw LedgerError("the ledger " + m_db->name + " cannot be " + (existed ? "opened" : "created") + ": " +
                          reason);
    }
    sqlite3_extended_result_codes(m_db->db, 1);
    sqlite3_busy_timeout(m_db->db, kBusyTimeoutMs);

    // Everything up to the migration only reads, so a file that turns out not
    // to be a ledger is left exactly as it was.
    {
        sqlite3_stmt* probe = nullptr;
        int rc = sqlite3_prepare_v2(m_db->db, "SELECT count(*) FROM sqlite_master", -1, &probe, nullptr);
        if (rc == SQLITE_OK)
            rc = sqlite3_step(probe);
        sqlite3_finalize(probe);
        if ((rc & 0xFF) == SQLITE_NOTADB)
            throw LedgerError("the ledger " + m_db->name +
                              " is not a ledger (not a SQLite database); it is left as it is");
        if (rc != SQLITE_ROW)
            m_db->fail("cannot be read");
    }
    // The header is read as one moment: another process creating the same
    // ledger may commit its schema between two separate reads.
    int64_t applicationId = 0, version = 0, objects = 0;
    m_db->exec("BEGIN");
    try {
        applicationId = m_db->pragmaInt("PRAGMA application_id");
        version = m_db->pragmaInt("PRAGMA user_version");
        objects = m_db->pragmaInt("SELECT count(*) FROM sqlite_master");
        m_db->exec("COMMIT");
    } catch (...) {
        sqlite3_exec(m_db->db, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
    const bool blank = applicationId == 0 && version == 0 && objects == 0;
    if (!blank && applicationId != kApplicationId)
        throw LedgerError("the ledger " + m_db->name +
                          " is a SQLite database but not a Quillmeter ledger; it is left as it is");
    if (version > kLedgerSchemaVersion)
        throw LedgerError("the ledger " + m_db->name + " was written by a newer version of Quillmeter (schema " +
                          std::to_string(version) + "; this version knows " + std::to_string(kLedgerSchemaVersion) +
                          "); it is left as it is");

    // Switching a new file to the write-ahead log needs it to itself, and
    // SQLite does not call the busy handler for that switch while another
    // process reads or switches it too (it would risk a deadlock): so this
    // waits here, as long as any other write would.
    for (const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyTimeoutMs);;) {
        sqlite3_stmt* wal = nullptr;
        int rc = sqlite3_prepare_v2(m_db->db, "PRAGMA journal_mode=WAL", -1, &wal, nullptr);
        std::string mode;
        if (rc == SQLITE_OK && (rc = sqlite3_step(wal)) == SQLITE_ROW)
            mode = reinterpret_cast<const char*>(sqlite3_column_text(wal, 0));
        sqlite3_finalize(wal);
        if (rc == SQLITE_ROW) {
            if (mode != "wal")
                throw LedgerError("the ledger " + m_db->name + " cannot keep a write-ahead log");
            break;
        }
        if ((rc & 0xFF) != SQLITE_BUSY || std::chrono::steady_clock::now() >= deadline)
            m_db->fail("cannot be read or written");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    // A committed run survives a power cut, not only a crash of the program.
    m_db->exec("PRAGMA synchronous=FULL");
    m_db->exec("PRAGMA foreign_keys=ON");

    if (version < kLedgerSchemaVersion) {
        m_db->transaction([&] {
            // Another process may have brought it forward while we waited.
            const int64_t now = m_db->pragmaInt("PRAGMA user_version");
            for (int64_t v = now; v < kLedgerSchemaVersion; ++v)
                m_db->exec(kMigrations[v]);
            m_db->exec(("PRAGMA application_id=" + std::to_string(kApplicationId)).c_str());
            m_db->exec(("PRAGMA user_version=" + std::to_string(kLedgerSchemaVersion)).c_str());
        });
    }
}

SqliteLedger::~SqliteLedger() = default;

std::string SqliteLedger::location() const { return m_file.string(); }

RunRecord SqliteLedger::recordRun(RunRecord run, const std::string& numberFormat)
{
    try {
        formatInvoiceNumber(numberFormat, 1, parseDay(run.localDate));
    } catch (const std::invalid_argument& e) {
        throw LedgerError(e.what());
    }
    Connection& c = *m_db;
    return c.transaction([&] {
        run.invoiceNumber.reset();
        if (!run.stopped) {
            const int64_t n = c.pragmaInt("SELECT value FROM counters WHERE name = 'invoice'") + 1;
            Connection::Statement(c, "UPDATE counters SET value = ? WHERE name = 'invoice'").bind(1, n).run();
            run.invoiceNumber = formatInvoiceNumber(numberFormat, n, parseDay(run.localDate));
        }
        Connection::Statement insertRun(
            c, "INSERT INTO runs (time, local_date, profile, unit, unit_label, rate, documents, count_total, "
               "amount_total, amount_total_units, stopped, invoice_number, invoice_file, program_version) "
               "VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)");
        insertRun.bind(1, run.time)
            .bind(2, run.localDate)
            .bind(3, run.profile)
            .bind(4, run.unit)
            .bind(5, run.unitLabel)
            .bind(6, run.rate)
            .bind(7, int64_t(run.documents.size()))
            .bind(8, run.countTotal)
            .bind(9, run.amountTotal)
            .bind(10, run.amountTotalUnits)
            .bind(11, int64_t(run.stopped))
            .bind(12, run.invoiceNumber)
            .bind(13, run.invoiceFile)
            .bind(14, run.programVersion)
            .run();
        run.id = sqlite3_last_insert_rowid(c.db);

        Connection::Statement setting(
            c, "INSERT INTO run_settings (run_id, source, position, key, value) VALUES (?,?,?,?,?)");
        auto settings = [&](const char* source, const NamedValues& values) {
            for (size_t i = 0; i < values.size(); ++i)
                setting.bind(1, run.id)
                    .bind(2, std::string(source))
                    .bind(3, int64_t(i))
                    .bind(4, values[i].first)
                    .bind(5, values[i].second)
                    .run();
        };
        settings("profile", run.profileKeys);
        settings("options", run.optionKeys);

        Connection::Statement document(
            c, "INSERT INTO documents (run_id, position, path, name, size, modified, sha256, count, count_text, "
               "amount_text, amount_units) VALUES (?,?,?,?,?,?,?,?,?,?,?)");
        Connection::Statement measurement(
            c, "INSERT INTO measurements (document_id, position, name, value) VALUES (?,?,?,?)");
        for (size_t i = 0; i < run.documents.size(); ++i) {
            const DocumentRecord& d = run.documents[i];
            document.bind(1, run.id)
                .bind(2, int64_t(i))
                .bind(3, d.path)
                .bind(4, d.name)
                .bind(5, d.size)
                .bind(6, d.modified)
                .bind(7, d.sha256)
                .bind(8, d.count)
                .bind(9, d.countText)
                .bind(10, d.amountText)
                .bind(11, d.amountUnits)
                .run();
            const int64_t documentId = sqlite3_last_insert_rowid(c.db);
            for (size_t k = 0; k < d.measurements.size(); ++k)
                measurement.bind(1, documentId)
                    .bind(2, int64_t(k))
                    .bind(3, d.measurements[k].first)
                    .bind(4, d.measurements[k].second)
                    .run();
        }
        return run;
    });
}

void SqliteLedger::setInvoiceFile(int64_t run, const std::string& file)
{
    m_db->transaction([&] {
        Connection::Statement(*m_db, "UPDATE runs SET invoice_file = ? WHERE id = ?").bind(1, file).bind(2, run).run();
    });
}

std::vector<RunSummary> SqliteLedger::listRuns(const RunFilter& filter)
{
    Connection::Statement s(*m_db,
                            "SELECT id, time, local_date, profile, documents, count_total, amount_total, stopped, "
                            "invoice_number FROM runs WHERE (?1 IS NULL OR profile = ?1 COLLATE NOCASE) "
                            "AND (?2 IS NULL OR local_date >= ?2) AND (?3 IS NULL OR local_date <= ?3) ORDER BY id");
    s.bind(1, filter.profile).bind(2, filter.from).bind(3, filter.to);
    std::vector<RunSummary> runs;
    while (s.step())
        runs.push_back(RunSummary{s.integer(0), s.text(1), s.text(2), s.text(3), size_t(s.integer(4)), s.real(5),
                                  s.text(6), s.integer(7) != 0, s.optionalText(8)});
    return runs;
}

std::optional<RunRecord> SqliteLedger::loadRun(int64_t id)
{
    Connection& c = *m_db;
    // One read transaction, so the run and its rows are read as one moment.
    c.exec("BEGIN");
    try {
        RunRecord run;
        {
            Connection::Statement s(c, "SELECT id, time, local_date, profile, unit, unit_label, rate, count_total, "
                                       "amount_total, amount_total_units, stopped, invoice_number, invoice_file, "
                                       "program_version FROM runs WHERE id = ?");
            s.bind(1, id);
            if (!s.step()) {
                c.exec("COMMIT");
                return std::nullopt;
            }
            run.id = s.integer(0);
            run.time = s.text(1);
            run.localDate = s.text(2);
            run.profile = s.text(3);
            run.unit = s.text(4);
            run.unitLabel = s.text(5);
            run.rate = s.text(6);
            run.countTotal = s.real(7);
            run.amountTotal = s.text(8);
            run.amountTotalUnits = s.integer(9);
            run.stopped = s.integer(10) != 0;
            run.invoiceNumber = s.optionalText(11);
            run.invoiceFile = s.text(12);
            run.programVersion = s.text(13);
        }
        {
            Connection::Statement s(c, "SELECT source, key, value FROM run_settings WHERE run_id = ? "
                                       "ORDER BY source, position");
            s.bind(1, id);
            while (s.step())
                (s.text(0) == "profile" ? run.profileKeys : run.optionKeys).emplace_back(s.text(1), s.text(2));
        }
        {
            Connection::Statement s(c, "SELECT id, path, name, size, modified, sha256, count, count_text, "
                                       "amount_text, amount_units FROM documents WHERE run_id = ? ORDER BY position");
            Connection::Statement m(c, "SELECT name, value FROM measurements WHERE document_id = ? ORDER BY position");
            s.bind(1, id);
            while (s.step()) {
                DocumentRecord d;
                d.path = s.text(1);
                d.name = s.text(2);
                d.size = s.integer(3);
                d.modified = s.text(4);
                d.sha256 = s.text(5);
                d.count = s.real(6);
                d.countText = s.text(7);
                d.amountText = s.text(8);
                d.amountUnits = s.integer(9);
                m.bind(1, s.integer(0));
                while (m.step())
                    d.measurements.emplace_back(m.text(0), m.real(1));
                m.reset();
                run.documents.push_back(std::move(d));
            }
        }
        c.exec("COMMIT");
        return run;
    } catch (...) {
        sqlite3_exec(c.db, "ROLLBACK", nullptr, nullptr, nullptr);
        throw;
    }
}

std::vector<BilledDocument> SqliteLedger::findBilled(const std::string& profile,
                                                     const std::vector<std::pair<std::string, std::string>>& documents)
{
    Connection::Statement s(*m_db, "SELECT d.path, r.id, r.time, r.invoice_number FROM documents d "
                                   "JOIN runs r ON r.id = d.run_id WHERE d.sha256 = ? AND r.profile = ? COLLATE NOCASE "
                                   "ORDER BY r.id, d.position LIMIT 1");
    std::vector<BilledDocument> billed;
    for (const auto& [path, sha] : documents) {
        s.bind(1, sha).bind(2, profile);
        if (s.step())
            billed.push_back(BilledDocument{path, sha, s.integer(1), s.text(0), s.text(2), s.optionalText(3)});
        s.reset();
    }
    return billed;
}

} // namespace qm::ledger
