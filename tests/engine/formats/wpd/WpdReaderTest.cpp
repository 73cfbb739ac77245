// WordPerfect and Works documents through libwpd and libwps.
#include "../docx/DocxTestPackage.h"
#include "../support/Describe.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using namespace std::literals;
using test::describe;

// A WordPerfect 5.1 file as the program writes its simplest document: the
// 16-byte prefix (signature, offset of the text, product 1, file type 10
// for a document, version 0.1, no encryption), then the text, where 0x0A
// is a hard return and C3 n C3 / C4 n C4 switch attribute n on and off
// (12 bold, 8 italic).
std::string wordPerfect51(std::string_view text)
{
    return "\xFFWPC\x10\0\0\0\x01\x0A\x00\x01\0\0\0\0"s + std::string(text);
}

const std::string kSample = wordPerfect51("Hello \xC3\x0C\xC3"
                                          "bold\xC4\x0C\xC4 \xC3\x08\xC3"
                                          "it\xC4\x08\xC4 world\x0A"
                                          "Second para\x0A"sv);

// Before, a WordPerfect file's bytes were counted as text, its codes as
// words; under a .doc name it went to the Word reader and was refused.
TEST(WordPerfect, ReadsTextAndAttributesUnderAnyName)
{
    for (const char* extension : {"wpd", "doc", "wp5"}) {
        SCOPED_TRACE(extension);
        EXPECT_EQ(detectFormat(kSample, extension), DocumentFormat::WordPerfect);
        const ReadResult r = readDocumentBytes(kSample, extension);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.document->format, "wpd");
        EXPECT_EQ(describe(*r.document, "b i"), "Hello {b|bold} {i|it} world¶Second para¶");
    }
}

// The same text as .docx gives the same counts: 6 words, 16 + 10 characters.
TEST(WordPerfect, CountsAgreeWithTheSameTextAsDocx)
{
    const ReadResult r = readDocumentBytes(kSample, "wpd");
    ASSERT_TRUE(r.ok()) << r.error;
    test::DocxPackage package;
    package.body =
        R"(<w:p><w:r><w:t>Hello bold it world</w:t></w:r></w:p><w:p><w:r><w:t>Second para</w:t></w:r></w:p>)";
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok());
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, 6);
    EXPECT_EQ(a.characters, 26);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.characters, b.characters);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
}

// Damaged and foreign input gives a clear error or a partial document,
// never a crash.
TEST(WordPerfect, DamagedInputIsRefusedClearly)
{
    const std::string pastTheEnd = "\xFFWPC\xFF\xFF\0\0\x01\x0A\x00\x01\0\0\0\0text"s;
    const ReadResult r = readDocumentBytes(pastTheEnd, "wpd");
    if (!r.ok())
        EXPECT_FALSE(r.error.empty());
    EXPECT_TRUE(test::failsWith(readWordPerfect("plain words", {}), "not a WordPerfect document"));
    EXPECT_TRUE(test::failsWith(readWorks("plain words", {}), "not a Works document"));
}

} // namespace
} // namespace qm::engine
