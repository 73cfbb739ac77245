// Filling and emptying the Chase List, with the buttons' messages.
#include "app/ChaseList.h"

#include "browser/FolderSearch.h"

#include <algorithm>

namespace qm::app {

namespace {

Message information(std::string title, std::string text)
{
    return Message{std::move(title), std::move(text), MessageIcon::Information, MessageButtons::Ok};
}

// The two limit messages differ by one word, and users have seen both.
const char* const addLimitText = "You Can Not Add More Then 32,767 Files To The Chase List";
const char* const searchLimitText = "You Can Not Add More Then 32,767 Files To The Traverse List";

} // namespace

void ChaseList::setSelected(size_t index, bool selected)
{
    if (index < m_entries.size())
        m_entries[index].selected = selected;
}

bool ChaseList::anySelected() const
{
    return std::any_of(m_entries.begin(), m_entries.end(), [](const Entry& e) { return e.selected; });
}

std::string ChaseList::counterText() const
{
    return "Files To Count:" + std::to_string(m_entries.size());
}

void ChaseList::append(std::string display, std::string path)
{
    m_entries.push_back(Entry{std::move(display), std::move(path), false});
}

// A linear scan, exact and case-sensitive: two paths that differ only in
// letter case are two entries.
bool ChaseList::holdsPath(const std::string& path) const
{
    return std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& e) { return e.path == path; });
}

size_t ChaseList::addFiles(const std::filesystem::path& folder, const std::vector<std::string>& names,
                           const std::vector<bool>* selected, Duplicates duplicates, Prompter& prompter,
                           const RunControl& control)
{
    if (control.stop)
        control.stop->clear();
    size_t added = 0;
    bool anyChosen = false;
    for (size_t i = 0; i < names.size(); ++i) {
        control.pump();
        if (m_entries.size() >= limit) {
            prompter.show(information("Files", addLimitText));
            break;
        }
        const bool chosen = !selected || (i < selected->size() && (*selected)[i]);
        if (chosen) {
            anyChosen = true;
            std::string path = browser::fullPath(folder, names[i]);
            if (duplicates == Duplicates::Allow || !holdsPath(path)) {
                append(names[i], std::move(path));
                ++added;
            }
        }
        if (control.stopRequested())
            break;
    }
    if (selected && !anyChosen)
        prompter.show(information("Add File", "Please Select A File To Add From The File List"));
    return added;
}

size_t ChaseList::addFromSearch(const std::filesystem::path& folder, const browser::FilePattern& pattern,
                                const std::optional<DateRange>& dates, Duplicates duplicates,
                                Prompter& prompter, const RunControl& control)
{
    if (control.stop)
        control.stop->clear();
    size_t added = 0;
    browser::searchFolder(folder, pattern, browser::SubFolders::Include, [&](const std::string& path) {
        control.pump();
        if (control.stopRequested())
            return browser::SearchStep::Stop;
        if (dates) {
            // The filter always looks at the creation day, whatever date the
            // profile shows beside a document.
            const auto created = browser::fileDate(path, browser::FileDateKind::Created);
            if (!created || !dates->contains(created->day))
                return browser::SearchStep::Continue;
        }
        if (duplicates == Duplicates::Refuse && holdsPath(path))
            return browser::SearchStep::Continue;
        if (m_entries.size() >= limit) {
            prompter.show(information("Files", searchLimitText));
            return browser::SearchStep::Stop;
        }
        append(std::filesystem::path(path).filename().string(), path);
        ++added;
        return browser::SearchStep::Continue;
    });
    return added;
}

void ChaseList::removeSelected(Prompter& prompter, const RunControl& control)
{
    if (!anySelected()) {
        prompter.show(information("Remove File", "Please Select A File To Remove From The Chase List"));
        return;
    }
    // One step per entry from the last up keeps the screen alive on a long
    // list; the entries go in one sweep so that removing thousands stays linear.
    for (size_t i = m_entries.size(); i-- > 0;)
        control.pump();
    std::erase_if(m_entries, [](const Entry& e) { return e.selected; });
}

} // namespace qm::app
