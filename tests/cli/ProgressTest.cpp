// The count's progress line and its summary of documents left out.
#include "cli/Progress.h"

#include <gtest/gtest.h>
#include <sstream>

using namespace qm::cli;

TEST(Progress, TextsOfTheLineAndTheSummary)
{
    EXPECT_EQ(withThousands(0), "0");
    EXPECT_EQ(withThousands(999), "999");
    EXPECT_EQ(withThousands(2325), "2,325");
    EXPECT_EQ(withThousands(1234567), "1,234,567");

    EXPECT_EQ(failureSummary(0, 2325), "");
    EXPECT_EQ(failureSummary(3, 2325), "3 of 2,325 documents could not be counted");
    EXPECT_EQ(failureSummary(1, 1), "1 of 1 document could not be counted");

    EXPECT_EQ(progressText(120, 2325, 452.6, "/docs/a.docx", 80), "120/2,325 documents, 453/s  /docs/a.docx");
    // A path too long for the terminal keeps its end, where the name is.
    EXPECT_EQ(progressText(1, 9, 2, "/a/very/long/folder/name.doc", 30), "1/9 documents, 2/s  ...ame.doc");
    EXPECT_EQ(progressText(1, 9, 2, "/x.doc", 10), "1/9 docume");
}

// Nothing in the first second, then at most ten rewrites a second; a line
// printed meanwhile clears the progress line first.
TEST(Progress, ShowsOnlyOnLongRunsAndStepsAsideForMessages)
{
    double now = 100;
    std::ostringstream err;
    ProgressLine line(err, true, [&] { return now; });
    line.update(0, 10, "/a.doc");
    now = 100.9;
    line.update(5, 10, "/f.doc");
    EXPECT_EQ(err.str(), "") << "a run shorter than a second stays quiet";
    now = 101.0;
    line.update(6, 10, "/g.doc");
    EXPECT_NE(err.str().find("\r6/10 documents, 6/s  /g.doc\x1b[K"), std::string::npos) << err.str();
    const size_t shown = err.str().size();
    now = 101.05;
    line.update(7, 10, "/h.doc");
    EXPECT_EQ(err.str().size(), shown) << "rewritten at most ten times a second";
    line.print("quillmeter count: /h.doc: damaged; left out of the count");
    EXPECT_TRUE(err.str().ends_with("\r\x1b[Kquillmeter count: /h.doc: damaged; left out of the count\n"));

    std::ostringstream quiet;
    ProgressLine off(quiet, false, [&] { return now + 50; });
    off.update(9, 10, "/z.doc");
    off.clear();
    EXPECT_EQ(quiet.str(), "");
}
