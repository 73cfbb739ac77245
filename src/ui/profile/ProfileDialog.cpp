// The add and edit profile screens: one dialog over the editor core, two thin variants.
#include "ui/profile/ProfileDialog.h"

#include "settings/ProfileStore.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFocusEvent>
#include <QFrame>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTimer>
#include <QUrl>
#include <QVBoxLayout>

#include <cassert>

namespace qm::ui {

namespace {

using app::CheckState;
using app::ControlKind;
using C = app::ProfileControl;

constexpr size_t index(C control)
{
    return static_cast<size_t>(control);
}

QString qs(std::string_view text)
{
    return QString::fromUtf8(text.data(), qsizetype(text.size()));
}

// Captions of the check boxes and of the labels beside the other controls.
struct Caption {
    C control;
    const char* text;
};
constexpr Caption kCaptions[] = {
    {C::txtNameProfile, "Profile Name:"},
    {C::txtAddress, "Address:"},
    {C::txtCity, "City:"},
    {C::txtState, " State:"},
    {C::mskZip, "Zip:"},
    {C::txtBillAmount, "Bill $:"},
    {C::cboDoneBy, "Per:"},
    {C::txtCharPerLine, "Characters Per Line:"},
    {C::chkLineCountWithSpaces, "Count Spaces"},
    {C::chkCountReturnAndEnter, "Count Returns/Enter As:"},
    {C::chkCountBoldChar, "Count Bold Characters As:"},
    {C::chkBoldONOFF, "Count Bold On Off As:"},
    {C::chkCountItalicChar, "Count Italic Characters As:"},
    {C::chkItalicONOFF, "Count Italic On Off As:"},
    {C::chkCoutUnderlineC, "Count Underline As:"},
    {C::chkUnderlineONOFF, "Count Underline On Off As:"},
    {C::chkSuperscriptONOFF, "Count Superscript On Off As:"},
    {C::chkSubscriptONOFF, "Count Subscript On Off As:"},
    {C::chkCountEachTable, "Count Each Table  As:"},
    {C::chkCountEachTab, "Count Each Tab As:"},
    {C::chkCapsONOFF, "Count Cap Charaters As:"},
    {C::chkCapsONOFFReal, "Count Caps On Off As:"},
    {C::chkCountHeaderFooter, "Count Header && Footer"},
    {C::chkTraverseHeaderAndFooter, "Traverse All Headers && Footers"},
    {C::chkTraverseHeaderAndFooterFirstPage, "Traverse First Page Header && Footer"},
    {C::chkRoundCountToNearestWholeNumber, "Round Count To Nearest Whole Number"},
    {C::chkDoNotCountBlankLine, "Do Not Count Blank Lines"},
    {C::chkShowReportInWord, "Show Report In Word"},
    {C::chkIncludeDate, "Include Date"},
    {C::chkShowDocPath, "Show Documet Path In Report"},
    {C::chkTableColors, "Use Duplex Shading"},
    {C::chkPrintCountedDoc, "Include Counted Doc in Report"},
    {C::chkHeadAndFooter, "Include Customer Info In Report"},
    {C::chkShowBillingRate, "Display Billing Rate On The Total Line"},
    {C::cboFileDateInfo, "Show File Date Information:"},
    {C::cboFiletype, "Default Document Type:"},
    {C::txtDtraversalPath, "Default Traversal Path:"},
};

QString captionOf(C control)
{
    for (const Caption& caption : kCaptions)
        if (caption.control == control)
            return QString::fromUtf8(caption.text);
    return {};
}

// The counting rules with the amount box beside each, in the form's order.
constexpr std::pair<C, C> kRules[] = {
    {C::chkCountReturnAndEnter, C::txtEnterAmount},
    {C::chkCountBoldChar, C::txtBoldCharAmount},
    {C::chkBoldONOFF, C::txtBoldONOFFAmount},
    {C::chkCountItalicChar, C::txtItalicCharAmount},
    {C::chkItalicONOFF, C::txtItalicONOFFAmount},
    {C::chkCoutUnderlineC, C::txtUnderlineCharAmount},
    {C::chkUnderlineONOFF, C::txtUnderlineONOFFAmount},
    {C::chkSuperscriptONOFF, C::txtSuperScriptONOFFAmount},
    {C::chkSubscriptONOFF, C::txtSubScriptONOFFAmount},
    {C::chkCountEachTable, C::txtTableAmount},
    {C::chkCountEachTab, C::txtTabAmount},
    {C::chkCapsONOFF, C::txtCapsAmount},
    {C::chkCapsONOFFReal, C::txtCapsONOFFAmount},
};

bool isAmountBox(C control)
{
    for (const auto& rule : kRules)
        if (rule.second == control)
            return true;
    return false;
}

// The boxes whose whole text is selected when the user enters them, so that
// typing replaces it.
bool selectsAllOnEntry(C control, settings::EditorScreen screen)
{
    switch (control) {
    case C::txtNameProfile:
        return screen == settings::EditorScreen::Add;
    case C::txtAddress:
    case C::txtCity:
    case C::txtState:
    case C::txtBillAmount:
        return true;
    default:
        return false;
    }
}

Qt::CheckState toQt(CheckState state)
{
    switch (state) {
    case CheckState::Checked:
        return Qt::Checked;
    case CheckState::Grayed:
        return Qt::PartiallyChecked;
    case CheckState::Unchecked:
        break;
    }
    return Qt::Unchecked;
}

CheckState fromQt(Qt::CheckState state)
{
    switch (state) {
    case Qt::Checked:
        return CheckState::Checked;
    case Qt::PartiallyChecked:
        return CheckState::Grayed;
    case Qt::Unchecked:
        break;
    }
    return CheckState::Unchecked;
}

// A key press as the character it types, the way the boxes' filters see
// keys: backspace is 8, paste and cut their control characters. Keys that
// type nothing (arrows, Delete, function keys, copy, select all) are not
// filtered at all, as they cannot put a wrong character into a box.
std::optional<char32_t> typedCharacter(const QKeyEvent& event)
{
    if (event.key() == Qt::Key_Backspace)
        return app::kBackspaceKey;
    if (event.matches(QKeySequence::Paste))
        return char32_t(22);
    if (event.matches(QKeySequence::Cut))
        return char32_t(24);
    const QString text = event.text();
    if (text.isEmpty() || text.at(0).unicode() < 32 || (event.modifiers() & Qt::ControlModifier))
        return std::nullopt;
    const auto codes = text.toUcs4();
    return codes.isEmpty() ? std::nullopt : std::optional<char32_t>(codes.front());
}

size_t utf8Length(const QString& text)
{
    return size_t(text.toUtf8().size());
}

std::string applicationTitle(const ProfileEditorContext& context)
{
    return context.environment.applicationTitle;
}

} // namespace

QString chooseFolderWithDialog(QWidget* parent, const QString& title, const QString& start)
{
    return QFileDialog::getExistingDirectory(parent, title, start);
}

void openHelpPage()
{
    const QString page = QDir(QCoreApplication::applicationDirPath()).filePath("Help/help.html");
    QDesktopServices::openUrl(QUrl::fromLocalFile(page));
}

ProfileDialog::ProfileDialog(QWidget* parent, ProfileEditorContext& context, app::ProfileForm form)
    : QDialog(parent), m_context(context), m_form(std::move(form))
{
    assert(m_context.environment.prompter);
    build();
    refresh();
    m_timer = new QTimer(this);
    m_timer->setObjectName("timDonePerCheck");
    m_timer->setInterval(kTimerIntervalMs);
    connect(m_timer, &QTimer::timeout, this, [this] {
        m_form.timerTick();
        refresh();
    });
    m_timer->start();
}

ProfileDialog::~ProfileDialog() = default;

QWidget* ProfileDialog::control(C control) const
{
    return m_controls[index(control)];
}

QWidget* ProfileDialog::makeControl(C control)
{
    const app::ProfileControlInfo& info = app::controlInfo(control);
    QWidget* widget = nullptr;
    switch (info.kind) {
    case ControlKind::Text: {
        auto* box = new QLineEdit(this);
        connect(box, &QLineEdit::textEdited, this,
                [this, control](const QString& text) { m_form.setText(control, text.toStdString()); });
        widget = box;
        break;
    }
    case ControlKind::List: {
        auto* list = new QComboBox(this);
        if (control == C::cboDoneBy) {
            for (std::string_view unit : app::kBillingUnits)
                list->addItem(qs(unit));
            connect(list, &QComboBox::activated, this, [this, list](int) {
                m_form.chooseBillingUnit(list->currentText().toStdString());
                refresh();
            });
        } else if (control == C::cboFileDateInfo) {
            for (std::string_view choice : app::kFileDateChoices)
                list->addItem(qs(choice));
            connect(list, &QComboBox::activated, this, [this, list](int) {
                m_form.setText(C::cboFileDateInfo, list->currentText().toStdString());
            });
        } else {
            // A document type may be any pattern list, so it can be typed.
            list->setEditable(true);
            for (std::string_view type : app::kDocumentTypes)
                list->addItem(qs(type));
            connect(list, &QComboBox::currentTextChanged, this, [this](const QString& text) {
                m_form.setText(C::cboFiletype, text.toStdString());
            });
        }
        widget = list;
        break;
    }
    case ControlKind::Check: {
        auto* box = new QCheckBox(captionOf(control), this);
        connect(box, &QCheckBox::clicked, this, [this, control, box] {
            m_form.clickCheckBox(control, fromQt(box->checkState()));
            refresh();
        });
        widget = box;
        break;
    }
    }
    widget->setObjectName(qs(info.name));
    m_controls[index(control)] = widget;
    return widget;
}

void ProfileDialog::build()
{
    for (const app::ProfileControlInfo& info : app::profileControls())
        makeControl(info.control);
    auto lineEdit = [this](C c) { return static_cast<QLineEdit*>(control(c)); };
    auto label = [this](C c) {
        auto* caption = new QLabel(captionOf(c), this);
        caption->setBuddy(control(c));
        return caption;
    };

    // Customer's information.
    auto* customer = new QGroupBox("Customer's Information:", this);
    auto* customerGrid = new QGridLayout(customer);
    customerGrid->addWidget(label(C::txtNameProfile), 0, 0);
    customerGrid->addWidget(control(C::txtNameProfile), 0, 1, 1, 5);
    customerGrid->addWidget(label(C::txtAddress), 1, 0);
    customerGrid->addWidget(control(C::txtAddress), 1, 1, 1, 5);
    customerGrid->addWidget(label(C::txtCity), 2, 0);
    customerGrid->addWidget(control(C::txtCity), 2, 1);
    customerGrid->addWidget(label(C::txtState), 2, 2);
    customerGrid->addWidget(control(C::txtState), 2, 3);
    customerGrid->addWidget(label(C::mskZip), 2, 4);
    customerGrid->addWidget(control(C::mskZip), 2, 5);
    customerGrid->setColumnStretch(1, 3);
    customerGrid->setColumnStretch(3, 1);
    customerGrid->setColumnStretch(5, 1);
    lineEdit(C::txtState)->setMaxLength(32);
    // A postal code: digits with an optional dash and extension.
    lineEdit(C::mskZip)->setValidator(
        new QRegularExpressionValidator(QRegularExpression("[0-9]{0,5}(-[0-9]{0,4})?"), this));
    lineEdit(C::mskZip)->setMinimumWidth(lineEdit(C::mskZip)->fontMetrics().horizontalAdvance("00000-00000"));

    // Billing.
    auto* billing = new QGroupBox("Billing:", this);
    auto* billingGrid = new QGridLayout(billing);
    billingGrid->addWidget(label(C::txtBillAmount), 0, 0);
    billingGrid->addWidget(control(C::txtBillAmount), 0, 1);
    billingGrid->addWidget(label(C::cboDoneBy), 0, 2);
    billingGrid->addWidget(control(C::cboDoneBy), 0, 3);
    billingGrid->addWidget(label(C::txtCharPerLine), 1, 0, 1, 2);
    billingGrid->addWidget(control(C::txtCharPerLine), 1, 2);
    billingGrid->addWidget(control(C::chkLineCountWithSpaces), 1, 3);
    billingGrid->setColumnStretch(3, 1);
    lineEdit(C::txtBillAmount)->setMaximumWidth(110);
    control(C::cboDoneBy)->setMinimumWidth(control(C::cboDoneBy)->fontMetrics().horizontalAdvance("Character And Space") + 40);
    lineEdit(C::txtCharPerLine)->setMaximumWidth(60);

    // Counting rules: a check box with its amount, in two columns, then the
    // plain boxes.
    auto* rules = new QGroupBox("Counting Rules:", this);
    auto* rulesGrid = new QGridLayout(rules);
    const int half = int(std::size(kRules) + 1) / 2;
    for (int i = 0; i < int(std::size(kRules)); ++i) {
        const int row = i % half;
        const int column = (i / half) * 2;
        rulesGrid->addWidget(control(kRules[i].first), row, column);
        QLineEdit* amount = lineEdit(kRules[i].second);
        amount->setMaximumWidth(56);
        rulesGrid->addWidget(amount, row, column + 1);
    }
    auto* separator = new QFrame(this);
    separator->setFrameShape(QFrame::HLine);
    separator->setFrameShadow(QFrame::Sunken);
    rulesGrid->addWidget(separator, half, 0, 1, 4);
    const C plainBoxes[] = {C::chkCountHeaderFooter, C::chkRoundCountToNearestWholeNumber,
                            C::chkTraverseHeaderAndFooter, C::chkTraverseHeaderAndFooterFirstPage,
                            C::chkDoNotCountBlankLine};
    for (int i = 0; i < int(std::size(plainBoxes)); ++i)
        rulesGrid->addWidget(control(plainBoxes[i]), half + 1 + i / 2, (i % 2) * 2, 1, 2);
    control(C::chkTraverseHeaderAndFooter)
        ->setToolTip("This options counts all unique headers and footers throughout the entire document, "
                     "differentiated by section breaks");
    rulesGrid->setColumnStretch(0, 1);
    rulesGrid->setColumnStretch(2, 1);

    // Report options.
    auto* report = new QGroupBox("Report Options:", this);
    auto* reportGrid = new QGridLayout(report);
    const C reportBoxes[] = {C::chkShowReportInWord, C::chkIncludeDate,     C::chkShowDocPath,
                             C::chkTableColors,      C::chkPrintCountedDoc, C::chkHeadAndFooter,
                             C::chkShowBillingRate};
    for (int i = 0; i < int(std::size(reportBoxes)); ++i)
        reportGrid->addWidget(control(reportBoxes[i]), i / 2, i % 2);
    auto* fileDate = new QHBoxLayout;
    fileDate->addWidget(label(C::cboFileDateInfo));
    fileDate->addWidget(control(C::cboFileDateInfo));
    fileDate->addStretch(1);
    reportGrid->addLayout(fileDate, 4, 0, 1, 2);

    // Document defaults.
    auto* documents = new QGroupBox("Document Defaults:", this);
    auto* documentsGrid = new QGridLayout(documents);
    documentsGrid->addWidget(label(C::cboFiletype), 0, 0);
    documentsGrid->addWidget(control(C::cboFiletype), 0, 1);
    auto* hint = new QLabel("e.g. *.doc  or  *.doc;*.rtf;*.txt", this);
    hint->setObjectName("lblFiletypeHint");
    hint->setEnabled(false);
    documentsGrid->addWidget(hint, 0, 2, 1, 2);
    documentsGrid->addWidget(label(C::txtDtraversalPath), 1, 0);
    documentsGrid->addWidget(control(C::txtDtraversalPath), 1, 1, 1, 2);
    auto* browseButton = new QPushButton("...", this);
    browseButton->setObjectName("cmdDFPathBrowse");
    browseButton->setToolTip("Choose the folder the file browser opens for this profile");
    browseButton->setAutoDefault(false);
    browseButton->setMaximumWidth(browseButton->fontMetrics().horizontalAdvance("...") * 4);
    connect(browseButton, &QPushButton::clicked, this, &ProfileDialog::browse);
    documentsGrid->addWidget(browseButton, 1, 3);
    documentsGrid->setColumnStretch(2, 1);

    // Commands.
    auto* saveButton = new QPushButton("&Save", this);
    saveButton->setObjectName("cmdSave");
    connect(saveButton, &QPushButton::clicked, this, &ProfileDialog::save);
    auto* defaultsButton = new QPushButton("&Default Settings", this);
    defaultsButton->setObjectName("cmdDefaultSettings");
    connect(defaultsButton, &QPushButton::clicked, this, &ProfileDialog::resetToDefaults);
    m_cancel = new QPushButton("&Cancel", this);
    m_cancel->setObjectName(m_form.screen() == settings::EditorScreen::Add ? "cmdCancel" : "Command1");
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    // Enter in a box does not save: a profile is saved only by its button.
    for (QPushButton* button : {saveButton, defaultsButton, m_cancel})
        button->setAutoDefault(false);
    auto* commands = new QHBoxLayout;
    commands->addWidget(defaultsButton);
    commands->addStretch(1);
    commands->addWidget(saveButton);
    commands->addWidget(m_cancel);

    auto* left = new QVBoxLayout;
    left->addWidget(customer);
    left->addWidget(billing);
    left->addWidget(report);
    left->addStretch(1);
    auto* right = new QVBoxLayout;
    right->addWidget(rules);
    right->addWidget(documents);
    right->addStretch(1);
    auto* columns = new QHBoxLayout;
    columns->addLayout(left, 1);
    columns->addLayout(right, 1);
    auto* page = new QVBoxLayout(this);
    page->addLayout(columns);
    page->addLayout(commands);

    for (const app::ProfileControlInfo& info : app::profileControls()) {
        if (auto* box = qobject_cast<QLineEdit*>(control(info.control))) {
            const bool filtered = info.control == C::txtBillAmount || info.control == C::txtCharPerLine ||
                                  isAmountBox(info.control);
            if (filtered) {
                // The filter sees typed keys only; pasting through the menu
                // or dropping text would go round it.
                box->setContextMenuPolicy(Qt::NoContextMenu);
                box->setAcceptDrops(false);
            }
            if (filtered || selectsAllOnEntry(info.control, m_form.screen()))
                box->installEventFilter(this);
        }
    }
}

void ProfileDialog::refresh()
{
    for (const app::ProfileControlInfo& info : app::profileControls()) {
        QWidget* widget = control(info.control);
        const QSignalBlocker blocker(widget);
        widget->setEnabled(m_form.enabled(info.control));
        const QString text = QString::fromStdString(m_form.text(info.control));
        if (auto* box = qobject_cast<QLineEdit*>(widget)) {
            if (box->text() != text)
                box->setText(text);
        } else if (auto* list = qobject_cast<QComboBox*>(widget)) {
            if (list->isEditable()) {
                if (list->currentText() != text)
                    list->setEditText(text);
            } else {
                // A unit the list does not hold shows as no choice.
                list->setCurrentIndex(list->findText(text, Qt::MatchFixedString | Qt::MatchCaseSensitive));
            }
        } else if (auto* box = qobject_cast<QCheckBox*>(widget)) {
            const CheckState state = m_form.check(info.control);
            // Only the program grays a box; the user's clicks toggle it.
            box->setTristate(state == CheckState::Grayed);
            box->setCheckState(toQt(state));
        }
    }
    auto* perLine = control(C::txtCharPerLine);
    perLine->setStyleSheet(m_form.charPerLineBackground() == app::BoxBackground::Grey
                               ? "QLineEdit { background-color: rgb(128, 128, 128); }"
                               : "QLineEdit { background-color: white; }");
}

bool ProfileDialog::eventFilter(QObject* watched, QEvent* event)
{
    auto* box = qobject_cast<QLineEdit*>(watched);
    if (!box)
        return QDialog::eventFilter(watched, event);
    C which{};
    for (const app::ProfileControlInfo& info : app::profileControls())
        if (control(info.control) == box)
            which = info.control;

    if (event->type() == QEvent::KeyPress)
        return filterKey(which, box, static_cast<QKeyEvent*>(event));
    if (event->type() == QEvent::FocusIn && selectsAllOnEntry(which, m_form.screen()))
        // After the click that gave the focus has placed the cursor.
        QTimer::singleShot(0, box, [box] { box->selectAll(); });
    if (event->type() == QEvent::FocusOut && which == C::txtBillAmount) {
        const auto reason = static_cast<QFocusEvent*>(event)->reason();
        // Another window (a message box included) taking the focus is not
        // the user leaving the box; nor is cancelling the screen.
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason &&
            QApplication::focusWidget() != m_cancel)
            leaveBillAmount();
    }
    return QDialog::eventFilter(watched, event);
}

bool ProfileDialog::filterKey(C control, QLineEdit* box, QKeyEvent* event)
{
    const auto key = typedCharacter(*event);
    if (!key)
        return false;
    if (control == C::txtCharPerLine) {
        switch (app::charPerLineKey(*key)) {
        case app::CharPerLineKey::Accept:
            return false;
        case app::CharPerLineKey::EmptyBox:
            box->clear();
            m_form.setText(control, "");
            return true;
        case app::CharPerLineKey::Reject:
            return true;
        }
    }
    const std::string text = box->text().toStdString();
    if (control == C::txtBillAmount) {
        const size_t start = box->hasSelectedText() ? utf8Length(box->text().left(box->selectionStart()))
                                                    : utf8Length(box->text().left(box->cursorPosition()));
        const size_t length = utf8Length(box->selectedText());
        return !app::billAmountAcceptsKey(text, start, length, *key);
    }
    if (isAmountBox(control))
        return !app::amountAcceptsKey(text, *key);
    return false;
}

void ProfileDialog::leaveBillAmount()
{
    auto* box = static_cast<QLineEdit*>(control(C::txtBillAmount));
    m_form.setText(C::txtBillAmount, box->text().toStdString());
    const auto focus = m_form.leaveBillAmount(*m_context.environment.prompter, m_context.environment.currency);
    refresh();
    if (focus)
        QTimer::singleShot(0, box, [box] { box->setFocus(Qt::OtherFocusReason); });
}

void ProfileDialog::save()
{
    app::ProfileLists lists = m_context.readLists ? m_context.readLists() : app::ProfileLists{};
    const app::SaveResult result = m_form.save(m_context.environment, lists);
    refresh();
    if (result.addressQuestionTurnedOff && m_context.addressQuestionTurnedOff)
        m_context.addressQuestionTurnedOff();
    // The add screen's duplicate test moves the lists' selection even when
    // the save goes no further.
    if (m_form.screen() == settings::EditorScreen::Add && m_context.writeLists)
        m_context.writeLists(lists);
    switch (result.outcome) {
    case app::SaveOutcome::Saved:
        accept();
        break;
    case app::SaveOutcome::CloseUnwritten:
        reject();
        break;
    case app::SaveOutcome::Stay:
        if (result.focus)
            control(*result.focus)->setFocus(Qt::OtherFocusReason);
        break;
    }
}

void ProfileDialog::resetToDefaults()
{
    if (m_form.resetToDefaults(*m_context.environment.prompter))
        refresh();
}

void ProfileDialog::browse()
{
    auto* path = static_cast<QLineEdit*>(control(C::txtDtraversalPath));
    const QString chosen = m_context.chooseFolder(this, "Traversal Path", path->text());
    if (chosen.isEmpty())
        return;
    m_form.setText(C::txtDtraversalPath, chosen.toStdString());
    refresh();
}

void ProfileDialog::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_F1) {
        if (m_context.openHelp)
            m_context.openHelp();
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}

frmAddProfile::frmAddProfile(QWidget* parent, ProfileEditorContext& context)
    : ProfileDialog(parent, context, app::ProfileForm::forAdd())
{
    setObjectName("frmAddProfile");
    setWindowTitle(QString::fromStdString("Add Profile - " + applicationTitle(context)));
}

frmEditProfile::frmEditProfile(QWidget* parent, ProfileEditorContext& context, const QString& profile)
    : ProfileDialog(parent, context,
                    app::ProfileForm::forEdit(settings::ProfileStore(context.environment.settings),
                                              profile.toStdString()))
{
    setObjectName("frmEditProfile");
    setWindowTitle(QString::fromStdString("Edit Profile - " + applicationTitle(context)));
    static_cast<QLineEdit*>(control(C::txtNameProfile))->setReadOnly(true);
}

namespace {

// After a screen closes, the browser takes the selected profile's document
// type and path again: the screen may have changed them.
void reapplyBrowserDefaults(ProfileEditorContext& context)
{
    if (!context.readLists || !context.applyBrowserDefaults)
        return;
    const std::string selected = context.readLists().selectedName();
    if (selected.empty())
        return;
    const QString current = context.browserPath ? context.browserPath() : QString();
    context.applyBrowserDefaults(app::browserDefaultsOf(settings::ProfileStore(context.environment.settings),
                                                        selected, current.toStdString()));
}

} // namespace

bool runAddProfile(QWidget* parent, ProfileEditorContext& context)
{
    frmAddProfile screen(parent, context);
    const bool saved = context.runDialog(screen) == QDialog::Accepted;
    reapplyBrowserDefaults(context);
    return saved;
}

bool runEditProfile(QWidget* parent, ProfileEditorContext& context)
{
    const app::ProfileLists lists = context.readLists ? context.readLists() : app::ProfileLists{};
    if (!app::checkProfileSelectedForEdit(*context.environment.prompter, lists))
        return false;
    frmEditProfile screen(parent, context, QString::fromStdString(lists.selectedName()));
    const bool saved = context.runDialog(screen) == QDialog::Accepted;
    reapplyBrowserDefaults(context);
    return saved;
}

bool deleteSelectedProfile(ProfileEditorContext& context)
{
    app::ProfileLists lists = context.readLists ? context.readLists() : app::ProfileLists{};
    const app::DeleteResult result = app::deleteSelectedProfile(context.environment, lists);
    if (!result.deleted)
        return false;
    if (context.writeLists)
        context.writeLists(lists);
    if (result.nowSelected)
        reapplyBrowserDefaults(context);
    return true;
}

} // namespace qm::ui
