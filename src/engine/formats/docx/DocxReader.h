// The .docx reader over a package already open, whatever holds its parts.
#pragma once

#include "engine/formats/Reader.h"
#include "engine/formats/docx/ZipPackage.h"

namespace qm::engine {

/// Reads the Word document of an open package: a zip archive or the parts
/// a Flat OPC file holds inline. May throw std::bad_alloc; callers catch.
ReadResult readDocxPackage(ZipPackage& package, const ReadOptions& options, std::string_view format = "docx");

} // namespace qm::engine
