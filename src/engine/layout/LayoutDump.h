// A plain-text dump of a layout, one line per laid-out line, for golden tests and inspection.
#pragma once

#include "engine/layout/Layout.h"

#include <string>

namespace qm::engine::layout {

/// One line per laid-out line: page, line on the page, column, character
/// range, x, y, width and height in twips to a tenth, break reason, whether
/// the line counts, and the line's text (marks left out, a tab as "\t");
/// header and footer lines of each page follow with "H"/"F" in place of the
/// line number. Stable across runs with the same fonts.
std::string dumpLayout(const Document& document, const LayoutResult& layout);

} // namespace qm::engine::layout
