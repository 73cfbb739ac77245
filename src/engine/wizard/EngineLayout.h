// The layout engine as the access layer's source of lines, pages and line ends.
#pragma once

#include "engine/access/LayoutProvider.h"
#include "engine/layout/Layout.h"

namespace qm::engine {

/// Lays documents out with our layout engine whenever the access layer asks;
/// the access layer keeps the figures until the document is next edited.
class EngineLayout : public LayoutProvider {
public:
    explicit EngineLayout(layout::LayoutOptions options = {}) : m_options(std::move(options)) {}

    LayoutFigures measure(const Document& document, size_t story) override;

private:
    layout::LayoutOptions m_options;
    /// Paragraphs broken in earlier layouts of the open document: the
    /// measurements lay it out again after each clean-up edit.
    layout::ParagraphCache m_cache;
};

} // namespace qm::engine
