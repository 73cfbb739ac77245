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

QString toQString(std::string_view text);
std::string toStdString(const QString& text);

} // namespace qm::ui
