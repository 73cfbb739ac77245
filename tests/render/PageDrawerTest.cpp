// Laid-out pages drawn on a raster: ink where the layout put the text, none for hidden text, tables.
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"
#include "render/ChartDrawer.h"
#include "render/FontFaces.h"
#include "render/PageDrawer.h"

#include <gtest/gtest.h>

#include <cairo.h>

#include <algorithm>
#include <functional>
#include <optional>

using namespace qm::engine;
using namespace qm::engine::layout;

namespace {

// A tenth of a pixel per twip: 144 pixels per inch, fine enough to tell
// a glyph's place to within a point.
constexpr double PxPerTwip = 0.1;

struct Box {
    double left, top, right, bottom; // twips
};

/// A page drawn on white.
class Raster {
public:
    Raster(const Document& doc, const LaidOutPage& page, int pageNumber = 0)
    {
        m_width = static_cast<int>(page.width * PxPerTwip);
        m_height = static_cast<int>(page.height * PxPerTwip);
        m_surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, m_width, m_height);
        cairo_t* cr = cairo_create(m_surface);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        cairo_scale(cr, PxPerTwip, PxPerTwip);
        {
            std::lock_guard lock(qm::render::renderLock());
            qm::render::PageDrawer drawer(doc);
            drawer.drawPage(cr, page, pageNumber);
        }
        cairo_destroy(cr);
        cairo_surface_flush(m_surface);
    }
    ~Raster() { cairo_surface_destroy(m_surface); }

    /// Red, green and blue of the pixel at (x, y) twips.
    std::array<int, 3> rgb(double x, double y) const
    {
        const int px = std::clamp(static_cast<int>(x * PxPerTwip), 0, m_width - 1);
        const int py = std::clamp(static_cast<int>(y * PxPerTwip), 0, m_height - 1);
        const auto* row = reinterpret_cast<const uint32_t*>(cairo_image_surface_get_data(m_surface) +
                                                            py * cairo_image_surface_get_stride(m_surface));
        const uint32_t v = row[px];
        return {static_cast<int>((v >> 16) & 0xFF), static_cast<int>((v >> 8) & 0xFF), static_cast<int>(v & 0xFF)};
    }

    /// The bounding box of pixels that pass `test`, inside `within`.
    std::optional<Box> ink(const Box& within, const std::function<bool(std::array<int, 3>)>& test = dark) const
    {
        std::optional<Box> box;
        const double step = 1 / PxPerTwip;
        for (double y = std::max(0.0, within.top); y < within.bottom; y += step)
            for (double x = std::max(0.0, within.left); x < within.right; x += step)
                if (test(rgb(x, y))) {
                    if (!box)
                        box = Box{x, y, x + step, y + step};
                    box->left = std::min(box->left, x);
                    box->top = std::min(box->top, y);
                    box->right = std::max(box->right, x + step);
                    box->bottom = std::max(box->bottom, y + step);
                }
        return box;
    }

    static bool dark(std::array<int, 3> c) { return std::max({c[0], c[1], c[2]}) < 110; }

private:
    cairo_surface_t* m_surface = nullptr;
    int m_width = 0, m_height = 0;
};

CharFormat times(uint16_t halfPoints = 24)
{
    CharFormat f;
    f.fontName = "Times New Roman";
    f.sizeHalfPoints = halfPoints;
    return f;
}

struct Para {
    std::u16string text;
    ParaFormat format = {};
    CharFormat chars = times();
    std::u16string hiddenTail = {};
};

std::unique_ptr<Document> makeDocument(const std::vector<Para>& paras)
{
    DocumentBuilder b("docx");
    for (const Para& p : paras) {
        const uint32_t cf = b.charFormat(p.chars);
        b.appendText(p.text, cf);
        if (!p.hiddenTail.empty()) {
            CharFormat hidden = p.chars;
            hidden.hidden = true;
            b.appendText(p.hiddenTail, b.charFormat(hidden));
        }
        b.endParagraph(b.paraFormat(p.format), cf);
    }
    return b.finish({}, {});
}

Box band(const LaidOutLine& l) { return {0, l.y, 12240, l.y + l.height}; }

// Glyphs sit inside their advance but not flush with it: side bearings of
// Times at 12 pt are under a point.
constexpr double Bearing = 30;

} // namespace

// Catches text drawn at the wrong scale, from the wrong origin, or in a face
// of other widths than the layout measured: each line's ink must start at
// its first run and end at the end of its last one, aligned as laid out.
// The layout leaves hidden characters out of its runs but inside the line's
// range; a renderer drawing the range would show them.
TEST(PageDrawer, InkCoversEachLineWhereTheLayoutPutIt)
{
    ParaFormat centred, right;
    centred.alignment = Alignment::Center;
    right.alignment = Alignment::Right;
    // No descenders: the ink of capitals and ascenders ends on the baseline.
    auto doc = makeDocument({{u"Left the text in Times"},
                             {u"Centred text", centred},
                             {u"Flush RIGHT", right},
                             {u"LARGE WAVE", {}, times(48)},
                             {u"Shown", {}, times(), u"HIDDEN HIDDEN HIDDEN"},
                             {u"", {}, times(), u"ONLY HIDDEN"}});
    const LayoutResult layout = layoutDocument(*doc);
    ASSERT_EQ(layout.pages.size(), 1u);
    ASSERT_EQ(layout.pages[0].lines.size(), 6u);
    const Raster raster(*doc, layout.pages[0]);
    for (const LaidOutLine& line : layout.pages[0].lines) {
        SCOPED_TRACE(line.start);
        const auto ink = raster.ink(band(line));
        ASSERT_EQ(ink.has_value(), !line.runs.empty());
        if (!ink)
            continue;
        EXPECT_NEAR(ink->left, line.runs.front().x, Bearing);
        EXPECT_NEAR(ink->right, line.runs.back().x + line.runs.back().width, Bearing);
        // Capitals stand on the baseline and reach most of the way up.
        EXPECT_NEAR(ink->bottom, line.y + line.ascent, 30);
        EXPECT_LT(ink->top, line.y + line.ascent * 0.5);
        EXPECT_GE(ink->top, line.y);
    }
}

// A word broken by automatic hyphenation ends its line with a hyphen the
// text does not hold: the ink reaches the end of the line's width (the
// hyphen's 80 twips of Times 12 pt included), not just its last letter.
TEST(PageDrawer, HyphenatedLinesEndWithTheirHyphen)
{
    ParaFormat narrow;
    narrow.rightIndent = 9360 - 1800; // "The word hyphen-" (1,773 twips) fits, the whole word does not
    auto doc = makeDocument({{u"The word hyphenation ends.", narrow}});
    doc->settings.autoHyphenation = true;
    doc->settings.compatibilityMode = 15;
    doc->settings.language = "en-US";
    const LayoutResult layout = layoutDocument(*doc);
    ASSERT_EQ(layout.pages[0].lines.size(), 2u);
    const LaidOutLine& line = layout.pages[0].lines[0];
    ASSERT_TRUE(line.hyphenated);
    const Raster raster(*doc, layout.pages[0]);
    const auto ink = raster.ink(band(line));
    ASSERT_TRUE(ink.has_value());
    EXPECT_NEAR(ink->right, line.runs.back().x + line.runs.back().width, Bearing);
}

// A footer's PAGE field stores the first page's "1"; each page must show its
// own number instead, still flush with the right margin.
TEST(PageDrawer, PageFieldShowsThePagesOwnNumber)
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(times());
    b.appendText(u"Body", cf);
    b.endParagraph(b.paraFormat({}), cf);
    const StoryId footer = b.newStory(StoryType::PrimaryFooter);
    b.setStory(footer);
    b.appendText(u"1", cf);
    b.addField(b.position() - 1, "PAGE");
    ParaFormat right;
    right.alignment = Alignment::Right;
    b.endParagraph(b.paraFormat(right), cf);
    b.setStory(0);
    HeaderFooterRefs refs;
    refs.footers[static_cast<size_t>(HeaderFooterIndex::Primary) - 1] =
        static_cast<int32_t>(footer);
    auto doc = b.finish({}, refs);

    const LayoutResult layout = layoutDocument(*doc);
    ASSERT_EQ(layout.pages.size(), 1u);
    ASSERT_FALSE(layout.pages[0].footerLines.empty());
    const Box footerBand = band(layout.pages[0].footerLines.front());
    const auto stored = Raster(*doc, layout.pages[0]).ink(footerBand);
    const auto first = Raster(*doc, layout.pages[0], 1).ink(footerBand);
    const auto twelfth = Raster(*doc, layout.pages[0], 12).ink(footerBand);
    ASSERT_TRUE(stored && first && twelfth);
    EXPECT_NEAR(first->left, stored->left, 1);
    EXPECT_NEAR(twelfth->right, stored->right, Bearing);
    // Two digits of Times at 12 point: one more digit's width (120 twips) to the left.
    EXPECT_NEAR(twelfth->left, stored->left - 120, Bearing);
}

// Tabs are sized by the layout and not stored per character; the text after
// a tab must still start at the stop (the default stops every half inch).
// A justified paragraph's wrapped lines reach the right margin; its last
// line does not stretch.
TEST(PageDrawer, TabsAndJustificationPlaceTheTextAsLaidOut)
{
    ParaFormat justified;
    justified.alignment = Alignment::Justify;
    auto doc = makeDocument({{u"A\tB"},
                             {u"Word\t\tX"},
                             {u"Justified text runs over more than one line so that its first line is spread out "
                              u"to the right margin while its last line keeps its natural width.",
                              justified}});
    const LayoutResult layout = layoutDocument(*doc);
    const auto& lines = layout.pages[0].lines;
    ASSERT_GE(lines.size(), 4u);
    const Raster raster(*doc, layout.pages[0]);
    for (const auto& [line, stop] : {std::pair{0, 1440 + 720}, std::pair{1, 1440 + 1440}}) {
        SCOPED_TRACE(line);
        const LaidOutLine& l = lines.at(line);
        const auto after = raster.ink({stop - 100.0, l.y, 12240, l.y + l.height});
        ASSERT_TRUE(after.has_value());
        EXPECT_NEAR(after->left, stop, Bearing);
        // Nothing between the first word and the stop.
        const auto before = raster.ink({1440, l.y, stop - 100.0, l.y + l.height});
        ASSERT_TRUE(before.has_value());
        EXPECT_LT(before->right, 1440 + 700);
    }
    const auto first = raster.ink(band(lines[2]));
    // The line above's descenders reach into the last line's band.
    const auto last = raster.ink({0, lines.back().y + 40, 12240, lines.back().y + lines.back().height});
    ASSERT_TRUE(first && last);
    EXPECT_NEAR(first->right, 12240 - 1440, Bearing);
    EXPECT_NEAR(last->right, lines.back().x + lines.back().width, Bearing);
    EXPECT_LT(last->right, 12240 - 1440 - 1000);
}

TEST(PageDrawer, ColourUnderlineAndListLabel)
{
    CharFormat red = times();
    red.color = 0xFF0000;
    red.underline = UnderlineKind::Single;
    ParaFormat listed;
    listed.listLabel = u"1.";
    listed.leftIndent = 720;
    listed.firstLineIndent = -360;
    auto doc = makeDocument({{u"red and underlined", {}, red}, {u"Listed", listed}});
    const LayoutResult layout = layoutDocument(*doc);
    const Raster raster(*doc, layout.pages[0]);
    const LaidOutLine& redLine = layout.pages[0].lines.at(0);
    auto isRed = [](std::array<int, 3> c) { return c[0] > 180 && c[1] < 90 && c[2] < 90; };
    const auto redInk = raster.ink(band(redLine), isRed);
    ASSERT_TRUE(redInk.has_value());
    EXPECT_FALSE(raster.ink(band(redLine)).has_value()) << "nothing of the red line is drawn black";
    // The underline runs under the spaces between the words too: the row
    // just below the baseline is red from the first letter to the last.
    const double underY = redLine.y + redLine.ascent + 30;
    int redColumns = 0, columns = 0;
    for (double x = redInk->left + 20; x < redInk->right - 20; x += 10, ++columns)
        redColumns += isRed(raster.rgb(x, underY)) || isRed(raster.rgb(x, underY - 10)) || isRed(raster.rgb(x, underY + 10));
    EXPECT_GT(columns, 0);
    EXPECT_EQ(redColumns, columns);

    const LaidOutLine& listLine = layout.pages[0].lines.at(1);
    ASSERT_EQ(listLine.label, u"1.");
    const auto label = raster.ink({0, listLine.y, listLine.runs.front().x - 20, listLine.y + listLine.height});
    ASSERT_TRUE(label.has_value());
    EXPECT_NEAR(label->left, 1440 + 360, Bearing);
}

namespace {

std::unique_ptr<Document> table(bool borders, Twips spacing = 0)
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(times());
    const uint32_t pf = b.paraFormat({});
    TableRowFormat row;
    row.cells = {{2880}, {2880}};
    row.cells[1].shading = 0x00C000;
    row.borders = borders;
    row.cellSpacing = spacing;
    b.appendText(u"before", cf);
    b.endParagraph(pf, cf);
    b.beginTable();
    for (int r = 0; r < 2; ++r) {
        b.beginRow();
        for (const char16_t* text : {u"cell one", u"cell two"}) {
            b.beginCell();
            b.appendText(text, cf);
            b.endCell(pf, cf);
        }
        b.endRow(row, cf);
    }
    b.endTable();
    b.appendText(u"after", cf);
    b.endParagraph(pf, cf);
    return b.finish({}, {});
}

} // namespace

// Cell edges lie a cell margin left of the text (108 twips by default) and a
// cell width apart; the shaded cell is filled under its text.
TEST(PageDrawer, TableCellsHaveBordersAndShading)
{
    for (bool borders : {true, false}) {
        SCOPED_TRACE(borders);
        auto doc = table(borders);
        const LayoutResult layout = layoutDocument(*doc);
        const auto& lines = layout.pages[0].lines;
        ASSERT_EQ(lines.size(), 6u);
        const Raster raster(*doc, layout.pages[0]);
        const double top = lines[1].y, bottom = lines[4].y + lines[4].height;
        for (double edge : {1440.0 - 108, 1440.0 - 108 + 2880, 1440.0 - 108 + 5760}) {
            SCOPED_TRACE(edge);
            const auto line = raster.ink({edge - 15, top + 20, edge + 15, bottom - 20});
            EXPECT_EQ(line.has_value(), borders);
            if (borders && line) {
                EXPECT_LT(line->top, top + 40);
                EXPECT_GT(line->bottom, bottom - 40);
            }
        }
        auto isGreen = [](std::array<int, 3> c) { return c[1] > 150 && c[0] < 60 && c[2] < 60; };
        const auto green = raster.ink({1440 - 108 + 2880 + 20, top, 1440 - 108 + 5760 - 20, bottom}, isGreen);
        ASSERT_TRUE(green.has_value());
        EXPECT_NEAR(green->top, top, 40);
        EXPECT_NEAR(green->bottom, bottom, 40);
        EXPECT_FALSE(raster.ink({1440 - 108 + 20, top, 1440 - 108 + 2880 - 20, bottom}, isGreen).has_value());
        // The shading does not hide the text.
        EXPECT_TRUE(raster.ink({1440 - 108 + 2880 + 60, lines[1].y, 1440 - 108 + 5760 - 60, lines[1].y + lines[1].height})
                        .has_value());
    }
}

// With 144 twips between cells each cell is its own box: the middle of the
// gap between the two rows, and of the one between the two cells, stays
// blank where a table without spacing draws the line the cells share.
TEST(PageDrawer, CellsOfATableWithSpacingStandApart)
{
    auto doc = table(true, 144);
    const LayoutResult layout = layoutDocument(*doc);
    const auto& lines = layout.pages[0].lines;
    ASSERT_EQ(lines.size(), 6u);
    const Raster raster(*doc, layout.pages[0]);
    const double firstBottom = lines[1].y + lines[1].height, secondTop = lines[3].y;
    ASSERT_GE(secondTop - firstBottom, 288);
    const double between = (firstBottom + secondTop) / 2;
    const double cellX = 1440 + 200;
    EXPECT_FALSE(raster.ink({cellX, between - 40, cellX + 1000, between + 40}).has_value());
    EXPECT_TRUE(raster.ink({cellX, firstBottom - 10, cellX + 1000, firstBottom + 40}).has_value());
    const double sharedEdge = 1440 - 108 + 2880;
    EXPECT_FALSE(raster.ink({sharedEdge - 40, lines[1].y, sharedEdge + 40, firstBottom}).has_value());
    EXPECT_TRUE(raster.ink({sharedEdge - 200, lines[1].y, sharedEdge - 100, firstBottom}).has_value());
}

// A red box around two grouped paragraphs: its top line in the room above
// the first line, its bottom line in the room below the second, its sides
// `space` outside the indents, and no line between the two paragraphs.
TEST(PageDrawer, ParagraphBordersDrawTheBoxOfTheGroup)
{
    BorderLine red;
    red.style = BorderStyle::Single;
    red.widthEighths = 12; // 1.5 pt, 30 twips
    red.spacePoints = 4;   // 80 twips
    red.color = 0xFF0000;
    ParaFormat boxed;
    boxed.leftIndent = 720;
    boxed.borders.top = boxed.borders.bottom = boxed.borders.left = boxed.borders.right = red;
    auto doc = makeDocument({{u"First", boxed}, {u"Second", boxed}, {u"After"}});
    const LayoutResult layout = layoutDocument(*doc);
    const auto& lines = layout.pages[0].lines;
    ASSERT_EQ(lines.size(), 3u);
    const Raster raster(*doc, layout.pages[0]);
    auto isRed = [](std::array<int, 3> c) { return c[0] > 200 && c[1] < 80 && c[2] < 80; };
    const auto box = raster.ink({0, 0, 12240, 15840}, isRed);
    ASSERT_TRUE(box.has_value());
    EXPECT_NEAR(box->top, lines[0].y, 15);
    EXPECT_NEAR(box->bottom, lines[1].y + lines[1].height, 15);
    EXPECT_NEAR(box->left, 1440 + 720 - 80 - 30, 15);
    EXPECT_NEAR(box->right, 12240 - 1440 + 80 + 30, 15);
    // Nothing red between the two paragraphs' lines, inside the box.
    EXPECT_FALSE(raster.ink({1440 + 720, lines[1].y - 20, 10000, lines[1].y + 20}, isRed).has_value());
    EXPECT_FALSE(raster.ink({0, lines[2].y, 12240, lines[2].y + lines[2].height}, isRed).has_value());
}

// Catches chart text or data drawn elsewhere than the layout put it: a
// column chart's labels show ink inside their boxes, its bars stand in
// their series' colours from the axis up to their values, a bar of 0 is
// not drawn; a pie's first slice runs clockwise from 12 o'clock.
TEST(PageDrawer, ChartsDrawTheirTextAndData)
{
    auto chartDocument = [](Chart chart) {
        DocumentBuilder b("docx");
        const uint32_t text = b.charFormat(times());
        const uint32_t para = b.paraFormat({});
        InlineObject o;
        o.kind = ObjectKind::Chart;
        o.width = 7200;
        o.height = 4320;
        CharFormat objectFormat = times();
        objectFormat.objectIndex = b.addObject(o);
        b.appendChar(Ch::Object, b.charFormat(objectFormat));
        b.endParagraph(para, text);
        std::unique_ptr<Document> doc = b.finish({}, {});
        CharFormat label = times(20);
        label.color = 0x000000;
        const uint32_t f = static_cast<uint32_t>(doc->charFormats.size());
        doc->charFormats.push_back(label);
        chart.titleFormat = chart.legendFormat = chart.labelFormat = chart.valueAxis.charFormat =
            chart.categoryAxis.charFormat = f;
        chart.valueAxis.present = chart.categoryAxis.present = true;
        doc->charts.push_back(chart);
        doc->objects.front().chart = 0;
        return doc;
    };
    auto red = [](std::array<int, 3> c) { return c[0] > 200 && c[1] < 60 && c[2] < 60; };
    auto blue = [](std::array<int, 3> c) { return c[2] > 200 && c[0] < 60 && c[1] < 60; };

    Chart columns;
    columns.legend = LegendPosition::Right;
    ChartSeries a, b;
    a.name = u"A", a.values = {10, 20}, a.categories = {u"x", u"y"}, a.color = 0xFF0000;
    b.name = u"B", b.values = {5, 0}, b.categories = {u"x", u"y"}, b.color = 0x0000FF;
    columns.series = {a, b};
    std::unique_ptr<Document> doc = chartDocument(columns);
    LayoutResult layout = layoutDocument(*doc);
    ASSERT_EQ(layout.pages.size(), 1u);
    const LaidOutPage& page = layout.pages.front();
    ASSERT_EQ(page.chartPlots.size(), 1u);
    ASSERT_FALSE(page.drawnText.empty());
    Raster raster(*doc, page);
    for (const DrawnText& t : page.drawnText) {
        SCOPED_TRACE(utf16ToUtf8(t.text));
        EXPECT_TRUE(raster.ink({t.x, t.top, t.x + 300, t.bottom}));
    }
    const ChartPlot& plot = page.chartPlots.front();
    // 0 to 25 by 5; a cluster of two bars in each half of the plot area,
    // 150% of a bar's width between clusters.
    ASSERT_DOUBLE_EQ(plot.valueMax, 25);
    const double pitch = (plot.right - plot.left) / 2, bar = pitch / 3.5, h = plot.bottom - plot.top;
    const double first = plot.left + pitch / 2 - bar / 2, second = first + bar;
    EXPECT_TRUE(red(raster.rgb(first, plot.bottom - h * 10 / 25 + 40)));
    EXPECT_FALSE(red(raster.rgb(first, plot.bottom - h * 10 / 25 - 40)));
    EXPECT_TRUE(red(raster.rgb(first + pitch, plot.bottom - h * 20 / 25 + 40)));
    EXPECT_TRUE(blue(raster.rgb(second, plot.bottom - h * 5 / 25 + 40)));
    EXPECT_FALSE(raster.ink({second + pitch - bar / 4, plot.top, second + pitch + bar / 4, plot.bottom - 40}, blue));

    // Columns with a line: the one bar of a cluster centred on its category,
    // the line through the categories' middles over it.
    columns.series[1].kind = ChartKind::Line;
    columns.series[1].values = {15, 15};
    doc = chartDocument(columns);
    layout = layoutDocument(*doc);
    const ChartPlot& combo = layout.pages.front().chartPlots.front();
    Raster comboRaster(*doc, layout.pages.front());
    const double middle = combo.left + (combo.right - combo.left) / 4;
    const double comboHeight = combo.bottom - combo.top;
    EXPECT_TRUE(red(comboRaster.rgb(middle, combo.bottom - comboHeight * 5 / combo.valueMax)));
    EXPECT_TRUE(blue(comboRaster.rgb(middle + 60, combo.bottom - comboHeight * 15 / combo.valueMax)));
    EXPECT_TRUE(blue(comboRaster.rgb(middle + (combo.right - combo.left) / 4, combo.bottom - comboHeight * 15 / combo.valueMax)));

    Chart pie;
    pie.kind = ChartKind::Pie;
    ChartSeries s;
    s.values = {25, 75};
    s.categories = {u"p", u"q"};
    pie.series = {s};
    doc = chartDocument(pie);
    layout = layoutDocument(*doc);
    const ChartPlot& slices = layout.pages.front().chartPlots.front();
    ASSERT_GT(slices.radius, 0);
    Raster pieRaster(*doc, layout.pages.front());
    const double r = slices.radius / 2;
    // The first slice (a quarter) between 12 and 3 o'clock, the second the rest.
    const auto first_ = pieRaster.rgb(slices.cx + r * 0.7, slices.cy - r * 0.7);
    const auto second_ = pieRaster.rgb(slices.cx - r * 0.7, slices.cy + r * 0.7);
    const uint32_t c0 = qm::render::chartPaletteColor(0), c1 = qm::render::chartPaletteColor(1);
    EXPECT_NEAR(first_[0], static_cast<int>(c0 >> 16), 2);
    EXPECT_NEAR(first_[2], static_cast<int>(c0 & 0xFF), 2);
    EXPECT_NEAR(second_[0], static_cast<int>(c1 >> 16), 2);
    EXPECT_NEAR(second_[2], static_cast<int>(c1 & 0xFF), 2);
}
