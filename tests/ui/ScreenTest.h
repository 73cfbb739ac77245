// What the screen tests share: the samples' settings, controls by name and a main screen's services.
#pragma once

#include "ui/main/frmMain.h"

#include <filesystem>

namespace qm::testing {

/// Copies Options.ini, Profiles.ini and ProfileList.log of samples/ into
/// `folder`, so a screen can be driven over the demo profiles without ever
/// writing the originals.
inline void copySampleSettings(const std::filesystem::path& folder)
{
    const std::filesystem::path samples = std::filesystem::path(QM_SOURCE_DIR) / "samples";
    for (const char* file : {"Options.ini", "Profiles.ini", "ProfileList.log"})
        std::filesystem::copy_file(samples / file, folder / file);
}

/// The control of `screen` named `name`; a missing one ends the test run.
template <class T> T* child(QObject& screen, const char* name)
{
    T* found = screen.findChild<T*>(name);
    if (!found)
        qFatal("no control named %s", name);
    return found;
}

/// A main screen's services over the settings in `folder`: two printers,
/// "Office Laser" the default, and the application box answering OK.
inline ui::MainScreenServices screenServices(const std::filesystem::path& folder, Prompter& prompter)
{
    ui::MainScreenServices services;
    services.settings.folder = folder;
    services.prompter = &prompter;
    services.askMsgBox = [](const ui::MsgBoxRequest&, QWidget*) { return ui::MsgBoxAnswer{true, true}; };
    services.printers.names = [] { return std::vector<std::string>{"Office Laser", "Back Room"}; };
    services.printers.defaultName = [] { return std::string("Office Laser"); };
    return services;
}

} // namespace qm::testing
