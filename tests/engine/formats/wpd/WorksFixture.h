// Builds Microsoft Works 2-4 word-processor files in memory for the reader's tests.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qm::engine::test {

/// A Works word-processor document as Works 2 to 4 for Windows write it:
/// a 256-byte header, the text (header, footer, then the main text, in Windows-1252 bytes; "\r\n" ends a paragraph,
/// "\t" is a tab, "\f" a page break), then 128-byte property pages for the
/// character and paragraph runs, the two tables that find those pages, and
/// the font table.
struct WorksDocument {
    std::string text;
    struct Chars {
        uint32_t from, to;      ///< byte range of the text
        uint8_t flags = 0;      ///< 1 bold, 2 italic, 4 strike-through
        int font = -1;          ///< index into fonts, or -1 for the document's default
        uint8_t halfPoints = 0; ///< size, 0 for the default
    };
    std::vector<Chars> chars; ///< runs not named keep the default properties
    struct Para {
        uint32_t from, to;
        uint8_t justify = 0; ///< 0 left, 1 centre, 2 right, 3 justified
    };
    std::vector<Para> paras;
    std::vector<std::string> fonts{"Times New Roman", "Arial"};
    /// The header and footer stand before the main text (Works keeps the
    /// two or neither); run and paragraph ranges count from the header's start.
    std::string header, footer;
    bool noFirstPageHeader = false;
    uint16_t oemCodePage = 0; ///< the DOS page a Works for DOS file names, 0 for none
    /// First header byte: 1 Works for DOS and Works 2 for Windows, 4 Works 3
    /// for Windows, 6 Works 4 for Windows.
    uint8_t version = 6;
    /// Page height and width, then the top, bottom, left and right margins, in twips.
    uint16_t pageHeight = 15840, pageWidth = 12240;
    uint16_t marginTop = 1440, marginBottom = 1440, marginLeft = 1800, marginRight = 1800;
};

/// The document's own bytes: the whole file for Works 2, the "MN0" stream of
/// the compound file for Works 3 and 4.
std::string buildWorksStream(const WorksDocument& w);
/// A Works 3 or 4 file: a compound file holding the stream as "MN0".
std::string buildWorksFile(const WorksDocument& w);

} // namespace qm::engine::test
