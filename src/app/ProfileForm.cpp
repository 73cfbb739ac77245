// The profile editor without widgets: every control's state, its rules, validation and save.
#include "app/ProfileForm.h"

#include "settings/CIniFile.h"
#include "settings/Encoding.h"
#include "settings/IniRW.h"
#include "settings/Options.h"
#include "settings/ProfileStore.h"

#include <algorithm>
#include <cassert>

namespace qm::app {

namespace {

using C = ProfileControl;
using K = ControlKind;
using settings::EditorScreen;

constexpr ProfileControlInfo kControls[] = {
    {C::txtNameProfile, "txtNameProfile", K::Text, ""},
    {C::txtAddress, "txtAddress", K::Text, "Address"},
    {C::txtCity, "txtCity", K::Text, "City"},
    {C::txtState, "txtState", K::Text, "State"},
    {C::mskZip, "mskZip", K::Text, "Zip"},
    {C::txtBillAmount, "txtBillAmount", K::Text, "BillAmount"},
    {C::cboDoneBy, "cboDoneBy", K::List, "DonePer"},
    {C::txtCharPerLine, "txtCharPerLine", K::Text, "CharPerLine"},
    {C::chkLineCountWithSpaces, "chkLineCountWithSpaces", K::Check, "LineCountWithSpaces"},
    {C::chkCountReturnAndEnter, "chkCountReturnAndEnter", K::Check, "CountReturnAndEnter"},
    {C::txtEnterAmount, "txtEnterAmount", K::Text, "EnterAmount"},
    {C::chkCountBoldChar, "chkCountBoldChar", K::Check, "CountBoldCharAs2"},
    {C::txtBoldCharAmount, "txtBoldCharAmount", K::Text, "BoldCharAmount"},
    {C::chkBoldONOFF, "chkBoldONOFF", K::Check, "BoldONOFF2"},
    {C::txtBoldONOFFAmount, "txtBoldONOFFAmount", K::Text, "BoldONOFFAmount"},
    {C::chkCountItalicChar, "chkCountItalicChar", K::Check, "CountItalicCharAs2"},
    {C::txtItalicCharAmount, "txtItalicCharAmount", K::Text, "ItalicCharAmount"},
    {C::chkItalicONOFF, "chkItalicONOFF", K::Check, "ItalicONOFF2"},
    {C::txtItalicONOFFAmount, "txtItalicONOFFAmount", K::Text, "ItalicONOFFAmount"},
    {C::chkCoutUnderlineC, "chkCoutUnderlineC", K::Check, "CountUnderlineCharAs2"},
    {C::txtUnderlineCharAmount, "txtUnderlineCharAmount", K::Text, "UnderlineCharAmount"},
    {C::chkUnderlineONOFF, "chkUnderlineONOFF", K::Check, "UnderLineONOFF2"},
    {C::txtUnderlineONOFFAmount, "txtUnderlineONOFFAmount", K::Text, "UnderlineONOFFAmount"},
    {C::chkSuperscriptONOFF, "chkSuperscriptONOFF", K::Check, "SuperScriptCharsONOFF"},
    {C::txtSuperScriptONOFFAmount, "txtSuperScriptONOFFAmount", K::Text,
     "SuperScriptCharsONOFFAmount"},
    {C::chkSubscriptONOFF, "chkSubscriptONOFF", K::Check, "SubScriptCharsONOFF"},
    {C::txtSubScriptONOFFAmount, "txtSubScriptONOFFAmount", K::Text, "SubScriptCharsONOFFAmount"},
    {C::chkCountEachTable, "chkCountEachTable", K::Check, "CountTables"},
    {C::txtTableAmount, "txtTableAmount", K::Text, "TableAmount"},
    {C::chkCountEachTab, "chkCountEachTab", K::Check, "CountTabs"},
    {C::txtTabAmount, "txtTabAmount", K::Text, "TabsAmount"},
    {C::chkCapsONOFF, "chkCapsONOFF", K::Check, "CountCaps"},
    {C::txtCapsAmount, "txtCapsAmount", K::Text, "CapsCharAmount"},
    {C::chkCapsONOFFReal, "chkCapsONOFFReal", K::Check, "CountCapsONOFF"},
    {C::txtCapsONOFFAmount, "txtCapsONOFFAmount", K::Text, "CapsCharONOFFAmount"},
    {C::chkCountHeaderFooter, "chkCountHeaderFooter", K::Check, "CountHeaderFooter"},
    {C::chkTraverseHeaderAndFooter, "chkTraverseHeaderAndFooter", K::Check,
     "TraverseHeaderAndFooter"},
    {C::chkTraverseHeaderAndFooterFirstPage, "chkTraverseHeaderAndFooterFirstPage", K::Check,
     "TraverseHeaderAndFooterFirstPage"},
    {C::chkRoundCountToNearestWholeNumber, "chkRoundCountToNearestWholeNumber", K::Check,
     "RoundCountToNearestWholeNumber"},
    {C::chkDoNotCountBlankLine, "chkDoNotCountBlankLine", K::Check, "DoNotCountBlankLine"},
    {C::chkShowReportInWord, "chkShowReportInWord", K::Check, "ShowReportInWord"},
    {C::chkIncludeDate, "chkIncludeDate", K::Check, "IncludeDate"},
    {C::chkShowDocPath, "chkShowDocPath", K::Check, "ShowDocPath"},
    {C::chkTableColors, "chkTableColors", K::Check, "TableColor"},
    {C::chkPrintCountedDoc, "chkPrintCountedDoc", K::Check, "PrintCountedDoc"},
    {C::chkHeadAndFooter, "chkHeadAndFooter", K::Check, "HeadAndFooter"},
    {C::chkShowBillingRate, "chkShowBillingRate", K::Check, "ShowBillingRate"},
    {C::cboFileDateInfo, "cboFileDateInfo", K::List, "ShowFileCreateInfo"},
    {C::cboFiletype, "cboFiletype", K::List, "DocType"},
    {C::txtDtraversalPath, "txtDtraversalPath", K::Text, "DefaultTraversalPath"},
};
static_assert(std::size(kControls) == kProfileControlCount);

// The rule boxes and amounts that only apply to units counted character by
// character or by line; the capitals on/off pair is not among them and keeps
// its state whatever the unit.
constexpr ProfileControl kUnitRuleControls[] = {
    C::chkCountReturnAndEnter, C::chkCountBoldChar,        C::chkBoldONOFF,
    C::chkCountEachTable,      C::chkCapsONOFF,            C::chkCountEachTab,
    C::txtEnterAmount,         C::txtBoldCharAmount,       C::txtBoldONOFFAmount,
    C::txtTableAmount,         C::txtCapsAmount,           C::txtTabAmount,
    C::chkCountItalicChar,     C::chkItalicONOFF,          C::chkCoutUnderlineC,
    C::chkUnderlineONOFF,      C::chkSuperscriptONOFF,     C::chkSubscriptONOFF,
    C::txtItalicCharAmount,    C::txtItalicONOFFAmount,    C::txtUnderlineCharAmount,
    C::txtUnderlineONOFFAmount, C::txtSuperScriptONOFFAmount, C::txtSubScriptONOFFAmount,
};

constexpr size_t index(ProfileControl control)
{
    return static_cast<size_t>(control);
}

bool isDigit(char32_t key)
{
    return key >= '0' && key <= '9';
}

bool contains(std::string_view text, char c)
{
    return text.find(c) != std::string_view::npos;
}

Message information(std::string title, std::string text)
{
    return Message{std::move(title), std::move(text), MessageIcon::Information, MessageButtons::Ok};
}

struct CheckFailure {
    Message message;
    std::optional<ProfileControl> focus;
};

// The text with every occurrence of `from` replaced by `to`.
std::string replaceAll(std::string text, std::string_view from, std::string_view to)
{
    if (from.empty())
        return text;
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

} // namespace

std::span<const ProfileControlInfo> profileControls()
{
    return kControls;
}

const ProfileControlInfo& controlInfo(ProfileControl control)
{
    assert(index(control) < std::size(kControls));
    return kControls[index(control)];
}

bool billAmountAcceptsKey(std::string_view text, size_t selectionStart, size_t selectionLength,
                          char32_t key)
{
    if (selectionStart == 0 && selectionLength == text.size())
        return true;
    return amountAcceptsKey(text, key);
}

bool amountAcceptsKey(std::string_view text, char32_t key)
{
    if (key == kBackspaceKey || isDigit(key))
        return true;
    if (key == '.')
        return !contains(text, '.');
    if (key == '-')
        return !contains(text, '-');
    return false;
}

CharPerLineKey charPerLineKey(char32_t key)
{
    if (key == kBackspaceKey)
        return CharPerLineKey::EmptyBox;
    if (isDigit(key) || key == '-')
        return CharPerLineKey::Accept;
    return CharPerLineKey::Reject;
}

std::optional<Currency> convertCurrency(std::string_view text, const CurrencyFormat& format)
{
    // Rewrite the locale's way of writing money into the plain form the
    // parser reads: its decimal point as ".", its grouping as "," and its
    // symbol as "$" (a symbol after the number moves in front of it). The
    // grouping goes first: where it is "." the locale's decimal point is not.
    std::string plain(settings::trimBlanks(text));
    if (!format.symbol.empty() && format.symbol != "$") {
        const size_t at = plain.find(format.symbol);
        if (at != std::string::npos) {
            plain.erase(at, format.symbol.size());
            plain = std::string(settings::trimBlanks(plain));
            const size_t number = plain.find_first_of("0123456789.,");
            plain.insert(number == std::string::npos ? 0 : number, "$");
        }
    }
    if (format.decimalPoint != ".") {
        constexpr std::string_view kPlaceholder = "\x01";
        if (!format.thousandsSeparator.empty())
            plain = replaceAll(std::move(plain), format.thousandsSeparator, kPlaceholder);
        plain = replaceAll(std::move(plain), format.decimalPoint, ".");
        plain = replaceAll(std::move(plain), kPlaceholder, ",");
    } else if (!format.thousandsSeparator.empty() && format.thousandsSeparator != ",") {
        plain = replaceAll(std::move(plain), format.thousandsSeparator, ",");
    }
    return parseCurrency(plain);
}

std::optional<std::string> billAmountAfterLeaving(std::string_view text,
                                                  const CurrencyFormat& format)
{
    const auto amount = convertCurrency(text, format);
    if (!amount)
        return std::nullopt;
    const size_t lastPoint = text.rfind('.');
    if (lastPoint != std::string_view::npos && text.size() - lastPoint >= 4)
        return "$" + plainNumber(amount->toDouble());
    return formatCurrency(*amount, format);
}

std::string ProfileLists::selectedName() const
{
    if (selected < 0 || size_t(selected) >= names.size())
        return {};
    return names[size_t(selected)];
}

ProfileForm::ProfileForm(EditorScreen screen) : m_screen(screen)
{
    m_enabled.fill(true);
}

ProfileForm ProfileForm::forAdd()
{
    ProfileForm form(EditorScreen::Add);
    // A new profile starts from the values of "Default Settings"; the keys
    // that command leaves alone start from what a reader gets without them.
    for (const ProfileControlInfo& info : kControls) {
        if (info.key.empty())
            continue;
        const settings::ProfileKey* key = settings::findProfileKey(info.key);
        assert(key);
        const std::string_view value = key->resetValue(EditorScreen::Edit).value_or(key->readDefault);
        if (info.kind == K::Check)
            form.m_check[index(info.control)] = value == "1" ? CheckState::Checked : CheckState::Unchecked;
        else
            form.m_text[index(info.control)] = std::string(value);
    }
    form.m_text[index(C::cboFileDateInfo)] = std::string(kFileDateChoices[0]);
    form.m_text[index(C::cboDoneBy)] = "Line";
    form.m_enabled[index(C::txtCharPerLine)] = true;
    form.m_charPerLineBackground = BoxBackground::White;
    form.m_enabled[index(C::chkLineCountWithSpaces)] = true;
    form.m_check[index(C::chkDoNotCountBlankLine)] = CheckState::Unchecked;
    form.m_enabled[index(C::chkDoNotCountBlankLine)] = false;
    return form;
}

ProfileForm ProfileForm::forEdit(const settings::ProfileStore& store, std::string_view name)
{
    ProfileForm form(EditorScreen::Edit);
    form.m_text[index(C::txtNameProfile)] = std::string(name);
    for (const ProfileControlInfo& info : kControls) {
        if (info.key.empty())
            continue;
        const settings::ProfileKey* key = settings::findProfileKey(info.key);
        assert(key);
        std::string value = store.read(name, *key);
        if (info.kind == K::Check) {
            form.m_check[index(info.control)] =
                settings::flagIsOn(key->name, value, settings::FlagReading::Editor)
                    ? CheckState::Checked
                    : CheckState::Unchecked;
        } else if (info.control == C::cboFileDateInfo) {
            const bool listed = std::find(kFileDateChoices.begin() + 1, kFileDateChoices.end(),
                                          value) != kFileDateChoices.end();
            form.m_text[index(info.control)] = listed ? value : std::string(kFileDateChoices[0]);
        } else {
            form.m_text[index(info.control)] = std::move(value);
        }
    }

    // Older profiles stored plural unit names. The list shows only its own
    // entries, and the count run compares the unit exactly, so a unit is put
    // into the list's spelling whatever its letter case.
    std::string& unit = form.m_text[index(C::cboDoneBy)];
    static constexpr std::pair<std::string_view, std::string_view> kOlderNames[] = {
        {"Lines", "Line"}, {"Words", "Word"}, {"Character and Spaces", "Character And Space"}};
    for (const auto& [older, current] : kOlderNames)
        if (settings::equalsIgnoringCase(unit, older))
            unit = current;
    for (std::string_view listed : kBillingUnits)
        if (settings::equalsIgnoringCase(unit, listed))
            unit = listed;

    // The rule would tick "Count Spaces" for a line unit; the stored choice
    // is kept instead, or a profile saved without counting spaces would
    // count them after its next edit.
    const CheckState spaces = form.m_check[index(C::chkLineCountWithSpaces)];
    form.applyBillingUnitRule();
    if (unit == "Line" || unit == "Gross Line")
        form.m_check[index(C::chkLineCountWithSpaces)] = spaces;
    return form;
}

const std::string& ProfileForm::text(ProfileControl control) const
{
    return m_text[index(control)];
}

void ProfileForm::setText(ProfileControl control, std::string text)
{
    m_text[index(control)] = std::move(text);
}

CheckState ProfileForm::check(ProfileControl control) const
{
    return m_check[index(control)];
}

void ProfileForm::setCheck(ProfileControl control, CheckState state)
{
    m_check[index(control)] = state;
}

bool ProfileForm::enabled(ProfileControl control) const
{
    return m_enabled[index(control)];
}

void ProfileForm::setEnabled(ProfileControl control, bool enabled)
{
    m_enabled[index(control)] = enabled;
}

void ProfileForm::chooseBillingUnit(std::string unit)
{
    m_text[index(C::cboDoneBy)] = std::move(unit);
    applyBillingUnitRule();
}

void ProfileForm::applyBillingUnitRule()
{
    const std::string& unit = m_text[index(C::cboDoneBy)];
    if (unit == "Gross Line" || unit == "Page" || unit == "Word") {
        // Whole lines, pages and words carry no per-character extras.
        for (ProfileControl control : kUnitRuleControls)
            m_enabled[index(control)] = false;
        m_enabled[index(C::chkTraverseHeaderAndFooter)] = unit != "Page";
    }
    if (unit == "Character And Space" || unit == "Character" || unit == "Line") {
        for (ProfileControl control : kUnitRuleControls)
            m_enabled[index(control)] = true;
        m_enabled[index(C::chkTraverseHeaderAndFooter)] = true;
    }
    if (unit != "Line" && unit != "Gross Line") {
        m_enabled[index(C::txtCharPerLine)] = false;
        m_charPerLineBackground = BoxBackground::Grey;
        m_check[index(C::chkLineCountWithSpaces)] = CheckState::Grayed;
        m_enabled[index(C::chkLineCountWithSpaces)] = false;
    } else {
        m_enabled[index(C::txtCharPerLine)] = true;
        m_charPerLineBackground = BoxBackground::White;
        m_check[index(C::chkLineCountWithSpaces)] = CheckState::Checked;
        m_enabled[index(C::chkLineCountWithSpaces)] = true;
    }
}

void ProfileForm::timerTick()
{
    if (m_text[index(C::cboDoneBy)] != "Line") {
        m_enabled[index(C::txtCharPerLine)] = false;
        m_charPerLineBackground = BoxBackground::Grey;
        m_check[index(C::chkLineCountWithSpaces)] = CheckState::Unchecked;
        m_enabled[index(C::chkLineCountWithSpaces)] = false;
    } else {
        m_enabled[index(C::txtCharPerLine)] = true;
        m_charPerLineBackground = BoxBackground::White;
        m_enabled[index(C::chkLineCountWithSpaces)] = true;
    }
}

void ProfileForm::clickCheckBox(ProfileControl control, CheckState state)
{
    m_check[index(control)] = state;
    // The two traversal boxes are alternatives: all headers and footers of
    // every section, or the first page's only.
    if (control == C::chkTraverseHeaderAndFooter && state == CheckState::Checked)
        m_check[index(C::chkTraverseHeaderAndFooterFirstPage)] = CheckState::Unchecked;
    if (control == C::chkTraverseHeaderAndFooterFirstPage && state == CheckState::Checked)
        m_check[index(C::chkTraverseHeaderAndFooter)] = CheckState::Unchecked;
    // Document paths are printed in the list of counted documents.
    if (control == C::chkPrintCountedDoc && state == CheckState::Unchecked)
        m_check[index(C::chkShowDocPath)] = CheckState::Unchecked;
}

std::optional<ProfileControl> ProfileForm::leaveBillAmount(Prompter& prompter,
                                                           const CurrencyFormat& format)
{
    auto shown = billAmountAfterLeaving(m_text[index(C::txtBillAmount)], format);
    if (!shown) {
        prompter.show(information("Bill Amount", "Please Check The Format Of the Bill Amount"));
        return C::txtBillAmount;
    }
    m_text[index(C::txtBillAmount)] = std::move(*shown);
    return std::nullopt;
}

bool ProfileForm::resetToDefaults(Prompter& prompter)
{
    const MessageAnswer answer = prompter.show(Message{"Reset Settings", "Reset To Default Settings?",
                                                       MessageIcon::Information,
                                                       MessageButtons::YesNo});
    if (answer != MessageAnswer::Yes)
        return false;
    for (const ProfileControlInfo& info : kControls) {
        if (info.key.empty())
            continue;
        const settings::ProfileKey* key = settings::findProfileKey(info.key);
        assert(key);
        const auto value = key->resetValue(m_screen);
        if (!value)
            continue;
        if (info.kind == K::Check)
            m_check[index(info.control)] = *value == "1" ? CheckState::Checked : CheckState::Unchecked;
        else
            m_text[index(info.control)] = std::string(*value);
    }
    m_enabled[index(C::txtCharPerLine)] = true;
    m_charPerLineBackground = BoxBackground::White;
    m_enabled[index(C::chkLineCountWithSpaces)] = true;
    applyBillingUnitRule();
    return true;
}

std::vector<std::pair<std::string_view, std::string>> ProfileForm::keyValues() const
{
    std::vector<std::pair<std::string_view, std::string>> values;
    for (const settings::ProfileKey& key : settings::profileKeys()) {
        const auto info = std::find_if(std::begin(kControls), std::end(kControls),
                                       [&](const ProfileControlInfo& c) { return c.key == key.name; });
        assert(info != std::end(kControls));
        if (info->kind == K::Check)
            // The grayed count-spaces box stores "0" like a clear one.
            values.emplace_back(key.name, m_check[index(info->control)] == CheckState::Checked ? "1" : "0");
        else
            values.emplace_back(key.name, m_text[index(info->control)]);
    }
    return values;
}

bool ProfileForm::checkNameIsNew(Prompter& prompter, ProfileLists& lists) const
{
    const std::string_view name = settings::trimBlanks(m_text[index(C::txtNameProfile)]);
    // The main screen's list is walked entry by entry, selecting each, so
    // its selection rests on the matching entry, or on the last one.
    for (size_t i = 0; i < lists.names.size(); ++i) {
        lists.selected = int(i);
        if (settings::equalsIgnoringCase(lists.names[i], name)) {
            prompter.show(information("Profile Name", "This Profile Name Is Already In Use."));
            return false;
        }
    }
    return true;
}

SaveResult ProfileForm::save(const ProfileEditorEnvironment& environment, ProfileLists& lists)
{
    assert(environment.prompter);
    Prompter& prompter = *environment.prompter;
    SaveResult result;

    if (m_screen == EditorScreen::Edit) {
        prompter.beep();
        const MessageAnswer answer = prompter.show(Message{
            "Save", "Are you Sure You want to Save?", MessageIcon::Question, MessageButtons::YesNoCancel});
        if (answer == MessageAnswer::No) {
            result.outcome = SaveOutcome::CloseUnwritten;
            return result;
        }
        if (answer != MessageAnswer::Yes)
            return result;
    } else if (!checkNameIsNew(prompter, lists)) {
        return result;
    }

    const std::string name(settings::trimBlanks(m_text[index(C::txtNameProfile)]));
    const bool adding = m_screen == EditorScreen::Add;
    const bool charPerLineZero = m_enabled[index(C::txtCharPerLine)] &&
                                 settings::trimBlanks(m_text[index(C::txtCharPerLine)]) == "0";
    const std::string& unit = m_text[index(C::cboDoneBy)];

    std::optional<CheckFailure> failure;
    if (!convertCurrency(m_text[index(C::txtBillAmount)], environment.currency))
        failure = CheckFailure{information("Bill Amount", "Please Check The Format Of the Bill Amount"),
                               C::txtBillAmount};
    else if (adding && name.empty())
        failure = CheckFailure{information("Profile Name", "Please Enter A Profile Name"), std::nullopt};
    else if (charPerLineZero)
        failure = CheckFailure{information("Characters Per Line", "Please Edit Zero In Characters Per Line"),
                               C::txtCharPerLine};
    else if (unit.empty())
        failure = CheckFailure{information("DonePer", "You Must Enter \"Done Per\""), std::nullopt};
    else if (unit == "Line" && m_text[index(C::txtCharPerLine)].empty())
        failure = CheckFailure{information("Characters Per Line", "You Must Enter A Characters Per Line"),
                               std::nullopt};
    // A second test of an empty name would follow here; the trimmed test
    // above has already caught every name it could catch.
    if (failure) {
        prompter.show(failure->message);
        result.focus = failure->focus;
        return result;
    }

    const bool addressIncomplete = m_text[index(C::txtAddress)].empty() ||
                                   m_text[index(C::txtCity)].empty() ||
                                   m_text[index(C::txtState)].empty() || m_text[index(C::mskZip)].empty();
    // The option is read with "1" (do not ask) as its default here, so the
    // question is only asked once the user has turned it on.
    if (addressIncomplete &&
        settings::ReadINI(environment.settings, settings::kOptionsBaseName, settings::kOptionsSection,
                          "AddProfileSaveAsk", "1") == "0") {
        assert(environment.askAddress);
        const AddressAnswer answer = environment.askAddress(
            "Are You Sure You Would Like To Leave Some Of The Address Boxes Empty?",
            "Fields Blank - " + environment.applicationTitle);
        if (answer.doNotAskAgain) {
            settings::OptionsStore options(environment.settings);
            if (auto written = options.write(*settings::findOptionKey("AddProfileSaveAsk"), "1"); !written)
                prompter.show(settingsWriteError(written.error(), "-Save Profile-"));
            result.addressQuestionTurnedOff = true;
        }
        if (!answer.confirmed)
            return result;
    }

    const settings::ProfileStore store(environment.settings);
    const std::string section = adding ? name : m_text[index(C::txtNameProfile)];
    const auto values = keyValues();
    if (auto written = store.saveProfile(section, values, m_screen); !written) {
        prompter.show(settingsWriteError(written.error(), "-Save Profile-"));
        return result;
    }
    if (adding) {
        lists.names.push_back(name);
        lists.selected = int(lists.names.size() - 1);
        if (auto listed = store.SaveProfileList(lists.names); !listed)
            prompter.show(settingsWriteError(listed.error(), "-Save Profile-"));
    }
    result.outcome = SaveOutcome::Saved;
    return result;
}

bool checkProfileSelectedForEdit(Prompter& prompter, const ProfileLists& lists)
{
    if (!lists.selectedName().empty())
        return true;
    prompter.show(information("Edit Profile", "Please Select A Profile From The List"));
    return false;
}

BrowserDefaults browserDefaultsOf(const settings::ProfileStore& store, std::string_view profile,
                                  std::string_view currentPath)
{
    BrowserDefaults defaults;
    defaults.docType = store.read(profile, *settings::findProfileKey("DocType"));
    defaults.traversalPath = store.read(profile, *settings::findProfileKey("DefaultTraversalPath"));
    if (defaults.traversalPath.empty())
        defaults.traversalPath = std::string(currentPath);
    return defaults;
}

DeleteResult deleteSelectedProfile(const ProfileEditorEnvironment& environment, ProfileLists& lists)
{
    assert(environment.prompter);
    Prompter& prompter = *environment.prompter;
    DeleteResult result;
    const std::string name = lists.selectedName();
    if (name.empty()) {
        prompter.show(information("Delete Profile", "Please Select A Profile From The List"));
        return result;
    }
    if (prompter.show(Message{"Delete Profile", "Are You Sure You Want to Delete?", MessageIcon::Question,
                              MessageButtons::OkCancel, true}) != MessageAnswer::Ok)
        return result;

    const size_t at = size_t(lists.selected);
    lists.names.erase(lists.names.begin() + std::ptrdiff_t(at));
    // The profile that took the deleted one's place, or the one before it
    // when the last was deleted, so a profile stays selected while any is left.
    lists.selected = lists.names.empty() ? -1 : int(std::min(at, lists.names.size() - 1));
    const settings::ProfileStore store(environment.settings);
    if (auto listed = store.SaveProfileList(lists.names); !listed)
        prompter.show(settingsWriteError(listed.error(), "-Delete Profile-"));

    const settings::OptionsStore options(environment.settings);
    const settings::OptionKey& profileToUse = *settings::findOptionKey("ProfileToUse");
    if (options.read(profileToUse) == name) {
        // Writing an empty value removes the key.
        auto written = options.write(profileToUse, lists.selectedName());
        if (!written)
            prompter.show(settingsWriteError(written.error(), "-Delete Profile-"));
    }

    settings::cInifile profiles;
    profiles.Path(store.profilesFile().string());
    profiles.Section(name);
    profiles.DeleteSection();
    if (!profiles.Success())
        prompter.show(settingsWriteError(profiles.lastError(), "-Delete Profile-"));

    result.deleted = true;
    if (lists.selected >= 0)
        result.nowSelected = lists.selectedName();
    return result;
}

Message settingsWriteError(std::string_view reason, std::string_view location)
{
    return errorReport(reason, location);
}

} // namespace qm::app
