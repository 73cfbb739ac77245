// Word 2003 XML documents read through the .docx reader's vocabulary.
#include "../docx/DocxTestPackage.h"
#include "../support/Describe.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using test::describe;

std::string wordMl(const std::string& inside)
{
    return R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<?mso-application progid="Word.Document"?>
<w:wordDocument xmlns:w="http://schemas.microsoft.com/office/word/2003/wordml"
 xmlns:wx="http://schemas.microsoft.com/office/word/2003/auxHint" xmlns:o="urn:schemas-microsoft-com:office:office">)" +
           inside + "</w:wordDocument>";
}

// Sections wrap the body in wx:sect; headers and notes are written inline;
// styles and lists keep the vocabulary of the later format with a few names
// changed. Each must reach the document model as the .docx reader builds it.
TEST(WordMl, BodyStylesListsHeadersAndNotes)
{
    const std::string doc = wordMl(R"X(
<o:DocumentProperties><o:Words>6</o:Words><o:Characters>31</o:Characters></o:DocumentProperties>
<w:fonts><w:defaultFonts w:ascii="Arial" w:h-ansi="Arial"/></w:fonts>
<w:lists>
 <w:listDef w:listDefId="0"><w:lvl w:ilvl="0"><w:start w:val="1"/><w:nfc w:val="4"/><w:lvlText w:val="%1)"/></w:lvl></w:listDef>
 <w:list w:ilfo="1"><w:ilst w:val="0"/></w:list>
</w:lists>
<w:styles>
 <w:style w:type="paragraph" w:default="on" w:styleId="Normal"><w:name w:val="Normal"/><w:rPr><w:sz w:val="24"/></w:rPr></w:style>
 <w:style w:type="character" w:styleId="Strong"><w:name w:val="Strong"/><w:rPr><w:b/></w:rPr></w:style>
</w:styles>
<w:body><wx:sect>
 <w:p><w:r><w:rPr><w:rStyle w:val="Strong"/></w:rPr><w:t>Strong</w:t></w:r><w:r><w:t> words</w:t></w:r></w:p>
 <w:p><w:pPr><w:listPr><w:ilvl w:val="0"/><w:ilfo w:val="1"/></w:listPr></w:pPr><w:r><w:t>Item</w:t></w:r></w:p>
 <wx:sub-section><w:p><w:r><w:t>Noted</w:t></w:r><w:r><w:footnote><w:p><w:r><w:t>The note</w:t></w:r></w:p></w:footnote></w:r></w:p></wx:sub-section>
 <w:sectPr><w:hdr w:type="odd"><w:p><w:r><w:t>Head</w:t></w:r></w:p></w:hdr><w:pgSz w:w="11906" w:h="16838"/></w:sectPr>
</wx:sect></w:body>)X");
    const ReadResult r = readDocumentBytes(doc, "xml");
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.document->format, "wordml");
    EXPECT_EQ(describe(*r.document, "b sz font label"),
              "{b sz24 'Arial'|Strong}{sz24 'Arial'| words}¶{sz24 'Arial'|Item}¶[«a)»]{sz24 'Arial'|Noted²}¶");
    EXPECT_EQ(test::describeSections(*r.document), "§25 w11906 h16838 H:Head¶");
    EXPECT_EQ(test::describeNotes(*r.document), "foot:The note¶");
    EXPECT_EQ(r.document->stored.words, 6);
}

// The same paragraphs saved as .docx give Word the same counts. Word 2003
// keeps the spaces at the ends of a w:t without xml:space; the package
// format needs the attribute.
TEST(WordMl, CountsAgreeWithTheSameTextAsDocx)
{
    const std::string body =
        R"(<w:p><w:r><w:t>Typed 12 pages, </w:t></w:r><w:r><w:rPr><w:i/></w:rPr><w:t>urgent.</w:t></w:r></w:p>)"
        R"(<w:tbl><w:tr><w:tc><w:p><w:r><w:t>Fee</w:t></w:r></w:p></w:tc></w:tr></w:tbl><w:p/>)";
    const ReadResult r = readDocumentBytes(wordMl("<w:body><wx:sect>" + body + "</wx:sect></w:body>"), "xml");
    ASSERT_TRUE(r.ok()) << r.error;
    test::DocxPackage package;
    package.body = body;
    package.body.replace(package.body.find("<w:t>Typed"), 5, R"(<w:t xml:space="preserve">)");
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok());
    const WordStatistics a = computeWordStatistics(*r.document), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, 5);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.characters, b.characters);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
}

} // namespace
} // namespace qm::engine
