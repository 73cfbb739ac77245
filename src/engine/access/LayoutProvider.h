// The seam through which the layout engine gives lines, pages and line ends to the access layer.
#pragma once

#include "engine/model/Document.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qm::engine {

/// Lines and pages as Word's layout gives them; `error` set when the layout
/// could not be made (the figures are then meaningless).
struct LayoutFigures {
    int64_t lines = 0;
    int64_t pages = 0;
    std::string error;
    /// For the main story, the character range [first, second) of every
    /// laid-out line, in the order the pages show them; where a line ends
    /// is read from here.
    std::vector<std::pair<uint32_t, uint32_t>> mainLines;
};

/// Lays a document out. The access layer asks it for the line and page
/// statistics and for where a line ends; without one, those statistics are
/// reported as unavailable rather than guessed.
class LayoutProvider {
public:
    virtual ~LayoutProvider() = default;

    /// The lines of one story as laid out (a header or footer in its frame),
    /// and for the main story also the document's pages and its lines' ranges.
    virtual LayoutFigures measure(const Document& document, size_t story) = 0;
};

} // namespace qm::engine
