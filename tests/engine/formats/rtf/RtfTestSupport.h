// Helpers shared by the RTF reader tests: reading a literal and looking into the result.
#pragma once

#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

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

// The model's invariants that every reader result must keep, whatever the input.
inline void expectWellFormed(const Document& doc)
{
    for (size_t i = 0; i < doc.stories.size(); ++i) {
        SCOPED_TRACE("story " + std::to_string(i));
        const Story& s = doc.stories[i];
        ASSERT_FALSE(s.text.empty());
        EXPECT_EQ(s.text.back(), Ch::ParagraphMark);
        ASSERT_EQ(s.attrs.size(), s.text.size());
        for (const CharAttr& a : s.attrs) {
            ASSERT_LT(a.charFormat, doc.charFormats.size());
            ASSERT_LT(a.paraFormat, doc.paraFormats.size());
            const CharFormat& f = doc.charFormats[a.charFormat];
            EXPECT_LT(f.objectIndex, static_cast<int32_t>(doc.objects.size()));
            EXPECT_LT(f.noteIndex, static_cast<int32_t>(doc.notes.size()));
        }
    }
    ASSERT_FALSE(doc.sections.empty());
    EXPECT_EQ(doc.sections.back().end, doc.mainStory().size());
    for (const Note& n : doc.notes) {
        ASSERT_GE(n.story, 0);
        ASSERT_LT(static_cast<size_t>(n.story), doc.stories.size());
        EXPECT_LE(n.start, n.end);
        EXPECT_LE(n.end, doc.stories[n.story].size());
    }
}

} // namespace qm::engine::test
