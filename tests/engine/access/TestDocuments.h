// Small documents for the access-layer and session tests, built through the model's builder.
#pragma once

#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::testing {

/// A run of text in one format. In the text, '\r' ends a paragraph; Word's
/// other marks (tab, line break, page break, ...) are written as they are.
struct Run {
    std::u16string_view text;
    CharFormat format = {};
};

inline CharFormat boldFormat()
{
    CharFormat f;
    f.bold = true;
    return f;
}

/// Appends runs to the builder's current story.
inline void appendRuns(DocumentBuilder& b, const std::vector<Run>& runs)
{
    const uint32_t para = b.paraFormat(ParaFormat{});
    for (const Run& r : runs) {
        const uint32_t format = b.charFormat(r.format);
        size_t from = 0;
        for (size_t i = 0; i <= r.text.size(); ++i) {
            if (i == r.text.size() || r.text[i] == u'\r') {
                b.appendText(r.text.substr(from, i - from), format);
                if (i < r.text.size())
                    b.endParagraph(para, format);
                from = i + 1;
            }
        }
    }
}

/// Adds a story of `type` holding the runs, leaving the main story current.
inline int32_t addStory(DocumentBuilder& b, StoryType type, const std::vector<Run>& runs)
{
    const StoryId id = b.newStory(type);
    b.setStory(id);
    appendRuns(b, runs);
    b.setStory(0);
    return static_cast<int32_t>(id);
}

/// Appends a table of one row, one plain cell per text, to the current story.
inline void appendRow(DocumentBuilder& b, std::initializer_list<std::u16string_view> cells)
{
    const uint32_t plain = b.charFormat(CharFormat{});
    b.beginTable();
    b.beginRow();
    for (std::u16string_view text : cells) {
        b.beginCell();
        b.appendText(text, plain);
        b.endCell(b.paraFormat(ParaFormat{}), plain);
    }
    b.endRow(TableRowFormat{}, plain);
    b.endTable();
}

/// A one-section document whose main story holds the runs.
inline std::unique_ptr<Document> makeDocument(std::initializer_list<Run> runs)
{
    DocumentBuilder b("txt");
    appendRuns(b, runs);
    return b.finish(SectionFormat{}, HeaderFooterRefs{});
}

inline std::unique_ptr<Document> makeDocument(std::u16string_view text) { return makeDocument({Run{text}}); }

inline std::string utf8(std::u16string_view s) { return utf16ToUtf8(s); }

} // namespace qm::engine::testing
