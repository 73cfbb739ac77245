// The OpenDocument reader: white space, styles, lists, tables, notes, frames, master pages and flat files.
#include "../support/TestZip.h"

#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

const char* const OdfNamespaces =
    R"(xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0" )"
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

std::string mainText(const OdtPackage& pkg)
{
    ReadResult r = readOdt(pkg.build(), {});
    return r.ok() ? visible(r.document->mainStory()) : "error: " + r.error;
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
        EXPECT_EQ(mainText(pkg), c.expected);
    }
}

TEST(OdtReader, StylesInheritThroughParentsAndAutomaticStyles)
{
    OdtPackage pkg;
    pkg.styles = R"(<style:default-style style:family="paragraph"><style:paragraph-properties style:tab-stop-distance="1.25cm"/>
        <style:text-properties fo:font-size="12pt" style:font-name="Liberation Serif"/></style:default-style>
      <style:style style:name="Heading" style:display-name="Heading" style:family="paragraph">
        <style:paragraph-properties fo:margin-top="0.423cm" fo:keep-with-next="always"/><style:text-properties fo:font-size="14pt" fo:font-weight="bold"/></style:style>
      <style:style style:name="Heading_20_1" style:display-name="Heading 1" style:family="paragraph" style:parent-style-name="Heading">
        <style:text-properties fo:font-style="italic"/></style:style>
      <style:style style:name="Emphasis" style:family="text"><style:text-properties style:text-underline-style="solid" style:text-position="super 58%"/></style:style>)";
    pkg.contentStyles = R"(<style:style style:name="P1" style:family="paragraph" style:parent-style-name="Heading_20_1">
        <style:paragraph-properties fo:text-align="center"/></style:style>
      <style:style style:name="T1" style:family="text" style:parent-style-name="Emphasis"><style:text-properties fo:font-weight="normal" text:display="none"/></style:style>)";
    pkg.body = R"(<text:h text:style-name="P1">ab<text:span text:style-name="T1">c</text:span></text:h><text:p>d</text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    const Story& s = doc.mainStory();
    ASSERT_EQ(visible(s), "abc¶d¶");
    const CharFormat& a = doc.charFormatAt(s, 0);
    EXPECT_EQ(std::tuple(a.bold, a.italic, a.sizeHalfPoints), std::tuple(true, true, 28));
    // The span turns the heading's bold off: no toggling in OpenDocument.
    const CharFormat& c = doc.charFormatAt(s, 2);
    EXPECT_EQ(std::tuple(c.bold, c.italic, c.hidden, c.underline, c.verticalPosition),
              std::tuple(false, true, true, UnderlineKind::Single, VerticalPosition::Superscript));
    const CharFormat& d = doc.charFormatAt(s, 4);
    EXPECT_EQ(std::tuple(d.sizeHalfPoints, d.bold), std::tuple(24, false));
    const ParaFormat& heading = doc.paraFormatOf(s, 3);
    EXPECT_EQ(std::tuple(heading.styleName, heading.alignment, heading.spaceBefore, heading.keepWithNext),
              std::tuple("Heading 1", Alignment::Center, 240, true));
    EXPECT_EQ(doc.settings.defaultTabStop, 709);
    // Hidden text is in the story, and Word's figures count it.
    EXPECT_EQ(computeWordStatistics(doc).characters, 4);
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
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(visible(r.document->mainStory()), "one¶more¶sub¶sub2¶two¶head¶again¶on¶dot¶");
    EXPECT_EQ(listLabels(*r.document),
              (std::vector<std::u16string>{u"1.", u"", u"1.a)", u"1.b)", u"2.", u"", u"1.", u"2.", u"•"}));
}

TEST(OdtReader, HeadingsTakeTheOutlineNumbering)
{
    OdtPackage pkg;
    pkg.styles = R"(<text:outline-style style:name="Outline">
        <text:outline-level-style text:level="1" style:num-format="1" style:num-suffix=" "/>
        <text:outline-level-style text:level="2" style:num-format="1" text:display-levels="2"/>
        <text:outline-level-style text:level="3" style:num-format=""/></text:outline-style>)";
    pkg.body = R"(<text:h text:outline-level="1">A</text:h><text:h text:outline-level="2">B</text:h><text:h text:outline-level="2">C</text:h>)"
               R"(<text:h text:outline-level="3">D</text:h><text:h text:outline-level="1">E</text:h><text:h text:outline-level="2">F</text:h><text:p>G</text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(listLabels(*r.document), (std::vector<std::u16string>{u"1 ", u"1.1", u"1.2", u"", u"2 ", u"2.1", u""}));
}

TEST(OdtReader, TablesSpanColumnsAndRowsLikeWord)
{
    OdtPackage pkg;
    pkg.contentStyles = R"(<style:style style:name="C1" style:family="table-column"><style:table-column-properties style:column-width="1in"/></style:style>)";
    pkg.body = R"(<table:table><table:table-column table:style-name="C1" table:number-columns-repeated="3"/>
        <table:table-header-rows><table:table-row><table:table-cell table:number-columns-spanned="2"><text:p>wide</text:p></table:table-cell>
          <table:covered-table-cell/><table:table-cell table:number-rows-spanned="2"><text:p>tall</text:p></table:table-cell></table:table-row></table:table-header-rows>
        <table:table-row><table:table-cell><text:p>a</text:p></table:table-cell><table:table-cell><table:table><table:table-column/>
          <table:table-row><table:table-cell><text:p>in</text:p></table:table-cell></table:table-row></table:table><text:p/></table:table-cell><table:covered-table-cell/></table:table-row>
        <table:table-row table:number-rows-repeated="2"><table:table-cell table:number-columns-repeated="3"/></table:table-row>
      </table:table><text:p>after</text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    const Story& s = doc.mainStory();
    EXPECT_EQ(visible(s), "wide¤tall¤¤a¤in¤¤¤¤¤¤¤¤¤¤¤¤¤after¶");
    auto tables = findTables(doc, 0, 0, s.size());
    ASSERT_EQ(tables.size(), 1u);
    ASSERT_EQ(tables[0].rows.size(), 4u);
    const TableRowFormat& first = doc.rowFormats[tables[0].rows[0].rowFormat];
    EXPECT_EQ(first.grid, (std::vector<Twips>{1440, 1440, 1440}));
    ASSERT_EQ(first.cells.size(), 2u);
    EXPECT_EQ(std::tuple(first.isHeader, first.cells[0].gridSpan, first.cells[0].width, first.cells[1].verticalMerge),
              std::tuple(true, 2, 2880, VerticalMerge::Restart));
    const TableRowFormat& second = doc.rowFormats[tables[0].rows[1].rowFormat];
    ASSERT_EQ(second.cells.size(), 3u);
    EXPECT_EQ(std::tuple(second.isHeader, second.cells[2].verticalMerge), std::tuple(false, VerticalMerge::Continue));
    EXPECT_EQ(tables[0].rows[2].cells.size(), 3u);
    EXPECT_EQ(findTables(doc, 0, tables[0].rows[1].cells[1].start, tables[0].rows[1].cells[1].end, 2).size(), 1u);
}

TEST(OdtReader, NotesFramesAndCommentsAreTheirOwnStories)
{
    OdtPackage pkg;
    pkg.body = R"(<text:p>Body<text:note text:note-class="footnote"><text:note-citation>1</text:note-citation><text:note-body><text:p>Foot</text:p></text:note-body></text:note>)"
               R"(<text:note text:note-class="endnote"><text:note-citation>i</text:note-citation><text:note-body><text:p>End</text:p></text:note-body></text:note>)"
               R"(<office:annotation><dc:creator xmlns:dc="http://purl.org/dc/elements/1.1/">me</dc:creator><text:p>Remark</text:p></office:annotation>)"
               R"(<draw:frame text:anchor-type="as-char" svg:width="1in" svg:height="0.5in"><draw:text-box><text:p>Boxed</text:p></draw:text-box></draw:frame>)"
               R"(<draw:frame text:anchor-type="paragraph"><draw:image/></draw:frame></text:p>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    const Story& s = doc.mainStory();
    EXPECT_EQ(visible(s), "Body²²□⚓¶"); // citations become Word's note references
    ASSERT_EQ(doc.notes.size(), 3u);
    EXPECT_EQ(std::tuple(doc.notes[0].kind, doc.charFormatAt(s, 4).noteIndex, doc.stories[doc.notes[1].story].type),
              std::tuple(NoteKind::Footnote, 0, StoryType::Endnotes));
    EXPECT_EQ(visible(doc.stories[doc.notes[0].story]), "Foot¶");
    EXPECT_EQ(visible(doc.stories[doc.notes[2].story]), "Remark¶");
    ASSERT_EQ(doc.objects.size(), 2u);
    EXPECT_EQ(std::tuple(doc.objects[0].kind, doc.objects[0].floating, doc.objects[0].width),
              std::tuple(ObjectKind::TextBox, false, 1440));
    EXPECT_EQ(visible(doc.stories[doc.objects[0].story]), "Boxed¶");
    EXPECT_EQ(std::tuple(doc.objects[1].kind, doc.objects[1].floating), std::tuple(ObjectKind::Picture, true));

    // Shapes in a group keep their own text, each as a story.
    OdtPackage group;
    group.body = R"(<text:p><draw:g><draw:custom-shape text:anchor-type="paragraph"><text:p>one</text:p></draw:custom-shape>)"
                 R"(<draw:frame text:anchor-type="paragraph"><draw:text-box><text:p>two</text:p></draw:text-box></draw:frame></draw:g></text:p>)";
    r = readOdt(group.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    ASSERT_EQ(r.document->objects.size(), 2u);
    EXPECT_EQ(visible(r.document->stories[r.document->objects[0].story]), "one¶");
    EXPECT_EQ(visible(r.document->stories[r.document->objects[1].story]), "two¶");
    EXPECT_EQ(visible(r.document->mainStory()), "⚓⚓¶");
}

TEST(OdtReader, MasterPagesGiveSectionsHeadersAndFooters)
{
    OdtPackage pkg;
    pkg.stylesAutomatic = R"(<style:page-layout style:name="pm1"><style:page-layout-properties fo:page-width="21cm" fo:page-height="29.7cm"
          fo:margin-top="2cm" fo:margin-bottom="2cm" fo:margin-left="2cm" fo:margin-right="2cm"/>
        <style:header-style><style:header-footer-properties fo:min-height="0.5cm" fo:margin-bottom="0.5cm"/></style:header-style></style:page-layout>
      <style:page-layout style:name="pm2"><style:page-layout-properties fo:page-width="29.7cm" fo:page-height="21cm"/></style:page-layout>)";
    pkg.masters = R"(<style:master-page style:name="Standard" style:page-layout-name="pm1">
        <style:header><text:p>Head</text:p></style:header><style:header-left><text:p>Left</text:p></style:header-left>
        <style:footer-first><text:p>First</text:p></style:footer-first></style:master-page>
      <style:master-page style:name="Landscape" style:page-layout-name="pm2"><style:footer><text:p>Foot</text:p></style:footer></style:master-page>)";
    pkg.contentStyles = R"(<style:style style:name="P9" style:family="paragraph" style:master-page-name="Landscape"/>)";
    pkg.body = R"(<text:p>portrait</text:p><text:p text:style-name="P9">landscape</text:p>)";
    pkg.meta = R"(<meta:generator>LibreOffice/7.4</meta:generator><meta:document-statistic meta:page-count="2" meta:paragraph-count="2" meta:word-count="2" meta:character-count="17" meta:non-whitespace-character-count="17"/>)";
    ReadResult r = readOdt(pkg.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& doc = *r.document;
    EXPECT_EQ(visible(doc.mainStory()), "portrait§landscape¶");
    ASSERT_EQ(doc.sections.size(), 2u);
    const SectionFormat& portrait = doc.sections[0].format;
    // The header's height and spacing lie inside Word's top margin.
    EXPECT_EQ(std::tuple(portrait.pageWidth, portrait.headerDistance, portrait.marginTop, portrait.titlePage),
              std::tuple(11906, 1134, 1134 + 283 + 283, true));
    EXPECT_EQ(doc.sections[1].format.pageWidth, 16838);
    EXPECT_TRUE(doc.settings.evenAndOddHeaders);
    EXPECT_EQ(visible(doc.stories[doc.headerStory(0, HeaderFooterIndex::Primary)]), "Head¶");
    EXPECT_EQ(visible(doc.stories[doc.headerStory(0, HeaderFooterIndex::EvenPages)]), "Left¶");
    EXPECT_EQ(visible(doc.stories[doc.footerStory(0, HeaderFooterIndex::FirstPage)]), "First¶");
    EXPECT_EQ(visible(doc.stories[doc.footerStory(1, HeaderFooterIndex::Primary)]), "Foot¶");
    EXPECT_EQ(std::tuple(doc.stored.words, doc.stored.charactersWithSpaces, doc.stored.application),
              std::tuple(2, 17, "LibreOffice/7.4"));
}

TEST(OdtReader, FlatFilesAndDamagedPackages)
{
    const std::string flat = std::string(R"(<?xml version="1.0"?><office:document )") + OdfNamespaces +
                             R"( office:mimetype="application/vnd.oasis.opendocument.text"><office:styles>)"
                             R"(<style:style style:name="B" style:family="text"><style:text-properties fo:font-weight="bold"/></style:style></office:styles>)"
                             R"(<office:body><office:text><text:p>flat <text:span text:style-name="B">bold</text:span></text:p></office:text></office:body></office:document>)";
    ReadResult r = readFlatOdt(flat, {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(visible(r.document->mainStory()), "flat bold¶");
    EXPECT_TRUE(r.document->charFormatAt(r.document->mainStory(), 5).bold);
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
        {"no content", makeZip({{"mimetype", "application/vnd.oasis.opendocument.text", true}}), "content.xml is missing"},
        {"encrypted", makeZip({{"mimetype", "application/vnd.oasis.opendocument.text", true},
                               {"META-INF/manifest.xml", "<manifest:encryption-data/>"}, {"content.xml", "x"}}),
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
    {
        OdtPackage repeated;
        repeated.body = R"(<table:table><table:table-column/><table:table-row table:number-rows-repeated="1000">)"
                        R"(<table:table-cell table:number-columns-repeated="1000"><text:p>x</text:p></table:table-cell></table:table-row></table:table>)";
        ReadResult big = readOdt(repeated.build(), {});
        ASSERT_TRUE(big.ok()) << big.error;
        const auto cut = std::count(big.document->mainStory().text.begin(), big.document->mainStory().text.end(), u'x');
        EXPECT_GT(cut, 1000);
        EXPECT_LT(cut, 200000);
        ASSERT_FALSE(big.document->diagnostics.empty());
        EXPECT_EQ(big.document->diagnostics[0].code, "odt.repeat");
    }

    // A damaged styles part costs the formatting, not the text.
    OdtPackage broken;
    broken.body = "<text:p>text</text:p>";
    broken.styles = "<unclosed>";
    r = readOdt(broken.build(), {});
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(visible(r.document->mainStory()), "text¶");
    ASSERT_FALSE(r.document->diagnostics.empty());
    EXPECT_EQ(r.document->diagnostics[0].code, "odt.part");
}
