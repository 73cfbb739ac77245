// The "count" command: the main job, a count run from the command line.
#pragma once

#include "Cli.h"
#include "app/CountRun.h"
#include "settings/SettingsContext.h"

#include <functional>
#include <memory>

namespace qm::cli {

/// Makes the counting engine a run drives; the program's own makes the
/// document engine, tests pass a scripted one.
using EngineFactory = std::function<std::unique_ptr<app::CountingEngine>(Prompter& prompter,
                                                                         const settings::SettingsContext& settings)>;

int runCount(Context& ctx, const EngineFactory& makeEngine);

} // namespace qm::cli
