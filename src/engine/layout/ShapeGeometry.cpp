// The text rectangles of DrawingML's preset shapes, worked out from each preset's guides.
#include "engine/layout/ShapeGeometry.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <numbers>
#include <string>

namespace qm::engine::layout {

namespace {

/// One preset as the preset definitions give it (presetShapeDefinitions.xml,
/// ECMA-376 Part 1 Annex D): its adjust values and their defaults (a:avLst),
/// the guides its text rectangle depends on, in order (a:gdLst; guides that
/// only draw the outline are left out), and the rectangle's four edges
/// (a:rect l t r b), each a guide or built-in name. Guides are written as
/// "name formula".
struct Preset {
    std::string_view name;
    std::string_view adjust; ///< "adj1 50000 adj2 50000"
    std::vector<std::string_view> guides;
    std::array<std::string_view, 4> rect;
};

// Presets sharing a rectangle: the inscribed box of an ellipse (its points
// at 45 degrees), the whole box.
const std::vector<std::string_view> EllipseGuides = {
    "idx cos wd2 2700000", "idy sin hd2 2700000", "il +- hc 0 idx",
    "ir +- hc idx 0",      "it +- vc 0 idy",      "ib +- vc idy 0",
};

const std::vector<Preset>& presets()
{
    static const std::vector<Preset> table = {
        {"rect", "", {}, {"l", "t", "r", "b"}},
        {"flowChartProcess", "", {}, {"l", "t", "r", "b"}},
        {"wedgeRectCallout", "", {}, {"l", "t", "r", "b"}},
        {"roundRect",
         "adj 16667",
         {"a pin 0 adj 50000", "x1 */ ss a 100000", "il */ x1 29289 100000", "ir +- r 0 il", "ib +- b 0 il"},
         {"il", "il", "ir", "ib"}},
        {"flowChartAlternateProcess",
         "",
         {"il */ ssd6 29289 100000", "ir +- r 0 il", "ib +- b 0 il"},
         {"il", "il", "ir", "ib"}},
        {"ellipse", "", EllipseGuides, {"il", "it", "ir", "ib"}},
        {"flowChartConnector", "", EllipseGuides, {"il", "it", "ir", "ib"}},
        {"donut", "adj 25000", EllipseGuides, {"il", "it", "ir", "ib"}},
        {"wedgeEllipseCallout", "", EllipseGuides, {"il", "it", "ir", "ib"}},
        {"diamond", "", {"ir */ w 3 4", "ib */ h 3 4"}, {"wd4", "hd4", "ir", "ib"}},
        {"flowChartDecision", "", {"ir */ w 3 4", "ib */ h 3 4"}, {"wd4", "hd4", "ir", "ib"}},
        {"triangle",
         "adj 50000",
         {"a pin 0 adj 100000", "x1 */ w a 200000", "x3 +- x1 wd2 0"},
         {"x1", "vc", "x3", "b"}},
        {"rtTriangle",
         "",
         {"il */ w 1 12", "it */ h 7 12", "ir */ w 7 12", "ib */ h 11 12"},
         {"il", "it", "ir", "ib"}},
        {"parallelogram",
         "adj 25000",
         {"maxAdj */ 100000 w ss", "a pin 0 adj maxAdj", "q1 */ 5 a maxAdj", "q2 +/ 1 q1 12", "il */ q2 w 1",
          "it */ q2 h 1", "ir +- r 0 il", "ib +- b 0 it"},
         {"il", "it", "ir", "ib"}},
        {"trapezoid",
         "adj 25000",
         {"maxAdj */ 50000 w ss", "a pin 0 adj maxAdj", "il */ wd3 a maxAdj", "it */ hd3 a maxAdj", "ir +- r 0 il"},
         {"il", "it", "ir", "b"}},
        {"pentagon",
         "hf 105146 vf 110557",
         {"swd2 */ wd2 hf 100000", "shd2 */ hd2 vf 100000", "svc */ vc vf 100000", "dx1 cos swd2 1080000",
          "dx2 cos swd2 18360000", "dy1 sin shd2 1080000", "dy2 sin shd2 18360000", "x2 +- hc 0 dx2",
          "x3 +- hc dx2 0", "y1 +- svc 0 dy1", "y2 +- svc 0 dy2", "it */ y1 dx2 dx1"},
         {"x2", "it", "x3", "y2"}},
        {"homePlate",
         "adj 50000",
         {"maxAdj */ 100000 w ss", "a pin 0 adj maxAdj", "dx1 */ ss a 100000", "x1 +- r 0 dx1", "ir +/ x1 r 2"},
         {"l", "t", "ir", "b"}},
        {"chevron",
         "adj 50000",
         {"maxAdj */ 100000 w ss", "a pin 0 adj maxAdj", "x1 */ ss a 100000", "x2 +- r 0 x1", "dx +- x2 0 x1",
          "il ?: dx x1 l", "ir ?: dx x2 r"},
         {"il", "t", "ir", "b"}},
        {"hexagon",
         "adj 25000 vf 115470",
         {"maxAdj */ 50000 w ss", "a pin 0 adj maxAdj", "q1 */ maxAdj -1 2", "q2 +- a q1 0", "q3 ?: q2 4 2",
          "q4 ?: q2 3 2", "q5 ?: q2 q1 0", "q6 +/ a q5 q1", "q7 */ q6 q4 -1", "q8 +- q3 q7 0", "il */ w q8 24",
          "it */ h q8 24", "ir +- r 0 il", "ib +- b 0 it"},
         {"il", "it", "ir", "ib"}},
        {"octagon",
         "adj 29289",
         {"a pin 0 adj 50000", "x1 */ ss a 100000", "il */ x1 1 2", "ir +- r 0 il", "ib +- b 0 il"},
         {"il", "il", "ir", "ib"}},
        {"rightArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 100000 w ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "dx1 */ ss a2 100000",
          "x1 +- r 0 dx1", "dy1 */ h a1 200000", "y1 +- vc 0 dy1", "y2 +- vc dy1 0", "dx2 */ y1 dx1 hd2",
          "x2 +- x1 dx2 0"},
         {"l", "y1", "x2", "y2"}},
        {"leftArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 100000 w ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "dx2 */ ss a2 100000",
          "x2 +- l dx2 0", "dy1 */ h a1 200000", "y1 +- vc 0 dy1", "y2 +- vc dy1 0", "dx1 */ y1 dx2 hd2",
          "x1 +- x2 0 dx1"},
         {"x1", "y1", "r", "y2"}},
        {"upArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 100000 h ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "dy2 */ ss a2 100000",
          "y2 +- t dy2 0", "dx1 */ w a1 200000", "x1 +- hc 0 dx1", "x2 +- hc dx1 0", "dy1 */ x1 dy2 wd2",
          "y1 +- y2 0 dy1"},
         {"x1", "y1", "x2", "b"}},
        {"downArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 100000 h ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "dy1 */ ss a2 100000",
          "y1 +- b 0 dy1", "dx1 */ w a1 200000", "x1 +- hc 0 dx1", "x2 +- hc dx1 0", "dy2 */ x1 dy1 wd2",
          "y2 +- y1 dy2 0"},
         {"x1", "t", "x2", "y2"}},
        {"leftRightArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 50000 w ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "x2 */ ss a2 100000",
          "x3 +- r 0 x2", "dy */ h a1 200000", "y1 +- vc 0 dy", "y2 +- vc dy 0", "dx1 */ y1 x2 hd2",
          "x1 +- x2 0 dx1", "x4 +- x3 dx1 0"},
         {"x1", "y1", "x4", "y2"}},
        {"upDownArrow",
         "adj1 50000 adj2 50000",
         {"maxAdj2 */ 50000 h ss", "a1 pin 0 adj1 100000", "a2 pin 0 adj2 maxAdj2", "y2 */ ss a2 100000",
          "y3 +- b 0 y2", "dx1 */ w a1 200000", "x1 +- hc 0 dx1", "x2 +- hc dx1 0", "dy1 */ x1 y2 wd2",
          "y1 +- y2 0 dy1", "y4 +- y3 dy1 0"},
         {"x1", "y1", "x2", "y4"}},
        {"heart", "", {"il */ w 1 6", "ir */ w 5 6", "ib */ h 2 3"}, {"il", "hd4", "ir", "ib"}},
        {"star4",
         "adj 12500",
         {"a pin 0 adj 50000", "iwd2 */ wd2 a 50000", "ihd2 */ hd2 a 50000", "sdx cos iwd2 2700000",
          "sdy sin ihd2 2700000", "sx1 +- hc 0 sdx", "sx2 +- hc sdx 0", "sy1 +- vc 0 sdy", "sy2 +- vc sdy 0"},
         {"sx1", "sy1", "sx2", "sy2"}},
        {"star5",
         "adj 19098 hf 105146 vf 110557",
         {"a pin 0 adj 50000", "swd2 */ wd2 hf 100000", "shd2 */ hd2 vf 100000", "svc */ vc vf 100000",
          "iwd2 */ swd2 a 50000", "ihd2 */ shd2 a 50000", "sdx1 cos iwd2 20520000", "sdy1 sin ihd2 3240000",
          "sx1 +- hc 0 sdx1", "sx4 +- hc sdx1 0", "sy1 +- svc 0 sdy1", "sy3 +- svc ihd2 0"},
         {"sx1", "sy1", "sx4", "sy3"}},
        {"cloud",
         "",
         {"il */ w 2977 21600", "it */ h 3262 21600", "ir */ w 17087 21600", "ib */ h 17337 21600"},
         {"il", "it", "ir", "ib"}},
        {"plus",
         "adj 25000",
         {"a pin 0 adj 50000", "x1 */ ss a 100000", "x2 +- r 0 x1", "y2 +- b 0 x1", "d +- w 0 h", "il ?: d l x1",
          "ir ?: d r x2", "it ?: d x1 t", "ib ?: d y2 b"},
         {"il", "it", "ir", "ib"}},
        {"frame",
         "adj1 12500",
         {"a1 pin 0 adj1 50000", "x1 */ ss a1 100000", "x4 +- r 0 x1", "y4 +- b 0 x1"},
         {"x1", "x1", "x4", "y4"}},
        {"bevel",
         "adj 12500",
         {"a pin 0 adj 50000", "x1 */ ss a 100000", "x2 +- r 0 x1", "y2 +- b 0 x1"},
         {"x1", "x1", "x2", "y2"}},
        {"foldedCorner",
         "adj 16667",
         {"a pin 0 adj 50000", "dy2 */ ss a 100000", "y2 +- b 0 dy2"},
         {"l", "t", "r", "y2"}},
        {"can",
         "adj 25000",
         {"maxAdj */ 50000 h ss", "a pin 0 adj maxAdj", "y1 */ ss a 200000", "y2 +- y1 y1 0", "y3 +- b 0 y1"},
         {"l", "y2", "r", "y3"}},
        {"flowChartTerminator",
         "",
         {"il */ w 1018 21600", "ir */ w 20582 21600", "it */ h 3163 21600", "ib */ h 18437 21600"},
         {"il", "it", "ir", "ib"}},
        {"flowChartDocument", "", {"y2 */ h 17322 21600"}, {"l", "t", "r", "y2"}},
        {"flowChartPredefinedProcess", "", {"x2 */ w 7 8"}, {"wd8", "t", "x2", "b"}},
        {"flowChartManualInput", "", {}, {"l", "hd5", "r", "b"}},
        {"flowChartPunchedCard", "", {}, {"l", "hd5", "r", "b"}},
        {"flowChartPreparation", "", {"x2 */ w 4 5"}, {"wd5", "t", "x2", "b"}},
        {"flowChartOffpageConnector", "", {"y1 */ h 4 5"}, {"l", "t", "r", "y1"}},
    };
    return table;
}

const Preset* findPreset(std::string_view name)
{
    for (const Preset& p : presets())
        if (p.name == name)
            return &p;
    return nullptr;
}

std::optional<double> number(std::string_view s)
{
    double v = 0;
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), v);
    if (ec != std::errc() || end != s.data() + s.size())
        return std::nullopt;
    return v;
}

/// The words of `s` split at spaces (at most `limit`).
std::vector<std::string_view> words(std::string_view s, size_t limit = 64)
{
    std::vector<std::string_view> out;
    size_t i = 0;
    while (i < s.size() && out.size() < limit) {
        while (i < s.size() && s[i] == ' ')
            ++i;
        const size_t start = i;
        while (i < s.size() && s[i] != ' ')
            ++i;
        if (i > start)
            out.push_back(s.substr(start, i - start));
    }
    return out;
}

constexpr double Degree = 60000.0; ///< angles are 60000ths of a degree

double radians(double angle) { return angle / Degree * std::numbers::pi / 180.0; }

} // namespace

std::optional<double> evaluateGuide(std::string_view formula,
                                    const std::function<std::optional<double>(std::string_view)>& lookup)
{
    const std::vector<std::string_view> w = words(formula, 5);
    if (w.empty())
        return std::nullopt;
    std::array<double, 3> x{};
    const size_t argc = w.size() - 1;
    for (size_t i = 0; i < argc && i < x.size(); ++i) {
        std::optional<double> v = number(w[i + 1]);
        if (!v)
            v = lookup(w[i + 1]);
        if (!v)
            return std::nullopt;
        x[i] = *v;
    }
    // ECMA-376 Part 1 §20.1.9.11 gd: the operators and their arguments.
    const std::string_view op = w[0];
    auto needs = [&](size_t n) { return argc >= n; };
    if (op == "val" && needs(1))
        return x[0];
    if (op == "*/" && needs(3))
        return x[2] == 0 ? 0.0 : x[0] * x[1] / x[2];
    if (op == "+-" && needs(3))
        return x[0] + x[1] - x[2];
    if (op == "+/" && needs(3))
        return x[2] == 0 ? 0.0 : (x[0] + x[1]) / x[2];
    if (op == "?:" && needs(3))
        return x[0] > 0 ? x[1] : x[2];
    if (op == "abs" && needs(1))
        return std::abs(x[0]);
    if (op == "max" && needs(2))
        return std::max(x[0], x[1]);
    if (op == "min" && needs(2))
        return std::min(x[0], x[1]);
    if (op == "pin" && needs(3))
        return x[1] < x[0] ? x[0] : x[1] > x[2] ? x[2] : x[1];
    if (op == "sqrt" && needs(1))
        return std::sqrt(std::max(0.0, x[0]));
    if (op == "mod" && needs(3))
        return std::sqrt(x[0] * x[0] + x[1] * x[1] + x[2] * x[2]);
    if (op == "cos" && needs(2))
        return x[0] * std::cos(radians(x[1]));
    if (op == "sin" && needs(2))
        return x[0] * std::sin(radians(x[1]));
    if (op == "tan" && needs(2))
        return x[0] * std::tan(radians(x[1]));
    if (op == "at2" && needs(2))
        return std::atan2(x[1], x[0]) * 180.0 / std::numbers::pi * Degree;
    if (op == "cat2" && needs(3))
        return x[0] * std::cos(std::atan2(x[2], x[1]));
    if (op == "sat2" && needs(3))
        return x[0] * std::sin(std::atan2(x[2], x[1]));
    return std::nullopt;
}

bool knownPreset(std::string_view preset) { return findPreset(preset) != nullptr; }

TextRect shapeTextArea(const ShapeTextLayout& layout, double width, double height)
{
    std::vector<ShapeAdjust> adjust;
    adjust.reserve(layout.adjust.size());
    for (const auto& [name, value] : layout.adjust)
        adjust.emplace_back(name, value);
    TextRect area = presetTextRect(layout.preset, width, height, adjust)
                        .value_or(TextRect{0, 0, std::max(0.0, width), std::max(0.0, height)});
    area.left += layout.insetLeft;
    area.top += layout.insetTop;
    area.right -= layout.insetRight;
    area.bottom -= layout.insetBottom;
    if (area.right < area.left)
        area.right = area.left;
    if (area.bottom < area.top)
        area.bottom = area.top;
    return area;
}

std::optional<TextRect> presetTextRect(std::string_view preset, double width, double height,
                                       const std::vector<ShapeAdjust>& adjust)
{
    const Preset* p = findPreset(preset);
    if (!p || !(width > 0) || !(height > 0))
        return std::nullopt;
    // Built-in guides (§20.1.9.11): the box's edges, centre and fractions.
    const double ss = std::min(width, height), ls = std::max(width, height);
    std::vector<std::pair<std::string_view, double>> values = {
        {"w", width},        {"h", height},       {"l", 0},           {"t", 0},           {"r", width},
        {"b", height},       {"hc", width / 2},   {"vc", height / 2}, {"ss", ss},         {"ls", ls},
        {"wd2", width / 2},  {"wd3", width / 3},  {"wd4", width / 4}, {"wd5", width / 5}, {"wd6", width / 6},
        {"wd8", width / 8},  {"wd10", width / 10}, {"hd2", height / 2}, {"hd3", height / 3}, {"hd4", height / 4},
        {"hd5", height / 5}, {"hd6", height / 6}, {"hd8", height / 8}, {"hd10", height / 10}, {"ssd2", ss / 2},
        {"ssd4", ss / 4},    {"ssd6", ss / 6},    {"ssd8", ss / 8},   {"ssd16", ss / 16}, {"ssd32", ss / 32},
        {"cd2", 10800000},   {"cd4", 5400000},    {"cd8", 2700000},
    };
    // Adjust values: the preset's defaults, those the shape sets instead.
    const std::vector<std::string_view> defaults = words(p->adjust);
    for (size_t i = 0; i + 1 < defaults.size(); i += 2) {
        double v = number(defaults[i + 1]).value_or(0);
        for (const ShapeAdjust& a : adjust)
            if (a.first == defaults[i] && std::isfinite(a.second))
                v = a.second;
        values.emplace_back(defaults[i], v);
    }
    auto lookup = [&](std::string_view name) -> std::optional<double> {
        // Later guides may redefine a name; the last definition counts.
        for (auto it = values.rbegin(); it != values.rend(); ++it)
            if (it->first == name)
                return it->second;
        return std::nullopt;
    };
    for (std::string_view guide : p->guides) {
        const size_t space = guide.find(' ');
        if (space == std::string_view::npos)
            return std::nullopt;
        const std::optional<double> v = evaluateGuide(guide.substr(space + 1), lookup);
        if (!v || !std::isfinite(*v))
            return std::nullopt;
        values.emplace_back(guide.substr(0, space), *v);
    }
    std::array<double, 4> edge{};
    for (size_t i = 0; i < 4; ++i) {
        const std::optional<double> v = lookup(p->rect[i]);
        if (!v)
            return std::nullopt;
        edge[i] = *v;
    }
    TextRect rect{std::clamp(edge[0], 0.0, width), std::clamp(edge[1], 0.0, height), std::clamp(edge[2], 0.0, width),
                  std::clamp(edge[3], 0.0, height)};
    if (rect.right < rect.left)
        rect.right = rect.left;
    if (rect.bottom < rect.top)
        rect.bottom = rect.top;
    return rect;
}

} // namespace qm::engine::layout
