// The Chase List: the queue of documents a count or print run works through.
#pragma once

#include "app/RunControl.h"
#include "browser/FileDates.h"
#include "browser/FilePattern.h"
#include "engine/Prompter.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace qm::app {

enum class Duplicates { Refuse, Allow };

/// An inclusive range of creation days for "Add By Date".
struct DateRange {
    browser::Day from;
    browser::Day to;
    bool contains(const browser::Day& d) const { return from <= d && d <= to; }
};

/// Two parallel lists kept in step: the text shown for each entry (the file
/// name as the browser lists it) and its full path, plus the selection of
/// the visible list. At most `limit` entries.
class ChaseList {
public:
    static constexpr size_t limit = 32767;

    struct Entry {
        std::string display;
        std::string path;
        bool selected = false;
    };

    size_t size() const { return m_entries.size(); }
    bool empty() const { return m_entries.empty(); }
    const Entry& operator[](size_t i) const { return m_entries[i]; }
    const std::vector<Entry>& entries() const { return m_entries; }
    void setSelected(size_t index, bool selected);
    bool anySelected() const;

    /// "Files To Count:" and the number of entries.
    std::string counterText() const;

    /// "Add Files" (only the names flagged in `selected`) and "Add All" (every
    /// name): files of the browser's current folder, first to last. Shows the
    /// limit message when the list is full, and "Please Select A File To Add
    /// From The File List" when Add Files had nothing selected. Returns the
    /// number of entries added.
    size_t addFiles(const std::filesystem::path& folder, const std::vector<std::string>& names,
                    const std::vector<bool>* selected, Duplicates duplicates, Prompter& prompter,
                    const RunControl& control);

    /// "Add Subfolders" and "Add By Date": the folder search from `folder`
    /// into every sub-folder (depth first, sub-folders before a folder's own
    /// files), adding each matching file; with a date range, only files whose
    /// creation day lies in it. Stops at the limit with its message, or when
    /// the stop flag is set. Returns the number of entries added.
    size_t addFromSearch(const std::filesystem::path& folder, const browser::FilePattern& pattern,
                         const std::optional<DateRange>& dates, Duplicates duplicates, Prompter& prompter,
                         const RunControl& control);

    /// "Remove Files": every selected entry, from the last up, from both
    /// lists; "Please Select A File To Remove From The Chase List" when none is.
    void removeSelected(Prompter& prompter, const RunControl& control);
    void removeAll() { m_entries.clear(); }

    /// Appends without the buttons' checks (restoring a saved list, tests).
    void append(std::string display, std::string path);

private:
    bool holdsPath(const std::string& path) const;

    std::vector<Entry> m_entries;
};

} // namespace qm::app
