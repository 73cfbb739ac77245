// A file's dates reduced to the day, and the "mm/dd/yyyy" text they are stored as.
#pragma once

#include <compare>
#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace qm::browser {

/// A calendar day in local time.
struct Day {
    int year = 1970;
    int month = 1; ///< 1 to 12
    int day = 1;   ///< 1 to 31
    auto operator<=>(const Day&) const = default;
};

/// "mm/dd/yyyy", the form dates take in the options file and the results.
std::string formatDay(const Day& day);
/// Reads "mm/dd/yyyy" (one-digit month and day accepted); nothing for any
/// other text or an impossible date.
std::optional<Day> parseDay(std::string_view text);
/// The local calendar day of a point in time.
Day dayOf(std::time_t time);
Day today();

/// The three dates a file carries, by the numbers profiles store.
enum class FileDateKind { Created = 0, Modified = 1, Accessed = 2 };

struct FileDate {
    Day day;
    /// True when the file system records no creation (birth) time and the
    /// oldest of the other times stands in for it.
    bool creationApproximated = false;
};

/// The day of a file's date of the given kind; nothing when the file cannot
/// be examined.
std::optional<FileDate> fileDate(const std::filesystem::path& path, FileDateKind kind);

/// Whether a file (not a folder) exists at the path.
bool fileExists(const std::filesystem::path& path);

} // namespace qm::browser
