// Parsing package parts with pugixml and reading elements by their local names.
#pragma once

#include <pugixml.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qm::engine::xml {

/// Parses `bytes` into `doc`. DOCTYPE declarations are skipped and never
/// expanded (no external or internal entities, no network); an unknown
/// entity stays as its literal text. Whitespace-only text is kept, since a
/// run of spaces is real text. A tree nested deeper than `maxDepth` is
/// refused so that the readers' recursive walks stay bounded. Returns an
/// empty string on success, else what went wrong.
std::string parse(const std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth);
/// The same, parsing in `bytes` itself rather than in a copy: the document's
/// names and texts point into them, so they must outlive the document and
/// stay untouched while it is read.
std::string parseInPlace(std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth);

/// The name after the namespace prefix ("p" for "w:p"). Names are short and
/// read by the million, so one pass finds both the colon and the end.
inline std::string_view localName(const char* qualified)
{
    const char* p = qualified;
    while (*p && *p != ':')
        ++p;
    if (!*p)
        return {qualified, static_cast<size_t>(p - qualified)};
    const char* start = ++p;
    while (*p)
        ++p;
    return {start, static_cast<size_t>(p - start)};
}
inline std::string_view localName(const pugi::xml_node& node) { return localName(node.name()); }

/// Whether a qualified name has the given local name. Most names asked about
/// differ from the one wanted in their first letter or two, so this stops at
/// the first difference rather than measuring the whole name first.
inline bool hasLocalName(const char* qualified, std::string_view local)
{
    const char* p = qualified;
    while (*p && *p != ':')
        ++p;
    const char* s = *p ? p + 1 : qualified;
    for (char c : local)
        if (*s++ != c)
            return false; // also stops at the name's end, since `local` holds no NUL
    return *s == '\0';
}
inline bool is(const pugi::xml_node& node, std::string_view local) { return hasLocalName(node.name(), local); }

/// The first child element, or attribute, with the given local name.
pugi::xml_node child(const pugi::xml_node& node, std::string_view local);
pugi::xml_attribute attr(const pugi::xml_node& node, std::string_view local);
/// The first descendant element with the given local name (iterative).
pugi::xml_node descendant(const pugi::xml_node& node, std::string_view local);

/// An attribute's value, or an empty view when absent.
std::string_view value(const pugi::xml_node& node, std::string_view local);

/// Integers as written in XML; nullopt when absent or malformed. Values out
/// of range are clamped rather than wrapped.
std::optional<int64_t> toInt(std::string_view text);
int32_t clampInt32(int64_t v);

} // namespace qm::engine::xml
