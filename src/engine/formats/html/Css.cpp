// Declarations and simple-selector rules of CSS, as far as a page's text and fonts need them.
#include "engine/formats/html/Css.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

namespace qm::engine::html {

namespace {

std::string_view trim(std::string_view s)
{
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return s;
}

std::string lower(std::string_view s)
{
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), [](unsigned char c) { return std::tolower(c); });
    return out;
}

// Splits on a separator outside quotes and parentheses.
std::vector<std::string_view> split(std::string_view s, char separator)
{
    std::vector<std::string_view> parts;
    char quote = 0;
    int depth = 0;
    size_t start = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        const char c = s[i];
        if (quote) {
            quote = c == quote ? 0 : quote;
        } else if (c == '"' || c == '\'') {
            quote = c;
        } else if (c == '(') {
            ++depth;
        } else if (c == ')') {
            depth = std::max(0, depth - 1);
        } else if (c == separator && depth == 0) {
            parts.push_back(s.substr(start, i - start));
            start = i + 1;
        }
    }
    parts.push_back(s.substr(start));
    return parts;
}

// The first family of a font-family list, unquoted. Generic families are
// what a browser maps to its defaults; Word does the same with its own.
std::string firstFamily(std::string_view list)
{
    const std::string_view first = trim(split(list, ',').front());
    std::string family(first);
    if (family.size() >= 2 && (family.front() == '"' || family.front() == '\'') && family.back() == family.front())
        family = family.substr(1, family.size() - 2);
    const std::string generic = lower(family);
    if (generic == "serif")
        return "Times New Roman";
    if (generic == "sans-serif")
        return "Arial";
    if (generic == "monospace")
        return "Courier New";
    return family;
}

// Font size keywords as browsers and Word size them, in half points.
bool keywordSize(std::string_view word, uint16_t parent, uint16_t& size)
{
    static constexpr std::pair<std::string_view, uint16_t> sizes[] = {
        {"xx-small", 15}, {"x-small", 20}, {"small", 26},   {"medium", 24},
        {"large", 36},    {"x-large", 48}, {"xx-large", 72}};
    for (const auto& [name, halfPoints] : sizes)
        if (word == name) {
            size = name == "small" ? 20 : halfPoints;
            return true;
        }
    if (word == "smaller" || word == "larger") {
        size = static_cast<uint16_t>(std::lround(parent * (word == "smaller" ? 5.0 / 6.0 : 1.2)));
        return true;
    }
    return false;
}

bool parseFontSize(std::string_view value, uint16_t parent, uint16_t& size)
{
    if (keywordSize(value, parent, size))
        return true;
    double twips = 0;
    if (!parseLength(value, parent * 10.0, twips) || twips <= 0)
        return false;
    // Word keeps font sizes in half points, from 1 to 1638 points.
    size = static_cast<uint16_t>(std::clamp(std::lround(twips / 10.0), 2L, 3276L));
    return true;
}

// The font shorthand: [style] [variant] [weight] size[/line-height] family.
void applyFontShorthand(std::string_view value, Style& style, uint16_t parent)
{
    size_t at = 0;
    while (at < value.size()) {
        const size_t space = value.find(' ', at);
        const std::string_view word = value.substr(at, space == value.npos ? value.npos : space - at);
        const std::string_view size = word.substr(0, word.find('/'));
        if (uint16_t halfPoints = 0; !size.empty() && parseFontSize(size, parent, halfPoints)) {
            style.chars.sizeHalfPoints = halfPoints;
            if (space != value.npos)
                style.chars.fontName = firstFamily(value.substr(space + 1));
            return;
        }
        if (word == "italic" || word == "oblique")
            style.chars.italic = true;
        else if (word == "bold" || word == "bolder" || word == "700" || word == "800" || word == "900")
            style.chars.bold = true;
        else if (word == "small-caps")
            style.chars.smallCaps = true;
        if (space == value.npos)
            return;
        at = space + 1;
    }
}

void applyDeclaration(std::string_view property, std::string_view rawValue, Style& style, uint16_t parent)
{
    const std::string value = lower(trim(rawValue.substr(0, rawValue.find("!important"))));
    const double emTwips = parent * 10.0;
    double twips = 0;
    auto length = [&](Twips& into) {
        if (parseLength(value, emTwips, twips))
            into = static_cast<Twips>(std::lround(twips));
    };
    if (property == "font-family") {
        style.chars.fontName = firstFamily(trim(rawValue));
    } else if (property == "font-size") {
        parseFontSize(value, parent, style.chars.sizeHalfPoints);
    } else if (property == "font-weight") {
        int weight = 0;
        std::from_chars(value.data(), value.data() + value.size(), weight);
        style.chars.bold = value == "bold" || value == "bolder" || weight >= 600;
    } else if (property == "font-style") {
        style.chars.italic = value == "italic" || value == "oblique";
    } else if (property == "font-variant") {
        style.chars.smallCaps = value == "small-caps";
    } else if (property == "font") {
        applyFontShorthand(trim(rawValue), style, parent);
    } else if (property == "text-decoration" || property == "text-decoration-line") {
        if (value.contains("none"))
            style.chars.underline = UnderlineKind::None, style.chars.strike = false;
        if (value.contains("underline"))
            style.chars.underline = UnderlineKind::Single;
        if (value.contains("line-through"))
            style.chars.strike = true;
    } else if (property == "text-underline") { // Word's export: text-underline:double
        style.chars.underline = value == "none"     ? UnderlineKind::None
                                : value == "double" ? UnderlineKind::Double
                                                    : UnderlineKind::Single;
    } else if (property == "text-transform") {
        style.chars.allCaps = value == "uppercase";
    } else if (property == "vertical-align") {
        style.chars.verticalPosition = value == "super" ? VerticalPosition::Superscript
                                       : value == "sub" ? VerticalPosition::Subscript
                                                        : VerticalPosition::Baseline;
    } else if (property == "display") {
        style.displayNone = value == "none";
    } else if (property == "mso-hide") {
        style.displayNone = value == "all";
    } else if (property == "visibility") {
        style.chars.hidden = value == "hidden";
    } else if (property == "white-space") {
        style.preformatted = value.starts_with("pre");
    } else if (property == "text-align") {
        style.block.alignment = value == "center"    ? Alignment::Center
                                : value == "right"   ? Alignment::Right
                                : value == "justify" ? Alignment::Justify
                                                     : Alignment::Left;
    } else if (property == "margin-left" || property == "mso-margin-left-alt") {
        length(style.block.leftIndent);
    } else if (property == "margin-right") {
        length(style.block.rightIndent);
    } else if (property == "margin-top" || property == "mso-margin-top-alt") {
        style.block.spaceBeforeAuto = value == "auto";
        length(style.block.spaceBefore);
    } else if (property == "margin-bottom" || property == "mso-margin-bottom-alt") {
        style.block.spaceAfterAuto = value == "auto";
        length(style.block.spaceAfter);
    } else if (property == "margin") {
        // One to four lengths: top, right, bottom, left as CSS repeats them.
        std::vector<Twips> sides;
        for (size_t at = 0; at < value.size();) {
            const size_t space = value.find(' ', at);
            if (parseLength(value.substr(at, space == value.npos ? value.npos : space - at), emTwips, twips))
                sides.push_back(static_cast<Twips>(std::lround(twips)));
            at = space == value.npos ? value.size() : space + 1;
        }
        if (sides.empty())
            return;
        const Twips right = sides.size() > 1 ? sides[1] : sides[0];
        style.block.spaceBefore = sides[0];
        style.block.rightIndent = right;
        style.block.spaceAfter = sides.size() > 2 ? sides[2] : sides[0];
        style.block.leftIndent = sides.size() > 3 ? sides[3] : right;
    } else if (property == "text-indent") {
        length(style.block.firstLineIndent);
    } else if (property == "page-break-before" || property == "break-before") {
        style.pageBreakBefore = value == "always" || value == "page";
    } else if (property == "mso-list") {
        style.listIgnore = value == "ignore";
        style.msoList = value.starts_with('l') && value.contains("level");
    }
}

} // namespace

bool parseLength(std::string_view text, double emTwips, double& twips)
{
    text = trim(text);
    double number = 0;
    const char* end = text.data() + text.size();
    auto [rest, ec] = std::from_chars(text.data(), end, number);
    if (ec != std::errc() || !std::isfinite(number))
        return false;
    const std::string unit = lower(std::string_view(rest, static_cast<size_t>(end - rest)));
    static constexpr std::pair<std::string_view, double> units[] = {
        {"pt", 20.0}, {"px", 15.0}, {"in", 1440.0}, {"cm", 1440.0 / 2.54}, {"mm", 144.0 / 2.54}, {"pc", 240.0}};
    for (const auto& [name, perUnit] : units)
        if (unit == name) {
            twips = number * perUnit;
            return std::abs(twips) < 1e7;
        }
    if (unit == "em")
        twips = number * emTwips;
    else if (unit == "%")
        twips = number * emTwips / 100.0;
    else if (unit.empty() && number == 0)
        twips = 0;
    else
        return false;
    return std::abs(twips) < 1e7;
}

void applyDeclarations(std::string_view declarations, Style& style, uint16_t parentSizeHalfPoints)
{
    for (std::string_view declaration : split(declarations, ';')) {
        const size_t colon = declaration.find(':');
        if (colon == declaration.npos)
            continue;
        const std::string property = lower(trim(declaration.substr(0, colon)));
        applyDeclaration(property, declaration.substr(colon + 1), style, parentSizeHalfPoints);
    }
}

void StyleSheet::add(std::string_view css)
{
    // Comments go first; "<!--" and "-->" hide a sheet from old browsers.
    std::string text;
    for (size_t i = 0; i < css.size();) {
        if (css.compare(i, 2, "/*") == 0) {
            const size_t end = css.find("*/", i + 2);
            i = end == css.npos ? css.size() : end + 2;
        } else if (css.compare(i, 4, "<!--") == 0) {
            i += 4;
        } else if (css.compare(i, 3, "-->") == 0) {
            i += 3;
        } else {
            text += css[i++];
        }
    }
    size_t at = 0;
    while (at < text.size()) {
        const size_t open = text.find('{', at);
        if (open == text.npos)
            break;
        const std::string_view selectors = trim(std::string_view(text).substr(at, open - at));
        // The block's end, past any nested blocks of an at-rule (@media).
        size_t close = open + 1;
        for (int depth = 1; close < text.size() && depth > 0; ++close)
            depth += text[close] == '{' ? 1 : text[close] == '}' ? -1 : 0;
        const std::string_view body = std::string_view(text).substr(open + 1, close - open - 2);
        at = close;
        if (selectors.starts_with("@page") && m_page.empty())
            m_page = body;
        if (selectors.starts_with('@'))
            continue;
        for (std::string_view selector : split(selectors, ',')) {
            selector = trim(selector);
            if (selector.empty() || selector.find_first_of(" >+~:[*#\t\n") != selector.npos)
                continue;
            const size_t dot = selector.find('.');
            Rule rule;
            rule.element = lower(selector.substr(0, dot));
            rule.cls = dot == selector.npos ? "" : std::string(selector.substr(dot + 1));
            if (rule.cls.contains('.'))
                continue; // two classes at once: left out with the other compound selectors
            rule.declarations = body;
            m_rules.push_back(std::move(rule));
        }
    }
}

SectionFormat StyleSheet::pageSetup() const
{
    SectionFormat page;
    for (std::string_view declaration : split(m_page, ';')) {
        const size_t colon = declaration.find(':');
        if (colon == declaration.npos)
            continue;
        const std::string property = lower(trim(declaration.substr(0, colon)));
        const std::string value = lower(trim(declaration.substr(colon + 1)));
        std::vector<Twips> lengths;
        for (std::string_view word : split(value, ' ')) {
            double twips = 0;
            if (parseLength(word, 240, twips) && twips >= 0 && twips < 31680)
                lengths.push_back(static_cast<Twips>(std::lround(twips)));
        }
        if (lengths.empty())
            continue;
        const Twips second = lengths.size() > 1 ? lengths[1] : lengths[0];
        if (property == "size" && lengths.size() == 2 && lengths[0] > 0 && lengths[1] > 0) {
            page.pageWidth = lengths[0];
            page.pageHeight = lengths[1];
        } else if (property == "margin") {
            page.marginTop = lengths[0];
            page.marginRight = second;
            page.marginBottom = lengths.size() > 2 ? lengths[2] : lengths[0];
            page.marginLeft = lengths.size() > 3 ? lengths[3] : second;
        } else if (property == "margin-top") {
            page.marginTop = lengths[0];
        } else if (property == "margin-bottom") {
            page.marginBottom = lengths[0];
        } else if (property == "margin-left") {
            page.marginLeft = lengths[0];
        } else if (property == "margin-right") {
            page.marginRight = lengths[0];
        } else if (property == "mso-header-margin") {
            page.headerDistance = lengths[0];
        } else if (property == "mso-footer-margin") {
            page.footerDistance = lengths[0];
        }
    }
    return page;
}

void StyleSheet::apply(std::string_view element, std::string_view classes, Style& style,
                       uint16_t parentSizeHalfPoints) const
{
    auto hasClass = [&](const std::string& cls) {
        for (size_t at = 0; at < classes.size();) {
            const size_t space = classes.find_first_of(" \t\r\n", at);
            const std::string_view one = classes.substr(at, space == classes.npos ? classes.npos : space - at);
            // Class names match without regard to case, as in Word's own pages.
            if (lower(one) == lower(cls))
                return true;
            at = space == classes.npos ? classes.size() : space + 1;
        }
        return false;
    };
    for (int pass = 0; pass < 3; ++pass)
        for (const Rule& rule : m_rules) {
            const int kind = rule.cls.empty() ? 0 : rule.element.empty() ? 1 : 2;
            if (kind == pass && (rule.element.empty() || rule.element == element) &&
                (rule.cls.empty() || hasClass(rule.cls)))
                applyDeclarations(rule.declarations, style, parentSizeHalfPoints);
        }
}

} // namespace qm::engine::html
