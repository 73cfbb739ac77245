// Compiling find and replacement texts, and the step-by-step matcher.
#include "engine/access/FindPattern.h"

#include "engine/access/ScriptRules.h"
#include "engine/access/WordCharacters.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cassert>
#include <unicode/uchar.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qm::engine {

namespace {

// The first unit of text[from, to) equal to c, or `to`: eight units at a
// time where the processor allows, as the patterns that start with one
// character (a paragraph mark, a tab) scan whole documents for it.
uint32_t findUnit(std::u16string_view text, char16_t c, uint32_t from, uint32_t to)
{
    const char16_t* p = text.data();
    uint32_t i = from;
#if defined(__SSE2__)
    const __m128i needle = _mm_set1_epi16(static_cast<short>(c));
    for (; i + 8 <= to; i += 8) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        if (const int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(block, needle)))
            return i + static_cast<uint32_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
    }
#endif
    for (; i < to; ++i)
        if (p[i] == c)
            return i;
    return to;
}

using Test = FindPattern::Test;
using Inst = FindPattern::Inst;
using Op = FindPattern::Inst::Op;

constexpr uint32_t Infinite = UINT32_MAX;
constexpr uint32_t MaxCount = 255;         // largest n or m in {n,m}
constexpr size_t MaxProgramSize = 20000;   // instructions after counts are unrolled
constexpr size_t MaxGroupDepth = 32;
constexpr size_t CapturedGroups = 9;       // \1 to \9

enum class CaretContext { LiteralFind, WildcardFind, WildcardSet, Replace };

struct Caret {
    Test test;
    bool oneOrMore = false; ///< ^w: a run of white space
    bool wholeMatch = false; ///< ^& in a replacement
    std::string error;
};

char16_t lowerAscii(char16_t c) { return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c; }

Test charTest(char32_t c) { return Test{Test::Kind::Char, c, 0}; }

std::string describe(char16_t c)
{
    return utf16ToUtf8(std::u16string_view(&c, 1));
}

// Reads the caret code starting at text[pos] == '^'; pos ends after it.
Caret parseCaret(std::u16string_view text, size_t& pos, CaretContext context)
{
    Caret r;
    ++pos; // the caret
    if (pos >= text.size()) {
        r.error = "a caret (^) ends the text";
        return r;
    }
    const char16_t code = text[pos];
    auto digitsValue = [&](size_t maxDigits, uint32_t& value) {
        size_t n = 0;
        value = 0;
        while (pos < text.size() && n < maxDigits && text[pos] >= u'0' && text[pos] <= u'9') {
            value = value * 10 + (text[pos] - u'0');
            ++pos;
            ++n;
        }
        return n > 0;
    };
    if (code >= u'0' && code <= u'9') {
        // ^0nnn is a Windows code page character; ^nnn a character code up to
        // 255, read the same way above 127.
        uint32_t value = 0;
        digitsValue(code == u'0' ? 4 : 3, value);
        if (value == 0 || value > 255) {
            r.error = "^" + std::to_string(value) + " is not a character code from 1 to 255";
            return r;
        }
        r.test = charTest(value >= 128 ? cp1252ToUnicode(static_cast<uint8_t>(value)) : static_cast<char16_t>(value));
        return r;
    }
    ++pos;
    switch (lowerAscii(code)) {
    case u'u': {
        uint32_t value = 0;
        if (!digitsValue(5, value) || value == 0 || value > 0xFFFF) {
            r.error = "^u needs a character code from 1 to 65535";
            return r;
        }
        r.test = charTest(static_cast<char16_t>(value));
        return r;
    }
    case u't': r.test = charTest(Ch::Tab); return r;
    case u'^': r.test = charTest(u'^'); return r;
    case u'l': r.test = charTest(Ch::LineBreak); return r;
    case u'n': r.test = charTest(Ch::ColumnBreak); return r;
    case u's': r.test = charTest(Ch::NoBreakSpace); return r;
    case u'~': r.test = charTest(Ch::NonBreakingHyphen); return r;
    case u'-': r.test = charTest(Ch::OptionalHyphen); return r;
    case u'+': r.test = charTest(0x2014); return r;
    case u'=': r.test = charTest(0x2013); return r;
    case u'g':
        if (context == CaretContext::Replace)
            break;
        r.test = charTest(Ch::Object);
        return r;
    case u'm':
        // Without wildcards ^m is the manual page break only; a section break
        // (also a 12) is ^b. With wildcards it is simply the character 12.
        r.test = context == CaretContext::LiteralFind ? Test{Test::Kind::ManualPageBreak, 0, 0}
                                                      : charTest(Ch::PageBreak);
        return r;
    case u'p':
        if (context == CaretContext::WildcardFind || context == CaretContext::WildcardSet) {
            r.error = "^p cannot be used with wildcards (^13 finds a paragraph mark)";
            return r;
        }
        r.test = charTest(Ch::ParagraphMark);
        return r;
    case u'&':
        if (context != CaretContext::Replace)
            break;
        r.wholeMatch = true;
        return r;
    case u'?':
    case u'#':
    case u'$':
    case u'w':
    case u'b':
        if (context != CaretContext::LiteralFind)
            break;
        switch (lowerAscii(code)) {
        case u'?': r.test = Test{Test::Kind::Any, 0, 0}; break;
        case u'#': r.test = Test{Test::Kind::Digit, 0, 0}; break;
        case u'$': r.test = Test{Test::Kind::Letter, 0, 0}; break;
        case u'b': r.test = Test{Test::Kind::SectionBreak, 0, 0}; break;
        default:
            r.test = Test{Test::Kind::WhiteSpace, 0, 0};
            r.oneOrMore = true;
            break;
        }
        return r;
    default:
        break;
    }
    r.error = "^" + describe(code) + " is not a special character that can be used here";
    return r;
}

// The simulation's state: the threads alive at one position, in order of
// preference, each with its group positions.
struct ThreadList {
    std::vector<uint32_t> pcs;
    std::vector<uint32_t> caps; // `slots` per thread
    std::vector<uint32_t> stamp; // generation in which an instruction was last added
    uint32_t generation = 0;
    void clear()
    {
        pcs.clear();
        caps.clear();
        ++generation;
    }
};

constexpr uint32_t Visit = UINT32_MAX;
// A step of following the non-consuming instructions: visit an instruction,
// or (slot != Visit) restore a group position on the way back.
struct Frame {
    uint32_t pc;
    uint32_t slot;
    uint32_t value;
};

struct SearchScratch {
    ThreadList lists[2];
    std::vector<uint32_t> work;
    std::vector<Frame> stack;
};

// The pattern as a tree, before counts are unrolled into the program.
struct Node {
    enum class Kind : uint8_t { Test, Star, Group, WordStart, WordEnd, Repeat };
    Kind kind = Kind::Test;
    Test test;
    size_t group = 0;              ///< Group: 1-based number
    uint32_t min = 1, max = 1;     ///< Repeat
    std::vector<Node> children;    ///< Group: its sequence; Repeat: the one repeated node
};

} // namespace

/// Builds a FindPattern's program from its text.
class PatternCompiler {
public:
    PatternCompiler(std::u16string_view text, PatternSyntax syntax) : m_text(text), m_syntax(syntax) {}

    CompiledPattern run()
    {
        CompiledPattern result;
        if (m_text.empty())
            return fail("the find text is empty");
        if (m_text.size() > MaxFindTextLength)
            return fail("the find text is longer than 255 characters");
        std::vector<Node> sequence;
        if (m_syntax == PatternSyntax::Wildcards) {
            if (!parseSequence(sequence, 0))
                return fail(m_error);
            if (m_pos < m_text.size())
                return fail("a closing parenthesis has no opening one");
        } else if (!parseLiteral(sequence)) {
            return fail(m_error);
        }
        for (const Node& n : sequence)
            emit(n);
        push({Op::Match});
        if (m_tooBig)
            return fail("the pattern is too complex");
        m_pattern.m_groups = m_groupCount;
        result.pattern = std::move(m_pattern);
        return result;
    }

private:
    CompiledPattern fail(std::string why)
    {
        CompiledPattern r;
        r.error = "the find text is not valid: " + std::move(why);
        return r;
    }

    bool error(std::string why)
    {
        if (m_error.empty())
            m_error = std::move(why);
        return false;
    }

    bool parseLiteral(std::vector<Node>& out)
    {
        while (m_pos < m_text.size()) {
            Node n;
            if (m_text[m_pos] == u'^') {
                Caret c = parseCaret(m_text, m_pos, CaretContext::LiteralFind);
                if (!c.error.empty())
                    return error(c.error);
                n.test = c.test;
                if (n.test.kind == Test::Kind::Char)
                    n.test = Test{Test::Kind::CharFolded, foldCase(n.test.c), 0};
                if (c.oneOrMore) {
                    Node repeat;
                    repeat.kind = Node::Kind::Repeat;
                    repeat.min = 1;
                    repeat.max = Infinite;
                    repeat.children.push_back(n);
                    n = std::move(repeat);
                }
            } else {
                const CodePoint cp = codePointAt(m_text, m_pos);
                n.test = Test{Test::Kind::CharFolded, foldCase(cp.value), 0};
                m_pos += cp.units;
            }
            out.push_back(std::move(n));
        }
        return true;
    }

    bool parseSequence(std::vector<Node>& out, size_t depth)
    {
        while (m_pos < m_text.size() && m_text[m_pos] != u')') {
            Node atom;
            if (!parseAtom(atom, depth))
                return false;
            if (m_pos < m_text.size() && (m_text[m_pos] == u'@' || m_text[m_pos] == u'{')) {
                if (atom.kind == Node::Kind::Star || atom.kind == Node::Kind::WordStart ||
                    atom.kind == Node::Kind::WordEnd)
                    return error("@ or {} follows something that cannot be repeated");
                Node repeat;
                repeat.kind = Node::Kind::Repeat;
                if (!parseCount(repeat))
                    return false;
                repeat.children.push_back(std::move(atom));
                atom = std::move(repeat);
                if (m_pos < m_text.size() && (m_text[m_pos] == u'@' || m_text[m_pos] == u'{'))
                    return error("two repetitions follow each other");
            }
            out.push_back(std::move(atom));
        }
        return true;
    }

    bool parseCount(Node& repeat)
    {
        if (m_text[m_pos] == u'@') {
            ++m_pos;
            repeat.min = 1;
            repeat.max = Infinite;
            return true;
        }
        ++m_pos; // {
        auto number = [&](uint32_t& value) {
            size_t digits = 0;
            value = 0;
            while (m_pos < m_text.size() && m_text[m_pos] >= u'0' && m_text[m_pos] <= u'9') {
                if (++digits > 3)
                    return false;
                value = value * 10 + (m_text[m_pos] - u'0');
                ++m_pos;
            }
            return digits > 0 && value <= MaxCount;
        };
        if (!number(repeat.min))
            return error("a count in {} is missing or larger than 255");
        repeat.max = repeat.min;
        if (m_pos < m_text.size() && m_text[m_pos] == u',') {
            ++m_pos;
            if (m_pos < m_text.size() && m_text[m_pos] == u'}') {
                repeat.max = Infinite;
            } else if (!number(repeat.max)) {
                return error("a count in {} is missing or larger than 255");
            }
        }
        if (m_pos >= m_text.size() || m_text[m_pos] != u'}')
            return error("a { has no closing }");
        ++m_pos;
        if (repeat.max < repeat.min)
            return error("the counts in {n,m} are in descending order");
        if (repeat.max == 0)
            return error("{0} repeats nothing");
        return true;
    }

    bool parseAtom(Node& atom, size_t depth)
    {
        const char16_t c = m_text[m_pos];
        switch (c) {
        case u'?':
            ++m_pos;
            atom.test = Test{Test::Kind::Any, 0, 0};
            return true;
        case u'*':
            ++m_pos;
            atom.kind = Node::Kind::Star;
            return true;
        case u'<':
            ++m_pos;
            atom.kind = Node::Kind::WordStart;
            return true;
        case u'>':
            ++m_pos;
            atom.kind = Node::Kind::WordEnd;
            return true;
        case u'@':
        case u'{':
            return error("@ or {} follows nothing");
        case u'[':
            return parseSet(atom);
        case u'(': {
            if (depth >= MaxGroupDepth)
                return error("parentheses are nested too deeply");
            ++m_pos;
            atom.kind = Node::Kind::Group;
            atom.group = ++m_groupCount;
            if (!parseSequence(atom.children, depth + 1))
                return false;
            if (m_pos >= m_text.size())
                return error("an opening parenthesis has no closing one");
            ++m_pos; // )
            if (atom.children.empty())
                return error("a pair of parentheses is empty");
            return true;
        }
        case u'\\':
            if (m_pos + 1 >= m_text.size())
                return error("a backslash ends the text");
            ++m_pos;
            atom.test = charTest(takeCodePoint());
            return true;
        case u'^': {
            Caret caret = parseCaret(m_text, m_pos, CaretContext::WildcardFind);
            if (!caret.error.empty())
                return error(caret.error);
            atom.test = caret.test;
            return true;
        }
        default: atom.test = charTest(takeCodePoint()); return true;
        }
    }

    // The character at m_pos, a surrogate pair read as the one character it is.
    char32_t takeCodePoint()
    {
        const CodePoint cp = codePointAt(m_text, m_pos);
        m_pos += cp.units;
        return cp.value;
    }

    bool setItem(char32_t& value)
    {
        if (m_pos >= m_text.size())
            return error("a [ has no closing ]");
        const char16_t c = m_text[m_pos];
        if (c == u'\\') {
            if (m_pos + 1 >= m_text.size())
                return error("a [ has no closing ]");
            ++m_pos;
            value = takeCodePoint();
            return true;
        }
        if (c == u'^') {
            Caret caret = parseCaret(m_text, m_pos, CaretContext::WildcardSet);
            if (!caret.error.empty())
                return error(caret.error);
            if (caret.test.kind != Test::Kind::Char)
                return error("this caret code cannot stand in brackets");
            value = caret.test.c;
            return true;
        }
        value = takeCodePoint();
        return true;
    }

    bool parseSet(Node& atom)
    {
        ++m_pos; // [
        FindPattern::CharSet set;
        if (m_pos < m_text.size() && m_text[m_pos] == u'!') {
            set.negated = true;
            ++m_pos;
        }
        bool any = false;
        while (true) {
            if (m_pos >= m_text.size())
                return error("a [ has no closing ]");
            if (m_text[m_pos] == u']')
                break;
            char32_t lo = 0;
            if (!setItem(lo))
                return false;
            char32_t hi = lo;
            if (m_pos + 1 < m_text.size() && m_text[m_pos] == u'-' && m_text[m_pos + 1] != u']') {
                ++m_pos;
                if (!setItem(hi))
                    return false;
                if (hi < lo)
                    return error("a range in brackets is in descending order");
            }
            addRange(set, lo, hi);
            any = true;
        }
        ++m_pos; // ]
        if (!any)
            return error("a pair of brackets is empty");
        std::sort(set.ranges.begin(), set.ranges.end());
        atom.test = Test{Test::Kind::Set, 0, static_cast<uint32_t>(m_pattern.m_sets.size())};
        m_pattern.m_sets.push_back(std::move(set));
        return true;
    }

    static void addRange(FindPattern::CharSet& set, char32_t lo, char32_t hi)
    {
        for (uint32_t c = lo; c <= std::min<uint32_t>(hi, 127); ++c)
            set.ascii[c / 64] |= uint64_t{1} << (c % 64);
        if (hi >= 128)
            set.ranges.emplace_back(std::max<char32_t>(lo, 128), hi);
    }

    uint32_t push(Inst inst)
    {
        if (m_pattern.m_program.size() >= MaxProgramSize) {
            m_tooBig = true;
            return static_cast<uint32_t>(m_pattern.m_program.size() - 1);
        }
        m_pattern.m_program.push_back(inst);
        return static_cast<uint32_t>(m_pattern.m_program.size() - 1);
    }
    uint32_t here() const { return static_cast<uint32_t>(m_pattern.m_program.size()); }
    void patch(uint32_t at, uint32_t x, uint32_t y)
    {
        if (m_tooBig)
            return;
        m_pattern.m_program[at].x = x;
        m_pattern.m_program[at].y = y;
    }

    void emit(const Node& n)
    {
        if (m_tooBig)
            return;
        switch (n.kind) {
        case Node::Kind::Test:
            push({Op::Test, 0, 0, n.test});
            return;
        case Node::Kind::Star: {
            // The shortest run: prefer leaving the loop over taking one more character.
            const uint32_t loop = push({Op::Split});
            push({Op::Test, 0, 0, Test{Test::Kind::Any, 0, 0}});
            push({Op::Jump, loop});
            patch(loop, here(), loop + 1);
            return;
        }
        case Node::Kind::WordStart:
            push({Op::WordStart});
            return;
        case Node::Kind::WordEnd:
            push({Op::WordEnd});
            return;
        case Node::Kind::Group:
            if (n.group <= CapturedGroups)
                push({Op::Save, static_cast<uint32_t>(2 * n.group)});
            for (const Node& c : n.children)
                emit(c);
            if (n.group <= CapturedGroups)
                push({Op::Save, static_cast<uint32_t>(2 * n.group + 1)});
            return;
        case Node::Kind::Repeat: {
            const Node& item = n.children.front();
            for (uint32_t i = 0; i < n.min; ++i)
                emit(item);
            if (n.max == Infinite) {
                // As many more as there are: prefer another round.
                const uint32_t loop = push({Op::Split});
                emit(item);
                push({Op::Jump, loop});
                patch(loop, loop + 1, here());
                return;
            }
            std::vector<uint32_t> exits;
            for (uint32_t i = n.min; i < n.max && !m_tooBig; ++i) {
                exits.push_back(push({Op::Split}));
                emit(item);
            }
            for (uint32_t at : exits)
                patch(at, at + 1, here());
            return;
        }
        }
    }

    std::u16string_view m_text;
    PatternSyntax m_syntax;
    size_t m_pos = 0;
    size_t m_groupCount = 0;
    bool m_tooBig = false;
    std::string m_error;
    FindPattern m_pattern;
};

CompiledPattern FindPattern::compile(std::u16string_view text, PatternSyntax syntax)
{
    return PatternCompiler(text, syntax).run();
}

std::u16string_view PatternMatch::group(std::u16string_view text, size_t n) const
{
    if (n >= groups.size())
        return {};
    const auto [start, end] = groups[n];
    if (start == Unset || end == Unset || start > end || end > text.size())
        return {};
    return text.substr(start, end - start);
}

bool FindPattern::CharSet::contains(char32_t c) const
{
    bool in = false;
    if (c < 128) {
        in = (ascii[c / 64] >> (c % 64)) & 1;
    } else {
        for (const auto& [lo, hi] : ranges) {
            if (c < lo)
                break;
            if (c <= hi) {
                in = true;
                break;
            }
        }
    }
    return in != negated;
}

bool FindPattern::isWordPattern() const
{
    const auto& p = m_program;
    return p.size() == 6 && p[0].op == Op::WordStart && p[1].op == Op::Split && p[1].x == 4 &&
           p[2].op == Op::Test && p[2].test.kind == Test::Kind::Any && p[3].op == Op::Jump &&
           p[4].op == Op::WordEnd && p[5].op == Op::Match;
}

bool FindPattern::passes(const Test& t, const MatchSubject& s, uint32_t pos, uint32_t to) const
{
    // A test takes one character: a surrogate pair whole, never half of it.
    char32_t c = s.text[pos];
    if (isLeadSurrogate(c) && pos + 1 < to && isTrailSurrogate(s.text[pos + 1]))
        c = codePointAt(s.text, pos).value;
    switch (t.kind) {
    case Test::Kind::Any: return true;
    case Test::Kind::Char: return c == t.c;
    case Test::Kind::CharFolded: return foldCase(c) == t.c;
    case Test::Kind::Set: return m_sets[t.set].contains(c);
    case Test::Kind::Digit: return c >= u'0' && c <= u'9';
    case Test::Kind::Letter: return isLetterOrDigit(c) && !u_isdigit(static_cast<UChar32>(c));
    case Test::Kind::WhiteSpace: return c == Ch::Space || c == Ch::NoBreakSpace || c == Ch::Tab;
    case Test::Kind::ManualPageBreak:
        return c == Ch::PageBreak && !(s.document && s.story == 0 && s.document->isSectionBreak(pos));
    case Test::Kind::SectionBreak:
        return c == Ch::PageBreak && s.document && s.story == 0 && s.document->isSectionBreak(pos);
    }
    return false;
}

namespace {

// The one character a test can pass on, when there is only one: a search then
// jumps from one occurrence to the next instead of trying every position,
// which is what makes the clean-ups' "^p^p" and "^m" passes cheap.
std::optional<char16_t> onlyCharacter(const Test& t)
{
    switch (t.kind) {
    case Test::Kind::Char:
        if (t.c > 0xFFFF || isLeadSurrogate(t.c) || isTrailSurrogate(t.c))
            return std::nullopt;
        return static_cast<char16_t>(t.c);
    case Test::Kind::CharFolded:
        // Nothing else folds to a character below 128 that is not a letter.
        if (t.c < 0x80 && !(t.c >= u'a' && t.c <= u'z'))
            return static_cast<char16_t>(t.c);
        return std::nullopt;
    case Test::Kind::ManualPageBreak:
    case Test::Kind::SectionBreak: return Ch::PageBreak;
    default: return std::nullopt;
    }
}

// Whether a match may cover the character at pos (of a stretch ending at
// `to`): not a cell mark, and within the font criteria, both halves of a
// surrogate pair.
bool eligibleAt(const MatchSubject& s, uint32_t pos, uint32_t to)
{
    if (s.text[pos] == Ch::CellEnd)
        return false;
    if (!s.allowedFormats)
        return true;
    auto allowedFormat = [&](uint32_t at) {
        const uint32_t format = s.attrs[at].charFormat;
        return format < s.allowedFormats->size() && (*s.allowedFormats)[format] != 0;
    };
    if (!allowedFormat(pos))
        return false;
    return !(pos + 1 < to && isLeadSurrogate(s.text[pos]) && isTrailSurrogate(s.text[pos + 1])) ||
           allowedFormat(pos + 1);
}

} // namespace

bool FindPattern::scansForOneCharacter() const
{
    uint32_t first = 0;
    while (first < m_program.size() && m_program[first].op == Op::Save)
        ++first;
    return first < m_program.size() && m_program[first].op == Op::Test &&
           onlyCharacter(m_program[first].test).has_value();
}

template <typename OnWord>
void FindPattern::scanWords(const MatchSubject& s, uint32_t from, uint32_t to, OnWord&& onWord) const
{
    const std::u16string_view text = s.text;
    const uint32_t size = static_cast<uint32_t>(text.size());
    to = std::min(to, size);
    // Whether a match may cover every unit of [first, last), as eligibleAt
    // answers for each: characters of one format follow each other, so a
    // format found allowed is not looked up again for the next unit.
    auto coveredWhole = [&](uint32_t first, uint32_t last) {
        if (!s.allowedFormats) {
            for (uint32_t k = first; k < last; ++k)
                if (text[k] == Ch::CellEnd)
                    return false;
            return true;
        }
        const std::vector<uint8_t>& allowed = *s.allowedFormats;
        uint32_t known = UINT32_MAX; // the last format found allowed
        auto allowedAt = [&](uint32_t at) {
            const uint32_t format = s.attrs[at].charFormat;
            if (format == known)
                return true;
            if (format >= allowed.size() || allowed[format] == 0)
                return false;
            known = format;
            return true;
        };
        for (uint32_t k = first; k < last; ++k) {
            if (text[k] == Ch::CellEnd || !allowedAt(k))
                return false;
            if (isLeadSurrogate(text[k]) && k + 1 < to && isTrailSurrogate(text[k + 1]) && !allowedAt(k + 1))
                return false;
        }
        return true;
    };
    // Each unit's part in a word is worked out once and carried to the next
    // position, where it is the unit before. Where neither side needs its
    // neighbours (detail::unitRole) a word starts at an East Asian
    // character, or at a letter after anything but a letter, and a letter's
    // word ends before anything but a letter, an East Asian character's
    // before anything: what isWordStart and isWordEnd answer there. Marks,
    // format characters, apostrophes and surrogates go to the full rule.
    using detail::UnitRole;
    auto role = [&](uint32_t pos) { return detail::unitRole(text[pos]); };
    uint32_t i = from;
    UnitRole before = i > 0 && i <= size ? role(i - 1) : UnitRole::None; // nothing before the text
    while (i < to) {
        const UnitRole here = role(i);
        const bool start = here != UnitRole::Context && before != UnitRole::Context
                               ? here == UnitRole::EastAsian || (here == UnitRole::Letter && before != UnitRole::Letter)
                               : isWordStart(text, i);
        if (!start) {
            before = here;
            ++i;
            continue;
        }
        uint32_t j = i + 1;
        UnitRole last = here; // the part of the unit before j
        for (; j < size; ++j) {
            const UnitRole at = role(j);
            if (last != UnitRole::Context && at != UnitRole::Context
                    ? (last == UnitRole::Letter ? at != UnitRole::Letter : last == UnitRole::EastAsian)
                    : isWordEnd(text, j))
                break;
            last = at;
        }
        if (j > to)
            return; // the word runs past the stretch, and so does every later one
        if (coveredWhole(i, j) && !onWord(i, j))
            return;
        i = j; // the next search starts where this word ends
        before = last;
    }
}

int64_t FindPattern::countMatches(const MatchSubject& s, uint32_t from, uint32_t to) const
{
    int64_t count = 0;
    if (isWordPattern()) {
        // The word count of every document: one pass over the text, rather
        // than a search set up anew for each word.
        scanWords(s, from, to, [&](uint32_t, uint32_t) {
            ++count;
            return true;
        });
        return count;
    }
    for (uint32_t pos = from; pos < to;) {
        const std::optional<PatternMatch> match = search(s, pos, to);
        if (!match)
            break;
        ++count;
        pos = match->end;
    }
    return count;
}

std::optional<PatternMatch> FindPattern::search(const MatchSubject& s, uint32_t from, uint32_t to) const
{
    const std::u16string_view text = s.text;
    to = std::min<uint32_t>(to, static_cast<uint32_t>(text.size()));
    if (from >= to || m_program.empty())
        return std::nullopt;

    auto eligible = [&](uint32_t pos) { return eligibleAt(s, pos, to); };
    auto single = [](uint32_t start, uint32_t end) {
        PatternMatch m;
        m.start = start;
        m.end = end;
        m.groups.fill({PatternMatch::Unset, PatternMatch::Unset});
        m.groups[0] = {start, end};
        return m;
    };

    // Units of the character at pos: 2 for a surrogate pair within the stretch.
    auto width = [&](uint32_t pos) -> uint32_t {
        return isLeadSurrogate(text[pos]) && pos + 1 < to && isTrailSurrogate(text[pos + 1]) ? 2 : 1;
    };

    // Where a match can begin, so that runs of hopeless positions are skipped.
    uint32_t first = 0;
    while (first < m_program.size() && m_program[first].op == Op::Save)
        ++first;
    const std::optional<char16_t> startCharacter =
        m_program[first].op == Op::Test ? onlyCharacter(m_program[first].test) : std::nullopt;
    // The first position from pos on where the first test may pass; `to` when none.
    auto candidate = [&](uint32_t pos) -> uint32_t {
        if (!startCharacter)
            return pos;
        return pos < to ? findUnit(text, *startCharacter, pos, to) : to;
    };

    // One character test: the patterns counting uses most. Scan directly;
    // below the surrogates a character is one unit and needs no pair checks.
    if (m_program.size() == 2 && m_program[0].op == Op::Test) {
        const Test& test = m_program[0].test;
        // The font criteria's table held in locals, so the loop need not
        // reload it after every call.
        const uint8_t* allowed = s.allowedFormats ? s.allowedFormats->data() : nullptr;
        const size_t allowedCount = s.allowedFormats ? s.allowedFormats->size() : 0;
        const CharAttr* attrs = s.attrs;
        for (uint32_t i = candidate(from); i < to;) {
            if (allowed && !startCharacter) {
                // Most characters fall outside the criteria (not bold, not
                // italic): pass over them before anything else is looked at.
                while (i < to && text[i] < 0xD800 &&
                       (attrs[i].charFormat >= allowedCount || allowed[attrs[i].charFormat] == 0))
                    ++i;
                if (i >= to)
                    break;
            }
            if (const char16_t c = text[i]; c < 0xD800) [[likely]] {
                if (allowed) {
                    const uint32_t format = attrs[i].charFormat;
                    if (format >= allowedCount || allowed[format] == 0) {
                        i = startCharacter ? candidate(i + 1) : i + 1;
                        continue;
                    }
                }
                if (c != Ch::CellEnd && passes(test, s, i, to))
                    return single(i, i + 1);
                i = startCharacter ? candidate(i + 1) : i + 1;
                continue;
            }
            const uint32_t units = width(i);
            if (eligible(i) && passes(test, s, i, to))
                return single(i, i + units);
            i = candidate(i + units);
        }
        return std::nullopt;
    }

    auto canStart = [&](uint32_t pos) {
        const Inst& in = m_program[first];
        if (in.op == Op::Test)
            return eligible(pos) && passes(in.test, s, pos, to);
        if (in.op == Op::WordStart)
            return isWordStart(text, pos);
        return true;
    };

    // The word pattern "<*>", which every word count runs over whole
    // documents: from each word start, the shortest run to the next word end
    // is that word, matched when every character of it may be covered.
    // Exactly what the general simulation below gives, without its bookkeeping.
    if (isWordPattern()) {
        std::optional<PatternMatch> found;
        scanWords(s, from, to, [&](uint32_t start, uint32_t end) {
            found = single(start, end);
            return false;
        });
        return found;
    }

    // Breadth-first simulation: every live alternative advances one character
    // at a time, at most one thread per instruction, in order of preference.
    // The buffers are kept per thread between searches, so repeated searches
    // (a replace all, a find-next loop) do not allocate.
    const uint32_t size = static_cast<uint32_t>(m_program.size());
    const size_t slots = 2 * (std::min(m_groups, CapturedGroups) + 1);
    thread_local SearchScratch scratch;
    ThreadList* lists = scratch.lists;
    for (int k = 0; k < 2; ++k) {
        lists[k].stamp.assign(size, 0);
        lists[k].generation = 0;
        lists[k].pcs.clear();
        lists[k].caps.clear();
    }
    std::vector<uint32_t>& work = scratch.work;
    work.assign(slots, PatternMatch::Unset);
    std::vector<Frame>& stack = scratch.stack;
    stack.clear();

    auto addThread = [&](ThreadList& l, uint32_t pc0, uint32_t pos) {
        stack.push_back({pc0, Visit, 0});
        while (!stack.empty()) {
            const Frame f = stack.back();
            stack.pop_back();
            if (f.slot != Visit) {
                work[f.slot] = f.value;
                continue;
            }
            if (l.stamp[f.pc] == l.generation)
                continue;
            l.stamp[f.pc] = l.generation;
            const Inst& in = m_program[f.pc];
            switch (in.op) {
            case Op::Jump:
                stack.push_back({in.x, Visit, 0});
                break;
            case Op::Split:
                stack.push_back({in.y, Visit, 0});
                stack.push_back({in.x, Visit, 0});
                break;
            case Op::Save:
                stack.push_back({0, in.x, work[in.x]});
                work[in.x] = pos;
                stack.push_back({f.pc + 1, Visit, 0});
                break;
            case Op::WordStart:
                if (isWordStart(text, pos))
                    stack.push_back({f.pc + 1, Visit, 0});
                break;
            case Op::WordEnd:
                if (isWordEnd(text, pos))
                    stack.push_back({f.pc + 1, Visit, 0});
                break;
            case Op::Test:
            case Op::Match:
                l.pcs.push_back(f.pc);
                l.caps.insert(l.caps.end(), work.begin(), work.end());
                break;
            }
        }
    };

    ThreadList* current = &lists[0];
    ThreadList* next = &lists[1];
    current->clear();
    std::optional<PatternMatch> best;
    for (uint32_t i = from, step = 1; i <= to; i += step) {
        step = i < to ? width(i) : 1;
        if (!best && i < to) {
            if (current->pcs.empty()) {
                for (i = candidate(i); i < to && !canStart(i);)
                    i = candidate(i + width(i));
                if (i >= to)
                    break;
                step = width(i);
                current->clear();
            }
            std::fill(work.begin(), work.end(), PatternMatch::Unset);
            work[0] = i;
            addThread(*current, 0, i);
        }
        if (current->pcs.empty()) {
            if (best)
                break;
            continue;
        }
        next->clear();
        for (size_t k = 0; k < current->pcs.size(); ++k) {
            const uint32_t pc = current->pcs[k];
            const uint32_t* caps = &current->caps[k * slots];
            const Inst& in = m_program[pc];
            if (in.op == Op::Match) {
                if (caps[0] == i)
                    continue; // an empty match is no match
                PatternMatch m = single(caps[0], i);
                for (size_t g = 1; 2 * g + 1 < slots; ++g)
                    m.groups[g] = {caps[2 * g], caps[2 * g + 1]};
                best = m;
                break; // threads of lower preference are dropped
            }
            if (i < to && eligible(i) && passes(in.test, s, i, to)) {
                std::copy(caps, caps + slots, work.begin());
                addThread(*next, pc + 1, i + step);
            }
        }
        std::swap(current, next);
    }
    return best;
}

CompiledReplacement Replacement::compile(std::u16string_view text, PatternSyntax syntax)
{
    CompiledReplacement result;
    if (text.size() > MaxFindTextLength) {
        result.error = "the replacement text is longer than 255 characters";
        return result;
    }
    Replacement r;
    auto literal = [&](char16_t c) {
        if (r.m_pieces.empty() || r.m_pieces.back().group != -1)
            r.m_pieces.push_back(Piece{-1, {}});
        r.m_pieces.back().text.push_back(c);
    };
    size_t pos = 0;
    while (pos < text.size()) {
        const char16_t c = text[pos];
        if (c == u'^') {
            Caret caret = parseCaret(text, pos, CaretContext::Replace);
            if (!caret.error.empty()) {
                result.error = "the replacement text is not valid: " + caret.error;
                return result;
            }
            if (caret.wholeMatch)
                r.m_pieces.push_back(Piece{0, {}});
            else
                literal(caret.test.c);
            continue;
        }
        if (c == u'\\' && syntax == PatternSyntax::Wildcards && pos + 1 < text.size()) {
            const char16_t d = text[pos + 1];
            if (d >= u'1' && d <= u'9')
                r.m_pieces.push_back(Piece{d - u'0', {}});
            else
                literal(d);
            pos += 2;
            continue;
        }
        literal(c);
        ++pos;
    }
    result.replacement = std::move(r);
    return result;
}

std::u16string Replacement::expand(std::u16string_view text, const PatternMatch& match) const
{
    std::u16string out;
    for (const Piece& p : m_pieces) {
        if (p.group < 0)
            out += p.text;
        else
            out += match.group(text, static_cast<size_t>(p.group));
    }
    return out;
}

} // namespace qm::engine
