// The samples' settings files copied into a test's own folder.
#pragma once

#include <filesystem>

namespace qm::testing {

/// Copies Options.ini, Profiles.ini and ProfileList.log of samples/ into
/// `folder`, so a screen can be driven over the demo profiles without ever
/// writing the originals.
inline void copySampleSettings(const std::filesystem::path& folder)
{
    const std::filesystem::path samples = std::filesystem::path(QM_SOURCE_DIR) / "samples";
    for (const char* file : {"Options.ini", "Profiles.ini", "ProfileList.log"})
        std::filesystem::copy_file(samples / file, folder / file);
}

} // namespace qm::testing
