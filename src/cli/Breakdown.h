// Every measurement of a document under a profile: what lets a client check a bill.
#pragma once

#include "cli/Json.h"
#include "engine/Prompter.h"
#include "engine/wizard/Measurements.h"
#include "settings/SettingsContext.h"

#include <iosfwd>
#include <string>
#include <utility>
#include <vector>

namespace qm::cli {

/// Every measurement of one document under a profile, each taken on the
/// document as read (the gross-line clean-ups of one do not reach the next),
/// and the parts of the billed-line figure.
struct ProfileFigures {
    std::vector<std::pair<std::string, double>> measurements;
    engine::LineBreakdown lines;
};

ProfileFigures measureUnderProfile(const std::string& file, const std::string& profile,
                                   const settings::SettingsContext& settings, Prompter& prompter);

/// The figures as JSON: {"measurements": {operation: value}, "breakdown": {...}}.
void addProfileFigures(Json& json, const ProfileFigures& figures);

/// The figures as text lines, indented by two spaces.
void writeProfileFigures(std::ostream& out, const ProfileFigures& figures);

} // namespace qm::cli
