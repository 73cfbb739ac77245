// Widths and heights of Word fonts that are not installed, laid out with a similar installed face.
#pragma once

#include "engine/layout/FontCache.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace qm::engine::layout {

/// What is known of one style (regular, bold, italic, bold italic) of a Word
/// font: advances per 1000 em of the characters below 256 seen in documents
/// Word laid out (0 where unknown), and how to estimate the others.
struct WordFontStyle {
    std::array<uint16_t, 256> perMille{};
    /// For a character known only in the regular style: its regular width
    /// times this.
    double fromRegular = 1.0;
    /// For any other character: the stand-in face's advance times this.
    double fromStandIn = 1.0;
};

/// A Word font whose own file is not installed (or whose twin's widths are
/// not its own): the face that stands in for it, Word's line height for it
/// (ascent and descent per 1000 em), and its known widths.
struct WordFontMetrics {
    std::string_view standIn; ///< installed family drawn and measured in its place
    double ascent = 0;
    double descent = 0;
    std::array<WordFontStyle, 4> styles; ///< regular, bold, italic, bold italic
    /// False for fonts known only by their line height: they are looked for
    /// as themselves, and where they are missing their family's twin
    /// measures them and they are reported.
    bool widthsKnown = true;
    /// True where the widths are an estimate (the stand-in scaled by the
    /// ratio of mean widths): the font is looked for as itself first.
    bool widthsEstimated = false;
    const WordFontStyle& style(FontWeight w, FontSlant s) const
    {
        return styles[(w == FontWeight::Bold ? 1 : 0) + (s == FontSlant::Italic ? 2 : 0)];
    }
    const WordFontStyle& regular() const { return styles[0]; }
};

/// The metrics for a Word font name (any letter case); null for fonts that
/// are installed as themselves or have a true metric twin.
const WordFontMetrics* wordFontMetrics(std::string_view wordName);

} // namespace qm::engine::layout
