// RTF structure: sections with their headers and footers, tables and nesting, notes, shapes.
#include "RtfTestSupport.h"

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

std::u16string storyText(const Document& doc, int32_t story)
{
    return story >= 0 && static_cast<size_t>(story) < doc.stories.size() ? doc.stories[story].text : u"<none>";
}

std::u16string slice(const Story& s, uint32_t from, uint32_t to) { return s.text.substr(from, to - from); }

} // namespace

// Would catch page setup taken from the wrong section (RTF writes a
// section's properties before its text), \sectd not returning to the
// document's defaults, and headers assigned to the wrong index.
TEST(RtfStructure, SectionsCarryPageSetupAndTheirOwnHeaders)
{
    auto doc = readRtfText(wrapBody(
        R"(\paperw11906\paperh16838\margl1000\facingp )"
        R"(\sectd\pgwsxn12240\titlepg\headery500{\header H1}{\headerf F1}{\headerl E1}{\footer Foot1}one\sect )"
        R"(\sectd\sbknone\marglsxn2000 two\sect )"
        R"(\sectd\cols2{\footerr Foot3}three)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->mainStory().text, u"one\ftwo\fthree\r");
    ASSERT_EQ(doc->sections.size(), 3u);
    const Section& first = doc->sections[0];
    EXPECT_EQ(first.end, 4u);
    EXPECT_EQ(first.format.pageWidth, 12240);
    EXPECT_EQ(first.format.pageHeight, 16838);
    EXPECT_EQ(first.format.marginLeft, 1000);
    EXPECT_EQ(first.format.headerDistance, 500);
    EXPECT_TRUE(first.format.titlePage);
    EXPECT_EQ(storyText(*doc, first.headers[0]), u"H1\r");
    EXPECT_EQ(storyText(*doc, first.headers[1]), u"F1\r");
    EXPECT_EQ(storyText(*doc, first.headers[2]), u"E1\r");
    EXPECT_EQ(doc->stories[first.headers[1]].type, StoryType::FirstPageHeader);
    EXPECT_EQ(doc->stories[first.headers[2]].type, StoryType::EvenPagesHeader);
    EXPECT_EQ(storyText(*doc, first.footers[0]), u"Foot1\r");
    EXPECT_TRUE(doc->settings.evenAndOddHeaders);

    const Section& second = doc->sections[1];
    EXPECT_EQ(second.format.start, SectionStart::Continuous);
    EXPECT_EQ(second.format.pageWidth, 11906);
    EXPECT_EQ(second.format.marginLeft, 2000);
    EXPECT_FALSE(second.format.titlePage);
    EXPECT_EQ(second.headers[0], -1);
    EXPECT_EQ(doc->headerStory(1, HeaderFooterIndex::Primary), first.headers[0]);

    const Section& third = doc->sections[2];
    EXPECT_EQ(third.format.start, SectionStart::NewPage);
    EXPECT_EQ(third.format.columns, 2);
    EXPECT_EQ(third.end, doc->mainStory().size());
    EXPECT_EQ(storyText(*doc, third.footers[0]), u"Foot3\r");
    EXPECT_EQ(doc->footerStory(1, HeaderFooterIndex::Primary), first.footers[0]);
}

// Would catch cells not ended, a row end missing, a paragraph inside a cell
// ending the cell, text after the table kept in it, and widths taken as
// absolute positions.
TEST(RtfStructure, TableRowsAndCells)
{
    auto doc = readRtfText(wrapBody(
        R"(\trowd\trgaph108\trleft0\cellx2000\cellx5000\pard\intbl a\cell b\par c\cell\row )"
        R"(\trowd\trrh-400\cellx2000\clvmgf\cellx5000\pard\intbl d\cell e\cell\row\pard after\par)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text, u"a\u0007b\rc\u0007\u0007d\u0007e\u0007\u0007after\r");
    auto tables = findTables(*doc, 0, 0, s.size());
    ASSERT_EQ(tables.size(), 1u);
    ASSERT_EQ(tables[0].rows.size(), 2u);
    const TableRow& first = tables[0].rows[0];
    ASSERT_EQ(first.cells.size(), 2u);
    EXPECT_EQ(slice(s, first.cells[1].start, first.cells[1].end), u"b\rc");
    ASSERT_GE(first.rowFormat, 0);
    const TableRowFormat& f1 = doc->rowFormats[first.rowFormat];
    ASSERT_EQ(f1.cells.size(), 2u);
    EXPECT_EQ(f1.cells[0].width, 2000);
    EXPECT_EQ(f1.cells[1].width, 3000);
    EXPECT_EQ(f1.cellMarginLeft, 108);
    const TableRowFormat& f2 = doc->rowFormats[tables[0].rows[1].rowFormat];
    EXPECT_EQ(f2.heightRule, RowHeightRule::Exact);
    EXPECT_EQ(f2.height, 400);
    EXPECT_EQ(f2.cells[1].verticalMerge, VerticalMerge::Restart);
    EXPECT_EQ(doc->paraFormatOf(s, s.size() - 1).tableDepth, 0);
}

// Word's layout of a table in a cell: nested cells end in \nestcell, the
// nested row's definition and end stand in \nesttableprops, and a plain-text
// copy for old readers in \nonesttables must not be read.
TEST(RtfStructure, NestedTableInsideACell)
{
    auto doc = readRtfText(wrapBody(
        R"(\trowd\cellx3000\cellx6000 )"
        R"(\pard\intbl\itap1 outer\par )"
        R"(\pard\intbl\itap2 in1\nestcell in2\nestcell{\*\nesttableprops\trowd\cellx1000\cellx2500\nestrow})"
        R"({\nonesttables in1 in2\par})"
        R"(\pard\intbl\itap1 \cell x\cell{\trowd\cellx3000\cellx6000\row}\pard end\par)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text, u"outer\rin1\u0007in2\u0007\u0007\u0007x\u0007\u0007end\r");
    auto outer = findTables(*doc, 0, 0, s.size());
    ASSERT_EQ(outer.size(), 1u);
    ASSERT_EQ(outer[0].rows.size(), 1u);
    ASSERT_EQ(outer[0].rows[0].cells.size(), 2u);
    const TableCell& cell = outer[0].rows[0].cells[0];
    auto inner = findTables(*doc, 0, cell.start, cell.end, 2);
    ASSERT_EQ(inner.size(), 1u);
    ASSERT_EQ(inner[0].rows.size(), 1u);
    EXPECT_EQ(inner[0].rows[0].cells.size(), 2u);
    const TableRowFormat& innerFormat = doc->rowFormats[inner[0].rows[0].rowFormat];
    ASSERT_EQ(innerFormat.cells.size(), 2u);
    EXPECT_EQ(innerFormat.cells[1].width, 1500);
    EXPECT_EQ(doc->rowFormats[outer[0].rows[0].rowFormat].cells[0].width, 3000);
}

// Would catch the reference mark missing or doubled, endnotes filed as
// footnotes, comment text leaking into the main story, and note ranges off
// by the reference character.
TEST(RtfStructure, NotesAreStoriesWithReferences)
{
    auto doc = readRtfText(wrapBody(
        R"(Main{\super\chftn}{\footnote\pard\plain{\super\chftn} Note one.}text)"
        R"({\super\chftn}{\footnote\ftnalt\pard\plain{\super\chftn} End.})"
        R"({\*\atnid AB}{\*\atnauthor Ann}\chatn{\*\annotation\pard\plain Comment.}\par)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text, u"Main\u0002text\u0002\r");
    EXPECT_EQ(doc->charFormatAt(s, 4).noteIndex, 0);
    EXPECT_EQ(doc->charFormatAt(s, 4).verticalPosition, VerticalPosition::Superscript);
    EXPECT_EQ(doc->charFormatAt(s, 9).noteIndex, 1);
    ASSERT_EQ(doc->notes.size(), 3u);
    const Note& foot = doc->notes[0];
    EXPECT_EQ(foot.kind, NoteKind::Footnote);
    EXPECT_EQ(doc->stories[foot.story].type, StoryType::Footnotes);
    EXPECT_EQ(slice(doc->stories[foot.story], foot.start, foot.end), u"\u0002 Note one.\r");
    const Note& end = doc->notes[1];
    EXPECT_EQ(end.kind, NoteKind::Endnote);
    EXPECT_EQ(doc->stories[end.story].type, StoryType::Endnotes);
    EXPECT_EQ(slice(doc->stories[end.story], end.start, end.end), u"\u0002 End.\r");
    const Note& comment = doc->notes[2];
    EXPECT_EQ(comment.kind, NoteKind::Comment);
    EXPECT_EQ(slice(doc->stories[comment.story], comment.start, comment.end), u"Comment.\r");
}

// A text box's text is its own story, anchored where the shape stands; the
// fallback rendering for old readers (\shprslt) is not read a second time.
TEST(RtfStructure, ShapeTextBoxBecomesAStory)
{
    auto doc = readRtfText(wrapBody(
        R"(a{\shp{\*\shpinst\shpleft100\shptop0\shpright2100\shpbottom1000{\sp{\sn fillColor}{\sv 255}})"
        R"({\shptxt\pard\plain boxed\par}}{\shprslt fallback}}b{\shp{\*\shpinst\shpright50\shpbottom50}}c)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text, u"a\u0008b\u0008c\r");
    ASSERT_EQ(doc->objects.size(), 2u);
    const InlineObject& box = doc->objects[doc->charFormatAt(s, 1).objectIndex];
    EXPECT_EQ(box.kind, ObjectKind::TextBox);
    EXPECT_TRUE(box.floating);
    EXPECT_EQ(box.width, 2000);
    EXPECT_EQ(box.height, 1000);
    ASSERT_GE(box.story, 0);
    EXPECT_EQ(doc->stories[box.story].type, StoryType::TextFrame);
    EXPECT_EQ(doc->stories[box.story].text, u"boxed\r");
    EXPECT_EQ(doc->objects[doc->charFormatAt(s, 3).objectIndex].kind, ObjectKind::Shape);
}
