// Find patterns on plain text: what each syntax matches, what it rejects, and that matching stays linear.
#include "engine/access/FindPattern.h"

#include "TestDocuments.h"
#include "engine/access/WordCharacters.h"

#include <gtest/gtest.h>
#include <tuple>
#include <vector>

using namespace qm::engine;
using qm::engine::testing::utf8;

namespace {

// Every match left to right, each search starting where the last match ended.
std::vector<std::u16string> matches(std::u16string_view pattern, PatternSyntax syntax, std::u16string_view text)
{
    CompiledPattern c = FindPattern::compile(pattern, syntax);
    EXPECT_TRUE(c.pattern) << c.error;
    std::vector<std::u16string> found;
    if (!c.pattern)
        return found;
    MatchSubject subject{text};
    uint32_t pos = 0;
    while (auto m = c.pattern->search(subject, pos, static_cast<uint32_t>(text.size()))) {
        found.emplace_back(text.substr(m->start, m->end - m->start));
        pos = m->end;
    }
    return found;
}

struct MatchCase {
    std::u16string_view pattern;
    PatternSyntax syntax;
    std::u16string_view text;
    std::vector<std::u16string> expected;
};

void check(const std::vector<MatchCase>& cases)
{
    for (const MatchCase& c : cases) {
        SCOPED_TRACE("pattern \"" + utf8(c.pattern) + "\" on \"" + utf8(c.text) + "\"");
        EXPECT_EQ(matches(c.pattern, c.syntax, c.text), c.expected);
    }
}

// How many matches searching finds in [from, to), each search starting
// where the last match ended: what a count in one pass must agree with.
int64_t countBySearch(const FindPattern& pattern, const MatchSubject& subject, uint32_t from, uint32_t to)
{
    int64_t found = 0;
    for (uint32_t pos = from; pos < to;) {
        const auto m = pattern.search(subject, pos, to);
        if (!m)
            break;
        ++found;
        pos = m->end;
    }
    return found;
}

// Random texts drawn from an alphabet, each character in format 0 or 1, and
// a random stretch [from, to) of each; the same seed gives the same texts.
class RandomTexts {
public:
    RandomTexts(std::u16string alphabet, uint32_t seed) : m_alphabet(std::move(alphabet)), m_seed(seed) {}
    struct Text {
        std::u16string text;
        std::vector<CharAttr> attrs;
        uint32_t from = 0, to = 0;
    };
    Text next(uint32_t maxLength)
    {
        Text t;
        const uint32_t length = draw(maxLength);
        for (uint32_t i = 0; i < length; ++i) {
            t.text.push_back(m_alphabet[draw(static_cast<uint32_t>(m_alphabet.size()))]);
            t.attrs.push_back(CharAttr{draw(2), 0});
        }
        t.from = draw(length + 1);
        t.to = t.from + draw(length - t.from + 1);
        return t;
    }

private:
    uint32_t draw(uint32_t n)
    {
        m_seed = m_seed * 1103515245u + 12345u;
        return (m_seed >> 16) % n;
    }
    std::u16string m_alphabet;
    uint32_t m_seed;
};

constexpr PatternSyntax W = PatternSyntax::Wildcards;
constexpr PatternSyntax L = PatternSyntax::Literal;

} // namespace

// The patterns the measurements count with, on text holding Word's marks.
TEST(FindPattern, CountingPatterns)
{
    check({
        // Words: hyphens and slashes split, an inner apostrophe joins, punctuation is no word.
        {u"<*>", W, u"well-known 06/30/2003, don't 'x' na\u00EFve \u041C\u0438\u0440\r",
         {u"well", u"known", u"06", u"30", u"2003", u"don't", u"x", u"na\u00EFve", u"\u041C\u0438\u0440"}},
        {u"<*>", W, u"  \r\t.\r", {}},
        {u"<*>", W, u"end", {u"end"}}, // a word ending the text
        // Codes 13 to 32 excluded: tab (9), line break (11) and page break (12) are below 13 and match.
        {u"[!^13- ]", W, u"a b\tc\u000B\u000C\r", {u"a", u"b", u"\t", u"c", u"\u000B", u"\u000C"}},
        {u"[!^13]", W, u"a b\r\r", {u"a", u" ", u"b"}},
        {u"^13", W, u"a\r\rb\r", {u"\r", u"\r", u"\r"}},
        {u"[A-Z]", W, u"AbC \u00C4Z", {u"A", u"C", u"Z"}}, // range by code: no accented capitals
        {u"^t", W, u"a\tb\t\t", {u"\t", u"\t", u"\t"}},
        // Cell marks are never found, whatever the pattern.
        {u"[!^13]", W, u"a\u0007b\r", {u"a", u"b"}},
    });
}

TEST(FindPattern, WildcardOperators)
{
    check({
        {u"a*b", W, u"aXbYb aab", {u"aXb", u"aab"}},           // * takes the shortest run
        {u"a@", W, u"caaat a", {u"aaa", u"a"}},                 // @ takes the longest
        {u"[0-9]{2}", W, u"12345", {u"12", u"34"}},
        {u"[0-9]{2,3}", W, u"1 12 1234", {u"12", u"123"}},
        {u"[0-9]{2,}", W, u"1 12345", {u"12345"}},
        {u"(ab)@", W, u"ababx ab", {u"abab", u"ab"}},
        {u"<(inter)", W, u"interesting splintered inter", {u"inter", u"inter"}},
        {u"(ing)>", W, u"singing ingot", {u"ing"}},
        {u"?", W, u"ab", {u"a", u"b"}},
        {u"\\[x\\]", W, u"[x] x", {u"[x]"}},
        {u"[\\[\\]]", W, u"a[b]", {u"[", u"]"}},
        {u"[!a-z]", W, u"aB1c", {u"B", u"1"}},
        {u"[a-]", W, u"b-a", {u"-", u"a"}},                    // a dash before ] is itself
        {u"abc", W, u"ABC abc", {u"abc"}},                      // wildcards match case
        {u"^0150^u8212", W, u"\u2013\u2014", {u"\u2013\u2014"}},
        {u"^12", W, u"a\u000Cb", {u"\u000C"}},
        {u"<*>", W, u"it's 3'4", {u"it's", u"3'4"}},
    });
}

// A character outside the Basic Multilingual Plane is one character to every
// test, and each East Asian character is a word of its own to < and >.
TEST(FindPattern, SurrogatePairsAndEastAsianWords)
{
    check({
        {u"?", W, u"\U0001F600a", {u"\U0001F600", u"a"}},
        {u"x?y", W, u"x\U0001F600y", {u"x\U0001F600y"}},
        {u"[!a]", W, u"a\U0001F600", {u"\U0001F600"}}, // never the lone halves
        {u"[!^13- ]", W, u"\U00020B9F \U0001F44D\U0001F3FD", {u"\U00020B9F", u"\U0001F44D", u"\U0001F3FD"}},
        {u"[\U0001F600-\U0001F64F]", W, u"a\U0001F642\U0001F680", {u"\U0001F642"}},
        {u"\U0001F600", L, u"\U0001F600\U0001F601\U0001F600", {u"\U0001F600", u"\U0001F600"}},
        {u"<*>", W, u"a\U0001F600b", {u"a", u"b"}}, // emoji are no letters
        {u"<*>", W, u"\u65E5\u672C\u8A9Eand\u3002", {u"\u65E5", u"\u672C", u"\u8A9E", u"and", u"\u3002"}},
        {u"<*>", W, u"\U00020B9F\u308B", {u"\U00020B9F", u"\u308B"}},
        {u"<*>", W, u"\u304B\u3099\u3044", {u"\u304B\u3099", u"\u3044"}}, // a voiced mark stays with its kana
        {u"<*>",
         W,
         u"\u0645\u0631\u062D\u0628\u0627 \u0E2A\u0E27\u0E31\u0E2A",
         {u"\u0645\u0631\u062D\u0628\u0627", u"\u0E2A\u0E27\u0E31\u0E2A"}},
        {u"<*>", W, u"co\u200Dop \u200Bx", {u"co\u200Dop", u"x"}}, // format characters join, never begin
        {u"<*>", W, u"1\uFE0F\u20E3", {u"1\uFE0F\u20E3"}},         // a keycap stays with its digit
        // Ranges compare codes: full-width capitals (U+FF21-FF3A) are no [A-Z].
        {u"[A-Z]", W, u"\uFF21A\uFF3AZ", {u"A", u"Z"}},
    });
}

TEST(FindPattern, LiteralSyntax)
{
    check({
        {u"abc", L, u"ABC abc aBc", {u"ABC", u"abc", u"aBc"}},  // match case off
        {u"\u00C9T\u00C9", L, u"\u00E9t\u00E9", {u"\u00E9t\u00E9"}},
        {u"a*b?", L, u"aXb a*b?", {u"a*b?"}},                  // no wildcards without wildcards
        {u"^p ^p", L, u"a\r \rb\r \r", {u"\r \r", u"\r \r"}},
        {u"^p^p", L, u"\r\r\r", {u"\r\r"}},                    // no overlap
        {u"^p^p", L, u"\r\r\r\r", {u"\r\r", u"\r\r"}},         // adjacent
        {u"^13", L, u"a\rb", {u"\r"}},
        {u"^t^l^s^~^-", L, u"\t\u000B\u00A0\u001E\u001F", {u"\t\u000B\u00A0\u001E\u001F"}},
        {u"a^?c", L, u"abc a\rc", {u"abc", u"a\rc"}},
        {u"^#^$", L, u"1a a1 2B", {u"1a", u"2B"}},
        {u"x^wy", L, u"x \t\u00A0y xy", {u"x \t\u00A0y"}},
        {u"^^", L, u"a^b", {u"^"}},
        {u"aa", L, u"aaa", {u"aa"}},                           // overlapping: left match wins
    });
}

TEST(FindPattern, InvalidTextsAreRejectedWithAReason)
{
    struct Case {
        std::u16string pattern;
        PatternSyntax syntax;
    } cases[] = {
        {u"", W}, {u"[abc", W}, {u"[z-a]", W}, {u"[]", W}, {u"a{3,2}", W}, {u"a{", W}, {u"a{x}", W},
        {u"a{256}", W}, {u"(a", W}, {u"a)", W}, {u"()", W}, {u"@", W}, {u"*@", W}, {u"<{2}", W},
        {u"a@@", W}, {u"^p", W}, {u"[^p]", W}, {u"^q", W}, {u"a\\", W}, {u"^", L}, {u"^300", W},
        {u"^u", L}, {u"^&", L}, {std::u16string(256, u'a'), L},
        {u"(((a{255}){255}){255})", W}, // would unroll to millions of instructions
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(utf8(c.pattern));
        CompiledPattern compiled = FindPattern::compile(c.pattern, c.syntax);
        EXPECT_FALSE(compiled.pattern);
        EXPECT_FALSE(compiled.error.empty());
    }
}

// Patterns that make a backtracking matcher take exponential time on a run
// of one letter: a matcher that backtracked would never finish this test.
TEST(FindPattern, NestedRepetitionStaysLinear)
{
    const std::u16string text(5000, u'a');
    EXPECT_TRUE(matches(u"(a@)@b", W, text).empty());
    EXPECT_TRUE(matches(u"*a*a*a*a*a*b", W, text).empty());
    EXPECT_TRUE(matches(u"(a{1,9}){1,9}b", W, text).empty());
    EXPECT_EQ(matches(u"<*>", W, text).size(), 1u);
}

TEST(FindPattern, MatchesStayInsideTheSearchedStretch)
{
    CompiledPattern c = FindPattern::compile(u"<*>", W);
    ASSERT_TRUE(c.pattern);
    const std::u16string text = u"alpha beta";
    MatchSubject subject{text};
    // A word cut by the end of the stretch is not found (its end is outside).
    EXPECT_FALSE(c.pattern->search(subject, 0, 3));
    // Word boundaries look at the text outside the stretch: "pha" does not start a word.
    auto m = c.pattern->search(subject, 2, 10);
    ASSERT_TRUE(m);
    EXPECT_EQ(m->start, 6u);
}

TEST(Replacement, ExpandsGroupsMarksAndTheFoundText)
{
    struct Case {
        std::u16string_view pattern, replacement;
        PatternSyntax syntax;
        std::u16string_view text, expected;
    } cases[] = {
        {u"(a)(b)", u"\\2\\1", W, u"ab", u"ba"},
        {u"<*>", u"^&^&", W, u"hi", u"hihi"},
        {u"x", u"^p^t^m^l^s^^", L, u"x", u"\r\t\u000C\u000B\u00A0^"},
        {u"x", u"\\1", L, u"x", u"\\1"},          // no groups without wildcards
        {u"(x)", u"\\3", W, u"x", u""},          // a group the pattern lacks is empty
        {u"x", u"^013^0150", W, u"x", u"\r\u2013"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(utf8(c.pattern) + " -> " + utf8(c.replacement));
        CompiledPattern p = FindPattern::compile(c.pattern, c.syntax);
        CompiledReplacement r = Replacement::compile(c.replacement, c.syntax);
        ASSERT_TRUE(p.pattern && r.replacement) << p.error << r.error;
        auto m = p.pattern->search(MatchSubject{c.text}, 0, static_cast<uint32_t>(c.text.size()));
        ASSERT_TRUE(m);
        EXPECT_EQ(r.replacement->expand(c.text, *m), c.expected);
    }
    EXPECT_FALSE(Replacement::compile(u"^c", L).replacement);
}

TEST(WordCharacters, ClassesAndCaseFolding)
{
    for (char32_t c : std::u32string(U"aZ09\u00E9\u0416\u05D0\u0627\u4E2D\u0301\u3005\U00020000\uFF21"))
        EXPECT_TRUE(isLetterOrDigit(c)) << int(c);
    for (char32_t c : std::u32string(U" -_.,;'\u00A0\u2019\u2014\u201C\u3001\uF020\u00D7\r\t\U0001F600"))
        EXPECT_FALSE(isLetterOrDigit(c)) << int(c);
    // An emoji (a surrogate pair) is no word character; a supplementary letter is.
    EXPECT_FALSE(isWordCharacterAt(u"\U0001F600", 0));
    EXPECT_TRUE(isWordCharacterAt(u"\U00020000", 1));
    const std::u16string upper = u"A\u00C9\u0100\u0139\u0416\u0401\u03A3\u00DF";
    std::u16string folded;
    for (char16_t c : upper)
        folded += foldCase(c);
    EXPECT_EQ(utf8(folded), utf8(u"a\u00E9\u0101\u013A\u0436\u0451\u03C3\u00DF"));
}

// "<*>" has a direct scan of its own; "(<*>)" means the same but goes through
// the general simulation. Both must agree on every text, stretch and set of
// allowed formats.
TEST(FindPattern, WordPatternScanAgreesWithTheGeneralMatcher)
{
    CompiledPattern direct = FindPattern::compile(u"<*>", W);
    CompiledPattern general = FindPattern::compile(u"(<*>)", W);
    ASSERT_TRUE(direct.pattern && general.pattern);
    // Surrogate halves come one at a time, so pairs and lone halves both occur.
    RandomTexts texts(u"ab1'\u2019- \r\t\u0007.\u00E9\u65E5\u3099\u200D" + std::u16string{0xD840, 0xDC00}, 12345);
    for (int round = 0; round < 3000; ++round) {
        const auto [text, attrs, from, to] = texts.next(24);
        std::vector<uint8_t> allowed{1, static_cast<uint8_t>(round % 2)};
        MatchSubject subject{text, attrs.data(), round % 3 == 0 ? nullptr : &allowed};
        auto a = direct.pattern->search(subject, from, to);
        auto b = general.pattern->search(subject, from, to);
        SCOPED_TRACE("\"" + utf8(text) + "\" [" + std::to_string(from) + ", " + std::to_string(to) + ")");
        ASSERT_EQ(a.has_value(), b.has_value());
        if (a)
            EXPECT_EQ(std::tuple(a->start, a->end), std::tuple(b->start, b->end));
    }
}

// A one-character pattern is found wherever it stands: in the first, a
// middle and the last of each block of units the scan takes at once, in the
// short tail after them, and never at or beyond the end of the range.
TEST(FindPattern, OneCharacterFoundAtEveryPositionAndNotPastTheRange)
{
    CompiledPattern tab = FindPattern::compile(u"^t", L);
    ASSERT_TRUE(tab.pattern) << tab.error;
    for (uint32_t length : {1u, 7u, 8u, 9u, 16u, 17u, 31u}) {
        for (uint32_t at = 0; at < length; ++at) {
            std::u16string text(length, u'a');
            text[at] = u'\t';
            const MatchSubject subject{text};
            SCOPED_TRACE(std::to_string(length) + " units, tab at " + std::to_string(at));
            const auto whole = tab.pattern->search(subject, 0, length);
            ASSERT_TRUE(whole);
            EXPECT_EQ(whole->start, at);
            EXPECT_FALSE(tab.pattern->search(subject, 0, at)) << "found before the range's end";
            EXPECT_FALSE(tab.pattern->search(subject, at + 1, length)) << "found behind the start";
        }
    }
}

// A count of all matches must be what searching again from each match's end
// finds, word pattern (counted in one pass) and others alike, with and
// without characters that may not be covered.
TEST(FindPattern, CountMatchesAgreesWithRepeatedSearches)
{
    const std::u16string_view text = u"One two-three, don't \u65E5\u672C go\u0301od \u00ADsoft 'q' end.\r"
                                     u"cell\a next\rtail words here";
    // Formats by character: 0 allowed, 1 not (as hidden text would be).
    std::vector<CharAttr> attrs(text.size());
    for (size_t i = 4; i < 7; ++i) // "two"
        attrs[i].charFormat = 1;
    attrs[text.find(u"don") + 2].charFormat = 1; // the 'n' of "don't"
    const std::vector<uint8_t> allowed{1, 0};
    struct Case {
        std::u16string_view pattern;
        PatternSyntax syntax;
        uint32_t from, to;
        int64_t withAll, withCriteria; // counted by hand
    } const cases[] = {
        // One two three don't 日 本 góod soft q end cell next tail words here;
        // "two" and "don't" hold characters that may not be covered.
        {u"<*>", W, 0, static_cast<uint32_t>(text.size()), 15, 13},
        {u"<*>", W, 4, 30, 6, 4},  // from inside a word: "two", "three", "don't", 日, 本, "go\u0301od"
        {u"<*>", W, 0, 2, 0, 0},   // "One" runs past the stretch
        {u"<*>", W, 9, 9, 0, 0},   // an empty stretch
        {u"o", L, 0, static_cast<uint32_t>(text.size()), 7, 6}, // any case: "One" too
        {u"<t*>", W, 0, static_cast<uint32_t>(text.size()), 3, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(utf8(c.pattern) + " from " + std::to_string(c.from) + " to " + std::to_string(c.to));
        const CompiledPattern compiled = FindPattern::compile(c.pattern, c.syntax);
        ASSERT_TRUE(compiled.pattern) << compiled.error;
        for (bool criteria : {false, true}) {
            const MatchSubject subject{text, attrs.data(), criteria ? &allowed : nullptr};
            const int64_t searched = countBySearch(*compiled.pattern, subject, c.from, c.to);
            EXPECT_EQ(compiled.pattern->countMatches(subject, c.from, c.to), searched) << "criteria " << criteria;
            EXPECT_EQ(searched, criteria ? c.withCriteria : c.withAll) << "criteria " << criteria;
        }
    }
}

// The word count in one pass carries each unit's class to the next
// position; over texts mixing plain Latin with units the full rule decides
// (beyond Latin-1, apostrophes, soft hyphens, marks, joiners, surrogates,
// cell marks), every count over every stretch must be what the general
// matcher finds one match at a time.
TEST(FindPattern, WordCountInOnePassAgreesWithTheGeneralMatcherOverMixedText)
{
    CompiledPattern direct = FindPattern::compile(u"<*>", W);
    CompiledPattern general = FindPattern::compile(u"(<*>)", W);
    ASSERT_TRUE(direct.pattern && general.pattern);
    RandomTexts texts(u"aZ9 .-'\u00AD\u00E9\u00D7\u2019\u0414\u0301\u200D\u65E5\r\u0007\t" +
                          std::u16string{0xD840, 0xDC00},
                      777);
    for (int round = 0; round < 3000; ++round) {
        const auto [text, attrs, from, to] = texts.next(30);
        std::vector<uint8_t> allowed{1, static_cast<uint8_t>(round % 2)};
        MatchSubject subject{text, attrs.data(), round % 3 == 0 ? &allowed : nullptr};
        const int64_t expected = countBySearch(*general.pattern, subject, from, to);
        SCOPED_TRACE("\"" + utf8(text) + "\" [" + std::to_string(from) + ", " + std::to_string(to) + ")");
        ASSERT_EQ(direct.pattern->countMatches(subject, from, to), expected);
    }
}
