// Text conversions between UTF-8, UTF-16 and Windows code pages.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qm::engine {

/// UTF-8 to UTF-16; malformed sequences become U+FFFD.
std::u16string utf8ToUtf16(std::string_view utf8);
/// UTF-16 to UTF-8; unpaired surrogates become U+FFFD.
std::string utf16ToUtf8(std::u16string_view utf16);
bool isValidUtf8(std::string_view bytes);

/// UTF-16 text saved without a byte-order mark, told by its bytes.
enum class Utf16Order { None, LittleEndian, BigEndian };
Utf16Order bomlessUtf16(std::string_view bytes);
/// One byte of Windows code page 1252 as a UTF-16 unit (undefined bytes map
/// to the C1 control of the same value, as Windows does).
char16_t cp1252ToUnicode(uint8_t byte);
std::u16string cp1252ToUtf16(std::string_view bytes);
/// One byte of a single-byte Windows code page (874, 1250-1258) or the Mac
/// Roman page (10000); unknown pages are treated as 1252.
char16_t codePageToUnicode(int codePage, uint8_t byte);

/// A character of a symbol font (Symbol, Wingdings) as the Unicode character
/// it shows: Word stores such a character as U+F0xx (or as its plain byte)
/// and shows the font's own glyph, the bullet of Symbol's 0xB7 for one.
/// Characters of other fonts, and symbols without a Unicode twin here,
/// come back unchanged.
char16_t symbolFontToUnicode(std::string_view font, char16_t c);

} // namespace qm::engine

namespace qm::engine {
/// Bytes in a Windows code page (single- or double-byte, e.g. 932, 936, 949,
/// 950) to UTF-16 through the system's converters; unknown pages as 1252.
std::u16string decodeCodePage(int codePage, std::string_view bytes);
} // namespace qm::engine
