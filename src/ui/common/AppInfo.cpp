// The application's names and the common error report.
#include "ui/common/AppInfo.h"

namespace qm::ui {

QString applicationTitle() { return QString::fromLatin1(kApplicationTitle); }
QString versionText() { return QString::fromLatin1(kVersionText); }

QString toQString(std::string_view text) { return QString::fromUtf8(text.data(), qsizetype(text.size())); }

std::string toStdString(const QString& text) { return text.toUtf8().toStdString(); }

} // namespace qm::ui
