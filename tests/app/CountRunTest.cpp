// The count run against a scripted engine: units, extras, rounding, stops and messages.
#include "app/CountRun.h"

#include <chrono>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace qm;
using namespace qm::app;

namespace {

class ScriptedEngine : public CountingEngine {
public:
    void OpenWord(bool) override { log.push_back("OpenWord"); }
    bool openJustDoc(const std::string& path, bool) override
    {
        log.push_back("open " + fs::path(path).filename().string());
        return unopenable.count(fs::path(path).filename().string()) == 0;
    }
    double measure(Measurement what, const std::string&, const std::string& profile) override
    {
        measured.push_back(what);
        EXPECT_EQ(profile, "Demo");
        if (onMeasure)
            onMeasure();
        auto it = values.find(what);
        return it == values.end() ? 0 : it->second;
    }
    bool CloseDocument() override
    {
        log.push_back("close");
        return true;
    }
    void resizeWordBack() override { log.push_back("resize"); }
    void CompleteClose() override { log.push_back("quit"); }

    std::map<Measurement, double> values;
    std::set<std::string> unopenable;
    std::vector<std::string> log;
    std::vector<Measurement> measured;
    std::function<void()> onMeasure;
};

class CountRunTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        folder = fs::temp_directory_path() / ("qm-run-" + std::to_string(::getpid()));
        fs::create_directories(folder);
        for (const char* name : {"a.doc", "b.doc", "c.doc"}) {
            std::ofstream(folder / name) << "x";
            list.append(name, (folder / name).string());
        }
    }
    void TearDown() override { fs::remove_all(folder); }

    RunResult run(RunScope scope = RunScope::AllEntries)
    {
        CountRun countRun(engine, prompter, RunControl{nullptr, &stop});
        countRun.report = [this](const RunResult&) { ++reports; };
        countRun.progress = [this](const std::string& text) { progress.push_back(text); };
        return countRun.run(
            list, profileName,
            [this](std::string_view key, std::string_view def) {
                auto it = keys.find(std::string(key));
                return it == keys.end() ? std::string(def) : it->second;
            },
            scope);
    }

    fs::path folder;
    ChaseList list;
    ScriptedEngine engine;
    RecordingPrompter prompter;
    StopFlag stop;
    std::string profileName = "Demo";
    std::map<std::string, std::string> keys{{"DonePer", "Words"}, {"BillAmount", "$0.10"}};
    std::vector<std::string> progress;
    int reports = 0;
};

} // namespace

// Each precondition stops the run with its message before anything is opened.
TEST_F(CountRunTest, PreconditionsStopWithTheirMessages)
{
    ChaseList empty;
    CountRun(engine, prompter, {}).run(empty, "Demo", [](std::string_view, std::string_view d) {
        return std::string(d);
    });
    profileName.clear();
    run();
    profileName = "Demo";
    keys["BillAmount"] = "ten dollars";
    const RunResult badRate = run();
    keys.erase("DonePer");
    const RunResult noUnit = run();
    ASSERT_EQ(prompter.messages.size(), 4u);
    EXPECT_EQ(prompter.messages[0],
              (Message{"Traverse", "There Are No Files To Traverse", MessageIcon::Information, MessageButtons::Ok}));
    EXPECT_EQ(prompter.messages[1],
              (Message{"Profile", "Select A Profile From The Profile's List", MessageIcon::None, MessageButtons::Ok}));
    EXPECT_EQ(prompter.messages[2], (Message{"Profile Error",
                                             "There Is An Error With The Profile, Please Check The Profile.\r"
                                             "Error Message <<Type mismatch number 13>>",
                                             MessageIcon::None, MessageButtons::Ok}));
    EXPECT_EQ(prompter.messages[3], (Message{"Profile Error", "You Must Enter A \"Done BY\" In This Profile.",
                                             MessageIcon::Information, MessageButtons::Ok}));
    // Only the profile errors clean up the engine; nothing was opened.
    EXPECT_EQ(engine.log, (std::vector<std::string>{"resize", "quit", "resize", "quit"}));
    EXPECT_EQ(badRate.ending, RunEnding::ProfileError);
    EXPECT_TRUE(noUnit.rows.empty());
    EXPECT_EQ(noUnit.ending, RunEnding::ProfileError);
    EXPECT_EQ(reports, 0);
}

TEST_F(CountRunTest, FinishedRunFillsRowsPricesThemAndHandsOverToTheReport)
{
    engine.values[Measurement::Words] = 125;
    const RunResult result = run();
    EXPECT_EQ(result.ending, RunEnding::Finished);
    EXPECT_EQ(result.unitLabel, "Words");
    ASSERT_EQ(result.rows.size(), 3u);
    EXPECT_EQ(result.rows[0].name, "a.doc");
    EXPECT_EQ(result.rows[0].count, "125");
    EXPECT_EQ(result.rows[0].amount, "$12.50");
    EXPECT_EQ(result.rows[2].path, (folder / "c.doc").string());
    EXPECT_EQ(reports, 1);
    EXPECT_EQ(progress.front(), "Files To Count:1 of 3");
    EXPECT_EQ(progress.back(), "Files To Count:3");
    EXPECT_EQ(engine.log.front(), "OpenWord");
    EXPECT_EQ(engine.log.back(), "quit");
    EXPECT_TRUE(prompter.messages.empty());
}

TEST_F(CountRunTest, UnitsChooseTheirMeasurementLabelAndRounding)
{
    struct Case {
        const char* unit;
        double value;
        bool round;
        const char* label;
        const char* count;
    } cases[] = {
        {"Word", 12.5, true, "Words", "12"},
        {"Words", 13.5, true, "Words", "14"},
        {"Page", 3, false, "Page", "3"},
        {"Line", 12.4, false, "Lines", "12.4"},
        {"Lines", 12.6, true, "Lines", "13"},
        {"Gross Line", 12.5, true, "Gross Line", "12.5"}, // never rounded
        {"Character", 99.5, true, "Character", "100"},
        {"Character And Spaces", 7.25, false, "Character", "7.25"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.unit);
        engine.values.clear();
        for (auto m : {Measurement::Words, Measurement::Pages, Measurement::Lines, Measurement::GrossLines,
                       Measurement::Characters, Measurement::CharactersWithSpaces})
            engine.values[m] = c.value;
        keys["DonePer"] = c.unit;
        keys["RoundCountToNearestWholeNumber"] = c.round ? "1" : "0";
        const RunResult result = run();
        ASSERT_EQ(result.rows.size(), 3u);
        EXPECT_EQ(result.unitLabel, c.label);
        EXPECT_EQ(result.rows[1].count, c.count);
    }
    keys["DonePer"] = "Paragraphs";
    EXPECT_TRUE(run().rows.empty());
}

TEST_F(CountRunTest, ExtrasAddInTheirUnitsOrder)
{
    for (const char* key : {"CountReturnAndEnter", "CountBoldCharAs2", "BoldONOFF2", "CountUnderlineCharAs2",
                            "UnderLineONOFF2", "ItalicONOFF2", "CountItalicCharAs2", "SuperScriptCharsONOFF",
                            "SubScriptCharsONOFF", "CountTables", "CountTabs", "CountCaps", "CountCapsONOFF"})
        keys[key] = "1";
    keys["CountTabs"] = "yes"; // only "1" switches an extra on
    engine.values = {{Measurement::Characters, 100},
                     {Measurement::CharactersWithSpaces, 120},
                     {Measurement::ReturnAndEnters, 1},
                     {Measurement::BoldChars, 2.5}};
    list.removeAll();
    list.append("a.doc", (folder / "a.doc").string());

    keys["DonePer"] = "Character";
    EXPECT_EQ(run().rows[0].countValue, 103.5);
    const std::vector<Measurement> characterOrder{
        Measurement::Characters,       Measurement::ReturnAndEnters, Measurement::BoldChars,   Measurement::BoldOnOff,
        Measurement::UnderlineChars,   Measurement::UnderlineOnOff,  Measurement::ItalicOnOff, Measurement::ItalicChars,
        Measurement::SuperscriptOnOff, Measurement::SubscriptOnOff,  Measurement::Tables,      Measurement::CapsChars};
    EXPECT_EQ(engine.measured, characterOrder);

    engine.measured.clear();
    keys["DonePer"] = "Character And Space";
    EXPECT_EQ(run().rows[0].countValue, 123.5);
    const std::vector<Measurement> withSpacesOrder{Measurement::CharactersWithSpaces,
                                                   Measurement::BoldChars,
                                                   Measurement::BoldOnOff,
                                                   Measurement::UnderlineOnOff,
                                                   Measurement::UnderlineChars,
                                                   Measurement::ItalicOnOff,
                                                   Measurement::ItalicChars,
                                                   Measurement::SuperscriptOnOff,
                                                   Measurement::SubscriptOnOff,
                                                   Measurement::Tables,
                                                   Measurement::CapsChars,
                                                   Measurement::ReturnAndEnters};
    EXPECT_EQ(engine.measured, withSpacesOrder);
}

TEST_F(CountRunTest, MissingFileStopsTheRunAndUnopenableFileIsSkipped)
{
    engine.values[Measurement::Words] = 10;
    engine.unopenable.insert("a.doc");
    fs::remove(folder / "c.doc");
    const RunResult result = run();
    EXPECT_EQ(result.ending, RunEnding::Stopped);
    ASSERT_EQ(result.rows.size(), 1u);
    EXPECT_EQ(result.rows[0].name, "b.doc");
    EXPECT_EQ(result.unopened, (std::vector<std::string>{(folder / "a.doc").string()}));
    ASSERT_EQ(prompter.messages.size(), 1u);
    EXPECT_EQ(prompter.messages[0],
              (Message{"File Not Found",
                       "File:" + (folder / "c.doc").string() + "\rNo Longer Exists. Traversing Will Now Stop.",
                       MessageIcon::Critical, MessageButtons::Ok}));
    EXPECT_EQ(reports, 0);
    EXPECT_TRUE(stop.isSet());
    EXPECT_EQ(engine.log.back(), "quit");
}

TEST_F(CountRunTest, StopTakesEffectAfterTheCurrentDocument)
{
    stop.set(); // left over from an earlier run: cleared at the start
    engine.onMeasure = [this] { stop.set(); };
    const RunResult result = run();
    EXPECT_EQ(result.ending, RunEnding::Stopped);
    EXPECT_EQ(result.rows.size(), 1u);
    EXPECT_EQ(std::count(engine.log.begin(), engine.log.end(), "close"), 1);
    EXPECT_EQ(reports, 0);
}

TEST_F(CountRunTest, SelectedOnlySkipsTheOthers)
{
    list.setSelected(1, true);
    const RunResult result = run(RunScope::SelectedEntries);
    ASSERT_EQ(result.rows.size(), 1u);
    EXPECT_EQ(result.rows[0].name, "b.doc");
}

TEST_F(CountRunTest, FileDateLineFollowsTheName)
{
    keys["ShowFileCreateInfo"] = "Date Last Modified";
    const RunResult result = run();
    ASSERT_FALSE(result.rows.empty());
    EXPECT_EQ(result.rows[0].name, "a.doc\r|Date Last Modified " + browser::formatDay(browser::today()) + "|");
    keys["ShowFileCreateInfo"] = "None";
    EXPECT_EQ(run().rows[0].name, "a.doc");
}

TEST(Money, ParsesRoundsAndFormatsCurrency)
{
    const std::pair<const char*, std::optional<int64_t>> cases[] = {
        {"0.00", 0},           {"$1,234.50", 12345000}, {"(2.00)", -20000},  {"-$0.125", -1250},
        {" 3 ", 30000},        {"0.00005", 0},          {"0.00015", 2},      {"", std::nullopt},
        {"ten", std::nullopt}, {"1.2.3", std::nullopt}, {"$", std::nullopt},
    };
    for (const auto& [text, units] : cases) {
        const auto parsed = parseCurrency(text);
        EXPECT_EQ(parsed ? std::optional(parsed->units) : std::nullopt, units) << text;
    }
    EXPECT_EQ(formatCurrency(Currency{12345678}), "$1,234.57");
    EXPECT_EQ(formatCurrency(Currency{-20000}), "($2.00)");
    EXPECT_EQ(formatCurrency(Currency{250}), "$0.02"); // 0.025 → 0.02, half to even
    EXPECT_EQ(formatCurrency(Currency{-12345000}, CurrencyFormat{"€", false, true, ",", ".", 2, false}), "-1.234,50 €");
    EXPECT_EQ(plainNumber(1.0 / 12), "0.0833333333333333");
}

// What the grid and the command line's table show: whole numbers as they
// are, anything else rounded to two decimals.
TEST(Money, ShownCountsHaveTwoDecimalsAtMost)
{
    const std::pair<double, const char*> cases[] = {
        {0, "0"},        {1234, "1234"},   {11.7076923076923, "11.71"}, {0.169230769230769, "0.17"}, {2.5, "2.50"},
        {0.004, "0.00"}, {-0.001, "0.00"}, {1e6 + 0.5, "1000000.50"},   {3.0000000001, "3"},
    };
    for (const auto& [value, shown] : cases)
        EXPECT_EQ(shownCount(value), shown) << value;
}

// On several threads: each engine counts a document's size in bytes, the
// later documents finish first, one of them cannot be opened and says so;
// the rows, the documents left out and the messages still come in list
// order, as one thread gives them.
TEST(CountRunJobs, SeveralThreadsGiveTheRowsAndMessagesOfOne)
{
    const fs::path folder = fs::temp_directory_path() / ("qm-jobs-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    ChaseList list;
    for (int i = 0; i < 12; ++i) {
        const std::string name = "d" + std::to_string(i) + (i == 5 ? ".bad" : ".doc");
        std::ofstream(folder / name) << std::string(size_t(i + 1), 'x');
        list.append(name, (folder / name).string());
    }
    class SizeEngine : public CountingEngine {
    public:
        explicit SizeEngine(Prompter& prompter) : m_prompter(prompter) {}
        void OpenWord(bool) override {}
        bool openJustDoc(const std::string& path, bool) override
        {
            m_path = path;
            if (path.ends_with(".bad")) {
                m_prompter.show(errorReport("cannot open " + path, "-Opening DOC-"));
                return false;
            }
            return true;
        }
        double measure(Measurement, const std::string&, const std::string&) override
        {
            const auto size = fs::file_size(m_path);
            // Small files take longest, so documents finish out of order.
            std::this_thread::sleep_for(std::chrono::milliseconds(13 - int(size)));
            return double(size);
        }
        bool CloseDocument() override { return true; }
        void resizeWordBack() override {}
        void CompleteClose() override {}

    private:
        Prompter& m_prompter;
        std::string m_path;
    };
    const auto profile = [](std::string_view key, std::string_view def) {
        return key == "DonePer" ? std::string("Words") : key == "BillAmount" ? std::string("$1.00") : std::string(def);
    };
    const auto runWith = [&](unsigned jobs, RecordingPrompter& prompter) {
        SizeEngine own(prompter);
        StopFlag stop;
        CountRun run(own, prompter, RunControl{nullptr, &stop});
        run.setJobs(jobs, [](Prompter& p) { return std::make_unique<SizeEngine>(p); });
        return run.run(list, "Demo", profile);
    };
    RecordingPrompter onePrompter, threePrompter;
    const RunResult one = runWith(1, onePrompter);
    const RunResult three = runWith(3, threePrompter);

    // Stop pressed while d3 is counted: the documents begun finish, none
    // waiting is begun, and the rows are the list's first ones, in order.
    RecordingPrompter stopPrompter;
    StopFlag stop;
    SizeEngine own(stopPrompter);
    CountRun stopped(own, stopPrompter, RunControl{nullptr, &stop});
    stopped.setJobs(3, [&](Prompter& p) {
        struct StoppingEngine : SizeEngine {
            StoppingEngine(Prompter& p, StopFlag& s) : SizeEngine(p), stop(s) {}
            bool openJustDoc(const std::string& path, bool readOnly) override
            {
                if (path.ends_with("d3.doc"))
                    stop.set();
                return SizeEngine::openJustDoc(path, readOnly);
            }
            StopFlag& stop;
        };
        return std::make_unique<StoppingEngine>(p, stop);
    });
    const RunResult partial = stopped.run(list, "Demo", profile);

    // A document gone before its turn ends the run there, every one before
    // it counted, as on one thread.
    fs::remove(folder / "d9.doc");
    RecordingPrompter gonePrompter;
    const RunResult gone = runWith(3, gonePrompter);
    fs::remove_all(folder);
    EXPECT_EQ(gone.ending, RunEnding::Stopped);
    ASSERT_EQ(gone.rows.size(), 8u); // d0 to d8, d5 left out
    EXPECT_EQ(gone.rows.back().path, one.rows[7].path);
    ASSERT_EQ(gonePrompter.messages.size(), 2u);
    EXPECT_EQ(gonePrompter.messages[1].title, "File Not Found");
    EXPECT_EQ(partial.ending, RunEnding::Stopped);
    EXPECT_GE(partial.rows.size(), 4u);
    EXPECT_LT(partial.rows.size(), 11u);
    for (size_t i = 0; i < partial.rows.size(); ++i)
        EXPECT_EQ(partial.rows[i].path, one.rows[i].path) << i;

    ASSERT_EQ(one.rows.size(), 11u);
    EXPECT_EQ(one.rows[5].count, "7"); // d6.doc: d5.bad is left out
    ASSERT_EQ(three.rows.size(), one.rows.size());
    for (size_t i = 0; i < one.rows.size(); ++i) {
        EXPECT_EQ(three.rows[i].path, one.rows[i].path) << i;
        EXPECT_EQ(three.rows[i].count, one.rows[i].count) << i;
        EXPECT_EQ(three.rows[i].amount, one.rows[i].amount) << i;
    }
    EXPECT_EQ(three.unopened, one.unopened);
    EXPECT_EQ(three.ending, RunEnding::Finished);
    EXPECT_EQ(threePrompter.messages, onePrompter.messages);
    ASSERT_EQ(onePrompter.messages.size(), 1u);
}
