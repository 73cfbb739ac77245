// RTF metafile pictures (\wmetafile, \emfblip): the text they draw, read only when asked.
#include "engine/formats/Reader.h"

#include "../support/TextWmf.h"

#include <gtest/gtest.h>

#include <string>

namespace qm::engine {
namespace {

/// A WMF as RTF keeps it (no placeable header): a window 1000 units
/// square, a font 100 units high, "Hi" at (250, 500) baseline aligned.
std::string wmfHex() { return test::rtfHex(test::textWmf("Hi", "Arial", false), 32); }

std::string rtfWith(const std::string& kind)
{
    return "{\\rtf1\\ansi Before {\\pict" + kind + "\\picwgoal2000\\pichgoal1000 " + wmfHex() + "} after\\par}";
}

TEST(RtfPictureText, MetafileTextOfAPictureWhenAsked)
{
    ReadOptions options;
    options.pictureText = true;
    const ReadResult r = readRtf(rtfWith("\\wmetafile8"), options);
    ASSERT_TRUE(r.ok());
    const Document& d = *r.document;
    const PictureText* only = test::onlyPictureText(d);
    ASSERT_NE(only, nullptr);
    const PictureText& t = *only;
    EXPECT_EQ(t.text, u"Hi");
    // A quarter of 2000 twips across, half of 1000 down; the font a tenth
    // of 1000 twips, 5 pt.
    EXPECT_NEAR(t.x, 500, 0.5);
    EXPECT_NEAR(t.y, 500, 0.5);
    EXPECT_EQ(d.charFormats.at(t.charFormat).sizeHalfPoints, 10);
    EXPECT_EQ(d.charFormats.at(t.charFormat).fontName, "Arial");
}

TEST(RtfPictureText, CountingAndOtherPicturesLeaveItOut)
{
    // Without the option, and for a picture that is no metafile, nothing;
    // the text of the story is the same either way.
    const ReadResult plain = readRtf(rtfWith("\\wmetafile8"), {});
    ASSERT_TRUE(plain.ok());
    EXPECT_TRUE(plain.document->pictures.empty());
    ReadOptions options;
    options.pictureText = true;
    const ReadResult png = readRtf(rtfWith("\\pngblip"), options);
    ASSERT_TRUE(png.ok());
    EXPECT_TRUE(png.document->pictures.empty());
    const ReadResult asked = readRtf(rtfWith("\\wmetafile8"), options);
    ASSERT_TRUE(asked.ok());
    EXPECT_EQ(asked.document->mainStory().text, plain.document->mainStory().text);
}

TEST(RtfPictureText, AnObjectShowsItsResultsMetafile)
{
    // An embedded object ({\object ... {\result ... {\pict}}}) is shown by
    // its result picture: the object gets the picture's text, in the
    // object's own size (objw, objh scaled by objscalex, objscaley).
    const std::string rtf = "{\\rtf1\\ansi Before {\\object\\objemb\\objw4000\\objh2000\\objscalex50\\objscaley50"
                            "{\\*\\objclass Visio.Drawing.11}{\\*\\objdata 0105000002000000}"
                            "{\\result {\\*\\shppict{\\pict\\wmetafile8\\picwgoal2000\\pichgoal1000 " +
                            wmfHex() + "}}{\\nonshppict{\\pict\\wmetafile8 " + wmfHex() + "}}}} after\\par}";
    ReadOptions options;
    options.pictureText = true;
    const ReadResult r = readRtf(rtf, options);
    ASSERT_TRUE(r.ok());
    const Document& d = *r.document;
    const PictureText* only = test::onlyPictureText(d);
    ASSERT_NE(only, nullptr);
    EXPECT_EQ(d.objects[0].kind, ObjectKind::Embedded);
    EXPECT_NEAR(only->x, 500, 0.5);
    // The object's groups add nothing to the text, asked or not.
    const ReadResult plain = readRtf(rtf, {});
    ASSERT_TRUE(plain.ok());
    EXPECT_EQ(d.mainStory().text, plain.document->mainStory().text);
    EXPECT_TRUE(plain.document->pictures.empty());
}

TEST(RtfPictureText, ObjectGroupsReadForPicturesKeepTheTextAsCounted)
{
    // Read for its result's picture, an object's groups must end where
    // skipping them whole ends them: binary data holding braces, an
    // ignorable group of it, a shape's text or a paragraph inside add and
    // take away nothing (as the fuzzer found).
    const std::string cases[] = {
        "{\\rtf1 a{\\object\\objw1{\\*l49\\bin3 {}}}} b\\par}",
        "{\\rtf1 a{\\object{\\result{\\pict\\wmetafile8\\bin4 {}}}}}} b\\par}",
        "{\\rtf1 a{\\object{\\*\\objdata \\bin2 }}{\\result x\\par y{\\shptxt box\\par}}} b\\par}",
        "{\\rtf1 a{\\object{\\result{\\footnote note}\\cell\\row\\sect z}} b\\par}",
    };
    ReadOptions options;
    options.pictureText = true;
    for (const std::string& rtf : cases) {
        SCOPED_TRACE(rtf);
        const ReadResult asked = readRtf(rtf, options);
        const ReadResult plain = readRtf(rtf, {});
        ASSERT_TRUE(asked.ok() && plain.ok());
        EXPECT_EQ(asked.document->mainStory().text, plain.document->mainStory().text);
        EXPECT_EQ(asked.document->stories.size(), plain.document->stories.size());
        EXPECT_EQ(asked.document->notes.size(), plain.document->notes.size());
    }
}

} // namespace
} // namespace qm::engine
