// The start-up warning about an outdated document engine.
#pragma once

#include "settings/SettingsContext.h"
#include "ui/common/frmMsgBox.h"

#include <QString>
#include <optional>
#include <string_view>

namespace qm::ui {

/// Every digit and "." of a version text, read as a number ("8.0b" → 8).
double versionNumber(std::string_view versionText);
/// Every character that is neither a digit nor "." ("8.0b" → "b").
std::string versionLetters(std::string_view versionText);

/// The warning's text when a document engine of this version should be
/// upgraded and the user has not silenced it (`verChk` "1"); nothing else.
/// Only the 97 generation (8.x) before its second service release warns.
std::optional<QString> outdatedVersionWarning(std::string_view versionText, std::string_view verChk);

/// Runs the check: reads `VerChk`, shows the warning through `ask` when due,
/// and writes `VerChk` = "0" when the user ticks "Do Not Show This Again".
/// Our own engine's version text never warns.
void runVersionCheck(const settings::SettingsContext& settings, std::string_view versionText, const MessageBoxAsk& ask,
                     QWidget* parent);

} // namespace qm::ui
