// Lines flowing into pages: breaks, keeps, widows, spacing, sections, columns, tables, headers.
#include "TestDocuments.h"
#include "engine/layout/LayoutDump.h"
#include "engine/layout/LineBreaker.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::layout;
using namespace qm::engine::layout::testing;

namespace {

// Times New Roman 12 pt single lines are 276 twips; a Letter page with 1"
// margins has 12960 twips of body: 46 lines.
CharFormat times() { return font("Times New Roman", 24); }
constexpr size_t LinesPerPage = 46;

std::vector<Para> lines(size_t n, const ParaFormat& pf = {})
{
    std::vector<Para> out;
    for (size_t i = 0; i < n; ++i)
        out.push_back({u"Line " + utf8ToUtf16(std::to_string(i + 1)), pf, times()});
    return out;
}

} // namespace

// An empty document has one page, and its one empty paragraph is a line.
TEST(Pagination, FullPagesOfSingleLines)
{
    for (size_t n : {size_t{0}, size_t{1}, LinesPerPage, LinesPerPage + 1, 3 * LinesPerPage}) {
        SCOPED_TRACE(n);
        const size_t shown = std::max(n, size_t{1});
        const LayoutResult r = layoutDocument(*makeDocument(lines(n)));
        EXPECT_EQ(r.pageCount(), static_cast<int64_t>((shown + LinesPerPage - 1) / LinesPerPage));
        EXPECT_EQ(r.lineCount(), static_cast<int64_t>(shown));
        EXPECT_EQ(r.pages[0].lines.size(), std::min(shown, LinesPerPage));
    }
}

// A floating object anchored in the first of 51 one-line paragraphs of
// Times New Roman 12 pt (276 twips each, 46 to a Letter page with 1"
// margins, body from 1440 to 14400). Hand-worked: a box 2760 twips tall
// (ten lines) standing 276 below its paragraph's top keeps 1716-4476 clear;
// "Line 1" at 1716 moves to 4476, and (14400 - 4476) / 276 = 35.96 holds 35
// more lines: 36 on page 1, 15 on page 2.
TEST(Pagination, WrappedFloatingObjectsPushLinesBelowThem)
{
    auto box = [](TextWrap wrap, Twips width, Twips height, AnchorFrom from, Twips top) {
        InlineObject o;
        o.kind = ObjectKind::TextBox;
        o.floating = true;
        o.wrap = wrap;
        o.width = width;
        o.height = height;
        o.vertical.from = from;
        o.vertical.offset = top;
        return o;
    };
    struct Case {
        const char* what;
        InlineObject object;
        std::vector<size_t> perPage;
    } cases[] = {
        {"no wrapping: the text runs under it", box(TextWrap::None, 9360, 2760, AnchorFrom::Paragraph, 276), {46, 5}},
        {"top and bottom", box(TextWrap::TopAndBottom, 2880, 2760, AnchorFrom::Paragraph, 276), {36, 15}},
        {"square, as wide as the column", box(TextWrap::Square, 9360, 2760, AnchorFrom::Paragraph, 276), {36, 15}},
        // From the page's top edge: 6960-8340 clear; line 21 (6960-7236)
        // moves to 8340, (14400 - 8340) / 276 = 21.96 more: 20 + 21 = 41.
        {"top and bottom, from the page", box(TextWrap::TopAndBottom, 9360, 1380, AnchorFrom::Page, 6960), {41, 10}},
    };
    auto layOut = [](const InlineObject& object) {
        DocumentBuilder b("docx");
        CharFormat anchorFormat = times();
        anchorFormat.objectIndex = b.addObject(object);
        const uint32_t text = b.charFormat(times());
        const uint32_t para = b.paraFormat(ParaFormat{});
        b.appendText(u"Anchor", text);
        b.appendChar(Ch::Anchor, b.charFormat(anchorFormat));
        b.endParagraph(para, text);
        for (int i = 1; i <= 50; ++i)
            addPara(b, u"Line " + utf8ToUtf16(std::to_string(i)), text, para);
        auto doc = b.finish(SectionFormat{}, HeaderFooterRefs{});
        return layoutDocument(*doc);
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(linesPerPage(layOut(c.object)), c.perPage);
    }

    // The text keeps the object's distance below it too: 276 more clear.
    InlineObject apart = box(TextWrap::TopAndBottom, 9360, 2760, AnchorFrom::Paragraph, 276);
    apart.distBottom = 276;
    const LayoutResult r = layOut(apart);
    EXPECT_EQ(linesPerPage(r), (std::vector<size_t>{35, 16}));
    EXPECT_DOUBLE_EQ(r.pages[0].lines[1].y, 4752);
}

// A picture 2880 twips wide and 1380 tall (five lines of 276) at the left
// margin, square-wrapped, leaves 6480 beside it: the paragraph's first five
// lines start right of it at 4320, the lines below it at the margin again.
// Without the wrap the text runs under the picture.
TEST(Pagination, LinesBesideASquareWrappedPictureAreNarrowed)
{
    for (const TextWrap wrap : {TextWrap::Square, TextWrap::None}) {
        SCOPED_TRACE(wrap == TextWrap::Square ? "square" : "none");
        DocumentBuilder b("docx");
        const uint32_t text = b.charFormat(times());
        const uint32_t para = b.paraFormat(ParaFormat{});
        InlineObject o;
        o.kind = ObjectKind::Picture;
        o.floating = true;
        o.wrap = wrap;
        o.width = 2880;
        o.height = 1380;
        o.horizontal.from = AnchorFrom::Margin;
        o.vertical.from = AnchorFrom::Paragraph;
        CharFormat anchor = times();
        anchor.objectIndex = b.addObject(o);
        b.appendChar(Ch::Anchor, b.charFormat(anchor));
        std::u16string words;
        for (int i = 0; i < 150; ++i)
            words += u"word ";
        b.appendText(words, text);
        b.endParagraph(para, text);
        const LayoutResult r = layoutDocument(*b.finish(SectionFormat{}, HeaderFooterRefs{}));
        const auto& lines = r.pages[0].lines;
        ASSERT_GT(lines.size(), 6u);
        for (size_t i = 0; i < 6; ++i) {
            SCOPED_TRACE(i);
            EXPECT_DOUBLE_EQ(lines[i].x, wrap == TextWrap::Square && i < 5 ? 4320 : 1440);
            EXPECT_LE(lines[i].x + lines[i].width, 10800 + 1);
        }
    }
}

// A floating text box's text stands inside the box, clear of its insets
// (144 twips at the sides, 72 above): a box 2880 wide at 2000 across the
// page and 3000 down it sets "Boxed words" at 2144 and 3072, in its
// 2592-twip inner width, on the page that holds its anchor. Word's line
// statistic leaves such text out, and so does ours.
TEST(Pagination, TextBoxesSetTheirTextInsideTheBox)
{
    DocumentBuilder b("docx");
    const uint32_t text = b.charFormat(times());
    const uint32_t para = b.paraFormat(ParaFormat{});
    const StoryId boxStory = b.newStory(StoryType::TextFrame);
    b.setStory(boxStory);
    addPara(b, u"Boxed words", text, para);
    b.setStory(0);
    InlineObject o;
    o.kind = ObjectKind::TextBox;
    o.floating = true;
    o.story = static_cast<int32_t>(boxStory);
    o.width = 2880;
    o.height = 1440;
    o.horizontal.from = AnchorFrom::Page;
    o.horizontal.offset = 2000;
    o.vertical.from = AnchorFrom::Page;
    o.vertical.offset = 3000;
    CharFormat anchor = times();
    anchor.objectIndex = b.addObject(o);
    b.appendText(u"Body", text);
    b.appendChar(Ch::Anchor, b.charFormat(anchor));
    b.endParagraph(para, text);
    const LayoutResult r = layoutDocument(*b.finish(SectionFormat{}, HeaderFooterRefs{}));
    ASSERT_EQ(r.pageCount(), 1);
    ASSERT_EQ(r.pages[0].boxLines.size(), 1u);
    const LaidOutLine& l = r.pages[0].boxLines[0];
    EXPECT_DOUBLE_EQ(l.x, 2144);
    EXPECT_DOUBLE_EQ(l.y, 3072);
    EXPECT_FALSE(l.counted);
    EXPECT_EQ(r.lineCount(), 1);
}

TEST(Pagination, ManualBreaks)
{
    ParaFormat breakBefore;
    breakBefore.pageBreakBefore = true;
    struct Case {
        const char* what;
        std::vector<Para> paras;
        std::vector<size_t> perPage;
    } cases[] = {
        // The page break and the mark right after it stay on their line.
        {"page break in its own paragraph",
         {{u"a", {}, times()}, {u"\u000C", {}, times()}, {u"b", {}, times()}},
         {2, 1}},
        {"text after a page break starts the next page", {{u"a\u000Cb", {}, times()}}, {1, 1}},
        {"a column break on a one-column page acts as a page break", {{u"a\u000Eb", {}, times()}}, {1, 1}},
        {"a break before only when the page has content",
         {{u"first", breakBefore, times()}, {u"second", breakBefore, times()}},
         {1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        auto doc = makeDocument(c.paras);
        EXPECT_EQ(linesPerPage(layoutDocument(*doc)), c.perPage);
    }
}

// After a full page (46 lines of Times 12 pt), a paragraph that starts with a
// page break keeps the line holding only the break at the foot of that page
// and starts its text on the next: no page showing nothing comes between (a
// Word-saved document's rendered page breaks). A line with text before the
// break moves to the next page as any line would.
TEST(Pagination, ALineHoldingOnlyABreakStaysAtTheFootOfAFullPage)
{
    struct Case {
        const char* what;
        std::u16string last;
        std::vector<size_t> perPage;
    } cases[] = {
        {"a heading starting with a page break", u"\u000CHeading", {47, 1}},
        {"a column break on a one-column page", u"\u000EHeading", {47, 1}},
        {"text before the break", u"text\u000CHeading", {46, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<Para> paras(LinesPerPage, Para{u"line", {}, times()});
        paras.push_back({c.last, {}, times()});
        EXPECT_EQ(linesPerPage(layoutDocument(*makeDocument(paras))), c.perPage);
    }
}

TEST(Pagination, WidowControlMovesLinesToTheNextPage)
{
    // 45 lines of Times, then a paragraph of 3 lines of Courier New 10 pt
    // (227 twips each): 2 fit. With widow control the last line may not
    // stand alone and the first may not either, so all three move; without,
    // it splits 2 + 1.
    const std::u16string three = u"aaaaaaaaa bbbbbbbbb ccccccccc";
    for (bool control : {true, false}) {
        SCOPED_TRACE(control);
        std::vector<Para> paras = lines(LinesPerPage - 1);
        ParaFormat pf;
        pf.widowControl = control;
        paras.push_back({three, pf, mono()});
        SectionFormat page;
        page.pageWidth = static_cast<Twips>(2880 + 10 * Mono + 1);
        auto doc = makeDocument(paras, page);
        const LayoutResult r = layoutDocument(*doc);
        EXPECT_EQ(r.lineCount(), static_cast<int64_t>(LinesPerPage + 2));
        EXPECT_EQ(linesPerPage(r), (control ? std::vector<size_t>{45, 3} : std::vector<size_t>{47, 1}));
    }
}

TEST(Pagination, KeepsMoveParagraphsTogether)
{
    ParaFormat keepNext;
    keepNext.keepWithNext = true;
    ParaFormat together;
    together.keepLinesTogether = true;
    together.widowControl = false;
    ParaFormat keepAfter = keepNext;
    keepAfter.spaceAfter = 200;
    ParaFormat spacedKeep = keepAfter;
    spacedKeep.spaceBefore = 200;
    ParaFormat spaced;
    spaced.spaceBefore = 200;
    ParaFormat oneFifteen;
    oneFifteen.lineSpacing = 276;
    const std::u16string fourLines = u"aaaaaaaaa bbbbbbbbb ccccccccc ddddddddd";
    SectionFormat page;
    page.pageWidth = static_cast<Twips>(2880 + 10 * Mono + 1);
    struct Case {
        const char* what;
        size_t before; ///< single lines ahead of the tail
        std::vector<Para> tail;
        std::vector<size_t> perPage;
    } cases[] = {
        {"a heading kept with its next paragraph leaves the page",
         LinesPerPage - 1,
         {{u"Heading", keepNext, times()}, {u"Body", {}, times()}},
         {45, 2}},
        // 3 x 276 + 2 x 200 = 1228 twips in a room of 4 x 276 = 1104 + 264:
        // it fits because only the larger of two spacings stands between
        // paragraphs, in the chain as on the page.
        {"a chain that fits with its spacing stays",
         LinesPerPage - 4,
         {{u"One", keepAfter, times()}, {u"Two", spacedKeep, times()}, {u"Body", spaced, times()}},
         {45}},
        {"without the keep the heading stays",
         LinesPerPage - 1,
         {{u"Heading", {}, times()}, {u"Body", {}, times()}},
         {46, 1}},
        // The break line fits on the last line of the page; the heading
        // after it goes to page 2 with its body, not to a third page.
        {"a heading that starts with a page break keeps only past the break",
         LinesPerPage - 1,
         {{u"\u000CHeading", keepNext, times()}, {u"Body", {}, times()}},
         {46, 2}},
        // Room for the heading and two (not three) of the body's 226.6-twip
        // lines: a three-line paragraph cannot leave two (a widow would
        // follow), so the heading goes with it; a four-line one leaves two
        // with the heading.
        {"a heading goes with a three-line paragraph that cannot split",
         LinesPerPage - 2,
         {{u"Heading", keepNext, times()}, {u"aaaaaaaaa bbbbbbbbb ccccccccc", {}, mono()}},
         {44, 4}},
        {"a heading stays with two lines of a four-line paragraph",
         LinesPerPage - 2,
         {{u"Heading", keepNext, times()}, {fourLines, {}, mono()}},
         {47, 2}},
        // 616 twips under a heading with 200 after: two 1.15-spaced lines
        // of 317 take 634, but the second's extra leading (41) may hang
        // below the margin, as it may where the lines are placed.
        {"a heading stays with two lines whose leading hangs below the margin",
         LinesPerPage - 3,
         {{u"Heading", keepAfter, times()}, {fourLines, oneFifteen, times()}},
         {46, 2}},
        // Room for 3 of its 4 lines.
        {"keep lines together moves a paragraph that would split",
         LinesPerPage - 2,
         {{fourLines, together, mono()}},
         {44, 4}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::vector<Para> paras = lines(c.before);
        paras.insert(paras.end(), c.tail.begin(), c.tail.end());
        EXPECT_EQ(linesPerPage(layoutDocument(*makeDocument(paras, page))), c.perPage);
    }
}

TEST(Pagination, SpaceBeforeAtTheTopOfAPage)
{
    // Each paragraph asks for 12 pt before. At the top of a page reached by
    // overflow, by a page break ending the paragraph before, or by the
    // paragraph's own page break before, the space is dropped (Word's PDFs:
    // a heading after a page-break paragraph, and a heading 1 that breaks
    // the page itself, stand at the margin); on the first page it stays.
    ParaFormat spaced;
    spaced.spaceBefore = 240;
    ParaFormat breakBefore = spaced;
    breakBefore.pageBreakBefore = true;
    struct Case {
        const char* what;
        std::vector<Para> paras;
        double secondPageTop;
    } cases[] = {
        {"after a page-break paragraph",
         {{u"a", spaced, times()}, {u"\u000C", {}, times()}, {u"b", spaced, times()}},
         1440},
        {"after a page break ending a paragraph of text",
         {{u"a", spaced, times()}, {u"text\u000C", {}, times()}, {u"b", spaced, times()}},
         1440},
        {"a paragraph with a page break before it", {{u"a", spaced, times()}, {u"b", breakBefore, times()}}, 1440},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const LayoutResult r = layoutDocument(*makeDocument(c.paras));
        ASSERT_EQ(r.pageCount(), 2);
        EXPECT_DOUBLE_EQ(r.pages[0].lines[0].y, 1440 + 240);
        EXPECT_DOUBLE_EQ(r.pages[1].lines[0].y, c.secondPageTop);
    }

    // 276 + 240 per paragraph: 25 fit the first page; the 26th opens page 2
    // at the margin.
    std::vector<Para> paras(30, Para{u"x", spaced, times()});
    const LayoutResult flow = layoutDocument(*makeDocument(paras));
    ASSERT_EQ(flow.pageCount(), 2);
    EXPECT_EQ(flow.pages[0].lines.size(), 25u);
    EXPECT_DOUBLE_EQ(flow.pages[1].lines[0].y, 1440);
}

TEST(Pagination, ContextualSpacingBetweenParagraphsOfOneStyle)
{
    ParaFormat item;
    item.styleName = "List";
    item.spaceAfter = 200;
    item.spaceBefore = 100;
    item.contextualSpacing = true;
    ParaFormat other = item;
    other.styleName = "Normal";
    auto doc = makeDocument({{u"a", item, times()}, {u"b", item, times()}, {u"c", other, times()}});
    const LayoutResult r = layoutDocument(*doc);
    const auto& l = r.pages[0].lines;
    EXPECT_DOUBLE_EQ(l[1].y - l[0].y, 276);       // same style: no space between
    EXPECT_DOUBLE_EQ(l[2].y - l[1].y, 276 + 200); // style changes: the larger space
}

TEST(Pagination, SectionStarts)
{
    struct Case {
        const char* what;
        SectionStart second;
        int64_t pages;
        bool landscape = false; ///< the second section turns the paper
    } cases[] = {
        {"continuous stays on the page", SectionStart::Continuous, 1},
        {"new page", SectionStart::NewPage, 2},
        {"odd page after page 1 leaves a blank page 2", SectionStart::OddPage, 3},
        {"even page after page 1 is page 2", SectionStart::EvenPage, 2},
        // One page has one size: a continuous break to another paper size
        // or orientation starts a page.
        {"continuous onto landscape paper starts a page", SectionStart::Continuous, 2, true},
        {"new column onto landscape paper starts a page", SectionStart::NewColumn, 2, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        b.appendText(u"first section", cf);
        b.endSection(SectionFormat{}, {}, pf, cf);
        addPara(b, u"second section", cf, pf);
        SectionFormat last;
        last.start = c.second;
        if (c.landscape)
            std::swap(last.pageWidth, last.pageHeight);
        auto doc = b.finish(last, {});
        const LayoutResult r = layoutDocument(*doc);
        EXPECT_EQ(r.pageCount(), c.pages);
        EXPECT_EQ(r.lineCount(), 2);
    }
}

// A section's first paragraph at the top of a page keeps its space before
// less the space after that ended the section before (Word's PDFs: a
// heading asking for 24 pt after a section ending with 4 pt after stands
// 20 pt below the margin), whether the section starts the page or the
// heading's own page break before does; the same heading inside a section
// stands at the margin.
TEST(Pagination, ASectionsFirstParagraphKeepsItsSpaceBeforeLessTheSpaceAfter)
{
    ParaFormat ending;
    ending.spaceAfter = 80;
    ParaFormat heading;
    heading.spaceBefore = 480;
    ParaFormat breakingHeading = heading;
    breakingHeading.pageBreakBefore = true;
    struct Case {
        const char* what;
        SectionStart start;
        bool sectionBreak;
        ParaFormat second;
        double top;
    } cases[] = {
        {"a section on a new page", SectionStart::NewPage, true, heading, 1440 + 400},
        {"a continuous section whose heading breaks the page", SectionStart::Continuous, true, breakingHeading,
         1440 + 400},
        {"a heading that breaks the page within a section", SectionStart::Continuous, false, breakingHeading, 1440},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        if (c.sectionBreak) {
            b.appendText(u"first section", cf);
            b.endSection(SectionFormat{}, {}, b.paraFormat(ending), cf);
        } else {
            addPara(b, u"first paragraph", cf, b.paraFormat(ending));
        }
        addPara(b, u"Heading", cf, b.paraFormat(c.second));
        SectionFormat last;
        last.start = c.start;
        const LayoutResult r = layoutDocument(*b.finish(last, {}));
        ASSERT_EQ(r.pageCount(), 2);
        EXPECT_DOUBLE_EQ(r.pages[1].lines[0].y, c.top);
    }
}

// Footnotes stand at the foot of the page that refers to them, under a
// separator one line of the normal text high, and take that room from the
// body. Times 12 pt single lines (276 twips), 46 to a page; a note of one
// such line costs 552 with its separator. A reference on line 44 still
// fits (44 * 276 + 552 = 12696 <= 12960) but leaves no room for lines 45
// and 46; one on line 46 moves that line to page 2. Endnotes take no room.
TEST(Pagination, FootnotesTakeRoomAtThePageFoot)
{
    struct Case {
        const char* what;
        size_t referenceLine; ///< 1-based; 0: none
        NoteKind kind;
        std::vector<size_t> perPage;
    } cases[] = {
        {"no note", 0, NoteKind::Footnote, {46}},
        {"a note referred to on line 44", 44, NoteKind::Footnote, {44, 2}},
        {"a note referred to on the last line", 46, NoteKind::Footnote, {45, 1}},
        {"an endnote takes no room", 44, NoteKind::Endnote, {46}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        int32_t note = -1;
        if (c.referenceLine > 0) {
            const StoryId notes = b.newStory(c.kind == NoteKind::Footnote ? StoryType::Footnotes : StoryType::Endnotes);
            b.setStory(notes);
            Note n;
            n.kind = c.kind;
            n.story = static_cast<int32_t>(notes);
            n.start = b.position();
            addPara(b, u"The note.", cf, pf);
            n.end = b.position();
            b.setStory(0);
            note = b.addNote(n);
        }
        CharFormat reference = times();
        reference.noteIndex = note;
        for (size_t i = 1; i <= 46; ++i) {
            b.appendText(u"Line " + utf8ToUtf16(std::to_string(i)), cf);
            if (i == c.referenceLine)
                b.appendChar(Ch::NoteReference, b.charFormat(reference));
            b.endParagraph(pf, cf);
        }
        auto doc = b.finish({}, {});
        EXPECT_EQ(linesPerPage(layoutDocument(*doc)), c.perPage);
    }
}

// An empty paragraph that only ends a section makes no page of its own
// when what follows starts a page anyway. At the foot of a full page (46
// lines of Times 12 pt) it stays there: the next section's text is on page 2
// (Word's PDFs); before continuous text it moves on with it. Asking for a
// page break before it, it stays after the text before it (a Word-saved
// document whose empty heading ends a section before a new-page section
// shows no page between them in its rendered page breaks).
TEST(Pagination, EmptySectionEndMakesNoPageOfItsOwn)
{
    ParaFormat breakBefore;
    breakBefore.pageBreakBefore = true;
    struct Case {
        const char* what;
        int lines; // before the section's end
        ParaFormat end;
        SectionStart next;
        ParaFormat first;
        std::vector<size_t> perPage;
    } cases[] = {
        {"next section on a new page", 46, {}, SectionStart::NewPage, {}, {47, 1}},
        {"continuous section whose text breaks the page before it",
         46,
         {},
         SectionStart::Continuous,
         breakBefore,
         {47, 1}},
        {"continuous section going on in the flow", 46, {}, SectionStart::Continuous, {}, {46, 2}},
        {"the end breaking the page, next section on a new page", 3, breakBefore, SectionStart::NewPage, {}, {4, 1}},
        {"the end breaking the page, continuous section", 3, breakBefore, SectionStart::Continuous, {}, {3, 2}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        for (int i = 0; i < c.lines; ++i)
            addPara(b, u"line", cf, pf);
        b.endSection(SectionFormat{}, {}, b.paraFormat(c.end), cf);
        addPara(b, u"next section", cf, b.paraFormat(c.first));
        SectionFormat last;
        last.start = c.next;
        auto doc = b.finish(last, {});
        EXPECT_EQ(linesPerPage(layoutDocument(*doc)), c.perPage);
    }
}

TEST(Pagination, ColumnsHoldTheirShareOfLines)
{
    SectionFormat two;
    two.columns = 2;
    auto doc = makeDocument(lines(2 * LinesPerPage + 1), two);
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.pageCount(), 2);
    EXPECT_EQ(r.pages[0].lines.size(), 2 * LinesPerPage);
    EXPECT_EQ(r.pages[0].lines[LinesPerPage].column, 1);
    EXPECT_GT(r.pages[0].lines[LinesPerPage].x, r.pages[0].lines[0].x + two.textWidth() / 2.0);
}

TEST(Pagination, TableRowsCountTheirFullestCell)
{
    // Two cells of 10 characters: one of three lines, one of one; then an
    // empty row, which is one line.
    TableRowFormat row;
    row.cellMarginLeft = row.cellMarginRight = 0;
    row.cells = {{static_cast<Twips>(10 * Mono + 1)}, {static_cast<Twips>(10 * Mono + 1)}};
    auto doc = oneTableDocument({{row, {u"aaaaaaaaa bbbbbbbbb ccccccccc", u"one"}}, {row, {u"", u""}}}, true, mono());
    const LayoutResult r = layoutDocument(*doc);
    EXPECT_EQ(r.lineCount(), 1 + 3 + 1 + 1);
    // The paragraph after the table starts below the tallest cell.
    const auto& l = r.pages[0].lines;
    const double rowsBottom = l[0].y + l[0].height + 3 * l[0].height + l[0].height;
    EXPECT_NEAR(l.back().y, rowsBottom, 0.01);
}

// A header ends where its last paragraph's space after ends: two lines from
// 0.5" (720 + 552 = 1272, inside the 1" margin) with 24 pt after reach 1752
// and set the body there. A footer's last space after does not lift the
// body's foot.
TEST(Pagination, HeaderSpaceAfterPushesTheBody)
{
    struct Case {
        const char* what;
        Twips after;
        double bodyTop;
    } cases[] = {
        {"no space after: the margin stands", 0, 1440},
        {"480 after: the body starts below it", 480, 720 + 2 * 276 + 480},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        ParaFormat spaced;
        spaced.spaceAfter = c.after;
        addPara(b, u"body", cf, pf);
        const StoryId header = b.newStory(StoryType::PrimaryHeader);
        b.setStory(header);
        addPara(b, u"header", cf, pf);
        addPara(b, u"header", cf, b.paraFormat(spaced));
        const StoryId footer = b.newStory(StoryType::PrimaryFooter);
        b.setStory(footer);
        addPara(b, u"footer", cf, b.paraFormat(spaced));
        HeaderFooterRefs refs;
        refs.headers[0] = static_cast<int32_t>(header);
        refs.footers[0] = static_cast<int32_t>(footer);
        auto doc = b.finish({}, refs);
        const LayoutResult r = layoutDocument(*doc);
        EXPECT_DOUBLE_EQ(r.pages[0].lines[0].y, c.bodyTop);
        EXPECT_DOUBLE_EQ(r.pages[0].footerLines[0].y, 15840 - 720 - 276);
    }
}

TEST(Pagination, HeadersAndFootersAreLaidOutButNotCounted)
{
    // A header of 6 lines from 0.5" reaches past the 1" margin and pushes
    // the body down; a negative margin is exact and the body starts there,
    // under the header; the same for a footer and the bottom margin.
    struct Case {
        const char* what;
        int32_t top, bottom;
        bool footer;
        double firstY;
        size_t onFirstPage;
    } cases[] = {
        {"header pushes", 1440, 1440, false, 720 + 6 * 276, (15840 - 1440 - (720 + 6 * 276)) / 276},
        {"exact top margin", -1440, 1440, false, 1440, (15840 - 2880) / 276},
        {"footer pushes", 1440, 1440, true, 1440, (15840 - 1440 - (720 + 6 * 276)) / 276},
        {"exact bottom margin", 1440, -1440, true, 1440, (15840 - 2880) / 276},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        for (int i = 0; i < 50; ++i)
            addPara(b, u"body", cf, pf);
        const StoryId header = b.newStory(c.footer ? StoryType::PrimaryFooter : StoryType::PrimaryHeader);
        b.setStory(header);
        for (int i = 0; i < 6; ++i)
            addPara(b, c.footer ? u"footer line" : u"header line", cf, pf);
        HeaderFooterRefs refs;
        (c.footer ? refs.footers : refs.headers)[0] = static_cast<int32_t>(header);
        SectionFormat section;
        section.marginTop = c.top;
        section.marginBottom = c.bottom;
        auto doc = b.finish(section, refs);
        const LayoutResult r = layoutDocument(*doc);
        EXPECT_EQ(r.lineCount(), 50);
        ASSERT_GE(r.pageCount(), 2);
        EXPECT_EQ((c.footer ? r.pages[0].footerLines : r.pages[0].headerLines).size(), 6u);
        EXPECT_DOUBLE_EQ(r.pages[0].lines[0].y, c.firstY);
        EXPECT_EQ(r.pages[0].lines.size(), c.onFirstPage);
        EXPECT_EQ(headerFooterLineCount(*doc, header, 0), 6);
    }
    EXPECT_EQ(headerFooterLineCount(*DocumentBuilder("docx").finish({}, {}), 99, 0), 0);
}

namespace {

BorderLine border(BorderStyle style, uint16_t eighths, uint16_t space = 0)
{
    BorderLine b;
    b.style = style;
    b.widthEighths = eighths;
    b.spacePoints = space;
    return b;
}

} // namespace

// Times New Roman 12 pt lines are 276 twips. A paragraph box's top border
// (w twips + space) goes above its first line and its bottom border below
// its last; paragraphs with the same borders share the box, so only the
// `between` line separates them.
TEST(Borders, ParagraphBoxesAddTheirLinesAndSpace)
{
    ParaFormat boxed;
    boxed.borders.top = border(BorderStyle::Single, 4, 1);    // 10 + 20
    boxed.borders.bottom = border(BorderStyle::Double, 4, 4); // 3 * 10 + 80
    ParaFormat withBetween = boxed;
    withBetween.borders.between = border(BorderStyle::Single, 8, 2); // 20 + 40
    ParaFormat otherIndent = boxed;
    otherIndent.leftIndent = 360;
    struct Case {
        const char* name;
        std::vector<ParaFormat> formats;
        std::vector<double> tops; // of each paragraph's text, from the margin
    };
    // The border room belongs to the line's box: its text sits lower by as much.
    const double plainAscent = layoutDocument(*makeDocument({{u"Text", {}, times()}})).pages[0].lines[0].ascent;
    const Case cases[] = {
        {"plain", {{}, {}}, {0, 276}},
        {"one box", {boxed}, {30}},
        {"grouped", {boxed, boxed, {}}, {30, 306, 306 + 276 + 110}},
        {"between", {withBetween, withBetween}, {30, 30 + 276 + 60}},
        {"indent splits", {boxed, otherIndent}, {30, 30 + 276 + 110 + 30}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<Para> paras;
        for (const ParaFormat& pf : c.formats)
            paras.push_back({u"Text", pf, times()});
        const LayoutResult r = layoutDocument(*makeDocument(paras));
        ASSERT_EQ(r.pages[0].lines.size(), c.tops.size());
        for (size_t i = 0; i < c.tops.size(); ++i)
            EXPECT_NEAR(r.pages[0].lines[i].y + r.pages[0].lines[i].ascent - plainAscent - 1440, c.tops[i], 0.01) << i;
    }
}

// A box cut by a page break is opened again at the top of the next page
// with its border and space (here 10 + 200 twips), and closed at the foot of
// the first without taking room there: of 60 boxed 276-twip lines, the first
// page holds 46 (the box's top 210, then 46 x 276 = 12906 of 12960; keeping
// 210 for the closing border would leave 45) and the next page's text starts
// 210 below the margin. The same holds whether the box is one paragraph or
// sixty.
TEST(Borders, ABoxCutByAPageBreakClosesAndOpensAgain)
{
    ParaFormat boxed;
    boxed.borders.top = border(BorderStyle::Single, 4, 10);
    boxed.borders.bottom = border(BorderStyle::Single, 4, 10);
    const double plainAscent = layoutDocument(*makeDocument({{u"Text", {}, times()}})).pages[0].lines[0].ascent;
    std::u16string sixtyLines;
    for (int i = 0; i < 60; ++i)
        sixtyLines += i == 0 ? u"Line" : u"\u000BLine";
    struct Case {
        const char* what;
        std::vector<Para> paras;
    } cases[] = {
        {"sixty paragraphs", std::vector<Para>(60, Para{u"Line", boxed, times()})},
        {"one paragraph of sixty lines", {Para{sixtyLines, boxed, times()}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const LayoutResult r = layoutDocument(*makeDocument(c.paras));
        ASSERT_EQ(r.pageCount(), 2);
        EXPECT_EQ(r.pages[0].lines.size(), 46u);
        const LaidOutLine& top = r.pages[1].lines[0];
        EXPECT_NEAR(top.y + top.ascent - plainAscent, 1440 + 210, 0.01);
    }
}

// Word puts rows of a table with 1/2 pt borders 1/2 pt further apart than
// their text: each row carries the line above it, the last row the table's
// bottom line too, and where two cells meet the heavier line counts.
TEST(Borders, TableRowsCarryTheirHorizontalLines)
{
    TableRowFormat plain;
    plain.cells = {{2880}, {2880}};
    TableRowFormat grid = plain;
    grid.tableBorders = {border(BorderStyle::Single, 4), border(BorderStyle::Single, 4),
                         border(BorderStyle::Single, 4), border(BorderStyle::Single, 4),
                         border(BorderStyle::Single, 4), border(BorderStyle::Single, 4)};
    TableRowFormat heavyCell = grid;
    heavyCell.cells[1].borders.top = border(BorderStyle::Single, 24); // 60 twips
    auto spaced = [](TableRowFormat rf) {
        rf.cellSpacing = 15;
        return rf;
    };
    TableRowFormat noInside = grid;
    noInside.cells[0].borders.top = BorderLine{};
    noInside.cells[1].borders.top = BorderLine{};
    struct Case {
        const char* name;
        std::vector<TableRowFormat> rows;
        std::vector<double> tops; // of each row's line, then of the paragraph after
    };
    const Case cases[] = {
        {"no borders", {plain, plain}, {0, 276, 552}},
        {"grid", {grid, grid}, {10, 296, 582}},
        {"heavier cell border", {grid, heavyCell, grid}, {10, 346, 632, 918}},
        {"cells drop the inside line", {grid, noInside}, {10, 286, 572}},
        // 15 twips between cells: every cell is its own box, so each row has
        // the spacing and a line above and below its text, and the table's
        // frame runs round the outside (row 1: 15 + 10 + 10 above, 15 + 10
        // below; row 2: 15 + 10 above, 15 + 10 + 10 below).
        {"spacing between cells", {spaced(grid), spaced(grid)}, {35, 361, 672}},
        {"spacing, a heavier cell border", {spaced(heavyCell), spaced(grid)}, {85, 411, 722}},
        {"spacing without borders", {spaced(plain), spaced(plain)}, {15, 321, 612}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<TableRowSpec> rows;
        for (const TableRowFormat& rf : c.rows)
            rows.push_back({rf, {u"A", u"B"}});
        const LayoutResult r = layoutDocument(*oneTableDocument(rows, false, times()));
        std::vector<double> tops;
        for (const LaidOutLine& l : r.pages[0].lines)
            if (tops.empty() || std::abs(l.y - 1440 - tops.back()) > 0.01)
                tops.push_back(l.y - 1440);
        EXPECT_EQ(tops, c.tops);
    }
}

// A cell whose end mark is hidden sets its row's height by its printing
// text alone: an empty one adds nothing, nor does the empty paragraph that
// closes a cell after a table in it; an empty paragraph after text keeps its
// 276 twips. The figure is where the paragraph after the table starts.
TEST(Tables, AHiddenCellMarkSetsNoHeight)
{
    enum class Content { Empty, Text, TextThenEmpty, TextThenTable };
    struct Case {
        const char* what;
        std::vector<Content> cells; // of the first row; a row of "B" follows
        bool hideMark;
        double after;
    };
    const Case cases[] = {
        {"empty cells, marks shown", {Content::Empty, Content::Empty}, false, 552},
        {"empty cells, marks hidden", {Content::Empty, Content::Empty}, true, 276},
        {"one cell has text", {Content::Text, Content::Empty}, true, 552},
        {"an empty paragraph after text", {Content::TextThenEmpty}, true, 828},
        {"a table in the cell, marks shown", {Content::TextThenTable}, false, 1104},
        {"a table in the cell, marks hidden", {Content::TextThenTable}, true, 552},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(times());
        const uint32_t pf = b.paraFormat({});
        TableCellFormat cell;
        cell.width = 2880;
        cell.hideMark = c.hideMark;
        TableRowFormat row;
        row.cells.assign(c.cells.size(), cell);
        TableRowFormat inner;
        inner.cells = {cell};
        b.beginTable();
        b.beginRow();
        for (const Content content : c.cells) {
            b.beginCell();
            if (content != Content::Empty)
                addPara(b, u"A", cf, pf);
            if (content == Content::TextThenEmpty)
                b.endParagraph(pf, cf);
            if (content == Content::TextThenTable) {
                b.beginTable();
                b.beginRow();
                addCell(b, u"", cf, pf);
                b.endRow(inner, cf);
                b.endTable();
            }
            b.endCell(pf, cf);
        }
        b.endRow(row, cf);
        TableRowFormat second;
        second.cells = {cell};
        b.beginRow();
        addCell(b, u"B", cf, pf);
        b.endRow(second, cf);
        b.endTable();
        addPara(b, u"after", cf, pf);
        auto doc = b.finish({}, {});
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_FALSE(r.pages.empty());
        ASSERT_FALSE(r.pages[0].lines.empty());
        EXPECT_EQ(lineText(*doc, r.pages[0].lines.back()), "after");
        EXPECT_DOUBLE_EQ(r.pages[0].lines.back().y - 1440, c.after);
    }
}

// A row whose line fits at the foot of the page but whose space below the
// line (here the cells' 15 pt bottom margin) does not goes to the next page
// whole: 12960 twips hold 22 rows of 276 + 300, and the 23rd row's line
// would fit in the 288 left. Word's PDF moves such a row (a one-line row
// whose 6 pt after would end 0.2 pt past the margin).
TEST(Tables, ARowWhoseLinesFitButNotItsSpaceMovesWhole)
{
    TableRowFormat row;
    row.cellMarginBottom = 300;
    row.cells = {TableCellFormat{}};
    row.cells[0].width = 2000;
    const std::vector<TableRowSpec> rows(30, TableRowSpec{row, {u"A"}});
    const LayoutResult r = layoutDocument(*oneTableDocument(rows, false, times()));
    ASSERT_EQ(r.pageCount(), 2);
    EXPECT_EQ(r.pages[0].lines.size(), 22u);
    EXPECT_DOUBLE_EQ(r.pages[1].lines[0].y, 1440);
}

// A row splits over a page only where every cell can leave lines on the
// first page, widow control kept. After 46 lines (264 twips left) a row
// whose second cell holds a two-line paragraph of 226.6-twip lines has room
// for one of them: under widow control that line may not stand alone, so
// the row moves whole; without it the row splits.
TEST(Tables, ARowSplitsOnlyWhereEveryCellMayLeaveLines)
{
    for (const bool widowControl : {true, false}) {
        SCOPED_TRACE(widowControl ? "widow control" : "no widow control");
        DocumentBuilder b("docx");
        const uint32_t body = b.charFormat(times());
        const uint32_t code = b.charFormat(mono());
        ParaFormat cellFormat;
        cellFormat.widowControl = widowControl;
        const uint32_t plain = b.paraFormat({});
        const uint32_t cellPara = b.paraFormat(cellFormat);
        for (size_t i = 0; i < LinesPerPage; ++i)
            addPara(b, u"Line", body, plain);
        TableRowFormat row;
        row.cells = {TableCellFormat{}, TableCellFormat{}};
        row.cells[0].width = row.cells[1].width = 1440;
        b.beginTable();
        b.beginRow();
        addCell(b, u"A", code, cellPara);
        addCell(b, u"aaaaaaaaa bbbbbbbbb", code, cellPara);
        b.endRow(row, code);
        b.endTable();
        addPara(b, u"after", body, plain);
        const LayoutResult r = layoutDocument(*b.finish({}, {}));
        ASSERT_EQ(r.pageCount(), 2);
        EXPECT_EQ(r.pages[0].lines.size(), widowControl ? LinesPerPage : LinesPerPage + 2);
    }
}

// A row as tall as its three-line cell: the one-line cell beside it puts
// its line at the top, in the middle (276 lower) or at the bottom (552
// lower), as it asks.
TEST(Tables, ACellsTextStandsAtTheTopMiddleOrBottomOfItsRow)
{
    struct Case {
        const char* what;
        CellVerticalAlign align;
        double offset;
    } cases[] = {
        {"top", CellVerticalAlign::Top, 0},
        {"middle", CellVerticalAlign::Center, 276},
        {"bottom", CellVerticalAlign::Bottom, 552},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        TableRowFormat row;
        row.cells = {TableCellFormat{}, TableCellFormat{}};
        row.cells[0].width = row.cells[1].width = 3000;
        row.cells[1].verticalAlign = c.align;
        const LayoutResult r =
            layoutDocument(*oneTableDocument({{row, {u"one\u000Btwo\u000Bthree", u"beside"}}}, false, times()));
        const auto& lines = r.pages[0].lines;
        const auto beside = std::find_if(lines.begin(), lines.end(), [](const LaidOutLine& l) { return l.x > 3000; });
        ASSERT_NE(beside, lines.end());
        EXPECT_DOUBLE_EQ(beside->y - lines[0].y, c.offset);
    }
}

// A table's preferred width wider than its cells widens them in proportion
// (100% of a 9360-twip text area: two 2400-twip cells become 4680 each);
// narrower, or none, leaves them as they are.
TEST(Tables, PreferredWidthWidensTheCells)
{
    struct Case {
        const char* name;
        Twips preferred;
        bool percent;
        std::vector<double> widths;
    };
    const Case cases[] = {
        {"none", 0, false, {2400, 1200}},
        {"100%", 5000, true, {6240, 3120}},
        {"50%", 2500, true, {3120, 1560}},
        {"twips", 7200, false, {4800, 2400}},
        {"narrower than the cells", 2000, false, {2400, 1200}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TableRowFormat row;
        row.cells = {{2400}, {1200}};
        row.preferredWidth = c.preferred;
        row.preferredWidthPercent = c.percent;
        EXPECT_EQ(rowCellWidths(row, 2, 9360), c.widths);
    }

    // A grid that already spans the preferred width holds the columns Word
    // laid out last: two 2400-twip cells at 100% print 3779 and 5571 wide
    // when the grid says so; a grid that falls short of it is not used.
    TableRowFormat row;
    row.cells = {{2400}, {2400}};
    row.preferredWidth = 5000;
    row.preferredWidthPercent = true;
    row.grid = {3779, 5571};
    EXPECT_EQ(rowCellWidths(row, 2, 9350), (std::vector<double>{3779, 5571}));
    row.grid = {2400, 2400};
    EXPECT_EQ(rowCellWidths(row, 2, 9350), (std::vector<double>{4675, 4675}));
}

// Two 1440-twip cells of Courier New 10 pt (120.02 twips a character) with
// 108-twip margins hold 10 characters a line. Fitted to its contents, the
// table widens the first column to its 12-character word: 1440.2 -> 1441 +
// 216 = 1657, the 217 taken from the second column, whose widest word needs
// only 241 + 216 = 457 (1440 - 217 = 1223). Its text then starts at
// 1440 - 108 + 1657 + 108 = 3097. A fixed table breaks the word instead; a
// word that may break after its hyphen needs no wider column.
TEST(Tables, FittedTableWidensAColumnToItsWidestWord)
{
    struct Case {
        const char* name;
        std::u16string word;
        bool fixed;
        int tableLines;
        double secondX;
    };
    const Case cases[] = {
        {"fitted to its contents", u"abcdefghijkl", false, 1, 3097},
        {"fixed layout", u"abcdefghijkl", true, 2, 2880},
        {"a hyphen gives a break", u"abcdef-ghijkl", false, 2, 2880},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TableRowFormat row;
        row.cells = {{1440}, {1440}};
        row.fixedLayout = c.fixed;
        auto doc = oneTableDocument({{row, {c.word, u"ab"}}}, true, mono());
        const LayoutResult r = layoutDocument(*doc);
        const auto& l = r.pages[0].lines;
        const double h = l[0].height;
        EXPECT_NEAR(l.back().y, l[0].y + h + c.tableLines * h, 0.01);
        const auto second =
            std::find_if(l.begin(), l.end(), [&](const LaidOutLine& line) { return lineText(*doc, line) == "ab"; });
        ASSERT_NE(second, l.end());
        EXPECT_NEAR(second->x, c.secondX, 0.01);
    }
}

// A cell that starts a vertical merge runs down through the rows it spans
// and sets none of their heights alone; only what its text needs beyond
// them all grows the last row. Two rows, one line each in the second
// column: a merged cell of three lines makes the table three lines high
// (not four, as a first row of three lines would), and the rows count 1 and
// 2 lines. Shorter merged text leaves the rows as their other cells set them.
TEST(Tables, MergedCellRunsDownItsRows)
{
    struct Case {
        const char* name;
        std::u16string merged;
        std::u16string right;
        int tableLines;
        int64_t counted;
    };
    const Case cases[] = {
        {"merged text taller than the rows", u"aaaaaaaaa bbbbbbbbb ccccccccc", u"one", 3, 3},
        {"merged text as tall as the rows", u"aaaaaaaaa bbbbbbbbb", u"one", 2, 2},
        {"merged text shorter than the rows", u"one", u"aaaaaaaaa bbbbbbbbb", 4, 4},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TableRowFormat first;
        first.cellMarginLeft = first.cellMarginRight = 0;
        first.cells = {{static_cast<Twips>(10 * Mono + 1)}, {static_cast<Twips>(10 * Mono + 1)}};
        first.cells[0].verticalMerge = VerticalMerge::Restart;
        TableRowFormat second = first;
        second.cells[0].verticalMerge = VerticalMerge::Continue;
        auto doc = oneTableDocument({{first, {c.merged, c.right}}, {second, {u"", c.right}}}, true, mono());
        const LayoutResult r = layoutDocument(*doc);
        const auto& l = r.pages[0].lines;
        const double h = l[0].height;
        EXPECT_NEAR(l.back().y, l[0].y + h + c.tableLines * h, 0.01);
        EXPECT_EQ(r.lineCount(), 1 + c.counted + 1);
    }
}

// Automatic (HTML) spacing stops at a cell's edges: two paragraphs asking
// for 14 pt before and after sit 14 pt apart, with none above the first or
// below the last (a row of 2 lines + 280 twips). Spacing given in points is
// kept at the edges (2 lines + 3 * 280).
TEST(Tables, AutomaticSpacingStopsAtCellEdges)
{
    ParaFormat automatic;
    automatic.spaceBeforeAuto = automatic.spaceAfterAuto = true;
    ParaFormat points;
    points.spaceBefore = points.spaceAfter = 280;
    struct Case {
        const char* name;
        ParaFormat format;
        double spacing;
    };
    const Case cases[] = {{"automatic", automatic, 280}, {"in points", points, 3 * 280}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DocumentBuilder b("docx");
        const uint32_t cf = b.charFormat(mono());
        const uint32_t pf = b.paraFormat({});
        const uint32_t spaced = b.paraFormat(c.format);
        TableRowFormat row;
        row.cells = {{2880}};
        b.beginTable();
        b.beginRow();
        b.beginCell();
        addPara(b, u"one", cf, spaced);
        b.appendText(u"two", cf);
        b.endCell(spaced, cf);
        b.endRow(row, cf);
        b.endTable();
        addPara(b, u"after", cf, pf);
        auto doc = b.finish({}, {});
        const LayoutResult r = layoutDocument(*doc);
        const auto& l = r.pages[0].lines;
        ASSERT_EQ(l.size(), 3u);
        const double h = l[0].height;
        const double top = c.format.spaceBeforeAuto ? 0.0 : 280.0;
        EXPECT_NEAR(l[0].y, 1440 + top, 0.01);
        EXPECT_NEAR(l[2].y, 1440 + 2 * h + c.spacing, 0.01);
    }
}

// Times 12 pt at 1.15 lines is 317 twips (276 * 276 / 240, rounded). Forty
// lines fill 12680 of the page's 12960 twips; the 41st still fits, as its
// single height (276) does and its extra leading may hang below the margin.
// Exactly 317 twips, or at least, get no such allowance.
TEST(Pagination, MultipleSpacingMayHangBelowTheMargin)
{
    struct Case {
        LineRule rule;
        int32_t spacing;
        size_t firstPage;
    };
    for (const Case& c : {Case{LineRule::Auto, 276, 41}, Case{LineRule::Exact, 317, 40},
                          Case{LineRule::AtLeast, 317, 40}, Case{LineRule::Auto, 240, LinesPerPage}}) {
        SCOPED_TRACE(c.spacing);
        ParaFormat pf;
        pf.lineRule = c.rule;
        pf.lineSpacing = c.spacing;
        const LayoutResult r = layoutDocument(*makeDocument(lines(60, pf)));
        EXPECT_EQ(r.pages[0].lines.size(), c.firstPage);
    }
}

// The measurements lay a document out again after each clean-up edit and
// take unchanged paragraphs' lines from a cache. Would catch cached lines
// left at their old positions after an edit moved them, a paragraph whose
// formats changed taken from the cache, or one document's lines served for
// another's.
TEST(ParagraphCache, GivesTheLinesAFreshLayoutGives)
{
    const std::u16string words = u"one two three four five six seven eight nine ten eleven twelve thirteen";
    auto doc =
        makeDocument({{words, {}}, {u"", {}}, {words, {}}, {u"", {}}, {words + u" fourteen", {}}}, pageOfWidth(20));
    ParagraphCache cache;
    const std::string before = dumpLayout(*doc, layoutDocument(*doc, {}, &cache));
    EXPECT_EQ(before, dumpLayout(*doc, layoutDocument(*doc)));
    // Remove the first empty paragraph: everything after it moves up.
    const uint32_t firstEmpty = static_cast<uint32_t>(words.size() + 1);
    doc->applyEdits(0, {{firstEmpty, 1, u"", doc->mainStory().attrs[firstEmpty]}});
    EXPECT_EQ(dumpLayout(*doc, layoutDocument(*doc, {}, &cache)), dumpLayout(*doc, layoutDocument(*doc)));

    // The same text in another document, in another font, is not the cached one.
    auto other = makeDocument({{words, {}, font("Times New Roman", 40)}}, pageOfWidth(20));
    EXPECT_EQ(dumpLayout(*other, layoutDocument(*other, {}, &cache)), dumpLayout(*other, layoutDocument(*other)));
    EXPECT_NE(dumpLayout(*other, layoutDocument(*other)), before);
}

// Word's line grid, worked by hand on a 15.6 pt (312 twip) pitch: whole
// pitches, as many as the text needs, times a multiple; "at least" takes the
// larger; "exactly" keeps its own height.
TEST(Pagination, LineGridHeights)
{
    struct Case {
        const char* what;
        LineRule rule;
        int32_t spacing;
        double natural, height;
    } cases[] = {
        {"a 12 pt line takes one pitch", LineRule::Auto, 240, 276, 312},
        {"a line of exactly one pitch stays one", LineRule::Auto, 240, 312, 312},
        {"a 22 pt heading takes two", LineRule::Auto, 240, 560, 624},
        {"one and a half lines multiply the pitch", LineRule::Auto, 360, 276, 468},
        {"triple spacing", LineRule::Auto, 720, 276, 936},
        {"at least more than the grid", LineRule::AtLeast, 400, 276, 400},
        {"at least less than the grid", LineRule::AtLeast, 200, 276, 312},
        {"exactly ignores the grid", LineRule::Exact, 200, 276, 200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        ParaFormat pf;
        pf.lineRule = c.rule;
        pf.lineSpacing = c.spacing;
        EXPECT_DOUBLE_EQ(gridLineHeight(c.natural, pf, 312), c.height);
    }
}

// A section with a line grid puts fewer lines on a page: 12 pt Times lines
// (276 twips) take a 312-twip pitch each, 41 to a 12960-twip body; a
// paragraph that does not snap to the grid, "exactly" spacing, or a section
// whose grid holds no lines keep 46.
TEST(Pagination, LineGridSetsTheLinesOfAPage)
{
    ParaFormat plain, noSnap, exact, oneAndHalf;
    noSnap.snapToGrid = false;
    exact.lineRule = LineRule::Exact;
    exact.lineSpacing = 276;
    oneAndHalf.lineSpacing = 360;
    struct Case {
        const char* what;
        DocGridType grid;
        Twips pitch;
        ParaFormat pf;
        size_t perPage;
    } cases[] = {
        {"Chinese default grid", DocGridType::Lines, 312, plain, 41},
        {"Japanese default grid", DocGridType::LinesAndChars, 360, plain, 36},
        // 27 lines of 468 twips end at 12636; the 28th's single grid line
        // (312) still fits, its extra leading hangs below the margin.
        {"one and a half lines on the grid: 468 twips", DocGridType::Lines, 312, oneAndHalf, 28},
        {"one and a half lines without a grid: 414 twips", DocGridType::None, 312, oneAndHalf, 31},
        {"no grid", DocGridType::None, 312, plain, LinesPerPage},
        {"snap to grid off", DocGridType::Lines, 312, noSnap, LinesPerPage},
        {"exact spacing", DocGridType::Lines, 312, exact, LinesPerPage},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        SectionFormat page;
        page.gridType = c.grid;
        page.linePitch = c.pitch;
        const LayoutResult r = layoutDocument(*makeDocument(lines(100, c.pf), page));
        EXPECT_EQ(linesPerPage(r).front(), c.perPage);
    }
}
