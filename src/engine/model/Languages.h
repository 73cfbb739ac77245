// Windows language identifiers (LCIDs), as .doc and RTF files name languages.
#pragma once

#include <cstdint>
#include <string>

namespace qm::engine {

/// The language tag ("en-US", "de-CH") of a Windows language identifier:
/// the language and region for the common ones, the language alone for
/// other regions of a known language, empty for an unknown or neutral one.
std::string languageTagOfLcid(uint32_t lcid);

} // namespace qm::engine
