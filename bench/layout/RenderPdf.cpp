// Lays a document out and draws it as PDF, for looking at the layout by eye.
//
// Usage: render_pdf DOCUMENT OUT.pdf
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "render/PdfRenderer.h"

#include <cstdio>

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: render_pdf DOCUMENT OUT.pdf\n", stderr);
        return 2;
    }
    const qm::engine::ReadResult doc = qm::engine::readDocument(argv[1]);
    if (!doc.ok()) {
        std::fprintf(stderr, "render_pdf: %s: %s\n", argv[1], doc.error.c_str());
        return 1;
    }
    const qm::engine::layout::LayoutResult layout = qm::engine::layout::layoutDocument(*doc.document);
    const qm::render::Result written = qm::render::renderPdf(*doc.document, layout, argv[2]);
    if (!written.ok) {
        std::fprintf(stderr, "render_pdf: %s\n", written.error.c_str());
        return 1;
    }
    std::printf("%d pages, %lld lines\n", layout.pageCount(), static_cast<long long>(layout.lineCount()));
    return 0;
}
