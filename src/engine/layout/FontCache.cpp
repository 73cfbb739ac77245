// Font lookup through fontconfig and unhinted metrics through FreeType.
#include "engine/layout/FontCache.h"

#include "engine/layout/WordFontMetrics.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H
#include FT_ADVANCES_H

#include <algorithm>
#include <cctype>

namespace qm::engine::layout {

namespace {

std::string lower(std::string_view s)
{
    std::string out(s);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

bool contains(const std::string& haystack, std::string_view needle)
{
    return haystack.find(needle) != std::string::npos;
}

enum class FamilyClass { Serif, Sans, Mono };

// Fonts that are not installed are laid out with a twin of the same class,
// so at least the width of a typical line stays close to the original.
FamilyClass familyClass(const std::string& name)
{
    static constexpr std::string_view mono[] = {"mono", "courier", "consol", "code", "typewriter",
                                                "fixed", "lucida console", "menlo", "monaco"};
    for (auto m : mono)
        if (contains(name, m))
            return FamilyClass::Mono;
    if (contains(name, "sans"))
        return FamilyClass::Sans;
    static constexpr std::string_view serif[] = {
        "serif", "times", "roman", "georgia", "garamond", "antiqua", "palatino", "century",
        "bookman", "baskerville", "minion", "constantia", "bodoni", "didot", "caslon", "charter",
        "cambria", "book", "cochin", "hoefler", "mincho", "song", "batang", "ming"};
    for (auto s : serif)
        if (contains(name, s))
            return FamilyClass::Serif;
    return FamilyClass::Sans;
}

std::string classTwin(FamilyClass c)
{
    switch (c) {
    case FamilyClass::Serif: return "Liberation Serif";
    case FamilyClass::Mono: return "Liberation Mono";
    case FamilyClass::Sans: break;
    }
    return "Liberation Sans";
}

} // namespace

struct FontCache::Impl {
    FT_Library library = nullptr;
    FcConfig* config = nullptr;
};

FontCache& FontCache::instance()
{
    static FontCache cache;
    return cache;
}

FontCache::FontCache() : m_impl(std::make_unique<Impl>())
{
    if (FT_Init_FreeType(&m_impl->library) != 0)
        m_impl->library = nullptr;
    m_impl->config = FcInitLoadConfigAndFonts();
}

FontCache::~FontCache()
{
    m_byFile.clear();
    if (m_impl->config)
        FcConfigDestroy(m_impl->config);
    if (m_impl->library)
        FT_Done_FreeType(m_impl->library);
}

std::string FontCache::twinFamily(std::string_view wordName)
{
    if (const WordFontMetrics* known = wordFontMetrics(wordName))
        return std::string(known->standIn);
    const std::string name = lower(wordName);
    struct Twin {
        std::string_view word, twin;
    };
    // Metric-compatible twins: same advance widths and vertical metrics, so
    // lines break where they break with the original font.
    static constexpr Twin twins[] = {
        {"times new roman", "Liberation Serif"}, {"times", "Liberation Serif"},
        {"arial", "Liberation Sans"},           {"helvetica", "Liberation Sans"},
        {"arial nova", "Liberation Sans"},      {"courier new", "Liberation Mono"},
        {"courier", "Liberation Mono"},         {"calibri", "Carlito"},
        {"calibri light", "Carlito"},
    };
    for (const auto& t : twins)
        if (name == t.word)
            return std::string(t.twin);
    return std::string(wordName);
}

const Face* FontCache::loadFile(const std::string& file, int index, const std::string& family)
{
    const std::string key = file + '#' + std::to_string(index);
    if (auto it = m_byFile.find(key); it != m_byFile.end())
        return it->second.get();
    if (!m_impl->library)
        return nullptr;
    FT_Face ft = nullptr;
    if (FT_New_Face(m_impl->library, file.c_str(), index, &ft) != 0)
        return nullptr;
    auto face = std::make_unique<Face>();
    face->m_family = family;
    face->m_file = file;
    face->m_advances.assign(0x10000, Face::Missing);
    FaceMetrics& m = face->m_metrics;
    m.unitsPerEm = ft->units_per_EM > 0 ? ft->units_per_EM : 2048;
    // Word's single line is the Windows ascent plus descent, plus whatever
    // part of the hhea line gap they do not already cover (the text metrics
    // Windows gives it): Times New Roman 1825 + 443 + 87 units = 13.8 pt at
    // 12 pt, Calibri 1950 + 550 = 2500 units.
    const auto* hhea = static_cast<const TT_HoriHeader*>(FT_Get_Sfnt_Table(ft, FT_SFNT_HHEA));
    const auto* os2 = static_cast<const TT_OS2*>(FT_Get_Sfnt_Table(ft, FT_SFNT_OS2));
    if (os2 && os2->version != 0xFFFF && os2->usWinAscent + os2->usWinDescent > 0) {
        m.ascent = os2->usWinAscent;
        m.descent = os2->usWinDescent;
        if (hhea) {
            const int32_t hheaBox = hhea->Ascender - hhea->Descender;
            m.lineGap = std::max(0, hhea->Line_Gap - ((m.ascent + m.descent) - hheaBox));
        }
    } else if (hhea) {
        m.ascent = hhea->Ascender;
        m.descent = -hhea->Descender;
        m.lineGap = hhea->Line_Gap;
    } else {
        m.ascent = ft->ascender;
        m.descent = -ft->descender;
        m.lineGap = std::max(0, ft->height - ft->ascender + ft->descender);
    }
    if (FT_Select_Charmap(ft, FT_ENCODING_UNICODE) == 0) {
        FT_UInt glyph = 0;
        FT_ULong code = FT_Get_First_Char(ft, &glyph);
        while (glyph != 0) {
            if (code < 0x10000) {
                FT_Fixed advance = 0;
                if (FT_Get_Advance(ft, glyph, FT_LOAD_NO_SCALE, &advance) == 0)
                    face->m_advances[code] =
                        static_cast<uint16_t>(std::clamp<FT_Fixed>(advance, 0, Face::Missing - 1));
            }
            code = FT_Get_Next_Char(ft, code, &glyph);
        }
    }
    FT_Done_Face(ft);
    const Face* result = face.get();
    m_byFile.emplace(key, std::move(face));
    return result;
}

const Face* FontCache::load(const std::string& family, FontWeight weight, FontSlant slant, bool& exact)
{
    exact = false;
    if (!m_impl->config)
        return nullptr;
    FcPattern* pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcPatternAddInteger(pattern, FC_WEIGHT, weight == FontWeight::Bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, slant == FontSlant::Italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(m_impl->config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(m_impl->config, pattern, &result);
    FcPatternDestroy(pattern);
    if (!match)
        return nullptr;
    FcChar8* file = nullptr;
    FcChar8* matchedFamily = nullptr;
    int index = 0;
    const Face* face = nullptr;
    if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) {
        FcPatternGetInteger(match, FC_INDEX, 0, &index);
        std::string matched;
        if (FcPatternGetString(match, FC_FAMILY, 0, &matchedFamily) == FcResultMatch)
            matched = reinterpret_cast<const char*>(matchedFamily);
        // A family may be listed under several names ("DejaVu Sans,DejaVu
        // Sans Condensed"); any of them counts as the font asked for.
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &matchedFamily) == FcResultMatch; ++i)
            if (lower(reinterpret_cast<const char*>(matchedFamily)) == lower(family))
                exact = true;
        face = loadFile(reinterpret_cast<const char*>(file), index, matched);
    }
    FcPatternDestroy(match);
    return face;
}

ResolvedFace FontCache::resolve(std::string_view wordName, FontWeight weight, FontSlant slant)
{
    std::lock_guard lock(m_mutex);
    std::string key = lower(wordName);
    key += weight == FontWeight::Bold ? "|b" : "|r";
    key += slant == FontSlant::Italic ? "i" : "u";
    if (auto it = m_byRequest.find(key); it != m_byRequest.end())
        return it->second;
    ResolvedFace resolved;
    const std::string twin = twinFamily(wordName);
    bool exact = false;
    const Face* face = wordName.empty() ? nullptr : load(twin, weight, slant, exact);
    if (!face || !exact) {
        bool classExact = false;
        const Face* substitute = load(classTwin(familyClass(lower(wordName))), weight, slant, classExact);
        if (substitute)
            face = substitute;
        resolved.substituted = true;
    }
    resolved.face = face;
    m_byRequest.emplace(std::move(key), resolved);
    return resolved;
}

const Face* FontCache::fallbackFor(char16_t c)
{
    std::lock_guard lock(m_mutex);
    if (!m_fallbacksLoaded) {
        m_fallbacksLoaded = true;
        static const char* const families[] = {"DejaVu Sans", "Liberation Sans", "Noto Sans CJK SC",
                                               "Noto Sans", "Symbola"};
        for (const char* family : families) {
            bool exact = false;
            if (const Face* f = load(family, FontWeight::Regular, FontSlant::Upright, exact); f && exact)
                m_fallbacks.push_back(f);
        }
    }
    for (const Face* f : m_fallbacks)
        if (f->advance(c) != Face::Missing)
            return f;
    return nullptr;
}

} // namespace qm::engine::layout
