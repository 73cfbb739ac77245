// Find texts and replacement texts compiled once, and a matcher whose time is linear in the text.
#pragma once

#include "engine/model/Document.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine {

/// How a find text is read: literally with caret codes and case-insensitive
/// (match case off), or as a wildcard pattern, which is case-sensitive.
enum class PatternSyntax : uint8_t { Literal, Wildcards };

/// The text a pattern is matched against, and which positions a match may
/// cover. Table cell and row marks are never part of a match (they cannot be
/// found or replaced, as in Word). When `allowedFormats` is given, a match
/// may only cover characters whose character format index it allows: that is
/// how font criteria such as "bold on" apply to every matched character.
struct MatchSubject {
    std::u16string_view text;
    const CharAttr* attrs = nullptr;                     ///< required with allowedFormats
    const std::vector<uint8_t>* allowedFormats = nullptr; ///< by charFormat index
    /// Tells a section break from a manual page break (both 12); without it
    /// every 12 counts as a manual page break.
    const Document* document = nullptr;
    size_t story = 0;
};

/// One match: [start, end) and the groups of a wildcard pattern (1 to 9).
struct PatternMatch {
    static constexpr uint32_t Unset = UINT32_MAX;
    uint32_t start = 0;
    uint32_t end = 0;
    std::array<std::pair<uint32_t, uint32_t>, 10> groups{}; ///< [0] is the whole match

    std::u16string_view group(std::u16string_view text, size_t n) const;
};

/// A compiled find text. Every test takes one character, a surrogate pair
/// whole (an emoji is one `?`, and `[!a]` never matches half of one); ranges
/// compare character codes. Wildcard syntax: `?` one character, `*` the shortest
/// run of any characters, `[...]` a set with ranges by character code and `!`
/// negation first, `@` one or more of the previous item, `{n}` `{n,}` `{n,m}`
/// counts (greedy), `( )` groups, `<` `>` word start and end
/// (isWordCharacterAt), `\` taking the next character literally, `^nnn` and
/// `^unnnn` character codes, `^t` and the other caret codes that Word accepts
/// with wildcards. Literal syntax: the text itself, compared without case, with
/// `^p` `^t` `^m` `^l` `^n` `^s` `^~` `^-` `^?` `^#` `^$` `^w` `^b` `^nnn`.
/// Matching simulates all alternatives in step (no backtracking), so its time
/// is bounded by text length times program size whatever the pattern; the
/// program size itself is capped. Matches are never empty.
struct CompiledPattern;

class FindPattern {
public:
    static CompiledPattern compile(std::u16string_view text, PatternSyntax syntax);

    /// The leftmost match that lies within [from, to); among matches starting
    /// there, the one the pattern prefers (`*` shortest, counts longest).
    /// Word boundaries look at the whole text, not only [from, to).
    std::optional<PatternMatch> search(const MatchSubject& subject, uint32_t from, uint32_t to) const;

    /// How many matches repeated searches find over [from, to), each search
    /// starting where the previous match ended (no overlaps): what a count
    /// of all matches gives.
    int64_t countMatches(const MatchSubject& subject, uint32_t from, uint32_t to) const;

    size_t groupCount() const { return m_groups; }
    /// True when every match is exactly one character (a surrogate pair
    /// whole): a single character, class or set.
    bool matchesOneCharacter() const { return m_program.size() == 2 && m_program[0].op == Inst::Op::Test; }
    /// For a pattern that matches one character: whether its test passes on
    /// the character at pos (a surrogate pair whole when both halves lie
    /// before `to`), font criteria and cell marks aside. The test depends on
    /// the character alone except for a page break (12), which may be a
    /// section break.
    bool testsCharacterAt(const MatchSubject& subject, uint32_t pos, uint32_t to) const
    {
        return passes(m_program[0].test, subject, pos, to);
    }
    /// True when the pattern can only start on one character, which a search
    /// finds by scanning for it (eight units at a time): "^t", "^p", "^13".
    bool scansForOneCharacter() const;

    // The program; public so the compiler in the .cpp can build it.
    struct Test {
        enum class Kind : uint8_t { Any, Char, CharFolded, Set, Digit, Letter, WhiteSpace, ManualPageBreak, SectionBreak };
        Kind kind = Kind::Any;
        char32_t c = 0; ///< a code point: a surrogate pair is one character
        uint32_t set = 0;
    };
    struct CharSet {
        bool negated = false;
        std::array<uint64_t, 2> ascii{};                  ///< membership of codes below 128
        std::vector<std::pair<char32_t, char32_t>> ranges; ///< codes from 128 on
        bool contains(char32_t c) const;
    };
    struct Inst {
        enum class Op : uint8_t { Test, Split, Jump, Save, WordStart, WordEnd, Match };
        Op op = Op::Match;
        uint32_t x = 0; ///< Split: preferred target; Jump: target; Save: slot
        uint32_t y = 0; ///< Split: other target
        Test test;
    };

private:
    friend class PatternCompiler;
    bool passes(const Test& t, const MatchSubject& s, uint32_t pos, uint32_t to) const;
    bool isWordPattern() const; // "<*>"
    /// The words of the word pattern from `from` on, in order, each passed to
    /// onWord(start, end) when all its characters may be covered; stops when
    /// onWord returns false or a word runs past `to`.
    template <typename OnWord>
    void scanWords(const MatchSubject& s, uint32_t from, uint32_t to, OnWord&& onWord) const;

    std::vector<Inst> m_program;
    std::vector<CharSet> m_sets;
    size_t m_groups = 0;
};

/// A compiled replacement text: literal text with `^p` (a paragraph mark),
/// `^t`, `^m`, `^l`, `^n`, `^s`, `^~`, `^-`, `^^`, `^nnn`, `^&` (the found
/// text) and, for wildcard finds, `\1` to `\9` (a group's text).
struct CompiledReplacement;

class Replacement {
public:
    static CompiledReplacement compile(std::u16string_view text, PatternSyntax syntax);

    /// The text that replaces `match` of `text`.
    std::u16string expand(std::u16string_view text, const PatternMatch& match) const;

private:
    struct Piece {
        int group = -1; ///< -1: literal text; 0: the whole match; 1-9: a group
        std::u16string text;
    };
    std::vector<Piece> m_pieces;
};

/// A compiled find text, or why the text is not a valid pattern.
struct CompiledPattern {
    std::optional<FindPattern> pattern;
    std::string error;
};

struct CompiledReplacement {
    std::optional<Replacement> replacement;
    std::string error;
};

/// Longest find or replacement text accepted, as in Word's Find dialog.
inline constexpr size_t MaxFindTextLength = 255;

} // namespace qm::engine
