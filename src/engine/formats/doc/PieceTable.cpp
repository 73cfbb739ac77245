// Parsing the piece table and decoding the document's characters from it.
#include "engine/formats/doc/PieceTable.h"

#include "engine/formats/doc/ByteReader.h"
#include "engine/formats/doc/DoubleByte.h"
#include "engine/model/Unicode.h"

#include <algorithm>

namespace qm::engine::doc {

char16_t compressedChar(uint8_t byte)
{
    // The five bytes Windows-1252 leaves undefined (0x81, 0x8D, 0x8F, 0x90,
    // 0x9D) stay C1 controls, as Word shows them.
    return cp1252ToUnicode(byte);
}

bool PieceTable::parse(std::string_view clx, uint64_t streamSize, std::vector<Diagnostic>& diagnostics)
{
    auto diagnose = [&](std::string message) {
        diagnostics.push_back({"doc.pieces", Severity::Warning, "piece table", std::move(message)});
    };
    size_t pos = 0;
    // Property lists (clxt 1) come first, then the piece table itself (clxt 2).
    while (pos < clx.size() && u8(clx, pos) == 1) {
        const uint16_t cb = u16(clx, pos + 1);
        if (!fits(clx.size(), pos + 3, cb)) {
            diagnose("the list of piece properties is cut short");
            return false;
        }
        m_prcs.emplace_back(clx.substr(pos + 3, cb));
        pos += 3 + cb;
    }
    if (u8(clx, pos) != 2) {
        diagnose("the piece table is missing");
        return false;
    }
    const uint32_t lcb = u32(clx, pos + 1);
    const std::string_view plc = slice(clx, pos + 5, lcb);
    if (plc.size() < lcb)
        diagnose("the piece table is cut short");
    if (plc.size() < 16)
        return false;
    const size_t count = (plc.size() - 4) / 12;
    const size_t pcdStart = 4 * (count + 1);
    uint32_t lastEnd = 0;
    uint64_t storedBytes = 0;
    for (size_t i = 0; i < count; ++i) {
        Piece p;
        p.cpStart = u32(plc, 4 * i);
        p.cpEnd = u32(plc, 4 * i + 4);
        const uint32_t fcRaw = u32(plc, pcdStart + 8 * i + 2);
        p.compressed = fcRaw & 0x40000000u;
        p.fc = p.compressed ? (fcRaw & 0x3FFFFFFFu) / 2 : (fcRaw & 0x3FFFFFFFu);
        p.prm = u16(plc, pcdStart + 8 * i + 6);
        if (p.cpEnd <= p.cpStart || p.cpStart < lastEnd) {
            diagnose("a piece of text is out of order; it is not read");
            continue;
        }
        // A piece reaching past the document stream keeps the part inside it.
        const uint64_t bytes = static_cast<uint64_t>(p.cpEnd - p.cpStart) * p.bytesPerChar();
        if (!fits(streamSize, p.fc, bytes)) {
            const uint64_t room = p.fc < streamSize ? (streamSize - p.fc) / p.bytesPerChar() : 0;
            diagnose("a piece of text lies past the end of the document stream; it is cut");
            if (room == 0)
                continue;
            p.cpEnd = p.cpStart + static_cast<uint32_t>(room);
        }
        // Word never stores two pieces in the same bytes, so all pieces
        // together fit the stream; a file whose pieces reuse bytes would
        // otherwise multiply its text without bound.
        storedBytes += static_cast<uint64_t>(p.cpEnd - p.cpStart) * p.bytesPerChar();
        if (storedBytes > streamSize) {
            diagnose("the pieces of text hold more than the document stream; the rest is not read");
            break;
        }
        lastEnd = p.cpEnd;
        m_pieces.push_back(p);
    }
    return !m_pieces.empty();
}

std::string PieceTable::propertyList(uint16_t prm) const
{
    if ((prm & 1) == 0) {
        // A compact modifier: a one-byte operand for a sprm named by its
        // older, one-byte number. Only those that change what is counted or
        // laid out are translated.
        static constexpr std::pair<uint8_t, uint16_t> known[] = {
            {5, 0x2403},  {7, 0x2405},  {8, 0x2406},  {9, 0x2407},  {24, 0x2416}, {25, 0x2417},
            {51, 0x2431}, {85, 0x0835}, {86, 0x0836}, {87, 0x0837}, {90, 0x083A}, {91, 0x083B},
            {92, 0x083C}, {94, 0x2A3E}, {98, 0x2A42}, {104, 0x2A48},
        };
        const uint8_t isprm = (prm >> 1) & 0x7F;
        for (const auto& [old, sprm] : known) {
            if (old == isprm && prm != 0) {
                std::string grpprl;
                grpprl.push_back(static_cast<char>(sprm & 0xFF));
                grpprl.push_back(static_cast<char>(sprm >> 8));
                grpprl.push_back(static_cast<char>(prm >> 8));
                return grpprl;
            }
        }
        return {};
    }
    const size_t index = prm >> 1;
    return index < m_prcs.size() ? m_prcs[index] : std::string();
}

PieceTable::Decoded PieceTable::decode(std::string_view wd, size_t index, uint32_t cp, uint32_t limit) const
{
    const Piece& piece = m_pieces[index];
    const uint64_t fc = piece.fcOf(cp);
    if (!piece.compressed) {
        const uint16_t unit = u16(wd, fc);
        return {m_doubleByte ? m_doubleByte->unit(unit) : static_cast<char16_t>(unit), 1};
    }
    const uint8_t byte = u8(wd, fc);
    if (!m_doubleByte)
        return {eightBitChar(byte), 1};
    if (!m_doubleByte->isLeadByte(byte))
        return {m_doubleByte->single(byte), 1};
    // The trail byte follows in the same piece, or begins the next piece
    // when the two meet there (a fast save may split the text anywhere).
    std::optional<uint8_t> trail;
    if (cp + 1 < limit) {
        if (cp + 1 < piece.cpEnd && fits(wd.size(), fc + 1, 1))
            trail = u8(wd, fc + 1);
        else if (index + 1 < m_pieces.size() && m_pieces[index + 1].cpStart == cp + 1 &&
                 m_pieces[index + 1].compressed && fits(wd.size(), m_pieces[index + 1].fc, 1))
            trail = u8(wd, m_pieces[index + 1].fc);
    }
    if (trail)
        if (const auto c = m_doubleByte->pair(byte, *trail))
            return {*c, 2};
    return {m_doubleByte->single(byte), 1};
}

std::u16string PieceTable::text(std::string_view wd, uint32_t from, uint32_t to) const
{
    std::u16string out;
    auto it = std::upper_bound(m_pieces.begin(), m_pieces.end(), from,
                               [](uint32_t cp, const Piece& p) { return cp < p.cpEnd; });
    uint32_t next = from; // a pair's trail byte is read with its lead
    for (; it != m_pieces.end() && it->cpStart < to; ++it) {
        const uint32_t a = std::max(from, it->cpStart);
        const uint32_t b = std::min(to, it->cpEnd);
        for (uint32_t cp = std::max(a, next); cp < b; cp = next) {
            const Decoded d = decode(wd, static_cast<size_t>(it - m_pieces.begin()), cp, to);
            out.push_back(d.c);
            next = cp + d.positions;
        }
    }
    return out;
}

} // namespace qm::engine::doc
