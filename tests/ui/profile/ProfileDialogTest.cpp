// The profile screens driven through their controls: add, edit and delete end to end, keys, unit
// and F1.
#include "ui/profile/ProfileDialog.h"

#include "settings/IniRW.h"
#include "ui/main/frmMain.h"
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

template <class T> T* find(QWidget& screen, const char* name)
{
    T* widget = screen.findChild<T*>(name);
    if (!widget)
        qFatal("no control named %s", name);
    return widget;
}

void typeInto(QWidget& screen, const char* name, const QString& text)
{
    auto* box = find<QLineEdit>(screen, name);
    box->setFocus(Qt::TabFocusReason);
    box->selectAll();
    QTest::keyClicks(box, text);
}

} // namespace

class ProfileDialogTest : public QObject {
    Q_OBJECT

private slots:
    // Fill in a new profile as a user would, leave the bill amount box so it
    // is reformatted, and save: the keys land in Profiles.ini, the name at
    // the end of the lists and of ProfileList.log.
    void addEndToEnd()
    {
        Harness h;
        writeFile(h.file("ProfileList.log"), "\"Zed\"\r\n");
        h.lists = {{"Zed"}, 0};
        h.drive([](ProfileDialog& screen) {
            QCOMPARE(screen.objectName(), QString("frmAddProfile"));
            QCOMPARE(screen.windowTitle(), QString("Add Profile - Quillmeter"));
            QVERIFY(screen.findChild<QPushButton*>("cmdCancel"));
            QVERIFY(!find<QCheckBox>(screen, "chkDoNotCountBlankLine")->isEnabled());
            typeInto(screen, "txtNameProfile", "Acme");
            typeInto(screen, "txtAddress", "1 Main St");
            typeInto(screen, "txtCity", "Springfield");
            typeInto(screen, "txtState", "IL");
            typeInto(screen, "mskZip", "62701");
            typeInto(screen, "txtBillAmount", "12.5");
            find<QLineEdit>(screen, "txtCharPerLine")->setFocus(Qt::TabFocusReason);
            QCOMPARE(find<QLineEdit>(screen, "txtBillAmount")->text(), QString("$12.50"));
            QTest::mouseClick(find<QCheckBox>(screen, "chkCountEachTab"), Qt::LeftButton);
            find<QPushButton>(screen, "cmdDFPathBrowse")->click();
            QCOMPARE(find<QLineEdit>(screen, "txtDtraversalPath")->text(), QString("/chosen/folder"));
            find<QPushButton>(screen, "cmdSave")->click();
        });
        QVERIFY(ui::runAddProfile(nullptr, h.context));
        QVERIFY(h.prompter.messages.empty());
        QCOMPARE(h.read("Acme", "BillAmount"), std::string("$12.50"));
        QCOMPARE(h.read("Acme", "CountTabs"), std::string("1"));
        QCOMPARE(h.read("Acme", "DonePer"), std::string("Line"));
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
            find<QLineEdit>(screen, "txtCharPerLine")->setText("0");
            emit find<QLineEdit>(screen, "txtCharPerLine")->textEdited("0");
            find<QPushButton>(screen, "cmdSave")->click();
            QVERIFY(screen.isVisible());
            QCOMPARE(h.prompter.messages.size(), size_t(1));
            QCOMPARE(h.prompter.messages[0].text, std::string("Please Edit Zero In Characters Per Line"));
            QCOMPARE(QApplication::focusWidget(), screen.findChild<QWidget*>("txtCharPerLine"));
            find<QPushButton>(screen, "cmdCancel")->click();
        });
        QVERIFY(!ui::runAddProfile(nullptr, h.context));
        QVERIFY(!QFile::exists(h.file("Profiles.ini")));
        QVERIFY(!QFile::exists(h.file("ProfileList.log")));
    }

    // Keys reach the core's filters: a second point or minus is dropped in
    // an amount box, backspace empties the characters-per-line box.
    void keysAreFiltered()
    {
        Harness h;
        ui::frmAddProfile screen(nullptr, h.context);
        screen.show();
        auto* amount = find<QLineEdit>(screen, "txtTabAmount");
        amount->clear();
        QTest::keyClicks(amount, "1.2.3-4-x");
        QCOMPARE(amount->text(), QString("1.23-4"));
        QCOMPARE(screen.form().text(app::ProfileControl::txtTabAmount), std::string("1.23-4"));

        auto* perLine = find<QLineEdit>(screen, "txtCharPerLine");
        perLine->setCursorPosition(1);
        QTest::keyClick(perLine, Qt::Key_Backspace);
        QCOMPARE(perLine->text(), QString());
        QTest::keyClicks(perLine, "7.0");
        QCOMPARE(perLine->text(), QString("70"));

        // Typed over a wholly selected bill amount, any key goes through.
        auto* bill = find<QLineEdit>(screen, "txtBillAmount");
        bill->selectAll();
        QTest::keyClicks(bill, "$3");
        QCOMPARE(bill->text(), QString("$3"));
        QTest::keyClick(bill, Qt::Key_Dollar);
        QCOMPARE(bill->text(), QString("$3"));
    }

    // Choosing a unit runs the rule; the timer then ties characters per line
    // to "Line" alone. F1 asks for help.
    void unitRuleTimerAndHelp()
    {
        Harness h;
        ui::frmAddProfile screen(nullptr, h.context);
        screen.show();
        auto* unit = find<QComboBox>(screen, "cboDoneBy");
        unit->setCurrentIndex(unit->findText("Word"));
        emit unit->activated(unit->currentIndex());
        QVERIFY(!find<QLineEdit>(screen, "txtCharPerLine")->isEnabled());
        QCOMPARE(find<QCheckBox>(screen, "chkLineCountWithSpaces")->checkState(), Qt::PartiallyChecked);
        QVERIFY(!find<QCheckBox>(screen, "chkCountBoldChar")->isEnabled());
        QVERIFY(find<QCheckBox>(screen, "chkCapsONOFFReal")->isEnabled());

        unit->setCurrentIndex(unit->findText("Gross Line"));
        emit unit->activated(unit->currentIndex());
        QVERIFY(find<QLineEdit>(screen, "txtCharPerLine")->isEnabled());
        QTRY_VERIFY_WITH_TIMEOUT(!find<QLineEdit>(screen, "txtCharPerLine")->isEnabled(),
                                 ProfileDialog::kTimerIntervalMs * 8);
        QCOMPARE(find<QCheckBox>(screen, "chkLineCountWithSpaces")->checkState(), Qt::Unchecked);

        QTest::keyClick(find<QLineEdit>(screen, "txtCity"), Qt::Key_F1);
        QCOMPARE(h.helpOpened, 1);
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
            QCOMPARE(screen.windowTitle(), QString("Edit Profile - Quillmeter"));
            QVERIFY(screen.findChild<QPushButton*>("Command1"));
            QVERIFY(find<QLineEdit>(screen, "txtNameProfile")->isReadOnly());
            QCOMPARE(find<QComboBox>(screen, "cboDoneBy")->currentText(), QString("Line"));
            QCOMPARE(find<QComboBox>(screen, "cboFiletype")->currentText(), QString("*.rtf"));
            QCOMPARE(find<QLineEdit>(screen, "txtCity")->text(), QString("Springfield"));
            typeInto(screen, "txtCity", "Shelbyville");
            find<QPushButton>(screen, "cmdSave")->click();
        });
        QVERIFY(ui::runEditProfile(nullptr, h.context));
        QCOMPARE(h.prompter.messages.at(0).text, std::string("Are you Sure You want to Save?"));
        QCOMPARE(h.read("Acme", "City"), std::string("Shelbyville"));
        QCOMPARE(h.read("Acme", "DonePer"), std::string("Line"));
        QVERIFY(!QFile::exists(h.file("ProfileList.log")));
        QCOMPARE(h.applied.size(), 1);
        QCOMPARE(h.applied[0].docType, std::string("*.rtf"));
    }

    void editNeedsASelection()
    {
        Harness h;
        h.lists = {{"Acme"}, -1};
        h.drive([](ProfileDialog&) { QFAIL("no screen is to open"); });
        QVERIFY(!ui::runEditProfile(nullptr, h.context));
        QCOMPARE(h.prompter.messages.at(0).title, std::string("Edit Profile"));
    }

    // "Default Settings" on the edit screen resets the capitals on/off pair too.
    void defaultSettingsButton()
    {
        Harness h;
        writeFile(h.file("Profiles.ini"), "[Acme]\r\nDonePer=Page\r\nCountCapsONOFF=1\r\nCapsCharONOFFAmount=5.0\r\n");
        h.lists = {{"Acme"}, 0};
        ui::frmEditProfile screen(nullptr, h.context, "Acme");
        screen.show();
        find<QPushButton>(screen, "cmdDefaultSettings")->click();
        QCOMPARE(find<QComboBox>(screen, "cboDoneBy")->currentText(), QString("Line"));
        QCOMPARE(find<QLineEdit>(screen, "txtCharPerLine")->text(), QString("65"));
        QVERIFY(find<QLineEdit>(screen, "txtCharPerLine")->isEnabled());
        QCOMPARE(find<QCheckBox>(screen, "chkCapsONOFFReal")->checkState(), Qt::Unchecked);
        QCOMPARE(find<QLineEdit>(screen, "txtCapsONOFFAmount")->text(), QString("2.0"));
    }

    // Deleting the middle profile keeps the others' order in the lists and
    // in ProfileList.log and removes only its section.
    void deleteEndToEnd()
    {
        Harness h;
        writeFile(h.file("Profiles.ini"), "[Alpha]\r\nCity=A\r\n[Beta]\r\nCity=B\r\n[Gamma]\r\nCity=G\r\n"
                                          "DefaultTraversalPath=/gamma\r\n");
        writeFile(h.file("ProfileList.log"), "\"Alpha\"\r\n\"Beta\"\r\n\"Gamma\"\r\n");
        writeFile(h.file("Options.ini"), "[MAIN]\r\nProfileToUse=Beta\r\n");
        h.lists = {{"Alpha", "Beta", "Gamma"}, 1};
        QVERIFY(ui::deleteSelectedProfile(h.context));
        QCOMPARE(h.lists.names, (std::vector<std::string>{"Alpha", "Gamma"}));
        QCOMPARE(readFile(h.file("ProfileList.log")), QByteArray("\"Alpha\"\r\n\"Gamma\"\r\n"));
        QCOMPARE(readFile(h.file("Profiles.ini")),
                 QByteArray("[Alpha]\r\nCity=A\r\n[Gamma]\r\nCity=G\r\nDefaultTraversalPath=/gamma\r\n"));
        QCOMPARE(h.applied.size(), 1);
        QCOMPARE(h.applied[0].traversalPath, std::string("/gamma"));
    }

    // The main screen's buttons reach the commands, which read and rewrite
    // its own profile box and list: a cancelled delete changes nothing, a
    // confirmed one drops the selected name from both and from the files.
    void mainScreenButtons()
    {
        Harness h;
        writeFile(h.file("Profiles.ini"), "[Alpha]\r\nCity=A\r\n[Beta]\r\nCity=B\r\n[Gamma]\r\nCity=G\r\n");
        writeFile(h.file("ProfileList.log"), "\"Alpha\"\r\n\"Beta\"\r\n\"Gamma\"\r\n");
        writeFile(h.file("Options.ini"), "[MAIN]\r\nProfileToUse=Beta\r\n");
        ui::MainScreenServices services;
        services.settings = h.context.environment.settings;
        services.prompter = &h.prompter;
        services.printers.names = [] { return std::vector<std::string>{}; };
        services.printers.defaultName = [] { return std::string(); };
        ui::frmMain screen(services);
        ui::attachProfileCommands(screen);
        auto* list = find<QListWidget>(screen, "lblProfileShowing");
        QCOMPARE(list->currentItem()->text(), QString("Beta"));

        h.prompter.answers = {MessageAnswer::Cancel};
        QTest::mouseClick(find<QPushButton>(screen, "cmdDeleteProfile"), Qt::LeftButton);
        QCOMPARE(list->count(), 3);
        QCOMPARE(h.prompter.messages.back().text, std::string("Are You Sure You Want to Delete?"));

        h.prompter.answers = {MessageAnswer::Ok};
        QTest::mouseClick(find<QPushButton>(screen, "cmdDeleteProfile"), Qt::LeftButton);
        QCOMPARE(list->count(), 2);
        QCOMPARE(list->item(1)->text(), QString("Gamma"));
        QCOMPARE(screen.currentProfile(), QString("Gamma"));
        QCOMPARE(find<QComboBox>(screen, "cboProfile")->count(), 2);
        QCOMPARE(readFile(h.file("ProfileList.log")), QByteArray("\"Alpha\"\r\n\"Gamma\"\r\n"));
        QCOMPARE(h.read("Beta", "City"), std::string("<none>"));
    }
};

QTEST_MAIN(ProfileDialogTest)
#include "ProfileDialogTest.moc"
