// Word's style sheet: document defaults, paragraph and character style chains, direct formatting.
#pragma once

#include "engine/model/Formats.h"

#include <pugixml.hpp>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qm::engine::docx {

/// Run properties as written at one level (a style, or direct formatting):
/// unset fields leave the level below in force.
struct RunProps {
    std::optional<std::string> font;
    std::optional<uint16_t> size;
    std::optional<bool> bold, italic, allCaps, smallCaps, strike, doubleStrike, hidden;
    std::optional<UnderlineKind> underline;
    std::optional<VerticalPosition> verticalPosition;
    std::optional<int16_t> spacing;
    std::optional<uint16_t> scale;
    std::optional<uint16_t> kern;
    std::optional<int16_t> position;
    std::optional<uint32_t> color;

    /// Plain inheritance: what `top` sets replaces what this level set.
    void overlay(const RunProps& top);
};

/// Paragraph properties as written at one level.
struct ParaProps {
    std::optional<Alignment> alignment;
    std::optional<Twips> leftIndent, rightIndent, firstLineIndent, spaceBefore, spaceAfter;
    std::optional<bool> spaceBeforeAuto, spaceAfterAuto, contextualSpacing, keepWithNext, keepLinesTogether,
        widowControl, pageBreakBefore;
    std::optional<LineRule> lineRule;
    std::optional<int32_t> lineSpacing;
    std::vector<std::pair<TabStop, bool>> tabs; ///< stops in document order; true: clears an inherited stop
    std::optional<int32_t> numId, level;

    void overlay(const ParaProps& top);
};

/// Theme fonts that rFonts' asciiTheme and hAnsiTheme name.
struct ThemeFonts {
    std::string major = "Calibri Light";
    std::string minor = "Calibri";
};

RunProps parseRunProps(const pugi::xml_node& rPr, const ThemeFonts& theme);
ParaProps parseParaProps(const pugi::xml_node& pPr);
/// Word's on/off value: absent w:val is on; "0", "false" and "off" are off.
bool onOff(const pugi::xml_node& element);
/// An on/off attribute value that is present: "1", "true" or "on".
bool truthy(std::string_view value);

/// The styles part, resolved on demand. Style chains are followed through
/// `basedOn` with cycle and length guards; unknown style ids fall back to the
/// default style of their kind, as Word does.
class Styles {
public:
    Styles() = default;
    void load(const pugi::xml_node& stylesRoot, const ThemeFonts& theme);

    /// The complete character format of a run: document defaults, then the
    /// paragraph style chain, the character style chain and the run's direct
    /// formatting. Bold, italic, caps, small caps, strike, double strike and
    /// hidden are toggles: a style level that turns one on flips it, direct
    /// formatting sets it.
    CharFormat runFormat(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct) const;
    /// The complete paragraph format: defaults, the style chain, then the
    /// numbering level's and the paragraph's own properties.
    ParaFormat paraFormat(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct) const;
    /// The numbering a paragraph style carries (numId and level), if any.
    ParaProps styleParaProps(const std::string& paraStyle) const;

    /// The id of the default paragraph style ("Normal"), for paragraphs without pStyle.
    const std::string& defaultParagraphStyle() const { return m_defaultParagraph; }
    std::string displayName(const std::string& styleId) const;

private:
    struct Style {
        std::string name;
        std::string basedOn;
        bool paragraph = true;
        RunProps run;
        ParaProps para;
    };
    // Each style level's own chain, resolved with plain inheritance.
    RunProps chainRun(const std::string& id, bool paragraph) const;
    ParaProps chainPara(const std::string& id) const;
    const Style* find(const std::string& id, bool paragraph) const;

    RunProps m_defaultRun;
    ParaProps m_defaultPara;
    std::map<std::string, Style> m_styles;
    std::string m_defaultParagraph;
    std::string m_defaultCharacter;
    mutable std::map<std::pair<std::string, bool>, RunProps> m_runCache;
    mutable std::map<std::string, ParaProps> m_paraCache;
};

} // namespace qm::engine::docx
