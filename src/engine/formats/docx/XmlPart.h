// Parsing package parts with pugixml and reading elements by their local names.
#pragma once

#include <pugixml.hpp>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::engine::xml {

/// Removes from `bytes` the first child of the root element with each of
/// the local names given, where what it holds is plain: elements with
/// quoted attributes and blank text between them, and nothing else. A reader
/// that never looks inside such a child (a style sheet's latent styles, a
/// few hundred entries of four attributes each) is spared parsing it. The
/// text before each child is followed element by element, and nothing after
/// the last one is looked at. A document type or anything else the scan
/// does not follow leaves `bytes` as they were, and a child holding more
/// than plain elements, or anything deeper than `maxDepth` (the root's
/// children are at 1), stays: leaving it out could hide a fault the parse
/// would report. A fault after a removed child is not looked for, so a part
/// that fails to parse once something was removed must be parsed again as
/// it came for the fault to be reported where it lies. Returns how many
/// bytes were removed.
size_t dropPlainChildren(std::string& bytes, std::initializer_list<std::string_view> locals, uint32_t maxDepth);

/// Where the child elements of one element lie in a part's text, for a
/// reader that parses them one at a time: a document part's body holds
/// everything it says, and parsed whole it makes a tree several times the
/// size of its text (a 12 MB part, a 50 MB tree). Each child parsed alone
/// gives the tree it has in the whole part.
struct ChildElements {
    size_t contentBegin = 0; ///< just after the container's start tag
    size_t contentEnd = 0;   ///< at the container's end tag
    /// Each child element's start and length (from its '<' to the end of
    /// its end tag).
    std::vector<std::pair<size_t, size_t>> spans;
};

/// Finds the child elements of the root's first child named `container`
/// (by local name), following the text tag by tag: element names matched
/// against their end tags, quoted attribute values, comments, processing
/// instructions and CDATA sections inside the children. False when the
/// text holds anything the scan does not follow, so that the part is parsed
/// whole instead: a document type, an encoding other than UTF-8, a byte
/// order mark, a name outside ASCII, text or markup other than blanks
/// between the container's children, a NUL byte there, or no such
/// container. The part with the children's content left out (prolog, root,
/// the empty container and the rest) is `text` without [contentBegin,
/// contentEnd).
bool findChildElements(std::string_view text, std::string_view container, ChildElements& out);

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
/// The same over one stretch of `bytes` (one element found by
/// findChildElements), read as UTF-8: the stretch is parsed where it lies
/// and must outlive the document as the whole would.
std::string parseStretchInPlace(std::string& bytes, size_t start, size_t length, pugi::xml_document& doc,
                                uint32_t maxDepth);

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

namespace records {

// pugixml's node and attribute records as the library lays them out (its
// usual build, without the compact mode). The helpers below run by the
// million over every part and walk the records directly, where the
// library's interface would take a call for each step, each name and each
// type. `match` compares the two readings on a small tree once; should a
// build of the library lay its records out otherwise, the helpers go
// through its interface.
struct Attribute {
    uintptr_t header;
    char* name;
    char* value;
    Attribute* previousCyclic;
    Attribute* next;
};
struct Node {
    uintptr_t header; // the node type in its lowest four bits
    char* name;
    char* value;
    Node* parent;
    Node* firstChild;
    Node* previousCyclic;
    Node* next;
    Attribute* firstAttribute;
};
bool matchLibrary();
inline const bool match = matchLibrary();

inline const Node* of(const pugi::xml_node& node) { return reinterpret_cast<const Node*>(node.internal_object()); }
inline bool isElement(const Node* n) { return (n->header & 15) == pugi::node_element; }

} // namespace records

pugi::xml_node childThroughLibrary(const pugi::xml_node& node, std::string_view local);
pugi::xml_attribute attrThroughLibrary(const pugi::xml_node& node, std::string_view local);

/// The first child element, or attribute, with the given local name.
inline pugi::xml_node child(const pugi::xml_node& node, std::string_view local)
{
    if (!records::match)
        return childThroughLibrary(node, local);
    const records::Node* n = records::of(node);
    for (const records::Node* c = n ? n->firstChild : nullptr; c; c = c->next)
        if (records::isElement(c) && c->name && hasLocalName(c->name, local))
            return pugi::xml_node(reinterpret_cast<pugi::xml_node_struct*>(const_cast<records::Node*>(c)));
    return {};
}
inline pugi::xml_attribute attr(const pugi::xml_node& node, std::string_view local)
{
    if (!records::match)
        return attrThroughLibrary(node, local);
    const records::Node* n = records::of(node);
    for (records::Attribute* a = n ? n->firstAttribute : nullptr; a; a = a->next)
        if (a->name && hasLocalName(a->name, local))
            return pugi::xml_attribute(reinterpret_cast<pugi::xml_attribute_struct*>(a));
    return {};
}
/// The first descendant element with the given local name (iterative).
pugi::xml_node descendant(const pugi::xml_node& node, std::string_view local);

/// An attribute's value, or an empty view when absent.
inline std::string_view value(const pugi::xml_node& node, std::string_view local)
{
    if (!records::match) {
        const pugi::xml_attribute a = attrThroughLibrary(node, local);
        return a ? std::string_view(a.value()) : std::string_view();
    }
    const records::Node* n = records::of(node);
    for (const records::Attribute* a = n ? n->firstAttribute : nullptr; a; a = a->next)
        if (a->name && hasLocalName(a->name, local))
            return a->value ? std::string_view(a->value) : std::string_view();
    return {};
}

/// The values of the first attributes with each of the local names given
/// (an empty view for one that is absent): what value() gives for each, in
/// one pass over the attributes, for an element read for several of them
/// (a run's fonts, a border's four settings).
template <size_t N>
std::array<std::string_view, N> values(const pugi::xml_node& node, const std::string_view (&locals)[N])
{
    static_assert(N <= 32);
    std::array<std::string_view, N> out{};
    uint32_t found = 0;
    auto see = [&](const char* name, const char* text) {
        const std::string_view local = localName(name);
        for (size_t k = 0; k < N; ++k)
            if (!(found & (1u << k)) && local == locals[k]) {
                found |= 1u << k;
                out[k] = text;
                return;
            }
    };
    if (records::match) {
        const records::Node* n = records::of(node);
        for (const records::Attribute* a = n ? n->firstAttribute : nullptr; a; a = a->next)
            if (a->name)
                see(a->name, a->value ? a->value : "");
    } else {
        for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute())
            see(a.name(), a.value());
    }
    return out;
}

/// Integers as written in XML; nullopt when absent or malformed. Values out
/// of range are clamped rather than wrapped.
std::optional<int64_t> toInt(std::string_view text);
int32_t clampInt32(int64_t v);

} // namespace qm::engine::xml
