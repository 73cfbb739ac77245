// A laid-out document written as PDF: one PDF page per laid-out page, in the layout's fonts.
#pragma once

#include "engine/layout/Layout.h"
#include "engine/model/Document.h"

#include <cstddef>
#include <functional>
#include <string>

namespace qm::render {

/// What a rendering did: `ok`, the pages written, and when not ok a message
/// for the user that names the file or the failing step.
struct [[nodiscard]] Result {
    bool ok = false;
    std::string error;
    int pages = 0;
};

struct PdfOptions {
    /// The options the layout was made with (its default font).
    engine::layout::LayoutOptions layout;
    /// The pages to write, numbered from 1, both included; 0 for "first" and
    /// "last" respectively. A range past the document's end is clamped; a
    /// range that holds no page is an error.
    int firstPage = 0;
    int lastPage = 0;
    /// The document title stored in the PDF; empty for none.
    std::string title;
};

/// Receives the PDF's bytes in order; returns false to stop the rendering
/// (a full disk, a closed pipe).
using PdfSink = std::function<bool(const unsigned char* data, size_t size)>;

/// Writes `layout` (laid out from `document` with `options.layout`) as PDF
/// into `path`, replacing the file. The page sizes are the laid-out pages'
/// own. Never throws; a path that cannot be written gives an error naming it,
/// and no partial file is left behind.
Result renderPdf(const engine::Document& document, const engine::layout::LayoutResult& layout,
                 const std::string& path, const PdfOptions& options = {});

/// The same PDF handed to `sink` as it is produced (printing streams it to a
/// print queue, the report to memory).
Result renderPdfToSink(const engine::Document& document, const engine::layout::LayoutResult& layout,
                       const PdfSink& sink, const PdfOptions& options = {});

} // namespace qm::render
