// Chart text: the automatic value scale, number formats, and where titles, labels and legends stand in a chart's frame.
#include "TestDocuments.h"
#include "engine/layout/ChartLayout.h"
#include "engine/layout/TextMeasurer.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

constexpr double Pt = 20;

ChartSeries series(std::u16string name, std::vector<double> values, std::vector<std::u16string> cats = {})
{
    ChartSeries s;
    s.name = std::move(name);
    s.values = std::move(values);
    s.categories = std::move(cats);
    return s;
}

/// A document whose format 1 is Courier New 10 pt (every character Mono
/// twips wide), the format of all the chart's text.
struct ChartFixture {
    std::unique_ptr<Document> doc = makeDocument({Para{u"x"}});
    std::vector<Diagnostic> diagnostics;
    LayoutOptions options;
    std::unique_ptr<TextMeasurer> measurer;
    uint32_t mono = 0;

    ChartFixture()
    {
        mono = static_cast<uint32_t>(doc->charFormats.size());
        doc->charFormats.push_back(qm::engine::layout::testing::mono());
        measurer = std::make_unique<TextMeasurer>(*doc, options, diagnostics);
    }
    Chart chart(ChartKind kind) const
    {
        Chart c;
        c.kind = kind;
        c.titleFormat = c.legendFormat = c.labelFormat = c.valueAxis.charFormat = c.categoryAxis.charFormat = mono;
        c.valueAxis.present = c.categoryAxis.present = true;
        return c;
    }
    std::vector<DrawnText> place(const Chart& c, const ChartFrame& frame)
    {
        std::vector<DrawnText> out;
        layoutChart(*doc, c, frame, *measurer, out);
        return out;
    }
    double lineHeight() { return measurer->singleLineHeight(mono); }
};

const DrawnText* find(const std::vector<DrawnText>& texts, std::u16string_view text)
{
    for (const DrawnText& t : texts)
        if (t.text == text)
            return &t;
    return nullptr;
}

double width(std::u16string_view text) { return static_cast<double>(text.size()) * Mono; }

} // namespace

TEST(ChartLayout, AutomaticScalesAreWordsAxes)
{
    // Values, axis length and the room a label needs, in points, and the
    // axis Word's PDFs print for them.
    struct Case {
        const char* name;
        double low, high, length, spacing;
        double min, max, unit;
        std::optional<double> fixedMin = {}, fixedMax = {}, fixedUnit = {};
    };
    const Case cases[] = {
        // 22.1 + 5% of 22.1 = 23.2: steps of 2 would be 12, too many.
        {"columns up to 22.1", 2.3, 22.1, 180.45, 11.72, 0, 25, 5},
        {"columns 340 to 610: from 0", 340, 610, 144.45, 11.72, 0, 700, 100},
        // 9.65 + 0.48 passes 10: the axis goes on to 12.
        {"headroom crosses a step", 1.5, 9.65, 126.2, 11.72, 0, 12, 2},
        {"ten steps are not too many", 40, 95, 180.45, 11.72, 0, 100, 10},
        // Steps of 1 would stand 7.6 pt apart on a radar's 75.6 pt radius.
        {"a short axis takes longer steps", 5, 9, 75.56, 11.72, 0, 10, 2},
        {"negative values", -12, 30, 180, 11.72, -15, 35, 5},
        {"all below zero", -22.1, -2.3, 180, 11.72, -25, 0, 5},
        {"a fixed maximum and step", 2.3, 22.1, 180, 11.72, 0, 50, 10, {}, 50.0, 10.0},
        // From 10: 22.1 + 5% of 12.1 = 22.7, in seven steps of 2.
        {"a fixed minimum", 2.3, 22.1, 180, 11.72, 10, 24, 2, 10.0},
        {"a fixed step too fine to label", 0, 10, 180, 11.72, 0, 10, 1, 0.0, 10.0, 1e-9},
        {"values at the ends of the range", -1e308, 1e308, 180, 11.72, 0, 1, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ChartAxis axis;
        axis.min = c.fixedMin;
        axis.max = c.fixedMax;
        axis.majorUnit = c.fixedUnit;
        const AxisScale s = autoScale(c.low, c.high, c.length * Pt, c.spacing * Pt, axis);
        EXPECT_NEAR(s.min, c.min, 1e-9);
        EXPECT_NEAR(s.max, c.max, 1e-9);
        EXPECT_NEAR(s.unit, c.unit, 1e-9);
        EXPECT_EQ(s.steps(), static_cast<int>(std::lround((c.max - c.min) / c.unit)));
    }
}

TEST(ChartLayout, NumbersShowAsTheirFormatSays)
{
    struct Case {
        double value;
        const char* format;
        const char16_t* expected;
    };
    const Case cases[] = {
        {1000, "General", u"1000"},
        {0.1 + 0.2, "General", u"0.3"}, // a step's sum shows as the step
        {-2.5, "", u"-2.5"},
        {1234.56, "#,##0.0", u"1,234.6"},
        {1234567, "#,##0", u"1,234,567"},
        {0.25, "0%", u"25%"},
        {0.125, "0.0%", u"12.5%"},
        {-3.2, "0.00", u"-3.20"},
        {-0.001, "0.0", u"0.0"}, // no minus before a zero
        {5, "\"$\"#,##0", u"$5"},
        {1500, "[$\u20AC-407]#,##0", u"\u20AC1,500"},
        {12, "0\" pcs\"", u"12 pcs"},
        // Dates from their 1900-system serials (Excel's 29 February 1900 included).
        {45000, "d/m/yyyy", u"15/3/2023"},
        {43831, "m/d/yyyy", u"1/1/2020"},
        {43831, "[$-409]d\\-mmm\\-yy;@", u"1-Jan-20"},
        {60, "yyyy-mm-dd", u"1900-02-29"},
        {61, "dddd d mmmm yyyy", u"Thursday 1 March 1900"},
        {1, "ddd dd/mm/yy", u"Sun 01/01/00"},
        {45000.75, "h:mm", u"18:00"},
        {45000.5, "mmm d, hh:mm:ss", u"Mar 15, 12:00:00"},
        {7, "0;(0)", u"7"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.format);
        EXPECT_EQ(formatChartNumber(c.value, c.format), c.expected);
    }
}

TEST(ChartLayout, ColumnChartTextStandsWhereWordPrintsIt)
{
    // Word's PDF of a 360 x 216 pt column chart at (72, 140.5) pt: value
    // labels right-aligned 6.5 pt plus the widest label in from the frame,
    // the top one centred 11 pt below the frame's top, category labels
    // 6.43 pt above its bottom, the legend's text 10 pt in from its right
    // edge, entries 1.5 lines apart around the frame's middle.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Bar);
    c.legend = LegendPosition::Right;
    const std::vector<std::u16string> cats{u"Q1", u"Q2", u"Q3", u"Q4"};
    c.series = {series(u"Revenue", {12.5, 18.3, 15.7, 22.1}, cats), series(u"Expenses", {10.2, 14.8, 13.1, 16.5}, cats),
                series(u"Profit", {2.3, 3.5, 2.6, 5.6}, cats)};
    const ChartFrame frame{72 * Pt, 140.5 * Pt, 360 * Pt, 216 * Pt};
    const std::vector<DrawnText> texts = f.place(c, frame);
    const double lh = f.lineHeight();
    ASSERT_EQ(texts.size(), 6u + 4u + 3u);

    const double labelsRight = 78.5 * Pt + width(u"25");
    const double plotTop = 151.5 * Pt;
    const double plotBottom = 356.5 * Pt - 6.43 * Pt - lh - 6.45 * Pt;
    for (int v = 0; v <= 25; v += 5) {
        const std::u16string label = qm::engine::utf8ToUtf16(std::to_string(v));
        const DrawnText* t = find(texts, label);
        ASSERT_TRUE(t) << v;
        EXPECT_NEAR(t->x + width(label), labelsRight, 0.01);
        const double y = plotBottom - (plotBottom - plotTop) * v / 25;
        EXPECT_NEAR(t->top + lh / 2, y, 0.01) << v;
        EXPECT_NEAR(t->bottom - t->top, lh, 0.01);
    }
    const double legendLeft = 422 * Pt - width(u"Expenses");
    const double plotLeft = labelsRight + 9.04 * Pt;
    const double plotRight = legendLeft - 7.7 * Pt - 15.75 * Pt;
    for (size_t i = 0; i < cats.size(); ++i) {
        const DrawnText* t = find(texts, cats[i]);
        ASSERT_TRUE(t);
        EXPECT_NEAR(t->top + lh, 356.5 * Pt - 6.43 * Pt, 0.01);
        EXPECT_NEAR(t->x + width(cats[i]) / 2, plotLeft + (plotRight - plotLeft) * (i + 0.5) / 4, 0.01);
    }
    const double middle = 248.5 * Pt - 0.35 * Pt;
    const char16_t* entries[] = {u"Revenue", u"Expenses", u"Profit"};
    for (int i = 0; i < 3; ++i) {
        const DrawnText* t = find(texts, entries[i]);
        ASSERT_TRUE(t);
        EXPECT_NEAR(t->x, legendLeft, 0.01);
        EXPECT_NEAR(t->top, middle - 2 * lh + i * 1.5 * lh, 0.01);
    }
}

TEST(ChartLayout, HorizontalBarsStandTheirCategoriesUpTheLeft)
{
    // Word prints the first category at the bottom, the series in the
    // legend last first, and keeps the last value label's overhang 11 pt
    // inside the frame; a deleted axis prints nothing, a title stands
    // centred at the top.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Bar);
    c.horizontal = true;
    c.legend = LegendPosition::Bottom;
    c.title = u"Teams";
    const std::vector<std::u16string> cats{u"Engineering", u"Sales", u"Admin"};
    c.series = {series(u"2024", {45, 30, 12}, cats), series(u"2025", {52, 33, 14}, cats)};
    const ChartFrame frame{72 * Pt, 418 * Pt, 432 * Pt, 216 * Pt};
    const double lh = f.lineHeight();
    std::vector<DrawnText> texts = f.place(c, frame);

    const DrawnText* title = find(texts, u"Teams");
    ASSERT_TRUE(title);
    EXPECT_NEAR(title->x + width(u"Teams") / 2, 288 * Pt, 0.01);
    EXPECT_NEAR(title->top, 423.5 * Pt, 0.01);
    const DrawnText *eng = find(texts, u"Engineering"), *sales = find(texts, u"Sales"), *admin = find(texts, u"Admin");
    ASSERT_TRUE(eng && sales && admin);
    EXPECT_GT(eng->top, sales->top);
    EXPECT_GT(sales->top, admin->top);
    EXPECT_NEAR(eng->x, 78.5 * Pt, 0.01);                           // the widest, 6.5 pt in
    EXPECT_NEAR(admin->x + width(u"Admin"), 78.5 * Pt + width(u"Engineering"), 0.01); // right-aligned
    const DrawnText *y24 = find(texts, u"2024"), *y25 = find(texts, u"2025");
    ASSERT_TRUE(y24 && y25);
    EXPECT_LT(y25->x, y24->x);
    EXPECT_NEAR(y24->top + lh, 634 * Pt - 9.27 * Pt, 0.01);
    // 52 + 5%: 0 to 60 in steps of 10, along the bottom, 9 pt above the legend.
    const DrawnText* sixty = find(texts, u"60");
    ASSERT_TRUE(sixty);
    EXPECT_NEAR(sixty->x + width(u"60"), 493 * Pt, 0.01);
    EXPECT_NEAR(sixty->top + lh, y24->top - 9 * Pt, 0.01);
    EXPECT_TRUE(find(texts, u"0"));
    EXPECT_FALSE(find(texts, u"70"));

    c.valueAxis.deleted = true;
    c.categoryAxis.deleted = true;
    texts = f.place(c, frame);
    EXPECT_EQ(texts.size(), 3u); // the title and the legend
}

TEST(ChartLayout, PiesShowTheirCategoriesInTheLegendAndPercentagesInTheSlices)
{
    ChartFixture f;
    Chart c = f.chart(ChartKind::Pie);
    c.legend = LegendPosition::Right;
    c.series = {series(u"Share", {60, 30, 10}, {u"Chrome", u"Safari", u"Other"})};
    c.series.front().labels.percent = true;
    const ChartFrame frame{72 * Pt, 418 * Pt, 360 * Pt, 216 * Pt};
    const std::vector<DrawnText> texts = f.place(c, frame);
    ASSERT_EQ(texts.size(), 6u);
    for (const char16_t* entry : {u"Chrome", u"Safari", u"Other"})
        EXPECT_TRUE(find(texts, entry)) << qm::engine::utf16ToUtf8(entry);
    // The pie fills the height 11 pt in from the frame, centred beside the
    // legend: from 83 pt to the legend's keys 15.75 pt left of them.
    const double cx = (83 * Pt + 422 * Pt - width(u"Chrome") - 7.7 * Pt - 15.75 * Pt) / 2;
    const double cy = 526 * Pt;
    const DrawnText *p60 = find(texts, u"60%"), *p30 = find(texts, u"30%"), *p10 = find(texts, u"10%");
    ASSERT_TRUE(p60 && p30 && p10);
    // The first slice runs clockwise from 12 o'clock to 7 o'clock (216°):
    // its middle at 108°, right of the centre and a little below it.
    const double lh = f.lineHeight();
    auto centre = [&](const DrawnText* t) {
        return std::pair{t->x + width(t->text) / 2 - cx, t->top + lh / 2 - cy};
    };
    EXPECT_GT(centre(p60).first, 0);
    EXPECT_GT(centre(p60).second, 0);
    EXPECT_LT(centre(p30).first, 0); // 216° to 324°: left of the centre
    EXPECT_LT(centre(p10).second, 0); // 324° to 360°: above it
}

TEST(ChartLayout, RadarLabelsStandAroundTheWeb)
{
    // Word's PDF of a five-spoke radar: the first spoke's label above the
    // web, the others beside their spokes on the side away from the
    // centre, the scale up the first spoke right-aligned 11 pt left of it.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Radar);
    c.legend = LegendPosition::Bottom;
    const std::vector<std::u16string> cats{u"Speed", u"Reliability", u"Comfort", u"Safety", u"Price"};
    c.series = {series(u"A", {8, 7, 9, 6, 5}, cats)};
    const ChartFrame frame{72 * Pt, 72 * Pt, 360 * Pt, 216 * Pt};
    const std::vector<DrawnText> texts = f.place(c, frame);
    const DrawnText *speed = find(texts, u"Speed"), *rel = find(texts, u"Reliability"), *price = find(texts, u"Price"),
                    *ten = find(texts, u"10"), *zero = find(texts, u"0");
    ASSERT_TRUE(speed && rel && price && ten && zero);
    const double cx = 252 * Pt;
    EXPECT_NEAR(speed->x + width(u"Speed") / 2, cx, 0.01);
    EXPECT_LT(speed->bottom, ten->bottom); // above the web's top, where "10" stands
    EXPECT_GT(rel->x, cx);
    EXPECT_LT(price->x + width(u"Price"), cx);
    EXPECT_NEAR(ten->x + width(u"10"), cx - 11 * Pt, 0.01);
    EXPECT_NEAR(zero->x + width(u"0"), cx - 11 * Pt, 0.01);
    EXPECT_GT(zero->top, ten->top);
}

TEST(ChartLayout, ChartTextIsDrawnInItsFrameButNeverCounted)
{
    // A chart in a line (its frame's bottom on the baseline) and one
    // floating 2 in from the page's left edge and 3 in from its top: the
    // paragraphs lay out as they did without the charts' content, and each
    // chart's text stands inside its frame.
    struct Case {
        const char* name;
        bool floating;
        size_t texts; // value labels, categories, legend entries
    };
    // Values 1 and 2: 0 to 2.5 by 0.5 (steps of 0.2 would be 11).
    const Case cases[] = {{"inline", false, 6 + 2 + 1}, {"floating", true, 6 + 2 + 1}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DocumentBuilder b("docx");
        const uint32_t text = b.charFormat(mono());
        const uint32_t para = b.paraFormat({});
        addPara(b, u"before", text, para);
        InlineObject o;
        o.kind = ObjectKind::Chart;
        o.width = 7200;
        o.height = 4320;
        o.floating = c.floating;
        o.horizontal = {AnchorFrom::Page, AnchorAxis::Align::Offset, 2880};
        o.vertical = {AnchorFrom::Page, AnchorAxis::Align::Offset, 4320};
        CharFormat objectFormat = mono();
        objectFormat.objectIndex = b.addObject(o);
        b.appendChar(c.floating ? Ch::Anchor : Ch::Object, b.charFormat(objectFormat));
        b.endParagraph(para, text);
        addPara(b, u"after", text, para);
        std::unique_ptr<Document> doc = b.finish({}, HeaderFooterRefs{});
        const LayoutResult before = layoutDocument(*doc);
        Chart chart;
        chart.series = {series(u"A", {1, 2}, {u"x", u"y"})};
        chart.legend = LegendPosition::Right;
        chart.valueAxis.present = chart.categoryAxis.present = true;
        doc->charts.push_back(chart);
        doc->objects.front().chart = 0;
        const LayoutResult after = layoutDocument(*doc);

        EXPECT_EQ(before.lineCount(), after.lineCount());
        ASSERT_EQ(before.pages.size(), after.pages.size());
        ASSERT_EQ(before.pages.front().lines.size(), after.pages.front().lines.size());
        for (size_t i = 0; i < before.pages.front().lines.size(); ++i)
            EXPECT_EQ(before.pages.front().lines[i].y, after.pages.front().lines[i].y);
        EXPECT_TRUE(before.pages.front().drawnText.empty());
        const std::vector<DrawnText>& drawn = after.pages.front().drawnText;
        ASSERT_EQ(drawn.size(), c.texts);
        const LaidOutLine& line = after.pages.front().lines[1];
        const double left = c.floating ? 2880 : line.x;
        const double bottom = c.floating ? 4320 + 4320 : line.y + line.ascent;
        for (const DrawnText& t : drawn) {
            SCOPED_TRACE(qm::engine::utf16ToUtf8(t.text));
            EXPECT_GE(t.x, left);
            EXPECT_LE(t.right, left + 7200);
            EXPECT_GE(t.top, bottom - 4320 - 6 * Pt); // labels centred on the top gridline overhang it a little
            EXPECT_LE(t.bottom, bottom);
        }
    }
}

TEST(ChartLayout, APlotAreaPlacedByHandKeepsItsPlace)
{
    // Plot area from 20% to 90% across and 10% to 60% down a 360 x 216 pt
    // frame: value labels 9.04 pt left of its left edge, the top one on its
    // top edge, category labels 6.45 pt under its bottom, whatever the
    // automatic layout would have done.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Line);
    c.manualPlot = std::array<double, 4>{0.2, 0.1, 0.7, 0.5};
    c.series = {series(u"A", {10, 20}, {u"x", u"y"})};
    const ChartFrame frame{0, 0, 360 * Pt, 216 * Pt};
    const std::vector<DrawnText> texts = f.place(c, frame);
    const double lh = f.lineHeight();
    const DrawnText *top = find(texts, u"25"), *zero = find(texts, u"0"), *x = find(texts, u"x"), *y = find(texts, u"y");
    ASSERT_TRUE(top && zero && x && y);
    EXPECT_NEAR(top->x + width(u"25"), 72 * Pt - 9.04 * Pt, 0.01);
    EXPECT_NEAR(top->top + lh / 2, 21.6 * Pt, 0.01);
    EXPECT_NEAR(zero->top + lh / 2, 129.6 * Pt, 0.01);
    EXPECT_NEAR(x->top, 129.6 * Pt + 6.45 * Pt, 0.01);
    // Two categories between the ticks: their middles at a quarter and three quarters.
    EXPECT_NEAR(x->x + width(u"x") / 2, 72 * Pt + 252 * Pt / 4, 0.01);
    EXPECT_NEAR(y->x + width(u"y") / 2, 72 * Pt + 252 * Pt * 3 / 4, 0.01);
}

TEST(ChartLayout, CategoriesCachedAsNumbersShowInTheirFormat)
{
    // Dates cached as serials show as the cache's format says, unless the
    // category axis has a format of its own; without a format, as numbers.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Line);
    ChartSeries s = series(u"A", {1, 2});
    s.categoryValues = {43831, 43862};
    s.categoryFormat = "mmm-yy";
    c.series = {s};
    const ChartFrame frame{0, 0, 360 * Pt, 216 * Pt};
    std::vector<DrawnText> texts = f.place(c, frame);
    EXPECT_TRUE(find(texts, u"Jan-20"));
    EXPECT_TRUE(find(texts, u"Feb-20"));
    c.categoryAxis.numberFormat = "d/m";
    texts = f.place(c, frame);
    EXPECT_TRUE(find(texts, u"1/1"));
    EXPECT_TRUE(find(texts, u"1/2"));
    c.categoryAxis.numberFormat.clear();
    c.series.front().categoryFormat = "General";
    c.series.front().categoryValues = {2019, 2020};
    texts = f.place(c, frame);
    EXPECT_TRUE(find(texts, u"2019"));
    EXPECT_TRUE(find(texts, u"2020"));
}

TEST(ChartLayout, AxisTitlesTakeTheirLineBesideTheLabels)
{
    // The horizontal axis's title under its labels, 6.43 pt above the
    // frame's bottom; the vertical axis's title turned a quarter left at
    // the frame's left inset, centred on the plot area; the labels move in
    // by a line and a 5 pt gap.
    ChartFixture f;
    Chart c = f.chart(ChartKind::Bar);
    c.series = {series(u"A", {10, 20}, {u"x", u"y"})};
    const ChartFrame frame{0, 0, 360 * Pt, 216 * Pt};
    const double lh = f.lineHeight();
    const std::vector<DrawnText> untitled = f.place(c, frame);
    const DrawnText* plain = find(untitled, u"25");
    ASSERT_TRUE(plain);
    const double plainRight = plain->x + width(u"25");
    c.valueAxis.title = u"Units";
    c.valueAxis.titleFormat = f.mono;
    c.categoryAxis.title = u"Month";
    c.categoryAxis.titleFormat = f.mono;
    const std::vector<DrawnText> texts = f.place(c, frame);
    const DrawnText *units = find(texts, u"Units"), *month = find(texts, u"Month"), *top = find(texts, u"25"),
                    *zero = find(texts, u"0"), *x = find(texts, u"x");
    ASSERT_TRUE(units && month && top && zero && x);
    EXPECT_TRUE(units->vertical);
    EXPECT_FALSE(month->vertical);
    EXPECT_NEAR(units->x, 6.5 * Pt, 0.01);
    EXPECT_NEAR(units->right - units->x, lh, 0.01);
    EXPECT_NEAR(units->bottom - units->top, width(u"Units"), 0.01);
    EXPECT_NEAR((units->top + units->bottom) / 2, (top->top + zero->top) / 2 + lh / 2, 0.01);
    EXPECT_NEAR(top->x + width(u"25"), plainRight + lh + 5 * Pt, 0.01);
    EXPECT_NEAR(month->top + lh, 216 * Pt - 6.43 * Pt, 0.01);
    EXPECT_NEAR(x->top + lh, month->top - 5 * Pt, 0.01);
}

TEST(ChartLayout, LongCategoryLabelsBreakAtTheirSpaces)
{
    // Three categories in a 200 pt frame: about 50 pt each, room for eight
    // Courier characters. "North East" (60 pt) breaks into two rows, one
    // under the other, and the plot area rises by a row; a word wider than
    // the room is not broken, and every second label is left out instead.
    ChartFixture f;
    const ChartFrame frame{0, 0, 200 * Pt, 216 * Pt};
    const double lh = f.lineHeight();
    auto place = [&](std::vector<std::u16string> cats) {
        Chart c = f.chart(ChartKind::Bar);
        c.series = {series(u"A", {1, 2, 3}, std::move(cats))};
        return f.place(c, frame);
    };
    const std::vector<DrawnText> plain = place({u"N", u"S", u"C"});
    const std::vector<DrawnText> wrapped = place({u"North East", u"South West", u"Central"});
    const DrawnText *zero = find(plain, u"0"), *zeroWrapped = find(wrapped, u"0");
    ASSERT_TRUE(zero && zeroWrapped);
    EXPECT_NEAR(zero->top - zeroWrapped->top, lh, 0.01);
    const DrawnText *north = find(wrapped, u"North"), *east = find(wrapped, u"East"), *central = find(wrapped, u"Central");
    ASSERT_TRUE(north && east && central);
    EXPECT_NEAR(east->top - north->top, lh, 0.01);
    EXPECT_NEAR(north->x + width(u"North") / 2, east->x + width(u"East") / 2, 0.01);
    EXPECT_NEAR(central->top, north->top, 0.01);
    EXPECT_NEAR(central->top + 2 * lh, 216 * Pt - 6.43 * Pt, 0.01);

    const std::vector<DrawnText> skipped = place({u"Northeastern", u"Southwestern", u"Centralised"});
    EXPECT_TRUE(find(skipped, u"Northeastern"));
    EXPECT_FALSE(find(skipped, u"Southwestern"));
    EXPECT_TRUE(find(skipped, u"Centralised"));
}

TEST(ChartLayout, SeriesStackedToAHundredPercentEndThere)
{
    ChartFixture f;
    Chart c = f.chart(ChartKind::Bar);
    c.stacked = c.percentStacked = true;
    c.series = {series(u"A", {1, 3}, {u"x", u"y"}), series(u"B", {3, 1}, {u"x", u"y"})};
    const std::vector<DrawnText> texts = f.place(c, {0, 0, 360 * Pt, 216 * Pt});
    EXPECT_TRUE(find(texts, u"0%"));
    EXPECT_TRUE(find(texts, u"100%"));
    EXPECT_FALSE(find(texts, u"120%"));
    EXPECT_TRUE(find(texts, u"10%")); // ten steps of 10% fit 176 pt
}
