// quillmeter-gui: the splash screen, then the main screen and the version check.
#include "app/WizardEngine.h"
#include "engine/wizard/WordWizard.h"
#include "settings/SettingsFolder.h"
#include "ui/common/AppInfo.h"
#include "ui/history/DesktopLedger.h"
#include "ui/main/ScreenshotRun.h"
#include "ui/main/VersionCheck.h"
#include "ui/main/frmMain.h"
#include "ui/main/frmSplash.h"
#include "ui/print/PrintCommands.h"
#include "ui/profile/ProfileCommands.h"
#include "ui/totals/ReportCommands.h"

#include <QApplication>
#include <QCommandLineParser>

#include <iostream>
#include <memory>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName(qm::ui::applicationTitle());
    QApplication::setApplicationVersion(qm::ui::versionText());
    QApplication::setWindowIcon(QIcon::fromTheme("quillmeter"));

    QCommandLineParser parser;
    parser.setApplicationDescription("Counts typed documents and bills them under your profiles.");
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption settingsDir("settings-dir", "Keep Options.ini, Profiles.ini and ProfileList.log in DIR.",
                                         "DIR");
    parser.addOption(settingsDir);
    // For the screenshot script: count the documents of a folder and save
    // pictures of the main screen before and after.
    QCommandLineOption screenshotDir("screenshot-dir", "", "DIR");
    screenshotDir.setFlags(QCommandLineOption::HiddenFromHelp);
    QCommandLineOption screenshotDocuments("screenshot-documents", "", "DIR");
    screenshotDocuments.setFlags(QCommandLineOption::HiddenFromHelp);
    parser.addOption(screenshotDir);
    parser.addOption(screenshotDocuments);
    parser.addPositionalArgument("files", "Documents and folders to put in the Chase List.", "[FILE...]");
    parser.process(app);

    std::optional<std::filesystem::path> explicitFolder;
    if (parser.isSet(settingsDir))
        explicitFolder = parser.value(settingsDir).toStdString();
    qm::ui::MainScreenServices services;
    services.settings.folder = qm::settings::resolveSettingsFolder(explicitFolder);

    std::unique_ptr<qm::ui::frmMain> mainScreen;
    qm::ui::showSplashThen(2000, [&] {
        mainScreen = std::make_unique<qm::ui::frmMain>(services);
        qm::ui::attachProfileCommands(*mainScreen);
        qm::ui::attachPrintCommands(*mainScreen);
        mainScreen->show();
        if (parser.isSet(screenshotDir)) {
            qm::ui::startScreenshotRun(*mainScreen, parser.value(screenshotDir), parser.value(screenshotDocuments));
            return;
        }
        // The ledger records each run before the report makes its invoice.
        qm::ui::ReportServices reportServices;
        qm::ui::attachLedger(*mainScreen, reportServices);
        qm::ui::attachReportCommands(*mainScreen, reportServices);
        // The check asks our engine for its version text, as it would ask
        // any word processor, and stays silent for it.
        qm::RecordingPrompter quiet;
        const qm::engine::WordWizard wizard(quiet);
        qm::ui::runVersionCheck(services.settings, wizard.versionText(), mainScreen->askMsgBox(), mainScreen.get());
        // Files opened with the program (a file manager's "Open With", the
        // menu entry's %F) join the Chase List as a drop would.
        mainScreen->addPaths(parser.positionalArguments());
    });
    const int status = app.exec();
    mainScreen.reset();
    return status;
}
