// File-name patterns as the Windows file dialogs and file lists match them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qm::browser {

/// One or more patterns separated by ";" ("*.doc;*.rtf;*.txt;*.text"). A
/// name matches when it matches any of them: `*` stands for any run of
/// characters, `?` for one, and letter case is ignored.
///
/// Windows also matches a pattern against a file's short 8.3 alias, so a
/// three-letter extension without wildcards ("*.doc") takes in the longer
/// extensions that begin with it (".docx", ".docm"). Users rely on that: the
/// default pattern finds their current Word documents too, and we keep it.
/// "*.*" and "*" match every name, with or without an extension.
class FilePattern {
public:
    explicit FilePattern(std::string_view patterns);

    bool matches(std::string_view fileName) const;
    bool empty() const { return m_patterns.empty(); }
    const std::vector<std::string>& patterns() const { return m_patterns; }

private:
    std::vector<std::string> m_patterns; // trimmed, lower-cased
};

} // namespace qm::browser
