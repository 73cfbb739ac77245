// Page layout: paragraphs and tables flowed into columns and pages as Word flows them.
#include "engine/layout/Layout.h"

#include "engine/layout/ChartLayout.h"
#include "engine/layout/PictureLayout.h"
#include "engine/layout/ShapeGeometry.h"
#include "engine/layout/LineBreaker.h"
#include "engine/layout/PagePolicy.h"
#include "engine/layout/TextMeasurer.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace qm::engine::layout {

std::string_view breakReasonName(BreakReason reason)
{
    switch (reason) {
    case BreakReason::Wrap: return "wrap";
    case BreakReason::CharacterWrap: return "char-wrap";
    case BreakReason::ParagraphEnd: return "paragraph";
    case BreakReason::LineBreak: return "line-break";
    case BreakReason::PageBreak: return "page-break";
    case BreakReason::ColumnBreak: return "column-break";
    case BreakReason::SectionBreak: return "section";
    }
    return "?";
}

int64_t LayoutResult::lineCount() const
{
    int64_t n = 0;
    for (const LaidOutPage& page : pages)
        for (const LaidOutLine& line : page.lines)
            n += line.counted ? 1 : 0;
    return n;
}

namespace {

// Vertical positions are kept in whole twips: Word rounds every line's
// height to the twip before stacking lines, which is what makes a page that
// is "almost full" in exact arithmetic take or refuse its last line the way
// Word does (Times New Roman 12 pt: 275.98 twips, laid out as 276 = 13.8 pt).
double roundTwips(double v) { return std::floor(v + 0.5); }

constexpr double Eps = 0.01;
constexpr uint8_t MaxNesting = 32;

// The room beside a square-wrapped floating object below which no line is
// set there and the text passes above and below it: an inch, our own
// threshold (a box as wide as the column leaves none either way).
constexpr double MinRoomBeside = 1440;

// Word's automatic (HTML) paragraph spacing.
constexpr double AutoSpacing = 280;

double spaceBefore(const ParaFormat& pf) { return pf.spaceBeforeAuto ? AutoSpacing : std::max(0, pf.spaceBefore); }
double spaceAfter(const ParaFormat& pf) { return pf.spaceAfterAuto ? AutoSpacing : std::max(0, pf.spaceAfter); }

// The gap between two paragraphs is the larger of the first one's space
// after and the second one's space before, not their sum: Word's pages show
// a 10 pt space after followed by a 24 pt space before as 24 pt.
double betweenParagraphs(double after, double before) { return std::max(after, before); }

// Borders take up room in the flow as Word lays them out. A paragraph's top
// border sits above its first line, `space` points from the text, and its
// bottom border below its last; consecutive paragraphs with the same borders
// and indents share one box (ECMA-376 Part 1, 17.3.1.24 pBdr: the top border
// above the first, the bottom one below the last, the `between` border
// between each two), so only the box's ends, and any between lines, add
// height.
double borderRoom(const BorderLine& b)
{
    return b.present() ? roundTwips(b.thicknessTwips() + 20.0 * b.spacePoints) : 0;
}

bool sameBorderBox(const ParaFormat& a, const ParaFormat& b)
{
    return a.borders == b.borders && a.leftIndent == b.leftIndent && a.rightIndent == b.rightIndent &&
           a.tableDepth == b.tableDepth;
}

// The horizontal line between two rows, or above the first (`above` null)
// or below the last (`below` null), as thick as Word draws it. A cell's own
// border wins over the table's, on either side of the edge: a cell that
// sets none removes the table's inside line there. Where the cell above and
// the cell below both set one, the heavier line is drawn (Word's conflict
// rule for adjacent cell borders, ECMA-376 Part 1, 17.4.66 tcBorders).
double horizontalBorder(const TableRowFormat* above, const TableRowFormat* below)
{
    const TableRowFormat& any = below ? *below : *above;
    const TableBorders& table = any.tableBorders;
    const double tableLine = (!above ? table.top : !below ? table.bottom : table.insideH).thicknessTwips();
    const size_t cells =
        std::max<size_t>(1, std::max(below ? below->cells.size() : 0, above ? above->cells.size() : 0));
    double thickest = 0;
    for (size_t c = 0; c < cells; ++c) {
        const std::optional<BorderLine> none;
        const std::optional<BorderLine>& fromAbove =
            above && c < above->cells.size() ? above->cells[c].borders.bottom : none;
        const std::optional<BorderLine>& fromBelow =
            below && c < below->cells.size() ? below->cells[c].borders.top : none;
        if (!fromAbove && !fromBelow)
            thickest = std::max(thickest, tableLine);
        if (fromAbove)
            thickest = std::max(thickest, fromAbove->thicknessTwips());
        if (fromBelow)
            thickest = std::max(thickest, fromBelow->thicknessTwips());
    }
    return thickest;
}

/// The room a row of a table with spacing between its cells takes above and
/// below its cells' margins. Such a table does not share borders between
/// rows: every cell is drawn as its own box, its top and bottom borders
/// both, the cell spacing keeps it from its neighbours on every side, and
/// the table's own frame runs round the outside (ECMA-376 Part 1, 17.4.46
/// tblCellSpacing: "the spacing between adjacent cells and the edges of the
/// table"). A cell that sets no border takes the table's inside line.
struct RowEdges {
    double top = 0;
    double bottom = 0;
};

RowEdges spacedRowEdges(const TableRowFormat& rf, bool first, bool last)
{
    const TableBorders& table = rf.tableBorders;
    double top = 0, bottom = 0;
    for (const TableCellFormat& cell : rf.cells) {
        top = std::max(top, cell.borders.top ? cell.borders.top->thicknessTwips() : table.insideH.thicknessTwips());
        bottom = std::max(bottom, cell.borders.bottom ? cell.borders.bottom->thicknessTwips()
                                                      : table.insideH.thicknessTwips());
    }
    const double spacing = rf.cellSpacing;
    return {spacing + top + (first ? table.top.thicknessTwips() : 0.0),
            spacing + bottom + (last ? table.bottom.thicknessTwips() : 0.0)};
}

/// Lines stacked in a box of fixed width and open height (a cell, a header,
/// a note); y from the box's top, x from its left.
struct Stack {
    std::vector<LaidOutLine> lines;
    double height = 0;
    int64_t counted = 0;
    /// When the range ends in an empty paragraph that stands alone or
    /// after a table: the height without it; -1 otherwise.
    double heightWithoutEmptyLast = -1;
};

/// Whether a stack of paragraphs is a table cell's text, whose first and
/// last paragraphs lose their automatic spacing at its edges.
enum class StackEdges : uint8_t { Open, Cell };

/// One table row ready to place: its lines relative to the row's top-left.
struct RowBox {
    std::vector<LaidOutLine> lines;
    double height = 0;
    /// How much of the row must fit for it to split: in every cell the
    /// first paragraph's lines that may not part (one, two under widow
    /// control, all of a paragraph of three or fewer or kept together).
    double leastPart = 0;
    bool cantSplit = false;
    bool isHeader = false;
};

class Engine {
public:
    Engine(const Document& doc, const LayoutOptions& options, LayoutResult& result)
        : m_doc(doc), m_result(result), m_measurer(doc, options, result.diagnostics), m_breaker(doc, m_measurer)
    {
        for (size_t i = 0; i + 1 < doc.sections.size(); ++i)
            if (doc.sections[i].end > 0)
                m_sectionMarks.push_back(doc.sections[i].end - 1);
        std::sort(m_sectionMarks.begin(), m_sectionMarks.end());
    }

    void layoutMain();
    void useCache(ParagraphCache* cache) { m_breaker.useCache(cache); }
    /// Floating charts as they were placed, for their text (placeChartText).
    const std::vector<FloatingChart>& floatingCharts() const { return m_floatingCharts; }
    /// Floating metafile pictures as they were placed, for their text (placePictureText).
    const std::vector<FloatingPicture>& floatingPictures() const { return m_floatingPictures; }
    Stack stackRange(size_t story, uint32_t from, uint32_t to, double width, uint8_t depth,
                     StackEdges edges = StackEdges::Open);

private:
    /// Whether the section after the current one begins on a new page
    /// (a page break, odd or even page, or other paper).
    bool nextSectionStartsPage() const
    {
        if (m_section + 1 >= m_doc.sections.size())
            return false;
        const SectionFormat& now = m_doc.sections[m_section].format;
        const SectionFormat& next = m_doc.sections[m_section + 1].format;
        if (next.pageWidth != now.pageWidth || next.pageHeight != now.pageHeight)
            return true;
        return next.start == SectionStart::NewPage || next.start == SectionStart::OddPage ||
               next.start == SectionStart::EvenPage;
    }
    /// Whether the main story's paragraph starting at `pos` asks for a page
    /// break before it (false for a table's first cell).
    bool breaksPageBefore(uint32_t pos) const
    {
        const Story& s = m_doc.mainStory();
        if (pos >= s.size())
            return false;
        const uint32_t end = paragraphEnd(0, pos, s.size());
        const ParaFormat& pf = m_doc.paraFormats[s.attrs[end].paraFormat];
        return pf.pageBreakBefore && pf.tableDepth == 0;
    }
    bool isSectionMark(size_t story, uint32_t pos) const
    {
        return story == 0 && std::binary_search(m_sectionMarks.begin(), m_sectionMarks.end(), pos);
    }
    uint32_t paragraphEnd(size_t story, uint32_t pos, uint32_t to) const;
    void addBorderRoom(std::vector<LaidOutLine>& lines, size_t story, uint32_t start, uint32_t mark) const;
    std::vector<RowBox> tableRows(size_t story, const Table& table, double width, uint8_t depth);

    // Pagination of the main story.
    using Region = ColumnArea;
    void startPage(bool firstOfSection);
    void nextColumn(bool overflow);
    void newPage(bool overflow);
    void applySectionStart(size_t section);
    void setColumns(size_t section);
    /// The foot of the room left for body text: the page's body bottom less
    /// the footnotes already placed on the page.
    double bottom() const { return m_bottom - m_noteReserve; }
    double columnHeight() const { return m_bottom - m_regionTop; }
    bool columnEmpty() const { return !m_columnHasContent; }
    void placeLine(LaidOutLine line, double xOffset);
    /// The floating objects anchored in [start, mark] that the text must
    /// pass above or below take their band of the page (see objectBand).
    struct ObjectBox {
        double left = 0, top = 0;
    };
    /// Where a floating object anchored in the paragraph being placed stands.
    ObjectBox objectBox(const InlineObject& o) const;
    void addObjectBands(uint32_t start, uint32_t mark);
    void placeBoxText(const InlineObject& o, const ObjectBox& box);
    void narrowBesideObjects(std::vector<LaidOutLine>& lines, uint32_t start, uint32_t mark);
    /// The first top at or below y where a line of `height` meets no band.
    double clearOfObjects(double y, double height) const;
    void placeParagraph(uint32_t start, uint32_t mark);
    void placeTable(const Table& table);
    double keepChainHeight(uint32_t start);
    const std::vector<LaidOutLine>& linesOf(uint32_t start, uint32_t mark);
    enum class Margin : uint8_t { Header, Footer };
    double headerFooterHeight(int32_t story, double width, std::vector<LaidOutLine>* lines, Margin which);
    struct NoteRoom {
        double all = 0;   ///< the notes' full height, the separator included when it is due
        double least = 0; ///< what must fit on this page: the separator and each note's first line
    };
    NoteRoom footnoteRoom(const LaidOutLine& line, double reserved);
    void reserveFootnotes(const LaidOutLine& line);

    const Document& m_doc;
    LayoutResult& m_result;
    TextMeasurer m_measurer;
    LineBreaker m_breaker;
    std::vector<uint32_t> m_sectionMarks;

    size_t m_section = 0;
    size_t m_pageInSection = 0;
    std::vector<Region> m_columns;
    size_t m_column = 0;
    double m_y = 0;
    double m_regionTop = 0;
    double m_bottom = 0;
    bool m_columnHasContent = false;
    bool m_pageHasContent = false;
    bool m_topByOverflow = false;
    bool m_firstOfSection = false; ///< no paragraph of the current section placed yet
    double m_sectionEndAfter = 0;  ///< the space after of the paragraph that ended the last section
    double m_pendingAfter = 0;
    const ParaFormat* m_prevPara = nullptr;
    // Footnotes: the room the current page's notes take above its bottom,
    // and what of them runs over onto the next page.
    double m_noteReserve = 0;
    double m_noteCarry = 0;
    double m_separatorHeight = -1;
    std::map<std::pair<int32_t, long>, std::pair<double, double>> m_noteHeights; ///< height, first line

    // The stretches of the current page, top to bottom, that wrapped
    // floating objects keep clear of text.
    struct Band {
        double top = 0, bottom = 0;
    };
    std::vector<Band> m_bands;
    /// Objects on this page with text beside them: what they take across
    /// (left and right edges, their distance from the text included).
    struct SideBand {
        double top = 0, bottom = 0, left = 0, right = 0;
    };
    std::vector<SideBand> m_sideBands;
    std::vector<FloatingChart> m_floatingCharts;
    std::vector<FloatingPicture> m_floatingPictures;

    // Lines broken ahead of time (keep-with-next looks at the next paragraph).
    uint32_t m_cachedStart = UINT32_MAX;
    double m_cachedWidth = -1;
    std::vector<LaidOutLine> m_cached;
    std::map<std::pair<int32_t, long>, Stack> m_headerCache;
};

uint32_t Engine::paragraphEnd(size_t story, uint32_t pos, uint32_t to) const
{
    const Story& s = m_doc.stories[story];
    for (uint32_t i = nextLowCharacter(s.text, pos, to); i < to; i = nextLowCharacter(s.text, i + 1, to)) {
        const char16_t c = s.text[i];
        if (c == Ch::ParagraphMark || c == Ch::CellEnd || (c == Ch::PageBreak && isSectionMark(story, i)))
            return i;
    }
    return to - 1;
}

void Engine::addBorderRoom(std::vector<LaidOutLine>& lines, size_t story, uint32_t start, uint32_t mark) const
{
    const Story& s = m_doc.stories[story];
    const ParaFormat& pf = m_doc.paraFormats[s.attrs[mark].paraFormat];
    if (lines.empty() || !pf.borders.any())
        return;
    const BorderJoin join = paragraphBorderJoin(m_doc, story, start, mark);
    const bool joinedAbove = join.above;
    const bool joinedBelow = join.below;
    const double above = joinedAbove ? borderRoom(pf.borders.between) : borderRoom(pf.borders.top);
    const double below = joinedBelow ? 0 : borderRoom(pf.borders.bottom);
    lines.front().height += above;
    lines.front().ascent += above;
    lines.back().height += below;
}

Stack Engine::stackRange(size_t story, uint32_t from, uint32_t to, double width, uint8_t depth, StackEdges edges)
{
    Stack stack;
    if (story >= m_doc.stories.size() || from >= to)
        return stack;
    const Story& s = m_doc.stories[story];
    to = std::min(to, s.size());
    std::vector<Table> tables;
    if (depth < MaxNesting)
        tables = findTables(m_doc, story, from, to, static_cast<uint8_t>(depth + 1));
    size_t nextTable = 0;
    double y = 0;
    double pendingAfter = 0;
    bool lastAfterAuto = false;
    const ParaFormat* prev = nullptr;
    uint32_t pos = from;
    while (pos < to) {
        if (nextTable < tables.size() && pos >= tables[nextTable].start) {
            const Table& t = tables[nextTable++];
            y += pendingAfter;
            pendingAfter = 0;
            for (RowBox& row : tableRows(story, t, width, static_cast<uint8_t>(depth + 1))) {
                for (LaidOutLine& l : row.lines) {
                    l.y += y;
                    stack.counted += l.counted ? 1 : 0;
                    stack.lines.push_back(std::move(l));
                }
                y += row.height;
            }
            pos = std::max(pos + 1, t.end);
            prev = nullptr;
            continue;
        }
        const uint32_t limit = nextTable < tables.size() ? tables[nextTable].start : to;
        const uint32_t mark = paragraphEnd(story, pos, limit);
        const ParaFormat& pf = m_doc.paraFormats[s.attrs[mark].paraFormat];
        std::vector<LaidOutLine> lines = m_breaker.breakParagraph(story, pos, mark, width);
        for (LaidOutLine& l : lines)
            l.height = roundTwips(l.height);
        addBorderRoom(lines, story, pos, mark);
        if (!lines.empty()) {
            // An empty last paragraph with nothing above it but a table, or
            // nothing at all: what the range measures without it.
            if (pos == mark && mark + 1 >= to && !prev)
                stack.heightWithoutEmptyLast = y;
            // Automatic (HTML) spacing is dropped at a cell's top and bottom
            // edges: Word puts the first paragraph of a cell against the
            // cell's top margin and the cell's bottom margin right under the
            // last, whatever 14 pt the paragraphs ask for there. Spacing
            // given in points stays.
            const bool firstInCell = edges == StackEdges::Cell && y == 0 && stack.lines.empty();
            double before = firstInCell && pf.spaceBeforeAuto ? 0.0 : spaceBefore(pf);
            if (prev && pf.contextualSpacing && prev->styleName == pf.styleName)
                before = 0;
            if (prev && prev->contextualSpacing && prev->styleName == pf.styleName)
                pendingAfter = 0;
            y += betweenParagraphs(pendingAfter, before);
            for (LaidOutLine& l : lines) {
                l.y = y;
                y += l.height;
                stack.counted += 1;
                stack.lines.push_back(std::move(l));
            }
            pendingAfter = spaceAfter(pf);
            lastAfterAuto = pf.spaceAfterAuto;
            prev = &pf;
        }
        pos = mark + 1;
    }
    if (edges == StackEdges::Cell && lastAfterAuto && prev)
        pendingAfter = 0;
    stack.height = y + pendingAfter;
    return stack;
}

// The width of the widest word of [start, end) of a story: what a line
// cannot be narrower than without breaking a word between characters.
double widestWord(const Document& doc, TextMeasurer& measurer, size_t story, uint32_t start, uint32_t end,
                  uint8_t depth)
{
    const Story& s = doc.stories[story];
    double widest = 0, word = 0;
    for (uint32_t p = start; p < end && p < s.size(); ++p) {
        const char16_t c = s.text[p];
        if (c == Ch::ParagraphMark || c == Ch::CellEnd) {
            if (doc.paraFormats[s.attrs[p].paraFormat].tableDepth > depth)
                return 0; // a nested table fits itself
            word = 0;
            continue;
        }
        if (c == Ch::Space || c == Ch::Tab || c == Ch::LineBreak || c == Ch::Anchor || c == Ch::Object) {
            word = 0;
            continue;
        }
        word += measurer.width(c, s.attrs[p].charFormat);
        widest = std::max(widest, word);
        if (c == u'-' || c == Ch::OptionalHyphen)
            word = 0; // a line may break after a hyphen
    }
    return widest;
}

std::vector<RowBox> Engine::tableRows(size_t story, const Table& table, double width, uint8_t depth)
{
    static const TableRowFormat fallback;
    // One cell laid out: its lines relative to its row's top-left, and the
    // rows it spans when it starts a vertical merge.
    struct CellBox {
        std::vector<LaidOutLine> lines;
        double height = 0; ///< the text's height, margins left out
        size_t gridColumn = 0;
        size_t rowSpan = 1;
        bool continues = false; ///< a merged cell's continuation: shows nothing of its own
    };
    struct RowWork {
        const TableRowFormat* format = &fallback;
        std::vector<CellBox> cells;
        double topBorder = 0;    ///< room above the cells' top margins
        double bottomBorder = 0; ///< room below the cells' bottom margins
        double height = 0;
    };
    std::vector<RowWork> work(table.rows.size());
    const std::vector<std::vector<double>> fitted = fittedCellWidths(m_doc, m_measurer, story, table, width, depth);
    const TableRowFormat* previous = nullptr;
    for (size_t r = 0; r < table.rows.size(); ++r) {
        const TableRow& row = table.rows[r];
        RowWork& w = work[r];
        if (row.rowFormat >= 0 && static_cast<size_t>(row.rowFormat) < m_doc.rowFormats.size())
            w.format = &m_doc.rowFormats[row.rowFormat];
        const TableRowFormat& rf = *w.format;
        double x = rf.leftIndent - rf.cellMarginLeft;
        const std::vector<double>& widths = fitted[r];
        size_t gridColumn = 0;
        for (size_t c = 0; c < row.cells.size(); ++c) {
            const TableCellFormat* cf = c < rf.cells.size() ? &rf.cells[c] : nullptr;
            CellBox cell;
            cell.gridColumn = gridColumn;
            gridColumn += cf ? static_cast<size_t>(std::max(1, cf->gridSpan)) : 1;
            cell.continues = cf && cf->verticalMerge == VerticalMerge::Continue;
            if (!cell.continues) {
                const double textWidth = std::max(1.0, widths[c] - rf.cellMarginLeft - rf.cellMarginRight);
                Stack stack =
                    stackRange(story, row.cells[c].start, row.cells[c].end + 1, textWidth, depth, StackEdges::Cell);
                cell.height = stack.height;
                // A cell whose end mark is hidden is as tall as its printing
                // text alone (ECMA-376 Part 1, 17.4.21 hideMark: "only
                // printing characters in this cell shall be used to determine
                // the row height"): an empty cell adds nothing but its
                // margins, and neither does the empty paragraph that closes
                // a cell after a table in it. Word's page breaks in an HTML
                // table show both, and show an empty paragraph after text
                // keeping its height. The mark's line stays, with no height.
                if (cf && cf->hideMark && stack.heightWithoutEmptyLast >= 0 && !stack.lines.empty()) {
                    cell.height = stack.heightWithoutEmptyLast;
                    stack.lines.back().y = std::min(stack.lines.back().y, cell.height);
                    stack.lines.back().height = 0;
                }
                cell.lines = std::move(stack.lines);
                for (LaidOutLine& l : cell.lines) {
                    l.x += x + rf.cellMarginLeft;
                    for (LineRun& run : l.runs)
                        run.x += x + rf.cellMarginLeft;
                    l.y += rf.cellMarginTop;
                }
            }
            x += widths[c];
            w.cells.push_back(std::move(cell));
        }
        // The line above the row belongs to it, and the last row carries the
        // table's bottom line too: Word puts rows with 1/2 pt borders 1/2 pt
        // further apart than their text alone would.
        const bool last = r + 1 == table.rows.size();
        if (rf.cellSpacing > 0) {
            const RowEdges edges = spacedRowEdges(rf, r == 0, last);
            w.topBorder = roundTwips(edges.top);
            w.bottomBorder = roundTwips(edges.bottom);
        } else {
            w.topBorder = roundTwips(horizontalBorder(previous, &rf));
            w.bottomBorder = last ? roundTwips(horizontalBorder(&rf, nullptr)) : 0;
        }
        previous = &rf;
    }
    // A cell that starts a vertical merge spans the rows below it whose cell
    // in the same grid column continues the merge (ECMA-376 Part 1, 17.4.85
    // vMerge). Its text runs down through those rows and sets none of their
    // heights alone: the rows take the heights of their other cells, and only
    // when the merged text is taller than all of them together does the last
    // row grow to hold it.
    for (size_t r = 0; r < work.size(); ++r)
        for (CellBox& cell : work[r].cells) {
            if (cell.continues)
                continue;
            const size_t c = static_cast<size_t>(&cell - work[r].cells.data());
            const TableCellFormat* cf = c < work[r].format->cells.size() ? &work[r].format->cells[c] : nullptr;
            if (!cf || cf->verticalMerge != VerticalMerge::Restart)
                continue;
            for (size_t below = r + 1; below < work.size(); ++below) {
                const auto& cells = work[below].cells;
                const bool continued = std::any_of(cells.begin(), cells.end(), [&](const CellBox& b) {
                    return b.continues && b.gridColumn == cell.gridColumn;
                });
                if (!continued)
                    break;
                ++cell.rowSpan;
            }
        }
    auto fixedHeight = [](const TableRowFormat& rf, double height) {
        if (rf.heightRule == RowHeightRule::AtLeast)
            return std::max<double>(height, rf.height);
        if (rf.heightRule == RowHeightRule::Exact && rf.height > 0)
            return static_cast<double>(rf.height);
        return height;
    };
    for (size_t r = 0; r < work.size(); ++r) {
        RowWork& w = work[r];
        const TableRowFormat& rf = *w.format;
        double content = 0;
        for (const CellBox& cell : w.cells)
            if (!cell.continues && cell.rowSpan == 1)
                content = std::max(content, cell.height);
        w.height = roundTwips(
            fixedHeight(rf, w.topBorder + content + rf.cellMarginTop + rf.cellMarginBottom + w.bottomBorder));
    }
    for (size_t r = 0; r < work.size(); ++r)
        for (CellBox& cell : work[r].cells) {
            if (cell.rowSpan < 2)
                continue;
            const size_t last = std::min(work.size(), r + cell.rowSpan) - 1;
            double spanned = 0;
            for (size_t k = r; k <= last; ++k)
                spanned += work[k].height;
            const TableRowFormat& rf = *work[r].format;
            const double needed =
                work[r].topBorder + rf.cellMarginTop + cell.height + rf.cellMarginBottom + work[last].bottomBorder;
            const TableRowFormat& lastFormat = *work[last].format;
            if (needed > spanned && !(lastFormat.heightRule == RowHeightRule::Exact && lastFormat.height > 0))
                work[last].height += roundTwips(needed - spanned);
        }

    // A cell whose text is shorter than its row stands at the row's top,
    // middle or bottom as the cell asks (ECMA-376 Part 1, 17.4.84 vAlign);
    // a merged cell keeps its text at the top.
    for (size_t r = 0; r < work.size(); ++r) {
        const TableRowFormat& rf = *work[r].format;
        const double room =
            work[r].height - work[r].topBorder - rf.cellMarginTop - rf.cellMarginBottom - work[r].bottomBorder;
        for (size_t c = 0; c < work[r].cells.size() && c < rf.cells.size(); ++c) {
            CellBox& cell = work[r].cells[c];
            const CellVerticalAlign align = rf.cells[c].verticalAlign;
            if (cell.continues || cell.rowSpan != 1 || align == CellVerticalAlign::Top || room <= cell.height)
                continue;
            const double shift = (room - cell.height) * (align == CellVerticalAlign::Center ? 0.5 : 1.0);
            for (LaidOutLine& l : cell.lines)
                l.y += shift;
        }
    }

    // Each row's lines: its own cells', and those of merged cells above it
    // that run down into it, moved to be relative to its top.
    std::vector<std::vector<std::vector<LaidOutLine>>> byRowCell(work.size());
    for (size_t r = 0; r < work.size(); ++r)
        byRowCell[r].resize(work[r].cells.size());
    for (size_t r = 0; r < work.size(); ++r)
        for (size_t c = 0; c < work[r].cells.size(); ++c) {
            CellBox& cell = work[r].cells[c];
            for (LaidOutLine& l : cell.lines) {
                l.y += work[r].topBorder;
                size_t target = r;
                double offset = 0;
                while (target + 1 < std::min(work.size(), r + cell.rowSpan) &&
                       l.y - offset >= work[target].height - Eps) {
                    offset += work[target].height;
                    ++target;
                }
                l.y -= offset;
                // Continuation cells hold no text, so the merged lines take
                // the place of the cell in the same grid column.
                size_t slot = c;
                if (target != r)
                    for (size_t k = 0; k < work[target].cells.size(); ++k)
                        if (work[target].cells[k].gridColumn == cell.gridColumn)
                            slot = k;
                if (slot >= byRowCell[target].size())
                    byRowCell[target].resize(slot + 1);
                byRowCell[target][slot].push_back(std::move(l));
            }
        }

    std::vector<RowBox> rows;
    rows.reserve(work.size());
    for (size_t r = 0; r < work.size(); ++r) {
        RowBox box;
        box.cantSplit = work[r].format->cantSplit;
        box.isHeader = work[r].format->isHeader;
        // A row counts as many lines as its fullest cell: the others' lines
        // stand beside those and add none.
        size_t bestCell = 0;
        int64_t bestCount = -1;
        for (size_t c = 0; c < byRowCell[r].size(); ++c) {
            int64_t n = 0;
            for (const LaidOutLine& l : byRowCell[r][c])
                n += l.counted ? 1 : 0;
            if (n > bestCount) {
                bestCount = n;
                bestCell = c;
            }
        }
        for (const std::vector<LaidOutLine>& cellLines : byRowCell[r]) {
            if (cellLines.empty())
                continue;
            size_t n = 0;
            while (n < cellLines.size() && cellLines[n].reason != BreakReason::ParagraphEnd)
                ++n;
            n = std::min(n + 1, cellLines.size());
            const LaidOutLine& last = cellLines[n - 1];
            const Story& s = m_doc.stories[last.story];
            const uint32_t mark = last.end > 0 ? std::min<uint32_t>(last.end - 1, s.size() - 1) : 0;
            const ParaFormat& pf = m_doc.paraFormatOf(s, mark);
            const size_t need = pf.keepLinesTogether ? n : pf.widowControl ? (n <= 3 ? n : 2) : 1;
            box.leastPart = std::max(box.leastPart, cellLines[need - 1].y + cellLines[need - 1].height);
        }
        for (size_t c = 0; c < byRowCell[r].size(); ++c)
            for (LaidOutLine& l : byRowCell[r][c]) {
                if (c != bestCell)
                    l.counted = false;
                box.lines.push_back(std::move(l));
            }
        // Cells are stacked in reading order; the page wants lines by row.
        std::stable_sort(box.lines.begin(), box.lines.end(),
                         [](const LaidOutLine& a, const LaidOutLine& b) { return a.y < b.y - Eps; });
        box.height = work[r].height;
        rows.push_back(std::move(box));
    }
    return rows;
}

double Engine::headerFooterHeight(int32_t story, double width, std::vector<LaidOutLine>* lines, Margin which)
{
    if (story < 0 || static_cast<size_t>(story) >= m_doc.stories.size())
        return 0;
    const auto key = std::make_pair(story, std::lround(width));
    auto it = m_headerCache.find(key);
    if (it == m_headerCache.end())
        it = m_headerCache.emplace(key, stackRange(story, 0, m_doc.stories[story].size(), width, 0)).first;
    if (lines)
        *lines = it->second.lines;
    double height = 0;
    for (const LaidOutLine& l : it->second.lines)
        height = std::max(height, l.y + l.height);
    // A header reaches down to the end of its last paragraph's space after:
    // Word sets the body below that, so a header paragraph with 24 pt after
    // it pushes the text down by those 24 pt too.
    if (which == Margin::Header && !it->second.lines.empty())
        height = std::max(height, it->second.height);
    return height;
}

void Engine::setColumns(size_t section)
{
    const SectionFormat& f = m_doc.sections[section].format;
    m_columns = sectionColumns(f);
    // Only a grid that holds lines sets their pitch.
    m_breaker.setLineGrid(f.gridType != DocGridType::None && f.linePitch > 0 ? double(f.linePitch) : 0.0);
}

void Engine::startPage(bool firstOfSection)
{
    const Section& sec = m_doc.sections[m_section];
    const SectionFormat& f = sec.format;
    if (firstOfSection)
        m_pageInSection = 0;
    else
        ++m_pageInSection;
    LaidOutPage page;
    page.section = static_cast<int32_t>(m_section);
    page.width = f.pageWidth;
    page.height = f.pageHeight;
    const int64_t number = static_cast<int64_t>(m_result.pages.size()) + 1;
    HeaderFooterIndex which = HeaderFooterIndex::Primary;
    if (f.titlePage && m_pageInSection == 0)
        which = HeaderFooterIndex::FirstPage;
    else if (m_doc.settings.evenAndOddHeaders && number % 2 == 0)
        which = HeaderFooterIndex::EvenPages;
    const double left = std::abs(f.marginLeft) + std::max(0, f.gutter);
    const double width = std::max<double>(1.0, f.textWidth());
    int32_t header = m_doc.headerStory(m_section, which);
    int32_t footer = m_doc.footerStory(m_section, which);
    // A first-page or even-page header that is not defined shows nothing
    // when Word is asked for one; the primary one otherwise.
    const double headerHeight = headerFooterHeight(header, width, &page.headerLines, Margin::Header);
    const double footerHeight = headerFooterHeight(footer, width, &page.footerLines, Margin::Footer);
    for (LaidOutLine& l : page.headerLines) {
        l.y += f.headerDistance;
        l.x += left;
        for (LineRun& r : l.runs)
            r.x += left;
    }
    const double footerTop = f.pageHeight - f.footerDistance - footerHeight;
    for (LaidOutLine& l : page.footerLines) {
        l.y += footerTop;
        l.x += left;
        for (LineRun& r : l.runs)
            r.x += left;
    }
    // A header taller than the top margin pushes the body down, a tall
    // footer pushes its bottom up; a negative margin is exact and is not
    // pushed.
    double top = std::abs(f.marginTop);
    if (f.marginTop >= 0 && headerHeight > 0)
        top = std::max(top, f.headerDistance + headerHeight);
    double bottom = f.pageHeight - std::abs(f.marginBottom);
    if (f.marginBottom >= 0 && footerHeight > 0)
        bottom = std::min(bottom, footerTop);
    m_result.pages.push_back(std::move(page));
    m_bands.clear();
    m_sideBands.clear();
    m_regionTop = top;
    m_y = top;
    m_bottom = std::max(bottom, top + 1);
    // Notes continued from the page before stand at this page's foot first,
    // under their separator.
    m_noteReserve = 0;
    if (m_noteCarry > 0) {
        const double room = std::max(0.0, m_bottom - m_regionTop - 1);
        m_noteReserve = std::min(room, m_separatorHeight + m_noteCarry);
        m_noteCarry = 0;
    }
    m_column = 0;
    m_columnHasContent = false;
    m_pageHasContent = false;
    setColumns(m_section);
}

void Engine::newPage(bool overflow)
{
    startPage(false);
    m_topByOverflow = overflow;
}

void Engine::nextColumn(bool overflow)
{
    if (m_column + 1 < m_columns.size()) {
        ++m_column;
        m_y = m_regionTop;
        m_columnHasContent = false;
        m_topByOverflow = overflow;
        return;
    }
    newPage(overflow);
}

void Engine::applySectionStart(size_t section)
{
    const SectionFormat& previous = m_doc.sections[m_section].format;
    m_section = section;
    const SectionFormat& f = m_doc.sections[section].format;
    // A section that does not start a page of its own but sets another
    // paper size or orientation starts one all the same: one page cannot
    // have two sizes. Word prints a continuous break between a landscape
    // and a portrait section as a new page (LibreOffice's Word import turns
    // such breaks into page breaks for the same reason).
    const bool newPaper = f.pageWidth != previous.pageWidth || f.pageHeight != previous.pageHeight;
    const SectionStart start = newPaper && (f.start == SectionStart::Continuous || f.start == SectionStart::NewColumn)
                                   ? SectionStart::NewPage
                                   : f.start;
    switch (start) {
    case SectionStart::Continuous:
        // The new section goes on below the old one on the same page, in its
        // own columns.
        m_regionTop = m_y;
        setColumns(section);
        m_column = 0;
        m_columnHasContent = false;
        return;
    case SectionStart::NewColumn:
        if (m_column + 1 < m_columns.size()) {
            nextColumn(false);
            return;
        }
        break;
    case SectionStart::NewPage: break;
    case SectionStart::EvenPage:
    case SectionStart::OddPage: {
        // The section must start on an odd (even) page: a blank page is
        // printed, and counted, when the next one has the wrong parity.
        const int64_t next = static_cast<int64_t>(m_result.pages.size()) + 1;
        const bool wantOdd = f.start == SectionStart::OddPage;
        if ((next % 2 == 1) != wantOdd)
            startPage(true);
        break;
    }
    }
    startPage(true);
    m_topByOverflow = false;
}

// Footnotes stand at the foot of the page whose text refers to them, under
// a separator, and take that room from the body: a line that refers to a
// note goes on the page only when it fits above its note, or at least above
// the note's first line (the rest continues at the next page's foot, as
// Word continues a long note). The separator is one line of the document's
// normal text (Word's separator paragraph is in the Normal style, single
// spaced). ECMA-376 Part 1, 17.11 footnotes; sections set in columns keep
// their notes out of this reckoning.
Engine::NoteRoom Engine::footnoteRoom(const LaidOutLine& line, double reserved)
{
    NoteRoom room;
    if (line.story != 0 || m_doc.notes.empty() || m_columns.size() != 1)
        return room;
    const Story& s = m_doc.mainStory();
    const double width = m_columns[m_column].width;
    for (uint32_t p = line.start; p < line.end && p < s.size(); ++p) {
        if (s.text[p] != Ch::NoteReference)
            continue;
        const int32_t index = m_doc.charFormats[s.attrs[p].charFormat].noteIndex;
        if (index < 0 || static_cast<size_t>(index) >= m_doc.notes.size())
            continue;
        const Note& note = m_doc.notes[static_cast<size_t>(index)];
        if (note.kind != NoteKind::Footnote || note.story < 0)
            continue;
        const auto key = std::make_pair(index, std::lround(width));
        auto it = m_noteHeights.find(key);
        if (it == m_noteHeights.end()) {
            const Stack stack = stackRange(static_cast<size_t>(note.story), note.start, note.end, width, 0);
            const double first = stack.lines.empty() ? 0.0 : stack.lines.front().y + stack.lines.front().height;
            it = m_noteHeights.emplace(key, std::make_pair(stack.height, first)).first;
        }
        room.all += it->second.first;
        room.least += room.least > 0 ? 0.0 : it->second.second;
    }
    if (room.all > 0 && reserved <= 0) {
        if (m_separatorHeight < 0) {
            const uint32_t mark = paragraphEnd(0, 0, s.size());
            const MeasuredFont& f = m_measurer.font(s.attrs[mark].charFormat);
            m_separatorHeight = roundTwips(f.ascent + f.descent);
        }
        room.all += m_separatorHeight;
        room.least += m_separatorHeight;
    }
    return room;
}

void Engine::reserveFootnotes(const LaidOutLine& line)
{
    const NoteRoom room = footnoteRoom(line, m_noteReserve);
    if (room.all <= 0)
        return;
    m_noteReserve += room.all;
    // What does not fit under the text runs over to the next page.
    const double over = m_y + m_noteReserve - m_bottom;
    if (over > 0) {
        const double kept = std::max(0.0, m_noteReserve - over);
        m_noteCarry += m_noteReserve - kept;
        m_noteReserve = kept;
    }
}

Engine::ObjectBox Engine::objectBox(const InlineObject& o) const
{
    const SectionFormat& f = m_doc.sections[m_section].format;
    const Region& column = m_columns[m_column];
    // Where the object stands across: from its reference's left edge by the
    // offset, or aligned in it (ECMA-376 Part 1 §20.4.2.10).
    const double marginLeft = std::abs(f.marginLeft) + std::max(0, f.gutter);
    double refLeft = column.left, refWidth = column.width;
    if (o.horizontal.from == AnchorFrom::Margin)
        refLeft = marginLeft, refWidth = std::max<double>(1.0, f.textWidth());
    else if (o.horizontal.from == AnchorFrom::Page || o.horizontal.from == AnchorFrom::OtherMargin)
        refLeft = 0, refWidth = f.pageWidth;
    auto place = [](const AnchorAxis& a, double from, double room, double size) {
        switch (a.align) {
        case AnchorAxis::Align::Start: return from;
        case AnchorAxis::Align::Center: return from + (room - size) / 2;
        case AnchorAxis::Align::End: return from + room - size;
        case AnchorAxis::Align::Offset: break;
        }
        return from + a.offset;
    };
    // Where it stands down the page: from the paragraph (or its line)
    // holding the anchor, the top margin or the page's top edge (§20.4.2.11).
    double refTop = m_y, refHeight = 0;
    if (o.vertical.from == AnchorFrom::Margin)
        refTop = std::abs(f.marginTop), refHeight = m_bottom - refTop;
    else if (o.vertical.from == AnchorFrom::Page || o.vertical.from == AnchorFrom::OtherMargin)
        refTop = 0, refHeight = f.pageHeight;
    return {place(o.horizontal, refLeft, refWidth, o.width), place(o.vertical, refTop, refHeight, o.height)};
}

void Engine::addObjectBands(uint32_t start, uint32_t mark)
{
    const Story& s = m_doc.mainStory();
    const Region& column = m_columns[m_column];
    for (uint32_t pos = start; pos <= mark && pos < s.size(); ++pos) {
        if (s.text[pos] != Ch::Anchor)
            continue;
        const int32_t index = m_doc.charFormatAt(s, pos).objectIndex;
        if (index < 0 || static_cast<size_t>(index) >= m_doc.objects.size())
            continue;
        const InlineObject& o = m_doc.objects[static_cast<size_t>(index)];
        if (!o.floating || o.height <= 0)
            continue;
        const ObjectBox box = objectBox(o);
        if (o.story >= 0)
            placeBoxText(o, box);
        if (o.chart >= 0)
            m_floatingCharts.push_back({m_result.pages.size() - 1, {box.left, box.top, double(o.width), double(o.height)},
                                        o.chart, static_cast<int16_t>(m_column)});
        if (o.picture >= 0)
            m_floatingPictures.push_back({m_result.pages.size() - 1,
                                          {box.left, box.top, double(o.width), double(o.height)}, o.picture,
                                          static_cast<int16_t>(m_column)});
        if (o.wrap == TextWrap::None)
            continue;
        const double left = box.left - o.distLeft;
        const double right = box.left + o.width + o.distRight;
        // Square, tight and through wrapping set the text beside the object
        // where there is room; where neither side has room for a line the
        // text passes above and below it as top-and-bottom wrapping does.
        const double roomBeside = std::max(left - column.left, column.left + column.width - right);
        if (o.wrap != TextWrap::TopAndBottom && roomBeside >= MinRoomBeside) {
            m_sideBands.push_back({box.top - o.distTop, box.top + o.height + o.distBottom, left, right});
            continue;
        }
        m_bands.push_back({box.top - o.distTop, box.top + o.height + o.distBottom});
    }
}

void Engine::narrowBesideObjects(std::vector<LaidOutLine>& lines, uint32_t start, uint32_t mark)
{
    // Lines beside an object that leaves room take the side with more of
    // it, the object's width and its distance from the text taken off (a
    // picture at the left margin moves them right); lines above or below
    // it keep the column's width.
    const Region& column = m_columns[m_column];
    std::vector<LineBreaker::Cut> cuts;
    for (const SideBand& b : m_sideBands) {
        if (b.bottom <= m_y || b.top >= m_bottom)
            continue;
        LineBreaker::Cut cut;
        cut.top = b.top - m_y;
        cut.bottom = b.bottom - m_y;
        const double roomLeft = b.left - column.left;
        const double roomRight = column.left + column.width - b.right;
        if (roomRight >= roomLeft)
            cut.left = std::max(0.0, b.right - column.left);
        else
            cut.right = std::max(0.0, column.left + column.width - b.left);
        cuts.push_back(cut);
    }
    if (cuts.empty())
        return;
    lines = m_breaker.breakParagraph(0, start, mark, column.width, cuts);
    for (LaidOutLine& l : lines)
        l.height = roundTwips(l.height);
    addBorderRoom(lines, 0, start, mark);
}

void Engine::placeBoxText(const InlineObject& o, const ObjectBox& box)
{
    // A shape's text inside its geometry's text rectangle less its insets
    // (see shapeTextArea), anchored at the rectangle's top, middle or
    // bottom; what does not fit is cut off, as Word shows it.
    if (static_cast<size_t>(o.story) >= m_doc.stories.size())
        return;
    const ShapeTextLayout& shape = o.textLayout;
    const TextRect area = shapeTextArea(shape, o.width, o.height);
    if (area.width() <= 0)
        return;
    // Text that does not wrap is laid out as long as it runs; a centred or
    // right-aligned line is then centred on or set against the rectangle.
    constexpr double Unwrapped = 31680; // 22 inches, Word's widest page
    const double width = shape.wrap ? area.width() : std::max(area.width(), Unwrapped);
    const size_t storyIndex = static_cast<size_t>(o.story);
    const Story& story = m_doc.stories[storyIndex];
    Stack stack = stackRange(storyIndex, 0, story.size(), width, 0);
    size_t kept = 0;
    while (kept < stack.lines.size() && (kept == 0 || stack.lines[kept].y + stack.lines[kept].height <=
                                                          area.height() + Eps))
        ++kept;
    const double used = kept == stack.lines.size() ? stack.height
                        : kept > 0 ? stack.lines[kept - 1].y + stack.lines[kept - 1].height
                                   : 0.0;
    double down = 0;
    if (shape.anchor == ShapeTextLayout::Anchor::Middle)
        down = std::max(0.0, (area.height() - used) / 2);
    else if (shape.anchor == ShapeTextLayout::Anchor::Bottom)
        down = std::max(0.0, area.height() - used);
    for (size_t i = 0; i < kept; ++i) {
        LaidOutLine& l = stack.lines[i];
        double across = box.left + area.left;
        if (width != area.width() && l.end > 0) {
            const uint32_t mark = paragraphEnd(storyIndex, l.start, story.size());
            const Alignment align = m_doc.paraFormatOf(story, mark).alignment;
            if (align == Alignment::Center)
                across += (area.width() - width) / 2;
            else if (align == Alignment::Right)
                across += area.width() - width;
        }
        l.y += box.top + area.top + down;
        l.x += across;
        for (LineRun& r : l.runs)
            r.x += across;
        l.counted = false;
        l.column = static_cast<int16_t>(m_column);
        m_result.pages.back().boxLines.push_back(std::move(l));
    }
}

double Engine::clearOfObjects(double y, double height) const
{
    for (bool moved = !m_bands.empty(); moved;) {
        moved = false;
        for (const Band& b : m_bands)
            if (y < b.bottom - Eps && y + height > b.top + Eps) {
                y = b.bottom;
                moved = true;
            }
    }
    return y;
}

void Engine::placeLine(LaidOutLine line, double xOffset)
{
    line.x += xOffset;
    for (LineRun& r : line.runs)
        r.x += xOffset;
    m_y = clearOfObjects(m_y, line.height);
    line.y = m_y;
    line.column = static_cast<int16_t>(m_column);
    m_y += line.height;
    m_columnHasContent = true;
    m_pageHasContent = true;
    m_result.pages.back().lines.push_back(std::move(line));
}

const std::vector<LaidOutLine>& Engine::linesOf(uint32_t start, uint32_t mark)
{
    const double width = m_columns[m_column].width;
    if (m_cachedStart != start || m_cachedWidth != width) {
        m_cached = m_breaker.breakParagraph(0, start, mark, width);
        for (LaidOutLine& l : m_cached)
            l.height = roundTwips(l.height);
        addBorderRoom(m_cached, 0, start, mark);
        m_cachedStart = start;
        m_cachedWidth = width;
    }
    return m_cached;
}

double Engine::keepChainHeight(uint32_t start)
{
    // Height of the paragraphs kept with their next, and of as much of the
    // paragraph after them as must go along (its first line, or two where
    // widow control forbids a single one at the bottom).
    const Story& s = m_doc.mainStory();
    double height = 0;
    double pendingAfter = 0;
    uint32_t pos = start;
    const double width = m_columns[m_column].width;
    for (int guard = 0; guard < 16 && pos < s.size(); ++guard) {
        if (s.attrs[pos].paraFormat != 0 && m_doc.paraFormats[s.attrs[pos].paraFormat].tableDepth > 0)
            break;
        const uint32_t mark = paragraphEnd(0, pos, s.size());
        const ParaFormat& pf = m_doc.paraFormats[s.attrs[mark].paraFormat];
        if (pf.tableDepth > 0)
            break;
        std::vector<LaidOutLine> lines = m_breaker.breakParagraph(0, pos, mark, width);
        for (LaidOutLine& l : lines)
            l.height = roundTwips(l.height);
        addBorderRoom(lines, 0, pos, mark);
        // Between two paragraphs of the chain the larger of the space after
        // and the space before stands, as when they are placed.
        if (guard > 0)
            height += betweenParagraphs(pendingAfter, spaceBefore(pf));
        const auto hardBreak = std::find_if(lines.begin(), lines.end(), [](const LaidOutLine& l) {
            return l.reason == BreakReason::PageBreak || l.reason == BreakReason::ColumnBreak;
        });
        if (hardBreak != lines.end()) {
            // The chain ends at a manual break: what follows it is on the
            // next page anyway.
            for (auto it = lines.begin(); it <= hardBreak; ++it)
                height += it->height;
            break;
        }
        if (pf.keepWithNext && !isSectionMark(0, mark)) {
            for (const LaidOutLine& l : lines)
                height += l.height;
            pendingAfter = spaceAfter(pf);
            pos = mark + 1;
            continue;
        }
        // The lines the paragraph that ends the chain must have on this
        // page: with widow control two, and all of a paragraph of three or
        // fewer (two and one, or one and two, would leave a widow or an
        // orphan). Word's PDF moves a heading with the three-line paragraph
        // after it, though two of its lines fit under the heading.
        const size_t take = pf.keepLinesTogether                   ? lines.size()
                            : pf.widowControl && lines.size() <= 3 ? lines.size()
                            : pf.widowControl                      ? 2
                                                                   : std::min<size_t>(1, lines.size());
        for (size_t i = 0; i < take && i < lines.size(); ++i)
            height += lines[i].height;
        // The last of those lines may hang its extra leading below the
        // margin, as when it is placed: Word's PDF keeps a heading and two
        // 1.15-spaced lines on a page whose last line ends 1.9 pt past it.
        if (take > 0 && pf.lineRule == LineRule::Auto && pf.lineSpacing > 240)
            height -= lines[std::min(take, lines.size()) - 1].height * (1.0 - 240.0 / pf.lineSpacing);
        break;
    }
    return height;
}

void Engine::placeParagraph(uint32_t start, uint32_t mark)
{
    const ParaFormat& pf = m_doc.paraFormats[m_doc.mainStory().attrs[mark].paraFormat];
    // An empty paragraph that only ends a section makes no page of its own
    // when what follows starts a page anyway (the next section begins on a
    // new page, or its first paragraph asks for a page break before it): at
    // the foot of a full page its mark stays there, and its own page break
    // before is not taken. Word's PDFs show the next section's text on the
    // very next page, and a Word-saved document whose empty heading (page
    // break before) ends a section before a new-page section has no page
    // between them among its rendered page breaks.
    const bool onlySectionEnd = [&] {
        const std::vector<LaidOutLine>& l = linesOf(start, mark);
        return l.size() == 1 && l[0].empty && isSectionMark(0, mark) &&
               (nextSectionStartsPage() || breaksPageBefore(mark + 1));
    }();
    if (pf.pageBreakBefore && m_pageHasContent && !onlySectionEnd)
        newPage(true);
    std::vector<LaidOutLine> lines = linesOf(start, mark);
    if (lines.empty())
        return;
    double before = spaceBefore(pf);
    if (m_prevPara && pf.contextualSpacing && m_prevPara->styleName == pf.styleName)
        before = 0;
    if (m_prevPara && m_prevPara->contextualSpacing && m_prevPara->styleName == pf.styleName)
        m_pendingAfter = 0;

    // A section's first paragraph at the top of the page its section (or
    // its own page break before) starts keeps its space before, less the
    // space after of the paragraph that ended the section before: Word's
    // PDFs show a heading 1 asking for 24 pt before, after a section that
    // ends with 4 pt after, 20 pt below the margin whether the section
    // starts a page or the heading breaks one.
    const bool sectionTop = m_firstOfSection;
    auto spacingHere = [&] {
        if (columnEmpty() && sectionTop && (pf.pageBreakBefore || !m_topByOverflow))
            return std::max(0.0, before - m_sectionEndAfter);
        // Space before is dropped at the top of a page or column reached by
        // overflow, by a page break that ended the paragraph before or by
        // the paragraph's own page break before (Word's PDF of a document
        // whose headings 1 break the page and ask for 24 pt before shows
        // each at the margin, under its top border); it stays on the first
        // page and after a column break.
        if (columnEmpty())
            return m_topByOverflow ? 0.0 : before;
        return betweenParagraphs(m_pendingAfter, before);
    };

    if (!columnEmpty() && !onlySectionEnd) {
        // A manual page or column break inside the paragraph ends what the
        // keeps can hold together: the lines up to it stay on this page when
        // they fit, and the next paragraph is on another page whatever keep
        // with next asks (a heading that starts with a page break does not
        // first move to the next page and then break to a third).
        size_t firstBreak = lines.size();
        for (size_t i = 0; i < lines.size(); ++i)
            if (lines[i].reason == BreakReason::PageBreak || lines[i].reason == BreakReason::ColumnBreak) {
                firstBreak = i;
                break;
            }
        double needed = 0;
        if (firstBreak < lines.size()) {
            if (pf.keepLinesTogether)
                for (size_t i = 0; i <= firstBreak; ++i)
                    needed += lines[i].height;
        } else if (pf.keepWithNext) {
            needed = keepChainHeight(start);
        } else if (pf.keepLinesTogether) {
            for (const LaidOutLine& l : lines)
                needed += l.height;
        }
        if (needed > 0 && m_y + spacingHere() + needed > bottom() + Eps && needed <= columnHeight())
            nextColumn(true);
    }

    m_y += spacingHere();
    m_pendingAfter = 0;
    addObjectBands(start, mark);
    if (!m_sideBands.empty())
        narrowBesideObjects(lines, start, mark);
    const size_t n = lines.size();
    // A bordered box that a page break cuts is opened again at the top of
    // the next page with its border and its distance from the text: Word's
    // PDFs show a code box that goes on over a page starting 3.5 pt below
    // the margin (a 0.5 pt line 3 pt from the text). Where it is closed at
    // the page's foot, that border takes no room of the page: its last line
    // may end at the bottom and the border is drawn below it. Word's PDF of
    // a standards document whose code boxes run over pages ends three such
    // pages with a line 1.5 pt above the footer and the box's border 3.5 pt
    // below that line, over the footer's space before.
    const BorderJoin join = pf.borders.any() ? paragraphBorderJoin(m_doc, 0, start, mark) : BorderJoin{};
    const double boxTop = pf.borders.any() ? borderRoom(pf.borders.top) : 0.0;
    size_t k = 0;
    size_t firstOfParagraphHere = 0;
    while (k < n) {
        if (columnEmpty() && pf.borders.any() && (k > 0 || join.above))
            m_y += boxTop;
        // Lines up to the next hard break, and how many of them fit.
        size_t groupEnd = k;
        while (groupEnd < n && lines[groupEnd].reason != BreakReason::PageBreak &&
               lines[groupEnd].reason != BreakReason::ColumnBreak)
            ++groupEnd;
        groupEnd = std::min(n, groupEnd + 1);
        size_t fit = 0;
        double y = m_y;
        // A line set at a multiple of single spacing takes the page when its
        // single height fits: the extra leading may hang below the bottom
        // margin. Word's PDFs show this (a 1.15-spaced page ends with its
        // last line 1.9 pt past the margin), and the page counts Word stored
        // agree with it more often than with whole lines.
        const double hang = pf.lineRule == LineRule::Auto && pf.lineSpacing > 240 ? 1.0 - 240.0 / pf.lineSpacing : 0.0;
        double reserved = m_noteReserve;
        while (k + fit < groupEnd) {
            y = clearOfObjects(y, lines[k + fit].height);
            const NoteRoom notes = footnoteRoom(lines[k + fit], reserved);
            // A line holding nothing but a page or column break stays at the
            // foot of a full page: it would otherwise make a page that shows
            // nothing before the break starts yet another. A Word-saved
            // document whose heading starts with a page break, after a full
            // page, has its heading on the very next page among its rendered
            // page breaks.
            const bool breakOnly =
                lines[k + fit].empty && (lines[k + fit].reason == BreakReason::PageBreak ||
                                         lines[k + fit].reason == BreakReason::ColumnBreak);
            if (y + lines[k + fit].height * (1.0 - hang) > m_bottom - reserved - notes.least + Eps &&
                !onlySectionEnd && !breakOnly)
                break;
            reserved += notes.all;
            y += lines[k + fit].height;
            ++fit;
        }
        size_t split = k + fit;
        if (split < groupEnd) {
            split = widowOrphanSplit(n, firstOfParagraphHere, split,
                                     pf.widowControl ? WidowControl::On : WidowControl::Off);
            if (split == k && columnEmpty())
                split = k + std::max<size_t>(1, fit); // a line taller than the page still goes somewhere
        }
        for (size_t i = k; i < split; ++i) {
            placeLine(lines[i], m_columns[m_column].left);
            reserveFootnotes(lines[i]);
        }
        k = split;
        if (k < n) {
            const BreakReason r = k > 0 ? lines[k - 1].reason : BreakReason::Wrap;
            if (k > 0 && r == BreakReason::PageBreak && split == groupEnd)
                newPage(false);
            else if (k > 0 && r == BreakReason::ColumnBreak && split == groupEnd)
                nextColumn(false);
            else
                nextColumn(true);
            firstOfParagraphHere = k;
        } else if (lines[n - 1].reason == BreakReason::PageBreak) {
            // The paragraph after a page break that ends this one starts its
            // page at the top margin, without its space before: Word's PDF
            // of a heading with 24 pt before, after a paragraph holding only
            // a page break, shows the heading at the margin on page 2 and 24
            // pt below it on page 1 (the same as at a page reached by
            // overflow).
            newPage(true);
        } else if (lines[n - 1].reason == BreakReason::ColumnBreak) {
            nextColumn(false);
        }
    }
    m_pendingAfter = spaceAfter(pf);
    m_prevPara = &pf;
    m_firstOfSection = false;
}

void Engine::placeTable(const Table& table)
{
    const Region region = m_columns[m_column];
    std::vector<RowBox> rows = tableRows(0, table, region.width, 1);
    m_y += m_pendingAfter;
    m_pendingAfter = 0;
    m_prevPara = nullptr;
    m_firstOfSection = false;
    std::vector<const RowBox*> headers;
    for (const RowBox& row : rows) {
        if (row.isHeader && headers.size() == static_cast<size_t>(&row - rows.data()))
            headers.push_back(&row);
    }
    auto repeatHeaders = [&] {
        for (const RowBox* h : headers) {
            for (LaidOutLine l : h->lines) {
                l.counted = false;
                l.y += m_y;
                l.x += m_columns[m_column].left;
                for (LineRun& r : l.runs)
                    r.x += m_columns[m_column].left;
                l.column = static_cast<int16_t>(m_column);
                m_result.pages.back().lines.push_back(std::move(l));
            }
            m_y += h->height;
        }
    };
    for (size_t r = 0; r < rows.size(); ++r) {
        const RowBox& row = rows[r];
        const bool isRepeatedHeader = r < headers.size();
        double done = 0; // part of the row already placed on earlier pages
        size_t nextLine = 0;
        while (true) {
            const double remaining = row.height - done;
            if (m_y + remaining <= bottom() + Eps ||
                (columnEmpty() && remaining > columnHeight() && row.lines.empty())) {
                for (size_t i = nextLine; i < row.lines.size(); ++i) {
                    LaidOutLine l = row.lines[i];
                    l.y = m_y + (l.y - done);
                    l.x += m_columns[m_column].left;
                    for (LineRun& run : l.runs)
                        run.x += m_columns[m_column].left;
                    l.column = static_cast<int16_t>(m_column);
                    m_result.pages.back().lines.push_back(std::move(l));
                }
                m_y += remaining;
                m_columnHasContent = true;
                m_pageHasContent = true;
                break;
            }
            // The row does not fit: move it whole when it may not split or
            // would fit on the next page, else split it between lines.
            const bool wholeFitsFresh = remaining <= columnHeight() - (isRepeatedHeader ? 0 : 0);
            if (!columnEmpty() && (row.cantSplit || wholeFitsFresh) && done == 0 && (row.cantSplit || nextLine == 0)) {
                // Moving is the common case. Word splits a row that may
                // split only where every cell can leave its first lines on
                // this page, widow control kept (its PDF moves a row whose
                // second cell holds a two-line paragraph when only the
                // first of those lines fits), and only where something is
                // left to carry over: a row whose lines all fit and whose
                // cells' space below them does not moves whole (a one-line
                // row whose 6 pt after would end 0.2 pt past the margin).
                const double avail = bottom() - m_y;
                const bool cellsCanSplit = row.leastPart > 0 && row.leastPart - done <= avail + Eps;
                bool allFit = true;
                for (const LaidOutLine& l : row.lines)
                    if (l.y + l.height - done > avail + Eps)
                        allFit = false;
                if (row.cantSplit || !cellsCanSplit || allFit) {
                    nextColumn(true);
                    if (!isRepeatedHeader)
                        repeatHeaders();
                    continue;
                }
            }
            const double avail = bottom() - m_y;
            double cut = done;
            size_t i = nextLine;
            for (; i < row.lines.size(); ++i) {
                const LaidOutLine& l = row.lines[i];
                if (l.y + l.height - done > avail + Eps)
                    break;
                cut = std::max(cut, l.y + l.height);
            }
            if (i == nextLine && columnEmpty()) {
                // Not even one line fits an empty page: place it anyway.
                cut = row.lines.empty() ? row.height : std::max(done + 1, row.lines[i].y + row.lines[i].height);
                ++i;
            }
            for (size_t k = nextLine; k < i; ++k) {
                LaidOutLine l = row.lines[k];
                l.y = m_y + (l.y - done);
                l.x += m_columns[m_column].left;
                for (LineRun& run : l.runs)
                    run.x += m_columns[m_column].left;
                l.column = static_cast<int16_t>(m_column);
                m_result.pages.back().lines.push_back(std::move(l));
            }
            if (i > nextLine) {
                m_columnHasContent = true;
                m_pageHasContent = true;
            }
            nextLine = i;
            done = std::min(row.height, std::max(cut, done));
            if (nextLine >= row.lines.size()) {
                m_y += std::max(0.0, std::min(avail, row.height - done));
                break;
            }
            done = row.lines[nextLine].y;
            nextColumn(true);
            if (!isRepeatedHeader)
                repeatHeaders();
        }
    }
}

void Engine::layoutMain()
{
    const Story& main = m_doc.mainStory();
    m_section = 0;
    startPage(true);
    m_topByOverflow = false;
    const std::vector<Table> tables = findTables(m_doc, 0, 0, main.size(), 1);
    size_t nextTable = 0;
    uint32_t pos = 0;
    while (pos < main.size()) {
        if (nextTable < tables.size() && pos >= tables[nextTable].start) {
            const Table& t = tables[nextTable++];
            placeTable(t);
            pos = std::max(pos + 1, t.end);
            continue;
        }
        const uint32_t limit = nextTable < tables.size() ? tables[nextTable].start : main.size();
        const uint32_t mark = paragraphEnd(0, pos, limit);
        placeParagraph(pos, mark);
        pos = mark + 1;
        if (isSectionMark(0, mark) && m_section + 1 < m_doc.sections.size()) {
            m_sectionEndAfter = m_pendingAfter;
            m_pendingAfter = 0;
            applySectionStart(m_section + 1);
            m_firstOfSection = true;
        }
    }
}

} // namespace

std::vector<ColumnArea> sectionColumns(const SectionFormat& f)
{
    std::vector<ColumnArea> columns;
    const double left = std::abs(f.marginLeft) + std::max(0, f.gutter);
    const double textWidth = std::max<double>(1.0, f.textWidth());
    const int32_t n = std::clamp(f.columns, 1, 64);
    if (n == 1) {
        columns.push_back({left, textWidth});
        return columns;
    }
    double x = left;
    const double spacing = std::max(0, f.columnSpacing);
    const double equal = std::max(1.0, (textWidth - spacing * (n - 1)) / n);
    for (int32_t i = 0; i < n; ++i) {
        const double w = static_cast<size_t>(i) < f.columnWidths.size() && f.columnWidths[i] > 0
                             ? static_cast<double>(f.columnWidths[i])
                             : equal;
        columns.push_back({x, w});
        x += w + spacing;
    }
    return columns;
}

std::vector<double> rowCellWidths(const TableRowFormat& rf, size_t cellCount, double available)
{
    std::vector<double> widths(cellCount, 0.0), gridWidths(cellCount, 0.0);
    size_t gridColumn = 0;
    double sum = 0, gridSum = 0;
    bool gridCovers = true;
    for (size_t c = 0; c < cellCount; ++c) {
        const TableCellFormat* cf = c < rf.cells.size() ? &rf.cells[c] : nullptr;
        const int32_t span = cf ? std::max(1, cf->gridSpan) : 1;
        double g = 0;
        for (int32_t k = 0; k < span && gridColumn + k < rf.grid.size(); ++k)
            g += rf.grid[gridColumn + k];
        gridCovers = gridCovers && gridColumn + static_cast<size_t>(span) <= rf.grid.size() && g > 0;
        double w = cf ? cf->width : 0;
        if (w <= 0)
            w = g;
        if (w <= 0)
            w = available / static_cast<double>(std::max<size_t>(1, cellCount));
        gridColumn += static_cast<size_t>(span);
        widths[c] = w;
        gridWidths[c] = g;
        sum += w;
        gridSum += g;
    }
    // The preferred width is that of the cells side by side. Where the
    // cells ask for less and the grid already spans the preferred width,
    // the grid holds the columns Word last laid out (a table of two 2400-
    // twip cells at 100% whose grid is 3779 and 5571 prints 3779 and 5571
    // wide in Word's PDF); otherwise the cells widen in proportion.
    const double preferred = rf.preferredWidthPercent ? available * std::min(rf.preferredWidth, 100 * 50) / 5000.0
                                                      : static_cast<double>(rf.preferredWidth);
    if (preferred > sum + 1 && sum > 0) {
        if (gridCovers && std::abs(gridSum - preferred) <= preferred * 0.01)
            return gridWidths;
        for (double& w : widths)
            w *= preferred / sum;
    }
    return widths;
}

BorderJoin paragraphBorderJoin(const Document& doc, size_t story, uint32_t start, uint32_t mark)
{
    BorderJoin join;
    if (story >= doc.stories.size() || mark >= doc.stories[story].size())
        return join;
    const Story& s = doc.stories[story];
    const ParaFormat& pf = doc.paraFormatOf(s, mark);
    if (!pf.borders.any())
        return join;
    // The paragraphs before and after this one, when they end with a plain
    // paragraph mark in the same table cell or outside any table.
    if (start > 0 && s.text[start - 1] == Ch::ParagraphMark)
        join.above = sameBorderBox(doc.paraFormatOf(s, start - 1), pf);
    const bool sectionEnd = story == 0 && doc.isSectionBreak(mark);
    if (s.text[mark] == Ch::ParagraphMark && !sectionEnd && mark + 1 < s.size()) {
        const uint32_t next = doc.paragraphEnd(story, mark + 1);
        if (s.text[next] == Ch::ParagraphMark || s.text[next] == Ch::CellEnd)
            join.below = sameBorderBox(doc.paraFormatOf(s, next), pf);
    }
    return join;
}

LayoutResult layoutDocument(const Document& document, const LayoutOptions& options, ParagraphCache* cache)
{
    LayoutResult result;
    Engine engine(document, options, result);
    engine.useCache(cache);
    engine.layoutMain();
    placeChartText(document, options, result, engine.floatingCharts());
    placePictureText(document, options, result, engine.floatingPictures());
    return result;
}

std::vector<LaidOutLine> layoutStoryLines(const Document& document, size_t story, double width,
                                          const LayoutOptions& options)
{
    LayoutResult scratch;
    Engine engine(document, options, scratch);
    if (story >= document.stories.size())
        return {};
    return engine.stackRange(story, 0, document.stories[story].size(), std::max(1.0, width), 0).lines;
}

int64_t headerFooterLineCount(const Document& document, size_t story, size_t section, const LayoutOptions& options)
{
    if (story >= document.stories.size() || document.sections.empty())
        return 0;
    section = std::min(section, document.sections.size() - 1);
    const double width = std::max<double>(1.0, document.sections[section].format.textWidth());
    int64_t n = 0;
    for (const LaidOutLine& l : layoutStoryLines(document, story, width, options))
        n += l.counted ? 1 : 0;
    return n;
}

std::vector<std::vector<double>> fittedCellWidths(const Document& doc, TextMeasurer& measurer, size_t story,
                                                  const Table& table, double width, uint8_t depth)
{
    static const TableRowFormat fallback;
    auto formatOf = [&](const TableRow& row) -> const TableRowFormat& {
        return row.rowFormat >= 0 && static_cast<size_t>(row.rowFormat) < doc.rowFormats.size()
                   ? doc.rowFormats[row.rowFormat]
                   : fallback;
    };
    std::vector<std::vector<double>> widths;
    for (const TableRow& row : table.rows)
        widths.push_back(rowCellWidths(formatOf(row), row.cells.size(), width));
    // A table fitted to its contents (tblLayout other than "fixed", ECMA-376
    // Part 1 §17.4.53) never breaks a word between characters while its
    // other columns can give room: a column narrower than its widest word
    // is widened to it, and the columns with room to spare give up the
    // difference in proportion to that room. Word's PDF of a table of
    // 1.2" columns shows "/api/auth/login" whole, its column wider than
    // the grid says and the next ones narrower. Rows whose cells span
    // columns keep their widths.
    if (table.rows.empty() || formatOf(table.rows.front()).fixedLayout)
        return widths;
    std::vector<double> least;
    for (size_t r = 0; r < table.rows.size(); ++r) {
        const TableRow& row = table.rows[r];
        const TableRowFormat& rf = formatOf(row);
        if (std::any_of(rf.cells.begin(), rf.cells.end(), [](const TableCellFormat& c) { return c.gridSpan > 1; }))
            continue;
        least.resize(std::max(least.size(), row.cells.size()), 0.0);
        for (size_t c = 0; c < row.cells.size(); ++c) {
            const double word = widestWord(doc, measurer, story, row.cells[c].start, row.cells[c].end + 1, depth);
            if (word > 0)
                least[c] = std::max(least[c], std::ceil(word) + rf.cellMarginLeft + rf.cellMarginRight);
        }
    }
    for (size_t r = 0; r < table.rows.size(); ++r) {
        std::vector<double>& w = widths[r];
        const TableRowFormat& rf = formatOf(table.rows[r]);
        if (std::any_of(rf.cells.begin(), rf.cells.end(), [](const TableCellFormat& c) { return c.gridSpan > 1; }))
            continue;
        double missing = 0, room = 0;
        for (size_t c = 0; c < w.size() && c < least.size(); ++c) {
            if (least[c] > w[c])
                missing += least[c] - w[c];
            else
                room += w[c] - least[c];
        }
        if (missing <= 0 || room <= 0)
            continue;
        const double give = std::min(missing, room);
        for (size_t c = 0; c < w.size() && c < least.size(); ++c) {
            if (least[c] > w[c])
                w[c] = w[c] + (least[c] - w[c]) * give / missing;
            else
                w[c] -= (w[c] - least[c]) * give / room;
        }
    }
    return widths;
}

} // namespace qm::engine::layout
