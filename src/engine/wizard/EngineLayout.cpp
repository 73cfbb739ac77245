// Lines and pages from the layout engine; a header or footer laid out in the first section showing it.
#include "engine/wizard/EngineLayout.h"

#include <algorithm>
#include <exception>

namespace qm::engine {

namespace {

// The first section whose headers or footers show the story: its page gives
// the story its width.
size_t sectionShowing(const Document& document, size_t story)
{
    for (size_t s = 0; s < document.sections.size(); ++s) {
        const Section& section = document.sections[s];
        const auto shows = [&](const std::array<int32_t, 3>& stories) {
            return std::find(stories.begin(), stories.end(), static_cast<int32_t>(story)) != stories.end();
        };
        if (shows(section.headers) || shows(section.footers))
            return s;
    }
    return 0;
}

} // namespace

LayoutFigures EngineLayout::measure(const Document& document, size_t story)
{
    LayoutFigures figures;
    try {
        if (story == 0) {
            const layout::LayoutResult result = layout::layoutDocument(document, m_options, &m_cache);
            figures.lines = result.lineCount();
            figures.pages = result.pageCount();
            for (const auto& page : result.pages)
                for (const auto& line : page.lines)
                    if (line.story == 0)
                        figures.mainLines.emplace_back(line.start, line.end);
        } else {
            figures.lines = layout::headerFooterLineCount(document, story, sectionShowing(document, story), m_options);
        }
    } catch (const std::exception& e) {
        figures.error = std::string("the document could not be laid out: ") + e.what();
    }
    return figures;
}

} // namespace qm::engine
