// The main screen's controls, its load and close, and the handlers behind its buttons.
#include "ui/main/frmMain.h"

#include "app/WizardEngine.h"
#include "browser/FolderSearch.h"
#include "settings/IniRW.h"
#include "settings/Options.h"
#include "settings/ProfileStore.h"
#include "ui/common/AppInfo.h"
#include "ui/common/Help.h"
#include "ui/main/BusyAnimation.h"
#include "ui/main/frmChouseDatesRange.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QDir>
#include <QDropEvent>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpression>
#include <QRegularExpressionValidator>
#include <QSettings>
#include <QSplitter>
#include <QTabWidget>
#include <QTableWidget>
#include <QThread>
#include <QTreeView>
#include <QUrl>
#include <QVBoxLayout>
#include <algorithm>
#include <thread>

namespace fs = std::filesystem;

namespace qm::ui {

namespace {

/// A grid cell that shows text and sorts by the number behind it, so 9.50
/// comes before 10.00 and "$1,200.00" after "$950.00".
class NumberItem : public QTableWidgetItem {
public:
    NumberItem(const QString& text, double value) : QTableWidgetItem(text) { setData(Qt::UserRole, value); }
    bool operator<(const QTableWidgetItem& other) const override
    {
        return data(Qt::UserRole).toDouble() < other.data(Qt::UserRole).toDouble();
    }
};

constexpr const char* kDefaultDocType = "*.doc;*.rtf;*.txt;*.text";

QPushButton* makeButton(QWidget* parent, const char* name, const QString& caption, const QString& tip)
{
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(name);
    b->setToolTip(tip);
    return b;
}

QAction* makeAction(QMenu* menu, const char* name, const QString& caption)
{
    QAction* a = menu->addAction(caption);
    a->setObjectName(name);
    return a;
}

} // namespace

frmMain::frmMain(MainScreenServices services, QWidget* parent)
    : QMainWindow(parent), m_settings(std::move(services.settings)), m_qtPrompter(std::make_unique<QtPrompter>(this)),
      m_prompter(services.prompter ? services.prompter : m_qtPrompter.get()),
      m_askMsgBox(services.askMsgBox ? std::move(services.askMsgBox) : MessageBoxAsk(showMsgBox)),
      m_printers(services.printers.names ? std::move(services.printers) : defaultPrinterList()),
      m_makeEngine(std::move(services.makeEngine)),
      m_countJobs(services.countJobs ? services.countJobs : std::max(1u, std::thread::hardware_concurrency()))
{
    if (!m_makeEngine)
        m_makeEngine = [](Prompter& prompter, const settings::SettingsContext& settings, const std::string& profile) {
            return std::make_unique<app::WizardEngine>(prompter, settings, [profile] { return profile; });
        };
    m_workerPrompter = std::make_unique<GuiThreadPrompter>(*m_prompter, this);

    setObjectName("frmMain");
    m_baseTitle = applicationTitle() + " - " + tr("Count And Bill Typed Documents");
    setWindowTitle(m_baseTitle);

    m_tabs = new QTabWidget;
    m_tabs->setObjectName("SSTab1");
    m_tabs->addTab(buildCountTab(), tr("&Count Documents"));
    m_tabs->addTab(buildOptionsTab(), tr("&Options"));
    m_tabs->addTab(buildAboutTab(), tr("&About"));
    auto* central = new QWidget;
    auto* layout = new QVBoxLayout(central);
    layout->setContentsMargins(6, 6, 6, 6);
    layout->addWidget(m_tabs, 1);
    layout->addWidget(buildStatusStrip());
    setCentralWidget(central);
    buildMenus();

    // The load sequence: browser, profiles, selected profile, counts,
    // options, then the selected profile's browser defaults.
    setBrowserFolder(QDir::homePath());
    loadProfiles();
    selectProfile(QString::fromStdString(
        settings::ReadINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "ProfileToUse", "")));
    updateCounters();
    loadOptions();
    applyProfileBrowserDefaults();
    m_cmdSave->setEnabled(false);
    m_cmdClear->setEnabled(true);
    m_loading = false;
    resize(1180, 720);
    restoreWindowState(); // the size and place the user left it in, when known
}

frmMain::~frmMain()
{
    if (m_worker) {
        // The run may be waiting for an answer on this thread: keep serving
        // events until it has seen the stop flag.
        m_stop.set();
        while (!m_worker->isFinished())
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
        m_worker->wait();
        delete m_worker;
        m_worker = nullptr;
    }
}

// ---------------------------------------------------------------- building

QWidget* frmMain::buildCountTab()
{
    auto* tab = new QWidget;

    // Browser panel.
    auto* browser = new QGroupBox(tr("Local Folder List"));
    m_folderModel = new QFileSystemModel(this);
    m_folderModel->setFilter(QDir::AllDirs | QDir::NoDotAndDotDot | QDir::Drives);
    m_folderModel->setRootPath(QDir::rootPath());
    m_folderList = new QTreeView;
    m_folderList->setObjectName("FolderList");
    m_folderList->setModel(m_folderModel);
    for (int c = 1; c < m_folderModel->columnCount(); ++c)
        m_folderList->hideColumn(c);
    m_folderList->setHeaderHidden(true);
    m_folderList->setToolTip(tr("Choose the folder whose documents are listed below"));
    // The model reads folders in the background: the branch down to the
    // browser's folder can only be opened once its parents are read.
    connect(m_folderModel, &QFileSystemModel::directoryLoaded, this, [this](const QString& loaded) {
        const QString folder = QString::fromStdString(m_folder.string());
        if (folder.startsWith(loaded))
            showFolderInTree();
    });
    connect(m_folderList, &QTreeView::clicked, this,
            [this](const QModelIndex& index) { setBrowserFolder(m_folderModel->filePath(index)); });

    m_txtPath = new QLineEdit;
    m_txtPath->setObjectName("txtPath");
    m_txtPath->setToolTip(tr("The folder shown; type a folder and press Enter to go there"));
    connect(m_txtPath, &QLineEdit::returnPressed, this, [this] {
        if (!setBrowserFolder(m_txtPath->text()))
            m_txtPath->setText(QString::fromStdString(m_folder.string()));
    });

    m_cboFiletype = new QComboBox;
    m_cboFiletype->setObjectName("cboFiletype");
    m_cboFiletype->setEditable(true);
    m_cboFiletype->addItems({kDefaultDocType, "*.doc;*.docx;*.rtf;*.txt;*.text;*.odt", "*.doc", "*.docx", "*.rtf",
                             "*.txt", "*.odt", "*.htm;*.html", "*.xml", "*.wpd;*.wp;*.wp5;*.wp6", "*.wps", "*.*"});
    m_cboFiletype->setToolTip(tr("Which files to list; several patterns separated by \";\""));
    m_cboFiletype->setInsertPolicy(QComboBox::NoInsert);
    connect(m_cboFiletype, &QComboBox::currentTextChanged, this, [this] { refreshFileList(); });

    m_file1 = new QListWidget;
    m_file1->setObjectName("File1");
    m_file1->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_file1->setContextMenuPolicy(Qt::CustomContextMenu);
    m_file1->setToolTip(tr("Select files and press \"Add Files\", or double click a file to add it"));
    connect(m_file1, &QListWidget::itemDoubleClicked, this, [this] { addFiles(); });

    m_lblTotalInFolder = new QLabel;
    m_lblTotalInFolder->setObjectName("lblTotalInFolder");

    auto* browserLayout = new QVBoxLayout(browser);
    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->setObjectName("browserSplitter");
    m_browserSplitter = splitter;
    splitter->addWidget(m_folderList);
    auto* filesBox = new QWidget;
    auto* filesLayout = new QVBoxLayout(filesBox);
    filesLayout->setContentsMargins(0, 0, 0, 0);
    auto* typeRow = new QHBoxLayout;
    typeRow->addWidget(new QLabel(tr("Files of type:")));
    typeRow->addWidget(m_cboFiletype, 1);
    filesLayout->addLayout(typeRow);
    filesLayout->addWidget(m_file1, 1);
    filesLayout->addWidget(m_lblTotalInFolder);
    splitter->addWidget(filesBox);
    splitter->setStretchFactor(0, 1);
    splitter->setStretchFactor(1, 1);
    auto* pathRow = new QHBoxLayout;
    pathRow->addWidget(new QLabel(tr("Path:")));
    pathRow->addWidget(m_txtPath, 1);
    browserLayout->addLayout(pathRow);
    browserLayout->addWidget(splitter, 1);

    // The Chase List's buttons.
    auto* buttons = new QVBoxLayout;
    const struct {
        const char* name;
        const char* caption;
        const char* tip;
        void (frmMain::*slot)();
    } chaseButtons[] = {
        {"cmdInsert", "Add Files", "Add Selected Files To Be Chased", &frmMain::addFiles},
        {"cmdInsertAll", "Add All", "Add All Files To The \"Files To Count\" List", &frmMain::addAllFiles},
        {"cmdAddSubFolder", "Add Subfolders", "Add All Files From Subfolders", &frmMain::addSubFolders},
        {"cmdAddSubFolderByDate", "Add By Date", "Add All Files From Subfolder By Date", &frmMain::addSubFoldersByDate},
        {"cmdDateRange", "Set Date", "Set The Date Range", &frmMain::chooseDateRange},
        {"cmdRemoveFile", "Remove Files", "Remove Selected Files From The \"Files To Count\" List",
         &frmMain::removeSelectedFiles},
        {"cmdRemoveALL", "Remove All", "Remove All Files From The \"Files To Count\" List", &frmMain::removeAllFiles},
    };
    buttons->addStretch();
    for (const auto& b : chaseButtons) {
        QPushButton* button = makeButton(tab, b.name, tr(b.caption), tr(b.tip));
        connect(button, &QPushButton::clicked, this, b.slot);
        buttons->addWidget(button);
        if (std::string_view(b.name) == "cmdDateRange")
            buttons->addSpacing(16);
    }
    buttons->addStretch();

    // Profiles and the run.
    auto* profiles = new QGroupBox(tr("Select Recipient Profile To Use"));
    m_lblProfileShowing = new QListWidget;
    m_lblProfileShowing->setObjectName("lblProfileShowing");
    m_lblProfileShowing->setToolTip(tr("The billing profile the documents are counted under"));
    m_lblProfileShowing->setMaximumHeight(80);
    m_cboProfile = new QComboBox(profiles);
    m_cboProfile->setObjectName("cboProfile");
    // The box every measurement reads; the list above is what the user sees.
    m_cboProfile->hide();
    connect(m_lblProfileShowing, &QListWidget::currentRowChanged, this, [this](int row) {
        if (m_cboProfile->currentIndex() != row)
            m_cboProfile->setCurrentIndex(row);
    });
    connect(m_cboProfile, &QComboBox::currentIndexChanged, this, [this](int index) {
        if (m_lblProfileShowing->currentRow() != index)
            m_lblProfileShowing->setCurrentRow(index);
        if (!m_loading)
            applyProfileBrowserDefaults();
    });
    QPushButton* addProfile = makeButton(tab, "cmdAddProfile", tr("Add Profile"), tr("Add A New Profile"));
    QPushButton* editProfile = makeButton(tab, "CmdEditProfile", tr("Edit Profile"), tr("Edit The Selected Profile"));
    QPushButton* deleteProfile =
        makeButton(tab, "cmdDeleteProfile", tr("Delete Profile"), tr("Delete The Selected Profile"));
    connect(addProfile, &QPushButton::clicked, this, &frmMain::addProfileRequested);
    connect(editProfile, &QPushButton::clicked, this, &frmMain::editProfileRequested);
    connect(deleteProfile, &QPushButton::clicked, this, &frmMain::deleteProfileRequested);
    m_cmdStart = makeButton(tab, "CmdStart", tr("Traverse"), tr("Count All Documents In The \"Files To Count\" List"));
    QFont bold = m_cmdStart->font();
    bold.setBold(true);
    m_cmdStart->setFont(bold);
    m_cmdStart->setMinimumHeight(40);
    connect(m_cmdStart, &QPushButton::clicked, this, [this] { startRun(app::RunScope::AllEntries); });
    QPushButton* print = makeButton(tab, "cmdPrint", tr("Print"),
                                    tr("Print All Documents In The \"Files To Count\" List To The Default Printer"));
    connect(print, &QPushButton::clicked, this, &frmMain::printRequested);
    auto* profileLayout = new QHBoxLayout(profiles);
    profileLayout->addWidget(m_lblProfileShowing, 1);
    auto* profileButtons = new QVBoxLayout;
    profileButtons->addWidget(addProfile);
    profileButtons->addWidget(editProfile);
    profileButtons->addWidget(deleteProfile);
    profileLayout->addLayout(profileButtons);
    auto* runButtons = new QVBoxLayout;
    runButtons->addWidget(m_cmdStart);
    runButtons->addWidget(print);
    runButtons->addStretch();
    profileLayout->addSpacing(12);
    profileLayout->addLayout(runButtons);

    // The Chase List.
    auto* chase = new QGroupBox(tr("Files To Count (Double Click Document To Remove From Files To Count List)"));
    m_lstDofileList = new QListWidget;
    m_lstDofileList->setObjectName("lstDofileList");
    m_lstDofileList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    m_lstDofileList->setContextMenuPolicy(Qt::CustomContextMenu);
    m_lstDofileList->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    m_lstDofileListPATH = new QListWidget(chase);
    m_lstDofileListPATH->setObjectName("lstDofileListPATH");
    m_lstDofileListPATH->hide();
    connect(m_lstDofileList, &QListWidget::itemClicked, this, [this](QListWidgetItem* item) {
        const int row = m_lstDofileList->row(item);
        if (row >= 0 && size_t(row) < m_chase.size())
            m_lblFullPath->setText(QString::fromStdString(m_chase[size_t(row)].path));
    });
    connect(m_lstDofileList, &QListWidget::itemDoubleClicked, this, [this] { removeSelectedFiles(); });
    m_lbltotalFiles = new QLabel;
    m_lbltotalFiles->setObjectName("lbltotalFiles");
    m_lblFullPath = new QLabel;
    m_lblFullPath->setObjectName("lblFullPath");
    m_lblFullPath->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_lblFullPath->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
    // Files and folders dropped from a file manager join the list.
    m_lstDofileList->viewport()->setAcceptDrops(true);
    m_lstDofileList->viewport()->installEventFilter(this);
    m_chkDropSubFolders = new QCheckBox(tr("Include Sub-Folders Of Dropped Folders"));
    m_chkDropSubFolders->setObjectName("chkDropSubFolders");
    m_chkDropSubFolders->setToolTip(tr("A folder dropped on the list, or named when the program starts, adds the "
                                       "files of its sub-folders too"));
    auto* chaseLayout = new QVBoxLayout(chase);
    chaseLayout->addWidget(m_lstDofileList, 1);
    chaseLayout->addWidget(m_chkDropSubFolders);
    auto* chaseInfo = new QHBoxLayout;
    chaseInfo->addWidget(m_lbltotalFiles);
    chaseInfo->addSpacing(16);
    chaseInfo->addWidget(new QLabel(tr("Full Path:")));
    chaseInfo->addWidget(m_lblFullPath, 1);
    chaseLayout->addLayout(chaseInfo);

    // The results of the last run.
    auto* results = new QGroupBox(tr("Counted Documents"));
    m_flexgrid = new QTableWidget(0, 5);
    m_flexgrid->setObjectName("flexgrid");
    m_flexgrid->setHorizontalHeaderLabels({"", tr("Document"), tr("Count"), tr("Amount"), tr("Path")});
    m_flexgrid->hideColumn(0);
    // Rows stay in list order until the user clicks a heading to sort.
    m_flexgrid->horizontalHeader()->setSortIndicator(-1, Qt::AscendingOrder);
    m_flexgrid->horizontalHeader()->setSortIndicatorShown(true);
    m_flexgrid->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_flexgrid->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_flexgrid->verticalHeader()->hide();
    m_flexgrid->verticalHeader()->setDefaultSectionSize(m_flexgrid->fontMetrics().height() + 6);
    m_flexgrid->horizontalHeader()->setStretchLastSection(true);
    m_flexgrid->setWordWrap(false);
    m_flexgrid->setToolTip(tr("What the last run counted, one row per document"));
    auto* resultsLayout = new QVBoxLayout(results);
    resultsLayout->addWidget(m_flexgrid);

    auto* right = new QSplitter(Qt::Vertical);
    right->setObjectName("resultsSplitter");
    m_resultsSplitter = right;
    right->addWidget(chase);
    right->addWidget(results);
    right->setStretchFactor(0, 1);
    right->setStretchFactor(1, 1);
    auto* rightColumn = new QVBoxLayout;
    rightColumn->addWidget(profiles);
    rightColumn->addWidget(right, 1);

    auto* layout = new QHBoxLayout(tab);
    layout->addWidget(browser, 4);
    layout->addLayout(buttons);
    layout->addLayout(rightColumn, 7);
    return tab;
}

QWidget* frmMain::buildOptionsTab()
{
    auto* tab = new QWidget;
    auto edit = [&](const char* name, const QString& tip) {
        auto* e = new QLineEdit;
        e->setObjectName(name);
        e->setToolTip(tip);
        connect(e, &QLineEdit::textChanged, this, [this] { markOptionsChanged(); });
        return e;
    };
    m_txtCompanyName = edit("txtCompanyName", tr("Your company's name, printed at the top of the invoice"));
    m_txtAddress = edit("txtAddress", tr("Your street address"));
    m_txtCity = edit("txtCity", tr("Your city"));
    m_txtState = edit("txtState", tr("Your state"));
    m_mskZip = edit("mskZip", tr("Your postal code"));
    m_mskPhone = edit("mskPhone", tr("Your phone number"));
    m_mskFax = edit("mskFax", tr("Your fax number"));
    // The entered characters are what is stored, so the boxes only refuse
    // characters a postal code or a phone number never holds.
    m_mskZip->setValidator(new QRegularExpressionValidator(QRegularExpression("[0-9A-Za-z -]{0,10}"), this));
    const QRegularExpression phone("[0-9 ()+./-]{0,20}");
    m_mskPhone->setValidator(new QRegularExpressionValidator(phone, this));
    m_mskFax->setValidator(new QRegularExpressionValidator(phone, this));

    auto* company = new QGroupBox(tr("Your Company (Printed On The Invoice)"));
    auto* companyForm = new QFormLayout(company);
    companyForm->addRow(tr("Company Name:"), m_txtCompanyName);
    companyForm->addRow(tr("Address:"), m_txtAddress);
    companyForm->addRow(tr("City:"), m_txtCity);
    companyForm->addRow(tr("State:"), m_txtState);
    companyForm->addRow(tr("Zip:"), m_mskZip);
    companyForm->addRow(tr("Phone:"), m_mskPhone);
    companyForm->addRow(tr("Fax:"), m_mskFax);

    auto* printing = new QGroupBox(tr("Printing"));
    m_cboPrinterToUse = new QComboBox;
    m_cboPrinterToUse->setObjectName("cboPrinterToUse");
    m_cboPrinterToUse->setToolTip(tr("The printer \"Print\" sends the documents to"));
    m_cboPrinterToUse->installEventFilter(this);
    m_cboPrinterToUse->setPlaceholderText(tr("No Printer Installed"));
    connect(m_cboPrinterToUse, &QComboBox::activated, this, [this] {
        // A chosen printer is kept at once, without waiting for Save.
        settings::WriteINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "PrinterToUse",
                           toStdString(m_cboPrinterToUse->currentText()));
        markOptionsChanged();
    });
    m_txtSecToPrint = new QLineEdit;
    m_txtSecToPrint->setObjectName("txtSecToPrint");
    m_txtSecToPrint->setToolTip(tr("0 to 60 seconds"));
    m_txtSecToPrint->setMaximumWidth(60);
    m_txtSecToPrint->installEventFilter(this);
    connect(m_txtSecToPrint, &QLineEdit::textChanged, this, [this](const QString& text) {
        bool isNumber = false;
        const qlonglong value = text.toLongLong(&isNumber);
        if (!text.isEmpty() && (!isNumber || value >= 61)) {
            m_prompter->show(
                Message{"Seconds", "Value must be 0 to 60 seconds", MessageIcon::Information, MessageButtons::Ok});
            m_txtSecToPrint->clear();
        }
        markOptionsChanged();
    });
    auto* printingForm = new QFormLayout(printing);
    printingForm->addRow(tr("Printer To Use:"), m_cboPrinterToUse);
    auto* secondsLabel = new QLabel(tr("Number of Seconds To Wait Before Starting Next Print Job"));
    secondsLabel->setWordWrap(true);
    printingForm->addRow(secondsLabel, m_txtSecToPrint);

    auto* behaviour = new QGroupBox(tr("Behaviour"));
    auto check = [&](const char* name, const QString& caption, const QString& tip) {
        auto* c = new QCheckBox(caption);
        c->setObjectName(name);
        c->setToolTip(tip);
        connect(c, &QCheckBox::toggled, this, [this] { markOptionsChanged(); });
        return c;
    };
    m_chkShowAddProfileAsk =
        check("chkShowAddProfileAsk", tr("Do Not Ask About Empty Address Boxes When Saving A Profile"),
              tr("Saving a profile with empty address boxes asks no question"));
    m_chkAskWindowAfterChase =
        check("chkAskWindowAfterChase", tr("Do Not Show The \"Save As\" Window After The Invoice Is Created"),
              tr("The invoice is created without asking where to save it"));
    m_chkDupilcateFiles =
        check("chkDupilcateFiles", tr("Do Not Add Duplicate Files To The Traverse List"),
              tr("Using This Option Will Decrease Performance When Adding Files To The \"Traverse List\""));
    auto* behaviourLayout = new QVBoxLayout(behaviour);
    behaviourLayout->addWidget(m_chkShowAddProfileAsk);
    behaviourLayout->addWidget(m_chkAskWindowAfterChase);
    behaviourLayout->addWidget(m_chkDupilcateFiles);

    m_cmdSave = makeButton(tab, "CmdSave", tr("&Save"), tr("Save These Options"));
    m_cmdClear = makeButton(tab, "cmdClear", tr("C&lear"), tr("Clear Your Company Information"));
    connect(m_cmdSave, &QPushButton::clicked, this, &frmMain::saveOptions);
    connect(m_cmdClear, &QPushButton::clicked, this, &frmMain::clearOptions);

    auto* left = new QVBoxLayout;
    left->addWidget(company);
    left->addStretch();
    auto* right = new QVBoxLayout;
    right->addWidget(printing);
    right->addWidget(behaviour);
    right->addStretch();
    auto* columns = new QHBoxLayout;
    columns->addLayout(left, 1);
    columns->addLayout(right, 1);
    auto* commands = new QHBoxLayout;
    commands->addStretch();
    commands->addWidget(m_cmdSave);
    commands->addWidget(m_cmdClear);
    auto* layout = new QVBoxLayout(tab);
    layout->addLayout(columns, 1);
    layout->addLayout(commands);
    return tab;
}

QWidget* frmMain::buildAboutTab()
{
    auto* tab = new QWidget;
    auto* name = new QLabel(applicationTitle());
    name->setObjectName("lblAppName");
    QFont big = name->font();
    big.setPointSize(big.pointSize() * 2);
    big.setBold(true);
    name->setFont(big);
    auto* version = new QLabel("Version " + versionText());
    version->setObjectName("lblVersion");
    auto* what = new QLabel(tr("Counts typed documents (.doc, .docx, .rtf, .odt, .txt) by the line, the word, "
                               "the character or the page under your billing profiles, and bills them."));
    what->setWordWrap(true);
    auto* site = new QLabel(QString("<a href=\"help\">%1</a>").arg(tr("How to use %1").arg(applicationTitle())));
    site->setObjectName("lblWebSite");
    site->setToolTip(tr("Open the help page in your browser"));
    connect(site, &QLabel::linkActivated, this, [] { openHelp(); });
    auto* layout = new QVBoxLayout(tab);
    layout->addWidget(name);
    layout->addWidget(version);
    layout->addSpacing(12);
    layout->addWidget(what);
    layout->addWidget(site);
    layout->addStretch();
    return tab;
}

QWidget* frmMain::buildStatusStrip()
{
    auto* strip = new QWidget;
    m_aniMovies = new BusyAnimation;
    m_progress = new QProgressBar;
    m_progress->setObjectName("prgRun");
    m_progress->setFormat(tr("%v of %m"));
    m_progress->setMaximumWidth(320);
    m_progress->hide();
    m_frameStop = new QFrame;
    m_frameStop->setObjectName("FrameStop");
    QPushButton* stopButton = makeButton(m_frameStop, "cmdStop", tr("Stop"), tr("Stop Current Process"));
    connect(stopButton, &QPushButton::clicked, this, &frmMain::stop);
    auto* stopLayout = new QHBoxLayout(m_frameStop);
    stopLayout->setContentsMargins(0, 0, 0, 0);
    stopLayout->addWidget(stopButton);
    m_frameStop->hide();
    QPushButton* help = makeButton(strip, "cmdHelp", tr("Help"), tr("How To Use %1").arg(applicationTitle()));
    connect(help, &QPushButton::clicked, this, [] { openHelp(); });
    auto* layout = new QHBoxLayout(strip);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_aniMovies);
    layout->addWidget(m_progress);
    layout->addWidget(m_frameStop);
    layout->addStretch();
    layout->addWidget(help);
    strip->setMinimumHeight(m_aniMovies->sizeHint().height());
    return strip;
}

void frmMain::buildMenus()
{
    m_mnuChaseListBox = new QMenu(this);
    m_mnuChaseListBox->setObjectName("mnuChaseListBox");
    connect(makeAction(m_mnuChaseListBox, "mnuRemoveFile", tr("Remove File")), &QAction::triggered, this,
            &frmMain::removeSelectedFiles);
    connect(makeAction(m_mnuChaseListBox, "mnuRemoveAll", tr("Remove All")), &QAction::triggered, this,
            &frmMain::removeAllFiles);
    m_mnuChaseListBox->addSeparator();
    connect(makeAction(m_mnuChaseListBox, "mnuChase", tr("Traverse All")), &QAction::triggered, this,
            [this] { startRun(app::RunScope::AllEntries); });
    connect(makeAction(m_mnuChaseListBox, "mnuChaseSelected", tr("Traverse Selected Only")), &QAction::triggered, this,
            [this] { startRun(app::RunScope::SelectedEntries); });
    m_mnuChaseListBox->addSeparator();
    connect(makeAction(m_mnuChaseListBox, "mnuPrint", tr("Print")), &QAction::triggered, this,
            &frmMain::printRequested);
    connect(m_lstDofileList, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        prepareChaseListMenu();
        m_mnuChaseListBox->popup(m_lstDofileList->viewport()->mapToGlobal(at));
    });

    m_mnuFileListBox = new QMenu(this);
    m_mnuFileListBox->setObjectName("mnuFileListBox");
    connect(makeAction(m_mnuFileListBox, "mnuAddFile", tr("Add Selected")), &QAction::triggered, this,
            &frmMain::addFiles);
    connect(makeAction(m_mnuFileListBox, "mnuAddAll", tr("Add All")), &QAction::triggered, this, &frmMain::addAllFiles);
    connect(m_file1, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& at) { m_mnuFileListBox->popup(m_file1->viewport()->mapToGlobal(at)); });
}

// ---------------------------------------------------------------- loading

void frmMain::loadProfiles()
{
    const settings::ProfileStore store(m_settings);
    std::vector<std::string> names;
    if (auto listed = store.loadProfileList())
        names = std::move(*listed);
    else
        m_prompter->show(errorReport(listed.error()));
    const QSignalBlocker blockBox(m_cboProfile);
    const QSignalBlocker blockList(m_lblProfileShowing);
    m_cboProfile->clear();
    m_lblProfileShowing->clear();
    for (const std::string& name : names) {
        m_cboProfile->addItem(QString::fromStdString(name));
        m_lblProfileShowing->addItem(QString::fromStdString(name));
    }
    m_cboProfile->setCurrentIndex(-1);
    m_lblProfileShowing->setCurrentRow(-1);
    // Written back at once in the normalised form; a missing file is created empty.
    if (const auto written = store.SaveProfileList(names); !written)
        m_prompter->show(errorReport(written.error()));
}

void frmMain::reloadProfiles(const QString& select)
{
    const bool wasLoading = m_loading;
    m_loading = true;
    loadProfiles();
    selectProfile(select);
    m_loading = wasLoading;
}

void frmMain::selectProfile(const QString& name)
{
    int index = m_cboProfile->findText(name, Qt::MatchExactly);
    if (index < 0 && !name.isEmpty())
        index = m_cboProfile->findText(name, Qt::MatchFixedString); // section names ignore case
    m_cboProfile->setCurrentIndex(index);
    m_lblProfileShowing->setCurrentRow(index);
}

QString frmMain::currentProfile() const
{
    return m_cboProfile->currentIndex() >= 0 ? m_cboProfile->currentText() : QString();
}

void frmMain::applyProfileBrowserDefaults()
{
    const QString profile = currentProfile();
    if (profile.isEmpty())
        return;
    auto read = [&](std::string_view key, std::string_view def) {
        return QString::fromStdString(settings::ReadINI(m_settings, "Profiles", toStdString(profile), key, def));
    };
    m_cboFiletype->setCurrentText(read("DocType", kDefaultDocType));
    const QString path = read("DefaultTraversalPath", m_folder.string());
    // A profile's folder that is gone is not worth a message at every start.
    if (!path.isEmpty() && QFileInfo(path).isDir())
        setBrowserFolder(path);
    refreshFileList();
}

void frmMain::loadOptions()
{
    const QSignalBlocker block(this);
    auto read = [&](const char* key) {
        const settings::OptionsStore store(m_settings);
        return QString::fromStdString(store.read(*settings::findOptionKey(key)));
    };
    RefreshPrinterList();
    m_txtCompanyName->setText(read("CompanyName"));
    m_txtAddress->setText(read("Address"));
    m_txtCity->setText(read("City"));
    m_txtState->setText(read("State"));
    m_mskZip->setText(read("Zip"));
    m_mskPhone->setText(read("Phone"));
    m_mskFax->setText(read("Fax"));
    m_txtSecToPrint->setText(read("SecToWait"));
    m_chkShowAddProfileAsk->setChecked(settings::optionFlagIsOn(toStdString(read("AddProfileSaveAsk"))));
    m_chkAskWindowAfterChase->setChecked(settings::optionFlagIsOn(toStdString(read("AskSaveWindow"))));
    m_chkDupilcateFiles->setChecked(settings::optionFlagIsOn(toStdString(read("AddDupilcateFiles"))));
}

void frmMain::RefreshPrinterList()
{
    const QSignalBlocker block(m_cboPrinterToUse);
    m_cboPrinterToUse->clear();
    if (m_printers.names)
        for (const std::string& name : m_printers.names())
            m_cboPrinterToUse->addItem(QString::fromStdString(name));
    const std::string fallback = m_printers.defaultName ? m_printers.defaultName() : std::string();
    const QString stored = QString::fromStdString(
        settings::ReadINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "PrinterToUse", fallback));
    m_cboPrinterToUse->setCurrentIndex(m_cboPrinterToUse->findText(stored, Qt::MatchExactly));
}

void frmMain::setPrinterList(PrinterList printers)
{
    m_printers = std::move(printers);
    RefreshPrinterList();
}

QString frmMain::optionText(const char* key) const
{
    const std::string_view k(key);
    if (k == "CompanyName")
        return m_txtCompanyName->text();
    if (k == "Address")
        return m_txtAddress->text();
    if (k == "City")
        return m_txtCity->text();
    if (k == "State")
        return m_txtState->text();
    if (k == "Zip")
        return m_mskZip->text();
    if (k == "Phone")
        return m_mskPhone->text();
    if (k == "Fax")
        return m_mskFax->text();
    if (k == "PrinterToUse")
        return m_cboPrinterToUse->currentText();
    if (k == "SecToWait")
        return m_txtSecToPrint->text().isEmpty() ? "0" : m_txtSecToPrint->text();
    if (k == "AddProfileSaveAsk")
        return m_chkShowAddProfileAsk->isChecked() ? "1" : "0";
    if (k == "AskSaveWindow")
        return m_chkAskWindowAfterChase->isChecked() ? "1" : "0";
    if (k == "AddDupilcateFiles")
        return m_chkDupilcateFiles->isChecked() ? "1" : "0";
    return {};
}

// ---------------------------------------------------------------- browser

bool frmMain::setBrowserFolder(const QString& path)
{
    const fs::path folder = toStdString(QDir::cleanPath(path));
    if (const auto problem = browser::pathSelectionProblem(folder)) {
        m_prompter->show(*problem);
        return false;
    }
    m_folder = folder;
    m_txtPath->setText(QString::fromStdString(m_folder.string()));
    showFolderInTree();
    refreshFileList();
    return true;
}

void frmMain::showFolderInTree()
{
    const QModelIndex index = m_folderModel->index(QString::fromStdString(m_folder.string()));
    if (!index.isValid())
        return;
    if (m_folderList->currentIndex() != index)
        m_folderList->setCurrentIndex(index);
    m_folderList->scrollTo(index, QAbstractItemView::PositionAtCenter);
}

QString frmMain::browserFolder() const { return QString::fromStdString(m_folder.string()); }

void frmMain::refreshFileList()
{
    if (!m_file1 || m_folder.empty())
        return;
    const browser::FilePattern pattern(toStdString(m_cboFiletype->currentText().trimmed()));
    std::error_code error;
    const auto names = browser::listFiles(m_folder, pattern, error);
    m_file1->clear();
    for (const std::string& name : names)
        m_file1->addItem(QString::fromStdString(name));
    m_lblTotalInFolder->setText("Total Files:" + QString::number(m_file1->count()));
}

// ---------------------------------------------------------------- Chase List

void frmMain::refreshChaseList()
{
    const QSignalBlocker block(m_lstDofileList);
    m_lstDofileList->clear();
    m_lstDofileListPATH->clear();
    for (const auto& entry : m_chase.entries()) {
        auto* item = new QListWidgetItem(QString::fromStdString(entry.display), m_lstDofileList);
        item->setToolTip(QString::fromStdString(entry.path));
        item->setSelected(entry.selected);
        m_lstDofileListPATH->addItem(QString::fromStdString(entry.path));
    }
    updateCounters();
}

void frmMain::markChaseEntries(const std::vector<std::string>& paths, const QString& note)
{
    for (int i = 0; i < m_lstDofileList->count() && i < int(m_chase.size()); ++i) {
        if (std::find(paths.begin(), paths.end(), m_chase[size_t(i)].path) == paths.end())
            continue;
        QListWidgetItem* item = m_lstDofileList->item(i);
        item->setForeground(palette().color(QPalette::LinkVisited));
        item->setToolTip(QString::fromStdString(m_chase[size_t(i)].path) + "\n" + note);
    }
}

void frmMain::updateCounters()
{
    m_lbltotalFiles->setText(QString::fromStdString(m_chase.counterText()));
    m_lblTotalInFolder->setText("Total Files:" + QString::number(m_file1->count()));
}

void frmMain::syncSelectionToChaseList()
{
    for (int i = 0; i < m_lstDofileList->count() && size_t(i) < m_chase.size(); ++i)
        m_chase.setSelected(size_t(i), m_lstDofileList->item(i)->isSelected());
}

app::RunControl frmMain::addControl()
{
    return app::RunControl{[] { QCoreApplication::processEvents(); }, &m_stop};
}

app::Duplicates frmMain::duplicates() const
{
    return m_chkDupilcateFiles->isChecked() ? app::Duplicates::Refuse : app::Duplicates::Allow;
}

void frmMain::beginAdd()
{
    m_stop.clear();
    m_stopPressed = false;
    m_adding = true;
    syncSelectionToChaseList();
    m_frameStop->show();
    m_tabs->setEnabled(false);
}

void frmMain::endAdd()
{
    refreshChaseList();
    m_frameStop->hide();
    m_tabs->setEnabled(true);
    m_adding = false;
    if (m_closeWhenIdle)
        close();
}

void frmMain::addFromFileList(bool onlySelected)
{
    if (m_adding || m_worker)
        return;
    std::vector<std::string> names;
    std::vector<bool> selected;
    for (int i = 0; i < m_file1->count(); ++i) {
        names.push_back(toStdString(m_file1->item(i)->text()));
        selected.push_back(m_file1->item(i)->isSelected());
    }
    beginAdd();
    try {
        m_chase.addFiles(m_folder, names, onlySelected ? &selected : nullptr, duplicates(), *m_prompter, addControl());
    } catch (const std::exception& e) {
        m_prompter->show(errorReport(e.what()));
    }
    endAdd();
}

void frmMain::addFiles() { addFromFileList(true); }
void frmMain::addAllFiles() { addFromFileList(false); }
void frmMain::addSubFolders() { addFromSearch(false); }
void frmMain::addSubFoldersByDate() { addFromSearch(true); }

void frmMain::addFromSearch(bool byDate)
{
    if (m_adding || m_worker)
        return;
    std::optional<app::DateRange> dates;
    if (byDate) {
        auto stored = [&](std::string_view key) {
            return settings::ReadINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, key, "");
        };
        if (stored("DateRangeFrom").empty() || stored("DateRangeTo").empty()) {
            m_prompter->beep();
            const MessageAnswer answer = m_prompter->show(
                Message{"Date Range", "You Have Not Set A Date Range.  The Range Has Defaultly Been Set To Today",
                        MessageIcon::Information, MessageButtons::OkCancel});
            if (answer != MessageAnswer::Ok)
                return;
        }
        const std::string today =
            settings::formatOptionDate(m_settings.today ? m_settings.today() : settings::localToday());
        auto day = [&](std::string_view key) {
            return browser::parseDay(
                settings::ReadINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, key, today));
        };
        const auto from = day("DateRangeFrom");
        const auto to = day("DateRangeTo");
        if (!from || !to) {
            m_prompter->show(errorReport("the stored date range is not a pair of dates (mm/dd/yyyy); "
                                         "choose it again with \"Set Date\""));
            return;
        }
        dates = app::DateRange{*from, *to};
    }
    beginAdd();
    m_aniMovies->start(BusyAnimation::Mode::Search);
    try {
        const browser::FilePattern pattern(toStdString(m_cboFiletype->currentText().trimmed()));
        m_chase.addFromSearch(m_folder, pattern, dates, duplicates(), *m_prompter, addControl());
    } catch (const std::exception& e) {
        m_prompter->show(errorReport(e.what()));
    }
    m_aniMovies->stop();
    endAdd();
}

void frmMain::removeSelectedFiles()
{
    if (m_adding || m_worker)
        return;
    syncSelectionToChaseList();
    m_chase.removeSelected(*m_prompter, app::RunControl{});
    m_lblFullPath->clear();
    refreshChaseList();
}

void frmMain::removeAllFiles()
{
    if (m_adding || m_worker)
        return;
    m_chase.removeAll();
    m_lblFullPath->clear();
    refreshChaseList();
}

void frmMain::prepareChaseListMenu()
{
    syncSelectionToChaseList();
    const size_t selected = size_t(m_lstDofileList->selectedItems().size());
    auto action = [&](const char* name) { return m_mnuChaseListBox->findChild<QAction*>(name); };
    QAction* remove = action("mnuRemoveFile");
    remove->setText(selected > 1 ? tr("Remove Files") : tr("Remove File"));
    remove->setEnabled(selected > 0);
    action("mnuRemoveAll")->setEnabled(!m_chase.empty());
    action("mnuChase")->setEnabled(!m_chase.empty());
    action("mnuChaseSelected")->setEnabled(selected > 0);
    action("mnuPrint")->setEnabled(!m_chase.empty());
}

void frmMain::chooseDateRange()
{
    frmChouseDatesRange chooser(m_settings, this);
    chooser.exec();
}

// ---------------------------------------------------------------- count run

void frmMain::setBusy(bool busy)
{
    if (busy) {
        m_stop.clear();
        m_stopPressed = false;
        m_aniMovies->start(BusyAnimation::Mode::Pages);
        m_frameStop->show();
        m_tabs->setEnabled(false);
    } else {
        m_aniMovies->stop();
        m_frameStop->hide();
        m_tabs->setEnabled(true);
        showProgress(0, 0);
    }
}

void frmMain::showProgress(int done, int total)
{
    if (total <= 0) {
        m_progress->hide();
        setWindowTitle(m_baseTitle);
        return;
    }
    // The title is what a taskbar shows of a window that is out of sight.
    if (m_worker)
        setWindowTitle(tr("Counting %1 of %2").arg(done).arg(total) + " - " + m_baseTitle);
    m_progress->setRange(0, total);
    m_progress->setValue(done);
    m_progress->show();
}

void frmMain::startRun(app::RunScope scope)
{
    if (m_worker || m_adding)
        return;
    syncSelectionToChaseList();
    // The run works on copies: the list cannot change under it, and the
    // profile is the one selected when Start was pressed.
    app::ChaseList list = m_chase;
    const std::string profile = toStdString(currentProfile());
    if (beforeRun && !list.empty() && !profile.empty() && !beforeRun(list, profile))
        return;
    setBusy(true);
    m_flexgrid->setRowCount(0);
    m_lastRun = app::RunResult{};
    showProgress(0, int(list.size()));

    auto result = std::make_shared<app::RunResult>();
    m_worker = QThread::create([this, result, list = std::move(list), profile,
                                settings = m_settings, makeEngine = m_makeEngine, scope] {
        Prompter& prompter = *m_workerPrompter;
        std::unique_ptr<app::CountingEngine> engine = makeEngine(prompter, settings, profile);
        app::CountRun run(*engine, prompter, app::RunControl{nullptr, &m_stop}, app::CurrencyFormat::fromEnvironment());
        // One document per core at once, as the command line counts; the
        // rows and messages come in list order all the same.
        run.setJobs(m_countJobs, [&](Prompter& held) { return makeEngine(held, settings, profile); });
        run.progress = [this](const std::string& text) {
            QMetaObject::invokeMethod(
                this, [this, text = QString::fromStdString(text)] { onProgressText(text); }, Qt::QueuedConnection);
        };
        const auto readProfile = [&](std::string_view key, std::string_view def) {
            return settings::ReadINI(settings, "Profiles", profile, key, def);
        };
        try {
            *result = run.run(list, profile, readProfile, scope);
        } catch (const std::exception& e) {
            prompter.show(errorReport(e.what()));
            result->ending = app::RunEnding::Failed;
        }
    });
    m_worker->setObjectName("CountRun");
    connect(m_worker, &QThread::finished, this, [this, result] {
        m_worker->deleteLater();
        m_worker = nullptr;
        runEndedOnGuiThread(*result);
    });
    m_worker->start();
}

void frmMain::onProgressText(const QString& text)
{
    // The run clears the stop flag as it starts; a Stop pressed before that
    // moment still counts.
    if (m_stopPressed)
        m_stop.set();
    m_lbltotalFiles->setText(text);
    static const QRegularExpression nOfN("(\\d+) of (\\d+)");
    const auto match = nOfN.match(text);
    if (match.hasMatch())
        showProgress(match.captured(1).toInt(), match.captured(2).toInt());
}

void frmMain::runEndedOnGuiThread(const app::RunResult& result)
{
    m_lastRun = result;
    // Rows go in in list order; sorting is switched off while they do, or
    // each new row would move as it is added.
    m_flexgrid->setSortingEnabled(false);
    m_flexgrid->setRowCount(int(result.rows.size()));
    for (int r = 0; r < int(result.rows.size()); ++r) {
        const app::ResultRow& row = result.rows[size_t(r)];
        QString name = QString::fromStdString(row.name);
        name.replace('\r', ' ');
        const bool hasCount = !row.count.empty();
        auto* count = new NumberItem(hasCount ? QString::fromStdString(app::shownCount(row.countValue)) : QString(),
                                     hasCount ? row.countValue : 0);
        count->setToolTip(QString::fromStdString(row.count)); // the full figure
        count->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        auto* amount = new NumberItem(QString::fromStdString(row.amount), row.amountValue.toDouble());
        amount->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
        m_flexgrid->setItem(r, 1, new QTableWidgetItem(name));
        m_flexgrid->setItem(r, 2, count);
        m_flexgrid->setItem(r, 3, amount);
        m_flexgrid->setItem(r, 4, new QTableWidgetItem(QString::fromStdString(row.path)));
    }
    m_flexgrid->resizeColumnsToContents();
    m_flexgrid->setSortingEnabled(true);
    setBusy(false);
    m_lbltotalFiles->setText(QString::fromStdString(m_chase.counterText()));
    if (result.ending == app::RunEnding::Finished)
        emit runFinished(result);
    if (result.ending != app::RunEnding::NotStarted)
        emit runEnded(result);
    if (m_closeWhenIdle)
        close();
}

void frmMain::stop()
{
    m_aniMovies->stop();
    m_stop.set();
    m_stopPressed = true;
    m_frameStop->hide();
}

// ---------------------------------------------------------------- options

void frmMain::markOptionsChanged()
{
    if (!m_loading)
        m_cmdSave->setEnabled(true);
}

void frmMain::writeAllOptions()
{
    auto write = [&](const char* key) {
        settings::WriteINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, key,
                           toStdString(optionText(key)));
    };
    for (const char* key : {"CompanyName", "Address", "City", "State", "Zip", "Phone", "Fax", "PrinterToUse",
                            "AddProfileSaveAsk", "AskSaveWindow", "AddDupilcateFiles", "SecToWait"})
        write(key);
}

void frmMain::saveOptions()
{
    const bool blank = m_txtCompanyName->text().isEmpty() || m_txtAddress->text().isEmpty() ||
                       m_txtCity->text().isEmpty() || m_txtState->text().isEmpty() || m_mskZip->text().isEmpty() ||
                       m_mskFax->text().isEmpty() || m_mskPhone->text().isEmpty();
    const MessageAnswer answer = m_prompter->show(Message{
        "Save", blank ? "You Have Left Some Fields Blank, Would You Like To Continue Saving?" : "Save Company Info?",
        MessageIcon::Question, MessageButtons::OkCancel});
    if (answer != MessageAnswer::Ok)
        return;
    writeAllOptions();
    m_prompter->show(Message{"Options", "Options Saved.", MessageIcon::Information, MessageButtons::Ok});
}

void frmMain::clearOptions()
{
    const MessageAnswer answer = m_prompter->show(
        Message{"Clear", "Clear Company Info?", MessageIcon::Question, MessageButtons::OkCancel, true});
    if (answer != MessageAnswer::Ok)
        return;
    for (QLineEdit* box : {m_txtCompanyName, m_txtAddress, m_txtCity, m_txtState, m_mskZip, m_mskPhone, m_mskFax})
        box->clear();
    RefreshPrinterList();
    writeAllOptions();
    m_cmdSave->setEnabled(false);
}

// ---------------------------------------------------------------- events

bool frmMain::eventFilter(QObject* watched, QEvent* event)
{
    if (dropEventFor(watched, event))
        return true;
    if (watched == m_txtSecToPrint) {
        if (event->type() == QEvent::KeyPress) {
            const auto* key = static_cast<QKeyEvent*>(event);
            if (key->key() == Qt::Key_Tab || key->key() == Qt::Key_Backtab)
                return false;
            if (key->key() == Qt::Key_Backspace) {
                m_txtSecToPrint->clear(); // backspace empties the whole box
                return true;
            }
            const QString text = key->text();
            if (text.size() == 1 && text[0].isDigit() && text[0].unicode() < 128)
                return false;
            return !text.isEmpty(); // other typed characters are discarded
        }
        if (event->type() == QEvent::FocusOut && m_txtSecToPrint->text().isEmpty())
            m_txtSecToPrint->setText("0");
    } else if (watched == m_cboPrinterToUse && event->type() == QEvent::KeyPress) {
        const auto* key = static_cast<QKeyEvent*>(event);
        // Typing never changes the printer; only choosing from the list does.
        return key->key() != Qt::Key_Tab && key->key() != Qt::Key_Backtab;
    }
    return QMainWindow::eventFilter(watched, event);
}

bool frmMain::dropEventFor(QObject* watched, QEvent* event)
{
    if (watched != m_lstDofileList->viewport())
        return false;
    const auto localFiles = [](const QMimeData* mime) {
        QStringList paths;
        if (mime && mime->hasUrls())
            for (const QUrl& url : mime->urls())
                if (url.isLocalFile())
                    paths << url.toLocalFile();
        return paths;
    };
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        if (!localFiles(drag->mimeData()).isEmpty() && !m_worker && !m_adding) {
            drag->setDropAction(Qt::CopyAction);
            drag->accept();
        } else {
            drag->ignore();
        }
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        const QStringList paths = localFiles(drop->mimeData());
        if (paths.isEmpty())
            return false;
        drop->setDropAction(Qt::CopyAction);
        drop->accept();
        addPaths(paths);
        return true;
    }
    default: return false;
    }
}

void frmMain::addPaths(const QStringList& paths)
{
    if (m_adding || m_worker || paths.isEmpty())
        return;
    beginAdd();
    try {
        const browser::FilePattern pattern(toStdString(m_cboFiletype->currentText().trimmed()));
        for (const QString& text : paths) {
            if (m_stop.isSet())
                break;
            const fs::path path = fs::absolute(toStdString(text));
            std::error_code error;
            if (fs::is_directory(path, error)) {
                if (m_chkDropSubFolders->isChecked()) {
                    m_chase.addFromSearch(path, pattern, std::nullopt, duplicates(), *m_prompter, addControl());
                } else {
                    const std::vector<std::string> names = browser::listFiles(path, pattern, error);
                    if (error)
                        m_prompter->show(errorReport(path.string() + ": " + error.message(), "-Path Selection-"));
                    else
                        m_chase.addFiles(path, names, nullptr, duplicates(), *m_prompter, addControl());
                }
            } else if (fs::is_regular_file(path, error)) {
                m_chase.addFiles(path.parent_path(), {path.filename().string()}, nullptr, duplicates(), *m_prompter,
                                 addControl());
            }
        }
    } catch (const std::exception& e) {
        m_prompter->show(errorReport(e.what()));
    }
    endAdd();
}

// The window's size, place and splitters are the desktop's business, not
// the options': they live in a file of their own in the settings folder.
static QString windowStateFile(const settings::SettingsContext& settings)
{
    return QString::fromStdString((settings.folder / "Window.ini").string());
}

void frmMain::restoreWindowState()
{
    QSettings stored(windowStateFile(m_settings), QSettings::IniFormat);
    if (stored.contains("geometry"))
        restoreGeometry(stored.value("geometry").toByteArray());
    m_browserSplitter->restoreState(stored.value("browserSplitter").toByteArray());
    m_resultsSplitter->restoreState(stored.value("resultsSplitter").toByteArray());
    m_chkDropSubFolders->setChecked(stored.value("dropSubFolders", false).toBool());
}

void frmMain::saveWindowState()
{
    QSettings stored(windowStateFile(m_settings), QSettings::IniFormat);
    stored.setValue("geometry", saveGeometry());
    stored.setValue("browserSplitter", m_browserSplitter->saveState());
    stored.setValue("resultsSplitter", m_resultsSplitter->saveState());
    stored.setValue("dropSubFolders", m_chkDropSubFolders->isChecked());
    stored.sync();
}

void frmMain::closeEvent(QCloseEvent* event)
{
    if (m_worker || m_adding) {
        // Finish the current document or file first; the window closes then.
        m_stop.set();
        m_stopPressed = true;
        m_closeWhenIdle = true;
        event->ignore();
        return;
    }
    settings::WriteINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "ProfileToUse",
                       toStdString(m_cboProfile->currentText()));
    saveWindowState();
    event->accept();
}

} // namespace qm::ui
