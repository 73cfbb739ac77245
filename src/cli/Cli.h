// The command-line front end: shared context, argument parsing and the command table.
#pragma once

#include <filesystem>
#include <iosfwd>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace qm::cli {

enum ExitCode : int { Success = 0, Failure = 1, UsageFailure = 2 };

/// Thrown by argument parsing for a malformed command line; main turns it
/// into a message on stderr and exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A command's arguments after the global options and the command name.
/// Options may stand anywhere among the positional arguments; "--" ends them.
class Args {
public:
    explicit Args(std::vector<std::string> args) : m_args(std::move(args)) {}

    /// Removes a boolean flag and tells whether it was given.
    bool flag(std::string_view name);
    /// Removes "--name VALUE" (or "--name=VALUE") and returns the value.
    std::optional<std::string> option(std::string_view name);
    /// The remaining arguments; throws UsageError if an unknown option remains.
    std::vector<std::string> positionals() const;
    /// positionals(), requiring between min and max of them.
    std::vector<std::string> positionals(size_t min, size_t max, std::string_view usage) const;

private:
    std::vector<std::string> m_args;
};

/// "--jobs N": how many documents to count at once; by default one per core.
/// Throws UsageError for anything but a whole number from 1 to 256.
unsigned jobsOption(Args& args);

struct Context {
    Args args;
    std::filesystem::path settingsFolder;
    std::ostream& out;
    std::ostream& err;
    bool stdoutIsTerminal = false;
    bool stderrIsTerminal = false;
};

/// One line of a command's --help: the option as typed, with its value's
/// name, and what it does.
struct OptionHelp {
    std::string_view option;
    std::string_view text;
};

struct Command {
    std::string_view name;
    std::string_view usage;
    std::string_view summary;
    int (*run)(Context&);
    std::span<const OptionHelp> options = {};
};

/// A command's --help: its usage, what it does and one line per option.
void printCommandHelp(std::ostream& out, const Command& command);

/// Every command the program knows, in the order --help lists them.
std::span<const Command> commands();

/// Runs the program on argv; returns the exit code.
int runMain(std::vector<std::string> argv, std::ostream& out, std::ostream& err);

} // namespace qm::cli
