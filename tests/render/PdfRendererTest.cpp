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
    SectionFormat a4Landscape;
    a4Landscape.pageWidth = 16838;
    a4Landscape.pageHeight = 11906;
    return b.finish(a4Landscape, {});
}

/// The three pages laid out, and a folder to write into.
class PdfRenderer : public ::testing::Test {
protected:
    void SetUp() override { std::filesystem::create_directories(dir); }
    void TearDown() override { std::filesystem::remove_all(dir); }

    /// Renders to memory, keeping every byte the renderer hands over.
    qm::render::Result toMemory(std::string& pdf, const PdfOptions& options = {})
    {
        return qm::render::renderPdfToSink(
            *doc, layout,
            [&](const unsigned char* d, size_t n) {
                pdf.append(reinterpret_cast<const char*>(d), n);
                return true;
            },
            options);
    }

    const std::unique_ptr<Document> doc = threePages();
    const LayoutResult layout = layoutDocument(*doc);
    const std::filesystem::path dir =
        std::filesystem::temp_directory_path() / ("qm-render-" + std::to_string(::getpid()));
};

} // namespace

// Catches pages dropped or merged, a surface that keeps the first page's
// size for every page, and text drawn in faces the layout did not measure
// with: a renderer asking fontconfig for "Times New Roman" itself could land
// on another family and other widths.
TEST_F(PdfRenderer, OnePdfPagePerLaidOutPageInItsOwnSizeAndTheMeasuredFaces)
{
    ASSERT_EQ(layout.pageCount(), 3);
    const std::string path = (dir / "three.pdf").string();
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
    const auto fonts = pdfFonts(pdf);
    for (const std::string& family : {FontCache::twinFamily("Times New Roman"), FontCache::twinFamily("Courier New")}) {
        std::string compact = family;
        std::erase(compact, ' ');
        SCOPED_TRACE(compact);
        EXPECT_TRUE(std::any_of(fonts.begin(), fonts.end(), [&](const std::string& f) { return f.starts_with(compact); }));
        EXPECT_TRUE(family != "Liberation Serif" ||
                    std::any_of(fonts.begin(), fonts.end(), [&](const std::string& f) { return f == compact + "-Bold"; }));
    }
}

TEST_F(PdfRenderer, PageRangesAreClampedAndAnEmptyRangeIsAnError)
{
    struct Case {
        int first, last;
        bool ok;
        int pages;
    } cases[] = {{0, 0, true, 3}, {2, 3, true, 2}, {3, 0, true, 1}, {2, 9, true, 2}, {4, 5, false, 0}, {3, 2, false, 0}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.first) + ".." + std::to_string(c.last));
        std::string pdf;
        const auto r = toMemory(pdf, PdfOptions{.firstPage = c.first, .lastPage = c.last});
        EXPECT_EQ(r.ok, c.ok) << r.error;
        EXPECT_EQ(r.pages, c.pages);
        if (c.ok)
            EXPECT_EQ(pdfPageCount(pdf), c.pages);
        else
            EXPECT_FALSE(r.error.empty());
    }
}

// The user must learn which file could not be written, and no half-written
// file may stay behind to be mistaken for the invoice; a sink that refuses
// and a layout without pages fail too.
TEST_F(PdfRenderer, FailuresAreReported)
{
    const std::string missingFolder = (dir / "no-such-folder" / "out.pdf").string();
    for (const std::string& path : {missingFolder, dir.string()}) {
        SCOPED_TRACE(path);
        const auto r = qm::render::renderPdf(*doc, layout, path);
        EXPECT_FALSE(r.ok);
        EXPECT_NE(r.error.find("\"" + path + "\""), std::string::npos) << r.error;
    }
    EXPECT_FALSE(std::filesystem::exists(missingFolder));

    size_t calls = 0;
    auto r = qm::render::renderPdfToSink(*doc, layout, [&](const unsigned char*, size_t) { return ++calls, false; });
    EXPECT_FALSE(r.ok);
    EXPECT_FALSE(r.error.empty());
    EXPECT_GE(calls, 1u);

    r = qm::render::renderPdfToSink(*doc, LayoutResult{}, [](const unsigned char*, size_t) { return true; });
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.pages, 0);
}
