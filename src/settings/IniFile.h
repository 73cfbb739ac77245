// An INI file held as its lines, with the lookup and edit rules of Windows private profiles.
#pragma once

#include "settings/Encoding.h"
#include "settings/Result.h"
#include "settings/SafeFile.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::settings {

/// One INI file as a list of lines that keep their exact bytes and line
/// endings, so that an edit changes only the lines it must and a file brought
/// from Windows keeps its comments, unknown keys, order, CRLF endings and code
/// page.
///
/// Reading rules, as the Windows private-profile services apply them:
/// section and key names match without regard to case and with blanks around
/// them ignored; the first matching section, and in it the first matching key,
/// wins; blanks around a value are dropped and a value wrapped in matching
/// double or single quotes loses them; lines starting with ";" are comments;
/// lines without "=" inside a section and keys before the first section are
/// kept but never match. A NUL byte ends a line's meaning (the rest is kept).
///
/// Text goes in and out as UTF-8. A file that is not valid UTF-8 is taken as
/// Windows-1252 (what the Windows version writes) and new lines are written
/// in that code page too.
class IniFile
{
public:
    /// An empty file, written as UTF-8 with CRLF line endings.
    IniFile() = default;

    /// Parses raw file bytes; never fails, whatever the bytes.
    static IniFile parse(std::string_view bytes);

    /// The file's content; a missing file gives an empty IniFile.
    static Result<IniFile> load(const std::filesystem::path& file);

    /// The bytes to write back; identical to the parsed bytes until an edit.
    std::string serialize() const;

    Encoding encoding() const { return m_encoding; }

    /// The value of the first matching key in the first matching section.
    std::optional<std::string> value(std::string_view section, std::string_view key) const;
    /// Every section name in file order, duplicates and empty names included.
    std::vector<std::string> sectionNames() const;
    /// The key names of the first matching section; std::nullopt without one.
    std::optional<std::vector<std::string>> keyNames(std::string_view section) const;
    bool hasSection(std::string_view section) const;

    /// Sets a value: replaces the first matching key's line in place, or adds
    /// the key after the last line of the section that is neither blank nor a
    /// comment, or adds the section at the end of the file. Fails, changing nothing, for a name or
    /// value the file cannot hold (a line break, "=" in a key, "]" in a
    /// section name, a character outside the file's code page).
    Result<void> setValue(std::string_view section, std::string_view key, std::string_view value);
    /// Removes the first matching key of the first matching section; false when absent.
    bool removeKey(std::string_view section, std::string_view key);
    /// Removes the first matching section with every line up to the next
    /// section; false when absent.
    bool removeSection(std::string_view section);
    /// Replaces the body of a section by the given lines ("key=value"),
    /// creating the section when needed; empty pieces are skipped.
    Result<void> replaceSectionBody(std::string_view section,
                                    const std::vector<std::string>& lines);

private:
    enum class Kind
    {
        Other,
        Section,
        Key
    };
    struct Line
    {
        std::string raw;    // bytes in the file's encoding, without the ending
        std::string ending; // "\r\n", "\n" or "" for a last line without one
        Kind kind = Kind::Other;
        std::string name;   // UTF-8, trimmed: section or key name
        std::string folded; // name folded for comparison
        std::string value;  // UTF-8, trimmed and unquoted (keys only)
    };

    static Line makeLine(std::string raw, std::string ending, Encoding encoding);
    size_t findSection(std::string_view section) const;
    size_t sectionEnd(size_t header) const;
    size_t findKey(size_t header, std::string_view key) const;
    std::string newLineEnding() const;
    void insertLine(size_t at, std::string raw);
    Result<std::string> encoded(std::string_view utf8) const;

    std::vector<Line> m_lines;
    Encoding m_encoding = Encoding::Utf8;
    bool m_byteOrderMark = false;
};

/// Locks the file, loads it, lets `edit` change it and writes it back
/// atomically when `edit` reports a change (returns true). Two processes
/// editing the same file at once each see the other's finished edit. An edit
/// that fails returns its error text, and the file is left as it was.
WriteResult editIniFile(const std::filesystem::path& file,
                        const std::function<Result<bool>(IniFile&)>& edit);

} // namespace qm::settings
