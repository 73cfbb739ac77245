// Settings folder resolution: explicit, program folder, or per-user folder.
#include "SettingsFolder.h"

#include <cstdlib>
#include <system_error>
#include <unistd.h>

namespace qm::settings {

namespace fs = std::filesystem;

fs::path programFolder()
{
    std::error_code ec;
    fs::path exe = fs::read_symlink("/proc/self/exe", ec);
    if (ec)
        return {};
    return exe.parent_path();
}

static fs::path userConfigFolder()
{
    if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg == '/')
        return fs::path(xdg) / "quillmeter";
    if (const char* home = std::getenv("HOME"); home && *home)
        return fs::path(home) / ".config" / "quillmeter";
    return fs::current_path() / ".quillmeter";
}

fs::path resolveSettingsFolder(const std::optional<fs::path>& explicitFolder)
{
    if (explicitFolder && !explicitFolder->empty())
        return *explicitFolder;
    fs::path program = programFolder();
    if (!program.empty() && ::access(program.c_str(), W_OK) == 0)
        return program;
    return userConfigFolder();
}

} // namespace qm::settings
