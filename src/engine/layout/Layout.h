// Page layout of a document as Word lays it out: pages, lines, runs, and Word's line statistic.
#pragma once

#include "engine/model/Diagnostic.h"
#include "engine/model/Document.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qm::engine::layout {

/// Why a line ends where it does.
enum class BreakReason : uint8_t {
    Wrap,          ///< the next word did not fit; broken at a space, hyphen or optional hyphen
    CharacterWrap, ///< a word longer than the line, broken between characters
    ParagraphEnd,  ///< the paragraph mark (13), or the last paragraph of a cell (7)
    LineBreak,     ///< a manual line break (11)
    PageBreak,     ///< a manual page break (12 that is not a section break)
    ColumnBreak,   ///< a column break (14)
    SectionBreak,  ///< the paragraph that ends a section
};

std::string_view breakReasonName(BreakReason reason);

/// A stretch of one line in one character format. Positions are twips from
/// the page's left edge (fractional: Word measures text finer than twips).
struct LineRun {
    uint32_t start = 0; ///< first character in the story
    uint32_t end = 0;   ///< one past the last
    double x = 0;
    double width = 0;
    uint32_t charFormat = 0;
};

/// One laid-out line. `start`/`end` cover the story's characters on the line,
/// trailing spaces and the ending mark included; hidden text lies inside the
/// range but has no run.
struct LaidOutLine {
    uint32_t story = 0;
    uint32_t start = 0;
    uint32_t end = 0;
    double x = 0;      ///< left edge of the line's box (column or cell, plus indents)
    double y = 0;      ///< top of the line, twips from the page's top edge
    double width = 0;  ///< advance width of the text, trailing spaces left out
    double height = 0; ///< line pitch, spacing rule applied (space before/after not included)
    double ascent = 0; ///< baseline below y
    BreakReason reason = BreakReason::Wrap;
    uint8_t tableDepth = 0;
    int16_t column = 0;
    /// Counts toward Word's line statistic (see LayoutResult::lineCount).
    bool counted = true;
    /// Whether the line shows anything (an empty paragraph's line does not).
    bool empty = false;
    /// Ends in a word broken by automatic hyphenation: a hyphen is drawn
    /// after the text (its width is in `width`).
    bool hyphenated = false;
    std::u16string label; ///< the list label drawn before the first line's text
    std::vector<LineRun> runs;
};

/// Text drawn on a page that is no line of any story: the titles, axis
/// labels, legends and data labels of charts. Nothing counts it.
struct DrawnText {
    std::u16string text;
    double x = 0;        ///< left edge, twips from the page's left edge
    double top = 0;      ///< top of the glyph box (ascent above the baseline), twips from the page's top
    double baseline = 0; ///< twips from the page's top
    double bottom = 0;   ///< bottom of the glyph box (descent below the baseline)
    uint32_t charFormat = 0; ///< font, size, bold and colour
    int16_t column = 0;
    /// Turned a quarter left, read upwards (a vertical axis's title): x to
    /// the glyph box's right edge across, top to bottom along it, and the
    /// baseline is the box's left edge plus the ascent.
    bool vertical = false;
    double right = 0;
};

/// Where a chart's data stands on a page, for drawing its bars, lines and
/// slices from the cached values: the plot area and the scales the labels
/// were placed by (twips).
struct ChartPlot {
    int32_t chart = -1; ///< index into Document::charts
    double left = 0, top = 0, right = 0, bottom = 0;
    double valueMin = 0, valueMax = 1, valueUnit = 1; ///< the value axis (a scatter's y axis)
    double xMin = 0, xMax = 1;                         ///< a scatter's or bubble chart's x axis
    double cx = 0, cy = 0, radius = 0;                 ///< pies, doughnuts and radar webs
    /// The legend's entries: where each entry's text starts and its middle
    /// height, and the series (a pie's point) whose key stands before it.
    struct LegendKey {
        double textLeft = 0, middle = 0;
        int32_t index = 0;
    };
    std::vector<LegendKey> keys;
};

struct LaidOutPage {
    int32_t section = 0;
    double width = 0; ///< twips
    double height = 0;
    std::vector<LaidOutLine> lines;       ///< body lines in reading order (columns in turn)
    std::vector<LaidOutLine> headerLines; ///< the header shown on this page
    std::vector<LaidOutLine> footerLines;
    std::vector<LaidOutLine> noteLines; ///< footnotes at the bottom of the page
    /// The text of floating text boxes anchored on the page, where the
    /// boxes stand; Word's line statistic leaves it out, so none is counted.
    std::vector<LaidOutLine> boxLines;
    /// Chart text of the objects on the page, where Word prints it, and
    /// where their data is drawn.
    std::vector<DrawnText> drawnText;
    std::vector<ChartPlot> chartPlots;
};

/// Values a document leaves unset; a document's own formats win.
struct LayoutOptions {
    /// The font of characters whose format names none (Word's own fallback).
    std::string defaultFontName = "Times New Roman";
};

/// The laid-out document. Partial never: every character of the main story is
/// placed; fonts that are not installed are substituted and named in
/// `diagnostics`.
struct LayoutResult {
    std::vector<LaidOutPage> pages;
    std::vector<Diagnostic> diagnostics;

    /// Pages as Word numbers them, blank pages inserted for odd/even section
    /// starts included.
    int64_t pageCount() const { return static_cast<int64_t>(pages.size()); }

    /// Word's line statistic: the laid-out lines of the main story. An empty
    /// paragraph is a line; a line ended by a manual line or page break is a
    /// line; a table row counts as many lines as its cell with the most lines
    /// (nested tables inside it counted the same way); headers, footers,
    /// footnotes and text boxes are not counted, nor header rows repeated on
    /// later pages.
    int64_t lineCount() const;
};

/// One column of a section's text area: its left edge from the page's left
/// side and its width, in twips.
struct ColumnArea {
    double left = 0;
    double width = 0;
};

/// The columns a section sets its text in, left to right: the text width
/// shared out equally unless the section gives each column its own width,
/// with the section's spacing between them (1 to 64 columns).
std::vector<ColumnArea> sectionColumns(const SectionFormat& format);

/// Whether a bordered paragraph (from `start` to its mark at `mark`) shares
/// one box with the paragraph before it and with the one after it: Word
/// groups consecutive paragraphs with the same borders and indents, in the
/// same cell or outside any table.
struct BorderJoin {
    bool above = false;
    bool below = false;
};
BorderJoin paragraphBorderJoin(const Document& document, size_t story, uint32_t start, uint32_t mark);

/// The widths of a row's `cellCount` cells in a text area `available` twips
/// wide: each cell's own width, else its grid columns', else an equal share.
/// A table whose preferred width is more than its cells' widths has them
/// widened in proportion, as Word's automatic layout does (a 100% wide table
/// of two 2400-twip cells fills the text width).
std::vector<double> rowCellWidths(const TableRowFormat& row, size_t cellCount, double available);

class TextMeasurer;
/// Each row's cell widths as the layout places them: rowCellWidths, widened
/// where a table fitted to its contents has a word wider than its cell (the
/// drawing takes the same widths as the line breaks).
std::vector<std::vector<double>> fittedCellWidths(const Document& document, TextMeasurer& measurer, size_t story,
                                                  const Table& table, double width, uint8_t depth);

/// Lays out the whole document. A pure function of the document and the
/// options: the document is only read. Safe to call from several threads.
/// Lines of paragraphs already broken, kept from one layout of a document to
/// the next. The measurements lay a document out again after each clean-up
/// edit (blank lines, page breaks removed); a paragraph the edit left as it
/// was, in the same width, breaks the same way, so its lines are taken from
/// here. Keyed on the paragraph's text, formats and width; emptied when a
/// different document comes. Not shared between threads.
class ParagraphCache {
public:
    ParagraphCache();
    ~ParagraphCache();
    ParagraphCache(const ParagraphCache&) = delete;
    ParagraphCache& operator=(const ParagraphCache&) = delete;

    struct Impl;
    Impl& impl() { return *m_impl; }

private:
    std::unique_ptr<Impl> m_impl;
};

LayoutResult layoutDocument(const Document& document, const LayoutOptions& options = {},
                            ParagraphCache* cache = nullptr);

/// Lines of a header or footer story laid out in the text width of section
/// `section` (the width its pages give it), counted as lineCount() counts
/// them. Returns 0 for a story index out of range.
int64_t headerFooterLineCount(const Document& document, size_t story, size_t section,
                              const LayoutOptions& options = {});

/// The lines of one story laid out in `width` twips as one column of endless
/// height (headers, footers, notes, text boxes); y runs from 0.
std::vector<LaidOutLine> layoutStoryLines(const Document& document, size_t story, double width,
                                          const LayoutOptions& options = {});

} // namespace qm::engine::layout
