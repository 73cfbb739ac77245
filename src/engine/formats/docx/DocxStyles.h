// Word's style sheet: document defaults, paragraph and character style chains, direct formatting.
#pragma once

#include "engine/model/Formats.h"

#include <functional>
#include <map>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

namespace qm::engine::docx {

/// Run properties as written at one level (a style, or direct formatting):
/// unset fields leave the level below in force.
struct RunProps {
    std::optional<std::string> font;
    std::optional<uint16_t> size;
    std::optional<std::string> eastAsiaFont, complexFont;
    std::optional<uint16_t> complexSize;
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
    bool operator==(const RunProps&) const = default;
};

/// Paragraph properties as written at one level.
struct ParaProps {
    std::optional<Alignment> alignment;
    std::optional<Twips> leftIndent, rightIndent, firstLineIndent, spaceBefore, spaceAfter;
    std::optional<bool> rightToLeft;
    std::optional<bool> spaceBeforeAuto, spaceAfterAuto, contextualSpacing, keepWithNext, keepLinesTogether,
        widowControl, pageBreakBefore, snapToGrid, suppressAutoHyphens;
    std::optional<LineRule> lineRule;
    std::optional<int32_t> lineSpacing;
    std::vector<std::pair<TabStop, bool>> tabs; ///< stops in document order; true: clears an inherited stop
    std::optional<int32_t> numId, level;
    std::optional<BorderLine> borderTop, borderLeft, borderBottom, borderRight, borderBetween;
    std::optional<uint32_t> shading;

    void overlay(const ParaProps& top);
    bool operator==(const ParaProps&) const = default;
};

/// Table properties a table style or a table sets: borders and cell margins.
struct TableProps {
    std::optional<BorderLine> top, left, bottom, right, insideH, insideV;
    std::optional<Twips> marginTop, marginLeft, marginBottom, marginRight;

    void overlay(const TableProps& top);
    /// Writes what is set into a row format.
    void applyTo(TableRowFormat& row) const;
};

/// The parts of a table a table style may format apart (w:tblStylePr):
/// the header row, the last row, the first and the last column. A table
/// turns each on in its w:tblLook; a cell may be in several.
enum TableCondition : uint8_t {
    FirstRow = 1,
    LastRow = 2,
    FirstColumn = 4,
    LastColumn = 8,
};

/// The table style a cell's text is in, and which of its parts the cell is.
struct TableStyleRef {
    std::string id;
    uint8_t conditions = 0; ///< TableCondition bits
    bool operator==(const TableStyleRef&) const = default;
};

/// What a table style sets for one part of the table.
struct ConditionalProps {
    RunProps run;
    ParaProps para;
    CellBorders borders;
};

/// One border element (w:top, w:bottom, ... of pBdr, tblBorders or
/// tcBorders): its style, width (w:sz, eighths of a point), distance from
/// the text (w:space, points) and colour. "nil" and "none" are no border.
BorderLine parseBorder(const pugi::xml_node& element);
/// The sides a border element (pBdr, tblBorders, tcBorders) names.
enum class BorderSide : uint8_t { Top, Left, Bottom, Right, InsideH, InsideV, Between };
/// Each side a border element sets, with its line ("nil" and "none" read
/// as no line), in document order.
void forEachBorder(const pugi::xml_node& borders, const std::function<void(BorderSide, BorderLine)>& take);
/// The sides `top` sets laid over `onto`; the sides it leaves unset stay.
void overlayBorders(CellBorders& onto, const CellBorders& top);
/// The sides of a tcBorders element.
CellBorders parseCellBorders(const pugi::xml_node& tcBorders);
/// The children of tblBorders (or tcBorders' outer sides) and tblCellMar.
TableProps parseTableProps(const pugi::xml_node& tblPr);
/// A w:shd element's fill, if it is a colour (not "auto").
std::optional<uint32_t> parseShadingFill(const pugi::xml_node& shd);

/// Theme fonts that rFonts' asciiTheme and hAnsiTheme name.
/// The theme's fonts per script. Word's themes leave the East Asian and
/// complex-script typefaces empty and list one font per script instead
/// (<a:font script="Jpan" typeface="..."/>); the document's theme-font
/// languages (w:themeFontLang) choose among them, so the reader resolves
/// them before the styles are read.
struct ThemeFonts {
    std::string major = "Calibri Light";
    std::string minor = "Calibri";
    std::string majorEastAsia, minorEastAsia;
    std::string majorComplex, minorComplex;
};

/// The theme's script tag (Jpan, Hans, Hant, Hang, Arab, Hebr, Thai, ...)
/// for a language tag such as "ja-JP"; empty when the theme has none for it.
std::string_view themeScriptOfLanguage(std::string_view language);

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
    /// In a table, the table style's run properties come first, just above the defaults.
    /// The parts of the table the cell is in (first column, last column,
    /// then first and last row, each over the one before, as Word applies
    /// them) lie over the table style's whole-table properties.
    CharFormat runFormat(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct,
                         const TableStyleRef& tableStyle = {}) const;
    /// The complete paragraph format: defaults, the style chain, then the
    /// numbering level's and the paragraph's own properties.
    /// In a table, the table style's paragraph properties lie between the
    /// defaults and the paragraph style (a grid table's cells lose the
    /// defaults' space after, yet a heading style still adds its own).
    ParaFormat paraFormat(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct,
                          const TableStyleRef& tableStyle = {}) const;
    /// The numbering a paragraph style carries (numId and level), if any.
    ParaProps styleParaProps(const std::string& paraStyle) const;

    /// A table style's borders and cell margins, its chain followed.
    TableProps tableProps(const std::string& tableStyle) const;
    /// The cell borders a table style gives the parts of the table a cell is in.
    CellBorders conditionalBorders(const TableStyleRef& tableStyle) const;

    /// The id of the default paragraph style ("Normal"), for paragraphs without pStyle.
    const std::string& defaultParagraphStyle() const { return m_defaultParagraph; }
    /// The language of text that names none (w:lang of the default run
    /// properties, or of the default paragraph style); empty: unknown.
    const std::string& defaultLanguage() const { return m_defaultLanguage; }
    /// The id of the default table style, for tables without tblStyle.
    const std::string& defaultTableStyle() const { return m_defaultTable; }
    std::string displayName(const std::string& styleId) const;

private:
    CharFormat resolveRun(const std::string& paraStyle, const std::string& charStyle, const RunProps& direct,
                          const TableStyleRef& tableStyle) const;
    ParaFormat resolvePara(const std::string& paraStyle, const ParaProps& numbering, const ParaProps& direct,
                           const TableStyleRef& tableStyle) const;
    enum class Kind : uint8_t { Paragraph, Character, Table };
    struct Style {
        std::string name;
        std::string basedOn;
        Kind kind = Kind::Paragraph;
        RunProps run;
        ParaProps para;
        TableProps table;
        std::map<TableCondition, ConditionalProps> conditional;
    };
    // The properties of the table parts a cell is in, over the style chain;
    // kept like the chains below.
    const ConditionalProps& chainConditional(const TableStyleRef& tableStyle) const;
    // Each style level's own chain, resolved with plain inheritance.
    /// A style's properties with those of the styles it is based on, worked
    /// out once and kept: the reference stays valid while the styles live.
    const RunProps& chainRun(const std::string& id, Kind kind) const;
    const ParaProps& chainPara(const std::string& id, Kind kind) const;
    std::vector<const Style*> chain(const std::string& id, Kind kind) const;
    const Style* find(const std::string& id, Kind kind) const;

    RunProps m_defaultRun;
    ParaProps m_defaultPara;
    std::map<std::string, Style> m_styles;
    std::string m_defaultParagraph;
    std::string m_defaultLanguage;
    std::string m_defaultCharacter;
    std::string m_defaultTable;
    // Asked about for every run and paragraph: hashed, not ordered (an
    // ordered look-up compares ids all the way down its tree).
    struct KeyHash {
        template <typename Second> size_t operator()(const std::pair<std::string, Second>& key) const
        {
            return std::hash<std::string>()(key.first) * 31 + static_cast<size_t>(key.second);
        }
    };
    mutable std::unordered_map<std::pair<std::string, Kind>, RunProps, KeyHash> m_runCache;
    mutable std::unordered_map<std::pair<std::string, Kind>, ParaProps, KeyHash> m_paraCache;
    mutable std::unordered_map<std::pair<std::string, uint8_t>, ConditionalProps, KeyHash> m_conditionalCache;
    // The last run's format and the last paragraph's, with what each was
    // made from: runs and paragraphs next to each other are mostly formatted
    // alike, and comparing what a format is made from costs a fraction of
    // making it (its style chains looked up by name, its fields resolved).
    template <typename Format, typename... Inputs>
    struct Last {
        bool known = false;
        std::tuple<Inputs...> inputs;
        Format format;
        /// The format made from `in`: the one kept when `in` is what it was
        /// made from, else `make()`, kept with `in`.
        template <typename Make>
        const Format& of(Make&& make, const Inputs&... in)
        {
            if (known && inputs == std::tie(in...))
                return format;
            known = false;
            format = make();
            inputs = std::tie(in...);
            known = true;
            return format;
        }
    };
    mutable Last<CharFormat, std::string, std::string, RunProps, TableStyleRef> m_lastRun;
    mutable Last<ParaFormat, std::string, ParaProps, ParaProps, TableStyleRef> m_lastPara;
};

} // namespace qm::engine::docx
