// Property modifiers applied to characters, paragraphs, table rows and sections; fonts and styles.
#include "engine/formats/doc/Properties.h"
#include "engine/model/Document.h"

#include "engine/formats/doc/ByteReader.h"
#include "engine/model/Unicode.h"

#include <algorithm>

namespace qm::engine::doc {

namespace {

// Style sheet entries nest through their bases; real documents go a few
// levels deep, hostile ones as deep as they like.
constexpr int MaxStyleDepth = 20;
constexpr uint16_t NoStyle = 0x0FFF;

// The operand length a sprm's size code gives; 0 means "read it from the
// operand".
int fixedOperandSize(uint16_t sprm)
{
    switch (sprm >> 13) {
    case 0:
    case 1: return 1;
    case 2:
    case 4:
    case 5: return 2;
    case 3: return 4;
    case 7: return 3;
    default: return 0;
    }
}

// Word's toggle values: 0 off, 1 on, 0x80 as the style has it, 0x81 the
// opposite of the style.
bool toggle(uint8_t value, bool styleValue)
{
    switch (value) {
    case 0: return false;
    case 1: return true;
    case 0x80: return styleValue;
    case 0x81: return !styleValue;
    default: return styleValue;
    }
}

uint32_t colorFromIco(uint8_t ico)
{
    static constexpr uint32_t table[17] = {AutoColor, 0x000000, 0x0000FF, 0x00FFFF, 0x00FF00, 0xFF00FF,
                                           0xFF0000,  0xFFFF00, 0xFFFFFF, 0x000080, 0x008080, 0x008000,
                                           0x800080,  0x800000, 0x808000, 0x808080, 0xC0C0C0};
    return ico < 17 ? table[ico] : AutoColor;
}

UnderlineKind underlineKind(uint8_t kul)
{
    switch (kul) {
    case 0: return UnderlineKind::None;
    case 1: return UnderlineKind::Single;
    case 2: return UnderlineKind::Words;
    case 3: return UnderlineKind::Double;
    case 4: return UnderlineKind::Dotted;
    case 6: return UnderlineKind::Thick;
    case 7: return UnderlineKind::Dash;
    case 11: return UnderlineKind::Wave;
    default: return UnderlineKind::Other;
    }
}

Alignment alignment(uint8_t jc)
{
    switch (jc) {
    case 0: return Alignment::Left;
    case 1: return Alignment::Center;
    case 2: return Alignment::Right;
    case 4: return Alignment::Distribute;
    default: return Alignment::Justify;
    }
}

// Deletes and adds tab stops as sprmPChgTabsPapx and sprmPChgTabs state them.
void changeTabs(std::vector<TabStop>& tabs, std::string_view op, bool withCloseRanges)
{
    size_t pos = 1; // past the length byte
    const uint8_t deleted = u8(op, pos++);
    std::vector<int16_t> gone;
    for (uint8_t i = 0; i < deleted && fits(op.size(), pos, 2); ++i, pos += 2)
        gone.push_back(s16(op, pos));
    if (withCloseRanges)
        pos += 2ull * deleted;
    for (size_t i = 0; i < gone.size(); ++i) {
        const int16_t close = withCloseRanges ? s16(op, pos - 2ull * deleted + 2 * i) : 0;
        std::erase_if(tabs, [&](const TabStop& t) { return std::abs(t.position - gone[i]) <= std::abs(close); });
    }
    const uint8_t added = u8(op, pos++);
    if (!fits(op.size(), pos, 3ull * added))
        return;
    for (uint8_t i = 0; i < added; ++i) {
        TabStop t;
        t.position = s16(op, pos + 2ull * i);
        const uint8_t tbd = u8(op, pos + 2ull * added + i);
        static constexpr TabAlignment jcs[] = {TabAlignment::Left, TabAlignment::Center, TabAlignment::Right,
                                               TabAlignment::Decimal, TabAlignment::Bar};
        t.alignment = (tbd & 7) < 5 ? jcs[tbd & 7] : TabAlignment::Left;
        static constexpr TabLeader leaders[] = {TabLeader::None,       TabLeader::Dot,   TabLeader::Hyphen,
                                                TabLeader::Underscore, TabLeader::Heavy, TabLeader::MiddleDot};
        t.leader = ((tbd >> 3) & 7) < 6 ? leaders[(tbd >> 3) & 7] : TabLeader::None;
        std::erase_if(tabs, [&](const TabStop& old) { return old.position == t.position; });
        tabs.push_back(t);
    }
    std::sort(tabs.begin(), tabs.end());
}

std::string xstzToUtf8(std::string_view b, size_t pos, size_t& end)
{
    const uint16_t cch = u16(b, pos);
    std::u16string name;
    for (uint16_t i = 0; i < cch && fits(b.size(), pos + 2 + 2ull * i, 2); ++i)
        name.push_back(static_cast<char16_t>(u16(b, pos + 2 + 2ull * i)));
    end = pos + 2 + 2ull * cch + 2; // the count, the characters and a terminating zero
    return utf16ToUtf8(name);
}

} // namespace

void forEachSprm(std::string_view grpprl, const std::function<void(uint16_t, std::string_view)>& f)
{
    size_t pos = 0;
    while (pos + 2 <= grpprl.size()) {
        const uint16_t sprm = u16(grpprl, pos);
        pos += 2;
        uint64_t size = static_cast<uint64_t>(fixedOperandSize(sprm));
        uint64_t start = pos;
        if (size == 0) {
            if (sprm == 0xD608 || sprm == 0xD606) {
                // The table definitions give their length in two bytes, one too many.
                const uint16_t cb = u16(grpprl, pos);
                size = cb == 0 ? 0 : cb - 1u;
                start = pos + 2;
            } else if (sprm == 0xC615 && u8(grpprl, pos) == 255) {
                // A tab change too long for its length byte: sized by its counts.
                const uint8_t del = u8(grpprl, pos + 1);
                const uint8_t add = u8(grpprl, pos + 2 + 4ull * del);
                size = 1 + 4ull * del + 1 + 3ull * add;
                start = pos + 1;
            } else {
                size = u8(grpprl, pos);
                start = pos + 1;
            }
        }
        if (!fits(grpprl.size(), start, size))
            return;
        // Variable operands are handed over with their length byte, which the
        // tab changes count from.
        const uint64_t from = (fixedOperandSize(sprm) == 0 && sprm != 0xD608 && sprm != 0xD606) ? pos : start;
        f(sprm, grpprl.substr(from, start + size - from));
        pos = static_cast<size_t>(start + size);
    }
}

std::vector<std::string> parseFontTable(std::string_view b)
{
    std::vector<std::string> fonts;
    const uint16_t count = u16(b, 0);
    size_t pos = 4;
    for (uint16_t i = 0; i < count && pos < b.size(); ++i) {
        const size_t size = u8(b, pos) + 1u;
        const std::string_view ffn = slice(b, pos, size);
        std::u16string name;
        for (size_t off = 40; off + 2 <= ffn.size(); off += 2) {
            const char16_t c = u16(ffn, off);
            if (c == 0)
                break;
            name.push_back(c);
        }
        fonts.push_back(utf16ToUtf8(name));
        pos += size;
    }
    return fonts;
}

std::string ffnStandIn(std::string_view name, std::string_view alternate, uint8_t ffid)
{
    // ffid: prq (the pitch: 1 fixed, 2 variable) in bits 0-1, ff (the
    // family: 1 roman, 2 swiss, 3 modern) in bits 4-6 ([MS-DOC] 2.9.80 FFID).
    const unsigned ff = (ffid >> 4) & 7u;
    const FontFamily family = ff == 1   ? FontFamily::Roman
                              : ff == 2 ? FontFamily::Swiss
                              : ff == 3 ? FontFamily::Modern
                                        : FontFamily::Other;
    return fontStandIn(name, alternate, family, (ffid & 3u) == 1);
}

std::map<std::string, std::string> parseFontStandIns(std::string_view b)
{
    // FFN ([MS-DOC] 2.9.78): cbFfnM1, ffid, wWeight, chs, ixchSzAlt, panose,
    // fs, then xszFfn from byte 40: the name, and from character ixchSzAlt
    // (when not 0) the alternate name.
    std::map<std::string, std::string> standIns;
    const uint16_t count = u16(b, 0);
    size_t pos = 4;
    for (uint16_t i = 0; i < count && pos < b.size(); ++i) {
        const size_t size = u8(b, pos) + 1u;
        const std::string_view ffn = slice(b, pos, size);
        pos += size;
        auto nameAt = [&](size_t off) {
            std::u16string name;
            for (; off + 2 <= ffn.size(); off += 2) {
                const char16_t c = u16(ffn, off);
                if (c == 0)
                    break;
                name.push_back(c);
            }
            return utf16ToUtf8(name);
        };
        const std::string name = nameAt(40);
        if (name.empty())
            continue;
        const uint8_t ixchSzAlt = u8(ffn, 5);
        std::string standIn = ffnStandIn(name, ixchSzAlt != 0 ? nameAt(40 + 2u * ixchSzAlt) : std::string(), u8(ffn, 1));
        if (!standIn.empty())
            standIns.emplace(name, std::move(standIn));
    }
    return standIns;
}

void applyChpSprm(Chp& chp, const Chp& base, uint16_t sprm, std::string_view op, const std::vector<std::string>& fonts)
{
    CharFormat& f = chp.format;
    const CharFormat& b = base.format;
    const uint8_t v = u8(op, 0);
    switch (sprm) {
    case 0x0835: f.bold = toggle(v, b.bold); break;
    case 0x0836: f.italic = toggle(v, b.italic); break;
    case 0x0837: f.strike = toggle(v, b.strike); break;
    case 0x083A: f.smallCaps = toggle(v, b.smallCaps); break;
    case 0x083B: f.allCaps = toggle(v, b.allCaps); break;
    case 0x083C: f.hidden = toggle(v, b.hidden); break;
    case 0x2A53: f.doubleStrike = toggle(v, b.doubleStrike); break;
    case 0x0855: chp.special = v != 0; break;
    case 0x0800: chp.deleted = v != 0; break;
    case 0x6A03: chp.picture = u32(op, 0); break;
    case 0x4A30: chp.istd = u16(op, 0); break;
    case 0x2A3E: f.underline = underlineKind(v); break;
    case 0x2A48:
        f.verticalPosition = v == 1   ? VerticalPosition::Superscript
                             : v == 2 ? VerticalPosition::Subscript
                                      : VerticalPosition::Baseline;
        break;
    case 0x4A43: {
        const uint16_t hps = u16(op, 0);
        if (hps >= 2 && hps <= 3276)
            f.sizeHalfPoints = hps;
        break;
    }
    case 0x4A4F: {
        const uint16_t ftc = u16(op, 0);
        if (ftc < fonts.size())
            f.fontName = fonts[ftc];
        break;
    }
    case 0x4A50: { // sprmCRgFtc1: the East Asian font
        const uint16_t ftc = u16(op, 0);
        if (ftc < fonts.size())
            f.eastAsiaFontName = fonts[ftc];
        break;
    }
    case 0x4A5E: { // sprmCFtcBi: the complex-script font
        const uint16_t ftc = u16(op, 0);
        if (ftc < fonts.size())
            f.complexFontName = fonts[ftc];
        break;
    }
    case 0x4A61: { // sprmCHpsBi: the complex-script size
        const uint16_t hps = u16(op, 0);
        if (hps >= 2 && hps <= 3276)
            f.complexSizeHalfPoints = hps;
        break;
    }
    case 0x8840: f.spacingTwips = s16(op, 0); break;
    case 0x4845: f.positionHalfPoints = s16(op, 0); break;
    case 0x4852: {
        const uint16_t scale = u16(op, 0);
        if (scale >= 1 && scale <= 600)
            f.scalePercent = scale;
        break;
    }
    case 0x484B: f.kernMinHalfPoints = u16(op, 0); break;
    case 0x2A42: f.color = colorFromIco(v); break;
    case 0x6870:
        f.color = u8(op, 3) == 0xFF ? AutoColor : (uint32_t(u8(op, 0)) << 16 | uint32_t(u8(op, 1)) << 8 | u8(op, 2));
        break;
    case 0x6A09: chp.symbol = static_cast<char16_t>(u16(op, 2)); break;
    case 0x2A33: { // back to the style's properties, keeping what marks the character
        const Chp keep = chp;
        chp = base;
        chp.special = keep.special;
        chp.picture = keep.picture;
        chp.istd = keep.istd;
        break;
    }
    default: break;
    }
}

// A border's kind from its brcType (MS-DOC 2.9.17 BrcType).
BorderStyle borderStyle(uint8_t brcType)
{
    switch (brcType) {
    case 0: return BorderStyle::None;
    case 1:
    case 5: return BorderStyle::Single; // single, hairline
    case 2: return BorderStyle::Thick;
    case 3: return BorderStyle::Double;
    case 6: return BorderStyle::Dotted;
    case 7:
    case 8:
    case 9:
    case 22:
    case 23: return BorderStyle::Dashed;
    case 10: return BorderStyle::Triple;
    case 20:
    case 21: return BorderStyle::Wave;
    default: return brcType >= 11 && brcType <= 19 ? BorderStyle::ThinThick : BorderStyle::Other;
    }
}

BorderLine makeBorder(uint8_t width, uint8_t type, uint8_t space, uint32_t color)
{
    BorderLine b;
    b.style = borderStyle(type);
    if (!b.present() && b.style == BorderStyle::None)
        return {};
    // dptLineWidth is in eighths of a point; Word keeps it between 2 and 96.
    b.widthEighths = static_cast<uint16_t>(std::clamp<int>(width, 2, 96));
    b.spacePoints = static_cast<uint16_t>(space & 0x1F);
    b.color = color;
    return b;
}

// A cell's vertical alignment as Word 97 writes it ([MS-DOC] 2.9.341
// VerticalAlign): 0 top, 1 centre, 2 bottom.
CellVerticalAlign cellVerticalAlign(unsigned value)
{
    return value == 1 ? CellVerticalAlign::Center : value == 2 ? CellVerticalAlign::Bottom : CellVerticalAlign::Top;
}

// Brc80 (MS-DOC 2.9.16): line width, type, colour index, space; all ones is nil.
BorderLine brc80(std::string_view op, size_t at)
{
    if (!fits(op.size(), at, 4) || u32(op, at) == 0xFFFFFFFFu)
        return {};
    return makeBorder(u8(op, at), u8(op, at + 1), u8(op, at + 3), colorFromIco(u8(op, at + 2)));
}

// Brc (MS-DOC 2.9.15): a COLORREF, then line width, type and space.
BorderLine brc(std::string_view op, size_t at)
{
    if (!fits(op.size(), at, 8) || u32(op, at + 4) == 0xFFFFFFFFu)
        return {};
    const uint32_t cv = u32(op, at);
    const uint32_t color =
        (cv & 0xFF000000u) != 0 ? AutoColor : ((cv & 0xFF) << 16) | (cv & 0xFF00) | ((cv >> 16) & 0xFF);
    return makeBorder(u8(op, at + 4), u8(op, at + 5), u8(op, at + 6), color);
}

// Sets the sides a table sprm names in its flags: top 1, left 2, bottom 4,
// right 8 ([MS-DOC] 2.9.40 CSSA, 2.6.4 sprmTSetBrc).
template <typename Field, typename Value>
void setSides(uint8_t sides, Field& top, Field& left, Field& bottom, Field& right, const Value& value)
{
    if (sides & 1)
        top = value;
    if (sides & 2)
        left = value;
    if (sides & 4)
        bottom = value;
    if (sides & 8)
        right = value;
}

// sprmTSetBrc80 and sprmTSetBrc: the chosen sides of a range of cells.
void setCellBorders(TableRowFormat& row, std::string_view op, bool wide)
{
    if (!fits(op.size(), 1, wide ? 11 : 7))
        return;
    const uint8_t first = u8(op, 1);
    const uint8_t limit = u8(op, 2);
    const uint8_t sides = u8(op, 3);
    const BorderLine b = wide ? brc(op, 4) : brc80(op, 4);
    for (size_t i = first; i < limit && i < row.cells.size(); ++i) {
        CellBorders& c = row.cells[i].borders;
        setSides(sides, c.top, c.left, c.bottom, c.right, b);
    }
}

void applyPapSprm(Pap& pap, uint16_t sprm, std::string_view op)
{
    ParaFormat& f = pap.format;
    const uint8_t v = u8(op, 0);
    switch (sprm) {
    case 0x4600: pap.istd = u16(op, 0); break;
    case 0x2403:
    case 0x2461: f.alignment = alignment(v); break;
    case 0x2405: f.keepLinesTogether = v != 0; break;
    case 0x2406: f.keepWithNext = v != 0; break;
    case 0x2407: f.pageBreakBefore = v != 0; break;
    case 0x2441: f.rightToLeft = v != 0; break; // sprmPFBiDi
    case 0x2447: f.snapToGrid = v != 0; break; // sprmPFUsePgsuSettings: the document grid applies
    case 0x2431: f.widowControl = v != 0; break;
    case 0x840E:
    case 0x845D: f.rightIndent = s16(op, 0); break;
    case 0x840F:
    case 0x845E: f.leftIndent = s16(op, 0); break;
    case 0x8411:
    case 0x8460: f.firstLineIndent = s16(op, 0); break;
    case 0x6412: {
        const int16_t line = s16(op, 0);
        if (s16(op, 2) != 0) {
            f.lineRule = LineRule::Auto;
            f.lineSpacing = line > 0 ? line : 240;
        } else if (line < 0) {
            f.lineRule = LineRule::Exact;
            f.lineSpacing = -line;
        } else {
            f.lineRule = LineRule::AtLeast;
            f.lineSpacing = line;
        }
        break;
    }
    case 0xA413: f.spaceBefore = u16(op, 0); break;
    case 0xA414: f.spaceAfter = u16(op, 0); break;
    case 0x245B: f.spaceBeforeAuto = v != 0; break;
    case 0x245C: f.spaceAfterAuto = v != 0; break;
    case 0x246D: f.contextualSpacing = v != 0; break;
    case 0x242A: f.suppressAutoHyphens = v != 0; break; // sprmPFNoAutoHyph
    case 0xC60D: changeTabs(f.tabs, op, false); break;
    case 0xC615: changeTabs(f.tabs, op, true); break;
    // Paragraph borders: the Word 97 form (Brc80) and the later one (Brc
    // after a size byte).
    case 0x6424: f.borders.top = brc80(op, 0); break;
    case 0x6425: f.borders.left = brc80(op, 0); break;
    case 0x6426: f.borders.bottom = brc80(op, 0); break;
    case 0x6427: f.borders.right = brc80(op, 0); break;
    case 0x6428: f.borders.between = brc80(op, 0); break;
    case 0xC64E: f.borders.top = brc(op, 1); break;
    case 0xC64F: f.borders.left = brc(op, 1); break;
    case 0xC650: f.borders.bottom = brc(op, 1); break;
    case 0xC651: f.borders.right = brc(op, 1); break;
    case 0xC652: f.borders.between = brc(op, 1); break;
    case 0x2416: pap.inTable = v != 0; break;
    case 0x2417: pap.rowEnd = v != 0; break;
    case 0x244B: pap.innerCell = v != 0; break;
    case 0x244C: pap.innerRowEnd = v != 0; break;
    case 0x6649: pap.itap = static_cast<int32_t>(std::min<uint32_t>(u32(op, 0), 0xFFFF)); break;
    case 0x664A: pap.itap = std::clamp<int32_t>(std::max(pap.itap, pap.inTable ? 1 : 0) + s32(op, 0), 0, 0xFFFF); break;
    // Table row properties, stated on the paragraph that ends the row.
    case 0xD608: {
        const uint8_t cells = v;
        if (!fits(op.size(), 1, 2ull * (cells + 1)))
            break;
        pap.row.cells.clear();
        pap.row.leftIndent = s16(op, 1);
        for (uint8_t i = 0; i < cells; ++i) {
            TableCellFormat cell;
            cell.width = std::max(0, s16(op, 1 + 2ull * (i + 1)) - s16(op, 1 + 2ull * i));
            // Each cell's TC80 follows the cell edges: flags, width, then
            // its top, left, bottom and right Brc80.
            const size_t tc = 1 + 2ull * (cells + 1) + 20ull * i;
            if (fits(op.size(), tc, 20)) {
                auto side = [&](size_t k) -> std::optional<BorderLine> {
                    // A zero Brc80 leaves the side to the table's borders.
                    if (u32(op, tc + 4 + 4 * k) == 0)
                        return std::nullopt;
                    return brc80(op, tc + 4 + 4 * k);
                };
                cell.borders = {side(0), side(1), side(2), side(3)};
                // TC80's flags ([MS-DOC] 2.9.310 TCGRF): a cell that starts
                // or continues a vertical merge, its alignment, and whether
                // its end mark sets no height (fHideMark).
                const uint16_t flags = u16(op, tc);
                cell.verticalMerge = (flags & 0x0040) ? VerticalMerge::Restart
                                     : (flags & 0x0020) ? VerticalMerge::Continue
                                                        : VerticalMerge::None;
                cell.verticalAlign = cellVerticalAlign((flags >> 7) & 3);
                cell.hideMark = (flags & 0x4000) != 0;
            }
            pap.row.cells.push_back(cell);
        }
        // Cells merged across (fMerged after a cell with fFirstMerged) show
        // as one cell as wide as them all; the merged ones keep their marks
        // at no width.
        auto tcFlags = [&](size_t i) -> uint16_t {
            const size_t tc = 1 + 2ull * (cells + 1) + 20ull * i;
            return fits(op.size(), tc, 2) ? u16(op, tc) : 0;
        };
        for (size_t i = 0; i < pap.row.cells.size(); ++i) {
            if (!(tcFlags(i) & 0x0001))
                continue;
            size_t last = i;
            while (last + 1 < pap.row.cells.size() && (tcFlags(last + 1) & 0x0002))
                ++last;
            for (size_t k = i + 1; k <= last; ++k) {
                pap.row.cells[i].width += pap.row.cells[k].width;
                pap.row.cells[k].width = 0;
            }
            i = last;
        }
        break;
    }
    case 0xD62C: {
        // sprmTVertAlign: the vertical alignment of cells itcFirst up to
        // itcLim ([MS-DOC] 2.6.4, CellRangeVertAlign), after its length byte.
        if (!fits(op.size(), 0, 4))
            break;
        for (size_t c = u8(op, 1); c < u8(op, 2) && c < pap.row.cells.size(); ++c)
            pap.row.cells[c].verticalAlign = cellVerticalAlign(u8(op, 3));
        break;
    }
    case 0xD62B: {
        // sprmTVertMerge: one cell's vertical merge, 3 starting one and 1
        // continuing it ([MS-DOC] 2.6.4, VerticalMergeFlag).
        // The operand comes with its length byte.
        if (!fits(op.size(), 0, 3))
            break;
        const uint8_t cell = u8(op, 1);
        if (cell < pap.row.cells.size())
            pap.row.cells[cell].verticalMerge = u8(op, 2) == 3   ? VerticalMerge::Restart
                                                : u8(op, 2) == 1 ? VerticalMerge::Continue
                                                                 : VerticalMerge::None;
        break;
    }
    case 0xD605:
    case 0xD613: {
        const bool wide = sprm == 0xD613;
        const size_t each = wide ? 8 : 4;
        TableBorders& t = pap.row.tableBorders;
        BorderLine* sides[] = {&t.top, &t.left, &t.bottom, &t.right, &t.insideH, &t.insideV};
        for (size_t k = 0; k < 6; ++k)
            if (fits(op.size(), 1 + each * k, each))
                *sides[k] = wide ? brc(op, 1 + each * k) : brc80(op, 1 + each * k);
        break;
    }
    case 0xD620: setCellBorders(pap.row, op, false); break;
    case 0xD62F: setCellBorders(pap.row, op, true); break;
    case 0x9602: pap.row.cellMarginLeft = pap.row.cellMarginRight = s16(op, 0); break;
    case 0xD633:
    case 0xD634: {
        // sprmTCellSpacingDefault and sprmTCellPaddingDefault: after the
        // length byte a CSSA ([MS-DOC] 2.9.40): the cells it covers, the
        // sides (top 1, left 2, bottom 4, right 8), the unit (3: twips) and
        // the width. Word writes the table's cell margins this way since
        // Word 2000; the older sprmTDxaGapHalf gives the left and right only.
        if (!fits(op.size(), 0, 7) || u8(op, 4) != 3)
            break;
        const uint8_t sides = u8(op, 3);
        const Twips width = std::clamp<Twips>(s16(op, 5), 0, 31680);
        TableRowFormat& row = pap.row;
        if (sprm == 0xD633) {
            if (sides & 0x05)
                row.cellSpacing = width;
            break;
        }
        setSides(sides, row.cellMarginTop, row.cellMarginLeft, row.cellMarginBottom, row.cellMarginRight, width);
        break;
    }
    case 0x9407: {
        const int16_t h = s16(op, 0);
        pap.row.height = std::abs(h);
        pap.row.heightRule = h == 0 ? RowHeightRule::Auto : h > 0 ? RowHeightRule::AtLeast : RowHeightRule::Exact;
        break;
    }
    case 0x3404: pap.row.isHeader = v != 0; break;
    case 0x3615: pap.row.fixedLayout = v == 0; break; // sprmTFAutofit
    case 0x3403:
    case 0x3644: pap.row.cantSplit = v != 0; break;
    case 0x5400:
    case 0x548A: pap.row.alignment = alignment(v); break;
    default: break;
    }
}

void applySepSprm(SectionFormat& s, uint16_t sprm, std::string_view op)
{
    const uint8_t v = u8(op, 0);
    auto positive = [&](Twips& field) {
        const uint16_t x = u16(op, 0);
        if (x > 0 && x < 31680 * 4)
            field = x;
    };
    switch (sprm) {
    case 0x3009: {
        static constexpr SectionStart kinds[] = {SectionStart::Continuous, SectionStart::NewColumn,
                                                 SectionStart::NewPage, SectionStart::EvenPage, SectionStart::OddPage};
        s.start = v < 5 ? kinds[v] : SectionStart::NewPage;
        break;
    }
    case 0x300A: s.titlePage = v != 0; break;
    case 0x500B: s.columns = std::min<int32_t>(u16(op, 0) + 1, 45); break;
    case 0x900C: s.columnSpacing = u16(op, 0); break;
    case 0xB01F: positive(s.pageWidth); break;
    case 0xB020: positive(s.pageHeight); break;
    case 0xB021: s.marginLeft = u16(op, 0); break;
    case 0xB022: s.marginRight = u16(op, 0); break;
    // Negative top and bottom margins mean "exactly, even over the header"
    // ([MS-DOC] sprmSDyaTop/sprmSDyaBottom); the layout keeps the sign.
    case 0x9023: s.marginTop = s16(op, 0); break;
    case 0x9024: s.marginBottom = s16(op, 0); break;
    case 0xB025: s.gutter = u16(op, 0); break;
    case 0xB017: s.headerDistance = u16(op, 0); break;
    case 0xB018: s.footerDistance = u16(op, 0); break;
    case 0x9031: s.linePitch = s16(op, 0); break;
    case 0x5032: {
        const uint16_t clm = u16(op, 0);
        s.gridType = clm == 1   ? DocGridType::LinesAndChars
                     : clm == 2 ? DocGridType::Lines
                     : clm == 3 ? DocGridType::SnapToChars
                                : DocGridType::None;
        break;
    }
    default: break;
    }
}

void applyChpx(Chp& chp, const Chp& base, std::string_view grpprl, const std::vector<std::string>& fonts)
{
    forEachSprm(grpprl, [&](uint16_t sprm, std::string_view op) { applyChpSprm(chp, base, sprm, op, fonts); });
}

void applyPapx(Pap& pap, std::string_view grpprl)
{
    forEachSprm(grpprl, [&](uint16_t sprm, std::string_view op) { applyPapSprm(pap, sprm, op); });
}

SectionFormat defaultSectionFormat()
{
    // A section without properties has Word 97's page: Letter with wider
    // side margins than the model's own default.
    SectionFormat s;
    s.marginLeft = 1800;
    s.marginRight = 1800;
    return s;
}

void StyleSheet::parse(std::string_view b, const std::vector<std::string>& fonts)
{
    m_fonts = &fonts;
    const uint16_t cbStshi = u16(b, 0);
    const std::string_view stshi = slice(b, 2, cbStshi);
    const uint16_t cstd = u16(stshi, 0);
    const uint16_t cbBase = u16(stshi, 2);
    const uint16_t defaultFont = u16(stshi, 12);
    if (fits(stshi.size(), 12, 2) && defaultFont < fonts.size())
        m_defaults.format.fontName = fonts[defaultFont];
    // The Stshif's ftcFE, then the Stshi's ftcBi after the 18-byte Stshif:
    // the styles' default East Asian and complex-script fonts.
    if (const uint16_t fe = u16(stshi, 14); fits(stshi.size(), 14, 2) && fe < fonts.size())
        m_defaults.format.eastAsiaFontName = fonts[fe];
    if (const uint16_t bi = u16(stshi, 18); fits(stshi.size(), 18, 2) && bi < fonts.size())
        m_defaults.format.complexFontName = fonts[bi];
    m_defaultPap.format.styleName = "Normal";
    size_t pos = 2ull + cbStshi;
    for (uint16_t i = 0; i < cstd && pos + 2 <= b.size(); ++i) {
        const uint16_t cbStd = u16(b, pos);
        const std::string_view std = slice(b, pos + 2, cbStd);
        pos += 2ull + cbStd;
        Style style;
        if (std.size() >= 10 && cbBase >= 10) {
            style.kind = u8(std, 2) & 0x0F;
            style.base = u16(std, 2) >> 4;
            const uint8_t cupx = u8(std, 4) & 0x0F;
            size_t at = 0;
            style.name = xstzToUtf8(std, cbBase, at);
            // The property lists follow the name, each on an even offset.
            std::vector<std::string_view> upx;
            for (uint8_t k = 0; k < cupx && at + 2 <= std.size(); ++k) {
                const uint16_t cb = u16(std, at);
                upx.push_back(slice(std, at + 2, cb));
                at += 2ull + cb + (cb & 1);
            }
            auto list = [&](size_t k) { return k < upx.size() ? upx[k] : std::string_view(); };
            switch (style.kind) {
            case 1: // paragraph: its paragraph properties (after their style index), then character ones
                style.papx = std::string(list(0).size() >= 2 ? list(0).substr(2) : std::string_view());
                style.chpx = std::string(list(1));
                break;
            case 2: style.chpx = std::string(list(0)); break;
            case 3: // table: row, paragraph, character
                style.papx = std::string(list(1).size() >= 2 ? list(1).substr(2) : std::string_view());
                style.chpx = std::string(list(2));
                break;
            default: break;
            }
        }
        m_styles.push_back(std::move(style));
    }
    for (uint16_t i = 0; i < m_styles.size(); ++i)
        resolve(i, 0);
}

void StyleSheet::resolve(uint16_t istd, int depth)
{
    Style& s = m_styles[istd];
    if (s.resolved)
        return;
    s.resolved = true; // before the bases, so that a cycle ends here
    Pap pap = m_defaultPap;
    Chp chp = m_defaults;
    if (s.base != NoStyle && s.base < m_styles.size() && s.base != istd && depth < MaxStyleDepth &&
        m_styles[s.base].kind == s.kind) {
        resolve(s.base, depth + 1);
        pap = m_styles[s.base].pap;
        chp = m_styles[s.base].chp;
    }
    applyPapx(pap, s.papx);
    const Chp base = chp;
    applyChpx(chp, base, s.chpx, *m_fonts);
    pap.istd = istd;
    pap.format.styleName = s.name;
    // Table marks of a style do not make its paragraphs table paragraphs.
    pap.inTable = pap.rowEnd = pap.innerCell = pap.innerRowEnd = false;
    pap.itap = -1;
    chp.istd = 10;
    chp.special = false;
    chp.picture.reset();
    s.pap = std::move(pap);
    s.chp = std::move(chp);
}

const Pap& StyleSheet::paragraphStyle(uint16_t istd) const
{
    if (istd < m_styles.size() && m_styles[istd].kind == 1)
        return m_styles[istd].pap;
    if (!m_styles.empty() && m_styles[0].kind == 1)
        return m_styles[0].pap;
    return m_defaultPap;
}

const Chp& StyleSheet::paragraphStyleChp(uint16_t istd) const
{
    if (istd < m_styles.size() && m_styles[istd].kind == 1)
        return m_styles[istd].chp;
    if (!m_styles.empty() && m_styles[0].kind == 1)
        return m_styles[0].chp;
    return m_defaults;
}

void StyleSheet::applyCharacterStyle(Chp& chp, uint16_t istd) const
{
    // The chain from the outermost base in, each over the paragraph style's
    // properties, so that a toggle in the style flips what the paragraph has.
    std::vector<uint16_t> chain;
    for (uint16_t i = istd; i < m_styles.size() && m_styles[i].kind == 2 && chain.size() < MaxStyleDepth;
         i = m_styles[i].base) {
        if (std::find(chain.begin(), chain.end(), i) != chain.end())
            break;
        chain.push_back(i);
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it) {
        const Chp base = chp;
        applyChpx(chp, base, m_styles[*it].chpx, *m_fonts);
    }
}

} // namespace qm::engine::doc
