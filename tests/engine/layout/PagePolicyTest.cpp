// Widow and orphan control: how many lines of a split paragraph stay on the page.
#include "engine/layout/PagePolicy.h"

#include <gtest/gtest.h>

using namespace qm::engine::layout;

TEST(PagePolicy, WidowAndOrphanControl)
{
    struct Case {
        size_t lines, first, fit, off, on;
    } cases[] = {
        // lines first fit | without | with control
        {10, 0, 5, 5, 5}, // plain split
        {10, 0, 1, 1, 0}, // a lone first line moves with its paragraph
        {10, 0, 9, 9, 8}, // a lone last line takes one more along
        {3, 0, 2, 2, 0},  // 2+1 is a widow, 1+2 an orphan: the whole paragraph moves
        {2, 0, 1, 1, 0},
        {4, 0, 2, 2, 2},
        {4, 0, 3, 3, 2},
        {10, 4, 9, 9, 8}, // a paragraph already split once: its rest obeys the widow rule
        {10, 4, 5, 5, 5}, // its first line here is no orphan
        {10, 0, 0, 0, 0}, // nothing fits
        {5, 0, 5, 5, 5},  // all fit
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.lines << " lines, first " << c.first << ", " << c.fit << " fit");
        EXPECT_EQ(widowOrphanSplit(c.lines, c.first, c.fit, WidowControl::Off), c.off);
        EXPECT_EQ(widowOrphanSplit(c.lines, c.first, c.fit, WidowControl::On), c.on);
    }
}
