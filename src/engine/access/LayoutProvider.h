// The seam through which the layout engine gives lines, pages and line ends to the access layer.
#pragma once

#include "engine/model/Document.h"

#include <cstdint>
#include <optional>
#include <string>

namespace qm::engine {

/// Lines and pages as Word's layout gives them; `error` set when the layout
/// could not be made (the figures are then meaningless).
struct LayoutFigures {
    int64_t lines = 0;
    int64_t pages = 0;
    std::string error;
};

/// Lays a document out. The access layer asks it for the line and page
/// statistics and for where a line ends; without one, those statistics are
/// reported as unavailable rather than guessed.
class LayoutProvider {
public:
    virtual ~LayoutProvider() = default;

    /// The lines of one story as laid out (a header or footer in its frame),
    /// and for the main story also the document's pages.
    virtual LayoutFigures measure(const Document& document, size_t story) = 0;

    /// One past the last character of the laid-out line holding pos;
    /// nullopt when the layout cannot tell (the caller then uses the paragraph).
    virtual std::optional<uint32_t> lineEnd(const Document& document, size_t story, uint32_t pos)
    {
        (void)document;
        (void)story;
        (void)pos;
        return std::nullopt;
    }
};

} // namespace qm::engine
