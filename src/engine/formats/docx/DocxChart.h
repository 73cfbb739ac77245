// Charts of Word packages: what a c:chartSpace part prints (kind, series, labels, title, legend, axes).
#pragma once

#include "engine/model/Document.h"

#include <pugixml.hpp>

#include <functional>
#include <string>
#include <vector>

namespace qm::engine::docx {

/// What a chart takes from the document's theme: the fonts its "+mn-lt"
/// and "+mj-lt" stand for, and the accent colours its series take in turn
/// where they name none (and that "accent1".."accent6" name).
struct ChartTheme {
    std::string minor = "Calibri";
    std::string major = "Calibri Light";
    std::vector<uint32_t> accents;
};

/// The accent colours of a theme part's colour scheme (a:clrScheme), in order.
std::vector<uint32_t> themeAccents(const pugi::xml_node& theme);

/// Reads the root of a chart part into a Chart. Its texts' formats are made
/// by `intern` (which returns their index in the document's formats). A
/// part that is not a chart gives a chart with no series, which prints
/// nothing.
Chart readChart(const pugi::xml_node& chartSpace, const ChartTheme& fonts,
                const std::function<uint32_t(const CharFormat&)>& intern);

} // namespace qm::engine::docx
