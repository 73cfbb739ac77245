// The totals screen: documents, count and amount of a finished run, and the way on to the invoice.
#pragma once

#include "report/Totals.h"

#include <QDialog>
#include <QString>
#include <functional>

class QLabel;
class QPushButton;

namespace qm::ui {

/// A small modal screen showing a run's figures under three headings. The
/// headings never change except the count's, which names the profile's
/// unit. "&Create Invoice" builds the invoice for the stored profile and
/// closes the screen; "&Close" only closes it; F1 opens the help page.
class frmTotals : public QDialog {
    Q_OBJECT
public:
    explicit frmTotals(const report::Totals& totals, QWidget* parent = nullptr);

    /// The profile the invoice is built for; set before the screen is shown.
    void setProfileName(const QString& name) { m_profileName = name; }
    QString profileName() const { return m_profileName; }
    /// Adds the run's invoice number under the figures.
    void setInvoiceNumber(const QString& number);

    /// Builds the invoice for a profile (the screen is already hidden).
    std::function<void(const QString& profileName)> createInvoice;
    std::function<void()> openHelp;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QString m_profileName;
};

} // namespace qm::ui
