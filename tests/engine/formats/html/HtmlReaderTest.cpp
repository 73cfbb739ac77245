// Web pages read as Word opens them: text, structure and the CSS subset.
#include "../docx/DocxTestPackage.h"
#include "../support/Describe.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

namespace qm::engine {
namespace {

using test::describe;

std::unique_ptr<Document> readPage(std::string_view page)
{
    ReadResult r = readDocumentBytes(page, "htm");
    EXPECT_TRUE(r.ok()) << r.error;
    return std::move(r.document);
}

// The page's head, scripts and style sheets are no text of the document,
// white space collapses as in a browser, and <br> and &nbsp; are Word's
// line break and no-break space. Counting the raw bytes gave 60 "words".
TEST(HtmlReader, TextIsWhatTheBrowserShows)
{
    const auto doc = readPage(R"(<!DOCTYPE html>
<html><head><title>Invoice notes</title>
<script>var words = "not counted";</script>
<style>p { color: red }</style></head>
<body>
  <h1>Patient   history</h1>
  <p>First line<br>
     second&nbsp;line.</p>
  <p>  Two
     words  </p>
  <div>Loose <span>text</span></div>
  <!-- a comment -->
  <p></p>
</body></html>)");
    EXPECT_EQ(describe(*doc, ""), "Patient history¶First line↵second\u00A0line.¶Two words¶Loose text¶¶");
    const WordStatistics stats = computeWordStatistics(*doc);
    // The no-break space separates words in Word's count like a space.
    EXPECT_EQ(stats.words, 10);
    EXPECT_EQ(stats.characters, 51);
}

// Emphasis from elements, from the style sheet's element and class rules
// and from inline styles, in that order of precedence; hidden elements are
// left out with their text. A percentage is of the parent's size (the
// body's 12 pt), so .big makes 18 pt whatever the element rule said.
TEST(HtmlReader, FormattingFromElementsStyleSheetAndInlineStyles)
{
    const auto doc = readPage(R"(<html><head><style type="text/css"><!--
  /* the house style */
  p { font-family: "Courier New", monospace; font-size: 10pt }
  .big { font-size: 150% }
  p.note { font-family: Arial; font-weight: bold }
  div p.note, a:hover { font-style: italic }
  @page Section1 { size: 8.5in 11in }
--></style></head><body>
<p>Plain <b>bold</b> <i>it</i> <u>under</u></p>
<p class="note big">Note</p>
<p style="font: italic 9pt Georgia, serif">Small</p>
<p>Shown<span style="display:none">hidden</span><span style="mso-hide:all">too</span></p>
</body></html>)");
    EXPECT_EQ(describe(*doc, "b i u sz font"),
              "{'Courier New'|Plain }{b 'Courier New'|bold}{'Courier New'| }{i 'Courier New'|it}{'Courier New'| }"
              "{u 'Courier New'|under}¶{b sz36 'Arial'|Note}¶{i sz18 'Georgia'|Small}¶{'Courier New'|Shown}¶");
}

// Lists number their items, nested lists restart, and a table keeps its
// rows and cells; its cell text is counted like any other.
TEST(HtmlReader, ListsAndTables)
{
    const auto doc = readPage(R"(<html><body>
<ol start="3"><li>Three</li><li>Four<ul><li>Dot</li></ul></li></ol>
<table border="1"><caption>Fees</caption>
  <thead><tr><th>Item</th><th>Amount</th></tr></thead>
  <tbody><tr><td>Typing</td><td><p>12</p><p>pages</p></td></tr>
  <tr><td colspan="2">Total</td></tr></tbody>
</table>
<p>After</p></body></html>)");
    EXPECT_EQ(describe(*doc, "label rowend"),
              "Three¶[«3.\t»]Four¶[«4.\t»]Dot¶[«•\t»]Fees¶Item¤Amount¤¤[rowend]Typing¤12¶pages¤¤[rowend]"
              "Total¤¤[rowend]After¶");
}

// Word's own export: list labels spelled out for browsers behind
// downlevel conditionals and mso-list:Ignore, <o:p> placeholders, and XML
// in conditional comments. Word reads them back as a list paragraph and
// empty paragraphs, with no label or placeholder counted as text.
TEST(HtmlReader, WordsOwnExportReadsAsWordReadsIt)
{
    const auto doc = readPage(R"(<html xmlns:o="urn:schemas-microsoft-com:office:office">
<head><meta http-equiv=Content-Type content="text/html; charset=windows-1252">
<!--[if gte mso 9]><xml><w:WordDocument><w:View>Print</w:View></w:WordDocument></xml><![endif]-->
<style><!--
p.MsoNormal, li.MsoNormal {margin:0in; font-size:12.0pt; font-family:"Times New Roman",serif;}
p.MsoListParagraph {margin-left:.5in; font-size:11.0pt; font-family:"Calibri",sans-serif;}
@page WordSection1 {size:595.3pt 841.9pt; margin:72.0pt 90.0pt 72.0pt 90.0pt; mso-header-margin:35.4pt;}
--></style></head>
<body lang=EN-US><div class=WordSection1>
<p class=MsoNormal>Dictated <b>today</b><o:p></o:p></p>
<p class=MsoNormal><o:p>&nbsp;</o:p></p>
<p class=MsoListParagraph style='text-indent:-.25in;mso-list:l0 level1 lfo1'><![if !supportLists]><span
style='mso-list:Ignore'>1.<span style='font:7.0pt "Times New Roman"'>&nbsp;&nbsp;&nbsp;&nbsp; </span></span><![endif]>Caf)"
                              "\xE9"
                              R"(<o:p></o:p></p>
</div></body></html>)");
    EXPECT_EQ(describe(*doc, "b sz font label"),
              "{sz24 'Times New Roman'|Dictated }{b sz24 'Times New Roman'|today}¶¶{sz22 'Calibri'|Café}¶[«1.\t»]");
    // The page set up as the export's @page rule says: A4, 1.25-inch sides.
    EXPECT_EQ(test::describeSections(*doc), "§21 w11906 h16838 ml1800 mr1800 hd708");
}

// A page that names no encoding and is not UTF-8 is Windows-1252, read to
// its end: the parser's converter stopped at 0x81, which that page leaves
// undefined, and the rest of the page went uncounted.
TEST(HtmlReader, PageInWindows1252IsReadToItsEnd)
{
    const auto doc = readPage("<html><body><p>Caf\xE9 \x93quoted\x94 \x81 end</p></body></html>");
    EXPECT_EQ(describe(*doc, ""), "Caf\u00E9 \u201Cquoted\u201D \u0081 end¶");
}

// The same text saved as .docx and as a page gives Word the same counts.
TEST(HtmlReader, CountsAgreeWithTheSameTextAsDocx)
{
    const auto page = readPage("<html><body><p>The quick brown fox, 3.5 kg.</p><p>Jumps&nbsp;over</p>"
                               "<table><tr><td>cell one</td><td>two</td></tr></table></body></html>");
    test::DocxPackage package;
    package.body = "<w:p><w:r><w:t>The quick brown fox, 3.5 kg.</w:t></w:r></w:p>"
                   "<w:p><w:r><w:t>Jumps\u00A0over</w:t></w:r></w:p>"
                   "<w:tbl><w:tr><w:tc><w:p><w:r><w:t>cell one</w:t></w:r></w:p></w:tc>"
                   "<w:tc><w:p><w:r><w:t>two</w:t></w:r></w:p></w:tc></w:tr></w:tbl><w:p/>";
    const ReadResult docx = readDocx(package.build(), {});
    ASSERT_TRUE(docx.ok()) << docx.error;
    const WordStatistics a = computeWordStatistics(*page), b = computeWordStatistics(*docx.document);
    EXPECT_EQ(a.words, b.words);
    EXPECT_EQ(a.characters, b.characters);
    EXPECT_EQ(a.charactersWithSpaces, b.charactersWithSpaces);
    EXPECT_EQ(a.words, 11); // 6 + 2 + 3
}

} // namespace
} // namespace qm::engine
