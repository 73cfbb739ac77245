// The file information block at the start of a Word 97-2003 document stream.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace qm::engine::doc {

/// Where a structure lies in the table stream: byte offset and length.
struct FcLcb {
    uint32_t fc = 0;
    uint32_t lcb = 0;
};

/// The parts of the file information block this reader uses.
struct Fib {
    uint16_t nFib = 0;
    bool fComplex = false;
    bool fEncrypted = false;
    bool fObfuscated = false;
    bool fWhichTblStm = false; ///< true: the table stream is "1Table"
    bool word6 = false;        ///< a Word 6 or Word 95 document: its structures lie in the document stream
    bool fExtChar = false;     ///< Word 6: the text is stored two bytes a character (UTF-16)
    uint16_t lid = 0;          ///< the document's language
    uint16_t chse = 0;         ///< Word 6: the 8-bit text's character set, 256 for the Macintosh's
    uint32_t fcMin = 0;        ///< where the text starts when it is stored in one stretch
    uint32_t fcMac = 0;

    /// Character counts of the stories, in their order in the text.
    enum Ccp { Text, Ftn, Hdd, Mcr, Atn, Edn, Txbx, HdrTxbx, CcpCount };
    std::array<uint32_t, CcpCount> ccp{};

    FcLcb stshf, plcffndRef, plcffndTxt, plcfandRef, plcfandTxt, plcfSed, plcfHdd, plcfBteChpx,
        plcfBtePapx, sttbfFfn, dop, clx, plcSpaMom, plcfendRef, plcfendTxt, plcftxbxTxt, plcfHdrtxbxTxt;
};

struct FibResult {
    Fib fib;
    std::string error; ///< set when the document cannot be read at all
};

/// Parses the block from the start of the "WordDocument" stream. Word 6 and
/// Word 95 files, encrypted and obfuscated files get their clear error here.
FibResult parseFib(std::string_view wordDocument);

} // namespace qm::engine::doc
