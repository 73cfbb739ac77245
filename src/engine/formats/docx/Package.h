// Package relationships: which part a relationship id points to.
#pragma once

#include "engine/formats/docx/ZipPackage.h"

#include <map>
#include <string>
#include <string_view>

namespace qm::engine {

struct Relationship {
    std::string type;   ///< the type URI's last segment ("header", "footnotes")
    std::string target; ///< the target part's name in the package; empty when external
};

/// Relationships of one part by id. A missing or malformed relationships part
/// gives an empty map: the parts it would lead to are simply not read.
using Relationships = std::map<std::string, Relationship>;

/// The relationships part of `partName` ("word/_rels/document.xml.rels" for
/// "word/document.xml"; "_rels/.rels" for the package, partName empty).
Relationships readRelationships(ZipPackage& zip, const std::string& partName, uint32_t maxDepth);

/// A relationship target resolved against its source part's folder, with
/// "." and ".." segments folded; an absolute target is taken from the root.
std::string resolvePartName(const std::string& sourcePart, std::string_view target);

/// The first relationship of a type, or an empty target.
std::string targetOfType(const Relationships& rels, std::string_view type);

} // namespace qm::engine
