// Printing one document with our engine: the PDF sent, the printer it goes to, failures.
#include "print/WizardPrinting.h"

#include "../engine/formats/support/TextWmf.h"
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "print/PrintFakes.h"
#include "render/PdfFacts.h"
#include "settings/IniRW.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::print;
using qm::testing::FakePrinterSystem;

namespace {

class WizardPrintingTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = qm::testing::perTestFolder("qm-wizardprint-");
        settings.folder = folder;
        qm::testing::officeAndLabel(printers);
        document = folder / "long letter.txt";
        std::ofstream out(document);
        for (int i = 1; i <= 90; ++i)
            out << "Paragraph " << i << " of a letter long enough to need more than one page when laid out.\n";
    }
    void TearDown() override { fs::remove_all(folder); }

    fs::path folder;
    fs::path document;
    settings::SettingsContext settings;
    FakePrinterSystem printers;
    RecordingPrompter prompter;
};

} // namespace

// Catches a printout that is not our layout's: every laid-out page becomes
// one PDF page, sent as one job named after the file, on the stored printer.
TEST_F(WizardPrintingTest, SendsTheLaidOutPagesToTheChosenPrinter)
{
    settings::WriteINI(settings, "Options", "MAIN", "PrinterToUse", "Label");
    WizardPrinting engine(prompter, printers, settings);
    engine.OpenWord();
    ASSERT_TRUE(engine.openJustDoc(document.string()));
    EXPECT_TRUE(engine.PrintDocument()) << engine.lastError();
    engine.CloseDocument();
    engine.CompleteClose();

    const engine::ReadResult read = engine::readDocument(document);
    ASSERT_TRUE(read.ok());
    const int64_t pages = engine::layout::layoutDocument(*read.document).pageCount();
    ASSERT_GT(pages, 1);
    ASSERT_EQ(printers.jobs.size(), 1u);
    EXPECT_EQ(printers.jobs[0].printer, "Label");
    EXPECT_EQ(printers.jobs[0].title, "long letter.txt");
    EXPECT_EQ(qm::testing::pdfPageCount(printers.jobs[0].pdf), pages);
    EXPECT_TRUE(prompter.messages.empty());
}

// A stored printer that is gone (or named in another letter case) leaves the
// document to the system's default; with no default either, nothing prints.
// Failures return false and say why for the command line; the screen shows nothing.
TEST_F(WizardPrintingTest, FallsBackToTheDefaultPrinterAndFailsQuietly)
{
    settings::WriteINI(settings, "Options", "MAIN", "PrinterToUse", "label");
    WizardPrinting engine(prompter, printers, settings);
    engine.OpenWord();
    EXPECT_FALSE(engine.PrintDocument());
    EXPECT_EQ(engine.lastError(), "no document is open");
    ASSERT_TRUE(engine.openJustDoc(document.string()));
    EXPECT_TRUE(engine.PrintDocument());
    ASSERT_EQ(printers.jobs.size(), 1u);
    EXPECT_EQ(printers.jobs[0].printer, "Office");

    printers.refuseWith = "printer \"Office\": the job could not be created: Forbidden";
    EXPECT_FALSE(engine.PrintDocument());
    EXPECT_EQ(engine.lastError(), printers.refuseWith);
    printers.refuseWith.clear();
    printers.defaultName.clear();
    EXPECT_FALSE(engine.PrintDocument());
    EXPECT_NE(engine.lastError().find("no printer"), std::string::npos);
    EXPECT_EQ(printers.jobs.size(), 1u);
    EXPECT_TRUE(prompter.messages.empty());
    engine.CompleteClose();
}

// Catches a printout without the text of metafile pictures that Word prints:
// an RTF letter in Times New Roman with a picture whose metafile draws
// "Chart" in Courier New; the PDF sent carries the monospaced face as well.
TEST_F(WizardPrintingTest, PrintsTheTextMetafilePicturesDraw)
{
    // A WMF as RTF holds it: window 1000 units square, a Courier New font
    // 100 units high, "Chart" drawn at (250, 500).
    const std::string hex = engine::test::rtfHex(engine::test::textWmf("Chart", "Courier New", false));
    const fs::path letter = folder / "letter with chart.rtf";
    std::ofstream(letter) << "{\\rtf1\\ansi\\deff0{\\fonttbl{\\f0\\froman Times New Roman;}}\\f0 Dear reader,\\par "
                          << "{\\pict\\wmetafile8\\picwgoal2880\\pichgoal1440 " << hex << "}\\par}";
    WizardPrinting engine(prompter, printers, settings);
    engine.OpenWord();
    ASSERT_TRUE(engine.openJustDoc(letter.string()));
    EXPECT_TRUE(engine.PrintDocument()) << engine.lastError();
    engine.CloseDocument();
    engine.CompleteClose();
    ASSERT_EQ(printers.jobs.size(), 1u);
    const std::vector<std::string> fonts = qm::testing::pdfFonts(printers.jobs[0].pdf);
    auto has = [&](std::string_view part) {
        return std::any_of(fonts.begin(), fonts.end(), [&](const std::string& f) { return f.find(part) != std::string::npos; });
    };
    EXPECT_TRUE(has("Serif")) << "the letter's own face";
    EXPECT_TRUE(has("Mono") || has("Courier")) << "the picture's text";
}
