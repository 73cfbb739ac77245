// The Word package reader: text, fields, revisions, styles, sections, tables, notes and hostile packages.
#include "DocxTestPackage.h"
#include "engine/formats/Reader.h"
#include "engine/formats/docx/XmlPart.h"

#include <algorithm>
#include <map>
#include <gtest/gtest.h>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

ReadResult read(const DocxPackage& pkg, const ReadOptions& options = {}) { return readDocx(pkg.build(), options); }

/// The main story as describe() shows it, or the error.
std::string describeMain(const DocxPackage& pkg, std::string_view show = "")
{
    ReadResult r = read(pkg);
    return r.ok() ? describe(*r.document, show) : "error: " + r.error;
}

/// Gives the package a theme part, related from the document.
void addTheme(DocxPackage& pkg, std::string theme)
{
    pkg.extraRels =
        R"(<Relationship Id="rIdTheme" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/theme" Target="theme/theme1.xml"/>)";
    pkg.extra.push_back({"word/theme/theme1.xml", std::move(theme)});
}

} // namespace

TEST(DocxReader, InlineContentBecomesWordsCharacters)
{
    // Each row is one paragraph's XML and the story Word holds for it.
    struct Case {
        const char* name;
        const char* xml;
        const char* expected;
    };
    const Case cases[] = {
        {"runs join", "<w:r><w:t>Hel</w:t></w:r><w:r><w:t>lo</w:t></w:r>", "Hello¶"},
        {"tabs and breaks",
         R"(<w:r><w:t>a</w:t><w:tab/><w:t>b</w:t><w:br/><w:t>c</w:t><w:br w:type="page"/><w:t>d</w:t><w:br w:type="column"/><w:cr/></w:r>)",
         "a→b↵c§d‡↵¶"},
        {"hyphens and symbols",
         R"(<w:r><w:t>e</w:t><w:noBreakHyphen/><w:t>mail</w:t><w:softHyphen/><w:sym w:font="Wingdings" w:char="F0E0"/></w:r>)",
         "e‑mail¬\uF0E0¶"},
        {"unpreserved whitespace is trimmed", "<w:r><w:t>  padded  </w:t></w:r>", "padded¶"},
        {"preserved whitespace stays", R"(<w:r><w:t xml:space="preserve"> two  </w:t></w:r>)", " two  ¶"},
        {"hyperlink, smart tag and content control",
         R"(<w:hyperlink r:id="x"><w:r><w:t>link</w:t></w:r></w:hyperlink><w:smartTag><w:r><w:t>tag</w:t></w:r></w:smartTag>)"
         R"(<w:sdt><w:sdtPr/><w:sdtContent><w:r><w:t>ctl</w:t></w:r></w:sdtContent></w:sdt>)",
         "linktagctl¶"},
        {"simple field keeps its result", R"(<w:fldSimple w:instr="PAGE"><w:r><w:t>7</w:t></w:r></w:fldSimple>)", "7¶"},
        {"complex field drops its instruction",
         R"(<w:r><w:fldChar w:fldCharType="begin"/></w:r><w:r><w:instrText>DATE</w:instrText><w:t>x</w:t></w:r>)"
         R"(<w:r><w:fldChar w:fldCharType="separate"/></w:r><w:r><w:t>today</w:t></w:r><w:r><w:fldChar w:fldCharType="end"/></w:r><w:r><w:t>!</w:t></w:r>)",
         "today!¶"},
        {"field nested in an instruction stays hidden",
         R"(<w:r><w:fldChar w:fldCharType="begin"/><w:instrText>IF </w:instrText><w:fldChar w:fldCharType="begin"/>)"
         R"(<w:instrText>PAGE</w:instrText><w:fldChar w:fldCharType="separate"/><w:t>1</w:t><w:fldChar w:fldCharType="end"/>)"
         R"(<w:instrText> = 1 "one"</w:instrText><w:fldChar w:fldCharType="separate"/><w:t>one</w:t><w:fldChar w:fldCharType="end"/></w:r>)",
         "one¶"},
        {"field without a result shows nothing",
         R"(<w:r><w:t>a</w:t><w:fldChar w:fldCharType="begin"/><w:instrText>TC x</w:instrText><w:fldChar w:fldCharType="end"/><w:t>b</w:t></w:r>)",
         "ab¶"},
        // A button field shows its label, split over runs as Word writes it;
        // one inside another field's instruction stays hidden.
        {"macro button shows its display text",
         R"(<w:r><w:t xml:space="preserve">a </w:t><w:fldChar w:fldCharType="begin"/><w:instrText xml:space="preserve"> MACROBUTTON  NoMacro [Click </w:instrText></w:r>)"
         R"(<w:r><w:instrText>here]</w:instrText><w:instrText xml:space="preserve"> </w:instrText><w:fldChar w:fldCharType="end"/><w:t xml:space="preserve"> b</w:t></w:r>)",
         "a [Click here] b¶"},
        {"goto button shows its display text",
         R"(<w:r><w:fldChar w:fldCharType="begin"/><w:instrText>GOTOBUTTON Intro Go to intro</w:instrText><w:fldChar w:fldCharType="end"/></w:r>)",
         "Go to intro¶"},
        {"button with a result shows the result",
         R"(<w:r><w:fldChar w:fldCharType="begin"/><w:instrText>MACROBUTTON M label</w:instrText><w:fldChar w:fldCharType="separate"/><w:t>res</w:t><w:fldChar w:fldCharType="end"/></w:r>)",
         "res¶"},
        {"button inside an instruction stays hidden",
         R"(<w:r><w:fldChar w:fldCharType="begin"/><w:instrText>IF 1 = 1 </w:instrText><w:fldChar w:fldCharType="begin"/><w:instrText>MACROBUTTON M label</w:instrText>)"
         R"(<w:fldChar w:fldCharType="end"/><w:fldChar w:fldCharType="separate"/><w:t>yes</w:t><w:fldChar w:fldCharType="end"/></w:r>)",
         "yes¶"},
        {"tracked changes read as the final text",
         R"(<w:r><w:t xml:space="preserve">keep </w:t></w:r><w:ins><w:r><w:t xml:space="preserve">new </w:t></w:r></w:ins><w:del><w:r><w:delText>old </w:delText></w:r></w:del>)"
         R"(<w:moveFrom><w:r><w:t>moved</w:t></w:r></w:moveFrom><w:moveTo><w:r><w:t>moved</w:t></w:r></w:moveTo>)",
         "keep new moved¶"},
        {"alternate content counts once",
         R"(<w:r><mc:AlternateContent><mc:Choice Requires="wps"><w:t>choice</w:t></mc:Choice><mc:Fallback><w:t>fallback</w:t></mc:Fallback></mc:AlternateContent></w:r>)",
         "choice¶"},
        {"fallback when there is no choice",
         R"(<mc:AlternateContent><mc:Fallback><w:r><w:t>fallback</w:t></w:r></mc:Fallback></mc:AlternateContent>)",
         "fallback¶"},
        // Without honouring a deleted mark the final text would keep two
        // paragraphs where Word shows one; the last paragraph's mark stays.
        {"deleted paragraph mark joins paragraphs",
         R"(<w:pPr><w:rPr><w:del w:id="1" w:author="a"/></w:rPr></w:pPr><w:r><w:t xml:space="preserve">one </w:t></w:r></w:p>)"
         R"(<w:p><w:r><w:t>two</w:t></w:r></w:p><w:p><w:pPr><w:rPr><w:del w:id="2" w:author="a"/></w:rPr></w:pPr><w:r><w:t>last</w:t></w:r>)",
         "one two¶last¶"},
        {"equation text",
         R"(<m:oMath><m:f><m:num><m:r><m:t>a</m:t></m:r></m:num><m:den><m:r><m:t>b</m:t></m:r></m:den></m:f></m:oMath>)",
         "ab¶"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DocxPackage pkg;
        pkg.body = std::string("<w:p>") + c.xml + "</w:p>";
        EXPECT_EQ(describeMain(pkg), c.expected);
    }
}

TEST(DocxReader, StylesFollowWordsInheritanceAndToggles)
{
    DocxPackage pkg;
    pkg.styles = R"(
      <w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:ascii="Calibri"/><w:sz w:val="22"/></w:rPr></w:rPrDefault></w:docDefaults>
      <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="paragraph" w:styleId="Heading1"><w:name w:val="heading 1"/><w:basedOn w:val="Normal"/>
        <w:pPr><w:spacing w:before="240" w:after="0"/><w:keepNext/><w:snapToGrid w:val="0"/></w:pPr><w:rPr><w:b/><w:sz w:val="32"/></w:rPr></w:style>
      <w:style w:type="paragraph" w:styleId="Sub"><w:basedOn w:val="Heading1"/><w:rPr><w:i/></w:rPr></w:style>
      <w:style w:type="paragraph" w:styleId="Loop1"><w:basedOn w:val="Loop2"/></w:style>
      <w:style w:type="paragraph" w:styleId="Loop2"><w:basedOn w:val="Loop1"/><w:rPr><w:caps/></w:rPr></w:style>
      <w:style w:type="character" w:styleId="Strong"><w:rPr><w:b/></w:rPr></w:style>
      <w:style w:type="character" w:styleId="Quiet"><w:rPr><w:vanish/><w:vertAlign w:val="superscript"/></w:rPr></w:style>)";
    pkg.body =
        R"(<w:p><w:pPr><w:pStyle w:val="Heading1"/></w:pPr><w:r><w:t>a</w:t></w:r>)"
        R"(<w:r><w:rPr><w:rStyle w:val="Strong"/></w:rPr><w:t>b</w:t></w:r>)"
        R"(<w:r><w:rPr><w:rStyle w:val="Strong"/><w:b/></w:rPr><w:t>c</w:t></w:r>)"
        R"(<w:r><w:rPr><w:b w:val="0"/><w:u w:val="none"/></w:rPr><w:t>d</w:t></w:r></w:p>)"
        R"(<w:p><w:pPr><w:pStyle w:val="Sub"/><w:snapToGrid/></w:pPr><w:r><w:rPr><w:rStyle w:val="Quiet"/><w:u w:val="dotted"/></w:rPr><w:t>e</w:t></w:r>)"
        R"(<w:r><w:rPr><w:rStyle w:val="Missing"/><w:strike/></w:rPr><w:t>f</w:t></w:r></w:p>)"
        R"(<w:p><w:pPr><w:pStyle w:val="Loop1"/></w:pPr><w:r><w:t>g</w:t></w:r></w:p>)";
    // a: bold from the heading; b: Strong flips it off; c: direct bold is
    // absolute; d: direct "off", and u none is no underline; e: the chain Sub ->
    // Heading1, vanish hides; f: an unknown character style is ignored; g: a
    // basedOn cycle ends and caps are still read. The heading keeps off the
    // document grid; Sub, based on it, snaps to it again.
    EXPECT_EQ(describeMain(pkg, "b i hid strike caps u pos sz font style space keep grid"),
              "{b sz32 'Calibri'|a}{sz32 'Calibri'|b}{b sz32 'Calibri'|c}{sz32 'Calibri'|d}¶['Heading 1' sb240 kn nosnap]"
              "{b i hid udot sup sz32 'Calibri'|e}{b i strike sz32 'Calibri'|f}¶['Sub' sb240 kn]"
              "{caps sz22 'Calibri'|g}¶['Loop1']");
}

TEST(DocxReader, TableStylesLieBetweenDefaultsAndParagraphStyles)
{
    // Without the table style's layer a grid table's cells would keep the
    // defaults' space after and lines, and every table row would be laid out
    // taller than Word's.
    DocxPackage pkg;
    pkg.styles =
        R"(<w:docDefaults><w:pPrDefault><w:pPr><w:spacing w:after="160" w:line="259" w:lineRule="auto"/></w:pPr></w:pPrDefault></w:docDefaults>
      <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="paragraph" w:styleId="Quote"><w:pPr><w:spacing w:after="80"/></w:pPr></w:style>
      <w:style w:type="table" w:default="1" w:styleId="TableNormal"><w:name w:val="Normal Table"/></w:style>
      <w:style w:type="table" w:styleId="TableGrid"><w:basedOn w:val="TableNormal"/><w:pPr><w:spacing w:after="0" w:line="240" w:lineRule="auto"/></w:pPr><w:rPr><w:b/></w:rPr></w:style>)";
    auto table = [](const std::string& style, const std::string& cells) {
        return "<w:tbl><w:tblPr>" + style + "</w:tblPr><w:tr>" + cells + "</w:tr></w:tbl>";
    };
    pkg.body = table(R"(<w:tblStyle w:val="TableGrid"/>)",
                     "<w:tc>" + para("a") + "</w:tc><w:tc>" +
                         R"(<w:p><w:pPr><w:pStyle w:val="Quote"/></w:pPr><w:r><w:t>b</w:t></w:r></w:p>)" + "</w:tc>") +
               table("", "<w:tc>" + para("c") + "</w:tc>") + para("d");
    EXPECT_EQ(describeMain(pkg, "b space line"), "{b|a}¤{b|b}¤[sa80]¤c¤[sa160 line259]¤d¶[sa160 line259]");
}

TEST(DocxReader, RunPropertiesComeFromTheHighestLevelThatSetsThem)
{
    // From the bottom: the defaults (22, 'D'), the table style's chain (its
    // base T0: 'T0' and capitals; T: 24), the header row's part of it (26,
    // bold, and "not italic"), the paragraph style (P: 'P', bold), the
    // character style (C: 28), the run. Each setting comes from the highest
    // level that has it; a toggle flips at each style level that turns it
    // on (the table's level as its part says over its chain), direct
    // formatting is absolute.
    DocxPackage pkg;
    pkg.styles = R"(<w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:ascii="D"/><w:sz w:val="22"/></w:rPr></w:rPrDefault></w:docDefaults>
      <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="paragraph" w:styleId="P"><w:rPr><w:rFonts w:ascii="P"/><w:b/></w:rPr></w:style>
      <w:style w:type="character" w:styleId="C"><w:rPr><w:sz w:val="28"/></w:rPr></w:style>
      <w:style w:type="table" w:styleId="T0"><w:rPr><w:rFonts w:ascii="T0"/><w:caps/><w:i/></w:rPr></w:style>
      <w:style w:type="table" w:styleId="T"><w:basedOn w:val="T0"/><w:rPr><w:sz w:val="24"/></w:rPr>
        <w:tblStylePr w:type="firstRow"><w:rPr><w:b/><w:i w:val="0"/><w:sz w:val="26"/></w:rPr></w:tblStylePr></w:style>)";
    auto run = [](const std::string& rPr) { return "<w:r>" + (rPr.empty() ? "" : "<w:rPr>" + rPr + "</w:rPr>") + "<w:t>x</w:t></w:r>"; };
    auto paragraph = [](const std::string& style, const std::string& runs) {
        return "<w:p>" + (style.empty() ? "" : R"(<w:pPr><w:pStyle w:val=")" + style + R"("/></w:pPr>)") + runs + "</w:p>";
    };
    struct Case {
        const char* what;
        std::string header, body; // the first row's cell, the second row's
        const char* expected;
    } const cases[] = {
        {"the table's chain, and its header row over it", paragraph("", run("")), paragraph("", run("")),
         "{b caps sz26 'T0'|x}¤¤{i caps sz24 'T0'|x}¤¤¶"},
        {"a paragraph style over the table", paragraph("P", run("")), paragraph("P", run("")),
         "{caps sz26 'P'|x}¤¤{b i caps sz24 'P'|x}¤¤¶"},
        {"a character style and the run's own over all", paragraph("P", run(R"(<w:rStyle w:val="C"/><w:i/>)")),
         paragraph("", run(R"(<w:rStyle w:val="C"/><w:caps w:val="0"/><w:sz w:val="30"/>)")),
         "{i caps sz28 'P'|x}¤¤{i sz30 'T0'|x}¤¤¶"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        pkg.body = R"(<w:tbl><w:tblPr><w:tblStyle w:val="T"/><w:tblLook w:firstRow="1"/></w:tblPr><w:tr><w:tc>)" +
                   c.header + "</w:tc></w:tr><w:tr><w:tc>" + c.body + "</w:tc></w:tr></w:tbl>";
        EXPECT_EQ(describeMain(pkg, "b i caps sz font"), c.expected);
    }
}

TEST(DocxReader, BordersComeFromStylesTablesAndCells)
{
    // The style's paragraph border under a direct one on another side; the
    // table style's grid under the table's own top line; a cell's own edges,
    // "nil" among them.
    DocxPackage pkg;
    pkg.styles = R"(<w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="paragraph" w:styleId="Title"><w:pPr><w:pBdr><w:bottom w:val="single" w:sz="8" w:space="4" w:color="4F81BD"/></w:pBdr></w:pPr></w:style>
      <w:style w:type="table" w:styleId="Grid"><w:tblPr><w:tblBorders><w:top w:val="single" w:sz="4"/><w:insideH w:val="double" w:sz="4"/></w:tblBorders>
        <w:tblCellMar><w:top w:w="40" w:type="dxa"/></w:tblCellMar></w:tblPr></w:style>)";
    pkg.body =
        R"(<w:p><w:pPr><w:pStyle w:val="Title"/><w:pBdr><w:top w:val="thick" w:sz="12"/></w:pBdr><w:shd w:val="clear" w:fill="FFFF00"/></w:pPr><w:r><w:t>T</w:t></w:r></w:p>)"
        R"(<w:tbl><w:tblPr><w:tblStyle w:val="Grid"/><w:tblW w:w="100%" w:type="pct"/><w:tblBorders><w:top w:val="nil"/></w:tblBorders><w:tblCellSpacing w:w="15" w:type="dxa"/></w:tblPr>)"
        R"(<w:tr><w:trPr><w:tblCellSpacing w:w="20" w:type="dxa"/></w:trPr>)"
        R"(<w:tc><w:tcPr><w:tcBorders><w:top w:val="dotted" w:sz="6" w:space="1"/><w:bottom w:val="nil"/></w:tcBorders><w:vAlign w:val="bottom"/><w:hideMark/></w:tcPr>)" +
        para("a") + "</w:tc></w:tr></w:tbl>" + para("b");
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    const ParaFormat& title = d.paraFormats[d.mainStory().attrs[1].paraFormat];
    EXPECT_EQ(title.borders.top, (BorderLine{BorderStyle::Thick, 12, 0, AutoColor}));
    EXPECT_EQ(title.borders.bottom, (BorderLine{BorderStyle::Single, 8, 4, 0x4F81BD}));
    EXPECT_FALSE(title.borders.between.present());
    EXPECT_EQ(title.shading, 0xFFFF00u);
    ASSERT_EQ(d.rowFormats.size(), 1u);
    const TableRowFormat& row = d.rowFormats[0];
    EXPECT_FALSE(row.tableBorders.top.present());
    EXPECT_EQ(row.tableBorders.insideH, (BorderLine{BorderStyle::Double, 4, 0, AutoColor}));
    EXPECT_EQ(row.cellMarginTop, 40);
    EXPECT_EQ(row.cellSpacing, 20); // the row's own spacing over the table's
    EXPECT_EQ(row.preferredWidth, 5000);
    EXPECT_TRUE(row.preferredWidthPercent);
    EXPECT_FALSE(row.fixedLayout); // fitted to its contents unless tblLayout says "fixed"
    ASSERT_EQ(row.cells.size(), 1u);
    EXPECT_EQ(row.cells[0].borders.top, (BorderLine{BorderStyle::Dotted, 6, 1, AutoColor}));
    EXPECT_EQ(row.cells[0].borders.bottom, BorderLine{});
    EXPECT_FALSE(row.cells[0].borders.left.has_value());
    EXPECT_EQ(row.cells[0].verticalAlign, CellVerticalAlign::Bottom);
    EXPECT_TRUE(row.cells[0].hideMark);
}

TEST(DocxReader, TableStylesFormatTheTablePartsTheTableLooksFor)
{
    // A grid table style makes its header row and first column bold, puts a
    // heavier line under the header row and a double one over the last row;
    // each table turns the parts on in its tblLook (attributes, or the older
    // hexadecimal mask). A cell's own border wins over the style's.
    DocxPackage pkg;
    pkg.styles = R"(<w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="table" w:styleId="GridTable"><w:tblPr><w:tblBorders><w:insideH w:val="single" w:sz="4"/></w:tblBorders></w:tblPr>
        <w:tblStylePr w:type="firstRow"><w:rPr><w:b/></w:rPr><w:tcPr><w:tcBorders><w:bottom w:val="single" w:sz="12"/></w:tcBorders></w:tcPr></w:tblStylePr>
        <w:tblStylePr w:type="lastRow"><w:pPr><w:jc w:val="right"/></w:pPr><w:tcPr><w:tcBorders><w:top w:val="double" w:sz="2"/></w:tcBorders></w:tcPr></w:tblStylePr>
        <w:tblStylePr w:type="firstCol"><w:rPr><w:i/></w:rPr></w:tblStylePr>
        <w:tblStylePr w:type="band1Horz"><w:tcPr><w:shd w:val="clear" w:fill="CCCCCC"/></w:tcPr></w:tblStylePr></w:style>)";
    auto cell = [](const std::string& text, const std::string& tcPr = {}) {
        return "<w:tc>" + (tcPr.empty() ? std::string() : "<w:tcPr>" + tcPr + "</w:tcPr>") + para(text) + "</w:tc>";
    };
    auto table = [&](const std::string& look, const std::string& ownBorder = {}) {
        return R"(<w:tbl><w:tblPr><w:tblStyle w:val="GridTable"/>)" + look + "</w:tblPr>" + "<w:tr>" +
               cell("a", ownBorder) + cell("b") + "</w:tr><w:tr>" + cell("c") + cell("d") + "</w:tr><w:tr>" +
               cell("e") + cell("f") + "</w:tr></w:tbl>";
    };
    struct Case {
        const char* what;
        std::string body;
        const char* text;
    } cases[] = {
        {"every part", table(R"(<w:tblLook w:firstRow="1" w:lastRow="1" w:firstColumn="1" w:lastColumn="0"/>)"),
         "{b i|a}¤{b|b}¤¤{i|c}¤d¤¤{i|e}¤[right]f¤[right]¤¶"},
        {"the header row and first column by the old mask", table(R"(<w:tblLook w:val="04A0"/>)"),
         "{b i|a}¤{b|b}¤¤{i|c}¤d¤¤{i|e}¤f¤¤¶"},
        {"no parts", table(R"(<w:tblLook w:val="0000" w:firstRow="0"/>)"), "a¤b¤¤c¤d¤¤e¤f¤¤¶"},
        {"no tblLook", table(""), "a¤b¤¤c¤d¤¤e¤f¤¤¶"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        pkg.body = c.body;
        EXPECT_EQ(describeMain(pkg, "b i al"), c.text);
    }

    pkg.body = table(R"(<w:tblLook w:firstRow="1" w:lastRow="1"/>)",
                     R"(<w:tcBorders><w:bottom w:val="dotted" w:sz="6"/></w:tcBorders>)");
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    const std::vector<TableRowFormat>& rows = r.document->rowFormats;
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0].cells[0].borders.bottom, (BorderLine{BorderStyle::Dotted, 6, 0, AutoColor}));
    EXPECT_EQ(rows[0].cells[1].borders.bottom, (BorderLine{BorderStyle::Single, 12, 0, AutoColor}));
    EXPECT_FALSE(rows[1].cells[0].borders.bottom.has_value());
    EXPECT_EQ(rows[2].cells[1].borders.top, (BorderLine{BorderStyle::Double, 2, 0, AutoColor}));
}

TEST(DocxReader, FixedTablesKeepTheirWidths)
{
    DocxPackage pkg;
    pkg.body = R"(<w:tbl><w:tblPr><w:tblLayout w:type="fixed"/></w:tblPr><w:tr><w:tc>)" + para("a") +
               "</w:tc></w:tr></w:tbl>" + para("b");
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    ASSERT_EQ(r.document->rowFormats.size(), 1u);
    EXPECT_TRUE(r.document->rowFormats[0].fixedLayout);
}

TEST(DocxReader, ListLabelsCountPerLevelAndRestartBelow)
{
    DocxPackage pkg;
    pkg.numbering = R"xml(
      <w:abstractNum w:abstractNumId="0">
        <w:lvl w:ilvl="0"><w:start w:val="1"/><w:numFmt w:val="decimal"/><w:lvlText w:val="%1."/><w:pPr><w:ind w:left="720" w:hanging="360"/></w:pPr></w:lvl>
        <w:lvl w:ilvl="1"><w:start w:val="1"/><w:numFmt w:val="lowerLetter"/><w:lvlText w:val="%1.%2)"/></w:lvl>
      </w:abstractNum>
      <w:abstractNum w:abstractNumId="1"><w:lvl w:ilvl="0"><w:numFmt w:val="bullet"/><w:lvlText w:val="&#x2022;"/></w:lvl></w:abstractNum>
      <w:abstractNum w:abstractNumId="2"><w:lvl w:ilvl="0"><w:start w:val="4"/><w:numFmt w:val="upperRoman"/><w:lvlText w:val="%1"/></w:lvl></w:abstractNum>
      <w:num w:numId="1"><w:abstractNumId w:val="0"/></w:num>
      <w:num w:numId="2"><w:abstractNumId w:val="1"/></w:num>
      <w:num w:numId="3"><w:abstractNumId w:val="2"/></w:num>)xml";
    auto item = [](int num, int level, const char* text) {
        return "<w:p><w:pPr><w:numPr><w:ilvl w:val=\"" + std::to_string(level) + "\"/><w:numId w:val=\"" +
               std::to_string(num) + "\"/></w:numPr></w:pPr><w:r><w:t>" + text + "</w:t></w:r></w:p>";
    };
    pkg.body = item(1, 0, "a") + item(1, 1, "b") + item(1, 1, "c") + item(1, 0, "d") + item(1, 1, "e") +
               item(2, 0, "f") + item(3, 0, "g") + item(3, 0, "h") + item(99, 0, "i") + para("j");
    // The label is a property: it adds nothing to the text. The level's indent applies.
    EXPECT_EQ(describeMain(pkg, "label ind"), "a¶[li720 fi-360 «1.»]b¶[«1.a)»]c¶[«1.b)»]d¶[li720 fi-360 «2.»]e¶[«2.a)»]"
                                              "f¶[«•»]g¶[«IV»]h¶[«V»]i¶j¶");
}

// Automatic hyphenation and its limits are the document's settings, in the
// language of the default run properties (or of the default paragraph
// style, which overrides them); a paragraph, or its style, may keep out.
TEST(DocxReader, HyphenationSettingsLanguageAndParagraphsLeftOut)
{
    struct Case {
        const char* what;
        const char* styles;
        const char* language;
    } cases[] = {
        {"no language", "", ""},
        {"the defaults' language",
         R"(<w:docDefaults><w:rPrDefault><w:rPr><w:lang w:val="de-DE"/></w:rPr></w:rPrDefault></w:docDefaults>)",
         "de-DE"},
        {"the default paragraph style's",
         R"(<w:docDefaults><w:rPrDefault><w:rPr><w:lang w:val="de-DE"/></w:rPr></w:rPrDefault></w:docDefaults>)"
         R"(<w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/>)"
         R"(<w:rPr><w:lang w:val="nl-BE"/></w:rPr></w:style>)",
         "nl-BE"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocxPackage pkg;
        pkg.styles = std::string(c.styles) + R"(<w:style w:type="paragraph" w:styleId="Code"><w:name w:val="Code"/>)"
                                             R"(<w:pPr><w:suppressAutoHyphens/></w:pPr></w:style>)";
        pkg.settings = R"(<w:autoHyphenation/><w:hyphenationZone w:val="284"/>)"
                       R"(<w:consecutiveHyphenLimit w:val="3"/><w:doNotHyphenateCaps/>)";
        pkg.body = R"(<w:p><w:r><w:t>a</w:t></w:r></w:p>)"
                   R"(<w:p><w:pPr><w:suppressAutoHyphens/></w:pPr><w:r><w:t>b</w:t></w:r></w:p>)"
                   R"(<w:p><w:pPr><w:pStyle w:val="Code"/></w:pPr><w:r><w:t>c</w:t></w:r></w:p>)"
                   R"(<w:p><w:pPr><w:pStyle w:val="Code"/><w:suppressAutoHyphens w:val="0"/></w:pPr>)"
                   R"(<w:r><w:t>d</w:t></w:r></w:p>)";
        ReadResult r = read(pkg);
        ASSERT_TRUE(r.ok()) << r.error;
        const Document& doc = *r.document;
        const DocumentSettings& set = doc.settings;
        EXPECT_EQ(std::tuple(set.autoHyphenation, set.hyphenationZone, set.consecutiveHyphenLimit, set.hyphenateCaps,
                             set.language),
                  std::tuple(true, 284, 3, false, std::string(c.language)));
        std::string left;
        const Story& s = doc.mainStory();
        for (uint32_t p = 0; p < s.size(); ++p)
            if (s.text[p] == u'\r')
                left += doc.paraFormats[s.attrs[p].paraFormat].suppressAutoHyphens ? 'x' : '-';
        EXPECT_EQ(left, "-xx-");
    }
}

TEST(DocxReader, SectionsKeepPageSetupAndInheritHeadersByKind)
{
    DocxPackage pkg;
    pkg.headers = {{"header1.xml", "<w:p><w:r><w:t>Primary</w:t></w:r></w:p>"},
                   {"header2.xml", "<w:p><w:r><w:t>First</w:t></w:r></w:p>"},
                   {"footer1.xml", "<w:p><w:r><w:t>Foot</w:t></w:r></w:p>"}};
    pkg.settings = R"(<w:evenAndOddHeaders/><w:defaultTabStop w:val="708"/>
      <w:compat><w:doNotExpandShiftReturn/><w:compatSetting w:name="compatibilityMode" w:uri="x" w:val="15"/></w:compat>)";
    pkg.body =
        R"(<w:p><w:r><w:t>one</w:t></w:r><w:pPr><w:sectPr>
        <w:headerReference w:type="default" r:id="header1"/><w:footerReference w:type="default" r:id="footer1"/>
        <w:pgSz w:w="11906" w:h="16838"/><w:pgMar w:top="1417" w:right="1134" w:bottom="1134" w:left="1418" w:header="708" w:footer="709" w:gutter="0"/>
        <w:cols w:num="2" w:space="425"/><w:docGrid w:type="lines" w:linePitch="312"/></w:sectPr></w:pPr></w:p>)"
        R"(<w:p><w:r><w:t>two</w:t></w:r></w:p>)"
        R"(<w:sectPr><w:headerReference w:type="first" r:id="header2"/><w:type w:val="continuous"/><w:titlePg/>)"
        R"(<w:docGrid w:linePitch="360"/></w:sectPr>)";
    pkg.app =
        "<Pages>3</Pages><Words>999</Words><Characters>12</Characters><CharactersWithSpaces>14</CharactersWithSpaces>"
        "<Lines>4</Lines><Paragraphs>2</Paragraphs><Application>Microsoft Office Word</Application>";
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    EXPECT_EQ(visible(doc.mainStory()), "one§two¶");
    // The second section defines only a first-page header; its primary header
    // and footer are the first section's.
    EXPECT_EQ(describeSections(doc), "§4 w11906 h16838 mt1417 mb1134 ml1418 mr1134 hd708 fd709 cols2 colsp425 "
                                     "gridlines312 H:Primary¶ F:Foot¶ | §8 title continuous H^:Primary¶ H1:First¶ F^:Foot¶");
    const DocumentSettings& set = doc.settings;
    EXPECT_EQ(std::tuple(set.evenAndOddHeaders, set.defaultTabStop, set.compatibilityMode), std::tuple(true, 708, 15));
    EXPECT_EQ(set.compat.at("doNotExpandShiftReturn"), "1");
    // Stored figures are kept aside, not counted from.
    const StoredStatistics& st = doc.stored;
    EXPECT_EQ(
        std::tuple(st.pages, st.words, st.characters, st.charactersWithSpaces, st.lines, st.paragraphs, st.application),
        std::tuple(3, 999, 12, 14, 4, 2, "Microsoft Office Word"));
}

TEST(DocxReader, FontTableNamesStandInsForMissingFonts)
{
    DocxPackage pkg;
    pkg.body = para("x");
    pkg.fontTable =
        R"(<w:font w:name="inherit"><w:altName w:val="Times New Roman"/><w:family w:val="roman"/><w:pitch w:val="default"/></w:font>)"
        R"(<w:font w:name="Old Style"><w:family w:val="roman"/><w:pitch w:val="variable"/></w:font>)"
        R"(<w:font w:name="Grotesk"><w:family w:val="swiss"/></w:font>)"
        R"(<w:font w:name="Typewriter"><w:family w:val="modern"/><w:pitch w:val="fixed"/></w:font>)"
        R"(<w:font w:name="DIN"><w:family w:val="modern"/><w:pitch w:val="variable"/></w:font>)"
        R"(<w:font w:name="Wingdings"><w:family w:val="auto"/><w:pitch w:val="variable"/></w:font>)"
        R"(<w:font w:name="Times New Roman"><w:family w:val="roman"/></w:font>)";
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    // The alternate name first, else the family's font; a proportional
    // "modern" font, an "auto" one and a font standing for itself get none.
    const std::map<std::string, std::string> expected{{"inherit", "Times New Roman"},
                                                      {"Old Style", "Times New Roman"},
                                                      {"Grotesk", "Arial"},
                                                      {"Typewriter", "Courier New"}};
    EXPECT_EQ(r.document->settings.fontStandIns, expected);
}

// Documents of one template hold the same font table: one met before gives
// what reading it gave, font by font and in its order (the first of a
// font's entries stands), and a table that differs by a byte is read anew.
// A damaged one is reported every time it is met.
TEST(DocxReader, AFontTableMetBeforeGivesTheStandInsItGave)
{
    const std::string table = R"(<w:font w:name="Grotesk"><w:family w:val="swiss"/></w:font>)"
                              R"(<w:font w:name="Grotesk"><w:altName w:val="Calibri"/></w:font>)"
                              R"(<w:font w:name="Typewriter"><w:family w:val="modern"/><w:pitch w:val="fixed"/></w:font>)";
    struct Case {
        const char* what;
        std::string fontTable;
        std::map<std::string, std::string> standIns;
        bool reported;
    } const cases[] = {
        {"first read", table, {{"Grotesk", "Arial"}, {"Typewriter", "Courier New"}}, false},
        {"met before", table, {{"Grotesk", "Arial"}, {"Typewriter", "Courier New"}}, false},
        {"the second entry first",
         R"(<w:font w:name="Grotesk"><w:altName w:val="Calibri"/></w:font>)"
         R"(<w:font w:name="Grotesk"><w:family w:val="swiss"/></w:font>)",
         {{"Grotesk", "Calibri"}},
         false},
        {"met before once more", table, {{"Grotesk", "Arial"}, {"Typewriter", "Courier New"}}, false},
        {"damaged", table + "<w:font>", {}, true},
        {"damaged, met again", table + "<w:font>", {}, true},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        DocxPackage pkg;
        pkg.body = para("x");
        pkg.fontTable = k.fontTable;
        ReadResult r = read(pkg);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.document->settings.fontStandIns, k.standIns);
        bool reported = false;
        for (const Diagnostic& d : r.document->diagnostics)
            reported = reported || (d.code == "docx.xml" && d.location.find("fontTable") != std::string::npos);
        EXPECT_EQ(reported, k.reported);
    }
}

TEST(DocxReader, FloatingObjectsKeepTheirPlaceAndWrapping)
{
    // 635 EMU to the twip.
    auto drawing = [](const std::string& inside) {
        return R"(<w:p><w:r><w:drawing><wp:anchor distT="0" distB="63500" distL="114300" distR="114300">)" + inside +
               R"(<wp:extent cx="635000" cy="317500"/></wp:anchor></w:drawing></w:r></w:p>)";
    };
    DocxPackage pkg;
    pkg.body =
        drawing(R"(<wp:positionH relativeFrom="column"><wp:posOffset>-97155</wp:posOffset></wp:positionH>)"
                R"(<wp:positionV relativeFrom="paragraph"><wp:posOffset>199390</wp:posOffset></wp:positionV>)"
                R"(<wp:wrapSquare wrapText="bothSides"/>)") +
        drawing(R"(<wp:positionH relativeFrom="margin"><wp:align>center</wp:align></wp:positionH>)"
                R"(<wp:positionV relativeFrom="page"><wp:align>bottom</wp:align></wp:positionV><wp:wrapTopAndBottom/>)") +
        drawing(R"(<wp:positionH relativeFrom="page"><wp:posOffset>0</wp:posOffset></wp:positionH>)"
                R"(<wp:positionV relativeFrom="line"><wp:posOffset>0</wp:posOffset></wp:positionV><wp:wrapNone/>)");
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    const std::vector<InlineObject>& o = r.document->objects;
    ASSERT_EQ(o.size(), 3u);
    using A = AnchorAxis::Align;
    EXPECT_EQ(std::tuple(o[0].floating, o[0].wrap, o[0].width, o[0].height, o[0].distBottom, o[0].distLeft),
              std::tuple(true, TextWrap::Square, 1000, 500, 100, 180));
    EXPECT_EQ(std::tuple(o[0].horizontal.from, o[0].horizontal.align, o[0].horizontal.offset),
              std::tuple(AnchorFrom::Column, A::Offset, -153));
    EXPECT_EQ(std::tuple(o[0].vertical.from, o[0].vertical.offset), std::tuple(AnchorFrom::Paragraph, 314));
    EXPECT_EQ(std::tuple(o[1].wrap, o[1].horizontal.from, o[1].horizontal.align, o[1].vertical.from, o[1].vertical.align),
              std::tuple(TextWrap::TopAndBottom, AnchorFrom::Margin, A::Center, AnchorFrom::Page, A::End));
    EXPECT_EQ(std::tuple(o[2].wrap, o[2].horizontal.from, o[2].vertical.from),
              std::tuple(TextWrap::None, AnchorFrom::Page, AnchorFrom::Line));
}

TEST(DocxReader, NestedTablesKeepCellAndRowMarks)
{
    DocxPackage pkg;
    auto cell = [](const std::string& inner, const std::string& props = "") {
        return "<w:tc><w:tcPr>" + props + "</w:tcPr>" + inner + "</w:tc>";
    };
    const std::string inner = R"(<w:tbl><w:tblGrid><w:gridCol w:w="1000"/></w:tblGrid><w:tr>)" + cell(para("x")) +
                              "</w:tr></w:tbl>" + para("");
    pkg.body =
        R"(<w:tbl><w:tblPr><w:tblStyle w:val="TableGrid"/></w:tblPr><w:tblGrid><w:gridCol w:w="2000"/><w:gridCol w:w="3000"/></w:tblGrid>)"
        R"(<w:tr><w:trPr><w:tblHeader/></w:trPr>)" +
        cell(para("a") + para("b"), R"(<w:vMerge w:val="restart"/>)") + cell(inner) + "</w:tr><w:tr>" +
        cell(para(""), "<w:vMerge/>") + cell(para("c")) + "</w:tr>" + R"(<w:sdt><w:sdtContent><w:tr>)" +
        cell(para("wide"), R"(<w:gridSpan w:val="2"/>)") + "</w:tr></w:sdtContent></w:sdt></w:tbl>" + para("after");
    // The paragraph after the nested table ends the outer cell; the second
    // cell has no tcW: its grid column's width.
    EXPECT_EQ(describeMain(pkg, "depth row"),
              "a¶b¤x¤[d2]¤[d2 row grid1000 cells1000 noborders]¤¤[row grid2000,3000 cells2000^,3000 "
              "hdr]¤c¤¤[row grid2000,3000 cells2000|,3000]wide¤¤[row grid2000,3000 cells5000x2]"
              "after¶");
}

TEST(DocxReader, NotesCommentsAndTextBoxesAreTheirOwnStories)
{
    DocxPackage pkg;
    pkg.footnotes = R"(<w:footnote w:type="separator" w:id="-1"><w:p><w:r><w:separator/></w:r></w:p></w:footnote>
      <w:footnote w:id="1"><w:p><w:r><w:footnoteRef/><w:t xml:space="preserve"> Note text</w:t></w:r></w:p></w:footnote>)";
    pkg.endnotes = R"(<w:endnote w:id="3"><w:p><w:r><w:t>End</w:t></w:r></w:p></w:endnote>)";
    pkg.comments = R"(<w:comment w:id="0"><w:p><w:r><w:t>Remark</w:t></w:r></w:p></w:comment>)";
    const std::string box = R"(<w:txbxContent><w:p><w:r><w:t>Boxed</w:t></w:r></w:p></w:txbxContent>)";
    pkg.body =
        R"(<w:p><w:r><w:t>Body</w:t></w:r><w:r><w:footnoteReference w:id="1"/></w:r>)"
        R"(<w:r><w:endnoteReference w:id="3"/></w:r><w:r><w:commentReference w:id="0"/></w:r>)"
        R"(<w:r><w:footnoteReference w:id="42"/></w:r>)"
        R"(<w:r><mc:AlternateContent><mc:Choice Requires="wps"><w:drawing><wp:anchor><wp:extent cx="635000" cy="1270"/>)"
        R"(<a:graphic><a:graphicData><wps:wsp><wps:txbx>)" +
        box +
        R"(</wps:txbx></wps:wsp></a:graphicData></a:graphic></wp:anchor></w:drawing></mc:Choice>)"
        R"(<mc:Fallback><w:pict><v:shape style="position:absolute;width:50pt"><v:textbox>)" +
        box +
        R"(</v:textbox></v:shape></w:pict></mc:Fallback></mc:AlternateContent></w:r>)"
        R"(<w:r><w:pict><v:shape style="width:72pt;height:36pt"><v:textbox>)" +
        box + R"(</v:textbox></v:shape></w:pict></w:r></w:p>)";
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    // The reference to a missing note still shows; the separator is no note.
    EXPECT_EQ(describe(doc, "note obj"), "Body{note0|²}{note1|²}²{obj0|⚓}{obj1|□}¶");
    EXPECT_TRUE(hasDiagnostic(doc, "docx.note"));
    EXPECT_EQ(describeNotes(doc), "foot:² Note text¶ | end:End¶ | comment:Remark¶");
    // One text box from the DrawingML choice, not a second from its VML
    // fallback; then the VML-only one, inline.
    EXPECT_EQ(describeObjects(doc), "textbox float 1000x2:Boxed¶ | textbox 1440x720:Boxed¶");
    EXPECT_EQ(std::ranges::count(doc.stories, StoryType::TextFrame, &Story::type), 2);
}

TEST(DocxReader, HostilePackagesFailClearlyOrReadPartially)
{
    DocxPackage good;
    good.body = para("fine");
    const std::string bytes = good.build();

    struct Case {
        const char* name;
        std::string input;
        const char* errorContains;
    };
    const Case failures[] = {
        {"not a zip", "this is plain text, not a package", "not a zip"},
        {"truncated zip", bytes.substr(0, bytes.size() / 2), "zip"},
        {"empty", "", "not a zip"},
        {"no main part", makeZip({{"hello.txt", "hi"}}), "no Word document"},
        {"encrypted container",
         std::string("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1", 8) + std::string(200, '\0') +
             std::string("E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0", 32),
         "password-protected documents cannot be counted"},
    };
    for (const Case& c : failures) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(failsWith(readDocx(c.input, {}), c.errorContains));
    }

    // A zip bomb: a part that inflates past the limits is refused whole.
    {
        DocxPackage bomb;
        bomb.body = para(std::string(3u << 20, 'a'));
        ReadOptions options;
        options.limits.maxEntryBytes = 2u << 20;
        EXPECT_TRUE(failsWith(readDocx(bomb.build(), options), "more than the engine reads"));
        options = {};
        options.limits.maxCompressionRatio = 50;
        EXPECT_TRUE(failsWith(readDocx(bomb.build(), options), "ratio"));
    }
    // Nesting deeper than the limit is refused before any recursive walk.
    {
        DocxPackage deep;
        std::string nest;
        for (int i = 0; i < 2000; ++i)
            nest += "<w:sdt><w:sdtContent>";
        for (int i = 0; i < 2000; ++i)
            nest += "</w:sdtContent></w:sdt>";
        deep.body = nest;
        EXPECT_TRUE(failsWith(read(deep), "nested"));
    }
    // Broken relationships and a damaged styles part leave a partial document.
    {
        DocxPackage partial;
        partial.styles = "<w:style w:type=\"paragraph\"><unclosed>";
        partial.body = para("text") + R"(<w:sectPr><w:headerReference w:type="default" r:id="nowhere"/>)"
                                      R"(<w:footerReference w:type="default" r:id="footer9"/></w:sectPr>)";
        partial.extraRels =
            R"(<Relationship Id="footer9" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/footer" Target="missing.xml"/>)";
        ReadResult r = read(partial);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(visible(r.document->mainStory()), "text¶");
        EXPECT_TRUE(hasDiagnostic(*r.document, "docx.xml"));
        EXPECT_TRUE(hasDiagnostic(*r.document, "docx.relationship"));
        EXPECT_TRUE(hasDiagnostic(*r.document, "docx.part"));
        EXPECT_EQ(r.document->sections.back().headers[0], -1);
    }
    // A note referenced over and over is read once: otherwise a few bytes of
    // references would copy one large note without bound.
    {
        DocxPackage repeated;
        repeated.footnotes = R"(<w:footnote w:id="1"><w:p><w:r><w:t>note</w:t></w:r></w:p></w:footnote>)";
        std::string refs;
        for (int i = 0; i < 1000; ++i)
            refs += R"(<w:r><w:footnoteReference w:id="1"/></w:r>)";
        repeated.body = "<w:p>" + refs + "</w:p>";
        ReadResult r = read(repeated);
        ASSERT_TRUE(r.ok()) << r.error;
        ASSERT_EQ(r.document->notes.size(), 1u);
        EXPECT_EQ(visible(r.document->stories[r.document->notes[0].story]), "note¶");
        EXPECT_EQ(r.document->mainStory().size(), 1001u);
        EXPECT_EQ(r.document->charFormatAt(r.document->mainStory(), 999).noteIndex, 0);
    }
    // Entities are never expanded: a DOCTYPE cannot pull in other text.
    {
        const std::string doctype =
            R"(<?xml version="1.0"?><!DOCTYPE d [<!ENTITY e SYSTEM "file:///etc/passwd"><!ENTITY big "BIG">]>)";
        const std::string doc = doctype + "<w:document " + std::string(WordNamespaces) +
                                "><w:body><w:p><w:r><w:t>&e;&big;</w:t></w:r></w:p></w:body></w:document>";
        ReadResult r = readDocx(makeZip({{"word/document.xml", doc}}), {});
        ASSERT_TRUE(r.ok()) << r.error;
        const std::string text = visible(r.document->mainStory());
        EXPECT_EQ(text.find("root"), std::string::npos);
        EXPECT_EQ(text.find("BIG"), std::string::npos);
    }
}

// Would catch the East Asian or complex-script font taken from the Latin
// attributes, theme fonts resolved without the document's theme languages
// (Word's themes name one font per script and leave <a:ea> empty), w:szCs
// ignored, or w:bidi lost.
TEST(DocxReader, EachScriptKeepsItsOwnFontAndDirection)
{
    DocxPackage pkg;
    addTheme(pkg, R"(<?xml version="1.0"?>
      <a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><a:themeElements><a:fontScheme>
        <a:majorFont><a:latin typeface="Calibri Light"/><a:ea typeface=""/><a:cs typeface=""/></a:majorFont>
        <a:minorFont><a:latin typeface="Calibri"/><a:ea typeface=""/><a:cs typeface=""/>
          <a:font script="Jpan" typeface="MS Mincho"/><a:font script="Hans" typeface="SimSun"/>
          <a:font script="Arab" typeface="Times New Roman"/><a:font script="Hebr" typeface="David"/></a:minorFont>
      </a:fontScheme></a:themeElements></a:theme>)");
    pkg.settings = R"(<w:themeFontLang w:val="en-US" w:eastAsia="ja-JP" w:bidi="he-IL"/>)";
    pkg.styles =
        R"(<w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:asciiTheme="minorHAnsi" w:eastAsiaTheme="minorEastAsia"
        w:cstheme="minorBidi"/><w:sz w:val="22"/><w:szCs w:val="28"/></w:rPr></w:rPrDefault></w:docDefaults>)";
    pkg.body = R"(<w:p><w:r><w:t>a</w:t></w:r><w:r><w:rPr><w:rFonts w:eastAsia="SimSun" w:cs="Arial"/>)"
               R"(<w:szCs w:val="32"/></w:rPr><w:t>b</w:t></w:r></w:p>)"
               R"(<w:p><w:pPr><w:bidi/></w:pPr><w:r><w:t>c</w:t></w:r></w:p>)";
    EXPECT_EQ(describeMain(pkg, "font scripts rtl"),
              "{'Calibri' ea'MS Mincho' cs'David' szcs28|a}{'Calibri' ea'SimSun' cs'Arial' szcs32|b}¶"
              "{'Calibri' ea'MS Mincho' cs'David' szcs28|c}¶[rtl]");
}

// A theme met again (documents from one template) is answered from what the
// first read kept: each document still takes its own languages' fonts from
// it, and a theme that does not parse is reported every time.
TEST(DocxReader, ThemesMetAgainFollowEachDocumentsLanguages)
{
    const std::string theme = R"(<?xml version="1.0"?>
      <a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><a:themeElements><a:fontScheme>
        <a:majorFont><a:latin typeface="Cambria"/><a:ea typeface=""/><a:cs typeface=""/></a:majorFont>
        <a:minorFont><a:latin typeface="Georgia"/><a:ea typeface=""/><a:cs typeface=""/>
          <a:font script="Jpan" typeface="MS Mincho"/><a:font script="Hans" typeface="SimSun"/>
          <a:font script="Arab" typeface="Times New Roman"/><a:font script="Hebr" typeface="David"/></a:minorFont>
      </a:fontScheme></a:themeElements></a:theme>)";
    struct Case {
        std::string theme, languages, expected;
    } const cases[] = {
        {theme, R"(w:eastAsia="ja-JP" w:bidi="he-IL")", "{'Georgia' ea'MS Mincho' cs'David'|a}¶"},
        {theme, R"(w:eastAsia="zh-CN" w:bidi="ar-SA")", "{'Georgia' ea'SimSun' cs'Times New Roman'|a}¶"},
        {theme, R"(w:eastAsia="ja-JP" w:bidi="he-IL")", "{'Georgia' ea'MS Mincho' cs'David'|a}¶"},
        {theme.substr(0, theme.size() - 12), R"(w:eastAsia="ja-JP")", "{'Calibri'|a}¶ note docx.xml"},
        {theme.substr(0, theme.size() - 12), R"(w:eastAsia="ja-JP")", "{'Calibri'|a}¶ note docx.xml"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.languages);
        DocxPackage pkg;
        addTheme(pkg, c.theme);
        pkg.settings = "<w:themeFontLang w:val=\"en-US\" " + c.languages + "/>";
        pkg.styles = R"(<w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:asciiTheme="minorHAnsi"
            w:eastAsiaTheme="minorEastAsia" w:cstheme="minorBidi"/></w:rPr></w:rPrDefault></w:docDefaults>)";
        pkg.body = R"(<w:p><w:r><w:t>a</w:t></w:r></w:p>)";
        ReadResult r = read(pkg);
        ASSERT_TRUE(r.ok()) << r.error;
        std::string got = describe(*r.document, "font scripts");
        for (const Diagnostic& d : r.document->diagnostics)
            if (d.code == "docx.xml")
                got += " note docx.xml";
        EXPECT_EQ(got, c.expected);
    }
}

// Styles met again are answered from what the first read made of them, but
// only with the same theme fonts: the same styles under another theme give
// that theme's fonts.
TEST(DocxReader, StylesMetAgainKeepTheirThemesFonts)
{
    const std::string styles = R"(<w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:asciiTheme="minorHAnsi"/>
        </w:rPr></w:rPrDefault></w:docDefaults>
        <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
        <w:style w:type="paragraph" w:styleId="Big"><w:basedOn w:val="Normal"/><w:rPr><w:sz w:val="40"/></w:rPr></w:style>)";
    auto themed = [](const char* minor) {
        return std::string(R"(<a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main">)"
                           R"(<a:themeElements><a:fontScheme><a:majorFont><a:latin typeface="Cambria"/></a:majorFont>)"
                           R"(<a:minorFont><a:latin typeface=")") +
               minor + R"("/></a:minorFont></a:fontScheme></a:themeElements></a:theme>)";
    };
    struct Case {
        std::string theme;
        const char* expected;
    } const cases[] = {
        {themed("Georgia"), "{'Georgia'|a}¶{sz40 'Georgia'|b}¶"},
        {themed("Georgia"), "{'Georgia'|a}¶{sz40 'Georgia'|b}¶"},
        {themed("Verdana"), "{'Verdana'|a}¶{sz40 'Verdana'|b}¶"},
        {"<a:theme", "{'Calibri'|a}¶{sz40 'Calibri'|b}¶"}, // a theme that fails: the default fonts
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expected);
        DocxPackage pkg;
        addTheme(pkg, c.theme);
        pkg.styles = styles;
        pkg.body = R"(<w:p><w:r><w:t>a</w:t></w:r></w:p><w:p><w:pPr><w:pStyle w:val="Big"/></w:pPr><w:r><w:t>b</w:t></w:r></w:p>)";
        EXPECT_EQ(describeMain(pkg, "font sz"), c.expected);
    }
}

// "Normal (Web)" asks for automatic (HTML) spacing; a paragraph that gives
// its spacing in points without writing the automatic flag turns it off,
// as Word lays it out (its annex of such paragraphs with w:before="0"
// w:after="0" takes three pages, not seven). Would catch the style's flag
// surviving the paragraph's own values.
TEST(DocxReader, SpacingInPointsTurnsAStylesAutomaticSpacingOff)
{
    DocxPackage pkg;
    pkg.styles = R"x(
      <w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/></w:style>
      <w:style w:type="paragraph" w:styleId="NormalWeb"><w:name w:val="Normal (Web)"/><w:basedOn w:val="Normal"/>
        <w:pPr><w:spacing w:before="100" w:beforeAutospacing="1" w:after="100" w:afterAutospacing="1"/></w:pPr></w:style>)x";
    const char* const paragraphs[] = {
        R"(<w:pPr><w:pStyle w:val="NormalWeb"/></w:pPr>)",
        R"(<w:pPr><w:pStyle w:val="NormalWeb"/><w:spacing w:before="0" w:after="0"/></w:pPr>)",
        R"(<w:pPr><w:pStyle w:val="NormalWeb"/><w:spacing w:before="0"/></w:pPr>)",
        R"(<w:pPr><w:pStyle w:val="NormalWeb"/><w:spacing w:before="0" w:beforeAutospacing="1" w:line="240"/></w:pPr>)",
    };
    for (const char* p : paragraphs)
        pkg.body += std::string("<w:p>") + p + "<w:r><w:t>x</w:t></w:r></w:p>";
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok());
    const Document& doc = *r.document;
    std::vector<std::pair<bool, bool>> flags;
    const Story& s = doc.mainStory();
    for (uint32_t i = 0; i < s.size(); ++i)
        if (s.text[i] == Ch::ParagraphMark) {
            const ParaFormat& pf = doc.paraFormatOf(s, i);
            flags.emplace_back(pf.spaceBeforeAuto, pf.spaceAfterAuto);
        }
    const std::vector<std::pair<bool, bool>> expected = {{true, true}, {false, false}, {false, true}, {true, true}};
    EXPECT_EQ(flags, expected);
}

TEST(DocxReader, LatentStylesAreLeftOutAndFaultsAfterThemReportedWhereTheyLie)
{
    // The latent styles are not parsed: the styles around them still apply.
    // Plain entries, or as many bytes with a comment among them (which keeps
    // them in the parse), put a fault after them at the same byte.
    const std::string plain = R"(<w:latentStyles><w:lsdException w:name="x"/><w:yy/></w:latentStyles>)";
    const std::string kept = R"(<w:latentStyles><w:lsdException w:name="x"/><!----></w:latentStyles>)";
    ASSERT_EQ(plain.size(), kept.size());
    const std::string normal = R"(<w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:name w:val="Normal"/>)"
                               R"(<w:rPr><w:b/></w:rPr></w:style>)";
    const std::string defaults = R"(<w:docDefaults><w:rPrDefault><w:rPr><w:sz w:val="30"/></w:rPr></w:rPrDefault></w:docDefaults>)";
    for (const std::string& latent : {plain, kept}) {
        SCOPED_TRACE(latent);
        DocxPackage pkg;
        pkg.styles = defaults + latent + normal;
        pkg.body = para("a");
        EXPECT_EQ(describeMain(pkg, "b sz"), "{b sz30|a}¶");
    }
    std::string messages[2];
    for (int k = 0; k < 2; ++k) {
        DocxPackage pkg;
        pkg.styles = defaults + (k == 0 ? plain : kept) + normal + "<w:style><unclosed>";
        pkg.body = para("a");
        ReadResult r = read(pkg);
        ASSERT_TRUE(r.ok()) << r.error;
        for (const Diagnostic& d : r.document->diagnostics)
            if (d.code == "docx.xml")
                messages[k] = d.message;
        EXPECT_EQ(describe(*r.document, "b sz"), "a¶"); // the styles are not read
    }
    EXPECT_NE(messages[0].find("malformed at byte"), std::string::npos) << messages[0];
    EXPECT_EQ(messages[0], messages[1]);

    // A style sheet too long to be kept for later documents is not copied
    // as it came: a fault after its latent styles has it read from the
    // package again, and reported at the same byte.
    std::string many;
    while (many.size() < (300u << 10))
        many += R"(<w:lsdException w:name="x"/>)";
    const std::string longPlain = "<w:latentStyles>" + many + "<w:yy/></w:latentStyles>";
    const std::string longKept = "<w:latentStyles>" + many + "<!----></w:latentStyles>";
    ASSERT_EQ(longPlain.size(), longKept.size());
    std::string longMessages[2];
    for (int k = 0; k < 2; ++k) {
        DocxPackage pkg;
        pkg.styles = defaults + (k == 0 ? longPlain : longKept) + normal + "<w:style><unclosed>";
        pkg.body = para("a");
        ReadResult r = read(pkg);
        ASSERT_TRUE(r.ok()) << r.error;
        for (const Diagnostic& d : r.document->diagnostics)
            if (d.code == "docx.xml")
                longMessages[k] = d.message;
        EXPECT_EQ(describe(*r.document, "b sz"), "a¶");
    }
    EXPECT_NE(longMessages[0].find("malformed at byte"), std::string::npos) << longMessages[0];
    EXPECT_EQ(longMessages[0], longMessages[1]);
    // Without the fault, the long sheet's styles apply.
    DocxPackage pkg;
    pkg.styles = defaults + longPlain + normal;
    pkg.body = para("a");
    EXPECT_EQ(describeMain(pkg, "b sz"), "{b sz30|a}¶");
}

namespace {

// A body long enough to be read a child at a time: an empty custom-XML
// element carrying two megabytes in an attribute comes first, which adds
// no text.
std::string longBody(const std::string& body)
{
    return R"(<w:customXml w:element=")" + std::string(2u << 20, 'x') + R"("/>)" + body;
}

} // namespace

TEST(DocxReader, BodyReadChildByChildFailsAsAWholeParseWould)
{
    // The document part as DocxPackage writes it, parsed whole: what the
    // reader must report, at the byte where the fault lies in the part.
    auto wholeError = [](const std::string& body) {
        std::string part = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
                           "\n<w:document " + std::string(WordNamespaces) + "><w:body>" + body + "</w:body></w:document>";
        pugi::xml_document tree;
        return xml::parse(part, tree, Limits().maxNestingDepth);
    };
    const std::string broken = "<w:p><w:r><w:t>broken</w:r></w:p>";
    const std::string deep = [] {
        std::string nest;
        for (int i = 0; i < 600; ++i)
            nest += "<w:sdt><w:sdtContent>";
        for (int i = 0; i < 600; ++i)
            nest += "</w:sdtContent></w:sdt>";
        return nest;
    }();
    struct Case {
        const char* what;
        std::string body;
    } const cases[] = {
        {"a fault in the last child", para("one") + para("two") + broken},
        {"a fault between good children", para("one") + broken + para("two")},
        {"a fault in the body's section properties", para("one") + "<w:sectPr><w:pgSz></w:sectPr>"},
        {"a child nested too deeply", para("one") + deep},
        // Faults the search for the children passes over, found by the
        // parse of the one child: the report names the byte in the part.
        {"an instruction without a name inside a child", para("one") + "<w:p><?1?></w:p>" + para("two")},
        {"the same in the section properties", para("one") + "<w:sectPr><?1?></w:sectPr>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string error = wholeError(longBody(c.body));
        ASSERT_FALSE(error.empty());
        DocxPackage pkg;
        pkg.body = longBody(c.body);
        EXPECT_EQ(describeMain(pkg), "error: the document's main part cannot be read: " + error +
                                         "; its text is not counted");
    }

    // Text past the engine's limits is not read, but a fault after it still
    // fails the document, as the whole part's parse did.
    DocxPackage pkg;
    pkg.body = longBody(para("abcdef") + para("ghijkl") + "<w:p><?1?></w:p>");
    ReadOptions options;
    options.limits.maxStoryChars = 4;
    EXPECT_TRUE(failsWith(read(pkg, options), "malformed at byte"));
    pkg.body = longBody(para("abcdef") + para("ghijkl"));
    ReadResult partial = read(pkg, options);
    ASSERT_TRUE(partial.ok()) << partial.error;
}

TEST(DocxReader, BodyChildrenReadOneAtATimeKeepTheirTextAndTheLastSection)
{
    // Paragraphs, a table, content controls, a paragraph ending a section
    // and the body's own section properties (the first sectPr among the
    // body's children; a later one is not the body's), with blanks and
    // line ends between them.
    DocxPackage pkg;
    pkg.body = longBody(para("one")) + "\r\n  " +
               R"(<w:tbl><w:tblGrid><w:gridCol w:w="2000"/></w:tblGrid><w:tr><w:tc><w:p><w:r><w:t>cell</w:t></w:r></w:p></w:tc></w:tr></w:tbl>)" +
               "\n<w:sdt><w:sdtContent>" + para("in a control") + "</w:sdtContent></w:sdt>" +
               R"(<w:p><w:pPr><w:sectPr><w:pgSz w:w="10000" w:h="15000"/></w:sectPr></w:pPr><w:r><w:t>end of one</w:t></w:r></w:p>)" +
               para("two") + R"(<w:sectPr><w:pgSz w:w="12000" w:h="16000"/></w:sectPr>)" +
               R"(<w:sectPr><w:pgSz w:w="9000" w:h="9000"/></w:sectPr>)";
    ReadResult r = read(pkg);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, ""), "one¶cell¤¤in a control¶end of one§two¶");
    ASSERT_EQ(r.document->sections.size(), 2u);
    EXPECT_EQ(r.document->sections[0].format.pageWidth, 10000);
    EXPECT_EQ(r.document->sections[1].format.pageWidth, 12000);
}

TEST(DocxReader, ThemesAndStylesMetAgainCountTowardsThePackagesLimits)
{
    // A theme and a style sheet read once are known again by the bytes the
    // package holds and are not inflated; each still counts towards the
    // limits as a read would, so a package whose limits refuse them reads
    // as if they had never been met.
    const std::string theme = R"(<?xml version="1.0"?>
      <a:theme xmlns:a="http://schemas.openxmlformats.org/drawingml/2006/main"><a:themeElements><a:fontScheme>
        <a:majorFont><a:latin typeface="Cambria"/></a:majorFont><a:minorFont><a:latin typeface="Georgia"/></a:minorFont>
      </a:fontScheme></a:themeElements><!--)" + std::string(60000, 'x') + R"(--></a:theme>)";
    std::string styles = R"(<w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:asciiTheme="minorHAnsi"/></w:rPr></w:rPrDefault></w:docDefaults>)"
                         R"(<w:style w:type="paragraph" w:default="1" w:styleId="Normal"><w:rPr><w:b/></w:rPr></w:style>)";
    styles += "<!--" + std::string(30000, 'y') + "-->";
    DocxPackage pkg;
    addTheme(pkg, theme);
    pkg.styles = styles;
    pkg.body = para("a");
    struct Case {
        const char* what;
        uint64_t entry;
        const char* expected;
    } const cases[] = {
        {"first read", 1u << 20, "{b 'Georgia'|a}¶"},
        {"met again", 1u << 20, "{b 'Georgia'|a}¶"},
        {"the theme over the limit on one entry", 40000, "{b 'Calibri'|a}¶ docx.part"},
        {"both over it", 20000, "a¶ docx.part docx.part"},
        {"met again after", 1u << 20, "{b 'Georgia'|a}¶"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ReadOptions options;
        options.limits.maxEntryBytes = c.entry;
        ReadResult r = read(pkg, options);
        ASSERT_TRUE(r.ok()) << r.error;
        std::string got = describe(*r.document, "b font");
        for (const Diagnostic& d : r.document->diagnostics)
            if (d.code == "docx.part")
                got += " docx.part";
        EXPECT_EQ(got, c.expected);
    }
}
