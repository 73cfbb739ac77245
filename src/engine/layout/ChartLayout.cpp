// Chart text placed as Office's automatic chart layout places it. The
// distances below were measured on PDFs Word made of charts it laid out
// itself (no c:layout of their own): 10 pt labels, frames of 360 x 216 pt
// and 432 x 216 pt, legends on the right and at the bottom.
#include "engine/layout/ChartLayout.h"

#include "engine/layout/TextMeasurer.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace qm::engine::layout {

namespace {

constexpr double Pt = 20; // twips

// Word's PDFs put: the plot area 11 pt inside the frame where no text
// stands beside it; text 6.5 pt inside the frame's left and bottom edges;
// value labels 9 pt left of the axis (the 3.2 pt tick included) and
// category labels 6.45 pt below it; a legend on the right with its text
// 10 pt inside the frame and its keys 15.75 pt right of the plot area,
// its entries 1.5 lines apart around the frame's middle; a legend at the
// bottom with its text 9.27 pt above the frame's edge and 9 pt below the
// axis labels.
constexpr double PlotInset = 11 * Pt;
constexpr double TextInsetLeft = 6.5 * Pt;
constexpr double TextInsetBottom = 6.43 * Pt;
constexpr double ValueLabelGap = 9.04 * Pt;
constexpr double CategoryLabelGap = 6.45 * Pt;
constexpr double LegendTextInset = 10 * Pt;
constexpr double LegendPlotGap = 15.75 * Pt;
constexpr double LegendBottomInset = 9.27 * Pt;
constexpr double LegendAxisGap = 9 * Pt;
constexpr double LegendEntryGap = 9.4 * Pt;
// A legend's key and the space after it: a square for bars, areas,
// slices and markers, a stretch of line for line and radar charts.
constexpr double SquareKey = 7.7 * Pt;
constexpr double LineKey = 21.4 * Pt;
constexpr double TitleInset = 5.5 * Pt;
constexpr double AxisTitleGap = 5 * Pt;
constexpr double TitlePlotGap = 8 * Pt;

bool isPie(ChartKind k) { return k == ChartKind::Pie || k == ChartKind::Doughnut; }
bool isXY(ChartKind k) { return k == ChartKind::Scatter || k == ChartKind::Bubble; }

class Placer {
public:
    Placer(TextMeasurer& m, std::vector<DrawnText>& out, int16_t column) : m_measurer(m), m_out(out), m_column(column) {}

    double width(const std::u16string& text, uint32_t format) { return m_measurer.width(text, format); }
    double height(uint32_t format) { return m_measurer.singleLineHeight(format); }
    void add(const std::u16string& text, uint32_t format, double x, double top)
    {
        // Values at the ends of the doubles' range place nothing.
        if (text.empty() || !std::isfinite(x) || !std::isfinite(top))
            return;
        const MeasuredFont& f = m_measurer.font(format);
        DrawnText t;
        t.text = text;
        t.x = x;
        t.top = top;
        t.baseline = top + f.ascent;
        t.bottom = t.baseline + f.descent;
        t.charFormat = format;
        t.column = m_column;
        t.right = x + width(text, format);
        m_out.push_back(std::move(t));
    }
    void addCentred(const std::u16string& text, uint32_t format, double centreX, double top)
    {
        add(text, format, centreX - width(text, format) / 2, top);
    }
    void addRight(const std::u16string& text, uint32_t format, double right, double top)
    {
        add(text, format, right - width(text, format), top);
    }
    /// Text turned a quarter left, its box's left edge at `left`, centred
    /// on `middle` down the page.
    void addVertical(const std::u16string& text, uint32_t format, double left, double middle)
    {
        const double w = width(text, format);
        add(text, format, left, middle - w / 2);
        DrawnText& t = m_out.back();
        const MeasuredFont& f = m_measurer.font(format);
        t.vertical = true;
        t.bottom = middle + w / 2;
        t.right = left + f.ascent + f.descent;
        t.baseline = left + f.ascent;
    }

private:
    TextMeasurer& m_measurer;
    std::vector<DrawnText>& m_out;
    int16_t m_column;
};

std::u16string general(double v)
{
    if (std::abs(v) < 1e-12)
        v = 0;
    char buf[40];
    std::snprintf(buf, sizeof buf, "%.10g", v);
    return utf8ToUtf16(buf);
}

/// The categories shown along the category axis: the first series' labels
/// that has any, else the points' numbers (1, 2, ...).
std::vector<std::u16string> categoriesOf(const Chart& chart)
{
    size_t n = 0;
    for (const ChartSeries& s : chart.series)
        n = std::max(n, std::max(s.values.size(), s.categories.size()));
    std::vector<std::u16string> out;
    for (const ChartSeries& s : chart.series) {
        n = std::max(n, s.categoryValues.size());
        if (!s.categories.empty()) {
            out = s.categories;
            break;
        }
        if (!s.categoryValues.empty()) {
            // Numbers and dates in the axis's format, else their cache's.
            const std::string& format =
                chart.categoryAxis.numberFormat.empty() ? s.categoryFormat : chart.categoryAxis.numberFormat;
            for (double v : s.categoryValues)
                out.push_back(std::isnan(v) ? std::u16string() : formatChartNumber(v, format));
            break;
        }
    }
    const bool named = !out.empty();
    out.resize(n);
    for (size_t i = 0; i < n; ++i)
        if (out[i].empty() && !named)
            out[i] = general(static_cast<double>(i + 1));
    return out;
}

std::string valueFormatOf(const Chart& chart, const ChartAxis& axis)
{
    if (chart.percentStacked)
        return "0%";
    if (!axis.numberFormat.empty())
        return axis.numberFormat;
    return chart.series.empty() ? std::string() : chart.series.front().valueFormat;
}

/// The lowest and highest value the value axis must show: each series'
/// values, or for stacked charts each category's sums of positive and of
/// negative values (shares of 1 when stacked to 100%).
std::pair<double, double> valueRange(const Chart& chart)
{
    double lo = 0, hi = 0;
    bool any = false;
    auto take = [&](double v) {
        if (std::isnan(v))
            return;
        lo = any ? std::min(lo, v) : v;
        hi = any ? std::max(hi, v) : v;
        any = true;
    };
    if (chart.stacked) {
        size_t n = 0;
        for (const ChartSeries& s : chart.series)
            n = std::max(n, s.values.size());
        for (size_t i = 0; i < n; ++i) {
            double pos = 0, neg = 0, total = 0;
            for (const ChartSeries& s : chart.series)
                if (i < s.values.size() && !std::isnan(s.values[i])) {
                    (s.values[i] >= 0 ? pos : neg) += s.values[i];
                    total += std::abs(s.values[i]);
                }
            if (chart.percentStacked && total > 0)
                pos /= total, neg /= total;
            take(pos);
            take(neg);
        }
    } else {
        for (const ChartSeries& s : chart.series)
            for (double v : s.values)
                take(v);
    }
    return {lo, hi};
}

std::pair<double, double> xRange(const Chart& chart)
{
    double lo = 0, hi = 0;
    bool any = false;
    for (const ChartSeries& s : chart.series) {
        for (size_t i = 0; i < s.values.size(); ++i) {
            const double x = i < s.xValues.size() ? s.xValues[i] : static_cast<double>(i + 1);
            if (std::isnan(x))
                continue;
            lo = any ? std::min(lo, x) : x;
            hi = any ? std::max(hi, x) : x;
            any = true;
        }
    }
    return {lo, hi};
}

std::vector<std::u16string> scaleLabels(const AxisScale& scale, const std::string& format)
{
    std::vector<std::u16string> out;
    for (int k = 0; k <= scale.steps(); ++k)
        out.push_back(formatChartNumber(scale.min + k * scale.unit, format));
    return out;
}

double widest(Placer& p, const std::vector<std::u16string>& texts, uint32_t format)
{
    double w = 0;
    for (const auto& t : texts)
        w = std::max(w, p.width(t, format));
    return w;
}

/// A label broken at its spaces into rows no wider than `room` (a word
/// wider than that keeps a row of its own); one row when it fits.
std::vector<std::u16string> wrapLabel(Placer& p, const std::u16string& text, uint32_t format, double room)
{
    if (p.width(text, format) <= room || text.find(u' ') == std::u16string::npos)
        return {text};
    std::vector<std::u16string> rows;
    std::u16string row;
    for (size_t start = 0; start <= text.size();) {
        size_t end = text.find(u' ', start);
        if (end == std::u16string::npos)
            end = text.size();
        const std::u16string word = text.substr(start, end - start);
        start = end + 1;
        if (word.empty())
            continue;
        const std::u16string longer = row.empty() ? word : row + u' ' + word;
        if (!row.empty() && p.width(longer, format) > room) {
            rows.push_back(row);
            row = word;
        } else {
            row = longer;
        }
    }
    if (!row.empty())
        rows.push_back(row);
    return rows;
}

struct Legend {
    double left = 0, right = 0, top = 0, bottom = 0; // what it takes of the frame
};

/// Places the legend and returns the room it takes.
Legend placeLegend(Placer& p, const Chart& chart, const ChartFrame& f, double top, ChartPlot& plot)
{
    Legend room;
    if (chart.legend == LegendPosition::None)
        return room;
    std::vector<std::u16string> entries;
    std::vector<int32_t> order;
    if (isPie(chart.kind)) {
        entries = categoriesOf(chart);
    } else {
        for (const ChartSeries& s : chart.series)
            entries.push_back(s.name.empty() ? u"Series" + general(static_cast<double>(entries.size() + 1)) : s.name);
    }
    for (size_t i = 0; i < entries.size(); ++i)
        order.push_back(static_cast<int32_t>(i));
    // Horizontal bars list their series bottom up, as the bars stand.
    if (!isPie(chart.kind) && chart.horizontal && chart.kind == ChartKind::Bar) {
        std::reverse(entries.begin(), entries.end());
        std::reverse(order.begin(), order.end());
    }
    if (entries.empty())
        return room;
    const uint32_t fmt = chart.legendFormat;
    const double lh = p.height(fmt);
    const double key = chart.kind == ChartKind::Line || chart.kind == ChartKind::Radar ? LineKey : SquareKey;
    const double right = f.left + f.width, bottom = f.top + f.height;
    if (chart.legend == LegendPosition::Right || chart.legend == LegendPosition::Left) {
        const double w = widest(p, entries, fmt);
        const double pitch = 1.5 * lh;
        const double middle = (top + bottom) / 2 - 0.35 * Pt;
        double y = middle - ((entries.size() - 1) * pitch + lh) / 2;
        double textLeft = 0;
        if (chart.legend == LegendPosition::Right) {
            textLeft = right - LegendTextInset - w;
            room.right = right - (textLeft - key - LegendPlotGap);
        } else {
            textLeft = f.left + LegendTextInset + key;
            room.left = textLeft + w + LegendPlotGap - f.left;
        }
        for (size_t i = 0; i < entries.size(); ++i) {
            p.add(entries[i], fmt, textLeft, y);
            plot.keys.push_back({textLeft, y + lh / 2, order[i]});
            y += pitch;
        }
        return room;
    }
    // Top or bottom: the entries side by side, rows as wide as the frame allows.
    std::vector<std::vector<size_t>> rows(1);
    double rowWidth = 0;
    const double room_ = f.width - 2 * LegendTextInset;
    for (size_t i = 0; i < entries.size(); ++i) {
        const double w = key + p.width(entries[i], fmt);
        if (!rows.back().empty() && rowWidth + LegendEntryGap + w > room_) {
            rows.emplace_back();
            rowWidth = 0;
        }
        rowWidth += (rows.back().empty() ? 0 : LegendEntryGap) + w;
        rows.back().push_back(i);
    }
    const double pitch = 1.2 * lh;
    const double height = (rows.size() - 1) * pitch + lh;
    double y = chart.legend == LegendPosition::Bottom ? bottom - LegendBottomInset - height : top;
    if (chart.legend == LegendPosition::Bottom)
        room.bottom = bottom - y + LegendAxisGap;
    else
        room.top = y + height + LegendAxisGap - top;
    for (const auto& row : rows) {
        double total = 0;
        for (size_t i : row)
            total += key + p.width(entries[i], fmt);
        total += (row.size() - 1) * LegendEntryGap;
        double x = f.left + f.width / 2 - total / 2 + 1.9 * Pt;
        for (size_t i : row) {
            p.add(entries[i], fmt, x + key, y);
            plot.keys.push_back({x + key, y + lh / 2, order[i]});
            x += key + p.width(entries[i], fmt) + LegendEntryGap;
        }
        y += pitch;
    }
    return room;
}

double percentOf(const ChartSeries& s, size_t i)
{
    double total = 0;
    for (double v : s.values)
        if (!std::isnan(v))
            total += std::abs(v);
    return total > 0 && i < s.values.size() ? std::abs(s.values[i]) / total : 0;
}

std::u16string dataLabel(const Chart& chart, const ChartSeries& s, size_t i, const std::vector<std::u16string>& cats)
{
    std::u16string text;
    auto join = [&](const std::u16string& part) {
        if (part.empty())
            return;
        if (!text.empty())
            text += isPie(chart.kind) ? u"; " : u", ";
        text += part;
    };
    if (s.labels.series)
        join(s.name);
    if (s.labels.category && i < cats.size())
        join(cats[i]);
    if (s.labels.value && i < s.values.size() && !std::isnan(s.values[i]))
        join(formatChartNumber(s.values[i], s.valueFormat));
    if (s.labels.percent && isPie(chart.kind))
        join(formatChartNumber(percentOf(s, i), "0%"));
    return text;
}

void layoutPie(Placer& p, const Chart& chart, const ChartFrame& f, double top, const Legend& legend, ChartPlot& plot)
{
    // The pie fills the height left, centred in the room beside the legend.
    const double left = f.left + PlotInset + legend.left;
    const double right = f.left + f.width - std::max(PlotInset, legend.right);
    const double bottom = f.top + f.height - std::max(PlotInset, legend.bottom);
    double radius = std::max(0.0, std::min(right - left, bottom - top) / 2);
    double cx = (left + right) / 2, cy = (top + bottom) / 2;
    if (chart.manualPlot) {
        const auto& m = *chart.manualPlot;
        cx = f.left + (m[0] + m[2] / 2) * f.width, cy = f.top + (m[1] + m[3] / 2) * f.height;
        radius = std::min(m[2] * f.width, m[3] * f.height) / 2;
    }
    plot.cx = cx, plot.cy = cy, plot.radius = radius;
    const ChartSeries& s = chart.series.front();
    if (!s.labels.any())
        return;
    const std::vector<std::u16string> cats = categoriesOf(chart);
    const uint32_t fmt = chart.labelFormat;
    const double lh = p.height(fmt);
    // Labels stand inside their slices, at the middle of the ring for a
    // doughnut and two thirds out for a pie.
    const double at = chart.kind == ChartKind::Doughnut ? (1 + chart.holePercent / 100.0) / 2 : 0.65;
    double angle = 0;
    for (size_t i = 0; i < s.values.size(); ++i) {
        const double share = percentOf(s, i);
        const double mid = (angle + share / 2) * 2 * std::numbers::pi;
        angle += share;
        const std::u16string text = dataLabel(chart, s, i, cats);
        p.addCentred(text, fmt, cx + std::sin(mid) * radius * at, cy - std::cos(mid) * radius * at - lh / 2);
    }
}

void layoutRadar(Placer& p, const Chart& chart, const ChartFrame& f, double top, const Legend& legend, ChartPlot& plot)
{
    // The web takes 43% of the height left as its radius, its centre a
    // little above the middle, so that the labels around it fit.
    const double left = f.left + PlotInset + legend.left;
    const double right = f.left + f.width - std::max(PlotInset, legend.right);
    const double bottom = f.top + f.height - std::max(TextInsetBottom, legend.bottom);
    const double h = std::max(0.0, bottom - top);
    double radius = std::min(0.4318 * h, (right - left) / 2);
    double cx = (left + right) / 2, cy = top + 0.4869 * h;
    if (chart.manualPlot) {
        const auto& m = *chart.manualPlot;
        cx = f.left + (m[0] + m[2] / 2) * f.width, cy = f.top + (m[1] + m[3] / 2) * f.height;
        radius = std::min(m[2] * f.width, m[3] * f.height) / 2;
    }
    const std::vector<std::u16string> cats = categoriesOf(chart);
    const uint32_t vfmt = chart.valueAxis.charFormat;
    const double vlh = p.height(vfmt);
    const auto [lo, hi] = valueRange(chart);
    const AxisScale scale = autoScale(lo, hi, radius, vlh, chart.valueAxis);
    plot.cx = cx, plot.cy = cy, plot.radius = radius;
    plot.valueMin = scale.min, plot.valueMax = scale.max, plot.valueUnit = scale.unit;
    if (!chart.valueAxis.deleted) {
        const std::vector<std::u16string> labels = scaleLabels(scale, valueFormatOf(chart, chart.valueAxis));
        for (size_t k = 0; k < labels.size(); ++k)
            p.addRight(labels[k], vfmt, cx - PlotInset, cy - radius * k / scale.steps() - vlh / 2);
    }
    if (chart.categoryAxis.deleted || cats.empty())
        return;
    const uint32_t cfmt = chart.categoryAxis.charFormat;
    const double lh = p.height(cfmt);
    for (size_t i = 0; i < cats.size(); ++i) {
        const double a = 2 * std::numbers::pi * static_cast<double>(i) / static_cast<double>(cats.size());
        const double sx = std::sin(a), cy_ = std::cos(a);
        const double vx = cx + radius * sx, vy = cy - radius * cy_;
        const double w = p.width(cats[i], cfmt);
        double x = vx - w / 2, y = 0;
        if (std::abs(sx) > 0.05)
            x = sx > 0 ? vx + 3 * Pt : vx - 3 * Pt - w;
        if (std::abs(sx) <= 0.05)
            y = cy_ > 0 ? vy - 3.86 * Pt - lh : vy + 3.86 * Pt;
        else
            y = vy - cy_ * 3.04 * Pt - 0.38 * Pt - lh / 2;
        p.add(cats[i], cfmt, x, y);
    }
}

/// A date serial as a date format shows it, in the 1900 date system that
/// Word's charts share with their workbooks (1 is 1 January 1900; Excel
/// counts a 29 February 1900 that never was). Years, months (numbers,
/// abbreviated and full English names), days, hours, minutes and seconds;
/// quoted and escaped text as it is.
std::u16string formatDate(double serial, std::string_view code)
{
    if (!(serial >= 0 && serial < 2958466))
        return general(serial);
    const int64_t whole = static_cast<int64_t>(std::floor(serial));
    const int64_t secondsOfDay = std::llround((serial - static_cast<double>(whole)) * 86400) % 86400;
    // Days from 1970-01-01, then the civil date (Howard Hinnant's algorithm).
    int64_t z = whole - 25569 + (whole < 61 ? 1 : 0) + 719468;
    const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const int64_t doe = z - era * 146097;
    const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const int64_t mp = (5 * doy + 2) / 153;
    int64_t day = doy - (153 * mp + 2) / 5 + 1;
    int64_t month = mp < 10 ? mp + 3 : mp - 9;
    int64_t year = yoe + era * 400 + (month <= 2 ? 1 : 0);
    if (whole == 60)
        year = 1900, month = 2, day = 29;
    const int64_t weekday = ((whole - 1) % 7 + 7) % 7; // 0 Sunday, as Excel counts from its 1 January 1900
    static const char* const months[] = {"January", "February", "March",     "April",   "May",      "June",
                                         "July",    "August",   "September", "October", "November", "December"};
    static const char* const days[] = {"Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
    std::string out;
    bool afterHour = false;
    auto number = [&](int64_t v, size_t width) {
        std::string t = std::to_string(v);
        if (t.size() < width)
            t.insert(0, width - t.size(), '0');
        out += t;
    };
    for (size_t i = 0; i < code.size();) {
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(code[i])));
        size_t run = 1;
        while (i + run < code.size() && std::tolower(static_cast<unsigned char>(code[i + run])) == c)
            ++run;
        if (c == '"') {
            const size_t end = code.find('"', i + 1);
            out += code.substr(i + 1, (end == std::string_view::npos ? code.size() : end) - i - 1);
            i = end == std::string_view::npos ? code.size() : end + 1;
            continue;
        }
        if (c == '[') {
            const size_t end = code.find(']', i);
            i = end == std::string_view::npos ? code.size() : end + 1;
            continue;
        }
        if (c == '\\' && i + 1 < code.size()) {
            out += code[i + 1];
            i += 2;
            continue;
        }
        if (c == 'y') {
            run <= 2 ? number(year % 100, 2) : number(year, 4);
        } else if (c == 'm') {
            // Minutes after hours or before seconds, else the month.
            size_t next = i + run;
            while (next < code.size() && std::string_view(":. ").find(code[next]) != std::string_view::npos)
                ++next;
            const bool minutes = afterHour || (next < code.size() && std::tolower(static_cast<unsigned char>(code[next])) == 's');
            if (minutes)
                number(secondsOfDay / 60 % 60, run >= 2 ? 2 : 1);
            else if (run >= 5)
                out += months[month - 1][0];
            else if (run == 4)
                out += months[month - 1];
            else if (run == 3)
                out += std::string(months[month - 1], 3);
            else
                number(month, run);
        } else if (c == 'd') {
            if (run >= 4)
                out += days[weekday];
            else if (run == 3)
                out += std::string(days[weekday], 3);
            else
                number(day, run);
        } else if (c == 'h') {
            number(secondsOfDay / 3600, run >= 2 ? 2 : 1);
            afterHour = true;
            i += run;
            continue;
        } else if (c == 's') {
            number(secondsOfDay % 60, run >= 2 ? 2 : 1);
        } else if (c == '@' || c == '_' || c == '*') {
            i += c == '@' ? run : 2;
            continue;
        } else {
            out.append(code.substr(i, run));
        }
        if (c != 'h' && c != ':' && c != ' ')
            afterHour = false;
        i += run;
    }
    return utf8ToUtf16(out);
}

} // namespace

int AxisScale::steps() const
{
    if (!(unit > 0) || !(max > min))
        return 1;
    return std::clamp(static_cast<int>(std::lround((max - min) / unit)), 1, 1000);
}

AxisScale autoScale(double low, double high, double length, double minSpacing, const ChartAxis& axis,
                    double headroom)
{
    if (!(low <= high))
        low = high = 0;
    // From 0 unless every value is on one side of it and close together.
    double min = low >= 0 ? 0 : low;
    double max = high <= 0 ? 0 : high;
    if (low > 0 && (high - low) < high / 6)
        min = low - (high - low) / 2;
    if (axis.min)
        min = *axis.min;
    if (axis.max)
        max = *axis.max;
    if (!(max > min))
        max = min + 1;
    // The headroom lies beyond the values only: an axis ending at 0 ends there.
    const double top = axis.max || max <= 0 ? max : max + headroom * (max - min);
    const double bottom = axis.min || min >= 0 ? min : min - headroom * (max - min);
    AxisScale s;
    auto fits = [&](double unit) {
        const double lo = axis.min ? min : std::floor(bottom / unit + 1e-9) * unit;
        const double hi = axis.max ? max : std::ceil(top / unit - 1e-9) * unit;
        const double steps = std::round((hi - lo) / unit);
        s = {lo, std::max(hi, lo + unit), unit};
        return steps <= 10 && length / std::max(1.0, steps) >= minSpacing;
    };
    if (!std::isfinite(top - bottom) || !std::isfinite(min) || !std::isfinite(max))
        return {0, 1, 1}; // values no scale can hold
    if (axis.majorUnit) {
        // A step too fine to label (more than a thousand of them) gives way to tenths.
        if ((max - min) / *axis.majorUnit > 1000)
            return {min, max, (max - min) / 10};
        fits(*axis.majorUnit);
        return s;
    }
    const double range = std::max(top - bottom, 1e-300);
    double unit = std::pow(10.0, std::floor(std::log10(range)) - 2);
    for (int i = 0; i < 40; ++i) {
        for (double m : {1.0, 2.0, 5.0})
            if (fits(unit * m))
                return s;
        unit *= 10;
    }
    return s;
}

std::u16string formatChartNumber(double v, std::string_view format)
{
    std::string_view code = format.substr(0, format.find(';'));
    std::string lower;
    for (char c : code)
        lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    // Dates and times: a format letter outside quotes, escapes and brackets.
    for (size_t i = 0; i < code.size(); ++i) {
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(code[i])));
        if (c == '"' || c == '[') {
            const size_t end = code.find(c == '"' ? '"' : ']', i + 1);
            i = end == std::string_view::npos ? code.size() : end;
        } else if (c == '\\' || c == '_' || c == '*') {
            ++i;
        } else if (std::string_view("ymdhs").find(c) != std::string_view::npos) {
            return formatDate(v, code);
        }
    }
    const size_t first = code.find_first_of("0#?");
    if (code.empty() || lower == "general" || first == std::string_view::npos)
        return general(v);
    const size_t last = code.find_last_of("0#?");
    // Literal text around the number: quoted, escaped or plain; "[$€-407]"
    // shows its currency.
    auto literal = [](std::string_view part) {
        std::string out;
        for (size_t i = 0; i < part.size(); ++i) {
            const char c = part[i];
            if (c == '"') {
                const size_t end = part.find('"', i + 1);
                out += part.substr(i + 1, (end == std::string_view::npos ? part.size() : end) - i - 1);
                i = end == std::string_view::npos ? part.size() : end;
            } else if (c == '\\' && i + 1 < part.size()) {
                out += part[++i];
            } else if ((c == '_' || c == '*') && i + 1 < part.size()) {
                ++i;
            } else if (c == '[') {
                const size_t end = part.find(']', i);
                const std::string_view inside = part.substr(i + 1, (end == std::string_view::npos ? part.size() : end) - i - 1);
                if (inside.starts_with("$"))
                    out += inside.substr(1, inside.find('-') == std::string_view::npos ? std::string_view::npos
                                                                                       : inside.find('-') - 1);
                i = end == std::string_view::npos ? part.size() : end;
            } else if (c != '%') {
                out += c;
            }
        }
        return out;
    };
    const std::string_view number = code.substr(first, last - first + 1);
    const bool percent = code.find('%') != std::string_view::npos;
    const size_t point = number.find('.');
    int decimals = 0;
    if (point != std::string_view::npos)
        for (char c : number.substr(point + 1))
            decimals += c == '0' || c == '#' || c == '?' ? 1 : 0;
    const bool thousands = number.substr(0, point).find(',') != std::string_view::npos;
    double x = percent ? v * 100 : v;
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.*f", std::clamp(decimals, 0, 15), std::abs(x));
    std::string digits = buf;
    if (thousands) {
        const size_t dot = digits.find('.');
        for (int i = static_cast<int>(dot == std::string::npos ? digits.size() : dot) - 3; i > 0; i -= 3)
            digits.insert(static_cast<size_t>(i), ",");
    }
    bool zero = true;
    for (char c : digits)
        zero = zero && (c == '0' || c == '.' || c == ',');
    std::string out = (x < 0 && !zero ? "-" : "") + literal(code.substr(0, first)) + digits +
                      literal(code.substr(last + 1)) + (percent ? "%" : "");
    return utf8ToUtf16(out);
}

void layoutChart(const Document& document, const Chart& chart, const ChartFrame& f, TextMeasurer& measurer,
                 std::vector<DrawnText>& out, ChartPlot* plotOut)
{
    (void)document;
    if (chart.series.empty() || f.width <= 0 || f.height <= 0)
        return;
    ChartPlot ignored;
    ChartPlot& plot = plotOut ? *plotOut : ignored;
    Placer p(measurer, out, 0);
    const double right = f.left + f.width, bottom = f.top + f.height;

    // The title across the top, one row per paragraph, centred.
    double top = f.top;
    if (!chart.title.empty()) {
        const double lh = p.height(chart.titleFormat);
        double y = f.top + TitleInset;
        for (size_t start = 0; start <= chart.title.size();) {
            size_t end = chart.title.find(u'\n', start);
            if (end == std::u16string::npos)
                end = chart.title.size();
            p.addCentred(chart.title.substr(start, end - start), chart.titleFormat, f.left + f.width / 2, y);
            y += lh;
            start = end + 1;
        }
        top = y + TitlePlotGap - PlotInset;
    }
    const Legend legend = placeLegend(p, chart, f, top, plot);
    // A plot area placed by hand stands where it was put; the labels
    // around it follow it.
    const bool manual = chart.manualPlot.has_value();
    const std::array<double, 4> m = manual ? *chart.manualPlot : std::array<double, 4>{};
    const double manualLeft = f.left + m[0] * f.width, manualTop = f.top + m[1] * f.height;
    const double manualRight = manualLeft + m[2] * f.width, manualBottom = manualTop + m[3] * f.height;
    const double plotTop = manual ? manualTop : top + PlotInset + legend.top;

    if (isPie(chart.kind)) {
        layoutPie(p, chart, f, plotTop, legend, plot);
        return;
    }
    if (chart.kind == ChartKind::Radar) {
        layoutRadar(p, chart, f, plotTop, legend, plot);
        return;
    }

    // Axes: the room their labels take decides the plot area.
    // Series stacked to 100% end at 100% (and -100% below), no headroom.
    ChartAxis percentAxis = chart.valueAxis;
    if (chart.percentStacked) {
        const auto [low, high] = valueRange(chart);
        percentAxis.max = percentAxis.max.value_or(high > 0 ? 1.0 : 0.0);
        percentAxis.min = percentAxis.min.value_or(low < 0 ? -1.0 : 0.0);
    }
    const ChartAxis& vAxis = percentAxis;
    const ChartAxis& cAxis = chart.categoryAxis;
    // Axis titles: the horizontal axis's under its labels, the vertical
    // axis's turned a quarter left beside its labels; each takes its line
    // and a gap from the room of the labels.
    const bool across = chart.kind == ChartKind::Bar && chart.horizontal; // values along the bottom
    const ChartAxis& bottomAxis = across ? vAxis : cAxis;
    const ChartAxis& sideAxis = across ? cAxis : vAxis;
    const double bottomTitle = bottomAxis.title.empty() ? 0 : p.height(bottomAxis.titleFormat) + AxisTitleGap;
    const double sideTitle = sideAxis.title.empty() ? 0 : p.height(sideAxis.titleFormat) + AxisTitleGap;
    const double outerLeft = f.left + std::max(TextInsetLeft, legend.left);
    const double outerBottom = legend.bottom > 0 ? bottom - legend.bottom : bottom - TextInsetBottom;
    const double regionLeft = outerLeft + sideTitle;
    const double regionRight = right - std::max(PlotInset, legend.right);
    const double regionBottom = outerBottom - bottomTitle;
    const uint32_t vfmt = vAxis.charFormat, cfmt = cAxis.charFormat;
    const double vlh = p.height(vfmt), clh = p.height(cfmt);
    const std::string vFormat = valueFormatOf(chart, vAxis);
    const auto [lo, hi] = valueRange(chart);
    const double headroom = chart.kind == ChartKind::Bubble ? 0.25 : 0.05;
    const std::vector<std::u16string> cats = categoriesOf(chart);
    const bool showValues = !vAxis.deleted, showCats = !cAxis.deleted;

    // What stands below the plot area: category labels, or the value (x)
    // labels of horizontal bars and scatter charts.
    const bool labelsBelow = across ? showValues : showCats;
    // Category labels wider than their category's room are broken at their
    // spaces onto more rows, which push the plot area up: the room is
    // worked out first from the scale the plot area would have with one row.
    const size_t n = std::max<size_t>(1, cats.size());
    const bool wraps = !across && !isXY(chart.kind) && showCats && !cats.empty();
    auto slots = [&] { return static_cast<double>(chart.pointsOnTicks ? std::max<size_t>(1, n - 1) : n); };
    size_t catRows = 1;
    if (wraps && !manual) {
        const double height = std::max(1.0, regionBottom - clh - CategoryLabelGap - plotTop);
        const AxisScale first = autoScale(lo, hi, height, vlh, vAxis, headroom);
        const double left =
            showValues ? regionLeft + widest(p, scaleLabels(first, vFormat), vfmt) + ValueLabelGap : f.left + PlotInset;
        const double room = (regionRight - left) / slots();
        for (const auto& cat : cats)
            catRows = std::max(catRows, wrapLabel(p, cat, cfmt, room).size());
        catRows = std::min<size_t>(catRows, 4);
    }
    const double plotBottom = manual        ? manualBottom
                              : labelsBelow ? regionBottom - (across ? vlh : clh * catRows) - CategoryLabelGap
                                            : bottom - std::max(PlotInset, legend.bottom);
    const double plotHeight = std::max(1.0, plotBottom - plotTop);
    auto placeAxisTitles = [&](double plotLeft, double plotRight) {
        if (bottomTitle > 0)
            p.addCentred(bottomAxis.title, bottomAxis.titleFormat, (plotLeft + plotRight) / 2,
                         outerBottom - p.height(bottomAxis.titleFormat));
        if (sideTitle > 0)
            p.addVertical(sideAxis.title, sideAxis.titleFormat, outerLeft, (plotTop + plotBottom) / 2);
    };

    if (across) {
        // Horizontal bars: categories up the left side, values along the bottom.
        const double plotLeft = manual     ? manualLeft
                                : showCats ? regionLeft + widest(p, cats, cfmt) + ValueLabelGap
                                           : f.left + PlotInset;
        double plotRight = manual ? manualRight : regionRight;
        AxisScale scale;
        std::vector<std::u16string> labels;
        for (int pass = 0; pass < 2; ++pass) {
            scale = autoScale(lo, hi, std::max(1.0, plotRight - plotLeft), vlh * 3, vAxis, headroom);
            labels = scaleLabels(scale, vFormat);
            if (pass == 0 && showValues && !labels.empty() && !manual)
                plotRight = regionRight - p.width(labels.back(), vfmt) / 2;
        }
        const double plotWidth = std::max(1.0, plotRight - plotLeft);
        plot.left = plotLeft, plot.right = plotRight, plot.top = plotTop, plot.bottom = plotBottom;
        plot.valueMin = scale.min, plot.valueMax = scale.max, plot.valueUnit = scale.unit;
        if (showValues)
            for (size_t k = 0; k < labels.size(); ++k) {
                const double t = static_cast<double>(k) / scale.steps();
                p.addCentred(labels[k], vfmt, vAxis.reversed ? plotRight - t * plotWidth : plotLeft + t * plotWidth,
                             plotBottom + CategoryLabelGap);
            }
        const double band = plotHeight / static_cast<double>(std::max<size_t>(1, cats.size()));
        auto bandCentre = [&](double i) { return cAxis.reversed ? plotTop + (i + 0.5) * band : plotBottom - (i + 0.5) * band; };
        if (showCats)
            for (size_t i = 0; i < cats.size(); ++i)
                p.addRight(cats[i], cfmt, plotLeft - ValueLabelGap, bandCentre(static_cast<double>(i)) - clh / 2);
        // Data labels: beyond a bar's end, or in a stacked segment's middle.
        auto valueX = [&](double v) {
            const double t = (v - scale.min) / (scale.max - scale.min);
            return vAxis.reversed ? plotRight - t * plotWidth : plotLeft + t * plotWidth;
        };
        const uint32_t lfmt = chart.labelFormat;
        const double llh = p.height(lfmt);
        const size_t count = chart.series.size();
        std::vector<double> pos(cats.size(), 0), neg(cats.size(), 0);
        for (size_t si = 0; si < count; ++si) {
            const ChartSeries& s = chart.series[si];
            for (size_t i = 0; i < s.values.size() && i < cats.size(); ++i) {
                const double v = s.values[i];
                if (std::isnan(v))
                    continue;
                double base = 0, end = v;
                if (chart.stacked) {
                    double& acc = v >= 0 ? pos[i] : neg[i];
                    base = acc;
                    end = acc += v;
                }
                if (!s.labels.any())
                    continue;
                const std::u16string text = dataLabel(chart, s, i, cats);
                double y = bandCentre(static_cast<double>(i));
                if (chart.stacked) {
                    p.addCentred(text, lfmt, (valueX(base) + valueX(end)) / 2, y - llh / 2);
                    continue;
                }
                // Bars of a cluster stand bottom up in series order.
                const double bar = band / (static_cast<double>(count) + chart.gapWidth / 100.0);
                y += ((count - 1) / 2.0 - static_cast<double>(si)) * bar * (cAxis.reversed ? -1 : 1);
                const double w = p.width(text, lfmt);
                p.add(text, lfmt, v >= 0 ? valueX(end) + 2 * Pt : valueX(end) - 2 * Pt - w, y - llh / 2);
            }
        }
        placeAxisTitles(plotLeft, plotRight);
        return;
    }

    // Values up the left side.
    const AxisScale scale = autoScale(lo, hi, plotHeight, vlh, vAxis, headroom);
    const std::vector<std::u16string> labels = scaleLabels(scale, vFormat);
    double plotLeft = manual       ? manualLeft
                      : showValues ? regionLeft + widest(p, labels, vfmt) + ValueLabelGap
                                   : f.left + PlotInset;
    double plotRight = manual ? manualRight : regionRight;
    auto valueY = [&](double v) {
        const double t = (v - scale.min) / (scale.max - scale.min);
        return vAxis.reversed ? plotTop + t * plotHeight : plotBottom - t * plotHeight;
    };
    if (showValues)
        for (size_t k = 0; k < labels.size(); ++k)
            p.addRight(labels[k], vfmt, plotLeft - ValueLabelGap,
                       valueY(scale.min + static_cast<double>(k) * scale.unit) - vlh / 2);

    if (isXY(chart.kind)) {
        // The x axis is a value axis too, its labels centred on its ticks;
        // the last one's overhang is kept inside the frame.
        const auto [xlo, xhi] = xRange(chart);
        AxisScale xs;
        std::vector<std::u16string> xl;
        for (int pass = 0; pass < 2; ++pass) {
            xs = autoScale(xlo, xhi, std::max(1.0, plotRight - plotLeft), clh * 3, cAxis, headroom);
            xl = scaleLabels(xs, cAxis.numberFormat);
            if (pass == 0 && showCats && !xl.empty() && !manual)
                plotRight = regionRight - p.width(xl.back(), cfmt) / 2;
        }
        const double w = std::max(1.0, plotRight - plotLeft);
        plot.left = plotLeft, plot.right = plotRight, plot.top = plotTop, plot.bottom = plotBottom;
        plot.valueMin = scale.min, plot.valueMax = scale.max, plot.valueUnit = scale.unit;
        plot.xMin = xs.min, plot.xMax = xs.max;
        if (showCats)
            for (size_t k = 0; k < xl.size(); ++k) {
                const double t = static_cast<double>(k) / xs.steps();
                p.addCentred(xl[k], cfmt, cAxis.reversed ? plotRight - t * w : plotLeft + t * w,
                             plotBottom + CategoryLabelGap);
            }
        for (const ChartSeries& s : chart.series)
            if (s.labels.any())
                for (size_t i = 0; i < s.values.size() && i < s.xValues.size(); ++i) {
                    const double x = plotLeft + (s.xValues[i] - xs.min) / (xs.max - xs.min) * w;
                    p.add(dataLabel(chart, s, i, cats), chart.labelFormat, x + 4 * Pt,
                          valueY(s.values[i]) - p.height(chart.labelFormat) / 2);
                }
        placeAxisTitles(plotLeft, plotRight);
        return;
    }

    // Categories along the bottom: between the ticks, or on them (areas),
    // where the first and last labels' overhang is kept inside the frame.
    if (chart.pointsOnTicks && showCats && !cats.empty() && !manual) {
        plotLeft = std::max(plotLeft, regionLeft + p.width(cats.front(), cfmt) / 2);
        plotRight = regionRight - p.width(cats.back(), cfmt) / 2;
    }
    const double plotWidth = std::max(1.0, plotRight - plotLeft);
    plot.left = plotLeft, plot.right = plotRight, plot.top = plotTop, plot.bottom = plotBottom;
    plot.valueMin = scale.min, plot.valueMax = scale.max, plot.valueUnit = scale.unit;
    placeAxisTitles(plotLeft, plotRight);
    const double pitch = chart.pointsOnTicks ? plotWidth / static_cast<double>(std::max<size_t>(1, n - 1))
                                             : plotWidth / static_cast<double>(n);
    auto categoryX = [&](double i) {
        const double x = chart.pointsOnTicks ? i * pitch : (i + 0.5) * pitch;
        return cAxis.reversed ? plotRight - x : plotLeft + x;
    };
    if (showCats) {
        // Labels that still do not fit, a word wider than the room: every
        // second (third...) one is shown, as Office skips them.
        std::vector<std::vector<std::u16string>> rows;
        double w = 0;
        for (const auto& cat : cats) {
            rows.push_back(wrapLabel(p, cat, cfmt, pitch));
            if (rows.back().size() > catRows)
                rows.back() = {cat};
            for (const auto& row : rows.back())
                w = std::max(w, p.width(row, cfmt));
        }
        const size_t skip = std::max<size_t>(1, static_cast<size_t>(std::ceil(w / std::max(1.0, pitch) - 0.02)));
        for (size_t i = 0; i < cats.size(); i += skip)
            for (size_t r = 0; r < rows[i].size(); ++r)
                p.addCentred(rows[i][r], cfmt, categoryX(static_cast<double>(i)),
                             plotBottom + CategoryLabelGap + static_cast<double>(r) * clh);
    }

    // Data labels: above a column's end, beside a line's point, inside an
    // area at its value; stacked segments carry theirs in their middle.
    const uint32_t lfmt = chart.labelFormat;
    const double llh = p.height(lfmt);
    const size_t seriesCount = chart.series.size();
    std::vector<double> stackPos(n, 0), stackNeg(n, 0);
    for (size_t si = 0; si < seriesCount; ++si) {
        const ChartSeries& s = chart.series[si];
        for (size_t i = 0; i < s.values.size() && i < n; ++i) {
            const double v = s.values[i];
            if (std::isnan(v))
                continue;
            double base = 0, end = v;
            if (chart.stacked) {
                double& acc = v >= 0 ? stackPos[i] : stackNeg[i];
                base = acc;
                acc += v;
                end = acc;
            }
            if (!s.labels.any())
                continue;
            const std::u16string text = dataLabel(chart, s, i, cats);
            double x = categoryX(static_cast<double>(i));
            if (chart.kind == ChartKind::Bar) {
                if (!chart.stacked) {
                    const double bar = pitch / (static_cast<double>(seriesCount) + chart.gapWidth / 100.0);
                    x += (static_cast<double>(si) - (seriesCount - 1) / 2.0) * bar;
                    const double yEnd = valueY(end);
                    p.addCentred(text, lfmt, x, v >= 0 ? yEnd - 2 * Pt - llh : yEnd + 2 * Pt);
                } else {
                    p.addCentred(text, lfmt, x, (valueY(base) + valueY(end)) / 2 - llh / 2);
                }
            } else if (chart.kind == ChartKind::Area) {
                p.addCentred(text, lfmt, x, (valueY(base) + valueY(end)) / 2 - llh / 2);
            } else {
                p.add(text, lfmt, x + 4 * Pt, valueY(end) - llh / 2);
            }
        }
    }
}

} // namespace qm::engine::layout

namespace qm::engine::layout {

void placeChartText(const Document& document, const LayoutOptions& options, LayoutResult& result,
                    const std::vector<FloatingChart>& floating)
{
    if (document.charts.empty())
        return;
    std::vector<Diagnostic> unused;
    TextMeasurer measurer(document, options, unused);
    for (const FloatingChart& f : floating) {
        if (f.page >= result.pages.size() || f.chart < 0 || static_cast<size_t>(f.chart) >= document.charts.size())
            continue;
        std::vector<DrawnText>& texts = result.pages[f.page].drawnText;
        const size_t first = texts.size();
        ChartPlot plot;
        plot.chart = f.chart;
        layoutChart(document, document.charts[static_cast<size_t>(f.chart)], f.frame, measurer, texts, &plot);
        result.pages[f.page].chartPlots.push_back(plot);
        for (size_t i = first; i < texts.size(); ++i)
            texts[i].column = f.column;
    }
    forEachInlineObject(document, result,
                        [&](LaidOutPage& page, const LaidOutLine& line, const InlineObject& o, const ChartFrame& frame) {
                            if (o.chart < 0 || static_cast<size_t>(o.chart) >= document.charts.size())
                                return;
                            const size_t first = page.drawnText.size();
                            ChartPlot plot;
                            plot.chart = o.chart;
                            layoutChart(document, document.charts[static_cast<size_t>(o.chart)], frame, measurer,
                                        page.drawnText, &plot);
                            page.chartPlots.push_back(plot);
                            for (size_t i = first; i < page.drawnText.size(); ++i)
                                page.drawnText[i].column = line.column;
                        });
}

void forEachInlineObject(const Document& document, LayoutResult& result,
                         const std::function<void(LaidOutPage&, const LaidOutLine&, const InlineObject&,
                                                  const ChartFrame&)>& visit)
{
    for (LaidOutPage& page : result.pages) {
        for (const auto* lines : {&page.lines, &page.headerLines, &page.footerLines, &page.noteLines, &page.boxLines})
            for (const LaidOutLine& line : *lines) {
                if (line.story >= document.stories.size())
                    continue;
                const Story& s = document.stories[line.story];
                for (const LineRun& run : line.runs) {
                    if (run.start >= s.size() || s.text[run.start] != Ch::Object ||
                        run.charFormat >= document.charFormats.size())
                        continue;
                    const int32_t index = document.charFormats[run.charFormat].objectIndex;
                    if (index < 0 || static_cast<size_t>(index) >= document.objects.size())
                        continue;
                    const InlineObject& o = document.objects[static_cast<size_t>(index)];
                    if (o.floating)
                        continue;
                    const double baseline = line.y + line.ascent;
                    visit(page, line, o,
                          {run.x, baseline - o.height, static_cast<double>(o.width), static_cast<double>(o.height)});
                }
            }
    }
}

} // namespace qm::engine::layout
