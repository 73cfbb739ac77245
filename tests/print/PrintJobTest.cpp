// The print job over a scripted engine: refusals, waits between documents, Stop, failures.
#include "print/PrintJob.h"

#include "print/PrintFakes.h"
#include "settings/IniRW.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <stdexcept>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::print;
using qm::testing::FakePrinterSystem;
using qm::testing::ManualClock;

namespace {

/// Logs every call with the clock's time at that moment; documents whose
/// path holds "missing" do not open, "jam" fails to print, "throw" throws.
class ScriptedEngine : public PrintingEngine {
public:
    explicit ScriptedEngine(ManualClock& clock) : m_clock(clock) {}

    void OpenWord() override { calls.push_back("OpenWord"); }
    bool openJustDoc(const std::string& path) override
    {
        calls.push_back("open " + path);
        current = path;
        return path.find("missing") == std::string::npos;
    }
    bool PrintDocument() override
    {
        if (current.find("throw") != std::string::npos)
            throw std::runtime_error("the queue went away");
        calls.push_back("print " + current);
        printedAt.push_back(m_clock.now);
        return current.find("jam") == std::string::npos;
    }
    bool CloseDocument() override
    {
        calls.push_back("close");
        return true;
    }
    void CompleteClose() override { calls.push_back("CompleteClose"); }
    std::string lastError() const override { return "paper jam"; }

    std::vector<std::string> calls;
    std::vector<double> printedAt;
    std::string current;

private:
    ManualClock& m_clock;
};

class PrintJobTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = qm::testing::perTestFolder("qm-printjob-");
        settings.folder = folder;
        qm::testing::officeAndLabel(printers);
    }
    void TearDown() override { fs::remove_all(folder); }

    void setOption(std::string_view key, std::string_view value)
    {
        settings::WriteINI(settings, "Options", "MAIN", key, value);
    }

    app::ChaseList listOf(const std::vector<const char*>& paths)
    {
        app::ChaseList list;
        for (const char* p : paths)
            list.append(fs::path(p).filename().string(), p);
        return list;
    }

    PrintResult run(const app::ChaseList& list)
    {
        PrintJob job(engine, printers, prompter, settings, app::RunControl{[this] { ++pumps; }, &stop}, clock);
        job.hooks.started = [this] { events.push_back("started"); };
        job.hooks.ended = [this] { events.push_back("ended"); };
        job.hooks.entrySelected = [this](size_t i) { events.push_back("select " + std::to_string(i)); };
        job.hooks.printersRefreshed = [this](const std::vector<std::string>& names) {
            events.push_back("printers " + std::to_string(names.size()));
        };
        return job.run(list);
    }

    fs::path folder;
    settings::SettingsContext settings;
    FakePrinterSystem printers;
    ManualClock clock;
    ScriptedEngine engine{clock};
    RecordingPrompter prompter;
    app::StopFlag stop;
    std::vector<std::string> events;
    int pumps = 0;
};

Message info(const char* title, const char* text)
{
    return Message{title, text, MessageIcon::Information, MessageButtons::Ok};
}

} // namespace

// Each check stops the job before the engine starts, with its own message;
// the printer list is refreshed first whatever follows.
TEST_F(PrintJobTest, RefusesBeforeTheEngineStarts)
{
    EXPECT_EQ(run(app::ChaseList{}).ending, PrintEnding::Refused);
    EXPECT_EQ(prompter.messages.back(), info("Print", "There Are No Files To Print"));

    printers.names.clear();
    EXPECT_EQ(run(listOf({"/d/a.txt"})).ending, PrintEnding::Refused);
    EXPECT_EQ(prompter.messages.back(),
              info("Selected Printer", "There Are No Printer Installed On This System, Please "
                                       "Install A Printer Before Using This Feature"));

    printers.names = {"Office", "Label"};
    const Message gone =
        info("Selected Printer", "The Selected Printer No Longer Exists, Please Go To Options And Select A Printer");
    setOption("PrinterToUse", "Removed");
    EXPECT_EQ(run(listOf({"/d/a.txt"})).ending, PrintEnding::Refused);
    EXPECT_EQ(prompter.messages.back(), gone);
    // The print system may take "office" for "Office"; a stored choice must match exactly.
    setOption("PrinterToUse", "office");
    EXPECT_EQ(run(listOf({"/d/a.txt"})).ending, PrintEnding::Refused);
    EXPECT_EQ(prompter.messages.back(), gone);
    // Nothing stored, and the system's default is not an installed printer.
    setOption("PrinterToUse", "");
    printers.defaultName = "Elsewhere";
    EXPECT_EQ(run(listOf({"/d/a.txt"})).ending, PrintEnding::Refused);
    EXPECT_EQ(prompter.messages.back(), gone);

    EXPECT_EQ(prompter.messages.size(), 5u);
    EXPECT_TRUE(engine.calls.empty());
    EXPECT_EQ(events, (std::vector<std::string>{"printers 2", "printers 0", "printers 2", "printers 2", "printers 2"}));
}

// Documents in list order, each opened, printed and closed; the session
// opened once and closed at the end; the stored printer or the default is fine.
TEST_F(PrintJobTest, PrintsEveryDocumentInOrder)
{
    stop.set(); // a Stop left over from an earlier run does not end this one
    const PrintResult result = run(listOf({"/d/a.txt", " /d/b.rtf ", "/d/c.doc"}));
    EXPECT_EQ(result.ending, PrintEnding::Finished);
    EXPECT_EQ(result.printed, (std::vector<std::string>{"/d/a.txt", "/d/b.rtf", "/d/c.doc"}));
    EXPECT_EQ(engine.calls, (std::vector<std::string>{"OpenWord", "open /d/a.txt", "print /d/a.txt", "close",
                                                      "open /d/b.rtf", "print /d/b.rtf", "close", "open /d/c.doc",
                                                      "print /d/c.doc", "close", "CompleteClose"}));
    EXPECT_EQ(events, (std::vector<std::string>{"printers 2", "started", "select 0", "select 1", "select 2", "ended"}));
    EXPECT_TRUE(prompter.messages.empty());

    setOption("PrinterToUse", "Label");
    EXPECT_EQ(run(listOf({"/d/a.txt"})).ending, PrintEnding::Finished);
}

// The waits, timed by the injected clock: none after the first document,
// (2 x SecToWait + 1) half seconds after every later one, the last included.
// A SecToWait that is no number is reported with the printing tag and the
// job prints waiting only the extra half second.
TEST_F(PrintJobTest, WaitsHalfASecondMoreThanAskedAfterEveryDocumentButTheFirst)
{
    struct Case {
        const char* secToWait;
        std::vector<double> printedAt;
        double end;
    } cases[] = {{"3", {0.0, 0.0, 3.5}, 7.0}, {"0", {0.0, 0.0, 0.5}, 1.0}, {"5", {0.0}, 0.0}, {"ten", {0.0, 0.0}, 0.5}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.secToWait);
        clock.now = 0;
        pumps = 0;
        engine.printedAt.clear();
        setOption("SecToWait", c.secToWait);
        const std::vector<const char*> all = {"/d/a.txt", "/d/b.txt", "/d/c.txt"};
        EXPECT_EQ(run(listOf({all.begin(), all.begin() + long(c.printedAt.size())})).ending, PrintEnding::Finished);
        EXPECT_EQ(engine.printedAt, c.printedAt);
        EXPECT_DOUBLE_EQ(clock.now, c.end);
        EXPECT_GE(pumps, int(c.end * 2)) << "the screen is kept alive in every slice";
    }
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_NE(prompter.messages[0].text.find("SecToWait"), std::string::npos);
    EXPECT_NE(prompter.messages[0].text.find("\"ten\""), std::string::npos);
    EXPECT_TRUE(prompter.messages[0].text.ends_with(">>\r-Printing-"));
}

// Stop pressed during a wait: the current half-second slice runs out, then
// the job ends without opening another document, through its end steps.
TEST_F(PrintJobTest, StopDuringAWaitEndsTheJobAfterTheCurrentSlice)
{
    setOption("SecToWait", "3");
    clock.onIdle = [this](double now) {
        if (now == 1.125)
            stop.set();
    };
    const PrintResult result = run(listOf({"/d/a.txt", "/d/b.txt", "/d/c.txt"}));
    EXPECT_EQ(result.ending, PrintEnding::Stopped);
    EXPECT_DOUBLE_EQ(clock.now, 1.5);
    EXPECT_EQ(result.printed, (std::vector<std::string>{"/d/a.txt", "/d/b.txt"}));
    EXPECT_EQ(engine.calls.back(), "CompleteClose");
    EXPECT_EQ(events.back(), "ended");
}

// A document that will not open is skipped, one that will not print is
// noted, a failure inside a step is reported with its place and the job goes on.
TEST_F(PrintJobTest, FailuresOnTheWayDoNotEndTheJob)
{
    const PrintResult result = run(listOf({"/d/missing.txt", "/d/jam.txt", "/d/throw.txt", "/d/ok.txt"}));
    EXPECT_EQ(result.ending, PrintEnding::Finished);
    EXPECT_EQ(result.unopened, std::vector<std::string>{"/d/missing.txt"});
    EXPECT_EQ(result.failed, (std::vector<PrintResult::Failure>{{"/d/jam.txt", "paper jam"}}));
    EXPECT_EQ(result.printed, std::vector<std::string>{"/d/ok.txt"});
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_EQ(prompter.messages[0].title, "Error");
    EXPECT_EQ(prompter.messages[0].icon, MessageIcon::Critical);
    EXPECT_EQ(prompter.messages[0].text,
              "Quillmeter Could Not Finish This Step And Went On With The Rest. If This Error Keeps Occurring, Please "
              "Report It With The Message Below To Quillmeter Support.\rError Message <<the queue went away>>\r-Printing-");
}

// SecToWait is a 16-bit whole number, rounded half to even.
TEST(PrintJob, SecToWaitIsASixteenBitWholeNumber)
{
    EXPECT_EQ(*parseSecToWait(" 2 "), 2);
    EXPECT_EQ(*parseSecToWait("2.5"), 2);
    EXPECT_EQ(*parseSecToWait("3.5"), 4);
    EXPECT_EQ(*parseSecToWait("32767"), 32767);
    EXPECT_NE(parseSecToWait("32768").error().find("Overflow number 6"), std::string::npos);
    EXPECT_NE(parseSecToWait("two").error().find("Type mismatch number 13"), std::string::npos);
    EXPECT_FALSE(parseSecToWait(""));
    EXPECT_FALSE(parseSecToWait("2,5"));
    EXPECT_FALSE(parseSecToWait("1e999"));
    EXPECT_EQ(*parseSecToWait("+1"), 1);
}

// The default printer is the installed one the system names, matched
// exactly (the refusal and fallback tests above cover stored names); a print
// system that fails has no printers and no default.
TEST(Printers, DefaultMatchesExactlyAndAFailingSystemHasNone)
{
    FakePrinterSystem printers;
    printers.names = {"Office", "Label"};
    printers.defaultName = "Label";
    EXPECT_EQ(DefaultPrinterName(printers), "Label");
    printers.defaultName = "label";
    EXPECT_EQ(DefaultPrinterName(printers), "");
    EXPECT_FALSE(DefaultPrinterObject(printers));
    EXPECT_FALSE(PrinterExists(printers, "Office "));

    struct Broken : FakePrinterSystem {
        std::vector<std::string> printerNames() override { throw std::runtime_error("down"); }
    } broken;
    broken.defaultName = "Office";
    EXPECT_FALSE(PrinterExists(broken, "Office"));
    EXPECT_EQ(DefaultPrinterName(broken), "");
}
