// Draws laid-out pages with cairo: text where the layout placed it, in the faces it measured.
#include "render/PageDrawer.h"

#include "engine/access/ScriptRules.h"
#include "render/ChartDrawer.h"
#include "render/FontFaces.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <limits>
#include <numbers>

namespace qm::render {

using namespace engine;
using namespace engine::layout;

namespace {

bool isHighSurrogate(char16_t c) { return c >= 0xD800 && c <= 0xDBFF; }
bool isLowSurrogate(char16_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

// Characters that take room on the line but show no glyph of their own.
bool drawsNothing(char16_t c)
{
    switch (c) {
    case Ch::Object:
    case Ch::CellEnd:
    case Ch::Anchor:
    case Ch::Tab:
    case Ch::LineBreak:
    case Ch::PageBreak:
    case Ch::ParagraphMark:
    case Ch::ColumnBreak:
    case Ch::Space:
    case Ch::NoBreakSpace: return true;
    default: return c < 32 && c != Ch::NonBreakingHyphen && c != Ch::OptionalHyphen && c != Ch::NoteReference;
    }
}

/// "PAGE", " PAGE \* MERGEFORMAT " and the like: the instruction's first word, in any case.
bool isPageField(std::string_view instruction)
{
    const size_t start = instruction.find_first_not_of(' ');
    if (start == std::string_view::npos)
        return false;
    const std::string_view word = instruction.substr(start, instruction.find(' ', start) - start);
    return std::ranges::equal(word, std::string_view("PAGE"),
                              [](char a, char b) { return std::toupper(static_cast<unsigned char>(a)) == b; });
}

bool isBlank(char16_t c) { return c == Ch::Space || c == Ch::Tab || c == Ch::NoBreakSpace || drawsNothing(c); }

void setColour(cairo_t* cr, uint32_t color)
{
    if (color == AutoColor || (color & 0xFF000000u) != 0) {
        cairo_set_source_rgb(cr, 0, 0, 0);
        return;
    }
    cairo_set_source_rgb(cr, ((color >> 16) & 0xFF) / 255.0, ((color >> 8) & 0xFF) / 255.0, (color & 0xFF) / 255.0);
}

// Word's automatic (HTML) paragraph spacing, as the layout takes it.
constexpr double AutoSpacing = 280;
double spaceBefore(const ParaFormat& pf) { return pf.spaceBeforeAuto ? AutoSpacing : std::max(0, pf.spaceBefore); }
double spaceAfter(const ParaFormat& pf) { return pf.spaceAfterAuto ? AutoSpacing : std::max(0, pf.spaceAfter); }

// Borders are half a point wide, as a new Word table draws them.
constexpr double BorderWidth = 10;

// One border line along a stretch, centred on the stretch; compound
// borders are drawn as one line as thick as all of their parts.
void strokeBorder(cairo_t* cr, const BorderLine& b, double x0, double y0, double x1, double y1)
{
    if (!b.present())
        return;
    setColour(cr, b.color);
    cairo_set_line_width(cr, b.thicknessTwips());
    cairo_move_to(cr, x0, y0);
    cairo_line_to(cr, x1, y1);
    cairo_stroke(cr);
}

bool anyBorders(const TableRowFormat& rf)
{
    const TableBorders& t = rf.tableBorders;
    if (t.top.present() || t.bottom.present() || t.left.present() || t.right.present() || t.insideH.present() ||
        t.insideV.present())
        return true;
    for (const TableCellFormat& c : rf.cells)
        if (c.borders.top || c.borders.bottom || c.borders.left || c.borders.right)
            return true;
    return false;
}

/// Glyphs of one face and size collected for one cairo call: a text object
/// per run rather than per character keeps the PDF small.
class GlyphBatch {
public:
    explicit GlyphBatch(cairo_t* cr) : m_cr(cr) {}
    ~GlyphBatch() { flush(); }

    void add(const DrawFace* face, double emX, double emY, unsigned glyph, double x, double y)
    {
        if (face != m_face || emX != m_emX || emY != m_emY)
            flush();
        m_face = face;
        m_emX = emX;
        m_emY = emY;
        m_glyphs.push_back({glyph, x, y});
    }

    void flush()
    {
        if (m_glyphs.empty() || !m_face)
            return;
        cairo_set_font_face(m_cr, m_face->cairo);
        cairo_matrix_t m;
        cairo_matrix_init_scale(&m, m_emX, m_emY);
        cairo_set_font_matrix(m_cr, &m);
        cairo_show_glyphs(m_cr, m_glyphs.data(), static_cast<int>(m_glyphs.size()));
        m_glyphs.clear();
    }

private:
    cairo_t* m_cr;
    const DrawFace* m_face = nullptr;
    double m_emX = 0, m_emY = 0;
    std::vector<cairo_glyph_t> m_glyphs;
};

// Whether the code point at pos shows as an emoji picture.
bool isEmojiAt(const std::u16string& text, uint32_t pos) { return isEmojiPart(codePointAt(text, pos).value); }

// The units from pos that are shaped together, as the layout measured them:
// complex-script letters (with the spaces between them), or an emoji
// sequence; 0 when pos starts neither.
uint32_t shapedStretch(const std::u16string& text, uint32_t pos, uint32_t end)
{
    if (text[pos] < 0x0590)
        return 0;
    const bool emoji = isEmojiAt(text, pos);
    if (!emoji && fontSlotOf(codePointAt(text, pos).value) != FontSlot::Complex)
        return 0;
    uint32_t p = pos;
    while (p < end) {
        const CodePoint cp = codePointAt(text, p);
        const bool complexHere = cp.value >= 0x0590 && fontSlotOf(cp.value) == FontSlot::Complex;
        const bool spaceInside = !emoji && cp.value == Ch::Space && p + 1 < end && text[p + 1] >= 0x0590 &&
                                 fontSlotOf(codePointAt(text, p + 1).value) == FontSlot::Complex;
        if (emoji ? !isEmojiPart(cp.value) : !(complexHere || spaceInside))
            break;
        p += cp.units;
    }
    return std::min(p, end) - pos;
}

} // namespace

PageDrawer::PageDrawer(const Document& document, const LayoutOptions& options)
    : m_document(document), m_options(options), m_measurer(document, m_options, m_diagnostics)
{
}

const std::vector<Table>& PageDrawer::tablesOf(size_t story)
{
    auto it = m_tables.find(story);
    if (it == m_tables.end()) {
        std::vector<Table> tables;
        if (story < m_document.stories.size())
            tables = findTables(m_document, story, 0, m_document.stories[story].size(), 1);
        it = m_tables.emplace(story, std::move(tables)).first;
    }
    return it->second;
}

std::vector<PageDrawer::Area> PageDrawer::columns(int32_t section) const
{
    if (m_document.sections.empty())
        return {};
    const size_t index =
        std::clamp<size_t>(static_cast<size_t>(std::max(0, section)), 0, m_document.sections.size() - 1);
    return sectionColumns(m_document.sections[index].format);
}

std::vector<PageDrawer::CellBox> PageDrawer::tableCells(const LaidOutPage& page, const std::vector<LaidOutLine>& lines,
                                                        size_t story, std::map<const LaidOutLine*, Area>& areas)
{
    std::vector<CellBox> boxes;
    if (story >= m_document.stories.size())
        return boxes;
    const Story& s = m_document.stories[story];
    const std::vector<Area> cols = columns(page.section);
    // Rows are placed one under the other with no gap: the bottom of a row is
    // the top of the next one on the same page, unless the table keeps its
    // cells apart.
    struct RowSpan {
        size_t firstBox = 0;
        size_t boxCount = 0;
        double top = 0;
        double bottom = 0;
        const Table* table = nullptr;
        size_t row = 0;
        bool spaced = false; ///< cells apart from each other: the row does not reach the next one
    };
    std::vector<RowSpan> spans;
    for (const Table& table : tablesOf(story)) {
        // The widths the layout broke the cells' lines in, fitted tables
        // widened as they were; computed once a table, when it is on the page.
        std::vector<std::vector<double>> fitted;
        for (size_t r = 0; r < table.rows.size(); ++r) {
            const TableRow& row = table.rows[r];
            std::vector<const LaidOutLine*> rowLines;
            for (const LaidOutLine& l : lines)
                if (l.story == story && l.start >= row.start && l.start <= row.end)
                    rowLines.push_back(&l);
            if (rowLines.empty())
                continue;
            const TableRowFormat fallback;
            const TableRowFormat& rf =
                row.rowFormat >= 0 && static_cast<size_t>(row.rowFormat) < m_document.rowFormats.size()
                    ? m_document.rowFormats[row.rowFormat]
                    : fallback;
            const size_t col =
                story == 0 ? std::clamp<size_t>(static_cast<size_t>(std::max<int16_t>(0, rowLines.front()->column)), 0,
                                                cols.size() - 1)
                           : 0;
            const Area area = cols.empty() ? Area{} : cols[col];
            const double width =
                story == 0 ? area.width
                           : m_document.sections[std::clamp<size_t>(page.section, 0, m_document.sections.size() - 1)]
                                 .format.textWidth();
            double x = area.left + rf.leftIndent - rf.cellMarginLeft;
            if (fitted.empty())
                fitted = engine::layout::fittedCellWidths(m_document, m_measurer, story, table, width, 1);
            const std::vector<double>& widths = fitted[r];
            double top = std::numeric_limits<double>::max();
            double bottom = std::numeric_limits<double>::lowest();
            RowSpan span;
            span.firstBox = boxes.size();
            span.table = &table;
            span.row = r;
            span.spaced = rf.cellSpacing > 0;
            for (size_t c = 0; c < row.cells.size(); ++c) {
                // Cell widths as the layout takes them: the cell's own, else
                // its grid columns, else an equal share.
                const TableCellFormat* cf = c < rf.cells.size() ? &rf.cells[c] : nullptr;
                const double cellWidth = widths[c];
                const TableCell& cell = row.cells[c];
                const Area textArea{x + rf.cellMarginLeft,
                                    std::max(1.0, cellWidth - rf.cellMarginLeft - rf.cellMarginRight)};
                const LaidOutLine* first = nullptr;
                const LaidOutLine* last = nullptr;
                for (const LaidOutLine* l : rowLines) {
                    if (l->start < cell.start || l->start > cell.end)
                        continue;
                    if (l->tableDepth <= 1)
                        areas[l] = textArea;
                    if (!first || l->y < first->y)
                        first = l;
                    if (!last || l->y + l->height > last->y + last->height)
                        last = l;
                }
                if (first && cell.end < s.size()) {
                    const ParaFormat& firstPf =
                        m_document.paraFormatOf(s, m_document.paragraphEnd(story, first->start));
                    const ParaFormat& lastPf = m_document.paraFormatOf(s, m_document.paragraphEnd(story, last->start));
                    top = std::min(top, first->y - spaceBefore(firstPf) - rf.cellMarginTop);
                    bottom = std::max(bottom, last->y + last->height + spaceAfter(lastPf) + rf.cellMarginBottom);
                }
                // Cells of a table with spacing between them are boxes of
                // their own, the spacing clear on every side.
                const double inset = std::min<double>(rf.cellSpacing, cellWidth / 4);
                CellBox box;
                box.left = x + inset;
                box.width = cellWidth - 2 * inset;
                box.shading = cf ? cf->shading : AutoColor;
                box.continued = cf && cf->verticalMerge == VerticalMerge::Continue;
                box.borders = rf.borders;
                if (anyBorders(rf)) {
                    // A cell's own side, else the table's outer line at the
                    // table's edge and its inside line between cells.
                    const TableBorders& t = rf.tableBorders;
                    const bool firstRow = r == 0, lastRow = r + 1 == table.rows.size();
                    const bool firstCell = c == 0, lastCell = c + 1 == row.cells.size();
                    auto side = [](const std::optional<BorderLine>* own, const BorderLine& table) {
                        return own && *own ? **own : table;
                    };
                    box.ownBorders = true;
                    box.topLine = side(cf ? &cf->borders.top : nullptr, firstRow ? t.top : t.insideH);
                    box.bottomLine = side(cf ? &cf->borders.bottom : nullptr, lastRow ? t.bottom : t.insideH);
                    box.leftLine = side(cf ? &cf->borders.left : nullptr, firstCell ? t.left : t.insideV);
                    box.rightLine = side(cf ? &cf->borders.right : nullptr, lastCell ? t.right : t.insideV);
                }
                boxes.push_back(box);
                x += cellWidth;
            }
            if (top > bottom)
                continue;
            if (rf.heightRule == RowHeightRule::AtLeast)
                bottom = std::max(bottom, top + rf.height);
            else if (rf.heightRule == RowHeightRule::Exact && rf.height > 0)
                bottom = top + rf.height;
            span.boxCount = boxes.size() - span.firstBox;
            span.top = top;
            span.bottom = bottom;
            spans.push_back(span);
        }
    }
    for (size_t i = 0; i < spans.size(); ++i) {
        RowSpan& sp = spans[i];
        if (i + 1 < spans.size() && spans[i + 1].table == sp.table && spans[i + 1].row == sp.row + 1 && !sp.spaced)
            sp.bottom = spans[i + 1].top;
        for (size_t b = sp.firstBox; b < sp.firstBox + sp.boxCount; ++b) {
            boxes[b].top = sp.top;
            boxes[b].bottom = sp.bottom;
        }
    }
    // Cells of rows not on this page were never given a height.
    std::vector<CellBox> placed;
    for (const RowSpan& sp : spans)
        placed.insert(placed.end(), boxes.begin() + static_cast<std::ptrdiff_t>(sp.firstBox),
                      boxes.begin() + static_cast<std::ptrdiff_t>(sp.firstBox + sp.boxCount));
    return placed;
}

void PageDrawer::drawParagraphBorders(cairo_t* cr, const LaidOutLine& line, const Area& area)
{
    if (line.story >= m_document.stories.size())
        return;
    const Story& s = m_document.stories[line.story];
    if (line.start >= s.size())
        return;
    const uint32_t mark = m_document.paragraphEnd(line.story, line.start);
    const ParaFormat& pf = m_document.paraFormatOf(s, mark);
    if (!pf.borders.any())
        return;
    // The box spans the text area between the indents, its side lines
    // `space` points outside the text; its top line lies in the room the
    // layout gave the first line, its bottom line in the last one's.
    uint32_t start = line.start;
    while (start > 0 && !m_document.endsParagraph(line.story, start - 1))
        --start;
    const BorderJoin join = paragraphBorderJoin(m_document, line.story, start, mark);
    const ParagraphBorders& b = pf.borders;
    const double left = area.left + pf.leftIndent - 20.0 * b.left.spacePoints - b.left.thicknessTwips() / 2;
    const double right =
        area.left + area.width - pf.rightIndent + 20.0 * b.right.spacePoints + b.right.thicknessTwips() / 2;
    double top = line.y;
    double bottom = line.y + line.height;
    if (line.start == start) {
        const BorderLine& over = join.above ? b.between : b.top;
        strokeBorder(cr, over, left, top + over.thicknessTwips() / 2, right, top + over.thicknessTwips() / 2);
    }
    if (line.end > mark && !join.below)
        strokeBorder(cr, b.bottom, left, bottom - b.bottom.thicknessTwips() / 2, right,
                     bottom - b.bottom.thicknessTwips() / 2);
    strokeBorder(cr, b.left, left, top, left, bottom);
    strokeBorder(cr, b.right, right, top, right, bottom);
}

void PageDrawer::drawLine(cairo_t* cr, const LaidOutLine& line, const Area* area)
{
    if (line.story >= m_document.stories.size())
        return;
    const Story& s = m_document.stories[line.story];
    if (line.start >= s.size() || s.size() == 0)
        return;
    const uint32_t mark = m_document.paragraphEnd(line.story, line.start);
    const ParaFormat& pf = m_document.paraFormatOf(s, mark);
    const double baseline = line.y + line.ascent;
    GlyphBatch batch(cr);

    auto drawChar = [&](char32_t c, uint32_t format, double x, double yShift) {
        const MeasuredFont& f = m_measurer.font(format);
        if (!f.face)
            return;
        double em = f.scale * f.face->metrics().unitsPerEm;
        if (c < 0x10000 && !f.allCaps && f.smallCaps && hasDisplayCapital(static_cast<char16_t>(c)))
            em *= 0.8; // small capitals at four fifths of the size, as measured
        if ((f.allCaps || f.smallCaps) && c < 0x10000)
            c = displayCapital(static_cast<char16_t>(c));
        const DrawFace* face = drawFaceFor(*f.face);
        unsigned glyph = face ? face->glyph(c) : 0;
        if (glyph == 0 && c < 0x10000) {
            // The layout measured a face that has the character; draw with it.
            if (const Face* fallback = FontCache::instance().fallbackFor(static_cast<char16_t>(c))) {
                face = drawFaceFor(*fallback);
                glyph = face ? face->glyph(c) : 0;
            }
        }
        if (!face || glyph == 0)
            return;
        batch.add(face, em * f.hScale, em, glyph, x, baseline - yShift);
    };

    if (!line.label.empty()) {
        const uint32_t labelFormat =
            pf.listLabelCharFormat >= 0 && static_cast<size_t>(pf.listLabelCharFormat) < m_document.charFormats.size()
                ? static_cast<uint32_t>(pf.listLabelCharFormat)
                : s.attrs[mark].charFormat;
        setColour(cr, m_document.charFormats[labelFormat].color);
        double x = line.x;
        for (char16_t c : line.label) {
            drawChar(c, labelFormat, x, 0);
            x += m_measurer.width(c, labelFormat);
        }
        batch.flush();
    }

    // The last character with ink: spaces after it are not underlined, and
    // a justified line spreads only the spaces before it.
    uint32_t lastInk = line.start;
    bool anyInk = false;
    for (const LineRun& r : line.runs)
        for (uint32_t p = r.start; p < r.end && p < s.size(); ++p)
            if (!isBlank(s.text[p]) || s.text[p] == Ch::Tab) {
                lastInk = p;
                anyInk = true;
            }

    double extraPerSpace = 0;
    const bool justified =
        !pf.rightToLeft &&
        ((pf.alignment == Alignment::Justify &&
          (line.reason == BreakReason::Wrap || line.reason == BreakReason::CharacterWrap)) ||
         (pf.alignment == Alignment::Distribute && line.reason != BreakReason::LineBreak));
    if (justified && area && anyInk) {
        uint32_t spaces = 0;
        uint32_t lastTab = line.start;
        bool tab = false;
        for (const LineRun& r : line.runs)
            for (uint32_t p = r.start; p < r.end && p < s.size(); ++p)
                if (s.text[p] == Ch::Tab) {
                    lastTab = p;
                    tab = true;
                }
        // Text before a tab keeps its place: only spaces after the last tab stretch.
        for (const LineRun& r : line.runs)
            for (uint32_t p = r.start; p < r.end && p < s.size(); ++p)
                if (s.text[p] == Ch::Space && p < lastInk && (!tab || p > lastTab))
                    ++spaces;
        const double free = area->left + area->width - pf.rightIndent - (line.x + line.width);
        if (spaces > 0 && free > 0)
            extraPerSpace = free / spaces;
    }

    double spread = 0; // what justification added so far on the line
    const size_t lastRun = line.runs.empty() ? 0 : line.runs.size() - 1;
    for (size_t ri = 0; ri < line.runs.size(); ++ri) {
        const LineRun& run = line.runs[ri];
        if (run.charFormat >= m_document.charFormats.size() || run.end > s.size() || run.start >= run.end)
            continue;
        const CharFormat& cf = m_document.charFormats[run.charFormat];
        const MeasuredFont& f = m_measurer.font(run.charFormat);
        const uint32_t count = run.end - run.start;
        std::vector<double> widths(count, 0);
        double known = 0;
        uint32_t tabs = 0;
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t p = run.start + i;
            const char16_t c = s.text[p];
            double w = 0;
            switch (c) {
            case Ch::Tab: ++tabs; continue;
            case Ch::ParagraphMark:
            case Ch::CellEnd:
            case Ch::LineBreak:
            case Ch::PageBreak:
            case Ch::ColumnBreak:
            case Ch::Anchor: break;
            case Ch::OptionalHyphen:
                // Shown only where it ends a wrapped line.
                if (ri == lastRun && p + 1 == run.end && line.reason == BreakReason::Wrap)
                    w = m_measurer.width(u'-', run.charFormat);
                break;
            case Ch::NonBreakingHyphen: w = m_measurer.width(u'-', run.charFormat); break;
            case Ch::Object: {
                const int32_t obj = cf.objectIndex;
                if (obj >= 0 && static_cast<size_t>(obj) < m_document.objects.size() &&
                    !m_document.objects[obj].floating)
                    w = m_document.objects[obj].width;
                break;
            }
            case Ch::NoteReference: {
                const uint32_t number = cf.noteIndex >= 0 ? static_cast<uint32_t>(cf.noteIndex) + 1 : 0;
                const uint32_t digits = number >= 100 ? 3 : number >= 10 ? 2 : 1;
                w = digits * m_measurer.width(u'1', run.charFormat);
                break;
            }
            default: w = m_measurer.width(c, run.charFormat); break;
            }
            widths[i] = w;
            known += w;
        }
        // Tabs were sized by the layout; what the run is wider than its
        // characters is theirs (shared out when a run holds several).
        if (tabs > 0) {
            const double each = std::max(0.0, run.width - known) / tabs;
            for (uint32_t i = 0; i < count; ++i)
                if (s.text[run.start + i] == Ch::Tab)
                    widths[i] = each;
        }

        double yShift = cf.positionHalfPoints * 10.0;
        if (cf.verticalPosition == VerticalPosition::Superscript)
            yShift += f.sizeTwips / 3.0;
        else if (cf.verticalPosition == VerticalPosition::Subscript)
            yShift -= f.sizeTwips * 0.14;

        setColour(cr, cf.color);
        struct Segment {
            double from, to;
        };
        std::vector<Segment> underline;
        const bool wordsOnly = cf.underline == UnderlineKind::Words;
        double x = run.x + spread;
        // A page number field's stored result stands for this page's number:
        // the number is drawn in its place, kept to the paragraph's alignment.
        const Field* pageField = nullptr;
        if (m_pageNumber > 0)
            for (const Field& field : m_document.fields)
                if (field.story == static_cast<int32_t>(line.story) && field.start >= run.start &&
                    field.end <= run.end && field.start < field.end && isPageField(field.instruction))
                    pageField = &field;
        for (uint32_t i = 0; i < count; ++i) {
            const uint32_t p = run.start + i;
            const char16_t c = s.text[p];
            double w = widths[i];
            if (pageField && p >= pageField->start && p < pageField->end) {
                if (p == pageField->start) {
                    double stored = 0;
                    for (uint32_t q = pageField->start; q < pageField->end; ++q)
                        stored += widths[q - run.start];
                    const std::string number = std::to_string(m_pageNumber);
                    double wide = 0;
                    for (char d : number)
                        wide += m_measurer.width(static_cast<char16_t>(d), run.charFormat);
                    double dx = x - (pf.alignment == Alignment::Right    ? wide - stored
                                     : pf.alignment == Alignment::Center ? (wide - stored) / 2
                                                                         : 0);
                    for (char d : number) {
                        drawChar(static_cast<char16_t>(d), run.charFormat, dx, yShift);
                        dx += m_measurer.width(static_cast<char16_t>(d), run.charFormat);
                    }
                }
                x += w;
                continue;
            }
            if (c == Ch::Space && extraPerSpace > 0 && p < lastInk)
                w += extraPerSpace;
            // Complex-script text and emoji are drawn as the layout measured
            // them: shaped, a stretch at a time, glyphs in visual order.
            if (const uint32_t length = shapedStretch(s.text, p, run.end); length > 0) {
                double stretch = 0;
                for (uint32_t k = 0; k < length; ++k)
                    stretch += widths[i + k];
                if (m_measurer.shapedWidths(std::u16string_view(s.text).substr(p, length), run.charFormat,
                                            isEmojiAt(s.text, p) ? FontSlot::Latin : FontSlot::Complex,
                                            isEmojiAt(s.text, p), m_shapedWidths)) {
                    stretch = 0;
                    for (double sw : m_shapedWidths)
                        stretch += sw;
                }
                if (m_measurer.shape(std::u16string_view(s.text).substr(p, length), run.charFormat,
                                     isEmojiAt(s.text, p) ? FontSlot::Latin : FontSlot::Complex, isEmojiAt(s.text, p),
                                     m_shaped) &&
                    m_shaped.face) {
                    const DrawFace* face = drawFaceFor(*m_shaped.face);
                    double gx = x;
                    for (const ShapedGlyph& g : m_shaped.glyphs) {
                        if (face && g.glyph != 0)
                            batch.add(face, m_shaped.em * m_shaped.hScale, m_shaped.em, g.glyph, gx + g.xOffset,
                                      baseline - yShift - g.yOffset);
                        gx += g.advance;
                    }
                }
                if (cf.underlined() && p <= lastInk) {
                    if (!underline.empty() && std::abs(underline.back().to - x) < 0.01)
                        underline.back().to = x + stretch;
                    else
                        underline.push_back({x, x + stretch});
                }
                x += stretch;
                i += length - 1;
                continue;
            }
            if (c == Ch::NoteReference && cf.noteIndex >= 0) {
                const std::u16string digits = [&] {
                    std::u16string d;
                    for (char ch : std::to_string(cf.noteIndex + 1))
                        d += static_cast<char16_t>(ch);
                    return d;
                }();
                double dx = x;
                for (char16_t d : digits) {
                    drawChar(d, run.charFormat, dx, yShift);
                    dx += m_measurer.width(u'1', run.charFormat);
                }
            } else if (c == Ch::NonBreakingHyphen || (c == Ch::OptionalHyphen && w > 0)) {
                drawChar(u'-', run.charFormat, x, yShift);
            } else if (isHighSurrogate(c) && i + 1 < count && isLowSurrogate(s.text[p + 1])) {
                const char32_t cp = 0x10000 + ((static_cast<char32_t>(c) - 0xD800) << 10) + (s.text[p + 1] - 0xDC00);
                drawChar(cp, run.charFormat, x, yShift);
            } else if (!drawsNothing(c) && c != Ch::OptionalHyphen && !isLowSurrogate(c)) {
                drawChar(c, run.charFormat, x, yShift);
            }
            const bool inked = !(wordsOnly && isBlank(c)) && p <= lastInk && w > 0;
            if (cf.underlined() && inked) {
                if (!underline.empty() && std::abs(underline.back().to - x) < 0.01)
                    underline.back().to = x + w;
                else
                    underline.push_back({x, x + w});
            }
            x += w;
        }
        // A word broken by automatic hyphenation ends the line with a hyphen.
        if (line.hyphenated && ri == lastRun)
            drawChar(u'-', run.charFormat, x, yShift);
        batch.flush();
        spread = x - (run.x + run.width);

        if ((cf.underlined() && !underline.empty()) || cf.strike || cf.doubleStrike) {
            const DrawFace* face = f.face ? drawFaceFor(*f.face) : nullptr;
            const double em = f.face ? f.scale * f.face->metrics().unitsPerEm : f.sizeTwips;
            const double thickness = std::max(1.0, (face ? face->underlineThickness : 0.05) * em);
            const double y = baseline - yShift;
            cairo_save(cr);
            auto stroke = [&](double x0, double x1, double yy, double width) {
                cairo_set_line_width(cr, width);
                cairo_move_to(cr, x0, yy);
                cairo_line_to(cr, x1, yy);
                cairo_stroke(cr);
            };
            if (cf.underline == UnderlineKind::Dotted) {
                const double dash[] = {thickness, thickness * 2};
                cairo_set_dash(cr, dash, 2, 0);
            } else if (cf.underline == UnderlineKind::Dash) {
                const double dash[] = {thickness * 4, thickness * 3};
                cairo_set_dash(cr, dash, 2, 0);
            }
            const double under = y + (face ? face->underlinePosition : 0.1) * em;
            for (const Segment& seg : underline) {
                switch (cf.underline) {
                case UnderlineKind::Double:
                    stroke(seg.from, seg.to, under - thickness, thickness);
                    stroke(seg.from, seg.to, under + thickness, thickness);
                    break;
                case UnderlineKind::Thick: stroke(seg.from, seg.to, under + thickness / 2, thickness * 2); break;
                default: stroke(seg.from, seg.to, under, thickness); break;
                }
            }
            cairo_set_dash(cr, nullptr, 0, 0);
            double inkEnd = run.x + run.width + spread;
            if (run.start <= lastInk && lastInk < run.end) {
                inkEnd = run.x;
                for (uint32_t i = 0; i < count && run.start + i <= lastInk; ++i)
                    inkEnd += widths[i];
                inkEnd += spread;
            }
            if (run.start <= lastInk) {
                const double strikeY = y - 0.28 * em;
                if (cf.doubleStrike) {
                    stroke(run.x, inkEnd, strikeY - thickness, thickness * 0.8);
                    stroke(run.x, inkEnd, strikeY + thickness, thickness * 0.8);
                } else if (cf.strike) {
                    stroke(run.x, inkEnd, strikeY, thickness);
                }
            }
            cairo_restore(cr);
        }
    }
}

void PageDrawer::drawTexts(cairo_t* cr, const std::vector<DrawnText>& texts)
{
    // Text that is no story's (charts' labels): a character at a time in
    // its format's face, at the advances the layout measured it with.
    for (const DrawnText& t : texts) {
        if (t.charFormat >= m_document.charFormats.size())
            continue;
        const MeasuredFont& f = m_measurer.font(t.charFormat);
        if (!f.face)
            continue;
        setColour(cr, m_document.charFormats[t.charFormat].color);
        // Text turned a quarter left is drawn along x from its box's bottom.
        cairo_save(cr);
        double x = t.x, y = t.baseline;
        if (t.vertical) {
            cairo_translate(cr, t.baseline, t.bottom);
            cairo_rotate(cr, -std::numbers::pi / 2);
            x = 0, y = 0;
        }
        {
            GlyphBatch batch(cr);
            const double em = f.scale * f.face->metrics().unitsPerEm;
            for (const char16_t c : t.text) {
                const DrawFace* face = drawFaceFor(*f.face);
                unsigned glyph = face ? face->glyph(c) : 0;
                if (glyph == 0)
                    if (const Face* fallback = FontCache::instance().fallbackFor(c)) {
                        face = drawFaceFor(*fallback);
                        glyph = face ? face->glyph(c) : 0;
                    }
                if (face && glyph != 0)
                    batch.add(face, em * f.hScale, em, glyph, x, y);
                x += m_measurer.width(c, t.charFormat);
            }
        }
        cairo_restore(cr);
    }
}

void PageDrawer::drawPage(cairo_t* cr, const LaidOutPage& page, int pageNumber)
{
    m_pageNumber = pageNumber;
    cairo_save(cr);
    cairo_font_options_t* fo = cairo_font_options_create();
    // Glyph positions come from the layout; hinting would move them.
    cairo_font_options_set_hint_metrics(fo, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_hint_style(fo, CAIRO_HINT_STYLE_NONE);
    cairo_set_font_options(cr, fo);
    cairo_font_options_destroy(fo);

    const std::vector<Area> cols = columns(page.section);
    const size_t section =
        m_document.sections.empty()
            ? 0
            : std::clamp<size_t>(static_cast<size_t>(std::max(0, page.section)), 0, m_document.sections.size() - 1);
    const Area sectionArea = m_document.sections.empty()
                                 ? Area{}
                                 : Area{static_cast<double>(std::abs(m_document.sections[section].format.marginLeft) +
                                                            std::max(0, m_document.sections[section].format.gutter)),
                                        std::max<double>(1.0, m_document.sections[section].format.textWidth())};

    struct Part {
        const std::vector<LaidOutLine>* lines;
        bool body;
        bool box = false; ///< text boxes' lines: placed in their boxes, aligned there already
    };
    const Part parts[] = {{&page.headerLines, false},
                          {&page.lines, true},
                          {&page.footerLines, false},
                          {&page.noteLines, false},
                          {&page.boxLines, false, true}};
    for (const Part& part : parts) {
        if (part.lines->empty())
            continue;
        std::map<const LaidOutLine*, Area> areas;
        std::vector<CellBox> cells;
        // Table lines of one story at a time; a header's table is its own.
        std::vector<size_t> stories;
        for (const LaidOutLine& l : *part.lines)
            if (l.tableDepth > 0 && std::find(stories.begin(), stories.end(), l.story) == stories.end())
                stories.push_back(l.story);
        for (size_t story : stories) {
            std::vector<CellBox> more = tableCells(page, *part.lines, story, areas);
            cells.insert(cells.end(), more.begin(), more.end());
        }
        for (const CellBox& c : cells) {
            if (c.shading == AutoColor || (c.shading & 0xFF000000u) != 0)
                continue;
            setColour(cr, c.shading);
            cairo_rectangle(cr, c.left, c.top, c.width, c.bottom - c.top);
            cairo_fill(cr);
        }
        for (const LaidOutLine& l : *part.lines) {
            const Area* area = nullptr;
            Area own;
            if (auto it = areas.find(&l); it != areas.end()) {
                area = &it->second;
            } else if (l.tableDepth == 0 && !part.box) {
                own = part.body && !cols.empty()
                          ? cols[std::clamp<size_t>(static_cast<size_t>(std::max<int16_t>(0, l.column)), 0,
                                                    cols.size() - 1)]
                          : sectionArea;
                area = &own;
            }
            drawLine(cr, l, area);
            if (area)
                drawParagraphBorders(cr, l, *area);
        }
        cairo_set_source_rgb(cr, 0, 0, 0);
        cairo_set_line_width(cr, BorderWidth);
        for (const CellBox& c : cells) {
            if (c.ownBorders) {
                if (!c.continued)
                    strokeBorder(cr, c.topLine, c.left, c.top, c.left + c.width, c.top);
                strokeBorder(cr, c.bottomLine, c.left, c.bottom, c.left + c.width, c.bottom);
                strokeBorder(cr, c.leftLine, c.left, c.top, c.left, c.bottom);
                strokeBorder(cr, c.rightLine, c.left + c.width, c.top, c.left + c.width, c.bottom);
                continue;
            }
            cairo_set_source_rgb(cr, 0, 0, 0);
            cairo_set_line_width(cr, BorderWidth);
            if (!c.borders)
                continue;
            cairo_move_to(cr, c.left, c.top);
            if (c.continued)
                cairo_move_to(cr, c.left + c.width, c.top);
            else
                cairo_line_to(cr, c.left + c.width, c.top);
            cairo_line_to(cr, c.left + c.width, c.bottom);
            cairo_line_to(cr, c.left, c.bottom);
            cairo_line_to(cr, c.left, c.top);
            cairo_stroke(cr);
        }
    }
    for (const ChartPlot& plot : page.chartPlots)
        drawChartPlot(cr, m_document, plot);
    drawTexts(cr, page.drawnText);
    cairo_restore(cr);
}

} // namespace qm::render
