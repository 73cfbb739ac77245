// The application's own message box, with its "Do Not Show This Again" box.
#pragma once

#include <QDialog>
#include <QString>

#include <functional>

class QCheckBox;
class QLabel;
class QPushButton;

namespace qm::ui {

/// What a caller puts in the application message box.
struct MsgBoxRequest {
    QString caption;      ///< window caption
    QString sign;         ///< the sign label, e.g. "!"
    QString message;      ///< "\r" breaks a line
    bool showCancel = false;
};

/// How the box was closed and whether "Do Not Show This Again" was ticked.
struct MsgBoxAnswer {
    bool accepted = false;
    bool doNotShowAgain = false;
};

/// Shows the box and returns once it is closed. Screens take this instead of
/// showing frmMsgBox themselves, so tests answer without a modal loop.
using MessageBoxAsk = std::function<MsgBoxAnswer(const MsgBoxRequest&, QWidget* parent)>;

/// The application message box: a sign label, the message `lblMessage`, an
/// image, `OKButton`, `CancelButton` and `chkDoNotShowAgain`. Both buttons
/// hide it; the caller reads the check box afterwards.
class frmMsgBox : public QDialog {
    Q_OBJECT
public:
    explicit frmMsgBox(QWidget* parent = nullptr);

    void setRequest(const MsgBoxRequest& request);
    MsgBoxAnswer answer() const;

private:
    QLabel* m_sign;
    QLabel* m_message;
    QLabel* m_image;
    QPushButton* m_ok;
    QPushButton* m_cancel;
    QCheckBox* m_doNotShowAgain;
};

/// The real MessageBoxAsk: frmMsgBox shown modally.
MsgBoxAnswer showMsgBox(const MsgBoxRequest& request, QWidget* parent);

} // namespace qm::ui
