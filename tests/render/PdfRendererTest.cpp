// The PDF of a laid-out document: its pages, their sizes, its fonts, page ranges and write errors.
#include "PdfFacts.h"

#include "engine/layout/FontCache.h"
#include "engine/model/DocumentBuilder.h"
#include "render/PdfRenderer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <unistd.h>

using namespace qm::engine;
using namespace qm::engine::layout;
using qm::render::PdfOptions;
using qm::testing::pdfFonts;
using qm::testing::pdfMediaBoxes;
using qm::testing::pdfPageCount;
using qm::testing::readBytes;

namespace {

CharFormat font(std::string name, bool bold = false)
{
    CharFormat f;
    f.fontName = std::move(name);
    f.sizeHalfPoints = 24;
    f.bold = bold;
    return f;
}

SectionFormat a4Landscape()
{
    SectionFormat s;
    s.pageWidth = 16838;
    s.pageHeight = 11906;
    return s;
}

/// Three pages: a Letter page ended by a page break, a Letter page ending
/// the first section, and an A4 landscape page of the second section.
std::unique_ptr<Document> threePages()
{
    DocumentBuilder b("docx");
    const uint32_t times = b.charFormat(font("Times New Roman"));
    const uint32_t bold = b.charFormat(font("Times New Roman", true));
    const uint32_t mono = b.charFormat(font("Courier New"));
    const uint32_t pf = b.paraFormat({});
    b.appendText(u"First page in Times, ", times);
    b.appendText(u"bold here.", bold);
    b.appendChar(Ch::PageBreak, times);
    b.endParagraph(pf, times);
    b.appendText(u"Second page in Courier.", mono);
    b.endSection(SectionFormat{}, {}, pf, mono);
    b.appendText(u"Third page, landscape.", times);
    b.endParagraph(pf, times);
    return b.finish(a4Landscape(), {});
}

struct TempDir {
    std::filesystem::path path;
    TempDir()
    {
        path = std::filesystem::temp_directory_path() / ("qm-render-" + std::to_string(::getpid()));
        std::filesystem::create_directories(path);
    }
    ~TempDir()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

} // namespace

// Catches pages dropped or merged, and a surface that keeps the first page's
// size for every page.
TEST(PdfRenderer, OnePdfPagePerLaidOutPageInItsOwnSize)
{
    auto doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    ASSERT_EQ(layout.pageCount(), 3);
    TempDir dir;
    const std::string path = (dir.path / "three.pdf").string();
    const auto r = qm::render::renderPdf(*doc, layout, path);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.pages, 3);
    const std::string pdf = readBytes(path);
    ASSERT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_EQ(pdfPageCount(pdf), 3);
    const auto boxes = pdfMediaBoxes(pdf);
    ASSERT_EQ(boxes.size(), 3u);
    const std::pair<double, double> expected[] = {{612, 792}, {612, 792}, {841.9, 595.3}};
    for (size_t i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        EXPECT_NEAR(boxes[i].first, expected[i].first, 0.1);
        EXPECT_NEAR(boxes[i].second, expected[i].second, 0.1);
    }
}

// The text must be drawn in the faces the layout measured (the metric
// twins), bold in the bold face; a renderer asking fontconfig for "Times
// New Roman" itself could land on another family and other widths.
TEST(PdfRenderer, EmbedsTheFacesTheLayoutMeasuredWith)
{
    auto doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    std::string pdf;
    const auto r = qm::render::renderPdfToSink(*doc, layout, [&](const unsigned char* d, size_t n) {
        pdf.append(reinterpret_cast<const char*>(d), n);
        return true;
    });
    ASSERT_TRUE(r.ok) << r.error;
    const auto fonts = pdfFonts(pdf);
    const std::string wanted[] = {
        FontCache::twinFamily("Times New Roman"), FontCache::twinFamily("Courier New")};
    for (const std::string& family : wanted) {
        std::string compact = family;
        std::erase(compact, ' ');
        SCOPED_TRACE(compact);
        EXPECT_TRUE(std::any_of(fonts.begin(), fonts.end(), [&](const std::string& f) { return f.starts_with(compact); }));
        EXPECT_TRUE(family != "Liberation Serif" ||
                    std::any_of(fonts.begin(), fonts.end(), [&](const std::string& f) { return f == compact + "-Bold"; }));
    }
}

TEST(PdfRenderer, PageRangesAreClampedAndAnEmptyRangeIsAnError)
{
    auto doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    struct Case {
        int first, last;
        bool ok;
        int pages;
    } cases[] = {{0, 0, true, 3}, {2, 3, true, 2}, {3, 0, true, 1}, {2, 9, true, 2}, {4, 5, false, 0}, {3, 2, false, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + ".." + std::to_string(c.last));
        PdfOptions options;
        options.firstPage = c.first;
        options.lastPage = c.last;
        std::string pdf;
        const auto r = qm::render::renderPdfToSink(*doc, layout, [&](const unsigned char* d, size_t n) {
            pdf.append(reinterpret_cast<const char*>(d), n);
            return true;
        }, options);
        EXPECT_EQ(r.ok, c.ok) << r.error;
        EXPECT_EQ(r.pages, c.pages);
        if (c.ok)
            EXPECT_EQ(pdfPageCount(pdf), c.pages);
        else
            EXPECT_FALSE(r.error.empty());
    }
}

// The user must learn which file could not be written, and no half-written
// file may stay behind to be mistaken for the invoice.
TEST(PdfRenderer, UnwritablePathsAreReportedByName)
{
    auto doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    TempDir dir;
    const std::string missingFolder = (dir.path / "no-such-folder" / "out.pdf").string();
    const std::string aFolder = dir.path.string();
    for (const std::string& path : {missingFolder, aFolder}) {
        SCOPED_TRACE(path);
        const auto r = qm::render::renderPdf(*doc, layout, path);
        EXPECT_FALSE(r.ok);
        EXPECT_NE(r.error.find("\"" + path + "\""), std::string::npos) << r.error;
    }
    EXPECT_FALSE(std::filesystem::exists(missingFolder));
}

TEST(PdfRenderer, ASinkThatRefusesStopsTheRendering)
{
    auto doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    size_t calls = 0;
    const auto r = qm::render::renderPdfToSink(*doc, layout, [&](const unsigned char*, size_t) {
        ++calls;
        return false;
    });
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.error.empty());
    EXPECT_GE(calls, 1u);
}

TEST(PdfRenderer, ALayoutWithoutPagesIsAnError)
{
    auto doc = threePages();
    const LayoutResult empty;
    const auto r = qm::render::renderPdfToSink(*doc, empty, [](const unsigned char*, size_t) { return true; });
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.pages, 0);
}
