// Reading the parts of a zip package (docx, odt) within the engine's limits.
#pragma once

#include "engine/model/Limits.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

typedef struct zip zip_t;
struct zip_stat;
typedef struct zip_stat zip_stat_t;

namespace qm::engine {

/// The bytes of one part, or why they could not be read.
struct PartData {
    std::string bytes;
    std::string error; ///< empty when the part was read in full
    bool found = true; ///< false when the package has no such part
    bool ok() const { return error.empty(); }
};

/// A zip archive read from memory. Part names are matched without regard to
/// letter case and without a leading slash, as package part names are.
/// Every read is capped by Limits: entry count (checked on open), the size of
/// one entry, the size of all entries read together, and the compression
/// ratio; a declared size is never trusted, the inflated bytes are counted.
/// The archive keeps a view of `bytes`, which must outlive it.
class ZipPackage {
public:
    /// Opens an archive; on failure `error()` says why and nothing can be read.
    ZipPackage(std::string_view bytes, const Limits& limits);
    /// A package whose parts are held in memory already, by part name: the
    /// parts a Flat OPC file carries inline. Reads are served from them,
    /// within the same size limits as inflated entries.
    ZipPackage(std::map<std::string, std::string> parts, const Limits& limits);
    ~ZipPackage();
    ZipPackage(const ZipPackage&) = delete;
    ZipPackage& operator=(const ZipPackage&) = delete;

    bool isOpen() const { return m_zip != nullptr || m_heldInline; }
    const std::string& error() const { return m_error; }

    bool contains(std::string_view name) const;
    /// Reads a part in full; a part that breaks a limit or fails its checksum
    /// gives an error, never a truncated text.
    PartData read(std::string_view name);
    /// A part's bytes as the package holds them (deflated or stored), after
    /// the method, size and checksum its directory gives: two parts with the
    /// same such text are read to the same text, in any package, so a
    /// reader may keep what it made of a part by it. Empty where the part is
    /// missing, or is anything read() does not take in one go (another
    /// method, encryption, a size a limit refuses, a part held inline).
    std::string rawText(std::string_view name);
    /// Counts a part towards the limits as read() would, without inflating
    /// it, for a reader that knows its text by its raw text; false (nothing
    /// counted) where read() would not take it in one go.
    bool countAsRead(std::string_view name);
    /// Reads a part once more whose first read counted `counted` bytes
    /// towards the limit on all entries together: it is not counted twice.
    PartData readAgain(std::string_view name, uint64_t counted);
    std::vector<std::string> names() const;

    /// How many bytes the reads so far inflated (what the limit on all
    /// entries together is measured against), and a way back to such a
    /// count: a reader that reads the package again from the start counts
    /// its parts once.
    uint64_t inflatedSoFar() const { return m_inflated; }
    void rewindInflated(uint64_t count) { m_inflated = count; }

private:
    /// Inflates an entry in one call when nothing about it is unusual;
    /// false (with `out` in any state) when it must be read as a stream.
    bool readWhole(uint64_t index, const zip_stat_t& st, std::string& out);
    /// Whether an entry is one readWhole takes: the directory's word on it
    /// and the limits, before anything is inflated.
    bool wholeReadable(const zip_stat_t& st) const;
    /// The entry of a part and what the directory says of it, where the part
    /// is in the archive and within the size limit on one entry.
    bool statEntry(std::string_view name, uint64_t& index, zip_stat_t& st);

    zip_t* m_zip = nullptr;
    Limits m_limits;
    std::string m_error;
    std::map<std::string, uint64_t> m_index; // lower-case name -> entry index
    uint64_t m_inflated = 0;                 // bytes read from all entries so far
    uint64_t m_packageBytes = 0;             // size of the zip file itself
    std::vector<std::string> m_inline;       // parts held in memory, by entry index
    bool m_heldInline = false;
};

} // namespace qm::engine
