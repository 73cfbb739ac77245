// The lexer's skipping of a group: picture data and other unread groups are
// passed over a block of bytes at a time, and must end where the group ends.
#include "engine/formats/rtf/RtfLexer.h"

#include <gtest/gtest.h>

#include <string>

using namespace qm::engine::rtf;

TEST(RtfLexer, SkippedGroupsEndAtTheirClosingBrace)
{
    // Each input is the rest of a group (its opening brace already read),
    // then "X"; the skip must stop just after the group's closing brace,
    // before "X". Structure characters stand at every place of a block of
    // sixteen bytes and beyond it, behind runs of hexadecimal digits.
    struct Case {
        std::string what;
        std::string input;
        bool closed;
    };
    std::vector<Case> cases = {
        {"empty group", "}X", true},
        {"escaped braces and backslash", R"(a\{b\}c\\d}X)", true},
        {"nested groups", "{a{b}c}d}X", true},
        {"control words", R"(\pict\wmetafile8\picw100 0a0b}X)", true},
        {"binary data holding braces", std::string("\\bin5 }}{{\\}X"), true},
        {"never closed", "0a0b0c{0d}", false},
    };
    for (size_t run = 0; run <= 40; ++run) {
        const std::string hex(run, 'a');
        cases.push_back({"closing brace after " + std::to_string(run) + " digits", hex + "}X", true});
        cases.push_back({"nested group after " + std::to_string(run) + " digits", hex + "{" + hex + "}" + hex + "}X", true});
        cases.push_back({"escape after " + std::to_string(run) + " digits", hex + "\\}" + hex + "}X", true});
    }
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        RtfLexer lexer(c.input);
        EXPECT_EQ(lexer.skipGroup(), c.closed);
        if (c.closed)
            EXPECT_EQ(c.input.substr(lexer.offset()), "X");
        else
            EXPECT_EQ(lexer.offset(), c.input.size());
    }
}
