// RTF structure: sections with their headers and footers, tables and nesting, notes, shapes.
#include "RtfTestSupport.h"

#include <tuple>

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
    const SectionFormat& f1 = first.format;
    EXPECT_EQ(std::tuple(first.end, f1.pageWidth, f1.pageHeight, f1.marginLeft, f1.headerDistance, f1.titlePage),
              std::tuple(4u, 12240, 16838, 1000, 500, true));
    EXPECT_EQ(std::tuple(storyText(*doc, first.headers[0]), storyText(*doc, first.headers[1]),
                         storyText(*doc, first.headers[2]), storyText(*doc, first.footers[0])),
              std::tuple(u"H1\r", u"F1\r", u"E1\r", u"Foot1\r"));
    EXPECT_EQ(std::tuple(doc->stories[first.headers[1]].type, doc->stories[first.headers[2]].type),
              std::tuple(StoryType::FirstPageHeader, StoryType::EvenPagesHeader));
    EXPECT_TRUE(doc->settings.evenAndOddHeaders);

    const Section& second = doc->sections[1];
    const SectionFormat& f2 = second.format;
    EXPECT_EQ(std::tuple(f2.start, f2.pageWidth, f2.marginLeft, f2.titlePage, second.headers[0]),
              std::tuple(SectionStart::Continuous, 11906, 2000, false, -1));
    EXPECT_EQ(doc->headerStory(1, HeaderFooterIndex::Primary), first.headers[0]);

    const Section& third = doc->sections[2];
    EXPECT_EQ(std::tuple(third.format.start, third.format.columns, third.end),
              std::tuple(SectionStart::NewPage, 2, doc->mainStory().size()));
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
    EXPECT_EQ(std::tuple(f1.cells[0].width, f1.cells[1].width, f1.cellMarginLeft), std::tuple(2000, 3000, 108));
    const TableRowFormat& f2 = doc->rowFormats[tables[0].rows[1].rowFormat];
    ASSERT_EQ(f2.cells.size(), 2u);
    EXPECT_EQ(std::tuple(f2.heightRule, f2.height, f2.cells[1].verticalMerge),
              std::tuple(RowHeightRule::Exact, 400, VerticalMerge::Restart));
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
    ASSERT_TRUE(outer.size() == 1 && outer[0].rows.size() == 1 && outer[0].rows[0].cells.size() == 2);
    const TableCell& cell = outer[0].rows[0].cells[0];
    auto inner = findTables(*doc, 0, cell.start, cell.end, 2);
    ASSERT_TRUE(inner.size() == 1 && inner[0].rows.size() == 1);
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
    EXPECT_EQ(std::tuple(doc->charFormatAt(s, 4).noteIndex, doc->charFormatAt(s, 4).verticalPosition,
                         doc->charFormatAt(s, 9).noteIndex),
              std::tuple(0, VerticalPosition::Superscript, 1));
    ASSERT_EQ(doc->notes.size(), 3u);
    struct Expected {
        NoteKind kind;
        StoryType story;
        std::u16string text;
    } expected[] = {{NoteKind::Footnote, StoryType::Footnotes, u"\u0002 Note one.\r"},
                    {NoteKind::Endnote, StoryType::Endnotes, u"\u0002 End.\r"},
                    {NoteKind::Comment, StoryType::Comments, u"Comment.\r"}};
    for (size_t i = 0; i < 3; ++i) {
        const Note& n = doc->notes[i];
        EXPECT_EQ(std::tuple(n.kind, doc->stories[n.story].type, slice(doc->stories[n.story], n.start, n.end)),
                  std::tuple(expected[i].kind, expected[i].story, expected[i].text)) << i;
    }
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
    EXPECT_EQ(std::tuple(box.kind, box.floating, box.width, box.height), std::tuple(ObjectKind::TextBox, true, 2000, 1000));
    ASSERT_GE(box.story, 0);
    EXPECT_EQ(std::tuple(doc->stories[box.story].type, doc->stories[box.story].text),
              std::tuple(StoryType::TextFrame, std::u16string(u"boxed\r")));
    EXPECT_EQ(doc->objects[doc->charFormatAt(s, 3).objectIndex].kind, ObjectKind::Shape);
}
