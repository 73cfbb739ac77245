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

int inspectCommand(Context& ctx);

std::span<const Command> commands()
{
    static const Command table[] = {
        {"settings-dir", "settings-dir", "print the settings folder in use", settingsDirCommand},
        {"inspect", "inspect FILE... [--json]", "show the format, statistics, headers, footers and diagnostics the engine finds", inspectCommand},
    };
    return table;
}

} // namespace qm::cli
