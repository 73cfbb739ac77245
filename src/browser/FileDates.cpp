// File dates through statx, which gives the birth time where the file system keeps one.
#include "browser/FileDates.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace qm::browser {

namespace {

bool validDay(const Day& d)
{
    static constexpr int lengths[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (d.year < 1 || d.year > 9999 || d.month < 1 || d.month > 12 || d.day < 1)
        return false;
    if (d.day > lengths[d.month - 1])
        return false;
    const bool leap = (d.year % 4 == 0 && d.year % 100 != 0) || d.year % 400 == 0;
    return !(d.month == 2 && d.day == 29 && !leap);
}

bool readNumber(std::string_view part, size_t minDigits, size_t maxDigits, int& out)
{
    if (part.size() < minDigits || part.size() > maxDigits)
        return false;
    const auto [end, ec] = std::from_chars(part.data(), part.data() + part.size(), out);
    return ec == std::errc() && end == part.data() + part.size();
}

} // namespace

std::string formatDay(const Day& day)
{
    char text[16];
    std::snprintf(text, sizeof text, "%02d/%02d/%04d", day.month, day.day, day.year);
    return text;
}

std::optional<Day> parseDay(std::string_view text)
{
    const size_t first = text.find('/');
    const size_t second = first == std::string_view::npos ? first : text.find('/', first + 1);
    if (second == std::string_view::npos)
        return std::nullopt;
    Day d;
    if (!readNumber(text.substr(0, first), 1, 2, d.month) ||
        !readNumber(text.substr(first + 1, second - first - 1), 1, 2, d.day) ||
        !readNumber(text.substr(second + 1), 4, 4, d.year))
        return std::nullopt;
    if (!validDay(d))
        return std::nullopt;
    return d;
}

Day dayOf(std::time_t time)
{
    std::tm local{};
    localtime_r(&time, &local);
    return Day{local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

Day today()
{
    return dayOf(std::time(nullptr));
}

std::optional<FileDate> fileDate(const std::filesystem::path& path, FileDateKind kind)
{
    struct statx info {};
    if (statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &info) != 0)
        return std::nullopt;
    FileDate result;
    switch (kind) {
    case FileDateKind::Modified:
        result.day = dayOf(info.stx_mtime.tv_sec);
        break;
    case FileDateKind::Accessed:
        result.day = dayOf(info.stx_atime.tv_sec);
        break;
    case FileDateKind::Created:
        if (info.stx_mask & STATX_BTIME) {
            result.day = dayOf(info.stx_btime.tv_sec);
        } else {
            // Without a birth time the oldest recorded time is the closest to
            // the creation: a file cannot have been changed before it existed.
            result.day = dayOf(std::min({info.stx_mtime.tv_sec, info.stx_ctime.tv_sec, info.stx_atime.tv_sec}));
            result.creationApproximated = true;
        }
        break;
    }
    return result;
}

bool fileExists(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::is_regular_file(path, error);
}

} // namespace qm::browser
