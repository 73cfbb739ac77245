// Cairo font faces for the font files the layout measured with.
#pragma once

#include "engine/layout/FontCache.h"

#include <cairo.h>

#include <mutex>

namespace qm::render {

/// A drawable face: the cairo face and a way to find glyphs by character.
struct DrawFace {
    cairo_font_face_t* cairo = nullptr;
    /// The glyph of a Unicode code point; 0 when the face has none.
    unsigned glyph(char32_t c) const;
    /// Underline position (below the baseline, positive) and thickness in
    /// em fractions, as the face's designer set them.
    double underlinePosition = 0.1;
    double underlineThickness = 0.05;
    void* ftFace = nullptr; ///< the FreeType face (owned by the cache)
};

/// The face drawn for a layout face: the same file, and in a font collection
/// the member whose family and style match. Faces are loaded once per process
/// and live until it ends; null when the file cannot be opened. Callers hold
/// renderLock() while they load or draw with faces: the FreeType faces under
/// cairo are not safe to use from two threads at once.
const DrawFace* drawFaceFor(const engine::layout::Face& face);

/// The lock that serialises drawing with the shared faces.
std::mutex& renderLock();

} // namespace qm::render
