// Atomic replacement, locking between processes, and writes that cannot be made.
#include "settings/SafeFile.h"

#include "TempFolder.h"
#include "settings/CIniFile.h"
#include "settings/IniRW.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace qm::settings;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;
namespace fs = std::filesystem;

namespace {

struct stat statOf(const fs::path& file)
{
    struct stat st {};
    ::stat(file.c_str(), &st);
    return st;
}

std::vector<std::string> leftovers(const fs::path& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with(".") && !name.ends_with(".lock"))
            names.push_back(name);
    }
    return names;
}

} // namespace

// The new content arrives as a new file renamed over the old one: a reader
// holding the old file sees the old bytes whole, the permissions survive,
// and no temporary file is left behind.
TEST(SafeFile, ReplacesByRenameKeepingPermissions)
{
    TempFolder folder;
    const fs::path file = folder / "Options.ini";
    writeBytes(file, "[MAIN]\r\nVerChk=1\r\n");
    ::chmod(file.c_str(), 0640);
    const ino_t before = statOf(file).st_ino;
    std::ifstream heldOpen(file, std::ios::binary);

    ASSERT_TRUE(replaceFileAtomically(file, "[MAIN]\r\nVerChk=0\r\n"));
    EXPECT_NE(statOf(file).st_ino, before);
    EXPECT_EQ(readBytes(file), "[MAIN]\r\nVerChk=0\r\n");
    std::string old((std::istreambuf_iterator<char>(heldOpen)), {});
    EXPECT_EQ(old, "[MAIN]\r\nVerChk=1\r\n");
    EXPECT_EQ(statOf(file).st_mode & 0777, 0640u);
    EXPECT_TRUE(leftovers(folder.path()).empty());

    // Through a symbolic link the link stays and its target gets the content.
    fs::create_symlink(file, folder / "Link.ini");
    ASSERT_EQ(WriteINI(SettingsContext{folder.path()}, "Link", "MAIN", "Zip", "1"), 1);
    EXPECT_TRUE(fs::is_symlink(folder / "Link.ini"));
    EXPECT_EQ(readBytes(file), "[MAIN]\r\nVerChk=0\r\nZip=1\r\n");
}

// A write that cannot be made names the file and the reason, and leaves
// whatever was there untouched.
TEST(SafeFile, FailedWritesSayWhyAndChangeNothing)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    const std::string content = "[MAIN]\r\nVerChk=1\r\n";

    writeBytes(folder / "Options.ini", content);
    ::chmod((folder / "Options.ini").c_str(), 0444);
    auto readOnly = writeIni(context, "Options", "MAIN", "VerChk", "0");
    ASSERT_FALSE(readOnly);
    EXPECT_NE(readOnly.error().find("Options.ini"), std::string::npos) << readOnly.error();
    EXPECT_NE(readOnly.error().find("read-only"), std::string::npos) << readOnly.error();
    EXPECT_EQ(readBytes(folder / "Options.ini"), content);
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "VerChk", ""), "1");

    writeBytes(folder / "blocker", "");
    EXPECT_EQ(WriteINI(SettingsContext{folder / "blocker"}, "Options", "MAIN", "VerChk", "0"), 0);

    fs::create_directory(folder / "Profiles.ini");
    auto isFolder = writeIni(context, "Profiles", "Acme", "City", "x");
    ASSERT_FALSE(isFolder);
    EXPECT_NE(isFolder.error().find("Profiles.ini"), std::string::npos) << isFolder.error();
}

// Two processes (the GUI and the command line) write different keys of the
// same file at the same time. Without the lock around each
// read-modify-write, one process would rewrite the file from a stale copy
// and the other's keys would vanish.
TEST(SafeFile, ConcurrentWritersFromTwoProcessesLoseNothing)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    constexpr int kKeysPerWriter = 150;
    auto writer = [&](char who) {
        for (int i = 0; i < kKeysPerWriter; ++i) {
            const std::string key = std::string(1, who) + std::to_string(i);
            if (WriteINI(context, "Profiles", i % 2 ? "Acme" : "Beta", key, key) != 1)
                return false;
        }
        return true;
    };
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0)
        ::_exit(writer('c') ? 0 : 1);
    const bool parentOk = writer('p');
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_TRUE(parentOk);

    int missing = 0;
    for (char who : {'c', 'p'})
        for (int i = 0; i < kKeysPerWriter; ++i) {
            const std::string key = std::string(1, who) + std::to_string(i);
            if (ReadINI(context, "Profiles", i % 2 ? "Acme" : "Beta", key, "") != key)
                ++missing;
        }
    EXPECT_EQ(missing, 0);
    cInifile ini;
    ini.Path((folder / "Profiles.ini").string());
    std::vector<std::string> sections;
    long count = 0;
    ini.EnumerateAllSections(sections, count);
    EXPECT_EQ(count, 2); // neither writer created a second copy of a section
    EXPECT_TRUE(leftovers(folder.path()).empty());
}

// A file as the Windows version leaves it: CRLF, comments, blank lines,
// unknown keys, odd spacing and Windows-1252 text. A day of ordinary edits
// must change only the edited lines, byte for byte.
TEST(SafeFile, RealisticWindowsFileRoundTrips)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    const std::string original = "; Quillmeter profiles - do not edit while the program runs\r\n"
                                 "[Acme Legal]\r\n"
                                 "Address=12 Rue de l'\xC9glise\r\n"
                                 "City = Montr\xE9"
                                 "al\r\n"
                                 "BillAmount=$1.25\r\n"
                                 "DonePer=Line\r\n"
                                 "LegacyKey=from version 1.0\r\n"
                                 "\r\n"
                                 "[Smith, Jones & Co]\r\n"
                                 "CharPerLine=65\r\n"
                                 "CountTabs=1\r\n";
    writeBytes(folder / "Profiles.ini", original);
    EXPECT_EQ(ReadINI(context, "Profiles", "acme legal", "address", ""), "12 Rue de l'Église");

    ASSERT_EQ(WriteINI(context, "Profiles", "Acme Legal", "City", "Québec"), 1);
    ASSERT_EQ(WriteINI(context, "Profiles", "Acme Legal", "Zip", "G1R 4P5"), 1);
    ASSERT_EQ(WriteINI(context, "Profiles", "Smith, Jones & Co", "CountTabs", ""), 1);
    ASSERT_EQ(WriteINI(context, "Profiles", "New One", "DonePer", "Page"), 1);
    EXPECT_EQ(readBytes(folder / "Profiles.ini"),
              "; Quillmeter profiles - do not edit while the program runs\r\n"
              "[Acme Legal]\r\n"
              "Address=12 Rue de l'\xC9glise\r\n"
              "City = Qu\xE9"
              "bec\r\n"
              "BillAmount=$1.25\r\n"
              "DonePer=Line\r\n"
              "LegacyKey=from version 1.0\r\n"
              "Zip=G1R 4P5\r\n"
              "\r\n"
              "[Smith, Jones & Co]\r\n"
              "CharPerLine=65\r\n"
              "\r\n"
              "[New One]\r\n"
              "DonePer=Page\r\n");

    // Text the code page cannot hold is refused, not mangled.
    auto refused = writeIni(context, "Profiles", "Acme Legal", "City", "Łódź");
    ASSERT_FALSE(refused);
    EXPECT_NE(refused.error().find("Windows-1252"), std::string::npos) << refused.error();
    EXPECT_EQ(ReadINI(context, "Profiles", "Acme Legal", "City", ""), "Québec");
}

// Files that are not settings at all must not crash a reader, and a write
// keeps the bytes it does not understand.
TEST(SafeFile, HostileFilesReadAsDefaultsAndSurviveWrites)
{
    TempFolder folder;
    SettingsContext context{folder.path()};
    std::string garbage;
    for (int i = 0; i < 100000; ++i)
        garbage += static_cast<char>((i * 2654435761u) >> 24);
    garbage += std::string(3, '\0') + "\n[MAIN\n" + std::string(10 << 20, 'x') + "\n";
    writeBytes(folder / "Options.ini", garbage);
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "VerChk", "1"), "1");
    ASSERT_EQ(WriteINI(context, "Options", "MAIN", "VerChk", "0"), 1);
    const std::string after = readBytes(folder / "Options.ini");
    EXPECT_TRUE(after.starts_with(garbage));
    EXPECT_EQ(ReadINI(context, "Options", "MAIN", "VerChk", "1"), "0");

    // A UTF-8 file cut inside its last character stays UTF-8.
    writeBytes(folder / "Profiles.ini", "[Zoë]\nCity=Köln\nNote=caf\xC3");
    EXPECT_EQ(ReadINI(context, "Profiles", "ZOË", "City", ""), "Köln");
    ASSERT_EQ(WriteINI(context, "Profiles", "Zoë", "State", "NRW"), 1);
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Zoë]\nCity=Köln\nNote=caf\xC3\nState=NRW\n");
}
