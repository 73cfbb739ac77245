// The keys of a billing profile: kinds, read defaults, reset values and write order.
#include "settings/ProfileRecord.h"

#include "settings/Encoding.h"

#include <array>

namespace qm::settings {

namespace {

using K = KeyKind;
constexpr std::nullopt_t same = std::nullopt; // the reset command leaves the control alone

constexpr ProfileKey kKeys[] = {
    {"Address", K::Text, "", same, same},
    {"City", K::Text, "", same, same},
    {"State", K::Text, "", same, same},
    {"Zip", K::Text, "", same, same},
    {"BillAmount", K::Text, "$0.00", same, same},
    {"DonePer", K::Text, "", "Line", "Line"},
    {"EnterAmount", K::Amount, "1.0", "1.0", "1.0"},
    {"BoldCharAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"BoldONOFFAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"ItalicCharAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"ItalicONOFFAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"UnderlineCharAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"UnderlineONOFFAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"SuperScriptCharsONOFFAmount", K::Amount, "1.0", "1.0", "1.0"},
    {"SubScriptCharsONOFFAmount", K::Amount, "1.0", "1.0", "1.0"},
    {"TableAmount", K::Amount, "1.0", "1.0", "1.0"},
    {"CapsCharAmount", K::Amount, "2.0", "2.0", "2.0"},
    {"CapsCharONOFFAmount", K::Amount, "2.0", "2.0", same},
    {"TabsAmount", K::Amount, "1.0", "1.0", "1.0"},
    {"DefaultTraversalPath", K::Text, "", same, same},
    {"DocType", K::Text, "*.doc;*.rtf;*.txt;*.text", "*.doc", "*.doc"},
    {"LineCountWithSpaces", K::Flag, "0", "1", "1"},
    {"HeadAndFooter", K::Flag, "0", "1", "1"},
    {"PrintCountedDoc", K::Flag, "0", "1", "1"},
    {"IncludeDate", K::Flag, "0", "1", "1"},
    {"CountReturnAndEnter", K::Flag, "0", "1", "1"},
    {"CountBoldCharAs2", K::Flag, "0", "0", "0"},
    {"CountUnderlineCharAs2", K::Flag, "0", "0", "0"},
    {"CountItalicCharAs2", K::Flag, "0", "0", "0"},
    {"ShowReportInWord", K::Flag, "1", "1", "1"},
    {"TableColor", K::Flag, "1", "1", "1"},
    {"ShowDocPath", K::Flag, "0", "0", "0"},
    {"BoldONOFF2", K::Flag, "0", "1", "1"},
    {"UnderLineONOFF2", K::Flag, "0", "1", "1"},
    {"CountHeaderFooter", K::Flag, "1", same, same},
    {"ItalicONOFF2", K::Flag, "0", "1", "1"},
    {"SuperScriptCharsONOFF", K::Flag, "0", "0", "0"},
    {"SubScriptCharsONOFF", K::Flag, "0", "0", "0"},
    {"CountTables", K::Flag, "0", "0", "0"},
    {"CountCaps", K::Flag, "0", "0", "0"},
    {"CountCapsONOFF", K::Flag, "0", "0", same},
    {"CountTabs", K::Flag, "0", "0", "0"},
    {"TraverseHeaderAndFooter", K::Flag, "0", "0", "0"},
    {"RoundCountToNearestWholeNumber", K::Flag, "0", "0", "0"},
    {"TraverseHeaderAndFooterFirstPage", K::Flag, "0", "0", "0"},
    {"DoNotCountBlankLine", K::Flag, "0", same, same},
    {"ShowBillingRate", K::Flag, "0", "0", "0"},
    {"CharPerLine", K::WholeNumber, "0", "65", "65"},
    {"ShowFileCreateInfo", K::Text, "NONE", same, same},
};

// The add screen saves the keys in table order. The edit screen saves the
// same keys with two moved: `CountBoldCharAs2` before `CountReturnAndEnter`,
// and `DonePer` after `ShowBillingRate`. The order matters to anyone
// comparing files saved by the two screens (a new key goes at the end of its
// section), so both orders are kept exactly.
constexpr std::array<std::string_view, std::size(kKeys)> kAddOrder = [] {
    std::array<std::string_view, std::size(kKeys)> order{};
    for (size_t i = 0; i < std::size(kKeys); ++i)
        order[i] = kKeys[i].name;
    return order;
}();

constexpr std::array<std::string_view, std::size(kKeys)> kEditOrder = [] {
    std::array<std::string_view, std::size(kKeys)> order{};
    size_t n = 0;
    for (const ProfileKey& key : kKeys) {
        if (key.name == "DonePer")
            continue;
        if (key.name == "CountReturnAndEnter")
            continue;
        if (key.name == "CountBoldCharAs2") {
            order[n++] = "CountBoldCharAs2";
            order[n++] = "CountReturnAndEnter";
            continue;
        }
        order[n++] = key.name;
        if (key.name == "ShowBillingRate")
            order[n++] = "DonePer";
    }
    return order;
}();

// The edit screen tests these three for "1" like the engine does.
constexpr std::string_view kEditorExactFlags[] = {"DoNotCountBlankLine", "LineCountWithSpaces",
                                                  "ShowBillingRate"};

} // namespace

std::span<const ProfileKey> profileKeys()
{
    return kKeys;
}

std::span<const std::string_view> editorWriteOrder(EditorScreen screen)
{
    if (screen == EditorScreen::Edit)
        return kEditOrder;
    return kAddOrder;
}

const ProfileKey* findProfileKey(std::string_view name)
{
    for (const ProfileKey& key : kKeys)
        if (equalsIgnoringCase(key.name, name))
            return &key;
    return nullptr;
}

bool flagIsOn(std::string_view key, std::string_view text, FlagReading reading)
{
    if (reading == FlagReading::Engine)
        return text == "1";
    for (std::string_view exact : kEditorExactFlags)
        if (key == exact)
            return text == "1";
    return text != "0";
}

} // namespace qm::settings
