// Printing the Chase List: the checks first, one document after another, waits between them.
#pragma once

#include "app/ChaseList.h"
#include "app/RunControl.h"
#include "browser/CPause.h"
#include "engine/Prompter.h"
#include "print/Printers.h"
#include "settings/Result.h"
#include "settings/SettingsContext.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::print {

/// The engine session's operations a print job calls, in calling order.
class PrintingEngine {
public:
    virtual ~PrintingEngine() = default;
    virtual void OpenWord() = 0;
    /// Opens one document without counting it; false when it cannot be opened.
    virtual bool openJustDoc(const std::string& path) = 0;
    /// Prints the open document on the chosen printer; false on failure.
    virtual bool PrintDocument() = 0;
    virtual bool CloseDocument() = 0;
    virtual void CompleteClose() = 0;
    /// Why the last PrintDocument failed, where the engine knows.
    virtual std::string lastError() const { return {}; }
};

/// How a job ended: refused by one of its checks (nothing started),
/// through the whole list, or by Stop.
enum class PrintEnding { Refused, Finished, Stopped };

struct PrintResult {
    PrintEnding ending = PrintEnding::Refused;
    std::vector<std::string> printed;  ///< paths handed to the printer, in order
    std::vector<std::string> unopened; ///< paths that could not be opened (skipped)
    /// Documents opened but not printed, with the engine's reason.
    struct Failure {
        std::string path;
        std::string reason;
        bool operator==(const Failure&) const = default;
    };
    std::vector<Failure> failed;
};

/// What the screen shows of a job. Every member may be left empty.
struct PrintJobHooks {
    /// The printer box refilled with the installed printers (the job's first step).
    std::function<void(const std::vector<std::string>& names)> printersRefreshed;
    /// Stop shown and the busy animation started, as the job starts.
    std::function<void()> started;
    /// Entry `index` of the Chase List selected: the user sees which
    /// document is being printed.
    std::function<void(size_t index)> entrySelected;
    /// Stop hidden, animation stopped, tabs enabled again: however the job ended.
    std::function<void()> ended;
};

/// The option `SecToWait` read as a 16-bit whole number: surrounding blanks
/// are ignored and a fraction is rounded half to even. A text that is no
/// number, or one outside -32768..32767, is an error saying so.
settings::Result<int> parseSecToWait(std::string_view text);

/// The wait after a document: slices of half a second, one more than twice
/// the seconds, so a slow printer gets half a second more than asked.
inline int waitSlices(int secToWait) { return secToWait * 2 + 1; }

/// One print job over a Chase List. The options `PrinterToUse` and
/// `SecToWait` are read from the settings folder when the job needs them.
class PrintJob {
public:
    PrintJob(PrintingEngine& engine, PrinterSystem& printers, Prompter& prompter, settings::SettingsContext settings,
             app::RunControl control, browser::Clock& clock);

    PrintJobHooks hooks;
    /// A printer named for this job only, in place of `PrinterToUse`.
    std::optional<std::string> chosenPrinter;

    PrintResult run(const app::ChaseList& list);

private:
    /// Runs one step; a failure shows the error report tagged "-Printing-"
    /// and the job goes on with the next step.
    template <class Step> void guarded(Step&& step);
    bool refused(const app::ChaseList& list);
    int readSecToWait();

    PrintingEngine& m_engine;
    PrinterSystem& m_printers;
    Prompter& m_prompter;
    settings::SettingsContext m_settings;
    app::RunControl m_control;
    browser::Clock& m_clock;
};

} // namespace qm::print
