// Grabs both profile screens to PNG files for a look by eye: profile-screenshots <folder>.
#include "ui/profile/ProfileDialog.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

using namespace qm;

int main(int argc, char** argv)
{
    QApplication application(argc, argv);
    const QString out = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QDir::tempPath();
    QTemporaryDir settingsFolder;
    QFile profiles(settingsFolder.filePath("Profiles.ini"));
    if (!profiles.open(QIODevice::WriteOnly))
        return 1;
    profiles.write("[Acme Legal]\r\nAddress=1 Main St\r\nCity=Springfield\r\nState=IL\r\nZip=62701\r\n"
                   "BillAmount=$0.125\r\nDonePer=Word\r\nCountTabs=1\r\nDefaultTraversalPath=/home/typist/docs\r\n");
    profiles.close();

    RecordingPrompter prompter;
    ui::ProfileEditorContext context;
    context.environment.settings.folder = settingsFolder.path().toStdString();
    context.environment.prompter = &prompter;
    context.environment.askAddress = [](const std::string&, const std::string&) { return app::AddressAnswer{}; };

    ui::frmAddProfile add(nullptr, context);
    add.show();
    application.processEvents();
    const bool addSaved = add.grab().save(out + "/frmAddProfile.png");

    ui::frmEditProfile edit(nullptr, context, "Acme Legal");
    edit.show();
    application.processEvents();
    const bool editSaved = edit.grab().save(out + "/frmEditProfile.png");
    return addSaved && editSaved ? 0 : 1;
}
