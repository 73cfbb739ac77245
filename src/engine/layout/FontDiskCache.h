// What fontconfig and FreeType told an earlier process, kept on disk for the next one.
#pragma once

#include "engine/layout/FontCache.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::layout {

/// Finding a face for a family costs fontconfig a scan of every installed
/// font, and reading a face's advances costs FreeType a walk over its whole
/// character map: together most of a short run's time. Their answers depend
/// only on the installed fonts and fontconfig's configuration, so they are
/// kept in a small file, valid while the configuration's `stamp` (its files,
/// its font folders with their modification times, its languages) is the one
/// they were found under. A face's advances are kept with the modification
/// time and size of its font file and are used only while those still hold.
///
/// The file is only ever replaced whole, by writing a temporary file beside
/// it and renaming it over the old one, so processes that run at once each
/// read a complete file (the last to finish wins; nothing is lost but a few
/// answers found again). A file that is damaged or of another stamp is
/// ignored.
class FontDiskCache {
public:
    /// fontconfig's answer for one family in one style.
    struct Match {
        bool hasFile = false; ///< false when fontconfig gave no file
        std::string file;
        int index = 0;
        std::string family; ///< the matched family's first name
        bool exact = false; ///< the family asked for, not a stand-in
        bool operator==(const Match&) const = default;
    };

    /// A face's metrics and its advances (65,536 entries, Face::Missing
    /// where the face has no glyph).
    struct FaceData {
        FaceMetrics metrics;
        std::vector<uint16_t> advances;
    };

    /// Reads `path` when it holds answers found under `stamp`; an empty
    /// path keeps nothing on disk.
    FontDiskCache(std::string path, std::string stamp);

    std::optional<Match> match(const std::string& key) const;
    void storeMatch(const std::string& key, const Match& match);

    /// The face of `file` (face `index` in it), when it was kept and the
    /// file has not changed since.
    std::optional<FaceData> face(const std::string& file, int index) const;
    void storeFace(const std::string& file, int index, const FaceData& data);

    /// Writes the file when anything new was stored; false when it could
    /// not be written (the answers are then simply found again next time).
    /// Answer files beside it that no program has read for 30 days (those of
    /// configurations that are gone: reading a file marks it used once a
    /// day) are removed then.
    bool save();

    /// The stamp of a fontconfig configuration (an FcConfig*); `sources`,
    /// when given, receives every file and folder whose state it records.
    static std::string configStamp(void* fcConfig, std::vector<std::string>* sources = nullptr);
    /// Where the file for a stamp lives: in $XDG_CACHE_HOME/quillmeter, else
    /// ~/.cache/quillmeter; empty when neither is known.
    static std::string defaultPath(std::string_view stamp);

    /// Loading fontconfig's configuration (parsing its files, mapping its
    /// font caches) costs more than a short run's layout, only to make a
    /// stamp that is nearly always the last one. The stamp is therefore kept
    /// too, with the state of every file and folder it was made from, in a
    /// file named by what else it depends on: fontconfig's version, the
    /// environment fontconfig reads (its variables, the locale's, the home
    /// and XDG folders, the desktop) and the program. While each of those
    /// files and folders has the modification time and size it had, the
    /// configuration would give the same stamp, and its answers are used
    /// without loading it. Empty when no cache folder is known.
    static std::string stampPath();
    /// Keeps `stamp` at `path` with the state its `sources` have now; the
    /// file is replaced only when it says anything else.
    static bool keepStamp(const std::string& path, const std::string& stamp, const std::vector<std::string>& sources);
    /// The stamp kept at `path`, when every file and folder it was made from
    /// is as it was then; nothing when one has changed, come or gone, or the
    /// file is missing or damaged.
    static std::optional<std::string> keptStamp(const std::string& path);

private:
    struct KeptFace {
        int64_t mtime = 0;
        int64_t size = 0;
        FaceMetrics metrics;
        // Runs of mapped characters: first code point, then the advances.
        std::vector<std::pair<uint32_t, std::vector<uint16_t>>> runs;
    };
    static bool fileState(const std::string& file, int64_t& mtime, int64_t& size);
    bool load(const std::string& bytes);

    std::string m_path;
    std::string m_stamp;
    std::map<std::string, Match> m_matches;
    std::map<std::string, KeptFace> m_faces; // by "file#index"
    bool m_dirty = false;
};

} // namespace qm::engine::layout
