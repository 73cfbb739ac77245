// Value-at-a-time access to the settings INI files by base name: ReadINI, WriteINI, ReplaceText.
#include "settings/IniRW.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <sys/stat.h>

namespace qm::settings {

namespace {

// A count reads dozens of profile keys for every document, each one a whole
// read of its file. The parsed file is kept while the file provably has not
// changed: same device, inode, size, modification and change times. A file
// changed within the last two seconds is parsed afresh every time, because a
// second change inside one tick of the file system's clock (two seconds on
// FAT) would leave all five the same; any later change moves the times on.
class ParsedIniCache {
public:
    Result<std::shared_ptr<const IniFile>> load(const std::filesystem::path& file)
    {
        struct stat st {};
        if (::stat(file.c_str(), &st) != 0)
            return fresh(file); // missing or unreadable: the loader says which
        const Stamp stamp{st.st_dev,          st.st_ino,         st.st_size,        st.st_mtim.tv_sec,
                          st.st_mtim.tv_nsec, st.st_ctim.tv_sec, st.st_ctim.tv_nsec};
        {
            const std::lock_guard lock(m_mutex);
            const auto it = m_entries.find(file.string());
            if (it != m_entries.end() && it->second.stamp == stamp)
                return it->second.ini;
        }
        auto ini = fresh(file);
        const std::lock_guard lock(m_mutex);
        if (ini && settled(st))
            m_entries.insert_or_assign(file.string(), Entry{stamp, *ini});
        else
            m_entries.erase(file.string());
        return ini;
    }

private:
    struct Stamp {
        dev_t device;
        ino_t inode;
        off_t size;
        time_t modifiedSeconds;
        long modifiedNanoseconds;
        time_t changedSeconds;
        long changedNanoseconds;
        bool operator==(const Stamp&) const = default;
    };
    struct Entry {
        Stamp stamp;
        std::shared_ptr<const IniFile> ini;
    };

    // Last changed more than two seconds ago.
    static bool settled(const struct stat& st)
    {
        using namespace std::chrono;
        const auto at = [](const timespec& t) {
            return system_clock::time_point(
                duration_cast<system_clock::duration>(seconds(t.tv_sec) + nanoseconds(t.tv_nsec)));
        };
        return std::max(at(st.st_mtim), at(st.st_ctim)) < system_clock::now() - seconds(2);
    }

    static Result<std::shared_ptr<const IniFile>> fresh(const std::filesystem::path& file)
    {
        auto ini = IniFile::load(file);
        if (!ini)
            return Failure(ini.error());
        return std::make_shared<const IniFile>(std::move(*ini));
    }

    std::mutex m_mutex;
    std::map<std::string, Entry> m_entries;
};

ParsedIniCache& parsedIniCache()
{
    static ParsedIniCache cache;
    return cache;
}

} // namespace

std::string ReplaceText(std::string text, std::string_view search, std::string_view replacement)
{
    if (text.size() < search.size())
        return text;
    // The last position is fixed before the loop, in a 16-bit count, so that
    // paths resolve exactly as they always have: text inserted by a
    // replacement can push later matches past it, and those stay unreplaced.
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
    auto ini = parsedIniCache().load(file);
    if (!ini)
        return Failure(ini.error());
    return (*ini)->value(section, key);
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
