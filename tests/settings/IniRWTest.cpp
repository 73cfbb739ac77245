// ReadINI, WriteINI and ReplaceText on real files in a temporary folder.
#include "settings/IniRW.h"

#include "TempFolder.h"

#include <chrono>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <thread>

using namespace qm::settings;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

// The scan examines each starting position of the original text once and
// does not skip the inserted text, so overlapping runs collapse only
// partly; a "replace all" would give different answers for most rows.
TEST(ReplaceText, KeepsTheSingleScanQuirks)
{
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {"C:\\\\Options.ini", "\\\\", "\\", "C:\\Options.ini"},
        {"a\\\\\\b", "\\\\", "\\", "a\\\\b"},                   // three become two
        {"a\\\\\\\\b", "\\\\", "\\", "a\\\\b"},                 // four become two
        {"\\\\server\\share", "\\\\", "\\", "\\server\\share"}, // the start is collapsed too
        {"abc", "abcd", "x", "abc"},                            // shorter than the search
        {"aaa", "a", "aa", "aaaaaa"},                           // growth is not rescanned
        {"aaaa", "aa", "a", "aa"},
        {"xyxy", "xy", "", "xy"},    // the second match starts at an examined position
        {"x/y", "/", "//", "x///y"}, // the inserted text is scanned again
    };
    for (const auto& [text, search, replacement, expected] : cases)
        EXPECT_EQ(ReplaceText(text, search, replacement), expected) << text;
}

// The write rule decides between storing, deleting a key and deleting a
// section; each row is one of those, checked by reading the file back.
TEST(IniRW, WriteRuleStoresOrDeletes)
{
    struct Case {
        const char* what;
        const char* section;
        const char* key;
        const char* value;
        std::string expectedFile;
    };
    const std::string start = "[MAIN]\r\nCity=Boston\r\nZip=02134\r\n\r\n[Acme]\r\nCity=Austin\r\n";
    const Case cases[] = {
        {"store replaces", "MAIN", "City", "Denver",
         "[MAIN]\r\nCity=Denver\r\nZip=02134\r\n\r\n[Acme]\r\nCity=Austin\r\n"},
        {"empty value deletes the key", "MAIN", "City", "",
         "[MAIN]\r\nZip=02134\r\n\r\n[Acme]\r\nCity=Austin\r\n"},
        {"empty key deletes the section", "Acme", "", "ignored",
         "[MAIN]\r\nCity=Boston\r\nZip=02134\r\n\r\n"},
        {"empty key and value delete the section", "main", "", "", "[Acme]\r\nCity=Austin\r\n"},
        {"deleting an absent key is no change", "MAIN", "Fax", "", start},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TempFolder folder;
        SettingsContext context{folder.path()};
        writeBytes(folder / "Options.ini", start);
        EXPECT_EQ(WriteINI(context, "Options", c.section, c.key, c.value), 1);
        EXPECT_EQ(readBytes(folder / "Options.ini"), c.expectedFile);
    }
}

// Missing files, sections and keys read as the default; the folder's
// trailing separator does not matter, and an explicit path wins.
TEST(IniRW, MissingThingsReadAsTheDefault)
{
    TempFolder folder;
    SettingsContext context{folder.path() / ""};
    EXPECT_EQ(iniFilePath(context, "Options"), folder / "Options.ini");
    EXPECT_EQ(iniFilePath(context, "Profiles", "/elsewhere//x.cfg"), "/elsewhere//x.cfg");
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "VerChk", "1"), "1");
    ASSERT_EQ(WriteINI(context, "Options", "MAIN", "Zip", "02134"), 1);
    EXPECT_EQ(readBytes(folder / "Options.ini"), "[MAIN]\r\nZip=02134\r\n");
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "VerChk", "1"), "1");
    EXPECT_EQ(ReadINI(context, "Options", "OTHER", "Zip", "none"), "none");
}

// The Windows service fills a buffer of 2048 characters, so a long value
// (or default) comes back cut to 2047; one past and one short of the edge.
TEST(IniRW, ReadCutsAtTheBufferSize)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    for (size_t length : {2046u, 2047u, 2048u, 3000u}) {
        SCOPED_TRACE(length);
        const std::string value(length, 'v');
        ASSERT_EQ(WriteINI(context, "Options", "MAIN", "Long", value), 1);
        EXPECT_EQ(ReadINI(context, "Options", "MAIN", "Long", ""),
                  value.substr(0, std::min<size_t>(length, 2047)));
        EXPECT_EQ(ReadINI(context, "Options", "MAIN", "Absent", value).size(),
                  std::min<size_t>(length, 2047));
    }
}

// Reads may reuse a parsed file, but never across a change: a rewrite in
// place of the same size that even puts the modification time back is seen
// on a file old enough to be kept.
TEST(IniRW, ReadsSeeEveryChangeOfTheFile)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    const auto file = folder / "Options.ini";
    writeBytes(file, "[MAIN]\r\nZip=11111\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(2100));
    ASSERT_EQ(ReadINI(context, "Options", "MAIN", "Zip", ""), "11111");

    struct stat before {};
    ASSERT_EQ(::stat(file.c_str(), &before), 0);
    writeBytes(file, "[MAIN]\r\nZip=22222\r\n");
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "Zip", ""), "22222");
}
