// The main screen driven through its controls' names, over a copy of the samples.
#include "ScreenTest.h"
#include "app/CountRun.h"
#include "settings/IniRW.h"
#include "ui/main/VersionCheck.h"
#include "ui/main/frmMain.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDropEvent>
#include <QFile>
#include <QFocusEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

using namespace qm;
using namespace qm::ui;
using qm::testing::child;
namespace fs = std::filesystem;

Q_DECLARE_METATYPE(qm::app::RunResult)

namespace {

/// An engine that counts every document as one unit and, from the second
/// document on, holds the document open until Stop is pressed: the run is
/// then certainly inside a document when the flag is set.
class HoldingEngine : public app::CountingEngine {
public:
    explicit HoldingEngine(app::StopFlag& stop) : m_stop(stop) {}
    void OpenWord(bool) override {}
    bool openJustDoc(const std::string&, bool) override
    {
        if (m_opened++ >= 1) {
            const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (!m_stop.isSet() && std::chrono::steady_clock::now() < until)
                std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return true;
    }
    double measure(app::Measurement, const std::string&, const std::string&) override { return 1; }
    bool CloseDocument() override { return true; }
    void resizeWordBack() override {}
    void CompleteClose() override {}

private:
    app::StopFlag& m_stop;
    int m_opened = 0;
};

} // namespace

class MainScreenTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    fs::path m_folder;
    RecordingPrompter m_prompter;

    fs::path documents() const { return m_folder / "documents"; }
    std::string option(std::string_view key) const
    {
        return settings::ReadINI(settings::SettingsContext{m_folder}, "Options", "MAIN", key, "<absent>");
    }
    void setOption(std::string_view key, std::string_view value) const
    {
        settings::WriteINI(settings::SettingsContext{m_folder}, "Options", "MAIN", key, value);
    }

    std::unique_ptr<frmMain> makeScreen(EngineFactory engine = {}, unsigned countJobs = 0)
    {
        MainScreenServices services = testing::screenServices(m_folder, m_prompter);
        services.makeEngine = std::move(engine);
        services.countJobs = countJobs;
        return std::make_unique<frmMain>(std::move(services));
    }

    bool shown(const std::string& text) const
    {
        for (const Message& m : m_prompter.messages)
            if (m.text == text)
                return true;
        return false;
    }

private slots:
    void init()
    {
        qRegisterMetaType<app::RunResult>();
        m_dir = std::make_unique<QTemporaryDir>();
        QVERIFY(m_dir->isValid());
        m_folder = m_dir->path().toStdString();
        testing::copySampleSettings(m_folder);
        fs::copy(fs::path(QM_SOURCE_DIR) / "samples/documents", documents());
        m_prompter = RecordingPrompter{};
    }

    // The lists must stay aligned through adds and removes, and the
    // duplicate rule must hold across two presses of the same button.
    void addAndRemoveFiles()
    {
        auto screen = makeScreen();
        QVERIFY(screen->setBrowserFolder(QString::fromStdString(documents().string())));
        auto* files = child<QListWidget>(*screen, "File1");
        QCOMPARE(files->count(), 7);
        QCOMPARE(child<QLabel>(*screen, "lblTotalInFolder")->text(), QString("Total Files:7"));

        files->item(0)->setSelected(true);
        files->item(2)->setSelected(true);
        auto* add = child<QPushButton>(*screen, "cmdInsert");
        add->click();
        add->click(); // duplicates are refused by the samples' options
        auto* chase = child<QListWidget>(*screen, "lstDofileList");
        auto* paths = child<QListWidget>(*screen, "lstDofileListPATH");
        QCOMPARE(chase->count(), 2);
        QCOMPARE(child<QLabel>(*screen, "lbltotalFiles")->text(), QString("Files To Count:2"));
        QCOMPARE(paths->item(1)->text(),
                 QString::fromStdString((documents() / files->item(2)->text().toStdString()).string()));

        files->clearSelection();
        add->click();
        QVERIFY(shown("Please Select A File To Add From The File List"));

        child<QPushButton>(*screen, "cmdInsertAll")->click();
        QCOMPARE(chase->count(), 7);

        // Removing non-adjacent entries keeps each name beside its path.
        chase->item(1)->setSelected(true);
        chase->item(3)->setSelected(true);
        child<QPushButton>(*screen, "cmdRemoveFile")->click();
        QCOMPARE(chase->count(), 5);
        for (int i = 0; i < chase->count(); ++i)
            QVERIFY(paths->item(i)->text().endsWith("/" + chase->item(i)->text()));

        chase->clearSelection();
        child<QPushButton>(*screen, "cmdRemoveFile")->click();
        QVERIFY(shown("Please Select A File To Remove From The Chase List"));
        child<QPushButton>(*screen, "cmdRemoveALL")->click();
        QCOMPARE(chase->count(), 0);
        QCOMPARE(child<QLabel>(*screen, "lbltotalFiles")->text(), QString("Files To Count:0"));
    }

    // A full list refuses more with its message; Add By Date without a
    // stored range asks first, and Cancel adds nothing.
    void limitAndDateRangeQuestion()
    {
        auto screen = makeScreen();
        QVERIFY(screen->setBrowserFolder(QString::fromStdString(documents().string())));
        for (size_t i = 0; i < app::ChaseList::limit; ++i)
            screen->chaseList().append("x.txt", "/nowhere/x" + std::to_string(i) + ".txt");
        screen->refreshChaseList();
        child<QPushButton>(*screen, "cmdInsertAll")->click();
        QVERIFY(shown("You Can Not Add More Then 32,767 Files To The Chase List"));
        QCOMPARE(screen->chaseList().size(), app::ChaseList::limit);
        child<QPushButton>(*screen, "cmdRemoveALL")->click();

        m_prompter.messages.clear();
        m_prompter.answers = {MessageAnswer::Cancel};
        child<QPushButton>(*screen, "cmdAddSubFolderByDate")->click();
        QCOMPARE(m_prompter.messages.at(0).title, std::string("Date Range"));
        QCOMPARE(screen->chaseList().size(), size_t(0));

        // OK goes on with today as the range: the copies were made today.
        m_prompter.answers = {MessageAnswer::Ok};
        child<QPushButton>(*screen, "cmdAddSubFolderByDate")->click();
        QCOMPARE(child<QListWidget>(*screen, "lstDofileList")->count(), 7);
        QVERIFY(child<QTabWidget>(*screen, "SSTab1")->isEnabled());
        QVERIFY(child<QFrame>(*screen, "FrameStop")->isHidden());
    }

    // The run counts on a worker thread with our engine and the grid gets
    // one row per document; the tabs are locked while it runs.
    void countRunFillsTheGrid()
    {
        auto screen = makeScreen();
        QSignalSpy finished(screen.get(), &frmMain::runFinished);
        QVERIFY(screen->setBrowserFolder(QString::fromStdString(documents().string())));
        child<QPushButton>(*screen, "cmdInsertAll")->click();
        child<QPushButton>(*screen, "CmdStart")->click();
        QVERIFY(!child<QTabWidget>(*screen, "SSTab1")->isEnabled());
        QVERIFY(!child<QFrame>(*screen, "FrameStop")->isHidden());
        QTRY_COMPARE_WITH_TIMEOUT(finished.count(), 1, 120000);

        auto* grid = child<QTableWidget>(*screen, "flexgrid");
        QCOMPARE(grid->rowCount(), 7);
        QCOMPARE(grid->columnCount(), 5);
        for (int r = 0; r < grid->rowCount(); ++r) {
            QVERIFY(grid->item(r, 2)->text().toDouble() > 0);
            QVERIFY(!grid->item(r, 3)->text().isEmpty());
            QVERIFY(QFile::exists(grid->item(r, 4)->text()));
            QCOMPARE(grid->item(r, 1)->text(), child<QListWidget>(*screen, "lstDofileList")->item(r)->text());
        }
        QCOMPARE(finished.at(0).at(0).value<app::RunResult>().unitLabel, std::string("Lines"));
        QVERIFY(child<QTabWidget>(*screen, "SSTab1")->isEnabled());
        QVERIFY(child<QFrame>(*screen, "FrameStop")->isHidden());
        QCOMPARE(child<QLabel>(*screen, "lbltotalFiles")->text(), QString("Files To Count:7"));
        QVERIFY(m_prompter.messages.empty());
    }

    // Stop during the second document: that document is finished, no more
    // are opened, and the run ends without the report.
    void stopEndsTheRunAfterTheCurrentDocument()
    {
        std::unique_ptr<frmMain> screen;
        // One document at a time, so "the current document" is one.
        screen = makeScreen([&](Prompter&, const settings::SettingsContext&,
                                const std::string&) { return std::make_unique<HoldingEngine>(screen->stopFlag()); },
                            1);
        QSignalSpy finished(screen.get(), &frmMain::runFinished);
        QSignalSpy ended(screen.get(), &frmMain::runEnded);
        for (int i = 0; i < 10; ++i)
            screen->chaseList().append("clinic-note-0302.txt", (documents() / "clinic-note-0302.txt").string());
        screen->refreshChaseList();
        child<QPushButton>(*screen, "CmdStart")->click();
        QTRY_VERIFY(child<QLabel>(*screen, "lbltotalFiles")->text().startsWith("Files To Count:2 of 10"));
        QTRY_VERIFY(screen->windowTitle().startsWith("Counting 2 of 10 - "));
        child<QPushButton>(*screen, "cmdStop")->click();
        QTRY_COMPARE_WITH_TIMEOUT(ended.count(), 1, 30000);
        const auto result = ended.at(0).at(0).value<app::RunResult>();
        QCOMPARE(result.ending, app::RunEnding::Stopped);
        QCOMPARE(result.rows.size(), size_t(2));
        QCOMPARE(child<QTableWidget>(*screen, "flexgrid")->rowCount(), 2);
        QCOMPARE(finished.count(), 0);
        QVERIFY(child<QTabWidget>(*screen, "SSTab1")->isEnabled());
        QVERIFY(!screen->windowTitle().startsWith("Counting"));
    }

    // Files and folders dropped on the Chase List are added as the Add
    // buttons add them: a file as it is, a folder's files of the shown type,
    // its sub-folders only when the box is ticked, duplicates refused.
    void droppedFilesAndFoldersJoinTheList()
    {
        fs::create_directories(m_folder / "more/sub");
        std::ofstream(m_folder / "more/a.txt") << "a";
        std::ofstream(m_folder / "more/skip.pdf") << "%PDF";
        std::ofstream(m_folder / "more/sub/b.rtf") << "{\\rtf1 b}";
        auto screen = makeScreen();
        auto* list = child<QListWidget>(*screen, "lstDofileList");
        const auto drop = [&](std::initializer_list<fs::path> paths) {
            QList<QUrl> urls;
            for (const fs::path& p : paths)
                urls << QUrl::fromLocalFile(QString::fromStdString(p.string()));
            QMimeData mime;
            mime.setUrls(urls);
            const QPoint at = list->viewport()->rect().center();
            QDragEnterEvent enter(at, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list->viewport(), &enter);
            QVERIFY(enter.isAccepted());
            QDropEvent dropped(QPointF(at), Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(list->viewport(), &dropped);
            QVERIFY(dropped.isAccepted());
        };
        drop({documents() / "cardiology-letter.docx"});
        QCOMPARE(list->count(), 1);
        drop({documents(), m_folder / "more"}); // seven samples less the one already there, and a.txt; no sub-folders
        QCOMPARE(list->count(), 8);
        child<QCheckBox>(*screen, "chkDropSubFolders")->setChecked(true);
        drop({m_folder / "more"}); // a.txt is already there
        QCOMPARE(list->count(), 9);
        QCOMPARE(list->item(8)->text(), QString("b.rtf"));
        QCOMPARE(child<QLabel>(*screen, "lbltotalFiles")->text(), QString("Files To Count:9"));
        QVERIFY(m_prompter.messages.empty());
    }

    // The window's size and splitters come back at the next start, from a
    // file of their own, not from Options.ini.
    void windowPlaceIsRemembered()
    {
        {
            auto screen = makeScreen();
            screen->show();
            screen->resize(1111, 666);
            QTRY_COMPARE(screen->size(), QSize(1111, 666));
            child<QCheckBox>(*screen, "chkDropSubFolders")->setChecked(true);
            QVERIFY(screen->close());
        }
        QVERIFY(fs::exists(m_folder / "Window.ini"));
        QCOMPARE(option("geometry"), std::string("<absent>"));
        auto screen = makeScreen();
        screen->show();
        QTRY_COMPARE(screen->size(), QSize(1111, 666));
        QVERIFY(child<QCheckBox>(*screen, "chkDropSubFolders")->isChecked());
    }

    // The seconds box's key and range rules, and Save writing the options.
    void secondsBoxAndSave()
    {
        auto screen = makeScreen();
        auto* seconds = child<QLineEdit>(*screen, "txtSecToPrint");
        auto* save = child<QPushButton>(*screen, "CmdSave");
        QVERIFY(!save->isEnabled());
        QTest::keyClick(seconds, Qt::Key_Backspace);
        QCOMPARE(seconds->text(), QString());
        QTest::keyClicks(seconds, "6x0");
        QCOMPARE(seconds->text(), QString("60"));
        QVERIFY(m_prompter.messages.empty());
        QTest::keyClicks(seconds, "5");
        QCOMPARE(seconds->text(), QString());
        QVERIFY(shown("Value must be 0 to 60 seconds"));
        QFocusEvent out(QEvent::FocusOut);
        QApplication::sendEvent(seconds, &out);
        QCOMPARE(seconds->text(), QString("0"));
        QVERIFY(save->isEnabled());

        QTest::keyClick(seconds, Qt::Key_Backspace);
        QTest::keyClicks(seconds, "012");
        child<QLineEdit>(*screen, "mskFax")->setText("(217) 555-0199");
        m_prompter.messages.clear();
        m_prompter.answers = {MessageAnswer::Cancel};
        save->click();
        QCOMPARE(option("SecToWait"), std::string("0"));

        child<QLineEdit>(*screen, "mskFax")->clear();
        child<QCheckBox>(*screen, "chkDupilcateFiles")->setChecked(false);
        m_prompter.messages.clear();
        m_prompter.answers = {MessageAnswer::Ok};
        save->click();
        QCOMPARE(m_prompter.messages.size(), size_t(2));
        QCOMPARE(m_prompter.messages[0].text,
                 std::string("You Have Left Some Fields Blank, Would You Like To Continue Saving?"));
        QCOMPARE(m_prompter.messages[1].text, std::string("Options Saved."));
        QCOMPARE(option("SecToWait"), std::string("012")); // a leading zero is no excess
        QCOMPARE(option("Fax"), std::string("<absent>"));
        QCOMPARE(option("AddDupilcateFiles"), std::string("0"));
        QCOMPARE(option("PrinterToUse"), std::string("Office Laser"));
        QCOMPARE(option("CompanyName"), std::string("Demo Transcription Services"));
    }

    // The profile chosen at close is the one selected at the next start; a
    // stored name that is not listed selects nothing.
    void profileToUseRoundTrip()
    {
        setOption("ProfileToUse", "Per Word");
        {
            auto screen = makeScreen();
            QCOMPARE(screen->profileBox()->currentText(), QString("Per Word"));
            QCOMPARE(screen->profileList()->currentRow(), 1);
            QCOMPARE(child<QComboBox>(*screen, "cboFiletype")->currentText(),
                     QString("*.doc;*.rtf;*.txt;*.text;*.odt"));
            screen->profileList()->setCurrentRow(0);
            QCOMPARE(screen->currentProfile(), QString("Demo Transcription"));
            QVERIFY(screen->close());
        }
        QCOMPARE(option("ProfileToUse"), std::string("Demo Transcription"));

        setOption("ProfileToUse", "Nobody");
        {
            auto screen = makeScreen();
            QCOMPARE(screen->currentProfile(), QString());
            QCOMPARE(screen->profileList()->currentRow(), -1);
            QVERIFY(screen->close());
        }
        QCOMPARE(option("ProfileToUse"), std::string("<absent>"));
    }

    // Only the 97 generation before its second service release warns, and
    // a ticked "Do Not Show This Again" silences it for good.
    void versionWarning()
    {
        const std::tuple<const char*, const char*, bool> cases[] = {
            {"8.0", "1", true},  {"8.0a", "1", true}, {"8.0b", "1", false},
            {"9.0", "1", false}, {"8.0", "0", false}, {"Quillmeter engine " QM_VERSION, "1", false}};
        for (const auto& [version, verChk, warns] : cases)
            QVERIFY2(outdatedVersionWarning(version, verChk).has_value() == warns, version);
        QVERIFY(
            outdatedVersionWarning("8.0a", "1")->startsWith("The Document Engine In Use (Version 8a) Is Out Of Date"));

        setOption("VerChk", ""); // absent: the warning is still due
        const settings::SettingsContext context{m_folder};
        int asked = 0;
        const MessageBoxAsk tick = [&](const MsgBoxRequest& r, QWidget*) {
            ++asked;
            return MsgBoxAnswer{true, r.sign == "!"};
        };
        runVersionCheck(context, "8.0", tick, nullptr);
        QCOMPARE(option("VerChk"), std::string("0"));
        runVersionCheck(context, "8.0", tick, nullptr);
        QCOMPARE(asked, 1);
    }
};

QTEST_MAIN(MainScreenTest)
#include "MainScreenTest.moc"
