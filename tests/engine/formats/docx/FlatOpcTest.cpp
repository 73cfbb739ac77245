// Flat OPC files: the parts of a Word package held inline in one XML file.
#include "../support/Describe.h"
#include "DocxTestPackage.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using test::describe;

std::string flatOpc(const std::string& body, const std::string& extraParts = "")
{
    const std::string ns = R"(xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main")";
    return R"(<?xml version="1.0" standalone="yes"?>
<?mso-application progid="Word.Document"?>
<pkg:package xmlns:pkg="http://schemas.microsoft.com/office/2006/xmlPackage">
 <pkg:part pkg:name="/_rels/.rels" pkg:contentType="application/vnd.openxmlformats-package.relationships+xml">
  <pkg:xmlData><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships"><Relationship Id="rId1" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/officeDocument" Target="word/document.xml"/></Relationships></pkg:xmlData>
 </pkg:part>
 <pkg:part pkg:name="/word/document.xml" pkg:contentType="application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml">
  <pkg:xmlData><w:document )" +
           ns + "><w:body>" + body + R"(</w:body></w:document></pkg:xmlData>
 </pkg:part>)" +
           extraParts + "\n</pkg:package>";
}

// Before, such a file was counted as text: its XML tags became words.
TEST(FlatOpc, ReadsTheInlinePartsAsTheDocxReaderReadsAPackage)
{
    const std::string body = R"(<w:p><w:r><w:rPr><w:b/></w:rPr><w:t xml:space="preserve">Bold </w:t></w:r>)"
                             R"(<w:r><w:t>plain</w:t></w:r></w:p><w:p><w:r><w:t>Second</w:t></w:r></w:p>)";
    const ReadResult r = readDocumentBytes(flatOpc(body), "xml");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.document->format, "flatopc");
    EXPECT_EQ(describe(*r.document, "b"), "{b|Bold }plain¶Second¶");

    test::DocxPackage package;
    package.body = body;
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok());
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
    EXPECT_EQ(a.words, 3);
}

// A binary part is base64; a damaged one is left out with a diagnostic and
// the text is still read.
TEST(FlatOpc, DamagedBinaryPartIsLeftOutWithADiagnostic)
{
    const std::string parts = R"(<pkg:part pkg:name="/word/media/image1.png" pkg:contentType="image/png">
  <pkg:binaryData>iVBORw0K
GgoAAAA=</pkg:binaryData></pkg:part>
 <pkg:part pkg:name="/word/media/image2.png" pkg:contentType="image/png"><pkg:binaryData>not*base64</pkg:binaryData></pkg:part>)";
    const ReadResult r = readDocumentBytes(flatOpc("<w:p><w:r><w:t>Text</w:t></w:r></w:p>", parts), "xml");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, ""), "Text¶");
    EXPECT_TRUE(test::hasDiagnostic(*r.document, "flatopc.base64"));
}

TEST(FlatOpc, PackageWithoutDocumentIsRefused)
{
    const std::string empty =
        R"(<?xml version="1.0"?><pkg:package xmlns:pkg="http://schemas.microsoft.com/office/2006/xmlPackage"/>)";
    EXPECT_TRUE(test::failsWith(readDocumentBytes(empty, "xml"), "word/document.xml is missing"));
    const std::string cut = flatOpc("<w:p><w:r><w:t>Text</w:t></w:r></w:p>").substr(0, 400);
    EXPECT_TRUE(test::failsWith(readDocumentBytes(cut, "xml"), "the Flat OPC package cannot be read"));
}

} // namespace
} // namespace qm::engine
