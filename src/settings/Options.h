// The application options of Options.ini, section "MAIN": keys, defaults and access.
#pragma once

#include "settings/Result.h"
#include "settings/SettingsContext.h"

#include <chrono>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qm::settings {

/// Base name and section of the options file.
inline constexpr std::string_view kOptionsBaseName = "Options";
inline constexpr std::string_view kOptionsSection = "MAIN";

/// Where an option's default comes from.
enum class OptionDefault
{
    Fixed,
    Today
};

/// One key of section "MAIN" of Options.ini.
struct OptionKey
{
    std::string_view name;
    /// The default text when the source is Fixed; unused for Today.
    std::string_view fixedDefault;
    OptionDefault source = OptionDefault::Fixed;
};

/// Every option key, in the order the main screen loads them.
std::span<const OptionKey> optionKeys();

/// The key with this name, compared without regard to case; nullptr if none.
const OptionKey* findOptionKey(std::string_view name);

/// A date as the date-range keys store it: "mm/dd/yyyy".
std::string formatOptionDate(std::chrono::year_month_day date);

/// The option's default: its fixed text, or today's date from the context's clock.
std::string optionDefault(const OptionKey& key, const SettingsContext& context);

/// How the main screen reads the option flags (`AddProfileSaveAsk`,
/// `AskSaveWindow`, `AddDupilcateFiles`): as a number, where only the value 1
/// ticks the box. " 1", "1.0" and "1abc" are 1; "yes", "" and "2" are not.
bool optionFlagIsOn(std::string_view text);

/// The options file. Every call reads the file afresh; nothing is cached.
class OptionsStore
{
public:
    explicit OptionsStore(SettingsContext context) : m_context(std::move(context)) {}

    std::filesystem::path file() const;

    /// The stored text, or the key's default.
    std::string read(const OptionKey& key) const;
    /// Writes one key as WriteINI does: an empty value removes it.
    Result<void> write(const OptionKey& key, std::string_view value) const;

    struct Entry
    {
        const OptionKey* key;
        std::string value; // stored text, or the default
        bool stored;
    };
    /// Every key with its effective value. Fails only when Options.ini exists
    /// but cannot be read.
    Result<std::vector<Entry>> entries() const;

private:
    SettingsContext m_context;
};

} // namespace qm::settings
