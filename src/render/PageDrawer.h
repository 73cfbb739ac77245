// Draws laid-out pages with cairo: text where the layout placed it, in the faces it measured.
#pragma once

#include "engine/layout/Layout.h"
#include "engine/layout/TextMeasurer.h"
#include "engine/model/Document.h"

#include <cairo.h>
#include <map>
#include <vector>

namespace qm::render {

/// Draws the pages of one laid-out document. The document and the options
/// must be the ones the layout was made from and must outlive the drawer:
/// characters are measured again, with the layout's own measurer, so every
/// glyph lands on the position the layout gave it.
///
/// What is drawn: body, header and footer lines with their list labels;
/// fonts, sizes, bold, italic, capitals, superscript and subscript, colour,
/// underline and strikethrough; justified lines spread over their width;
/// cell shading and cell borders of tables (each side as the cell or its
/// table sets it, else a plain grid for rows whose format asks for borders);
/// paragraph borders around each box of paragraphs. Hidden text has no run in the layout and is never drawn.
/// Chart text (titles, axis, legend and data labels) where the layout
/// placed it; pictures and other drawing objects are left blank.
class PageDrawer {
public:
    explicit PageDrawer(const engine::Document& document, const engine::layout::LayoutOptions& options = {});

    /// Draws `page` on `cr`, whose user space must be in twips with the
    /// origin at the page's top-left corner. The caller holds renderLock().
    /// With a `pageNumber`, PAGE fields show it instead of the result the
    /// document stored (which is the first page's number on every page).
    void drawPage(cairo_t* cr, const engine::layout::LaidOutPage& page, int pageNumber = 0);

private:
    /// A text area: the left edge and width lines were broken for.
    using Area = engine::layout::ColumnArea;
    struct CellBox {
        double left = 0, width = 0, top = 0, bottom = 0;
        uint32_t shading = engine::AutoColor;
        bool continued = false; ///< a vertically merged cell continuing the one above
        bool borders = true;
        /// The cell's own or its table's border lines, when the document gives any.
        bool ownBorders = false;
        engine::BorderLine topLine, bottomLine, leftLine, rightLine;
    };

    void drawParagraphBorders(cairo_t* cr, const engine::layout::LaidOutLine& line, const Area& area);
    void drawLine(cairo_t* cr, const engine::layout::LaidOutLine& line, const Area* area);
    void drawTexts(cairo_t* cr, const std::vector<engine::layout::DrawnText>& texts);
    std::vector<CellBox> tableCells(const engine::layout::LaidOutPage& page,
                                    const std::vector<engine::layout::LaidOutLine>& lines, size_t story,
                                    std::map<const engine::layout::LaidOutLine*, Area>& areas);
    std::vector<Area> columns(int32_t section) const;
    const std::vector<engine::Table>& tablesOf(size_t story);

    const engine::Document& m_document;
    engine::layout::LayoutOptions m_options;
    std::vector<engine::Diagnostic> m_diagnostics;
    engine::layout::TextMeasurer m_measurer;
    engine::layout::ShapedText m_shaped; // reused for each shaped stretch
    std::vector<double> m_shapedWidths;
    std::map<size_t, std::vector<engine::Table>> m_tables;
    int m_pageNumber = 0; ///< of the page being drawn; 0 leaves PAGE fields as stored
};

} // namespace qm::render
