// Where lines break inside a paragraph: spaces, hyphens, tabs, indents, labels and long words.
#include "TestDocuments.h"

#include <cstdio>
#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

std::vector<std::string> breakOne(const std::u16string& text, double widthChars, const ParaFormat& pf = {})
{
    auto doc = makeDocument({{text, pf}}, pageOfWidth(widthChars));
    return allLineTexts(*doc, layoutDocument(*doc));
}

} // namespace

TEST(LineBreaking, BreaksWhereWordBreaks)
{
    struct Case {
        const char* what;
        std::u16string text;
        double width;
        std::vector<std::string> lines;
    } cases[] = {
        {"fits exactly", u"aaaa bbbbb", 10, {"aaaa bbbbb"}},
        {"one character too many wraps the word", u"aaaa bbbbbb", 10, {"aaaa ", "bbbbbb"}},
        {"trailing spaces hang past the margin", u"aaaaaaaaaa    bbb", 10, {"aaaaaaaaaa    ", "bbb"}},
        {"no break at a no-break space", u"aaaaaa\u00A0bbbb", 10, {"aaaaaa\u00A0bbb", "b"}},
        {"a plain space breaks there", u"aaaaaa bbbb", 10, {"aaaaaa ", "bbbb"}},
        {"break after a hyphen", u"aaaaaa-bbbb", 10, {"aaaaaa-", "bbbb"}},
        {"no break after a non-breaking hyphen", u"aaaaaa\u001Ebbbb", 10, {"aaaaaa\u001Ebbb", "b"}},
        {"no break at a hyphen before a digit's sign", u"aaaaa -1234", 10, {"aaaaa ", "-1234"}},
        {"optional hyphen breaks and shows", u"aaaaaaa\u001Fbbbb", 10, {"aaaaaaa~", "bbbb"}},
        {"optional hyphen needs room for its hyphen", u"aaaaaaaaaa\u001Fbb", 10, {"aaaaaaaaaa~", "bb"}},
        {"long word broken by characters", std::u16string(25, u'a'), 10,
         {std::string(10, 'a'), std::string(10, 'a'), std::string(5, 'a')}},
        {"long word after a short one starts a new line", u"aa " + std::u16string(12, u'b'), 10,
         {"aa ", std::string(10, 'b'), "bb"}},
        {"manual line break", u"aa\u000Bbb", 10, {"aa", "bb"}},
        {"line break before the mark leaves an empty line", u"aa\u000B", 10, {"aa", ""}},
        {"empty paragraph is one line", u"", 10, {""}},
        {"an en dash may end a line", u"aaaaaa\u2013bbbb", 10, {"aaaaaa\u2013", "bbbb"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(breakOne(c.text, c.width), c.lines);
    }
}

TEST(LineBreaking, IndentsNarrowTheLines)
{
    struct Case {
        const char* what;
        Twips left, right, first;
        std::vector<std::string> lines;
    } cases[] = {
        // 10 characters wide; indents of whole characters.
        {"none", 0, 0, 0, {"aaa bbb ", "ccc ddd"}},
        {"left indent", 4 * 120, 0, 0, {"aaa ", "bbb ", "ccc ", "ddd"}},
        {"right indent", 0, 4 * 120, 0, {"aaa ", "bbb ", "ccc ", "ddd"}},
        {"first-line indent only narrows the first line", 0, 0, 4 * 120, {"aaa ", "bbb ccc ", "ddd"}},
        {"hanging indent: the first line is the wide one", 4 * 120, 0, -4 * 120, {"aaa bbb ", "ccc ", "ddd"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.leftIndent = c.left;
        pf.rightIndent = c.right;
        pf.firstLineIndent = c.first;
        EXPECT_EQ(breakOne(u"aaa bbb ccc ddd", 10.05, pf), c.lines);
    }
}

TEST(LineBreaking, JustificationKeepsTheBreaks)
{
    const std::u16string text = u"one two three four five six seven eight nine ten eleven";
    std::vector<std::vector<std::string>> seen;
    for (Alignment a : {Alignment::Left, Alignment::Justify, Alignment::Center, Alignment::Right}) {
        ParaFormat pf;
        pf.alignment = a;
        seen.push_back(breakOne(text, 17, pf));
    }
    for (size_t i = 1; i < seen.size(); ++i)
        EXPECT_EQ(seen[i], seen[0]) << "alignment " << i;
    EXPECT_GT(seen[0].size(), 2u);
}

TEST(LineBreaking, TabStopsPlaceTheFollowingText)
{
    struct Case {
        const char* what;
        std::u16string text;
        std::vector<TabStop> tabs;
        double width; // of the line, twips
    } cases[] = {
        {"default stop at half an inch", u"a\tb", {}, 720 + Mono},
        {"second default stop", u"aaaaaaa\tb", {}, 1440 + Mono},
        {"explicit left stop", u"a\tb", {{1000, TabAlignment::Left}}, 1000 + Mono},
        {"default stops left of a custom stop are cleared", u"a\tb", {{2000, TabAlignment::Left}}, 2000 + Mono},
        {"right stop ends the text at the stop", u"a\tbbb", {{3000, TabAlignment::Right}}, 3000},
        {"centre stop centres the text on it", u"a\tbbbb", {{3000, TabAlignment::Center}}, 3000 + 2 * Mono},
        {"decimal stop aligns the point", u"a\t12.50", {{3000, TabAlignment::Decimal}}, 3000 + 3 * Mono},
        {"bar stop is no stop", u"a\tb", {{300, TabAlignment::Bar}}, 720 + Mono},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.tabs = c.tabs;
        auto doc = makeDocument({{c.text, pf}}, pageOfWidth(60));
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        EXPECT_NEAR(r.pages[0].lines[0].width, c.width, 0.01);
    }
}

// A right tab stop set past the right margin (20 characters wide, stop at
// 25) keeps the text it aligns on the line, reaching out to the stop, in
// documents of Word 2010 and before (compatibility mode 14, or none given);
// in Word 2013's mode the text after it wraps as before.
TEST(LineBreaking, TabStopsPastTheMarginInOlderDocuments)
{
    struct Case {
        const char* what;
        int32_t compatibilityMode;
        std::vector<std::string> lines;
    } cases[] = {
        {"Word 2010", 14, {"Intro|12"}},
        {"no mode given (Word 97-2003, RTF)", 0, {"Intro|12"}},
        {"Word 2013", 15, {"Intro|", "12"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.tabs = {{static_cast<Twips>(25 * Mono), TabAlignment::Right, TabLeader::Dot}};
        auto doc = makeDocument({{u"Intro\t12", pf}}, pageOfWidth(20));
        doc->settings.compatibilityMode = c.compatibilityMode;
        EXPECT_EQ(allLineTexts(*doc, layoutDocument(*doc)), c.lines);
    }
}

TEST(LineBreaking, ListLabelTakesItsRoom)
{
    // Hanging indent of 720: the label sits at 0 and the text at the indent,
    // so the first line holds as much text as the following ones.
    ParaFormat pf;
    pf.leftIndent = 720;
    pf.firstLineIndent = -720;
    pf.listLabel = u"1.";
    auto doc = makeDocument({{u"aaaa bbbb cccc dddd", pf}}, pageOfWidth(16));
    const LayoutResult r = layoutDocument(*doc);
    EXPECT_EQ(allLineTexts(*doc, r), (std::vector<std::string>{"aaaa bbbb ", "cccc dddd"}));
    EXPECT_EQ(r.pages[0].lines[0].label, u"1.");
    EXPECT_NEAR(r.pages[0].lines[0].runs.front().x - r.pages[0].lines[0].x, 720, 0.01);

    // A label wider than the hanging indent pushes the text to the next stop.
    pf.listLabel = u"10.10.1";
    auto wide = makeDocument({{u"aaaa", pf}}, pageOfWidth(16));
    const LayoutResult w = layoutDocument(*wide);
    EXPECT_NEAR(w.pages[0].lines[0].runs.front().x - w.pages[0].lines[0].x, 1440, 0.01);
}

TEST(LineBreaking, HiddenTextTakesNoRoom)
{
    CharFormat hidden = mono();
    hidden.hidden = true;
    DocumentBuilder b("docx");
    const uint32_t plain = b.charFormat(mono());
    const uint32_t secret = b.charFormat(hidden);
    const uint32_t para = b.paraFormat({});
    b.appendText(u"aaaa ", plain);
    b.appendText(u"xxxxxxxxxxxxxxxxxxxx", secret);
    addPara(b, u"bbbb", plain, para);
    addPara(b, u"all hidden", secret, para);
    auto doc = b.finish(pageOfWidth(10), {});
    const LayoutResult r = layoutDocument(*doc);
    EXPECT_EQ(r.lineCount(), 1); // the hidden paragraph has no line at all
    EXPECT_NEAR(r.pages[0].lines[0].width, 9 * Mono, 0.01);
}

// A line's runs: the characters of one format that follow each other, each
// with its offset on the line and its width. Courier New is 1229/2048 em in
// every style, so 10 pt characters are Mono wide and 14 pt ones 1.4 Mono.
TEST(LineBreaking, RunsJoinTheCharactersOfOneFormatInTurn)
{
    struct Piece {
        std::u16string text;
        char format; // p plain, b bold, h hidden, B 14 pt
    };
    struct Case {
        const char* what;
        std::vector<Piece> pieces;
        std::vector<std::string> runs; // first-last (story positions, last excluded) @ offset + width, in Mono
        double width;                  // of the line's text, in Mono
    } const cases[] = {
        {"one format, spaces among the letters", {{u"ab cd", 'p'}}, {"0-5@0.00+5.00"}, 5},
        {"a format in between", {{u"abc", 'p'}, {u"de", 'b'}, {u"fg", 'p'}}, {"0-3@0.00+3.00", "3-5@3.00+2.00", "5-7@5.00+2.00"}, 7},
        {"hidden text parts one format's runs", {{u"ab", 'p'}, {u"xx", 'h'}, {u"cd", 'p'}}, {"0-2@0.00+2.00", "4-6@2.00+2.00"}, 4},
        {"a larger character moves what follows", {{u"ab", 'p'}, {u"c", 'B'}, {u"d", 'p'}},
         {"0-2@0.00+2.00", "2-3@2.00+1.40", "3-4@3.40+1.00"}, 4.4},
        {"trailing spaces belong to the run but not to the width", {{u"ab  ", 'p'}}, {"0-4@0.00+4.00"}, 2},
        {"a tab joins the run and takes the room to its stop", {{u"ab\tc", 'p'}}, {"0-4@0.00+7.00"}, 720 / Mono + 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        CharFormat bold = mono(), hidden = mono();
        bold.bold = true;
        hidden.hidden = true;
        const uint32_t formats[] = {b.charFormat(mono()), b.charFormat(bold), b.charFormat(hidden),
                                    b.charFormat(font("Courier New", 28))};
        for (const Piece& piece : c.pieces)
            b.appendText(piece.text, formats[std::string_view("pbhB").find(piece.format)]);
        b.endParagraph(b.paraFormat({}), formats[0]);
        auto doc = b.finish(pageOfWidth(20), {});
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        const LaidOutLine& line = r.pages[0].lines[0];
        std::vector<std::string> runs;
        for (const LineRun& run : line.runs) {
            char text[64];
            std::snprintf(text, sizeof text, "%u-%u@%.2f+%.2f", run.start, run.end, (run.x - line.x) / Mono, run.width / Mono);
            runs.push_back(text);
        }
        EXPECT_EQ(runs, c.runs);
        EXPECT_NEAR(line.width / Mono, c.width, 1e-9);
    }
    // The line is as high as its largest character makes it.
    auto small = makeDocument({{u"ab"}}, pageOfWidth(20));
    auto large = makeDocument({{u"ab", {}, font("Courier New", 28)}}, pageOfWidth(20));
    DocumentBuilder b("docx");
    const uint32_t plain = b.charFormat(mono()), big = b.charFormat(font("Courier New", 28));
    b.appendText(u"ab", plain);
    b.appendText(u"c", big);
    b.appendText(u"d", plain);
    b.endParagraph(b.paraFormat({}), plain);
    auto mixed = b.finish(pageOfWidth(20), {});
    const double smallHeight = layoutDocument(*small).pages[0].lines[0].height;
    const double largeHeight = layoutDocument(*large).pages[0].lines[0].height;
    EXPECT_GT(largeHeight, smallHeight);
    EXPECT_EQ(layoutDocument(*mixed).pages[0].lines[0].height, largeHeight);
}

// Characters beyond Latin-1 (Greek, Cyrillic) are measured once for each
// format and kept: the same letters at 10 pt, 14 pt and 10 pt again take
// 1, 1.4 and 1 Mono each.
TEST(LineBreaking, CharactersBeyondLatinOneKeepTheirWidthForEachFormat)
{
    DocumentBuilder b("docx");
    const uint32_t small = b.charFormat(mono()), large = b.charFormat(font("Courier New", 28));
    b.appendText(u"\u0391\u0392\u0416", small);
    b.appendText(u"\u0391\u0392\u0416", large);
    b.appendText(u"\u0416\u0391\u0392", small);
    b.endParagraph(b.paraFormat({}), small);
    auto doc = b.finish(pageOfWidth(20), {});
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.lineCount(), 1);
    const LaidOutLine& line = r.pages[0].lines[0];
    ASSERT_EQ(line.runs.size(), 3u);
    EXPECT_NEAR(line.runs[0].width / Mono, 3, 1e-9);
    EXPECT_NEAR(line.runs[1].width / Mono, 4.2, 1e-9);
    EXPECT_NEAR(line.runs[2].width / Mono, 3, 1e-9);
}

// East Asian lines, worked out from the advances: the text area holds ten
// Courier New 10 pt characters (1200 twips and a little), and an ideograph
// or kana, from the CJK fallback face, is a full em of 10 pt (200 twips), so
// six of them fill a line. Breaks fall between any two East Asian
// characters except where Word's default first- and last-character rules
// forbid them; a Latin word among them stays whole.
TEST(LineBreaking, EastAsianTextBreaksBetweenCharactersWithinTheKinsokuRules)
{
    struct Case {
        const char* what;
        std::u16string text;
        std::vector<std::string> lines;
    } cases[] = {
        {"six ideographs to a line", u"一二三四五六七八九十", {"一二三四五六", "七八九十"}},
        {"kana like ideographs", u"ひらがなとカタカナです", {"ひらがなとカ", "タカナです"}},
        {"a closing bracket never begins a line: it takes the character before with it",
         u"一二三四五六」七八", {"一二三四五", "六」七八"}},
        {"an opening bracket never ends a line", u"一二三四五「六七八", {"一二三四五", "「六七八"}},
        {"the ideographic full stop hangs past the margin", u"一二三四五六。七八", {"一二三四五六。", "七八"}},
        {"a small tsu may begin a line (not in Word's standard set)", u"一二三四五六っ七", {"一二三四五六", "っ七"}},
        {"a Latin word among ideographs stays whole", u"一二三四ABCD五六", {"一二三四", "ABCD五六"}},
        {"Latin text keeps breaking at its spaces", u"aaaa bbbbbb一二", {"aaaa ", "bbbbbb一二"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(breakOne(c.text, 10), c.lines);
    }
}

// Automatic hyphenation in a text area 16 Courier New characters wide:
// "The word hyphenation" (20) does not fit, "The word hyphen-" (16, the
// hyphen as wide as a letter) does; the US English patterns break
// "hy-phen-ation". Word 2013 and later hyphenate whatever room moving the
// word would leave; older documents only where it would leave more than the
// hyphenation zone (here 8 characters, 960 twips, after "The word").
TEST(LineBreaking, AutomaticHyphenationBreaksWordsThatDoNotFit)
{
    const std::u16string sentence = u"The word hyphenation ends.";
    const std::vector<std::string> whole = {"The word ", "hyphenation ", "ends."};
    const std::vector<std::string> hyphenated = {"The word hyphen-", "ation ends."};
    struct Case {
        const char* what;
        std::u16string text;
        bool on;
        int32_t compatibility;
        Twips zone;
        bool caps;
        uint16_t inARow;
        bool suppressed;
        std::vector<std::string> lines;
    } cases[] = {
        {"off", sentence, false, 15, 360, true, 0, false, whole},
        {"on", sentence, true, 15, 360, true, 0, false, hyphenated},
        {"on, the zone not minded", sentence, true, 15, 1000, true, 0, false, hyphenated},
        {"paragraph kept out", sentence, true, 15, 360, true, 0, true, whole},
        {"older document, word would leave more than the zone", sentence, true, 14, 360, true, 0, false, hyphenated},
        {"older document, word would leave less than the zone", sentence, true, 14, 1000, true, 0, false, whole},
        {"capitals kept whole",
         u"THE WORD HYPHENATION ENDS.",
         true,
         15,
         360,
         false,
         0,
         false,
         {"THE WORD ", "HYPHENATION ", "ENDS."}},
        {"capitals hyphenated",
         u"THE WORD HYPHENATION ENDS.",
         true,
         15,
         360,
         true,
         0,
         false,
         {"THE WORD HYPHEN-", "ATION ENDS."}},
        {"hyphens in a row",
         u"The word hyphenation hyphenation ends.",
         true,
         15,
         360,
         true,
         0,
         false,
         {"The word hyphen-", "ation hyphen-", "ation ends."}},
        {"one hyphen in a row at most",
         u"The word hyphenation hyphenation ends.",
         true,
         15,
         360,
         true,
         1,
         false,
         {"The word hyphen-", "ation ", "hyphenation ", "ends."}},
        {"a word with a digit kept whole",
         u"The word hyphenation2 ends.",
         true,
         15,
         360,
         true,
         0,
         false,
         {"The word ", "hyphenation2 ", "ends."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.suppressAutoHyphens = c.suppressed;
        auto doc = makeDocument({{c.text, pf}}, pageOfWidth(16));
        doc->settings.autoHyphenation = c.on;
        doc->settings.compatibilityMode = c.compatibility;
        doc->settings.hyphenationZone = c.zone;
        doc->settings.hyphenateCaps = c.caps;
        doc->settings.consecutiveHyphenLimit = c.inARow;
        doc->settings.language = "en-US";
        EXPECT_EQ(allLineTexts(*doc, layoutDocument(*doc)), c.lines);
    }
}
