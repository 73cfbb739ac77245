// Fonts resolve to their metric twins, and lines are as tall as Word makes them.
#include "TestDocuments.h"
#include "engine/layout/FontCache.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

TEST(Fonts, WordFontsGoToTheirTwins)
{
    struct Case {
        const char* word;
        const char* family;
        bool substituted;
    } cases[] = {
        {"Times New Roman", "Liberation Serif", false},
        {"Arial", "Liberation Sans", false},
        {"Courier New", "Liberation Mono", false},
        {"Calibri", "Carlito", false},
        {"Cambria", "Caladea", false},
        {"Liberation Serif", "Liberation Serif", false},
        // Monotype's fonts drawn to the PostScript fonts' widths, on URW's
        // clones of those.
        {"Palatino Linotype", "P052", false},
        {"Book Antiqua", "P052", false},
        {"Century Schoolbook", "C059", false},
        {"Bookman Old Style", "URW Bookman", false},
        {"Century Gothic", "URW Gothic", false},
        {"Monotype Corsiva", "Z003", false},
        {"Arial Narrow", "Nimbus Sans Narrow", false},
        // Not installed: a twin of the same class, reported.
        {"Lucida Sans Typewriter", "Liberation Mono", true},
        {"Nowhere Serif", "Liberation Serif", true},
        // Known metrics, drawn with a stand-in: not reported as missing.
        {"Verdana", "DejaVu Sans", false},
        {"Tahoma", "Liberation Sans", false},
        {"Consolas", "Liberation Mono", false},
        // Known by their height alone: their widths are a guess, reported.
        {"Comic Sans MS", "Liberation Sans", true},
        {"Garamond", "Liberation Serif", true},
        {"Aptos", "Liberation Sans", false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.word);
        const ResolvedFace r = FontCache::instance().resolve(c.word, FontWeight::Regular, FontSlant::Upright);
        ASSERT_NE(r.face, nullptr);
        EXPECT_EQ(r.face->family(), c.family);
        EXPECT_EQ(r.substituted, c.substituted);
    }
    // A font whose widths are only estimated, or not known at all, is
    // looked for as itself first: installed, it measures itself.
    for (const char* name : {"Tahoma", "Trebuchet MS", "Comic Sans MS", "Garamond"})
        EXPECT_EQ(FontCache::twinFamily(name), name);
    EXPECT_EQ(FontCache::twinFamily("Cambria"), "Caladea");
    const ResolvedFace bold = FontCache::instance().resolve("Arial", FontWeight::Bold, FontSlant::Upright);
    const ResolvedFace regular = FontCache::instance().resolve("Arial", FontWeight::Regular, FontSlant::Upright);
    EXPECT_NE(bold.face, regular.face);
    EXPECT_GT(bold.face->advance(u'a'), 0);
}

TEST(Fonts, StandInsMeasureLikeTheWordFont)
{
    // Line lengths Word printed (to the last glyph's ink, a little short of
    // its advance): Caladea alone would make the Cambria line 185.8 pt.
    struct Case {
        const char* what;
        CharFormat chars;
        std::u16string text;
        double points;
    } cases[] = {
        {"Cambria 11 pt", font("Cambria", 22), u"initiatives undertaken during this period.", 193.07},
        {"Calibri 12 pt", font("Calibri", 24), u"completed ahead of schedule.", 146.74},
        {"Arial 12 pt", font("Arial", 24), u"Right-aligned Arial 12pt", 125.01},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto doc = makeDocument({{c.text, {}, c.chars}}, pageOfWidth(200));
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        EXPECT_NEAR(r.pages[0].lines[0].width / 20, c.points, 0.5);
    }
}

TEST(Fonts, ArialNarrowIsArialAtFourFifthsOfItsWidthAndFullHeight)
{
    // Helvetica Narrow, and so Arial Narrow, is Helvetica (Arial) drawn at
    // 82% of its width; the height of its lines stays Arial's.
    const std::u16string text = u"The quick brown fox jumps over the lazy dog.";
    auto narrow = makeDocument({{text, {}, font("Arial Narrow", 24)}});
    auto arial = makeDocument({{text, {}, font("Arial", 24)}});
    const LayoutResult n = layoutDocument(*narrow);
    const LayoutResult a = layoutDocument(*arial);
    ASSERT_EQ(n.lineCount(), 1);
    ASSERT_EQ(a.lineCount(), 1);
    EXPECT_NEAR(n.pages[0].lines[0].width / a.pages[0].lines[0].width, 0.82, 0.001);
    EXPECT_EQ(n.pages[0].lines[0].height, a.pages[0].lines[0].height);
    EXPECT_TRUE(n.diagnostics.empty());
}

TEST(Fonts, FixedPitchFontsTakeTheirOwnAdvance)
{
    // Ten characters at 12 pt: Consolas 1126/2048 em each = 1319.5 twips,
    // Lucida Console 1234/2048 em = 1446.1, Courier New 1229/2048 = 1440.2.
    struct Case {
        const char* font;
        double width;
    } cases[] = {{"Consolas", 1319.5}, {"Lucida Console", 1446.1}, {"Courier New", 1440.2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.font);
        auto doc = makeDocument({{u"mmmm iiiii", {}, font(c.font, 24)}});
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        EXPECT_NEAR(r.pages[0].lines[0].width, c.width, 0.1);
    }
}

TEST(Fonts, MissingFontIsNamedOnce)
{
    auto doc = makeDocument({{u"one", {}, font("Nowhere Grotesk", 24)}, {u"two", {}, font("Nowhere Grotesk", 20)}});
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.diagnostics.size(), 1u);
    EXPECT_EQ(r.diagnostics[0].code, "layout-font-substituted");
    EXPECT_NE(r.diagnostics[0].message.find("Nowhere Grotesk"), std::string::npos);
    EXPECT_EQ(r.lineCount(), 2);
}

TEST(Fonts, MissingFontTakesTheStandInTheFontTableNames)
{
    // "Line" at 12 pt: Times New Roman advances L 1251 + i 569 + n 1024 +
    // e 909 = 3753/2048 em = 439.8 twips; Arial (the sans twin a name like
    // "Nowhere Grotesk" gets) L 1139 + i 455 + n 1139 + e 1139 = 3872/2048 em
    // = 453.75 twips.
    struct Case {
        const char* what;
        const char* standIn; // "": the font table names none
        double width;        // twips
        bool reported;
    } cases[] = {
        {"no stand-in: the twin of the name's class", "", 453.75, true},
        {"the stand-in is at hand", "Times New Roman", 439.8, false},
        {"the stand-in is missing too", "Elsewhere Serif", 453.75, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto doc = makeDocument({{u"Line", {}, font("Nowhere Grotesk", 24)}});
        if (*c.standIn)
            doc->settings.fontStandIns["Nowhere Grotesk"] = c.standIn;
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        EXPECT_NEAR(r.pages[0].lines[0].width, c.width, 0.1);
        EXPECT_EQ(r.diagnostics.size(), c.reported ? 1u : 0u);
    }
}

// Heights, and where the text sits in the line: the extra of multiple
// spacing lies below the text (Word's PDFs start a page's first line at the
// margin whatever the spacing, and set cells spaced 1 and 1.2 on one
// baseline); what "at least" and "exactly" add or take lies above it.
TEST(LineHeight, SingleSpacingFromTheFontAndTheRules)
{
    struct Case {
        const char* what;
        CharFormat chars;
        LineRule rule;
        int32_t spacing;
        double height;  // twips
        double lowered; // the baseline below a single-spaced line's
    } cases[] = {
        {"Times New Roman 12 pt is 13.8 pt", font("Times New Roman", 24), LineRule::Auto, 240, 276, 0},
        {"Arial 12 pt is 13.8 pt", font("Arial", 24), LineRule::Auto, 240, 276, 0},
        {"Cambria 11 pt is 12.9 pt", font("Cambria", 22), LineRule::Auto, 240, 258, 0},
        {"Calibri 11 pt", font("Calibri", 22), LineRule::Auto, 240, 269, 0},
        {"Aptos 12 pt is 14.65 pt", font("Aptos", 24), LineRule::Auto, 240, 293, 0},
        // The fonts' Windows ascent and descent: Tahoma (2049 + 423) / 2048
        // em, Trebuchet MS (1923 + 455) / 2048 em; their stand-in Liberation
        // Sans alone would make 13.8 pt of either.
        {"Tahoma 12 pt is 14.5 pt", font("Tahoma", 24), LineRule::Auto, 240, 290, 0},
        {"Trebuchet MS 12 pt is 13.9 pt", font("Trebuchet MS", 24), LineRule::Auto, 240, 279, 0},
        // Windows heights where the stand-in's differ: Consolas (1884 + 514)
        // / 2048 em, Comic Sans MS (2257 + 597), Century Gothic (1989 + 451)
        // on URW Gothic, whose own would make 15.3 pt.
        {"Consolas 11 pt is 12.9 pt", font("Consolas", 22), LineRule::Auto, 240, 258, 0},
        {"Comic Sans MS 12 pt is 16.7 pt", font("Comic Sans MS", 24), LineRule::Auto, 240, 334, 0},
        {"Century Gothic 12 pt is 14.3 pt", font("Century Gothic", 24), LineRule::Auto, 240, 286, 0},
        // Word's table rows of Courier New 10 pt stand 19.8 pt apart where
        // the font's Windows metrics would make them 19.85 pt.
        {"Courier New 10 pt is 11.3 pt", font("Courier New", 20), LineRule::Auto, 240, 226, 0},
        {"Courier New 9 pt", font("Courier New", 18), LineRule::Auto, 240, 203, 0},
        {"double spacing", font("Times New Roman", 24), LineRule::Auto, 480, 552, 0},
        {"1.15 lines of Calibri 11 pt", font("Calibri", 22), LineRule::Auto, 276, 309, 0},
        {"0.75 lines cut the top", font("Times New Roman", 24), LineRule::Auto, 180, 207, -69},
        {"exactly 10 pt, smaller than the font", font("Times New Roman", 24), LineRule::Exact, 200, 200, -76},
        {"at least 10 pt keeps the font's height", font("Times New Roman", 24), LineRule::AtLeast, 200, 276, 0},
        {"at least 20 pt raises it", font("Times New Roman", 24), LineRule::AtLeast, 400, 400, 124},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.lineRule = c.rule;
        pf.lineSpacing = c.spacing;
        const LayoutResult single = layoutDocument(*makeDocument({{u"Line", {}, c.chars}}));
        const LayoutResult r = layoutDocument(*makeDocument({{u"Line", pf, c.chars}}));
        ASSERT_EQ(r.lineCount(), 1);
        const LaidOutLine& line = r.pages[0].lines[0];
        const LaidOutLine& plain = single.pages[0].lines[0];
        EXPECT_DOUBLE_EQ(line.height, c.height);
        EXPECT_NEAR(line.y + line.ascent - (plain.y + plain.ascent), c.lowered, 0.5);
    }
}

TEST(LineHeight, TallestFontOnTheLineWins)
{
    DocumentBuilder b("docx");
    const uint32_t small = b.charFormat(font("Times New Roman", 20));
    const uint32_t big = b.charFormat(font("Times New Roman", 48));
    const uint32_t para = b.paraFormat({});
    b.appendText(u"small ", small);
    b.appendText(u"BIG", big);
    addPara(b, u" small", small, para);
    addPara(b, u"small only", small, para);
    // A big paragraph mark makes an empty line big too.
    b.endParagraph(para, big);
    auto doc = b.finish({}, {});
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.lineCount(), 3);
    EXPECT_DOUBLE_EQ(r.pages[0].lines[0].height, 552);
    EXPECT_DOUBLE_EQ(r.pages[0].lines[1].height, 230);
    EXPECT_DOUBLE_EQ(r.pages[0].lines[2].height, 552);
}

TEST(LineHeight, ListLabelsAndInlinePicturesCountAsWordCountsThem)
{
    // Heights from Word's PDFs: an Arial 10 pt line is 11.5 pt; with a
    // Symbol bullet in front it is 12.24 pt (Symbol's 1.224 em); a line
    // holding only a 39.6 pt picture is 39.6 pt, the picture standing on the
    // baseline with nothing below it; text beside the picture adds its own
    // descent (Arial's 0.212 em). Multiple spacing adds its share of the
    // font's height, not of the picture's: a 216 pt chart in a 1.15-spaced
    // Cambria 11 pt paragraph makes a line 1.93 pt taller than the chart.
    struct Case {
        const char* what;
        const char* labelFont; // nullptr: no label
        bool picture;
        std::u16string text;
        double height; // twips
        int32_t spacing = 240;
    } cases[] = {
        {"Arial alone", nullptr, false, u"text", 230},
        {"a Symbol bullet", "Symbol", false, u"text", 244.8},
        {"an Arial number", "Arial", false, u"text", 230},
        {"a picture alone", nullptr, true, u"", 792},
        {"a picture and text", nullptr, true, u" text", 792 + 42.4},
        {"text, double spacing", nullptr, false, u"text", 460, 480},
        {"a picture alone, 1.15 lines", nullptr, true, u"", 792 + 0.15 * 230, 276},
        {"a picture and text, double spacing", nullptr, true, u" text", 792 + 42.4 + 230, 480},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t text = b.charFormat(font("Arial", 20));
        ParaFormat pf;
        pf.lineSpacing = c.spacing;
        if (c.labelFont) {
            pf.listLabel = u"\u2022";
            pf.listLabelCharFormat = static_cast<int32_t>(b.charFormat(font(c.labelFont, 20)));
        }
        const uint32_t para = b.paraFormat(pf);
        if (c.picture) {
            CharFormat pictureFormat = font("Arial", 20);
            pictureFormat.objectIndex = b.addObject(InlineObject{ObjectKind::Picture, 3600, 792});
            b.appendChar(Ch::Object, b.charFormat(pictureFormat));
        }
        b.appendText(c.text, text);
        b.endParagraph(para, text);
        auto doc = b.finish(SectionFormat{}, HeaderFooterRefs{});
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.lineCount(), 1);
        EXPECT_NEAR(r.pages[0].lines[0].height, c.height, 0.5);
    }
}
