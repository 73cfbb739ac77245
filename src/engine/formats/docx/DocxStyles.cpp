// Style resolution with Word's inheritance and toggle rules.
#include "engine/formats/docx/DocxStyles.h"

#include "engine/formats/docx/XmlPart.h"

#include <algorithm>
#include <cctype>

namespace qm::engine::docx {

using xml::attr;
using xml::child;
using xml::is;
using xml::value;

namespace {

// Longer basedOn chains than this are cycles or hostile; Word itself stops
// far earlier.
constexpr int MaxChain = 64;

template <class T> void take(std::optional<T>& into, const std::optional<T>& from)
{
    if (from)
        into = from;
}

std::optional<Twips> twipsAttr(const pugi::xml_node& node, std::string_view name)
{
    if (auto v = xml::toInt(value(node, name)))
        return xml::clampInt32(*v);
    return std::nullopt;
}

template <class T> T clampTo(int64_t v, int64_t lo, int64_t hi)
{
    return static_cast<T>(std::clamp<int64_t>(v, lo, hi));
}

UnderlineKind underlineKind(std::string_view v)
{
    if (v.empty() || v == "single")
        return UnderlineKind::Single;
    if (v == "none")
        return UnderlineKind::None;
    if (v == "words")
        return UnderlineKind::Words;
    if (v == "double")
        return UnderlineKind::Double;
    if (v == "thick")
        return UnderlineKind::Thick;
    if (v == "dotted")
        return UnderlineKind::Dotted;
    if (v.starts_with("dash"))
        return UnderlineKind::Dash;
    if (v.starts_with("wav"))
        return UnderlineKind::Wave;
    return UnderlineKind::Other;
}

uint32_t hexColor(std::string_view v)
{
    if (v.size() != 6)
        return AutoColor;
    uint32_t c = 0;
    for (char ch : v) {
        c <<= 4;
        if (ch >= '0' && ch <= '9')
            c |= static_cast<uint32_t>(ch - '0');
        else if (ch >= 'a' && ch <= 'f')
            c |= static_cast<uint32_t>(ch - 'a' + 10);
        else if (ch >= 'A' && ch <= 'F')
            c |= static_cast<uint32_t>(ch - 'A' + 10);
        else
            return AutoColor;
    }
    return c;
}

} // namespace

bool onOff(const pugi::xml_node& element)
{
    std::string_view v = value(element, "val");
    return !(v == "0" || v == "false" || v == "off");
}

bool truthy(std::string_view v) { return v == "1" || v == "true" || v == "on"; }

void RunProps::overlay(const RunProps& top)
{
    take(font, top.font);
    take(size, top.size);
    take(eastAsiaFont, top.eastAsiaFont);
    take(complexFont, top.complexFont);
    take(complexSize, top.complexSize);
    take(bold, top.bold);
    take(italic, top.italic);
    take(allCaps, top.allCaps);
    take(smallCaps, top.smallCaps);
    take(strike, top.strike);
    take(doubleStrike, top.doubleStrike);
    take(hidden, top.hidden);
    take(underline, top.underline);
    take(verticalPosition, top.verticalPosition);
    take(spacing, top.spacing);
    take(scale, top.scale);
    take(kern, top.kern);
    take(position, top.position);
    take(color, top.color);
}

void ParaProps::overlay(const ParaProps& top)
{
    take(alignment, top.alignment);
    take(leftIndent, top.leftIndent);
    take(rightIndent, top.rightIndent);
    take(firstLineIndent, top.firstLineIndent);
    take(spaceBefore, top.spaceBefore);
    take(spaceAfter, top.spaceAfter);
    take(spaceBeforeAuto, top.spaceBeforeAuto);
    take(spaceAfterAuto, top.spaceAfterAuto);
    take(contextualSpacing, top.contextualSpacing);
    take(keepWithNext, top.keepWithNext);
    take(keepLinesTogether, top.keepLinesTogether);
    take(widowControl, top.widowControl);
    take(pageBreakBefore, top.pageBreakBefore);
    take(snapToGrid, top.snapToGrid);
    take(suppressAutoHyphens, top.suppressAutoHyphens);
    take(rightToLeft, top.rightToLeft);
    take(lineRule, top.lineRule);
    take(lineSpacing, top.lineSpacing);
    take(numId, top.numId);
    take(level, top.level);
    take(borderTop, top.borderTop);
    take(borderLeft, top.borderLeft);
    take(borderBottom, top.borderBottom);
    take(borderRight, top.borderRight);
    take(borderBetween, top.borderBetween);
    take(shading, top.shading);
    tabs.insert(tabs.end(), top.tabs.begin(), top.tabs.end());
}

void TableProps::overlay(const TableProps& t)
{
    take(top, t.top);
    take(left, t.left);
    take(bottom, t.bottom);
    take(right, t.right);
    take(insideH, t.insideH);
    take(insideV, t.insideV);
    take(marginTop, t.marginTop);
    take(marginLeft, t.marginLeft);
    take(marginBottom, t.marginBottom);
    take(marginRight, t.marginRight);
}

void TableProps::applyTo(TableRowFormat& row) const
{
    TableBorders& b = row.tableBorders;
    b.top = top.value_or(b.top);
    b.left = left.value_or(b.left);
    b.bottom = bottom.value_or(b.bottom);
    b.right = right.value_or(b.right);
    b.insideH = insideH.value_or(b.insideH);
    b.insideV = insideV.value_or(b.insideV);
    row.cellMarginTop = marginTop.value_or(row.cellMarginTop);
    row.cellMarginLeft = marginLeft.value_or(row.cellMarginLeft);
    row.cellMarginBottom = marginBottom.value_or(row.cellMarginBottom);
    row.cellMarginRight = marginRight.value_or(row.cellMarginRight);
}

BorderLine parseBorder(const pugi::xml_node& e)
{
    BorderLine b;
    const auto [v, size, space, color] = xml::values(e, {"val", "sz", "space", "color"});
    if (v.empty() || v == "nil" || v == "none")
        return b;
    b.style = v == "single"                                                                   ? BorderStyle::Single
              : v == "thick"                                                                  ? BorderStyle::Thick
              : v == "double"                                                                 ? BorderStyle::Double
              : v == "dotted"                                                                 ? BorderStyle::Dotted
              : (v == "dashed" || v == "dashSmallGap" || v == "dotDash" || v == "dotDotDash") ? BorderStyle::Dashed
              : v == "triple"                                                                 ? BorderStyle::Triple
              : v.starts_with("thinThick") || v.starts_with("thickThin")                      ? BorderStyle::ThinThick
              : (v == "wave" || v == "doubleWave")                                            ? BorderStyle::Wave
                                                                                              : BorderStyle::Other;
    // w:sz is in eighths of a point; Word keeps it between 2 and 96 (a
    // quarter point to 12 points) and draws a border without one at 2.
    const int64_t sz = xml::toInt(size).value_or(2);
    b.widthEighths = static_cast<uint16_t>(std::clamp<int64_t>(sz, 2, 96));
    b.spacePoints = static_cast<uint16_t>(std::clamp<int64_t>(xml::toInt(space).value_or(0), 0, 31));
    b.color = color.empty() || color == "auto" ? AutoColor : hexColor(color);
    return b;
}

void forEachBorder(const pugi::xml_node& borders, const std::function<void(BorderSide, BorderLine)>& take)
{
    for (pugi::xml_node b = borders.first_child(); b; b = b.next_sibling()) {
        const std::string_view name = xml::localName(b);
        // "start" and "end" are the newer names of the left and right sides.
        const std::optional<BorderSide> side = name == "top"                       ? BorderSide::Top
                                               : name == "left" || name == "start" ? BorderSide::Left
                                               : name == "bottom"                  ? BorderSide::Bottom
                                               : name == "right" || name == "end"  ? BorderSide::Right
                                               : name == "insideH"                 ? BorderSide::InsideH
                                               : name == "insideV"                 ? BorderSide::InsideV
                                               : name == "between"                 ? BorderSide::Between
                                                                                   : std::optional<BorderSide>{};
        if (side)
            take(*side, parseBorder(b));
    }
}

void overlayBorders(CellBorders& onto, const CellBorders& top)
{
    for (auto side : {&CellBorders::top, &CellBorders::left, &CellBorders::bottom, &CellBorders::right})
        if (top.*side)
            onto.*side = top.*side;
}

CellBorders parseCellBorders(const pugi::xml_node& tcBorders)
{
    CellBorders borders;
    forEachBorder(tcBorders, [&](BorderSide side, BorderLine line) {
        switch (side) {
        case BorderSide::Top: borders.top = line; break;
        case BorderSide::Left: borders.left = line; break;
        case BorderSide::Bottom: borders.bottom = line; break;
        case BorderSide::Right: borders.right = line; break;
        default: break;
        }
    });
    return borders;
}

TableProps parseTableProps(const pugi::xml_node& pr)
{
    TableProps t;
    forEachBorder(child(pr, "tblBorders"), [&](BorderSide side, BorderLine line) {
        switch (side) {
        case BorderSide::Top: t.top = line; break;
        case BorderSide::Left: t.left = line; break;
        case BorderSide::Bottom: t.bottom = line; break;
        case BorderSide::Right: t.right = line; break;
        case BorderSide::InsideH: t.insideH = line; break;
        case BorderSide::InsideV: t.insideV = line; break;
        case BorderSide::Between: break;
        }
    });
    for (pugi::xml_node m = child(pr, "tblCellMar").first_child(); m; m = m.next_sibling()) {
        const std::string_view side = xml::localName(m);
        const Twips w = std::clamp<Twips>(twipsAttr(m, "w").value_or(0), 0, 31680);
        if (side == "left" || side == "start")
            t.marginLeft = w;
        else if (side == "right" || side == "end")
            t.marginRight = w;
        else if (side == "top")
            t.marginTop = w;
        else if (side == "bottom")
            t.marginBottom = w;
    }
    return t;
}

std::optional<uint32_t> parseShadingFill(const pugi::xml_node& shd)
{
    const std::string_view fill = value(shd, "fill");
    if (fill.size() != 6 || fill == "auto")
        return std::nullopt;
    for (char h : fill)
        if (!std::isxdigit(static_cast<unsigned char>(h)))
            return std::nullopt;
    return hexColor(fill);
}

std::string_view themeScriptOfLanguage(std::string_view language)
{
    const std::string_view primary = language.substr(0, language.find('-'));
    if (primary == "zh") // Traditional Chinese where it is written so, Simplified elsewhere
        return language.ends_with("TW") || language.ends_with("HK") || language.ends_with("MO") ? "Hant" : "Hans";
    struct Entry {
        std::string_view language, script;
    };
    static constexpr Entry table[] = {
        {"ja", "Jpan"}, {"ko", "Hang"}, {"ar", "Arab"}, {"fa", "Arab"}, {"ur", "Arab"}, {"he", "Hebr"},
        {"yi", "Hebr"}, {"th", "Thai"}, {"hi", "Deva"}, {"mr", "Deva"}, {"bn", "Beng"}, {"ta", "Taml"},
        {"te", "Telu"}, {"gu", "Gujr"}, {"pa", "Guru"}, {"km", "Khmr"}, {"lo", "Laoo"}, {"my", "Mymr"},
    };
    for (const Entry& e : table)
        if (e.language == primary)
            return e.script;
    return {};
}

RunProps parseRunProps(const pugi::xml_node& rPr, const ThemeFonts& theme)
{
    RunProps p;
    for (pugi::xml_node e = rPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "rFonts") {
            const auto [ascii, hAnsi, asciiTheme, hAnsiTheme, eastAsiaTheme, eastAsia, csTheme, cs] = xml::values(
                e, {"ascii", "hAnsi", "asciiTheme", "hAnsiTheme", "eastAsiaTheme", "eastAsia", "cstheme", "cs"});
            const std::string_view f = ascii.empty() ? hAnsi : ascii;
            const std::string_view t = asciiTheme.empty() ? hAnsiTheme : asciiTheme;
            if (!t.empty())
                p.font = t.starts_with("major") ? theme.major : theme.minor;
            else if (!f.empty())
                p.font = std::string(f);
            if (!eastAsiaTheme.empty())
                p.eastAsiaFont = eastAsiaTheme.starts_with("major") ? theme.majorEastAsia : theme.minorEastAsia;
            else if (!eastAsia.empty())
                p.eastAsiaFont = std::string(eastAsia);
            if (!csTheme.empty())
                p.complexFont = csTheme.starts_with("major") ? theme.majorComplex : theme.minorComplex;
            else if (!cs.empty())
                p.complexFont = std::string(cs);
        } else if (n == "sz") {
            if (auto v = xml::toInt(value(e, "val")))
                p.size = clampTo<uint16_t>(*v, 1, 3276);
        } else if (n == "szCs") {
            if (auto v = xml::toInt(value(e, "val")))
                p.complexSize = clampTo<uint16_t>(*v, 1, 3276);
        } else if (n == "b") {
            p.bold = onOff(e);
        } else if (n == "i") {
            p.italic = onOff(e);
        } else if (n == "caps") {
            p.allCaps = onOff(e);
        } else if (n == "smallCaps") {
            p.smallCaps = onOff(e);
        } else if (n == "strike") {
            p.strike = onOff(e);
        } else if (n == "dstrike") {
            p.doubleStrike = onOff(e);
        } else if (n == "vanish") {
            p.hidden = onOff(e);
        } else if (n == "u") {
            p.underline = underlineKind(value(e, "val"));
        } else if (n == "vertAlign") {
            std::string_view v = value(e, "val");
            p.verticalPosition = v == "superscript" ? VerticalPosition::Superscript
                                 : v == "subscript" ? VerticalPosition::Subscript
                                                    : VerticalPosition::Baseline;
        } else if (n == "spacing") {
            if (auto v = xml::toInt(value(e, "val")))
                p.spacing = clampTo<int16_t>(*v, -31680, 31680);
        } else if (n == "w") {
            if (auto v = xml::toInt(value(e, "val")))
                p.scale = clampTo<uint16_t>(*v, 1, 600);
        } else if (n == "kern") {
            if (auto v = xml::toInt(value(e, "val")))
                p.kern = clampTo<uint16_t>(*v, 0, 3276);
        } else if (n == "position") {
            if (auto v = xml::toInt(value(e, "val")))
                p.position = clampTo<int16_t>(*v, -3168, 3168);
        } else if (n == "color") {
            std::string_view v = value(e, "val");
            p.color = v == "auto" ? AutoColor : hexColor(v);
        }
    }
    return p;
}

ParaProps parseParaProps(const pugi::xml_node& pPr)
{
    ParaProps p;
    for (pugi::xml_node e = pPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "jc") {
            std::string_view v = value(e, "val");
            p.alignment = (v == "center")                ? Alignment::Center
                          : (v == "right" || v == "end") ? Alignment::Right
                          : (v == "both")                ? Alignment::Justify
                          : (v == "distribute")          ? Alignment::Distribute
                                                         : Alignment::Left;
        } else if (n == "ind") {
            if (auto v = twipsAttr(e, "left"))
                p.leftIndent = v;
            else if (auto s = twipsAttr(e, "start"))
                p.leftIndent = s;
            if (auto v = twipsAttr(e, "right"))
                p.rightIndent = v;
            else if (auto s = twipsAttr(e, "end"))
                p.rightIndent = s;
            if (auto v = twipsAttr(e, "hanging"))
                p.firstLineIndent = -*v;
            else if (auto f = twipsAttr(e, "firstLine"))
                p.firstLineIndent = f;
        } else if (n == "spacing") {
            if (auto v = twipsAttr(e, "before"))
                p.spaceBefore = v;
            if (auto v = twipsAttr(e, "after"))
                p.spaceAfter = v;
            // Spacing given in points where the automatic flag is not
            // written turns the automatic (HTML) spacing a style gave off:
            // Word lays out a "Normal (Web)" paragraph with w:before="0"
            // w:after="0" of its own with no space at all, not 14 pt.
            if (attr(e, "beforeAutospacing"))
                p.spaceBeforeAuto = truthy(value(e, "beforeAutospacing"));
            else if (attr(e, "before"))
                p.spaceBeforeAuto = false;
            if (attr(e, "afterAutospacing"))
                p.spaceAfterAuto = truthy(value(e, "afterAutospacing"));
            else if (attr(e, "after"))
                p.spaceAfterAuto = false;
            if (auto v = twipsAttr(e, "line"))
                p.lineSpacing = v;
            std::string_view rule = value(e, "lineRule");
            if (rule == "exact")
                p.lineRule = LineRule::Exact;
            else if (rule == "atLeast")
                p.lineRule = LineRule::AtLeast;
            else if (!rule.empty() || p.lineSpacing)
                p.lineRule = LineRule::Auto;
        } else if (n == "contextualSpacing") {
            p.contextualSpacing = onOff(e);
        } else if (n == "keepNext") {
            p.keepWithNext = onOff(e);
        } else if (n == "keepLines") {
            p.keepLinesTogether = onOff(e);
        } else if (n == "widowControl") {
            p.widowControl = onOff(e);
        } else if (n == "pageBreakBefore") {
            p.pageBreakBefore = onOff(e);
        } else if (n == "snapToGrid") {
            p.snapToGrid = onOff(e);
        } else if (n == "suppressAutoHyphens") {
            p.suppressAutoHyphens = onOff(e);
        } else if (n == "bidi") {
            p.rightToLeft = onOff(e);
        } else if (n == "tabs") {
            for (pugi::xml_node t = e.first_child(); t; t = t.next_sibling()) {
                if (!is(t, "tab"))
                    continue;
                auto pos = twipsAttr(t, "pos");
                if (!pos)
                    continue;
                TabStop stop;
                stop.position = *pos;
                std::string_view v = value(t, "val");
                stop.alignment = v == "center"                  ? TabAlignment::Center
                                 : (v == "right" || v == "end") ? TabAlignment::Right
                                 : v == "decimal"               ? TabAlignment::Decimal
                                 : v == "bar"                   ? TabAlignment::Bar
                                                                : TabAlignment::Left;
                std::string_view l = value(t, "leader");
                stop.leader = l == "dot"          ? TabLeader::Dot
                              : l == "hyphen"     ? TabLeader::Hyphen
                              : l == "underscore" ? TabLeader::Underscore
                              : l == "heavy"      ? TabLeader::Heavy
                              : l == "middleDot"  ? TabLeader::MiddleDot
                                                  : TabLeader::None;
                p.tabs.emplace_back(stop, v == "clear");
            }
        } else if (n == "pBdr") {
            forEachBorder(e, [&](BorderSide side, BorderLine line) {
                switch (side) {
                case BorderSide::Top: p.borderTop = line; break;
                case BorderSide::Left: p.borderLeft = line; break;
                case BorderSide::Bottom: p.borderBottom = line; break;
                case BorderSide::Right: p.borderRight = line; break;
                case BorderSide::Between: p.borderBetween = line; break;
                default: break;
                }
            });
        } else if (n == "shd") {
            if (auto fill = parseShadingFill(e))
                p.shading = fill;
        } else if (n == "numPr") {
            if (pugi::xml_node id = child(e, "numId"))
                if (auto v = xml::toInt(value(id, "val")))
                    p.numId = xml::clampInt32(*v);
            if (pugi::xml_node lvl = child(e, "ilvl"))
                if (auto v = xml::toInt(value(lvl, "val")))
                    p.level = static_cast<int32_t>(std::clamp<int64_t>(*v, 0, 8));
        }
    }
    return p;
}

void Styles::load(const pugi::xml_node& root, const ThemeFonts& theme)
{
    if (pugi::xml_node defaults = child(root, "docDefaults")) {
        if (pugi::xml_node rPr = child(child(defaults, "rPrDefault"), "rPr")) {
            m_defaultRun = parseRunProps(rPr, theme);
            m_defaultLanguage = value(child(rPr, "lang"), "val");
        }
        if (pugi::xml_node pPr = child(child(defaults, "pPrDefault"), "pPr"))
            m_defaultPara = parseParaProps(pPr);
    }
    for (pugi::xml_node s = root.first_child(); s; s = s.next_sibling()) {
        if (!is(s, "style"))
            continue;
        const std::string_view type = value(s, "type");
        Style style;
        if (type == "paragraph")
            style.kind = Kind::Paragraph;
        else if (type == "character")
            style.kind = Kind::Character;
        else if (type == "table")
            style.kind = Kind::Table;
        else
            continue;
        style.name = value(child(s, "name"), "val");
        style.basedOn = value(child(s, "basedOn"), "val");
        if (pugi::xml_node rPr = child(s, "rPr"))
            style.run = parseRunProps(rPr, theme);
        if (pugi::xml_node pPr = child(s, "pPr"))
            style.para = parseParaProps(pPr);
        if (pugi::xml_node tblPr = child(s, "tblPr"))
            style.table = parseTableProps(tblPr);
        for (pugi::xml_node c = child(s, "tblStylePr"); c; c = c.next_sibling()) {
            if (!is(c, "tblStylePr"))
                continue;
            const std::string_view part = value(c, "type");
            const TableCondition condition = part == "firstRow"    ? TableCondition::FirstRow
                                             : part == "lastRow"   ? TableCondition::LastRow
                                             : part == "firstCol"  ? TableCondition::FirstColumn
                                             : part == "lastCol"   ? TableCondition::LastColumn
                                                                   : TableCondition{};
            if (condition == TableCondition{})
                continue; // bands and corner cells: shading, not size
            ConditionalProps& props = style.conditional[condition];
            if (pugi::xml_node rPr = child(c, "rPr"))
                props.run = parseRunProps(rPr, theme);
            if (pugi::xml_node pPr = child(c, "pPr"))
                props.para = parseParaProps(pPr);
            props.borders = parseCellBorders(child(child(c, "tcPr"), "tcBorders"));
        }
        std::string id(value(s, "styleId"));
        if (truthy(value(s, "default"))) {
            std::string& slot = style.kind == Kind::Paragraph   ? m_defaultParagraph
                                : style.kind == Kind::Character ? m_defaultCharacter
                                                                : m_defaultTable;
            if (slot.empty()) {
                slot = id;
                // The default paragraph style's language overrides the
                // document defaults' for all text that names none.
                if (style.kind == Kind::Paragraph)
                    if (std::string_view lang = value(child(child(s, "rPr"), "lang"), "val"); !lang.empty())
                        m_defaultLanguage = lang;
            }
        }
        // Paragraph, character and table styles share one id space in Word;
        // a clash keeps the first.
        m_styles.try_emplace(std::move(id), std::move(style));
    }
}

const Styles::Style* Styles::find(const std::string& id, Kind kind) const
{
    auto it = m_styles.find(id);
    if (it != m_styles.end() && it->second.kind == kind)
        return &it->second;
    const std::string& fallback = kind == Kind::Paragraph   ? m_defaultParagraph
                                  : kind == Kind::Character ? m_defaultCharacter
                                                            : m_defaultTable;
    if (fallback.empty() || fallback == id)
        return nullptr;
    it = m_styles.find(fallback);
    return it != m_styles.end() && it->second.kind == kind ? &it->second : nullptr;
}

std::vector<const Styles::Style*> Styles::chain(const std::string& id, Kind kind) const
{
    std::vector<const Style*> out;
    for (const Style* s = find(id, kind); s && out.size() < MaxChain;) {
        if (std::find(out.begin(), out.end(), s) != out.end())
            break;
        out.push_back(s);
        auto it = s->basedOn.empty() ? m_styles.end() : m_styles.find(s->basedOn);
        s = it != m_styles.end() && it->second.kind == kind ? &it->second : nullptr;
    }
    return out;
}

const RunProps& Styles::chainRun(const std::string& id, Kind kind) const
{
    auto key = std::make_pair(id, kind);
    if (auto it = m_runCache.find(key); it != m_runCache.end())
        return it->second;
    const std::vector<const Style*> styles = chain(id, kind);
    RunProps out;
    for (auto it = styles.rbegin(); it != styles.rend(); ++it)
        out.overlay((*it)->run);
    return m_runCache.emplace(std::move(key), std::move(out)).first->second;
}

const ParaProps& Styles::chainPara(const std::string& id, Kind kind) const
{
    auto key = std::make_pair(id, kind);
    if (auto it = m_paraCache.find(key); it != m_paraCache.end())
        return it->second;
    const std::vector<const Style*> styles = chain(id, kind);
    ParaProps out;
    for (auto it = styles.rbegin(); it != styles.rend(); ++it)
        out.overlay((*it)->para);
    return m_paraCache.emplace(std::move(key), std::move(out)).first->second;
}

TableProps Styles::tableProps(const std::string& tableStyle) const
{
    TableProps out;
    const std::vector<const Style*> styles = chain(tableStyle, Kind::Table);
    for (auto it = styles.rbegin(); it != styles.rend(); ++it)
        out.overlay((*it)->table);
    return out;
}

const ConditionalProps& Styles::chainConditional(const TableStyleRef& tableStyle) const
{
    static const ConditionalProps none;
    if (tableStyle.conditions == 0)
        return none;
    ConditionalProps out;
    // Every run of a header row or first column asks: worked out once for
    // each table style and set of parts.
    auto key = std::make_pair(tableStyle.id, tableStyle.conditions);
    if (auto it = m_conditionalCache.find(key); it != m_conditionalCache.end())
        return it->second;
    const std::vector<const Style*> styles = chain(tableStyle.id, Kind::Table);
    // Columns first, then rows over them (ECMA-376 Part 1, 17.7.6: the
    // header row's formatting wins in its first cell).
    for (const TableCondition condition : {TableCondition::FirstColumn, TableCondition::LastColumn,
                                           TableCondition::FirstRow, TableCondition::LastRow}) {
        if (!(tableStyle.conditions & condition))
            continue;
        for (auto it = styles.rbegin(); it != styles.rend(); ++it) {
            auto found = (*it)->conditional.find(condition);
            if (found == (*it)->conditional.end())
                continue;
            out.run.overlay(found->second.run);
            out.para.overlay(found->second.para);
            overlayBorders(out.borders, found->second.borders);
        }
    }
    return m_conditionalCache.emplace(std::move(key), std::move(out)).first->second;
}

CellBorders Styles::conditionalBorders(const TableStyleRef& tableStyle) const
{
    return chainConditional(tableStyle).borders;
}

ParaProps Styles::styleParaProps(const std::string& paraStyle) const { return chainPara(paraStyle, Kind::Paragraph); }

std::string Styles::displayName(const std::string& styleId) const
{
    const Style* s = find(styleId, Kind::Paragraph);
    if (!s)
        return "Normal";
    // Word shows its built-in names capitalised ("heading 1" is "Heading 1").
    std::string name = s->name.empty() ? styleId : s->name;
    if (!name.empty() && name[0] >= 'a' && name[0] <= 'z')
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return name;
}

CharFormat Styles::runFormat(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct,
                             const TableStyleRef& tableStyle) const
{
    return m_lastRun.of([&] { return resolveRun(paraStyle, charStyle, direct, tableStyle); }, paraStyle, charStyle,
                        direct, tableStyle);
}

CharFormat Styles::resolveRun(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct,
                              const TableStyleRef& tableStyle) const
{
    // Each property from the highest level that sets it: what overlaying the
    // levels in turn on the defaults gives (the table style's chain, its
    // parts', the paragraph style's, the character style's, the run's own),
    // without copying any level. Runs are read by the hundred thousand.
    static const RunProps none;
    const bool inTable = !tableStyle.id.empty();
    const RunProps& tableChain = inTable ? chainRun(tableStyle.id, Kind::Table) : none;
    const RunProps& tableParts = inTable ? chainConditional(tableStyle).run : none;
    const RunProps& para = chainRun(paraStyle, Kind::Paragraph);
    const RunProps& chars = charStyle.empty() ? none : chainRun(charStyle, Kind::Character);
    const RunProps* const levels[] = {&direct, &chars, &para, &tableParts, &tableChain, &m_defaultRun};
    auto top = [&](auto RunProps::*field) -> const auto& {
        for (const RunProps* level : levels)
            if (level->*field)
                return level->*field;
        return m_defaultRun.*field; // unset at every level
    };

    CharFormat f;
    f.fontName = top(&RunProps::font).value_or("");
    f.sizeHalfPoints = top(&RunProps::size).value_or(20);
    f.eastAsiaFontName = top(&RunProps::eastAsiaFont).value_or("");
    f.complexFontName = top(&RunProps::complexFont).value_or("");
    f.complexSizeHalfPoints = top(&RunProps::complexSize).value_or(0);
    f.underline = top(&RunProps::underline).value_or(UnderlineKind::None);
    f.verticalPosition = top(&RunProps::verticalPosition).value_or(VerticalPosition::Baseline);
    f.spacingTwips = top(&RunProps::spacing).value_or(0);
    f.scalePercent = top(&RunProps::scale).value_or(100);
    f.kernMinHalfPoints = top(&RunProps::kern).value_or(0);
    f.positionHalfPoints = top(&RunProps::position).value_or(0);
    f.color = top(&RunProps::color).value_or(AutoColor);

    // A toggle starts from the document default; each style level that turns
    // it on flips it (bold text in a bold heading shows plain); direct
    // formatting is absolute.
    auto toggle = [&](std::optional<bool> RunProps::*field) {
        bool v = (m_defaultRun.*field).value_or(false);
        // The table's level: its parts' setting over its chain's.
        if ((tableParts.*field ? tableParts.*field : tableChain.*field).value_or(false))
            v = !v;
        if ((para.*field).value_or(false))
            v = !v;
        if ((chars.*field).value_or(false))
            v = !v;
        if ((direct.*field).has_value())
            v = *(direct.*field);
        return v;
    };
    f.bold = toggle(&RunProps::bold);
    f.italic = toggle(&RunProps::italic);
    f.allCaps = toggle(&RunProps::allCaps);
    f.smallCaps = toggle(&RunProps::smallCaps);
    f.strike = toggle(&RunProps::strike);
    f.doubleStrike = toggle(&RunProps::doubleStrike);
    f.hidden = toggle(&RunProps::hidden);
    return f;
}

ParaFormat Styles::paraFormat(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct,
                              const TableStyleRef& tableStyle) const
{
    return m_lastPara.of([&] { return resolvePara(paraStyle, numbering, direct, tableStyle); }, paraStyle, numbering,
                         direct, tableStyle);
}

ParaFormat Styles::resolvePara(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct,
                               const TableStyleRef& tableStyle) const
{
    ParaProps p = m_defaultPara;
    if (!tableStyle.id.empty()) {
        p.overlay(chainPara(tableStyle.id, Kind::Table));
        p.overlay(chainConditional(tableStyle).para);
    }
    p.overlay(chainPara(paraStyle, Kind::Paragraph));
    p.overlay(numbering);
    p.overlay(direct);

    ParaFormat f;
    f.styleName = displayName(paraStyle);
    f.alignment = p.alignment.value_or(Alignment::Left);
    f.leftIndent = p.leftIndent.value_or(0);
    f.rightIndent = p.rightIndent.value_or(0);
    f.firstLineIndent = p.firstLineIndent.value_or(0);
    f.spaceBefore = p.spaceBefore.value_or(0);
    f.spaceAfter = p.spaceAfter.value_or(0);
    f.spaceBeforeAuto = p.spaceBeforeAuto.value_or(false);
    f.spaceAfterAuto = p.spaceAfterAuto.value_or(false);
    f.contextualSpacing = p.contextualSpacing.value_or(false);
    f.suppressAutoHyphens = p.suppressAutoHyphens.value_or(false);
    f.lineRule = p.lineRule.value_or(LineRule::Auto);
    f.lineSpacing = p.lineSpacing.value_or(240);
    f.keepWithNext = p.keepWithNext.value_or(false);
    f.keepLinesTogether = p.keepLinesTogether.value_or(false);
    f.widowControl = p.widowControl.value_or(true);
    f.pageBreakBefore = p.pageBreakBefore.value_or(false);
    f.snapToGrid = p.snapToGrid.value_or(true);
    f.rightToLeft = p.rightToLeft.value_or(false);
    f.borders.top = p.borderTop.value_or(BorderLine{});
    f.borders.left = p.borderLeft.value_or(BorderLine{});
    f.borders.bottom = p.borderBottom.value_or(BorderLine{});
    f.borders.right = p.borderRight.value_or(BorderLine{});
    f.borders.between = p.borderBetween.value_or(BorderLine{});
    f.shading = p.shading.value_or(AutoColor);
    // Tab stops accumulate from the bottom level up; a "clear" removes the
    // inherited stop at its position.
    std::vector<TabStop> tabs;
    for (const auto& entry : p.tabs) {
        const Twips position = entry.first.position;
        std::erase_if(tabs, [position](const TabStop& t) { return t.position == position; });
        if (!entry.second)
            tabs.push_back(entry.first);
    }
    std::sort(tabs.begin(), tabs.end(), [](const TabStop& a, const TabStop& b) { return a.position < b.position; });
    if (tabs.size() > 64)
        tabs.resize(64);
    f.tabs = std::move(tabs);
    return f;
}

} // namespace qm::engine::docx
