// QMessageBox presentation of the cores' messages, and the hop to the GUI thread.
#include "ui/common/QtPrompter.h"

#include "ui/common/AppInfo.h"

#include <QApplication>
#include <QThread>

namespace qm::ui {

std::unique_ptr<QMessageBox> QtPrompter::makeBox(const Message& message, QWidget* parent)
{
    auto box = std::make_unique<QMessageBox>(parent);
    box->setWindowTitle(toQString(message.title));
    QString text = toQString(message.text);
    text.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    box->setText(text);
    box->setTextFormat(Qt::PlainText);
    switch (message.icon) {
    case MessageIcon::None:
        box->setIcon(QMessageBox::NoIcon);
        break;
    case MessageIcon::Information:
        box->setIcon(QMessageBox::Information);
        break;
    case MessageIcon::Exclamation:
        box->setIcon(QMessageBox::Warning);
        break;
    case MessageIcon::Critical:
        box->setIcon(QMessageBox::Critical);
        break;
    case MessageIcon::Question:
        box->setIcon(QMessageBox::Question);
        break;
    }
    switch (message.buttons) {
    case MessageButtons::Ok:
        box->setStandardButtons(QMessageBox::Ok);
        break;
    case MessageButtons::OkCancel:
        box->setStandardButtons(QMessageBox::Ok | QMessageBox::Cancel);
        box->setDefaultButton(message.defaultIsLast ? QMessageBox::Cancel : QMessageBox::Ok);
        box->setEscapeButton(QMessageBox::Cancel);
        break;
    case MessageButtons::YesNo:
        box->setStandardButtons(QMessageBox::Yes | QMessageBox::No);
        box->setDefaultButton(message.defaultIsLast ? QMessageBox::No : QMessageBox::Yes);
        box->setEscapeButton(QMessageBox::No);
        break;
    case MessageButtons::YesNoCancel:
        box->setStandardButtons(QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel);
        box->setDefaultButton(message.defaultIsLast ? QMessageBox::Cancel : QMessageBox::Yes);
        box->setEscapeButton(QMessageBox::Cancel);
        break;
    }
    return box;
}

MessageAnswer QtPrompter::answerOf(const Message& message, int clickedButton)
{
    switch (clickedButton) {
    case QMessageBox::Ok:
        return MessageAnswer::Ok;
    case QMessageBox::Yes:
        return MessageAnswer::Yes;
    case QMessageBox::No:
        return MessageAnswer::No;
    case QMessageBox::Cancel:
        return MessageAnswer::Cancel;
    default:
        // Closed by the window manager: the box's way out.
        return message.buttons == MessageButtons::Ok      ? MessageAnswer::Ok
               : message.buttons == MessageButtons::YesNo ? MessageAnswer::No
                                                          : MessageAnswer::Cancel;
    }
}

MessageAnswer QtPrompter::show(const Message& message)
{
    const auto box = makeBox(message, m_parent.data());
    const int clicked = box->exec();
    return answerOf(message, clicked);
}

void QtPrompter::beep()
{
    QApplication::beep();
}

MessageAnswer GuiThreadPrompter::show(const Message& message)
{
    if (QThread::currentThread() == m_gui->thread())
        return m_inner.show(message);
    MessageAnswer answer = MessageAnswer::Cancel;
    QMetaObject::invokeMethod(
        m_gui, [&] { answer = m_inner.show(message); }, Qt::BlockingQueuedConnection);
    return answer;
}

void GuiThreadPrompter::beep()
{
    if (QThread::currentThread() == m_gui->thread()) {
        m_inner.beep();
        return;
    }
    QMetaObject::invokeMethod(
        m_gui, [&] { m_inner.beep(); }, Qt::BlockingQueuedConnection);
}

} // namespace qm::ui
