// A reader of compound files (the container of Word 97-2003 documents).
#pragma once

#include "engine/model/Diagnostic.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::doc {

/// The streams of a compound file, read from a byte buffer the caller keeps
/// alive. Every sector chain is followed with range and cycle checks and is
/// never longer than the file has sectors, so a hostile file costs at most
/// memory in proportion to its own size. A damaged directory or chain gives a
/// clear error from open(); a stream whose chain ends early is returned
/// short, with a diagnostic.
class CompoundFile {
public:
    struct OpenResult;

    /// Parses the header, the sector tables and the directory.
    static OpenResult open(std::string_view bytes);

    /// True when the root storage holds a stream of that name (compared
    /// without regard to ASCII letter case, as the container does).
    bool hasStream(std::u16string_view name) const;
    /// The whole stream of that name in the root storage, or nothing.
    std::optional<std::string> stream(std::u16string_view name);

    const std::vector<Diagnostic>& diagnostics() const { return m_diagnostics; }

private:
    struct Entry {
        std::u16string name;
        uint8_t type = 0; // 1 storage, 2 stream, 5 root
        uint32_t left = 0, right = 0, child = 0;
        uint32_t start = 0;
        uint64_t size = 0;
    };

    std::string readChain(const std::vector<uint32_t>& table, uint32_t start, uint64_t size, bool mini,
                          std::string_view what, bool& complete);
    std::string_view sector(uint32_t index) const;
    int findInRoot(std::u16string_view name) const;
    void diagnose(std::string code, std::string message);

    std::string_view m_bytes;
    uint32_t m_sectorSize = 512;
    uint32_t m_miniSectorSize = 64;
    uint32_t m_miniCutoff = 4096;
    std::vector<uint32_t> m_fat;
    std::vector<uint32_t> m_miniFat;
    std::vector<Entry> m_entries;
    std::vector<uint32_t> m_rootChildren; // entry indices of the root storage's members
    std::string m_miniStream;
    bool m_miniStreamLoaded = false;
    std::vector<Diagnostic> m_diagnostics;
};

struct CompoundFile::OpenResult {
    std::optional<CompoundFile> file;
    std::string error;
};

} // namespace qm::engine::doc
