// cInifile: the object form's buffer cuts, name lists, deletion and window placement.
#include "settings/CIniFile.h"

#include "TempFolder.h"

#include <gtest/gtest.h>

using namespace qm::settings;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

namespace {

cInifile openIni(const std::filesystem::path& file, const char* section, const char* key = "")
{
    cInifile ini;
    ini.Path(file.string());
    ini.Section(section);
    ini.Key(key);
    return ini;
}

} // namespace

// Value reads through a 255-character buffer, so a value that ReadINI
// returns whole comes back cut here; and unlike WriteINI an empty text is
// stored rather than deleting the key.
TEST(cInifile, ValueCutsAt254DropsNulsAndStoresEmptyText)
{
    TempFolder folder;
    cInifile ini = openIni(folder / "Profiles.ini", "Acme", "Address");
    for (size_t length : {253u, 254u, 255u, 3000u}) {
        SCOPED_TRACE(length);
        ini.Value(std::string(length, 'a'));
        EXPECT_TRUE(ini.Success());
        EXPECT_EQ(ini.Value(), std::string(std::min<size_t>(length, 254), 'a'));
    }
    ini.Value(std::string("1 Main\0 St\0", 11));
    EXPECT_EQ(ini.Value(), "1 Main St");
    ini.Value("");
    ini.Default("absent");
    EXPECT_EQ(ini.Value(), "");
    ini.DeleteKey();
    EXPECT_EQ(ini.LastReturnCode(), 1);
    EXPECT_EQ(ini.Value(), "absent");

    cInifile blocked = openIni(folder / "Profiles.ini" / "x.ini", "Acme", "City");
    blocked.Value("Boston");
    EXPECT_EQ(blocked.LastReturnCode(), 0);
    EXPECT_NE(blocked.lastError().find("x.ini"), std::string::npos) << blocked.lastError();
}

TEST(cInifile, ListsAreNulTerminatedNamesAndEnumerationSplitsThem)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini",
               "[Alpha]\r\nCity=A\r\n;note\r\nZip=1\r\n[]\r\n[Beta]\r\nX=1\r\n");
    cInifile ini = openIni(folder / "Profiles.ini", "alpha");
    EXPECT_EQ(ini.INISection(), std::string("City\0Zip\0", 9));
    EXPECT_EQ(ini.Sections(), std::string("Alpha\0\0Beta\0", 12));

    std::vector<std::string> names;
    long count = -1;
    ini.EnumerateAllSections(names, count); // the unnamed section is skipped here only
    EXPECT_EQ(names, (std::vector<std::string>{"Alpha", "Beta"}));
    EXPECT_EQ(count, 2);
    ini.EnumerateCurrentSection(names, count);
    EXPECT_EQ(names, (std::vector<std::string>{"City", "Zip"}));
    ini.Section("missing");
    ini.EnumerateCurrentSection(names, count);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(names.empty());

    // Past 8192 characters the list is cut, and the piece that lost its NUL
    // is not counted as a name.
    std::string file;
    for (int i = 0; i < 100; ++i)
        file += "[" + std::string(99, 's') + std::to_string(i % 10) + "]\n";
    writeBytes(folder / "Profiles.ini", file);
    EXPECT_EQ(ini.Sections().size(), cInifile::kListBufferSize - 2);
    ini.EnumerateAllSections(names, count);
    EXPECT_EQ(count, static_cast<long>((cInifile::kListBufferSize - 2) / 101));
}

TEST(cInifile, SectionBodyAndDeletion)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini", "[Alpha]\r\nA=1\r\n[Beta]\r\nB=2\r\n");
    cInifile ini = openIni(folder / "Profiles.ini", "Alpha");
    ini.INISection(std::string("X=9\0Y=8\0\0", 10));
    EXPECT_TRUE(ini.Success());
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Alpha]\r\nX=9\r\nY=8\r\n[Beta]\r\nB=2\r\n");
    ini.DeleteSection();
    EXPECT_TRUE(ini.Success());
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Beta]\r\nB=2\r\n");
}

// Halves round to even, and anything that is not a number in range falls
// back, which LoadFormPosition relies on for its "FAIL" default.
TEST(cInifile, CLngDefaultConvertsOrFallsBack)
{
    const std::pair<const char*, long> cases[] = {
        {"42", 42},         {" -7 ", -7}, {"2.5", 2}, {"3.5", 4},    {"1e3", 1000}, {"2147483647", 2147483647},
        {"2147483648", -1}, {"FAIL", -1}, {"", -1},   {"12abc", -1}, {"nan", -1},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(cInifile::CLngDefault(text, -1), expected) << text;
}

namespace {

struct FakeWindow : WindowGeometry {
    State windowState() const override { return state; }
    void setWindowState(State s) override { state = s; }
    long left() const override { return x; }
    long top() const override { return y; }
    long width() const override { return w; }
    long height() const override { return h; }
    void setGeometry(long l, long t, long wi, long he) override { x = l, y = t, w = wi, h = he; }

    State state = State::Normal;
    long x = 10, y = 20, w = 300, h = 200;
};

} // namespace

TEST(cInifile, FormPositionRoundTripsAndKeepsKeyAndDefault)
{
    TempFolder folder;
    const auto file = folder / "Profiles.ini";
    cInifile ini = openIni(file, "frmMain", "Caller");
    ini.Default("callerDefault");
    FakeWindow saved;
    saved.x = 111, saved.y = 222, saved.w = 900, saved.h = 700;
    ini.SaveFormPosition(saved);
    EXPECT_EQ(readBytes(file),
              "[frmMain]\r\nMaximised=0\r\nLeft=111\r\nTop=222\r\nWidth=900\r\nHeight=700\r\n");

    // A maximised window records only that; its normal placement stays.
    saved.state = WindowGeometry::State::Maximised;
    saved.x = 5;
    ini.SaveFormPosition(saved);
    FakeWindow restored;
    ini.LoadFormPosition(restored, 0, 0);
    EXPECT_EQ(restored.state, WindowGeometry::State::Maximised);
    EXPECT_EQ(restored.x, 111);
    EXPECT_EQ(restored.h, 700);
    EXPECT_EQ(ini.Key(), "Caller");
    EXPECT_EQ(ini.Default(), "callerDefault");

    const std::string before = readBytes(file); // a minimised window writes nothing
    saved.state = WindowGeometry::State::Minimised;
    ini.SaveFormPosition(saved);
    EXPECT_EQ(readBytes(file), before);

    // Missing or broken values leave the window's own; sizes keep the minimum.
    writeBytes(file, "[frm]\nLeft=50\nTop=oops\nWidth=10\n");
    ini.Section("frm");
    FakeWindow partial;
    ini.LoadFormPosition(partial, 100, 80);
    EXPECT_EQ(std::vector<long>({partial.x, partial.y, partial.w, partial.h}),
              std::vector<long>({50, 20, 100, 200}));
    EXPECT_EQ(partial.state, WindowGeometry::State::Normal);
}
