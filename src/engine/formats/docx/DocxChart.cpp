// Charts of Word packages: the text a chart prints and the cached data it is worked out from.
#include "engine/formats/docx/DocxChart.h"

#include "engine/formats/docx/DocxStyles.h"
#include "engine/formats/docx/XmlPart.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace qm::engine::docx {

namespace {

using xml::child;
using xml::is;
using xml::value;

// Bounds that keep a hostile part from making the layout place millions of
// labels; real charts stay far below them.
constexpr size_t MaxSeries = 255;
constexpr size_t MaxPoints = 4000;

// A chart's boolean elements (c:delete, c:showVal) are true when present
// without a value.
bool flag(const pugi::xml_node& node, bool absent = false)
{
    if (!node)
        return absent;
    const std::string_view v = value(node, "val");
    return v.empty() || truthy(v);
}

std::optional<double> number(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '+'))
        text.remove_prefix(1);
    double v = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || end == text.data() || !std::isfinite(v))
        return std::nullopt;
    return v;
}

std::optional<double> numberAttr(const pugi::xml_node& node) { return node ? number(value(node, "val")) : std::nullopt; }

/// The points of a c:strCache, c:numCache, c:strLit or c:numLit by index.
template <typename Take>
void readPoints(const pugi::xml_node& cache, Take take)
{
    size_t count = 0;
    if (auto n = xml::toInt(value(child(cache, "ptCount"), "val")))
        count = static_cast<size_t>(std::clamp<int64_t>(*n, 0, MaxPoints));
    for (pugi::xml_node pt = cache.first_child(); pt; pt = pt.next_sibling()) {
        if (!is(pt, "pt"))
            continue;
        const auto idx = xml::toInt(value(pt, "idx"));
        if (!idx || *idx < 0 || *idx >= static_cast<int64_t>(MaxPoints))
            continue;
        count = std::max(count, static_cast<size_t>(*idx) + 1);
        take(static_cast<size_t>(*idx), std::string_view(child(pt, "v").text().get()), count);
    }
    take(count, std::string_view(), count); // the final size
}

/// The cache of a data reference: c:numRef/c:numCache, c:strRef/c:strCache,
/// a literal, or the first level of a multi-level category reference.
pugi::xml_node cacheOf(const pugi::xml_node& data)
{
    for (pugi::xml_node ref = data.first_child(); ref; ref = ref.next_sibling()) {
        if (is(ref, "numRef"))
            return child(ref, "numCache");
        if (is(ref, "strRef"))
            return child(ref, "strCache");
        if (is(ref, "numLit") || is(ref, "strLit"))
            return ref;
        if (is(ref, "multiLvlStrRef"))
            return child(child(ref, "multiLvlStrCache"), "lvl");
    }
    return {};
}

std::vector<double> readNumbers(const pugi::xml_node& data, std::string* format)
{
    std::vector<double> out;
    const pugi::xml_node cache = cacheOf(data);
    if (!cache)
        return out;
    if (format)
        *format = child(cache, "formatCode").text().get();
    readPoints(cache, [&](size_t i, std::string_view v, size_t count) {
        if (out.size() < count)
            out.resize(count, std::numeric_limits<double>::quiet_NaN());
        if (i < count)
            out[i] = number(v).value_or(std::numeric_limits<double>::quiet_NaN());
    });
    return out;
}

std::vector<std::u16string> readTexts(const pugi::xml_node& data)
{
    std::vector<std::u16string> out;
    const pugi::xml_node cache = cacheOf(data);
    if (!cache)
        return out;
    readPoints(cache, [&](size_t i, std::string_view v, size_t count) {
        if (out.size() < count)
            out.resize(count);
        if (i < count)
            out[i] = utf8ToUtf16(v);
    });
    return out;
}

/// The text of a c:rich (title paragraphs joined by a line feed).
std::u16string richText(const pugi::xml_node& rich)
{
    std::u16string out;
    bool first = true;
    for (pugi::xml_node p = rich.first_child(); p; p = p.next_sibling()) {
        if (!is(p, "p"))
            continue;
        if (!first)
            out += u'\n';
        first = false;
        for (pugi::xml_node r = p.first_child(); r; r = r.next_sibling())
            if (is(r, "r") || is(r, "fld"))
                out += utf8ToUtf16(child(r, "t").text().get());
    }
    return out;
}

/// Text properties: the size (hundredths of a point), bold and font an
/// element's c:txPr (or a title's first run) gives, over the chart's own.
struct TextStyle {
    int sizeHundredths = 1000; // Word's charts print 10 pt text unless told
    bool bold = false;
    std::string font;
    uint32_t color = 0x595959; // the grey of Office's chart text
};

void applyRunProps(const pugi::xml_node& props, TextStyle& style, const ChartTheme& fonts)
{
    if (!props)
        return;
    if (auto sz = xml::toInt(value(props, "sz")); sz && *sz >= 100 && *sz <= 400000)
        style.sizeHundredths = static_cast<int>(*sz);
    if (const std::string_view b = value(props, "b"); !b.empty())
        style.bold = truthy(b);
    if (const std::string_view face = value(child(props, "latin"), "typeface"); !face.empty())
        style.font = face == "+mn-lt" ? fonts.minor : face == "+mj-lt" ? fonts.major : std::string(face);
    if (pugi::xml_node rgb = child(child(props, "solidFill"), "srgbClr")) {
        const std::string_view v = value(rgb, "val");
        uint32_t c = 0;
        if (v.size() == 6 && std::from_chars(v.data(), v.data() + 6, c, 16).ec == std::errc())
            style.color = c;
    }
}

TextStyle styleOf(const pugi::xml_node& element, TextStyle base, const ChartTheme& fonts)
{
    // c:txPr/a:p/a:pPr/a:defRPr; a title's c:tx/c:rich the same, and its first run's a:rPr.
    for (const char* holder : {"txPr", "tx"}) {
        pugi::xml_node body = child(element, holder);
        if (is(body, "tx"))
            body = child(body, "rich");
        if (!body)
            continue;
        const pugi::xml_node p = child(body, "p");
        applyRunProps(child(child(p, "pPr"), "defRPr"), base, fonts);
        applyRunProps(child(child(p, "r"), "rPr"), base, fonts);
    }
    return base;
}

ChartLabels readLabels(const pugi::xml_node& dLbls, ChartLabels inherited)
{
    if (!dLbls)
        return inherited;
    if (flag(child(dLbls, "delete")))
        return {};
    ChartLabels l = inherited;
    if (pugi::xml_node n = child(dLbls, "showVal"))
        l.value = flag(n);
    if (pugi::xml_node n = child(dLbls, "showPercent"))
        l.percent = flag(n);
    if (pugi::xml_node n = child(dLbls, "showCatName"))
        l.category = flag(n);
    if (pugi::xml_node n = child(dLbls, "showSerName"))
        l.series = flag(n);
    return l;
}

void readAxis(const pugi::xml_node& ax, ChartAxis& axis, const TextStyle& base, const ChartTheme& fonts,
              const std::function<uint32_t(const CharFormat&)>& intern, auto&& format)
{
    axis.present = true;
    axis.deleted = flag(child(ax, "delete")) || value(child(ax, "tickLblPos"), "val") == "none";
    const pugi::xml_node scaling = child(ax, "scaling");
    axis.min = numberAttr(child(scaling, "min"));
    axis.max = numberAttr(child(scaling, "max"));
    axis.reversed = value(child(scaling, "orientation"), "val") == "maxMin";
    if (auto unit = numberAttr(child(ax, "majorUnit")); unit && *unit > 0)
        axis.majorUnit = unit;
    if (pugi::xml_node nf = child(ax, "numFmt"); nf && !truthy(value(nf, "sourceLinked")))
        axis.numberFormat = value(nf, "formatCode");
    axis.charFormat = intern(format(styleOf(ax, base, fonts)));
    // Its title: its own text, else "Axis Title" as Word shows a new one;
    // a deleted axis shows none.
    if (pugi::xml_node title = child(ax, "title"); title && !flag(child(ax, "delete"))) {
        if (pugi::xml_node rich = child(child(title, "tx"), "rich"))
            axis.title = richText(rich);
        else if (std::vector<std::u16string> t = readTexts(child(title, "tx")); !t.empty())
            axis.title = t.front();
        if (axis.title.empty())
            axis.title = u"Axis Title";
        axis.titleFormat = intern(format(styleOf(title, base, fonts)));
    }
}

} // namespace

std::vector<uint32_t> themeAccents(const pugi::xml_node& theme)
{
    std::vector<uint32_t> out;
    const pugi::xml_node scheme = xml::descendant(theme, "clrScheme");
    for (const char* name : {"accent1", "accent2", "accent3", "accent4", "accent5", "accent6"}) {
        const pugi::xml_node accent = child(scheme, name);
        pugi::xml_node colour = child(accent, "srgbClr");
        std::string_view v = value(colour, "val");
        if (!colour)
            v = value(child(accent, "sysClr"), "lastClr");
        uint32_t c = 0;
        if (v.size() != 6 || std::from_chars(v.data(), v.data() + 6, c, 16).ec != std::errc())
            return {}; // a scheme missing an accent: Office's own stand
        out.push_back(c);
    }
    return out;
}

Chart readChart(const pugi::xml_node& chartSpace, const ChartTheme& fonts,
                const std::function<uint32_t(const CharFormat&)>& intern)
{
    Chart chart;
    auto format = [&](const TextStyle& s) {
        CharFormat f;
        f.fontName = s.font.empty() ? fonts.minor : s.font;
        f.sizeHalfPoints = static_cast<uint16_t>(std::clamp(s.sizeHundredths / 50, 2, 3276));
        f.bold = s.bold;
        f.color = s.color;
        return f;
    };
    const TextStyle base = styleOf(chartSpace, TextStyle{}, fonts);
    chart.labelFormat = intern(format(base));
    chart.titleFormat = chart.legendFormat = chart.categoryAxis.charFormat = chart.valueAxis.charFormat =
        chart.labelFormat;
    const pugi::xml_node c = child(chartSpace, "chart");
    const pugi::xml_node plot = child(c, "plotArea");

    bool kindSet = false;
    for (pugi::xml_node group = plot.first_child(); group; group = group.next_sibling()) {
        const std::string_view n = xml::localName(group);
        if (!n.ends_with("Chart"))
            continue;
        ChartKind kind = ChartKind::Bar;
        if (n == "lineChart" || n == "line3DChart" || n == "stockChart" || n == "surfaceChart" ||
            n == "surface3DChart")
            kind = ChartKind::Line;
        else if (n == "areaChart" || n == "area3DChart")
            kind = ChartKind::Area;
        else if (n == "pieChart" || n == "pie3DChart" || n == "ofPieChart")
            kind = ChartKind::Pie;
        else if (n == "doughnutChart")
            kind = ChartKind::Doughnut;
        else if (n == "scatterChart")
            kind = ChartKind::Scatter;
        else if (n == "bubbleChart")
            kind = ChartKind::Bubble;
        else if (n == "radarChart")
            kind = ChartKind::Radar;
        if (!kindSet) {
            kindSet = true;
            chart.kind = kind;
            chart.horizontal = value(child(group, "barDir"), "val") == "bar";
            const std::string_view grouping = value(child(group, "grouping"), "val");
            chart.stacked = grouping == "stacked" || grouping == "percentStacked";
            chart.percentStacked = grouping == "percentStacked";
            if (auto gap = xml::toInt(value(child(group, "gapWidth"), "val")))
                chart.gapWidth = static_cast<uint32_t>(std::clamp<int64_t>(*gap, 0, 500));
            if (auto hole = xml::toInt(value(child(group, "holeSize"), "val")))
                chart.holePercent = static_cast<uint32_t>(std::clamp<int64_t>(*hole, 0, 90));
            else if (kind == ChartKind::Doughnut)
                chart.holePercent = 50;
        }
        const ChartLabels groupLabels = readLabels(child(group, "dLbls"), {});
        for (pugi::xml_node ser = group.first_child(); ser && chart.series.size() < MaxSeries;
             ser = ser.next_sibling()) {
            if (!is(ser, "ser"))
                continue;
            ChartSeries s;
            const pugi::xml_node tx = child(ser, "tx");
            if (pugi::xml_node v = child(tx, "v"))
                s.name = utf8ToUtf16(v.text().get());
            else if (std::vector<std::u16string> names = readTexts(tx); !names.empty())
                s.name = names.front();
            if (kind == ChartKind::Scatter || kind == ChartKind::Bubble) {
                s.values = readNumbers(child(ser, "yVal"), &s.valueFormat);
                s.xValues = readNumbers(child(ser, "xVal"), nullptr);
                if (s.xValues.empty())
                    s.categories = readTexts(child(ser, "xVal"));
                s.sizes = readNumbers(child(ser, "bubbleSize"), nullptr);
            } else {
                s.values = readNumbers(child(ser, "val"), &s.valueFormat);
                const pugi::xml_node cat = child(ser, "cat");
                if (child(cat, "numRef") || child(cat, "numLit"))
                    s.categoryValues = readNumbers(cat, &s.categoryFormat);
                else
                    s.categories = readTexts(cat);
            }
            s.labels = readLabels(child(ser, "dLbls"), groupLabels);
            if (kind != chart.kind)
                s.kind = kind;
            // Its colour: the fill of bars and areas, the line of lines.
            const pugi::xml_node spPr = child(ser, "spPr");
            pugi::xml_node fill = child(spPr, "solidFill");
            if (!fill || kind == ChartKind::Line || kind == ChartKind::Scatter || kind == ChartKind::Radar)
                if (pugi::xml_node line = child(child(spPr, "ln"), "solidFill"))
                    fill = line;
            // Markers without a line: their own fill.
            if (!fill)
                fill = child(child(child(ser, "marker"), "spPr"), "solidFill");
            if (pugi::xml_node rgb = child(fill, "srgbClr")) {
                const std::string_view v = value(rgb, "val");
                uint32_t c = 0;
                if (v.size() == 6 && std::from_chars(v.data(), v.data() + 6, c, 16).ec == std::errc())
                    s.color = c;
            } else if (const std::string_view scheme = value(child(fill, "schemeClr"), "val");
                       scheme.size() == 7 && scheme.starts_with("accent") && scheme[6] >= '1' && scheme[6] <= '6') {
                const size_t k = static_cast<size_t>(scheme[6] - '1');
                if (k < fonts.accents.size())
                    s.color = fonts.accents[k];
            }
            chart.series.push_back(std::move(s));
        }
    }
    if (chart.series.empty())
        return chart;
    chart.palette = fonts.accents;
    // A plot area placed by hand where its four edges are given as shares
    // of the frame; one placed relative to the automatic layout ("factor")
    // is laid out automatically.
    if (pugi::xml_node manual = child(child(plot, "layout"), "manualLayout");
        manual && value(child(manual, "layoutTarget"), "val") != "outer" &&
        value(child(manual, "xMode"), "val") == "edge" && value(child(manual, "yMode"), "val") == "edge") {
        const auto x = numberAttr(child(manual, "x")), y = numberAttr(child(manual, "y"));
        const auto w = numberAttr(child(manual, "w")), h = numberAttr(child(manual, "h"));
        auto share = [](const std::optional<double>& v) { return v && *v >= 0 && *v <= 1; };
        if (share(x) && share(y) && share(w) && share(h) && *w > 0 && *h > 0)
            chart.manualPlot = std::array<double, 4>{*x, *y, std::min(*w, 1 - *x), std::min(*h, 1 - *y)};
    }

    // Axes: the category (or date) axis and the value axis; a scatter or
    // bubble chart has two value axes, the one across the bottom its x axis.
    const bool xy = chart.kind == ChartKind::Scatter || chart.kind == ChartKind::Bubble;
    std::string crossBetween;
    for (pugi::xml_node ax = plot.first_child(); ax; ax = ax.next_sibling()) {
        const bool catAx = is(ax, "catAx") || is(ax, "dateAx");
        if (!catAx && !is(ax, "valAx"))
            continue;
        const std::string_view pos = value(child(ax, "axPos"), "val");
        const bool across = pos == "b" || pos == "t";
        ChartAxis* axis = catAx || (xy && across) ? &chart.categoryAxis : &chart.valueAxis;
        if (axis->present)
            continue;
        if (is(ax, "valAx") && crossBetween.empty())
            crossBetween = value(child(ax, "crossBetween"), "val");
        readAxis(ax, *axis, base, fonts, intern, format);
    }
    chart.pointsOnTicks = crossBetween.empty() ? chart.kind == ChartKind::Area : crossBetween == "midCat";

    // The title: its own text, else the automatic one (the series' name when
    // there is one series, else "Chart Title"). Word's PDFs show no title
    // for a chart whose part has no c:title, whatever autoTitleDeleted says.
    if (pugi::xml_node title = child(c, "title")) {
        TextStyle titleBase = base;
        titleBase.sizeHundredths = base.sizeHundredths * 14 / 10; // Office's titles: 14 pt over 10 pt text
        const TextStyle style = styleOf(title, titleBase, fonts);
        chart.titleFormat = intern(format(style));
        if (pugi::xml_node rich = child(child(title, "tx"), "rich"))
            chart.title = richText(rich);
        else if (std::vector<std::u16string> t = readTexts(child(title, "tx")); !t.empty())
            chart.title = t.front();
        else if (chart.series.size() == 1 && !chart.series.front().name.empty())
            chart.title = chart.series.front().name;
        else
            chart.title = u"Chart Title";
    }

    if (pugi::xml_node legend = child(c, "legend")) {
        const std::string_view pos = value(child(legend, "legendPos"), "val");
        chart.legend = pos == "l"   ? LegendPosition::Left
                       : pos == "t" ? LegendPosition::Top
                       : pos == "b" ? LegendPosition::Bottom
                                    : LegendPosition::Right;
        chart.legendFormat = intern(format(styleOf(legend, base, fonts)));
    }
    if (const ChartLabels any = chart.series.front().labels; any.any())
        if (pugi::xml_node dLbls = xml::descendant(plot, "dLbls"))
            chart.labelFormat = intern(format(styleOf(dLbls, base, fonts)));
    return chart;
}

} // namespace qm::engine::docx
