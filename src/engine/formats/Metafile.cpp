// Windows metafile text: the strings WMF and EMF records draw, placed as a player places them.
#include "engine/formats/Metafile.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>

namespace qm::engine {

namespace {

/// Little-endian reads that answer 0 past the end: a short record reads
/// as zeros, never outside the bytes.
struct Bytes {
    std::string_view data;
    uint32_t u32(size_t at) const
    {
        if (at > data.size() || data.size() - at < 4)
            return 0;
        uint32_t v = 0;
        for (int i = 3; i >= 0; --i)
            v = (v << 8) | static_cast<unsigned char>(data[at + static_cast<size_t>(i)]);
        return v;
    }
    int32_t i32(size_t at) const { return static_cast<int32_t>(u32(at)); }
    uint16_t u16(size_t at) const
    {
        if (at > data.size() || data.size() - at < 2)
            return 0;
        return static_cast<uint16_t>(static_cast<unsigned char>(data[at]) |
                                     (static_cast<unsigned char>(data[at + 1]) << 8));
    }
    int16_t i16(size_t at) const { return static_cast<int16_t>(u16(at)); }
    uint8_t u8(size_t at) const { return at < data.size() ? static_cast<unsigned char>(data[at]) : 0; }
    float f32(size_t at) const
    {
        const uint32_t bits = u32(at);
        float f = 0;
        std::memcpy(&f, &bits, sizeof f);
        return std::isfinite(f) ? f : 0.0f;
    }
};

/// Windows-1252's characters 0x80 to 0x9F (the rest of the code page is Latin-1).
constexpr std::array<char16_t, 32> Cp1252High = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

std::u16string ansiText(std::string_view s)
{
    std::u16string out;
    out.reserve(s.size());
    for (const char ch : s) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == 0)
            break;
        out.push_back(c >= 0x80 && c < 0xA0 ? Cp1252High[c - 0x80] : static_cast<char16_t>(c));
    }
    return out;
}

std::u16string wideText(const Bytes& b, size_t at, size_t count)
{
    std::u16string out;
    if (at > b.data.size())
        return out;
    count = std::min(count, (b.data.size() - at) / 2);
    out.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        const char16_t c = b.u16(at + 2 * i);
        if (c == 0)
            break;
        out.push_back(c);
    }
    return out;
}

/// Text with nothing to show (spaces only) makes no entry.
bool blank(const std::u16string& s)
{
    return std::all_of(s.begin(), s.end(), [](char16_t c) { return c == u' ' || c < 0x20; });
}

struct Font {
    double height = 0; ///< lfHeight, logical units: < 0 the character height, > 0 the cell height
    int32_t weight = 400;
    bool italic = false;
    std::u16string face;
};

/// A font's em as a share of a cell: a font whose height is given as a cell
/// (ascent and descent) is that much smaller; 0.87 is Arial's and Times New
/// Roman's ratio within a hundredth.
constexpr double EmPerCell = 0.87;

constexpr size_t MaxObjects = 4096;
constexpr size_t MaxSavedStates = 256;
constexpr size_t MaxRecords = 4u << 20;

void setAlign(MetafileText& t, uint32_t mode)
{
    // TA_CENTER (6) holds TA_RIGHT's bit (2); TA_BASELINE (24) TA_BOTTOM's (8).
    t.align = (mode & 6) == 6 ? MetafileText::Align::Center
              : (mode & 2)    ? MetafileText::Align::Right
                              : MetafileText::Align::Left;
    t.vAlign = (mode & 24) == 24 ? MetafileText::VAlign::Baseline
               : (mode & 8)      ? MetafileText::VAlign::Bottom
                                 : MetafileText::VAlign::Top;
}

/// Finishes a string placed at (t.x, t.y): its size from the selected font
/// (its height in logical units times `scale`, over the picture's height
/// `over` along the text's vertical), colour and alignment; kept when every
/// figure is finite.
void keepText(MetafileText t, const std::vector<std::optional<Font>>& objects, int32_t font, double scale, double over,
              uint32_t color, uint32_t align, std::vector<MetafileText>& out)
{
    if (font >= 0 && static_cast<size_t>(font) < objects.size() && objects[static_cast<size_t>(font)]) {
        const Font& f = *objects[static_cast<size_t>(font)];
        t.emHeight = std::abs(f.height) * (f.height > 0 ? EmPerCell : 1.0) * scale / over;
        t.font = f.face;
        t.weight = f.weight;
        t.italic = f.italic;
    }
    t.color = color;
    setAlign(t, align);
    if (std::isfinite(t.x) && std::isfinite(t.y) && std::isfinite(t.emHeight))
        out.push_back(std::move(t));
}

uint32_t colorRef(uint32_t c) { return ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF); }

// ---------------------------------------------------------------------------
// WMF ([MS-WMF]): 16-bit records, sizes in words.

std::vector<MetafileText> wmfText(const Bytes& b, size_t maxTexts)
{
    std::vector<MetafileText> out;
    size_t pos = 0;
    // The placeable header (2.3.2.3 META_PLACEABLE) gives the picture's
    // bounds in logical units; without it the window set last stands for them.
    std::optional<std::array<double, 4>> bounds;
    if (b.u32(0) == 0x9AC6CDD7u) {
        const double left = b.i16(6), top = b.i16(8), right = b.i16(10), bottom = b.i16(12);
        if (right != left && bottom != top)
            bounds = std::array<double, 4>{left, top, right - left, bottom - top};
        pos = 22;
    }
    const uint16_t headerWords = b.u16(pos + 2);
    if (b.u16(pos) > 2 || headerWords != 9)
        return out;
    const size_t objectCount = std::min<size_t>(b.u16(pos + 10), MaxObjects);
    pos += 18;

    struct State {
        double orgX = 0, orgY = 0, extX = 1, extY = 1;
        bool windowSet = false;
        int32_t font = -1;
        uint16_t align = 0;
        uint32_t color = 0;
    };
    State st;
    std::vector<State> saved;
    // Every object a record creates takes the lowest free slot of the table
    // (2.1.1.1); only fonts are kept, the others hold their slot.
    std::vector<std::optional<Font>> objects(objectCount);
    std::vector<bool> used(objectCount, false);
    auto create = [&](std::optional<Font> font) {
        for (size_t i = 0; i < used.size(); ++i)
            if (!used[i]) {
                used[i] = true;
                objects[i] = std::move(font);
                return;
            }
    };

    auto place = [&](double x, double y, std::u16string text) {
        if (out.size() >= maxTexts || blank(text))
            return;
        double ox = st.orgX, oy = st.orgY, ex = st.extX, ey = st.extY;
        if (bounds)
            ox = (*bounds)[0], oy = (*bounds)[1], ex = (*bounds)[2], ey = (*bounds)[3];
        else if (!st.windowSet)
            return; // nothing says how big the picture is
        if (ex == 0 || ey == 0)
            return;
        MetafileText t;
        t.text = std::move(text);
        t.x = (x - ox) / ex;
        t.y = (y - oy) / ey;
        keepText(std::move(t), objects, st.font, 1.0, std::abs(ey), st.color, st.align, out);
    };

    for (size_t records = 0; records < MaxRecords && pos + 6 <= b.data.size(); ++records) {
        const uint64_t words = b.u32(pos);
        const uint16_t function = b.u16(pos + 4);
        if (function == 0 || words < 3 || words * 2 > b.data.size() - pos)
            break; // META_EOF, or a record that cannot be
        const size_t end = pos + static_cast<size_t>(words * 2);
        const size_t p = pos + 6; // the parameters
        const Bytes r{b.data.substr(0, end)};
        switch (function) {
        case 0x020B: // META_SETWINDOWORG: y, x
            st.orgY = r.i16(p), st.orgX = r.i16(p + 2), st.windowSet = true;
            break;
        case 0x020C: // META_SETWINDOWEXT: y, x
            st.extY = r.i16(p), st.extX = r.i16(p + 2), st.windowSet = true;
            break;
        case 0x012E: // META_SETTEXTALIGN
            st.align = r.u16(p);
            break;
        case 0x0209: // META_SETTEXTCOLOR
            st.color = colorRef(r.u32(p));
            break;
        case 0x001E: // META_SAVEDC
            if (saved.size() < MaxSavedStates)
                saved.push_back(st);
            break;
        case 0x0127: { // META_RESTOREDC: a negative count goes back that many
            const int16_t n = r.i16(p);
            const size_t back = n < 0 ? static_cast<size_t>(-n) : 1;
            if (back <= saved.size()) {
                st = saved[saved.size() - back];
                saved.resize(saved.size() - back);
            }
            break;
        }
        case 0x02FB: { // META_CREATEFONTINDIRECT (2.2.1.2 Font)
            Font f;
            f.height = r.i16(p);
            f.weight = r.i16(p + 8);
            f.italic = r.u8(p + 10) != 0;
            const size_t face = p + 18;
            f.face = ansiText(face < end ? r.data.substr(face, std::min<size_t>(32, end - face)) : std::string_view{});
            create(std::move(f));
            break;
        }
        case 0x02FA: // META_CREATEPENINDIRECT
        case 0x02FC: // META_CREATEBRUSHINDIRECT
        case 0x00F7: // META_CREATEPALETTE
        case 0x01F9: // META_CREATEPATTERNBRUSH
        case 0x0142: // META_DIBCREATEPATTERNBRUSH
        case 0x06FF: // META_CREATEREGION
            create(std::nullopt);
            break;
        case 0x012D: { // META_SELECTOBJECT
            const uint16_t i = r.u16(p);
            if (i < objects.size() && objects[i])
                st.font = i;
            break;
        }
        case 0x01F0: { // META_DELETEOBJECT
            const uint16_t i = r.u16(p);
            if (i < objects.size()) {
                used[i] = false;
                objects[i].reset();
                if (st.font == i)
                    st.font = -1;
            }
            break;
        }
        case 0x0521: { // META_TEXTOUT: length, string (even), y, x
            const size_t length = r.u16(p);
            const size_t padded = length + (length & 1);
            if (p + 2 + padded + 4 > end)
                break;
            const double y = r.i16(p + 2 + padded), x = r.i16(p + 4 + padded);
            place(x, y, ansiText(r.data.substr(p + 2, length)));
            break;
        }
        case 0x0A32: { // META_EXTTEXTOUT: y, x, length, options, [rectangle], string
            const double y = r.i16(p), x = r.i16(p + 2);
            const size_t length = r.u16(p + 4);
            const uint16_t options = r.u16(p + 6);
            // ETO_OPAQUE and ETO_CLIPPED bring a rectangle before the string.
            const size_t text = p + 8 + ((options & 0x0006) ? 8 : 0);
            if (text > end)
                break;
            place(x, y, ansiText(r.data.substr(text, std::min(length, end - text))));
            break;
        }
        default:
            break;
        }
        pos = end;
        if (out.size() >= maxTexts)
            break;
    }
    return out;
}

// ---------------------------------------------------------------------------
// EMF ([MS-EMF]): 32-bit records, sizes in bytes.

/// A 2-D affine transform: x' = m11 x + m21 y + dx, y' = m12 x + m22 y + dy.
struct Xform {
    double m11 = 1, m12 = 0, m21 = 0, m22 = 1, dx = 0, dy = 0;
    /// This transform applied first, then `then`.
    Xform followedBy(const Xform& then) const
    {
        return {m11 * then.m11 + m12 * then.m21, m11 * then.m12 + m12 * then.m22,
                m21 * then.m11 + m22 * then.m21, m21 * then.m12 + m22 * then.m22,
                dx * then.m11 + dy * then.m21 + then.dx, dx * then.m12 + dy * then.m22 + then.dy};
    }
};

Xform readXform(const Bytes& b, size_t at)
{
    return {b.f32(at), b.f32(at + 4), b.f32(at + 8), b.f32(at + 12), b.f32(at + 16), b.f32(at + 20)};
}

std::vector<MetafileText> emfText(const Bytes& b, size_t maxTexts)
{
    std::vector<MetafileText> out;
    // EMR_HEADER (2.3.4.2): the frame (0.01 mm) and the reference device's
    // size in pixels and millimetres, which turn the frame into device units.
    const uint32_t headerSize = b.u32(4);
    if (b.u32(0) != 1 || headerSize < 88 || headerSize > b.data.size())
        return out;
    const double devW = b.i32(72), devH = b.i32(76), mmW = b.i32(80), mmH = b.i32(84);
    double left = b.i32(8), top = b.i32(12), right = b.i32(16) + 1.0, bottom = b.i32(20) + 1.0; // bounds
    if (devW > 0 && devH > 0 && mmW > 0 && mmH > 0) {
        const double fl = b.i32(24), ft = b.i32(28), fr = b.i32(32), fb = b.i32(36);
        if (fr > fl && fb > ft) {
            left = fl * devW / (mmW * 100), right = fr * devW / (mmW * 100);
            top = ft * devH / (mmH * 100), bottom = fb * devH / (mmH * 100);
        }
    }
    if (!(right > left) || !(bottom > top))
        return out;
    const double pxPerMmX = (devW > 0 && mmW > 0) ? devW / mmW : 96 / 25.4;
    const double pxPerMmY = (devH > 0 && mmH > 0) ? devH / mmH : 96 / 25.4;

    struct State {
        Xform world;
        uint32_t mapMode = 1; // MM_TEXT
        double winOrgX = 0, winOrgY = 0, winExtX = 1, winExtY = 1;
        double vpOrgX = 0, vpOrgY = 0, vpExtX = 1, vpExtY = 1;
        int64_t font = -1;
        uint32_t align = 0;
        uint32_t color = 0;
    };
    State st;
    std::vector<State> saved;
    std::vector<std::optional<Font>> objects; // by handle
    const size_t handles = std::min<size_t>(b.u16(56), MaxObjects);
    objects.resize(handles);

    // Page to device (2.1.21 MapMode): fixed units in millimetres, the
    // window and viewport for the scalable modes; y grows upwards in the
    // fixed metric and English modes.
    auto pageToDevice = [&](const State& s) {
        double sx = 1, sy = 1;
        auto metric = [&](double mmPerUnit) {
            sx = mmPerUnit * pxPerMmX;
            sy = -mmPerUnit * pxPerMmY;
        };
        switch (s.mapMode) {
        case 2: metric(0.1); break;              // MM_LOMETRIC
        case 3: metric(0.01); break;             // MM_HIMETRIC
        case 4: metric(0.254); break;            // MM_LOENGLISH
        case 5: metric(0.0254); break;           // MM_HIENGLISH
        case 6: metric(25.4 / 1440); break;      // MM_TWIPS
        case 7:                                  // MM_ISOTROPIC: one scale, the smaller
        case 8:                                  // MM_ANISOTROPIC
            if (s.winExtX != 0 && s.winExtY != 0) {
                sx = s.vpExtX / s.winExtX;
                sy = s.vpExtY / s.winExtY;
                if (s.mapMode == 7) {
                    const double k = std::min(std::abs(sx), std::abs(sy));
                    sx = std::copysign(k, sx);
                    sy = std::copysign(k, sy);
                }
            }
            break;
        default: break;
        }
        return Xform{sx, 0, 0, sy, s.vpOrgX - s.winOrgX * sx, s.vpOrgY - s.winOrgY * sy};
    };

    auto place = [&](double x, double y, std::u16string text) {
        if (out.size() >= maxTexts || blank(text))
            return;
        const Xform m = st.world.followedBy(pageToDevice(st));
        MetafileText t;
        t.text = std::move(text);
        const double dx = x * m.m11 + y * m.m21 + m.dx;
        const double dy = x * m.m12 + y * m.m22 + m.dy;
        t.x = (dx - left) / (right - left);
        t.y = (dy - top) / (bottom - top);
        // The height runs along the text's vertical: its length through the
        // transform.
        keepText(std::move(t), objects, st.font, std::hypot(m.m21, m.m22), bottom - top, st.color, st.align, out);
    };

    size_t pos = 0;
    for (size_t records = 0; records < MaxRecords && pos + 8 <= b.data.size(); ++records) {
        const uint32_t type = b.u32(pos);
        const uint32_t size = b.u32(pos + 4);
        if (size < 8 || size % 4 != 0 || size > b.data.size() - pos)
            break;
        const Bytes r{b.data.substr(pos, size)}; // offsets within the record
        switch (type) {
        case 14: // EMR_EOF
            return out;
        case 9: // EMR_SETWINDOWEXTEX
            st.winExtX = r.i32(8), st.winExtY = r.i32(12);
            break;
        case 10: // EMR_SETWINDOWORGEX
            st.winOrgX = r.i32(8), st.winOrgY = r.i32(12);
            break;
        case 11: // EMR_SETVIEWPORTEXTEX
            st.vpExtX = r.i32(8), st.vpExtY = r.i32(12);
            break;
        case 12: // EMR_SETVIEWPORTORGEX
            st.vpOrgX = r.i32(8), st.vpOrgY = r.i32(12);
            break;
        case 17: // EMR_SETMAPMODE
            st.mapMode = r.u32(8);
            break;
        case 22: // EMR_SETTEXTALIGN
            st.align = r.u32(8);
            break;
        case 24: // EMR_SETTEXTCOLOR
            st.color = colorRef(r.u32(8));
            break;
        case 33: // EMR_SAVEDC
            if (saved.size() < MaxSavedStates)
                saved.push_back(st);
            break;
        case 34: { // EMR_RESTOREDC: a negative count goes back that many
            const int32_t n = r.i32(8);
            const size_t back = n < 0 ? static_cast<size_t>(-static_cast<int64_t>(n)) : 1;
            if (back <= saved.size()) {
                st = saved[saved.size() - back];
                saved.resize(saved.size() - back);
            }
            break;
        }
        case 35: // EMR_SETWORLDTRANSFORM
            st.world = readXform(r, 8);
            break;
        case 36: { // EMR_MODIFYWORLDTRANSFORM
            const Xform x = readXform(r, 8);
            switch (r.u32(32)) {
            case 1: st.world = Xform{}; break;                    // MWT_IDENTITY
            case 2: st.world = x.followedBy(st.world); break;     // MWT_LEFTMULTIPLY
            case 3: st.world = st.world.followedBy(x); break;     // MWT_RIGHTMULTIPLY
            case 4: st.world = x; break;                          // MWT_SET
            default: break;
            }
            break;
        }
        case 82: { // EMR_EXTCREATEFONTINDIRECTW: handle, LogFont (2.2.13)
            const uint32_t handle = r.u32(8);
            if (handle >= objects.size())
                break;
            Font f;
            f.height = r.i32(12);
            f.weight = r.i32(28);
            f.italic = r.u8(32) != 0;
            f.face = wideText(r, 40, 32);
            objects[handle] = std::move(f);
            break;
        }
        case 37: { // EMR_SELECTOBJECT
            const uint32_t handle = r.u32(8);
            // Stock objects (the high bit set) and pens or brushes leave the font as it was.
            if (handle < objects.size() && objects[handle])
                st.font = handle;
            break;
        }
        case 40: { // EMR_DELETEOBJECT
            const uint32_t handle = r.u32(8);
            if (handle < objects.size()) {
                objects[handle].reset();
                if (st.font == static_cast<int64_t>(handle))
                    st.font = -1;
            }
            break;
        }
        case 83:   // EMR_EXTTEXTOUTA
        case 84: { // EMR_EXTTEXTOUTW: bounds, mode, scales, EmrText (2.2.5)
            const double x = r.i32(36), y = r.i32(40);
            const uint32_t chars = r.u32(44);
            const uint32_t offset = r.u32(48);
            if (offset >= size || chars == 0)
                break;
            if (type == 84)
                place(x, y, wideText(r, offset, chars));
            else
                place(x, y, ansiText(r.data.substr(offset, std::min<size_t>(chars, size - offset))));
            break;
        }
        case 108: { // EMR_SMALLTEXTOUT: x, y, count, options, mode, scales, [bounds], text
            const double x = r.i32(8), y = r.i32(12);
            const uint32_t chars = r.u32(16);
            const uint32_t options = r.u32(20);
            const size_t text = 36 + ((options & 0x0100) ? 0 : 16); // ETO_NO_RECT
            if (text >= size)
                break;
            if (options & 0x0200) // ETO_SMALL_CHARS: 8-bit characters
                place(x, y, ansiText(r.data.substr(text, std::min<size_t>(chars, size - text))));
            else
                place(x, y, wideText(r, text, chars));
            break;
        }
        default:
            break;
        }
        pos += size;
        if (out.size() >= maxTexts)
            break;
    }
    return out;
}

} // namespace

bool looksLikeMetafile(std::string_view bytes)
{
    const Bytes b{bytes};
    if (b.u32(0) == 0x9AC6CDD7u)
        return true;
    if (b.u32(0) == 1 && b.u32(40) == 0x464D4520u) // EMR_HEADER, " EMF"
        return true;
    return (b.u16(0) == 1 || b.u16(0) == 2) && b.u16(2) == 9;
}

std::vector<MetafileText> metafileText(std::string_view bytes, size_t maxTexts)
{
    const Bytes b{bytes};
    if (b.u32(0) == 1)
        return emfText(b, maxTexts);
    return wmfText(b, maxTexts);
}

} // namespace qm::engine
