// Caps that keep hostile input from exhausting time or memory.
#pragma once

#include <cstdint>

namespace qm::engine {

/// Every reader checks its input against these before it allocates or
/// recurses. Exceeding one gives a partial document with a diagnostic, or a
/// clear error when nothing useful can be read.
struct Limits {
    uint64_t maxInputBytes = 1ull << 30;          ///< size of the file itself
    uint64_t maxStoryChars = 64ull << 20;         ///< characters in one story
    uint64_t maxTotalChars = 256ull << 20;        ///< characters in all stories
    uint32_t maxNestingDepth = 512;               ///< groups, elements, fields
    uint32_t maxTableDepth = 64;                  ///< nested tables
    uint64_t maxTableCells = 4ull << 20;
    uint32_t maxArchiveEntries = 20000;           ///< entries of a zip package
    uint64_t maxUncompressedBytes = 1ull << 30;   ///< all entries together
    uint64_t maxEntryBytes = 512ull << 20;        ///< one entry
    uint32_t maxCompressionRatio = 1000;          ///< uncompressed : compressed of one entry
    uint32_t maxSections = 100000;
    uint32_t maxStories = 100000;
};

} // namespace qm::engine
