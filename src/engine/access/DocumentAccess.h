// The document-access layer: story ranges, the selection, find and replace, counts, statistics, undo.
#pragma once

#include "engine/access/FindPattern.h"
#include "engine/access/LayoutProvider.h"
#include "engine/access/WordStatistics.h"
#include "engine/model/Document.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace qm::engine {

class DocumentAccess;

enum class FontCriterion : uint8_t { Bold, Italic, Underline, SmallCaps, Superscript, Subscript };
/// A font criterion of a find: not part of the search, or required on or off.
enum class CriterionState : uint8_t { Cleared, On, Off };

/// Find and replacement settings, one set per range and one for the
/// selection. The find text is compiled once and kept until it changes.
class Find {
public:
    /// Clears every font criterion.
    void clearFormatting() { m_font.fill(CriterionState::Cleared); }
    /// Replacement text carries no formatting of its own here (it always
    /// takes the formatting of the text it replaces), so there is nothing to clear.
    void clearReplacementFormatting() {}

    void setText(std::u16string_view text);
    void setText(std::string_view utf8);
    void setSyntax(PatternSyntax syntax);
    void setFont(FontCriterion criterion, CriterionState state) { m_font[static_cast<size_t>(criterion)] = state; }
    void setReplacementText(std::u16string_view text);
    void setReplacementText(std::string_view utf8);

    const std::u16string& text() const { return m_text; }
    PatternSyntax syntax() const { return m_syntax; }
    CriterionState font(FontCriterion criterion) const { return m_font[static_cast<size_t>(criterion)]; }

    /// The find and replacement texts compiled, each kept until it changes.
    const CompiledPattern& pattern();
    const CompiledReplacement& replacement();

private:
    std::u16string m_text;
    std::u16string m_replacementText;
    PatternSyntax m_syntax = PatternSyntax::Literal;
    std::array<CriterionState, 6> m_font{};
    std::optional<CompiledPattern> m_pattern;
    std::optional<CompiledReplacement> m_replacement;
};

/// Find next: whether something was found; `error` when the find text is not
/// a valid pattern (the caller's error report shows it).
struct FindOutcome {
    bool found = false;
    std::string error;
};

/// Replace all: how many matches were replaced, or why nothing could be.
struct ReplaceOutcome {
    int64_t replaced = 0;
    std::string error;
};

/// A figure that may be unavailable (lines and pages before a layout is given).
struct StatisticOutcome {
    int64_t value = 0;
    std::string error;
    bool ok() const { return error.empty(); }
};

/// Word's built-in document properties by number.
enum class BuiltInProperty : int {
    Pages = 14,
    Words = 15,                ///< Word's word statistic (what Word Count shows)
    Characters = 16,           ///< characters without spaces
    Lines = 23,
    Paragraphs = 24,
    CharactersWithSpaces = 30,
};

/// A stretch of one story with its own find state. A range taken for a whole
/// story (the document's content, a header, a footer) follows the story's
/// length through edits; any other range keeps its positions, grows with its
/// own replace all, and is clamped to the story when used. A range for a
/// header or footer that no section defines is empty and finds nothing.
/// A range refers to its DocumentAccess, which must outlive it.
class Range {
public:
    bool exists() const { return m_story >= 0; }
    size_t story() const { return m_story < 0 ? 0 : static_cast<size_t>(m_story); }
    uint32_t start() const;
    uint32_t end() const;

    std::u16string text() const;
    /// Characters.Count: every character of the range, marks included; a
    /// surrogate pair is one character.
    int64_t charactersCount() const;
    /// Words.Count: the words of the range by the word rule of isWordStart
    /// (a word cut by the range's start counts once; each East Asian
    /// character is a word). Each "<*>" match replaced by "B B" adds exactly
    /// one where the matches do not touch; see CountWords for text written
    /// without spaces.
    int64_t wordsCount() const;
    /// Tables.Count: tables of the first nesting level that start in the range.
    int64_t tablesCount() const;

    Find& find() { return m_find; }
    /// Finds forward. A new range searches within itself; once it has found
    /// something it is that match, and the next search runs from its end to
    /// the end of the story (no wrap).
    FindOutcome findNext();
    /// Replaces every match in the range, left to right, in one undoable edit.
    ReplaceOutcome replaceAll();
    /// The matches replaceAll() would replace (in `replaced`), the document
    /// left untouched.
    ReplaceOutcome countAll();
    /// The runs of `criterion` that the alternating find loop counts: find
    /// the find text with the criterion on, then with it off, then on again,
    /// each search from the last match on, counting the finds with it on.
    /// Answered from one walk of the story, the range left on the loop's
    /// last match as the loop leaves it. Only for a one-character find text
    /// on a whole-story range that has found nothing yet; nullopt otherwise
    /// (the caller then runs the loop).
    std::optional<int64_t> countRuns(FontCriterion criterion);

private:
    friend class DocumentAccess;
    Range(DocumentAccess* access, int32_t story, uint32_t start, uint32_t end, bool wholeStory);

    DocumentAccess* m_access = nullptr;
    int32_t m_story = -1;
    uint32_t m_start = 0;
    uint32_t m_end = 0;
    bool m_wholeStory = false;
    bool m_found = false;
    Find m_find;
};

/// A section's headers or footers: always three (Word's count), item 1 the
/// primary, 2 the first-page and 3 the even-pages one, each as shown in that
/// section (its own or inherited from an earlier section).
class HeadersFooters {
public:
    int count() const { return 3; }
    /// Index 1 to 3; any other index gives an empty range.
    Range item(int index) const;

private:
    friend class DocumentAccess;
    HeadersFooters(DocumentAccess* access, size_t section, bool headers)
        : m_access(access), m_section(section), m_headers(headers)
    {
    }
    DocumentAccess* m_access;
    size_t m_section; // 0-based
    bool m_headers;
};

/// The cursor: a stretch of one story with the find state of the selection.
class Selection {
public:
    size_t story() const { return m_story; }
    uint32_t start() const;
    uint32_t end() const;
    std::u16string text() const;

    /// Moves to the start of the main story, collapsed (Home with the story unit).
    void homeKeyStory();
    /// Extends the selection to the end of the current line, the line's final
    /// mark (paragraph mark or line break) included. The line comes from the
    /// layout when one is given, else it is the rest of the paragraph up to a
    /// manual line break.
    void endKeyLineExtend();
    /// Deletes the selection, or the next character when it is collapsed. The
    /// story's last paragraph mark and table cell marks stay, as in Word.
    /// Returns whether anything was deleted; the selection ends collapsed.
    bool deleteText();

    Find& find() { return m_find; }
    /// Finds forward from the end of the selection (within it, when it was
    /// extended by hand) to the end of the story; the selection becomes the match.
    FindOutcome findNext();
    /// Replaces every match from the selection's start to the end of the
    /// story (within the selection when it was extended by hand).
    ReplaceOutcome replaceAll();
    /// The matches replaceAll() would replace, the document left untouched.
    ReplaceOutcome countAll();
    /// The alternating find loop's count of runs of `criterion` (see
    /// Range::countRuns), for a collapsed selection at the story's start;
    /// the selection ends on the loop's last match. nullopt otherwise.
    std::optional<int64_t> countRuns(FontCriterion criterion);

private:
    friend class DocumentAccess;
    explicit Selection(DocumentAccess* access) : m_access(access) {}

    DocumentAccess* m_access;
    size_t m_story = 0;
    uint32_t m_start = 0;
    uint32_t m_end = 0;
    bool m_extended = false; // made by hand rather than by a find or a move
    Find m_find;
};

/// One open document and everything the measurements do to it. Owns the
/// document; edits go through Document::applyEdits and are recorded for
/// undo; the file the document came from is never written. Positions and
/// indices that name nothing give empty results rather than failing.
class DocumentAccess {
public:
    explicit DocumentAccess(std::unique_ptr<Document> document);
    DocumentAccess(const DocumentAccess&) = delete;
    DocumentAccess& operator=(const DocumentAccess&) = delete;

    const Document& document() const { return *m_document; }

    /// The main story, whole.
    Range content() { return storyRange(0); }
    /// Any story, whole; an empty range when there is no such story.
    Range storyRange(int32_t story);
    size_t sectionsCount() const { return m_document->sections.size(); }
    /// The main-story part of section `section` (1-based).
    Range sectionRange(size_t section);
    /// Headers and footers of section `section` (1-based, as Word numbers them).
    HeadersFooters headers(size_t section) { return HeadersFooters(this, section - 1, true); }
    HeadersFooters footers(size_t section) { return HeadersFooters(this, section - 1, false); }

    Selection& selection() { return m_selection; }

    /// Tables.Count of the document: first-level tables of the main story.
    int64_t tablesCount() const;

    /// A built-in property. Characters, characters with spaces, words and
    /// paragraphs are Word's Word Count figures of the main story; lines and
    /// pages come from the layout provider and are an error without one.
    StatisticOutcome builtInProperty(BuiltInProperty property) const;
    /// Lines of one story (a header or footer) as laid out; an error without a layout.
    StatisticOutcome storyLines(size_t story) const;

    /// The layout used for lines, pages and line ends; not owned, may be null.
    void setLayoutProvider(LayoutProvider* layout)
    {
        m_layout = layout;
        m_laidOut.clear();
    }

    /// Undoes the last `times` edits, restoring text and formatting exactly.
    /// Returns false when there were fewer edits to undo (those there were are undone).
    bool undo(int times = 1);
    size_t undoDepth() const { return m_undo.size(); }

private:
    friend class Range;
    friend class Selection;
    friend class HeadersFooters;

    // One edit to take back: [pos, pos + length) of the edited text returns
    // to the original characters kept at [offset, offset + originalLength)
    // of its step's buffers (one buffer per step, not one per edit: a replace
    // all over a long document makes millions of edits).
    struct Restore {
        uint32_t pos = 0;
        uint32_t length = 0;
        uint32_t offset = 0;
        uint32_t originalLength = 0;
    };
    struct UndoStep {
        size_t story = 0;
        std::vector<Restore> restores;
        std::u16string text;
        std::vector<CharAttr> attrs;
        std::vector<uint32_t> sectionEnds; // main story only
        uint64_t revisionBefore = 0;       // the document's revision the step undoes to
    };

    /// What every search of a one-character find text over a whole story
    /// comes to, worked out in one walk: the matches without font criteria,
    /// with each criterion on, and the runs the alternating loop counts
    /// with the match it ends on. Kept by revision, story and find text, so
    /// the counts of bold, italic and underlined characters and of their
    /// switches share one walk.
    struct CharacterTally {
        static constexpr size_t Criteria = 6;
        int64_t matches = 0;
        std::array<int64_t, Criteria> on{};
        std::array<int64_t, Criteria> runs{};
        std::array<std::optional<std::pair<uint32_t, uint32_t>>, Criteria> lastRunMatch{};
    };
    /// The tally of the find's text over `story`, or null when one walk
    /// cannot stand in for its searches (not one character, a text found
    /// by scanning for its one character, or not a valid pattern).
    const CharacterTally* tally(Find& find, size_t story);
    std::optional<int64_t> countRuns(Find& find, size_t story, FontCriterion criterion,
                                     std::optional<std::pair<uint32_t, uint32_t>>& lastMatch);

    bool validStory(int32_t story) const { return story >= 0 && static_cast<size_t>(story) < m_document->stories.size(); }
    uint32_t storySize(size_t story) const { return m_document->stories[story].size(); }
    std::optional<PatternMatch> search(Find& find, size_t story, uint32_t from, uint32_t to, std::string& error);
    ReplaceOutcome replaceAll(Find& find, size_t story, uint32_t from, uint32_t to, int64_t& growth);
    ReplaceOutcome countAll(Find& find, size_t story, uint32_t from, uint32_t to);
    /// Applies sorted, non-overlapping edits as one undoable step.
    void edit(size_t story, const std::vector<StoryEdit>& edits);

    std::unique_ptr<Document> m_document;
    Selection m_selection;
    std::vector<UndoStep> m_undo;
    LayoutProvider* m_layout = nullptr;
    /// Which text the document holds: every edit gives it a new revision and
    /// an undo returns it to the one before, as it restores the text and its
    /// formatting exactly. Figures are kept by revision, so a document edited
    /// and undone again (as the measurements do) is not laid out anew.
    uint64_t m_revision = 0;
    uint64_t m_lastRevision = 0;
    /// Lines (and pages) of each story as laid out, by revision and story.
    mutable std::map<std::pair<uint64_t, size_t>, LayoutFigures> m_laidOut;
    /// The main story's Word Count figures by revision: the words,
    /// characters and paragraphs are usually asked for in turn.
    mutable std::map<uint64_t, WordStatistics> m_statistics;
    /// Tallies by revision, story, find text and syntax.
    std::map<std::tuple<uint64_t, size_t, std::u16string, PatternSyntax>, CharacterTally> m_tallies;
    /// Keeps the figures of the few revisions a count goes through.
    void boundFigures() const
    {
        constexpr size_t Kept = 16;
        if (m_laidOut.size() > Kept)
            m_laidOut.clear();
        if (m_statistics.size() > Kept)
            m_statistics.clear();
    }
    const LayoutFigures& laidOut(size_t story) const;
    /// One past the last character of the laid-out line holding pos; nullopt
    /// when the layout cannot tell (the caller then uses the paragraph).
    std::optional<uint32_t> laidOutLineEnd(size_t story, uint32_t pos) const;
};

} // namespace qm::engine
