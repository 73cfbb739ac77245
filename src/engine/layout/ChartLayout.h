// Chart text placed as Office's automatic chart layout places it: title, legend, axis and data labels.
#pragma once

#include "engine/layout/Layout.h"
#include "engine/model/Document.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::layout {

class TextMeasurer;

/// A chart object's frame on the page, in twips.
struct ChartFrame {
    double left = 0, top = 0, width = 0, height = 0;
};

/// Calls `visit` for each object set in a line (not floating) on every laid
/// out page, with the page, the line and the frame the object stands in: its
/// bottom on the line's baseline, its left where its run starts.
void forEachInlineObject(const Document& document, LayoutResult& result,
                         const std::function<void(LaidOutPage&, const LaidOutLine&, const InlineObject&,
                                                  const ChartFrame&)>& visit);

/// A value axis's scale: from min to max in steps of unit.
struct AxisScale {
    double min = 0, max = 1, unit = 1;
    int steps() const;
};

/// The scale Office gives values from `low` to `high` on an axis `length`
/// twips long whose labels need `minSpacing` twips each: from 0 (or the
/// values' own side of it), up to the first step above the highest value
/// with `headroom` of the range added, in the smallest step of 1, 2 or 5
/// times a power of ten that leaves at most ten steps at least minSpacing
/// apart. What the axis fixes (min, max, major unit) is kept.
AxisScale autoScale(double low, double high, double length, double minSpacing, const ChartAxis& axis,
                    double headroom = 0.05);

/// A number as a chart's number format shows it: "General" (up to ten
/// significant digits, no trailing zeros), fixed decimals ("0.0"), thousands
/// separators ("#,##0"), percent ("0%") and literal text around them.
std::u16string formatChartNumber(double v, std::string_view format);

/// Places the text of `chart` in `frame` (title, legend, axis labels,
/// category labels, data labels) and appends it to `out`; `plot`, when
/// given, gets the plot area and scales.
void layoutChart(const Document& document, const Chart& chart, const ChartFrame& frame, TextMeasurer& measurer,
                 std::vector<DrawnText>& out, ChartPlot* plot = nullptr);

/// A floating chart where the layout placed it: its page, frame and column.
struct FloatingChart {
    size_t page = 0;
    ChartFrame frame;
    int32_t chart = -1;
    int16_t column = 0;
};

/// Places the text of every chart standing in a line (an inline chart: its
/// frame's bottom on the line's baseline) and of the floating charts given
/// on the pages of `result`. Fonts are measured apart from the layout's own
/// measurer, so that nothing the layout reports changes.
void placeChartText(const Document& document, const LayoutOptions& options, LayoutResult& result,
                    const std::vector<FloatingChart>& floating = {});

} // namespace qm::engine::layout
