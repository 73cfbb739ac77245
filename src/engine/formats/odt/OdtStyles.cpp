// OpenDocument style resolution, list styles and page layouts.
#include "engine/formats/odt/OdtStyles.h"

#include "engine/formats/docx/XmlPart.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace qm::engine::odt {

using xml::child;
using xml::is;
using xml::value;

namespace {

constexpr size_t MaxChain = 64;

std::optional<uint32_t> parseColor(std::string_view v)
{
    if (v.size() != 7 || v[0] != '#')
        return std::nullopt;
    uint32_t c = 0;
    for (char h : v.substr(1)) {
        c <<= 4;
        if (h >= '0' && h <= '9')
            c |= static_cast<uint32_t>(h - '0');
        else if ((h | 0x20) >= 'a' && (h | 0x20) <= 'f')
            c |= static_cast<uint32_t>((h | 0x20) - 'a' + 10);
        else
            return std::nullopt;
    }
    return c;
}

} // namespace

BorderLine parseBorder(std::string_view text)
{
    BorderLine b;
    Twips width = 0;
    BorderStyle style = BorderStyle::None;
    uint32_t color = AutoColor;
    size_t pos = 0;
    while (pos < text.size()) {
        const size_t end = std::min(text.find(' ', pos), text.size());
        const std::string_view word = text.substr(pos, end - pos);
        pos = end + 1;
        if (word.empty())
            continue;
        if (auto len = parseLength(word))
            width = *len;
        else if (auto c = parseColor(word))
            color = *c;
        else if (word == "thin")
            width = 1; // half a point below
        else if (word == "medium" || word == "thick")
            width = word == "medium" ? 20 : 40;
        else if (word == "solid")
            style = BorderStyle::Single;
        else if (word == "double")
            style = BorderStyle::Double;
        else if (word == "dotted")
            style = BorderStyle::Dotted;
        else if (word == "dashed")
            style = BorderStyle::Dashed;
        else if (word == "groove" || word == "ridge" || word == "inset" || word == "outset")
            style = BorderStyle::Other;
    }
    if (style == BorderStyle::None || width <= 0)
        return b;
    if (width == 1)
        width = 10;
    b.style = style;
    const double line = style == BorderStyle::Double ? width / 3.0 : width;
    b.widthEighths = static_cast<uint16_t>(std::clamp<long>(std::lround(line * 0.4), 2, 96));
    b.color = color;
    return b;
}

namespace {

std::optional<double> parsePercent(std::string_view v)
{
    if (v.empty() || v.back() != '%')
        return std::nullopt;
    std::string number(v.substr(0, v.size() - 1));
    char* end = nullptr;
    const double d = std::strtod(number.c_str(), &end);
    if (end == number.c_str() || !std::isfinite(d))
        return std::nullopt;
    return d;
}

docx::RunProps readTextProps(const pugi::xml_node& p, const std::map<std::string, std::string>& fonts)
{
    docx::RunProps r;
    if (!p)
        return r;
    if (auto v = value(p, "font-weight"); !v.empty())
        r.bold = v == "bold" || (std::atoi(std::string(v).c_str()) >= 600);
    if (auto v = value(p, "font-style"); !v.empty())
        r.italic = v == "italic" || v == "oblique";
    if (auto v = value(p, "text-underline-style"); !v.empty()) {
        const std::string_view type = value(p, "text-underline-type");
        r.underline = v == "none"                                  ? UnderlineKind::None
                      : type == "double"                           ? UnderlineKind::Double
                      : v == "dotted"                              ? UnderlineKind::Dotted
                      : v.starts_with("dash") || v == "long-dash"  ? UnderlineKind::Dash
                      : v == "wave"                                ? UnderlineKind::Wave
                      : value(p, "text-underline-width") == "bold" ? UnderlineKind::Thick
                                                                   : UnderlineKind::Single;
        if (value(p, "text-underline-mode") == "skip-white-space" && r.underline == UnderlineKind::Single)
            r.underline = UnderlineKind::Words;
    }
    if (auto v = value(p, "text-line-through-style"); !v.empty()) {
        const bool on = v != "none";
        if (value(p, "text-line-through-type") == "double")
            r.doubleStrike = on;
        else
            r.strike = on;
    }
    if (auto v = value(p, "font-variant"); !v.empty())
        r.smallCaps = v == "small-caps";
    if (auto v = value(p, "text-transform"); !v.empty())
        r.allCaps = v == "uppercase";
    if (auto v = value(p, "display"); !v.empty())
        r.hidden = v == "none";
    if (auto v = value(p, "text-position"); !v.empty()) {
        std::string first(v.substr(0, v.find(' ')));
        if (first == "super")
            r.verticalPosition = VerticalPosition::Superscript;
        else if (first == "sub")
            r.verticalPosition = VerticalPosition::Subscript;
        else if (auto pct = parsePercent(first))
            r.verticalPosition = *pct > 0   ? VerticalPosition::Superscript
                                 : *pct < 0 ? VerticalPosition::Subscript
                                            : VerticalPosition::Baseline;
    }
    if (auto v = parseLength(value(p, "font-size")))
        r.size = static_cast<uint16_t>(std::clamp<Twips>(*v / 10, 1, 3276));
    // The Western, Asian and complex-script fonts: font-name and
    // font-family, each with its -asian and -complex twin.
    auto font = [&](const std::string& suffix) -> std::optional<std::string> {
        if (auto v = value(p, ("font-name" + suffix).c_str()); !v.empty()) {
            auto it = fonts.find(std::string(v));
            return it != fonts.end() ? it->second : std::string(v);
        }
        if (auto f = value(p, ("font-family" + suffix).c_str()); !f.empty()) {
            std::string family(f);
            std::erase(family, '\'');
            return family;
        }
        return std::nullopt;
    };
    if (auto f = font(""))
        r.font = *f;
    if (auto f = font("-asian"))
        r.eastAsiaFont = *f;
    if (auto f = font("-complex"))
        r.complexFont = *f;
    if (auto v = parseLength(value(p, "font-size-complex")))
        r.complexSize = static_cast<uint16_t>(std::clamp<Twips>(*v / 10, 1, 3276));
    if (auto c = parseColor(value(p, "color")))
        r.color = *c;
    if (auto v = parseLength(value(p, "letter-spacing")))
        r.spacing = static_cast<int16_t>(std::clamp<Twips>(*v, -31680, 31680));
    if (auto v = parsePercent(value(p, "text-scale")))
        r.scale = static_cast<uint16_t>(std::clamp(*v, 1.0, 600.0));
    return r;
}

// The four sides of fo:border and fo:padding, each side's own attribute
// over the one for all sides.
struct Sides {
    std::optional<BorderLine> top, bottom, left, right;
    std::optional<Twips> padTop, padBottom, padLeft, padRight;
};

Sides readSides(const pugi::xml_node& p)
{
    Sides s;
    auto border = [&](std::string_view side) -> std::optional<BorderLine> {
        std::string_view v = value(p, std::string("border-").append(side).c_str());
        if (v.empty())
            v = value(p, "border");
        if (v.empty())
            return std::nullopt;
        return parseBorder(v);
    };
    auto padding = [&](std::string_view side) -> std::optional<Twips> {
        std::string_view v = value(p, std::string("padding-").append(side).c_str());
        if (v.empty())
            v = value(p, "padding");
        if (auto len = parseLength(v))
            return std::clamp<Twips>(*len, 0, 31680);
        return std::nullopt;
    };
    s.top = border("top");
    s.bottom = border("bottom");
    s.left = border("left");
    s.right = border("right");
    s.padTop = padding("top");
    s.padBottom = padding("bottom");
    s.padLeft = padding("left");
    s.padRight = padding("right");
    return s;
}

docx::ParaProps readParaProps(const pugi::xml_node& p)
{
    docx::ParaProps r;
    if (!p)
        return r;
    if (auto v = value(p, "text-align"); !v.empty())
        r.alignment = v == "center"                  ? Alignment::Center
                      : (v == "end" || v == "right") ? Alignment::Right
                      : v == "justify"               ? Alignment::Justify
                                                     : Alignment::Left;
    r.leftIndent = parseLength(value(p, "margin-left"));
    r.rightIndent = parseLength(value(p, "margin-right"));
    r.firstLineIndent = parseLength(value(p, "text-indent"));
    r.spaceBefore = parseLength(value(p, "margin-top"));
    r.spaceAfter = parseLength(value(p, "margin-bottom"));
    if (auto v = value(p, "line-height"); !v.empty()) {
        if (v == "normal") {
            r.lineRule = LineRule::Auto;
            r.lineSpacing = 240;
        } else if (auto pct = parsePercent(v)) {
            r.lineRule = LineRule::Auto;
            r.lineSpacing = static_cast<int32_t>(std::clamp(*pct, 1.0, 1000.0) * 240 / 100);
        } else if (auto len = parseLength(v)) {
            r.lineRule = LineRule::Exact;
            r.lineSpacing = *len;
        }
    }
    if (auto v = parseLength(value(p, "line-height-at-least"))) {
        r.lineRule = LineRule::AtLeast;
        r.lineSpacing = *v;
    }
    if (auto v = value(p, "break-before"); !v.empty())
        r.pageBreakBefore = v == "page";
    if (auto v = value(p, "writing-mode"); !v.empty())
        r.rightToLeft = v == "rl-tb" || v == "rl";
    if (auto v = value(p, "keep-with-next"); !v.empty())
        r.keepWithNext = v == "always";
    if (auto v = value(p, "keep-together"); !v.empty())
        r.keepLinesTogether = v == "always";
    if (auto v = value(p, "snap-to-layout-grid"); !v.empty())
        r.snapToGrid = v != "false";
    if (auto v = value(p, "widows"); !v.empty())
        r.widowControl = v != "0";
    if (auto v = value(p, "contextual-spacing"); !v.empty())
        r.contextualSpacing = v == "true";
    // A paragraph's padding is its text's distance from its borders.
    const Sides sides = readSides(p);
    auto withPadding = [](std::optional<BorderLine> b, std::optional<Twips> pad) {
        if (b && pad)
            b->spacePoints = static_cast<uint16_t>(std::clamp<Twips>((*pad + 10) / 20, 0, 31));
        return b;
    };
    r.borderTop = withPadding(sides.top, sides.padTop);
    r.borderBottom = withPadding(sides.bottom, sides.padBottom);
    r.borderLeft = withPadding(sides.left, sides.padLeft);
    r.borderRight = withPadding(sides.right, sides.padRight);
    // Paragraphs with the same borders share one box unless the style says
    // not to join them; Word's model has no such switch, and a box of one
    // paragraph each is what a between line as heavy as the top gives.
    if (value(p, "join-border") == "false" && r.borderTop)
        r.borderBetween = r.borderTop;
    if (auto c = parseColor(value(p, "background-color")))
        r.shading = *c;
    if (pugi::xml_node tabs = child(p, "tab-stops")) {
        for (pugi::xml_node t = tabs.first_child(); t && r.tabs.size() < 64; t = t.next_sibling()) {
            auto pos = parseLength(value(t, "position"));
            if (!is(t, "tab-stop") || !pos)
                continue;
            TabStop stop;
            stop.position = *pos;
            const std::string_view type = value(t, "type");
            stop.alignment = type == "center"  ? TabAlignment::Center
                             : type == "right" ? TabAlignment::Right
                             : type == "char"  ? TabAlignment::Decimal
                                               : TabAlignment::Left;
            const std::string_view leader = value(t, "leader-text");
            stop.leader = leader == "."   ? TabLeader::Dot
                          : leader == "-" ? TabLeader::Hyphen
                          : leader == "_" ? TabLeader::Underscore
                                          : TabLeader::None;
            r.tabs.emplace_back(stop, false);
        }
    }
    return r;
}

SectionFormat readPageLayout(const pugi::xml_node& layout)
{
    SectionFormat f;
    const pugi::xml_node p = child(layout, "page-layout-properties");
    constexpr Twips MaxPage = 31680 * 2;
    auto len = [&](const pugi::xml_node& n, std::string_view name, Twips fallback, Twips lo) {
        auto v = parseLength(value(n, name));
        return v ? std::clamp(*v, lo, MaxPage) : fallback;
    };
    f.pageWidth = len(p, "page-width", f.pageWidth, 144);
    f.pageHeight = len(p, "page-height", f.pageHeight, 144);
    const Twips margin = len(p, "margin", -1, 0);
    f.marginTop = len(p, "margin-top", margin >= 0 ? margin : f.marginTop, 0);
    f.marginBottom = len(p, "margin-bottom", margin >= 0 ? margin : f.marginBottom, 0);
    f.marginLeft = len(p, "margin-left", margin >= 0 ? margin : f.marginLeft, 0);
    f.marginRight = len(p, "margin-right", margin >= 0 ? margin : f.marginRight, 0);
    // The page's text grid: a line pitch of the base height and the ruby
    // line above it, for lines only or for lines and characters.
    if (const std::string_view mode = value(p, "layout-grid-mode"); mode == "line" || mode == "both") {
        f.gridType = mode == "line" ? DocGridType::Lines : DocGridType::LinesAndChars;
        f.linePitch = std::min(MaxPage, len(p, "layout-grid-base-height", 0, 0) + len(p, "layout-grid-ruby-height", 0, 0));
    }
    if (pugi::xml_node cols = child(p, "columns")) {
        f.columns = std::clamp(xml::clampInt32(xml::toInt(value(cols, "column-count")).value_or(1)), 1, 45);
        f.columnSpacing = len(cols, "column-gap", f.columnSpacing, 0);
    }
    // OpenDocument measures the page margin to the header; Word measures the
    // header distance there and the body's margin below the header.
    for (const char* which : {"header-style", "footer-style"}) {
        const pugi::xml_node hf = child(child(layout, which), "header-footer-properties");
        if (!hf)
            continue;
        const Twips height =
            len(hf, "min-height", 0, 0) + len(hf, which[0] == 'h' ? "margin-bottom" : "margin-top", 0, 0);
        if (which[0] == 'h') {
            f.headerDistance = f.marginTop;
            f.marginTop = std::min(MaxPage, f.marginTop + height);
        } else {
            f.footerDistance = f.marginBottom;
            f.marginBottom = std::min(MaxPage, f.marginBottom + height);
        }
    }
    return f;
}

} // namespace

std::optional<Twips> parseLength(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    std::string s(text);
    char* end = nullptr;
    const double v = std::strtod(s.c_str(), &end);
    if (end == s.c_str() || !std::isfinite(v))
        return std::nullopt;
    const std::string_view unit(end);
    double twips;
    if (unit == "in" || unit == "inch")
        twips = v * 1440;
    else if (unit == "cm")
        twips = v * 1440 / 2.54;
    else if (unit == "mm")
        twips = v * 144 / 2.54;
    else if (unit == "pt")
        twips = v * 20;
    else if (unit == "pc")
        twips = v * 240;
    else if (unit == "px")
        twips = v * 15;
    else
        return std::nullopt;
    if (!(twips > -1e9 && twips < 1e9))
        return std::nullopt;
    return static_cast<Twips>(std::lround(twips));
}

void OdtStyles::readStyles(const pugi::xml_node& root, std::map<std::pair<std::string, std::string>, Style>& into,
                           std::map<std::string, SectionFormat>* layouts)
{
    for (pugi::xml_node s = root.first_child(); s; s = s.next_sibling()) {
        const std::string_view n = xml::localName(s);
        if (n == "style") {
            Style style;
            style.family = value(s, "family");
            style.parent = value(s, "parent-style-name");
            style.displayName = value(s, "display-name");
            style.masterPage = value(s, "master-page-name");
            style.listStyle = value(s, "list-style-name");
            style.text = readTextProps(child(s, "text-properties"), m_fonts);
            style.para = readParaProps(child(s, "paragraph-properties"));
            if (pugi::xml_node cell = child(s, "table-cell-properties")) {
                const Sides sides = readSides(cell);
                style.cell.borders = {sides.top, sides.left, sides.bottom, sides.right};
                style.cell.paddingTop = sides.padTop;
                style.cell.paddingBottom = sides.padBottom;
                style.cell.paddingLeft = sides.padLeft;
                style.cell.paddingRight = sides.padRight;
                const std::string_view align = value(cell, "vertical-align");
                style.cell.verticalAlign = align == "middle"   ? CellVerticalAlign::Center
                                           : align == "bottom" ? CellVerticalAlign::Bottom
                                                               : CellVerticalAlign::Top;
            }
            if (pugi::xml_node col = child(s, "table-column-properties"))
                style.columnWidth = parseLength(value(col, "column-width"));
            std::string name(value(s, "name"));
            if (style.displayName.empty())
                style.displayName = name;
            into.try_emplace({style.family, std::move(name)}, std::move(style));
        } else if (n == "default-style" && value(s, "family") == "paragraph") {
            m_defaultText = readTextProps(child(s, "text-properties"), m_fonts);
            m_defaultPara = readParaProps(child(s, "paragraph-properties"));
            if (auto tab = parseLength(value(child(s, "paragraph-properties"), "tab-stop-distance")); tab && *tab > 0)
                m_defaultTab = *tab;
        } else if (n == "list-style" || n == "outline-style") {
            std::array<ListLevel, 10> levels;
            for (pugi::xml_node l = s.first_child(); l; l = l.next_sibling()) {
                auto level = xml::toInt(value(l, "level"));
                if (!level || *level < 1 || *level > 10)
                    continue;
                ListLevel& out = levels[static_cast<size_t>(*level - 1)];
                out.bullet = is(l, "list-level-style-bullet");
                out.bulletChar = utf8ToUtf16(value(l, "bullet-char"));
                out.format = value(l, "num-format");
                out.prefix = value(l, "num-prefix");
                out.suffix = value(l, "num-suffix");
                out.start = xml::clampInt32(xml::toInt(value(l, "start-value")).value_or(1));
                out.displayLevels =
                    std::clamp(xml::clampInt32(xml::toInt(value(l, "display-levels")).value_or(1)), 1, 10);
                const pugi::xml_node align = child(child(l, "list-level-properties"), "list-level-label-alignment");
                out.indent = parseLength(value(align, "margin-left"));
                out.firstLine = parseLength(value(align, "text-indent"));
            }
            m_lists.try_emplace(n == "outline-style" ? std::string(OutlineListStyle) : std::string(value(s, "name")),
                                levels);
        } else if (n == "page-layout" && layouts) {
            layouts->try_emplace(std::string(value(s, "name")), readPageLayout(s));
        }
    }
}

void OdtStyles::load(const pugi::xml_node& fontFaces, const pugi::xml_node& common,
                     const pugi::xml_node& stylesAutomatic, const pugi::xml_node& contentAutomatic,
                     const pugi::xml_node& masterStyles, const pugi::xml_node& contentFontFaces)
{
    for (const pugi::xml_node& faces : {fontFaces, contentFontFaces})
        for (pugi::xml_node f = faces.first_child(); f; f = f.next_sibling()) {
            std::string family(value(f, "font-family"));
            std::erase(family, '\'');
            std::erase(family, '"');
            m_fonts.try_emplace(std::string(value(f, "name")), family);
        }
    std::map<std::string, SectionFormat> layouts;
    readStyles(common, m_common, &layouts);
    readStyles(stylesAutomatic, m_stylesAuto, &layouts);
    readStyles(contentAutomatic, m_contentAuto, &layouts);
    for (pugi::xml_node m = masterStyles.first_child(); m; m = m.next_sibling()) {
        if (!is(m, "master-page"))
            continue;
        MasterPage page;
        if (auto it = layouts.find(std::string(value(m, "page-layout-name"))); it != layouts.end())
            page.format = it->second;
        for (pugi::xml_node part = m.first_child(); part; part = part.next_sibling()) {
            if (value(part, "display") == "false")
                continue;
            const std::string_view n = xml::localName(part);
            if (n == "header")
                page.header = part;
            else if (n == "header-left")
                page.headerLeft = part;
            else if (n == "header-first")
                page.headerFirst = part;
            else if (n == "footer")
                page.footer = part;
            else if (n == "footer-left")
                page.footerLeft = part;
            else if (n == "footer-first")
                page.footerFirst = part;
        }
        page.format.titlePage = page.headerFirst || page.footerFirst;
        std::string name(value(m, "name"));
        if (m_firstMaster.empty() || name == "Standard")
            m_firstMaster = name;
        m_masters.try_emplace(std::move(name), page);
    }
}

const OdtStyles::Style* OdtStyles::find(StyleScope scope, std::string_view family, const std::string& name) const
{
    if (name.empty())
        return nullptr;
    const auto key = std::make_pair(std::string(family), name);
    const auto& automatic = scope == StyleScope::Content ? m_contentAuto : m_stylesAuto;
    if (auto it = automatic.find(key); it != automatic.end())
        return &it->second;
    if (auto it = m_common.find(key); it != m_common.end())
        return &it->second;
    return nullptr;
}

docx::RunProps OdtStyles::textProps(StyleScope scope, std::string_view family, const std::string& name) const
{
    std::vector<const Style*> chain;
    for (const Style* s = find(scope, family, name); s && chain.size() < MaxChain;) {
        if (std::find(chain.begin(), chain.end(), s) != chain.end())
            break;
        chain.push_back(s);
        // An automatic style's parent is a common style.
        auto it = m_common.find({s->family, s->parent});
        s = s->parent.empty() || it == m_common.end() ? nullptr : &it->second;
    }
    docx::RunProps out;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        out.overlay((*it)->text);
    return out;
}

docx::ParaProps OdtStyles::paraProps(StyleScope scope, const std::string& name) const
{
    std::vector<const Style*> chain;
    for (const Style* s = find(scope, "paragraph", name); s && chain.size() < MaxChain;) {
        if (std::find(chain.begin(), chain.end(), s) != chain.end())
            break;
        chain.push_back(s);
        auto it = m_common.find({s->family, s->parent});
        s = s->parent.empty() || it == m_common.end() ? nullptr : &it->second;
    }
    docx::ParaProps out = m_defaultPara;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        out.overlay((*it)->para);
    return out;
}

std::string OdtStyles::displayName(StyleScope scope, const std::string& name) const
{
    const Style* s = find(scope, "paragraph", name);
    // Automatic styles are unnamed variants of a common one.
    if (s && (scope == StyleScope::Content ? m_contentAuto : m_stylesAuto).count({"paragraph", name}) &&
        !s->parent.empty())
        if (auto it = m_common.find({"paragraph", s->parent}); it != m_common.end())
            s = &it->second;
    return s ? s->displayName : "Standard";
}

std::string OdtStyles::masterPageOf(StyleScope scope, std::string_view family, const std::string& name) const
{
    const Style* s = find(scope, family, name);
    return s ? s->masterPage : std::string();
}

std::string OdtStyles::listStyleOf(StyleScope scope, const std::string& paragraphStyle) const
{
    size_t guard = 0;
    for (const Style* s = find(scope, "paragraph", paragraphStyle); s && guard++ < MaxChain;) {
        if (!s->listStyle.empty())
            return s->listStyle;
        auto it = m_common.find({s->family, s->parent});
        s = s->parent.empty() || it == m_common.end() ? nullptr : &it->second;
    }
    return {};
}

const ListLevel* OdtStyles::listLevel(const std::string& listStyle, int level) const
{
    auto it = m_lists.find(listStyle);
    if (it == m_lists.end())
        return nullptr;
    return &it->second[static_cast<size_t>(std::clamp(level, 0, 9))];
}

CellProps OdtStyles::cellProps(StyleScope scope, const std::string& name) const
{
    const Style* s = find(scope, "table-cell", name);
    return s ? s->cell : CellProps{};
}

std::optional<Twips> OdtStyles::columnWidth(StyleScope scope, const std::string& name) const
{
    const Style* s = find(scope, "table-column", name);
    return s ? s->columnWidth : std::nullopt;
}

const MasterPage* OdtStyles::masterPage(const std::string& name) const
{
    auto it = m_masters.find(name);
    return it == m_masters.end() ? nullptr : &it->second;
}

} // namespace qm::engine::odt
