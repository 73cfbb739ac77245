// Fonts for layout: Word's font names resolved to installed faces, and their unhinted metrics.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct hb_font_t;

namespace qm::engine::layout {

/// Vertical metrics of a face in font units, as Word reads them for line
/// height: the hhea ascender, descender (positive) and line gap.
struct FaceMetrics {
    int32_t unitsPerEm = 2048;
    int32_t ascent = 0;
    int32_t descent = 0;
    int32_t lineGap = 0;
};

/// One loaded face with its advance widths for every BMP character it maps.
/// Immutable after loading, so readers on several threads can share it.
class Face {
public:
    /// Advance of `c` in font units; `Missing` when the face has no glyph.
    static constexpr uint16_t Missing = 0xFFFF;
    uint16_t advance(char16_t c) const { return m_advances[c]; }
    const FaceMetrics& metrics() const { return m_metrics; }
    const std::string& family() const { return m_family; }
    const std::string& file() const { return m_file; }

private:
    friend class FontCache;
    FaceMetrics m_metrics;
    std::string m_family;
    std::string m_file;
    int m_index = 0;                  // the face's index in a collection (.ttc)
    std::vector<uint16_t> m_advances; // 65536 entries
};

enum class FontWeight : uint8_t { Regular, Bold };
enum class FontSlant : uint8_t { Upright, Italic };

/// What a font request resolved to: the face, and whether it was a substitute
/// for a font that is not installed (the caller reports that once).
struct ResolvedFace {
    const Face* face = nullptr;
    bool substituted = false;
    /// The face is the stand-in of a Word font whose metrics are known
    /// (WordFontMetrics), and is measured through them.
    bool standIn = false;
};

/// Finds faces through fontconfig and reads them with FreeType, once per
/// process. Word's common fonts go to their metric-compatible twins (Times
/// New Roman to Liberation Serif, Arial to Liberation Sans, Courier New to
/// Liberation Mono, Calibri to Carlito); fonts whose metrics are known
/// (WordFontMetrics: Cambria, Aptos, ...) to their stand-in face; any other
/// font that is not installed to a twin of its family class (serif, sans,
/// monospace). Thread-safe: resolve() locks; faces never move or change.
class FontCache {
public:
    /// The process-wide cache.
    static FontCache& instance();

    FontCache();
    ~FontCache();
    FontCache(const FontCache&) = delete;
    FontCache& operator=(const FontCache&) = delete;

    /// The face for a Word font name in a weight and slant. Never null while
    /// any font at all is installed; null only on a machine without fonts.
    ResolvedFace resolve(std::string_view wordName, FontWeight weight, FontSlant slant);

    /// A face that has `c`, for characters the requested face lacks (Word
    /// falls back to a font that has the glyph); null when none has it.
    const Face* fallbackFor(char16_t c);

    /// A face for complex-script text that the run's own face cannot show:
    /// one drawn for the script in the style of `wordName` where there is
    /// one (Arabic, Hebrew), else fallbackFor(c).
    const Face* scriptFace(char16_t c, std::string_view wordName);

    /// The face emoji are shown in (Noto Color Emoji); null when none is
    /// installed.
    const Face* emojiFace();

    /// A HarfBuzz font over a loaded face, at the face's own units per em,
    /// made once and immutable, so several threads may shape with it.
    hb_font_t* shaper(const Face* face);

    /// The installed family a Word font name is laid out with, before weight
    /// and slant are chosen (for diagnostics and tests).
    static std::string twinFamily(std::string_view wordName);

private:
    const Face* load(const std::string& family, FontWeight weight, FontSlant slant, bool& exact);
    const Face* match(const std::string& family, FontWeight weight, FontSlant slant, bool& exact);
    const Face* loadFile(const std::string& file, int index, const std::string& family);

    struct Impl;
    std::unique_ptr<Impl> m_impl;
    std::mutex m_mutex;
    std::map<std::string, ResolvedFace> m_byRequest;
    std::map<std::string, std::unique_ptr<Face>> m_byFile;
    /// fontconfig's answer for a family in a style: the face, and whether
    /// it is that family (many Word fonts share one stand-in family).
    std::map<std::string, std::pair<const Face*, bool>> m_byFamily;
    std::vector<const Face*> m_fallbacks;
    bool m_fallbacksLoaded = false;
    const Face* m_emoji = nullptr;
    bool m_emojiLoaded = false;
    std::map<const Face*, hb_font_t*> m_shapers;
};

} // namespace qm::engine::layout
