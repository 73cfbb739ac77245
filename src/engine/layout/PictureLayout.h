// The text metafile pictures print, placed where the pictures stand on the page.
#pragma once

#include "engine/layout/ChartLayout.h"
#include "engine/layout/Layout.h"

#include <vector>

namespace qm::engine::layout {

/// A floating picture where the layout placed it.
struct FloatingPicture {
    size_t page = 0;
    ChartFrame frame;
    int32_t picture = -1; ///< index into Document::pictures
    int16_t column = 0;
};

/// Appends to each page's drawnText the text of the metafile pictures on it
/// (Document::pictures): those standing in a line (the frame's bottom on the
/// line's baseline) and the floating ones given. Each string stands at its
/// reference point in the frame, set to its left, centre or right and to its
/// top, baseline or bottom as the metafile aligned it. Nothing is counted.
void placePictureText(const Document& document, const LayoutOptions& options, LayoutResult& result,
                      const std::vector<FloatingPicture>& floating = {});

} // namespace qm::engine::layout
