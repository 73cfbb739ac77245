// The application options of Options.ini, section "MAIN": keys, defaults and access.
#include "settings/Options.h"

#include "settings/Encoding.h"
#include "settings/IniRW.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

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
    // The billing ledger: where it is (empty: ledger.sqlite in this folder;
    // a postgresql:// server; "off" keeps none), how invoice numbers are
    // written, and whether a run looks for documents already billed.
    {"Ledger", ""},
    {"InvoiceNumberFormat", "{yyyy}-{n:04}"},
    {"CheckBilled", "1"},
};

} // namespace

std::chrono::year_month_day localToday()
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    return std::chrono::year_month_day{std::chrono::year{local.tm_year + 1900},
                                       std::chrono::month{static_cast<unsigned>(local.tm_mon + 1)},
                                       std::chrono::day{static_cast<unsigned>(local.tm_mday)}};
}

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
    // The leading number of the text, as the Windows numeric conversion
    // takes it: blanks skipped, digits with at most one point,
    // anything after them ignored. Only a number equal to 1 ticks the box.
    text = trimBlanks(text);
    if (text.starts_with('+'))
        text.remove_prefix(1);
    const size_t wholeEnd = std::min(text.find_first_not_of("0123456789"), text.size());
    std::string_view whole = text.substr(0, wholeEnd);
    while (whole.size() > 1 && whole.front() == '0')
        whole.remove_prefix(1);
    if (whole != "1")
        return false;
    std::string_view rest = text.substr(wholeEnd);
    if (!rest.starts_with('.'))
        return true;
    rest.remove_prefix(1);
    const size_t fractionEnd = std::min(rest.find_first_not_of("0123456789"), rest.size());
    return rest.substr(0, fractionEnd).find_first_not_of('0') == std::string_view::npos;
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
