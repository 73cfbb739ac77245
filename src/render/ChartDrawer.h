// Draws a chart's data (bars, lines, areas, slices, markers, webs) in the plot area the layout gave it.
#pragma once

#include "engine/layout/Layout.h"
#include "engine/model/Document.h"

#include <cairo.h>

namespace qm::render {

/// The colour of a chart's `index`th series (or a pie's slice) where the
/// part gives none: Office's accent colours in turn.
uint32_t chartPaletteColor(size_t index);

/// Draws the gridlines and the data of `plot` from the chart's cached
/// values, on `cr` in twips. Text is drawn apart (LaidOutPage::drawnText).
void drawChartPlot(cairo_t* cr, const engine::Document& document, const engine::layout::ChartPlot& plot);

} // namespace qm::render
