// The OpenDocument reader: white space, styles, lists, tables, notes, frames, master pages and flat files.
#include "../support/TestZip.h"
#include "engine/formats/Reader.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

const char* const OdfNamespaces = R"(xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0" )"
                                  R"(xmlns:style="urn:oasis:names:tc:opendocument:xmlns:style:1.0" )"
                                  R"(xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0" )"
                                  R"(xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0" )"
                                  R"(xmlns:draw="urn:oasis:names:tc:opendocument:xmlns:drawing:1.0" )"
                                  R"(xmlns:fo="urn:oasis:names:tc:opendocument:xmlns:xsl-fo-compatible:1.0" )"
                                  R"(xmlns:svg="urn:oasis:names:tc:opendocument:xmlns:svg-compatible:1.0" )"
                                  R"(xmlns:meta="urn:oasis:names:tc:opendocument:xmlns:meta:1.0" office:version="1.3")";

/// An .odt package: the body text, automatic styles of the content, and the
/// styles part's common styles, automatic styles and master pages.
struct OdtPackage {
    std::string body, contentStyles, styles, stylesAutomatic, masters, meta;

    std::string build() const
    {
        const std::string head = R"(<?xml version="1.0" encoding="UTF-8"?>)";
        std::vector<ZipEntry> entries{
            {"mimetype", "application/vnd.oasis.opendocument.text", true},
            {"content.xml", head + "<office:document-content " + OdfNamespaces + "><office:automatic-styles>" +
                                contentStyles + "</office:automatic-styles><office:body><office:text>" + body +
                                "</office:text></office:body></office:document-content>"},
            {"styles.xml", head + "<office:document-styles " + OdfNamespaces + "><office:styles>" + styles +
                               "</office:styles><office:automatic-styles>" + stylesAutomatic +
                               "</office:automatic-styles><office:master-styles>" + masters +
                               "</office:master-styles></office:document-styles>"},
        };
        if (!meta.empty())
            entries.push_back({"meta.xml", head + "<office:document-meta " + OdfNamespaces + "><office:meta>" + meta +
                                               "</office:meta></office:document-meta>"});
        return makeZip(entries);
    }
};

/// The main story as describe() shows it, or the error.
std::string describeMain(const OdtPackage& pkg, std::string_view show = "")
{
    ReadResult r = readOdt(pkg.build(), {});
    return r.ok() ? describe(*r.document, show) : "error: " + r.error;
}

} // namespace

TEST(OdtReader, WhiteSpaceAndInlineElementsFollowOpenDocumentRules)
{
    struct Case {
        const char* name;
        const char* xml;
        const char* expected;
    };
    const Case cases[] = {
        {"runs of white space collapse", "<text:p>  a \n\t  b  </text:p>", "a b ¶"},
        {"collapse across spans", "<text:p>a <text:span> b</text:span></text:p>", "a b¶"},
        {"counted spaces are kept", R"(<text:p>a<text:s text:c="3"/>b<text:s/> c</text:p>)", "a   b  c¶"},
        {"tabs and line breaks", "<text:p>a<text:tab/>b<text:line-break/>c</text:p>", "a→b↵c¶"},
        {"soft page breaks and change marks add nothing",
         R"(<text:p>a<text:soft-page-break/><text:change-start text:change-id="c1"/>b<text:change-end text:change-id="c1"/></text:p>)",
         "ab¶"},
        {"deleted text lives outside the body",
         R"(<text:tracked-changes><text:changed-region text:id="c1"><text:deletion><text:p>gone</text:p></text:deletion></text:changed-region></text:tracked-changes>)"
         R"(<text:p>kept<text:change text:change-id="c1"/></text:p>)",
         "kept¶"},
        {"fields and links show their text",
         R"(<text:h text:outline-level="1"><text:a xlink:href="x" xmlns:xlink="http://www.w3.org/1999/xlink">link</text:a> <text:page-number>3</text:page-number></text:h>)",
         "link 3¶"},
        {"sections and indexes hold paragraphs",
         R"(<text:section><text:p>in</text:p></text:section><text:table-of-content><text:table-of-content-source><text:index-title-template>T</text:index-title-template></text:table-of-content-source><text:index-body><text:p>entry</text:p></text:index-body></text:table-of-content>)",
         "in¶entry¶"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        OdtPackage pkg;
        pkg.body = c.xml;
        EXPECT_EQ(describeMain(pkg), c.expected);
    }
}

TEST(OdtReader, StylesInheritThroughParentsAndAutomaticStyles)
{
    OdtPackage pkg;
    pkg.styles =
        R"(<style:default-style style:family="paragraph"><style:paragraph-properties style:tab-stop-distance="1.25cm"/>
        <style:text-properties fo:font-size="12pt" style:font-name="Liberation Serif"/></style:default-style>
      <style:style style:name="Heading" style:display-name="Heading" style:family="paragraph">
        <style:paragraph-properties fo:margin-top="0.423cm" fo:keep-with-next="always"/><style:text-properties fo:font-size="14pt" fo:font-weight="bold"/></style:style>
      <style:style style:name="Heading_20_1" style:display-name="Heading 1" style:family="paragraph" style:parent-style-name="Heading">
        <style:text-properties fo:font-style="italic"/></style:style>
      <style:style style:name="Emphasis" style:family="text"><style:text-properties style:text-underline-style="solid" style:text-position="super 58%"/></style:style>)";
    pkg.contentStyles = R"(<style:style style:name="P1" style:family="paragraph" style:parent-style-name="Heading_20_1">
        <style:paragraph-properties fo:text-align="center"/></style:style>
      <style:style style:name="T1" style:family="text" style:parent-style-name="Emphasis"><style:text-properties fo:font-weight="normal" text:display="none"/></style:style>)";
    pkg.body =
        R"(<text:h text:style-name="P1">ab<text:span text:style-name="T1">c</text:span></text:h><text:p>d</text:p>)";
    // The span turns the heading's bold off: no toggling in OpenDocument.
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b i hid u pos sz style al space keep"),
              "{b i sz28|ab}{i hid u sup sz28|c}¶['Heading 1' center sb240 kn]{sz24|d}¶['Standard']");
    EXPECT_EQ(r.document->settings.defaultTabStop, 709);
}

TEST(OdtReader, ListsLabelTheFirstParagraphOfEachItem)
{
    OdtPackage pkg;
    pkg.contentStyles = R"xml(<text:list-style style:name="L1">
        <text:list-level-style-number text:level="1" style:num-suffix="." style:num-format="1"/>
        <text:list-level-style-number text:level="2" style:num-suffix=")" style:num-format="a" text:display-levels="2"/>
      </text:list-style><text:list-style style:name="L2"><text:list-level-style-bullet text:level="1" text:bullet-char="•"/></text:list-style>)xml";
    pkg.body = R"(<text:list text:style-name="L1"><text:list-item><text:p>one</text:p><text:p>more</text:p>
        <text:list><text:list-item><text:p>sub</text:p></text:list-item><text:list-item><text:p>sub2</text:p></text:list-item></text:list></text:list-item>
        <text:list-item><text:p>two</text:p></text:list-item><text:list-header><text:p>head</text:p></text:list-header></text:list>
      <text:list text:style-name="L1"><text:list-item><text:p>again</text:p></text:list-item></text:list>
      <text:list text:style-name="L1" text:continue-numbering="true"><text:list-item><text:p>on</text:p></text:list-item></text:list>
      <text:list text:style-name="L2"><text:list-item><text:p>dot</text:p></text:list-item></text:list>)";
    EXPECT_EQ(describeMain(pkg, "label"),
              "one¶[«1.»]more¶sub¶[«1.a)»]sub2¶[«1.b)»]two¶[«2.»]head¶again¶[«1.»]on¶[«2.»]dot¶[«•»]");
}

TEST(OdtReader, HeadingsTakeTheOutlineNumbering)
{
    OdtPackage pkg;
    pkg.styles = R"(<text:outline-style style:name="Outline">
        <text:outline-level-style text:level="1" style:num-format="1" style:num-suffix=" "/>
        <text:outline-level-style text:level="2" style:num-format="1" text:display-levels="2"/>
        <text:outline-level-style text:level="3" style:num-format=""/></text:outline-style>)";
    pkg.body =
        R"(<text:h text:outline-level="1">A</text:h><text:h text:outline-level="2">B</text:h><text:h text:outline-level="2">C</text:h>)"
        R"(<text:h text:outline-level="3">D</text:h><text:h text:outline-level="1">E</text:h><text:h text:outline-level="2">F</text:h><text:p>G</text:p>)";
    EXPECT_EQ(describeMain(pkg, "label"), "A¶[«1 »]B¶[«1.1»]C¶[«1.2»]D¶E¶[«2 »]F¶[«2.1»]G¶");
}

TEST(OdtReader, TablesSpanColumnsAndRowsLikeWord)
{
    OdtPackage pkg;
    pkg.contentStyles =
        R"(<style:style style:name="C1" style:family="table-column"><style:table-column-properties style:column-width="1in"/></style:style>)";
    pkg.body = R"(<table:table><table:table-column table:style-name="C1" table:number-columns-repeated="3"/>
        <table:table-header-rows><table:table-row><table:table-cell table:number-columns-spanned="2"><text:p>wide</text:p></table:table-cell>
          <table:covered-table-cell/><table:table-cell table:number-rows-spanned="2"><text:p>tall</text:p></table:table-cell></table:table-row></table:table-header-rows>
        <table:table-row><table:table-cell><text:p>a</text:p></table:table-cell><table:table-cell><table:table><table:table-column/>
          <table:table-row><table:table-cell><text:p>in</text:p></table:table-cell></table:table-row></table:table><text:p/></table:table-cell><table:covered-table-cell/></table:table-row>
        <table:table-row table:number-rows-repeated="2"><table:table-cell table:number-columns-repeated="3"/></table:table-row>
      </table:table><text:p>after</text:p>)";
    EXPECT_EQ(describeMain(pkg, "depth row"),
              "wide¤tall¤¤[row grid1440,1440,1440 cells2880x2,0^ hdr]a¤in¤[d2]¤[d2 row grid0 cells0]"
              "¤¤¤[row grid1440,1440,1440 cells1440,1440,1440|]¤¤¤¤[row grid1440,1440,1440 cells1440,1440,1440]"
              "¤¤¤¤[row grid1440,1440,1440 cells1440,1440,1440]after¶");
}

TEST(OdtReader, NotesFramesAndCommentsAreTheirOwnStories)
{
    OdtPackage pkg;
    pkg.body =
        R"(<text:p>Body<text:note text:note-class="footnote"><text:note-citation>1</text:note-citation><text:note-body><text:p>Foot</text:p></text:note-body></text:note>)"
        R"(<text:note text:note-class="endnote"><text:note-citation>i</text:note-citation><text:note-body><text:p>End</text:p></text:note-body></text:note>)"
        R"(<office:annotation><dc:creator xmlns:dc="http://purl.org/dc/elements/1.1/">me</dc:creator><text:p>Remark</text:p></office:annotation>)"
        R"(<draw:frame text:anchor-type="as-char" svg:width="1in" svg:height="0.5in"><draw:text-box><text:p>Boxed</text:p></draw:text-box></draw:frame>)"
        R"(<draw:frame text:anchor-type="paragraph"><draw:image/></draw:frame></text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    // Citations become Word's note references.
    EXPECT_EQ(describe(*r.document, "note obj"), "Body{note0|²}{note1|²}{obj0|□}{obj1|⚓}¶");
    EXPECT_EQ(describeNotes(*r.document), "foot:Foot¶ | end:End¶ | comment:Remark¶");
    EXPECT_EQ(describeObjects(*r.document), "textbox 1440x720:Boxed¶ | picture float");

    // Shapes in a group keep their own text, each as a story.
    OdtPackage group;
    group.body =
        R"(<text:p><draw:g><draw:custom-shape text:anchor-type="paragraph"><text:p>one</text:p></draw:custom-shape>)"
        R"(<draw:frame text:anchor-type="paragraph"><draw:text-box><text:p>two</text:p></draw:text-box></draw:frame></draw:g></text:p>)";
    r = readOdt(group.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeObjects(*r.document), "textbox float:one¶ | textbox float:two¶");
    EXPECT_EQ(describe(*r.document, ""), "⚓⚓¶");
}

TEST(OdtReader, MasterPagesGiveSectionsHeadersAndFooters)
{
    OdtPackage pkg;
    pkg.stylesAutomatic =
        R"(<style:page-layout style:name="pm1"><style:page-layout-properties fo:page-width="21cm" fo:page-height="29.7cm"
          fo:margin-top="2cm" fo:margin-bottom="2cm" fo:margin-left="2cm" fo:margin-right="2cm"/>
        <style:header-style><style:header-footer-properties fo:min-height="0.5cm" fo:margin-bottom="0.5cm"/></style:header-style></style:page-layout>
      <style:page-layout style:name="pm2"><style:page-layout-properties fo:page-width="29.7cm" fo:page-height="21cm"
          style:layout-grid-mode="line" style:layout-grid-base-height="0.55cm" style:layout-grid-ruby-height="0cm"/></style:page-layout>)";
    pkg.masters = R"(<style:master-page style:name="Standard" style:page-layout-name="pm1">
        <style:header><text:p>Head</text:p></style:header><style:header-left><text:p>Left</text:p></style:header-left>
        <style:footer-first><text:p>First</text:p></style:footer-first></style:master-page>
      <style:master-page style:name="Landscape" style:page-layout-name="pm2"><style:footer><text:p>Foot</text:p></style:footer></style:master-page>)";
    pkg.contentStyles = R"(<style:style style:name="P9" style:family="paragraph" style:master-page-name="Landscape">
        <style:paragraph-properties style:snap-to-layout-grid="false"/></style:style>)";
    pkg.body = R"(<text:p>portrait</text:p><text:p text:style-name="P9">landscape</text:p>)";
    pkg.meta =
        R"(<meta:generator>LibreOffice/7.4</meta:generator><meta:document-statistic meta:page-count="2" meta:paragraph-count="2" meta:word-count="2" meta:character-count="17" meta:non-whitespace-character-count="17"/>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    EXPECT_EQ(visible(doc.mainStory()), "portrait§landscape¶");
    // The landscape pages' text grid is 0.55 cm (312 twips); its paragraph keeps off it.
    EXPECT_EQ(describe(doc, "grid"), "portrait§landscape¶[nosnap]");
    // The header's height and spacing lie inside Word's top margin.
    EXPECT_EQ(describeSections(doc), "§9 w11906 h16838 mt1700 mb1134 ml1134 mr1134 hd1134 title H:Head¶ H2:Left¶ "
                                     "F1:First¶ | §19 w16838 h11906 gridlines312 H^:Head¶"
                                     " H2^:Left¶ F:Foot¶ F1^:First¶");
    EXPECT_TRUE(doc.settings.evenAndOddHeaders);
    EXPECT_EQ(std::tuple(doc.stored.words, doc.stored.charactersWithSpaces, doc.stored.application),
              std::tuple(2, 17, "LibreOffice/7.4"));
}

TEST(OdtReader, FlatFilesAndDamagedPackages)
{
    const std::string flat =
        std::string(R"(<?xml version="1.0"?><office:document )") + OdfNamespaces +
        R"( office:mimetype="application/vnd.oasis.opendocument.text"><office:styles>)"
        R"(<style:style style:name="B" style:family="text"><style:text-properties fo:font-weight="bold"/></style:style></office:styles>)"
        R"(<office:body><office:text><text:p>flat <text:span text:style-name="B">bold</text:span></text:p></office:text></office:body></office:document>)";
    ReadResult r = readFlatOdt(flat, {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b"), "flat {b|bold}¶");
    // Through the dispatcher, by content.
    r = readDocumentBytes(flat, "xml");
    ASSERT_TRUE(r.ok()) << r.error;

    struct Case {
        const char* name;
        std::string input;
        const char* errorContains;
    };
    OdtPackage good;
    good.body = "<text:p>x</text:p>";
    const std::string bytes = good.build();
    std::string deep = "<text:p>";
    for (int i = 0; i < 3000; ++i)
        deep += "<text:span>";
    const Case failures[] = {
        {"truncated", bytes.substr(0, bytes.size() - 40), "zip"},
        {"no content", makeZip({{"mimetype", "application/vnd.oasis.opendocument.text", true}}),
         "content.xml is missing"},
        {"encrypted",
         makeZip({{"mimetype", "application/vnd.oasis.opendocument.text", true},
                  {"META-INF/manifest.xml", "<manifest:encryption-data/>"},
                  {"content.xml", "x"}}),
         "password-protected"},
        {"malformed content", makeZip({{"content.xml", "<office:document-content><unclosed>"}}), "malformed"},
    };
    for (const Case& c : failures) {
        SCOPED_TRACE(c.name);
        EXPECT_TRUE(failsWith(readOdt(c.input, {}), c.errorContains));
    }
    EXPECT_FALSE(readFlatOdt(std::string("<?xml version=\"1.0\"?><office:document>") + deep, {}).ok());

    // Repeated rows are copies; past a budget they are cut with a diagnostic
    // instead of expanding a few bytes into millions of cells.
    OdtPackage repeated;
    repeated.body =
        R"(<table:table><table:table-column/><table:table-row table:number-rows-repeated="1000">)"
        R"(<table:table-cell table:number-columns-repeated="1000"><text:p>x</text:p></table:table-cell></table:table-row></table:table>)";
    r = readOdt(repeated.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const auto cut = std::ranges::count(r.document->mainStory().text, u'x');
    EXPECT_TRUE(cut > 1000 && cut < 200000) << cut;
    EXPECT_TRUE(hasDiagnostic(*r.document, "odt.repeat"));

    // A damaged styles part costs the formatting, not the text.
    OdtPackage broken;
    broken.body = "<text:p>text</text:p>";
    broken.styles = "<unclosed>";
    r = readOdt(broken.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(visible(r.document->mainStory()), "text¶");
    EXPECT_TRUE(hasDiagnostic(*r.document, "odt.part"));
}

// fo:border in any word order, each side's own over the shorthand, padding
// as the distance from the text (a paragraph's) or the cell margins (a
// cell's); a double border's width is the whole of its three parts; a
// cell's text centred in its row.
TEST(OdtReader, BordersAndPaddingOfParagraphsAndCells)
{
    OdtPackage pkg;
    pkg.contentStyles =
        R"(<style:style style:name="P1" style:family="paragraph"><style:paragraph-properties fo:border="#FF0000 0.5pt solid" fo:border-left="none" fo:padding="0.0417in" fo:background-color="#FFFF00"/></style:style>
           <style:style style:name="P2" style:family="paragraph"><style:paragraph-properties fo:border-bottom="1.5pt double #000000"/></style:style>
           <style:style style:name="A1" style:family="table-cell"><style:table-cell-properties fo:padding-top="0.05in" fo:border-top="1pt dotted #000000" fo:border-bottom="none" style:vertical-align="middle"/></style:style>)";
    pkg.body = R"(<text:p text:style-name="P1">boxed</text:p><text:p text:style-name="P2">ruled</text:p>
        <table:table><table:table-column/><table:table-row><table:table-cell table:style-name="A1"><text:p>a</text:p></table:table-cell></table:table-row></table:table>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    const Story& s = d.mainStory();
    const ParaFormat& boxed = d.paraFormatOf(s, 5);
    EXPECT_EQ(boxed.borders.top, (BorderLine{BorderStyle::Single, 4, 3, 0xFF0000}));
    EXPECT_EQ(boxed.borders.right, boxed.borders.top);
    EXPECT_FALSE(boxed.borders.left.present());
    EXPECT_EQ(boxed.shading, 0xFFFF00u);
    const ParaFormat& ruled = d.paraFormatOf(s, 11);
    EXPECT_EQ(ruled.borders.bottom, (BorderLine{BorderStyle::Double, 4, 0, 0x000000}));
    EXPECT_FALSE(ruled.borders.top.present());
    ASSERT_EQ(d.rowFormats.size(), 1u);
    const TableRowFormat& row = d.rowFormats[0];
    EXPECT_EQ(row.cellMarginTop, 72);
    EXPECT_EQ(row.cells[0].borders.top, (BorderLine{BorderStyle::Dotted, 8, 0, 0x000000}));
    EXPECT_EQ(row.cells[0].borders.bottom, BorderLine{});
    EXPECT_FALSE(row.cells[0].borders.left.has_value());
    EXPECT_EQ(row.cells[0].verticalAlign, CellVerticalAlign::Center);
}

// Would catch the Asian and complex fonts and sizes taken from the Western
// attributes, or a right-to-left writing mode lost.
TEST(OdtReader, EachScriptKeepsItsOwnFontAndDirection)
{
    OdtPackage pkg;
    pkg.styles = R"(<style:default-style style:family="paragraph">
        <style:text-properties style:font-name="Liberation Serif" style:font-name-asian="Noto Serif CJK JP"
          style:font-family-complex="'Amiri'" style:font-size-complex="14pt"/></style:default-style>)";
    pkg.contentStyles = R"(<style:style style:name="P1" style:family="paragraph">
        <style:paragraph-properties style:writing-mode="rl-tb"/></style:style>)";
    pkg.body = R"(<text:p>a</text:p><text:p text:style-name="P1">b</text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "font scripts rtl"),
              "{'Liberation Serif' ea'Noto Serif CJK JP' cs'Amiri' szcs28|a}¶{'Liberation Serif' ea'Noto Serif CJK JP' "
              "cs'Amiri' szcs28|b}¶[rtl]");
}
