// The History tab: the recorded runs, the documents of the one chosen, and
// its invoice made again from the ledger.
#pragma once

#include "ui/totals/ReportCommands.h"

#include <QWidget>

class QLabel;
class QPushButton;
class QTableWidget;

namespace qm::ui {

class DesktopLedger;
class frmMain;

class HistoryTab : public QWidget {
    Q_OBJECT
public:
    HistoryTab(DesktopLedger& ledger, frmMain& main, const ReportServices& services);

    QTableWidget* runsTable() const { return m_runs; }
    QTableWidget* documentsTable() const { return m_documents; }

public slots:
    /// Reads the runs again, newest first.
    void refresh();
    /// Builds the chosen run's invoice again and hands it to the user.
    void recreateInvoice();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void showRun();
    int64_t chosenRun() const;

    DesktopLedger& m_ledger;
    frmMain& m_main;
    ReportServices m_services;
    QLabel* m_problem = nullptr;
    QTableWidget* m_runs = nullptr;
    QTableWidget* m_documents = nullptr;
    QPushButton* m_recreate = nullptr;
};

} // namespace qm::ui
