// A style sheet's formats asked for run after run and paragraph after paragraph: each answer is
// the one its own inputs give, whatever was asked just before (the last answer is kept and given
// again only for the very same inputs).
#include "engine/formats/docx/DocxStyles.h"
#include "engine/formats/docx/XmlPart.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::docx;

namespace {

const char* const Sheet = R"(<w:styles xmlns:w="w">
  <w:docDefaults><w:rPrDefault><w:rPr><w:sz w:val="22"/></w:rPr></w:rPrDefault>
    <w:pPrDefault><w:pPr><w:spacing w:after="160"/></w:pPr></w:pPrDefault></w:docDefaults>
  <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
  <w:style w:type="paragraph" w:styleId="Heading"><w:name w:val="heading 1"/><w:basedOn w:val="Normal"/>
    <w:pPr><w:spacing w:before="240" w:after="0"/><w:jc w:val="center"/></w:pPr>
    <w:rPr><w:b/><w:sz w:val="32"/></w:rPr></w:style>
  <w:style w:type="character" w:styleId="Emph"><w:name w:val="Emphasis"/><w:rPr><w:i/><w:b/></w:rPr></w:style>
  <w:style w:type="table" w:styleId="Grid"><w:name w:val="Table Grid"/>
    <w:pPr><w:spacing w:after="0"/></w:pPr><w:rPr><w:sz w:val="18"/></w:rPr>
    <w:tblStylePr w:type="firstRow"><w:rPr><w:b/></w:rPr></w:tblStylePr></w:style>
</w:styles>)";

Styles loaded(pugi::xml_document& doc)
{
    EXPECT_EQ(xml::parse(Sheet, doc, 64), "");
    Styles styles;
    styles.load(doc.document_element(), ThemeFonts{});
    return styles;
}

} // namespace

TEST(DocxStyles, EachRunFormatIsItsOwnInputsWhateverCameBefore)
{
    RunProps plain, red, big;
    red.color = 0xFF0000;
    big.size = 40;
    const TableStyleRef grid{"Grid", 0}, gridHeader{"Grid", TableCondition::FirstRow};
    struct Ask {
        const char* what;
        std::string para, chars;
        RunProps direct;
        TableStyleRef table;
        bool bold, italic;
        uint16_t size;
    } const asks[] = {
        // Each ask differs from the one before in one input only.
        {"normal", "Normal", "", plain, {}, false, false, 22},
        {"normal again", "Normal", "", plain, {}, false, false, 22},
        {"normal in the grid", "Normal", "", plain, grid, false, false, 18},
        {"normal in the grid's header row", "Normal", "", plain, gridHeader, true, false, 18},
        {"normal in the grid", "Normal", "", plain, grid, false, false, 18},
        {"normal", "Normal", "", plain, {}, false, false, 22},
        {"heading", "Heading", "", plain, {}, true, false, 32},
        {"heading, emphasis (bold flips back)", "Heading", "Emph", plain, {}, false, true, 32},
        {"heading, emphasis, red", "Heading", "Emph", red, {}, false, true, 32},
        {"heading, emphasis, large", "Heading", "Emph", big, {}, false, true, 40},
    };
    pugi::xml_document doc;
    const Styles styles = loaded(doc);
    for (const Ask& a : asks) {
        SCOPED_TRACE(a.what);
        const CharFormat f = styles.runFormat(a.para, a.chars, a.direct, a.table);
        EXPECT_EQ(std::tuple(f.bold, f.italic, f.sizeHalfPoints), std::tuple(a.bold, a.italic, a.size));
        // A sheet asked nothing before gives the same, field for field.
        pugi::xml_document other;
        EXPECT_EQ(f, loaded(other).runFormat(a.para, a.chars, a.direct, a.table));
    }
}

TEST(DocxStyles, EachParagraphFormatIsItsOwnInputsWhateverCameBefore)
{
    ParaProps none, indented, numbered;
    indented.leftIndent = 720;
    numbered.numId = 3;
    numbered.level = 0;
    numbered.leftIndent = 360;
    const TableStyleRef grid{"Grid", 0};
    struct Ask {
        const char* what;
        std::string para;
        ParaProps numbering, direct;
        TableStyleRef table;
        Twips before, after, left;
        Alignment alignment;
    } const asks[] = {
        // Each ask differs from the one before in one input only.
        {"normal", "Normal", none, none, {}, 0, 160, 0, Alignment::Left},
        {"normal again", "Normal", none, none, {}, 0, 160, 0, Alignment::Left},
        {"normal in the grid (its style's space after over the defaults')", "Normal", none, none, grid, 0, 0, 0,
         Alignment::Left},
        {"normal", "Normal", none, none, {}, 0, 160, 0, Alignment::Left},
        {"heading", "Heading", none, none, {}, 240, 0, 0, Alignment::Center},
        {"heading, numbered", "Heading", numbered, none, {}, 240, 0, 360, Alignment::Center},
        {"heading, numbered and indented", "Heading", numbered, indented, {}, 240, 0, 720, Alignment::Center},
        {"heading, indented", "Heading", none, indented, {}, 240, 0, 720, Alignment::Center},
    };
    pugi::xml_document doc;
    const Styles styles = loaded(doc);
    for (const Ask& a : asks) {
        SCOPED_TRACE(a.what);
        const ParaFormat f = styles.paraFormat(a.para, a.numbering, a.direct, a.table);
        EXPECT_EQ(std::tuple(f.spaceBefore, f.spaceAfter, f.leftIndent, f.alignment),
                  std::tuple(a.before, a.after, a.left, a.alignment));
        pugi::xml_document other;
        EXPECT_EQ(f, loaded(other).paraFormat(a.para, a.numbering, a.direct, a.table));
    }
}
