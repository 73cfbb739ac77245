// The ledger from the command line: numbered runs, documents billed twice,
// the history commands and a ledger that cannot be kept.
#include "RunCli.h"
#include "engine/formats/Reader.h"

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm::cli;
using qm::testing::runCli;

namespace {

class LedgerCli : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = fs::temp_directory_path() / ("qm-ledger-cli-" + std::to_string(::getpid()));
        fs::remove_all(root);
        fs::create_directories(root / "settings");
        fs::create_directories(root / "docs");
        write("settings/ProfileList.log", "\"Acme\"\r\n");
        write("settings/Profiles.ini", "[Acme]\r\nDonePer=Word\r\nBillAmount=$0.10\r\nDocType=*.txt\r\n"
                                       "PrintCountedDoc=1\r\n");
        write("settings/Options.ini", "[MAIN]\r\nCompanyName=Quill Typing\r\n");
        write("docs/a.txt", "one two three four\r\n");
        write("docs/b.txt", "five six\r\n");
    }
    void TearDown() override { fs::remove_all(root); }
    void write(const std::string& relative, const std::string& text)
    {
        std::ofstream(root / relative, std::ios::binary) << text;
    }
    qm::testing::CliOutcome run(std::vector<std::string> args)
    {
        return runCli(std::move(args), {"--settings-dir", (root / "settings").string()});
    }
    qm::testing::CliOutcome count(std::vector<std::string> extra)
    {
        std::vector<std::string> args{"count", "--profile", "Acme", "--quiet"};
        args.insert(args.end(), extra.begin(), extra.end());
        return run(args);
    }
    std::u16string invoiceText(const fs::path& file)
    {
        const auto read = qm::engine::readDocument(file);
        EXPECT_TRUE(read.ok()) << read.error;
        return read.ok() ? read.document->mainStory().text : std::u16string();
    }
    static size_t occurrences(const std::string& text, const std::string& part)
    {
        size_t n = 0;
        for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1))
            ++n;
        return n;
    }

    fs::path root;
};

} // namespace

TEST_F(LedgerCli, RunsAreNumberedAndADocumentIsNeverBilledTwiceUnknowingly)
{
    const std::string docs = (root / "docs").string();
    const fs::path firstInvoice = root / "first.docx";
    auto o = count({docs, "--json", "--invoice", firstInvoice.string()});
    ASSERT_EQ(o.code, Success) << o.err;
    const std::string year = o.out.substr(o.out.find("\"invoice_number\": \"") + 19, 4);
    EXPECT_NE(o.out.find("\"invoice_number\": \"" + year + "-0001\""), std::string::npos) << o.out;
    EXPECT_NE(invoiceText(firstInvoice).find(u"Invoice No. "), std::u16string::npos);

    // Counting them again is refused, naming them, and nothing is written.
    o = count({docs});
    EXPECT_EQ(o.code, UsageFailure);
    EXPECT_EQ(o.out, "");
    EXPECT_NE(o.err.find("2 documents already billed under \"Acme\""), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("--rebill"), std::string::npos);
    // A renamed copy is the same document.
    fs::copy_file(root / "docs/a.txt", root / "renamed.txt");
    o = count({(root / "renamed.txt").string()});
    EXPECT_EQ(o.code, UsageFailure);
    EXPECT_NE(o.err.find("renamed.txt (billed as " + (root / "docs/a.txt").string()), std::string::npos) << o.err;
    EXPECT_EQ(occurrences(run({"ledger", "list", "--json"}).out, "\"run\""), 1u);

    // --skip-billed counts only what is new; --rebill counts everything.
    write("docs/c.txt", "seven eight nine\r\n");
    o = count({docs, "--skip-billed", "--json"});
    ASSERT_EQ(o.code, Success) << o.err;
    EXPECT_NE(o.out.find("\"invoice_number\": \"" + year + "-0002\""), std::string::npos) << o.out;
    EXPECT_EQ(occurrences(o.out, "\"path\""), 1u) << o.out;
    o = count({docs, "--rebill"});
    ASSERT_EQ(o.code, Success) << o.err;
    EXPECT_NE(o.out.find("Invoice " + year + "-0003"), std::string::npos) << o.out;

    o = run({"ledger", "list", "--json"});
    ASSERT_EQ(o.code, Success) << o.err;
    EXPECT_EQ(occurrences(o.out, "\"run\": "), 3u) << o.out;
    for (const char* key :
         {"\"invoice_number\": ", "\"profile\": \"Acme\"", "\"time\": ", "\"documents\": ", "\"stopped\": false"})
        EXPECT_EQ(occurrences(o.out, key), 3u) << key;
    EXPECT_EQ(occurrences(run({"ledger", "list", "--csv", "--from", "2000-01-01", "--to", "2000-12-31"}).out, "\n"), 1u)
        << "only the heading: no run in 2000";

    o = run({"ledger", "show", "1", "--json"});
    ASSERT_EQ(o.code, Success) << o.err;
    EXPECT_EQ(occurrences(o.out, "\"sha256\": "), 2u) << o.out;
    EXPECT_NE(o.out.find("\"CountWords\": 4"), std::string::npos) << o.out;

    // The first invoice again, from the ledger alone: the documents are gone
    // and the profile's rate has changed since.
    fs::remove_all(root / "docs");
    write("settings/Profiles.ini", "[Acme]\r\nDonePer=Word\r\nBillAmount=$9.99\r\nDocType=*.txt\r\n");
    const fs::path again = root / "again.docx";
    o = run({"ledger", "invoice", "1", "--out", again.string()});
    ASSERT_EQ(o.code, Success) << o.err;
    EXPECT_EQ(invoiceText(again), invoiceText(firstInvoice));

    const fs::path statement = root / "statement.docx";
    o = run({"ledger", "statement", "--profile", "acme", "--from", "2000-01-01", "--to", "2999-12-31", "--out",
             statement.string()});
    ASSERT_EQ(o.code, Success) << o.err;
    const std::u16string text = invoiceText(statement);
    for (const char16_t* part : {u"-0001", u"-0002", u"-0003", u"3 invoices"})
        EXPECT_NE(text.find(part), std::u16string::npos);
}

TEST_F(LedgerCli, ALedgerThatCannotBeKeptLeavesTheCountRunning)
{
    // Not even root can create a file under a plain file.
    write("plain", "x");
    write("settings/Options.ini", "[MAIN]\r\nLedger=" + (root / "plain/ledger.sqlite").string() + "\r\n");
    const fs::path invoice = root / "invoice.docx";
    auto o = count({(root / "docs").string(), "--json", "--invoice", invoice.string()});
    EXPECT_EQ(o.code, Success) << o.err;
    EXPECT_NE(o.out.find("\"invoice_number\": null"), std::string::npos) << o.out;
    EXPECT_EQ(occurrences(o.err, "the ledger is off"), 1u) << o.err;
    EXPECT_NE(invoiceText(invoice).find(u"Invoice No.: none"), std::u16string::npos);

    // A ledger file that is not one: the same, and the file is untouched.
    write("notes.sqlite", "my notes");
    o = count({(root / "docs").string(), "--ledger", (root / "notes.sqlite").string()});
    EXPECT_EQ(o.code, Success) << o.err;
    EXPECT_NE(o.err.find("is not a ledger"), std::string::npos) << o.err;
    std::ifstream in(root / "notes.sqlite");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), "my notes");

    // Turned off, it is neither written nor mentioned.
    o = count({(root / "docs").string(), "--ledger", "off", "--json"});
    EXPECT_EQ(o.code, Success);
    EXPECT_EQ(o.err, "");
    EXPECT_FALSE(fs::exists(root / "settings/ledger.sqlite"));
}

// A run the ledger cannot record still shows its results, says so, and its
// invoice says it has no number.
TEST_F(LedgerCli, ARunTheLedgerCannotRecordIsShownAndItsInvoiceHasNoNumber)
{
    auto o = run({"ledger", "list"});
    EXPECT_EQ(o.code, Failure);
    EXPECT_NE(o.err.find("no run has been recorded"), std::string::npos) << o.err;
    EXPECT_FALSE(fs::exists(root / "settings/ledger.sqlite")) << "reading creates no ledger";

    write("settings/Options.ini", "[MAIN]\r\nInvoiceNumberFormat=INV-{seq}\r\n");
    const fs::path invoice = root / "invoice.docx";
    o = count({(root / "docs").string(), "--json", "--invoice", invoice.string()});
    EXPECT_EQ(o.code, Failure);
    EXPECT_NE(o.out.find("\"invoice_number\": null"), std::string::npos) << o.out;
    EXPECT_NE(o.out.find("\"documents\": 2"), std::string::npos) << o.out;
    EXPECT_NE(o.err.find("{seq}"), std::string::npos) << o.err;
    EXPECT_NE(o.err.find("the run was not written to the ledger"), std::string::npos) << o.err;
    EXPECT_NE(invoiceText(invoice).find(u"Invoice No.: none"), std::u16string::npos);
    EXPECT_EQ(occurrences(run({"ledger", "list", "--csv"}).out, "\n"), 1u) << "nothing half written";

    // Billed by lines, a document keeps the parts of its billed lines.
    write("settings/Options.ini", "[MAIN]\r\n");
    write("settings/Profiles.ini", "[Acme]\r\nDonePer=Line\r\nBillAmount=$1.00\r\nCharPerLine=10\r\n");
    ASSERT_EQ(count({(root / "docs/a.txt").string()}).code, Success);
    o = run({"ledger", "show", "1", "--json"});
    for (const char* part : {"\"Countlines\": ", "\"lines.characters", "\"lines.characters_per_line\": "})
        EXPECT_NE(o.out.find(part), std::string::npos) << part << "\n" << o.out;
}

TEST_F(LedgerCli, MalformedLedgerCommandsAreUsageErrors)
{
    const std::vector<std::vector<std::string>> cases = {
        {"count", "--profile", "Acme", "--rebill", "--skip-billed", (root / "docs").string()},
        {"ledger", "list", "--from", "03/04/2026"},
        {"ledger", "list", "--to", "2026-02-30"},
        {"ledger", "show"},
        {"ledger", "show", "x1"},
        {"ledger", "invoice", "1"},
        {"ledger", "invoice", "1", "--out", "invoice.txt"},
        {"ledger", "statement", "--profile", "Acme", "--out", "s.docx"},
        {"ledger", "list", "--out", "s.docx"},
        {"ledger", "frobnicate"},
    };
    for (const auto& args : cases) {
        const auto o = run(args);
        EXPECT_EQ(o.code, UsageFailure) << args[1] << " " << (args.size() > 2 ? args[2] : "") << ": " << o.err;
    }
    ASSERT_EQ(count({(root / "docs").string()}).code, Success);
    const auto o = run({"ledger", "show", "42"});
    EXPECT_EQ(o.code, Failure);
    EXPECT_NE(o.err.find("no run 42"), std::string::npos) << o.err;
}
