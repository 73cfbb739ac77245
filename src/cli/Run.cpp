// Global options, dispatch to a command, and exit codes.
#include "Cli.h"
#include "settings/SettingsFolder.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <unistd.h>

namespace qm::cli {

static void printHelp(std::ostream& out)
{
    out << "Quillmeter " QM_VERSION " - a billing counter for typed documents\n\n"
           "usage: quillmeter [--settings-dir DIR] COMMAND [ARGS...]\n\n"
           "global options:\n"
           "  --help               show this help\n"
           "  --version            show the version\n"
           "  --settings-dir DIR   keep Options.ini, Profiles.ini and ProfileList.log in DIR\n\n"
           "commands:\n";
    for (const Command& c : commands())
        out << "  " << c.usage << "\n      " << c.summary << "\n";
}

void printCommandHelp(std::ostream& out, const Command& command)
{
    out << "usage: quillmeter " << command.usage << "\n\n" << command.summary << "\n";
    size_t width = std::string_view("--help").size();
    for (const OptionHelp& o : command.options)
        width = std::max(width, o.option.size());
    out << "\noptions:\n";
    const auto line = [&](std::string_view option, std::string_view text) {
        out << "  " << option << std::string(width - option.size() + 3, ' ') << text << "\n";
    };
    for (const OptionHelp& o : command.options)
        line(o.option, o.text);
    line("--help", "show this help");
}

int runMain(std::vector<std::string> argv, std::ostream& out, std::ostream& err)
{
    std::optional<std::filesystem::path> settingsDir;
    size_t i = 1;
    for (; i < argv.size(); ++i) {
        const std::string& a = argv[i];
        if (a == "--help" || a == "-h") {
            printHelp(out);
            return Success;
        }
        if (a == "--version") {
            out << "quillmeter " QM_VERSION "\n";
            return Success;
        }
        if (a == "--settings-dir") {
            if (i + 1 >= argv.size()) {
                err << "quillmeter: option --settings-dir needs a folder\n";
                return UsageFailure;
            }
            settingsDir = argv[++i];
        } else if (a.starts_with("--settings-dir=")) {
            settingsDir = a.substr(15);
        } else if (a.starts_with("-")) {
            err << "quillmeter: unknown option " << a << "\n";
            return UsageFailure;
        } else {
            break;
        }
    }
    if (i >= argv.size()) {
        printHelp(err);
        return UsageFailure;
    }
    const std::string name = argv[i];
    for (const Command& c : commands()) {
        if (c.name != name)
            continue;
        Context ctx{Args({argv.begin() + i + 1, argv.end()}),
                    settings::resolveSettingsFolder(settingsDir),
                    out,
                    err,
                    &out == &std::cout && ::isatty(STDOUT_FILENO) == 1,
                    &err == &std::cerr && ::isatty(STDERR_FILENO) == 1};
        try {
            if (ctx.args.flag("--help")) {
                printCommandHelp(out, c);
                return Success;
            }
            return c.run(ctx);
        } catch (const UsageError& e) {
            err << "quillmeter " << name << ": " << e.what();
            if (std::string_view(e.what()).starts_with("unknown option"))
                err << " (see quillmeter " << name << " --help)";
            err << "\n";
            return UsageFailure;
        } catch (const std::exception& e) {
            err << "quillmeter " << name << ": " << e.what() << "\n";
            return Failure;
        }
    }
    err << "quillmeter: unknown command '" << name << "' (see quillmeter --help)\n";
    return UsageFailure;
}

} // namespace qm::cli
