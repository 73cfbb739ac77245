// RTF input that is damaged, deep, huge or not RTF at all: clear errors or partial documents.
#include "RtfTestSupport.h"

#include <chrono>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

std::string repeat(std::string_view s, size_t n)
{
    std::string out;
    out.reserve(s.size() * n);
    for (size_t i = 0; i < n; ++i)
        out += s;
    return out;
}

} // namespace

TEST(RtfHostile, NotRtfIsAClearError)
{
    const char* cases[] = {"", "   \r\n", "plain words in a file named .rtf", "{\\rt", "PK\x03\x04 zip", "{\\pard x}"};
    for (const char* c : cases) {
        SCOPED_TRACE(c);
        ReadResult r = readRtf(c, {});
        EXPECT_FALSE(r.ok());
        EXPECT_FALSE(r.error.empty());
    }
}

// Damaged files keep what was read before the damage; each case would catch
// a reader that gives up (no document) or reads past the end.
TEST(RtfHostile, TruncatedFilesKeepTheirText)
{
    struct Case {
        const char* name;
        std::string rtf;
        std::u16string text;
        const char* diagnostic;
    } cases[] = {
        {"open groups", R"({\rtf1 Hello {\b world)", u"Hello world\r", "rtf.truncated"},
        {"inside a note", R"({\rtf1 a{\super\chftn}{\footnote note)", u"a\u0002\r", "rtf.truncated"},
        {"inside a table", R"({\rtf1 \trowd\cellx100\intbl x\cell y)", u"x\u0007y\u0007\u0007\r", "rtf.truncated"},
        {"inside a skipped destination", R"({\rtf1 a{\*\x {{{)", u"a\r", "rtf.truncated"},
        {"half a hex escape", "{\\rtf1 a\\'4", u"a\r", "rtf.hex"},
        {"backslash at the end", "{\\rtf1 a\\", u"a\r", "rtf.truncated"},
        {"row end outside a table", R"({\rtf1 a\row b})", u"ab\r", "rtf.row"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = readRtfText(c.rtf);
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->mainStory().text, c.text);
        EXPECT_TRUE(hasDiagnostic(*doc, c.diagnostic));
        expectWellFormed(*doc);
    }
}

// 100,000 nested groups would overflow a recursive reader's stack or make a
// state copy per level; here they must cost little and keep the text.
TEST(RtfHostile, DeepNestingIsBoundedAndKeepsText)
{
    const size_t depth = 100000;
    const std::string text = "{\\rtf1 " + repeat("{", depth) + "\\b deep" + repeat("}", depth) + " after}";
    const std::string skipped = "{\\rtf1 a{\\*\\x " + repeat("{", depth) + repeat("}", depth) + "}b}";
    const std::string unclosed = "{\\rtf1 z" + repeat("{\\i ", depth);
    const auto start = std::chrono::steady_clock::now();
    auto deep = readRtfText(text);
    auto skip = readRtfText(skipped);
    auto open = readRtfText(unclosed);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60)); // a hang guard
    ASSERT_TRUE(deep && skip && open);
    EXPECT_EQ(deep->mainStory().text, u"deep after\r");
    EXPECT_TRUE(deep->charFormatAt(deep->mainStory(), 0).bold);
    EXPECT_FALSE(deep->charFormatAt(deep->mainStory(), 5).bold);
    EXPECT_TRUE(hasDiagnostic(*deep, "rtf.depth"));
    EXPECT_EQ(skip->mainStory().text, u"ab\r");
    EXPECT_EQ(open->mainStory().text, u"z\r");
    EXPECT_TRUE(hasDiagnostic(*open, "rtf.truncated"));
}

// Numbers beyond 32 bits must saturate, and every use of one must stay in
// range: a font size, an indent, a cell boundary, a table depth, \bin.
TEST(RtfHostile, HugeParametersAreCapped)
{
    auto doc = readRtfText(
        R"({\rtf1 {\fs99999999999999999999 a}{\li-99999999999999\sl-2147483648 b\par})"
        R"(\trowd\cellx-99999999999\cellx99999999999\itap2147483647\intbl c\cell\row\pard)"
        R"({\uc99999999\u66 skipped up to the group end}d{\pict\bin99999999999 x}})");
    ASSERT_TRUE(doc);
    expectWellFormed(*doc);
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text.substr(0, 3), u"ab\r");
    EXPECT_NE(s.text.find(u"Bd"), std::u16string::npos);
    EXPECT_LE(doc->charFormatAt(s, 0).sizeHalfPoints, 3276);
    EXPECT_TRUE(hasDiagnostic(*doc, "rtf.parameter"));
}

// One huge paragraph is cut where the story's room ends, with a diagnostic,
// and the reader stops instead of working through the rest.
TEST(RtfHostile, HugeParagraphIsCutAtTheLimit)
{
    ReadOptions options;
    options.limits.maxStoryChars = 100000;
    const std::string rtf = "{\\rtf1 " + std::string(1 << 20, 'x') + "{\\b y}\\par after}";
    auto doc = readRtfText(rtf, options);
    ASSERT_TRUE(doc);
    expectWellFormed(*doc);
    EXPECT_GE(doc->mainStory().size(), 50000u);
    EXPECT_LE(doc->mainStory().size(), 100001u);
    EXPECT_EQ(doc->mainStory().text.find(u"after"), std::u16string::npos);
    EXPECT_TRUE(hasDiagnostic(*doc, "limit.text"));
}

// Story and table-depth limits reached by a file's structure leave a
// well-formed document rather than text written to a refused story.
TEST(RtfHostile, StructuralLimitsLeaveAWellFormedDocument)
{
    ReadOptions options;
    options.limits.maxStories = 3;
    options.limits.maxTableDepth = 4;
    const std::string rtf = "{\\rtf1 " + repeat("{\\header h}{\\footnote f}{\\shp{\\shptxt t}}", 10) +
                            "\\intbl\\itap9 deep\\nestcell{\\*\\nesttableprops\\nestrow} main}";
    auto doc = readRtfText(rtf, options);
    ASSERT_TRUE(doc);
    expectWellFormed(*doc);
    EXPECT_LE(doc->stories.size(), 3u);
    EXPECT_TRUE(hasDiagnostic(*doc, "limit.stories"));
    EXPECT_EQ(doc->mainStory().text.find(u'h'), std::u16string::npos);
}

// Inputs the fuzzer found; each broke an invariant before its fix.
TEST(RtfHostile, FuzzFindingsStayWellFormed)
{
    const char* cases[] = {
        // \ftnalt in a group nested in the note moved only that group to the
        // endnotes story, and the note's end was taken from the wrong story.
        R"({\rtf1 a{\footnote first}b{\footnote{\ftnalt e}} c\par})",
        // A second destination word in a note's group took over its closing
        // action: the reference was written but the note never recorded.
        R"({\rtf1 a{\super\chftn}{\footnote\fonttbl{\f0 X;}} b{\super\chftn}{\footnote\pict 00} c})",
        R"({\rtf1 a{\shp\object x}b{\pict\shp{\shptxt t}}c})",
    };
    for (const char* c : cases) {
        SCOPED_TRACE(c);
        auto doc = readRtfText(c);
        ASSERT_TRUE(doc);
        expectWellFormed(*doc);
    }
}
