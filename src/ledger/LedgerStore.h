// The billing ledger as every front end sees it, whatever keeps it.
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qm::ledger {

/// A ledger that cannot be opened, read or written. The text names the
/// ledger and the problem, ready to show.
struct LedgerError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using NamedValues = std::vector<std::pair<std::string, std::string>>;
using Figures = std::vector<std::pair<std::string, double>>;

/// One counted document as billed.
struct DocumentRecord {
    std::string path;
    std::string name; ///< the results grid's text, with its file date line when shown
    int64_t size = 0;
    std::string modified; ///< the file's modification time, ISO 8601 UTC
    std::string sha256;   ///< of the file's bytes when it was counted
    double count = 0;
    std::string countText;
    std::string amountText;  ///< the amount as shown
    int64_t amountUnits = 0; ///< the amount in ten-thousandths
    /// Every measurement the run took, and the parts of the billed lines
    /// ("lines.characters", "lines.formatting.Bold", ...).
    Figures measurements;
};

/// One count run: what was billed, to whom, at what rate, under what number.
struct RunRecord {
    int64_t id = 0;
    std::string time;      ///< when the run ended, ISO 8601 UTC
    std::string localDate; ///< the same moment's day on the local calendar, yyyy-mm-dd
    std::string profile;
    NamedValues profileKeys; ///< every key of the profile's section as stored
    NamedValues optionKeys;  ///< the options as stored (the invoice's letterhead)
    std::string unit;        ///< the profile's unit ("Gross Line", ...)
    std::string unitLabel;   ///< the results' unit label
    std::string rate;        ///< the rate as stored
    double countTotal = 0;
    std::string amountTotal; ///< the total as shown
    int64_t amountTotalUnits = 0;
    bool stopped = false;
    std::optional<std::string> invoiceNumber; ///< none for a stopped run
    std::string invoiceFile;
    std::string programVersion;
    std::vector<DocumentRecord> documents;
};

/// A run without its documents, as lists show it.
struct RunSummary {
    int64_t id = 0;
    std::string time;
    std::string localDate;
    std::string profile;
    size_t documents = 0;
    double countTotal = 0;
    std::string amountTotal;
    bool stopped = false;
    std::optional<std::string> invoiceNumber;
};

struct RunFilter {
    std::optional<std::string> profile;
    std::optional<std::string> from; ///< yyyy-mm-dd, inclusive, on the local calendar
    std::optional<std::string> to;   ///< yyyy-mm-dd, inclusive
};

/// A document about to be counted whose bytes were already billed.
struct BilledDocument {
    std::string path; ///< as it is queued now
    std::string sha256;
    int64_t run = 0;        ///< the earliest run that billed it
    std::string billedPath; ///< the path it was billed under
    std::string time;
    std::optional<std::string> invoiceNumber;
};

/// The ledger. Every write is one transaction: a run is wholly there or absent.
class LedgerStore {
public:
    virtual ~LedgerStore() = default;

    /// Where the ledger is, as a user names it (a file, a server).
    virtual std::string location() const = 0;

    /// Records a run and its documents; a run that was not stopped gets the
    /// next invoice number, formatted by `numberFormat`, in the same
    /// transaction, so a number is never given twice nor lost to a failed
    /// write. Returns the run as recorded (id and number filled in).
    virtual RunRecord recordRun(RunRecord run, const std::string& numberFormat) = 0;

    /// Notes the invoice file written for a run.
    virtual void setInvoiceFile(int64_t run, const std::string& file) = 0;

    /// The runs, oldest first.
    virtual std::vector<RunSummary> listRuns(const RunFilter& filter) = 0;

    /// A run with its documents; nothing when there is no such run.
    virtual std::optional<RunRecord> loadRun(int64_t run) = 0;

    /// The documents (path, SHA-256) whose bytes a run of this profile
    /// already billed, stopped runs included, in the order given.
    virtual std::vector<BilledDocument>
    findBilled(const std::string& profile, const std::vector<std::pair<std::string, std::string>>& documents) = 0;
};

} // namespace qm::ledger
