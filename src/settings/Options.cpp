// The application options of Options.ini, section "MAIN": keys, defaults and access.
#include "settings/Options.h"

#include "settings/Encoding.h"
#include "settings/IniRW.h"

#include <cstdio>

namespace qm::settings {

namespace {

constexpr OptionKey kKeys[] = {
    {"ProfileToUse", ""},
    {"PrinterToUse", ""},
    {"CompanyName", ""},
    {"Address", ""},
    {"City", ""},
    {"State", ""},
    {"Zip", ""},
    {"Phone", ""},
    {"Fax", ""},
    {"SecToWait", "0"},
    {"AddProfileSaveAsk", "0"},
    {"AskSaveWindow", "0"},
    {"AddDupilcateFiles", "1"},
    {"VerChk", "1"},
    {"DateRangeFrom", "", OptionDefault::Today},
    {"DateRangeTo", "", OptionDefault::Today},
};

} // namespace

std::span<const OptionKey> optionKeys()
{
    return kKeys;
}

const OptionKey* findOptionKey(std::string_view name)
{
    for (const OptionKey& key : kKeys)
        if (equalsIgnoringCase(key.name, name))
            return &key;
    return nullptr;
}

std::string formatOptionDate(std::chrono::year_month_day date)
{
    char text[16];
    std::snprintf(text, sizeof text, "%02u/%02u/%04d", static_cast<unsigned>(date.month()),
                  static_cast<unsigned>(date.day()), static_cast<int>(date.year()));
    return text;
}

std::string optionDefault(const OptionKey& key, const SettingsContext& context)
{
    if (key.source == OptionDefault::Today)
        return formatOptionDate(context.today ? context.today() : localToday());
    return std::string(key.fixedDefault);
}

bool optionFlagIsOn(std::string_view text)
{
    // The leading number of the text, as the Windows version's numeric
    // conversion takes it: blanks skipped, digits with at most one point,
    // anything after them ignored.
    text = trimBlanks(text);
    size_t pos = 0;
    if (pos < text.size() && text[pos] == '+')
        ++pos;
    bool digits = false;
    bool wholeIsOne = false;
    size_t start = pos;
    while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9')
        ++pos, digits = true;
    std::string_view whole = text.substr(start, pos - start);
    while (whole.size() > 1 && whole.front() == '0')
        whole.remove_prefix(1);
    wholeIsOne = whole == "1";
    if (pos < text.size() && text[pos] == '.') {
        ++pos;
        while (pos < text.size() && text[pos] >= '0' && text[pos] <= '9') {
            if (text[pos] != '0')
                return false;
            ++pos;
        }
    }
    return digits && wholeIsOne;
}

std::filesystem::path OptionsStore::file() const
{
    return iniFilePath(m_context, kOptionsBaseName);
}

std::string OptionsStore::read(const OptionKey& key) const
{
    return ReadINI(m_context, kOptionsBaseName, kOptionsSection, key.name,
                   optionDefault(key, m_context));
}

Result<void> OptionsStore::write(const OptionKey& key, std::string_view value) const
{
    return writeIni(m_context, kOptionsBaseName, kOptionsSection, key.name, value);
}

Result<std::vector<OptionsStore::Entry>> OptionsStore::entries() const
{
    auto ini = IniFile::load(file());
    if (!ini)
        return Failure(ini.error());
    std::vector<Entry> entries;
    for (const OptionKey& key : kKeys) {
        auto stored = ini->value(kOptionsSection, key.name);
        entries.push_back(
            {&key, stored ? *stored : optionDefault(key, m_context), stored.has_value()});
    }
    return entries;
}

} // namespace qm::settings
