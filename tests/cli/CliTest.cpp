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

// Each command's --help gives one line per option it takes (checked against
// what the command accepts: an option it lists must not be refused), and an
// option it does not take points to that help.
TEST(Cli, EveryCommandsHelpListsItsOptionsOneALine)
{
    const auto help = runCli({"count", "--help"});
    EXPECT_EQ(help.code, Success);
    for (const char* option : {"--profile NAME", "--subfolders", "--by-date", "--pattern P", "--csv", "--json",
                               "--breakdown", "--invoice FILE", "--quiet", "--help"})
        EXPECT_NE(help.out.find("\n  " + std::string(option) + "  "), std::string::npos) << option << "\n" << help.out;
    for (const Command& command : commands()) {
        const auto shown = runCli({std::string(command.name), "--help"});
        EXPECT_EQ(shown.code, Success) << command.name;
        EXPECT_TRUE(shown.out.starts_with("usage: quillmeter " + std::string(command.name))) << shown.out;
        EXPECT_EQ(shown.out.find("\n  --help   "), shown.out.rfind("\n  --help   ")) << "one line each";
    }
    const auto unknown = runCli({"count", "--profle", "x", "/tmp"});
    EXPECT_EQ(unknown.code, UsageFailure);
    EXPECT_EQ(unknown.err, "quillmeter count: unknown option --profle (see quillmeter count --help)\n");
}
