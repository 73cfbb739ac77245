// What counts as a word character at the find patterns' word boundaries, and case folding.
#pragma once

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

/// True when a word begins at pos: a word character after a character that
/// is not one, or an East Asian character, which is a word by itself.
/// Never inside a surrogate pair.
bool isWordStart(std::u16string_view text, size_t pos);
/// True when a word ends just before pos (never inside a surrogate pair).
bool isWordEnd(std::u16string_view text, size_t pos);

/// Simple case folding for case-insensitive find: Latin (ASCII, Latin-1,
/// Latin Extended-A), Greek and Cyrillic capitals fold to their small letters;
/// everything else is left as it is.
char32_t foldCase(char32_t c);

} // namespace qm::engine
