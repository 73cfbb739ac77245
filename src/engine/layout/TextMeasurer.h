// Character widths and line metrics of a document's character formats.
#pragma once

#include "engine/layout/FontCache.h"
#include "engine/layout/Layout.h"

#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

namespace qm::engine::layout {

/// Which of a run's three fonts a character is set in: Word shows Han, kana,
/// Hangul and full-width forms in the run's East Asian font, Arabic, Hebrew,
/// Indic and South-East Asian scripts in its complex-script font (at the
/// complex-script size), and everything else in the Latin font.
enum class FontSlot : uint8_t { Latin, EastAsia, Complex };

/// The font a code point is set in.
FontSlot fontSlotOf(char32_t c);

/// Whether a code point is shown as an emoji picture: it is measured, shaped
/// with its joiners, modifiers and selectors, in the emoji font.
bool isEmojiPart(char32_t c);

/// One glyph of shaped text: its id in the face, and in twips its advance
/// and its offset from the pen (y up); `cluster` is the unit of the text it
/// starts from.
struct ShapedGlyph {
    unsigned glyph = 0;
    double advance = 0;
    double xOffset = 0;
    double yOffset = 0;
    uint32_t cluster = 0;
};

/// Text shaped in one face at one size (`em` twips, widened by `hScale`).
struct ShapedText {
    const Face* face = nullptr;
    double em = 0;
    double hScale = 1;
    double spacing = 0; ///< added after each cluster
    std::vector<ShapedGlyph> glyphs;
};

/// A character format made ready for measuring: its face, its scale and the
/// vertical extent it gives a line. Lengths in twips.
struct WordFontStyle;

struct MeasuredFont {
    const Face* face = nullptr;
    /// The Word font's own widths where the face only stands in for it.
    const WordFontStyle* known = nullptr;
    const WordFontStyle* knownRegular = nullptr;
    double scale = 0;   ///< twips per font unit (size, caps and position scaling applied)
    double hScale = 1;  ///< horizontal scale of the format
    double spacing = 0; ///< extra twips after each character
    double ascent = 0;  ///< above the baseline, the line gap included
    double descent = 0;
    double sizeTwips = 0; ///< the nominal size, before superscript or small caps
    bool hidden = false;
    bool allCaps = false;
    bool smallCaps = false;
};

/// The capital a lower-case letter is shown as under all capitals or small
/// capitals (Latin, Latin-1, Greek and Cyrillic); any other character as it
/// is. Measuring and drawing both use it so they agree on every width.
char16_t displayCapital(char16_t c);
/// Whether `c` has such a capital.
inline bool hasDisplayCapital(char16_t c) { return displayCapital(c) != c; }

/// Measures characters in one document's formats. Built once per layout; not
/// shared between threads (the faces it points to are).
class TextMeasurer {
public:
    TextMeasurer(const Document& document, const LayoutOptions& options, std::vector<Diagnostic>& diagnostics);

    const MeasuredFont& font(uint32_t charFormat, FontSlot slot = FontSlot::Latin);

    /// The advance of `c` in format `charFormat`, in twips, as Word measures
    /// it (see the rounding note in the implementation), in the font of the
    /// character's script.
    double width(char16_t c, uint32_t charFormat)
    {
        // A Latin-1 advance already measured in this format, as most are:
        // answered here, without a call.
        if (c < 256 && charFormat < m_latin1.size() && m_latin1[charFormat]) {
            const double w = (*m_latin1[charFormat])[c];
            if (!std::isnan(w))
                return w;
        }
        return measuredWidth(c, charFormat);
    }

    /// Widths of text that is shaped rather than measured a character at a
    /// time: complex-script text, whose letters change shape and width with
    /// their neighbours, and emoji sequences, which show as one picture. The
    /// text is one run of one format and slot; each cluster's advance goes to
    /// its first unit and 0 to the others. False (and `out` untouched) when
    /// no installed face can shape it.
    bool shapedWidths(std::u16string_view text, uint32_t charFormat, FontSlot slot, bool emoji,
                      std::vector<double>& out);

    /// The glyphs `text` shapes to, in visual order (right to left text comes
    /// back reversed), with advances and offsets in twips; for drawing. False
    /// when no installed face can shape it.
    bool shape(std::u16string_view text, uint32_t charFormat, FontSlot slot, bool emoji, ShapedText& out);

    /// Width of a string in one format.
    double width(std::u16string_view text, uint32_t charFormat);

    /// Line height of a format at single spacing, twips.
    double singleLineHeight(uint32_t charFormat)
    {
        const auto& f = font(charFormat);
        return f.ascent + f.descent;
    }

private:
    double measuredWidth(char16_t c, uint32_t charFormat);
    /// The face a run of `text` in format `charFormat` (measured as `f`) is shaped in.
    const Face* shapingFace(std::u16string_view text, uint32_t charFormat, const MeasuredFont& f, bool emoji);
    void prepare(uint32_t charFormat, FontSlot slot);
    double measure(char16_t c, uint32_t charFormat);

    /// Advances of the Latin-1 characters, worked out once per format as
    /// they are first met: most text is made of them.
    using Latin1Widths = std::array<double, 256>;
    std::vector<std::unique_ptr<Latin1Widths>> m_latin1;
    /// Advances of the characters beyond Latin-1 already measured, by
    /// format (high bits) and character (low 16).
    std::unordered_map<uint64_t, double> m_wide;
    struct WideSlot {
        uint64_t key = UINT64_MAX; // no format and character make this key
        double width = 0;
    };
    std::vector<WideSlot> m_wideRecent;

    const Document& m_document;
    const LayoutOptions& m_options;
    std::vector<Diagnostic>& m_diagnostics;
    std::vector<MeasuredFont> m_fonts;
    std::vector<bool> m_prepared;
    std::vector<std::string> m_reported;
    /// Widths already shaped, by format, slot, emoji and text: a paragraph
    /// broken again at another width (a table cell being fitted) shapes the
    /// same runs again. Absent widths (nullopt): no face could shape the run.
    std::unordered_map<std::u16string, std::optional<std::vector<double>>> m_shaped;
    /// The face shaping falls back to, by format (high bits) and the run's
    /// first character (low 16), where the format's own face lacks it.
    std::unordered_map<uint64_t, const Face*> m_scriptFaces;
};

} // namespace qm::engine::layout
