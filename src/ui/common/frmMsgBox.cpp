// The application message box and its modal presentation.
#include "ui/common/frmMsgBox.h"

#include <QApplication>
#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace qm::ui {

frmMsgBox::frmMsgBox(QWidget* parent)
    : QDialog(parent)
    , m_sign(new QLabel(this))
    , m_message(new QLabel(this))
    , m_image(new QLabel(this))
    , m_ok(new QPushButton(tr("OK"), this))
    , m_cancel(new QPushButton(tr("&Cancel"), this))
    , m_doNotShowAgain(new QCheckBox(tr("Do Not Show This Again"), this))
{
    setObjectName("frmMsgBox");
    setWindowTitle("Dialog Caption");
    m_sign->setObjectName("lblSign");
    m_message->setObjectName("lblMessage");
    m_image->setObjectName("imgIcon");
    m_ok->setObjectName("OKButton");
    m_cancel->setObjectName("CancelButton");
    m_doNotShowAgain->setObjectName("chkDoNotShowAgain");

    QFont signFont = m_sign->font();
    signFont.setPointSize(signFont.pointSize() * 2);
    signFont.setBold(true);
    m_sign->setFont(signFont);
    m_sign->setAlignment(Qt::AlignCenter);
    m_image->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(32, 32));
    m_message->setWordWrap(true);
    m_message->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_message->setMinimumWidth(360);
    m_ok->setDefault(true);

    auto* signColumn = new QVBoxLayout;
    signColumn->addWidget(m_image);
    signColumn->addWidget(m_sign);
    signColumn->addStretch();
    auto* top = new QHBoxLayout;
    top->addLayout(signColumn);
    top->addWidget(m_message, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_doNotShowAgain);
    buttons->addStretch();
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addLayout(buttons);

    // Both buttons only hide the box; the caller reads it afterwards.
    connect(m_ok, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmMsgBox::setRequest(const MsgBoxRequest& request)
{
    if (!request.caption.isEmpty())
        setWindowTitle(request.caption);
    m_sign->setText(request.sign);
    QString text = request.message;
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    m_message->setText(text);
    m_cancel->setVisible(request.showCancel);
}

MsgBoxAnswer frmMsgBox::answer() const
{
    return MsgBoxAnswer{result() == QDialog::Accepted, m_doNotShowAgain->isChecked()};
}

MsgBoxAnswer showMsgBox(const MsgBoxRequest& request, QWidget* parent)
{
    frmMsgBox box(parent);
    box.setRequest(request);
    box.exec();
    return box.answer();
}

} // namespace qm::ui
