// The count run's steps, messages and clean-up.
#include "app/CountRun.h"

#include "browser/FileDates.h"

#include <algorithm>
#include <cctype>
#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace qm::app {

namespace {

// A profile value that is not what its key needs (a rate that is not an
// amount): reported as a profile error, as a type mismatch always was.
struct ProfileValueError : std::runtime_error {
    ProfileValueError() : std::runtime_error("Type mismatch") {}
};

constexpr int typeMismatchNumber = 13;

std::string trimmed(std::string_view s)
{
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return std::string(s);
}

bool flagOn(const ProfileReader& profile, std::string_view key) { return profile(key, "0") == "1"; }

struct Extra {
    const char* key;
    Measurement measurement;
};

// The extras of the two character units, each in the order the run has
// always added them; the orders differ on purpose.
constexpr Extra characterExtras[] = {
    {"CountReturnAndEnter", Measurement::ReturnAndEnters},
    {"CountBoldCharAs2", Measurement::BoldChars},
    {"BoldONOFF2", Measurement::BoldOnOff},
    {"CountUnderlineCharAs2", Measurement::UnderlineChars},
    {"UnderLineONOFF2", Measurement::UnderlineOnOff},
    {"ItalicONOFF2", Measurement::ItalicOnOff},
    {"CountItalicCharAs2", Measurement::ItalicChars},
    {"SuperScriptCharsONOFF", Measurement::SuperscriptOnOff},
    {"SubScriptCharsONOFF", Measurement::SubscriptOnOff},
    {"CountTables", Measurement::Tables},
    {"CountTabs", Measurement::Tabs},
    {"CountCaps", Measurement::CapsChars},
};
constexpr Extra charactersWithSpacesExtras[] = {
    {"CountBoldCharAs2", Measurement::BoldChars},
    {"BoldONOFF2", Measurement::BoldOnOff},
    {"UnderLineONOFF2", Measurement::UnderlineOnOff},
    {"CountUnderlineCharAs2", Measurement::UnderlineChars},
    {"ItalicONOFF2", Measurement::ItalicOnOff},
    {"CountItalicCharAs2", Measurement::ItalicChars},
    {"SuperScriptCharsONOFF", Measurement::SuperscriptOnOff},
    {"SubScriptCharsONOFF", Measurement::SubscriptOnOff},
    {"CountTables", Measurement::Tables},
    {"CountTabs", Measurement::Tabs},
    {"CountCaps", Measurement::CapsChars},
    {"CountReturnAndEnter", Measurement::ReturnAndEnters},
};

// `CountCapsONOFF` is a stored switch that no unit adds: the run reads it
// and deliberately makes no call for it.

std::string fileDateLine(const ProfileReader& profile, const std::string& path)
{
    const std::string which = profile("ShowFileCreateInfo", "NONE");
    struct Kind {
        const char* setting;
        const char* label;
        browser::FileDateKind kind;
    };
    static constexpr Kind kinds[] = {
        {"Date Created", "|Date Created ", browser::FileDateKind::Created},
        {"Date Last Modified", "|Date Last Modified ", browser::FileDateKind::Modified},
        {"Date Last Accessed", "|Date Last Accessed ", browser::FileDateKind::Accessed},
    };
    for (const Kind& k : kinds) {
        if (which == k.setting) {
            const auto date = browser::fileDate(path, k.kind);
            return std::string("\r") + k.label + (date ? browser::formatDay(date->day) : "") + "|";
        }
    }
    // "NONE" (the readers' default) and the editor's "None" both mean no date.
    return {};
}

} // namespace

const char* measurementName(Measurement m)
{
    switch (m) {
    case Measurement::GrossLines: return "CountGrossLines";
    case Measurement::Characters: return "CountChar";
    case Measurement::CharactersWithSpaces: return "CountCharWspace";
    case Measurement::Words: return "CountWords";
    case Measurement::Lines: return "Countlines";
    case Measurement::Pages: return "CountPages";
    case Measurement::ReturnAndEnters: return "CountReturnAndEnters";
    case Measurement::BoldChars: return "CountBoldchars";
    case Measurement::BoldOnOff: return "CountBoldCharsONOFF";
    case Measurement::UnderlineChars: return "CountUnderlinechars";
    case Measurement::UnderlineOnOff: return "CountUnderLineCharsONOFF";
    case Measurement::ItalicChars: return "CountItalicChars";
    case Measurement::ItalicOnOff: return "CountItalicCharsONOFF";
    case Measurement::SuperscriptOnOff: return "CountSuperScriptCharsONOFF";
    case Measurement::SubscriptOnOff: return "CountSubScriptCharsONOFF";
    case Measurement::Tables: return "CountNumTables";
    case Measurement::Tabs: return "CountTabs";
    case Measurement::CapsChars: return "CountCapsChars";
    }
    return "";
}

CountRun::CountRun(CountingEngine& engine, Prompter& prompter, RunControl control, CurrencyFormat currencyFormat)
    : m_engine(engine), m_prompter(prompter), m_control(std::move(control)), m_currencyFormat(std::move(currencyFormat))
{
}

void CountRun::showProgress(const std::string& text)
{
    if (progress)
        progress(text);
}

void CountRun::cleanUp(const ChaseList& list)
{
    m_engine.resizeWordBack();
    m_engine.CompleteClose();
    showProgress(list.counterText());
}

size_t countedDocuments(std::span<const ResultRow> rows)
{
    return static_cast<size_t>(std::count_if(rows.begin(), rows.end(), [](const ResultRow& row) {
        return row.count.find_first_not_of(" \t") != std::string::npos;
    }));
}

RunResult CountRun::run(const ChaseList& list, const std::string& profileName, const ProfileReader& profile,
                        RunScope scope)
{
    RunResult result;
    if (list.empty()) {
        m_prompter.show(
            Message{"Traverse", "There Are No Files To Traverse", MessageIcon::Information, MessageButtons::Ok});
        return result;
    }
    if (m_control.stop)
        m_control.stop->clear();
    if (profileName.empty()) {
        m_prompter.show(
            Message{"Profile", "Select A Profile From The Profile's List", MessageIcon::None, MessageButtons::Ok});
        showProgress(list.counterText());
        return result;
    }
    try {
        if (profile("DonePer", "").empty()) {
            m_prompter.show(Message{"Profile Error", "You Must Enter A \"Done BY\" In This Profile.",
                                    MessageIcon::Information, MessageButtons::Ok});
            cleanUp(list);
            result.ending = RunEnding::ProfileError;
            return result;
        }
        const auto bill = parseCurrency(profile("BillAmount", "0.00"));
        if (!bill)
            throw ProfileValueError();
        result.billAmount = *bill;
        // One engine per thread. On one thread it is the run's own engine; on
        // several, each engine reports to a prompter that holds its messages
        // until the document's row is taken, so messages come in list order.
        struct Worker {
            CountingEngine* engine = nullptr;
            std::unique_ptr<RecordingPrompter> held;
            std::unique_ptr<CountingEngine> owned;
        };
        std::vector<Worker> workers;
        if (m_jobs > 1 && m_makeEngine) {
            for (unsigned i = 0; i < m_jobs; ++i) {
                Worker w;
                w.held = std::make_unique<RecordingPrompter>();
                w.owned = m_makeEngine(*w.held);
                if (!w.owned)
                    break;
                w.engine = w.owned.get();
                workers.push_back(std::move(w));
            }
        }
        if (workers.size() < 2) {
            workers.clear();
            workers.push_back(Worker{&m_engine, nullptr, nullptr});
        }
        // The run's own engine opens and closes its session as on one
        // thread, whether or not it counts.
        m_engine.OpenWord(false);
        std::vector<Worker*> idle;
        for (Worker& w : workers) {
            if (w.owned)
                w.owned->OpenWord(false);
            idle.push_back(&w);
        }
        std::mutex idleMutex;
        const auto closeWorkers = [&] {
            for (Worker& w : workers)
                if (w.owned)
                    w.owned->CompleteClose();
        };

        struct Pending {
            std::string path;
            std::future<Outcome> outcome;
        };
        std::deque<Pending> inFlight;
        // Documents are taken in list order, so the oldest one begun is the
        // next row; waiting for it keeps the rows in order whatever finishes first.
        const auto take = [&](const std::string& path, Outcome outcome) {
            if (outcome.skipped)
                return;
            for (const Message& m : outcome.messages)
                m_prompter.show(m);
            if (!outcome.opened) {
                result.unopened.push_back(path);
            } else if (outcome.row) {
                result.unitLabel = outcome.unitLabel;
                result.rows.push_back(std::move(*outcome.row));
            }
        };
        const auto commitOldest = [&] {
            Pending pending = std::move(inFlight.front());
            inFlight.pop_front();
            take(pending.path, pending.outcome.get());
        };
        const auto countOn = [&](const ChaseList::Entry& entry, const std::string& path) {
            // A document still waiting when Stop is pressed is not begun.
            if (workers.size() > 1 && m_control.stopRequested()) {
                Outcome skipped;
                skipped.skipped = true;
                return skipped;
            }
            Worker* worker = nullptr;
            {
                const std::lock_guard lock(idleMutex);
                worker = idle.back();
                idle.pop_back();
            }
            const auto release = [&] {
                const std::lock_guard lock(idleMutex);
                idle.push_back(worker);
            };
            Outcome outcome;
            try {
                outcome = countDocument(*worker->engine, entry, path, profileName, profile, result.billAmount);
            } catch (...) {
                if (worker->held)
                    worker->held->messages.clear();
                release();
                throw;
            }
            if (worker->held) {
                outcome.messages = std::move(worker->held->messages);
                worker->held->messages.clear();
            }
            release();
            return outcome;
        };

        // Threads that live for the whole run take the documents in turn;
        // a thread per document would map and unmap a stack each time.
        std::mutex queueMutex;
        std::condition_variable queueReady;
        std::deque<std::packaged_task<Outcome()>> queue;
        bool closing = false;
        std::vector<std::jthread> threads;
        struct Closer {
            std::mutex& mutex;
            std::condition_variable& ready;
            bool& closing;
            ~Closer()
            {
                {
                    const std::lock_guard lock(mutex);
                    closing = true;
                }
                ready.notify_all();
            }
        };
        if (workers.size() > 1)
            for (size_t i = 0; i < workers.size(); ++i)
                threads.emplace_back([&] {
                    for (;;) {
                        std::packaged_task<Outcome()> task;
                        {
                            std::unique_lock lock(queueMutex);
                            queueReady.wait(lock, [&] { return closing || !queue.empty(); });
                            if (queue.empty())
                                return;
                            task = std::move(queue.front());
                            queue.pop_front();
                        }
                        task();
                    }
                });
        // Declared after the threads, so it is undone first: the threads are
        // told to end before they are joined.
        const Closer closer{queueMutex, queueReady, closing};

        result.ending = RunEnding::Finished;
        try {
            for (size_t index = 0; index < list.size(); ++index) {
                m_control.pump();
                const ChaseList::Entry& entry = list[index];
                if (scope == RunScope::SelectedEntries && !entry.selected)
                    continue;
                showProgress("Files To Count:" + std::to_string(index + 1) + " of " + std::to_string(list.size()));
                const std::string path = trimmed(entry.path);
                if (documentStarted)
                    documentStarted(index, list.size(), path);
                if (!browser::fileExists(path)) {
                    // Every document before it is counted first, as on one
                    // thread, and its messages come before this one.
                    while (!inFlight.empty())
                        commitOldest();
                    m_prompter.show(Message{"File Not Found",
                                            "File:" + path + "\rNo Longer Exists. Traversing Will Now Stop.",
                                            MessageIcon::Critical, MessageButtons::Ok});
                    if (m_control.stop)
                        m_control.stop->set();
                    result.ending = RunEnding::Stopped;
                    break;
                }
                if (workers.size() == 1) {
                    take(path, countOn(entry, path));
                } else {
                    // A few documents queued per engine, so an engine that
                    // finishes a short document while a long one holds the
                    // oldest row takes the next at once. Only the documents
                    // being counted are in memory; a queued one is a path
                    // and a finished one a row.
                    while (inFlight.size() >= 8 * workers.size())
                        commitOldest();
                    // Stop pressed while waiting: the documents begun finish,
                    // no other begins.
                    if (m_control.stopRequested()) {
                        result.ending = RunEnding::Stopped;
                        break;
                    }
                    std::packaged_task<Outcome()> task([&countOn, &entry, path] { return countOn(entry, path); });
                    inFlight.push_back({path, task.get_future()});
                    {
                        const std::lock_guard lock(queueMutex);
                        queue.push_back(std::move(task));
                    }
                    queueReady.notify_one();
                }
                if (m_control.stopRequested()) {
                    result.ending = RunEnding::Stopped;
                    break;
                }
            }
            while (!inFlight.empty())
                commitOldest();
            // Stop pressed while the last documents were counted ends the run
            // as Stop after the last document does on one thread.
            if (result.ending == RunEnding::Finished && m_control.stopRequested())
                result.ending = RunEnding::Stopped;
        } catch (...) {
            // Every document begun finishes before the run reports its failure.
            for (Pending& pending : inFlight)
                if (pending.outcome.valid())
                    pending.outcome.wait();
            closeWorkers();
            throw;
        }
        closeWorkers();
    } catch (const ProfileValueError& e) {
        m_prompter.show(Message{"Profile Error",
                                std::string("There Is An Error With The Profile, Please Check The Profile.\r") +
                                    "Error Message <<" + e.what() + " number " + std::to_string(typeMismatchNumber) +
                                    ">>",
                                MessageIcon::None, MessageButtons::Ok});
        result.ending = RunEnding::ProfileError;
    } catch (const std::exception& e) {
        m_prompter.show(errorReport(e.what()));
        result.ending = RunEnding::Failed;
    }
    cleanUp(list);
    if (result.ending == RunEnding::Finished && report)
        report(result);
    return result;
}

CountRun::Outcome CountRun::countDocument(CountingEngine& engine, const ChaseList::Entry& entry,
                                          const std::string& path, const std::string& profileName,
                                          const ProfileReader& profile, Currency bill) const
{
    Outcome outcome;
    if (!engine.openJustDoc(path, true))
        return outcome;
    outcome.opened = true;
    ChaseList::Entry measured = entry;
    measured.path = path;
    try {
        outcome.row = measureDocument(engine, measured, profileName, profile, bill, outcome.unitLabel);
    } catch (...) {
        engine.CloseDocument();
        throw;
    }
    engine.CloseDocument();
    return outcome;
}

std::optional<ResultRow> CountRun::measureDocument(CountingEngine& engine, const ChaseList::Entry& entry,
                                                   const std::string& profileName, const ProfileReader& profile,
                                                   Currency bill, std::string& unitLabel) const
{
    const std::string unit = profile("DonePer", "");
    const std::string& path = entry.path;
    std::vector<std::pair<std::string, double>> taken;
    auto measure = [&](Measurement m) {
        const double value = engine.measure(m, path, profileName);
        taken.emplace_back(measurementName(m), value);
        return value;
    };
    auto addExtras = [&](auto& extras, double count) {
        for (const Extra& extra : extras)
            if (flagOn(profile, extra.key))
                count += measure(extra.measurement);
        profile("CountCapsONOFF", "0");
        return count;
    };

    double count = 0;
    bool roundable = true;
    if (unit == "Gross Line") {
        count = measure(Measurement::GrossLines);
        roundable = false;
        unitLabel = "Gross Line";
    } else if (unit == "Character") {
        count = addExtras(characterExtras, measure(Measurement::Characters));
        unitLabel = "Character";
    } else if (unit == "Character And Space" || unit == "Character And Spaces") {
        count = addExtras(charactersWithSpacesExtras, measure(Measurement::CharactersWithSpaces));
        unitLabel = "Character"; // the same label as the character unit, as users know it
    } else if (unit == "Words" || unit == "Word") {
        count = measure(Measurement::Words);
        unitLabel = "Words";
    } else if (unit == "Line" || unit == "Lines") {
        count = measure(Measurement::Lines);
        unitLabel = "Lines";
    } else if (unit == "Page") {
        count = measure(Measurement::Pages);
        unitLabel = "Page";
    } else {
        return std::nullopt; // an unknown unit measures nothing and fills no row
    }

    ResultRow row;
    if (roundable && flagOn(profile, "RoundCountToNearestWholeNumber")) {
        count = roundHalfEven(count);
        row.count = plainNumber(count); // "##0": a whole number without separators
    } else {
        row.count = plainNumber(count);
    }
    row.countValue = count;
    row.amountValue = Currency::fromDouble(bill.toDouble() * count);
    row.amount = formatCurrency(row.amountValue, m_currencyFormat);
    row.name = entry.display + fileDateLine(profile, path);
    row.path = path;
    row.measurements = std::move(taken);
    if (unit == "Line" || unit == "Lines")
        for (auto& part : engine.lastMeasurementParts())
            row.measurements.emplace_back("lines." + part.first, part.second);
    return row;
}

void CountRun::setJobs(unsigned jobs, std::function<std::unique_ptr<CountingEngine>(Prompter&)> makeEngine)
{
    m_jobs = std::max(1u, jobs);
    m_makeEngine = std::move(makeEngine);
}

} // namespace qm::app
