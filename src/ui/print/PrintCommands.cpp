// The print job run from the main screen: its hooks hop to the screen's thread, the job stays on
// its own.
#include "ui/print/PrintCommands.h"

#include "print/CupsPrinters.h"
#include "print/WizardPrinting.h"
#include "ui/common/QtPrompter.h"
#include "ui/main/frmMain.h"

#include <QCloseEvent>
#include <QListWidget>
#include <QPointer>
#include <QThread>

namespace qm::ui {

namespace {

/// Owned by the screen: runs one job at a time and keeps the screen from
/// closing under a running job.
class PrintCommands : public QObject
{
public:
    PrintCommands(frmMain& screen, std::shared_ptr<print::PrinterSystem> printers,
                  PrintEngineFactory makeEngine)
        : QObject(&screen), m_screen(screen), m_printers(std::move(printers)),
          m_makeEngine(std::move(makeEngine)), m_prompter(screen.prompter(), &screen)
    {
        connect(&screen, &frmMain::printRequested, this, &PrintCommands::start);
        screen.installEventFilter(this);
    }

    ~PrintCommands() override
    {
        if (m_worker) {
            m_screen.stopFlag().set();
            m_worker->wait();
        }
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (watched == &m_screen && event->type() == QEvent::Close && m_worker) {
            // The job ends after the current slice or document; the window
            // closes then.
            m_screen.stop();
            m_closeWhenDone = true;
            event->ignore();
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    void start()
    {
        if (m_worker || m_screen.isRunning())
            return;
        // Everything the screen shows of the job happens on its own thread.
        auto onScreen = [this](auto f) {
            QMetaObject::invokeMethod(this, std::move(f), Qt::QueuedConnection);
        };
        m_worker = QThread::create(
            [this, onScreen, list = m_screen.chaseList(), settings = m_screen.settingsContext()] {
                std::unique_ptr<print::PrintingEngine> engine =
                    m_makeEngine(m_prompter, *m_printers, settings);
                browser::SystemClock clock;
                print::PrintJob job(*engine, *m_printers, m_prompter, settings,
                                    app::RunControl{nullptr, &m_screen.stopFlag()}, clock);
                job.hooks.printersRefreshed = [&](const std::vector<std::string>&) {
                    onScreen([this] { m_screen.refillPrinters(); });
                };
                job.hooks.started = [&] { onScreen([this] { m_screen.setBusy(true); }); };
                job.hooks.entrySelected = [&](size_t index) {
                    onScreen([this, index] { select(int(index)); });
                };
                job.hooks.ended = [&] { onScreen([this] { m_screen.setBusy(false); }); };
                job.run(list);
            });
        m_worker->setObjectName("PrintJob");
        connect(m_worker, &QThread::finished, this, [this] {
            m_worker->deleteLater();
            m_worker = nullptr;
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
    std::shared_ptr<print::PrinterSystem> m_printers;
    PrintEngineFactory m_makeEngine;
    GuiThreadPrompter m_prompter;
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

void attachPrintCommands(frmMain& screen, std::shared_ptr<print::PrinterSystem> printers,
                         PrintEngineFactory makeEngine)
{
    if (!printers)
        printers = std::make_shared<print::CupsPrinterSystem>();
    if (!makeEngine)
        makeEngine = [](Prompter& prompter, print::PrinterSystem& system,
                        const settings::SettingsContext& s) {
            return std::make_unique<print::WizardPrinting>(prompter, system, s);
        };
    setDefaultPrinterList(printerListOf(printers));
    screen.setPrinterList(printerListOf(printers));
    new PrintCommands(screen, std::move(printers), std::move(makeEngine));
}

} // namespace qm::ui
