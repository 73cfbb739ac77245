// Diagnostics that readers and engine operations attach to their results.
#pragma once

#include <string>

namespace qm::engine {

enum class Severity : uint8_t { Note, Warning, Error };

/// One problem found while reading or measuring. `code` is stable (for tests
/// and scripts), `location` says where (a part name, a byte offset), `message`
/// is lower case and says what the problem did to the counts.
struct Diagnostic {
    std::string code;
    Severity severity = Severity::Warning;
    std::string location;
    std::string message;
};

} // namespace qm::engine
