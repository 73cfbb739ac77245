// What every settings reader needs from its surroundings: the folder and the clock.
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>

namespace qm::settings {

/// Today's date on the local calendar.
std::chrono::year_month_day localToday();

/// The settings folder (where Options.ini, Profiles.ini and ProfileList.log
/// live; the Windows version calls it the program folder) and the clock that
/// supplies date defaults. Passed to every reader and writer so that tests and
/// tools can point them elsewhere; nothing in the settings code reads a global.
struct SettingsContext
{
    std::filesystem::path folder;
    std::function<std::chrono::year_month_day()> today = localToday;
};

} // namespace qm::settings
