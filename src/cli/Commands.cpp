// The command table: one line per command, each implemented in its own file.
#include "Cli.h"

#include <ostream>

namespace qm::cli {

static int settingsDirCommand(Context& ctx)
{
    ctx.args.positionals(0, 0, "settings-dir");
    ctx.out << ctx.settingsFolder.string() << "\n";
    return Success;
}

int profileCommand(Context& ctx);
int optionsCommand(Context& ctx);
int inspectCommand(Context& ctx);
int countCommand(Context& ctx);
int printCommand(Context& ctx);

std::span<const Command> commands()
{
    static const Command table[] = {
        {"count", "count --profile NAME [--subfolders] [--by-date] [--pattern P] PATH... [--csv|--json] [--breakdown] "
                  "[--invoice FILE.docx|FILE.pdf]",
         "count documents and folders under a billing profile and print the results and totals; --breakdown "
         "adds every measurement of each document and the parts of its billed lines; --invoice also writes "
         "the run's invoice",
         countCommand},
        {"print", "print [--printer NAME] FILE...",
         "print the documents one after another on the chosen printer (PrinterToUse, else the default "
         "printer), waiting SecToWait seconds between them",
         printCommand},
        {"settings-dir", "settings-dir", "print the settings folder in use", settingsDirCommand},
        {"inspect", "inspect FILE... [--profile NAME] [--json]",
         "show the format, statistics, headers, footers and diagnostics the engine finds; with a profile, "
         "every measurement and the parts of the billed lines",
         inspectCommand},
        {"profile", "profile list | show NAME [--json] | set NAME KEY VALUE | add NAME | delete NAME",
         "list, show, change, add or delete billing profiles (an empty VALUE removes the key)",
         profileCommand},
        {"options", "options show [--json] | set KEY VALUE",
         "show or change the application options in Options.ini (an empty VALUE removes the key)",
         optionsCommand},
    };
    return table;
}

} // namespace qm::cli
