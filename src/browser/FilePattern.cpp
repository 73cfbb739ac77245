// Windows-style wildcard matching of file names.
#include "browser/FilePattern.h"

#include <cctype>

namespace qm::browser {

namespace {

std::string lower(std::string_view s)
{
    std::string out(s);
    for (char& c : out)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return out;
}

std::string_view trim(std::string_view s)
{
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.front())))
        s.remove_prefix(1);
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back())))
        s.remove_suffix(1);
    return s;
}

// Iterative wildcard match with one backtrack point: linear for the patterns
// people type, and never exponential.
bool wildcard(std::string_view pattern, std::string_view name)
{
    size_t p = 0, n = 0, starP = std::string_view::npos, starN = 0;
    while (n < name.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (p < pattern.size() && pattern[p] == '*') {
            starP = p++;
            starN = n;
        } else if (starP != std::string_view::npos) {
            p = starP + 1;
            n = ++starN;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*')
        ++p;
    return p == pattern.size();
}

// "*.doc" also matches "x.docx" through the short-name alias "X~1.DOC".
bool matchesShortAlias(std::string_view pattern, std::string_view name)
{
    const size_t patternDot = pattern.rfind('.');
    const size_t nameDot = name.rfind('.');
    if (patternDot == std::string_view::npos || nameDot == std::string_view::npos)
        return false;
    const std::string_view ext = pattern.substr(patternDot + 1);
    if (ext.size() != 3 || ext.find_first_of("*?") != std::string_view::npos)
        return false;
    const std::string_view nameExt = name.substr(nameDot + 1);
    if (nameExt.size() <= 3 || nameExt.substr(0, 3) != ext)
        return false;
    return wildcard(pattern.substr(0, patternDot), name.substr(0, nameDot));
}

} // namespace

FilePattern::FilePattern(std::string_view patterns)
{
    while (!patterns.empty()) {
        const size_t semi = patterns.find(';');
        const std::string_view one = trim(patterns.substr(0, semi));
        if (!one.empty())
            m_patterns.push_back(lower(one));
        if (semi == std::string_view::npos)
            break;
        patterns.remove_prefix(semi + 1);
    }
}

bool FilePattern::matches(std::string_view fileName) const
{
    const std::string name = lower(fileName);
    for (const std::string& p : m_patterns) {
        if (p == "*.*" || p == "*")
            return true;
        if (wildcard(p, name) || matchesShortAlias(p, name))
            return true;
    }
    return false;
}

} // namespace qm::browser
