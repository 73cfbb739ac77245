// SHA-256 fingerprints of documents: what proves a document was billed.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace qm::ledger {

/// The SHA-256 of the bytes, as 64 lower-case hexadecimal digits.
std::string sha256Hex(std::string_view bytes);

/// The SHA-256 of a file's bytes, read in blocks so a large document is never
/// held whole; nothing when the file cannot be read, with the reason in `error`.
std::optional<std::string> sha256OfFile(const std::filesystem::path& file, std::string& error);

} // namespace qm::ledger
