// The ledger on the desktop: a run recorded before its invoice, documents
// already billed asked about once, and the History tab.
#include "ScreenTest.h"
#include "engine/formats/Reader.h"
#include "ledger/SqliteLedger.h"
#include "settings/IniRW.h"
#include "ui/history/DesktopLedger.h"
#include "ui/history/HistoryTab.h"
#include "ui/main/frmMain.h"

#include <QListWidget>
#include <QSignalSpy>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTest>
#include <filesystem>

using namespace qm;
using namespace qm::ui;
namespace fs = std::filesystem;

namespace {

std::u16string mainText(const fs::path& file)
{
    const auto read = engine::readDocument(file);
    return read.ok() ? read.document->mainStory().text : std::u16string();
}

} // namespace

class HistoryTest : public QObject {
    Q_OBJECT
private slots:
    void runsAreRecordedBilledDocumentsAskedAboutAndInvoicesMadeAgain()
    {
        QTemporaryDir dir;
        const fs::path folder = dir.path().toStdString();
        testing::copySampleSettings(folder);
        const settings::SettingsContext context{folder};
        settings::WriteINI(context, "Options", "MAIN", "ProfileToUse", "Demo Transcription");
        settings::WriteINI(context, "Profiles", "Demo Transcription", "ShowReportInWord", "1");
        settings::WriteINI(context, "Options", "MAIN", "AskSaveWindow", "0");
        const fs::path docs = folder / "docs";
        fs::create_directories(docs);
        const fs::path samples = fs::path(QM_SOURCE_DIR) / "samples/documents";
        for (const char* name : {"clinic-note-0302.txt", "deposition-excerpt.rtf"})
            fs::copy_file(samples / name, docs / name);

        RecordingPrompter prompter;
        frmMain screen(testing::screenServices(folder, prompter));
        fs::path nextInvoice;
        ReportServices services;
        services.askSavePath = [&](QWidget*, const fs::path&) { return std::optional<fs::path>(nextInvoice); };
        services.open = [](const fs::path&) { return true; };
        attachLedger(screen, services);
        attachReportCommands(screen, services);
        QSignalSpy ended(&screen, &frmMain::runEnded);
        const auto countAll = [&] {
            screen.chaseList().removeAll();
            for (const char* name : {"clinic-note-0302.txt", "deposition-excerpt.rtf"})
                screen.chaseList().append(name, (docs / name).string());
            screen.refreshChaseList();
            screen.startRun();
        };

        nextInvoice = folder / "first.docx";
        countAll();
        QVERIFY(ended.wait(60000));
        const std::u16string first = mainText(nextInvoice);
        const size_t at = first.find(u"Invoice No. ");
        QVERIFY(at != std::u16string::npos);
        const std::u16string number = first.substr(at + 12, 9); // yyyy-nnnn
        QVERIFY(number.ends_with(u"-0001"));

        // Again: asked once, listing both; No leaves them out, so nothing is counted.
        prompter.messages.clear();
        prompter.answers = {MessageAnswer::No};
        countAll();
        QCOMPARE(ended.count(), 1);
        QCOMPARE(prompter.messages.size(), size_t(1));
        QCOMPARE(QString::fromStdString(prompter.messages[0].title), QString("Already Billed"));
        QVERIFY(prompter.messages[0].text.find("deposition-excerpt.rtf (billed in run 1") != std::string::npos);
        auto* list = testing::child<QListWidget>(screen, "lstDofileList");
        QVERIFY(list->item(0)->toolTip().contains("Already billed"));

        // Yes counts them again under the next number.
        prompter.answers = {MessageAnswer::Yes};
        nextInvoice = folder / "second.docx";
        countAll();
        QVERIFY(ended.wait(60000));
        QVERIFY(mainText(nextInvoice).find(u"-0002") != std::u16string::npos);

        // The History tab: newest first; the first run's documents and its invoice again.
        auto* history = screen.findChild<HistoryTab*>();
        QVERIFY(history);
        history->refresh();
        QCOMPARE(history->runsTable()->rowCount(), 2);
        QCOMPARE(history->runsTable()->item(1, 5)->text(), QString::fromStdU16String(number));
        history->runsTable()->selectRow(1);
        QCOMPARE(history->documentsTable()->rowCount(), 2);
        fs::remove_all(docs);
        nextInvoice = folder / "again.docx";
        history->recreateInvoice();
        QCOMPARE(mainText(nextInvoice), first);

        ledger::SqliteLedger ledger(folder / "ledger.sqlite");
        QCOMPARE(QString::fromStdString(ledger.loadRun(1)->invoiceFile),
                 QString::fromStdString((folder / "first.docx").string()));
    }
};

QTEST_MAIN(HistoryTest)
#include "HistoryTest.moc"
