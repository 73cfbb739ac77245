// The keys of a billing profile: kinds, read defaults, reset values and write order.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace qm::settings {

enum class KeyKind
{
    Text,
    Amount,
    Flag,
    WholeNumber
};

/// Which of the two screens that save a profile is meant.
enum class EditorScreen
{
    Add,
    Edit
};

/// Which reading of a flag: the counting engine, count run and report take
/// only the exact text "1" as on; the edit screen ticks its box for anything
/// but "0", except for three flags it too tests for "1".
enum class FlagReading
{
    Engine,
    Editor
};

/// One key of a profile's section in Profiles.ini.
struct ProfileKey
{
    std::string_view name;
    KeyKind kind;
    /// What readers get when the key is absent.
    std::string_view readDefault;
    /// What the edit and add screens' "default settings" command puts in the
    /// control; std::nullopt where the command leaves the control alone.
    std::optional<std::string_view> editResetValue;
    std::optional<std::string_view> addResetValue;

    std::optional<std::string_view> resetValue(EditorScreen screen) const
    {
        return screen == EditorScreen::Edit ? editResetValue : addResetValue;
    }
};

/// The count run reads `BillAmount` with this default instead of the
/// editor's "$0.00".
inline constexpr std::string_view kBillAmountCountRunDefault = "0.00";

/// Every key of the record, in the order of the table below.
std::span<const ProfileKey> profileKeys();

/// The order in which a screen writes the keys on save.
std::span<const std::string_view> editorWriteOrder(EditorScreen screen);

/// The key with this name, compared without regard to case; nullptr if none.
const ProfileKey* findProfileKey(std::string_view name);

/// Whether a flag's text (the stored text, or the read default) is on.
bool flagIsOn(std::string_view key, std::string_view text, FlagReading reading);

} // namespace qm::settings
