// Option defaults (today's date from the context's clock) and the numeric flag reading.
#include "settings/Options.h"

#include "TempFolder.h"

#include <gtest/gtest.h>

using namespace qm::settings;
using namespace std::chrono;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;

TEST(Options, DefaultsAndStoredValues)
{
    TempFolder folder;
    SettingsContext context{folder.path(), [] { return 2024y / March / 7d; }};
    writeBytes(folder / "Options.ini", "[main]\r\nverchk=0\r\nDateRangeTo=12/31/2023\r\n");
    const OptionsStore store(context);
    const std::pair<const char*, const char*> cases[] = {
        {"VerChk", "0"},      {"AddDupilcateFiles", "1"},      {"SecToWait", "0"},
        {"ProfileToUse", ""}, {"DateRangeFrom", "03/07/2024"}, {"DateRangeTo", "12/31/2023"},
    };
    for (const auto& [name, value] : cases) {
        const OptionKey* key = findOptionKey(name);
        ASSERT_NE(key, nullptr) << name;
        EXPECT_EQ(store.read(*key), value) << name;
    }
    EXPECT_EQ(formatOptionDate(1999y / December / 31d), "12/31/1999");
    EXPECT_EQ(formatOptionDate(2001y / January / 2d), "01/02/2001");

    auto entries = store.entries();
    ASSERT_TRUE(entries);
    EXPECT_EQ(entries->size(), optionKeys().size());
    EXPECT_EQ(std::count_if(entries->begin(), entries->end(), [](auto& e) { return e.stored; }), 2);
}

TEST(Options, FlagsAreReadAsNumbers)
{
    const std::pair<const char*, bool> cases[] = {{"1", true},    {" 1 ", true},  {"01", true},  {"1.0", true},
                                                  {"1abc", true}, {"0", false},   {"", false},   {"2", false},
                                                  {"yes", false}, {"1.5", false}, {"-1", false}, {"10", false}};
    for (const auto& [text, on] : cases)
        EXPECT_EQ(optionFlagIsOn(text), on) << text;
}
