// The main screen's add, edit and delete profile commands, wired to its buttons.
#pragma once

#include "ui/profile/ProfileDialog.h"

namespace qm::ui {

class frmMain;

/// Builds the profile editor's context over the main screen: its profile
/// box and list, its browser, its prompter and message box, and the
/// options tab's address-question box.
ProfileEditorContext profileEditorContextOf(frmMain& screen);

/// Connects the main screen's Add, Edit and Delete Profile buttons to the
/// profile screens and the delete command. The context lives as long as the
/// screen.
void attachProfileCommands(frmMain& screen);

} // namespace qm::ui
