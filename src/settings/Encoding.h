// Text helpers for settings files: UTF-8 checks, Windows-1252, case folding, trimming.
#pragma once

#include <string>
#include <string_view>

namespace qm::settings {

/// How the bytes of a settings file are to be read and written.
enum class Encoding
{
    Utf8,
    Windows1252
};

/// True when the bytes are well-formed UTF-8 (no overlongs, no surrogates).
bool isValidUtf8(std::string_view bytes);

/// Windows-1252 bytes to UTF-8. The five bytes the code page leaves undefined
/// map to the control characters of the same number, as Windows does, so the
/// conversion never loses a byte and encodeWindows1252 gives it back.
std::string decodeWindows1252(std::string_view bytes);

/// UTF-8 to Windows-1252; false when a character has no place in the code page.
bool encodeWindows1252(std::string_view utf8, std::string& out);

/// File bytes to UTF-8 text, and back; encode fails as encodeWindows1252 does.
std::string decodeText(std::string_view bytes, Encoding encoding);
bool encodeText(std::string_view utf8, Encoding encoding, std::string& out);

/// Folds letters to lower case for name comparison: ASCII, Latin-1, Latin
/// Extended-A, Greek and Cyrillic capitals, which covers the names users type
/// into profiles. Invalid sequences are compared byte for byte.
std::string foldCase(std::string_view utf8);

/// True when two names are equal without regard to letter case.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

/// The text without leading and trailing blanks (space, tab, vertical tab, form feed).
std::string_view trimBlanks(std::string_view text);

/// The text without trailing blanks.
std::string_view trimTrailingBlanks(std::string_view text);

/// Whether a settings file's bytes are to be read as UTF-8: they are valid
/// UTF-8, or would be but for one incomplete character at the very end (a
/// file cut short while being copied is still the UTF-8 file it was).
bool looksLikeUtf8(std::string_view bytes);

/// Number of characters (code points) in UTF-8 text; stray bytes count one each.
size_t characterCount(std::string_view utf8);

/// The first n characters of UTF-8 text, never splitting a character.
std::string_view firstCharacters(std::string_view utf8, size_t n);

} // namespace qm::settings
