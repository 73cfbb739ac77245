// Printing through a CUPS server started for the test: queues, jobs in order, refusals, Stop.
#include "cli/Cli.h"
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "print/CupsPrinters.h"
#include "print/CupsServer.h"
#include "print/PrintFakes.h"
#include "print/PrintJob.h"
#include "print/WizardPrinting.h"
#include "render/PdfFacts.h"
#include "settings/IniRW.h"

#include <cstdlib>
#include <cups/cups.h>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::print;
using qm::testing::CupsServer;
using qm::testing::ManualClock;

namespace {

class CupsPrinting : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        server = std::make_unique<CupsServer>();
        if (!server->start())
            return;
        // The command line asks the server the user's settings name; this
        // process names the test's own. Waiting for the server asked
        // libcups already, which keeps the server it found first until told
        // to look again.
        ::setenv("CUPS_SERVER", server->address().c_str(), 1);
        ::unsetenv("LPDEST");
        ::unsetenv("PRINTER");
        cupsSetServer(nullptr);
    }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override
    {
        if (!server->failure().empty())
            GTEST_SKIP() << "no CUPS server for the test: " << server->failure();
        folder = qm::testing::perTestFolder("qm-cups-");
        fs::create_directories(folder / "settings");
        settings.folder = folder / "settings";
        jobsBefore = server->jobs("Test").size();
    }
    void TearDown() override { fs::remove_all(folder); }

    /// A plain-text document of `paragraphs` paragraphs, long enough to
    /// fill pages.
    std::string document(const char* name, int paragraphs)
    {
        const fs::path path = folder / name;
        std::ofstream out(path);
        for (int i = 1; i <= paragraphs; ++i)
            out << "Paragraph " << i << " of " << name << ", a line of text for the printer.\n";
        return path.string();
    }
    static int64_t laidOutPages(const std::string& path)
    {
        const engine::ReadResult read = engine::readDocument(path);
        return read.ok() ? engine::layout::layoutDocument(*read.document).pageCount() : -1;
    }
    void setOption(std::string_view key, std::string_view value)
    {
        settings::WriteINI(settings, "Options", "MAIN", key, value);
    }
    PrintResult printAll(const std::vector<std::string>& paths, ManualClock& clock)
    {
        app::ChaseList list;
        for (const std::string& p : paths)
            list.append(fs::path(p).filename().string(), p);
        CupsPrinterSystem printers(server->address());
        WizardPrinting engine(prompter, printers, settings);
        PrintJob job(engine, printers, prompter, settings, app::RunControl{nullptr, &stop}, clock);
        return job.run(list);
    }
    std::vector<CupsServer::Job> newJobs() const
    {
        std::vector<CupsServer::Job> all = server->jobs("Test");
        all.erase(all.begin(), all.begin() + long(jobsBefore));
        return all;
    }

    static std::unique_ptr<CupsServer> server;
    fs::path folder;
    settings::SettingsContext settings;
    RecordingPrompter prompter;
    app::StopFlag stop;
    size_t jobsBefore = 0;
};

std::unique_ptr<CupsServer> CupsPrinting::server;

} // namespace

// Three documents become three jobs in list order, each holding a PDF with
// as many pages as our layout gives the document.
TEST_F(CupsPrinting, ThreeDocumentsBecomeThreeJobsInOrderWithTheirPages)
{
    const std::vector<std::string> paths = {document("one.txt", 3), document("two.txt", 110),
                                            document("three.txt", 60)};
    setOption("PrinterToUse", "Test");
    ManualClock clock;
    const PrintResult result = printAll(paths, clock);
    EXPECT_EQ(result.ending, PrintEnding::Finished);
    EXPECT_TRUE(prompter.messages.empty());
    EXPECT_EQ(result.printed, paths);
    for (const auto& failure : result.failed)
        ADD_FAILURE() << failure.path << ": " << failure.reason;

    const std::vector<CupsServer::Job> jobs = newJobs();
    ASSERT_EQ(jobs.size(), 3u);
    const char* titles[] = {"one.txt", "two.txt", "three.txt"};
    std::vector<int64_t> expected, received;
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(jobs[i].title, titles[i]);
        expected.push_back(laidOutPages(paths[i]));
        received.push_back(qm::testing::pdfPageCount(jobs[i].document));
    }
    EXPECT_EQ(received, expected);
    // Different page counts, so the order is what the comparison proves.
    EXPECT_NE(expected[0], expected[1]);
    EXPECT_NE(expected[1], expected[2]);
}

// A stored printer the server does not have, or has under another letter
// case (which CUPS itself would accept), is refused before anything is sent.
TEST_F(CupsPrinting, RefusesAnUnknownPrinterAndOneDifferingInCase)
{
    EXPECT_EQ(CupsPrinterSystem(server->address()).printerNames(), (std::vector<std::string>{"Alpha", "Test"}));
    EXPECT_TRUE(CupsPrinterSystem("127.0.0.1:1").printerNames().empty()) << "no server, no printers";
    const std::vector<std::string> paths = {document("a.txt", 2)};
    for (const char* name : {"Basement", "test", "TEST"}) {
        setOption("PrinterToUse", name);
        ManualClock clock;
        EXPECT_EQ(printAll(paths, clock).ending, PrintEnding::Refused) << name;
        ASSERT_FALSE(prompter.messages.empty());
        EXPECT_EQ(prompter.messages.back().text,
                  "The Selected Printer No Longer Exists, Please Go To Options And Select A Printer");
    }
    EXPECT_EQ(prompter.messages.size(), 3u);
    EXPECT_TRUE(newJobs().empty());
}

// Stop pressed during the wait after the second document: the job ends
// there and the third document never reaches the server.
TEST_F(CupsPrinting, StopDuringAWaitEndsTheJob)
{
    const std::vector<std::string> paths = {document("a.txt", 2), document("b.txt", 2), document("c.txt", 2)};
    setOption("SecToWait", "2");
    ManualClock clock;
    clock.onIdle = [this](double now) {
        if (now >= 1.0)
            stop.set();
    };
    const PrintResult result = printAll(paths, clock);
    EXPECT_EQ(result.ending, PrintEnding::Stopped);
    EXPECT_DOUBLE_EQ(clock.now, 1.0);
    const std::vector<CupsServer::Job> jobs = newJobs();
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(jobs[0].title, "a.txt");
    EXPECT_EQ(jobs[1].title, "b.txt");
}

// The command line finds the server through the user's CUPS settings and
// prints on the default queue.
TEST_F(CupsPrinting, TheCommandPrintsOnTheDefaultQueue)
{
    const std::string a = document("a.txt", 2), b = document("b.txt", 80);
    std::ostringstream out, err;
    const int status =
        cli::runMain({"quillmeter", "--settings-dir", settings.folder.string(), "print", a, b}, out, err);
    EXPECT_EQ(status, cli::Success) << err.str();
    EXPECT_EQ(out.str(), "printed " + a + " on Test\nprinted " + b + " on Test\n");
    const std::vector<CupsServer::Job> jobs = newJobs();
    ASSERT_EQ(jobs.size(), 2u);
    EXPECT_EQ(qm::testing::pdfPageCount(jobs[1].document), laidOutPages(b));
}
