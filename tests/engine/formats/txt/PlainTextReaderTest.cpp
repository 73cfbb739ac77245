// Plain-text reading: encodings, line ends, page breaks, defaults and limits.
#include "../support/Describe.h"

#include <gtest/gtest.h>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::test;
using namespace std::string_literals;

namespace {

std::unique_ptr<Document> read(std::string_view bytes, const ReadOptions& options = {})
{
    ReadResult r = readPlainText(bytes, options);
    EXPECT_TRUE(r.ok()) << r.error;
    return std::move(r.document);
}

} // namespace

// Each case would catch a wrong guess of the encoding: a BOM left in the
// text, UTF-16 read as bytes, valid UTF-8 read as ANSI or the reverse.
TEST(PlainTextReader, DecodesByMarkThenUtf8ThenWindows1252AndEndsEveryLine)
{
    struct Case {
        const char* name;
        std::string bytes;
        std::u16string text;
    } cases[] = {
        {"ascii", "plain", u"plain\r"},
        {"utf-8 mark",
         "\xEF\xBB\xBF"
         "caf\xC3\xA9",
         u"caf\u00E9\r"},
        {"utf-8 without mark", "na\xC3\xAFve \xE2\x80\x94 ok", u"na\u00EFve \u2014 ok\r"},
        {"utf-16 le",
         "\xFF\xFE"
         "a\0\xAC\x20"s,
         u"a\u20AC\r"},
        {"utf-16 be",
         "\xFE\xFF"
         "\0a\x20\xAC"s,
         u"a\u20AC\r"},
        {"utf-16 le surrogate pair",
         "\xFF\xFE"
         "\x3D\xD8\x00\xDE"s,
         u"\U0001F600\r"},
        {"windows-1252", "caf\xE9 \x93quoted\x94 \x80", u"caf\u00E9 \u201Cquoted\u201D \u20AC\r"},
        {"one bad byte makes it all ansi", "\xC3\xA9 and \xE9", u"\u00C3\u00A9 and \u00E9\r"},
        // Would catch CR LF read as two paragraphs, a lone CR ignored (old
        // Mac files), or a form feed dropped instead of becoming a page break.
        {"crlf", "a\r\nb", u"a\rb\r"},
        {"lf", "a\nb\n", u"a\rb\r"},
        {"cr", "a\rb\r", u"a\rb\r"},
        {"cr cr lf is two", "a\r\r\nb", u"a\r\rb\r"},
        {"lf cr is two", "a\n\rb", u"a\r\rb\r"},
        {"blank lines kept", "\n\n", u"\r\r"},
        {"form feed", "page one\fpage two", u"page one\fpage two\r"},
        {"tab kept, nul dropped", "a\tb\0c"s, u"a\tbc\r"},
        // Without a mark, UTF-16 is known by its zero bytes and its spaces.
        {"utf-16 le without mark", "H\0i\0 \0t\0h\0e\0r\0e\0"s, u"Hi there\r"},
        {"utf-16 be without mark", "\0H\0i\0 \0t\0h\0e\0r\0e"s, u"Hi there\r"},
        {"zero bytes but no space stay bytes", "a\0b\0c\0d\0"s, u"abcd\r"},
        {"utf-16 line ends",
         "\xFF\xFE"
         "a\0\r\0\n\0b\0"s,
         u"a\rb\r"},
        {"empty file", "", u"\r"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = read(c.bytes);
        EXPECT_EQ(doc->mainStory().text, c.text);
        EXPECT_EQ(doc->sections.size(), 1u);
    }
}

// A text file carries no formatting: every character and paragraph must take
// the configured defaults, and the one section the configured page.
TEST(PlainTextReader, TakesConfiguredDefaults)
{
    ReadOptions options;
    options.plainText.fontName = "Courier New";
    options.plainText.sizeHalfPoints = 20;
    options.plainText.spaceAfter = 0;
    options.plainText.lineSpacing = 240;
    options.plainText.page.pageWidth = 11906;
    options.plainText.page.marginLeft = 1134;
    auto doc = read("one\ntwo", options);
    const Story& s = doc->mainStory();
    for (uint32_t i = 0; i < s.size(); ++i)
        EXPECT_EQ(std::tuple(doc->charFormatAt(s, i).fontName, doc->charFormatAt(s, i).sizeHalfPoints),
                  std::tuple(std::string("Courier New"), uint16_t{20}))
            << i;
    const ParaFormat& pf = doc->paraFormatOf(s, 3);
    EXPECT_EQ(std::tuple(pf.spaceAfter, pf.lineSpacing), std::tuple(0, 240));
    EXPECT_EQ(doc->paraFormatOf(s, s.size() - 1), pf);
    const SectionFormat& page = doc->sections.back().format;
    EXPECT_EQ(std::tuple(page.pageWidth, page.marginLeft), std::tuple(11906, 1134));
}

TEST(PlainTextReader, HalfUtf16CharacterIsDiagnosed)
{
    auto doc = read("\xFF\xFE" "a\0b"s);
    EXPECT_EQ(doc->mainStory().text, u"a\r");
    EXPECT_TRUE(hasDiagnostic(*doc, "txt.odd-byte"));
}

// A single huge line must be cut at the limit, keeping what fits, rather
// than refused whole or read without bound.
TEST(PlainTextReader, LongLineIsCutAtTheLimitWithDiagnostic)
{
    ReadOptions options;
    options.limits.maxStoryChars = 200000;
    const std::string line(300000, 'x');
    auto doc = read(line + "\nafter", options);
    const Story& s = doc->mainStory();
    EXPECT_TRUE(s.size() > 100000u && s.size() <= 200001u) << s.size();
    EXPECT_EQ(s.text.back(), u'\r');
    EXPECT_EQ(s.text.find(u"after"), std::u16string::npos);
    EXPECT_TRUE(hasDiagnostic(*doc, "limit.text"));
    // Input larger than the limit on bytes is refused with an error.
    options.limits.maxInputBytes = 4;
    ReadResult r = readPlainText("12345", options);
    EXPECT_TRUE(!r.ok() && !r.error.empty());
}
