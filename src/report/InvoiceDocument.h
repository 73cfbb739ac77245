// The invoice as a document of our model, typed top to bottom the way it reads.
#pragma once

#include "engine/model/DocumentBuilder.h"
#include "report/InvoiceContent.h"

#include <memory>

namespace qm::report {

/// The invoice's colours, as the word processor's colour indices name them.
namespace InvoiceColor {
inline constexpr uint32_t Black = 0x000000;  ///< colour index 1
inline constexpr uint32_t White = 0xFFFFFF;  ///< colour index 8
inline constexpr uint32_t Gray50 = 0x808080; ///< colour index 15, the totals row
inline constexpr uint32_t Gray25 = 0xC0C0C0; ///< colour index 16, the bands
} // namespace InvoiceColor

/// Builds the invoice into a builder in stages, so that a failure between
/// two stages still leaves everything typed so far. Each stage appends to the
/// main story; `finish` hands the document over, whole or partial.
class InvoiceDocument {
public:
    InvoiceDocument();

    /// The profile name in 1-point white type, invisible on paper but kept as
    /// the document's first line, then five empty lines.
    void typeHiddenFirstLine(const std::string& profileName);
    /// The borderless two-cell letterhead: bill-to block on the left, the
    /// sender's block on the right, then three empty lines.
    void typeLetterhead(const InvoiceContent& content);
    /// The results table: heading row, one row per document, totals row.
    /// Nothing when the content has no table.
    void typeResults(const InvoiceContent& content, bool tableColor);
    /// The document's last paragraph and the page number in the first
    /// section's primary footer, shown on every page, the first one too.
    std::unique_ptr<engine::Document> finish();

private:
    /// Types text in the current font; each '\r' ends a paragraph.
    void type(std::string_view text, engine::Alignment alignment);
    void endLine(engine::Alignment alignment);
    /// Ends a cell the way a typed cell ends: when the text typed into it
    /// ended its line, the cell's own empty paragraph follows and takes the mark.
    void endCell(engine::Alignment alignment);

    engine::DocumentBuilder m_builder;
    engine::CharFormat m_font;
    bool m_finished = false;
};

/// Builds the whole invoice at once.
[[nodiscard]] std::unique_ptr<engine::Document> invoiceDocument(const std::string& profileName,
    const InvoiceContent& content, bool tableColor);

} // namespace qm::report
