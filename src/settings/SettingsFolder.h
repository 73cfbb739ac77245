// Where Quillmeter keeps Options.ini, Profiles.ini and ProfileList.log.
#pragma once

#include <filesystem>
#include <optional>

namespace qm::settings {

/// The folder holding the running program's executable, or an empty path when
/// the system cannot say.
std::filesystem::path programFolder();

/// The settings folder in use. An explicit folder wins. Otherwise the
/// program's own folder when it is writable (settings travel with the program,
/// as users of the Windows version expect), else the per-user configuration
/// folder: $XDG_CONFIG_HOME/quillmeter, by default ~/.config/quillmeter.
/// The folder is not created here; writers create it on first write.
std::filesystem::path resolveSettingsFolder(
    const std::optional<std::filesystem::path>& explicitFolder = std::nullopt);

} // namespace qm::settings
