// Finding and opening Help/help.html.
#include "ui/common/Help.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileInfo>
#include <QUrl>

namespace qm::ui {

QString helpPagePath()
{
    const QString bin = QCoreApplication::applicationDirPath();
    const QString candidates[] = {
        bin + "/../share/quillmeter/Help/help.html",
        bin + "/Help/help.html",
        QStringLiteral(QM_SOURCE_HELP_DIR "/help.html"),
    };
    for (const QString& candidate : candidates)
        if (QFileInfo(candidate).isFile())
            return QDir::cleanPath(QFileInfo(candidate).absoluteFilePath());
    return {};
}

bool openHelp()
{
    const QString page = helpPagePath();
    return !page.isEmpty() && QDesktopServices::openUrl(QUrl::fromLocalFile(page));
}

} // namespace qm::ui
