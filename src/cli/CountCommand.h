// The "count" command: the main job, a count run from the command line.
#pragma once

#include "Cli.h"
#include "app/CountRun.h"
#include "settings/SettingsContext.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>

namespace qm::cli {

/// Makes the counting engine a run drives; the program's own makes the
/// document engine, tests pass a scripted one.
/// The engine measures under `profile`, the profile the run counts with.
using EngineFactory = std::function<std::unique_ptr<app::CountingEngine>(
    Prompter& prompter, const settings::SettingsContext& settings, const std::string& profile)>;

int runCount(Context& ctx, const EngineFactory& makeEngine);

/// The listed spelling of a profile named without regard to case; nothing,
/// with a message naming ProfileList.log on stderr, when none is listed.
std::optional<std::string> listedProfile(Context& ctx, std::string_view command, const std::string& name);

/// The count command with our document engine.
int countCommand(Context& ctx);

} // namespace qm::cli
