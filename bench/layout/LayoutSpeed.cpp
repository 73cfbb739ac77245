// Layout time per page of long documents, on one thread.
//
// Usage: layout_speed [pages] [file...]
// Without files it builds a long document of wrapped paragraphs, headings
// and tables; with files it reads and times each of them.
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "engine/model/DocumentBuilder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

using namespace qm::engine;

namespace {

std::unique_ptr<Document> longDocument(int approxPages)
{
    static const char16_t* words[] = {u"billing", u"counter", u"document", u"line", u"page", u"quill",
                                      u"the", u"of", u"and", u"a", u"measured", u"statistics", u"Word",
                                      u"characters", u"with", u"spaces", u"paragraph", u"section"};
    DocumentBuilder b("docx");
    CharFormat bodyFormat;
    bodyFormat.fontName = "Times New Roman";
    bodyFormat.sizeHalfPoints = 24;
    CharFormat headingFormat = bodyFormat;
    headingFormat.fontName = "Arial";
    headingFormat.bold = true;
    headingFormat.sizeHalfPoints = 28;
    const uint32_t body = b.charFormat(bodyFormat);
    const uint32_t heading = b.charFormat(headingFormat);
    ParaFormat bodyPara;
    bodyPara.spaceAfter = 120;
    bodyPara.alignment = Alignment::Justify;
    ParaFormat headingPara;
    headingPara.keepWithNext = true;
    headingPara.spaceBefore = 240;
    const uint32_t bp = b.paraFormat(bodyPara);
    const uint32_t hp = b.paraFormat(headingPara);
    TableRowFormat row;
    row.grid = {3120, 3120, 3120};
    row.cells = {{3120}, {3120}, {3120}};
    uint32_t seed = 12345;
    auto next = [&] { return seed = seed * 1103515245u + 12345u; };
    // About 6 paragraphs of 8 lines, a heading and a small table per page.
    for (int page = 0; page < approxPages; ++page) {
        b.appendUtf8("Heading " + std::to_string(page + 1), heading);
        b.endParagraph(hp, heading);
        for (int p = 0; p < 5; ++p) {
            std::u16string text;
            for (int w = 0; w < 110; ++w) {
                text += words[(next() >> 16) % std::size(words)];
                text += u' ';
            }
            b.appendText(text, body);
            b.endParagraph(bp, body);
        }
        b.beginTable();
        for (int r = 0; r < 3; ++r) {
            b.beginRow();
            for (int c = 0; c < 3; ++c) {
                b.beginCell();
                b.appendText(words[(next() >> 16) % std::size(words)], body);
                b.endCell(bp, body);
            }
            b.endRow(row, body);
        }
        b.endTable();
    }
    return b.finish(SectionFormat{}, HeaderFooterRefs{});
}

void time(const char* name, const Document& doc)
{
    // The first run loads the fonts; time the runs after it.
    layout::LayoutResult result = layout::layoutDocument(doc);
    const int runs = 5;
    double best = 1e9;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        result = layout::layoutDocument(doc);
        best = std::min(best, std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
    }
    const double pages = static_cast<double>(std::max<int64_t>(1, result.pageCount()));
    std::printf("%-40s pages %6lld  lines %7lld  %8.2f ms  %.3f ms/page\n", name,
                static_cast<long long>(result.pageCount()), static_cast<long long>(result.lineCount()), best,
                best / pages);
}

} // namespace

int main(int argc, char** argv)
{
    const int pages = argc > 1 ? std::max(1, std::atoi(argv[1])) : 500;
    if (argc <= 2) {
        auto doc = longDocument(pages);
        time("generated document", *doc);
        return 0;
    }
    for (int i = 2; i < argc; ++i) {
        ReadResult read = readDocument(argv[i]);
        if (!read.ok()) {
            std::printf("%-40s cannot be read: %s\n", argv[i], read.error.c_str());
            continue;
        }
        time(argv[i], *read.document);
    }
    return 0;
}
