// Style resolution with Word's inheritance and toggle rules.
#include "engine/formats/docx/DocxStyles.h"

#include "engine/formats/docx/XmlPart.h"

#include <algorithm>

namespace qm::engine::docx {

using xml::attr;
using xml::child;
using xml::is;
using xml::value;

namespace {

// Longer basedOn chains than this are cycles or hostile; Word itself stops
// far earlier.
constexpr int MaxChain = 64;

template <class T>
void take(std::optional<T>& into, const std::optional<T>& from)
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

template <class T>
T clampTo(int64_t v, int64_t lo, int64_t hi)
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

bool truthy(std::string_view v)
{
    return v == "1" || v == "true" || v == "on";
}

void RunProps::overlay(const RunProps& top)
{
    take(font, top.font);
    take(size, top.size);
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
    take(lineRule, top.lineRule);
    take(lineSpacing, top.lineSpacing);
    take(numId, top.numId);
    take(level, top.level);
    tabs.insert(tabs.end(), top.tabs.begin(), top.tabs.end());
}

RunProps parseRunProps(const pugi::xml_node& rPr, const ThemeFonts& theme)
{
    RunProps p;
    for (pugi::xml_node e = rPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "rFonts") {
            std::string_view f = value(e, "ascii");
            if (f.empty())
                f = value(e, "hAnsi");
            std::string_view t = value(e, "asciiTheme");
            if (t.empty())
                t = value(e, "hAnsiTheme");
            if (!t.empty())
                p.font = t.starts_with("major") ? theme.major : theme.minor;
            else if (!f.empty())
                p.font = std::string(f);
        } else if (n == "sz") {
            if (auto v = xml::toInt(value(e, "val")))
                p.size = clampTo<uint16_t>(*v, 1, 3276);
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
            p.alignment = (v == "center")                  ? Alignment::Center
                          : (v == "right" || v == "end")   ? Alignment::Right
                          : (v == "both")                  ? Alignment::Justify
                          : (v == "distribute")            ? Alignment::Distribute
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
            if (attr(e, "beforeAutospacing"))
                p.spaceBeforeAuto = truthy(value(e, "beforeAutospacing"));
            if (attr(e, "afterAutospacing"))
                p.spaceAfterAuto = truthy(value(e, "afterAutospacing"));
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
                stop.alignment = v == "center"    ? TabAlignment::Center
                                 : (v == "right" || v == "end") ? TabAlignment::Right
                                 : v == "decimal" ? TabAlignment::Decimal
                                 : v == "bar"     ? TabAlignment::Bar
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
        if (pugi::xml_node rPr = child(child(defaults, "rPrDefault"), "rPr"))
            m_defaultRun = parseRunProps(rPr, theme);
        if (pugi::xml_node pPr = child(child(defaults, "pPrDefault"), "pPr"))
            m_defaultPara = parseParaProps(pPr);
    }
    for (pugi::xml_node s = root.first_child(); s; s = s.next_sibling()) {
        if (!is(s, "style"))
            continue;
        const std::string_view type = value(s, "type");
        if (type != "paragraph" && type != "character")
            continue;
        Style style;
        style.paragraph = type == "paragraph";
        style.name = value(child(s, "name"), "val");
        style.basedOn = value(child(s, "basedOn"), "val");
        if (pugi::xml_node rPr = child(s, "rPr"))
            style.run = parseRunProps(rPr, theme);
        if (pugi::xml_node pPr = child(s, "pPr"))
            style.para = parseParaProps(pPr);
        std::string id(value(s, "styleId"));
        // Paragraph and character styles share one id space in Word; a clash
        // keeps the first, as Word does when it opens such a file.
        if (truthy(value(s, "default"))) {
            if (style.paragraph && m_defaultParagraph.empty())
                m_defaultParagraph = id;
            if (!style.paragraph && m_defaultCharacter.empty())
                m_defaultCharacter = id;
        }
        m_styles.try_emplace(std::move(id), std::move(style));
    }
}

const Styles::Style* Styles::find(const std::string& id, bool paragraph) const
{
    auto it = m_styles.find(id);
    if (it != m_styles.end() && it->second.paragraph == paragraph)
        return &it->second;
    const std::string& fallback = paragraph ? m_defaultParagraph : m_defaultCharacter;
    if (fallback.empty() || fallback == id)
        return nullptr;
    it = m_styles.find(fallback);
    return it != m_styles.end() && it->second.paragraph == paragraph ? &it->second : nullptr;
}

RunProps Styles::chainRun(const std::string& id, bool paragraph) const
{
    auto key = std::make_pair(id, paragraph);
    if (auto it = m_runCache.find(key); it != m_runCache.end())
        return it->second;
    std::vector<const Style*> chain;
    for (const Style* s = find(id, paragraph); s && chain.size() < MaxChain; ) {
        if (std::find(chain.begin(), chain.end(), s) != chain.end())
            break;
        chain.push_back(s);
        auto it = s->basedOn.empty() ? m_styles.end() : m_styles.find(s->basedOn);
        s = it != m_styles.end() && it->second.paragraph == paragraph ? &it->second : nullptr;
    }
    RunProps out;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        out.overlay((*it)->run);
    m_runCache.emplace(key, out);
    return out;
}

ParaProps Styles::chainPara(const std::string& id) const
{
    if (auto it = m_paraCache.find(id); it != m_paraCache.end())
        return it->second;
    std::vector<const Style*> chain;
    for (const Style* s = find(id, true); s && chain.size() < MaxChain; ) {
        if (std::find(chain.begin(), chain.end(), s) != chain.end())
            break;
        chain.push_back(s);
        auto it = s->basedOn.empty() ? m_styles.end() : m_styles.find(s->basedOn);
        s = it != m_styles.end() && it->second.paragraph ? &it->second : nullptr;
    }
    ParaProps out;
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        out.overlay((*it)->para);
    m_paraCache.emplace(id, out);
    return out;
}

ParaProps Styles::styleParaProps(const std::string& paraStyle) const
{
    return chainPara(paraStyle);
}

std::string Styles::displayName(const std::string& styleId) const
{
    const Style* s = find(styleId, true);
    if (!s)
        return "Normal";
    // Word shows its built-in names capitalised ("heading 1" is "Heading 1").
    std::string name = s->name.empty() ? styleId : s->name;
    if (!name.empty() && name[0] >= 'a' && name[0] <= 'z')
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return name;
}

CharFormat Styles::runFormat(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct) const
{
    const RunProps para = chainRun(paraStyle, true);
    const RunProps chars = charStyle.empty() ? RunProps{} : chainRun(charStyle, false);
    RunProps plain = m_defaultRun;
    plain.overlay(para);
    plain.overlay(chars);
    plain.overlay(direct);

    CharFormat f;
    f.fontName = plain.font.value_or("");
    f.sizeHalfPoints = plain.size.value_or(20);
    f.underline = plain.underline.value_or(UnderlineKind::None);
    f.verticalPosition = plain.verticalPosition.value_or(VerticalPosition::Baseline);
    f.spacingTwips = plain.spacing.value_or(0);
    f.scalePercent = plain.scale.value_or(100);
    f.kernMinHalfPoints = plain.kern.value_or(0);
    f.positionHalfPoints = plain.position.value_or(0);
    f.color = plain.color.value_or(AutoColor);

    // A toggle starts from the document default; each style level that turns
    // it on flips it (bold text in a bold heading shows plain); direct
    // formatting is absolute.
    auto toggle = [&](std::optional<bool> RunProps::*field) {
        bool v = (m_defaultRun.*field).value_or(false);
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

ParaFormat Styles::paraFormat(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct) const
{
    ParaProps p = m_defaultPara;
    p.overlay(chainPara(paraStyle));
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
    f.lineRule = p.lineRule.value_or(LineRule::Auto);
    f.lineSpacing = p.lineSpacing.value_or(240);
    f.keepWithNext = p.keepWithNext.value_or(false);
    f.keepLinesTogether = p.keepLinesTogether.value_or(false);
    f.widowControl = p.widowControl.value_or(true);
    f.pageBreakBefore = p.pageBreakBefore.value_or(false);
    // Tab stops accumulate from the bottom level up; a "clear" removes the
    // inherited stop at its position.
    std::vector<TabStop> tabs;
    for (const auto& [stop, clear] : p.tabs) {
        std::erase_if(tabs, [&](const TabStop& t) { return t.position == stop.position; });
        if (!clear)
            tabs.push_back(stop);
    }
    std::sort(tabs.begin(), tabs.end(), [](const TabStop& a, const TabStop& b) { return a.position < b.position; });
    if (tabs.size() > 64)
        tabs.resize(64);
    f.tabs = std::move(tabs);
    return f;
}

} // namespace qm::engine::docx
