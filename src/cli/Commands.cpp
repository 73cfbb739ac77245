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
int ledgerCommand(Context& ctx);

constexpr OptionHelp countOptions[] = {
    {"--profile NAME", "the billing profile to count with"},
    {"--subfolders", "search the folders' sub-folders too"},
    {"--by-date", "take only files dated within the options' DateRangeFrom and DateRangeTo"},
    {"--pattern P", "the file pattern of a folder search (\"*.doc;*.docx\"); by default the profile's DocType"},
    {"--csv", "print the results as CSV"},
    {"--json", "print the results as JSON"},
    {"--breakdown", "add every measurement of each document and the parts of its billed lines"},
    {"--invoice FILE", "also write the run's invoice, a .docx or .pdf file"},
    {"--quiet", "print neither the progress line nor the summary of documents left out"},
    {"--jobs N", "count N documents at once (by default one per core); the results are the same"},
    {"--ledger LOCATION", "record the run in this ledger (a file, a postgresql:// address, or \"off\"); by default the "
                          "option Ledger"},
    {"--rebill", "count documents already billed under the profile again"},
    {"--skip-billed", "leave documents already billed under the profile out of the count"},
    {"--no-billed-check", "do not look for documents already billed"},
};
constexpr OptionHelp ledgerOptions[] = {
    {"--ledger LOCATION", "read this ledger (a file or a postgresql:// address); by default the option Ledger"},
    {"--profile P", "with list and statement: only the runs of this profile"},
    {"--from DATE", "with list and statement: only runs on or after this day (yyyy-mm-dd)"},
    {"--to DATE", "with list and statement: only runs on or before this day (yyyy-mm-dd)"},
    {"--json", "with list and show: print as JSON"},
    {"--csv", "with list: print as CSV"},
    {"--out FILE", "with invoice and statement: the .docx or .pdf file to write"},
};
constexpr OptionHelp printOptions[] = {
    {"--printer NAME", "the printer to use; by default PrinterToUse, else the system's default printer"},
};
constexpr OptionHelp inspectOptions[] = {
    {"--profile NAME", "add every measurement under this profile and the parts of the billed lines"},
    {"--json", "print the result as JSON"},
    {"--jobs N", "read N files at once (by default one per core); the output is the same"},
};
constexpr OptionHelp showOptions[] = {
    {"--json", "with show: print as JSON"},
};

std::span<const Command> commands()
{
    static const Command table[] = {
        {"count",
         "count --profile NAME [--subfolders] [--by-date] [--pattern P] PATH... [--csv|--json] [--breakdown] "
         "[--invoice FILE.docx|FILE.pdf] [--quiet] [--jobs N] [--ledger LOCATION|off] [--rebill|--skip-billed] "
         "[--no-billed-check]",
         "count documents and folders under a billing profile and print the results and totals; --breakdown "
         "adds every measurement of each document and the parts of its billed lines; --invoice also writes "
         "the run's invoice; the run is recorded in the ledger with its invoice number, and documents already "
         "billed under the profile are refused unless --rebill or --skip-billed is given",
         countCommand, countOptions},
        {"ledger",
         "ledger list [--profile P] [--from DATE] [--to DATE] [--json|--csv] | show RUN [--json] | invoice RUN "
         "--out FILE.docx|FILE.pdf | statement --profile P --from DATE --to DATE --out FILE.docx|FILE.pdf",
         "list the recorded runs, show one with its documents, make a run's invoice again from the ledger, or "
         "write a statement of a profile's invoices in a period",
         ledgerCommand, ledgerOptions},
        {"print", "print [--printer NAME] FILE...",
         "print the documents one after another on the chosen printer (PrinterToUse, else the default "
         "printer), waiting SecToWait seconds between them",
         printCommand, printOptions},
        {"settings-dir", "settings-dir", "print the settings folder in use", settingsDirCommand},
        {"inspect", "inspect FILE... [--profile NAME] [--json] [--jobs N]",
         "show the format, statistics, headers, footers and diagnostics the engine finds; with a profile, "
         "every measurement and the parts of the billed lines",
         inspectCommand, inspectOptions},
        {"profile", "profile list | show NAME [--json] | set NAME KEY VALUE | add NAME | delete NAME",
         "list, show, change, add or delete billing profiles (an empty VALUE removes the key)", profileCommand,
         showOptions},
        {"options", "options show [--json] | set KEY VALUE",
         "show or change the application options in Options.ini (an empty VALUE removes the key)", optionsCommand,
         showOptions},
    };
    return table;
}

} // namespace qm::cli
