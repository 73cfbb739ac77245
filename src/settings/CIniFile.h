// cInifile: the object form of INI access, with key/section lists and window placement.
#pragma once

#include "settings/SafeFile.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qm::settings {

/// A window whose placement cInifile can save and restore; the screens
/// implement it. Positions and sizes are in the screen's own units.
class WindowGeometry
{
public:
    enum class State
    {
        Normal,
        Minimised,
        Maximised
    };

    virtual ~WindowGeometry() = default;
    virtual State windowState() const = 0;
    virtual void setWindowState(State state) = 0;
    virtual long left() const = 0;
    virtual long top() const = 0;
    virtual long width() const = 0;
    virtual long height() const = 0;
    virtual void setGeometry(long left, long top, long width, long height) = 0;
};

/// An INI file addressed by full path, with a current section, key and
/// default, in the shape the Windows version's screens use: set Path,
/// Section, Key (and Default), then read or write Value. Writes and deletes
/// store 1 (success) or 0 in LastReturnCode; lastError() says why a write
/// failed. Reads never fail: a missing or unreadable file gives the default.
/// Member names follow the Windows version, where they are properties.
class cInifile
{
public:
    /// Size of the buffer a Value read uses; at most 254 characters come back.
    static constexpr size_t kValueBufferSize = 255;
    /// Size of the buffer the name lists use.
    static constexpr size_t kListBufferSize = 8192;

    std::int32_t LastReturnCode() const { return m_lastReturnCode; }
    bool Success() const { return m_lastReturnCode != 0; }

    const std::string& Default() const { return m_default; }
    void Default(std::string_view text) { m_default = text; }
    const std::string& Path() const { return m_path; }
    void Path(std::string_view path) { m_path = path; }
    const std::string& Key() const { return m_key; }
    void Key(std::string_view key) { m_key = key; }
    const std::string& Section() const { return m_section; }
    void Section(std::string_view section) { m_section = section; }

    /// Section/Key of Path, or Default; cut to 254 characters.
    std::string Value() const;
    /// Writes the text under Section/Key with every NUL character cut out.
    /// An empty text is stored as an empty value (only WriteINI deletes).
    void Value(std::string_view text);
    void DeleteKey();
    void DeleteSection();

    /// The key names of Section, each followed by one NUL.
    std::string INISection() const;
    /// Replaces the body of Section by the NUL-separated "key=value" lines.
    void INISection(std::string_view body);
    /// The section names of the file, each followed by one NUL.
    std::string Sections() const;

    /// The key names of Section, in file order; an empty name between two
    /// NULs is kept. sKey[0] is the first name (index 1 in the Windows version).
    void EnumerateCurrentSection(std::vector<std::string>& sKey, long& iCount) const;
    /// The section names of the file, in file order; empty names are skipped.
    void EnumerateAllSections(std::vector<std::string>& sSections, long& iCount) const;

    /// Stores a window's placement under Section: "Maximised" and, when the
    /// window is not maximised, "Left", "Top", "Width", "Height". A minimised
    /// window stores nothing. Key is kept.
    void SaveFormPosition(const WindowGeometry& frmThis);
    /// Restores what SaveFormPosition stored. A missing or unreadable value
    /// leaves that coordinate as it is; the size is kept at least at the
    /// minimum width and height. Key and Default are kept.
    void LoadFormPosition(WindowGeometry& frmThis, long lMinWidth, long lMinHeight);

    /// The text as a 32-bit integer, rounding halves to even as the Windows
    /// version's conversion does; the default for anything that does not convert.
    static long CLngDefault(std::string_view sString, long lDefault);

    /// Why the last write or delete failed; empty after a success.
    const std::string& lastError() const { return m_lastError; }

private:
    void record(const WriteResult& result);
    static void splitList(const std::string& list, std::vector<std::string>& items, long& count,
                          bool skipEmpty);

    std::string m_path;
    std::string m_section;
    std::string m_key;
    std::string m_default;
    std::int32_t m_lastReturnCode = 0;
    std::string m_lastError;
};

} // namespace qm::settings
