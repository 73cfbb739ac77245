// What counts as a word character at the find patterns' word boundaries, and case folding.
#pragma once

#include "engine/access/ScriptRules.h"

#include <cstdint>
#include <string_view>

namespace qm::engine {

/// True for a letter or digit of any script, East Asian ones included, and
/// for a combining mark (an accented letter typed as two characters stays
/// one word). Punctuation, symbols, spaces, Word's marks, private-use
/// symbol-font characters and emoji are not.
bool isLetterOrDigit(char32_t c);

/// The word-character rule behind the `<` and `>` of a wildcard find, and
/// behind Range word counts (classes from ScriptRules): a letter or digit, a
/// combining mark or invisible format character after one, or an apostrophe
/// (' or U+2019) standing between two letters or digits ("don't" is one
/// word). A hyphen is never one, so "well-known" is two words here. The
/// apostrophe looks at its neighbours' class only, never at which letter
/// they are, so replacing a word by other letters cannot join or split the
/// words beside it: that keeps "replace each word by two words" adding
/// exactly one word per replacement. Both halves of a surrogate pair
/// classify alike.
bool isWordCharacterAt(std::u16string_view text, size_t pos);

namespace detail {

/// Latin-1 characters other than the apostrophe and the soft hyphen decide
/// a boundary by their own class alone; true when `unit` is one, with
/// whether it is a letter or digit.
inline bool plainLatin(char16_t unit, bool& isLetter)
{
    if (unit >= 0x100 || unit == u'\'' || unit == 0xAD)
        return false;
    isLetter = Latin1Classes[unit] == ScriptClass::Letter;
    return true;
}

bool isWordStartBeyondLatin(std::u16string_view text, size_t pos);
bool isWordEndBeyondLatin(std::u16string_view text, size_t pos);

/// A unit's part in a word when that part is its own, whatever stands
/// around it: a letter or digit, an East Asian character, or none (a space,
/// a symbol). `Context` for the units whose part hangs on their neighbours:
/// apostrophes, marks and format characters (they take the part of what
/// they follow), soft hyphens and surrogates. Greek, Cyrillic, Arabic or
/// Hebrew text is made almost wholly of units that need no context, and
/// answering them here spares a word boundary the full look around.
enum class UnitRole : uint8_t { None, Letter, EastAsian, Context };

inline UnitRole unitRole(char16_t unit)
{
    ScriptClass k;
    if (unit < 0x100) {
        if (unit == u'\'')
            return UnitRole::Context;
        k = Latin1Classes[unit];
    } else {
        if ((unit & 0xF800) == 0xD800 || unit == 0x2019)
            return UnitRole::Context;
        k = scriptClass(unit);
    }
    switch (k) {
    case ScriptClass::Letter: return UnitRole::Letter;
    case ScriptClass::EastAsian: return UnitRole::EastAsian;
    case ScriptClass::Mark:
    case ScriptClass::Invisible: return UnitRole::Context;
    default: return UnitRole::None;
    }
}

} // namespace detail

/// True when a word begins at pos: a word character after a character that
/// is not one, or an East Asian character, which is a word by itself.
/// Never inside a surrogate pair. Every word count asks this of each
/// character, so plain Latin text is answered inline.
inline bool isWordStart(std::u16string_view text, size_t pos)
{
    if (pos >= text.size())
        return false;
    bool letterHere = false, letterBefore = false;
    if (detail::plainLatin(text[pos], letterHere) && (pos == 0 || detail::plainLatin(text[pos - 1], letterBefore)))
        return letterHere && !letterBefore;
    // Units that need no context on either side: a letter starts a word
    // after anything but a letter, an East Asian character always does.
    using detail::UnitRole;
    const UnitRole here = detail::unitRole(text[pos]);
    if (here == UnitRole::EastAsian)
        return true;
    if (here == UnitRole::None)
        return false;
    if (here == UnitRole::Letter) {
        if (pos == 0)
            return true;
        if (const UnitRole before = detail::unitRole(text[pos - 1]); before != UnitRole::Context)
            return before != UnitRole::Letter;
    }
    return detail::isWordStartBeyondLatin(text, pos);
}

/// True when a word ends just before pos (never inside a surrogate pair).
inline bool isWordEnd(std::u16string_view text, size_t pos)
{
    if (pos == 0 || pos > text.size())
        return false;
    bool letterBefore = false, letterHere = false;
    if (detail::plainLatin(text[pos - 1], letterBefore) &&
        (pos == text.size() || detail::plainLatin(text[pos], letterHere)))
        return letterBefore && !letterHere;
    // Units that need no context on either side: a letter's word ends before
    // anything but a letter, an East Asian character's before anything (only
    // a mark or format character would belong to it), and nothing ends
    // after a space or symbol.
    using detail::UnitRole;
    const UnitRole before = detail::unitRole(text[pos - 1]);
    const UnitRole here = pos == text.size() ? UnitRole::None : detail::unitRole(text[pos]);
    if (before != UnitRole::Context && here != UnitRole::Context)
        return before == UnitRole::Letter ? here != UnitRole::Letter : before == UnitRole::EastAsian;
    return detail::isWordEndBeyondLatin(text, pos);
}

/// Simple case folding for case-insensitive find: Latin (ASCII, Latin-1,
/// Latin Extended-A), Greek and Cyrillic capitals fold to their small letters;
/// everything else is left as it is.
char32_t foldCase(char32_t c);

} // namespace qm::engine
