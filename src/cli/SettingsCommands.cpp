// The "profile" and "options" commands: the profile store and Options.ini from the command line.
#include "Cli.h"
#include "cli/Json.h"
#include "settings/Encoding.h"
#include "settings/Options.h"
#include "settings/ProfileStore.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <ostream>
#include <stdexcept>

namespace qm::cli {

namespace {

using namespace qm::settings;

/// A failure of the settings files; runMain prints it and exits with 1.
[[noreturn]] void fail(const std::string& message)
{
    throw std::runtime_error(message);
}

template <class T> T take(Result<T> result)
{
    if (!result)
        fail(result.error());
    return std::move(*result);
}

void take(Result<void> result)
{
    if (!result)
        fail(result.error());
}

struct ShownKey
{
    std::string_view name;
    const std::string& value;
    bool stored;
};

/// Prints keys as "Key=value", marking the ones that are not stored (their
/// value is the default a reader would get) with an INI comment.
void printText(std::ostream& out, const std::vector<ShownKey>& keys)
{
    for (const ShownKey& key : keys)
        out << key.name << "=" << key.value << (key.stored ? "" : "  ; default") << "\n";
}

void printJsonKeys(std::ostream& out, const std::vector<ShownKey>& keys)
{
    out << "  \"keys\": {";
    for (size_t i = 0; i < keys.size(); ++i) {
        out << (i == 0 ? "\n" : ",\n") << "    " << jsonString(keys[i].name)
            << ": {\"value\": " << jsonString(keys[i].value)
            << ", \"stored\": " << (keys[i].stored ? "true" : "false") << "}";
    }
    out << "\n  }\n";
}

bool isWholeNumber(std::string_view text, bool allowMinus)
{
    if (allowMinus && text.starts_with('-'))
        text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool isAmount(std::string_view text)
{
    if (text.starts_with('-'))
        text.remove_prefix(1);
    const size_t point = text.find('.');
    const std::string_view whole = text.substr(0, point);
    const std::string_view fraction =
        point == std::string_view::npos ? std::string_view() : text.substr(point + 1);
    auto digitsOnly = [](std::string_view part) {
        return part.find_first_not_of("0123456789") == std::string_view::npos;
    };
    return !(whole.empty() && fraction.empty()) && digitsOnly(whole) && digitsOnly(fraction);
}

bool isOptionDate(std::string_view text)
{
    if (text.size() != 10 || text[2] != '/' || text[5] != '/')
        return false;
    unsigned month = 0, day = 0;
    int year = 0;
    auto number = [&](size_t at, size_t len, auto& value) {
        const char* first = text.data() + at;
        auto [end, error] = std::from_chars(first, first + len, value);
        return error == std::errc() && end == first + len;
    };
    if (!number(0, 2, month) || !number(3, 2, day) || !number(6, 4, year))
        return false;
    return std::chrono::year_month_day{std::chrono::year{year}, std::chrono::month{month},
                                       std::chrono::day{day}}
        .ok();
}

/// Refuses a value the program itself would never store for the key, so a
/// typing mistake is caught here rather than counted as "off" later.
void checkProfileValue(const ProfileKey& key, std::string_view value)
{
    if (value.empty())
        return;
    const std::string prefix = "value \"" + std::string(value) + "\" for " + std::string(key.name);
    switch (key.kind) {
    case KeyKind::Flag:
        if (value != "0" && value != "1")
            throw UsageError(prefix + " must be 0 or 1");
        break;
    case KeyKind::Amount:
        if (!isAmount(value))
            throw UsageError(prefix + " must be a decimal number such as 2.0");
        break;
    case KeyKind::WholeNumber:
        if (!isWholeNumber(value, true))
            throw UsageError(prefix + " must be a whole number");
        break;
    case KeyKind::Text:
        if (key.name == "DonePer") {
            constexpr std::string_view units[] = {
                "Word", "Line", "Gross Line", "Character", "Character And Space", "Page"};
            if (std::find(std::begin(units), std::end(units), value) == std::end(units))
                throw UsageError(prefix + " must be one of: Word, Line, Gross Line, Character, "
                                          "Character And Space, Page");
        }
        break;
    }
}

void checkOptionValue(const OptionKey& key, std::string_view value)
{
    if (value.empty())
        return;
    const std::string prefix = "value \"" + std::string(value) + "\" for " + std::string(key.name);
    const std::string_view name = key.name;
    if (name == "AddProfileSaveAsk" || name == "AskSaveWindow" || name == "AddDupilcateFiles" ||
        name == "VerChk") {
        if (value != "0" && value != "1")
            throw UsageError(prefix + " must be 0 or 1");
    } else if (name == "SecToWait") {
        if (!isWholeNumber(value, false))
            throw UsageError(prefix + " must be a whole number of seconds");
    } else if (key.source == OptionDefault::Today) {
        if (!isOptionDate(value))
            throw UsageError(prefix + " must be a date written mm/dd/yyyy");
    }
}

const ProfileKey& profileKey(std::string_view name)
{
    if (const ProfileKey* key = findProfileKey(name))
        return *key;
    throw UsageError("unknown profile key \"" + std::string(name) +
                     "\" (see 'quillmeter profile show NAME' for the keys)");
}

const OptionKey& optionKey(std::string_view name)
{
    if (const OptionKey* key = findOptionKey(name))
        return *key;
    throw UsageError("unknown option key \"" + std::string(name) +
                     "\" (see 'quillmeter options show' for the keys)");
}

/// The profile's name as the files spell it, so that "acme" addresses the
/// listed "Acme" and a new section is written as the list shows it.
std::string requireProfile(const ProfileStore& store, std::string_view name)
{
    auto found = take(store.find(name));
    if (!found)
        fail(store.profileListFile().string() + ": no profile named \"" + std::string(name) +
             "\" (add it with 'quillmeter profile add')");
    return *found;
}

constexpr std::string_view kProfileUsage = "profile list | show NAME [--json] | "
                                           "set NAME KEY VALUE | add NAME | delete NAME";

} // namespace

int profileCommand(Context& ctx)
{
    const bool json = ctx.args.flag("--json");
    const std::vector<std::string> args = ctx.args.positionals(1, 4, kProfileUsage);
    const std::string& action = args[0];
    auto expect = [&](size_t count) {
        if (args.size() != count || (json && action != "show"))
            throw UsageError("usage: quillmeter " + std::string(kProfileUsage));
    };
    const ProfileStore store(SettingsContext{ctx.settingsFolder});

    if (action == "list") {
        expect(1);
        for (const std::string& name : take(store.loadProfileList()))
            ctx.out << name << "\n";
    } else if (action == "show") {
        expect(2);
        const std::string name = requireProfile(store, args[1]);
        const auto entries = take(store.record(name));
        std::vector<ShownKey> keys;
        for (const auto& entry : entries)
            keys.push_back({entry.key->name, entry.value, entry.stored});
        if (json) {
            ctx.out << "{\n  \"name\": " << jsonString(name) << ",\n";
            printJsonKeys(ctx.out, keys);
            ctx.out << "}\n";
        } else {
            printText(ctx.out, keys);
        }
    } else if (action == "set") {
        expect(4);
        const ProfileKey& key = profileKey(args[2]);
        checkProfileValue(key, args[3]);
        take(store.write(requireProfile(store, args[1]), key, args[3]));
    } else if (action == "add") {
        expect(2);
        take(store.addProfile(args[1]));
    } else if (action == "delete") {
        expect(2);
        take(store.deleteProfile(args[1]));
    } else {
        throw UsageError("unknown profile action \"" + action + "\"; usage: quillmeter " +
                         std::string(kProfileUsage));
    }
    return Success;
}

int optionsCommand(Context& ctx)
{
    constexpr std::string_view usage = "options show [--json] | set KEY VALUE";
    const bool json = ctx.args.flag("--json");
    const std::vector<std::string> args = ctx.args.positionals(1, 3, usage);
    const OptionsStore store(SettingsContext{ctx.settingsFolder});
    if (args[0] == "show" && args.size() == 1) {
        const auto entries = take(store.entries());
        std::vector<ShownKey> keys;
        for (const auto& entry : entries)
            keys.push_back({entry.key->name, entry.value, entry.stored});
        if (json) {
            ctx.out << "{\n  \"section\": " << jsonString(kOptionsSection) << ",\n";
            printJsonKeys(ctx.out, keys);
            ctx.out << "}\n";
        } else {
            printText(ctx.out, keys);
        }
    } else if (args[0] == "set" && args.size() == 3 && !json) {
        const OptionKey& key = optionKey(args[1]);
        checkOptionValue(key, args[2]);
        take(store.write(key, args[2]));
    } else {
        throw UsageError("usage: quillmeter " + std::string(usage));
    }
    return Success;
}

} // namespace qm::cli
