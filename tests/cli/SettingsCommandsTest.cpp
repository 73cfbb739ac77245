// The profile and options commands: exit codes, messages, files written and JSON output.
#include "../settings/TempFolder.h"
#include "RunCli.h"
#include "settings/ProfileRecord.h"

#include <gtest/gtest.h>

using namespace qm::cli;
using qm::testing::CliOutcome;
namespace fs = std::filesystem;

namespace {

class SettingsCommands : public ::testing::Test {
protected:
    CliOutcome run(std::vector<std::string> args)
    {
        return qm::testing::runCli(std::move(args), {"--settings-dir", m_folder.path().string()});
    }
    std::string file(const std::string& name) const { return qm::settings::test::readBytes(m_folder / name); }
    void write(const std::string& name, const std::string& bytes) const
    {
        qm::settings::test::writeBytes(m_folder / name, bytes);
    }
    bool exists(const std::string& name) const { return fs::exists(m_folder / name); }

    qm::settings::test::TempFolder m_folder;
};

size_t occurrences(const std::string& text, const std::string& piece)
{
    size_t count = 0;
    for (size_t at = text.find(piece); at != std::string::npos; at = text.find(piece, at + 1))
        ++count;
    return count;
}

} // namespace

TEST_F(SettingsCommands, ProfileLifecycle)
{
    EXPECT_EQ(run({"profile", "list"}).out, "");
    for (const char* name : {"Alpha", "Beta", "Say \"Hi\", Inc"})
        ASSERT_EQ(run({"profile", "add", name}).code, Success) << name;
    EXPECT_EQ(run({"profile", "list"}).out, "Alpha\nBeta\nSay \"Hi\", Inc\n");
    EXPECT_EQ(file("ProfileList.log"), "\"Alpha\"\r\n\"Beta\"\r\n\"Say \"\"Hi\"\", Inc\"\r\n");
    EXPECT_FALSE(exists("Profiles.ini")); // adding writes no key

    ASSERT_EQ(run({"profile", "set", "beta", "City", "Austin"}).code, Success);
    ASSERT_EQ(run({"profile", "set", "Beta", "countTabs", "1"}).code, Success);
    EXPECT_EQ(file("Profiles.ini"), "[Beta]\r\nCity=Austin\r\nCountTabs=1\r\n");
    ASSERT_EQ(run({"profile", "set", "Beta", "City", ""}).code, Success);
    EXPECT_EQ(file("Profiles.ini"), "[Beta]\r\nCountTabs=1\r\n");

    ASSERT_EQ(run({"options", "set", "ProfileToUse", "Beta"}).code, Success);
    ASSERT_EQ(run({"profile", "delete", "Beta"}).code, Success);
    EXPECT_EQ(run({"profile", "list"}).out, "Alpha\nSay \"Hi\", Inc\n");
    EXPECT_EQ(file("Profiles.ini"), "");
    EXPECT_EQ(file("Options.ini"), "[MAIN]\r\n");
}

TEST_F(SettingsCommands, ShowGivesEveryKeyWithItsSource)
{
    write("ProfileList.log", "\"Say \"\"Hi\"\"\"\r\n");
    write("Profiles.ini", "[Say \"Hi\"]\r\nCity=Back\\slash\r\nDonePer=Line\r\n");
    const CliOutcome text = run({"profile", "show", "Say \"Hi\""});
    ASSERT_EQ(text.code, Success) << text.err;
    EXPECT_NE(text.out.find("City=Back\\slash\n"), std::string::npos);
    EXPECT_NE(text.out.find("CountHeaderFooter=1  ; default\n"), std::string::npos);
    EXPECT_EQ(occurrences(text.out, "\n"), qm::settings::profileKeys().size());

    const CliOutcome json = run({"profile", "show", "--json", "say \"hi\""});
    ASSERT_EQ(json.code, Success) << json.err;
    EXPECT_TRUE(json.out.starts_with("{\n  \"name\": \"Say \\\"Hi\\\"\",\n  \"keys\": {\n")) << json.out;
    EXPECT_TRUE(json.out.ends_with("\n  }\n}\n"));
    EXPECT_NE(json.out.find("\"City\": {\"value\": \"Back\\\\slash\", \"stored\": true}"), std::string::npos);
    EXPECT_NE(json.out.find("\"DocType\": {\"value\": \"*.doc;*.rtf;*.txt;*.text\", "
                            "\"stored\": false}"),
              std::string::npos);
    EXPECT_EQ(occurrences(json.out, "\"stored\": "), qm::settings::profileKeys().size());
    EXPECT_EQ(occurrences(json.out, "\"stored\": true"), 2u);
}

TEST_F(SettingsCommands, OptionsShowAndSet)
{
    ASSERT_EQ(run({"options", "set", "verchk", "0"}).code, Success);
    ASSERT_EQ(run({"options", "set", "DateRangeFrom", "02/29/2024"}).code, Success);
    ASSERT_EQ(run({"options", "set", "CompanyName", "Brennan & Sons"}).code, Success);
    EXPECT_EQ(file("Options.ini"), "[MAIN]\r\nVerChk=0\r\nDateRangeFrom=02/29/2024\r\nCompanyName=Brennan & Sons\r\n");
    EXPECT_NE(run({"options", "show"}).out.find("AddDupilcateFiles=1  ; default\n"), std::string::npos);
    const CliOutcome json = run({"options", "show", "--json"});
    ASSERT_EQ(json.code, Success);
    EXPECT_NE(json.out.find("\"VerChk\": {\"value\": \"0\", \"stored\": true}"), std::string::npos);
    EXPECT_NE(json.out.find("\"SecToWait\": {\"value\": \"0\", \"stored\": false}"), std::string::npos);
    ASSERT_EQ(run({"options", "set", "CompanyName", ""}).code, Success);
    EXPECT_EQ(file("Options.ini"), "[MAIN]\r\nVerChk=0\r\nDateRangeFrom=02/29/2024\r\n");
}

// Mistakes in the command line exit with 2, problems with the files with 1;
// both leave the files as they were and say what went wrong.
TEST_F(SettingsCommands, ExitCodesAndMessages)
{
    write("ProfileList.log", "\"Alpha\"\r\n");
    write("Profiles.ini", "[Alpha]\r\nCity=A\r\n");
    struct Case {
        std::vector<std::string> args;
        int code;
        const char* inMessage;
    };
    const Case cases[] = {
        {{"profile"}, UsageFailure, "usage"},
        {{"profile", "rename", "Alpha"}, UsageFailure, "rename"},
        {{"profile", "show"}, UsageFailure, "usage"},
        {{"profile", "list", "--json"}, UsageFailure, "usage"},
        {{"profile", "set", "Alpha", "City"}, UsageFailure, "usage"},
        {{"profile", "set", "Alpha", "Colour", "red"}, UsageFailure, "Colour"},
        {{"profile", "set", "Alpha", "CountTabs", "yes"}, UsageFailure, "0 or 1"},
        {{"profile", "set", "Alpha", "TabsAmount", "1.2.3"}, UsageFailure, "decimal"},
        {{"profile", "set", "Alpha", "CharPerLine", "6x"}, UsageFailure, "whole number"},
        {{"profile", "set", "Alpha", "DonePer", "Lines"}, UsageFailure, "Gross Line"},
        {{"options", "set", "Nope", "1"}, UsageFailure, "Nope"},
        {{"options", "set", "DateRangeTo", "2024-01-01"}, UsageFailure, "mm/dd/yyyy"},
        {{"options", "set", "DateRangeTo", "02/30/2024"}, UsageFailure, "mm/dd/yyyy"},
        {{"options", "set", "SecToWait", "-3"}, UsageFailure, "unknown option"},
        {{"options"}, UsageFailure, "usage"},
        {{"profile", "show", "Ghost"}, Failure, "ProfileList.log"},
        {{"profile", "set", "Ghost", "City", "x"}, Failure, "Ghost"},
        {{"profile", "delete", "Ghost"}, Failure, "Ghost"},
        {{"profile", "add", "alpha"}, Failure, "already exists"},
        {{"profile", "add", " "}, Failure, "blank"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args.size() > 1 ? c.args[0] + " " + c.args[1] : c.args[0]);
        const CliOutcome o = run(c.args);
        EXPECT_EQ(o.code, c.code);
        EXPECT_NE(o.err.find(c.inMessage), std::string::npos) << o.err;
        EXPECT_EQ(o.out, "");
    }
    EXPECT_EQ(file("ProfileList.log"), "\"Alpha\"\r\n");
    EXPECT_EQ(file("Profiles.ini"), "[Alpha]\r\nCity=A\r\n");
    EXPECT_FALSE(exists("Options.ini"));
}

TEST_F(SettingsCommands, WriteFailureExitsOneNamingTheFile)
{
    write("ProfileList.log", "\"Alpha\"\r\n");
    write("Profiles.ini", "[Alpha]\r\nCity=A\r\n");
    ::chmod((m_folder / "Profiles.ini").c_str(), 0444);
    const CliOutcome o = run({"profile", "set", "Alpha", "City", "B"});
    EXPECT_EQ(o.code, Failure);
    EXPECT_NE(o.err.find("Profiles.ini"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("read-only"), std::string::npos) << o.err;
    EXPECT_EQ(file("Profiles.ini"), "[Alpha]\r\nCity=A\r\n");
}
