// The Chase List's buttons: limits, duplicates, selection, removal and the date filter.
#include "app/ChaseList.h"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::app;

namespace {

std::vector<std::string> paths(const ChaseList& list)
{
    std::vector<std::string> out;
    for (const auto& e : list.entries())
        out.push_back(e.path);
    return out;
}

Message info(const char* title, const char* text)
{
    return Message{title, text, MessageIcon::Information, MessageButtons::Ok};
}

} // namespace

TEST(ChaseList, AddFilesTakesSelectionAndRefusesExactDuplicatesOnly)
{
    ChaseList list;
    RecordingPrompter prompter;
    const std::vector<std::string> names{"a.doc", "b.doc", "A.doc"};
    const std::vector<bool> selection{true, false, true};
    EXPECT_EQ(list.addFiles("/docs//in", names, &selection, Duplicates::Refuse, prompter, {}), 2u);
    EXPECT_EQ(paths(list), (std::vector<std::string>{"/docs/in/a.doc", "/docs/in/A.doc"}));
    EXPECT_EQ(list[0].display, "a.doc");

    // Add All: the same file again is refused, the one not yet queued comes in.
    EXPECT_EQ(list.addFiles("/docs/in", names, nullptr, Duplicates::Refuse, prompter, {}), 1u);
    EXPECT_EQ(list.size(), 3u);
    // Duplicates allowed: everything is queued again.
    EXPECT_EQ(list.addFiles("/docs/in", names, nullptr, Duplicates::Allow, prompter, {}), 3u);
    EXPECT_TRUE(prompter.messages.empty());
    EXPECT_EQ(list.counterText(), "Files To Count:6");

    const std::vector<bool> none{false, false, false};
    EXPECT_EQ(list.addFiles("/docs/in", names, &none, Duplicates::Allow, prompter, {}), 0u);
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_EQ(prompter.messages[0], info("Add File", "Please Select A File To Add From The File List"));
}

TEST(ChaseList, StopEndsAnAddAfterTheCurrentFile)
{
    ChaseList list;
    RecordingPrompter prompter;
    StopFlag stop;
    stop.set(); // a stale flag from an earlier run is cleared by the add
    int pumps = 0;
    RunControl control{[&] {
                           if (++pumps == 2)
                               stop.set();
                       },
                       &stop};
    EXPECT_EQ(list.addFiles("/d", {"1", "2", "3", "4"}, nullptr, Duplicates::Allow, prompter, control), 2u);
}

TEST(ChaseList, RemoveSelectedKeepsTheRestInOrder)
{
    ChaseList list;
    for (const char* p : {"/0", "/1", "/2", "/3", "/4"})
        list.append(p + 1, p);
    RecordingPrompter prompter;
    list.removeSelected(prompter, {});
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_EQ(prompter.messages[0], info("Remove File", "Please Select A File To Remove From The Chase List"));
    EXPECT_EQ(list.size(), 5u);

    list.setSelected(0, true);
    list.setSelected(2, true);
    list.setSelected(4, true);
    list.removeSelected(prompter, {});
    EXPECT_EQ(paths(list), (std::vector<std::string>{"/1", "/3"}));
    EXPECT_EQ(list[1].display, "3");
    list.removeAll();
    EXPECT_EQ(list.counterText(), "Files To Count:0");
}

class ChaseListSearch : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = fs::temp_directory_path() / ("qm-chase-" + std::to_string(::getpid()));
        fs::remove_all(root);
        for (const char* f : {"top.doc", "skip.pdf", "sub/inner.rtf", "sub/deep/low.txt"}) {
            fs::create_directories((root / f).parent_path());
            std::ofstream(root / f) << "x";
        }
    }
    void TearDown() override { fs::remove_all(root); }
    fs::path root;
};

TEST_F(ChaseListSearch, AddsSubFoldersFirstAndFiltersByCreationDayInclusive)
{
    const browser::FilePattern pattern("*.doc;*.rtf;*.txt");
    ChaseList list;
    RecordingPrompter prompter;
    EXPECT_EQ(list.addFromSearch(root, pattern, std::nullopt, Duplicates::Refuse, prompter, {}), 3u);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].display, "low.txt");
    EXPECT_EQ(list[2].path, (root / "top.doc").string());
    EXPECT_EQ(list.addFromSearch(root, pattern, std::nullopt, Duplicates::Refuse, prompter, {}), 0u);

    const browser::Day today = browser::today();
    browser::Day before = today, after = today;
    before.year -= 1;
    after.year += 1;
    struct Case {
        DateRange range;
        size_t expected;
    } cases[] = {
        {{today, today}, 3},   // both ends inclusive
        {{before, today}, 3},
        {{today, after}, 3},
        {{after, after}, 0},
        {{before, before}, 0},
        {{after, before}, 0},  // a reversed range matches nothing
    };
    for (const auto& c : cases) {
        ChaseList dated;
        SCOPED_TRACE(browser::formatDay(c.range.from) + "-" + browser::formatDay(c.range.to));
        EXPECT_EQ(dated.addFromSearch(root, pattern, c.range, Duplicates::Refuse, prompter, {}), c.expected);
    }
    EXPECT_TRUE(prompter.messages.empty());
}

// Adding files and adding from a search stop at the limit, each with its
// own wording.
TEST_F(ChaseListSearch, LimitStopsAddingWithItsMessage)
{
    for (bool search : {false, true}) {
        ChaseList list;
        for (size_t i = 0; i + 1 < ChaseList::limit; ++i)
            list.append("f", "/f" + std::to_string(i));
        RecordingPrompter prompter;
        EXPECT_EQ(search ? list.addFromSearch(root, browser::FilePattern("*.*"), std::nullopt, Duplicates::Allow,
                                              prompter, {})
                         : list.addFiles("/d", {"x.doc", "y.doc"}, nullptr, Duplicates::Allow, prompter, {}),
                  1u);
        EXPECT_EQ(list.size(), ChaseList::limit);
        EXPECT_EQ(prompter.messages,
                  std::vector{info("Files", search ? "You Can Not Add More Then 32,767 Files To The Traverse List"
                                                   : "You Can Not Add More Then 32,767 Files To The Chase List")});
    }
}
