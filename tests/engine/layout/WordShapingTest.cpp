// Arabic shaped a word at a time: the same glyphs and widths as the whole run, pieces kept per
// font, and the reading of a font's lookups that decides whether a font allows it.
#include "TestDocuments.h"
#include "engine/layout/FontCache.h"
#include "engine/layout/TextMeasurer.h"
#include "engine/layout/WordShaping.h"

#include <gtest/gtest.h>
#include <hb.h>

#include <map>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

/// Big-endian table bytes written field by field.
struct Table {
    std::string bytes;
    Table& u16(unsigned v)
    {
        bytes.push_back(static_cast<char>(v >> 8 & 0xFF));
        bytes.push_back(static_cast<char>(v & 0xFF));
        return *this;
    }
};

constexpr uint16_t SpaceGlyph = 3;

/// A GPOS table of one pair lookup in class form: first glyph 5 (class 1),
/// second glyphs in two classes, the space listed in class `spaceClass` (0:
/// not listed). `values[c1][c2]` is the first glyph's added advance.
std::string pairTable(unsigned spaceClass, const int (&values)[2][2], unsigned flags = 0)
{
    Table t;
    t.u16(1).u16(0).u16(0).u16(0).u16(10);                      // header: lookup list at 10
    t.u16(1).u16(4);                                            // 10: one lookup, at 14
    t.u16(2).u16(flags).u16(1).u16(8);                          // 14: pair positioning, one subtable at 22
    t.u16(2).u16(24).u16(0x0004).u16(0).u16(30).u16(40);        // 22: format 2; coverage, class definitions
    t.u16(2).u16(2);                                            // 34: two first classes, two second classes
    for (const auto& row : values)                              // 38: the x advances
        for (int v : row)
            t.u16(static_cast<uint16_t>(v));
    t.u16(1).u16(1).u16(5);                                     // 46: coverage: glyph 5
    t.u16(2).u16(1).u16(5).u16(5).u16(1);                       // 52: first classes: glyph 5 in 1
    t.u16(1).u16(SpaceGlyph).u16(1).u16(spaceClass);            // 62: second classes: the space's
    return t.bytes;
}

/// A GSUB table of one chained contextual lookup in class form whose one
/// rule looks ahead at one glyph of class `lookahead`; every glyph (the
/// space too) is in class 0.
std::string chainTable(unsigned lookahead)
{
    Table t;
    t.u16(1).u16(0).u16(0).u16(0).u16(10);
    t.u16(1).u16(4);
    t.u16(6).u16(0).u16(1).u16(8);                               // 14: chained context, one subtable at 22
    t.u16(2).u16(28).u16(34).u16(34).u16(34).u16(1).u16(14);     // 22: format 2, one rule set at 36
    t.u16(1).u16(4);                                             // 36: one rule, at 40
    t.u16(0).u16(1).u16(1).u16(lookahead).u16(0);                // 40: no backtrack, one input, one ahead
    t.u16(1).u16(1).u16(5);                                      // 50: coverage: glyph 5
    t.u16(2).u16(0);                                             // 56: class definition with no ranges
    return t.bytes;
}

/// Each cluster's glyph advances, from shaping `run` whole in `font` as the
/// measurer always did.
std::map<uint32_t, std::vector<int32_t>> wholeRun(hb_font_t* font, std::u16string_view run)
{
    hb_buffer_t* buffer = hb_buffer_create();
    hb_buffer_add_utf16(buffer, reinterpret_cast<const uint16_t*>(run.data()), static_cast<int>(run.size()), 0,
                        static_cast<int>(run.size()));
    hb_buffer_set_cluster_level(buffer, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_CHARACTERS);
    hb_buffer_guess_segment_properties(buffer);
    hb_shape(font, buffer, nullptr, 0);
    unsigned count = 0;
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
    const hb_glyph_position_t* position = hb_buffer_get_glyph_positions(buffer, &count);
    std::map<uint32_t, std::vector<int32_t>> clusters;
    for (unsigned g = 0; g < count; ++g)
        clusters[info[g].cluster].push_back(position[g].x_advance);
    hb_buffer_destroy(buffer);
    return clusters;
}

std::map<uint32_t, std::vector<int32_t>> byCluster(const std::vector<WordGlyph>& glyphs)
{
    std::map<uint32_t, std::vector<int32_t>> clusters;
    for (const WordGlyph& g : glyphs)
        clusters[g.cluster].push_back(g.advance);
    return clusters;
}

hb_font_t* shaperOf(const char* family)
{
    const ResolvedFace r = FontCache::instance().resolve(family, FontWeight::Regular, FontSlant::Upright);
    EXPECT_FALSE(r.substituted) << family;
    return r.face ? FontCache::instance().shaper(r.face) : nullptr;
}

} // namespace

// The reading of a pair lookup by classes: what counts is the column of the
// space's own class, and class 0 stands for every glyph not listed.
TEST(WordShaping, APairLookupReachesTheSpaceThroughItsClassColumn)
{
    struct Case {
        const char* what;
        unsigned spaceClass;
        int values[2][2];
        unsigned flags, glyphClass;
        bool reaches;
    } const cases[] = {
        {"kerning only against class 1, space unlisted", 0, {{0, 0}, {0, -50}}, 0, 0, false},
        {"a value against class 0, space unlisted", 0, {{0, 0}, {-50, 0}}, 0, 0, true},
        {"a value against class 0, space in class 1 with none", 1, {{0, 0}, {-50, 0}}, 0, 0, false},
        {"space in class 1, a value against it", 1, {{0, 0}, {0, 30}}, 0, 0, true},
        {"no values at all, lookup ignores base glyphs, space unclassed", 0, {{0, 0}, {0, 0}}, 0x2, 0, false},
        {"no values at all, lookup ignores base glyphs, space a base", 0, {{0, 0}, {0, 0}}, 0x2, 1, true},
        {"no values at all, lookup ignores marks, space a mark", 0, {{0, 0}, {0, 0}}, 0x8, 3, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(layoutTableMayReach(pairTable(c.spaceClass, c.values, c.flags), true, SpaceGlyph, c.glyphClass),
                  c.reaches);
    }
}

TEST(WordShaping, AContextualRuleReachesTheSpaceWhenItNamesTheSpacesClass)
{
    EXPECT_TRUE(layoutTableMayReach(chainTable(0), false, SpaceGlyph, 0)); // class 0: every unlisted glyph
    EXPECT_FALSE(layoutTableMayReach(chainTable(2), false, SpaceGlyph, 0));
    // Read as positioning, lookup type 6 is mark-to-mark: coverage only.
    EXPECT_FALSE(layoutTableMayReach(chainTable(0), true, SpaceGlyph, 0));
}

TEST(WordShaping, ATableThatCannotBeReadThroughCountsAsReaching)
{
    const int values[2][2] = {{0, 0}, {0, 0}};
    const std::string whole = pairTable(0, values);
    EXPECT_FALSE(layoutTableMayReach(whole, true, SpaceGlyph, 0));
    EXPECT_FALSE(layoutTableMayReach({}, true, SpaceGlyph, 0)); // no table: no lookups
    for (size_t cut : {4u, 12u, 30u, 44u, 60u})
        EXPECT_TRUE(layoutTableMayReach(std::string_view(whole).substr(0, cut), true, SpaceGlyph, 0)) << cut;
    std::string version2 = whole;
    version2[1] = 2;
    EXPECT_TRUE(layoutTableMayReach(version2, true, SpaceGlyph, 0));
}

// Runs shaped a piece at a time give every cluster the glyph advances the
// whole run gives it, in the Naskh and the sans Arabic faces (both keep the
// space out of their lookups): marks on letters, a mark on a space, spaces
// doubled and at the ends, digits and brackets first (the run stays right to
// left as a whole), the lam-alef ligature, a mark starting the run. The
// pieces a run has not met before are shaped together in one call.
TEST(WordShaping, PiecesGiveTheWholeRunsGlyphs)
{
    const std::u16string_view runs[] = {
        u"\u0627\u0644\u0633\u0644\u0627\u0645 \u0639\u0644\u064A\u0643\u0645",
        u"\u0628\u0650\u0633\u0652\u0645\u0650 \u0627\u0644\u0644\u0651\u064E\u0647\u0650",
        u"\u0645\u0631\u062D\u0628\u0627 \u064B\u0645\u0631\u062D\u0628\u0627",
        u"  \u0644\u0627  \u0625\u0644\u0647 ",
        u"2020 (\u0639\u0627\u0645) \u0641\u064A",
        u"\u0644\u0627",
        u"\u064B\u0645\u0631 \u062D\u0628\u0627 \u0645\u0631", // a mark first, as a run after Latin text may start
    };
    for (const char* family : {"Noto Naskh Arabic", "Noto Sans Arabic"}) {
        hb_font_t* font = shaperOf(family);
        ASSERT_NE(font, nullptr);
        ASSERT_TRUE(shapesApartAtSpaces(font)) << family;
        for (std::u16string_view run : runs) {
            SCOPED_TRACE(std::string(family) + ", run of " + std::to_string(run.size()));
            std::vector<WordGlyph> glyphs;
            ASSERT_TRUE(shapeByWords(font, run, glyphs));
            EXPECT_EQ(byCluster(glyphs), wholeRun(font, run));
            // And again, from the kept pieces.
            ASSERT_TRUE(shapeByWords(font, run, glyphs));
            EXPECT_EQ(byCluster(glyphs), wholeRun(font, run));
        }
    }
}

// Pieces are kept per font: a word met in one face and then in another
// gives the second face's glyphs, which differ.
TEST(WordShaping, KeptPiecesBelongToTheirFont)
{
    const std::u16string_view run = u"\u0643\u062A\u0627\u0628 \u062C\u062F\u064A\u062F";
    hb_font_t* naskh = shaperOf("Noto Naskh Arabic");
    hb_font_t* sans = shaperOf("Noto Sans Arabic");
    ASSERT_NE(naskh, nullptr);
    ASSERT_NE(sans, nullptr);
    std::vector<WordGlyph> first, second;
    ASSERT_TRUE(shapeByWords(naskh, run, first));
    ASSERT_TRUE(shapeByWords(sans, run, second));
    EXPECT_EQ(byCluster(first), wholeRun(naskh, run));
    EXPECT_EQ(byCluster(second), wholeRun(sans, run));
    EXPECT_NE(byCluster(first), byCluster(second));
}

// Only Arabic and Hebrew runs, and only in a font that keeps the space
// apart: a face with an old kern table, or a Latin run, is left to be
// shaped whole.
TEST(WordShaping, OtherRunsAndFontsAreShapedWhole)
{
    hb_font_t* liberation = shaperOf("Liberation Serif"); // has a kern table
    hb_font_t* naskh = shaperOf("Noto Naskh Arabic");
    ASSERT_NE(liberation, nullptr);
    ASSERT_NE(naskh, nullptr);
    EXPECT_FALSE(shapesApartAtSpaces(liberation));
    std::vector<WordGlyph> glyphs;
    EXPECT_FALSE(shapeByWords(liberation, u"\u05E9\u05DC\u05D5\u05DD \u05E2\u05D5\u05DC\u05DD", glyphs));
    EXPECT_FALSE(shapeByWords(naskh, u"plain words", glyphs));
    EXPECT_FALSE(shapeByWords(naskh, u"12 34", glyphs)); // no script of its own
    EXPECT_FALSE(shapeByWords(naskh, u"", glyphs));
}

// The measurer's shaped widths from pieces are, to the bit, those of the
// whole run's glyphs: each cluster's advances scaled and summed in turn,
// the letter spacing once per cluster, at every size and scale.
TEST(WordShaping, ShapedWidthsAreTheWholeRunsToTheBit)
{
    CharFormat spaced = font("Times New Roman", 27);
    spaced.spacingTwips = 15;
    CharFormat narrow = font("Times New Roman", 20);
    narrow.scalePercent = 90;
    auto doc = makeDocument({{u"x", {}, font("Times New Roman", 24)}, {u"y", {}, spaced}, {u"z", {}, narrow}});
    LayoutOptions options;
    std::vector<Diagnostic> diagnostics;
    const std::u16string_view run = u"\u0628\u0650\u0633\u0652\u0645\u0650 \u0627\u0644\u0644\u0651\u064E\u0647\u0650 "
                                    u"\u0627\u0644\u0631\u0651\u064E\u062D\u0652\u0645\u064E\u0646";
    const Story& story = doc->stories[0];
    for (char16_t marker : {u'x', u'y', u'z'}) {
        const uint32_t format = story.attrs[story.text.find(marker)].charFormat;
        SCOPED_TRACE(format);
        TextMeasurer measurer(*doc, options, diagnostics);
        std::vector<double> widths;
        ASSERT_TRUE(measurer.shapedWidths(run, format, FontSlot::Complex, false, widths));
        ShapedText shaped;
        ASSERT_TRUE(measurer.shape(run, format, FontSlot::Complex, false, shaped));
        std::vector<double> expected(run.size(), 0.0);
        std::vector<bool> starts(run.size(), false);
        for (const ShapedGlyph& g : shaped.glyphs) {
            expected[g.cluster] += g.advance;
            starts[g.cluster] = true;
        }
        for (size_t k = 0; k < run.size(); ++k)
            if (starts[k])
                expected[k] += shaped.spacing;
        EXPECT_EQ(widths, expected);
    }
}
