// Where words may be hyphenated, from the system's hyphenation patterns.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::layout {

/// Hyphenation points of words in one language, read from the pattern
/// dictionaries word processors share (hyph_<language>_<REGION>.dic, as
/// Debian's hyphen-* packages install them). One per dictionary and process:
/// `forLanguage` loads a dictionary once and hands out the same hyphenator
/// to every thread.
class Hyphenator {
public:
    /// The hyphenator for a language tag such as "en-US" or "de_DE" (the
    /// region's own patterns, else the language's), or nullptr when none is
    /// installed. An empty tag asks for US English, the language Word falls
    /// back to.
    static const Hyphenator* forLanguage(std::string_view tag);

    /// Where `word` (letters only) may break: after each index i with
    /// breaks[i] true a hyphen may end the line. The dictionary's shortest
    /// first and last pieces apply, and never fewer than two letters.
    std::vector<bool> breaks(std::u16string_view word) const;

    ~Hyphenator();
    Hyphenator(const Hyphenator&) = delete;
    Hyphenator& operator=(const Hyphenator&) = delete;

private:
    explicit Hyphenator(void* dictionary);
    void* m_dictionary; ///< the library's HyphenDict
    /// The library does not say whether matching leaves its dictionary as
    /// it was; threads take turns (a line's last word is rarely broken).
    mutable std::mutex m_mutex;
};

} // namespace qm::engine::layout
