// Writing a document of our model as a Word package (.docx) of hand-written WordprocessingML.
#pragma once

#include "engine/model/Document.h"

#include <filesystem>
#include <map>
#include <string>

namespace qm::engine {

/// What a write did: ok, or why the file could not be written.
struct WriteResult {
    std::string error;
    bool ok() const { return error.empty(); }
};

/// The parts of the package, by part name ("word/document.xml"), as text.
/// Writes paragraphs with their resolved formats, tables (grid, widths,
/// shading, borders, merges), sections with page setup, headers and footers,
/// and fields (a PAGE field stays a field). Notes, pictures and list labels
/// are not written: nothing the program builds has them.
[[nodiscard]] std::map<std::string, std::string> docxParts(const Document& document);

/// Writes the package to `path` through a temporary file in the same folder
/// that is renamed over `path` at the end, so a failed write never leaves a
/// half-written document behind nor harms one already there.
[[nodiscard]] WriteResult writeDocx(const Document& document, const std::filesystem::path& path);

} // namespace qm::engine
