// Text inside shapes and pictures where Word prints it: text rectangles, insets, anchoring, metafile text.
#include "TestDocuments.h"
#include "engine/layout/Layout.h"

#include <gtest/gtest.h>

namespace qm::engine::layout {
namespace {

using testing::addPara;
using testing::Mono;
using testing::mono;

/// A page with one floating shape 1872 by 1440 twips at (2000, 3000) on the
/// page, holding `text` in Courier New 10 pt (Mono twips a character).
std::unique_ptr<Document> shapeDocument(const ShapeTextLayout& shape, std::u16string_view text,
                                        Alignment align = Alignment::Left)
{
    DocumentBuilder b("docx");
    const uint32_t chars = b.charFormat(mono());
    ParaFormat pf;
    pf.alignment = align;
    const uint32_t para = b.paraFormat(pf);
    const StoryId box = b.newStory(StoryType::TextFrame);
    b.setStory(box);
    addPara(b, text, chars, b.paraFormat(pf));
    b.setStory(0);
    InlineObject o;
    o.kind = ObjectKind::TextBox;
    o.floating = true;
    o.story = static_cast<int32_t>(box);
    o.width = 1872;
    o.height = 1440;
    o.horizontal.from = AnchorFrom::Page;
    o.horizontal.offset = 2000;
    o.vertical.from = AnchorFrom::Page;
    o.vertical.offset = 3000;
    o.textLayout = shape;
    CharFormat anchor = mono();
    anchor.objectIndex = b.addObject(o);
    b.appendText(u"Body", chars);
    b.appendChar(Ch::Anchor, b.charFormat(anchor));
    b.endParagraph(para, chars);
    return b.finish(SectionFormat{}, HeaderFooterRefs{});
}

ShapeTextLayout noInsets(std::string preset, ShapeTextLayout::Anchor anchor)
{
    ShapeTextLayout s;
    s.preset = std::move(preset);
    s.insetLeft = s.insetTop = s.insetRight = s.insetBottom = 0;
    s.anchor = anchor;
    return s;
}

TEST(ShapeText, ChevronsNarrowWaistBreaksTheWordBetweenCharacters)
{
    // The chevron's text rectangle is 720..1152 across (432 twips): three
    // characters of Courier New 10 pt (360 twips), so "Chevron" breaks
    // after "Che" and "vro", each line at the waist's left edge.
    const auto doc = shapeDocument(noInsets("chevron", ShapeTextLayout::Anchor::Top), u"Chevron");
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.pages.size(), 1u);
    const auto& lines = r.pages[0].boxLines;
    ASSERT_EQ(lines.size(), 3u);
    for (const LaidOutLine& l : lines) {
        EXPECT_DOUBLE_EQ(l.x, 2000 + 720);
        EXPECT_FALSE(l.counted);
    }
    EXPECT_EQ(lines[0].end - lines[0].start, 3u);
    EXPECT_DOUBLE_EQ(lines[0].y, 3000);
    EXPECT_EQ(r.lineCount(), 1); // the body's line alone
}

TEST(ShapeText, AnchoredTopMiddleOrBottomOfTheRectangle)
{
    // A diamond's rectangle runs 360..1080 down; one line of height H
    // stands at its top, at 360 + (720 - H) / 2, or at 1080 - H.
    struct Case {
        ShapeTextLayout::Anchor anchor;
        double share; // of the room left under the line
    };
    for (const Case c : {Case{ShapeTextLayout::Anchor::Top, 0}, Case{ShapeTextLayout::Anchor::Middle, 0.5},
                         Case{ShapeTextLayout::Anchor::Bottom, 1}}) {
        const auto doc = shapeDocument(noInsets("diamond", c.anchor), u"Ab");
        const LayoutResult r = layoutDocument(*doc);
        ASSERT_EQ(r.pages[0].boxLines.size(), 1u);
        const LaidOutLine& l = r.pages[0].boxLines[0];
        EXPECT_NEAR(l.y, 3000 + 360 + (720 - l.height) * c.share, 0.01);
        EXPECT_DOUBLE_EQ(l.x, 2000 + 468);
    }
}

TEST(ShapeText, InsetsAndAnUnknownPresetsWholeBox)
{
    // An unknown preset takes the whole box; the default insets (144 at
    // the sides, 72 above) hold as before.
    ShapeTextLayout s;
    s.preset = "notAPreset";
    const auto doc = shapeDocument(s, u"Ab");
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.pages[0].boxLines.size(), 1u);
    EXPECT_DOUBLE_EQ(r.pages[0].boxLines[0].x, 2144);
    EXPECT_DOUBLE_EQ(r.pages[0].boxLines[0].y, 3072);
}

TEST(ShapeText, UnwrappedTextIsCentredOnTheRectangle)
{
    // wrap="none": "Chevron" stays one line, 7 characters wide, centred
    // on the chevron's waist (936 across) though it is wider than it.
    ShapeTextLayout s = noInsets("chevron", ShapeTextLayout::Anchor::Top);
    s.wrap = false;
    const auto doc = shapeDocument(s, u"Chevron", Alignment::Center);
    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.pages[0].boxLines.size(), 1u);
    const LaidOutLine& l = r.pages[0].boxLines[0];
    ASSERT_FALSE(l.runs.empty());
    EXPECT_NEAR(l.runs.front().x, 2000 + 936 - 7 * Mono / 2, 0.5);
}

TEST(ShapeText, LinesBelowTheRectangleAreCutOff)
{
    // A plus's rectangle is 720 high (360..1080): lines of Courier New
    // 10 pt fit a few times; the rest of 40 characters wrapped 15 to a line
    // do not show.
    const auto doc = shapeDocument(noInsets("plus", ShapeTextLayout::Anchor::Top),
                                   u"aaaa bbbb cccc dddd eeee ffff gggg hhhh iiii jjjj kkkk llll mmmm nnnn oooo pppp");
    const LayoutResult r = layoutDocument(*doc);
    const auto& lines = r.pages[0].boxLines;
    ASSERT_FALSE(lines.empty());
    for (const LaidOutLine& l : lines)
        EXPECT_LE(l.y + l.height, 3000 + 1080 + 0.01);
    EXPECT_LT(lines.size(), 8u);
}

TEST(PictureText, MetafileTextStandsInThePicturesFrame)
{
    // An inline picture 2000 by 1000 twips whose metafile drew three
    // strings: at its reference point (left, baseline), right-aligned at
    // the frame's right edge, and top-aligned at its top.
    DocumentBuilder b("docx");
    const uint32_t chars = b.charFormat(mono());
    const uint32_t para = b.paraFormat(ParaFormat{});
    const uint32_t small = b.charFormat(testing::font("Courier New", 10));
    InlineObject o;
    o.kind = ObjectKind::Picture;
    o.width = 2000;
    o.height = 1000;
    o.picture = 0;
    CharFormat object = mono();
    object.objectIndex = b.addObject(o);
    b.appendChar(Ch::Object, b.charFormat(object));
    b.endParagraph(para, chars);
    auto doc = b.finish(SectionFormat{}, HeaderFooterRefs{});
    Picture picture;
    picture.texts.push_back({u"left", 100, 500, small, PictureText::Align::Left, PictureText::VAlign::Baseline});
    picture.texts.push_back({u"right", 2000, 500, small, PictureText::Align::Right, PictureText::VAlign::Baseline});
    picture.texts.push_back({u"top", 0, 0, small, PictureText::Align::Left, PictureText::VAlign::Top});
    doc->pictures.push_back(picture);

    const LayoutResult r = layoutDocument(*doc);
    ASSERT_EQ(r.pages.size(), 1u);
    ASSERT_EQ(r.pages[0].lines.size(), 1u);
    const LaidOutLine& line = r.pages[0].lines[0];
    ASSERT_FALSE(line.runs.empty());
    const double left = line.runs.front().x, top = line.y + line.ascent - 1000;
    const auto& texts = r.pages[0].drawnText;
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[0].text, u"left");
    EXPECT_NEAR(texts[0].x, left + 100, 0.01);
    EXPECT_NEAR(texts[0].baseline, top + 500, 0.01);
    // Courier New 5 pt: 60.01 twips a character, "right" 300.05 wide.
    EXPECT_NEAR(texts[1].x, left + 2000 - 5 * Mono / 2, 0.05);
    EXPECT_NEAR(texts[2].top, top, 0.01);
    EXPECT_GT(texts[2].baseline, top);
    EXPECT_EQ(r.lineCount(), 1);
}

} // namespace
} // namespace qm::engine::layout
