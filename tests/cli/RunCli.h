// Runs the command line in the test's process and keeps what it printed.
#pragma once

#include "cli/Cli.h"

#include <sstream>
#include <string>
#include <vector>

namespace qm::testing {

struct CliOutcome {
    int code;
    std::string out, err;
};

/// `quillmeter` followed by `leading` and `args`.
inline CliOutcome runCli(std::vector<std::string> args, std::vector<std::string> leading = {})
{
    args.insert(args.begin(), leading.begin(), leading.end());
    args.insert(args.begin(), "quillmeter");
    std::ostringstream out, err;
    const int code = cli::runMain(args, out, err);
    return {code, out.str(), err.str()};
}

} // namespace qm::testing
