// Reading, locking and atomically replacing the small files that hold settings.
#pragma once

#include "settings/Result.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace qm::settings {

/// Success, or the reason a settings file could not be written. The text names
/// the file and the problem ("/home/u/Profiles.ini: folder is read-only").
using WriteResult = Result<void>;

/// Largest settings file read; anything bigger is refused rather than loaded.
inline constexpr size_t kMaxSettingsFileBytes = 64u * 1024 * 1024;

/// The whole content of a file; std::nullopt when it does not exist. Other
/// failures (no permission, a folder in its place, too large) are an error text.
Result<std::optional<std::string>> readWholeFile(const std::filesystem::path& file);

/// An exclusive lock on a side file next to the target (".Profiles.ini.lock"),
/// held for one read-modify-write. The lock is on a file of its own because the
/// target is replaced by rename, which would leave a lock on the target's old
/// inode protecting nothing. Released when the object is destroyed.
class FileLock
{
public:
    /// Creates the folder and the lock file as needed and waits for the lock.
    static Result<FileLock> acquire(const std::filesystem::path& target);

    FileLock(FileLock&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    FileLock& operator=(FileLock&&) = delete;
    FileLock(const FileLock&) = delete;
    ~FileLock();

private:
    explicit FileLock(int fd) : m_fd(fd) {}
    int m_fd = -1;
};

/// Replaces the file's content so that a reader sees either the old or the new
/// file, never a mix: the bytes go to a temporary file in the same folder,
/// which is flushed to disk and renamed over the old one. A read-only file is
/// not replaced. The old file's permissions are kept. On failure the old file
/// is untouched and the temporary file removed.
WriteResult replaceFileAtomically(const std::filesystem::path& file, std::string_view bytes);

/// The file a write should replace: a symbolic link is followed so that the
/// link stays and its target gets the new content.
std::filesystem::path resolveWriteTarget(const std::filesystem::path& file);

} // namespace qm::settings
