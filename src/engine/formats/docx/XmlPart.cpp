// XML helpers shared by the package readers.
#include "engine/formats/docx/XmlPart.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <vector>

namespace qm::engine::xml {

namespace {

constexpr unsigned ParseFlags = pugi::parse_default | pugi::parse_ws_pcdata;

// Whether a node below `document` lies deeper than `maxDepth` (its own
// children at 0), walked over the records without a call a node.
bool deeperThan(const records::Node* document, uint32_t maxDepth)
{
    const records::Node* n = document->firstChild;
    uint64_t depth = 0;
    while (n) {
        if (depth > maxDepth)
            return true;
        if (n->firstChild) {
            n = n->firstChild;
            ++depth;
            continue;
        }
        while (!n->next) {
            n = n->parent;
            --depth;
            if (n == document)
                return false;
        }
        n = n->next;
    }
    return false;
}

std::string checked(const pugi::xml_parse_result& result, pugi::xml_document& doc, uint32_t maxDepth)
{
    if (!result) {
        std::string error = "the XML is malformed at byte " + std::to_string(result.offset) + ": " + result.description();
        doc.reset();
        return error;
    }
    bool tooDeep = false;
    if (records::match) {
        tooDeep = deeperThan(records::of(doc), maxDepth);
    } else {
        // pugixml's walker visits every node with its depth (the root's
        // children are at 0) inside the library.
        struct DepthLimit : pugi::xml_tree_walker {
            int maxDepth = 0;
            bool tooDeep = false;
            bool for_each(pugi::xml_node&) override
            {
                tooDeep = depth() > maxDepth;
                return !tooDeep;
            }
        } limit;
        limit.maxDepth = static_cast<int>(std::min<uint32_t>(maxDepth, std::numeric_limits<int>::max()));
        doc.traverse(limit);
        tooDeep = limit.tooDeep;
    }
    if (tooDeep) {
        doc.reset();
        return "the XML is nested more deeply than the engine reads";
    }
    return {};
}

} // namespace

std::string parse(const std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth)
{
    return checked(doc.load_buffer(bytes.data(), bytes.size(), ParseFlags, pugi::encoding_auto), doc, maxDepth);
}

std::string parseInPlace(std::string& bytes, pugi::xml_document& doc, uint32_t maxDepth)
{
    return checked(doc.load_buffer_inplace(bytes.data(), bytes.size(), ParseFlags, pugi::encoding_auto), doc, maxDepth);
}

pugi::xml_node childThroughLibrary(const pugi::xml_node& node, std::string_view local)
{
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && hasLocalName(c.name(), local))
            return c;
    return {};
}

pugi::xml_attribute attrThroughLibrary(const pugi::xml_node& node, std::string_view local)
{
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute())
        if (hasLocalName(a.name(), local))
            return a;
    return {};
}

bool records::matchLibrary()
{
    // Every link and field the helpers read, compared on a tree that has
    // each: elements with and without attributes, text between them, a
    // comment-free declaration-free root.
    pugi::xml_document doc;
    static const char text[] = "<r a='1' b='2'><e/>t<f c='3'/></r>";
    if (!doc.load_buffer(text, sizeof text - 1, pugi::parse_default, pugi::encoding_utf8))
        return false;
    auto same = [](const pugi::xml_node& api, const Node* record) {
        if (!api || !record)
            return !api && !record;
        return api.internal_object() == reinterpret_cast<const pugi::xml_node_struct*>(record) &&
               static_cast<int>(record->header & 15) == static_cast<int>(api.type()) &&
               (record->name ? record->name : "") == std::string_view(api.name()) &&
               (record->value ? record->value : "") == std::string_view(api.value());
    };
    auto sameAttribute = [](const pugi::xml_attribute& api, const Attribute* record) {
        if (!api || !record)
            return !api && !record;
        return api.internal_object() == reinterpret_cast<const pugi::xml_attribute_struct*>(record) &&
               std::string_view(record->name) == api.name() && std::string_view(record->value) == api.value();
    };
    for (pugi::xml_node n = doc.document_element(); n; n = n.first_child()) {
        for (pugi::xml_node c = n; c; c = c.next_sibling()) {
            const Node* record = of(c);
            if (!same(c, record) || !same(c.first_child(), record->firstChild) || !same(c.next_sibling(), record->next) ||
                !same(c.parent(), record->parent))
                return false;
            pugi::xml_attribute a = c.first_attribute();
            const Attribute* r = record->firstAttribute;
            for (; a || r; a = a.next_attribute(), r = r->next)
                if (!sameAttribute(a, r))
                    return false;
        }
    }
    return true;
}

pugi::xml_node descendant(const pugi::xml_node& root, std::string_view local)
{
    pugi::xml_node node = root.first_child();
    while (node) {
        if (node.type() == pugi::node_element && hasLocalName(node.name(), local))
            return node;
        if (node.first_child()) {
            node = node.first_child();
            continue;
        }
        while (node && node != root && !node.next_sibling())
            node = node.parent();
        if (!node || node == root)
            break;
        node = node.next_sibling();
    }
    return {};
}

std::optional<int64_t> toInt(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '+'))
        text.remove_prefix(1);
    if (text.empty())
        return std::nullopt;
    // Some writers put decimals where integers belong ("12.5"); Word reads
    // the integer part.
    int64_t v = 0;
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec == std::errc::result_out_of_range)
        return text.front() == '-' ? std::numeric_limits<int64_t>::min() / 2 : std::numeric_limits<int64_t>::max() / 2;
    if (ec != std::errc() || end == text.data())
        return std::nullopt;
    return v;
}

int32_t clampInt32(int64_t v)
{
    if (v > std::numeric_limits<int32_t>::max())
        return std::numeric_limits<int32_t>::max();
    if (v < std::numeric_limits<int32_t>::min())
        return std::numeric_limits<int32_t>::min();
    return static_cast<int32_t>(v);
}

} // namespace qm::engine::xml
