// Text or not, and what a file no reader takes looks like.
#include "engine/formats/Content.h"

#include <array>
#include <cctype>
#include <cstdint>

namespace qm::engine {

using namespace std::literals;

namespace {

// A control character a text file does not hold. Tab, line ends, vertical
// tab, form feed and the old end-of-file mark (Ctrl+Z) are at home in text
// written on Windows and DOS, so they do not count against it.
bool isStrayControl(unsigned char c)
{
    return c < 0x20 && c != '\t' && c != '\n' && c != '\r' && c != '\v' && c != '\f' && c != 0x1A;
}

struct Signature {
    std::string_view magic;
    std::string_view kind;
    bool alsoText; ///< the magic could begin a text file, so it counts only for binary content
};

// Signatures at the start of a file, by what a user calls the file.
constexpr std::array<Signature, 19> kSignatures{{
    {"\xFFWPC"sv, "a WordPerfect document", false},
    {"%PDF"sv, "a PDF document", false},
    {"%!PS"sv, "a PostScript file", false},
    {"\x89PNG"sv, "a PNG picture", false},
    {"\xFF\xD8\xFF"sv, "a JPEG picture", false},
    {"GIF8"sv, "a GIF picture", true},
    {"II*\0"sv, "a TIFF picture", false},
    {"MM\0*"sv, "a TIFF picture", false},
    {"\x7F"
     "ELF"sv,
     "a program (ELF executable)", false},
    {"MZ"sv, "a Windows program", true},
    {"\x1F\x8B"sv, "a gzip-compressed file", false},
    {"7z\xBC\xAF\x27\x1C"sv, "a 7-Zip archive", false},
    {"Rar!\x1A"sv, "a RAR archive", false},
    {"BZh"sv, "a bzip2-compressed file", true},
    {"\xFD"
     "7zXZ"sv,
     "an xz-compressed file", false},
    {"\xDB\xA5"sv, "a Word 2 document", false},
    {"\x31\xBE\0\0"sv, "a Word for DOS or Write document", false},
    {"ID3"sv, "an MP3 audio file", true},
    {"OggS"sv, "an Ogg media file", true},
}};

bool contains(std::string_view bytes, std::string_view what) { return bytes.find(what) != std::string_view::npos; }

std::string describeZip(std::string_view bytes)
{
    // An OpenDocument package names its kind in its first, stored entry.
    const std::string_view head = bytes.substr(0, 200);
    constexpr std::string_view odf = "application/vnd.oasis.opendocument.";
    if (const size_t at = head.find(odf); at != std::string_view::npos) {
        const std::string_view kind = head.substr(at + odf.size());
        if (kind.starts_with("spreadsheet"))
            return "an OpenDocument spreadsheet";
        if (kind.starts_with("presentation"))
            return "an OpenDocument presentation";
        if (kind.starts_with("graphics") || kind.starts_with("drawing"))
            return "an OpenDocument drawing";
        return "an OpenDocument file that is not a text document";
    }
    // Part names stand uncompressed in every zip entry's header.
    if (contains(bytes, "xl/workbook"))
        return "an Excel workbook";
    if (contains(bytes, "ppt/presentation"))
        return "a PowerPoint presentation";
    if (contains(bytes, "visio/document"))
        return "a Visio drawing";
    return "a ZIP archive that is not a Word or OpenDocument file";
}

} // namespace

bool startsLikeHtml(std::string_view bytes)
{
    // Past a byte-order mark, white space and comments, a page opens with
    // its doctype or its html element, in any letter case.
    std::string head;
    for (const char c : bytes.substr(0, 2048))
        head += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    size_t at = head.starts_with("\xef\xbb\xbf") ? 3 : 0;
    for (;;) {
        at = head.find_first_not_of(" \t\r\n", at);
        if (at == std::string::npos)
            return false;
        if (head.compare(at, 4, "<!--") == 0) {
            at = head.find("-->", at);
            if (at == std::string::npos)
                return false;
            at += 3;
        } else if (head.compare(at, 5, "<?xml") == 0) {
            at = head.find("?>", at);
            if (at == std::string::npos)
                return false;
            at += 2;
        } else {
            break;
        }
    }
    const std::string_view rest = std::string_view(head).substr(at);
    return rest.starts_with("<!doctype html") || rest.starts_with("<html") ||
           (rest.starts_with("<!doctype") && rest.substr(0, 200).contains("xhtml"));
}

bool looksLikeText(std::string_view bytes)
{
    if (bytes.starts_with("\xEF\xBB\xBF") || bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF"))
        return true;
    if (bomlessUtf16(bytes) != Utf16Order::None)
        return true;
    // Any NUL is binary: text in an 8-bit page or UTF-8 never holds one. A
    // few stray control characters are tolerated (printer codes left in old
    // transcripts), but not one in a hundred bytes.
    uint64_t stray = 0;
    for (const char ch : bytes) {
        const auto c = static_cast<unsigned char>(ch);
        if (c == 0)
            return false;
        stray += isStrayControl(c);
    }
    return stray * 100 <= bytes.size();
}

std::string describeContent(std::string_view bytes)
{
    if (bytes.empty())
        return "an empty file";
    if (bytes.starts_with("PK\x03\x04") || bytes.starts_with("PK\x05\x06"))
        return describeZip(bytes);
    if (bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"))
        return "an Office file that is not a Word document";
    const bool text = looksLikeText(bytes);
    for (const Signature& s : kSignatures)
        if (bytes.starts_with(s.magic) && (!s.alsoText || !text))
            return std::string(s.kind);
    const std::string_view head = bytes.substr(0, 1024);
    if (head.starts_with("MIME-Version:") || contains(head, "multipart/related"))
        return "a single-file web page (MHTML)";
    if (startsLikeHtml(head))
        return "a web page (HTML)";
    if (head.starts_with("<?xml") || head.starts_with("\xEF\xBB\xBF<?xml"))
        return "an XML file that is not a document format that can be read";
    if (text)
        return "text";
    return "binary data";
}

std::string unreadableContentError(std::string_view bytes)
{
    return "the file looks like " + describeContent(bytes) + ", not a document that can be counted";
}

} // namespace qm::engine
