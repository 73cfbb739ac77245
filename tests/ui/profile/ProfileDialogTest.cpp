// The profile screens driven through their controls: add, edit and delete end to end.
#include "ui/profile/ProfileDialog.h"

#include "ScreenTest.h"
#include "settings/IniRW.h"
#include "ui/profile/ProfileCommands.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTemporaryDir>
#include <QtTest>

using namespace qm;
using qm::ui::ProfileDialog;

namespace {

QByteArray readFile(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return "<missing>";
    return file.readAll();
}

void writeFile(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// A settings folder and a main screen made of plain values.
struct Harness {
    QTemporaryDir folder;
    RecordingPrompter prompter;
    app::ProfileLists lists;
    QList<app::BrowserDefaults> applied;
    int helpOpened = 0;
    bool askOptionTicked = false;
    ui::ProfileEditorContext context;

    Harness()
    {
        context.environment.settings.folder = folder.path().toStdString();
        context.environment.prompter = &prompter;
        context.environment.askAddress = [](const std::string&, const std::string&) {
            return app::AddressAnswer{true, false};
        };
        context.readLists = [this] { return lists; };
        context.writeLists = [this](const app::ProfileLists& changed) { lists = changed; };
        context.addressQuestionTurnedOff = [this] { askOptionTicked = true; };
        context.browserPath = [] { return QString("/current"); };
        context.applyBrowserDefaults = [this](const app::BrowserDefaults& d) { applied.append(d); };
        context.openHelp = [this] { ++helpOpened; };
        context.chooseFolder = [](QWidget*, const QString& title, const QString&) {
            return title == "Traversal Path" ? QString("/chosen/folder") : QString();
        };
    }

    QString file(const char* name) const { return folder.filePath(name); }
    std::string read(const char* section, const char* key) const
    {
        return settings::ReadINI(context.environment.settings, "Profiles", section, key, "<none>");
    }

    // Runs the screen that the command opens through `drive`.
    void drive(std::function<void(ProfileDialog&)> steps)
    {
        context.runDialog = [steps](QDialog& dialog) {
            dialog.show();
            dialog.activateWindow();
            if (!QTest::qWaitForWindowActive(&dialog))
                qWarning("the screen did not become active");
            steps(static_cast<ProfileDialog&>(dialog));
            return dialog.result();
        };
    }
};

using qm::testing::child;

void typeInto(QWidget& screen, const char* name, const QString& text)
{
    auto* box = child<QLineEdit>(screen, name);
    box->setFocus(Qt::TabFocusReason);
    box->selectAll();
    QTest::keyClicks(box, text);
}

} // namespace

class ProfileDialogTest : public QObject {
    Q_OBJECT

private slots:
    // Fill in a new profile as a user would (keys go through the core's
    // filters, choosing a unit runs its rule, leaving the bill amount box
    // reformats it) and save: the keys land in Profiles.ini, the name at the
    // end of the lists and of ProfileList.log.
    void addEndToEnd()
    {
        Harness h;
        writeFile(h.file("ProfileList.log"), "\"Zed\"\r\n");
        h.lists = {{"Zed"}, 0};
        h.drive([](ProfileDialog& screen) {
            QCOMPARE(screen.objectName(), QString("frmAddProfile"));
            QVERIFY(!child<QCheckBox>(screen, "chkDoNotCountBlankLine")->isEnabled());
            typeInto(screen, "txtNameProfile", "Acme");
            typeInto(screen, "txtAddress", "1 Main St");
            typeInto(screen, "txtCity", "Springfield");
            typeInto(screen, "txtState", "IL");
            typeInto(screen, "mskZip", "62701");
            auto* tabs = child<QLineEdit>(screen, "txtTabAmount");
            tabs->clear();
            QTest::keyClicks(tabs, "1.2.3-4-x");
            QCOMPARE(tabs->text(), QString("1.23-4"));
            typeInto(screen, "txtBillAmount", "12.5");
            child<QLineEdit>(screen, "txtCharPerLine")->setFocus(Qt::TabFocusReason);
            QCOMPARE(child<QLineEdit>(screen, "txtBillAmount")->text(), QString("$12.50"));
            QTest::mouseClick(child<QCheckBox>(screen, "chkCountEachTab"), Qt::LeftButton);
            auto* unit = child<QComboBox>(screen, "cboDoneBy");
            unit->setCurrentIndex(unit->findText("Word"));
            emit unit->activated(unit->currentIndex());
            QVERIFY(!child<QLineEdit>(screen, "txtCharPerLine")->isEnabled());
            QCOMPARE(child<QCheckBox>(screen, "chkLineCountWithSpaces")->checkState(), Qt::PartiallyChecked);
            child<QPushButton>(screen, "cmdDFPathBrowse")->click();
            QTest::keyClick(child<QLineEdit>(screen, "txtCity"), Qt::Key_F1);
            child<QPushButton>(screen, "cmdSave")->click();
        });
        QVERIFY(ui::runAddProfile(nullptr, h.context));
        QVERIFY(h.prompter.messages.empty());
        QCOMPARE(h.helpOpened, 1);
        QCOMPARE(h.read("Acme", "BillAmount"), std::string("$12.50"));
        QCOMPARE(h.read("Acme", "TabsAmount"), std::string("1.23-4"));
        QCOMPARE(h.read("Acme", "CountTabs"), std::string("1"));
        QCOMPARE(h.read("Acme", "DonePer"), std::string("Word"));
        QCOMPARE(h.read("Acme", "DefaultTraversalPath"), std::string("/chosen/folder"));
        QCOMPARE(readFile(h.file("ProfileList.log")), QByteArray("\"Zed\"\r\n\"Acme\"\r\n"));
        QCOMPARE(h.lists.selectedName(), std::string("Acme"));
        // The browser took the new profile's defaults after the screen closed.
        QCOMPARE(h.applied.size(), 1);
        QCOMPARE(h.applied[0].traversalPath, std::string("/chosen/folder"));
    }

    // A failed check keeps the screen open, writes nothing and puts the
    // focus where the user has to correct.
    void addRefusesAndFocuses()
    {
        Harness h;
        h.drive([&h](ProfileDialog& screen) {
            typeInto(screen, "txtNameProfile", "Acme");
            child<QLineEdit>(screen, "txtCharPerLine")->setText("0");
            emit child<QLineEdit>(screen, "txtCharPerLine")->textEdited("0");
            child<QPushButton>(screen, "cmdSave")->click();
            QVERIFY(screen.isVisible());
            QCOMPARE(h.prompter.messages.at(0).text, std::string("Please Edit Zero In Characters Per Line"));
            QCOMPARE(QApplication::focusWidget(), screen.findChild<QWidget*>("txtCharPerLine"));
            child<QPushButton>(screen, "cmdCancel")->click();
        });
        QVERIFY(!ui::runAddProfile(nullptr, h.context));
        QVERIFY(!QFile::exists(h.file("Profiles.ini")));
        QVERIFY(!QFile::exists(h.file("ProfileList.log")));
    }

    // The edit screen shows the stored profile, asks before saving and
    // writes into the same section without touching the lists.
    void editEndToEnd()
    {
        Harness h;
        writeFile(h.file("Profiles.ini"), "[Acme]\r\nCity=Springfield\r\nDonePer=Lines\r\nCharPerLine=65\r\n"
                                          "DocType=*.rtf\r\n");
        h.lists = {{"Acme"}, 0};
        h.prompter.answers = {MessageAnswer::Yes};
        h.drive([](ProfileDialog& screen) {
            QCOMPARE(screen.objectName(), QString("frmEditProfile"));
            QVERIFY(child<QLineEdit>(screen, "txtNameProfile")->isReadOnly());
            QCOMPARE(child<QComboBox>(screen, "cboDoneBy")->currentText(), QString("Line"));
            QCOMPARE(child<QLineEdit>(screen, "txtCity")->text(), QString("Springfield"));
            typeInto(screen, "txtCity", "Shelbyville");
            child<QPushButton>(screen, "cmdSave")->click();
        });
        QVERIFY(ui::runEditProfile(nullptr, h.context));
        QCOMPARE(h.prompter.messages.at(0).text, std::string("Are you Sure You want to Save?"));
        QCOMPARE(h.read("Acme", "City"), std::string("Shelbyville"));
        QCOMPARE(h.read("Acme", "DonePer"), std::string("Line"));
        QVERIFY(!QFile::exists(h.file("ProfileList.log")));
        QCOMPARE(h.applied.size(), 1);
        QCOMPARE(h.applied[0].docType, std::string("*.rtf"));
    }

    // The main screen's delete button reaches the command, which rewrites its
    // own profile box and list: a cancelled delete changes nothing, a
    // confirmed one drops the middle name from both and from the files.
    void deleteFromTheMainScreen()
    {
        Harness h;
        writeFile(h.file("Profiles.ini"), "[Alpha]\r\nCity=A\r\n[Beta]\r\nCity=B\r\n[Gamma]\r\nCity=G\r\n");
        writeFile(h.file("ProfileList.log"), "\"Alpha\"\r\n\"Beta\"\r\n\"Gamma\"\r\n");
        writeFile(h.file("Options.ini"), "[MAIN]\r\nProfileToUse=Beta\r\n");
        ui::frmMain screen(testing::screenServices(h.folder.path().toStdString(), h.prompter));
        ui::attachProfileCommands(screen);
        auto* list = child<QListWidget>(screen, "lblProfileShowing");
        QCOMPARE(list->currentItem()->text(), QString("Beta"));

        h.prompter.answers = {MessageAnswer::Cancel};
        QTest::mouseClick(child<QPushButton>(screen, "cmdDeleteProfile"), Qt::LeftButton);
        QCOMPARE(list->count(), 3);
        QCOMPARE(h.prompter.messages.back().text, std::string("Are You Sure You Want to Delete?"));

        h.prompter.answers = {MessageAnswer::Ok};
        QTest::mouseClick(child<QPushButton>(screen, "cmdDeleteProfile"), Qt::LeftButton);
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(1)->text(), QString("Gamma"));
        QCOMPARE(screen.currentProfile(), QString("Gamma"));
        QCOMPARE(child<QComboBox>(screen, "cboProfile")->count(), 2);
        QCOMPARE(readFile(h.file("ProfileList.log")), QByteArray("\"Alpha\"\r\n\"Gamma\"\r\n"));
        QCOMPARE(readFile(h.file("Profiles.ini")), QByteArray("[Alpha]\r\nCity=A\r\n[Gamma]\r\nCity=G\r\n"));
    }
};

QTEST_MAIN(ProfileDialogTest)
#include "ProfileDialogTest.moc"
