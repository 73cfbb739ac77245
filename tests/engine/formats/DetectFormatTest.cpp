// Which reader a file goes to by its content, and how a file no reader takes is refused.
#include "engine/formats/Content.h"
#include "engine/formats/Reader.h"
#include "support/Describe.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using namespace std::literals;

// Without content detection a file's bytes went to the reader its name
// chose, or were counted as text: a WordPerfect file named .doc, a PDF
// named .txt, a page's tags as words.
TEST(DetectFormat, ContentDecidesOverTheName)
{
    struct Case {
        std::string_view bytes, extension;
        DocumentFormat expected;
    } cases[] = {
        {"{\\rtf1 Hello}", "txt", DocumentFormat::Rtf},
        {"\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1rest"sv, "rtf", DocumentFormat::Doc},
        {"PK\x03\x04....[Content_Types].xml....word/document.xml"sv, "bin", DocumentFormat::Docx},
        {"PK\x03\x04....mimetypeapplication/vnd.oasis.opendocument.text"sv, "zip", DocumentFormat::Odt},
        {"Plain words, named .doc.\r\n", "doc", DocumentFormat::PlainText},
        {"Caf\xE9 au lait\r\n", "", DocumentFormat::PlainText}, // Windows-1252
        {"\xFF\xFEH\0i\0"sv, "dat", DocumentFormat::PlainText}, // UTF-16 with its mark
        {"", "txt", DocumentFormat::PlainText},
        {"", "doc", DocumentFormat::Doc}, // refused by the .doc reader as empty
        {"<!DOCTYPE html><p>Hi</p>", "txt", DocumentFormat::Html},
        {"\xEF\xBB\xBF <!-- saved --> <HTML><body>x</body></HTML>", "doc", DocumentFormat::Html},
        {"{\\pard fragment\\par}", "rtf", DocumentFormat::Rtf},
        {"\xFFWPC\x10\0\0\0\x01\x0A"sv, "doc", DocumentFormat::WordPerfect},
        {"<?xml version=\"1.0\"?><pkg:package xmlns:pkg=\"http://schemas.microsoft.com/office/2006/xmlPackage\">",
         "xml", DocumentFormat::FlatOpc},
        {"<?xml version=\"1.0\"?>\n<w:wordDocument xmlns:w=\"http://schemas.microsoft.com/office/word/2003/wordml\">",
         "doc", DocumentFormat::WordMl},
        // Not documents: each is refused.
        {"PK\x03\x04....xl/workbook.xml....[Content_Types].xml"sv, "docx", DocumentFormat::Unknown},
        {"PK\x03\x04....photo.jpg"sv, "docx", DocumentFormat::Unknown},
        {"PK\x03\x04....mimetypeapplication/vnd.oasis.opendocument.spreadsheet"sv, "odt", DocumentFormat::Unknown},
        {"%PDF-1.7\n%\xE2\xE3\xCF\xD3\n1 0 obj"sv, "txt", DocumentFormat::Unknown},
        {"<?xml version=\"1.0\"?><data><row>1</row></data>", "xml", DocumentFormat::Unknown},
        {"text\0with\0nul"sv, "txt", DocumentFormat::Unknown},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.bytes.substr(0, 24)) + " ." + std::string(c.extension));
        EXPECT_EQ(detectFormat(c.bytes, c.extension), c.expected);
    }
}

// The refusal says what the file looks like, so a user can tell a wrong
// file from a damaged document.
TEST(DetectFormat, RefusalNamesWhatTheFileLooksLike)
{
    struct Case {
        std::string_view bytes, looksLike;
    } cases[] = {
        {"\xFF\xD8\xFF\xE0\0\x10JFIF"sv, "a JPEG picture"},
        {"PK\x03\x04....word/x....photo.jpg"sv, "a ZIP archive that is not a Word or OpenDocument file"},
        {"PK\x03\x04....xl/workbook.xml....[Content_Types].xml"sv, "an Excel workbook"},
        {"%PDF-1.4\n"sv, "a PDF document"},
        {"\x89PNG\r\n\x1A\n\0\0"sv, "a PNG picture"},
        {"MZ\x90\0\x03\0\0\0"sv, "a Windows program"},
        {"MIME-Version: 1.0\r\nContent-Type: multipart/related;"sv, "a single-file web page (MHTML)"},
        {"\x01\x02\x03\x04\x05\x06\x07\x08 some text"sv, "binary data"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.looksLike);
        const ReadResult r = readDocumentBytes(c.bytes, "doc");
        EXPECT_TRUE(test::failsWith(r, "the file looks like " + std::string(c.looksLike) + ", not a document"));
    }
}

// A transcript may keep a printer code or two; a binary file has many.
// The line is one stray control character in a hundred bytes.
TEST(DetectFormat, TextToleratesAFewControlCharactersOnly)
{
    std::string text(99, 'a');
    text += '\x1B'; // ESC, 1 in 100
    EXPECT_TRUE(looksLikeText(text));
    text += '\x1B'; // 2 in 101
    EXPECT_FALSE(looksLikeText(text));
    EXPECT_TRUE(looksLikeText("tabs\tform feeds\f and Ctrl+Z at the end\x1A"));
    EXPECT_TRUE(looksLikeText("MZ Smith, dictated 3 May"));
    EXPECT_EQ(describeContent("MZ Smith, dictated 3 May"), "text");
}

// UTF-16 without a byte-order mark is text when nine units in ten are ASCII
// and a space, tab or line end is among them; other zero-filled data is not.
TEST(DetectFormat, Utf16WithoutAMarkIsTextOnTheEvidence)
{
    struct Case {
        const char* what;
        std::string bytes;
        Utf16Order order;
    } cases[] = {
        {"little-endian line", "O\0k\0 \0t\0h\0e\0n\0\r\0\n\0"s, Utf16Order::LittleEndian},
        {"big-endian line", "\0O\0k\0 \0t\0h\0e\0n"s, Utf16Order::BigEndian},
        {"odd length", "O\0k\0 \0t"s, Utf16Order::None},
        {"a NUL character", "O\0\0\0 \0t\0"s, Utf16Order::None},
        {"no space, tab or line end", "O\0k\0a\0y\0"s, Utf16Order::None},
        {"Chinese without a mark (as on Windows, needs its mark)", "\x2D\x4E\x87\x65 \0\x2D\x4E"s, Utf16Order::None},
        {"a picture's zero-filled rows", "\x01\0\x02\0\0\0\x03\0"s, Utf16Order::None},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(bomlessUtf16(c.bytes), c.order);
        if (c.order != Utf16Order::None)
            EXPECT_EQ(describeContent(c.bytes), "text");
    }
}

} // namespace
} // namespace qm::engine
