// The print job's steps, its waits in half-second slices, and its end steps.
#include "print/PrintJob.h"

#include "engine/wizard/WordWizard.h"
#include "settings/Encoding.h"
#include "settings/IniRW.h"
#include "settings/Options.h"

#include <charconv>
#include <cmath>
#include <exception>

namespace qm::print {

namespace {

constexpr std::string_view kLocationTag = "-Printing-";
constexpr double kSliceMs = 500;

Message information(std::string title, std::string text)
{
    return Message{std::move(title), std::move(text), MessageIcon::Information, MessageButtons::Ok};
}

} // namespace

settings::Result<int> parseSecToWait(std::string_view text)
{
    std::string_view number = settings::trimBlanks(text);
    const std::string quoted = "\"" + std::string(text) + "\"";
    if (!number.empty() && number.front() == '+')
        number.remove_prefix(1);
    // Read without the user's locale: the options file holds "2.5" wherever it is written.
    double value = 0;
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    if (number.empty() || end != number.data() + number.size() ||
        (error != std::errc() && error != std::errc::result_out_of_range) || std::isnan(value))
        return settings::Failure("Type mismatch number 13: " + quoted + " is not a number of seconds");
    // Rounding half to even is the default rounding mode's nearest.
    const double whole = std::nearbyint(value);
    if (error == std::errc::result_out_of_range || whole < -32768 || whole > 32767)
        return settings::Failure("Overflow number 6: " + quoted +
                                 " seconds is more than a whole number of 16 bits holds");
    return static_cast<int>(whole);
}

PrintJob::PrintJob(PrintingEngine& engine, PrinterSystem& printers, Prompter& prompter,
                   settings::SettingsContext settings, app::RunControl control, browser::Clock& clock)
    : m_engine(engine), m_printers(printers), m_prompter(prompter), m_settings(std::move(settings)),
      m_control(std::move(control)), m_clock(clock)
{
}

template <class Step> void PrintJob::guarded(Step&& step)
{
    try {
        step();
    } catch (const std::exception& e) {
        m_prompter.show(engine::errorReportMessage(e.what(), kLocationTag));
    } catch (...) {
        m_prompter.show(engine::errorReportMessage("internal failure", kLocationTag));
    }
}

bool PrintJob::refused(const app::ChaseList& list)
{
    std::vector<std::string> names;
    guarded([&] { names = m_printers.printerNames(); });
    if (hooks.printersRefreshed)
        hooks.printersRefreshed(names);
    if (list.empty()) {
        m_prompter.show(information("Print", "There Are No Files To Print"));
        return true;
    }
    if (names.empty()) {
        m_prompter.show(information("Selected Printer", "There Are No Printer Installed On This System, Please "
                                                        "Install A Printer Before Using This Feature"));
        return true;
    }
    if (!PrinterExists(m_printers, printerToUse(m_printers, m_settings, chosenPrinter))) {
        m_prompter.show(information("Selected Printer", "The Selected Printer No Longer Exists, Please Go To "
                                                        "Options And Select A Printer"));
        return true;
    }
    return false;
}

int PrintJob::readSecToWait()
{
    const std::string text =
        settings::ReadINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "SecToWait", "0");
    const settings::Result<int> seconds = parseSecToWait(text);
    if (seconds)
        return *seconds;
    // The job still runs, without waits, as it would after a reported error.
    m_prompter.show(engine::errorReportMessage(
        "the option SecToWait of " + settings::iniFilePath(m_settings, settings::kOptionsBaseName).string() + ": " +
            seconds.error(),
        kLocationTag));
    return 0;
}

PrintResult PrintJob::run(const app::ChaseList& list)
{
    PrintResult result;
    if (refused(list))
        return result;

    browser::CPause pause(m_clock, m_control.pumpEvents);
    if (m_control.stop)
        m_control.stop->clear();
    if (hooks.started)
        hooks.started();
    const int secToWait = readSecToWait();
    guarded([&] { m_engine.OpenWord(); });

    result.ending = PrintEnding::Finished;
    const size_t count = list.size();
    for (size_t i = 0; i < count && result.ending == PrintEnding::Finished; ++i) {
        m_control.pump();
        if (hooks.entrySelected)
            hooks.entrySelected(i);
        const std::string path(settings::trimBlanks(list[i].path));
        guarded([&] {
            if (!m_engine.openJustDoc(path)) {
                result.unopened.push_back(path);
                return;
            }
            if (m_engine.PrintDocument())
                result.printed.push_back(path);
            else
                result.failed.push_back({path, m_engine.lastError()});
            m_engine.CloseDocument();
        });
        // No wait follows the first document; every later one is followed by
        // the slices, Stop being seen after the slice in which it was pressed.
        if (i != 0) {
            for (int slice = 0; slice < waitSlices(secToWait); ++slice) {
                m_control.pump();
                pause.wait(kSliceMs, browser::CPause::Milliseconds);
                if (m_control.stopRequested()) {
                    result.ending = PrintEnding::Stopped;
                    break;
                }
            }
        }
        if (m_control.stopRequested())
            result.ending = PrintEnding::Stopped;
    }

    guarded([&] { m_engine.CompleteClose(); });
    if (hooks.ended)
        hooks.ended();
    return result;
}

} // namespace qm::print
