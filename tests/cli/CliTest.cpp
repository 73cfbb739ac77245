// The command line's global options and exit codes.
#include "RunCli.h"

#include <gtest/gtest.h>

using namespace qm::cli;
using qm::testing::runCli;

TEST(Cli, VersionHelpAndSettingsFolder)
{
    EXPECT_EQ(runCli({"--version"}).out, "quillmeter " QM_VERSION "\n");
    const auto help = runCli({"--help"});
    EXPECT_EQ(help.code, Success);
    EXPECT_NE(help.out.find("settings-dir"), std::string::npos);
    const auto folder = runCli({"--settings-dir", "/tmp/qm-elsewhere", "settings-dir"});
    EXPECT_EQ(folder.code, Success);
    EXPECT_EQ(folder.out, "/tmp/qm-elsewhere\n");
}

TEST(Cli, UsageErrorsExitTwoWithAMessageOnStderr)
{
    for (auto args : std::vector<std::vector<std::string>>{
             {}, {"--bogus"}, {"nosuchcommand"}, {"--settings-dir"}, {"settings-dir", "extra"}}) {
        const auto o = runCli(args);
        EXPECT_EQ(o.code, UsageFailure) << (args.empty() ? "(none)" : args[0]);
        EXPECT_FALSE(o.err.empty());
    }
}
