// Helpers shared by the RTF reader tests: reading a literal and looking into the result.
#pragma once

#include "../support/CorpusSweep.h"

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

inline bool hasDiagnostic(const Document& doc, std::string_view code)
{
    for (const auto& d : doc.diagnostics)
        if (d.code == code)
            return true;
    return false;
}

inline const Story* storyOfType(const Document& doc, StoryType type)
{
    for (const auto& s : doc.stories)
        if (s.type == type)
            return &s;
    return nullptr;
}

} // namespace qm::engine::test
