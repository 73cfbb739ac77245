// Folder listing and the depth-first folder search.
#include "browser/FolderSearch.h"

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace fs = std::filesystem;

namespace qm::browser {

namespace {

bool lessIgnoringCase(const std::string& a, const std::string& b)
{
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(), [](char x, char y) {
        return std::tolower(static_cast<unsigned char>(x)) < std::tolower(static_cast<unsigned char>(y));
    });
}

// Deep enough for any real tree; a deeper one is almost certainly a loop
// through bind mounts.
constexpr int maxDepth = 256;

bool searchInto(const fs::path& folder, const FilePattern& pattern, SubFolders subFolders,
                const std::function<SearchStep(const std::string&)>& visit, SearchReport& report, int depth)
{
    std::error_code error;
    if (subFolders == SubFolders::Include && depth < maxDepth) {
        const auto folders = listFolders(folder, error);
        if (error)
            report.unreadable.push_back(folder);
        for (const fs::path& sub : folders)
            if (!searchInto(sub, pattern, subFolders, visit, report, depth + 1))
                return false;
    }
    const auto files = listFiles(folder, pattern, error);
    if (error && (report.unreadable.empty() || report.unreadable.back() != folder))
        report.unreadable.push_back(folder);
    for (const std::string& name : files) {
        if (visit(fullPath(folder, name)) == SearchStep::Stop) {
            report.stopped = true;
            return false;
        }
    }
    return true;
}

} // namespace

std::vector<std::string> listFiles(const fs::path& folder, const FilePattern& pattern, std::error_code& error)
{
    std::vector<std::string> names;
    error.clear();
    fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, error);
    if (error)
        return names;
    for (; it != fs::directory_iterator(); it.increment(error)) {
        std::error_code statError;
        if (it->is_directory(statError))
            continue;
        std::string name = it->path().filename().string();
        if (pattern.matches(name))
            names.push_back(std::move(name));
    }
    std::sort(names.begin(), names.end(), lessIgnoringCase);
    return names;
}

std::vector<fs::path> listFolders(const fs::path& folder, std::error_code& error)
{
    std::vector<std::string> names;
    error.clear();
    fs::directory_iterator it(folder, fs::directory_options::skip_permission_denied, error);
    if (error)
        return {};
    for (; it != fs::directory_iterator(); it.increment(error)) {
        std::error_code statError;
        if (it->is_symlink(statError) || !it->is_directory(statError))
            continue;
        names.push_back(it->path().filename().string());
    }
    std::sort(names.begin(), names.end(), lessIgnoringCase);
    std::vector<fs::path> folders;
    folders.reserve(names.size());
    for (const std::string& name : names)
        folders.push_back(folder / name);
    return folders;
}

std::string fullPath(const fs::path& folder, std::string_view name)
{
    std::string path = folder.string();
    path += '/';
    path += name;
    std::string collapsed;
    collapsed.reserve(path.size());
    for (char c : path)
        if (!(c == '/' && !collapsed.empty() && collapsed.back() == '/'))
            collapsed += c;
    return collapsed;
}

SearchReport searchFolder(const fs::path& folder, const FilePattern& pattern, SubFolders subFolders,
                          const std::function<SearchStep(const std::string&)>& visit)
{
    SearchReport report;
    searchInto(folder, pattern, subFolders, visit, report, 0);
    return report;
}

std::optional<Message> pathSelectionProblem(const fs::path& node)
{
    std::error_code error;
    const bool isFolder = fs::is_directory(node, error);
    if (!error && isFolder) {
        fs::directory_iterator probe(node, error);
        if (!error)
            return std::nullopt;
    }
    if (!error || error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory)
        return Message{"Path", "The Select Node Is Not A Path", MessageIcon::Information, MessageButtons::Ok};
    // A drive whose medium is missing (an empty card reader or optical drive).
    if (error.value() == ENOMEDIUM || error == std::errc::io_error || error == std::errc::no_such_device)
        return Message{"Device", "The Selected Device Is Not Ready, Please Try Again Later.", MessageIcon::None,
                       MessageButtons::Ok};
    return errorReport(node.string() + ": " + error.message(), "-Path Selection-");
}

} // namespace qm::browser
