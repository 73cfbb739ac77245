// Shapes and pictures of Word packages: how a shape lays out its text, and the text of metafile pictures.
#include "DocxTestPackage.h"
#include "../support/TextWmf.h"
#include "engine/formats/Reader.h"
#include "engine/model/Unicode.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

/// A floating wps shape 1.3" by 1" of geometry `geometry` holding "Inside",
/// with `bodyPr` for its text body.
std::string shapeBody(const std::string& geometry, const std::string& bodyPr)
{
    return R"(<w:p><w:r><w:drawing><wp:anchor distT="0" distB="0" distL="0" distR="0"><wp:extent cx="1188720" cy="914400"/>)"
           R"(<wp:wrapNone/><a:graphic><a:graphicData><wps:wsp><wps:spPr>)" +
           geometry + R"(</wps:spPr><wps:txbx><w:txbxContent>)" + para("Inside") +
           R"(</w:txbxContent></wps:txbx>)" + bodyPr +
           R"(</wps:wsp></a:graphicData></a:graphic></wp:anchor></w:drawing></w:r></w:p>)";
}

const InlineObject* onlyObject(const ReadResult& r)
{
    if (!r.ok() || r.document->objects.size() != 1)
        return nullptr;
    return &r.document->objects.front();
}

TEST(DocxShapeText, GeometryAdjustInsetsAnchorAndWrap)
{
    DocxPackage pkg;
    pkg.body = shapeBody(R"(<a:prstGeom prst="chevron"><a:avLst><a:gd name="adj" fmla="val 25000"/>)"
                         R"(<a:gd name="odd" fmla="pin 0 1 2"/></a:avLst></a:prstGeom>)",
                         R"(<wps:bodyPr lIns="91440" tIns="0" rIns="45720" bIns="635" anchor="ctr" wrap="none"/>)");
    const ReadResult r = readDocx(pkg.build(), {});
    const InlineObject* o = onlyObject(r);
    ASSERT_TRUE(o);
    EXPECT_EQ(o->kind, ObjectKind::TextBox);
    EXPECT_EQ(o->textLayout.preset, "chevron");
    // Only "val" formulas are adjust values.
    ASSERT_EQ(o->textLayout.adjust.size(), 1u);
    EXPECT_EQ(o->textLayout.adjust[0].first, "adj");
    EXPECT_EQ(o->textLayout.adjust[0].second, 25000);
    // EMU to twips: 91440 / 635 = 144, 45720 / 635 = 72, 635 / 635 = 1.
    EXPECT_EQ(o->textLayout.insetLeft, 144);
    EXPECT_EQ(o->textLayout.insetTop, 0);
    EXPECT_EQ(o->textLayout.insetRight, 72);
    EXPECT_EQ(o->textLayout.insetBottom, 1);
    EXPECT_EQ(o->textLayout.anchor, ShapeTextLayout::Anchor::Middle);
    EXPECT_FALSE(o->textLayout.wrap);
}

TEST(DocxShapeText, WhatTheShapeLeavesOutKeepsWordsDefaults)
{
    struct Case {
        std::string geometry, bodyPr;
        ShapeTextLayout::Anchor anchor;
        Twips left, top;
    };
    const Case cases[] = {
        {"", "<wps:bodyPr/>", ShapeTextLayout::Anchor::Top, 144, 72},
        {R"(<a:prstGeom prst="rect"/>)", R"(<wps:bodyPr anchor="b"/>)", ShapeTextLayout::Anchor::Bottom, 144, 72},
        {"", R"(<wps:bodyPr anchor="just" lIns="x"/>)", ShapeTextLayout::Anchor::Top, 144, 72},
        // Negative insets are taken as none.
        {"", R"(<wps:bodyPr lIns="-91440" tIns="-1"/>)", ShapeTextLayout::Anchor::Top, 0, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bodyPr);
        DocxPackage pkg;
        pkg.body = shapeBody(c.geometry, c.bodyPr);
        const ReadResult r = readDocx(pkg.build(), {});
        const InlineObject* o = onlyObject(r);
        ASSERT_TRUE(o);
        EXPECT_EQ(o->textLayout.anchor, c.anchor);
        EXPECT_EQ(o->textLayout.insetLeft, c.left);
        EXPECT_EQ(o->textLayout.insetTop, c.top);
        EXPECT_EQ(o->textLayout.insetRight, 144);
        EXPECT_TRUE(o->textLayout.wrap);
    }
}

TEST(DocxShapeText, VmlTextboxInsetAndAnchor)
{
    DocxPackage pkg;
    pkg.body = R"(<w:p><w:r><w:pict><v:shape style="position:absolute;width:100pt;height:50pt;v-text-anchor:middle">)"
               R"(<v:textbox inset="3.6pt,0,0.1in,2mm"><w:txbxContent>)" +
               para("Inside") + R"(</w:txbxContent></v:textbox></v:shape></w:pict></w:r></w:p>)";
    const ReadResult r = readDocx(pkg.build(), {});
    const InlineObject* o = onlyObject(r);
    ASSERT_TRUE(o);
    EXPECT_EQ(o->textLayout.anchor, ShapeTextLayout::Anchor::Middle);
    EXPECT_EQ(o->textLayout.insetLeft, 72);   // 3.6 pt
    EXPECT_EQ(o->textLayout.insetTop, 0);
    EXPECT_EQ(o->textLayout.insetRight, 144); // 0.1 in
    EXPECT_EQ(o->textLayout.insetBottom, 113); // 2 mm
}

/// A placeable WMF 1000 units square drawing "Hello" at (250, 500) in a
/// font 100 units high (a tenth of the picture), baseline aligned.
std::string smallWmf() { return test::textWmf("Hello", "Times New Roman", true); }

DocxPackage picturePackage(const std::string& target, bool vml)
{
    DocxPackage pkg;
    if (vml)
        pkg.body = R"(<w:p><w:r><w:pict><v:shape style="width:100pt;height:50pt"><v:imagedata r:id="rIdP"/>)"
                   R"(</v:shape></w:pict></w:r></w:p>)";
    else
        pkg.body = R"(<w:p><w:r><w:drawing><wp:inline><wp:extent cx="1270000" cy="635000"/><a:graphic><a:graphicData>)"
                   R"(<pic:pic xmlns:pic="http://schemas.openxmlformats.org/drawingml/2006/picture"><pic:blipFill>)"
                   R"(<a:blip r:embed="rIdP"/></pic:blipFill></pic:pic></a:graphicData></a:graphic></wp:inline>)"
                   R"(</w:drawing></w:r></w:p>)";
    pkg.extraRels = R"(<Relationship Id="rIdP" Type="http://schemas.openxmlformats.org/officeDocument/2006/relationships/image" Target=")" +
                    target + R"("/>)";
    pkg.extra.push_back({"word/" + target, smallWmf()});
    return pkg;
}

TEST(DocxPictureText, MetafileTextIsReadOnlyWhenAsked)
{
    for (bool vml : {false, true}) {
        SCOPED_TRACE(vml ? "v:imagedata" : "a:blip");
        const std::string bytes = picturePackage("media/image1.wmf", vml).build();
        // Counting leaves the picture unopened.
        const ReadResult plain = readDocx(bytes, {});
        ASSERT_TRUE(plain.ok());
        EXPECT_TRUE(plain.document->pictures.empty());
        EXPECT_EQ(plain.document->objects.at(0).picture, -1);

        ReadOptions options;
        options.pictureText = true;
        const ReadResult r = readDocx(bytes, options);
        ASSERT_TRUE(r.ok());
        const Document& d = *r.document;
        const PictureText* only = onlyPictureText(d);
        ASSERT_NE(only, nullptr);
        const PictureText& t = *only;
        EXPECT_EQ(t.text, u"Hello");
        // The frame is 100 by 50 pt (2000 by 1000 twips): a quarter across,
        // half down; the font a tenth of 50 pt high, 5 pt = 10 half points.
        EXPECT_NEAR(t.x, 500, 0.5);
        EXPECT_NEAR(t.y, 500, 0.5);
        EXPECT_EQ(t.vAlign, PictureText::VAlign::Baseline);
        const CharFormat& f = d.charFormats.at(t.charFormat);
        EXPECT_EQ(f.fontName, "Times New Roman");
        EXPECT_EQ(f.sizeHalfPoints, 10);
        // Nothing a picture draws is text of a story.
        EXPECT_EQ(utf16ToUtf8(d.mainStory().text).find("Hello"), std::string::npos);
    }
}

TEST(DocxPictureText, OtherPicturesAndMissingPartsGiveNoText)
{
    ReadOptions options;
    options.pictureText = true;
    // A picture that is no metafile by its name is not opened.
    const ReadResult png = readDocx(picturePackage("media/image1.png", false).build(), options);
    ASSERT_TRUE(png.ok());
    EXPECT_TRUE(png.document->pictures.empty());
    // A relationship to a part the package lacks.
    DocxPackage missing = picturePackage("media/image1.emf", false);
    missing.extra.clear();
    const ReadResult r = readDocx(missing.build(), options);
    ASSERT_TRUE(r.ok());
    EXPECT_TRUE(r.document->pictures.empty());
}

} // namespace
