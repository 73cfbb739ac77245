// The profile editor without widgets: every control's state, its rules, validation and save.
#pragma once

#include "app/Money.h"
#include "engine/Prompter.h"
#include "settings/ProfileRecord.h"
#include "settings/SettingsContext.h"

#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::settings {
class ProfileStore;
}

namespace qm::app {

/// The controls of the add and edit screens that hold a value. The
/// enumerators carry the controls' own names (the screens use the same
/// names as object names).
enum class ProfileControl {
    txtNameProfile,
    txtAddress,
    txtCity,
    txtState,
    mskZip,
    txtBillAmount,
    cboDoneBy,
    txtCharPerLine,
    chkLineCountWithSpaces,
    chkCountReturnAndEnter,
    txtEnterAmount,
    chkCountBoldChar,
    txtBoldCharAmount,
    chkBoldONOFF,
    txtBoldONOFFAmount,
    chkCountItalicChar,
    txtItalicCharAmount,
    chkItalicONOFF,
    txtItalicONOFFAmount,
    chkCoutUnderlineC,
    txtUnderlineCharAmount,
    chkUnderlineONOFF,
    txtUnderlineONOFFAmount,
    chkSuperscriptONOFF,
    txtSuperScriptONOFFAmount,
    chkSubscriptONOFF,
    txtSubScriptONOFFAmount,
    chkCountEachTable,
    txtTableAmount,
    chkCountEachTab,
    txtTabAmount,
    chkCapsONOFF,
    txtCapsAmount,
    chkCapsONOFFReal,
    txtCapsONOFFAmount,
    chkCountHeaderFooter,
    chkTraverseHeaderAndFooter,
    chkTraverseHeaderAndFooterFirstPage,
    chkRoundCountToNearestWholeNumber,
    chkDoNotCountBlankLine,
    chkShowReportInWord,
    chkIncludeDate,
    chkShowDocPath,
    chkTableColors,
    chkPrintCountedDoc,
    chkHeadAndFooter,
    chkShowBillingRate,
    cboFileDateInfo,
    cboFiletype,
    txtDtraversalPath,
};

inline constexpr size_t kProfileControlCount = size_t(ProfileControl::txtDtraversalPath) + 1;

enum class ControlKind {
    Text,  ///< a text box (the zip's masked box too)
    List,  ///< a list box whose text is one of its entries
    Check, ///< a check box
};

/// What the screens need to know of a control: its name, kind and the
/// profile key it stores into (empty for the name box, which names the
/// section instead).
struct ProfileControlInfo {
    ProfileControl control;
    std::string_view name;
    ControlKind kind;
    std::string_view key;
};

/// Every control, in declaration order.
std::span<const ProfileControlInfo> profileControls();
const ProfileControlInfo& controlInfo(ProfileControl control);

/// The entries of the three lists, in their order.
inline constexpr std::array<std::string_view, 6> kBillingUnits = {
    "Word", "Line", "Gross Line", "Character", "Character And Space", "Page"};
inline constexpr std::array<std::string_view, 4> kFileDateChoices = {
    "None", "Date Created", "Date Last Modified", "Date Last Accessed"};
inline constexpr std::array<std::string_view, 6> kDocumentTypes = {
    "*.doc;*.rtf;*.txt;*.wps;*.text", "*.doc", "*.rtf", "*.txt", "*.text", "*.wps"};

enum class CheckState { Unchecked, Checked, Grayed };

/// Background of the characters-per-line box: grey (128, 128, 128) while it
/// does not apply to the unit.
enum class BoxBackground { White, Grey };

// Key filtering. Each key is tested as typed, given as its character code;
// backspace is character 8. A rejected key is discarded.

inline constexpr char32_t kBackspaceKey = 8;

/// The bill amount box: with the whole text selected (an empty text counts
/// as wholly selected) any key goes through, so typing over the amount is
/// never blocked; the format is enforced on leaving the box and on save.
/// Otherwise backspace, digits, one "." and one "-".
bool billAmountAcceptsKey(std::string_view text, size_t selectionStart, size_t selectionLength,
                          char32_t key);

/// The amount boxes beside the counting rules: backspace, digits, one "."
/// and one "-" (anywhere while the text has none).
bool amountAcceptsKey(std::string_view text, char32_t key);

enum class CharPerLineKey { Accept, Reject, EmptyBox };

/// The characters-per-line box: digits and "-" go through; backspace empties
/// the whole box (the key itself is discarded); everything else is rejected.
CharPerLineKey charPerLineKey(char32_t key);

/// A text as an amount of money under the locale's format: its currency
/// symbol, thousands separator and decimal point, as well as the plain
/// "$1,234.50" form. std::nullopt when the text is no amount (empty included).
std::optional<Currency> convertCurrency(std::string_view text, const CurrencyFormat& format);

/// The bill amount's text after the user leaves its box: a rate with three
/// or more decimals keeps them all ("12.505" becomes "$12.505", since the
/// locale's format would round it to cents), any other amount takes the
/// locale's currency format ("12.5" becomes "$12.50"). std::nullopt when the
/// text is no amount.
std::optional<std::string> billAmountAfterLeaving(std::string_view text,
                                                  const CurrencyFormat& format);

/// The main screen's profile box and profile list, which always hold the
/// same names in the same order, with the index of the selected one (-1 for
/// none).
struct ProfileLists {
    std::vector<std::string> names;
    int selected = -1;

    /// The selected name, or "" when none is.
    std::string selectedName() const;
};

/// The user's answer to the application message box's question.
struct AddressAnswer {
    bool confirmed = false;
    /// The "Do Not Show This Again" box was ticked.
    bool doNotAskAgain = false;
};

/// Asks a question through the application message box; given the question
/// and the window title.
using AddressQuestion = std::function<AddressAnswer(const std::string& text, const std::string& title)>;

/// What the editor works with besides its own controls. The prompter and
/// the question must outlive every call that is given this environment.
struct ProfileEditorEnvironment {
    settings::SettingsContext settings;
    Prompter* prompter = nullptr;
    AddressQuestion askAddress;
    CurrencyFormat currency;
    std::string applicationTitle = "Quillmeter";
};

enum class SaveOutcome {
    Saved,          ///< the profile is written; the screen closes
    Stay,           ///< a check failed, a question was cancelled or a write failed; the screen stays
    CloseUnwritten, ///< the edit screen's question was answered No; it closes, nothing written
};

struct SaveResult {
    SaveOutcome outcome = SaveOutcome::Stay;
    /// Where the focus goes after a failed check, when that check moves it.
    std::optional<ProfileControl> focus;
    /// The user ticked "Do Not Show This Again" on the address question;
    /// the main screen ticks its matching option box.
    bool addressQuestionTurnedOff = false;
};

/// The state of one add or edit screen: every control's value, enabled
/// state, and the characters-per-line box's background. Setting a value
/// runs no rule; the user-action functions (chooseBillingUnit,
/// clickCheckBox, leaveBillAmount, resetToDefaults, save) run them as the
/// screens do.
class ProfileForm {
public:
    /// The add screen as it opens: the design values (those of "Default
    /// Settings", with `chkCountHeaderFooter` ticked), unit "Line", and the
    /// blank-line box cleared and disabled, since a new profile cannot leave
    /// blank lines out.
    static ProfileForm forAdd();

    /// The edit screen opened on a profile: every key read with its default,
    /// older unit names mapped to the list's, then the billing-unit rule.
    static ProfileForm forEdit(const settings::ProfileStore& store, std::string_view name);

    settings::EditorScreen screen() const { return m_screen; }

    const std::string& text(ProfileControl control) const;
    void setText(ProfileControl control, std::string text);
    CheckState check(ProfileControl control) const;
    void setCheck(ProfileControl control, CheckState state);
    bool enabled(ProfileControl control) const;
    void setEnabled(ProfileControl control, bool enabled);
    BoxBackground charPerLineBackground() const { return m_charPerLineBackground; }

    /// The user picked a unit from the list: it becomes the text and the
    /// billing-unit rule runs.
    void chooseBillingUnit(std::string unit);

    /// Enables and disables the rule boxes, the header/footer traversal box,
    /// the characters-per-line box and the count-spaces box for the unit.
    void applyBillingUnitRule();

    /// One tick of the screen's timer: the characters-per-line box applies
    /// to the unit "Line" alone, so a "Gross Line" chosen a moment ago loses
    /// it again here.
    void timerTick();

    /// The user set a check box: the two header/footer traversal boxes
    /// exclude each other, and a report without its document list shows no
    /// document paths.
    void clickCheckBox(ProfileControl control, CheckState state);

    /// The user leaves the bill amount box: a text that is no amount is
    /// reported and the focus goes back (the control is returned); otherwise
    /// the text is reformatted.
    std::optional<ProfileControl> leaveBillAmount(Prompter& prompter, const CurrencyFormat& format);

    /// "Default Settings": asks first; on Yes puts each control's reset
    /// value of the screen in it. Returns whether it did.
    bool resetToDefaults(Prompter& prompter);

    /// Validates in the screen's order and writes the profile. On the add
    /// screen a new name also joins `lists` (as the selected entry) and
    /// ProfileList.log is rewritten from them. Nothing is written when a
    /// check fails or a question is declined.
    SaveResult save(const ProfileEditorEnvironment& environment, ProfileLists& lists);

    /// Every key with the text the save writes for it, in the record's order.
    std::vector<std::pair<std::string_view, std::string>> keyValues() const;

private:
    explicit ProfileForm(settings::EditorScreen screen);

    bool checkNameIsNew(Prompter& prompter, ProfileLists& lists) const;

    settings::EditorScreen m_screen;
    std::array<std::string, kProfileControlCount> m_text;
    std::array<CheckState, kProfileControlCount> m_check{};
    std::array<bool, kProfileControlCount> m_enabled{};
    BoxBackground m_charPerLineBackground = BoxBackground::White;
};

/// The edit command's precondition: a profile is selected; otherwise shows
/// "Please Select A Profile From The List" and returns false.
bool checkProfileSelectedForEdit(Prompter& prompter, const ProfileLists& lists);

/// What the main screen's file browser takes from a profile after the
/// editor closes or the selection changes.
struct BrowserDefaults {
    std::string docType;
    std::string traversalPath;
};

/// The profile's `DocType` and `DefaultTraversalPath`; the path defaults to
/// the folder the browser shows now.
BrowserDefaults browserDefaultsOf(const settings::ProfileStore& store, std::string_view profile,
                                  std::string_view currentPath);

struct DeleteResult {
    bool deleted = false;
    /// The profile selected after the delete, whose traversal path the
    /// browser is to show; std::nullopt when none was chosen.
    std::optional<std::string> nowSelected;
};

/// The main screen's delete command on the selected profile: asks first;
/// removes the name from the lists (the others keep their order; the one
/// after it, or else the one before, becomes selected), rewrites
/// ProfileList.log, moves `ProfileToUse` to the newly selected profile when
/// it named the deleted one, and deletes the profile's section.
DeleteResult deleteSelectedProfile(const ProfileEditorEnvironment& environment,
                                   ProfileLists& lists);

/// The error message shown when the settings files cannot be written; the
/// location names the command ("-Save Profile-").
Message settingsWriteError(std::string_view reason, std::string_view location);

} // namespace qm::app
