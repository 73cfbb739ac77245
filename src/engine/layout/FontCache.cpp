// Font lookup through fontconfig and unhinted metrics through FreeType.
#include "engine/layout/FontCache.h"

#include "engine/layout/FontDiskCache.h"
#include "engine/layout/WordFontMetrics.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_TRUETYPE_TABLES_H
#include FT_ADVANCES_H
#include <algorithm>
#include <cctype>
#include <hb.h>

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
    static constexpr std::string_view mono[] = {"mono",  "courier",        "consol", "code",  "typewriter",
                                                "fixed", "lucida console", "menlo",  "monaco"};
    for (auto m : mono)
        if (contains(name, m))
            return FamilyClass::Mono;
    if (contains(name, "sans"))
        return FamilyClass::Sans;
    static constexpr std::string_view serif[] = {"serif",
                                                 "times",
                                                 "roman",
                                                 "georgia",
                                                 "garamond",
                                                 "antiqua",
                                                 "palatino",
                                                 "century",
                                                 "bookman",
                                                 "baskerville",
                                                 "minion",
                                                 "constantia",
                                                 "bodoni",
                                                 "didot",
                                                 "caslon",
                                                 "charter",
                                                 "cambria",
                                                 "book",
                                                 "cochin",
                                                 "hoefler",
                                                 "mincho",
                                                 "song",
                                                 "batang",
                                                 "ming",
                                                 "traditional arabic",
                                                 "simplified arabic",
                                                 "arabic typesetting",
                                                 "naskh",
                                                 "david",
                                                 "frank",
                                                 "narkis"};
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

// Word's other East Asian fonts (Yu Mincho, Batang, DengXian, ...) are not
// installed here: they are laid out with Noto CJK of their language, the
// serif face for the Mincho, Song and Ming families and Batang, the sans
// face for the Gothic and Hei families, Gulim, Dotum and the rest. Names come
// in English or in the font's own script. Empty: not an East Asian font.
std::string eastAsianTwin(const std::string& name)
{
    struct Family {
        std::string_view key, language;
    };
    static constexpr Family families[] = {
        {"yu gothic", "JP"},
        {"yu mincho", "JP"},
        {"游", "JP"},
        {"meiryo", "JP"},
        {"明朝", "JP"},
        {"ゴシック", "JP"},
        {"dengxian", "SC"},
        {"等线", "SC"},
        {"fangsong", "SC"},
        {"仿宋", "SC"},
        {"kaiti", "SC"},
        {"楷体", "SC"},
        {"simsun", "SC"},
        {"simhei", "SC"},
        {"simkai", "SC"},
        {"simfang", "SC"},
        {"宋", "SC"},
        {"黑", "SC"},
        {"microsoft yahei", "SC"},
        {"mingliu", "TC"},
        {"pmingliu", "TC"},
        {"明體", "TC"},
        {"microsoft jhenghei", "TC"},
        {"dfkai", "TC"},
        {"標楷", "TC"},
        {"batang", "KR"},
        {"gulim", "KR"},
        {"dotum", "KR"},
        {"gungsuh", "KR"},
        {"malgun", "KR"},
        {"바탕", "KR"},
        {"굴림", "KR"},
        {"돋움", "KR"},
        {"궁서", "KR"},
        {"맑은", "KR"},
    };
    for (const Family& f : families) {
        // Names in Latin letters by their start; names in their own script
        // anywhere (a foundry's prefix comes first: "ＭＳ 明朝", "HG明朝E").
        const bool ascii = static_cast<unsigned char>(f.key[0]) < 0x80;
        if (ascii ? !name.starts_with(f.key) : !contains(name, f.key))
            continue;
        static constexpr std::string_view serif[] = {"mincho", "明朝", "song",   "sun",      "宋",
                                                     "ming",   "明體", "batang", "바탕",     "gungsuh",
                                                     "궁서",   "kai",  "楷",     "fangsong", "仿宋"};
        bool isSerif = false;
        for (auto k : serif)
            isSerif = isSerif || contains(name, k);
        return std::string(isSerif ? "Noto Serif CJK " : "Noto Sans CJK ").append(f.language);
    }
    return {};
}

} // namespace

struct FontCache::Impl {
    FT_Library library = nullptr;
    FcConfig* config = nullptr;
    bool configLoaded = false; ///< loaded, or tried and failed
    std::string stamp;         ///< of the answers in `disk`
    std::unique_ptr<FontDiskCache> disk; // answers of earlier processes

    void openAnswers(std::string configStamp)
    {
        stamp = std::move(configStamp);
        disk = std::make_unique<FontDiskCache>(FontDiskCache::defaultPath(stamp), stamp);
    }

    /// fontconfig's configuration, loaded on first need; null when it
    /// cannot be. Its stamp is kept for the next process; should it differ
    /// from the kept one the answers were opened under, the answers of its
    /// own stamp are used from then on.
    FcConfig* loadConfig()
    {
        if (configLoaded)
            return config;
        configLoaded = true;
        config = FcInitLoadConfigAndFonts();
        if (!config)
            return nullptr;
        std::vector<std::string> sources;
        std::string real = FontDiskCache::configStamp(config, &sources);
        FontDiskCache::keepStamp(FontDiskCache::stampPath(), real, sources);
        if (!disk || real != stamp)
            openAnswers(std::move(real));
        return config;
    }
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
    // A configuration unchanged since an earlier process is not loaded until
    // an answer its file lacks is asked for; most runs never ask one.
    if (std::optional<std::string> kept = FontDiskCache::keptStamp(FontDiskCache::stampPath()))
        m_impl->openAnswers(std::move(*kept));
    else
        m_impl->loadConfig();
}

FontCache::~FontCache()
{
    if (m_impl->disk)
        m_impl->disk->save();
    for (auto& [face, font] : m_shapers)
        hb_font_destroy(font);
    m_byFile.clear();
    if (m_impl->config)
        FcConfigDestroy(m_impl->config);
    if (m_impl->library)
        FT_Done_FreeType(m_impl->library);
}

std::string FontCache::twinFamily(std::string_view wordName)
{
    // Fonts known only by their line height or by estimated widths are
    // looked for as themselves: where they are installed their own widths
    // serve.
    if (const WordFontMetrics* known = wordFontMetrics(wordName);
        known && known->widthsKnown && !known->widthsEstimated)
        return std::string(known->standIn);
    const std::string name = lower(wordName);
    struct Twin {
        std::string_view word, twin;
    };
    // Metric-compatible twins: same advance widths and vertical metrics, so
    // lines break where they break with the original font.
    static constexpr Twin twins[] = {
        {"times new roman", "Liberation Serif"},
        {"times", "Liberation Serif"},
        {"arial", "Liberation Sans"},
        {"helvetica", "Liberation Sans"},
        {"arial nova", "Liberation Sans"},
        {"courier new", "Liberation Mono"},
        {"courier", "Liberation Mono"},
        {"calibri", "Carlito"},
        {"calibri light", "Carlito"},
        // The PostScript printers' fonts, Linotype's Palatino for Windows and
        // the Windows fonts Monotype drew to their widths (Century Schoolbook
        // to New Century Schoolbook's, Monotype Corsiva to ITC Zapf
        // Chancery's), laid out with URW's clones of the PostScript fonts, as
        // fontconfig's own table of metric aliases pairs them; their lines
        // take the clones' heights. (Those
        // whose Windows heights are known, Book Antiqua, Century Gothic,
        // Bookman Old Style and Arial Narrow, are among the fonts of known
        // metrics.)
        {"palatino linotype", "P052"},
        {"palatino", "P052"},
        {"century schoolbook", "C059"},
        {"new century schoolbook", "C059"},
        {"monotype corsiva", "Z003"},
    };
    for (const auto& t : twins)
        if (name == t.word)
            return std::string(t.twin);
    if (std::string cjk = eastAsianTwin(name); !cjk.empty())
        return cjk;
    return std::string(wordName);
}

const Face* FontCache::loadFile(const std::string& file, int index, const std::string& family)
{
    const std::string key = file + '#' + std::to_string(index);
    if (auto it = m_byFile.find(key); it != m_byFile.end())
        return it->second.get();
    auto face = std::make_unique<Face>();
    face->m_family = family;
    face->m_file = file;
    face->m_index = index;
    if (auto kept = m_impl->disk ? m_impl->disk->face(file, index) : std::nullopt) {
        face->m_metrics = kept->metrics;
        face->m_advances = std::move(kept->advances);
        const Face* result = face.get();
        m_byFile.emplace(key, std::move(face));
        return result;
    }
    if (!m_impl->library)
        return nullptr;
    FT_Face ft = nullptr;
    if (FT_New_Face(m_impl->library, file.c_str(), index, &ft) != 0)
        return nullptr;
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
                    face->m_advances[code] = static_cast<uint16_t>(std::clamp<FT_Fixed>(advance, 0, Face::Missing - 1));
            }
            code = FT_Get_Next_Char(ft, code, &glyph);
        }
    }
    FT_Done_Face(ft);
    if (m_impl->disk)
        m_impl->disk->storeFace(file, index, {face->m_metrics, face->m_advances});
    const Face* result = face.get();
    m_byFile.emplace(key, std::move(face));
    return result;
}

namespace {

// A family name in a weight and slant, as the caches key it.
std::string styleKey(std::string name, FontWeight weight, FontSlant slant)
{
    name += weight == FontWeight::Bold ? "|b" : "|r";
    name += slant == FontSlant::Italic ? "i" : "u";
    return name;
}

// fontconfig's choice for a family in a style, and whether it is that family.
FontDiskCache::Match askFontconfig(FcConfig* config, const std::string& family, FontWeight weight, FontSlant slant)
{
    FontDiskCache::Match answer;
    FcPattern* pattern = FcPatternCreate();
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(family.c_str()));
    FcPatternAddInteger(pattern, FC_WEIGHT, weight == FontWeight::Bold ? FC_WEIGHT_BOLD : FC_WEIGHT_REGULAR);
    FcPatternAddInteger(pattern, FC_SLANT, slant == FontSlant::Italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(config, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(config, pattern, &result);
    FcPatternDestroy(pattern);
    if (!match)
        return answer;
    FcChar8* file = nullptr;
    FcChar8* matchedFamily = nullptr;
    int index = 0;
    if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch) {
        FcPatternGetInteger(match, FC_INDEX, 0, &index);
        if (FcPatternGetString(match, FC_FAMILY, 0, &matchedFamily) == FcResultMatch)
            answer.family = reinterpret_cast<const char*>(matchedFamily);
        // A family may be listed under several names ("DejaVu Sans,DejaVu
        // Sans Condensed"); any of them counts as the font asked for.
        for (int i = 0; FcPatternGetString(match, FC_FAMILY, i, &matchedFamily) == FcResultMatch; ++i)
            if (lower(reinterpret_cast<const char*>(matchedFamily)) == lower(family))
                answer.exact = true;
        answer.hasFile = true;
        answer.file = reinterpret_cast<const char*>(file);
        answer.index = index;
    }
    FcPatternDestroy(match);
    return answer;
}

} // namespace

const Face* FontCache::load(const std::string& family, FontWeight weight, FontSlant slant, bool& exact)
{
    exact = false;
    // Neither answers kept under a known stamp nor a configuration to ask.
    if (!m_impl->disk && !m_impl->loadConfig())
        return nullptr;
    // Matching scans every installed font: each family and style is asked
    // once a process (the stand-ins of unknown fonts are asked for again
    // and again).
    std::string key = styleKey(family, weight, slant);
    if (auto it = m_byFamily.find(key); it != m_byFamily.end()) {
        exact = it->second.second;
        return it->second.first;
    }
    const Face* face = match(family, weight, slant, exact);
    m_byFamily.emplace(std::move(key), std::make_pair(face, exact));
    return face;
}

const Face* FontCache::match(const std::string& family, FontWeight weight, FontSlant slant, bool& exact)
{
    const std::string key = styleKey(family, weight, slant);
    std::optional<FontDiskCache::Match> answer = m_impl->disk ? m_impl->disk->match(key) : std::nullopt;
    if (!answer) {
        FcConfig* config = m_impl->loadConfig();
        if (!config)
            return nullptr;
        // Loading it may have opened the answers of another stamp.
        answer = m_impl->disk ? m_impl->disk->match(key) : std::nullopt;
        if (!answer) {
            answer = askFontconfig(config, family, weight, slant);
            if (m_impl->disk)
                m_impl->disk->storeMatch(key, *answer);
        }
    }
    exact = answer->exact;
    return answer->hasFile ? loadFile(answer->file, answer->index, answer->family) : nullptr;
}

ResolvedFace FontCache::resolve(std::string_view wordName, FontWeight weight, FontSlant slant)
{
    std::lock_guard lock(m_mutex);
    std::string key = styleKey(lower(wordName), weight, slant);
    if (auto it = m_byRequest.find(key); it != m_byRequest.end())
        return it->second;
    ResolvedFace resolved;
    const WordFontMetrics* known = wordFontMetrics(wordName);
    const std::string twin = twinFamily(wordName);
    bool exact = false;
    const Face* face = wordName.empty() ? nullptr : load(twin, weight, slant, exact);
    if (face && exact) {
        resolved.standIn = known && known->widthsKnown && twin == known->standIn;
    } else if (known && known->widthsKnown) {
        // A font of estimated widths that is not installed: its stand-in,
        // measured through the estimate.
        bool standInExact = false;
        if (const Face* standIn = load(std::string(known->standIn), weight, slant, standInExact);
            standIn && standInExact) {
            face = standIn;
            resolved.standIn = true;
        }
    }
    if (!face || (!exact && !resolved.standIn)) {
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
        // Symbols and Latin-script letters first, then one face per script
        // that the common faces lack (Indic, South-East Asian).
        static const char* const families[] = {"DejaVu Sans",
                                               "Liberation Sans",
                                               "Noto Sans CJK SC",
                                               "Noto Sans",
                                               "Symbola",
                                               "Noto Sans Devanagari",
                                               "Noto Sans Bengali",
                                               "Noto Sans Gurmukhi",
                                               "Noto Sans Gujarati",
                                               "Noto Sans Oriya",
                                               "Noto Sans Tamil",
                                               "Noto Sans Telugu",
                                               "Noto Sans Kannada",
                                               "Noto Sans Malayalam",
                                               "Noto Sans Sinhala",
                                               "Noto Sans Thai",
                                               "Noto Sans Lao",
                                               "Noto Sans Khmer",
                                               "Noto Sans Myanmar",
                                               "Noto Serif Tibetan",
                                               "Noto Sans Syriac",
                                               "Noto Sans Thaana",
                                               "Noto Sans NKo"};
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

const Face* FontCache::scriptFace(char16_t c, std::string_view wordName)
{
    // Arabic and Hebrew in a face drawn for them, in the style of the font
    // asked for: a Naskh for Traditional and Simplified Arabic and the serif
    // fonts, a sans for the rest. The general fallback's DejaVu Sans draws
    // Arabic far wider than the Naskh faces Word's documents are set in.
    const bool arabic = (c >= 0x0600 && c <= 0x08FF) || (c >= 0xFB50 && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFF);
    const bool hebrew = (c >= 0x0590 && c <= 0x05FF) || (c >= 0xFB1D && c <= 0xFB4F);
    if (arabic || hebrew) {
        const bool serif = familyClass(lower(wordName)) == FamilyClass::Serif;
        const char* family = arabic ? (serif ? "Noto Naskh Arabic" : "Noto Sans Arabic")
                                    : (serif ? "Noto Serif Hebrew" : "Noto Sans Hebrew");
        std::lock_guard lock(m_mutex);
        bool exact = false;
        const std::string key = std::string("\x01script|") + family;
        auto it = m_byRequest.find(key);
        if (it == m_byRequest.end()) {
            const Face* f = load(family, FontWeight::Regular, FontSlant::Upright, exact);
            it = m_byRequest.emplace(key, ResolvedFace{exact ? f : nullptr, false}).first;
        }
        if (it->second.face && it->second.face->advance(c) != Face::Missing)
            return it->second.face;
    }
    return fallbackFor(c);
}

const Face* FontCache::emojiFace()
{
    std::lock_guard lock(m_mutex);
    if (!m_emojiLoaded) {
        m_emojiLoaded = true;
        bool exact = false;
        if (const Face* f = load("Noto Color Emoji", FontWeight::Regular, FontSlant::Upright, exact); f && exact)
            m_emoji = f;
    }
    return m_emoji;
}

hb_font_t* FontCache::shaper(const Face* face)
{
    std::lock_guard lock(m_mutex);
    if (auto it = m_shapers.find(face); it != m_shapers.end())
        return it->second;
    hb_font_t* font = nullptr;
    if (hb_blob_t* blob = hb_blob_create_from_file_or_fail(face->file().c_str())) {
        hb_face_t* hbFace = hb_face_create(blob, static_cast<unsigned>(face->m_index));
        hb_blob_destroy(blob);
        if (hb_face_get_glyph_count(hbFace) > 0) {
            font = hb_font_create(hbFace);
            hb_font_set_scale(font, face->metrics().unitsPerEm, face->metrics().unitsPerEm);
            hb_font_make_immutable(font);
        }
        hb_face_destroy(hbFace);
    }
    m_shapers.emplace(face, font);
    return font;
}

} // namespace qm::engine::layout
