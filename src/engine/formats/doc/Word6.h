// What differs in Word 6 and Word 95 documents: their file information block,
// 8-bit text in the document's code page, and one-byte property modifiers.
#pragma once

#include "engine/formats/doc/Fib.h"
#include "engine/formats/doc/PieceTable.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::doc {

/// The Word 6/95 block (nFib 101 to 105) in the Word 97 reader's terms. The
/// structures laid out as in Word 97 (text, property pages, sections,
/// footnotes) are located; the ones laid out differently (style sheet, font
/// table, headers, comments, document properties) are left empty, so their
/// defaults apply.
FibResult parseWord6Fib(std::string_view wordDocument);

/// A Word 6 list of property modifiers as the Word 97 modifiers with the same
/// operands; modifiers with no such counterpart are dropped.
std::string word6Sprms(std::string_view grpprl);

/// The pieces of a Word 6 document's text: its piece table when it was
/// fast-saved, else one piece from fcMin. Every piece is 8-bit. False when
/// there is no text to read.
bool word6Pieces(std::string_view wordDocument, const Fib& fib, PieceTable& pieces,
                 std::vector<Diagnostic>& diagnostics);

/// The Windows code page of 8-bit text in the language `lid`; 1252 for the
/// Western languages and any language not known.
uint16_t word6CodePage(uint16_t lid);

/// The names of the fonts of a Word 6 font table (8-bit names).
std::vector<std::string> word6FontNames(std::string_view wordDocument);

/// A Word 6 style sheet rewritten in Word 97's layout (ten-byte style bases,
/// UTF-16 names, Word 97 modifiers), for the Word 97 style-sheet reader.
std::string word97StyleSheet(std::string_view stsh);

/// The code page of the first font whose character set is a single-byte
/// page other than Western (Word 6 names the text's page only there); 1252
/// when there is none.
uint16_t word6FontCodePage(std::string_view wordDocument);

/// The characters of the 256 bytes of a single-byte Windows code page;
/// nothing when the page is not known.
std::optional<std::array<char16_t, 256>> eightBitCharacters(uint16_t codePage);

} // namespace qm::engine::doc
