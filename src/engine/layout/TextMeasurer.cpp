// Character widths and line metrics of a document's character formats.
#include "engine/layout/TextMeasurer.h"

#include "engine/access/ScriptRules.h"
#include "engine/layout/WordFontMetrics.h"
#include "engine/layout/WordShaping.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <hb.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace qm::engine::layout {

namespace {

// Word draws superscript and subscript at two thirds of the size, rounded to
// the half point it can store.
double reducedSize(double halfPoints) { return std::max(1.0, std::round(halfPoints * 2.0 / 3.0)); }

} // namespace

namespace {

FontSlot slotByScript(char32_t c)
{
    if (scriptClass(c) == ScriptClass::EastAsian)
        return FontSlot::EastAsia;
    UErrorCode error = U_ZERO_ERROR;
    switch (uscript_getScript(static_cast<UChar32>(c), &error)) {
    case USCRIPT_ARABIC:
    case USCRIPT_HEBREW:
    case USCRIPT_SYRIAC:
    case USCRIPT_THAANA:
    case USCRIPT_NKO:
    case USCRIPT_DEVANAGARI:
    case USCRIPT_BENGALI:
    case USCRIPT_GURMUKHI:
    case USCRIPT_GUJARATI:
    case USCRIPT_ORIYA:
    case USCRIPT_TAMIL:
    case USCRIPT_TELUGU:
    case USCRIPT_KANNADA:
    case USCRIPT_MALAYALAM:
    case USCRIPT_SINHALA:
    case USCRIPT_THAI:
    case USCRIPT_LAO:
    case USCRIPT_TIBETAN:
    case USCRIPT_MYANMAR:
    case USCRIPT_KHMER: return FontSlot::Complex;
    default: return FontSlot::Latin;
    }
}

// The scripts from Hebrew to Myanmar (Arabic, the Indic scripts, Thai,
// Lao, Tibetan), where most shaped text lies, answered from a table made on
// first use: an ICU script look-up for each character of a long Arabic
// document cost a tenth as much as breaking its lines.
constexpr char32_t TabledFrom = 0x0590, TabledTo = 0x1100;

} // namespace

FontSlot fontSlotOf(char32_t c)
{
    if (c < TabledFrom) // Latin, Greek, Cyrillic, Armenian and everything before them
        return FontSlot::Latin;
    if (c < TabledTo) {
        static const std::array<FontSlot, TabledTo - TabledFrom> table = [] {
            std::array<FontSlot, TabledTo - TabledFrom> t{};
            for (char32_t k = TabledFrom; k < TabledTo; ++k)
                t[k - TabledFrom] = slotByScript(k);
            return t;
        }();
        return table[c - TabledFrom];
    }
    return slotByScript(c);
}

bool isEmojiPart(char32_t c)
{
    if (c < 0x200D)
        return false;
    if (c == 0x200D || c == 0xFE0F || c == 0x20E3 || (c >= 0xE0020 && c <= 0xE007F)) // joiner, selector, keycap, tags
        return true;
    return u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_EMOJI_PRESENTATION) ||
           u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_EMOJI_MODIFIER) ||
           u_hasBinaryProperty(static_cast<UChar32>(c), UCHAR_REGIONAL_INDICATOR);
}

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
    : m_document(document), m_options(options), m_diagnostics(diagnostics), m_fonts(document.charFormats.size() * 3),
      m_prepared(document.charFormats.size() * 3, false)
{
}

void TextMeasurer::prepare(uint32_t index, FontSlot slot)
{
    const size_t at = index * 3 + static_cast<size_t>(slot);
    m_prepared[at] = true;
    const CharFormat& cf = m_document.charFormats[index];
    MeasuredFont& f = m_fonts[at];
    const std::string& latin = cf.fontName.empty() ? m_options.defaultFontName : cf.fontName;
    const std::string& name = slot == FontSlot::EastAsia && !cf.eastAsiaFontName.empty() ? cf.eastAsiaFontName
                              : slot == FontSlot::Complex && !cf.complexFontName.empty() ? cf.complexFontName
                                                                                         : latin;
    const uint16_t size =
        slot == FontSlot::Complex && cf.complexSizeHalfPoints != 0 ? cf.complexSizeHalfPoints : cf.sizeHalfPoints;
    if (slot != FontSlot::Latin && name == latin && size == cf.sizeHalfPoints) {
        f = font(index, FontSlot::Latin); // the same font: measured once
        return;
    }
    const FontWeight weight = cf.bold ? FontWeight::Bold : FontWeight::Regular;
    const FontSlant slant = cf.italic ? FontSlant::Italic : FontSlant::Upright;
    ResolvedFace resolved = FontCache::instance().resolve(name, weight, slant);
    // A font that is not installed takes the one the document's font table
    // names for it (its alternate name or its family's font) when that one
    // is at hand; only then a twin guessed from the name.
    std::string_view measuredName = name;
    if (resolved.substituted) {
        const auto& standIns = m_document.settings.fontStandIns;
        if (auto it = standIns.find(name); it != standIns.end()) {
            const ResolvedFace standIn = FontCache::instance().resolve(it->second, weight, slant);
            if (!standIn.substituted) {
                resolved = standIn;
                measuredName = it->second;
            }
        }
    }
    if (resolved.substituted && std::find(m_reported.begin(), m_reported.end(), name) == m_reported.end()) {
        m_reported.push_back(name);
        m_diagnostics.push_back({"layout-font-substituted", Severity::Note, name,
                                 "font \"" + name + "\" is not installed; laid out with \"" +
                                     (resolved.face ? resolved.face->family() : std::string("nothing")) +
                                     "\", lines and pages may differ"});
    }
    f.face = resolved.face;
    const WordFontMetrics* known = resolved.standIn ? wordFontMetrics(measuredName) : nullptr;
    if (known) {
        f.known = &known->style(cf.bold ? FontWeight::Bold : FontWeight::Regular,
                                cf.italic ? FontSlant::Italic : FontSlant::Upright);
        f.knownRegular = &known->regular();
    }
    const double halfPoints = std::max<double>(1, size);
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
    // The line is as tall as the font the document asks for makes it, where
    // that font's height is known, whatever face measures its widths.
    const WordFontMetrics* heights = wordFontMetrics(name);
    if (!heights)
        heights = known;
    if (heights) {
        f.ascent = heights->ascent * halfPoints * 10.0 / 1000.0;
        f.descent = heights->descent * halfPoints * 10.0 / 1000.0;
    } else if (f.face) {
        const FaceMetrics& m = f.face->metrics();
        f.ascent = (m.ascent + m.lineGap) * vScale;
        f.descent = m.descent * vScale;
    } else {
        f.ascent = halfPoints * 10.0 * 0.9;
        f.descent = halfPoints * 10.0 * 0.25;
    }
}

const MeasuredFont& TextMeasurer::font(uint32_t charFormat, FontSlot slot)
{
    if (static_cast<size_t>(charFormat) * 3 >= m_fonts.size())
        charFormat = 0;
    const size_t at = static_cast<size_t>(charFormat) * 3 + static_cast<size_t>(slot);
    if (!m_prepared[at])
        prepare(charFormat, slot);
    return m_fonts[at];
}

double TextMeasurer::measuredWidth(char16_t c, uint32_t charFormat)
{
    if (c >= 256) {
        // Other scripts' characters, kept by format and character once
        // measured; the last few hundred met answer from a small table
        // first, without the look-up's division and node.
        const uint64_t key = uint64_t{charFormat} << 16 | c;
        if (m_wideRecent.empty())
            m_wideRecent.resize(512);
        WideSlot& slot = m_wideRecent[(key * 0x9E3779B97F4A7C15ull) >> 55];
        if (slot.key == key)
            return slot.width;
        double w = 0;
        if (auto it = m_wide.find(key); it != m_wide.end()) {
            w = it->second;
        } else {
            w = measure(c, charFormat);
            m_wide.emplace(key, w);
        }
        slot = {key, w};
        return w;
    }
    if (charFormat >= m_latin1.size())
        m_latin1.resize(std::max<size_t>(charFormat + 1, m_document.charFormats.size()));
    std::unique_ptr<Latin1Widths>& widths = m_latin1[charFormat];
    if (!widths) {
        widths = std::make_unique<Latin1Widths>();
        widths->fill(std::numeric_limits<double>::quiet_NaN());
    }
    double& w = (*widths)[c];
    if (std::isnan(w))
        w = measure(c, charFormat);
    return w;
}

double TextMeasurer::measure(char16_t c, uint32_t charFormat)
{
    const MeasuredFont& f = font(charFormat, c < 0x0590 ? FontSlot::Latin : fontSlotOf(c));
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

const Face* TextMeasurer::shapingFace(std::u16string_view text, uint32_t charFormat, const MeasuredFont& f, bool emoji)
{
    // The run's own face when it has the script's letters, else the face
    // Word's font fallback would reach for; emoji always in the emoji face.
    if (emoji)
        return FontCache::instance().emojiFace();
    if (f.face && f.face->advance(text[0]) != Face::Missing)
        return f.face;
    // The face for the script, found once per format and first character:
    // finding it names the font's class and looks it up under a lock.
    const uint64_t key = uint64_t{charFormat} << 16 | text[0];
    auto it = m_scriptFaces.find(key);
    if (it == m_scriptFaces.end()) {
        const CharFormat& cf = m_document.charFormats[charFormat < m_document.charFormats.size() ? charFormat : 0];
        it = m_scriptFaces
                 .emplace(key, FontCache::instance().scriptFace(text[0], !cf.complexFontName.empty() ? cf.complexFontName
                                                                        : !cf.fontName.empty() ? cf.fontName
                                                                             : m_options.defaultFontName))
                 .first;
    }
    return it->second;
}

bool TextMeasurer::shape(std::u16string_view text, uint32_t charFormat, FontSlot slot, bool emoji, ShapedText& out)
{
    out.glyphs.clear();
    out.face = nullptr;
    if (text.empty())
        return false;
    const MeasuredFont& f = font(charFormat, slot);
    const Face* face = shapingFace(text, charFormat, f, emoji);
    hb_font_t* shaper = face ? FontCache::instance().shaper(face) : nullptr;
    if (!shaper)
        return false;
    // One buffer a thread, emptied for each run rather than made anew.
    struct BufferDeleter {
        void operator()(hb_buffer_t* b) const { hb_buffer_destroy(b); }
    };
    thread_local std::unique_ptr<hb_buffer_t, BufferDeleter> kept(hb_buffer_create());
    hb_buffer_t* buffer = kept.get();
    hb_buffer_reset(buffer);
    hb_buffer_add_utf16(buffer, reinterpret_cast<const uint16_t*>(text.data()), static_cast<int>(text.size()), 0,
                        static_cast<int>(text.size()));
    hb_buffer_set_cluster_level(buffer, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_CHARACTERS);
    hb_buffer_guess_segment_properties(buffer);
    hb_shape(shaper, buffer, nullptr, 0);
    unsigned count = 0;
    const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
    const hb_glyph_position_t* position = hb_buffer_get_glyph_positions(buffer, &count);
    // Advances are in the shaping face's units, scaled as single characters
    // are measured.
    const double fromRun = f.face ? static_cast<double>(f.face->metrics().unitsPerEm) : 2048.0;
    const double scale = f.scale * fromRun / face->metrics().unitsPerEm;
    out.face = face;
    out.em = scale * face->metrics().unitsPerEm;
    out.hScale = f.hScale;
    out.spacing = f.spacing;
    out.glyphs.reserve(count);
    for (unsigned g = 0; g < count; ++g)
        out.glyphs.push_back({info[g].codepoint, position[g].x_advance * scale * f.hScale,
                              position[g].x_offset * scale * f.hScale, position[g].y_offset * scale,
                              std::min<uint32_t>(info[g].cluster, static_cast<uint32_t>(text.size() - 1))});
    return true;
}

bool TextMeasurer::shapedWidths(std::u16string_view text, uint32_t charFormat, FontSlot slot, bool emoji,
                                std::vector<double>& out)
{
    // Arabic and Hebrew a word at a time, each word shaped once per font:
    // the same glyphs as the whole run where the font allows it. Such a run
    // asked again costs no more than looking it up here would, so it is not
    // kept here as well.
    if (!emoji && !text.empty()) {
        const MeasuredFont& f = font(charFormat, slot);
        const Face* face = shapingFace(text, charFormat, f, emoji);
        hb_font_t* shaper = face ? FontCache::instance().shaper(face) : nullptr;
        thread_local std::vector<WordGlyph> glyphs;
        if (shaper && shapeByWords(shaper, text, glyphs)) {
            // Scaled and summed as shape() and the loop below do, glyph by
            // glyph, so every width comes out to the same bit.
            const double fromRun = f.face ? static_cast<double>(f.face->metrics().unitsPerEm) : 2048.0;
            const double scale = f.scale * fromRun / face->metrics().unitsPerEm;
            out.assign(text.size(), 0.0);
            std::vector<bool> starts(text.size(), false);
            for (const WordGlyph& g : glyphs) {
                out[g.cluster] += g.advance * scale * f.hScale;
                starts[g.cluster] = true;
            }
            for (size_t k = 0; k < out.size(); ++k)
                if (starts[k])
                    out[k] += f.spacing;
            return true;
        }
    }
    // The key: the format (two units), the slot and emoji flag, then the text.
    std::u16string key;
    key.reserve(text.size() + 3);
    key.push_back(static_cast<char16_t>(charFormat & 0xFFFF));
    key.push_back(static_cast<char16_t>(charFormat >> 16));
    key.push_back(static_cast<char16_t>((static_cast<unsigned>(slot) << 1) | (emoji ? 1u : 0u)));
    key.append(text);
    if (auto it = m_shaped.find(key); it != m_shaped.end()) {
        if (!it->second)
            return false;
        out = *it->second;
        return true;
    }
    thread_local ShapedText shaped;
    if (!shape(text, charFormat, slot, emoji, shaped)) {
        m_shaped.emplace(std::move(key), std::nullopt);
        return false;
    }
    // Each cluster's advance on its first unit, the character spacing added
    // once per cluster.
    out.assign(text.size(), 0.0);
    std::vector<bool> starts(text.size(), false);
    for (const ShapedGlyph& g : shaped.glyphs) {
        out[g.cluster] += g.advance;
        starts[g.cluster] = true;
    }
    for (size_t k = 0; k < out.size(); ++k)
        if (starts[k])
            out[k] += shaped.spacing;
    m_shaped.emplace(std::move(key), out);
    return true;
}

} // namespace qm::engine::layout
