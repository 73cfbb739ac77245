// One document's figures as a user checks a bill against them: statistics, headers and footers, diagnostics.
#pragma once

#include "engine/access/DocumentAccess.h"
#include "engine/access/WordStatistics.h"

#include <optional>
#include <string>
#include <vector>

namespace qm::engine {

/// A header or footer as a section shows it.
struct StorySummary {
    size_t section = 0; ///< 1-based
    bool header = true;
    HeaderFooterIndex index = HeaderFooterIndex::Primary;
    int32_t story = -1;
    bool inherited = false; ///< shown from an earlier section
    WordStatistics statistics;
};

struct DocumentSummary {
    std::string format;
    WordStatistics statistics;  ///< Word's figures for the main story
    int64_t wordMatches = 0;    ///< "<*>" matches in the main story
    int64_t tables = 0;
    std::optional<int64_t> lines, pages; ///< when a layout is available
    std::vector<StorySummary> stories;
    std::vector<Diagnostic> diagnostics;
    StoredStatistics stored;    ///< what the saving program wrote into the file
};

/// Measures the document. The "<*>" count is taken the way the measurements
/// take it (replace all, then undo), so the document is as it was afterwards.
DocumentSummary summarizeDocument(DocumentAccess& access);

std::string_view headerFooterName(HeaderFooterIndex index);

} // namespace qm::engine
