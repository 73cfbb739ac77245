// Tests for the invoice's files: .docx or PDF by the extension, and the hand-over to the user.
#include "report/InvoiceFile.h"

#include "../render/PdfFacts.h"
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "report/InvoiceDocument.h"

#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace qm::report {
namespace {

namespace fs = std::filesystem;
using qm::testing::pdfMediaBoxes;
using qm::testing::pdfPageCount;
using qm::testing::readBytes;

InvoiceContent content(size_t documents)
{
    InvoiceContent c;
    c.unitPlural = "Lines";
    c.unitSingular = "Line";
    c.senderLines = {"Quill Typing", "1 Main St", "Springfield, IL 62701", "", ""};
    c.billToLines = {"Bill To:", "Acme Clinic", "9 Oak Ave", "Peoria, il 61602"};
    c.hasTable = true;
    for (size_t i = 0; i < documents; ++i)
        c.rows.push_back({"report-" + std::to_string(i) + ".doc", "10.00", "$12.50", i % 2 == 1 && i != 1});
    c.totalLabel = "Total:" + std::to_string(documents);
    c.countTotal = std::to_string(documents * 10) + ".00";
    c.amountTotal = "$" + std::to_string(documents * 12) + ".50";
    return c;
}

class InvoiceFileTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        m_folder = fs::temp_directory_path() / ("qm-invoice-file-" + std::to_string(::getpid()) + "-" +
                                                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(m_folder);
        fs::create_directories(m_folder / "tmp");
        m_context.folder = m_folder;
    }
    void TearDown() override { fs::remove_all(m_folder); }

    void writeOptions(const std::string& text) { std::ofstream(m_folder / "Options.ini") << "[MAIN]\n" << text; }

    fs::path m_folder;
    settings::SettingsContext m_context;
    RecordingPrompter m_prompter;
};

// An extension other than .docx or .pdf, or a folder that is not there,
// is refused with the path named and nothing left behind.
TEST_F(InvoiceFileTest, FormatFollowsTheExtensionAndRefusalsLeaveNothing)
{
    EXPECT_EQ(invoiceFormatOf("a/Invoice.DOCX"), InvoiceFormat::Docx);
    EXPECT_EQ(invoiceFormatOf("Invoice.Pdf"), InvoiceFormat::Pdf);
    EXPECT_EQ(invoiceFormatOf("Invoice.doc"), std::nullopt);
    EXPECT_EQ(invoiceFormatOf("pdf"), std::nullopt);
    const auto invoice = invoiceDocument("Acme Clinic", content(2), true);
    for (const fs::path& path : {m_folder / "Invoice.rtf", m_folder / "missing" / "Invoice.pdf"}) {
        const engine::WriteResult refused = saveInvoice(*invoice, path);
        EXPECT_FALSE(refused.ok());
        EXPECT_NE(refused.error.find(path.extension() == ".rtf" ? "\".rtf\"" : path.string()), std::string::npos)
            << refused.error;
        EXPECT_FALSE(fs::exists(path));
    }
}

// Seventy rows do not fit on one page: every laid-out page must reach the PDF.
TEST_F(InvoiceFileTest, PdfHasTheLaidOutPages)
{
    const auto invoice = invoiceDocument("Acme Clinic", content(70), true);
    const fs::path pdf = m_folder / "Invoice.pdf";
    const engine::WriteResult written = saveInvoice(*invoice, pdf);
    ASSERT_TRUE(written.ok()) << written.error;
    const std::string bytes = readBytes(pdf.string());
    ASSERT_TRUE(bytes.starts_with("%PDF-"));
    const int64_t laidOut = engine::layout::layoutDocument(*invoice).pageCount();
    EXPECT_GT(laidOut, 1);
    EXPECT_EQ(pdfPageCount(bytes), laidOut);
    for (const auto& [width, height] : pdfMediaBoxes(bytes)) {
        EXPECT_NEAR(width, 612, 0.5) << "US Letter";
        EXPECT_NEAR(height, 792, 0.5);
    }
}

TEST_F(InvoiceFileTest, HandOverAsksWhereToKeepItThenOpensIt)
{
    const auto invoice = invoiceDocument("Acme/Clinic", content(2), true);
    std::vector<fs::path> suggested, opened;
    InvoiceHandover handover;
    handover.temporaryFolder = m_folder / "tmp";
    handover.open = [&](const fs::path& p) {
        opened.push_back(p);
        return true;
    };
    const fs::path chosen = m_folder / "kept.pdf";
    handover.askSavePath = [&](const fs::path& s) -> std::optional<fs::path> {
        suggested.push_back(s);
        return chosen;
    };

    // AskSaveWindow missing: "0", the dialog asks; a .pdf answer gives a PDF.
    EXPECT_EQ(handOverInvoice(*invoice, "Acme/Clinic", m_context, m_prompter, handover), chosen);
    EXPECT_EQ(suggested, (std::vector<fs::path>{"Invoice Acme_Clinic.docx"})) << "a name the file system takes";
    EXPECT_EQ(opened, (std::vector<fs::path>{chosen}));
    EXPECT_TRUE(readBytes(chosen.string()).starts_with("%PDF-"));

    // Cancelled: the invoice is still shown, from the temporary folder.
    handover.askSavePath = [](const fs::path&) -> std::optional<fs::path> { return std::nullopt; };
    const fs::path temporary = m_folder / "tmp" / "Invoice Acme_Clinic.docx";
    EXPECT_EQ(handOverInvoice(*invoice, "Acme/Clinic", m_context, m_prompter, handover), temporary);
    EXPECT_TRUE(engine::readDocument(temporary).ok());

    // Any other AskSaveWindow: no dialog at all.
    writeOptions("AskSaveWindow=1\n");
    handover.askSavePath = [&](const fs::path&) -> std::optional<fs::path> {
        ADD_FAILURE() << "no dialog expected";
        return chosen;
    };
    fs::remove(temporary);
    EXPECT_EQ(handOverInvoice(*invoice, "Acme/Clinic", m_context, m_prompter, handover), temporary);
    EXPECT_TRUE(fs::exists(temporary));
    EXPECT_EQ(opened.size(), 3u);
    EXPECT_TRUE(m_prompter.messages.empty());
}

TEST_F(InvoiceFileTest, FailedHandOverReportsAndOpensNothing)
{
    const auto invoice = invoiceDocument("Acme Clinic", content(1), true);
    InvoiceHandover handover;
    handover.temporaryFolder = m_folder / "tmp";
    handover.askSavePath = [&](const fs::path&) -> std::optional<fs::path> { return m_folder / "gone" / "a.pdf"; };
    bool opened = false;
    handover.open = [&](const fs::path&) { return opened = true; };
    EXPECT_EQ(handOverInvoice(*invoice, "Acme Clinic", m_context, m_prompter, handover), std::nullopt);
    EXPECT_FALSE(opened);
    ASSERT_EQ(m_prompter.messages.size(), 1u);
    EXPECT_EQ(m_prompter.messages[0].title, "Error");
    EXPECT_NE(m_prompter.messages[0].text.find("gone/a.pdf"), std::string::npos);
    EXPECT_TRUE(m_prompter.messages[0].text.ends_with("-Export To Report-"));
}

} // namespace
} // namespace qm::report
