// Word 6 and Word 95 documents: the older file information block, pieces and property modifiers.
#include "engine/formats/doc/Word6.h"

#include "engine/formats/doc/ByteReader.h"
#include "engine/formats/doc/DoubleByte.h"
#include "engine/formats/doc/Properties.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string>
#include <unicode/ucnv.h>

namespace qm::engine::doc {

namespace {

// How a Word 6 modifier's operand is sized: a fixed number of bytes, a
// length byte first, or (the table definition) a two-byte length first.
enum class Size : uint8_t { Fixed, Var, Var2 };
struct OldSprm {
    uint8_t id;
    uint8_t length;
    Size size;
    uint16_t word97; ///< the Word 97 modifier with the same operand; 0: none
};

// The Word 6 modifiers by number, from the Word 6 binary format. Numbers not
// listed carry a length byte. The Word 97 counterparts are those whose
// operand kept its layout; borders (two-byte BRC10 then) are left out.
constexpr OldSprm kSprms[] = {
    {0, 0, Size::Fixed, 0},        {2, 2, Size::Fixed, 0x4600},   {3, 3, Size::Var, 0},
    {4, 1, Size::Fixed, 0},        {5, 1, Size::Fixed, 0x2403},   {6, 1, Size::Fixed, 0},
    {7, 1, Size::Fixed, 0x2405},   {8, 1, Size::Fixed, 0x2406},   {9, 1, Size::Fixed, 0x2407},
    {10, 1, Size::Fixed, 0},       {11, 1, Size::Fixed, 0},       {12, 0, Size::Var, 0},
    {13, 1, Size::Fixed, 0},       {14, 1, Size::Fixed, 0x240C},  {15, 0, Size::Var, 0xC60D},
    {16, 2, Size::Fixed, 0x840E},  {17, 2, Size::Fixed, 0x840F},  {18, 2, Size::Fixed, 0x4610},
    {19, 2, Size::Fixed, 0x8411},  {20, 4, Size::Fixed, 0x6412},  {21, 2, Size::Fixed, 0xA413},
    {22, 2, Size::Fixed, 0xA414},  {23, 0, Size::Var, 0},         {24, 1, Size::Fixed, 0x2416},
    {25, 1, Size::Fixed, 0x2417},  {26, 2, Size::Fixed, 0},       {27, 2, Size::Fixed, 0},
    {28, 2, Size::Fixed, 0},       {29, 1, Size::Fixed, 0},       {30, 2, Size::Fixed, 0},
    {31, 2, Size::Fixed, 0},       {32, 2, Size::Fixed, 0},       {33, 2, Size::Fixed, 0},
    {34, 2, Size::Fixed, 0},       {35, 2, Size::Fixed, 0},       {36, 2, Size::Fixed, 0},
    {37, 1, Size::Fixed, 0},       {38, 2, Size::Fixed, 0},       {39, 2, Size::Fixed, 0},
    {40, 2, Size::Fixed, 0},       {41, 2, Size::Fixed, 0},       {42, 2, Size::Fixed, 0},
    {43, 2, Size::Fixed, 0},       {44, 1, Size::Fixed, 0x242A},  {45, 2, Size::Fixed, 0},
    {46, 2, Size::Fixed, 0},       {47, 2, Size::Fixed, 0},       {48, 2, Size::Fixed, 0},
    {49, 2, Size::Fixed, 0},       {50, 1, Size::Fixed, 0},       {51, 1, Size::Fixed, 0x2431},
    {52, 0, Size::Fixed, 0},       {65, 1, Size::Fixed, 0x0800},  {66, 1, Size::Fixed, 0x0801},
    {67, 1, Size::Fixed, 0x0802},  {68, 0, Size::Var, 0},         {69, 2, Size::Fixed, 0},
    {70, 4, Size::Fixed, 0},       {71, 1, Size::Fixed, 0x0806},  {72, 2, Size::Fixed, 0},
    {73, 3, Size::Fixed, 0},       {74, 0, Size::Var, 0},         {75, 1, Size::Fixed, 0x080A},
    {80, 2, Size::Fixed, 0x4A30},  {83, 0, Size::Fixed, 0},       {85, 1, Size::Fixed, 0x0835},
    {86, 1, Size::Fixed, 0x0836},  {87, 1, Size::Fixed, 0x0837},  {88, 1, Size::Fixed, 0x0838},
    {89, 1, Size::Fixed, 0x0839},  {90, 1, Size::Fixed, 0x083A},  {91, 1, Size::Fixed, 0x083B},
    {92, 1, Size::Fixed, 0x083C},  {93, 2, Size::Fixed, 0},       {94, 1, Size::Fixed, 0x2A3E},
    {95, 3, Size::Fixed, 0},       {96, 2, Size::Fixed, 0x8840},  {97, 2, Size::Fixed, 0},
    {98, 1, Size::Fixed, 0x2A42},  {99, 2, Size::Fixed, 0x4A43},  {100, 1, Size::Fixed, 0x2A44},
    {101, 2, Size::Fixed, 0x4845}, {102, 1, Size::Fixed, 0},      {104, 1, Size::Fixed, 0x2A48},
    {107, 2, Size::Fixed, 0x484B}, {109, 2, Size::Fixed, 0x4A4D}, {110, 2, Size::Fixed, 0},
    {111, 2, Size::Fixed, 0},      {112, 2, Size::Fixed, 0},      {117, 1, Size::Fixed, 0x0855},
    {118, 1, Size::Fixed, 0x0856}, {119, 1, Size::Fixed, 0},      {120, 12, Size::Var, 0},
    {121, 2, Size::Fixed, 0},      {122, 2, Size::Fixed, 0},      {123, 2, Size::Fixed, 0},
    {124, 2, Size::Fixed, 0},      {131, 1, Size::Fixed, 0},      {132, 1, Size::Fixed, 0},
    {136, 3, Size::Fixed, 0},      {137, 3, Size::Fixed, 0},      {138, 1, Size::Fixed, 0x3005},
    {139, 1, Size::Fixed, 0},      {140, 2, Size::Fixed, 0},      {141, 2, Size::Fixed, 0},
    {142, 1, Size::Fixed, 0x3009}, {143, 1, Size::Fixed, 0x300A}, {144, 2, Size::Fixed, 0x500B},
    {145, 2, Size::Fixed, 0x900C}, {146, 1, Size::Fixed, 0},      {147, 1, Size::Fixed, 0},
    {148, 2, Size::Fixed, 0},      {149, 2, Size::Fixed, 0},      {150, 1, Size::Fixed, 0},
    {151, 1, Size::Fixed, 0},      {152, 1, Size::Fixed, 0},      {153, 1, Size::Fixed, 0x3014},
    {154, 2, Size::Fixed, 0},      {155, 2, Size::Fixed, 0},      {156, 2, Size::Fixed, 0xB017},
    {157, 2, Size::Fixed, 0xB018}, {158, 1, Size::Fixed, 0},      {159, 1, Size::Fixed, 0},
    {160, 2, Size::Fixed, 0},      {161, 2, Size::Fixed, 0},      {162, 1, Size::Fixed, 0x301D},
    {163, 0, Size::Fixed, 0},      {164, 2, Size::Fixed, 0xB01F}, {165, 2, Size::Fixed, 0xB020},
    {166, 2, Size::Fixed, 0xB021}, {167, 2, Size::Fixed, 0xB022}, {168, 2, Size::Fixed, 0x9023},
    {169, 2, Size::Fixed, 0x9024}, {170, 2, Size::Fixed, 0xB025}, {171, 2, Size::Fixed, 0},
    {182, 2, Size::Fixed, 0x5400}, {183, 2, Size::Fixed, 0x9601}, {184, 2, Size::Fixed, 0x9602},
    {185, 1, Size::Fixed, 0x3403}, {186, 1, Size::Fixed, 0x3404}, {187, 12, Size::Fixed, 0},
    {188, 0, Size::Var, 0},        {189, 2, Size::Fixed, 0x9407}, {190, 0, Size::Var2, 0xD608},
    {191, 1, Size::Var, 0},        {192, 4, Size::Fixed, 0},      {193, 5, Size::Fixed, 0},
    {194, 4, Size::Fixed, 0},      {195, 2, Size::Fixed, 0},      {196, 4, Size::Fixed, 0},
    {197, 2, Size::Fixed, 0},      {198, 2, Size::Fixed, 0},      {199, 5, Size::Fixed, 0},
    {200, 4, Size::Fixed, 0},
};

const OldSprm* findSprm(uint8_t id)
{
    for (const OldSprm& s : kSprms)
        if (s.id == id)
            return &s;
    return nullptr;
}

void put16(std::string& out, uint16_t v)
{
    out.push_back(static_cast<char>(v & 0xFF));
    out.push_back(static_cast<char>(v >> 8));
}

void set16(std::string& out, uint64_t at, uint16_t v)
{
    out[at] = static_cast<char>(v & 0xFF);
    out[at + 1] = static_cast<char>(v >> 8);
}

// A Word 6 table definition (cells as 10-byte TCs) as Word 97's (20-byte
// TCs): the cell edges are kept but for cells merged across, each cell keeps
// its merge flags, borders go.
std::string word97TableDefinition(std::string_view op)
{
    std::string out;
    const uint8_t cells = u8(op, 0);
    const uint64_t edges = 1 + 2ull * (cells + 1u);
    if (!fits(op.size(), 0, edges))
        return out;
    out.append(op.substr(0, edges));
    // Cells merged into the one before them (fMerged after fFirstMerged)
    // show as one cell as wide as them all: the first takes their width
    // and they keep their marks at no width.
    auto merged = [&](uint8_t cell) { return (u16(op, edges + 10ull * cell) & 0x0002) != 0; };
    auto first = [&](uint8_t cell) { return (u16(op, edges + 10ull * cell) & 0x0001) != 0; };
    for (uint8_t i = cells; i-- > 0;) {
        if (!merged(i))
            continue;
        const uint8_t last = i;
        while (i > 0 && merged(i))
            --i;
        if (merged(i) || !first(i))
            continue; // no cell starts the merge: left as stored
        const uint16_t right = u16(op, 1 + 2ull * (last + 1));
        for (uint8_t k = i + 1; k <= last; ++k)
            set16(out, 1 + 2ull * k, right);
    }
    for (uint8_t i = 0; i < cells; ++i) {
        put16(out, u16(op, edges + 10ull * i)); // the flags, zero when the TC is absent
        out.append(18, '\0');
    }
    std::string sprm;
    put16(sprm, 0xD608);
    put16(sprm, static_cast<uint16_t>(out.size() + 1));
    return sprm + out;
}

} // namespace

FibResult parseWord6Fib(std::string_view wd)
{
    FibResult r;
    Fib& fib = r.fib;
    if (wd.size() < 0x168) {
        r.error = "the document is damaged (its header is cut short)";
        return r;
    }
    fib.nFib = u16(wd, 2);
    fib.word6 = true;
    fib.lid = u16(wd, 6);
    fib.chse = u16(wd, 0x14);
    const uint16_t flags = u16(wd, 0x0A);
    fib.fComplex = flags & 0x0004;
    fib.fEncrypted = flags & 0x0100;
    fib.fExtChar = flags & 0x1000;
    if (fib.fEncrypted) {
        r.error = "password-protected documents cannot be counted";
        return r;
    }
    fib.fcMin = u32(wd, 0x18);
    fib.fcMac = u32(wd, 0x1C);
    for (int i = 0; i < Fib::CcpCount; ++i)
        fib.ccp[i] = u32(wd, 0x34 + 4ull * i);
    auto pair = [&](uint32_t at) { return FcLcb{u32(wd, at), u32(wd, at + 4)}; };
    fib.stshf = pair(0x60);
    fib.plcffndRef = pair(0x68);
    fib.plcffndTxt = pair(0x70);
    fib.plcfandRef = pair(0x78);
    fib.plcfandTxt = pair(0x80);
    fib.plcfSed = pair(0x88);
    fib.plcfHdd = pair(0xB0);
    fib.plcfBteChpx = pair(0xB8);
    fib.plcfBtePapx = pair(0xC0);
    fib.dop = pair(0x150);
    fib.clx = pair(0x160);
    // After the four two-byte page counts at 0x188 the pairs are no longer
    // on multiples of eight; a header written short of them reads as zeros.
    fib.plcfendRef = pair(0x1D2);
    fib.plcfendTxt = pair(0x1DA);
    fib.plcftxbxTxt = pair(0x222);
    fib.plcfHdrtxbxTxt = pair(0x232);
    return r;
}

std::vector<HeaderSlots> word6HeaderSlots(uint8_t noteSeparators, const std::vector<uint8_t>& sections)
{
    // The table holds only the stories a flag names: first the note
    // separators the document properties name, then each section's headers
    // and footers in its flags' bit order (even header, odd header, even
    // footer, odd footer, first-page header, first-page footer), Word 97's
    // six kinds in Word 97's order.
    auto ones = [](uint8_t flags) { return std::popcount(static_cast<uint8_t>(flags & 0x3F)); };
    std::vector<HeaderSlots> slots;
    slots.reserve(sections.size());
    int32_t next = ones(noteSeparators);
    for (const uint8_t flags : sections) {
        HeaderSlots s;
        s.fill(-1);
        for (size_t j = 0; j < s.size(); ++j)
            if (flags & (1u << j))
                s[j] = next++;
        slots.push_back(s);
    }
    return slots;
}

std::string word6Sprms(std::string_view grpprl)
{
    std::string out;
    uint64_t pos = 0;
    while (pos < grpprl.size()) {
        const uint8_t id = u8(grpprl, pos);
        const OldSprm* s = findSprm(id);
        uint64_t start = pos + 1, length = 0;
        const Size size = s ? s->size : Size::Var;
        if (size == Size::Fixed) {
            length = s->length;
        } else if (size == Size::Var) {
            length = u8(grpprl, pos + 1);
            start = pos + 2;
        } else {
            length = u16(grpprl, pos + 1);
            start = pos + 3;
        }
        if (!fits(grpprl.size(), start, length))
            break; // a modifier cut short ends the list
        const std::string_view op = grpprl.substr(start, length);
        pos = start + length;
        if (!s || s->word97 == 0)
            continue;
        if (s->word97 == 0xD608) {
            out += word97TableDefinition(op);
            continue;
        }
        put16(out, s->word97);
        if (s->word97 == 0xC60D)
            out.push_back(static_cast<char>(length)); // Word 97 keeps the length byte too
        out.append(op);
    }
    return out;
}

bool word6Pieces(std::string_view wd, const Fib& fib, PieceTable& table, std::vector<Diagnostic>& diagnostics)
{
    uint64_t total = 0;
    for (uint32_t n : fib.ccp)
        total += n;
    std::vector<Piece> pieces;
    std::vector<std::string> lists;
    // The header's extended-character flag says the text is 16-bit, two
    // bytes a position; else every position is one byte.
    const uint64_t width = fib.fExtChar ? 2 : 1;
    if (!fib.fComplex) {
        // Saved in full: the text stands in one stretch from fcMin on.
        const uint64_t stored = fib.fcMac > fib.fcMin ? (fib.fcMac - fib.fcMin) / width : 0;
        const uint64_t room = wd.size() > fib.fcMin ? (wd.size() - fib.fcMin) / width : 0;
        const uint64_t count = std::min({total, std::max(stored, total), room});
        if (count == 0)
            return false;
        pieces.push_back(
            Piece{0, static_cast<uint32_t>(std::min<uint64_t>(count, UINT32_MAX)), fib.fcMin, !fib.fExtChar, 0});
        table.assign(std::move(pieces), {});
        return true;
    }
    // Fast-saved: the piece table as in Word 97, its property lists in
    // Word 6 modifiers, every piece at a plain byte offset; with UTF-16 text
    // a piece may still be 8-bit, marked as Word 97 marks it (bit 30 set,
    // the offset doubled).
    const std::string_view clx = slice(wd, fib.clx.fc, fib.clx.lcb);
    uint64_t pos = 0;
    while (pos < clx.size() && u8(clx, pos) == 1) {
        const uint16_t cb = u16(clx, pos + 1);
        lists.push_back(word6Sprms(slice(clx, pos + 3, cb)));
        pos += 3ull + cb;
    }
    if (u8(clx, pos) != 2) {
        diagnostics.push_back({"doc.pieces", Severity::Error, "piece table", "the piece table is damaged"});
        return false;
    }
    const std::string_view plc = slice(clx, pos + 5, u32(clx, pos + 1));
    const size_t count = plc.size() >= 4 ? (plc.size() - 4) / 12 : 0;
    uint32_t lastEnd = 0;
    uint64_t storedBytes = 0;
    for (size_t i = 0; i < count; ++i) {
        Piece p;
        p.cpStart = u32(plc, 4 * i);
        p.cpEnd = u32(plc, 4 * (i + 1));
        p.fc = u32(plc, 4 * (count + 1) + 8 * i + 2);
        p.prm = u16(plc, 4 * (count + 1) + 8 * i + 6);
        p.compressed = true;
        if (fib.fExtChar) {
            p.compressed = p.fc & 0x40000000u;
            p.fc = p.compressed ? (p.fc & 0x3FFFFFFFu) / 2 : p.fc;
        }
        if (p.cpEnd <= p.cpStart || p.cpStart < lastEnd)
            continue;
        const uint64_t bytes = uint64_t{p.cpEnd - p.cpStart} * p.bytesPerChar();
        if (!fits(wd.size(), p.fc, bytes)) {
            const uint64_t room = p.fc < wd.size() ? (wd.size() - p.fc) / p.bytesPerChar() : 0;
            if (room == 0)
                continue;
            p.cpEnd = p.cpStart + static_cast<uint32_t>(std::min<uint64_t>(room, p.cpEnd - p.cpStart));
        }
        storedBytes += uint64_t{p.cpEnd - p.cpStart} * p.bytesPerChar();
        if (storedBytes > wd.size())
            break;
        lastEnd = p.cpEnd;
        pieces.push_back(p);
    }
    if (pieces.empty())
        return false;
    table.assign(std::move(pieces), std::move(lists));
    return true;
}

namespace {

// The code page an East Asian font's character set names, whose names the
// font table keeps in that page ("\x82\x6C\x82\x72 \x96\xBE\x92\xA9" for MS Mincho).
uint16_t doubleBytePage(uint8_t charset)
{
    switch (charset) {
    case 128: return 932;
    case 129: return 949;
    case 134: return 936;
    case 136: return 950;
    default: return 0;
    }
}

// A name of the font table, up to its terminator, in the page of the
// font's character set: Windows-1252 unless that is double-byte.
std::string fontTableName(std::string_view bytes, uint8_t charset)
{
    bytes = bytes.substr(0, bytes.find('\0'));
    const uint16_t page = doubleBytePage(charset);
    const bool ascii = std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
    const auto characters = page != 0 && !ascii ? DoubleByteCharacters::open(page) : nullptr;
    if (!characters)
        return utf16ToUtf8(cp1252ToUtf16(bytes));
    std::u16string name;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<uint8_t>(bytes[i]);
        if (characters->isLeadByte(byte) && i + 1 < bytes.size())
            if (const auto c = characters->pair(byte, static_cast<uint8_t>(bytes[i + 1]))) {
                name.push_back(*c);
                ++i;
                continue;
            }
        name.push_back(characters->single(byte));
    }
    return utf16ToUtf8(name);
}

} // namespace

std::vector<std::string> word6FontNames(std::string_view wd)
{
    std::vector<std::string> names;
    const std::string_view table = slice(wd, u32(wd, 0xD0), u32(wd, 0xD4));
    uint64_t pos = 2;
    const uint64_t end = std::min<uint64_t>(table.size(), u16(table, 0));
    while (pos < end && names.size() < 0x7FFF) {
        const std::string_view ffn = slice(table, pos, 1ull + u8(table, pos));
        const std::string_view name = ffn.size() > 6 ? ffn.substr(6) : std::string_view();
        names.push_back(fontTableName(name, u8(ffn, 4)));
        pos += 1ull + u8(table, pos);
    }
    return names;
}

std::map<std::string, std::string> word6FontStandIns(std::string_view wd)
{
    // Word 6 FFN: cbFfnM1, ffid, wWeight, chs, ibszAlt, then the 8-bit name
    // from byte 6 and, from byte 6 + ibszAlt when that is not 0, the
    // alternate name.
    std::map<std::string, std::string> standIns;
    const std::string_view table = slice(wd, u32(wd, 0xD0), u32(wd, 0xD4));
    uint64_t pos = 2;
    const uint64_t end = std::min<uint64_t>(table.size(), u16(table, 0));
    for (size_t n = 0; pos < end && n < 0x7FFF; ++n) {
        const std::string_view ffn = slice(table, pos, 1ull + u8(table, pos));
        pos += 1ull + u8(table, pos);
        auto nameAt = [&](size_t off) {
            return fontTableName(ffn.size() > off ? ffn.substr(off) : std::string_view(), u8(ffn, 4));
        };
        const std::string name = nameAt(6);
        if (name.empty())
            continue;
        const uint8_t ibszAlt = u8(ffn, 5);
        std::string standIn = ffnStandIn(name, ibszAlt != 0 ? nameAt(6u + ibszAlt) : std::string(), u8(ffn, 1));
        if (!standIn.empty())
            standIns.emplace(name, std::move(standIn));
    }
    return standIns;
}

std::string word97StyleSheet(std::string_view stsh)
{
    // The header is kept, its base size set to Word 97's ten bytes.
    const uint16_t cbStshi = u16(stsh, 0);
    const std::string_view stshi = slice(stsh, 2, cbStshi);
    if (stshi.size() < 4)
        return {};
    std::string header(stshi);
    header.resize(std::max<size_t>(header.size(), 18), '\0');
    const uint16_t cstd = u16(stshi, 0);
    const uint16_t cbBase = u16(stshi, 2);
    header[2] = 10, header[3] = 0;
    std::string out;
    put16(out, static_cast<uint16_t>(header.size()));
    out += header;
    uint64_t pos = 2ull + cbStshi;
    for (uint16_t i = 0; i < cstd && pos + 2 <= stsh.size(); ++i) {
        const uint16_t cbStd = u16(stsh, pos);
        const std::string_view std = slice(stsh, pos + 2, cbStd);
        pos += 2ull + cbStd;
        if (std.size() < 8 || cbBase < 8 || std.size() < cbBase + 1ull) {
            put16(out, 0); // an empty slot
            continue;
        }
        // The base (Word 97 adds two bytes of flags), the name as UTF-16,
        // then each property list translated, on even offsets.
        std::string entry(std.substr(0, 8));
        entry.append(2, '\0');
        const uint8_t cch = u8(std, cbBase);
        const std::u16string name = cp1252ToUtf16(slice(std, cbBase + 1ull, cch));
        put16(entry, static_cast<uint16_t>(name.size()));
        for (const char16_t c : name)
            put16(entry, c);
        put16(entry, 0);
        uint64_t at = cbBase + 1ull + cch + 1;
        at += at & 1;
        const uint8_t kind = u8(std, 2) & 0x0F;
        const uint8_t cupx = u8(std, 4) & 0x0F;
        for (uint8_t k = 0; k < cupx && at + 2 <= std.size(); ++k) {
            const uint16_t cb = u16(std, at);
            const std::string_view upx = slice(std, at + 2, cb);
            at += 2ull + cb + (cb & 1);
            // A paragraph style's first list leads with its style index.
            const bool withIndex = kind == 1 && k == 0;
            const size_t keep = withIndex ? std::min<size_t>(2, upx.size()) : 0;
            const std::string list = std::string(upx.substr(0, keep)) + word6Sprms(upx.substr(keep));
            put16(entry, static_cast<uint16_t>(list.size()));
            entry += list;
            if (list.size() & 1)
                entry.push_back('\0');
        }
        put16(out, static_cast<uint16_t>(entry.size()));
        out += entry;
    }
    return out;
}

uint16_t word6FontCodePage(std::string_view wd)
{
    // The font table: its total size in two bytes, then each font as its
    // size less one, pitch and family, weight (two bytes), character set,
    // alternative-name offset and 8-bit name.
    const std::string_view table = slice(wd, u32(wd, 0xD0), u32(wd, 0xD4));
    static constexpr std::pair<uint8_t, uint16_t> pages[] = {
        {161, 1253}, {162, 1254}, {163, 1258}, {177, 1255}, {178, 1256}, {186, 1257}, {204, 1251},
        {222, 874},  {238, 1250}, {128, 932},  {129, 949},  {134, 936},  {136, 950},
    };
    uint64_t pos = 2;
    const uint64_t end = std::min<uint64_t>(table.size(), u16(table, 0));
    while (pos < end) {
        const uint8_t charset = u8(table, pos + 4);
        const std::string_view ffn = slice(table, pos, 1ull + u8(table, pos));
        pos += 1ull + u8(table, pos);
        // An East Asian font names the page only when its name is in it
        // ("\x82\x6C\x82\x72 \x96\xBE\x92\xA9", MS Mincho): corpus files in English
        // list Times New Roman and Arial a second time under character set
        // 128 and hold Western text.
        const std::string_view name = ffn.size() > 6 ? ffn.substr(6) : std::string_view();
        const bool latinName =
            std::all_of(name.begin(), name.end(), [](char c) { return static_cast<uint8_t>(c) < 0x80; });
        for (const auto& [set, page] : pages)
            if (set == charset && !(isDoubleByteCodePage(page) && latinName))
                return page;
    }
    return 1252;
}

uint16_t word6CodePage(uint16_t lid)
{
    // Languages by their primary language id (the low ten bits).
    static constexpr std::pair<uint16_t, uint16_t> pages[] = {
        {0x05, 1250}, {0x0E, 1250}, {0x15, 1250}, {0x18, 1250}, {0x1A, 1250}, {0x1B, 1250}, {0x1C, 1250}, {0x24, 1250},
        {0x02, 1251}, {0x19, 1251}, {0x22, 1251}, {0x23, 1251}, {0x2F, 1251}, {0x08, 1253}, {0x1F, 1254}, {0x0D, 1255},
        {0x01, 1256}, {0x29, 1256}, {0x20, 1256}, {0x25, 1257}, {0x26, 1257}, {0x27, 1257}, {0x2A, 1258}, {0x1E, 874},
    };
    const uint16_t primary = lid & 0x3FF;
    // The East Asian languages: Japanese, Korean, and Chinese, whose page
    // is the simplified one's for China and Singapore, else Big5's.
    if (primary == 0x11)
        return 932;
    if (primary == 0x12)
        return 949;
    if (primary == 0x04)
        return lid == 0x0804 || lid == 0x1004 ? 936 : 950;
    for (const auto& [language, page] : pages)
        if (language == primary)
            return page;
    return 1252;
}

uint16_t word6TextCodePage(std::string_view wd, const Fib& fib)
{
    const uint16_t fontPage = word6FontCodePage(wd);
    const uint16_t page = fontPage != 1252 ? fontPage : word6CodePage(fib.lid);
    if (fib.chse != 256)
        return page;
    // Saved by Word 6 for the Macintosh: its fonts say only "Macintosh"
    // (character set 77), so the language picks the Mac page of its script.
    static constexpr std::pair<uint16_t, uint16_t> mac[] = {{1250, 10029}, {1251, 10007}, {1253, 10006}, {1254, 10081}};
    for (const auto& [windows, macintosh] : mac)
        if (windows == page)
            return macintosh;
    return 10000;
}

std::optional<std::array<char16_t, 256>> eightBitCharacters(uint16_t codePage)
{
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open(("windows-" + std::to_string(codePage)).c_str(), &status);
    if (U_FAILURE(status) || !converter)
        return std::nullopt;
    std::array<char16_t, 256> characters{};
    for (int byte = 0; byte < 256; ++byte) {
        const char in = static_cast<char>(byte);
        UChar out[4] = {};
        status = U_ZERO_ERROR;
        const int32_t n = ucnv_toUChars(converter, out, 4, &in, 1, &status);
        characters[static_cast<size_t>(byte)] = U_SUCCESS(status) && n == 1 ? out[0] : u'\uFFFD';
    }
    ucnv_close(converter);
    return characters;
}

} // namespace qm::engine::doc
