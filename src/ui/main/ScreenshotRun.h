// Pictures of the main screen before and after a count, for the screenshot script.
#pragma once

#include <QString>

namespace qm::ui {

class frmMain;

/// Shows `documents` in the browser, saves the screen, adds every listed
/// file, saves it again, counts them and saves the screen with the results,
/// then the other tabs and the date chooser; quits the program when done.
/// Pictures are PNG files in `outputFolder`, with a text file of the window's size.
void startScreenshotRun(frmMain& screen, const QString& outputFolder, const QString& documents);

} // namespace qm::ui
