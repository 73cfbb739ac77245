// The totals screen: documents, count and amount of a finished run, and the way on to the invoice.
#include "ui/totals/frmTotals.h"

#include "ui/common/AppInfo.h"
#include "ui/common/Help.h"

#include <QFrame>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

namespace qm::ui {

namespace {

QLabel* label(QWidget* parent, const char* name, const QString& text)
{
    auto* l = new QLabel(text, parent);
    l->setObjectName(name);
    return l;
}

QFrame* separator(QWidget* parent)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QPushButton* button(QWidget* parent, const char* name, const char* caption, const char* tip)
{
    auto* b = new QPushButton(QString::fromUtf8(caption), parent);
    b->setObjectName(name);
    b->setToolTip(QString::fromUtf8(tip));
    return b;
}

} // namespace

frmTotals::frmTotals(const report::Totals& totals, QWidget* parent) : QDialog(parent)
{
    setObjectName("frmTotals");
    setWindowTitle("Totals - " + applicationTitle());
    setModal(true);
    openHelp = [] { ::qm::ui::openHelp(); };

    auto* frame = new QFrame(this);
    frame->setObjectName("Frame1");
    frame->setFrameShape(QFrame::StyledPanel);
    auto* grid = new QGridLayout(frame);

    // The headings in the screen's classic face where the desktop has it,
    // its nearest sans-serif otherwise; the figures right-aligned beside them.
    QFont headingFont = font();
    headingFont.setFamilies({"MS Sans Serif", "Sans Serif"});
    headingFont.setBold(true);
    const struct {
        const char* heading;
        QString headingText;
        const char* value;
        const std::string& valueText;
    } rows[] = {
        {"Label1", "Documents Counted", "Label4", totals.documents},
        {"Label2", QString::fromStdString(totals.unitPlural), "Label5", totals.countTotal},
        {"Label3", "Amount", "Label6", totals.amountTotal},
    };
    int r = 0;
    for (const auto& row : rows) {
        QLabel* heading = label(frame, row.heading, row.headingText);
        heading->setFont(headingFont);
        QLabel* value = label(frame, row.value, QString::fromStdString(row.valueText));
        value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        value->setTextInteractionFlags(Qt::TextSelectableByMouse);
        grid->addWidget(heading, r, 0);
        grid->addWidget(value, r, 1);
        grid->addWidget(separator(frame), r + 1, 0, 1, 2);
        r += 2;
    }
    grid->setColumnMinimumWidth(1, 120);

    QPushButton* create = button(this, "cmdDisplayReport", "&Create Invoice", "Create Invoice");
    QPushButton* close = button(this, "cmdClose", "&Close", "Close");
    create->setDefault(true);
    connect(create, &QPushButton::clicked, this, [this] {
        // The screen goes first: the invoice is independent of it.
        const QString profile = m_profileName;
        const auto build = createInvoice;
        accept();
        if (build)
            build(profile);
    });
    connect(close, &QPushButton::clicked, this, &QDialog::reject);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(create);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(frame);
    layout->addLayout(buttons);
    setFixedSize(sizeHint());
}

void frmTotals::setInvoiceNumber(const QString& number)
{
    auto* frame = findChild<QFrame*>("Frame1");
    auto* grid = frame ? qobject_cast<QGridLayout*>(frame->layout()) : nullptr;
    if (!grid)
        return;
    QLabel* heading = label(frame, "lblInvoiceHeading", "Invoice No.");
    heading->setFont(findChild<QLabel*>("Label1")->font());
    QLabel* value = label(frame, "lblInvoiceNumber", number);
    value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    const int row = grid->rowCount();
    grid->addWidget(heading, row, 0);
    grid->addWidget(value, row, 1);
    setFixedSize(sizeHint());
}

void frmTotals::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1) {
        if (openHelp)
            openHelp();
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

} // namespace qm::ui
