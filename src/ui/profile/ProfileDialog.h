// The add and edit profile screens: one dialog over the editor core, two thin variants.
#pragma once

#include "app/ProfileForm.h"

#include <QDialog>
#include <QString>

#include <array>
#include <functional>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QPushButton;
class QTimer;
class QWidget;

namespace qm::ui {

/// Shows a folder chooser: parent, title and starting folder; returns the
/// chosen folder, or an empty text when the user cancelled.
using FolderChooser = std::function<QString(QWidget* parent, const QString& title, const QString& start)>;

/// The chooser of the desktop: QFileDialog::getExistingDirectory.
QString chooseFolderWithDialog(QWidget* parent, const QString& title, const QString& start);

/// Opens the program's help page.
void openHelpPage();

/// What the profile screens and commands need from the main screen. The
/// environment's prompter and address question must outlive every call.
struct ProfileEditorContext {
    app::ProfileEditorEnvironment environment;
    /// The main screen's profile box and list, read when a command starts
    /// and written back when a command changes them.
    std::function<app::ProfileLists()> readLists;
    std::function<void(const app::ProfileLists&)> writeLists;
    /// Ticks the main screen's option box of the address question after the
    /// user turned the question off.
    std::function<void()> addressQuestionTurnedOff;
    /// The folder the main screen's browser shows, and how it takes a
    /// profile's document type and traversal path.
    std::function<QString()> browserPath;
    std::function<void(const app::BrowserDefaults&)> applyBrowserDefaults;
    std::function<void()> openHelp = openHelpPage;
    FolderChooser chooseFolder = chooseFolderWithDialog;
    /// Runs a screen modally and returns its result; tests drive the screen
    /// here instead of waiting in an event loop.
    std::function<int(QDialog&)> runDialog = [](QDialog& dialog) { return dialog.exec(); };
};

/// Everything the add and edit screens have in common: every control with
/// its caption and name, grouped as on the form, kept in step with a
/// ProfileForm that holds the values and rules. Each user action goes to the
/// form and the controls are then refreshed from it.
class ProfileDialog : public QDialog {
    Q_OBJECT

public:
    ~ProfileDialog() override;

    const app::ProfileForm& form() const { return m_form; }
    /// The widget of a control.
    QWidget* control(app::ProfileControl control) const;

    /// How often the timer ties the characters-per-line box to the unit.
    static constexpr int kTimerIntervalMs = 250;

protected:
    ProfileDialog(QWidget* parent, ProfileEditorContext& context, app::ProfileForm form);

    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void build();
    QWidget* makeControl(app::ProfileControl control);
    void refresh();
    bool filterKey(app::ProfileControl control, QLineEdit* box, QKeyEvent* event);
    void leaveBillAmount();
    void save();
    void resetToDefaults();
    void browse();

    ProfileEditorContext& m_context;
    app::ProfileForm m_form;
    std::array<QWidget*, app::kProfileControlCount> m_controls{};
    QPushButton* m_cancel = nullptr;
    QTimer* m_timer = nullptr;
};

/// `frmAddProfile`: a new profile; saving adds it to the main screen's lists.
class frmAddProfile : public ProfileDialog {
    Q_OBJECT
public:
    frmAddProfile(QWidget* parent, ProfileEditorContext& context);
};

/// `frmEditProfile`: an existing profile, read from Profiles.ini. Its name
/// box is read-only: the save writes to the section the box names and never
/// renames one, so a changed name would only make an unlisted copy.
class frmEditProfile : public ProfileDialog {
    Q_OBJECT
public:
    frmEditProfile(QWidget* parent, ProfileEditorContext& context, const QString& profile);
};

/// The main screen's add command: the add screen, modally; afterwards the
/// browser takes the selected profile's document type and path again.
/// Returns whether a profile was saved.
bool runAddProfile(QWidget* parent, ProfileEditorContext& context);

/// The main screen's edit command on the selected profile (a message when
/// none is). Returns whether the profile was saved.
bool runEditProfile(QWidget* parent, ProfileEditorContext& context);

/// The main screen's delete command on the selected profile. Returns whether
/// the profile was deleted.
bool deleteSelectedProfile(ProfileEditorContext& context);

} // namespace qm::ui
