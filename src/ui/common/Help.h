// The help page, opened in the desktop's browser.
#pragma once

#include <QString>

namespace qm::ui {

/// Help/help.html: beside the installed program's data
/// (<prefix>/share/quillmeter/Help), beside the executable, or in the source
/// tree for a program run from its build folder. Empty when none exists.
QString helpPagePath();

/// Opens the help page with the desktop's "open" action; false when there is
/// no page or the desktop could not open it.
bool openHelp();

} // namespace qm::ui
