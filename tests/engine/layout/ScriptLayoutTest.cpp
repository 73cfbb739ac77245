// Text of every script laid out in its own font: East Asian fonts and heights, shaped Arabic and
// emoji, dictionary word ends in Thai, right-to-left paragraphs.
#include "TestDocuments.h"
#include "engine/layout/FontCache.h"
#include "engine/layout/TextMeasurer.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

CharFormat withScripts(CharFormat f, std::string eastAsia, std::string complex = {}, uint16_t complexSize = 0)
{
    f.eastAsiaFontName = std::move(eastAsia);
    f.complexFontName = std::move(complex);
    f.complexSizeHalfPoints = complexSize;
    return f;
}

/// The one line `text` makes in format `chars` on a wide page.
LaidOutLine oneLine(const std::u16string& text, const CharFormat& chars, ParaFormat pf = {})
{
    auto doc = makeDocument({{text, pf, chars}});
    const LayoutResult r = layoutDocument(*doc);
    EXPECT_EQ(r.lineCount(), 1);
    return r.lineCount() == 1 ? r.pages[0].lines[0] : LaidOutLine{};
}

} // namespace

TEST(ScriptFonts, EastAsianFontsGoToNotoCjkOfTheirLanguage)
{
    struct Case {
        const char* word;
        const char* family;
    } cases[] = {
        {"MS Mincho", "Noto Serif CJK JP"},
        {"ＭＳ ゴシック", "Noto Sans CJK JP"},
        {"游明朝", "Noto Serif CJK JP"},
        {"Yu Gothic", "Noto Sans CJK JP"},
        {"SimSun", "Noto Serif CJK SC"},
        {"Microsoft YaHei", "Noto Sans CJK SC"},
        {"PMingLiU", "Noto Serif CJK TC"},
        {"Batang", "Noto Serif CJK KR"},
        {"맑은 고딕", "Noto Sans CJK KR"},
        // Latin fonts whose names merely look alike stay what they are.
        {"MS Sans Serif", "MS Sans Serif"},
        {"Simplified Arabic", "Simplified Arabic"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.word);
        EXPECT_EQ(FontCache::twinFamily(c.word), c.family);
    }
    const ResolvedFace mincho = FontCache::instance().resolve("MS Mincho", FontWeight::Regular, FontSlant::Upright);
    ASSERT_NE(mincho.face, nullptr);
    EXPECT_FALSE(mincho.substituted); // a known stand-in is no missing font
}

// Worked out from the fonts: Times New Roman 10 pt is 11.5 pt high (230
// twips); Meiryo's Windows ascent and descent are 1.073 and 0.363 em, so
// its 10 pt line is 287.2 twips, 287 as lines are kept in whole twips; MS Mincho sets ASCII at half an em (100
// twips at 10 pt) and ideographs at a full em (200 twips).
TEST(ScriptFonts, EachCharacterIsSetInTheFontOfItsScript)
{
    const CharFormat times = font("Times New Roman", 20);
    const CharFormat meiryo = withScripts(times, "Meiryo");
    EXPECT_DOUBLE_EQ(oneLine(u"abc", meiryo).height, 230);   // no East Asian text: Times alone
    EXPECT_DOUBLE_EQ(oneLine(u"abc一", meiryo).height, 287); // the ideograph brings Meiryo's height
    EXPECT_DOUBLE_EQ(oneLine(u"abc一", times).height, 230);  // no East Asian font: the fallback adds width only

    EXPECT_NEAR(oneLine(u"abcd", font("MS Mincho", 20)).width, 400, 1e-6);
    EXPECT_NEAR(oneLine(u"一二三", withScripts(times, "MS Mincho")).width, 600, 1e-6);

    // The complex-script size applies to Hebrew and leaves Latin alone.
    const CharFormat hebrew20 = withScripts(times, "", "Times New Roman", 20);
    const CharFormat hebrew40 = withScripts(times, "", "Times New Roman", 40);
    const double small = oneLine(u"שלום", hebrew20).width;
    EXPECT_GT(small, 0);
    EXPECT_NEAR(oneLine(u"שלום", hebrew40).width, 2 * small, 1e-6);
    EXPECT_NEAR(oneLine(u"abcd", hebrew40).width, oneLine(u"abcd", hebrew20).width, 1e-6);
}

// Arabic letters take the shape, and the width, their neighbours give them:
// lam followed by alef is one ligature, narrower than the two letters alone.
// An emoji sequence joined by zero-width joiners is one picture as wide as
// any single emoji. Either measured a character at a time would be wrong.
TEST(ScriptFonts, ComplexScriptsAndEmojiAreMeasuredShaped)
{
    const CharFormat times = font("Times New Roman", 20);
    auto doc = makeDocument({{u"x", {}, times}});
    LayoutOptions options;
    std::vector<Diagnostic> diagnostics;
    TextMeasurer measurer(*doc, options, diagnostics);
    const double lam = measurer.width(u'\u0644', 0);
    const double alef = measurer.width(u'\u0627', 0);
    ASSERT_GT(lam, 0);
    ASSERT_GT(alef, 0);
    EXPECT_LT(oneLine(u"\u0644\u0627", times).width, lam + alef - 1);

    if (!FontCache::instance().emojiFace())
        GTEST_SKIP() << "no emoji font installed";
    const double man = oneLine(u"\U0001F468", times).width;
    EXPECT_GT(man, 100);
    EXPECT_NEAR(oneLine(u"\U0001F468\u200D\U0001F469\u200D\U0001F467", times).width, man, 1e-6);
    EXPECT_NEAR(oneLine(u"\U0001F44D\U0001F3FD", times).width, man, 1e-6); // with a skin tone
    EXPECT_NEAR(oneLine(u"\U0001F1EF\U0001F1F5", times).width, man, 1e-6); // a flag
}

// Thai is written without spaces: a line must end between two words of the
// dictionary, never inside one. "ภาษาไทย" is "ภาษา" (language) and "ไทย"
// (Thai); every line of the repeated phrase is made of whole words.
TEST(ScriptFonts, ThaiWrapsBetweenDictionaryWords)
{
    std::u16string text;
    for (int i = 0; i < 8; ++i)
        text += u"ภาษาไทย";
    auto doc = makeDocument({{text, {}, font("Times New Roman", 20)}}, pageOfWidth(8));
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_GT(r.lineCount(), 2);
    for (const std::string& line : allLineTexts(*doc, r)) {
        SCOPED_TRACE(line);
        std::string rest = line;
        while (!rest.empty()) {
            const std::string word = rest.starts_with("ภาษา") ? "ภาษา" : rest.starts_with("ไทย") ? "ไทย" : "";
            ASSERT_FALSE(word.empty()) << "a line ends inside a word";
            rest.erase(0, word.size());
        }
    }
}

// A right-to-left paragraph breaks where a left-to-right one does (lines are
// broken in reading order), and an Arabic line stays within the text area.
TEST(ScriptFonts, RightToLeftParagraphsBreakAtTheirSpaces)
{
    ParaFormat rtl;
    rtl.rightToLeft = true;
    const std::u16string words = u"كتاب كتاب كتاب كتاب كتاب كتاب كتاب كتاب";
    auto ltrDoc = makeDocument({{words, {}, font("Times New Roman", 20)}}, pageOfWidth(12));
    auto rtlDoc = makeDocument({{words, rtl, font("Times New Roman", 20)}}, pageOfWidth(12));
    const LayoutResult ltr = layoutDocument(*ltrDoc);
    const LayoutResult r = layoutDocument(*rtlDoc);
    ASSERT_GT(r.lineCount(), 1);
    EXPECT_EQ(allLineTexts(*rtlDoc, r), allLineTexts(*ltrDoc, ltr));
    for (const std::string& line : allLineTexts(*rtlDoc, r))
        EXPECT_TRUE(line.ends_with(" ") || line.ends_with("كتاب")) << line;
    for (const LaidOutLine& line : r.pages[0].lines)
        EXPECT_LE(line.width, 12 * Mono + 1);
}

// A right-to-left paragraph starts at the right: its "left" alignment sets
// the line against the right margin, its left indent is kept from the right
// edge, and its runs follow each other leftwards. Would catch a mirrored
// line placed from the left margin or runs left in reading order.
TEST(ScriptFonts, RightToLeftLinesStartAtTheRight)
{
    DocumentBuilder b("docx");
    const uint32_t plain = b.charFormat(mono());
    CharFormat boldMono = mono();
    boldMono.bold = true;
    const uint32_t bold = b.charFormat(boldMono);
    ParaFormat rtl;
    rtl.rightToLeft = true;
    rtl.leftIndent = 240;
    b.appendText(u"abc", plain);
    b.appendText(u"de", bold);
    b.endParagraph(b.paraFormat(rtl), plain);
    auto doc = b.finish(pageOfWidth(20), {});
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.lineCount(), 1);
    const LaidOutLine& line = r.pages[0].lines[0];
    const double area = pageOfWidth(20).textWidth();
    EXPECT_NEAR(line.x + line.width, 1440 + area - 240, 1e-6);
    ASSERT_EQ(line.runs.size(), 2u); // abc, de
    EXPECT_NEAR(line.runs[0].x, 1440 + area - 240 - 3 * Mono, 1e-6);
    EXPECT_NEAR(line.runs[1].x, line.runs[0].x - 2 * Mono, 1e-6);
}

// Shaped widths are kept by format, slot and text: asked again they are the
// same, and the same text in a format twice the size is twice as wide (a
// key without the format would give the first format's widths).
TEST(ScriptFonts, ShapedWidthsKeptPerFormat)
{
    auto doc = makeDocument({{u"x", {}, font("Times New Roman", 20)}, {u"y", {}, font("Times New Roman", 40)}});
    LayoutOptions options;
    std::vector<Diagnostic> diagnostics;
    TextMeasurer measurer(*doc, options, diagnostics);
    const std::u16string_view arabic = u"\u0633\u0644\u0627\u0645 \u0639\u0644\u064A\u0643\u0645";
    const uint32_t small = doc->stories[0].attrs[0].charFormat;
    const uint32_t big = doc->stories[0].attrs[doc->stories[0].text.find(u'y')].charFormat;
    ASSERT_NE(small, big);
    std::vector<double> first, again, twice;
    ASSERT_TRUE(measurer.shapedWidths(arabic, small, FontSlot::Complex, false, first));
    ASSERT_TRUE(measurer.shapedWidths(arabic, small, FontSlot::Complex, false, again));
    ASSERT_TRUE(measurer.shapedWidths(arabic, big, FontSlot::Complex, false, twice));
    ASSERT_EQ(first.size(), arabic.size());
    EXPECT_EQ(again, first);
    double sum = 0, sumTwice = 0;
    for (size_t k = 0; k < first.size(); ++k) {
        sum += first[k];
        sumTwice += twice[k];
    }
    EXPECT_GT(sum, 0);
    EXPECT_NEAR(sumTwice, 2 * sum, 1e-6);
}

// Runs are shaped one after another in one buffer a thread: whatever a run
// leaves behind (its script, its direction, its glyphs) must not reach the
// next. Each run is shaped after the others in one order and in the other,
// by measurers of their own, and must come out glyph for glyph the same.
TEST(ScriptFonts, ARunShapesTheSameWhateverWasShapedBeforeIt)
{
    auto doc = makeDocument({{u"x", {}, font("Times New Roman", 24)}});
    LayoutOptions options;
    std::vector<Diagnostic> diagnostics;
    const uint32_t format = doc->stories[0].attrs[0].charFormat;
    struct Run {
        std::u16string_view text;
        FontSlot slot;
        bool emoji;
    } const runs[] = {
        {u"\u0633\u0644\u0627\u0645 \u0639\u0644\u064A\u0643\u0645", FontSlot::Complex, false}, // Arabic
        {u"\u05E9\u05DC\u05D5\u05DD \u05E2\u05D5\u05DC\u05DD", FontSlot::Complex, false},       // Hebrew
        {u"\U0001F44D\U0001F3FD", FontSlot::Latin, true},                                       // emoji and its tone
        {u"\u0628\u0650\u0633\u0652\u0645\u0650", FontSlot::Complex, false},                     // Arabic with its marks
        {u"\u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35", FontSlot::Complex, false},                     // Thai
    };
    // Each run's glyphs as (glyph, advance, cluster), shaped in one order or the other.
    auto shapeAll = [&](bool reversed) {
        TextMeasurer measurer(*doc, options, diagnostics);
        std::vector<std::vector<std::tuple<unsigned, double, uint32_t>>> out(std::size(runs));
        for (size_t n = 0; n < std::size(runs); ++n) {
            const size_t k = reversed ? std::size(runs) - 1 - n : n;
            ShapedText shaped;
            EXPECT_TRUE(measurer.shape(runs[k].text, format, runs[k].slot, runs[k].emoji, shaped)) << k;
            for (const ShapedGlyph& g : shaped.glyphs)
                out[k].emplace_back(g.glyph, g.advance, g.cluster);
        }
        return out;
    };
    const auto forward = shapeAll(false);
    EXPECT_EQ(shapeAll(true), forward);
    for (const auto& glyphs : forward)
        EXPECT_FALSE(glyphs.empty());
    // Right to left: the Arabic comes back in visual order, its last letter first.
    EXPECT_GT(std::get<2>(forward[0].front()), std::get<2>(forward[0].back()));
}

// The face a run is shaped in is its format's own where that face has the
// run's first letter, else the one Word's fallback would take: for Arabic a
// Naskh under a serif font and a sans under the others. Kept per format and
// first character, no answer stands in for another.
TEST(ScriptFonts, TheFaceAShapedRunFallsBackToFollowsItsFormatAndScript)
{
    auto doc = makeDocument({{u"x", {}, font("Times New Roman", 24)}, {u"y", {}, font("Arial", 24)}});
    LayoutOptions options;
    std::vector<Diagnostic> diagnostics;
    TextMeasurer measurer(*doc, options, diagnostics);
    const uint32_t serif = doc->stories[0].attrs[0].charFormat;
    const uint32_t sans = doc->stories[0].attrs[doc->stories[0].text.find(u'y')].charFormat;
    const std::u16string_view arabic = u"\u0633\u0644\u0627\u0645";
    const std::u16string_view hebrew = u"\u05E9\u05DC\u05D5\u05DD";
    const std::u16string_view devanagari = u"\u0928\u092E\u0938\u094D\u0924\u0947";
    struct Case {
        std::u16string_view text;
        uint32_t format;
        const char* family;
    } const cases[] = {
        {arabic, serif, "Noto Naskh Arabic"}, {arabic, sans, "Noto Sans Arabic"},
        // The Liberation faces have Hebrew letters: no fall back at all.
        {hebrew, serif, "Liberation Serif"}, {hebrew, sans, "Liberation Sans"},
        // Nor Devanagari: the general fallback's face for the script.
        {devanagari, serif, "Noto Sans Devanagari"}, {devanagari, sans, "Noto Sans Devanagari"},
        {arabic, serif, "Noto Naskh Arabic"}, // asked again, after the others
    };
    for (const Case& k : cases) {
        ShapedText shaped;
        ASSERT_TRUE(measurer.shape(k.text, k.format, FontSlot::Complex, false, shaped));
        ASSERT_NE(shaped.face, nullptr);
        EXPECT_EQ(shaped.face->family(), k.family);
    }
}

// The font a character is set in, across the table of the scripts from
// Hebrew to Myanmar and just beyond it: letters of the complex scripts take
// the complex-script font, their common punctuation, tatweel and combining
// marks (script Common or Inherited) and the scripts Word does not treat as
// complex (Samaritan, Georgian) the Latin one, Hangul the East Asian one.
TEST(ScriptFonts, CharactersInAndBeyondTheScriptTableGoToTheirFonts)
{
    struct Case {
        char32_t c;
        FontSlot slot;
    } const cases[] = {
        {0x058F, FontSlot::Latin},   {0x05D0, FontSlot::Complex}, {0x0627, FontSlot::Complex},
        {0x060C, FontSlot::Latin},   {0x0640, FontSlot::Latin},   {0x064B, FontSlot::Latin},
        {0x0710, FontSlot::Complex}, {0x0800, FontSlot::Latin},   {0x0915, FontSlot::Complex},
        {0x0964, FontSlot::Latin},   {0x0E01, FontSlot::Complex}, {0x0F40, FontSlot::Complex},
        {0x1000, FontSlot::Complex}, {0x10D0, FontSlot::Latin},   {0x1100, FontSlot::EastAsia},
        {0x4E00, FontSlot::EastAsia},
    };
    for (const Case& k : cases)
        EXPECT_EQ(fontSlotOf(k.c), k.slot) << std::hex << static_cast<uint32_t>(k.c);
}
