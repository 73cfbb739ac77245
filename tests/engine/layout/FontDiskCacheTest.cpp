// The font answers kept on disk: read back as written, and never trusted when
// the configuration, the font file or the file itself is not what it was.
#include "engine/layout/FontDiskCache.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <optional>
#include <filesystem>
#include <fstream>
#include <thread>
#include <unistd.h>

using namespace qm::engine::layout;
namespace fs = std::filesystem;

namespace {

struct TempFolder {
    fs::path path;
    TempFolder()
    {
        std::string t = (fs::temp_directory_path() / "qm-fontcache-XXXXXX").string();
        path = ::mkdtemp(t.data());
    }
    ~TempFolder() { fs::remove_all(path); }
};

// A stand-in font file: only its modification time and size matter here.
void writeFile(const fs::path& p, const std::string& bytes) { std::ofstream(p, std::ios::binary) << bytes; }

FontDiskCache::FaceData faceWith(std::initializer_list<std::pair<uint32_t, uint16_t>> glyphs)
{
    FontDiskCache::FaceData d;
    d.metrics = {2048, 1825, 443, 87};
    d.advances.assign(0x10000, Face::Missing);
    for (auto [c, a] : glyphs)
        d.advances[c] = a;
    return d;
}

} // namespace

TEST(FontDiskCache, AnswersComeBackAsStored)
{
    TempFolder dir;
    const std::string cache = (dir.path / "sub" / "answers").string(); // a folder still to be made
    const std::string font = (dir.path / "face.ttf").string();
    writeFile(font, "not really a font");
    // Advances at the edges of the plane, runs of one and runs side by side
    // with a gap of one missing glyph between them.
    const FontDiskCache::FaceData faces[] = {
        faceWith({{0, 1}, {0xFFFF, 2}}),
        faceWith({{'A', 1366}, {'B', 1366}, {'C', 1479}, {'E', 1366}}),
        faceWith({}),
    };
    const FontDiskCache::Match matches[] = {
        {true, font, 0, "Liberation Serif", true},
        {true, font, 2, "Noto Sans CJK SC", false},
        {false, "", 0, "", false},
    };
    {
        FontDiskCache c(cache, "stamp 1");
        for (int i = 0; i < 3; ++i) {
            c.storeMatch("family " + std::to_string(i), matches[i]);
            c.storeFace(font, i, faces[i]);
        }
        ASSERT_TRUE(c.save());
    }
    FontDiskCache c(cache, "stamp 1");
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(c.match("family " + std::to_string(i)));
        EXPECT_EQ(*c.match("family " + std::to_string(i)), matches[i]);
        auto face = c.face(font, i);
        ASSERT_TRUE(face);
        EXPECT_EQ(face->advances, faces[i].advances);
        EXPECT_EQ(face->metrics.ascent, 1825);
        EXPECT_EQ(face->metrics.lineGap, 87);
    }
    EXPECT_FALSE(c.match("family 3"));
    EXPECT_FALSE(c.face(font, 3));
}

TEST(FontDiskCache, NothingIsTrustedThatMayHaveChanged)
{
    TempFolder dir;
    const std::string cache = (dir.path / "answers").string();
    const std::string font = (dir.path / "face.ttf").string();
    writeFile(font, "twelve bytes");
    {
        FontDiskCache c(cache, "stamp 1");
        c.storeMatch("times|ru", {true, font, 0, "Liberation Serif", true});
        c.storeFace(font, 0, faceWith({{'a', 909}}));
        ASSERT_TRUE(c.save());
    }
    std::string whole;
    {
        std::ifstream in(cache, std::ios::binary);
        whole.assign(std::istreambuf_iterator<char>(in), {});
    }
    // Each row spoils one thing and says whether the match and the face
    // may still be served.
    struct Case {
        const char* what;
        std::string stamp;
        std::string fileBytes; // the cache file as found
        std::string fontBytes; // the font file written anew; empty: left alone
        bool matchKept, faceKept;
    } const cases[] = {
        {"nothing changed", "stamp 1", whole, "", true, true},
        {"another configuration", "stamp 2", whole, "", false, false},
        {"cut short by a byte", "stamp 1", whole.substr(0, whole.size() - 1), "", false, false},
        {"cut after the header", "stamp 1", whole.substr(0, 40), "", false, false},
        {"a byte too many", "stamp 1", whole + "x", "", false, false},
        {"empty", "stamp 1", "", "", false, false},
        {"the font file grew", "stamp 1", whole, "thirteen bytes", true, false}, // last: it stays changed
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        writeFile(cache, k.fileBytes);
        if (!k.fontBytes.empty())
            writeFile(font, k.fontBytes);
        FontDiskCache c(cache, k.stamp);
        EXPECT_EQ(c.match("times|ru").has_value(), k.matchKept);
        EXPECT_EQ(c.face(font, 0).has_value(), k.faceKept);
    }
}

TEST(FontDiskCache, WritersAtOnceLeaveOneWholeFile)
{
    TempFolder dir;
    const std::string cache = (dir.path / "answers").string();
    std::vector<std::thread> writers;
    for (int t = 0; t < 4; ++t)
        writers.emplace_back([&cache, t] {
            for (int round = 0; round < 20; ++round) {
                FontDiskCache c(cache, "stamp");
                c.storeMatch("writer " + std::to_string(t), {true, "/f" + std::to_string(round), t, "F", true});
                c.save();
            }
        });
    for (auto& w : writers)
        w.join();
    // Whichever writer renamed last, the file is whole: it reads back, and
    // no temporary file is left beside it.
    FontDiskCache c(cache, "stamp");
    int found = 0;
    for (int t = 0; t < 4; ++t)
        found += c.match("writer " + std::to_string(t)).has_value();
    EXPECT_GE(found, 1);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path), fs::directory_iterator()), 1);
}

TEST(FontDiskCache, EachStampHasAFileOfItsOwn)
{
    // Programs differ in their stamps (fontconfig's defaults name the
    // program): they must not take turns replacing one file.
    const char* saved = std::getenv("XDG_CACHE_HOME");
    const std::string restore = saved ? saved : "";
    ::setenv("XDG_CACHE_HOME", "/tmp/qm-cache-home", 1);
    const std::string a = FontDiskCache::defaultPath("prgname=quillmeter");
    const std::string b = FontDiskCache::defaultPath("prgname=quillmeter-gui");
    EXPECT_EQ(a.rfind("/tmp/qm-cache-home/quillmeter/font-answers-", 0), 0u) << a;
    EXPECT_NE(a, b);
    EXPECT_EQ(a, FontDiskCache::defaultPath("prgname=quillmeter"));
    ::setenv("XDG_CACHE_HOME", "relative/is/ignored", 1);
    EXPECT_EQ(FontDiskCache::defaultPath("x").find("relative"), std::string::npos);
    if (saved)
        ::setenv("XDG_CACHE_HOME", restore.c_str(), 1);
    else
        ::unsetenv("XDG_CACHE_HOME");
}

TEST(FontDiskCache, FilesNoProgramHasReadForAMonthAreRemoved)
{
    // Beside the file a program saves: another configuration's file last
    // used 40 days ago (gone), one used 20 days ago (kept), a temporary file
    // a crash left 40 days ago (gone), and something else of the folder's
    // (never touched, however old).
    TempFolder dir;
    const auto daysAgo = [](int days) { return fs::file_time_type::clock::now() - std::chrono::hours(24 * days); };
    struct Sibling {
        const char* name;
        int age; // days
        bool kept;
    } const siblings[] = {
        {"font-answers-00000000000000aa", 40, false},
        {"font-answers-00000000000000bb", 20, true},
        {"font-answers-00000000000000cc.Xy12Zq", 40, false},
        {"notes.txt", 400, true},
    };
    for (const Sibling& s : siblings) {
        writeFile(dir.path / s.name, "old");
        fs::last_write_time(dir.path / s.name, daysAgo(s.age));
    }
    const std::string cache = (dir.path / "font-answers-00000000000000dd").string();
    {
        FontDiskCache c(cache, "stamp");
        c.storeMatch("times|en", {true, "/f", 0, "Times", true});
        ASSERT_TRUE(c.save());
    }
    // A file read by a program counts as used: reading an old one marks it.
    fs::last_write_time(cache, daysAgo(40));
    FontDiskCache reread(cache, "stamp");
    EXPECT_TRUE(reread.match("times|en").has_value());
    EXPECT_GT(fs::last_write_time(cache), daysAgo(1));
    for (const Sibling& s : siblings)
        EXPECT_EQ(fs::exists(dir.path / s.name), s.kept) << s.name;
}

namespace {

// Sets an environment variable for a scope, then puts back what was there.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name)
    {
        if (const char* old = std::getenv(name))
            m_old = old;
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedEnv()
    {
        if (m_old)
            ::setenv(m_name, m_old->c_str(), 1);
        else
            ::unsetenv(m_name);
    }

private:
    const char* m_name;
    std::optional<std::string> m_old;
};

} // namespace

TEST(FontDiskCache, AKeptStampHoldsOnlyWhileEverythingItWasMadeFromIsUnchanged)
{
    TempFolder dir;
    const ScopedEnv config("XDG_CONFIG_HOME", (dir.path / "config").c_str());
    const ScopedEnv home("HOME", (dir.path / "home").c_str());
    const fs::path conf = dir.path / "fonts.conf";
    const fs::path confd = dir.path / "conf.d";
    const fs::path absent = dir.path / "not-yet.conf";
    const std::string kept = (dir.path / "stamp").string();
    const std::string stamp = "fontconfig 21401\nconfiguration files\n...\n";
    // Each row starts from a stamp kept anew, changes one thing, and says
    // whether the stamp may still be used without loading the configuration.
    struct Case {
        const char* what;
        std::function<void()> change;
        bool holds;
    } const cases[] = {
        {"nothing changed", [] {}, true},
        {"a configuration file rewritten", [&] { writeFile(conf, "<fontconfig> </fontconfig>"); }, false},
        {"a configuration file removed", [&] { fs::remove(conf); }, false},
        {"a file named but absent comes", [&] { writeFile(absent, "<fontconfig/>"); }, false},
        {"a file added to a folder", [&] { writeFile(confd / "99-new.conf", "<fontconfig/>"); }, false},
        {"the user's own configuration made",
         [&] {
             fs::create_directories(dir.path / "config" / "fontconfig");
             writeFile(dir.path / "config" / "fontconfig" / "fonts.conf", "<fontconfig/>");
         },
         false},
        {"the user's old-style file made", [&] { writeFile(dir.path / "home" / ".fonts.conf", "x"); }, false},
        {"the kept file cut short", [&] { fs::resize_file(kept, fs::file_size(kept) - 1); }, false},
        {"the kept file with a byte more", [&] { std::ofstream(kept, std::ios::app) << 'x'; }, false},
        {"the kept file emptied", [&] { writeFile(kept, ""); }, false},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        fs::remove_all(dir.path / "config");
        fs::remove_all(dir.path / "home");
        fs::create_directories(dir.path / "home");
        fs::remove_all(confd);
        fs::create_directories(confd);
        fs::remove(absent);
        writeFile(conf, "<fontconfig/>");
        ASSERT_TRUE(FontDiskCache::keepStamp(kept, stamp, {conf.string(), confd.string(), absent.string()}));
        ASSERT_EQ(FontDiskCache::keptStamp(kept), stamp);
        k.change();
        EXPECT_EQ(FontDiskCache::keptStamp(kept).has_value(), k.holds);
    }
    EXPECT_FALSE(FontDiskCache::keptStamp((dir.path / "never-written").string()).has_value());
    EXPECT_FALSE(FontDiskCache::keptStamp("").has_value());
}

TEST(FontDiskCache, AStampKeptUnderOtherSurroundingsIsNotUsed)
{
    TempFolder dir;
    const ScopedEnv cacheHome("XDG_CACHE_HOME", dir.path.c_str());
    const ScopedEnv lang("LANG", "en_GB.UTF-8");
    const std::string path = FontDiskCache::stampPath();
    EXPECT_EQ(path.rfind((dir.path / "quillmeter" / "font-answers-stamp-").string(), 0), 0u) << path;
    EXPECT_EQ(FontDiskCache::stampPath(), path);
    ASSERT_TRUE(FontDiskCache::keepStamp(path, "stamp under en_GB", {}));
    // fontconfig's defaults follow the locale and its own variables: each
    // gives a file of its own, and a stamp file copied from one to the other
    // is refused for what it says it was made under.
    const struct {
        const char* name;
        const char* value;
    } others[] = {{"LANG", "ja_JP.UTF-8"}, {"LC_ALL", "de_DE.UTF-8"}, {"FONTCONFIG_FILE", "/etc/fonts/other.conf"},
                  {"FC_LANG", "ar"}, {"XDG_CURRENT_DESKTOP", "KDE"}};
    for (const auto& other : others) {
        SCOPED_TRACE(other.name);
        const ScopedEnv changed(other.name, other.value);
        const std::string elsewhere = FontDiskCache::stampPath();
        EXPECT_NE(elsewhere, path);
        fs::copy_file(path, elsewhere, fs::copy_options::overwrite_existing);
        EXPECT_FALSE(FontDiskCache::keptStamp(elsewhere).has_value());
    }
    EXPECT_EQ(FontDiskCache::keptStamp(path), "stamp under en_GB");
}
