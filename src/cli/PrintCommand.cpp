// quillmeter print: a Chase List of the files named, printed one after another with the set wait.
#include "cli/PrintCommand.h"

#include "app/ChaseList.h"
#include "cli/StderrPrompter.h"
#include "print/CupsPrinters.h"
#include "print/PrintJob.h"
#include "print/WizardPrinting.h"

#include <ostream>

namespace fs = std::filesystem;

namespace qm::cli {

int runPrint(Context& ctx, print::PrinterSystem& printers, browser::Clock& clock)
{
    const std::optional<std::string> printer = ctx.args.option("--printer");
    const std::vector<std::string> paths = ctx.args.positionals();
    if (paths.empty())
        throw UsageError("usage: quillmeter print [--printer NAME] FILE...");

    // Every file is checked before anything is printed: a typing mistake in
    // the third name must not leave two documents printed and a question.
    app::ChaseList list;
    for (const std::string& path : paths) {
        std::error_code error;
        const fs::path absolute = fs::absolute(path, error);
        if (fs::is_directory(absolute, error))
            throw UsageError(path + ": is a folder; name the documents to print");
        if (!fs::is_regular_file(absolute, error))
            throw UsageError(path + ": no such file");
        list.append(absolute.filename().string(), absolute.string());
    }

    const settings::SettingsContext settings{ctx.settingsFolder};
    StderrPrompter prompter(ctx.err);
    print::WizardPrinting engine(prompter, printers, settings);
    engine.chosenPrinter = printer;
    app::StopFlag stop;
    print::PrintJob job(engine, printers, prompter, settings, app::RunControl{nullptr, &stop}, clock);
    job.chosenPrinter = printer;
    const std::string destination = print::printerToUse(printers, settings, printer);
    job.hooks.entrySelected = [&](size_t index) {
        if (ctx.stderrIsTerminal)
            ctx.err << "\rPrinting " << index + 1 << " of " << list.size() << "\x1b[K" << std::flush;
    };
    const print::PrintResult result = job.run(list);
    if (ctx.stderrIsTerminal && result.ending != print::PrintEnding::Refused)
        ctx.err << "\r\x1b[K" << std::flush;
    if (result.ending == print::PrintEnding::Refused)
        return Failure;
    for (const std::string& path : result.printed)
        ctx.out << "printed " << path << " on " << destination << "\n";
    for (const std::string& path : result.unopened)
        ctx.err << "quillmeter print: " << path << ": could not be opened; not printed\n";
    // The screen says nothing about a document that did not print; here its
    // reason is worth a line.
    for (const print::PrintResult::Failure& failure : result.failed)
        ctx.err << "quillmeter print: " << failure.path << ": not printed: " << failure.reason << "\n";
    return result.unopened.empty() && result.failed.empty() ? Success : Failure;
}

int printCommand(Context& ctx)
{
    print::CupsPrinterSystem printers;
    browser::SystemClock clock;
    return runPrint(ctx, printers, clock);
}

} // namespace qm::cli
