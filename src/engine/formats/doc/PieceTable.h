// The piece table: where each stretch of the document's characters is stored.
#pragma once

#include "engine/model/Diagnostic.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::doc {

class DoubleByteCharacters;

char16_t compressedChar(uint8_t byte);

/// One piece: characters [cpStart, cpEnd) stored from byte fc of the
/// document stream, one byte each (Windows-1252) or two (UTF-16).
struct Piece {
    uint32_t cpStart = 0;
    uint32_t cpEnd = 0;
    uint32_t fc = 0;
    bool compressed = false;
    uint16_t prm = 0; ///< property modifier: a single sprm or an index into the property lists

    uint32_t bytesPerChar() const { return compressed ? 1 : 2; }
    /// File offset of character cp of this piece.
    uint64_t fcOf(uint32_t cp) const { return fc + static_cast<uint64_t>(cp - cpStart) * bytesPerChar(); }
};

/// The pieces in character order, and the property lists that pieces' modifiers refer to.
class PieceTable {
public:
    /// Parses a Clx from the table stream. Pieces are checked to lie inside
    /// the document stream and to be in order; bad ones are dropped with a
    /// diagnostic. Returns false when there is no usable piece at all.
    bool parse(std::string_view clx, uint64_t documentStreamSize, std::vector<Diagnostic>& diagnostics);

    const std::vector<Piece>& pieces() const { return m_pieces; }
    /// The sprms a piece's property modifier stands for: the list it names,
    /// or its one compact sprm; empty when it names nothing known.
    std::string propertyList(uint16_t prm) const;

    /// The characters [from, to) decoded from the document stream; characters
    /// that no piece covers are absent.
    std::u16string text(std::string_view wordDocument, uint32_t from, uint32_t to) const;

    /// Pieces located by a reader of the older layout (Word 6), with the
    /// property lists their modifiers name.
    void assign(std::vector<Piece> pieces, std::vector<std::string> lists)
    {
        m_pieces = std::move(pieces);
        m_prcs = std::move(lists);
    }
    /// The characters of 8-bit pieces when they are in a code page other
    /// than Windows-1252 (Word 6 text in the document's own page).
    void setEightBitCharacters(const std::array<char16_t, 256>& characters) { m_eightBit = characters; }
    /// The character of a byte of an 8-bit piece.
    char16_t eightBitChar(uint8_t byte) const { return m_eightBit ? (*m_eightBit)[byte] : compressedChar(byte); }
    /// Word 6 text in an East Asian double-byte page: 8-bit pieces hold a
    /// character in one byte or two, 16-bit ones in the page's units.
    void setDoubleByteCharacters(std::shared_ptr<const DoubleByteCharacters> characters)
    {
        m_doubleByte = std::move(characters);
    }

    /// One character of the text and the character positions it takes.
    struct Decoded {
        char16_t c;
        uint32_t positions;
    };
    /// The character at `cp` of piece `piece`: one position, or two for a
    /// double-byte pair, whose trail byte may begin the next piece; a pair
    /// never reaches `limit`.
    Decoded decode(std::string_view wordDocument, size_t piece, uint32_t cp, uint32_t limit) const;

private:
    std::vector<Piece> m_pieces;
    std::vector<std::string> m_prcs;
    std::optional<std::array<char16_t, 256>> m_eightBit;
    std::shared_ptr<const DoubleByteCharacters> m_doubleByte;
};

/// A byte of a compressed piece: Windows-1252, except that Word stores its
/// typographic characters in the 0x80-0x9F range by their 1252 positions.
char16_t compressedChar(uint8_t byte);

} // namespace qm::engine::doc
