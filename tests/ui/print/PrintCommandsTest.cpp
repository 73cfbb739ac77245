// Print from the main screen over a scripted engine: the job, its messages, Stop and closing.
#include "ui/print/PrintCommands.h"

#include "ScreenTest.h"
#include "print/PrintFakes.h"
#include "settings/IniRW.h"

#include <QComboBox>
#include <QElapsedTimer>
#include <QFrame>
#include <QListWidget>
#include <QPushButton>
#include <QTabWidget>
#include <QTemporaryDir>
#include <QTest>
#include <atomic>
#include <mutex>

using namespace qm;
using namespace qm::ui;

namespace {

/// Records the calls a job makes, from the job's thread.
struct Calls {
    std::mutex mutex;
    std::vector<std::string> list;
    std::atomic<bool> closed{false};
    void add(std::string call)
    {
        std::lock_guard<std::mutex> lock(mutex);
        list.push_back(std::move(call));
    }
    std::vector<std::string> snapshot()
    {
        std::lock_guard<std::mutex> lock(mutex);
        return list;
    }
};

class RecordingEngine : public print::PrintingEngine {
public:
    explicit RecordingEngine(Calls& calls) : m_calls(calls) {}
    void OpenWord() override { m_calls.add("OpenWord"); }
    bool openJustDoc(const std::string& path) override
    {
        m_calls.add("open " + path);
        return true;
    }
    bool PrintDocument() override
    {
        m_calls.add("print");
        return true;
    }
    bool CloseDocument() override { return true; }
    void CompleteClose() override
    {
        m_calls.add("CompleteClose");
        m_calls.closed = true;
    }

private:
    Calls& m_calls;
};

} // namespace

class PrintCommandsTest : public QObject {
    Q_OBJECT
private:
    std::unique_ptr<QTemporaryDir> m_dir;
    RecordingPrompter m_prompter;
    Calls m_calls;
    std::shared_ptr<qm::testing::FakePrinterSystem> m_printers;

    std::unique_ptr<frmMain> makeScreen()
    {
        auto screen = std::make_unique<frmMain>(qm::testing::screenServices(m_dir->path().toStdString(), m_prompter));
        attachPrintCommands(*screen, m_printers,
                            [this](Prompter&, print::PrinterSystem&, const settings::SettingsContext&) {
                                return std::make_unique<RecordingEngine>(m_calls);
                            });
        return screen;
    }
    void setOption(std::string_view key, std::string_view value)
    {
        settings::WriteINI(settings::SettingsContext{m_dir->path().toStdString()}, "Options", "MAIN", key, value);
    }

private slots:
    void init()
    {
        m_dir = std::make_unique<QTemporaryDir>();
        m_prompter.messages.clear();
        m_calls.list.clear();
        m_calls.closed = false;
        m_printers = std::make_shared<qm::testing::FakePrinterSystem>();
        qm::testing::officeAndLabel(*m_printers);
    }

    // The printer box lists the print system's printers; Print walks the
    // Chase List on the engine and leaves the screen as it found it.
    void printsTheChaseList()
    {
        setOption("PrinterToUse", "Label");
        auto screen = makeScreen();
        auto* box = screen->findChild<QComboBox*>("cboPrinterToUse");
        QCOMPARE(box->count(), 2);
        QCOMPARE(box->currentText(), QString("Label"));

        screen->chaseList().append("a.txt", "/docs/a.txt");
        screen->chaseList().append("b.txt", "/docs/b.txt");
        screen->refreshChaseList();
        screen->findChild<QPushButton*>("cmdPrint")->click();
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.closed.load(), 10000);
        QTRY_VERIFY(screen->findChild<QTabWidget*>("SSTab1")->isEnabled());
        QCOMPARE(m_calls.snapshot(), (std::vector<std::string>{"OpenWord", "open /docs/a.txt", "print",
                                                               "open /docs/b.txt", "print", "CompleteClose"}));
        QCOMPARE(screen->findChild<QListWidget*>("lstDofileList")->currentRow(), 1);
        QVERIFY(m_prompter.messages.empty());
    }

    // The job's refusals are the screen's message boxes.
    void refusalsAreShown()
    {
        auto screen = makeScreen();
        emit screen->printRequested();
        QTRY_COMPARE(m_prompter.messages.size(), size_t(1));
        QCOMPARE(m_prompter.messages[0].text, std::string("There Are No Files To Print"));
        // The refused job's thread may still be ending; a request before
        // it has is ignored.
        auto* commands = screen->findChild<QObject*>("PrintCommands");
        QVERIFY(commands);
        QTRY_VERIFY(!commands->property("jobRunning").toBool());

        screen->chaseList().append("a.txt", "/docs/a.txt");
        setOption("PrinterToUse", "label");
        emit screen->printRequested();
        QTRY_COMPARE(m_prompter.messages.size(), size_t(2));
        QCOMPARE(m_prompter.messages[1].text,
                 std::string("The Selected Printer No Longer Exists, Please Go To Options And "
                             "Select A Printer"));
        QVERIFY(m_calls.snapshot().empty());
    }

    // Stop pressed during a long wait ends the job within its half-second
    // slice, and the window stayed alive to take the click.
    void stopEndsAWait()
    {
        setOption("SecToWait", "30");
        auto screen = makeScreen();
        screen->chaseList().append("a.txt", "/docs/a.txt");
        screen->chaseList().append("b.txt", "/docs/b.txt");
        screen->chaseList().append("c.txt", "/docs/c.txt");
        screen->refreshChaseList();
        emit screen->printRequested();
        auto* stop = screen->findChild<QPushButton*>("cmdStop");
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.snapshot().size() >= 5 && !screen->findChild<QFrame*>("FrameStop")->isHidden(),
                                 10000);
        QTest::qWait(200);
        stop->click();
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.closed.load(), 3000);
        const auto calls = m_calls.snapshot();
        QVERIFY(std::find(calls.begin(), calls.end(), "open /docs/c.txt") == calls.end());
    }

    // Closing the window while printing stops the job first and closes
    // once it has ended; a screen destroyed in a wait does not hang.
    void closingWaitsForTheJob()
    {
        setOption("SecToWait", "30");
        auto screen = makeScreen();
        for (const char* name : {"a.txt", "b.txt", "c.txt"})
            screen->chaseList().append(name, std::string("/docs/") + name);
        screen->show();
        emit screen->printRequested();
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.snapshot().size() >= 5, 10000);
        QVERIFY(!screen->close());
        QVERIFY(screen->isVisible());
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.closed.load(), 3000);
        QTRY_VERIFY(!screen->isVisible());

        m_calls.closed = false;
        auto second = makeScreen();
        for (const char* name : {"a.txt", "b.txt"})
            second->chaseList().append(name, std::string("/docs/") + name);
        emit second->printRequested();
        QTRY_VERIFY_WITH_TIMEOUT(m_calls.snapshot().size() >= 11, 10000);
        QElapsedTimer timer;
        timer.start();
        second.reset();
        QVERIFY(m_calls.closed.load());
        QVERIFY(timer.elapsed() < 2000);
    }
};

QTEST_MAIN(PrintCommandsTest)
#include "PrintCommandsTest.moc"
