// The profile store: profile values in Profiles.ini and the ordered names in ProfileList.log.
#pragma once

#include "settings/Encoding.h"
#include "settings/ProfileRecord.h"
#include "settings/Result.h"
#include "settings/SafeFile.h"
#include "settings/SettingsContext.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::settings {

/// Why a text cannot be a profile name (blank, or holding a line break, a
/// NUL or "]", which a section header cannot hold); std::nullopt when it can.
std::optional<std::string> profileNameProblem(std::string_view name);

/// One name as a record of ProfileList.log, without the line ending: the name
/// in double quotes. A double quote inside the name is written twice
/// ("Say ""Hi""" for Say "Hi"), the usual rule for quoted fields; the Windows
/// version writes it once, which its own reader cannot read back.
std::string formatProfileListRecord(std::string_view name);

/// The names in the text of ProfileList.log, read field by field as the
/// sequential "input" form reads them. A quoted field runs to its closing
/// quote, a doubled quote inside standing for one (so every name written by
/// formatProfileListRecord comes back unchanged); text between the closing
/// quote and the next comma or line end is dropped, and a quote left open
/// ends at the line end. An unquoted field runs to the next comma or line
/// end, blanks around it dropped. Empty fields are skipped. Never fails.
std::vector<std::string> parseProfileList(std::string_view text);

/// Profiles on disk. Every call reads the files afresh; nothing is cached.
/// Profile names are section names of Profiles.ini, so they match without
/// regard to case.
class ProfileStore
{
public:
    explicit ProfileStore(SettingsContext context) : m_context(std::move(context)) {}

    std::filesystem::path profilesFile() const;
    std::filesystem::path profileListFile() const;

    /// The stored text of the key, or its read default.
    std::string read(std::string_view profile, const ProfileKey& key) const;
    /// Whether a flag of the profile is on under the given reading.
    bool flag(std::string_view profile, const ProfileKey& key, FlagReading reading) const;
    /// Writes one key as WriteINI does: an empty value removes the key.
    WriteResult write(std::string_view profile, const ProfileKey& key,
                      std::string_view value) const;

    /// Saves a whole profile as the editor screens do: every key of the
    /// screen's write order that has a value in `values` is written in that
    /// order (empty values remove their key), in one locked update.
    WriteResult saveProfile(std::string_view profile,
                            std::span<const std::pair<std::string_view, std::string>> values,
                            EditorScreen screen) const;

    struct Entry
    {
        const ProfileKey* key;
        std::string value; // stored text, or the read default
        bool stored;
    };
    /// Every key of the record in table order with its effective value.
    /// Fails only when Profiles.ini exists but cannot be read.
    Result<std::vector<Entry>> record(std::string_view profile) const;

    /// Whether Profiles.ini has a section for the name.
    Result<bool> hasSection(std::string_view profile) const;

    /// The names of ProfileList.log in order; a missing file is an empty list.
    Result<std::vector<std::string>> loadProfileList() const;
    /// Rewrites ProfileList.log with the non-empty names, in order.
    WriteResult SaveProfileList(std::span<const std::string> names) const;
    /// The profile's name as listed in ProfileList.log, or else as its
    /// section in Profiles.ini is spelt (either makes it a usable profile),
    /// matched without regard to case; std::nullopt when neither exists.
    Result<std::optional<std::string>> find(std::string_view profile) const;
    /// Appends a name to ProfileList.log; fails when the name cannot be a
    /// profile name or (compared without regard to case) is already listed.
    /// Writes no key.
    WriteResult addProfile(std::string_view profile) const;
    /// Deletes a profile as the main screen's delete command does: the name
    /// leaves ProfileList.log (the other names keep their order), the option
    /// `ProfileToUse` is removed when it names the profile, and the profile's
    /// section leaves Profiles.ini. Fails when the name is neither listed nor
    /// has a section.
    WriteResult deleteProfile(std::string_view profile) const;

private:
    WriteResult writeProfileList(std::span<const std::string> names, Encoding encoding) const;

    SettingsContext m_context;
};

} // namespace qm::settings
