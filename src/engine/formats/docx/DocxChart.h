// Charts of Word packages: what a c:chartSpace part prints (kind, series, labels, title, legend, axes).
#pragma once

#include "engine/model/Document.h"

#include <pugixml.hpp>

#include <functional>
#include <string>

namespace qm::engine::docx {

/// The fonts a chart's "+mn-lt" and "+mj-lt" stand for: the theme's.
struct ChartFonts {
    std::string minor = "Calibri";
    std::string major = "Calibri Light";
};

/// Reads the root of a chart part into a Chart. Its texts' formats are made
/// by `intern` (which returns their index in the document's formats). A
/// part that is not a chart gives a chart with no series, which prints
/// nothing.
Chart readChart(const pugi::xml_node& chartSpace, const ChartFonts& fonts,
                const std::function<uint32_t(const CharFormat&)>& intern);

} // namespace qm::engine::docx
