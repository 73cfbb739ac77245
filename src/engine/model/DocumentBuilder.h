// The one way into the document model: readers emit content, the builder keeps the invariants.
#pragma once

#include "engine/model/Document.h"
#include "engine/model/Limits.h"

#include <map>
#include <memory>
#include <string_view>
#include <unordered_map>

namespace qm::engine {

using StoryId = uint32_t;

/// Header and footer stories a section refers to, by HeaderFooterIndex - 1;
/// -1 where the section has none of its own.
struct HeaderFooterRefs {
    std::array<int32_t, 3> headers{-1, -1, -1};
    std::array<int32_t, 3> footers{-1, -1, -1};
};

/// Builds a Document. Readers intern formats, append text and marks to the
/// current story, open and close tables, and end sections; the builder writes
/// Word's marks (13, 7, 12), sets table depths, and guarantees that every
/// story ends with a paragraph mark. When a limit is reached it stops taking
/// text and records one diagnostic (`limitReached()` tells readers to stop).
class DocumentBuilder {
public:
    explicit DocumentBuilder(std::string format, const Limits& limits = {});
    DocumentBuilder(const DocumentBuilder&) = delete;
    DocumentBuilder& operator=(const DocumentBuilder&) = delete;

    uint32_t charFormat(const CharFormat& format);
    uint32_t paraFormat(const ParaFormat& format);
    int32_t rowFormat(const TableRowFormat& format);

    /// Creates a story and returns its id; the main story is id 0.
    StoryId newStory(StoryType type);
    /// Makes `story` the one that appends go to. Table nesting is per story.
    void setStory(StoryId story);
    StoryId currentStory() const { return m_current; }
    /// Characters in the current story so far (positions for notes).
    uint32_t position() const;

    /// Appends text in one format. Paragraph and cell marks (13, 7) in the
    /// text are dropped: paragraphs end through endParagraph, cells through
    /// endCell. Other control characters below 32 except Word's special
    /// characters (1, 2, 8, 9, 11, 12, 14, 30, 31) are dropped as well.
    void appendText(std::u16string_view text, uint32_t charFormat);
    void appendUtf8(std::string_view utf8, uint32_t charFormat);
    void appendChar(char16_t c, uint32_t charFormat) { appendText(std::u16string_view(&c, 1), charFormat); }

    /// Ends the current paragraph with a paragraph mark.
    void endParagraph(uint32_t paraFormat, uint32_t markCharFormat);

    /// Ends the current paragraph with a section break and closes the section
    /// with its page setup and header/footer references. Main story only;
    /// elsewhere it ends the paragraph plainly.
    void endSection(const SectionFormat& format, const HeaderFooterRefs& refs, uint32_t paraFormat,
                    uint32_t markCharFormat);

    void beginTable();
    void beginRow();
    void beginCell();
    /// Ends a cell: its last paragraph's mark becomes the cell mark (7); an
    /// empty cell, or one whose last text was not ended, gets a mark in
    /// `paraFormat`.
    void endCell(uint32_t paraFormat, uint32_t markCharFormat);
    void endRow(const TableRowFormat& format, uint32_t markCharFormat);
    void endTable();
    uint32_t tableDepth() const;

    int32_t addObject(const InlineObject& object);
    int32_t addNote(const Note& note);
    /// Marks [start, position()) of the current story as the result of a
    /// field with this instruction. Empty or reversed ranges are refused (-1).
    int32_t addField(uint32_t start, std::string instruction);

    DocumentSettings& settings() { return m_doc->settings; }
    StoredStatistics& stored() { return m_doc->stored; }
    void diagnose(std::string code, Severity severity, std::string location, std::string message);
    bool limitReached() const { return m_limitReached; }
    const Limits& limits() const { return m_limits; }
    /// Read access for readers that need to look back (a reader never edits).
    const Document& document() const { return *m_doc; }

    /// Closes open cells, rows and tables, ends every story with a mark, sets
    /// the last section, and hands the document over. The builder is spent.
    std::unique_ptr<Document> finish(const SectionFormat& lastSection, const HeaderFooterRefs& refs);

private:
    struct TableState {
        uint32_t cellStart = 0;
        bool inCell = false;
    };
    struct StoryState {
        std::vector<TableState> tables; // open tables, innermost last
        uint32_t paragraphStart = 0;
    };

    void append(char16_t c, CharAttr attr);
    bool roomFor(size_t chars);
    uint32_t withDepth(uint32_t paraFormat, uint8_t depth, bool rowEnd, int32_t rowFormat);

    std::unique_ptr<Document> m_doc;
    Limits m_limits;
    StoryId m_current = 0;
    std::vector<StoryState> m_storyStates;
    std::map<CharFormat, uint32_t> m_charIndex;
    // Paragraph formats by a hash of the fields that tell most of them apart
    // (each look-up in an ordered index compared whole formats field by
    // field, some ten times); formats are equal only when every field is.
    struct ParaFormatHash {
        size_t operator()(const ParaFormat& f) const;
    };
    std::unordered_map<ParaFormat, uint32_t, ParaFormatHash> m_paraIndex;
    // The format given last, in its index: runs and paragraphs in a row
    // mostly share one, and comparing with it is cheaper than a look-up.
    // Entries are never erased and index nodes never move, so the pointers
    // stay valid (the builder is not copied).
    const std::pair<const CharFormat, uint32_t>* m_lastChar = nullptr;
    const std::pair<const ParaFormat, uint32_t>* m_lastPara = nullptr;
    std::map<TableRowFormat, int32_t> m_rowIndex;
    uint64_t m_totalChars = 0;
    uint64_t m_cells = 0;
    bool m_limitReached = false;
};

} // namespace qm::engine
