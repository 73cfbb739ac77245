// Value-at-a-time access to the settings INI files by base name: ReadINI, WriteINI, ReplaceText.
#pragma once

#include "settings/IniFile.h"
#include "settings/SettingsContext.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qm::settings {

/// Size of ReadINI's buffer; a value comes back cut to one character less.
inline constexpr size_t kReadIniBufferSize = 2048;

/// ReplaceText examines no position beyond this one.
inline constexpr size_t kReplaceTextLastPosition = 32767;

/// The file addressed by a base name: the explicit path when it is non-empty,
/// else folder + "/" + base name + ".ini" with every doubled "/" of the whole
/// text collapsed by ReplaceText, so a folder ending in "/" still gives one
/// separator (and a leading "//" becomes "/").
std::filesystem::path iniFilePath(const SettingsContext& context, std::string_view baseName,
                                  std::string_view explicitPath = {});

/// Reads one value, or the default (without its trailing blanks) when the
/// file, section or key is absent or the file cannot be read. The result, default included, is cut
/// to 2047 characters as the fixed-size buffer of the Windows service cuts it.
std::string ReadINI(const SettingsContext& context, std::string_view baseName,
                    std::string_view section, std::string_view key, std::string_view defaultValue,
                    std::string_view explicitPath = {});

/// Writes one value with the rules of the Windows version: an empty key
/// deletes the whole section, else an empty value deletes the key, else the
/// value is stored. Returns non-zero on success and 0 on failure; writeIni
/// gives the reason.
std::int32_t WriteINI(const SettingsContext& context, std::string_view baseName,
                      std::string_view section, std::string_view key, std::string_view value,
                      std::string_view explicitPath = {});

/// WriteINI with the reason for a failure.
WriteResult writeIni(const SettingsContext& context, std::string_view baseName,
                     std::string_view section, std::string_view key, std::string_view value,
                     std::string_view explicitPath = {});

/// Replaces occurrences of `search` by `replacement`, scanning positions 1 to
/// the text's original length once. After a replacement the scan goes on at
/// the next position of the changed text without skipping the inserted text,
/// so three "\\" in a row become two, not one, when pairs are collapsed;
/// positions past the original length, and past position 32767 of a longer
/// text (the position count is 16 bits wide), are never examined. Positions
/// count bytes. A text shorter than `search` comes back unchanged.
std::string ReplaceText(std::string text, std::string_view search, std::string_view replacement);

// The layer below ReadINI/WriteINI, on a full path.

/// The value of section/key; std::nullopt when absent, an error text when the
/// file exists but cannot be read.
Result<std::optional<std::string>> readIniValue(const std::filesystem::path& file,
                                                std::string_view section, std::string_view key);

/// Sets a value, or deletes the key when `value` is std::nullopt.
WriteResult writeIniValue(const std::filesystem::path& file, std::string_view section,
                          std::string_view key, std::optional<std::string_view> value);

/// Deletes a whole section (nothing to do when absent).
WriteResult deleteIniSection(const std::filesystem::path& file, std::string_view section);

/// A list of names as the Windows service returns it into a buffer of
/// `bufferSize` characters: each name followed by one NUL; when the list does
/// not fit, it is cut to bufferSize - 2 characters.
std::string nulSeparatedList(const std::vector<std::string>& names, size_t bufferSize);

} // namespace qm::settings
