// File patterns, the folder search order, file dates and the wait across midnight.
#include "browser/CPause.h"
#include "browser/FileDates.h"
#include "browser/FilePattern.h"
#include "browser/FolderSearch.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm::browser;

namespace {

class TempTree : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = fs::temp_directory_path() / ("qm-browser-" + std::to_string(::getpid()) + "-" +
                                            ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(root);
        fs::create_directories(root);
    }
    void TearDown() override { fs::remove_all(root); }
    void touch(const fs::path& relative)
    {
        fs::create_directories((root / relative).parent_path());
        std::ofstream(root / relative) << "x";
    }
    fs::path root;
};

} // namespace

TEST(FilePattern, MatchesAsWindowsDoes)
{
    struct Case {
        const char* pattern;
        const char* name;
        bool match;
    } cases[] = {
        {"*.doc;*.rtf;*.txt;*.text", "Letter.DOC", true},
        {"*.doc;*.rtf;*.txt;*.text", "notes.text", true},
        {"*.doc;*.rtf;*.txt;*.text", "notes.tex", false},
        {"*.doc;*.rtf;*.txt;*.text", "report.docx", true}, // short-alias rule
        {"*.doc;*.rtf;*.txt;*.text", "report.pdf", false},
        {"*.doc", "doc", false},
        {"*.text", "a.textile", false}, // only three-letter extensions widen
        {"a?c.txt", "abc.txt", true},
        {"a?c.txt", "ac.txt", false},
        {"*", "no-extension", true},
        {"*.*", "no-extension", true},
        {" *.rtf ; ", "x.RTF", true},
        {"", "x.doc", false},
        {"*a*a*a*a*a*b", "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.pattern) + " / " + c.name);
        EXPECT_EQ(FilePattern(c.pattern).matches(c.name), c.match);
    }
}

TEST_F(TempTree, SearchVisitsSubFoldersBeforeOwnFilesInNameOrderAndSurvivesCycles)
{
    touch("b.doc");
    touch("A.doc");
    touch("skip.pdf");
    touch("sub2/z.rtf");
    touch("Sub1/deeper/y.txt");
    touch("Sub1/x.doc");
    std::vector<std::string> found;
    const auto report = searchFolder(root, FilePattern("*.doc;*.rtf;*.txt"), SubFolders::Include,
                                     [&](const std::string& path) {
                                         found.push_back(fs::path(path).lexically_relative(root).string());
                                         return SearchStep::Continue;
                                     });
    const std::vector<std::string> expected{"Sub1/deeper/y.txt", "Sub1/x.doc", "sub2/z.rtf", "A.doc", "b.doc"};
    EXPECT_EQ(found, expected);
    EXPECT_FALSE(report.stopped);

    found.clear();
    searchFolder(root, FilePattern("*.doc"), SubFolders::Exclude, [&](const std::string& path) {
        found.push_back(fs::path(path).filename().string());
        return found.size() == 1 ? SearchStep::Continue : SearchStep::Stop;
    });
    EXPECT_EQ(found, (std::vector<std::string>{"A.doc", "b.doc"}));

    // A link back to the root is not followed round; a missing folder is reported.
    fs::create_directory_symlink(root, root / "Sub1" / "loop");
    found.clear();
    searchFolder(root, FilePattern("*.doc"), SubFolders::Include, [&](const std::string& path) {
        found.push_back(fs::path(path).filename().string());
        return SearchStep::Continue;
    });
    EXPECT_EQ(found, (std::vector<std::string>{"x.doc", "A.doc", "b.doc"}));
    const auto missing = searchFolder(root / "missing", FilePattern("*.doc"), SubFolders::Include,
                                      [&](const std::string&) { return SearchStep::Continue; });
    ASSERT_EQ(missing.unreadable.size(), 1u);
    EXPECT_EQ(fullPath("/tmp//x/", "y.doc"), "/tmp/x/y.doc");
}

TEST(FileDates, DayTextRoundTripsAndRejectsNonsense)
{
    EXPECT_EQ(formatDay(Day{2003, 6, 30}), "06/30/2003");
    EXPECT_EQ(parseDay("06/30/2003"), (Day{2003, 6, 30}));
    EXPECT_EQ(parseDay("6/3/2003"), (Day{2003, 6, 3}));
    for (const char* bad : {"", "2003-06-30", "13/01/2003", "02/29/2003", "02/30/2004", "1/1/03", "a/b/cdef"})
        EXPECT_FALSE(parseDay(bad)) << bad;
    EXPECT_TRUE(parseDay("02/29/2004"));
    EXPECT_LT(Day(2003, 12, 31), Day(2004, 1, 1));
}

TEST_F(TempTree, FileDatesOfEveryKindAndExistence)
{
    touch("f.doc");
    for (auto kind : {FileDateKind::Created, FileDateKind::Modified, FileDateKind::Accessed}) {
        const auto date = fileDate(root / "f.doc", kind);
        ASSERT_TRUE(date);
        EXPECT_EQ(date->day, today());
    }
    fs::last_write_time(root / "f.doc", fs::file_time_type::clock::now() - std::chrono::hours(24 * 400));
    EXPECT_LT(fileDate(root / "f.doc", FileDateKind::Modified)->day, today());
    EXPECT_FALSE(fileDate(root / "nope.doc", FileDateKind::Created));
    EXPECT_TRUE(fileExists(root / "f.doc"));
    EXPECT_FALSE(fileExists(root));
    EXPECT_FALSE(fileExists(root / "nope.doc"));
}

namespace {

// A timer that moves on by a fixed step at every pass of the wait.
class SteppingClock : public Clock {
public:
    SteppingClock(double start, double step) : now(start), step(step) {}
    double secondsSinceMidnight() override { return now; }
    void idle() override
    {
        now += step;
        if (now >= 86400)
            now -= 86400;
    }
    double now;
    double step;
};

} // namespace

TEST(CPause, WaitsTheFullAmountInEveryUnitAndAcrossMidnight)
{
    struct Case {
        double start, amount;
        int unit;
        int expectedPasses;
    } cases[] = {
        {1000, 3, CPause::Seconds, 30},
        {1000, 0.5, CPause::Minutes, 300},
        {1000, 1500, CPause::Milliseconds, 15},
        {86399, 2, CPause::Seconds, 20},       // across midnight: not cut short there
        {0, 0.01, CPause::Hours, 360},
        {5000, 0, CPause::Seconds, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.start);
        SteppingClock clock(c.start, 0.1);
        int pumps = 0;
        CPause(clock, [&] { ++pumps; }).wait(c.amount, c.unit);
        EXPECT_NEAR(pumps, c.expectedPasses, 1);
    }
}

TEST_F(TempTree, ChoosingANodeThatIsNoFolderSaysSo)
{
    touch("file.doc");
    EXPECT_FALSE(pathSelectionProblem(root));
    const qm::Message notAPath{"Path", "The Select Node Is Not A Path", qm::MessageIcon::Information,
                               qm::MessageButtons::Ok};
    EXPECT_EQ(pathSelectionProblem(root / "file.doc"), notAPath);
    EXPECT_EQ(pathSelectionProblem(root / "missing"), notAPath);
    if (::geteuid() != 0) { // root reads any folder
        fs::create_directory(root / "locked");
        fs::permissions(root / "locked", fs::perms::none);
        const auto locked = pathSelectionProblem(root / "locked");
        ASSERT_TRUE(locked);
        EXPECT_EQ(locked->title, "Error");
        EXPECT_NE(locked->text.find("-Path Selection-"), std::string::npos);
        fs::permissions(root / "locked", fs::perms::owner_all);
    }
}
