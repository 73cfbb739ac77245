// Builds compound files and Word 97-2003 documents in memory for the reader's tests.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qm::engine::doc::test {

/// Little-endian appends and patches.
void put16(std::string& b, uint16_t v);
void put32(std::string& b, uint32_t v);
void set16(std::string& b, size_t at, uint16_t v);
void set32(std::string& b, size_t at, uint32_t v);
uint32_t get32(const std::string& b, size_t at);

/// One sprm with its operand bytes.
std::string sprm(uint16_t code, std::initializer_list<uint8_t> operand);
std::string sprm16(uint16_t code, uint16_t value);

/// Where the writer put things, for tests that damage a file on purpose.
struct CfbLayout {
    size_t fatOffset = 0;                         ///< byte offset of the first allocation-table sector
    size_t directoryOffset = 0;                   ///< byte offset of the first directory sector
    std::map<std::u16string, uint32_t> firstSector; ///< regular-sector streams: their first sector
};

/// A version 3 compound file with 512-byte sectors holding the streams in its
/// root storage; streams under 4096 bytes go to the small-stream container.
std::string buildCompoundFile(const std::vector<std::pair<std::u16string, std::string>>& streams,
                              CfbLayout* layout = nullptr);

struct StyleDef {
    uint8_t kind = 1; ///< 1 paragraph, 2 character, 0 an unused slot
    uint16_t base = 0x0FFF;
    std::u16string name;
    std::string papx; ///< paragraph sprms
    std::string chpx; ///< character sprms
};
/// A style sheet of the given styles, the first one "Normal".
std::string buildStyleSheet(const std::vector<StyleDef>& styles);

/// A Word 97-2003 document: the text of all stories, the properties of
/// character ranges and paragraphs, and the tables Word keeps beside them.
struct DocSpec {
    std::u16string text;                    ///< all stories, one after another
    std::array<uint32_t, 8> ccp{};          ///< story lengths; the main story's defaults to all the text
    struct Chars {
        uint32_t from, to;
        std::string grpprl;
    };
    std::vector<Chars> chars;               ///< character properties by cp range
    struct Para {
        uint32_t end;                       ///< one past the paragraph's mark
        uint16_t istd = 0;
        std::string grpprl;
    };
    std::vector<Para> paras;
    bool compressed = true;                 ///< store the text one byte a character (Windows-1252)
    std::vector<uint32_t> pieceSplits;      ///< cps where a new piece starts; pieces are stored last first
    std::string styleSheet;                 ///< empty: a sheet with only "Normal"
    struct Sect {
        uint32_t end;
        std::string sepx;
    };
    std::vector<Sect> sections;             ///< empty: one section without properties
    std::vector<uint32_t> hdd;              ///< header story table cps
    std::vector<uint32_t> footnoteRefs;     ///< cps of the references in the main story
    std::vector<uint32_t> footnoteTexts;    ///< cps into the footnote story, one more than notes
    std::string dop;
    uint16_t wIdent = 0xA5EC;
    uint16_t nFib = 0xC1;
    uint16_t lid = 0x0409; ///< the document's language (US English)
    uint16_t flags = 0x0200; ///< fWhichTblStm set: the table stream is "1Table"
    bool omitTableStream = false;
};

/// The two streams of a document: "WordDocument" and its table stream.
std::pair<std::string, std::string> buildStreams(const DocSpec& spec);
/// The whole .doc file.
std::string buildDoc(const DocSpec& spec, CfbLayout* layout = nullptr);

} // namespace qm::engine::doc::test
