// The History tab.
#include "ui/history/HistoryTab.h"

#include "ledger/LedgerInvoice.h"
#include "report/InvoiceFile.h"
#include "ui/history/DesktopLedger.h"
#include "ui/main/frmMain.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

namespace qm::ui {

namespace {

QTableWidget* table(QWidget* parent, const char* name, const QStringList& headings)
{
    auto* t = new QTableWidget(0, int(headings.size()), parent);
    t->setObjectName(name);
    t->setHorizontalHeaderLabels(headings);
    t->setEditTriggers(QAbstractItemView::NoEditTriggers);
    t->setSelectionBehavior(QAbstractItemView::SelectRows);
    t->setSelectionMode(QAbstractItemView::SingleSelection);
    t->verticalHeader()->hide();
    t->horizontalHeader()->setStretchLastSection(true);
    return t;
}

QTableWidgetItem* cell(const std::string& text, bool number = false)
{
    auto* item = new QTableWidgetItem(QString::fromStdString(text));
    if (number)
        item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return item;
}

} // namespace

HistoryTab::HistoryTab(DesktopLedger& ledger, frmMain& main, const ReportServices& services)
    : m_ledger(ledger), m_main(main), m_services(services)
{
    setObjectName("History");
    m_problem = new QLabel(this);
    m_problem->setObjectName("lblLedgerProblem");
    m_problem->setWordWrap(true);
    m_problem->hide();
    m_runs = table(this, "grdRuns", {"Run", "Date", "Profile", "Documents", "Total", "Invoice No."});
    m_documents = table(this, "grdRunDocuments", {"Document", "Count", "Amount", "SHA-256", "Path"});
    auto* refreshButton = new QPushButton(tr("&Refresh"), this);
    refreshButton->setObjectName("cmdRefreshHistory");
    m_recreate = new QPushButton(tr("Re-create &Invoice"), this);
    m_recreate->setObjectName("cmdRecreateInvoice");
    m_recreate->setEnabled(false);
    connect(refreshButton, &QPushButton::clicked, this, &HistoryTab::refresh);
    connect(m_recreate, &QPushButton::clicked, this, &HistoryTab::recreateInvoice);
    connect(m_runs, &QTableWidget::itemSelectionChanged, this, &HistoryTab::showRun);
    connect(m_runs, &QTableWidget::itemDoubleClicked, this, &HistoryTab::recreateInvoice);

    auto* splitter = new QSplitter(Qt::Vertical, this);
    splitter->addWidget(m_runs);
    splitter->addWidget(m_documents);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(refreshButton);
    buttons->addWidget(m_recreate);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_problem);
    layout->addWidget(splitter, 1);
    layout->addLayout(buttons);
}

void HistoryTab::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    refresh();
}

void HistoryTab::refresh()
{
    ledger::LedgerStore* store = m_ledger.store();
    m_problem->setText(m_ledger.problem());
    m_problem->setVisible(!store);
    const QSignalBlocker block(m_runs);
    m_runs->setRowCount(0);
    m_documents->setRowCount(0);
    m_recreate->setEnabled(false);
    if (!store)
        return;
    std::vector<ledger::RunSummary> runs;
    try {
        runs = store->listRuns({});
    } catch (const std::exception& e) {
        m_problem->setText(QString::fromStdString(e.what()));
        m_problem->show();
        return;
    }
    m_runs->setRowCount(int(runs.size()));
    int r = 0;
    for (auto it = runs.rbegin(); it != runs.rend(); ++it, ++r) {
        auto* id = cell(std::to_string(it->id), true);
        id->setData(Qt::UserRole, qlonglong(it->id));
        m_runs->setItem(r, 0, id);
        m_runs->setItem(r, 1, cell(it->localDate + " " + it->time.substr(11, 5) + " UTC"));
        m_runs->setItem(r, 2, cell(it->profile));
        m_runs->setItem(r, 3, cell(std::to_string(it->documents), true));
        m_runs->setItem(r, 4, cell(it->amountTotal, true));
        m_runs->setItem(r, 5, cell(it->stopped ? "(stopped)" : it->invoiceNumber.value_or("")));
    }
    m_runs->resizeColumnsToContents();
}

int64_t HistoryTab::chosenRun() const
{
    const auto rows = m_runs->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return 0;
    return m_runs->item(rows.front().row(), 0)->data(Qt::UserRole).toLongLong();
}

void HistoryTab::showRun()
{
    m_documents->setRowCount(0);
    m_recreate->setEnabled(false);
    ledger::LedgerStore* store = m_ledger.store();
    const int64_t id = chosenRun();
    if (!store || id == 0)
        return;
    try {
        const auto run = store->loadRun(id);
        if (!run)
            return;
        m_documents->setRowCount(int(run->documents.size()));
        for (int r = 0; r < int(run->documents.size()); ++r) {
            const auto& d = run->documents[size_t(r)];
            m_documents->setItem(r, 0, cell(d.name.substr(0, d.name.find('\r'))));
            m_documents->setItem(r, 1, cell(app::shownCount(d.count), true));
            m_documents->setItem(r, 2, cell(d.amountText, true));
            m_documents->setItem(r, 3, cell(d.sha256));
            m_documents->setItem(r, 4, cell(d.path));
        }
        m_documents->resizeColumnsToContents();
        m_recreate->setEnabled(!run->stopped);
    } catch (const std::exception& e) {
        m_main.prompter().show(errorReport(e.what(), "-Ledger-"));
    }
}

void HistoryTab::recreateInvoice()
{
    ledger::LedgerStore* store = m_ledger.store();
    const int64_t id = chosenRun();
    if (!store || id == 0)
        return;
    try {
        const auto run = store->loadRun(id);
        if (!run || run->stopped)
            return;
        const auto invoice = ledger::recreateInvoice(*run, m_main.prompter(), app::CurrencyFormat::fromEnvironment());
        const std::string suggested = "Invoice " + run->invoiceNumber.value_or(std::to_string(run->id)) + ".docx";
        if (!m_services.askSavePath)
            return;
        const auto path = m_services.askSavePath(&m_main, suggested);
        if (!path)
            return;
        const engine::WriteResult written = report::saveInvoice(*invoice, *path);
        if (!written.ok()) {
            m_main.prompter().show(errorReport(path->string() + ": " + written.error, "-Ledger-"));
            return;
        }
        if (m_services.open)
            m_services.open(*path);
    } catch (const std::exception& e) {
        m_main.prompter().show(errorReport(e.what(), "-Ledger-"));
    }
}

} // namespace qm::ui
