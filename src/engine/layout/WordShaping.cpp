// Shaping right-to-left text a word at a time.
//
// A long Arabic paragraph shaped as whole runs costs HarfBuzz about two
// thousand instructions a character, and the same few thousand words come
// back again and again. Shaped alone, a word gives the glyphs it gets inside
// its run when nothing joins it to its neighbours across the space: Arabic
// joining stops at a space (it joins neither way) exactly as it stops at the
// run's ends, and no lookup of the font may take the space into a match,
// skip over it, or adjust it by its neighbours. The first is the script's
// rule; the second is checked here for each font, from its tables.
#include "engine/layout/WordShaping.h"

#include <algorithm>
#include <hb-ot.h>
#include <hb.h>
#include <memory>
#include <string>
#include <unicode/uchar.h>
#include <unordered_map>

namespace qm::engine::layout {

namespace {

/// Reads big-endian fields of one table; any read past its end makes the
/// whole reading fail.
class TableReader {
public:
    explicit TableReader(std::string_view bytes) : m_bytes(bytes) {}
    bool failed() const { return m_failed; }
    uint16_t u16(size_t at)
    {
        if (at + 2 > m_bytes.size()) {
            m_failed = true;
            return 0;
        }
        return static_cast<uint16_t>(static_cast<uint8_t>(m_bytes[at]) << 8 | static_cast<uint8_t>(m_bytes[at + 1]));
    }
    uint32_t u32(size_t at) { return uint32_t{u16(at)} << 16 | u16(at + 2); }

    /// The class `glyph` has in the class definition at `at` (0 when unlisted).
    uint16_t classOf(size_t at, uint16_t glyph)
    {
        const uint16_t format = u16(at);
        if (format == 1) {
            const uint16_t start = u16(at + 2), count = u16(at + 4);
            return glyph >= start && glyph - start < count ? u16(at + 6 + 2 * size_t(glyph - start)) : 0;
        }
        if (format == 2) {
            const uint16_t ranges = u16(at + 2);
            for (size_t r = 0; r < ranges && !m_failed; ++r) {
                const size_t rec = at + 4 + 6 * r;
                if (glyph >= u16(rec) && glyph <= u16(rec + 2))
                    return u16(rec + 4);
            }
            return 0;
        }
        m_failed = true;
        return 0;
    }

private:
    std::string_view m_bytes;
    bool m_failed = false;
};

// Lookup types that hold class-based rules (and the extension that wraps
// another), by table.
constexpr uint16_t GsubContext = 5, GsubChainContext = 6, GsubExtension = 7;
constexpr uint16_t GposPair = 2, GposContext = 7, GposChainContext = 8, GposExtension = 9;

/// Whether `count` class values from `at` include `cls`.
bool listsClass(TableReader& t, size_t at, size_t count, uint16_t cls)
{
    for (size_t k = 0; k < count; ++k)
        if (t.u16(at + 2 * k) == cls)
            return true;
    return false;
}

/// Whether `matches` holds for any rule of the class-based (format 2)
/// contextual subtable at `at`, whose count of rule sets stands at
/// `setCount` and their offsets after it; `matches` gets each rule's start.
template <typename Matches>
bool anyRule(TableReader& t, size_t at, size_t setCount, Matches&& matches)
{
    const uint16_t sets = t.u16(setCount);
    for (size_t s = 0; s < sets && !t.failed(); ++s) {
        const uint16_t setOffset = t.u16(setCount + 2 + 2 * s);
        if (setOffset == 0)
            continue;
        const size_t set = at + setOffset;
        const uint16_t rules = t.u16(set);
        for (size_t r = 0; r < rules && !t.failed(); ++r)
            if (matches(set + t.u16(set + 2 + 2 * r)))
                return true;
    }
    return false;
}

/// Whether the subtable at `at` of lookup type `type` may match `glyph`
/// through a class definition past a rule's first glyph (the first is
/// matched by its coverage, which HarfBuzz lists).
bool subtableMayReach(TableReader& t, size_t at, uint16_t type, bool positioning, uint16_t glyph)
{
    const uint16_t format = t.u16(at);
    const bool context = positioning ? type == GposContext : type == GsubContext;
    const bool chain = positioning ? type == GposChainContext : type == GsubChainContext;
    if (positioning && type == GposPair) {
        if (format == 1)
            return false; // second glyphs listed one by one
        if (format != 2)
            return true;
        // The row of every first class against the glyph's second class:
        // any value there moves a glyph beside it.
        const uint16_t format1 = t.u16(at + 4), format2 = t.u16(at + 6);
        const size_t size1 = 2 * size_t(__builtin_popcount(format1 & 0xFF));
        const size_t size2 = 2 * size_t(__builtin_popcount(format2 & 0xFF));
        const uint16_t class2 = t.classOf(at + t.u16(at + 10), glyph);
        const uint16_t class1Count = t.u16(at + 12), class2Count = t.u16(at + 14);
        if (class2 >= class2Count)
            return false; // HarfBuzz skips a class out of range
        for (size_t c1 = 0; c1 < class1Count && !t.failed(); ++c1) {
            const size_t record = at + 16 + (c1 * class2Count + class2) * (size1 + size2);
            for (size_t b = 0; b < size1 + size2; b += 2)
                if (t.u16(record + b) != 0)
                    return true;
        }
        return false;
    }
    if (!context && !chain)
        return false; // matched by coverage and listed glyphs only
    if (format == 1 || format == 3)
        return false; // glyphs and coverages, all listed
    if (format != 2)
        return true;
    if (context) {
        const uint16_t cls = t.classOf(at + t.u16(at + 4), glyph);
        return anyRule(t, at, at + 6, [&](size_t rule) {
            const uint16_t glyphs = t.u16(rule);
            return glyphs > 1 && listsClass(t, rule + 4, glyphs - 1u, cls);
        });
    }
    const uint16_t backtrackClass = t.classOf(at + t.u16(at + 4), glyph);
    const uint16_t inputClass = t.classOf(at + t.u16(at + 6), glyph);
    const uint16_t lookaheadClass = t.classOf(at + t.u16(at + 8), glyph);
    return anyRule(t, at, at + 10, [&](size_t p) {
        const uint16_t backtrack = t.u16(p);
        if (listsClass(t, p + 2, backtrack, backtrackClass))
            return true;
        p += 2 + 2 * size_t{backtrack};
        const uint16_t input = t.u16(p);
        if (input > 1 && listsClass(t, p + 2, input - 1u, inputClass))
            return true;
        p += 2 + 2 * size_t(input > 0 ? input - 1 : 0);
        const uint16_t lookahead = t.u16(p);
        return listsClass(t, p + 2, lookahead, lookaheadClass);
    });
}

} // namespace

bool layoutTableMayReach(std::string_view table, bool positioning, uint16_t glyph, unsigned glyphClass)
{
    if (table.empty())
        return false;
    TableReader t(table);
    if (t.u16(0) != 1)
        return true;
    const size_t list = t.u16(8);
    const uint16_t lookups = t.u16(list);
    for (size_t l = 0; l < lookups && !t.failed(); ++l) {
        const size_t lookup = list + t.u16(list + 2 + 2 * l);
        const uint16_t type = t.u16(lookup);
        const uint16_t flags = t.u16(lookup + 2);
        // A lookup that ignores the glyph's class steps over it.
        if ((glyphClass == 1 && (flags & 0x2)) || (glyphClass == 2 && (flags & 0x4)) ||
            (glyphClass == 3 && (flags & 0x8 || flags & 0xFF00 || flags & 0x10)))
            return true;
        const uint16_t subtables = t.u16(lookup + 4);
        for (size_t s = 0; s < subtables && !t.failed(); ++s) {
            size_t at = lookup + t.u16(lookup + 6 + 2 * s);
            uint16_t subtype = type;
            if (type == (positioning ? GposExtension : GsubExtension)) {
                subtype = t.u16(at + 2);
                at += t.u32(at + 4);
            }
            if (subtableMayReach(t, at, subtype, positioning, glyph))
                return true;
        }
    }
    return t.failed();
}

namespace {

std::string_view tableBytes(hb_face_t* face, hb_tag_t tag, hb_blob_t*& blob)
{
    blob = hb_face_reference_table(face, tag);
    unsigned length = 0;
    const char* data = hb_blob_get_data(blob, &length);
    return {data ? data : "", data ? length : 0};
}

bool decideApartAtSpaces(hb_font_t* font)
{
    hb_face_t* face = hb_font_get_face(font);
    hb_codepoint_t space = 0;
    if (!hb_font_get_nominal_glyph(font, 0x20, &space) || space > 0xFFFF)
        return false;
    // Kerning and layout applied outside GSUB and GPOS lookups: the old
    // kern table and Apple's tables. A face with any is shaped whole.
    for (hb_tag_t tag : {HB_TAG('k', 'e', 'r', 'n'), HB_TAG('m', 'o', 'r', 'x'), HB_TAG('m', 'o', 'r', 't'),
                         HB_TAG('k', 'e', 'r', 'x'), HB_TAG('t', 'r', 'a', 'k')}) {
        hb_blob_t* blob = nullptr;
        const bool present = !tableBytes(face, tag, blob).empty();
        hb_blob_destroy(blob);
        if (present)
            return false;
    }
    // The space in no lookup's glyphs: not matched, not looked at around a
    // match, not produced.
    hb_set_t* glyphs = hb_set_create();
    bool listed = false;
    for (hb_tag_t tag : {HB_OT_TAG_GSUB, HB_OT_TAG_GPOS}) {
        const unsigned count = hb_ot_layout_table_get_lookup_count(face, tag);
        for (unsigned l = 0; l < count && !listed; ++l) {
            hb_set_clear(glyphs);
            hb_ot_layout_lookup_collect_glyphs(face, tag, l, glyphs, glyphs, glyphs, glyphs);
            listed = hb_set_has(glyphs, space);
        }
    }
    hb_set_destroy(glyphs);
    if (listed)
        return false;
    // Nor reached by a class, nor stepped over. Without glyph classes HarfBuzz classes glyphs by their characters,
    // and a space is then a base glyph.
    const unsigned glyphClass =
        hb_ot_layout_has_glyph_classes(face) ? static_cast<unsigned>(hb_ot_layout_get_glyph_class(face, space)) : 1u;
    for (bool positioning : {false, true}) {
        hb_blob_t* blob = nullptr;
        const bool reached = layoutTableMayReach(
            tableBytes(face, positioning ? HB_OT_TAG_GPOS : HB_OT_TAG_GSUB, blob), positioning,
            static_cast<uint16_t>(space), glyphClass <= 3 ? glyphClass : 3);
        hb_blob_destroy(blob);
        if (reached)
            return false;
    }
    return true;
}

/// Whether the character after a space begins a piece of its own: not a
/// mark or format character, which belong with the space before them.
bool startsPiece(char16_t c)
{
    if (c >= 0xD800 && c <= 0xDFFF)
        return false;
    switch (u_charType(c)) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_COMBINING_SPACING_MARK:
    case U_FORMAT_CHAR: return false;
    default: return true;
    }
}

/// The direction, script and language HarfBuzz guesses for a whole run:
/// the script of its first character that has one of its own (not common
/// or inherited), that script's direction (left to right for none), and the
/// process's language. Found here without copying the run into a buffer.
hb_segment_properties_t runProperties(std::u16string_view run)
{
    hb_unicode_funcs_t* unicode = hb_unicode_funcs_get_default();
    hb_script_t script = HB_SCRIPT_INVALID;
    for (size_t k = 0; k < run.size(); ++k) {
        char32_t c = run[k];
        if (c >= 0xD800 && c <= 0xDBFF && k + 1 < run.size() && run[k + 1] >= 0xDC00 && run[k + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (run[k + 1] - 0xDC00);
            ++k;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = 0xFFFD; // a lone surrogate, as HarfBuzz reads it
        }
        const hb_script_t s = hb_unicode_script(unicode, c);
        if (s != HB_SCRIPT_COMMON && s != HB_SCRIPT_INHERITED && s != HB_SCRIPT_UNKNOWN) {
            script = s;
            break;
        }
    }
    hb_segment_properties_t props = HB_SEGMENT_PROPERTIES_DEFAULT;
    props.script = script;
    props.direction = hb_script_get_horizontal_direction(script);
    if (props.direction == HB_DIRECTION_INVALID)
        props.direction = HB_DIRECTION_LTR;
    props.language = hb_language_get_default();
    return props;
}

/// The pieces already shaped, by font, script, direction and text; the
/// value is the piece's glyphs (clusters in units of the piece).
struct WordMemo {
    std::unordered_map<std::u16string, std::vector<WordGlyph>> glyphs;
    size_t units = 0;
    std::u16string key;
};

// Some forty thousand pieces with their keys (a few megabytes a thread):
// enough for the distinct words of many long documents. Past it the memo
// starts afresh.
constexpr size_t MaxMemoUnits = size_t{1} << 19;

} // namespace

bool shapesApartAtSpaces(hb_font_t* font)
{
    thread_local std::unordered_map<hb_font_t*, bool> answers;
    auto it = answers.find(font);
    if (it == answers.end())
        it = answers.emplace(font, decideApartAtSpaces(font)).first;
    return it->second;
}

namespace {

/// Shapes `text` in `font` with the given properties into the thread's buffer.
void shapeInto(hb_buffer_t* buffer, hb_font_t* font, std::u16string_view text, const hb_segment_properties_t& props)
{
    hb_buffer_reset(buffer);
    hb_buffer_add_utf16(buffer, reinterpret_cast<const uint16_t*>(text.data()), static_cast<int>(text.size()), 0,
                        static_cast<int>(text.size()));
    hb_buffer_set_cluster_level(buffer, HB_BUFFER_CLUSTER_LEVEL_MONOTONE_CHARACTERS);
    hb_buffer_set_segment_properties(buffer, &props);
    hb_shape(font, buffer, nullptr, 0);
}

} // namespace

bool shapeByWords(hb_font_t* font, std::u16string_view run, std::vector<WordGlyph>& out)
{
    struct BufferDeleter {
        void operator()(hb_buffer_t* b) const { hb_buffer_destroy(b); }
    };
    thread_local std::unique_ptr<hb_buffer_t, BufferDeleter> kept(hb_buffer_create());
    thread_local WordMemo memo;
    if (run.empty() || !font)
        return false;
    hb_buffer_t* buffer = kept.get();
    const hb_segment_properties_t props = runProperties(run);
    if ((props.script != HB_SCRIPT_ARABIC && props.script != HB_SCRIPT_HEBREW) || !shapesApartAtSpaces(font))
        return false;

    out.clear();
    if (memo.units > MaxMemoUnits) {
        memo.glyphs.clear();
        memo.units = 0;
    }
    // Each piece of the run and its glyphs in the memo; a piece not met
    // before gets its entry now, filled below.
    struct Piece {
        size_t start = 0, length = 0;
        std::vector<WordGlyph>* glyphs = nullptr;
    };
    thread_local std::vector<Piece> pieces;
    thread_local std::vector<Piece> fresh; // the pieces to shape, each text once
    pieces.clear();
    fresh.clear();
    // A font is named by its address: the font cache keeps every font it
    // makes until the process ends, so no other font takes its place.
    const uintptr_t fontBits = reinterpret_cast<uintptr_t>(font);
    for (size_t start = 0; start < run.size();) {
        size_t end = start + 1;
        if (run[start] == u' ') {
            while (end < run.size() && !startsPiece(run[end]))
                ++end;
        } else {
            while (end < run.size() && run[end] != u' ')
                ++end;
        }
        std::u16string& key = memo.key;
        key.clear();
        for (int shift = 0; shift < 64; shift += 16)
            key.push_back(static_cast<char16_t>(fontBits >> shift));
        key.push_back(static_cast<char16_t>(props.script >> 16));
        key.push_back(static_cast<char16_t>(props.script & 0xFFFF));
        key.push_back(static_cast<char16_t>(props.direction));
        key.append(run.substr(start, end - start));
        auto [it, added] = memo.glyphs.try_emplace(key);
        if (added) {
            memo.units += key.size();
            fresh.push_back({start, end - start, &it->second});
        }
        // The map's entries stay where they are as it grows.
        pieces.push_back({start, end - start, &it->second});
        start = end;
    }
    // The new pieces shaped in one go, a space between each two: shaped
    // apart at its spaces, text gives each piece the glyphs it has alone,
    // and one call costs HarfBuzz less than one a word. A run that starts
    // with a mark has it as its first piece, which a space before it would
    // take as its base: that piece goes first, with nothing before it.
    if (!fresh.empty()) {
        thread_local std::u16string text;
        thread_local std::vector<size_t> at; // where each fresh piece starts in `text`
        text.clear();
        at.clear();
        for (const Piece& p : fresh) {
            if (!text.empty())
                text.push_back(u' ');
            at.push_back(text.size());
            text.append(run.substr(p.start, p.length));
        }
        shapeInto(buffer, font, text, props);
        unsigned count = 0;
        const hb_glyph_info_t* info = hb_buffer_get_glyph_infos(buffer, &count);
        const hb_glyph_position_t* position = hb_buffer_get_glyph_positions(buffer, &count);
        for (unsigned g = 0; g < count; ++g) {
            const size_t cluster = info[g].cluster;
            const size_t k = static_cast<size_t>(std::upper_bound(at.begin(), at.end(), cluster) - at.begin()) - 1;
            if (cluster >= at[k] + fresh[k].length)
                continue; // the space put between two pieces
            fresh[k].glyphs->push_back({position[g].x_advance, static_cast<uint32_t>(cluster - at[k])});
        }
    }
    for (const Piece& p : pieces)
        for (const WordGlyph& g : *p.glyphs)
            out.push_back({g.advance, static_cast<uint32_t>(p.start + g.cluster)});
    return true;
}

} // namespace qm::engine::layout
