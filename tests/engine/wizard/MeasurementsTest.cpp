// Measurements on documents built here, with answers worked out by hand.
#include "engine/wizard/Measurements.h"

#include "../access/TestDocuments.h"
#include "engine/formats/Reader.h"
#include "engine/wizard/EngineLayout.h"

#include <gtest/gtest.h>
#include <map>
#include <tuple>

using namespace qm;
using namespace qm::engine;

namespace {

namespace docs = qm::engine::testing;
using docs::Run;

CharFormat bold() { return CharFormat{.bold = true}; }

/// A one-section document: main text, and a primary header and footer when
/// given; `headerTable` starts the header with a one-cell table.
struct Spec {
    std::vector<Run> body, header = {}, footer = {};
    bool headerTable = false;
};

std::unique_ptr<Document> build(const Spec& spec)
{
    DocumentBuilder b("docx");
    docs::appendRuns(b, spec.body);
    HeaderFooterRefs refs;
    if (spec.headerTable) {
        refs.headers[0] = int32_t(b.newStory(StoryType::PrimaryHeader));
        b.setStory(StoryId(refs.headers[0]));
        docs::appendRow(b, {u"cell"});
        docs::appendRuns(b, spec.header);
        b.setStory(0);
    } else if (!spec.header.empty()) {
        refs.headers[0] = docs::addStory(b, StoryType::PrimaryHeader, spec.header);
    }
    if (!spec.footer.empty())
        refs.footers[0] = docs::addStory(b, StoryType::PrimaryFooter, spec.footer);
    return b.finish(SectionFormat{}, refs);
}

class MeasurementsTest : public ::testing::Test {
protected:
    /// Opens the document in a session and returns the measurements on it.
    Measurements& open(const Spec& spec)
    {
        m_spec = spec;
        m_bytes.clear();
        return openSession();
    }
    /// Opens a file's bytes through the reader of its extension.
    Measurements& openFile(std::string bytes, std::string extension)
    {
        m_bytes = std::move(bytes);
        m_extension = std::move(extension);
        return openSession();
    }
    Measurements& openSession()
    {
        wizard = std::make_unique<WordWizard>(prompter, ReadOptions{},
                                              [this](const std::filesystem::path&, const ReadOptions& options) {
                                                  if (!m_bytes.empty())
                                                      return readDocumentBytes(m_bytes, m_extension, options);
                                                  ReadResult r;
                                                  r.document = build(m_spec);
                                                  return r;
                                              });
        wizard->setLayoutProvider(&layout);
        wizard->OpenWord(Visibility::Hidden);
        EXPECT_TRUE(wizard->openJustDoc("built.docx", OpenMode::ReadOnly));
        measurements = std::make_unique<Measurements>(
            *wizard,
            [this](std::string_view profile, std::string_view key, std::string_view def) {
                EXPECT_EQ(profile, "Office");
                ++reads[std::string(key)];
                auto it = keys.find(std::string(key));
                return it == keys.end() ? std::string(def) : it->second;
            },
            [] { return std::string("Office"); });
        return *measurements;
    }
    std::u16string mainText() { return wizard->document()->content().text(); }

    RecordingPrompter prompter;
    EngineLayout layout;
    std::unique_ptr<WordWizard> wizard;
    std::unique_ptr<Measurements> measurements;
    std::map<std::string, std::string> keys;
    std::map<std::string, int> reads; ///< how often each key was read

private:
    Spec m_spec;
    std::string m_bytes, m_extension;
};

} // namespace

TEST_F(MeasurementsTest, SwitchesCountEachFormattedRunOnce)
{
    struct Case {
        const char* name;
        std::vector<docs::Run> runs;
        const char* amount;
        double expected;
    } cases[] = {
        {"bold, plain, bold", {{u"Bold", bold()}, {u" plain "}, {u"Bold", bold()}, {u"\r"}}, "2.0", 4},
        {"bold words apart by a space only", {{u"Bold", bold()}, {u" "}, {u"Bold", bold()}, {u"\r"}}, "2.0", 2},
        {"a run ends the story", {{u"plain "}, {u"Bold", bold()}, {u"\r"}}, "2.0", 2},
        {"nothing bold", {{u"plain text\r"}}, "2.0", 0},
        // A running total rounded half to even after every addition: 2, 4, 6, 8.
        {"1.5 four times",
         {{u"a", bold()}, {u"b"}, {u"c", bold()}, {u"d"}, {u"e", bold()}, {u"f"}, {u"g", bold()}, {u"\r"}},
         "1.5",
         8},
        {"1.5 once", {{u"a", bold()}, {u"\r"}}, "1.5", 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        keys = {{"BoldONOFFAmount", c.amount}};
        Measurements& m = open(Spec{c.runs});
        EXPECT_EQ(m.CountBoldCharsONOFF(), c.expected);
    }
    EXPECT_TRUE(prompter.messages.empty());
}

TEST_F(MeasurementsTest, CharacterFamilyChargesTheExcessAndCapsTheFullAmount)
{
    keys = {{"BoldCharAmount", "2.0"}, {"UnderlineCharAmount", "2.5"}, {"CapsCharAmount", "2.0"}};
    Measurements& m = open(Spec{{{u"Bold", bold()},
                                 {u" Text "},
                                 {u"under", {.underline = UnderlineKind::Single}},
                                 {u" shown", {.allCaps = true}},
                                 {u"\r"}}});
    const std::u16string before = mainText();
    EXPECT_EQ(m.CountBoldchars(), 4.0);
    EXPECT_EQ(m.CountUnderlinechars(), 8.0);  // 1.5 × 5 = 7.5, rounded half to even
    EXPECT_EQ(m.CountCapsChars(), 4.0);       // B and T typed as capitals; "shown" only looks so
    keys["BoldCharAmount"] = "1.0";
    EXPECT_EQ(m.CountBoldchars(), 0.0);
    EXPECT_EQ(mainText(), before); // every counting edit undone
}

TEST_F(MeasurementsTest, WordsCharactersAndHeaderTraversal)
{
    Spec spec{{{u"One two-part\tthree.\r"}}, {{u"Head words\r"}}, {{u"Foot\r"}}};
    struct Case {
        const char* traverse;
        const char* firstPage;
        int64_t words, characters, withSpaces;
    } cases[] = {
        {"0", "0", 4, 17, 19},
        {"1", "0", 7, 30, 33},
        {"0", "1", 7, 30, 33},
        {"1", "1", 10, 43, 47}, // section 1's primary header and footer count twice
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.traverse) + c.firstPage);
        keys = {{"TraverseHeaderAndFooter", c.traverse}, {"TraverseHeaderAndFooterFirstPage", c.firstPage}};
        Measurements& m = open(spec);
        EXPECT_EQ(std::tuple(m.CountWords(), m.CountChar(), m.CountCharWspace()),
                  std::tuple(c.words, c.characters, c.withSpaces));
    }
    // No headers or footers: the keys change nothing.
    keys = {{"TraverseHeaderAndFooter", "1"}, {"TraverseHeaderAndFooterFirstPage", "1"}};
    EXPECT_EQ(open(Spec{spec.body}).CountWords(), 4);
}

TEST_F(MeasurementsTest, ReturnsInGrossLineModeAndOtherwise)
{
    Spec spec{{{u"a\r\rb\r"}}};
    struct Case {
        const char* unit;
        const char* amount;
        int64_t expected;
    } cases[] = {
        {"Line", "1.0", 0},       // each return billed once already
        {"Line", "2.0", 3},
        {"Line", "1.5", 2},       // 1.5 rounded half to even
        {"Gross Line", "5.0", 2}, // the closing mark is not billed; the amount does not apply
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.unit + std::string(" ") + c.amount);
        keys = {{"DonePer", c.unit}, {"EnterAmount", c.amount}};
        EXPECT_EQ(open(spec).CountReturnAndEnters(), c.expected);
    }
    keys = {{"DonePer", "Gross Line"}};
    EXPECT_EQ(open(Spec{{{u"\r"}}}).CountReturnAndEnters(), 0); // never below zero
}

TEST_F(MeasurementsTest, TablesInHeadersAndTabs)
{
    Spec spec{{{u"a\tb\tc\r"}}, {{u"head\t\r"}}};
    spec.headerTable = true;
    struct Case {
        const char* traverse;
        const char* firstPage;
        double tables, tabs;
    } cases[] = {
        {"0", "0", 0, 2},
        {"1", "0", 1.5, 3},
        {"1", "1", 3, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.traverse) + c.firstPage);
        keys = {{"TraverseHeaderAndFooter", c.traverse},
                {"TraverseHeaderAndFooterFirstPage", c.firstPage},
                {"TableAmount", "1.5"}};
        Measurements& m = open(spec);
        EXPECT_EQ(std::pair(m.CountNumTables(), m.CountTabs()), std::pair(c.tables, c.tabs));
    }
}

TEST_F(MeasurementsTest, GrossLineCleanUpsStayForLaterMeasurements)
{
    Spec spec{{{u"first\r\r\r \rsecond\fthird\r"}}};
    keys = {{"DoNotCountBlankLine", "0"}};
    Measurements& m = open(spec);
    EXPECT_EQ(m.CountGrossLines(), 6); // a page break ends a line too
    EXPECT_EQ(m.CountWords(), 3);

    keys = {{"DoNotCountBlankLine", "1"}};
    Measurements& cleaned = open(spec);
    const int64_t lines = cleaned.CountGrossLines();
    // Blank paragraphs go first; the page break becomes two spaces; then the
    // space-only line goes with both its marks, joining its neighbours.
    EXPECT_EQ(mainText(), u"firstsecond  third\r");
    EXPECT_EQ(lines, 1);
    keys = {{"DonePer", "Line"}, {"EnterAmount", "2.0"}};
    EXPECT_EQ(cleaned.CountReturnAndEnters(), 1);
    EXPECT_EQ(cleaned.CountWords(), 2);
    EXPECT_TRUE(prompter.messages.empty());
}

TEST_F(MeasurementsTest, CountlinesSumsTheSwitchedOnExtrasAndDivides)
{
    Spec spec{{{u"Bold", bold()}, {u" and plain\ttext\rSecond\r"}}};
    keys = {{"CharPerLine", "10"}};
    LineBreakdown parts;
    EXPECT_DOUBLE_EQ(open(spec).Countlines("", "Office", &parts), 2.2); // 22 characters, no spaces
    EXPECT_EQ(parts.characters, 22);

    keys = {{"CharPerLine", "10"},       {"LineCountWithSpaces", "1"}, {"BoldONOFF2", "1"},
            {"CountBoldCharAs2", "1.0"}, {"CountTabs", "1"},            {"CountCaps", "1"},
            {"CountReturnAndEnter", "1"}, {"EnterAmount", "2.0"}};
    const double lines = open(spec).Countlines("", "Office", &parts);
    // 26 with spaces (the tab and the first paragraph mark among them) + bold
    // run 2 + bold excess 4 + returns 2 + tab 1 + capitals B and S at 2 each = 39.
    EXPECT_EQ(std::tuple(parts.characters, parts.formatting, parts.returns, parts.tabs, parts.caps),
              std::tuple(26, 6, 2, 1, 4));
    EXPECT_DOUBLE_EQ(lines, 3.9);
    EXPECT_TRUE(prompter.messages.empty());
}

TEST_F(MeasurementsTest, ProfileErrorsAreReportedWithTheirTag)
{
    Spec spec{{{u"text\r"}}};
    struct Case {
        std::map<std::string, std::string> keys;
        const char* description;
    } cases[] = {
        {{{"CharPerLine", "0"}}, "Division by zero"},
        {{{"CharPerLine", "sixty"}}, "Type mismatch"},
        {{{"CharPerLine", "60"}, {"LineCountWithSpaces", "yes"}}, "Type mismatch"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.description);
        keys = c.keys;
        prompter.messages.clear();
        EXPECT_EQ(open(spec).Countlines("", "Office"), 0.0);
        EXPECT_EQ(prompter.messages, std::vector{errorReportMessage(c.description, "-Count Lines-")});
    }
    keys = {{"BoldONOFFAmount", "two"}};
    prompter.messages.clear();
    EXPECT_EQ(open(spec).CountBoldCharsONOFF(), 0.0);
    EXPECT_EQ(prompter.messages, std::vector{errorReportMessage("Type mismatch", "-Count Bold Chr ON OFF-")});
}

namespace {

// Text as an RTF file writes it: each character outside ASCII as a signed
// 16-bit \u escape, a surrogate pair as its two halves.
std::string rtfText(std::u16string_view text)
{
    std::string out;
    for (char16_t c : text) {
        if (c == u'\r')
            out += "\\par ";
        else if (c < 0x80 && c != u'\\' && c != u'{' && c != u'}')
            out += static_cast<char>(c);
        else
            out += "\\u" + std::to_string(static_cast<int16_t>(c)) + " ";
    }
    return out;
}

} // namespace

// The counts of every script agree whichever way they are taken: the words
// of the statistic, the "<*>" replacements of CountWords, and the characters
// of the statistics against the pattern counts of a header holding the same
// text. East Asian words touch here, so CountWords rests on the replacements.
TEST_F(MeasurementsTest, EveryScriptCountsAlikeInTheStatisticsAndThePatternCounts)
{
    // 日本語のテキストとEnglishの混在です。 한국어 텍스트 mixed ภาษาไทย العربية 𠮟る
    const std::u16string text =
        u"\u65E5\u672C\u8A9E\u306E\u30C6\u30AD\u30B9\u30C8\u3068English\u306E\u6DF7\u5728\u3067\u3059\u3002 "
        u"\uD55C\uAD6D\uC5B4 \uD14D\uC2A4\uD2B8 mixed \u0E20\u0E32\u0E29\u0E32\u0E44\u0E17\u0E22 "
        u"\u0627\u0644\u0639\u0631\u0628\u064A\u0629 \U00020B9F\u308B";
    // By hand: 15 East Asian characters before the space, English among them;
    // 3 + 3 Hangul; mixed; 7 Thai; 7 Arabic; 2 East Asian (one a surrogate pair).
    const int64_t asian = 15 + 6 + 2, nonAsian = 1 + 1 + 1 + 1;
    const int64_t characters = 15 + 7 + 6 + 5 + 7 + 7 + 2, spaces = 6;
    keys = {{"TraverseHeaderAndFooter", "1"}};

    Measurements& txt = openFile(docs::utf8(text) + "\r\n", "txt");
    EXPECT_EQ(std::tuple(txt.CountWords(), txt.CountChar(), txt.CountCharWspace()),
              std::tuple(asian + nonAsian, characters, characters + spaces));

    const std::string body = rtfText(text);
    Measurements& rtf =
        openFile("{\\rtf1\\ansi\\uc0{\\header\\pard " + body + "\\par}\\pard " + body + "\\par}", "rtf");
    EXPECT_EQ(std::tuple(rtf.CountWords(), rtf.CountChar(), rtf.CountCharWspace()),
              std::tuple(2 * (asian + nonAsian), 2 * characters, 2 * (characters + spaces)));
    EXPECT_EQ(prompter.messages.size(), 0u);
}

// A measurement reads each key of the profile once, however many of the
// measurements it calls need it; the next measurement reads the profile
// afresh and sees a changed amount.
TEST_F(MeasurementsTest, AMeasurementReadsEachKeyOnceAndTheNextReadsAgain)
{
    keys = {{"CharPerLine", "10"},           {"BoldONOFF2", "1"},
            {"CountBoldCharAs2", "1"},       {"CountTabs", "1"},
            {"TraverseHeaderAndFooter", "1"}, {"TraverseHeaderAndFooterFirstPage", "1"}};
    Measurements& m = open(Spec{{{u"Bold", bold()}, {u" plain\ttext\r"}}, {{u"Header\r"}}});
    reads.clear();
    LineBreakdown parts;
    // 13 characters without spaces and the header's 6 twice (all headers,
    // then the first page's) + bold run 2 + bold excess 4 + tab 1 = 32.
    EXPECT_DOUBLE_EQ(m.Countlines("", "Office", &parts), 3.2);
    EXPECT_EQ(parts.characters, 25);
    ASSERT_FALSE(reads.empty());
    for (const auto& [key, count] : reads) {
        SCOPED_TRACE(key);
        EXPECT_EQ(count, 1);
    }
    EXPECT_EQ(reads.count("TraverseHeaderAndFooter"), 1u); // asked by every measurement, read once

    keys["BoldONOFFAmount"] = "3.0";
    EXPECT_DOUBLE_EQ(m.CountBoldCharsONOFF(), 3.0);
    EXPECT_EQ(reads["BoldONOFFAmount"], 2);
    EXPECT_EQ(reads["TraverseHeaderAndFooter"], 2);
    EXPECT_TRUE(prompter.messages.empty());
}
