// The profile record's readings and write orders, ProfileList.log and deleting profiles.
#include "settings/ProfileStore.h"

#include "TempFolder.h"
#include "settings/IniRW.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>

using namespace qm::settings;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

namespace {

const ProfileKey& key(std::string_view name)
{
    const ProfileKey* found = findProfileKey(name);
    EXPECT_NE(found, nullptr) << name;
    return *found;
}

} // namespace

// The two readings differ on hand-edited text; the editor's three
// exceptions behave like the engine. Columns: key, text, engine, editor.
TEST(ProfileRecord, FlagReadings)
{
    const std::tuple<const char*, const char*, bool, bool> cases[] = {
        {"CountTabs", "1", true, true},
        {"CountTabs", "0", false, false},
        {"CountTabs", "yes", false, true},
        {"CountTabs", "", false, true},
        {"CountTabs", " 1", false, true},
        {"DoNotCountBlankLine", "yes", false, false},
        {"LineCountWithSpaces", "2", false, false},
        {"ShowBillingRate", "true", false, false},
        {"ShowBillingRate", "1", true, true},
    };
    for (const auto& [name, text, engine, editor] : cases) {
        SCOPED_TRACE(std::string(name) + "=" + text);
        EXPECT_EQ(flagIsOn(name, text, FlagReading::Engine), engine);
        EXPECT_EQ(flagIsOn(name, text, FlagReading::Editor), editor);
    }
}

// Stored text wins whatever it says; a missing key, section or file gives
// the read default. Columns: profile, key, value, on for the engine.
TEST(ProfileStore, ReadsStoredTextOrTheReadDefault)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini",
               "[Acme]\r\nCountTabs=yes\r\nShowReportInWord=0\r\nCity=Boston\r\n[Empty]\r\n");
    const ProfileStore store(SettingsContext{folder.path()});
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        {"ACME", "City", "Boston", false},
        {"Acme", "CountTabs", "yes", false},
        {"Acme", "ShowReportInWord", "0", false},
        {"Acme", "TableColor", "1", true},
        {"Empty", "CountHeaderFooter", "1", true},
        {"Empty", "DonePer", "", false},
        {"Unknown", "ShowFileCreateInfo", "NONE", false},
    };
    for (const auto& [profile, name, value, on] : cases) {
        SCOPED_TRACE(std::string(profile) + "/" + name);
        EXPECT_EQ(store.read(profile, key(name)), value);
        EXPECT_EQ(store.flag(profile, key(name), FlagReading::Engine), on);
    }
    auto record = store.record("acme");
    ASSERT_TRUE(record);
    ASSERT_EQ(record->size(), profileKeys().size());
    EXPECT_EQ(std::count_if(record->begin(), record->end(), [](const auto& e) { return e.stored; }),
              3);
}

// A save writes in the screen's order, so new keys appear in that order, and
// an empty text removes its key instead of storing it. The edit screen moves
// `CountBoldCharAs2` before `CountReturnAndEnter` and `DonePer` after
// `ShowBillingRate`; both orders hold every key.
TEST(ProfileStore, SaveWritesInScreenOrderAndDropsEmptyTexts)
{
    EXPECT_EQ(editorWriteOrder(EditorScreen::Add).size(), profileKeys().size());
    EXPECT_EQ(editorWriteOrder(EditorScreen::Edit).size(), profileKeys().size());
    TempFolder folder;
    writeBytes(folder / "Profiles.ini", "[Acme]\r\nCity=Boston\r\nZip=02134\r\n");
    const ProfileStore store(SettingsContext{folder.path()});
    const std::pair<std::string_view, std::string> values[] = {
        {"DonePer", "Line"},          {"CharPerLine", "65"}, {"City", ""},
        {"ShowBillingRate", "0"},     {"Zip", "02139"},      {"CountBoldCharAs2", "1"},
        {"CountReturnAndEnter", "0"},
    };
    ASSERT_TRUE(store.saveProfile("Acme", values, EditorScreen::Edit));
    EXPECT_EQ(readBytes(folder / "Profiles.ini"),
              "[Acme]\r\nZip=02139\r\nCountBoldCharAs2=1\r\nCountReturnAndEnter=0\r\n"
              "ShowBillingRate=0\r\nDonePer=Line\r\nCharPerLine=65\r\n");
    writeBytes(folder / "Profiles.ini", "");
    ASSERT_TRUE(store.saveProfile("Beta", values, EditorScreen::Add));
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Beta]\r\nZip=02139\r\nDonePer=Line\r\nCountReturnAndEnter=0\r\n"
                                                  "CountBoldCharAs2=1\r\nShowBillingRate=0\r\nCharPerLine=65\r\n");
}

// Names are written as quoted records; a quote inside a name is doubled so
// that every name comes back as it went in.
TEST(ProfileList, RecordsRoundTrip)
{
    const std::string names[] = {"Acme", "Smith, Jones & Co", "  padded  ", "Say \"Hi\"",
                                 "\"",   "Zoë's café",        "a\"\"b"};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::string record = formatProfileListRecord(name) + "\r\n";
        EXPECT_EQ(parseProfileList(record), std::vector<std::string>{name});
    }
    EXPECT_EQ(formatProfileListRecord("Say \"Hi\""), "\"Say \"\"Hi\"\"\"");
}

// Files written by hand or by other tools: unquoted names, several fields on a
// line, empty records and a bare quote inside a name as the Windows version
// writes it.
TEST(ProfileList, ReadsFieldByField)
{
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::string> names;
    };
    const Case cases[] = {
        {"Windows file", "\"Alpha\"\r\n\"Beta\"\r\n", {"Alpha", "Beta"}},
        {"LF and no final break", "\"Alpha\"\n\"Beta\"", {"Alpha", "Beta"}},
        {"unquoted, trimmed", "  Alpha  \r\nBeta\r\n", {"Alpha", "Beta"}},
        {"comma separates unquoted fields", "Alpha,Beta\r\n", {"Alpha", "Beta"}},
        {"comma inside quotes", "\"Smith, Jones\"\r\n", {"Smith, Jones"}},
        {"two records on a line", "\"A\",\"B\"\r\n", {"A", "B"}},
        {"empty records skipped", "\"\"\r\n\r\n\"A\"\r\n", {"A"}},
        {"unterminated quote ends at the line end", "\"Alpha\r\n\"Beta\"\r\n", {"Alpha", "Beta"}},
        {"text after the closing quote dropped", "\"Say \"Hi\"\r\n\"B\"\r\n", {"Say ", "B"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(parseProfileList(c.text), c.names);
    }
}

TEST(ProfileStore, SaveProfileListSkipsEmptyNamesAndKeepsTheEncoding)
{
    TempFolder folder;
    const ProfileStore store(SettingsContext{folder.path()});
    const std::vector<std::string> names = {"Alpha", "", "Zoë"};
    ASSERT_TRUE(store.SaveProfileList(names));
    EXPECT_EQ(readBytes(folder / "ProfileList.log"), "\"Alpha\"\r\n\"Zoë\"\r\n");

    writeBytes(folder / "ProfileList.log", "\"Caf\xE9\"\r\n");
    auto loaded = store.loadProfileList();
    ASSERT_TRUE(loaded);
    EXPECT_EQ(*loaded, std::vector<std::string>{"Café"});
    ASSERT_TRUE(store.addProfile("Zoë"));
    EXPECT_EQ(readBytes(folder / "ProfileList.log"), "\"Caf\xE9\"\r\n\"Zo\xEB\"\r\n");
}

TEST(ProfileStore, AddRefusesDuplicatesAndImpossibleNames)
{
    TempFolder folder;
    const ProfileStore store(SettingsContext{folder.path()});
    ASSERT_TRUE(store.addProfile("ACME"));
    for (const char* name : {"acme", " Acme ", "", "   ", "a]b", "two\nlines"}) {
        SCOPED_TRACE(name);
        auto added = store.addProfile(name);
        EXPECT_FALSE(added);
        EXPECT_NE(added.error().find("ProfileList.log"), std::string::npos);
    }
    EXPECT_EQ(readBytes(folder / "ProfileList.log"), "\"ACME\"\r\n");
    EXPECT_FALSE(std::filesystem::exists(folder / "Profiles.ini"));
}

TEST(ProfileStore, DeleteRemovesEntrySectionAndSelection)
{
    TempFolder folder;
    const std::string profiles = "[Alpha]\r\nCity=A\r\n\r\n[Beta]\r\nCity=B\r\n; beta note\r\n"
                                 "\r\n[Gamma]\r\nCity=C\r\n";
    writeBytes(folder / "Profiles.ini", profiles);
    writeBytes(folder / "ProfileList.log", "\"Alpha\"\r\n\"Beta\"\r\n\"Gamma\"\r\n");
    writeBytes(folder / "Options.ini", "[MAIN]\r\nProfileToUse=Beta\r\nVerChk=0\r\n");
    const ProfileStore store(SettingsContext{folder.path()});

    ASSERT_TRUE(store.deleteProfile("Beta"));
    EXPECT_EQ(readBytes(folder / "ProfileList.log"), "\"Alpha\"\r\n\"Gamma\"\r\n");
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Alpha]\r\nCity=A\r\n\r\n[Gamma]\r\nCity=C\r\n");
    EXPECT_EQ(readBytes(folder / "Options.ini"), "[MAIN]\r\nVerChk=0\r\n");

    // Another profile selected: the option stays.
    writeBytes(folder / "Options.ini", "[MAIN]\r\nProfileToUse=Alpha\r\n");
    ASSERT_TRUE(store.deleteProfile("gamma"));
    EXPECT_EQ(readBytes(folder / "ProfileList.log"), "\"Alpha\"\r\n");
    EXPECT_EQ(readBytes(folder / "Options.ini"), "[MAIN]\r\nProfileToUse=Alpha\r\n");

    // A section that is not listed can still be deleted; a name that is
    // neither listed nor has a section is an error.
    writeBytes(folder / "Profiles.ini", "[Alpha]\r\n[Hidden]\r\nX=1\r\n");
    EXPECT_TRUE(store.deleteProfile("Hidden"));
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Alpha]\r\n");
    auto missing = store.deleteProfile("Nobody");
    EXPECT_FALSE(missing);
    EXPECT_NE(missing.error().find("Nobody"), std::string::npos);
}
