// Reading, locking and atomically replacing the small files that hold settings.
#include "settings/SafeFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qm::settings {

namespace fs = std::filesystem;

namespace {

std::string problem(const fs::path& file, std::string_view what, int err)
{
    std::string text = file.string() + ": " + std::string(what);
    if (err != 0)
        text += ": " + std::string(std::strerror(err));
    return text;
}

bool writeAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd, bytes.data(), bytes.size());
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

fs::path folderOf(const fs::path& file)
{
    fs::path folder = file.parent_path();
    return folder.empty() ? fs::path(".") : folder;
}

} // namespace

Result<std::optional<std::string>> readWholeFile(const fs::path& file)
{
    const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return std::optional<std::string>{};
        return Failure(problem(file, "cannot open", errno));
    }
    struct stat st
    {
    };
    if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
        const int err = S_ISDIR(st.st_mode) ? EISDIR : errno;
        ::close(fd);
        return Failure(problem(file, "cannot read", err));
    }
    if (static_cast<unsigned long long>(st.st_size) > kMaxSettingsFileBytes) {
        ::close(fd);
        return Failure(problem(file, "file is too large for a settings file", 0));
    }
    std::string content;
    char buffer[65536];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            const int err = errno;
            ::close(fd);
            return Failure(problem(file, "cannot read", err));
        }
        if (n == 0)
            break;
        content.append(buffer, static_cast<size_t>(n));
        if (content.size() > kMaxSettingsFileBytes) {
            ::close(fd);
            return Failure(problem(file, "file is too large for a settings file", 0));
        }
    }
    ::close(fd);
    return std::optional<std::string>(std::move(content));
}

Result<FileLock> FileLock::acquire(const fs::path& target)
{
    const fs::path folder = folderOf(target);
    std::error_code ec;
    fs::create_directories(folder, ec);
    if (ec)
        return Failure(problem(target, "cannot create the folder " + folder.string(), ec.value()));
    const fs::path lockFile = folder / ("." + target.filename().string() + ".lock");
    const int fd = ::open(lockFile.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        const int err = errno;
        if (err == EACCES || err == EROFS || err == EPERM)
            return Failure(problem(target, "cannot write, the folder is read-only", err));
        return Failure(problem(lockFile, "cannot create the lock file", err));
    }
    while (::flock(fd, LOCK_EX) != 0) {
        if (errno != EINTR) {
            const int err = errno;
            ::close(fd);
            return Failure(problem(lockFile, "cannot lock", err));
        }
    }
    return FileLock(fd);
}

FileLock::~FileLock()
{
    if (m_fd >= 0)
        ::close(m_fd); // closing the descriptor releases the flock
}

fs::path resolveWriteTarget(const fs::path& file)
{
    std::error_code ec;
    if (fs::is_symlink(file, ec)) {
        fs::path target = fs::canonical(file, ec);
        if (!ec)
            return target;
    }
    return file;
}

WriteResult replaceFileAtomically(const fs::path& file, std::string_view bytes)
{
    const fs::path folder = folderOf(file);
    mode_t mode = 0644;
    struct stat st
    {
    };
    if (::stat(file.c_str(), &st) == 0) {
        // A file marked read-only is left alone even when the folder would
        // allow replacing it (and even for root), as Windows refuses to write
        // a file with the read-only attribute.
        if ((st.st_mode & 0222) == 0 || ::access(file.c_str(), W_OK) != 0)
            return Failure(problem(file, "cannot write, the file is read-only", 0));
        mode = st.st_mode & 07777;
    }
    std::string pattern = (folder / ("." + file.filename().string() + ".XXXXXX")).string();
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) {
        const int err = errno;
        if (err == EACCES || err == EROFS || err == EPERM)
            return Failure(problem(file, "cannot write, the folder is read-only", err));
        return Failure(problem(file, "cannot create a temporary file", err));
    }
    auto fail = [&](std::string_view what) -> WriteResult {
        const int err = errno;
        ::close(fd);
        ::unlink(pattern.c_str());
        return Failure(problem(file, what, err));
    };
    if (::fchmod(fd, mode) != 0)
        return fail("cannot set permissions of the temporary file");
    if (!writeAll(fd, bytes))
        return fail("cannot write");
    if (::fsync(fd) != 0)
        return fail("cannot flush to disk");
    if (::close(fd) != 0) {
        const int err = errno;
        ::unlink(pattern.c_str());
        return Failure(problem(file, "cannot write", err));
    }
    if (::rename(pattern.c_str(), file.c_str()) != 0) {
        const int err = errno;
        ::unlink(pattern.c_str());
        return Failure(problem(file, "cannot replace", err));
    }
    // Make the rename itself durable; a failure here leaves a correct file.
    if (const int dirFd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); dirFd >= 0) {
        ::fsync(dirFd);
        ::close(dirFd);
    }
    return {};
}

} // namespace qm::settings
