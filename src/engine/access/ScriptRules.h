// Word's character classes for every script, shared by the statistics, the wildcard find and the counts.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string_view>

namespace qm::engine {

/// How Word's counts treat one character (a Unicode code point). Every count
/// of the engine takes its classes from here, so the statistics, the word
/// boundaries of a wildcard find and the replace-and-compare counts agree.
///
/// The rules, with their sources:
/// - Word counts characters as it stores them, one per code point: a
///   character outside the Basic Multilingual Plane (an emoji, a rare Han
///   ideograph) is one character although UTF-16 stores it as a surrogate
///   pair. An emoji sequence counts each code point it is made of (a family
///   joined by two zero-width joiners is five characters), since Word keeps
///   the joiners and modifiers as characters of their own.
/// - East Asian characters each count as one word and as one "Asian
///   character": Word's Word Count shows "Asian characters" and "Non-Asian
///   words" beside the words when such text is present, and its statistic
///   wdStatisticFarEastCharacters counts "characters for Asian languages"
///   (Microsoft Learn, WdStatistic enumeration). They are the Han ideographs
///   (all planes), kana, Hangul, Bopomofo, Yi, CJK radicals, CJK and
///   full-width punctuation and symbols, full-width letters and digits,
///   half-width kana and compatibility forms: the characters Unicode gives a
///   wide, full-width or half-width East Asian width, plus any character of
///   the Han, Hiragana, Katakana, Hangul and Bopomofo scripts. Emoji, which
///   Unicode also draws wide, are not East Asian text.
/// - Between East Asian characters, a run of other characters without a
///   space is one non-Asian word, as a run between spaces is in any text.
/// - Scripts written without spaces between words (Thai, Lao, Khmer,
///   Myanmar) are counted as Word's Word Count counts any script written
///   with letters: a run between spaces is one word. Word finds the words
///   inside such a run with a dictionary only for line breaking and
///   selection; its Word Count is documented for East Asian text alone, so
///   this is the plausible reading. Right-to-left scripts (Hebrew, Arabic)
///   are letters like any other; their direction does not change a count.
/// - Invisible format characters (zero-width space, zero-width joiner and
///   non-joiner, word joiner, variation selectors, the byte-order mark, a
///   soft hyphen stored as U+00AD, direction marks) are characters Word
///   stores and counts, but none shows as a space: they never split a word
///   and never begin one; they belong to the character before them, as
///   combining marks do. Word's own optional hyphen (code 31) is a mark, not
///   one of these, and is not counted.
/// - Spaces are the characters Unicode calls white space: the space, the
///   no-break space, the en, em, thin and other typographic spaces, the
///   ideographic space, and the line and paragraph separators U+2028 and
///   U+2029. They split words and count only in characters with spaces.
///   Word's no-break hyphen (code 30) is a visible character.
enum class ScriptClass : uint8_t {
    Control,   ///< below U+0020: Word's marks, whose rules belong to each count
    Space,     ///< splits words; counted in characters with spaces only
    Letter,    ///< a letter or digit of a script other than the East Asian ones
    EastAsian, ///< a word and an Asian character by itself
    Mark,      ///< a combining mark: part of the character before it
    Invisible, ///< a format character: counted, part of the character before it
    Symbol,    ///< punctuation, symbols, emoji, private-use symbol-font characters
};

namespace detail {

constexpr std::array<ScriptClass, 256> latin1Classes()
{
    std::array<ScriptClass, 256> t{};
    for (char32_t c = 0; c < 256; ++c) {
        ScriptClass k = ScriptClass::Symbol;
        if (c < 0x20)
            k = ScriptClass::Control;
        else if (c == 0x20 || c == 0xA0)
            k = ScriptClass::Space;
        else if ((c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z'))
            k = ScriptClass::Letter;
        else if (c == 0xAA || c == 0xB5 || c == 0xBA || (c >= 0xC0 && c != 0xD7 && c != 0xF7))
            k = ScriptClass::Letter;
        else if (c == 0xAD) // a soft hyphen stored as a character
            k = ScriptClass::Invisible;
        t[c] = k;
    }
    return t;
}

inline constexpr std::array<ScriptClass, 256> Latin1Classes = latin1Classes();

ScriptClass scriptClassBeyondLatin1(char32_t c);
/// The BMP table's blocks of 256 code points, each published once it is
/// built (null before): read inline by scriptClass.
using ClassBlock = std::array<ScriptClass, 256>;
extern std::atomic<const ClassBlock*> bmpBlocks[256];
/// The class worked out from ICU's character properties each time it is
/// asked; scriptClassBeyondLatin1 keeps its answers for the BMP in a table.
ScriptClass scriptClassFromProperties(char32_t c);

} // namespace detail

/// The class of one code point. ASCII and Latin-1 are answered from a small
/// table, inline, so Latin text pays nothing more; the rest of the BMP from a
/// table built from ICU's character properties as its blocks are met.
constexpr ScriptClass scriptClass(char32_t c)
{
    if (c < 0x100)
        return detail::Latin1Classes[c];
    if (c <= 0xFFFF)
        if (const detail::ClassBlock* block = detail::bmpBlocks[c >> 8].load(std::memory_order_acquire))
            return (*block)[c & 0xFF];
    return detail::scriptClassBeyondLatin1(c);
}

/// One code point of UTF-16 text and the units it takes.
struct CodePoint {
    char32_t value = 0;
    uint32_t units = 1;
};

inline bool isLeadSurrogate(char32_t c) { return c >= 0xD800 && c <= 0xDBFF; }
inline bool isTrailSurrogate(char32_t c) { return c >= 0xDC00 && c <= 0xDFFF; }

/// The code point that starts at pos (pos < text.size()). A surrogate
/// without its partner stands for itself, one unit long.
inline CodePoint codePointAt(std::u16string_view text, size_t pos)
{
    const char16_t c = text[pos];
    if (isLeadSurrogate(c) && pos + 1 < text.size() && isTrailSurrogate(text[pos + 1]))
        return {0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(text[pos + 1]) - 0xDC00), 2};
    return {c, 1};
}

/// True when pos is the second half of a surrogate pair: no character starts there.
inline bool isInsidePair(std::u16string_view text, size_t pos)
{
    return pos > 0 && pos < text.size() && isTrailSurrogate(text[pos]) && isLeadSurrogate(text[pos - 1]);
}

/// Where the code point that ends just before pos starts (pos > 0).
inline size_t previousCodePoint(std::u16string_view text, size_t pos)
{
    return isInsidePair(text, pos - 1) ? pos - 2 : pos - 1;
}

/// Characters as Word counts them: one per code point.
int64_t countCodePoints(std::u16string_view text);

} // namespace qm::engine
