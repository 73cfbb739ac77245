// Draws a chart's data from the values its part caches, on the scales the layout placed its labels by.
#include "render/ChartDrawer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace qm::render {

using namespace engine;
using namespace engine::layout;

namespace {

constexpr double Pt = 20;

void setRgb(cairo_t* cr, uint32_t c)
{
    cairo_set_source_rgb(cr, ((c >> 16) & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, (c & 0xFF) / 255.0);
}

/// The colour of a series (or a pie's point) in its place: its own, else
/// the theme's accent for the place, else Office's.
uint32_t placeColor(const Chart& chart, size_t index)
{
    return chart.palette.empty() ? chartPaletteColor(index) : chart.palette[index % chart.palette.size()];
}

uint32_t seriesColor(const Chart& chart, const ChartSeries& s, size_t index)
{
    return s.color == AutoColor || (s.color & 0xFF000000u) != 0 ? placeColor(chart, index) : s.color;
}

bool finite(double v) { return std::isfinite(v); }

} // namespace

uint32_t chartPaletteColor(size_t index)
{
    static const uint32_t accents[] = {0x4472C4, 0xED7D31, 0xA5A5A5, 0xFFC000, 0x5B9BD5, 0x70AD47};
    return accents[index % std::size(accents)];
}

void drawChartPlot(cairo_t* cr, const Document& document, const ChartPlot& plot)
{
    if (plot.chart < 0 || static_cast<size_t>(plot.chart) >= document.charts.size())
        return;
    const Chart& chart = document.charts[static_cast<size_t>(plot.chart)];
    for (double v : {plot.left, plot.top, plot.right, plot.bottom, plot.valueMin, plot.valueMax, plot.valueUnit,
                     plot.xMin, plot.xMax, plot.cx, plot.cy, plot.radius})
        if (!std::isfinite(v))
            return;
    if (chart.series.empty())
        return;
    cairo_save(cr);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);

    const bool pie = chart.kind == ChartKind::Pie || chart.kind == ChartKind::Doughnut;
    // Legend keys: a 5.27 pt square 2.41 pt before the entry's text (bars,
    // areas, slices, markers), or a 19.2 pt stretch of line 2.2 pt before it.
    for (const ChartPlot::LegendKey& key : plot.keys) {
        if (key.index < 0)
            continue;
        const size_t index = static_cast<size_t>(key.index);
        setRgb(cr, pie || index >= chart.series.size() ? placeColor(chart, index)
                                                       : seriesColor(chart, chart.series[index], index));
        const ChartKind kind = !pie && index < chart.series.size() ? chart.series[index].kind.value_or(chart.kind) : chart.kind;
        if (kind == ChartKind::Line || kind == ChartKind::Radar) {
            cairo_set_line_width(cr, 2.25 * Pt);
            cairo_move_to(cr, key.textLeft - 21.4 * Pt, key.middle);
            cairo_line_to(cr, key.textLeft - 2.2 * Pt, key.middle);
            cairo_stroke(cr);
        } else {
            cairo_rectangle(cr, key.textLeft - 7.68 * Pt, key.middle - 2.64 * Pt, 5.27 * Pt, 5.27 * Pt);
            cairo_fill(cr);
        }
    }
    if (pie) {
        // Slices clockwise from 12 o'clock, each point in its own colour.
        const ChartSeries& s = chart.series.front();
        double total = 0;
        for (double v : s.values)
            total += finite(v) ? std::abs(v) : 0;
        if (total <= 0 || plot.radius <= 0) {
            cairo_restore(cr);
            return;
        }
        const double hole = chart.kind == ChartKind::Doughnut ? plot.radius * chart.holePercent / 100.0 : 0;
        double angle = -std::numbers::pi / 2;
        for (size_t i = 0; i < s.values.size(); ++i) {
            if (!finite(s.values[i]))
                continue;
            const double sweep = std::abs(s.values[i]) / total * 2 * std::numbers::pi;
            cairo_new_path(cr);
            cairo_arc(cr, plot.cx, plot.cy, plot.radius, angle, angle + sweep);
            if (hole > 0)
                cairo_arc_negative(cr, plot.cx, plot.cy, hole, angle + sweep, angle);
            else
                cairo_line_to(cr, plot.cx, plot.cy);
            cairo_close_path(cr);
            setRgb(cr, placeColor(chart, i));
            cairo_fill_preserve(cr);
            cairo_set_source_rgb(cr, 1, 1, 1);
            cairo_set_line_width(cr, 0.75 * Pt);
            cairo_stroke(cr);
            angle += sweep;
        }
        cairo_restore(cr);
        return;
    }

    const double span = plot.valueMax - plot.valueMin;
    if (!(span > 0) || !std::isfinite(span) || !(plot.valueUnit > 0)) {
        cairo_restore(cr);
        return;
    }
    const int steps = std::clamp(static_cast<int>(std::lround(span / plot.valueUnit)), 1, 1000);
    cairo_set_line_width(cr, 0.75 * Pt);

    if (chart.kind == ChartKind::Radar) {
        size_t n = 0;
        for (const ChartSeries& s : chart.series)
            n = std::max(n, s.values.size());
        if (n < 3 || plot.radius <= 0) {
            cairo_restore(cr);
            return;
        }
        auto point = [&](size_t i, double r) {
            const double a = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(n);
            return std::pair{plot.cx + r * std::sin(a), plot.cy - r * std::cos(a)};
        };
        cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
        for (int k = 1; k <= steps; ++k) {
            for (size_t i = 0; i <= n; ++i) {
                const auto [x, y] = point(i % n, plot.radius * k / steps);
                i == 0 ? cairo_move_to(cr, x, y) : cairo_line_to(cr, x, y);
            }
            cairo_stroke(cr);
        }
        for (size_t i = 0; i < n; ++i) {
            const auto [x, y] = point(i, plot.radius);
            cairo_move_to(cr, plot.cx, plot.cy);
            cairo_line_to(cr, x, y);
        }
        cairo_stroke(cr);
        cairo_set_line_width(cr, 2.25 * Pt);
        for (size_t si = 0; si < chart.series.size(); ++si) {
            const ChartSeries& s = chart.series[si];
            for (size_t i = 0; i < s.values.size(); ++i) {
                const double v = finite(s.values[i]) ? s.values[i] : plot.valueMin;
                const auto [x, y] = point(i, plot.radius * std::clamp((v - plot.valueMin) / span, 0.0, 1.0));
                i == 0 ? cairo_move_to(cr, x, y) : cairo_line_to(cr, x, y);
            }
            cairo_close_path(cr);
            setRgb(cr, seriesColor(chart, s, si));
            cairo_stroke(cr);
        }
        cairo_restore(cr);
        return;
    }

    const double w = plot.right - plot.left, h = plot.bottom - plot.top;
    if (!(w > 0) || !(h > 0)) {
        cairo_restore(cr);
        return;
    }
    const bool across = chart.kind == ChartKind::Bar && chart.horizontal;
    const bool vReversed = chart.valueAxis.reversed, cReversed = chart.categoryAxis.reversed;
    // Where a value stands along the value axis: up from the bottom, or
    // right from the left for horizontal bars.
    auto valuePos = [&](double v) {
        const double t = std::clamp((v - plot.valueMin) / span, -0.02, 1.02);
        if (across)
            return vReversed ? plot.right - t * w : plot.left + t * w;
        return vReversed ? plot.top + t * h : plot.bottom - t * h;
    };
    // Gridlines at the steps, light grey, across the plot area.
    cairo_set_source_rgb(cr, 0.85, 0.85, 0.85);
    for (int k = 0; k <= steps; ++k) {
        const double at = valuePos(plot.valueMin + k * plot.valueUnit);
        across ? (cairo_move_to(cr, at, plot.top), cairo_line_to(cr, at, plot.bottom))
               : (cairo_move_to(cr, plot.left, at), cairo_line_to(cr, plot.right, at));
    }
    cairo_stroke(cr);
    // The axes: the category axis where the values are 0, the value axis
    // along the plot area's side.
    cairo_set_source_rgb(cr, 0.7, 0.7, 0.7);
    const double base = valuePos(std::clamp(0.0, plot.valueMin, plot.valueMax));
    if (across) {
        cairo_move_to(cr, base, plot.top), cairo_line_to(cr, base, plot.bottom);
        cairo_move_to(cr, plot.left, plot.bottom), cairo_line_to(cr, plot.right, plot.bottom);
    } else {
        cairo_move_to(cr, plot.left, base), cairo_line_to(cr, plot.right, base);
        cairo_move_to(cr, plot.left, plot.top), cairo_line_to(cr, plot.left, plot.bottom);
    }
    cairo_stroke(cr);

    if (chart.kind == ChartKind::Scatter || chart.kind == ChartKind::Bubble) {
        const double xSpan = plot.xMax - plot.xMin;
        if (!(xSpan > 0)) {
            cairo_restore(cr);
            return;
        }
        double biggest = 0;
        for (const ChartSeries& s : chart.series)
            for (double b : s.sizes)
                biggest = finite(b) ? std::max(biggest, std::abs(b)) : biggest;
        for (size_t si = 0; si < chart.series.size(); ++si) {
            const ChartSeries& s = chart.series[si];
            setRgb(cr, seriesColor(chart, s, si));
            for (size_t i = 0; i < s.values.size(); ++i) {
                const double xv = i < s.xValues.size() ? s.xValues[i] : static_cast<double>(i + 1);
                if (!finite(s.values[i]) || !finite(xv))
                    continue;
                const double x = plot.left + std::clamp((xv - plot.xMin) / xSpan, 0.0, 1.0) * w;
                const double y = valuePos(s.values[i]);
                // Bubbles: the largest a quarter of the plot's smaller side across, by area.
                double r = 3 * Pt;
                if (chart.kind == ChartKind::Bubble && biggest > 0 && i < s.sizes.size() && finite(s.sizes[i]))
                    r = std::sqrt(std::abs(s.sizes[i]) / biggest) * std::min(w, h) / 8;
                cairo_new_path(cr);
                cairo_arc(cr, x, y, r, 0, 2 * std::numbers::pi);
                cairo_fill(cr);
            }
        }
        cairo_restore(cr);
        return;
    }

    size_t n = 0;
    for (const ChartSeries& s : chart.series)
        n = std::max(n, s.values.size());
    if (n == 0) {
        cairo_restore(cr);
        return;
    }
    const double length = across ? h : w;
    const double pitch = chart.pointsOnTicks && n > 1 ? length / static_cast<double>(n - 1) : length / static_cast<double>(n);
    // Where category i's middle stands along the category axis.
    auto categoryPos = [&](double i) {
        const double d = chart.pointsOnTicks ? i * pitch : (i + 0.5) * pitch;
        if (across)
            return cReversed ? plot.top + d : plot.bottom - d;
        return cReversed ? plot.right - d : plot.left + d;
    };
    const double zero = valuePos(std::clamp(0.0, plot.valueMin, plot.valueMax));
    const size_t count = chart.series.size();

    // A chart of columns and lines: the columns first, the lines over them.
    auto kindOf = [&](const ChartSeries& s) { return s.kind.value_or(chart.kind); };
    if (chart.kind == ChartKind::Bar) {
        size_t bars = 0;
        for (const ChartSeries& s : chart.series)
            bars += kindOf(s) == ChartKind::Bar ? 1 : 0;
        const double gap = chart.gapWidth / 100.0;
        const double bar = chart.stacked ? pitch / (1 + gap) : pitch / (static_cast<double>(bars) + gap);
        std::vector<double> pos(n, 0), neg(n, 0), total(n, 0);
        if (chart.percentStacked)
            for (const ChartSeries& s : chart.series)
                for (size_t i = 0; i < s.values.size(); ++i)
                    total[i] += finite(s.values[i]) ? std::abs(s.values[i]) : 0;
        size_t place = 0; // the series' place among the bars
        for (size_t si = 0; si < count; ++si) {
            const ChartSeries& s = chart.series[si];
            if (kindOf(s) != ChartKind::Bar)
                continue;
            const size_t slot = place++;
            setRgb(cr, seriesColor(chart, s, si));
            for (size_t i = 0; i < s.values.size(); ++i) {
                double v = s.values[i];
                if (!finite(v))
                    continue;
                if (chart.percentStacked)
                    v = total[i] > 0 ? v / total[i] : 0;
                double from = 0, to = v;
                if (chart.stacked) {
                    double& acc = v >= 0 ? pos[i] : neg[i];
                    from = acc;
                    to = acc += v;
                }
                const double a = chart.stacked ? valuePos(from) : zero, b = valuePos(to);
                double start = categoryPos(static_cast<double>(i)) - (chart.stacked ? bar / 2 : bars * bar / 2);
                if (!chart.stacked)
                    start += static_cast<double>(slot) * bar;
                if (across) {
                    // Bars of a cluster stand bottom up in series order.
                    const double top = chart.stacked ? start : categoryPos(static_cast<double>(i)) + bars * bar / 2 -
                                                                   static_cast<double>(slot + 1) * bar;
                    cairo_rectangle(cr, std::min(a, b), top, std::abs(b - a), bar);
                } else {
                    cairo_rectangle(cr, start, std::min(a, b), bar, std::abs(b - a));
                }
                cairo_fill(cr);
            }
        }
        if (bars == count) {
            cairo_restore(cr);
            return;
        }
    }

    // Lines and areas: the points at the categories, stacked where asked.
    std::vector<double> below(n, 0);
    for (size_t si = 0; si < count; ++si) {
        const ChartSeries& s = chart.series[si];
        const ChartKind kind = kindOf(s);
        if (kind == ChartKind::Bar)
            continue;
        const bool stacked = chart.stacked && kind == chart.kind; // a line over stacked columns is not stacked
        std::vector<double> level(n, std::numeric_limits<double>::quiet_NaN());
        for (size_t i = 0; i < s.values.size(); ++i)
            if (finite(s.values[i]))
                level[i] = (stacked ? below[i] : 0) + s.values[i];
        setRgb(cr, seriesColor(chart, s, si));
        if (kind == ChartKind::Area) {
            cairo_new_path(cr);
            for (size_t i = 0; i < n; ++i)
                cairo_line_to(cr, categoryPos(static_cast<double>(i)), valuePos(finite(level[i]) ? level[i] : below[i]));
            for (size_t i = n; i-- > 0;)
                cairo_line_to(cr, categoryPos(static_cast<double>(i)), stacked ? valuePos(below[i]) : zero);
            cairo_close_path(cr);
            cairo_fill(cr);
        } else {
            cairo_set_line_width(cr, 2.25 * Pt);
            cairo_new_path(cr);
            bool drawing = false;
            for (size_t i = 0; i < n; ++i) {
                if (!finite(level[i])) {
                    drawing = false;
                    continue;
                }
                const double x = categoryPos(static_cast<double>(i)), y = valuePos(level[i]);
                drawing ? cairo_line_to(cr, x, y) : cairo_move_to(cr, x, y);
                drawing = true;
            }
            cairo_stroke(cr);
        }
        if (stacked)
            for (size_t i = 0; i < n; ++i)
                if (finite(level[i]))
                    below[i] = level[i];
    }
    cairo_restore(cr);
}

} // namespace qm::render
