// Preset shapes' text rectangles, worked out by hand from the preset definitions' guides.
#include "engine/layout/ShapeGeometry.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>

namespace qm::engine::layout {
namespace {

std::optional<double> none(std::string_view) { return std::nullopt; }

TEST(ShapeGuides, OperatorsOfTheFormulaLanguage)
{
    const std::map<std::string_view, double> names = {{"w", 1000}, {"ss", 400}, {"a", -5}};
    auto lookup = [&](std::string_view n) -> std::optional<double> {
        auto it = names.find(n);
        return it == names.end() ? std::nullopt : std::optional<double>(it->second);
    };
    struct Case {
        std::string_view formula;
        double expected;
    };
    const Case cases[] = {
        {"val 7", 7},           {"*/ w 3 4", 750},        {"+- w 10 ss", 610},     {"+/ w ss 2", 700},
        {"?: a 1 2", 2},        {"?: w 1 2", 1},          {"?: 0 1 2", 2},         {"abs a", 5},
        {"max w ss", 1000},     {"min w ss", 400},        {"pin 0 a 10", 0},       {"pin 0 w 10", 10},
        {"pin 0 3 10", 3},      {"sqrt 2500", 50},        {"mod 3 4 12", 13},      {"sin 100 5400000", 100},
        {"cos 100 10800000", -100}, {"tan 100 2700000", 100}, {"at2 1 1", 2700000}, {"cat2 10 3 4", 6},
        {"sat2 10 3 4", 8},     {"*/ w 1 0", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.formula);
        const std::optional<double> v = evaluateGuide(c.formula, lookup);
        ASSERT_TRUE(v);
        EXPECT_NEAR(*v, c.expected, 1e-6);
    }
    // An unknown operator or name, or too few arguments, gives nothing.
    for (std::string_view bad : {"", "frob 1 2", "*/ w q 2", "+- 1 2", "pin 1"})
        EXPECT_FALSE(evaluateGuide(bad, lookup)) << bad;
    EXPECT_FALSE(evaluateGuide("val w", none));
}

struct RectCase {
    std::string_view preset;
    std::vector<ShapeAdjust> adjust;
    TextRect expected;
};

TEST(ShapeTextRect, PresetsInABoxOf1872By1440)
{
    // A 1.3" by 1" shape (1872 by 1440 twips): ss 1440. Each rectangle
    // worked out from the preset's guides by hand.
    const double s2 = std::sqrt(0.5);
    const RectCase cases[] = {
        {"rect", {}, {0, 0, 1872, 1440}},
        // x1 = 1440 * 16667 / 100000 = 240.0; il = x1 * 0.29289.
        {"roundRect", {}, {70.29, 70.29, 1801.71, 1369.71}},
        {"ellipse", {}, {936 - 936 * s2, 720 - 720 * s2, 936 + 936 * s2, 720 + 720 * s2}},
        {"diamond", {}, {468, 360, 1404, 1080}},
        {"flowChartDecision", {}, {468, 360, 1404, 1080}},
        // x1 = w * 50000 / 200000, x3 = x1 + w / 2, from the middle down.
        {"triangle", {}, {468, 720, 1404, 1440}},
        // x1 = ss * 50000 / 100000 = 720; x2 = 1872 - 720: the narrow waist
        // where Word breaks "Chevr|on".
        {"chevron", {}, {720, 0, 1152, 1440}},
        {"chevron", {{"adj", 25000}}, {360, 0, 1512, 1440}},
        // Adjusted past its maximum (100000 w / ss = 130000) it is pinned:
        // x1 = 1872 = r, dx < 0, so the whole width.
        {"chevron", {{"adj", 500000}}, {0, 0, 1872, 1440}},
        // maxAdj 65000, q1 -32500, q2 -7500 <= 0: q3 = q4 = 2, q5 = 0,
        // q6 = 25000 / -32500, q7 = -2 q6, q8 = 2 + 50000 / 32500.
        {"hexagon", {}, {1872 * (2 + 50000.0 / 32500) / 24, 1440 * (2 + 50000.0 / 32500) / 24,
                         1872 - 1872 * (2 + 50000.0 / 32500) / 24, 1440 - 1440 * (2 + 50000.0 / 32500) / 24}},
        // dx1 = 720, x1 = 1152; dy1 = 360, y1 = 360; dx2 = 360 * 720 / 720.
        {"rightArrow", {}, {0, 360, 1512, 1080}},
        {"leftArrow", {}, {360, 360, 1872, 1080}},
        // maxAdj2 50000: y2 = 720, x1 = 468, dy1 = 468 * 720 / 936 = 360.
        {"upDownArrow", {}, {468, 360, 1404, 1080}},
        {"heart", {}, {312, 360, 1560, 960}},
        {"cloud", {}, {1872 * 2977 / 21600.0, 1440 * 3262 / 21600.0, 1872 * 17087 / 21600.0, 1440 * 17337 / 21600.0}},
        // w > h: the whole width, x1 = 360 from top and bottom.
        {"plus", {}, {0, 360, 1872, 1080}},
        {"frame", {}, {180, 180, 1692, 1260}},
        {"flowChartProcess", {}, {0, 0, 1872, 1440}},
        {"flowChartTerminator", {}, {1872 * 1018 / 21600.0, 1440 * 3163 / 21600.0, 1872 * 20582 / 21600.0, 1440 * 18437 / 21600.0}},
        // maxAdj 65000: il = w/3 * 25000/65000, it = h/3 * 25000/65000.
        {"trapezoid", {}, {240, 1440 / 3.0 * 25000 / 65000, 1632, 1440}},
        // maxAdj 130000, q2 = (1 + 5 * 25000 / 130000) / 12.
        {"parallelogram", {}, {1872 * (1 + 125000.0 / 130000) / 12, 1440 * (1 + 125000.0 / 130000) / 12,
                               1872 - 1872 * (1 + 125000.0 / 130000) / 12, 1440 - 1440 * (1 + 125000.0 / 130000) / 12}},
    };
    for (const RectCase& c : cases) {
        SCOPED_TRACE(std::string(c.preset));
        const std::optional<TextRect> r = presetTextRect(c.preset, 1872, 1440, c.adjust);
        ASSERT_TRUE(r);
        EXPECT_NEAR(r->left, c.expected.left, 0.01);
        EXPECT_NEAR(r->top, c.expected.top, 0.01);
        EXPECT_NEAR(r->right, c.expected.right, 0.01);
        EXPECT_NEAR(r->bottom, c.expected.bottom, 0.01);
    }
}

TEST(ShapeTextRect, RegularPentagonAndStar)
{
    // The pentagon's and star's points lie on an ellipse 1.05146 times the
    // box's half width and 1.10557 times its half height, centred 1.10557
    // times the half height down.
    const double swd2 = 936 * 1.05146, shd2 = 720 * 1.10557, svc = 720 * 1.10557;
    const double deg = 3.14159265358979 / 180;
    const std::optional<TextRect> pentagon = presetTextRect("pentagon", 1872, 1440);
    ASSERT_TRUE(pentagon);
    const double dx1 = swd2 * std::cos(18 * deg), dx2 = swd2 * std::cos(306 * deg);
    const double y1 = svc - shd2 * std::sin(18 * deg);
    EXPECT_NEAR(pentagon->left, 936 - dx2, 0.01);
    EXPECT_NEAR(pentagon->right, 936 + dx2, 0.01);
    EXPECT_NEAR(pentagon->top, y1 * dx2 / dx1, 0.01);
    EXPECT_NEAR(pentagon->bottom, svc - shd2 * std::sin(306 * deg), 0.01); // 1440: the box's foot
    EXPECT_NEAR(pentagon->bottom, 1440, 0.5);

    const std::optional<TextRect> star = presetTextRect("star5", 1872, 1440);
    ASSERT_TRUE(star);
    const double iwd2 = swd2 * 19098 / 50000, ihd2 = shd2 * 19098 / 50000;
    EXPECT_NEAR(star->left, 936 - iwd2 * std::cos(342 * deg), 0.01);
    EXPECT_NEAR(star->right, 936 + iwd2 * std::cos(342 * deg), 0.01);
    EXPECT_NEAR(star->top, svc - ihd2 * std::sin(54 * deg), 0.01);
    EXPECT_NEAR(star->bottom, svc + ihd2, 0.01);
}

TEST(ShapeTextRect, UnknownPresetOrEmptyBoxGivesNothing)
{
    EXPECT_FALSE(presetTextRect("notAShape", 1000, 1000));
    EXPECT_FALSE(presetTextRect("", 1000, 1000));
    EXPECT_FALSE(presetTextRect("chevron", 0, 1000));
    EXPECT_FALSE(presetTextRect("chevron", 1000, -5));
    EXPECT_TRUE(knownPreset("star5"));
    EXPECT_FALSE(knownPreset("star7"));
}

TEST(ShapeTextArea, InsetsComeOffThePresetsRectangle)
{
    struct Case {
        std::string preset;
        Twips l, t, r, b;
        TextRect expected;
    };
    const Case cases[] = {
        // Word's default insets on the whole box of an unknown preset.
        {"", 144, 72, 144, 72, {144, 72, 1728, 1368}},
        {"cube", 144, 72, 144, 72, {144, 72, 1728, 1368}},
        // The chevron's waist 720..1152, less 0.1" a side: 288 twips wide.
        {"chevron", 144, 72, 144, 72, {864, 72, 1008, 1368}},
        {"chevron", 0, 0, 0, 0, {720, 0, 1152, 1440}},
        // Insets wider than the rectangle leave it empty, never inverted.
        {"chevron", 300, 0, 300, 0, {1020, 0, 1020, 1440}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.preset);
        ShapeTextLayout layout;
        layout.preset = c.preset;
        layout.insetLeft = c.l, layout.insetTop = c.t, layout.insetRight = c.r, layout.insetBottom = c.b;
        const TextRect a = shapeTextArea(layout, 1872, 1440);
        EXPECT_NEAR(a.left, c.expected.left, 0.01);
        EXPECT_NEAR(a.top, c.expected.top, 0.01);
        EXPECT_NEAR(a.right, c.expected.right, 0.01);
        EXPECT_NEAR(a.bottom, c.expected.bottom, 0.01);
    }
    ShapeTextLayout adjusted;
    adjusted.preset = "chevron";
    adjusted.adjust = {{"adj", 25000}};
    adjusted.insetLeft = adjusted.insetRight = 0;
    EXPECT_NEAR(shapeTextArea(adjusted, 1872, 1440).left, 360, 0.01);
}

} // namespace
} // namespace qm::engine::layout
