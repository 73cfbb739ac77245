// The profile editor's core: key filters, the bill amount, the unit rule, validation, saving, reset and delete.
#include "app/ProfileForm.h"

#include "../settings/TempFolder.h"
#include "settings/IniRW.h"
#include "settings/ProfileStore.h"

#include <functional>
#include <gtest/gtest.h>

using namespace qm;
using namespace qm::app;
using qm::settings::EditorScreen;
using qm::settings::test::readBytes;
using qm::settings::test::TempFolder;
using qm::settings::test::writeBytes;
using C = ProfileControl;

namespace {

// A settings folder with a prompter and an address question that records
// what it was asked.
struct Editor {
    TempFolder folder;
    RecordingPrompter prompter;
    std::vector<std::pair<std::string, std::string>> questions;
    AddressAnswer answer{true, false};
    ProfileEditorEnvironment environment;

    Editor()
    {
        environment.settings.folder = folder.path();
        environment.prompter = &prompter;
        environment.askAddress = [this](const std::string& text, const std::string& title) {
            questions.emplace_back(text, title);
            return answer;
        };
    }

    settings::ProfileStore store() const { return settings::ProfileStore(environment.settings); }
    std::filesystem::path profilesIni() const { return folder / "Profiles.ini"; }
    std::filesystem::path profileList() const { return folder / "ProfileList.log"; }
    std::string read(std::string_view section, std::string_view key) const
    {
        return settings::ReadINI(environment.settings, "Profiles", section, key, "<none>");
    }
    std::string option(std::string_view key) const
    {
        return settings::ReadINI(environment.settings, "Options", "MAIN", key, "<none>");
    }
};

// A complete add-screen form that passes every check.
ProfileForm validAddForm(std::string name = "Acme")
{
    ProfileForm form = ProfileForm::forAdd();
    form.setText(C::txtNameProfile, std::move(name));
    form.setText(C::txtAddress, "1 Main St");
    form.setText(C::txtCity, "Springfield");
    form.setText(C::txtState, "IL");
    form.setText(C::mskZip, "62701");
    form.setText(C::txtBillAmount, "$1.25");
    return form;
}

// The key names of a CRLF file holding one section, in file order.
std::vector<std::string> keysOf(const std::string& ini)
{
    std::vector<std::string> keys;
    for (size_t at = ini.find("\r\n"); at + 2 < ini.size(); at = ini.find("\r\n", at + 2))
        keys.push_back(ini.substr(at + 2, ini.find('=', at) - at - 2));
    return keys;
}

Message info(const char* title, const char* text)
{
    return Message{title, text, MessageIcon::Information, MessageButtons::Ok};
}

} // namespace

// Each row: text before the key, the key, accepted. A filter letting a second
// point or minus through would let the user type amounts no reader can parse.
TEST(ProfileKeyFilter, AmountAndCharactersPerLineBoxes)
{
    const std::tuple<const char*, char32_t, bool> cases[] = {
        {"2.0", '5', true},           {"2.0", '.', false},  {"20", '.', true},   {"2.0", '-', true},
        {"-2.0", '-', false},         {"2-", '.', true},    {"2.0", 'a', false}, {"2.0", ',', false},
        {"2.0", kBackspaceKey, true}, {"2.0", U'٣', false}, // a digit of another script is no digit here
    };
    for (const auto& [text, key, accepted] : cases) {
        SCOPED_TRACE(std::string(text) + " + " + std::to_string(unsigned(key)));
        EXPECT_EQ(amountAcceptsKey(text, key), accepted);
    }
    const std::pair<char32_t, CharPerLineKey> perLine[] = {{'7', CharPerLineKey::Accept},
                                                           {'-', CharPerLineKey::Accept},
                                                           {kBackspaceKey, CharPerLineKey::EmptyBox},
                                                           {'.', CharPerLineKey::Reject}};
    for (const auto& [key, answer] : perLine)
        EXPECT_EQ(charPerLineKey(key), answer) << unsigned(key);
}

// With the whole text selected (entering the box selects it; an empty box is
// wholly selected) any key goes through; otherwise the amount rules apply.
TEST(ProfileKeyFilter, BillAmountFiltersOnlyWithoutWholeSelection)
{
    const std::tuple<const char*, size_t, size_t, char32_t, bool> cases[] = {
        {"$0.00", 0, 5, '$', true},  {"", 0, 0, '$', true},   {"$0.00", 5, 0, '$', false}, {"$0.00", 0, 4, '.', false},
        {"$0.00", 1, 4, '.', false}, {"12", 2, 0, '.', true}, {"1-2", 3, 0, '-', false},
    };
    for (const auto& [text, start, length, key, accepted] : cases) {
        SCOPED_TRACE(std::string(text) + " sel " + std::to_string(start) + "+" + std::to_string(length));
        EXPECT_EQ(billAmountAcceptsKey(text, start, length, key), accepted);
    }
}

// Two decimals take the locale's currency form; three or more are kept in
// full, since the rate may be finer than a cent. Under a locale writing
// "1.234,50 €" its own form converts and the point groups thousands.
TEST(ProfileBillAmount, TextAfterLeavingTheBox)
{
    const CurrencyFormat dollars;
    const std::tuple<const char*, std::optional<std::string>> cases[] = {
        {"12.5", "$12.50"},        {"12.505", "$12.505"}, {"1234", "$1,234.00"},
        {"$1,234.5", "$1,234.50"}, {"0.1250", "$0.125"},  {"-3.5", "($3.50)"},
        {"abc", std::nullopt},     {"", std::nullopt},    {"1.2.3", std::nullopt},
    };
    for (const auto& [typed, shown] : cases) {
        SCOPED_TRACE(typed);
        EXPECT_EQ(billAmountAfterLeaving(typed, dollars), shown);
    }
    const CurrencyFormat euro{"€", false, true, ",", ".", 2, false};
    EXPECT_EQ(convertCurrency("1.234,5 €", euro), Currency{12345000});
    EXPECT_EQ(convertCurrency("12.5", euro), Currency{1250000});
    EXPECT_EQ(billAmountAfterLeaving("12,5", euro), std::optional<std::string>("12,50 €"));
    EXPECT_FALSE(convertCurrency("zwölf", euro));
}

TEST(ProfileBillAmount, LeavingWithNoAmountReportsAndKeepsText)
{
    RecordingPrompter prompter;
    ProfileForm form = ProfileForm::forAdd();
    form.setText(C::txtBillAmount, "12x");
    EXPECT_EQ(form.leaveBillAmount(prompter, CurrencyFormat{}), C::txtBillAmount);
    EXPECT_EQ(prompter.messages, std::vector{info("Bill Amount", "Please Check The Format Of the Bill Amount")});
    EXPECT_EQ(form.text(C::txtBillAmount), "12x");
}

// For each unit: whether the per-character rules, the all-headers traversal
// box and the characters-per-line box apply, and the count-spaces state.
TEST(ProfileUnitRule, EnablesWhatTheUnitUses)
{
    const std::tuple<const char*, bool, bool, bool, CheckState> cases[] = {
        {"Word", false, true, false, CheckState::Grayed},
        {"Line", true, true, true, CheckState::Checked},
        {"Gross Line", false, true, true, CheckState::Checked},
        {"Character And Space", true, true, false, CheckState::Grayed},
        {"Page", false, false, false, CheckState::Grayed},
    };
    for (const auto& [unit, rules, traverse, perLine, spaces] : cases) {
        SCOPED_TRACE(unit);
        ProfileForm form = ProfileForm::forAdd();
        form.chooseBillingUnit("Page"); // start from everything disabled
        form.setEnabled(C::chkCapsONOFFReal, false);
        form.chooseBillingUnit(unit);
        for (C control : {C::chkCountReturnAndEnter, C::txtTabAmount, C::chkSubscriptONOFF, C::txtSubScriptONOFFAmount,
                          C::chkCoutUnderlineC, C::txtCapsAmount})
            EXPECT_EQ(form.enabled(control), rules) << controlInfo(control).name;
        EXPECT_EQ(form.enabled(C::chkTraverseHeaderAndFooter), traverse);
        EXPECT_EQ(form.enabled(C::txtCharPerLine), perLine);
        EXPECT_EQ(form.charPerLineBackground(), perLine ? BoxBackground::White : BoxBackground::Grey);
        EXPECT_EQ(form.check(C::chkLineCountWithSpaces), spaces);
        EXPECT_EQ(form.enabled(C::chkLineCountWithSpaces), perLine);
        // The capitals on/off pair is outside the rule.
        EXPECT_FALSE(form.enabled(C::chkCapsONOFFReal));
        EXPECT_TRUE(form.enabled(C::txtCapsONOFFAmount));
    }
}

// The timer ties the characters-per-line box to "Line" alone: the rule
// enables it for "Gross Line" and the next tick takes it away again.
TEST(ProfileUnitRule, TimerKeepsCharactersPerLineToLine)
{
    ProfileForm form = ProfileForm::forAdd();
    form.chooseBillingUnit("Gross Line");
    EXPECT_TRUE(form.enabled(C::txtCharPerLine));
    form.timerTick();
    EXPECT_FALSE(form.enabled(C::txtCharPerLine));
    EXPECT_EQ(form.charPerLineBackground(), BoxBackground::Grey);
    EXPECT_EQ(form.check(C::chkLineCountWithSpaces), CheckState::Unchecked);
    EXPECT_FALSE(form.enabled(C::chkLineCountWithSpaces));

    form.chooseBillingUnit("Line");
    form.setCheck(C::chkLineCountWithSpaces, CheckState::Unchecked);
    form.timerTick();
    EXPECT_TRUE(form.enabled(C::txtCharPerLine));
    EXPECT_TRUE(form.enabled(C::chkLineCountWithSpaces));
    EXPECT_EQ(form.check(C::chkLineCountWithSpaces), CheckState::Unchecked); // the tick never ticks it
}

TEST(ProfileCheckBoxes, Couplings)
{
    ProfileForm form = ProfileForm::forAdd();
    form.clickCheckBox(C::chkTraverseHeaderAndFooter, CheckState::Checked);
    form.clickCheckBox(C::chkTraverseHeaderAndFooterFirstPage, CheckState::Checked);
    EXPECT_EQ(form.check(C::chkTraverseHeaderAndFooter), CheckState::Unchecked);
    form.clickCheckBox(C::chkTraverseHeaderAndFooter, CheckState::Checked);
    EXPECT_EQ(form.check(C::chkTraverseHeaderAndFooterFirstPage), CheckState::Unchecked);

    form.clickCheckBox(C::chkShowDocPath, CheckState::Checked);
    form.clickCheckBox(C::chkPrintCountedDoc, CheckState::Checked);
    EXPECT_EQ(form.check(C::chkShowDocPath), CheckState::Checked);
    form.clickCheckBox(C::chkPrintCountedDoc, CheckState::Unchecked);
    EXPECT_EQ(form.check(C::chkShowDocPath), CheckState::Unchecked);
}

// Flags tick for anything but "0" except three tested for "1"; older unit
// names map whatever their case; an unknown file-date choice shows "None".
// The unit rule runs on opening, and a disabled box still saves its state.
TEST(ProfileOpening, EditScreenReadsMapsAndAppliesTheUnitRule)
{
    Editor editor;
    writeBytes(editor.profilesIni(), "[Old]\r\nDonePer=lines\r\nCountTabs=yes\r\nShowBillingRate=yes\r\n"
                                     "DoNotCountBlankLine=1\r\nShowFileCreateInfo=Date Created\r\n"
                                     "CharPerLine=70\r\nLineCountWithSpaces=0\r\n"
                                     "[Plural]\r\nDonePer=Character and Spaces\r\nShowFileCreateInfo=date created\r\n"
                                     "[W]\r\nDonePer=WORDS\r\nLineCountWithSpaces=1\r\nCountTabs=1\r\n");
    const ProfileForm old = ProfileForm::forEdit(editor.store(), "Old");
    EXPECT_EQ(old.text(C::txtNameProfile), "Old");
    EXPECT_EQ(old.text(C::cboDoneBy), "Line");
    EXPECT_EQ(old.check(C::chkCountEachTab), CheckState::Checked);
    EXPECT_EQ(old.check(C::chkShowBillingRate), CheckState::Unchecked);
    EXPECT_EQ(old.check(C::chkDoNotCountBlankLine), CheckState::Checked);
    EXPECT_TRUE(old.enabled(C::chkDoNotCountBlankLine));
    EXPECT_EQ(old.check(C::chkShowReportInWord), CheckState::Checked); // read default "1"
    EXPECT_EQ(old.check(C::chkCountBoldChar), CheckState::Unchecked);   // read default "0"
    EXPECT_EQ(old.text(C::cboFileDateInfo), "Date Created");
    EXPECT_EQ(old.text(C::txtCharPerLine), "70");
    EXPECT_EQ(old.text(C::cboFiletype), "*.doc;*.rtf;*.txt;*.text");
    // A line profile saved without counting spaces keeps that choice.
    EXPECT_EQ(old.check(C::chkLineCountWithSpaces), CheckState::Unchecked);

    const ProfileForm plural = ProfileForm::forEdit(editor.store(), "Plural");
    EXPECT_EQ(plural.text(C::cboDoneBy), "Character And Space");
    EXPECT_EQ(plural.text(C::cboFileDateInfo), "None");

    ProfileForm word = ProfileForm::forEdit(editor.store(), "W");
    EXPECT_EQ(word.text(C::cboDoneBy), "Word");
    EXPECT_FALSE(word.enabled(C::txtCharPerLine));
    EXPECT_EQ(word.check(C::chkLineCountWithSpaces), CheckState::Grayed);
    EXPECT_FALSE(word.enabled(C::chkCountEachTab));
    ProfileLists lists{{"W"}, 0};
    word.setText(C::txtCharPerLine, "0"); // disabled, so not checked
    ASSERT_EQ(word.save(editor.environment, lists).outcome, SaveOutcome::Saved);
    EXPECT_EQ(editor.read("W", "LineCountWithSpaces"), "0");
    EXPECT_EQ(editor.read("W", "CountTabs"), "1");
}

// One row per check of the add screen: how the form is spoilt, the expected
// message and focus. Each form also has every later check failing, so a
// row passes only when the checks run in their order.
TEST(ProfileValidation, AddScreenFirstFailingCheckWinsAndNothingIsWritten)
{
    struct Case {
        const char* what;
        std::function<void(ProfileForm&)> spoil;
        Message message;
        std::optional<C> focus;
    };
    const Case cases[] = {
        {"name in use, other case",
         [](ProfileForm& f) { f.setText(C::txtNameProfile, " acme "), f.setText(C::txtBillAmount, "x"); },
         info("Profile Name", "This Profile Name Is Already In Use."), std::nullopt},
        {"bill amount",
         [](ProfileForm& f) { f.setText(C::txtBillAmount, "twelve"), f.setText(C::txtNameProfile, "  "); },
         info("Bill Amount", "Please Check The Format Of the Bill Amount"), C::txtBillAmount},
        {"blank name", [](ProfileForm& f) { f.setText(C::txtNameProfile, " "), f.setText(C::txtCharPerLine, " 0 "); },
         info("Profile Name", "Please Enter A Profile Name"), std::nullopt},
        {"zero characters per line",
         [](ProfileForm& f) { f.setText(C::txtCharPerLine, " 0 "), f.setText(C::cboDoneBy, ""); },
         info("Characters Per Line", "Please Edit Zero In Characters Per Line"), C::txtCharPerLine},
        {"no unit", [](ProfileForm& f) { f.setText(C::cboDoneBy, ""); }, info("DonePer", "You Must Enter \"Done Per\""),
         std::nullopt},
        {"no characters per line", [](ProfileForm& f) { f.setText(C::txtCharPerLine, ""); },
         info("Characters Per Line", "You Must Enter A Characters Per Line"), std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Editor editor;
        writeBytes(editor.profileList(), "\"ACME\"\r\n");
        ProfileLists lists{{"ACME"}, 0};
        ProfileForm form = validAddForm("New");
        c.spoil(form);
        const ProfileForm before = form;
        const SaveResult result = form.save(editor.environment, lists);
        EXPECT_EQ(result.outcome, SaveOutcome::Stay);
        EXPECT_EQ(result.focus, c.focus);
        EXPECT_EQ(editor.prompter.messages, std::vector{c.message});
        EXPECT_FALSE(std::filesystem::exists(editor.profilesIni()));
        EXPECT_EQ(readBytes(editor.profileList()), "\"ACME\"\r\n");
        EXPECT_EQ(lists.names, std::vector<std::string>{"ACME"});
        EXPECT_EQ(form.keyValues(), before.keyValues()); // a failed check changes no control
    }
}

// The duplicate test selects each entry in turn: the selection stays on the
// match, or on the last entry when the name is new.
TEST(ProfileValidation, NameWalkLeavesSelection)
{
    Editor editor;
    ProfileLists lists{{"Alpha", "Beta", "Gamma"}, 0};
    EXPECT_EQ(validAddForm("bEtA").save(editor.environment, lists).outcome, SaveOutcome::Stay);
    EXPECT_EQ(lists.selected, 1);

    lists.selected = 0;
    ProfileForm fresh = validAddForm("Delta");
    fresh.setText(C::txtBillAmount, "?");
    EXPECT_EQ(fresh.save(editor.environment, lists).outcome, SaveOutcome::Stay);
    EXPECT_EQ(lists.selected, 2);
}

// The edit screen asks first, checks neither the name's use nor its
// emptiness, and writes into the section named by the name box.
TEST(ProfileValidation, EditScreenAsksThenChecksItsSubset)
{
    Editor editor;
    writeBytes(editor.profilesIni(), "[Acme]\r\nDonePer=Line\r\nCharPerLine=65\r\n");
    ProfileLists lists{{"Acme"}, 0};

    ProfileForm form = ProfileForm::forEdit(editor.store(), "Acme");
    editor.prompter.answers = {MessageAnswer::Cancel};
    EXPECT_EQ(form.save(editor.environment, lists).outcome, SaveOutcome::Stay);
    EXPECT_EQ(editor.prompter.messages.at(0),
              (Message{"Save", "Are you Sure You want to Save?", MessageIcon::Question, MessageButtons::YesNoCancel}));
    EXPECT_EQ(editor.prompter.beeps, 1);

    form.setText(C::txtCity, "Elsewhere");
    editor.prompter.answers = {MessageAnswer::No};
    EXPECT_EQ(form.save(editor.environment, lists).outcome, SaveOutcome::CloseUnwritten);
    EXPECT_EQ(editor.read("Acme", "City"), "<none>");

    form.setText(C::txtCharPerLine, "0");
    editor.prompter.answers = {MessageAnswer::Yes};
    const SaveResult zero = form.save(editor.environment, lists);
    EXPECT_EQ(zero.outcome, SaveOutcome::Stay);
    EXPECT_EQ(zero.focus, C::txtCharPerLine);
    EXPECT_EQ(editor.prompter.messages.back().text, "Please Edit Zero In Characters Per Line");

    form.setText(C::txtCharPerLine, "60");
    editor.prompter.answers = {MessageAnswer::Yes};
    EXPECT_EQ(form.save(editor.environment, lists).outcome, SaveOutcome::Saved);
    EXPECT_EQ(editor.read("Acme", "CharPerLine"), "60");
}

// The question about empty address boxes is asked only once the user has set
// `AddProfileSaveAsk` to "0" (a missing key means "do not ask") and a box is
// empty. Declined, nothing is saved; its tick turns the question off.
TEST(ProfileAddressQuestion, AskedOnlyWhenTurnedOnAndABoxIsEmpty)
{
    Editor editor;
    ProfileLists lists;
    ProfileForm quiet = validAddForm("Quiet");
    quiet.setText(C::mskZip, "");
    EXPECT_EQ(quiet.save(editor.environment, lists).outcome, SaveOutcome::Saved);
    writeBytes(editor.folder / "Options.ini", "[MAIN]\r\nAddProfileSaveAsk=0\r\n");
    EXPECT_EQ(validAddForm("Full").save(editor.environment, lists).outcome, SaveOutcome::Saved);
    EXPECT_TRUE(editor.questions.empty());

    ProfileForm form = validAddForm();
    form.setText(C::txtState, "");
    editor.answer = {false, true};
    const SaveResult declined = form.save(editor.environment, lists);
    EXPECT_EQ(declined.outcome, SaveOutcome::Stay);
    EXPECT_TRUE(declined.addressQuestionTurnedOff);
    ASSERT_EQ(editor.questions.size(), 1u);
    EXPECT_EQ(editor.questions[0].first, "Are You Sure You Would Like To Leave Some Of The Address Boxes Empty?");
    EXPECT_EQ(editor.questions[0].second, "Fields Blank - Quillmeter");
    EXPECT_EQ(editor.read("Acme", "City"), "<none>");
    EXPECT_EQ(lists.names, (std::vector<std::string>{"Quiet", "Full"}));
    EXPECT_EQ(editor.option("AddProfileSaveAsk"), "1");

    EXPECT_EQ(form.save(editor.environment, lists).outcome, SaveOutcome::Saved);
    EXPECT_EQ(editor.questions.size(), 1u);
    EXPECT_EQ(editor.read("Acme", "State"), "<none>");
}

// The add screen saves every key in its order and puts the name at the end
// of the lists; the edit screen writes in its own order (an empty text is
// not stored). The two orders themselves are checked with the store.
TEST(ProfileSave, BothScreensWriteInTheirOrder)
{
    Editor editor;
    writeBytes(editor.profileList(), "\"Zed\"\r\n");
    ProfileLists lists{{"Zed"}, 0};
    ASSERT_EQ(validAddForm().save(editor.environment, lists).outcome, SaveOutcome::Saved);
    std::vector<std::string> addOrder;
    for (std::string_view key : settings::editorWriteOrder(EditorScreen::Add))
        if (key != "DefaultTraversalPath")
            addOrder.emplace_back(key);
    EXPECT_EQ(keysOf(readBytes(editor.profilesIni())), addOrder);
    EXPECT_EQ(readBytes(editor.profileList()), "\"Zed\"\r\n\"Acme\"\r\n");
    EXPECT_EQ(lists.names, (std::vector<std::string>{"Zed", "Acme"}));
    EXPECT_EQ(lists.selected, 1);
    EXPECT_EQ(editor.read("Acme", "BillAmount"), "$1.25");
    EXPECT_EQ(editor.read("Acme", "DonePer"), "Line");
    EXPECT_EQ(editor.read("Acme", "DoNotCountBlankLine"), "0");
    EXPECT_EQ(editor.read("Acme", "ShowFileCreateInfo"), "None");

    Editor other;
    writeBytes(other.profilesIni(), "[Fresh]\r\n");
    ProfileForm edit = ProfileForm::forEdit(other.store(), "Fresh");
    edit.chooseBillingUnit("Line");
    edit.setText(C::txtCharPerLine, "65");
    edit.setText(C::txtAddress, "Somewhere");
    ASSERT_EQ(edit.save(other.environment, lists).outcome, SaveOutcome::Saved);
    std::vector<std::string> editOrder;
    for (std::string_view key : settings::editorWriteOrder(EditorScreen::Edit))
        if (key != "City" && key != "State" && key != "Zip" && key != "DefaultTraversalPath")
            editOrder.emplace_back(key);
    EXPECT_EQ(keysOf(readBytes(other.profilesIni())), editOrder);
}

// A name the settings file cannot hold as a section fails in the writer; the
// user is told, and the name does not join the lists.
TEST(ProfileSave, WriteFailureIsReportedAndListsUntouched)
{
    Editor editor;
    ProfileLists lists{{"Zed"}, 0};
    EXPECT_EQ(validAddForm("Bad]Name").save(editor.environment, lists).outcome, SaveOutcome::Stay);
    ASSERT_EQ(editor.prompter.messages.size(), 1u);
    EXPECT_EQ(editor.prompter.messages[0].title, "Error");
    EXPECT_EQ(editor.prompter.messages[0].icon, MessageIcon::Critical);
    EXPECT_NE(editor.prompter.messages[0].text.find("-Save Profile-"), std::string::npos);
    EXPECT_EQ(lists.names, std::vector<std::string>{"Zed"});
    EXPECT_FALSE(std::filesystem::exists(editor.profileList()));
}

// Both screens reset the same controls except the capitals on/off pair,
// which only the edit screen resets; the controls outside the reset keep
// what the user typed.
TEST(ProfileReset, EachScreensValues)
{
    Editor editor;
    writeBytes(editor.profilesIni(), "[P]\r\nDonePer=Page\r\n");
    for (EditorScreen screen : {EditorScreen::Add, EditorScreen::Edit}) {
        const bool edit = screen == EditorScreen::Edit;
        SCOPED_TRACE(edit ? "edit" : "add");
        ProfileForm form = edit ? ProfileForm::forEdit(editor.store(), "P") : validAddForm();
        form.chooseBillingUnit("Page");
        // Control, what the user set, what the reset leaves.
        const std::tuple<C, const char*, const char*> texts[] = {
            {C::txtCharPerLine, "80", "65"},
            {C::cboFiletype, "*.rtf", "*.doc"},
            {C::txtEnterAmount, "3.0", "1.0"},
            {C::txtCapsONOFFAmount, "7.0", edit ? "2.0" : "7.0"},
            {C::txtBillAmount, "$9.00", "$9.00"},
            {C::txtDtraversalPath, "/docs", "/docs"},
            {C::cboFileDateInfo, "Date Last Modified", "Date Last Modified"},
        };
        using S = CheckState;
        const std::tuple<C, S, S> checks[] = {
            {C::chkShowDocPath, S::Checked, S::Unchecked},
            {C::chkCountEachTab, S::Checked, S::Unchecked},
            {C::chkShowBillingRate, S::Checked, S::Unchecked},
            {C::chkTraverseHeaderAndFooter, S::Checked, S::Unchecked},
            {C::chkIncludeDate, S::Unchecked, S::Checked},
            {C::chkBoldONOFF, S::Unchecked, S::Checked},
            {C::chkCapsONOFFReal, S::Checked, edit ? S::Unchecked : S::Checked},
            {C::chkCountHeaderFooter, S::Checked, S::Checked},
        };
        for (const auto& [control, typed, reset] : texts)
            form.setText(control, typed);
        for (const auto& [control, set, reset] : checks)
            form.setCheck(control, set);
        const std::string name = form.text(C::txtNameProfile);

        RecordingPrompter declines;
        declines.answers = {MessageAnswer::No};
        EXPECT_FALSE(form.resetToDefaults(declines));
        EXPECT_EQ(form.text(C::txtCharPerLine), "80");
        EXPECT_EQ(declines.messages.at(0).text, "Reset To Default Settings?");
        EXPECT_EQ(declines.messages.at(0).title, "Reset Settings");

        RecordingPrompter accepts;
        EXPECT_TRUE(form.resetToDefaults(accepts));
        for (const auto& [control, typed, reset] : texts)
            EXPECT_EQ(form.text(control), reset) << controlInfo(control).name;
        for (const auto& [control, set, reset] : checks)
            EXPECT_EQ(form.check(control), reset) << controlInfo(control).name;
        EXPECT_EQ(form.text(C::txtNameProfile), name);
        EXPECT_EQ(form.text(C::cboDoneBy), "Line");
        EXPECT_TRUE(form.enabled(C::txtCharPerLine)); // the unit rule ran for "Line"
        EXPECT_EQ(form.check(C::chkLineCountWithSpaces), CheckState::Checked);
    }
}

// Edit needs a selected profile; closing a screen hands the browser the
// profile's file types and folder, or the defaults and the current folder.
TEST(ProfileEditCommand, NeedsASelectionAndSetsBrowserDefaults)
{
    RecordingPrompter prompter;
    EXPECT_FALSE(checkProfileSelectedForEdit(prompter, ProfileLists{{"A"}, -1}));
    EXPECT_EQ(prompter.messages, std::vector{info("Edit Profile", "Please Select A Profile From The List")});
    EXPECT_TRUE(checkProfileSelectedForEdit(prompter, ProfileLists{{"A"}, 0}));

    Editor editor;
    writeBytes(editor.profilesIni(), "[A]\r\nDocType=*.rtf\r\nDefaultTraversalPath=/work/docs\r\n[B]\r\n");
    const BrowserDefaults a = browserDefaultsOf(editor.store(), "A", "/home");
    const BrowserDefaults b = browserDefaultsOf(editor.store(), "B", "/home");
    EXPECT_EQ(a.docType + " " + a.traversalPath, "*.rtf /work/docs");
    EXPECT_EQ(b.docType + " " + b.traversalPath, "*.doc;*.rtf;*.txt;*.text /home");
}

// Nothing selected or Cancel changes nothing. Deleting Beta from Alpha,
// Beta, Gamma, Delta keeps the rest in order, removes only Beta's section and
// moves `ProfileToUse` off Beta; deleting a profile not in use leaves it.
TEST(ProfileDelete, MiddleProfileKeepsListOrder)
{
    Editor editor;
    const std::string profiles = "[Alpha]\r\nCity=A\r\n[Beta]\r\nCity=B\r\n[Gamma]\r\n[Delta]\r\n";
    writeBytes(editor.profilesIni(), profiles);
    writeBytes(editor.profileList(), "\"Alpha\"\r\n\"Beta\"\r\n\"Gamma\"\r\n\"Delta\"\r\n");
    writeBytes(editor.folder / "Options.ini", "[MAIN]\r\nProfileToUse=Beta\r\n");
    ProfileLists lists{{"Alpha", "Beta", "Gamma", "Delta"}, -1};
    EXPECT_FALSE(deleteSelectedProfile(editor.environment, lists).deleted);
    lists.selected = 1;
    editor.prompter.answers = {MessageAnswer::Cancel};
    EXPECT_FALSE(deleteSelectedProfile(editor.environment, lists).deleted);
    EXPECT_EQ(lists.names.size(), 4u);
    EXPECT_EQ(readBytes(editor.profilesIni()), profiles);

    const DeleteResult result = deleteSelectedProfile(editor.environment, lists);
    EXPECT_TRUE(result.deleted);
    // Cancel is the default: Enter alone never deletes a profile.
    EXPECT_EQ(editor.prompter.messages.front(), info("Delete Profile", "Please Select A Profile From The List"));
    EXPECT_EQ(editor.prompter.messages.back(), (Message{"Delete Profile", "Are You Sure You Want to Delete?",
                                                        MessageIcon::Question, MessageButtons::OkCancel, true}));
    EXPECT_EQ(lists.names, (std::vector<std::string>{"Alpha", "Gamma", "Delta"}));
    EXPECT_EQ(lists.selectedName(), "Gamma");
    EXPECT_EQ(result.nowSelected, std::optional<std::string>("Gamma"));
    EXPECT_EQ(readBytes(editor.profileList()), "\"Alpha\"\r\n\"Gamma\"\r\n\"Delta\"\r\n");
    EXPECT_EQ(readBytes(editor.profilesIni()), "[Alpha]\r\nCity=A\r\n[Gamma]\r\n[Delta]\r\n");
    EXPECT_EQ(editor.option("ProfileToUse"), "Gamma");

    // The last deleted selects the one before it; the only one left empties the list.
    lists.selected = 2;
    EXPECT_TRUE(deleteSelectedProfile(editor.environment, lists).deleted);
    EXPECT_EQ(lists.selectedName(), "Gamma");
    EXPECT_EQ(editor.option("ProfileToUse"), "Gamma"); // Delta was not in use
    EXPECT_TRUE(deleteSelectedProfile(editor.environment, lists).deleted);
    EXPECT_TRUE(deleteSelectedProfile(editor.environment, lists).deleted);
    EXPECT_EQ(lists.selected, -1);
    EXPECT_EQ(editor.option("ProfileToUse"), "<none>");
    EXPECT_EQ(readBytes(editor.profileList()), "");
}
