// The shared message box, the Qt prompter and its hop from a worker thread.
#include "ui/common/AppInfo.h"
#include "ui/common/QtPrompter.h"
#include "ui/common/frmMsgBox.h"

#include <QAbstractButton>
#include <QCheckBox>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <QThread>
#include <QTimer>

using namespace qm;
using namespace qm::ui;

class CommonTest : public QObject {
    Q_OBJECT
private slots:
    // The caller reads the box after it is hidden: a broken answer() would
    // lose the "Do Not Show This Again" tick that silences a warning.
    void msgBoxReportsButtonAndTick()
    {
        frmMsgBox box;
        box.setRequest(MsgBoxRequest{"Version", "!", "first\rsecond", true});
        QCOMPARE(box.findChild<QLabel*>("lblMessage")->text(), QString("first\nsecond"));
        QCOMPARE(box.findChild<QPushButton*>("CancelButton")->text(), QString("&Cancel"));
        box.findChild<QCheckBox*>("chkDoNotShowAgain")->setChecked(true);
        QTimer::singleShot(0, &box, [&] { box.findChild<QPushButton*>("OKButton")->click(); });
        box.exec();
        QVERIFY(box.answer().accepted);
        QVERIFY(box.answer().doNotShowAgain);

        frmMsgBox second;
        second.setRequest(MsgBoxRequest{"Version", "!", "text", true});
        QTimer::singleShot(0, &second, [&] { second.findChild<QPushButton*>("CancelButton")->click(); });
        second.exec();
        QVERIFY(!second.answer().accepted);
        QVERIFY(!second.answer().doNotShowAgain);
    }

    // Title, line breaks, icon and buttons as the message names them; a
    // wrong mapping shows the user another kind of box.
    void promptBoxesMatchTheMessage()
    {
        struct Case {
            Message message;
            QMessageBox::Icon icon;
            QMessageBox::StandardButtons buttons;
        };
        const Case cases[] = {
            {{"Files", "a\rb", MessageIcon::Information, MessageButtons::Ok},
             QMessageBox::Information,
             QMessageBox::Ok},
            {{"Save", "Save Company Info?", MessageIcon::Question, MessageButtons::OkCancel},
             QMessageBox::Question,
             QMessageBox::Ok | QMessageBox::Cancel},
            {{"Error", "x", MessageIcon::Critical, MessageButtons::Ok}, QMessageBox::Critical, QMessageBox::Ok},
            {{"Profile", "x", MessageIcon::None, MessageButtons::YesNo},
             QMessageBox::NoIcon,
             QMessageBox::Yes | QMessageBox::No},
            {{"Warn", "x", MessageIcon::Exclamation, MessageButtons::YesNoCancel},
             QMessageBox::Warning,
             QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel},
        };
        for (const Case& c : cases) {
            const auto box = QtPrompter::makeBox(c.message, nullptr);
            QCOMPARE(box->windowTitle(), toQString(c.message.title));
            QVERIFY(!box->text().contains('\r'));
            QCOMPARE(box->text(), toQString(c.message.text).replace('\r', '\n'));
            QCOMPARE(box->icon(), c.icon);
            QCOMPARE(box->standardButtons(), c.buttons);
        }
        // Enter presses the first button unless the question asks for the last.
        const Message okCancel{"Clear", "Clear Company Info?", MessageIcon::Question, MessageButtons::OkCancel};
        const auto plain = QtPrompter::makeBox(okCancel, nullptr);
        QCOMPARE(plain->defaultButton(), plain->button(QMessageBox::Ok));
        Message keepByDefault = okCancel;
        keepByDefault.defaultIsLast = true;
        const auto cautious = QtPrompter::makeBox(keepByDefault, nullptr);
        QCOMPARE(cautious->defaultButton(), cautious->button(QMessageBox::Cancel));
        QCOMPARE(QtPrompter::answerOf(okCancel, QMessageBox::Ok), MessageAnswer::Ok);
        QCOMPARE(QtPrompter::answerOf(okCancel, -1), MessageAnswer::Cancel);
    }

    // A question from a worker thread must be answered on the GUI thread,
    // where widgets may be touched, and its answer must reach the worker.
    void workerQuestionsAreAnsweredOnTheGuiThread()
    {
        struct ThreadNoting : RecordingPrompter {
            QThread* askedOn = nullptr;
            MessageAnswer show(const Message& m) override
            {
                askedOn = QThread::currentThread();
                return RecordingPrompter::show(m);
            }
        } inner;
        inner.answers = {MessageAnswer::Cancel};
        QObject gui;
        GuiThreadPrompter prompter(inner, &gui);
        MessageAnswer answer = MessageAnswer::Ok;
        QThread* worker = QThread::create([&] {
            answer = prompter.show(Message{"Date Range", "q", MessageIcon::Information, MessageButtons::OkCancel});
        });
        worker->start();
        QTRY_VERIFY(worker->isFinished());
        delete worker;
        QCOMPARE(answer, MessageAnswer::Cancel);
        QCOMPARE(inner.askedOn, QThread::currentThread());
        QCOMPARE(inner.messages.size(), size_t(1));
    }
};

QTEST_MAIN(CommonTest)
#include "CommonTest.moc"
