// cInifile: the object form's buffer cuts, name lists, deletion and window placement.
#include "settings/CIniFile.h"

#include "TempFolder.h"

#include <gtest/gtest.h>

using namespace qm::settings;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

namespace {

cInifile openIni(const TempFolder& folder, const char* section, const char* key = "")
{
    cInifile ini;
    ini.Path((folder / "Profiles.ini").string());
    ini.Section(section);
    ini.Key(key);
    return ini;
}

} // namespace

// Value reads through a 255-character buffer, a quarter of ReadINI's, so a
// value that ReadINI returns whole comes back cut here.
TEST(cInifile, ValueCutsAt254AndDropsNuls)
{
    TempFolder folder;
    cInifile ini = openIni(folder, "Acme", "Address");
    for (size_t length : {253u, 254u, 255u, 3000u}) {
        SCOPED_TRACE(length);
        ini.Value(std::string(length, 'a'));
        EXPECT_TRUE(ini.Success());
        EXPECT_EQ(ini.Value(), std::string(std::min<size_t>(length, 254), 'a'));
    }
    ini.Value(std::string("1 Main\0 St\0", 11));
    EXPECT_EQ(ini.Value(), "1 Main St");
    // Unlike WriteINI, an empty text is stored, not deleted.
    ini.Value("");
    ini.Default("absent");
    EXPECT_EQ(ini.Value(), "");
    ini.DeleteKey();
    EXPECT_EQ(ini.LastReturnCode(), 1);
    EXPECT_EQ(ini.Value(), "absent");
}

TEST(cInifile, ListsAreNulTerminatedNamesAndEnumerationSplitsThem)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini",
               "[Alpha]\r\nCity=A\r\n;note\r\nZip=1\r\n[]\r\n[Beta]\r\nX=1\r\n");
    cInifile ini = openIni(folder, "alpha");
    EXPECT_EQ(ini.INISection(), std::string("City\0Zip\0", 9));
    EXPECT_EQ(ini.Sections(), std::string("Alpha\0\0Beta\0", 12));

    std::vector<std::string> names;
    long count = -1;
    ini.EnumerateAllSections(names, count);
    // The unnamed section's empty piece is skipped here and only here.
    EXPECT_EQ(count, 2);
    EXPECT_EQ(names, (std::vector<std::string>{"Alpha", "Beta"}));
    ini.EnumerateCurrentSection(names, count);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(names, (std::vector<std::string>{"City", "Zip"}));

    ini.Section("missing");
    ini.EnumerateCurrentSection(names, count);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(names.empty());
}

// A list longer than the 8192-character buffer is cut, and the piece that
// lost its NUL is not counted as a name.
TEST(cInifile, LongListsAreCutByTheBuffer)
{
    TempFolder folder;
    std::string file;
    const std::string name(99, 's'); // 100 characters with its NUL
    for (int i = 0; i < 100; ++i)
        file += "[" + name + std::to_string(i % 10) + "]\n";
    writeBytes(folder / "Profiles.ini", file);
    cInifile ini = openIni(folder, "x");
    EXPECT_EQ(ini.Sections().size(), cInifile::kListBufferSize - 2);
    std::vector<std::string> names;
    long count = 0;
    ini.EnumerateAllSections(names, count);
    EXPECT_EQ(count, static_cast<long>((cInifile::kListBufferSize - 2) / 101));
}

TEST(cInifile, SectionBodyAndDeletion)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini", "[Alpha]\r\nA=1\r\n[Beta]\r\nB=2\r\n");
    cInifile ini = openIni(folder, "Alpha");
    ini.INISection(std::string("X=9\0Y=8\0\0", 10));
    EXPECT_TRUE(ini.Success());
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Alpha]\r\nX=9\r\nY=8\r\n[Beta]\r\nB=2\r\n");
    ini.DeleteSection();
    EXPECT_TRUE(ini.Success());
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), "[Beta]\r\nB=2\r\n");
}

TEST(cInifile, FailedWriteSetsTheReturnCodeAndSaysWhy)
{
    TempFolder folder;
    writeBytes(folder / "blocker", "a file where a folder should be");
    cInifile ini;
    ini.Path((folder / "blocker" / "Profiles.ini").string());
    ini.Section("Acme");
    ini.Key("City");
    ini.Value("Boston");
    EXPECT_EQ(ini.LastReturnCode(), 0);
    EXPECT_FALSE(ini.Success());
    EXPECT_NE(ini.lastError().find("blocker"), std::string::npos) << ini.lastError();
    ini.Default("fallback");
    EXPECT_EQ(ini.Value(), "fallback");
}

// The conversion rounds halves to even and falls back on anything that is
// not a number in range, which LoadFormPosition relies on for "FAIL".
TEST(cInifile, CLngDefaultConvertsOrFallsBack)
{
    struct Case {
        const char* text;
        long expected;
    };
    const Case cases[] = {
        {"42", 42},     {" -7 ", -7},    {"+3", 3},        {"2.5", 2},
        {"3.5", 4},     {"-2.5", -2},    {"1e3", 1000},    {"FAIL", -1},
        {"", -1},       {"12abc", -1},   {"2147483647", 2147483647},
        {"2147483648", -1}, {"nan", -1}, {"inf", -1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(cInifile::CLngDefault(c.text, -1), c.expected);
    }
}

namespace {

class FakeWindow : public WindowGeometry {
public:
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
    cInifile ini = openIni(folder, "frmMain", "Caller");
    ini.Default("callerDefault");

    FakeWindow saved;
    saved.x = 111, saved.y = 222, saved.w = 900, saved.h = 700;
    ini.SaveFormPosition(saved);
    EXPECT_EQ(ini.Key(), "Caller");
    EXPECT_EQ(readBytes(folder / "Profiles.ini"),
              "[frmMain]\r\nMaximised=0\r\nLeft=111\r\nTop=222\r\nWidth=900\r\nHeight=700\r\n");

    FakeWindow restored;
    ini.LoadFormPosition(restored, 0, 0);
    EXPECT_EQ(restored.x, 111);
    EXPECT_EQ(restored.h, 700);
    EXPECT_EQ(restored.state, WindowGeometry::State::Normal);
    EXPECT_EQ(ini.Key(), "Caller");
    EXPECT_EQ(ini.Default(), "callerDefault");

    // A maximised window records only that; its normal size stays stored.
    saved.state = WindowGeometry::State::Maximised;
    saved.x = 5;
    ini.SaveFormPosition(saved);
    ini.LoadFormPosition(restored, 0, 0);
    EXPECT_EQ(restored.state, WindowGeometry::State::Maximised);
    EXPECT_EQ(restored.x, 111);

    // A minimised window writes nothing.
    const std::string before = readBytes(folder / "Profiles.ini");
    saved.state = WindowGeometry::State::Minimised;
    ini.SaveFormPosition(saved);
    EXPECT_EQ(readBytes(folder / "Profiles.ini"), before);
}

TEST(cInifile, LoadFormPositionKeepsWhatIsMissingOrBroken)
{
    TempFolder folder;
    writeBytes(folder / "Profiles.ini", "[frm]\nLeft=50\nTop=oops\nWidth=10\n");
    cInifile ini = openIni(folder, "frm");
    FakeWindow window;
    ini.LoadFormPosition(window, 100, 80);
    EXPECT_EQ(window.x, 50);  // stored
    EXPECT_EQ(window.y, 20);  // not a number: unchanged
    EXPECT_EQ(window.w, 100); // below the minimum width
    EXPECT_EQ(window.h, 200); // missing: unchanged
    EXPECT_EQ(window.state, WindowGeometry::State::Normal);
}
