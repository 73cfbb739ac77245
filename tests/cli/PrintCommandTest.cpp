// quillmeter print over a fake print system: printer, order, refusals and named failures.
#include "cli/PrintCommand.h"

#include "print/PrintFakes.h"
#include "render/PdfFacts.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::cli;

namespace {

class PrintCommand : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = fs::temp_directory_path() / ("qm-print-cli-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "settings");
        fs::create_directories(root / "docs");
        std::ofstream(root / "docs/a.txt") << "First document.\n";
        std::ofstream(root / "docs/b.txt") << "Second document.\n";
        qm::testing::officeAndLabel(printers);
    }
    void TearDown() override { fs::remove_all(root); }

    int print(std::vector<std::string> args)
    {
        out.str("");
        err.str("");
        Context ctx{Args(std::move(args)), root / "settings", out, err};
        return runPrint(ctx, printers, clock);
    }
    std::string doc(const char* name) const { return (root / "docs" / name).string(); }
    std::vector<std::string> sent() const
    {
        std::vector<std::string> jobs;
        for (const auto& job : printers.jobs)
            jobs.push_back(job.printer + " " + job.title);
        return jobs;
    }

    fs::path root;
    std::ostringstream out, err;
    qm::testing::FakePrinterSystem printers;
    qm::testing::ManualClock clock;
};

} // namespace

// The documents go in the order named, to --printer, else to PrinterToUse,
// else to the default printer; the stored wait is kept between them.
TEST_F(PrintCommand, PrintsInOrderOnTheChosenPrinter)
{
    EXPECT_EQ(print({doc("b.txt"), doc("a.txt")}), Success) << err.str();
    EXPECT_EQ(sent(), (std::vector<std::string>{"Office b.txt", "Office a.txt"}));
    EXPECT_EQ(out.str(), "printed " + doc("b.txt") + " on Office\nprinted " + doc("a.txt") + " on Office\n");
    EXPECT_EQ(qm::testing::pdfPageCount(printers.jobs[0].pdf), 1);

    std::ofstream(root / "settings/Options.ini") << "[MAIN]\r\nPrinterToUse=Label\r\nSecToWait=2\r\n";
    printers.jobs.clear();
    clock.now = 0;
    EXPECT_EQ(print({doc("a.txt"), doc("b.txt")}), Success) << err.str();
    EXPECT_EQ(sent(), (std::vector<std::string>{"Label a.txt", "Label b.txt"}));
    EXPECT_DOUBLE_EQ(clock.now, 2.5);

    printers.jobs.clear();
    EXPECT_EQ(print({"--printer", "Office", doc("a.txt")}), Success) << err.str();
    EXPECT_EQ(sent(), std::vector<std::string>{"Office a.txt"});
}

// A printer that is not installed, by name or only by letter case, is
// refused with the screen's message before anything prints.
TEST_F(PrintCommand, RefusesAPrinterThatIsNotInstalledExactly)
{
    for (const char* name : {"Basement", "office"}) {
        EXPECT_EQ(print({"--printer", name, doc("a.txt")}), Failure);
        EXPECT_EQ(err.str(), "Selected Printer: The Selected Printer No Longer Exists, Please Go To Options And "
                             "Select A Printer\n");
    }
    printers.names.clear();
    EXPECT_EQ(print({doc("a.txt")}), Failure);
    EXPECT_NE(err.str().find("There Are No Printer Installed On This System"), std::string::npos);
    EXPECT_TRUE(printers.jobs.empty());
}

// Bad names stop the command before the first document prints; a document
// that does not print is named with the reason.
TEST_F(PrintCommand, NamesTheFileThatCannotBePrinted)
{
    EXPECT_THROW(print({}), UsageError);
    try {
        print({doc("a.txt"), doc("nothere.txt")});
        ADD_FAILURE() << "no error for a missing file";
    } catch (const UsageError& e) {
        EXPECT_EQ(std::string(e.what()), doc("nothere.txt") + ": no such file");
    }
    EXPECT_THROW(print({(root / "docs").string()}), UsageError);
    EXPECT_TRUE(printers.jobs.empty());

    printers.refuseWith = "printer \"Office\": the job could not be created: Forbidden";
    EXPECT_EQ(print({doc("a.txt")}), Failure);
    EXPECT_EQ(err.str(), "quillmeter print: " + doc("a.txt") +
                             ": not printed: printer \"Office\": the job could not be created: Forbidden\n");
}
