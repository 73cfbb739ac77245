// Charts of Word packages: what the reader takes from a chart part, and packages whose chart is missing or broken.
#include "DocxTestPackage.h"
#include "engine/formats/Reader.h"
#include "engine/model/Unicode.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

const char* const ChartNs = R"(xmlns:c="http://schemas.openxmlformats.org/drawingml/2006/chart" )"
                            R"(xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main")";

/// A paragraph "before", an inline chart 360 x 216 pt whose c:chart names
/// `relId`, and "after".
std::string chartBody(const std::string& relId = "rIdC1")
{
    return para("before") +
           R"(<w:p><w:r><w:drawing><wp:inline><wp:extent cx="4572000" cy="2743200"/><a:graphic><a:graphicData>)"
           R"(<c:chart r:id=")" + relId + R"("/></a:graphicData></a:graphic></wp:inline></w:drawing></w:r></w:p>)" +
           para("after");
}

DocxPackage chartPackage(const std::string& chartXml, const std::string& relId = "rIdC1")
{
    DocxPackage pkg;
    pkg.body = chartBody(relId);
    pkg.extraRels =
        R"(<Relationship Id="rIdC1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/chart" Target="charts/chart1.xml"/>)";
    if (!chartXml.empty())
        pkg.extra.push_back({"word/charts/chart1.xml", chartXml});
    return pkg;
}

std::string chartSpace(const std::string& inside)
{
    return std::string(R"(<?xml version="1.0"?><c:chartSpace )") + ChartNs + "><c:chart>" + inside +
           "</c:chart></c:chartSpace>";
}

std::string series(const std::string& name, const std::string& values, const std::string& cats = "")
{
    auto cache = [](const std::string& tag, const std::string& list) {
        std::string pts;
        int n = 0;
        for (size_t at = 0; at <= list.size();) {
            size_t end = list.find(',', at);
            if (end == std::string::npos)
                end = list.size();
            pts += "<c:pt idx=\"" + std::to_string(n++) + "\"><c:v>" + list.substr(at, end - at) + "</c:v></c:pt>";
            at = end + 1;
        }
        return "<c:" + tag + "><c:ptCount val=\"" + std::to_string(n) + "\"/>" + pts + "</c:" + tag + ">";
    };
    std::string s = "<c:ser><c:tx><c:strRef><c:f>n</c:f>" + cache("strCache", name) + "</c:strRef></c:tx>";
    if (!cats.empty())
        s += "<c:cat><c:strRef><c:f>c</c:f>" + cache("strCache", cats) + "</c:strRef></c:cat>";
    s += "<c:val><c:numRef><c:f>v</c:f>" + cache("numCache", values) + "</c:numRef></c:val></c:ser>";
    return s;
}

std::string number(double v)
{
    if (std::isnan(v))
        return "-";
    char buf[32];
    std::snprintf(buf, sizeof buf, "%g", v);
    return buf;
}

/// A chart as one line: kind, direction, series with their values and
/// categories, title, legend, axes and labels.
std::string describe(const Document& doc, const Chart& c)
{
    static const char* kinds[] = {"bar", "line", "area", "pie", "doughnut", "scatter", "bubble", "radar"};
    static const char* legends[] = {"none", "r", "l", "t", "b"};
    std::string out = kinds[static_cast<int>(c.kind)];
    if (c.horizontal)
        out += " horizontal";
    if (c.stacked)
        out += c.percentStacked ? " percent" : " stacked";
    for (const ChartSeries& s : c.series) {
        out += " [" + utf16ToUtf8(s.name) + ":";
        for (size_t i = 0; i < s.values.size(); ++i)
            out += (i ? "," : "") + number(s.values[i]);
        if (!s.xValues.empty()) {
            out += " x";
            for (size_t i = 0; i < s.xValues.size(); ++i)
                out += (i ? "," : "") + number(s.xValues[i]);
        }
        if (!s.categories.empty()) {
            out += " @";
            for (size_t i = 0; i < s.categories.size(); ++i)
                out += (i ? "," : "") + utf16ToUtf8(s.categories[i]);
        }
        if (s.labels.value || s.labels.percent || s.labels.category)
            out += std::string(" labels:") + (s.labels.value ? "v" : "") + (s.labels.percent ? "%" : "") +
                   (s.labels.category ? "c" : "");
        out += "]";
    }
    if (!c.title.empty())
        out += " title=" + utf16ToUtf8(c.title) + "/" + std::to_string(doc.charFormats[c.titleFormat].sizeHalfPoints);
    out += std::string(" legend=") + legends[static_cast<int>(c.legend)];
    auto axis = [&](const char* name, const ChartAxis& a) {
        if (!a.present)
            return;
        out += std::string(" ") + name + (a.deleted ? "(deleted)" : "");
        if (a.min || a.max || a.majorUnit)
            out += "(" + (a.min ? number(*a.min) : "") + ".." + (a.max ? number(*a.max) : "") + "/" +
                   (a.majorUnit ? number(*a.majorUnit) : "") + ")";
        if (!a.numberFormat.empty())
            out += "'" + a.numberFormat + "'";
    };
    axis("cat", c.categoryAxis);
    axis("val", c.valueAxis);
    const CharFormat& label = doc.charFormats[c.valueAxis.charFormat];
    out += " text=" + label.fontName + "/" + std::to_string(label.sizeHalfPoints) + (label.bold ? "b" : "");
    return out;
}

struct Read {
    std::unique_ptr<Document> doc;
    std::string error;
};

Read readPackage(const DocxPackage& pkg)
{
    ReadResult r = readDocx(pkg.build(), {});
    if (!r.ok())
        return {nullptr, r.error};
    return {std::move(r.document), ""};
}

} // namespace

TEST(DocxChart, ChartPartsBecomeTheirPrintableContent)
{
    const std::string axes = R"(<c:catAx><c:axId val="1"/><c:delete val="0"/><c:axPos val="b"/></c:catAx>)"
                             R"(<c:valAx><c:axId val="2"/><c:delete val="0"/><c:axPos val="l"/></c:valAx>)";
    struct Case {
        const char* name;
        std::string chart;
        const char* expected;
    };
    const Case cases[] = {
        {"clustered columns with a legend on the right",
         "<c:plotArea><c:barChart><c:barDir val=\"col\"/><c:grouping val=\"clustered\"/>" +
             series("Revenue", "12.5,18.3", "Q1,Q2") + series("Costs", "10.2,14.8", "Q1,Q2") + "</c:barChart>" + axes +
             R"(</c:plotArea><c:legend><c:legendPos val="r"/></c:legend>)",
         "bar [Revenue:12.5,18.3 @Q1,Q2] [Costs:10.2,14.8 @Q1,Q2] legend=r cat val text=Calibri/20"},
        {"horizontal stacked bars, value axis deleted by an empty c:delete",
         "<c:plotArea><c:barChart><c:barDir val=\"bar\"/><c:grouping val=\"stacked\"/>" + series("A", "1,2", "x,y") +
             "</c:barChart>" +
             R"(<c:catAx><c:axId val="1"/><c:axPos val="l"/></c:catAx><c:valAx><c:axId val="2"/><c:delete/><c:axPos val="b"/></c:valAx>)"
             R"(</c:plotArea><c:legend><c:legendPos val="b"/></c:legend>)",
         "bar horizontal stacked [A:1,2 @x,y] legend=b cat val(deleted) text=Calibri/20"},
        {"a pie's percentages and its rich title in 18 pt bold",
         R"(<c:title><c:tx><c:rich><a:bodyPr/><a:p><a:r><a:rPr sz="1800" b="1"/><a:t>Share </a:t></a:r><a:r><a:t>2024</a:t></a:r></a:p></c:rich></c:tx></c:title>)"
         "<c:plotArea><c:pieChart><c:varyColors val=\"1\"/>" +
             series("Market", "63,20,17", "Chrome,Safari,Other") +
             R"(<c:dLbls><c:showVal val="0"/><c:showPercent val="1"/></c:dLbls></c:pieChart></c:plotArea><c:legend/>)",
         "pie [Market:63,20,17 @Chrome,Safari,Other labels:%] title=Share 2024/36 legend=r text=Calibri/20"},
        {"a title with no text of its own shows the one series' name",
         "<c:title/><c:plotArea><c:lineChart>" + series("Visits", "1,2", "a,b") + "</c:lineChart>" + axes +
             "</c:plotArea>",
         "line [Visits:1,2 @a,b] title=Visits/28 legend=none cat val text=Calibri/20"},
        {"a title with no text over two series reads Chart Title",
         "<c:title/><c:plotArea><c:areaChart>" + series("A", "1", "a") + series("B", "2", "a") + "</c:areaChart>" +
             axes + "</c:plotArea>",
         "area [A:1 @a] [B:2 @a] title=Chart Title/28 legend=none cat val text=Calibri/20"},
        {"no c:title, no title, whatever autoTitleDeleted says",
         R"(<c:autoTitleDeleted val="0"/><c:plotArea><c:doughnutChart>)" + series("Budget", "5,5", "a,b") +
             "</c:doughnutChart></c:plotArea>",
         "doughnut [Budget:5,5 @a,b] legend=none text=Calibri/20"},
        {"a missing point is no value; fixed scale and number format",
         R"(<c:plotArea><c:barChart><c:ser><c:tx><c:v>Lit</c:v></c:tx><c:val><c:numRef><c:numCache><c:formatCode>0.0</c:formatCode>)"
         R"(<c:ptCount val="3"/><c:pt idx="0"><c:v>1</c:v></c:pt><c:pt idx="2"><c:v>3</c:v></c:pt></c:numCache></c:numRef></c:val></c:ser></c:barChart>)"
         R"(<c:catAx><c:axId val="1"/><c:axPos val="b"/><c:delete val="1"/></c:catAx>)"
         R"(<c:valAx><c:axId val="2"/><c:scaling><c:max val="50"/><c:min val="-10"/></c:scaling><c:axPos val="l"/><c:majorUnit val="20"/>)"
         R"(<c:numFmt formatCode="#,##0" sourceLinked="0"/></c:valAx></c:plotArea>)",
         "bar [Lit:1,-,3] legend=none cat(deleted) val(-10..50/20)'#,##0' text=Calibri/20"},
        {"scatter: the axis across the bottom is x",
         R"(<c:plotArea><c:scatterChart><c:ser><c:tx><c:v>S</c:v></c:tx>)"
         R"(<c:xVal><c:numRef><c:numCache><c:ptCount val="2"/><c:pt idx="0"><c:v>1.5</c:v></c:pt><c:pt idx="1"><c:v>10</c:v></c:pt></c:numCache></c:numRef></c:xVal>)"
         R"(<c:yVal><c:numRef><c:numCache><c:ptCount val="2"/><c:pt idx="0"><c:v>40</c:v></c:pt><c:pt idx="1"><c:v>95</c:v></c:pt></c:numCache></c:numRef></c:yVal>)"
         R"(</c:ser></c:scatterChart><c:valAx><c:axId val="1"/><c:axPos val="l"/></c:valAx>)"
         R"(<c:valAx><c:axId val="2"/><c:scaling><c:max val="12"/></c:scaling><c:axPos val="b"/></c:valAx></c:plotArea>)",
         "scatter [S:40,95 x1.5,10] legend=none cat(..12/) val text=Calibri/20"},
        {"the chart's text size and font, the theme's minor font by default",
         R"(<c:plotArea><c:radarChart>)" + series("P", "5,9,7", "Speed,Price,Safety") + "</c:radarChart>" + axes +
             R"(</c:plotArea></c:chart><c:txPr><a:bodyPr/><a:p><a:pPr><a:defRPr sz="1200" b="1"><a:latin typeface="Cambria"/></a:defRPr></a:pPr></a:p></c:txPr><c:chart>)",
         "radar [P:5,9,7 @Speed,Price,Safety] legend=none cat val text=Cambria/24b"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Read r = readPackage(chartPackage(chartSpace(c.chart)));
        ASSERT_TRUE(r.doc) << r.error;
        ASSERT_EQ(r.doc->objects.size(), 1u);
        const InlineObject& o = r.doc->objects.front();
        EXPECT_EQ(o.kind, ObjectKind::Chart);
        ASSERT_EQ(r.doc->charts.size(), 1u);
        ASSERT_EQ(o.chart, 0);
        EXPECT_EQ(describe(*r.doc, r.doc->charts.front()), c.expected);
    }
}

TEST(DocxChart, AMissingOrBrokenChartLeavesABlankFrameAndTheSameText)
{
    // The text and the object are what they were before charts were read;
    // only the chart's content is missing.
    const std::string good = chartSpace("<c:plotArea><c:barChart>" + series("A", "1") + "</c:barChart></c:plotArea>");
    struct Case {
        const char* name;
        DocxPackage pkg;
    };
    DocxPackage noRel = chartPackage(good);
    noRel.extraRels.clear();
    DocxPackage wrongId = chartPackage(good, "rIdNone");
    Case cases[] = {
        {"no relationship", noRel},
        {"a relationship id that names nothing", wrongId},
        {"the part is missing", chartPackage("")},
        {"the part is not XML", chartPackage("<c:chartSpace><c:chart><c:plotArea>")},
        {"the part holds no series", chartPackage(chartSpace("<c:plotArea><c:barChart/></c:plotArea>"))},
        {"the part is no chart", chartPackage(R"(<?xml version="1.0"?><html><body>chart</body></html>)")},
    };
    Read reference = readPackage(chartPackage(good));
    ASSERT_TRUE(reference.doc);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Read r = readPackage(c.pkg);
        ASSERT_TRUE(r.doc) << r.error;
        EXPECT_EQ(r.doc->mainStory().text, reference.doc->mainStory().text);
        ASSERT_EQ(r.doc->objects.size(), 1u);
        EXPECT_EQ(r.doc->objects.front().kind, ObjectKind::Chart);
        EXPECT_EQ(r.doc->objects.front().width, 7200);
        EXPECT_EQ(r.doc->objects.front().chart, -1);
        EXPECT_TRUE(r.doc->charts.empty());
    }
}

TEST(DocxChart, SeriesTakeTheirOwnColoursElseTheThemesAccents)
{
    // A bar's fill, a line's stroke, a marker's fill, an accent named from
    // the theme; a series naming none is drawn in the theme's accent for
    // its place.
    const std::string theme =
        R"(<?xml version="1.0"?><a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><a:themeElements><a:clrScheme name="t">)"
        R"(<a:dk1><a:sysClr val="windowText" lastClr="000000"/></a:dk1><a:accent1><a:srgbClr val="4F81BD"/></a:accent1><a:accent2><a:srgbClr val="C0504D"/></a:accent2>)"
        R"(<a:accent3><a:srgbClr val="9BBB59"/></a:accent3><a:accent4><a:srgbClr val="8064A2"/></a:accent4><a:accent5><a:srgbClr val="4BACC6"/></a:accent5>)"
        R"(<a:accent6><a:sysClr val="x" lastClr="F79646"/></a:accent6></a:clrScheme></a:themeElements></a:theme>)";
    auto ser = [](const std::string& kind, const std::string& spPr) {
        return "<c:plotArea><c:" + kind + "><c:ser><c:tx><c:v>s</c:v></c:tx>" + spPr +
               "<c:val><c:numLit><c:ptCount val=\"1\"/><c:pt idx=\"0\"><c:v>1</c:v></c:pt></c:numLit></c:val></c:ser></c:" +
               kind + "></c:plotArea>";
    };
    struct Case {
        const char* name;
        std::string chart;
        uint32_t color;
    };
    const Case cases[] = {
        {"a bar's fill", ser("barChart", R"(<c:spPr><a:solidFill><a:srgbClr val="123456"/></a:solidFill></c:spPr>)"), 0x123456},
        {"a line's stroke over its fill",
         ser("lineChart", R"(<c:spPr><a:solidFill><a:srgbClr val="111111"/></a:solidFill><a:ln><a:solidFill><a:srgbClr val="ABCDEF"/></a:solidFill></a:ln></c:spPr>)"),
         0xABCDEF},
        {"a marker's fill where the series has none",
         ser("scatterChart", R"(<c:spPr><a:noFill/><a:ln><a:noFill/></a:ln></c:spPr><c:marker><c:spPr><a:solidFill><a:srgbClr val="4472C4"/></a:solidFill></c:spPr></c:marker>)"),
         0x4472C4},
        {"an accent of the theme", ser("areaChart", R"(<c:spPr><a:solidFill><a:schemeClr val="accent2"/></a:solidFill></c:spPr>)"), 0xC0504D},
        {"none", ser("barChart", ""), AutoColor},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DocxPackage pkg = chartPackage(chartSpace(c.chart));
        pkg.extraRels +=
            R"(<Relationship Id="rIdTheme" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/theme" Target="theme/theme1.xml"/>)";
        pkg.extra.push_back({"word/theme/theme1.xml", theme});
        Read r = readPackage(pkg);
        ASSERT_TRUE(r.doc);
        ASSERT_EQ(r.doc->charts.size(), 1u);
        const Chart& chart = r.doc->charts.front();
        EXPECT_EQ(chart.series.front().color, c.color);
        EXPECT_EQ(chart.palette, (std::vector<uint32_t>{0x4F81BD, 0xC0504D, 0x9BBB59, 0x8064A2, 0x4BACC6, 0xF79646}));
    }
}

TEST(DocxChart, APlotAreaPlacedByItsEdgesIsKept)
{
    auto layout = [](const std::string& target, const std::string& mode, const std::string& x) {
        return "<c:plotArea><c:layout><c:manualLayout><c:layoutTarget val=\"" + target + "\"/><c:xMode val=\"" + mode +
               "\"/><c:yMode val=\"edge\"/><c:x val=\"" + x +
               "\"/><c:y val=\"0.1\"/><c:w val=\"0.7\"/><c:h val=\"0.5\"/></c:manualLayout></c:layout><c:barChart>" +
               series("A", "1") + "</c:barChart></c:plotArea>";
    };
    struct Case {
        const char* name;
        std::string chart;
        std::optional<std::array<double, 4>> expected;
    };
    const Case cases[] = {
        {"inner, by its edges", layout("inner", "edge", "0.2"), std::array<double, 4>{0.2, 0.1, 0.7, 0.5}},
        {"no target: inner", layout("", "edge", "0.25"), std::array<double, 4>{0.25, 0.1, 0.7, 0.5}},
        {"a width past the frame is cut to it", layout("inner", "edge", "0.5"), std::array<double, 4>{0.5, 0.1, 0.5, 0.5}},
        {"outer: laid out automatically", layout("outer", "edge", "0.2"), std::nullopt},
        {"moved from the automatic place: laid out automatically", layout("inner", "factor", "0.2"), std::nullopt},
        {"a share out of range", layout("inner", "edge", "-0.2"), std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        Read r = readPackage(chartPackage(chartSpace(c.chart)));
        ASSERT_TRUE(r.doc);
        ASSERT_EQ(r.doc->charts.size(), 1u);
        EXPECT_EQ(r.doc->charts.front().manualPlot, c.expected);
    }
}

TEST(DocxChart, AxisTitlesAreRead)
{
    const std::string chart =
        "<c:plotArea><c:barChart>" + series("A", "1", "a") + "</c:barChart>" +
        R"(<c:catAx><c:axId val="1"/><c:title><c:tx><c:rich><a:p><a:r><a:rPr sz="1100" b="1"/><a:t>Month</a:t></a:r></a:p></c:rich></c:tx></c:title><c:axPos val="b"/></c:catAx>)"
        R"(<c:valAx><c:axId val="2"/><c:title/><c:axPos val="l"/></c:valAx>)"
        R"(<c:valAx><c:axId val="3"/><c:title><c:tx><c:rich><a:p><a:r><a:t>second</a:t></a:r></a:p></c:rich></c:tx></c:title><c:axPos val="r"/></c:valAx></c:plotArea>)";
    Read r = readPackage(chartPackage(chartSpace(chart)));
    ASSERT_TRUE(r.doc);
    ASSERT_EQ(r.doc->charts.size(), 1u);
    const Chart& c = r.doc->charts.front();
    EXPECT_EQ(c.categoryAxis.title, u"Month");
    EXPECT_EQ(r.doc->charFormats[c.categoryAxis.titleFormat].sizeHalfPoints, 22);
    EXPECT_TRUE(r.doc->charFormats[c.categoryAxis.titleFormat].bold);
    EXPECT_EQ(c.valueAxis.title, u"Axis Title"); // a title with no text, as Word shows a new one
    // A deleted axis shows no title.
    Read deleted = readPackage(chartPackage(chartSpace(
        "<c:plotArea><c:barChart>" + series("A", "1", "a") + "</c:barChart>" +
        R"(<c:valAx><c:axId val="2"/><c:delete val="1"/><c:title/><c:axPos val="l"/></c:valAx></c:plotArea>)")));
    ASSERT_TRUE(deleted.doc);
    EXPECT_TRUE(deleted.doc->charts.front().valueAxis.title.empty());
}

TEST(DocxChart, AChartShownTwiceIsReadOnce)
{
    DocxPackage pkg = chartPackage(chartSpace("<c:plotArea><c:lineChart>" + series("A", "1,2") + "</c:lineChart></c:plotArea>"));
    pkg.body += chartBody();
    Read r = readPackage(pkg);
    ASSERT_TRUE(r.doc);
    ASSERT_EQ(r.doc->objects.size(), 2u);
    EXPECT_EQ(r.doc->charts.size(), 1u);
    EXPECT_EQ(r.doc->objects[0].chart, 0);
    EXPECT_EQ(r.doc->objects[1].chart, 0);
}
