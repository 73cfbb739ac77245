// The count run: every document of the Chase List measured, priced and put in the results grid.
#pragma once

#include "app/ChaseList.h"
#include "app/Money.h"
#include "app/RunControl.h"
#include "engine/Prompter.h"

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::app {

/// The engine's measurements the run calls, by the profile keys that switch
/// them on.
enum class Measurement {
    GrossLines,
    Characters,
    CharactersWithSpaces,
    Words,
    Lines,
    Pages,
    ReturnAndEnters,
    BoldChars,
    BoldOnOff,
    UnderlineChars,
    UnderlineOnOff,
    ItalicChars,
    ItalicOnOff,
    SuperscriptOnOff,
    SubscriptOnOff,
    Tables,
    Tabs,
    CapsChars,
};

/// The engine's name for a measurement, as `inspect` and the ledger show it.
const char* measurementName(Measurement m);

/// The counting engine as a run drives it. The engine reports its own
/// failures and returns what it had, so none of these throws.
class CountingEngine {
public:
    virtual ~CountingEngine() = default;
    virtual void OpenWord(bool visible) = 0;
    virtual bool openJustDoc(const std::string& path, bool readOnly) = 0;
    /// A measurement of the open document under the profile.
    virtual double measure(Measurement what, const std::string& path, const std::string& profile) = 0;
    virtual bool CloseDocument() = 0;
    virtual void resizeWordBack() = 0;
    virtual void CompleteClose() = 0;
    /// The parts of the last measurement that has them (the billed lines:
    /// characters, formatting, returns, tabs, caps, characters per line), by
    /// name; none for an engine that does not break its figures down.
    virtual std::vector<std::pair<std::string, double>> lastMeasurementParts() const { return {}; }
};

/// Reads one key of the run's profile with the reader's default, at the
/// moment it is needed.
using ProfileReader = std::function<std::string(std::string_view key, std::string_view defaultValue)>;

/// One row of the results grid: the document's display text (with its file
/// date line when the profile asks for one), the count as shown, the amount
/// in the locale's currency format, and the full path.
struct ResultRow {
    std::string name;
    std::string count;
    std::string amount;
    std::string path;
    double countValue = 0;
    Currency amountValue;
    /// Every measurement the count was made of, in the order taken, then the
    /// parts of the billed lines ("lines.characters", ...): what the ledger
    /// keeps to prove the bill.
    std::vector<std::pair<std::string, double>> measurements;
};

/// The number of documents a run counted: its rows that hold a result. Every
/// total that names documents (the totals screen, the invoice's "Total:", the
/// command line's table, CSV and JSON) shows this figure.
size_t countedDocuments(std::span<const ResultRow> rows);

/// How a run ended: not started (nothing to count, no profile), finished
/// (every document done, report handed over), stopped (Stop or a missing
/// file), a profile error (no unit, a value that is not a number), or failed.
enum class RunEnding { NotStarted, Finished, Stopped, ProfileError, Failed };

struct RunResult {
    RunEnding ending = RunEnding::NotStarted;
    std::vector<ResultRow> rows;
    std::string unitLabel; ///< "Gross Line", "Character", "Words", "Lines" or "Page"
    Currency billAmount;
    /// Documents left out because they could not be opened (the run goes on
    /// without a message; the command line reports them).
    std::vector<std::string> unopened;
};

enum class RunScope { AllEntries, SelectedEntries };

/// Drives one count run over a Chase List. `progress` receives the counter
/// label's text as the run moves on and when it ends.
class CountRun {
public:
    CountRun(CountingEngine& engine, Prompter& prompter, RunControl control,
             CurrencyFormat currencyFormat = CurrencyFormat{});

    std::function<void(const std::string&)> progress;
    /// Called as each document's turn comes: its place in the list (from 0),
    /// the list's length and its path.
    std::function<void(size_t index, size_t total, const std::string& path)> documentStarted;
    /// Called after the last document of a finished run (the report).
    std::function<void(const RunResult&)> report;

    RunResult run(const ChaseList& list, const std::string& profileName, const ProfileReader& profile,
                  RunScope scope = RunScope::AllEntries);

    /// Counts up to `jobs` documents at once, each on its own thread with an
    /// engine of its own from `makeEngine` (the run's own engine is one of
    /// them). Rows still come in list order, Stop still ends the run after
    /// the documents already begun, and the figures and messages are
    /// those of a run on one thread.
    /// Each engine made reports to the prompter it is given.
    void setJobs(unsigned jobs, std::function<std::unique_ptr<CountingEngine>(Prompter&)> makeEngine);

private:
    struct Unit;
    /// What counting one document gave: whether it opened, and its row
    /// (none for a unit that measures nothing).
    struct Outcome {
        bool skipped = false; ///< Stop came before the document was begun
        bool opened = false;
        std::optional<ResultRow> row;
        std::string unitLabel;
        std::vector<Message> messages; ///< what the engine reported meanwhile, shown when the row is taken
    };
    Outcome countDocument(CountingEngine& engine, const ChaseList::Entry& entry, const std::string& path,
                          const std::string& profileName, const ProfileReader& profile, Currency bill) const;
    std::optional<ResultRow> measureDocument(CountingEngine& engine, const ChaseList::Entry& entry,
                                             const std::string& profileName, const ProfileReader& profile,
                                             Currency bill, std::string& unitLabel) const;
    void cleanUp(const ChaseList& list);
    void showProgress(const std::string& text);

    CountingEngine& m_engine;
    Prompter& m_prompter;
    RunControl m_control;
    CurrencyFormat m_currencyFormat;
    unsigned m_jobs = 1;
    std::function<std::unique_ptr<CountingEngine>(Prompter&)> m_makeEngine;
};

} // namespace qm::app
