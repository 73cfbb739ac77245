// Whole layouts of small documents against golden dumps (rebaseline: QM_REBASELINE=1, see rebaseline.sh).
#include "TestDocuments.h"
#include "engine/layout/LayoutDump.h"

#include <cstdlib>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <sstream>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

const std::u16string Lorem =
    u"Lorem ipsum dolor sit amet, consectetur adipiscing elit, sed do eiusmod tempor incididunt ut labore et "
    u"dolore magna aliqua. Ut enim ad minim veniam, quis nostrud exercitation ullamco laboris nisi ut aliquip "
    u"ex ea commodo consequat.";

// A small page, so that a few lines fill it: 4" by 3", 0.5" margins.
SectionFormat smallPage()
{
    SectionFormat s;
    s.pageWidth = 5760;
    s.pageHeight = 4320;
    s.marginLeft = s.marginRight = s.marginTop = s.marginBottom = 720;
    s.headerDistance = s.footerDistance = 360;
    return s;
}

std::unique_ptr<Document> paragraphsDocument()
{
    DocumentBuilder b("docx");
    const uint32_t body = b.charFormat(font("Times New Roman", 24));
    CharFormat headingFormat = font("Arial", 28);
    headingFormat.bold = true;
    const uint32_t heading = b.charFormat(headingFormat);
    const uint32_t calibri = b.charFormat(font("Calibri", 22));
    ParaFormat keep;
    keep.keepWithNext = true;
    keep.spaceBefore = 240;
    keep.spaceAfter = 60;
    ParaFormat justified;
    justified.alignment = Alignment::Justify;
    ParaFormat listItem;
    listItem.leftIndent = 360;
    listItem.firstLineIndent = -360;
    ParaFormat tabs;
    tabs.tabs = {{1440, TabAlignment::Left}, {4320, TabAlignment::Right, TabLeader::Dot}};
    ParaFormat airy;
    airy.lineSpacing = 276;
    airy.spaceAfter = 200;
    airy.alignment = Alignment::Center;

    addPara(b, u"A heading kept with its text", heading, b.paraFormat(keep));
    addPara(b, Lorem, body, b.paraFormat(justified));
    for (const char16_t* label : {u"1.", u"2."}) {
        listItem.listLabel = label;
        addPara(b, u"A list item long enough to wrap under its own text.", body, b.paraFormat(listItem));
    }
    addPara(b, u"Name\tChapter\t12", body, b.paraFormat(tabs));
    b.appendText(u"Line one\u000Bline two after a manual break, and extra\u001Fordinarily hyphen\u001Fated words.",
                 calibri);
    b.endParagraph(b.paraFormat(airy), calibri);
    b.endParagraph(b.paraFormat({}), body);
    addPara(b, std::u16string(60, u'W'), body, b.paraFormat({}));
    return b.finish(smallPage(), {});
}

std::unique_ptr<Document> tableDocument()
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(font("Arial", 20));
    CharFormat boldFormat = font("Arial", 20);
    boldFormat.bold = true;
    const uint32_t bold = b.charFormat(boldFormat);
    const uint32_t pf = b.paraFormat({});
    TableRowFormat header;
    header.grid = {1440, 1440, 1440};
    header.cells = {{1440}, {1440}, {1440}};
    header.isHeader = true;
    TableRowFormat row = header;
    row.isHeader = false;
    TableRowFormat tall = row;
    tall.heightRule = RowHeightRule::AtLeast;
    tall.height = 720;
    addPara(b, u"Before the table.", cf, pf);
    b.beginTable();
    b.beginRow();
    for (const char16_t* h : {u"Item", u"Description", u"Price"})
        addCell(b, h, bold, pf);
    b.endRow(header, bold);
    for (int i = 1; i <= 9; ++i) {
        b.beginRow();
        addCell(b, utf8ToUtf16("Item " + std::to_string(i)), cf, pf);
        addCell(b, i % 3 == 0 ? u"A description that runs over several lines of its cell" : u"Short", cf, pf);
        addCell(b, utf8ToUtf16(std::to_string(i * 10) + ".00"), cf, pf);
        b.endRow(i == 5 ? tall : row, cf);
    }
    b.endTable();
    addPara(b, u"After the table.", cf, pf);
    return b.finish(smallPage(), {});
}

std::unique_ptr<Document> sectionsDocument()
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(font("Cambria", 22));
    const uint32_t pf = b.paraFormat({});
    const StoryId header = b.newStory(StoryType::PrimaryHeader);
    const StoryId footer = b.newStory(StoryType::PrimaryFooter);
    b.setStory(header);
    addPara(b, u"Running header", cf, pf);
    b.setStory(footer);
    addPara(b, u"Footer\tpage", cf, pf);
    b.setStory(0);
    HeaderFooterRefs refs;
    refs.headers[0] = static_cast<int32_t>(header);
    refs.footers[0] = static_cast<int32_t>(footer);

    b.appendText(u"One column, the first section.", cf);
    b.endSection(smallPage(), refs, pf, cf);
    SectionFormat twoColumns = smallPage();
    twoColumns.start = SectionStart::Continuous;
    twoColumns.columns = 2;
    twoColumns.columnSpacing = 360;
    addPara(b, Lorem, cf, pf);
    b.appendText(u"Column\u000Ebreak", cf);
    b.endSection(twoColumns, {}, pf, cf);
    SectionFormat odd = smallPage();
    odd.start = SectionStart::OddPage;
    addPara(b, u"This section starts on an odd page.", cf, pf);
    return b.finish(odd, {});
}

// A boxed group of paragraphs and a grid table that runs onto a second page.
std::unique_ptr<Document> bordersDocument()
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(font("Times New Roman", 22));
    BorderLine line;
    line.style = BorderStyle::Single;
    line.widthEighths = 6;
    line.spacePoints = 1;
    ParaFormat boxed;
    boxed.spaceAfter = 120;
    boxed.borders.top = boxed.borders.bottom = boxed.borders.left = boxed.borders.right = line;
    boxed.borders.between = line;
    ParaFormat rule;
    rule.borders.bottom = line;
    rule.borders.bottom.style = BorderStyle::Double;
    rule.borders.bottom.spacePoints = 4;
    const uint32_t pf = b.paraFormat({});
    addPara(b, u"A heading over a double rule", cf, b.paraFormat(rule));
    for (int i = 0; i < 2; ++i)
        addPara(b, u"A boxed note that is long enough to wrap onto a second line of its box.", cf, b.paraFormat(boxed));
    addPara(b, u"After the box.", cf, pf);
    TableRowFormat row;
    row.grid = {1440, 1440};
    row.cells = {{1440}, {1440}};
    line.spacePoints = 0;
    line.widthEighths = 4;
    row.tableBorders = {line, line, line, line, line, line};
    row.preferredWidth = 5000; // the whole text width: cells widened to 2160 each
    row.preferredWidthPercent = true;
    TableRowFormat heavy = row;
    heavy.cells[0].borders.top = line;
    heavy.cells[0].borders.top->widthEighths = 18;
    b.beginTable();
    for (int i = 1; i <= 8; ++i) {
        b.beginRow();
        addCell(b, utf8ToUtf16("Row " + std::to_string(i)), cf, pf);
        addCell(b, i == 4 ? u"A cell whose text takes two lines" : u"Short", cf, pf);
        b.endRow(i == 6 ? heavy : row, cf);
    }
    b.endTable();
    addPara(b, u"After the table.", cf, pf);
    return b.finish(smallPage(), {});
}

struct Golden {
    const char* name;
    std::function<std::unique_ptr<Document>()> make;
};

} // namespace

TEST(GoldenLayout, MatchesTheDumps)
{
    const Golden goldens[] = {
        {"paragraphs", paragraphsDocument},
        {"table", tableDocument},
        {"sections", sectionsDocument},
        {"borders", bordersDocument},
    };
    const bool rebaseline = std::getenv("QM_REBASELINE") != nullptr;
    for (const Golden& g : goldens) {
        SCOPED_TRACE(g.name);
        auto doc = g.make();
        const std::string dump = dumpLayout(*doc, layoutDocument(*doc));
        const std::string path = std::string(QM_LAYOUT_GOLDEN_DIR) + "/" + g.name + ".txt";
        if (rebaseline) {
            std::ofstream(path, std::ios::binary) << dump;
            continue;
        }
        std::ifstream in(path, std::ios::binary);
        ASSERT_TRUE(in) << "no golden " << path << "; run rebaseline.sh";
        std::stringstream expected;
        expected << in.rdbuf();
        EXPECT_EQ(dump, expected.str());
    }
}
