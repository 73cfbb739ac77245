// Helpers shared by the RTF reader tests: reading a literal and looking into the result.
#pragma once

#include "../support/CorpusSweep.h"
#include "../support/Describe.h"

#include <string>
#include <string_view>

namespace qm::engine::test {

inline std::unique_ptr<Document> readRtfText(std::string_view rtf, const ReadOptions& options = {})
{
    ReadResult r = readRtf(rtf, options);
    EXPECT_TRUE(r.ok()) << r.error;
    return std::move(r.document);
}

/// A document around a body, with a font table of a Western and a Cyrillic font.
inline std::string wrapBody(std::string_view body)
{
    return std::string(R"({\rtf1\ansi\deff0{\fonttbl{\f0\froman Times New Roman;}{\f1\fcharset204 Arial Cyr;}})") +
           std::string(body) + "}";
}

} // namespace qm::engine::test
