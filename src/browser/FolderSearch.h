// Listing a folder's documents and searching a folder tree for them.
#pragma once

#include "browser/FilePattern.h"
#include "engine/Prompter.h"

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace qm::browser {

enum class SubFolders { Exclude, Include };
enum class SearchStep { Continue, Stop };

/// The names of a folder's files that match the pattern, in the order a file
/// list shows them (by name, letter case ignored). Folders are left out.
/// Fails (error set, nothing listed) when the folder cannot be read.
std::vector<std::string> listFiles(const std::filesystem::path& folder, const FilePattern& pattern,
                                   std::error_code& error);

/// A folder's sub-folders in display order. Symbolic links to folders are
/// left out so that a link cycle cannot make a search endless.
std::vector<std::filesystem::path> listFolders(const std::filesystem::path& folder,
                                               std::error_code& error);

/// A file's full path: the folder and the name, with doubled separators collapsed.
std::string fullPath(const std::filesystem::path& folder, std::string_view name);

struct SearchReport {
    std::vector<std::filesystem::path> unreadable; ///< folders skipped because they could not be read
    bool stopped = false;
};

/// Depth first: with sub-folders included, every sub-folder is searched
/// (recursively) before the folder's own files; each matching file's full
/// path goes to `visit`, which may stop the whole search.
SearchReport searchFolder(const std::filesystem::path& folder, const FilePattern& pattern,
                          SubFolders subFolders,
                          const std::function<SearchStep(const std::string& path)>& visit);

/// What choosing a node of the folder tree shows: nothing when the node is a
/// folder the file list can show, else the message the browser shows while
/// it keeps its previous folder ("The Select Node Is Not A Path" for a node
/// that is no folder, the device message for a drive without its medium, the
/// common error report tagged "-Path Selection-" for anything else).
std::optional<Message> pathSelectionProblem(const std::filesystem::path& node);

} // namespace qm::browser
