// quillmeter count with a scripted engine: filling the list, output forms and exit codes.
#include "cli/CountCommand.h"

#include "../render/PdfFacts.h"
#include "engine/Prompter.h"
#include "engine/formats/Reader.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::cli;

namespace {

// Counts a document as its size in bytes, so each file has its own figure;
// its lines are sevenths of that, so a line count has a fraction.
class SizeEngine : public app::CountingEngine {
public:
    void OpenWord(bool) override {}
    bool openJustDoc(const std::string& path, bool) override
    {
        current = path;
        return path.find("broken") == std::string::npos;
    }
    double measure(app::Measurement what, const std::string&, const std::string&) override
    {
        const double size = double(fs::file_size(current));
        return what == app::Measurement::Lines ? size / 7 : size;
    }
    bool CloseDocument() override { return true; }
    void resizeWordBack() override {}
    void CompleteClose() override {}
    std::string current;
};

// Refuses files named "broken" with the engine's own error report, as the
// real engine does.
class ReportingEngine : public SizeEngine {
public:
    explicit ReportingEngine(Prompter& prompter) : m_prompter(prompter) {}
    bool openJustDoc(const std::string& path, bool readOnly) override
    {
        if (SizeEngine::openJustDoc(path, readOnly))
            return true;
        m_prompter.show(errorReport("cannot open \"" + path + "\": the file is not a zip package", "-Opening DOC-"));
        return false;
    }

private:
    Prompter& m_prompter;
};

class CountCommand : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = fs::temp_directory_path() / ("qm-count-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "settings");
        fs::create_directories(root / "docs/sub");
        write("settings/ProfileList.log", "\"Per Word\"\r\n\"Lines\"\r\n");
        write("settings/Profiles.ini", "[Per Word]\r\nDonePer=Word\r\nBillAmount=$0.10\r\nDocType=*.txt\r\n"
                                       "[Lines]\r\nDonePer=\r\n");
        write("docs/a.txt", std::string(12, 'a'));
        write("docs/b.txt", std::string(3, 'b'));
        write("docs/skip.rtf", "x");
        write("docs/sub/c.txt", std::string(5, 'c'));
    }
    void TearDown() override { fs::remove_all(root); }
    void write(const char* relative, const std::string& text) { std::ofstream(root / relative) << text; }

    int count(std::vector<std::string> args, bool reporting = false)
    {
        out.str("");
        err.str("");
        // These tests count the same documents again and again; the ledger's
        // refusal of billed documents has its own tests.
        args.push_back("--no-billed-check");
        Context ctx{Args(std::move(args)), root / "settings", out, err};
        return runCount(ctx,
                        [reporting](Prompter& prompter, const settings::SettingsContext&,
                                    const std::string&) -> std::unique_ptr<app::CountingEngine> {
                            if (reporting)
                                return std::make_unique<ReportingEngine>(prompter);
                            return std::make_unique<SizeEngine>();
                        });
    }

    fs::path root;
    std::ostringstream out, err;
};

} // namespace

TEST_F(CountCommand, CountsAFolderWithTheProfilesPatternAndPrintsTheGrid)
{
    EXPECT_EQ(count({"--profile", "per word", (root / "docs").string()}), Success);
    const std::string table = out.str();
    EXPECT_NE(table.find("a.txt"), std::string::npos);
    EXPECT_NE(table.find("$1.20"), std::string::npos);
    EXPECT_EQ(table.find("skip.rtf"), std::string::npos);
    EXPECT_EQ(table.find("c.txt"), std::string::npos); // no --subfolders
    EXPECT_NE(table.find("2 documents"), std::string::npos);
    EXPECT_NE(table.find("$1.50"), std::string::npos); // the total
}

TEST_F(CountCommand, JsonAndCsvCarryRowsTotalsAndMessages)
{
    write("docs/sub/broken.txt", "zz");
    EXPECT_EQ(count({"--profile", "Per Word", "--subfolders", "--json", (root / "docs").string()}), Failure);
    const std::string json = out.str();
    for (const char* part :
         {"\"profile\": \"Per Word\"", "\"unit\": \"Words\"", "\"count\": 5", "\"amount\": 0.5", "\"documents\": 3",
          "\"count\": 20", "\"stopped\": false", "broken.txt", "\"messages\": []"})
        EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
    EXPECT_NE(err.str().find("broken.txt: could not be opened"), std::string::npos);

    EXPECT_EQ(count({"--profile", "Per Word", "--csv", (root / "docs/a.txt").string(), (root / "docs/a.txt").string()}),
              Success);
    EXPECT_EQ(out.str(),
              "name,count,amount,path\r\na.txt,12,$1.20," + (root / "docs/a.txt").string() + "\r\nTotal,12,$1.20,\r\n");
}

// A document left out is one line with the engine's reason, never the
// desktop's box text; the run ends with one summary line, which --quiet drops.
TEST_F(CountCommand, EachDocumentLeftOutIsOneLineAndASummaryEndsTheRun)
{
    write("docs/sub/broken.txt", "zz");
    const std::string broken = (root / "docs/sub/broken.txt").string();
    EXPECT_EQ(count({"--profile", "Per Word", "--subfolders", (root / "docs").string()}, true), Failure);
    EXPECT_EQ(err.str(), "quillmeter count: " + broken +
                             ": the file is not a zip package; left out of the count\n"
                             "1 of 4 documents could not be counted\n");
    EXPECT_NE(out.str().find("3 documents"), std::string::npos);
    EXPECT_EQ(count({"--profile", "Per Word", "--subfolders", "--quiet", "--json", (root / "docs").string()}, true),
              Failure);
    EXPECT_EQ(err.str(), "quillmeter count: " + broken + ": the file is not a zip package; left out of the count\n");
    EXPECT_NE(out.str().find("\"documents\": 3"), std::string::npos);
}

// Counts are shown with two decimals at most; JSON and CSV keep every digit.
TEST_F(CountCommand, TheTableShowsTwoDecimalsWhileCsvKeepsTheFullCount)
{
    write("settings/Profiles.ini", "[Lines]\r\nDonePer=Line\r\nDocType=*.txt\r\n");
    write("docs/a.txt", "abcdefghijklmnopqrstuvwxyz"); // 26 bytes: 26 / 7 lines
    EXPECT_EQ(count({"--profile", "Lines", (root / "docs/a.txt").string()}), Success);
    EXPECT_NE(out.str().find(" 3.71 "), std::string::npos) << out.str();
    EXPECT_EQ(out.str().find("3.714"), std::string::npos) << out.str();
    EXPECT_EQ(count({"--profile", "Lines", "--csv", (root / "docs/a.txt").string()}), Success);
    EXPECT_NE(out.str().find(",3.71428571428571,"), std::string::npos) << out.str();
}

TEST_F(CountCommand, UsageAndProfileErrorsExitWithTwo)
{
    EXPECT_EQ(count({"--profile", "Nobody", (root / "docs").string()}), UsageFailure);
    EXPECT_NE(err.str().find("no profile named \"Nobody\""), std::string::npos);
    EXPECT_EQ(count({"--profile", "Lines", "--json", (root / "docs").string()}), UsageFailure);
    EXPECT_NE(out.str().find("You Must Enter A \\\"Done BY\\\" In This Profile."), std::string::npos);
    EXPECT_THROW(count({(root / "docs").string()}), UsageError);
    EXPECT_THROW(count({"--profile", "Per Word", (root / "missing").string()}), UsageError);
    EXPECT_THROW(count({"--profile", "Per Word", "--csv", "--json", (root / "docs").string()}), UsageError);
}

TEST_F(CountCommand, ByDateAsksForAMissingRangeAndUsesToday)
{
    EXPECT_EQ(count({"--profile", "Per Word", "--by-date", "--json", (root / "docs").string()}), Success);
    EXPECT_NE(out.str().find("You Have Not Set A Date Range."), std::string::npos);
    EXPECT_NE(out.str().find("\"documents\": 3"), std::string::npos); // sub-folders included
    write("settings/Options.ini", "[MAIN]\r\nDateRangeFrom=01/01/2001\r\nDateRangeTo=12/31/2001\r\n");
    EXPECT_EQ(count({"--profile", "Per Word", "--by-date", (root / "docs").string()}), Failure);
    EXPECT_NE(err.str().find("There Are No Files To Traverse"), std::string::npos);
}

TEST_F(CountCommand, BreakdownAddsEveryMeasurementOfEachDocument)
{
    write("settings/Profiles.ini", "[Per Word]\r\nDonePer=Word\r\nCharPerLine=4\r\nDocType=*.txt\r\n");
    EXPECT_EQ(count({"--profile", "Per Word", "--json", "--breakdown", (root / "docs/b.txt").string()}), Success);
    const std::string json = out.str();
    // "bbb": one word of three characters, 3 / 4 of a line.
    for (const char* part : {"\"measurements\": {", "\"CountWords\": 1", "\"CountChar\": 3", "\"Countlines\": 0.75",
                             "\"breakdown\": {", "\"characters\": 3", "\"characters_per_line\": 4"})
        EXPECT_NE(json.find(part), std::string::npos) << part << "\n" << json;
    EXPECT_THROW(count({"--profile", "Per Word", "--csv", "--breakdown", (root / "docs").string()}), UsageError);
}

TEST_F(CountCommand, InvoiceIsWrittenAfterAFinishedRun)
{
    write("settings/Options.ini", "[MAIN]\r\nCompanyName=Quill Typing\r\n");
    write("settings/Profiles.ini", "[Per Word]\r\nDonePer=Word\r\nBillAmount=$0.10\r\nDocType=*.txt\r\n"
                                   "PrintCountedDoc=1\r\nShowBillingRate=1\r\n");
    const fs::path invoice = root / "invoice.docx";
    EXPECT_EQ(count({"--profile", "Per Word", "--invoice", invoice.string(), (root / "docs").string()}), Success);
    EXPECT_NE(out.str().find("2 documents"), std::string::npos) << "the table is still printed";
    const engine::ReadResult read = engine::readDocument(invoice);
    ASSERT_TRUE(read.ok()) << read.error;
    const std::u16string& text = read.document->mainStory().text;
    for (const char16_t* part : {u"Per Word\r", u"Quill Typing", u"a.txt\a12.00\a$1.20\a",
                                 u"Total:2    ( Billed @ $0.10 / Word )\a15.00\a$1.50\a"})
        EXPECT_NE(text.find(part), std::u16string::npos)
            << std::string(part, part + std::char_traits<char16_t>::length(part));

    // The same invoice as PDF, one page.
    const fs::path pdf = root / "invoice.pdf";
    EXPECT_EQ(count({"--profile", "Per Word", "--invoice", pdf.string(), (root / "docs").string()}), Success);
    const std::string bytes = qm::testing::readBytes(pdf.string());
    EXPECT_TRUE(bytes.starts_with("%PDF-"));
    EXPECT_EQ(qm::testing::pdfPageCount(bytes), 1);

    // A file of another kind is refused before anything is counted.
    EXPECT_THROW(
        count({"--profile", "Per Word", "--invoice", (root / "invoice.txt").string(), (root / "docs").string()}),
        UsageError);
    // A folder that does not exist: the run's table is printed, the exit says the invoice failed.
    EXPECT_EQ(
        count({"--profile", "Per Word", "--invoice", (root / "none/invoice.docx").string(), (root / "docs").string()}),
        Failure);
    EXPECT_NE(err.str().find("none/invoice.docx: cannot write the file"), std::string::npos) << err.str();
}

// Three documents at $0.125 each show $0.12 apiece: the total is the $0.36
// the rows add up to, as on the invoice, not the $0.38 of the exact sum.
TEST_F(CountCommand, TotalAddsTheAmountsAsShown)
{
    write("settings/Profiles.ini", "[Per Word]\r\nDonePer=Word\r\nBillAmount=$0.125\r\nDocType=*.txt\r\n");
    fs::create_directories(root / "eighths");
    for (const char* name : {"eighths/x.txt", "eighths/y.txt", "eighths/z.txt"})
        write(name, "w");
    EXPECT_EQ(count({"--profile", "Per Word", "--csv", (root / "eighths").string()}), Success);
    EXPECT_NE(out.str().find("Total,3,$0.36,"), std::string::npos) << out.str();
}
