// RTF structure: sections with their headers and footers, tables and nesting, notes, shapes.
#include "RtfTestSupport.h"

using namespace qm::engine;
using namespace qm::engine::test;

// Would catch page setup taken from the wrong section (RTF writes a
// section's properties before its text), \sectd not returning to the
// document's defaults, and headers assigned to the wrong index.
TEST(RtfStructure, SectionsCarryPageSetupAndTheirOwnHeaders)
{
    auto doc = readRtfText(wrapBody(
        R"(\paperw11906\paperh16838\margl1000\facingp )"
        R"(\sectd\pgwsxn12240\titlepg\headery500{\header H1}{\headerf F1}{\headerl E1}{\footer Foot1}one\sect )"
        R"(\sectd\sbknone\marglsxn2000\sectlinegrid312\sectspecifycl two\sect )"
        R"(\sectd\cols2\sectlinegrid360\sectdefaultcl{\footerr Foot3}three)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, ""), "one§two§three¶");
    EXPECT_EQ(describeSections(*doc), "§4 h16838 ml1000 hd500 title H:H1¶ H1:F1¶ H2:E1¶ F:Foot1¶ | "
                                      "§8 w11906 h16838 ml2000 gridlines312 continuous H^:H1¶ H1^:F1¶ H2^:E1¶ F^:Foot1¶ | "
                                      "§14 w11906 h16838 ml1000 cols2 H^:H1¶ H1^:F1¶ H2^:E1¶ F:Foot3¶");
    EXPECT_TRUE(doc->settings.evenAndOddHeaders);
}

// Would catch cells not ended, a row end missing, a paragraph inside a cell
// ending the cell, text after the table kept in it, and widths taken as
// absolute positions.
TEST(RtfStructure, TableRowsAndCells)
{
    auto doc = readRtfText(wrapBody(
        R"(\trowd\trgaph108\trleft0\cellx2000\cellx5000\pard\intbl a\cell b\par c\cell\row )"
        R"(\trowd\trrh-400\clvertalc\cellx2000\clvmgf\clvertalb\cellx5000\pard\intbl d\cell e\cell\row\pard after\par)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "depth row"),
              "a¤b¶c¤¤[row cells2000,3000]d¤e¤¤[row cells2000mid,3000^bot hexact400]after¶");
    EXPECT_EQ(doc->paraFormatOf(doc->mainStory(), doc->mainStory().size() - 1).tableDepth, 0);
}

// A row keeps its widths unless \trautofit1 fits it to its contents; each
// \trowd starts again from kept widths.
TEST(RtfStructure, RowsFitTheirContentsOnlyWhenAsked)
{
    auto doc = readRtfText(wrapBody(R"(\trowd\cellx2000\pard\intbl a\cell\row )"
                                    R"(\trowd\trautofit1\cellx2000\pard\intbl b\cell\row )"
                                    R"(\trowd\cellx2000\pard\intbl c\cell\row\pard after\par)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    std::vector<bool> fixed;
    for (uint32_t p = 0; p < s.size(); ++p)
        if (const ParaFormat& pf = doc->paraFormatOf(s, p); s.text[p] == Ch::CellEnd && pf.rowEnd)
            fixed.push_back(doc->rowFormats[static_cast<size_t>(pf.rowFormat)].fixedLayout);
    EXPECT_EQ(fixed, (std::vector<bool>{true, false, true}));
}

// Spacing between cells: the row keeps the larger of \trspdt and \trspdb,
// and each \trowd starts again without it; \clhidemark marks the cell
// defined next.
TEST(RtfStructure, RowsKeepTheirCellSpacingAndHiddenMarks)
{
    auto doc = readRtfText(wrapBody(R"(\trowd\trspdl15\trspdt15\trspdb30\trspdfl3\clhidemark\cellx2000\cellx4000\pard\intbl a\cell\cell\row )"
                                    R"(\trowd\cellx2000\pard\intbl b\cell\row\pard after\par)"));
    ASSERT_TRUE(doc);
    ASSERT_EQ(doc->rowFormats.size(), 2u);
    EXPECT_EQ(doc->rowFormats[0].cellSpacing, 30);
    ASSERT_EQ(doc->rowFormats[0].cells.size(), 2u);
    EXPECT_TRUE(doc->rowFormats[0].cells[0].hideMark);
    EXPECT_FALSE(doc->rowFormats[0].cells[1].hideMark);
    EXPECT_EQ(doc->rowFormats[1].cellSpacing, 0);
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
    EXPECT_EQ(describe(*doc, "depth row"),
              "outer¶in1¤[d2]in2¤[d2]¤[d2 row cells1000,1500]¤x¤¤[row cells3000,3000]end¶");
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
    EXPECT_EQ(describe(*doc, "note pos"), "Main{sup note0|²}text{sup note1|²}¶");
    EXPECT_EQ(describeNotes(*doc), "foot:² Note one.¶ | end:² End.¶ | comment:Comment.¶");
}

// A text box's text is its own story, anchored where the shape stands; the
// fallback rendering for old readers (\shprslt) is not read a second time.
TEST(RtfStructure, ShapeTextBoxBecomesAStory)
{
    auto doc = readRtfText(wrapBody(
        R"(a{\shp{\*\shpinst\shpleft100\shptop0\shpright2100\shpbottom1000{\sp{\sn fillColor}{\sv 255}})"
        R"({\shptxt\pard\plain boxed\par}}{\shprslt fallback}}b{\shp{\*\shpinst\shpright50\shpbottom50}}c)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "obj"), "a{obj0|⚓}b{obj1|⚓}c¶");
    EXPECT_EQ(describeObjects(*doc), "textbox float 2000x1000:boxed¶ | shape float 50x50");
}

// Border words describe the side named last: a paragraph's (\box names all
// four), a row's, or the cell being defined; widths and spacing are twips.
TEST(RtfStructure, BordersOfParagraphsRowsAndCells)
{
    auto doc = readRtfText(
        wrapBody(R"(\pard\brdrt\brdrs\brdrw15\brsp40\brdrb\brdrdb\brdrw10\brdrcf1 boxed\par )"
                 R"(\pard\box\brdrdot\brdrw5 all\par )"
                 R"(\trowd\trbrdrh\brdrs\brdrw10\clbrdrt\brdrth\brdrw30\clbrdrb\brdrnone\cellx2000\cellx4000 )"
                 R"(\pard\intbl a\cell b\cell\row\pard after\par)"));
    ASSERT_TRUE(doc);
    const Story& s = doc->mainStory();
    auto paraAt = [&](char16_t c) {
        return doc->paraFormatOf(s, doc->paragraphEnd(0, static_cast<uint32_t>(s.text.find(c))));
    };
    const ParaFormat& boxed = paraAt(u'x');
    EXPECT_EQ(boxed.borders.top, (BorderLine{BorderStyle::Single, 6, 2, AutoColor}));
    EXPECT_EQ(boxed.borders.bottom.style, BorderStyle::Double);
    EXPECT_EQ(boxed.borders.bottom.widthEighths, 4);
    EXPECT_FALSE(boxed.borders.left.present());
    const ParaFormat& all = paraAt(u'l');
    for (const BorderLine* b : {&all.borders.top, &all.borders.left, &all.borders.bottom, &all.borders.right})
        EXPECT_EQ(*b, (BorderLine{BorderStyle::Dotted, 2, 0, AutoColor}));
    EXPECT_FALSE(paraAt(u'f').borders.any());
    ASSERT_EQ(doc->rowFormats.size(), 1u);
    const TableRowFormat& row = doc->rowFormats[0];
    EXPECT_EQ(row.tableBorders.insideH, (BorderLine{BorderStyle::Single, 4, 0, AutoColor}));
    ASSERT_EQ(row.cells.size(), 2u);
    EXPECT_EQ(row.cells[0].borders.top, (BorderLine{BorderStyle::Thick, 12, 0, AutoColor}));
    EXPECT_EQ(row.cells[0].borders.bottom, BorderLine{});
    EXPECT_FALSE(row.cells[1].borders.top.has_value());
}
