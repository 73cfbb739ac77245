// The scripted tour the screenshot script records.
#include "ui/main/ScreenshotRun.h"

#include "ui/main/frmChouseDatesRange.h"
#include "ui/main/frmMain.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QPixmap>
#include <QTabWidget>
#include <QTextStream>
#include <QTimer>

namespace qm::ui {

namespace {

void save(QWidget& widget, const QString& folder, const QString& name)
{
    widget.grab().save(folder + "/" + name + ".png");
}

} // namespace

void startScreenshotRun(frmMain& screen, const QString& outputFolder, const QString& documents)
{
    QDir().mkpath(outputFolder);
    QFile size(outputFolder + "/window-size.txt");
    if (size.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QTextStream(&size) << "frame " << screen.frameGeometry().width() << "x" << screen.frameGeometry().height()
                           << " client " << screen.width() << "x" << screen.height() << " minimum "
                           << screen.minimumSizeHint().width() << "x" << screen.minimumSizeHint().height() << "\n";
    }
    if (!documents.isEmpty())
        screen.setBrowserFolder(documents);
    auto* tabs = screen.findChild<QTabWidget*>("SSTab1");
    QObject::connect(&screen, &frmMain::runEnded, &screen, [&screen, tabs, outputFolder] {
        QTimer::singleShot(300, &screen, [&screen, tabs, outputFolder] {
            save(screen, outputFolder, "3-after-count");
            tabs->setCurrentIndex(1);
            save(screen, outputFolder, "4-options");
            tabs->setCurrentIndex(2);
            save(screen, outputFolder, "5-about");
            tabs->setCurrentIndex(0);
            frmChouseDatesRange chooser(screen.settingsContext(), &screen);
            chooser.show();
            QApplication::processEvents();
            save(chooser, outputFolder, "6-date-range");
            chooser.close();
            QApplication::quit();
        });
    });
    // The folder tree fills in the background; give it a moment.
    QTimer::singleShot(1500, &screen, [&screen, outputFolder] {
        save(screen, outputFolder, "1-start");
        screen.addAllFiles();
        save(screen, outputFolder, "2-files-added");
        screen.startRun();
    });
}

} // namespace qm::ui
