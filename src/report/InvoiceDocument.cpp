// The invoice as a document of our model, typed top to bottom the way it reads.
#include "report/InvoiceDocument.h"

#include <array>
#include <cassert>
#include <span>

namespace qm::report {

using engine::Alignment;
using engine::CharFormat;
using engine::Twips;

namespace {

constexpr const char* kFont = "Times New Roman";
constexpr uint16_t halfPoints(int points) { return static_cast<uint16_t>(points * 2); }
/// Word 2010's compatibility mode: the last one that outdents tables by their cell padding.
constexpr int32_t kTableOutdentCompatibilityMode = 14;

/// A borderless table row with these column widths and cell shadings.
engine::TableRowFormat rowFormat(std::span<const Twips> widths, uint32_t shading)
{
    engine::TableRowFormat row;
    row.borders = false;
    for (Twips w : widths) {
        engine::TableCellFormat cell;
        cell.width = w;
        cell.shading = shading;
        row.cells.push_back(cell);
        row.grid.push_back(w);
    }
    return row;
}

} // namespace

InvoiceDocument::InvoiceDocument() : m_builder("docx")
{
    m_font.fontName = kFont;
}

void InvoiceDocument::type(std::string_view text, Alignment alignment)
{
    const uint32_t format = m_builder.charFormat(m_font);
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != '\r')
            continue;
        if (i > start)
            m_builder.appendUtf8(text.substr(start, i - start), format);
        if (i < text.size())
            endLine(alignment);
        start = i + 1;
    }
}

void InvoiceDocument::endLine(Alignment alignment)
{
    engine::ParaFormat paragraph;
    paragraph.alignment = alignment;
    m_builder.endParagraph(m_builder.paraFormat(paragraph), m_builder.charFormat(m_font));
}

void InvoiceDocument::endCell(Alignment alignment)
{
    const engine::Story& story = m_builder.document().stories[m_builder.currentStory()];
    const bool lineEnded = !story.text.empty() && story.text.back() == engine::Ch::ParagraphMark
                           && m_builder.document().paraFormatOf(story, story.size() - 1).tableDepth > 0;
    if (lineEnded)
        endLine(alignment);
    engine::ParaFormat paragraph;
    paragraph.alignment = alignment;
    m_builder.endCell(m_builder.paraFormat(paragraph), m_builder.charFormat(m_font));
}

void InvoiceDocument::typeHiddenFirstLine(const std::string& profileName)
{
    // The profile name heads the document in 1-point white type: invisible on
    // paper, yet there for anyone who looks at the file to see whose it is.
    m_font.sizeHalfPoints = halfPoints(1);
    m_font.color = InvoiceColor::White;
    type(profileName + "\r", Alignment::Left);
    m_font.sizeHalfPoints = halfPoints(10);
    m_font.color = InvoiceColor::Black;
    type("\r\r\r\r\r", Alignment::Left);
}

void InvoiceDocument::typeLetterhead(const InvoiceContent& content)
{
    // Two columns of 234 points, the width of the text between the margins.
    static constexpr std::array<Twips, 2> widths = {234 * 20, 234 * 20};
    m_builder.beginTable();
    m_builder.beginRow();

    // Bill-to block on the left, after an empty line, the customer's state as stored.
    m_font.fontName = kFont;
    m_font.bold = false;
    m_font.sizeHalfPoints = halfPoints(10);
    m_builder.beginCell();
    type("\r", Alignment::Left);
    for (const std::string& line : content.billToLines)
        type(line + "\r", Alignment::Left);
    endCell(Alignment::Left);

    // The sender's block on the right: the company name large and bold, the
    // rest in 10 point; empty phone and fax lines keep their places.
    m_builder.beginCell();
    for (size_t i = 0; i < content.senderLines.size(); ++i) {
        m_font.bold = i == 0;
        m_font.sizeHalfPoints = halfPoints(i == 0 ? 18 : 10);
        type(content.senderLines[i], Alignment::Right);
        if (i == 0) {
            // The company name's paragraph mark is typed in its own size.
            endLine(Alignment::Right);
            m_font.bold = false;
            m_font.sizeHalfPoints = halfPoints(10);
        } else {
            endLine(Alignment::Right);
        }
    }
    endCell(Alignment::Right);

    m_builder.endRow(rowFormat(widths, engine::AutoColor), m_builder.charFormat(m_font));
    m_builder.endTable();
    type("\r\r\r", Alignment::Left);
}

void InvoiceDocument::typeResults(const InvoiceContent& content, bool tableColor)
{
    if (!content.hasTable)
        return;
    // The document column takes what the two figure columns leave of the
    // 468 points between the margins; the figures are right-aligned.
    static constexpr std::array<Twips, 3> widths = {324 * 20, 72 * 20, 72 * 20};
    static constexpr std::array<Alignment, 3> alignments = {Alignment::Left, Alignment::Right, Alignment::Right};
    const CharFormat body = m_font;

    // The heading row is filled last, after the totals row, so its first
    // cell takes the colour the totals row left behind: white on the black
    // band when the table is coloured, black (and unreadable) when it is not.
    // Cells 2 and 3 set white themselves. Kept on purpose: invoices already
    // sent look this way.
    const uint32_t totalsColor = tableColor ? InvoiceColor::White : InvoiceColor::Black;
    m_builder.beginTable();
    {
        m_builder.beginRow();
        m_font = body;
        m_font.bold = true;
        m_font.sizeHalfPoints = halfPoints(12);
        m_font.color = totalsColor;
        const std::array<std::string, 3> heading = {"Document Name", content.unitPlural, "Amount:"};
        for (size_t c = 0; c < 3; ++c) {
            if (c > 0)
                m_font.color = InvoiceColor::White;
            m_builder.beginCell();
            type(heading[c], alignments[c]);
            endCell(alignments[c]);
        }
        m_builder.endRow(rowFormat(widths, InvoiceColor::Black), m_builder.charFormat(m_font));
    }

    m_font = body;
    for (const InvoiceRow& row : content.rows) {
        m_builder.beginRow();
        const std::array<const std::string*, 3> cells = {&row.document, &row.count, &row.amount};
        for (size_t c = 0; c < 3; ++c) {
            m_builder.beginCell();
            type(*cells[c], alignments[c]);
            endCell(alignments[c]);
        }
        m_builder.endRow(rowFormat(widths, row.banded ? InvoiceColor::Gray25 : engine::AutoColor),
                         m_builder.charFormat(m_font));
    }

    {
        m_builder.beginRow();
        m_font = body;
        m_font.bold = true;
        m_font.sizeHalfPoints = halfPoints(12);
        m_font.color = totalsColor;
        m_builder.beginCell();
        type(content.totalLabel, Alignment::Left);
        if (!content.billedAt.empty()) {
            type("    (", Alignment::Left);
            m_font.sizeHalfPoints = halfPoints(10);
            type(content.billedAt, Alignment::Left);
            m_font.sizeHalfPoints = halfPoints(12);
            type(")", Alignment::Left);
        }
        endCell(Alignment::Left);
        for (const std::string* text : {&content.countTotal, &content.amountTotal}) {
            m_builder.beginCell();
            type(*text, Alignment::Right);
            endCell(Alignment::Right);
        }
        m_builder.endRow(rowFormat(widths, tableColor ? InvoiceColor::Gray50 : engine::AutoColor),
                         m_builder.charFormat(m_font));
    }
    m_builder.endTable();
}

std::unique_ptr<engine::Document> InvoiceDocument::finish()
{
    assert(!m_finished && "an invoice is finished once");
    m_finished = true;
    // The last paragraph, after the tables, in the plain font the invoice ends with.
    m_font = CharFormat{};
    m_font.fontName = "Courier New";
    m_font.sizeHalfPoints = halfPoints(10);
    m_font.color = InvoiceColor::Black;
    endLine(Alignment::Left);

    // Page numbers at the right of the first section's primary footer, on
    // every page including the first.
    const engine::StoryId footer = m_builder.newStory(engine::StoryType::PrimaryFooter);
    engine::HeaderFooterRefs refs;
    if (footer != 0xFFFFFFFFu) {
        m_builder.setStory(footer);
        CharFormat number;
        number.fontName = kFont;
        number.sizeHalfPoints = halfPoints(10);
        const uint32_t start = m_builder.position();
        m_builder.appendUtf8("1", m_builder.charFormat(number));
        m_builder.addField(start, "PAGE");
        engine::ParaFormat paragraph;
        paragraph.alignment = Alignment::Right;
        m_builder.endParagraph(m_builder.paraFormat(paragraph), m_builder.charFormat(number));
        m_builder.setStory(0);
        refs.footers[static_cast<size_t>(engine::HeaderFooterIndex::Primary) - 1] = static_cast<int32_t>(footer);
    }
    auto document = m_builder.finish(engine::SectionFormat{}, refs);
    // The tables sit as Word placed them before its 2013 format: the cells'
    // text in line with the page margin, the shading reaching into the
    // margin by the cell padding. The file says so, so that every word
    // processor places them alike and our own PDF matches the .docx.
    document->settings.compatibilityMode = kTableOutdentCompatibilityMode;
    return document;
}

std::unique_ptr<engine::Document> invoiceDocument(const std::string& profileName, const InvoiceContent& content,
                                                  bool tableColor)
{
    InvoiceDocument invoice;
    invoice.typeHiddenFirstLine(profileName);
    invoice.typeLetterhead(content);
    invoice.typeResults(content, tableColor);
    return invoice.finish();
}

} // namespace qm::report
