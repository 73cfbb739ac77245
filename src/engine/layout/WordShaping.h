// Shaping right-to-left text a word at a time, each word's glyphs kept once
// shaped.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

struct hb_font_t;

namespace qm::engine::layout {

/// Whether a lookup of an OpenType layout table (GSUB, or GPOS when
/// `positioning`) may reach glyph `glyph` in a way HarfBuzz's list of a
/// lookup's glyphs does not show: through a class definition (a pair
/// adjusted by the second glyph's class, a contextual rule naming a class
/// past its first glyph, class 0 standing for every glyph not listed), or by
/// skipping it as a base glyph, ligature or mark of class `glyphClass` (1 to
/// 3, as GDEF classes them; 0 for none). A table that cannot be read through
/// counts as reaching it.
bool layoutTableMayReach(std::string_view table, bool positioning, uint16_t glyph, unsigned glyphClass);

/// Whether text in `font` shapes the same split at its spaces as whole: no
/// lookup of the face matches, skips or produces the space glyph, and the
/// face has none of the older kerning and layout tables that are applied
/// outside those lookups. Answered once per font and thread. Fonts are known
/// by their address, so they must live as long as the process, as the font
/// cache's do.
bool shapesApartAtSpaces(hb_font_t* font);

/// One glyph of a word shaped alone: its advance in font units and the unit
/// of the word it comes from.
struct WordGlyph {
    int32_t advance = 0;
    uint32_t cluster = 0;
};

/// The glyphs of `run` in `font`, shaped a piece at a time: each space
/// alone and each stretch between spaces alone (a space followed by a mark
/// or a format character stays with what follows it), every piece in the
/// direction, script and language the whole run would be given. The glyphs
/// come piece by piece in the run's order, each piece's as HarfBuzz gives
/// them; clusters are units of `run`. False when the run is not one this can
/// shape (not Arabic or Hebrew, or a font whose shaping does not come apart
/// at spaces); `out` is then undefined. Pieces met before in the same font,
/// script and direction are not shaped again (each thread keeps its own),
/// and those not met before are shaped together in one call.
bool shapeByWords(hb_font_t* font, std::u16string_view run, std::vector<WordGlyph>& out);

} // namespace qm::engine::layout
