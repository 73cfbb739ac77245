// Advance widths of Word fonts whose installed twin has other widths than the original.
#pragma once

#include "engine/layout/FontCache.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace qm::engine::layout {

/// Widths of a Word font where its twin's differ: per 1000 em for the
/// characters below 256 that are known (0 where not), and the ratio to apply
/// to the twin's advance for any other character.
struct WordFontWidths {
    std::array<uint16_t, 256> perMille{};
    double otherRatio = 1.0;
};

/// The width corrections for a Word font name, weight and slant; null when
/// its twin's widths are the font's own.
const WordFontWidths* wordFontWidths(std::string_view wordName, FontWeight weight, FontSlant slant);

} // namespace qm::engine::layout
