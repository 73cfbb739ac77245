// The print job run from the main screen on a worker thread; its hooks hop to the screen.
#include "ui/print/PrintCommands.h"

#include "print/CupsPrinters.h"
#include "print/WizardPrinting.h"
#include "ui/main/frmMain.h"

#include <QCloseEvent>
#include <QListWidget>
#include <QPushButton>
#include <QThread>
#include <chrono>
#include <future>
#include <mutex>

namespace qm::ui {

namespace {

/// Owned by the screen: runs one job at a time on a worker thread, keeps
/// the screen from closing under a running job, and when it goes away with
/// the screen, ends the job without touching the screen again.
class PrintCommands : public QObject {
public:
    PrintCommands(frmMain& screen, std::shared_ptr<print::PrinterSystem> printers, PrintEngineFactory makeEngine)
        : QObject(&screen), m_screen(screen), m_inner(screen.prompter()), m_printers(std::move(printers)),
          m_makeEngine(std::move(makeEngine)), m_prompter(*this)
    {
        // Named, with a "jobRunning" property, so that whoever drives the
        // screen can tell when the last job has wholly ended: a request
        // while one is still ending is ignored, as a click on Print is.
        setObjectName("PrintCommands");
        setProperty("jobRunning", false);
        connect(&screen, &frmMain::printRequested, this, &PrintCommands::start);
        // The job has a stop flag of its own, set by the screen's Stop
        // button: the job may outlive the screen's members by a moment.
        if (auto* stop = screen.findChild<QPushButton*>("cmdStop"))
            connect(stop, &QPushButton::clicked, this, [this] { m_stop->set(); });
        screen.installEventFilter(this);
    }

    ~PrintCommands() override
    {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_closing = true;
        }
        m_stop->set();
        if (m_worker) {
            m_worker->wait();
            delete m_worker;
        }
    }

    /// Runs `f` on the screen's thread later, unless the commands are going away.
    void onScreen(std::function<void()> f)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_closing)
            QMetaObject::invokeMethod(this, std::move(f), Qt::QueuedConnection);
    }
    bool closing()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_closing;
    }
    Prompter& screenPrompter() { return m_inner; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == &m_screen && event->type() == QEvent::Close && m_worker) {
            // The job ends after the current slice or document; the window
            // closes then.
            m_screen.stop();
            m_stop->set();
            m_closeWhenDone = true;
            event->ignore();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    /// The job's messages, shown by the screen's prompter on the screen's
    /// thread while the job waits for the answer.
    class WorkerPrompter : public Prompter {
    public:
        explicit WorkerPrompter(PrintCommands& commands) : m_commands(commands) {}
        MessageAnswer show(const Message& message) override
        {
            auto answer = std::make_shared<std::promise<MessageAnswer>>();
            std::future<MessageAnswer> future = answer->get_future();
            m_commands.onScreen(
                [this, message, answer] { answer->set_value(m_commands.screenPrompter().show(message)); });
            while (future.wait_for(std::chrono::milliseconds(20)) != std::future_status::ready)
                if (m_commands.closing())
                    return MessageAnswer::Cancel;
            return future.get();
        }

    private:
        PrintCommands& m_commands;
    };

    void start()
    {
        if (m_worker || m_screen.isRunning())
            return;
        m_worker = QThread::create([this, list = m_screen.chaseList(), settings = m_screen.settingsContext()] {
            std::unique_ptr<print::PrintingEngine> engine = m_makeEngine(m_prompter, *m_printers, settings);
            browser::SystemClock clock;
            print::PrintJob job(*engine, *m_printers, m_prompter, settings, app::RunControl{nullptr, m_stop.get()},
                                clock);
            // Everything the screen shows of the job happens on its own thread.
            job.hooks.printersRefreshed = [this](const std::vector<std::string>&) {
                onScreen([this] { m_screen.RefreshPrinterList(); });
            };
            job.hooks.started = [this] { onScreen([this] { m_screen.setBusy(true); }); };
            job.hooks.entrySelected = [this](size_t index) { onScreen([this, index] { select(int(index)); }); };
            job.hooks.ended = [this] { onScreen([this] { m_screen.setBusy(false); }); };
            job.run(list);
        });
        m_worker->setObjectName("PrintJob");
        setProperty("jobRunning", true);
        connect(m_worker, &QThread::finished, this, [this] {
            m_worker->deleteLater();
            m_worker = nullptr;
            setProperty("jobRunning", false);
            if (m_closeWhenDone)
                m_screen.close();
        });
        m_worker->start();
    }

    /// The entry being printed, selected in the Chase List and its path twin.
    void select(int row)
    {
        for (const char* name : {"lstDofileList", "lstDofileListPATH"})
            if (auto* list = m_screen.findChild<QListWidget*>(name); list && row < list->count())
                list->setCurrentRow(row, QItemSelectionModel::ClearAndSelect);
    }

    frmMain& m_screen;
    Prompter& m_inner;
    std::shared_ptr<print::PrinterSystem> m_printers;
    PrintEngineFactory m_makeEngine;
    WorkerPrompter m_prompter;
    std::shared_ptr<app::StopFlag> m_stop = std::make_shared<app::StopFlag>();
    std::mutex m_mutex;
    bool m_closing = false;
    QThread* m_worker = nullptr;
    bool m_closeWhenDone = false;
};

} // namespace

PrinterList printerListOf(std::shared_ptr<print::PrinterSystem> printers)
{
    PrinterList list;
    list.names = [printers] { return printers->printerNames(); };
    list.defaultName = [printers] { return print::DefaultPrinterName(*printers); };
    return list;
}

void attachPrintCommands(frmMain& screen, std::shared_ptr<print::PrinterSystem> printers, PrintEngineFactory makeEngine)
{
    if (!printers)
        printers = std::make_shared<print::CupsPrinterSystem>();
    if (!makeEngine)
        makeEngine = [](Prompter& prompter, print::PrinterSystem& system, const settings::SettingsContext& s) {
            return std::make_unique<print::WizardPrinting>(prompter, system, s);
        };
    setDefaultPrinterList(printerListOf(printers));
    screen.setPrinterList(printerListOf(printers));
    new PrintCommands(screen, std::move(printers), std::move(makeEngine));
}

} // namespace qm::ui
