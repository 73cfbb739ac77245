// Character widths and line metrics of a document's character formats.
#include "engine/layout/TextMeasurer.h"

#include "engine/layout/WordFontMetrics.h"

#include <algorithm>
#include <cmath>

namespace qm::engine::layout {

namespace {

// Word draws superscript and subscript at two thirds of the size, rounded to
// the half point it can store.
double reducedSize(double halfPoints) { return std::max(1.0, std::round(halfPoints * 2.0 / 3.0)); }

} // namespace

char16_t displayCapital(char16_t c)
{
    if (c >= u'a' && c <= u'z')
        return static_cast<char16_t>(c - 32);
    // Latin-1 lower-case letters, except the sharp s and y with diaeresis.
    if (c >= 0xE0 && c <= 0xFE && c != 0xF7)
        return static_cast<char16_t>(c - 32);
    if (c >= 0x3B1 && c <= 0x3C9 && c != 0x3C2) // Greek
        return static_cast<char16_t>(c - 32);
    if (c >= 0x430 && c <= 0x44F) // Cyrillic
        return static_cast<char16_t>(c - 32);
    return c;
}

TextMeasurer::TextMeasurer(const Document& document, const LayoutOptions& options, std::vector<Diagnostic>& diagnostics)
    : m_document(document), m_options(options), m_diagnostics(diagnostics), m_fonts(document.charFormats.size()),
      m_prepared(document.charFormats.size(), false)
{
}

void TextMeasurer::prepare(uint32_t index)
{
    m_prepared[index] = true;
    const CharFormat& cf = m_document.charFormats[index];
    MeasuredFont& f = m_fonts[index];
    const std::string& name = cf.fontName.empty() ? m_options.defaultFontName : cf.fontName;
    const ResolvedFace resolved = FontCache::instance().resolve(name, cf.bold ? FontWeight::Bold : FontWeight::Regular,
                                                                cf.italic ? FontSlant::Italic : FontSlant::Upright);
    if (resolved.substituted && std::find(m_reported.begin(), m_reported.end(), name) == m_reported.end()) {
        m_reported.push_back(name);
        m_diagnostics.push_back({"layout-font-substituted", Severity::Note, name,
                                 "font \"" + name + "\" is not installed; laid out with \"" +
                                     (resolved.face ? resolved.face->family() : std::string("nothing")) +
                                     "\", lines and pages may differ"});
    }
    f.face = resolved.face;
    const WordFontMetrics* known = resolved.substituted ? nullptr : wordFontMetrics(name);
    if (known) {
        f.known = &known->style(cf.bold ? FontWeight::Bold : FontWeight::Regular,
                                cf.italic ? FontSlant::Italic : FontSlant::Upright);
        f.knownRegular = &known->regular();
    }
    const double halfPoints = std::max<double>(1, cf.sizeHalfPoints);
    f.sizeTwips = halfPoints * 10.0;
    const double drawnHalfPoints =
        cf.verticalPosition == VerticalPosition::Baseline ? halfPoints : reducedSize(halfPoints);
    const double upem = f.face ? f.face->metrics().unitsPerEm : 2048.0;
    f.scale = drawnHalfPoints * 10.0 / upem;
    f.hScale = cf.scalePercent > 0 ? cf.scalePercent / 100.0 : 1.0;
    f.spacing = cf.spacingTwips;
    f.hidden = cf.hidden;
    f.allCaps = cf.allCaps;
    f.smallCaps = cf.smallCaps;
    // The line's extent comes from the nominal size even for superscript:
    // Word keeps the line as tall as the unraised text would make it.
    const double vScale = halfPoints * 10.0 / upem;
    if (known) {
        f.ascent = known->ascent * halfPoints * 10.0 / 1000.0;
        f.descent = known->descent * halfPoints * 10.0 / 1000.0;
    } else if (f.face) {
        const FaceMetrics& m = f.face->metrics();
        f.ascent = (m.ascent + m.lineGap) * vScale;
        f.descent = m.descent * vScale;
    } else {
        f.ascent = halfPoints * 10.0 * 0.9;
        f.descent = halfPoints * 10.0 * 0.25;
    }
}

const MeasuredFont& TextMeasurer::font(uint32_t charFormat)
{
    if (charFormat >= m_fonts.size())
        charFormat = 0;
    if (!m_prepared[charFormat])
        prepare(charFormat);
    return m_fonts[charFormat];
}

double TextMeasurer::width(char16_t c, uint32_t charFormat)
{
    const MeasuredFont& f = font(charFormat);
    if (f.hidden)
        return 0;
    double scale = f.scale;
    if (f.allCaps) {
        c = displayCapital(c);
    } else if (f.smallCaps && hasDisplayCapital(c)) {
        c = displayCapital(c);
        scale *= 0.8; // Word sets small capitals at four fifths of the size
    }
    const Face* face = f.face;
    if (f.known && face) {
        const double perEm = face->metrics().unitsPerEm / 1000.0;
        if (c < 256 && f.known->perMille[c] != 0)
            return f.known->perMille[c] * perEm * scale * f.hScale + f.spacing;
        if (c < 256 && f.knownRegular->perMille[c] != 0)
            return f.knownRegular->perMille[c] * f.known->fromRegular * perEm * scale * f.hScale + f.spacing;
        if (face->advance(c) != Face::Missing)
            return face->advance(c) * f.known->fromStandIn * scale * f.hScale + f.spacing;
    }
    uint16_t advance = face ? face->advance(c) : Face::Missing;
    if (advance == Face::Missing) {
        if (const Face* fallback = FontCache::instance().fallbackFor(c)) {
            scale = scale * (face ? face->metrics().unitsPerEm : 2048.0) / fallback->metrics().unitsPerEm;
            advance = fallback->advance(c);
        } else {
            // Ideographs take a full em; anything else half of one.
            const bool wide = c >= 0x2E80 && c <= 0xFFEF;
            return (wide ? 1.0 : 0.5) * f.sizeTwips;
        }
    }
    // Word measures each character in its own layout units and adds them up,
    // so widths are kept per character here and not rounded: rounding each
    // advance to whole twips drifts by up to half a twip per character and
    // moves line breaks in long lines of small text.
    return advance * scale * f.hScale + f.spacing;
}

double TextMeasurer::width(std::u16string_view text, uint32_t charFormat)
{
    double sum = 0;
    for (char16_t c : text)
        sum += width(c, charFormat);
    return sum;
}

} // namespace qm::engine::layout
