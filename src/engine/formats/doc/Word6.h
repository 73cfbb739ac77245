// What differs in Word 6 and Word 95 documents: their file information block,
// 8-bit text in the document's code page, and one-byte property modifiers.
#pragma once

#include "engine/formats/doc/Fib.h"
#include "engine/formats/doc/PieceTable.h"

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::doc {

/// The Word 6/95 block (nFib 101 to 105) in the Word 97 reader's terms: the
/// stories' lengths and where their tables lie in the document stream. The
/// font table is located by its own readers below. Three tables located here
/// are laid out differently: the header table (see word6HeaderSlots), the
/// comment references (20 bytes each) and the text box table (positions
/// only).
FibResult parseWord6Fib(std::string_view wordDocument);

/// For one section, the index in the header table of the first character
/// position of each of its six stories (Word 97's order: even header, odd
/// header, even footer, odd footer, first-page header, first-page footer);
/// -1 for a story the section does not have, which it takes over from the
/// section before.
using HeaderSlots = std::array<int32_t, 6>;

/// Where each section's headers and footers stand in a Word 6 header table.
/// Word 97 keeps six entries for every section and six for the note
/// separators; Word 6 keeps one only for each story a flag names: the note
/// separators the document properties name (`noteSeparators`, the six low
/// bits), then per section the stories its section flags name (`sections`).
std::vector<HeaderSlots> word6HeaderSlots(uint8_t noteSeparators, const std::vector<uint8_t>& sections);

/// A Word 6 list of property modifiers as the Word 97 modifiers with the same
/// operands; modifiers with no such counterpart are dropped.
std::string word6Sprms(std::string_view grpprl);

/// The pieces of a Word 6 document's text: its piece table when it was
/// fast-saved, else one piece from fcMin. Every piece is 8-bit unless the
/// header's extended-character flag says the text is 16-bit (UTF-16, or in
/// an East Asian document the units of its page, see DoubleByte.h). False
/// when there is no text to read.
bool word6Pieces(std::string_view wordDocument, const Fib& fib, PieceTable& pieces,
                 std::vector<Diagnostic>& diagnostics);

/// The Windows code page of 8-bit text in the language `lid` (for Japanese,
/// Korean and Chinese a double-byte page); 1252 for the Western languages
/// and any language not known.
uint16_t word6CodePage(uint16_t lid);

/// The names of the fonts of a Word 6 font table (8-bit names).
std::vector<std::string> word6FontNames(std::string_view wordDocument);

/// The stand-ins of a Word 6 font table's fonts (see parseFontStandIns): the
/// alternate name after the name, else the font of the family and pitch.
std::map<std::string, std::string> word6FontStandIns(std::string_view wordDocument);

/// A Word 6 style sheet rewritten in Word 97's layout (ten-byte style bases,
/// UTF-16 names, Word 97 modifiers), for the Word 97 style-sheet reader.
std::string word97StyleSheet(std::string_view stsh);

/// The code page of the first font whose character set is a page other
/// than Western (Word 6 names the text's page only there): a single-byte
/// page, or an East Asian double-byte one (Shift-JIS 128, Hangul 129,
/// GB2312 134, Big5 136) for a font named in that page; 1252 when there is
/// none.
uint16_t word6FontCodePage(std::string_view wordDocument);

/// The code page of a Word 6 document's 8-bit text: the Macintosh page of
/// its script when the header's character set says Macintosh (256), else
/// the page its fonts' character set names, else its language's.
uint16_t word6TextCodePage(std::string_view wordDocument, const Fib& fib);

/// The characters of the 256 bytes of a single-byte Windows code page (the
/// Macintosh pages by their Windows numbers, 10000 and on); nothing when the
/// page is not known.
std::optional<std::array<char16_t, 256>> eightBitCharacters(uint16_t codePage);

} // namespace qm::engine::doc
