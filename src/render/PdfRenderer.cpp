// A laid-out document written as PDF: one PDF page per laid-out page, in the layout's own fonts.
#include "render/PdfRenderer.h"

#include "render/FontFaces.h"
#include "render/PageDrawer.h"

#include <cairo-pdf.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <filesystem>

namespace qm::render {

namespace {

constexpr double TwipsPerPoint = 20.0;

struct SinkState {
    const PdfSink* sink = nullptr;
    bool failed = false;
};

cairo_status_t writeToSink(void* closure, const unsigned char* data, unsigned int length)
{
    auto* state = static_cast<SinkState*>(closure);
    if (state->failed)
        return CAIRO_STATUS_WRITE_ERROR;
    if (!(*state->sink)(data, length)) {
        state->failed = true;
        return CAIRO_STATUS_WRITE_ERROR;
    }
    return CAIRO_STATUS_SUCCESS;
}

// A page without a size (a layout made by hand) gets US Letter, the size
// the model gives a new document.
double pagePoints(double twips, double fallbackTwips)
{
    return (twips > 0 ? twips : fallbackTwips) / TwipsPerPoint;
}

Result render(const engine::Document& document, const engine::layout::LayoutResult& layout, const PdfSink& sink,
              const PdfOptions& options)
{
    Result result;
    const int total = static_cast<int>(layout.pages.size());
    const int first = std::max(1, options.firstPage);
    const int last = options.lastPage > 0 ? std::min(options.lastPage, total) : total;
    if (total == 0) {
        result.error = "the document has no pages to print";
        return result;
    }
    if (first > last) {
        result.error = "pages " + std::to_string(options.firstPage) + " to " + std::to_string(options.lastPage) +
                       " are not in the document (it has " + std::to_string(total) + ")";
        return result;
    }

    std::lock_guard lock(renderLock());
    SinkState state{&sink, false};
    const auto& firstPage = layout.pages[static_cast<size_t>(first - 1)];
    cairo_surface_t* surface = cairo_pdf_surface_create_for_stream(
        writeToSink, &state, pagePoints(firstPage.width, 12240), pagePoints(firstPage.height, 15840));
    if (!options.title.empty())
        cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_TITLE, options.title.c_str());
    cairo_pdf_surface_set_metadata(surface, CAIRO_PDF_METADATA_CREATOR, "Quillmeter");
    cairo_t* cr = cairo_create(surface);
    PageDrawer drawer(document, options.layout);
    for (int n = first; n <= last && cairo_status(cr) == CAIRO_STATUS_SUCCESS && !state.failed; ++n) {
        const auto& page = layout.pages[static_cast<size_t>(n - 1)];
        // The size must be set before anything is drawn on the page.
        cairo_pdf_surface_set_size(surface, pagePoints(page.width, 12240), pagePoints(page.height, 15840));
        cairo_save(cr);
        cairo_scale(cr, 1.0 / TwipsPerPoint, 1.0 / TwipsPerPoint);
        drawer.drawPage(cr, page, n);
        cairo_restore(cr);
        cairo_show_page(cr);
        ++result.pages;
    }
    const cairo_status_t drawStatus = cairo_status(cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    const cairo_status_t surfaceStatus = cairo_surface_status(surface);
    cairo_surface_destroy(surface);
    if (state.failed) {
        result.error = "the PDF could not be written out";
        return result;
    }
    if (drawStatus != CAIRO_STATUS_SUCCESS || surfaceStatus != CAIRO_STATUS_SUCCESS) {
        result.error = std::string("drawing the PDF failed: ") +
                       cairo_status_to_string(drawStatus != CAIRO_STATUS_SUCCESS ? drawStatus : surfaceStatus);
        return result;
    }
    result.ok = true;
    return result;
}

} // namespace

Result renderPdfToSink(const engine::Document& document, const engine::layout::LayoutResult& layout,
                       const PdfSink& sink, const PdfOptions& options)
{
    try {
        return render(document, layout, sink, options);
    } catch (const std::exception& e) {
        Result r;
        r.error = std::string("drawing the PDF failed: ") + e.what();
        return r;
    }
}

Result renderPdf(const engine::Document& document, const engine::layout::LayoutResult& layout,
                 const std::string& path, const PdfOptions& options)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) {
        Result r;
        r.error = "cannot write \"" + path + "\": " + std::strerror(errno);
        return r;
    }
    int writeErrno = 0;
    const PdfSink sink = [&](const unsigned char* data, size_t size) {
        if (std::fwrite(data, 1, size, file) == size)
            return true;
        writeErrno = errno;
        return false;
    };
    Result r = renderPdfToSink(document, layout, sink, options);
    const bool closed = std::fclose(file) == 0;
    if (r.ok && !closed) {
        r.ok = false;
        writeErrno = errno;
    }
    if (!r.ok) {
        if (writeErrno != 0 || !closed)
            r.error = "cannot write \"" + path + "\": " + std::strerror(writeErrno ? writeErrno : EIO);
        else
            r.error = "cannot write \"" + path + "\": " + r.error;
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
    return r;
}

} // namespace qm::render
