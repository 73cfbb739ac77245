// The application's names and the common error report.
#include "ui/common/AppInfo.h"

namespace qm::ui {

QString applicationTitle() { return QString::fromLatin1(kApplicationTitle); }
QString versionText() { return QString::fromLatin1(kVersionText); }

Message errorReport(std::string_view description, std::string_view locationTag)
{
    Message m;
    m.title = "Error";
    m.icon = MessageIcon::Critical;
    m.buttons = MessageButtons::Ok;
    m.text = "An Error Has Occurred, If This Error Keeps Occurring Please Contact Brennock \rError Message <<";
    m.text += description;
    m.text += ">>";
    if (!locationTag.empty()) {
        m.text += "\r";
        m.text += locationTag;
    }
    return m;
}

QString toQString(std::string_view text) { return QString::fromUtf8(text.data(), qsizetype(text.size())); }

std::string toStdString(const QString& text) { return text.toUtf8().toStdString(); }

} // namespace qm::ui
