// The main screen: browser, Chase List, profiles, count run, results and options.
#pragma once

#include "app/ChaseList.h"
#include "app/CountRun.h"
#include "app/RunControl.h"
#include "engine/Prompter.h"
#include "settings/SettingsContext.h"
#include "ui/common/QtPrompter.h"
#include "ui/common/frmMsgBox.h"
#include "ui/main/PrinterList.h"

#include <QMainWindow>
#include <QPointer>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

class QCheckBox;
class QComboBox;
class QFileSystemModel;
class QFrame;
class QLabel;
class QLineEdit;
class QListWidget;
class QMenu;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QTableWidget;
class QThread;
class QTreeView;

class QSplitter;
class QCheckBox;

namespace qm::ui {

class BusyAnimation;

/// Builds the counting engine of one run, on the run's worker thread.
using EngineFactory = std::function<std::unique_ptr<app::CountingEngine>(
    Prompter& prompter, const settings::SettingsContext& settings, const std::string& profile)>;

/// What the main screen is built over. Every member may be left empty for
/// the real thing: the desktop's message boxes, frmMsgBox, the system's
/// printers and our own engine.
struct MainScreenServices {
    settings::SettingsContext settings;
    Prompter* prompter = nullptr; ///< not owned; used on the GUI thread only
    MessageBoxAsk askMsgBox;
    PrinterList printers;
    EngineFactory makeEngine;
    /// How many documents a count run counts at once: one per core.
    unsigned countJobs = 0;
};

/// The main screen. Loads the profile list and the options when built and
/// writes `ProfileToUse` back when closed. A count run works on a worker
/// thread: the window stays usable and Stop ends the run after the current
/// document. Adds and folder searches run here with events processed per
/// file, Stop ending them too.
class frmMain : public QMainWindow {
    Q_OBJECT
public:
    explicit frmMain(MainScreenServices services, QWidget* parent = nullptr);
    ~frmMain() override;

    // What other screens use.
    const settings::SettingsContext& settingsContext() const { return m_settings; }
    Prompter& prompter() { return *m_prompter; }
    const MessageBoxAsk& askMsgBox() const { return m_askMsgBox; }
    QComboBox* profileBox() const { return m_cboProfile; }
    QListWidget* profileList() const { return m_lblProfileShowing; }
    /// The profile selected in the profile box; empty when none.
    QString currentProfile() const;
    /// Reloads the profile box and list from ProfileList.log and selects
    /// `select` (when listed), e.g. after a profile was added or deleted.
    void reloadProfiles(const QString& select);
    /// Applies the selected profile's `DocType` and `DefaultTraversalPath`
    /// to the file browser (after the profile editor closes).
    void applyProfileBrowserDefaults();

    app::ChaseList& chaseList() { return m_chase; }
    /// Shows the Chase List again after it was changed through chaseList().
    void refreshChaseList();
    app::StopFlag& stopFlag() { return m_stop; }
    /// The last run's result, as the results grid shows it.
    const app::RunResult& lastRun() const { return m_lastRun; }
    bool isRunning() const { return m_worker != nullptr; }

    /// The browser's folder; false (with the browser's message shown) when
    /// the path cannot be shown.
    bool setBrowserFolder(const QString& path);
    QString browserFolder() const;

    /// The options tab's values as stored by Save.
    QString optionText(const char* key) const;

    /// Enables the Chase List menu's entries for the current list and selection.
    void prepareChaseListMenu();
    QMenu* chaseListMenu() const { return m_mnuChaseListBox; }
    QMenu* fileListMenu() const { return m_mnuFileListBox; }

    /// While a long operation of another screen (printing) runs: shows Stop
    /// and the busy animation and disables the tabs, or undoes that.
    void setBusy(bool busy);
    /// Shows progress "n of N" in the progress bar; 0 of 0 hides it.
    void showProgress(int done, int total);
    /// Refills the printer box from the system's printers, the stored
    /// `PrinterToUse` selected; `setPrinterList` changes where they come from.
    void RefreshPrinterList();
    void setPrinterList(PrinterList printers);

    /// Adds files and folders as the Add buttons do, with the same limits
    /// and messages: a file as it is, a folder through the folder search
    /// with the file type shown (its sub-folders too when "Include
    /// Sub-Folders" is ticked). Dropped paths and those given on the
    /// command line come here.
    void addPaths(const QStringList& paths);

    /// Called on Start with a copy of the list about to be counted and the
    /// profile; it may take documents out of the copy, and returns false to
    /// count nothing. The ledger asks here about documents already billed.
    std::function<bool(app::ChaseList& list, const std::string& profile)> beforeRun;
    /// Marks the Chase List's entries for these paths with a note (shown as
    /// their tooltip) in the list's warning colour.
    void markChaseEntries(const std::vector<std::string>& paths, const QString& note);

public slots:
    void startRun(app::RunScope scope = app::RunScope::AllEntries);
    void stop();
    void addFiles();
    void addAllFiles();
    void addSubFolders();
    void addSubFoldersByDate();
    void removeSelectedFiles();
    void removeAllFiles();
    void chooseDateRange();
    void saveOptions();
    void clearOptions();

signals:
    void addProfileRequested();
    void editProfileRequested();
    void deleteProfileRequested();
    void printRequested();
    /// A run went through every document: the report is due. Emitted on the
    /// GUI thread after the grid is filled.
    void runFinished(const app::RunResult& result);
    /// Any run that started ended, however (finished, stopped, failed).
    void runEnded(const app::RunResult& result);

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    /// Drag and drop of files onto the Chase List; true when it took the event.
    bool dropEventFor(QObject* watched, QEvent* event);

private:
    QWidget* buildCountTab();
    QWidget* buildOptionsTab();
    QWidget* buildAboutTab();
    QWidget* buildStatusStrip();
    void buildMenus();
    void loadProfiles();
    void loadOptions();
    void refreshFileList();
    void showFolderInTree();
    void updateCounters();
    void selectProfile(const QString& name);
    void writeAllOptions();
    void syncSelectionToChaseList();
    void beginAdd();
    void endAdd();
    void addFromFileList(bool onlySelected);
    void addFromSearch(bool byDate);
    void runEndedOnGuiThread(const app::RunResult& result);
    void onProgressText(const QString& text);
    void markOptionsChanged();
    app::RunControl addControl();
    app::Duplicates duplicates() const;

    settings::SettingsContext m_settings;
    std::unique_ptr<QtPrompter> m_qtPrompter;
    Prompter* m_prompter;
    std::unique_ptr<GuiThreadPrompter> m_workerPrompter;
    MessageBoxAsk m_askMsgBox;
    PrinterList m_printers;
    EngineFactory m_makeEngine;
    unsigned m_countJobs = 1;

    app::ChaseList m_chase;
    app::StopFlag m_stop;
    bool m_stopPressed = false;
    app::RunResult m_lastRun;
    QThread* m_worker = nullptr;
    bool m_adding = false;
    bool m_closeWhenIdle = false;
    QString m_baseTitle;
    QSplitter* m_browserSplitter = nullptr;
    QSplitter* m_resultsSplitter = nullptr;
    QCheckBox* m_chkDropSubFolders = nullptr;
    void restoreWindowState();
    void saveWindowState();
    bool m_loading = true;
    std::filesystem::path m_folder;

    QTabWidget* m_tabs = nullptr;
    // Browser panel.
    QFileSystemModel* m_folderModel = nullptr;
    QTreeView* m_folderList = nullptr;
    QListWidget* m_file1 = nullptr;
    QComboBox* m_cboFiletype = nullptr;
    QLineEdit* m_txtPath = nullptr;
    QLabel* m_lblTotalInFolder = nullptr;
    // Chase List.
    QListWidget* m_lstDofileList = nullptr;
    QListWidget* m_lstDofileListPATH = nullptr;
    QLabel* m_lbltotalFiles = nullptr;
    QLabel* m_lblFullPath = nullptr;
    QTableWidget* m_flexgrid = nullptr;
    QMenu* m_mnuChaseListBox = nullptr;
    QMenu* m_mnuFileListBox = nullptr;
    // Profiles.
    QComboBox* m_cboProfile = nullptr;
    QListWidget* m_lblProfileShowing = nullptr;
    // Run controls.
    QPushButton* m_cmdStart = nullptr;
    QFrame* m_frameStop = nullptr;
    BusyAnimation* m_aniMovies = nullptr;
    QProgressBar* m_progress = nullptr;
    // Options tab.
    QLineEdit* m_txtCompanyName = nullptr;
    QLineEdit* m_txtAddress = nullptr;
    QLineEdit* m_txtCity = nullptr;
    QLineEdit* m_txtState = nullptr;
    QLineEdit* m_mskZip = nullptr;
    QLineEdit* m_mskPhone = nullptr;
    QLineEdit* m_mskFax = nullptr;
    QComboBox* m_cboPrinterToUse = nullptr;
    QLineEdit* m_txtSecToPrint = nullptr;
    QCheckBox* m_chkShowAddProfileAsk = nullptr;
    QCheckBox* m_chkAskWindowAfterChase = nullptr;
    QCheckBox* m_chkDupilcateFiles = nullptr;
    QPushButton* m_cmdSave = nullptr;
    QPushButton* m_cmdClear = nullptr;
};

} // namespace qm::ui
