// Relationship parts of an Open Packaging Conventions package.
#include "engine/formats/docx/Package.h"

#include "engine/formats/docx/PartMemo.h"
#include "engine/formats/docx/XmlPart.h"

#include <optional>
#include <vector>

namespace qm::engine {

std::string resolvePartName(const std::string& sourcePart, std::string_view target)
{
    std::string base;
    if (!target.empty() && target.front() == '/') {
        target.remove_prefix(1);
    } else {
        const size_t slash = sourcePart.rfind('/');
        if (slash != std::string::npos)
            base = sourcePart.substr(0, slash + 1);
    }
    std::string joined = base + std::string(target);
    // Targets may be percent-encoded ("my%20header.xml").
    std::string decoded;
    for (size_t i = 0; i < joined.size(); ++i) {
        auto hex = [](char c) { return (c >= '0' && c <= '9') ? c - '0' : (c | 0x20) >= 'a' && (c | 0x20) <= 'f' ? (c | 0x20) - 'a' + 10 : -1; };
        if (joined[i] == '%' && i + 2 < joined.size() && hex(joined[i + 1]) >= 0 && hex(joined[i + 2]) >= 0) {
            decoded += static_cast<char>(hex(joined[i + 1]) * 16 + hex(joined[i + 2]));
            i += 2;
        } else {
            decoded += joined[i];
        }
    }
    std::vector<std::string> segments;
    size_t start = 0;
    while (start <= decoded.size()) {
        size_t end = decoded.find('/', start);
        if (end == std::string::npos)
            end = decoded.size();
        std::string seg = decoded.substr(start, end - start);
        if (seg == "..") {
            if (!segments.empty())
                segments.pop_back();
        } else if (!seg.empty() && seg != ".") {
            segments.push_back(std::move(seg));
        }
        start = end + 1;
    }
    std::string out;
    for (const std::string& seg : segments) {
        if (!out.empty())
            out += '/';
        out += seg;
    }
    return out;
}

namespace {

// Relationships parts are kept by the part's name, the depth limit and the
// bytes the package holds for it (ZipPackage::rawText): the package's own is
// the same in nearly every file. Sixty-four parts of up to 64 KiB are kept.
using RelationshipsMemo = docx::PartMemo<Relationships, 64u << 10, 64>;

RelationshipsMemo& relationshipsMemo()
{
    static RelationshipsMemo memo;
    return memo;
}

} // namespace

Relationships readRelationships(ZipPackage& zip, const std::string& partName, uint32_t maxDepth)
{
    Relationships rels;
    std::string relsName;
    if (partName.empty()) {
        relsName = "_rels/.rels";
    } else {
        const size_t slash = partName.rfind('/');
        relsName = slash == std::string::npos ? "_rels/" + partName + ".rels"
                                              : partName.substr(0, slash + 1) + "_rels/" + partName.substr(slash + 1) + ".rels";
    }
    // Targets are resolved against the part's folder: the part's name is
    // part of the key, with the depth limit the parse was checked against.
    std::string key;
    if (std::string raw = zip.rawText(relsName); !raw.empty()) {
        key.append(partName).push_back('\0');
        key.append(std::to_string(maxDepth)).push_back('\0');
        key.append(raw);
        // Counted towards the package's limits as a read would be; where
        // the limits refuse it, it is read, and refused, as before.
        if (std::optional<Relationships> kept = relationshipsMemo().find(key); kept && zip.countAsRead(relsName))
            return std::move(*kept);
    }
    PartData data = zip.read(relsName);
    if (!data.ok())
        return rels;
    pugi::xml_document doc;
    if (!xml::parseInPlace(data.bytes, doc, maxDepth).empty())
        return rels;
    for (pugi::xml_node r = doc.document_element().first_child(); r; r = r.next_sibling()) {
        if (!xml::is(r, "Relationship"))
            continue;
        Relationship rel;
        std::string_view type = xml::value(r, "Type");
        const size_t slash = type.rfind('/');
        rel.type = std::string(slash == std::string_view::npos ? type : type.substr(slash + 1));
        if (xml::value(r, "TargetMode") != "External")
            rel.target = resolvePartName(partName, xml::value(r, "Target"));
        rels.try_emplace(std::string(xml::value(r, "Id")), std::move(rel));
    }
    if (!key.empty())
        relationshipsMemo().keep(std::move(key), rels);
    return rels;
}

std::string targetOfType(const Relationships& rels, std::string_view type)
{
    for (const auto& [id, rel] : rels)
        if (rel.type == type && !rel.target.empty())
            return rel.target;
    return {};
}

} // namespace qm::engine
