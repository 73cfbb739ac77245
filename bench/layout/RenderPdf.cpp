// Lays a document out and draws it as PDF, for looking at the layout by eye.
//
// Usage: render_pdf DOCUMENT OUT.pdf [--dump]
// --dump also prints the layout, a line of text per laid-out line.
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "engine/layout/LayoutDump.h"
#include "render/PdfRenderer.h"

#include <cstdio>
#include <string_view>

int main(int argc, char** argv)
{
    const bool dump = argc == 4 && std::string_view(argv[3]) == "--dump";
    if (argc != 3 && !dump) {
        std::fputs("usage: render_pdf DOCUMENT OUT.pdf [--dump]\n", stderr);
        return 2;
    }
    qm::engine::ReadOptions options;
    options.pictureText = true; // printed pages show what metafile pictures draw
    const qm::engine::ReadResult doc = qm::engine::readDocument(argv[1], options);
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
    if (dump)
        std::fputs(qm::engine::layout::dumpLayout(*doc.document, layout).c_str(), stdout);
    std::printf("%lld pages, %lld lines\n", static_cast<long long>(layout.pageCount()), static_cast<long long>(layout.lineCount()));
    return 0;
}
