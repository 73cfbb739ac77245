// The command line's global options and exit codes.
#include "cli/Cli.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace qm::cli;

namespace {
struct Outcome {
    int code;
    std::string out, err;
};
Outcome run(std::vector<std::string> args)
{
    args.insert(args.begin(), "quillmeter");
    std::ostringstream out, err;
    int code = runMain(args, out, err);
    return {code, out.str(), err.str()};
}
} // namespace

TEST(Cli, VersionAndHelpSucceed)
{
    Outcome v = run({"--version"});
    EXPECT_EQ(v.code, Success);
    EXPECT_EQ(v.out, "quillmeter " QM_VERSION "\n");
    Outcome h = run({"--help"});
    EXPECT_EQ(h.code, Success);
    EXPECT_NE(h.out.find("settings-dir"), std::string::npos);
}

TEST(Cli, UsageErrorsExitTwoWithAMessageOnStderr)
{
    for (auto args : std::vector<std::vector<std::string>>{
             {}, {"--bogus"}, {"nosuchcommand"}, {"--settings-dir"}, {"settings-dir", "extra"}}) {
        SCOPED_TRACE(args.empty() ? "(none)" : args[0]);
        Outcome o = run(args);
        EXPECT_EQ(o.code, UsageFailure);
        EXPECT_FALSE(o.err.empty());
    }
}

TEST(Cli, ExplicitSettingsFolderWins)
{
    Outcome o = run({"--settings-dir", "/tmp/qm-elsewhere", "settings-dir"});
    EXPECT_EQ(o.code, Success);
    EXPECT_EQ(o.out, "/tmp/qm-elsewhere\n");
}
