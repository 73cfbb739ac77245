// Value-at-a-time access to the settings INI files by base name: ReadINI, WriteINI, ReplaceText.
#include "settings/IniRW.h"

#include <algorithm>

namespace qm::settings {

std::string ReplaceText(std::string text, std::string_view search, std::string_view replacement)
{
    if (text.size() < search.size())
        return text;
    // The last position is fixed before the loop, in a 16-bit count as the
    // Windows version keeps it: text inserted by a replacement can push later
    // matches past it, and those stay unreplaced.
    const size_t lastPosition = std::min<size_t>(text.size(), kReplaceTextLastPosition);
    for (size_t i = 1; i <= lastPosition && i - 1 <= text.size(); ++i) {
        if (text.compare(i - 1, search.size(), search) == 0)
            text.replace(i - 1, search.size(), replacement);
    }
    return text;
}

std::filesystem::path iniFilePath(const SettingsContext& context, std::string_view baseName,
                                  std::string_view explicitPath)
{
    if (!explicitPath.empty())
        return std::filesystem::path(explicitPath);
    const std::string built = context.folder.string() + "/" + std::string(baseName) + ".ini";
    return std::filesystem::path(ReplaceText(built, "//", "/"));
}

Result<std::optional<std::string>> readIniValue(const std::filesystem::path& file,
                                                std::string_view section, std::string_view key)
{
    auto ini = IniFile::load(file);
    if (!ini)
        return Failure(ini.error());
    return ini->value(section, key);
}

std::string ReadINI(const SettingsContext& context, std::string_view baseName,
                    std::string_view section, std::string_view key, std::string_view defaultValue,
                    std::string_view explicitPath)
{
    auto value = readIniValue(iniFilePath(context, baseName, explicitPath), section, key);
    // The service strips trailing blanks from the default it copies into
    // the buffer, so a default of "x " comes back as "x".
    const std::string_view text =
        value && *value ? std::string_view(**value) : trimTrailingBlanks(defaultValue);
    return std::string(firstCharacters(text, kReadIniBufferSize - 1));
}

WriteResult writeIniValue(const std::filesystem::path& file, std::string_view section,
                          std::string_view key, std::optional<std::string_view> value)
{
    return editIniFile(file, [&](IniFile& ini) -> Result<bool> {
        if (!value)
            return ini.removeKey(section, key);
        if (ini.value(section, key) == *value)
            return false;
        if (auto set = ini.setValue(section, key, *value); !set)
            return Failure(set.error());
        return true;
    });
}

WriteResult deleteIniSection(const std::filesystem::path& file, std::string_view section)
{
    return editIniFile(file,
                       [&](IniFile& ini) -> Result<bool> { return ini.removeSection(section); });
}

WriteResult writeIni(const SettingsContext& context, std::string_view baseName,
                     std::string_view section, std::string_view key, std::string_view value,
                     std::string_view explicitPath)
{
    const std::filesystem::path file = iniFilePath(context, baseName, explicitPath);
    if (key.empty())
        return deleteIniSection(file, section);
    if (value.empty())
        return writeIniValue(file, section, key, std::nullopt);
    return writeIniValue(file, section, key, value);
}

std::int32_t WriteINI(const SettingsContext& context, std::string_view baseName,
                      std::string_view section, std::string_view key, std::string_view value,
                      std::string_view explicitPath)
{
    return writeIni(context, baseName, section, key, value, explicitPath) ? 1 : 0;
}

std::string nulSeparatedList(const std::vector<std::string>& names, size_t bufferSize)
{
    std::string list;
    for (const std::string& name : names) {
        list += name;
        list += '\0';
    }
    if (bufferSize >= 2 && characterCount(list) > bufferSize - 2)
        list = std::string(firstCharacters(list, bufferSize - 2));
    return list;
}

} // namespace qm::settings
