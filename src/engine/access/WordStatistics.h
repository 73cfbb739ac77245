// Word's own document statistics: characters, characters with spaces, words, paragraphs.
#pragma once

#include "engine/model/Document.h"

#include <cstdint>

namespace qm::engine {

/// The figures Word's Word Count shows for the main story (built-in
/// statistics 16 and 30, its word statistic and its paragraph count).
struct WordStatistics {
    int64_t characters = 0;           ///< without spaces (statistic 16)
    int64_t charactersWithSpaces = 0; ///< statistic 30
    int64_t words = 0;                ///< asianCharacters + nonAsianWords
    /// East Asian characters, each a word (Word's "Asian characters").
    int64_t asianCharacters = 0;
    /// Runs of other characters between spaces and East Asian characters
    /// (Word's "Non-Asian words").
    int64_t nonAsianWords = 0;
    int64_t paragraphs = 0;
};

/// Word's statistics of a story range [from, to); the whole story by default.
WordStatistics computeWordStatistics(const Document& doc, size_t story = 0, uint32_t from = 0,
                                     uint32_t to = UINT32_MAX);

} // namespace qm::engine
