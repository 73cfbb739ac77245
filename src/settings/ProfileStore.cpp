// The profile store: profile values in Profiles.ini and the ordered names in ProfileList.log.
#include "settings/ProfileStore.h"

#include "settings/IniRW.h"
#include "settings/Options.h"

#include <algorithm>

namespace qm::settings {

namespace {

constexpr std::string_view kProfilesBaseName = "Profiles";

struct LoadedList
{
    std::vector<std::string> names;
    Encoding encoding = Encoding::Utf8;
};

Result<LoadedList> loadList(const std::filesystem::path& file)
{
    auto bytes = readWholeFile(file);
    if (!bytes)
        return Failure(bytes.error());
    LoadedList list;
    if (!*bytes)
        return list;
    std::string_view text = **bytes;
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    list.encoding = looksLikeUtf8(text) ? Encoding::Utf8 : Encoding::Windows1252;
    list.names = parseProfileList(decodeText(text, list.encoding));
    return list;
}

std::optional<size_t> findName(const std::vector<std::string>& names, std::string_view name)
{
    // An exact match first, so that of two names differing only in case the
    // one asked for is the one removed. Otherwise names match as section
    // names do: without regard to case or surrounding blanks.
    for (size_t i = 0; i < names.size(); ++i)
        if (names[i] == name)
            return i;
    for (size_t i = 0; i < names.size(); ++i)
        if (equalsIgnoringCase(trimBlanks(names[i]), trimBlanks(name)))
            return i;
    return std::nullopt;
}

} // namespace

std::optional<std::string> profileNameProblem(std::string_view name)
{
    if (trimBlanks(name).empty())
        return std::string("a profile name cannot be blank");
    if (name.find_first_of(std::string_view("\r\n\0]", 4)) != std::string_view::npos)
        return "profile name \"" + std::string(name) + "\" holds a line break, NUL or \"]\"";
    return std::nullopt;
}

std::string formatProfileListRecord(std::string_view name)
{
    std::string record = "\"";
    for (char c : name) {
        if (c == '"')
            record += '"';
        record += c;
    }
    record += '"';
    return record;
}

std::vector<std::string> parseProfileList(std::string_view text)
{
    std::vector<std::string> names;
    size_t pos = 0;
    auto atLineEnd = [&] { return pos >= text.size() || text[pos] == '\n' || text[pos] == '\r'; };
    while (pos < text.size()) {
        while (pos < text.size() && (text[pos] == ' ' || text[pos] == '\t'))
            ++pos;
        std::string field;
        if (pos < text.size() && text[pos] == '"') {
            ++pos;
            // A quote left open ends at the line end: a name never spans
            // lines, and one that did could not be written back.
            while (!atLineEnd()) {
                if (text[pos] == '"') {
                    if (pos + 1 < text.size() && text[pos + 1] == '"') {
                        field += '"';
                        pos += 2;
                        continue;
                    }
                    ++pos;
                    break;
                }
                field += text[pos++];
            }
            // Anything between the closing quote and the delimiter is dropped.
            while (!atLineEnd() && text[pos] != ',')
                ++pos;
        } else {
            const size_t start = pos;
            while (!atLineEnd() && text[pos] != ',')
                ++pos;
            field = std::string(trimBlanks(text.substr(start, pos - start)));
        }
        if (pos < text.size()) {
            if (text[pos] == ',')
                ++pos;
            else if (text[pos] == '\r' && pos + 1 < text.size() && text[pos + 1] == '\n')
                pos += 2;
            else
                ++pos;
        }
        if (!field.empty())
            names.push_back(std::move(field));
    }
    return names;
}

std::filesystem::path ProfileStore::profilesFile() const
{
    return iniFilePath(m_context, kProfilesBaseName);
}

std::filesystem::path ProfileStore::profileListFile() const
{
    return ReplaceText(m_context.folder.string() + "/ProfileList.log", "//", "/");
}

std::string ProfileStore::read(std::string_view profile, const ProfileKey& key) const
{
    return ReadINI(m_context, kProfilesBaseName, profile, key.name, key.readDefault);
}

bool ProfileStore::flag(std::string_view profile, const ProfileKey& key, FlagReading reading) const
{
    return flagIsOn(key.name, read(profile, key), reading);
}

WriteResult ProfileStore::write(std::string_view profile, const ProfileKey& key,
                                std::string_view value) const
{
    return writeIni(m_context, kProfilesBaseName, profile, key.name, value);
}

WriteResult
ProfileStore::saveProfile(std::string_view profile,
                          std::span<const std::pair<std::string_view, std::string>> values,
                          EditorScreen screen) const
{
    return editIniFile(profilesFile(), [&](IniFile& ini) -> Result<bool> {
        bool changed = false;
        for (std::string_view name : editorWriteOrder(screen)) {
            auto given = std::find_if(values.begin(), values.end(),
                                      [&](const auto& v) { return v.first == name; });
            if (given == values.end())
                continue;
            if (given->second.empty()) {
                changed = ini.removeKey(profile, name) || changed;
            } else if (ini.value(profile, name) != given->second) {
                if (auto set = ini.setValue(profile, name, given->second); !set)
                    return Failure(set.error());
                changed = true;
            }
        }
        return changed;
    });
}

Result<std::vector<ProfileStore::Entry>> ProfileStore::record(std::string_view profile) const
{
    auto ini = IniFile::load(profilesFile());
    if (!ini)
        return Failure(ini.error());
    std::vector<Entry> entries;
    for (const ProfileKey& key : profileKeys()) {
        auto stored = ini->value(profile, key.name);
        entries.push_back(
            {&key, stored ? *stored : std::string(key.readDefault), stored.has_value()});
    }
    return entries;
}

Result<bool> ProfileStore::hasSection(std::string_view profile) const
{
    auto ini = IniFile::load(profilesFile());
    if (!ini)
        return Failure(ini.error());
    return ini->hasSection(profile);
}

Result<std::vector<std::string>> ProfileStore::loadProfileList() const
{
    auto list = loadList(profileListFile());
    if (!list)
        return Failure(list.error());
    return std::move(list->names);
}

WriteResult ProfileStore::writeProfileList(std::span<const std::string> names,
                                           Encoding encoding) const
{
    std::string text;
    for (const std::string& name : names) {
        if (name.empty())
            continue;
        if (name.find_first_of("\r\n") != std::string::npos)
            return Failure(profileListFile().string() + ": profile name \"" + name +
                           "\" holds a line break");
        text += formatProfileListRecord(name);
        text += "\r\n";
    }
    std::string bytes;
    if (!encodeText(text, encoding, bytes))
        return Failure(profileListFile().string() +
                       ": a profile name holds characters that Windows-1252 cannot store");
    return replaceFileAtomically(resolveWriteTarget(profileListFile()), bytes);
}

WriteResult ProfileStore::SaveProfileList(std::span<const std::string> names) const
{
    const auto file = resolveWriteTarget(profileListFile());
    auto lock = FileLock::acquire(file);
    if (!lock)
        return Failure(lock.error());
    auto current = loadList(file);
    return writeProfileList(names, current ? current->encoding : Encoding::Utf8);
}

Result<std::optional<std::string>> ProfileStore::find(std::string_view profile) const
{
    auto list = loadList(resolveWriteTarget(profileListFile()));
    if (!list)
        return Failure(list.error());
    if (auto at = findName(list->names, profile))
        return std::optional<std::string>(list->names[*at]);
    auto ini = IniFile::load(profilesFile());
    if (!ini)
        return Failure(ini.error());
    for (const std::string& section : ini->sectionNames())
        if (equalsIgnoringCase(section, trimBlanks(profile)))
            return std::optional<std::string>(section);
    return std::optional<std::string>();
}

WriteResult ProfileStore::addProfile(std::string_view profile) const
{
    if (auto problem = profileNameProblem(profile))
        return Failure(profileListFile().string() + ": " + *problem);
    const auto file = resolveWriteTarget(profileListFile());
    auto lock = FileLock::acquire(file);
    if (!lock)
        return Failure(lock.error());
    auto list = loadList(file);
    if (!list)
        return Failure(list.error());
    if (auto at = findName(list->names, profile))
        return Failure(profileListFile().string() + ": a profile named \"" + list->names[*at] +
                       "\" already exists");
    list->names.emplace_back(profile);
    return writeProfileList(list->names, list->encoding);
}

WriteResult ProfileStore::deleteProfile(std::string_view profile) const
{
    std::string listedName;
    {
        const auto file = resolveWriteTarget(profileListFile());
        auto lock = FileLock::acquire(file);
        if (!lock)
            return Failure(lock.error());
        auto list = loadList(file);
        if (!list)
            return Failure(list.error());
        if (auto at = findName(list->names, profile)) {
            listedName = list->names[*at];
            list->names.erase(list->names.begin() + static_cast<std::ptrdiff_t>(*at));
            if (auto saved = writeProfileList(list->names, list->encoding); !saved)
                return saved;
        }
    }
    const std::filesystem::path profiles = m_context.folder.string() + "/Profiles.ini";
    if (listedName.empty()) {
        auto ini = IniFile::load(profiles);
        if (!ini)
            return Failure(ini.error());
        if (!ini->hasSection(profile))
            return Failure(profileListFile().string() + ": no profile named \"" +
                           std::string(profile) + "\"");
    }
    // The selected-profile option is compared exactly, as the main screen
    // compares the name it shows with the stored text.
    const std::string deletedName = listedName.empty() ? std::string(profile) : listedName;
    const auto options = iniFilePath(m_context, kOptionsBaseName);
    auto cleared = editIniFile(options, [&](IniFile& ini) -> Result<bool> {
        if (ini.value(kOptionsSection, "ProfileToUse") != deletedName)
            return false;
        return ini.removeKey(kOptionsSection, "ProfileToUse");
    });
    // The section goes through the plain folder + name path, without the
    // separator collapse that ReadINI and WriteINI apply, as the delete
    // command of the Windows version addresses it. It is deleted even when
    // the option could not be cleared; the first failure is the one reported.
    auto removed = deleteIniSection(profiles, profile);
    return cleared ? std::move(removed) : std::move(cleared);
}

} // namespace qm::settings
