// Parsing the file information block: version, encryption, story lengths, table locations.
#include "engine/formats/doc/Fib.h"

#include "engine/formats/doc/ByteReader.h"
#include "engine/formats/doc/Word6.h"

namespace qm::engine::doc {

namespace {

constexpr uint16_t Word97Ident = 0xA5EC;
constexpr uint16_t Word6Ident = 0xA5DC;
constexpr uint16_t FirstWord97Version = 0xC0; // Word 97 writes 0xC1; its betas 0xC0

} // namespace

FibResult parseFib(std::string_view wd)
{
    FibResult r;
    Fib& fib = r.fib;
    if (wd.size() < 34) {
        r.error = "the document is damaged (its header is cut short)";
        return r;
    }
    const uint16_t ident = u16(wd, 0);
    fib.nFib = u16(wd, 2);
    if (ident == Word6Ident || (fib.nFib >= 101 && fib.nFib < FirstWord97Version))
        return parseWord6Fib(wd);
    if (ident != Word97Ident || fib.nFib < FirstWord97Version) {
        r.error = "the file is not a Word 97-2003 document";
        return r;
    }
    fib.lid = u16(wd, 6);
    const uint16_t flags = u16(wd, 0x0A);
    fib.fComplex = flags & 0x0004;
    fib.fEncrypted = flags & 0x0100;
    fib.fWhichTblStm = flags & 0x0200;
    fib.fObfuscated = flags & 0x8000;
    if (fib.fEncrypted || fib.fObfuscated) {
        r.error = "password-protected documents cannot be counted";
        return r;
    }

    // After the fixed 32 bytes come three arrays, each led by its length, so
    // later versions' longer arrays are skipped over rather than assumed.
    uint64_t pos = 32;
    const uint16_t csw = u16(wd, pos);
    pos += 2 + 2ull * csw;
    const uint16_t cslw = u16(wd, pos);
    const uint64_t lw = pos + 2;
    pos = lw + 4ull * cslw;
    const uint16_t cbRgFcLcb = u16(wd, pos);
    const uint64_t fcLcb = pos + 2;
    if (cslw < 11 || cbRgFcLcb < 60 || !fits(wd.size(), fcLcb, 8ull * cbRgFcLcb)) {
        r.error = "the document is damaged (its header is cut short)";
        return r;
    }
    for (int i = 0; i < Fib::CcpCount; ++i)
        fib.ccp[i] = u32(wd, lw + 4ull * (3 + i));

    auto pair = [&](int index) { return FcLcb{u32(wd, fcLcb + 8ull * index), u32(wd, fcLcb + 8ull * index + 4)}; };
    fib.stshf = pair(1);
    fib.plcffndRef = pair(2);
    fib.plcffndTxt = pair(3);
    fib.plcfandRef = pair(4);
    fib.plcfandTxt = pair(5);
    fib.plcfSed = pair(6);
    fib.plcfHdd = pair(11);
    fib.plcfBteChpx = pair(12);
    fib.plcfBtePapx = pair(13);
    fib.sttbfFfn = pair(15);
    fib.dop = pair(31);
    fib.clx = pair(33);
    fib.plcSpaMom = pair(40);
    fib.plcfendRef = pair(46);
    fib.plcfendTxt = pair(47);
    fib.plcftxbxTxt = pair(56);
    fib.plcfHdrtxbxTxt = pair(58);
    return r;
}

} // namespace qm::engine::doc
