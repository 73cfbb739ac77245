// Character, paragraph, table-row and section formatting of the document model.
#pragma once

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qm::engine {

/// Lengths in the model are twips (1/20 point) unless a name says otherwise.
using Twips = int32_t;

enum class UnderlineKind : uint8_t { None, Single, Words, Double, Thick, Dotted, Dash, Wave, Other };
enum class VerticalPosition : uint8_t { Baseline, Superscript, Subscript };

/// Colour as 0xRRGGBB; Auto lets the renderer choose (black on white).
inline constexpr uint32_t AutoColor = 0xFF000000u;

/// Formatting of one character, resolved: readers apply styles, toggles and
/// direct formatting before handing a format to the builder.
struct CharFormat {
    std::string fontName;         ///< Latin font family; empty: the document default
    uint16_t sizeHalfPoints = 20; ///< font size in half points
    /// Word keeps three fonts on every run and picks one per character: the
    /// Latin font above, an East Asian font for Han, kana, Hangul and
    /// full-width forms, and a complex-script font, with its own size, for
    /// Arabic, Hebrew, Indic and Thai text. Empty: the document's default
    /// for that script; a complex size of 0: the Latin size.
    std::string eastAsiaFontName;
    std::string complexFontName;
    uint16_t complexSizeHalfPoints = 0;
    bool bold = false;
    bool italic = false;
    bool smallCaps = false;
    bool allCaps = false;
    bool hidden = false; ///< hidden text (w:vanish, \v): not shown, not laid out
    bool strike = false;
    bool doubleStrike = false;
    UnderlineKind underline = UnderlineKind::None;
    VerticalPosition verticalPosition = VerticalPosition::Baseline;
    int16_t spacingTwips = 0;       ///< extra space after each character (condensed < 0)
    uint16_t scalePercent = 100;    ///< horizontal scale
    uint16_t kernMinHalfPoints = 0; ///< kerning from this size on; 0: no kerning
    int16_t positionHalfPoints = 0; ///< raised (> 0) or lowered baseline
    uint32_t color = AutoColor;
    int32_t objectIndex = -1; ///< on an object character (1 or 8): index into Document::objects
    int32_t noteIndex = -1;   ///< on a note reference (2): index into Document::notes

    bool underlined() const { return underline != UnderlineKind::None; }
    auto operator<=>(const CharFormat&) const = default;
};

enum class Alignment : uint8_t { Left, Center, Right, Justify, Distribute };

/// How ParaFormat::lineSpacing is read: Auto in 240ths of a single line
/// (240 single, 360 one and a half, 480 double); AtLeast and Exact in twips.
enum class LineRule : uint8_t { Auto, AtLeast, Exact };

enum class TabAlignment : uint8_t { Left, Center, Right, Decimal, Bar };
enum class TabLeader : uint8_t { None, Dot, Hyphen, Underscore, Heavy, MiddleDot };

struct TabStop {
    Twips position = 0; ///< from the paragraph's text start (the page margin)
    TabAlignment alignment = TabAlignment::Left;
    TabLeader leader = TabLeader::None;
    auto operator<=>(const TabStop&) const = default;
};

enum class BorderStyle : uint8_t { None, Single, Thick, Double, Dotted, Dashed, Triple, ThinThick, Wave, Other };

/// One border line of a paragraph, a table or a cell.
struct BorderLine {
    BorderStyle style = BorderStyle::None;
    uint16_t widthEighths = 0; ///< width of one line in eighths of a point (2 to 96)
    uint16_t spacePoints = 0;  ///< distance from the text in points
    uint32_t color = AutoColor;

    bool present() const { return style != BorderStyle::None && widthEighths > 0; }
    /// Height the border takes up, every line and gap of a compound border
    /// included; 0 when there is none.
    double thicknessTwips() const;
    auto operator<=>(const BorderLine&) const = default;
};

/// The borders of a paragraph. `between` separates paragraphs of one group
/// (consecutive paragraphs with the same borders share one box).
struct ParagraphBorders {
    BorderLine top, left, bottom, right, between;
    bool any() const
    {
        return top.present() || left.present() || bottom.present() || right.present() || between.present();
    }
    auto operator<=>(const ParagraphBorders&) const = default;
};

/// Formatting of one paragraph, resolved. It is attached to the character
/// that ends the paragraph (13, or 7 in a table, or 12 for a section break),
/// as Word keeps it on the paragraph mark.
struct ParaFormat {
    std::string styleName; ///< the paragraph style's display name ("Normal")
    Alignment alignment = Alignment::Left;
    Twips leftIndent = 0;
    Twips rightIndent = 0;
    Twips firstLineIndent = 0; ///< negative for a hanging indent
    Twips spaceBefore = 0;
    Twips spaceAfter = 0;
    bool spaceBeforeAuto = false; ///< HTML-style automatic spacing
    bool spaceAfterAuto = false;
    bool contextualSpacing = false; ///< no space between paragraphs of the same style
    bool suppressAutoHyphens = false; ///< left out of the document's automatic hyphenation
    LineRule lineRule = LineRule::Auto;
    int32_t lineSpacing = 240;
    std::vector<TabStop> tabs; ///< explicit stops in ascending position
    bool keepWithNext = false;
    bool keepLinesTogether = false;
    bool widowControl = true;
    bool pageBreakBefore = false;
    bool rightToLeft = false; ///< a right-to-left paragraph (Arabic, Hebrew): lines start at the right
    bool snapToGrid = true;   ///< lines keep to the section's document grid, where it has one
    ParagraphBorders borders;
    uint32_t shading = AutoColor;     ///< background fill
    std::u16string listLabel;         ///< the list label as shown ("1.", a bullet); empty: none
    int32_t listLabelCharFormat = -1; ///< format of the label; -1: the mark's format
    // Table membership; the builder sets these, readers leave them alone.
    uint8_t tableDepth = 0; ///< 0 outside tables, 1 in a table, 2 nested, ...
    bool rowEnd = false;    ///< on a 7 that ends a table row
    int32_t rowFormat = -1; ///< on a row end: index into Document::rowFormats

    auto operator<=>(const ParaFormat&) const = default;
};

enum class VerticalMerge : uint8_t { None, Restart, Continue };
/// Where a cell's text stands in a row taller than the text.
enum class CellVerticalAlign : uint8_t { Top, Center, Bottom };
enum class RowHeightRule : uint8_t { Auto, AtLeast, Exact };

/// A cell's own borders; an unset side takes the table's.
struct CellBorders {
    std::optional<BorderLine> top, left, bottom, right;
    auto operator<=>(const CellBorders&) const = default;
};

/// A table's borders: its outer edges and the lines between rows and columns.
struct TableBorders {
    BorderLine top, left, bottom, right, insideH, insideV;
    auto operator<=>(const TableBorders&) const = default;
};

struct TableCellFormat {
    Twips width = 0;
    int32_t gridSpan = 1;
    VerticalMerge verticalMerge = VerticalMerge::None;
    CellVerticalAlign verticalAlign = CellVerticalAlign::Top;
    uint32_t shading = AutoColor; ///< fill colour
    CellBorders borders;
    /// The cell's end mark sets no height: an empty cell adds nothing to its
    /// row but its margins.
    bool hideMark = false;
    auto operator<=>(const TableCellFormat&) const = default;
};

/// Properties of one table row, kept on the row's end mark.
struct TableRowFormat {
    std::vector<TableCellFormat> cells;
    std::vector<Twips> grid; ///< the table's column widths, when the format has a grid
    Twips height = 0;
    RowHeightRule heightRule = RowHeightRule::Auto;
    bool cantSplit = false;
    bool isHeader = false; ///< repeated at the top of each page
    Twips leftIndent = 0;
    Twips cellMarginLeft = 108;
    Twips cellMarginRight = 108;
    Twips cellMarginTop = 0;
    Twips cellMarginBottom = 0;
    Twips cellSpacing = 0;
    Alignment alignment = Alignment::Left;
    bool borders = true;       ///< whether cells draw borders (the invoice and printing)
    TableBorders tableBorders; ///< the table's own and its style's borders
    /// The table's preferred width: twips, or fiftieths of a percent of the
    /// text area when `preferredWidthPercent`; 0: none (automatic).
    Twips preferredWidth = 0;
    bool preferredWidthPercent = false;
    /// The table keeps its column widths whatever the cells hold (tblLayout
    /// "fixed"); otherwise it is fitted to its contents.
    bool fixedLayout = false;
    auto operator<=>(const TableRowFormat&) const = default;
};

enum class SectionStart : uint8_t { Continuous, NewColumn, NewPage, EvenPage, OddPage };
enum class DocGridType : uint8_t { None, Lines, LinesAndChars, SnapToChars };

/// Page setup of one section. Defaults are Word's for a new US Letter document.
struct SectionFormat {
    Twips pageWidth = 12240;
    Twips pageHeight = 15840;
    Twips marginTop = 1440;
    Twips marginBottom = 1440;
    Twips marginLeft = 1440;
    Twips marginRight = 1440;
    Twips gutter = 0;
    Twips headerDistance = 720;
    Twips footerDistance = 720;
    bool titlePage = false; ///< a different first-page header and footer
    SectionStart start = SectionStart::NewPage;
    int32_t columns = 1;
    Twips columnSpacing = 720;
    std::vector<Twips> columnWidths; ///< unequal columns; empty when equal
    DocGridType gridType = DocGridType::None;
    Twips linePitch = 0; ///< document grid line pitch

    Twips textWidth() const { return pageWidth - marginLeft - marginRight - gutter; }
    auto operator<=>(const SectionFormat&) const = default;
};

} // namespace qm::engine
