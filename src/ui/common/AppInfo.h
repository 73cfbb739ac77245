// The application's title and version text, shown in captions and messages.
#pragma once

#include "engine/Prompter.h"

#include <QString>

#include <string>
#include <string_view>

namespace qm::ui {

/// "Quillmeter": used in window captions and in messages.
inline constexpr const char* kApplicationTitle = "Quillmeter";
/// The version text, shown as "Version " followed by it.
inline constexpr const char* kVersionText = QM_VERSION;

QString applicationTitle();
QString versionText();

/// The error report of the screens' operations: title "Error", the critical
/// icon, the fixed apology, a line break and "Error Message <<" with the
/// description and ">>". A location tag, when given, follows on its own line.
Message errorReport(std::string_view description, std::string_view locationTag = {});

QString toQString(std::string_view text);
std::string toStdString(const QString& text);

} // namespace qm::ui
