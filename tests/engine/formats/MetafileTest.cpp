// Text of Windows metafiles: where WMF and EMF text records put their strings, and damaged files.
#include "engine/formats/Metafile.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace qm::engine {
namespace {

/// Little-endian record writers.
struct Out {
    std::string b;
    void u16(uint32_t v) { b.push_back(char(v & 0xFF)), b.push_back(char((v >> 8) & 0xFF)); }
    void u32(uint32_t v) { u16(v & 0xFFFF), u16(v >> 16); }
    void i16(int v) { u16(static_cast<uint16_t>(static_cast<int16_t>(v))); }
    void i32(int64_t v) { u32(static_cast<uint32_t>(static_cast<int32_t>(v))); }
    void f32(float f)
    {
        uint32_t bits = 0;
        std::memcpy(&bits, &f, 4);
        u32(bits);
    }
    void bytes(std::string_view s) { b += s; }
};

// A WMF record: size in words, function, parameters (words).
void wmfRecord(Out& o, uint16_t function, const std::string& params)
{
    o.u32(static_cast<uint32_t>(3 + params.size() / 2));
    o.u16(function);
    o.bytes(params);
}

std::string words(std::initializer_list<int> values)
{
    Out o;
    for (int v : values)
        o.i16(v);
    return o.b;
}

/// A placeable WMF of 1600 x 1600 logical units, (224, -1824) at its top
/// left, that draws "Sample" at (248, -1752) in a 48-unit Arial, baseline
/// aligned, and "Right" at its right edge; a pen is made first, so that the
/// font takes the object table's second slot.
std::string sampleWmf()
{
    Out o;
    o.u32(0x9AC6CDD7u);
    o.u16(0);
    o.i16(224), o.i16(-1824), o.i16(1824), o.i16(-224); // bounds
    o.u16(1440), o.u32(0), o.u16(0);
    o.u16(1), o.u16(9), o.u16(0x300), o.u32(0), o.u16(2), o.u32(0), o.u16(0); // META_HEADER
    wmfRecord(o, 0x020B, words({-1824, 224}));                               // window origin: y, x
    wmfRecord(o, 0x020C, words({1600, 1600}));                               // window extent
    wmfRecord(o, 0x02FA, words({0, 1, 0, 0, 0}));                            // a pen: slot 0
    Out font;
    font.i16(-48), font.i16(0), font.i16(0), font.i16(0), font.i16(700);
    font.bytes(std::string("\0\0\0\0\0\0\0\0", 8));
    std::string face = "Arial";
    face.resize(32, '\0');
    font.bytes(face);
    wmfRecord(o, 0x02FB, font.b);          // the font: slot 1
    wmfRecord(o, 0x012D, words({1}));      // select it
    wmfRecord(o, 0x012E, words({24}));     // TA_BASELINE
    Out text;
    text.i16(-1752), text.i16(248), text.i16(6), text.u16(0);
    text.bytes("Sample");
    wmfRecord(o, 0x0A32, text.b);          // META_EXTTEXTOUT
    wmfRecord(o, 0x012E, words({2}));      // TA_RIGHT | TA_TOP
    Out out;
    out.i16(5);
    out.bytes(std::string("Right\0", 6));
    out.i16(-1824), out.i16(1824);
    wmfRecord(o, 0x0521, out.b);           // META_TEXTOUT: length, string, y, x
    wmfRecord(o, 0x0000, "");              // META_EOF
    return o.b;
}

TEST(MetafileText, WmfTextStandsInThePlaceableBounds)
{
    const std::vector<MetafileText> texts = metafileText(sampleWmf());
    ASSERT_EQ(texts.size(), 2u);
    // (248 - 224) / 1600 across, (-1752 + 1824) / 1600 down; the font's
    // 48 units of 1600.
    EXPECT_EQ(texts[0].text, u"Sample");
    EXPECT_NEAR(texts[0].x, 0.015, 1e-9);
    EXPECT_NEAR(texts[0].y, 0.045, 1e-9);
    EXPECT_NEAR(texts[0].emHeight, 0.03, 1e-9);
    EXPECT_EQ(texts[0].font, u"Arial");
    EXPECT_EQ(texts[0].weight, 700);
    EXPECT_EQ(texts[0].vAlign, MetafileText::VAlign::Baseline);
    EXPECT_EQ(texts[0].align, MetafileText::Align::Left);
    EXPECT_EQ(texts[1].text, u"Right");
    EXPECT_NEAR(texts[1].x, 1.0, 1e-9);
    EXPECT_NEAR(texts[1].y, 0.0, 1e-9);
    EXPECT_EQ(texts[1].align, MetafileText::Align::Right);
    EXPECT_EQ(texts[1].vAlign, MetafileText::VAlign::Top);
}

void emfRecord(Out& o, uint32_t type, const std::string& params)
{
    o.u32(type);
    o.u32(static_cast<uint32_t>(8 + params.size()));
    o.bytes(params);
}

std::string ints(std::initializer_list<int64_t> values)
{
    Out o;
    for (int64_t v : values)
        o.i32(v);
    return o.b;
}

/// An EMF whose reference device has 4 pixels to the millimetre, framed
/// from (10, 20) to (110, 220) mm: device pixels 40..440 across and 80..880
/// down. Its page is mapped anisotropically, window 3 units to a viewport
/// pixel, and the world transform moves the text's origin to (300, 600).
std::string sampleEmf(bool smallText = false)
{
    Out o;
    Out header;
    header.bytes(ints({0, 0, 480, 960}));           // bounds
    header.bytes(ints({1000, 2000, 11000, 22000})); // frame, 0.01 mm
    header.u32(0x464D4520u), header.u32(0x10000), header.u32(0), header.u32(0);
    header.u16(4), header.u16(0);
    header.u32(0), header.u32(0), header.u32(0);
    header.bytes(ints({1000, 1000, 250, 250})); // device pixels, millimetres
    emfRecord(o, 1, header.b);
    emfRecord(o, 17, ints({8}));          // MM_ANISOTROPIC
    emfRecord(o, 9, ints({4800, 4800}));  // window extent
    emfRecord(o, 11, ints({1600, 1600})); // viewport extent
    Out font;
    font.u32(1);
    font.bytes(ints({-60, 0, 0, 0, 400}));
    font.bytes(std::string("\1\0\0\0\0\0\0\0", 8));
    std::u16string face = u"Open Sans";
    face.resize(32, u'\0');
    for (char16_t c : face)
        font.u16(c);
    emfRecord(o, 82, font.b);      // EMR_EXTCREATEFONTINDIRECTW into handle 1
    emfRecord(o, 37, ints({1}));   // select it
    emfRecord(o, 22, ints({24}));  // TA_BASELINE
    emfRecord(o, 33, "");          // save
    Out xf;
    xf.f32(1), xf.f32(0), xf.f32(0), xf.f32(1), xf.f32(300), xf.f32(600);
    emfRecord(o, 35, xf.b);        // world transform
    if (smallText) {
        Out t;
        t.bytes(ints({0, 0, 2, 0x0100 | 0x0200, 2}));
        t.f32(0), t.f32(0);
        t.bytes("Hi");
        t.bytes(std::string(2, '\0'));
        emfRecord(o, 108, t.b); // EMR_SMALLTEXTOUT, no rectangle, 8-bit characters
    } else {
        Out t;
        t.bytes(ints({0, 0, 0, 0}));
        t.u32(2), t.f32(0), t.f32(0);
        t.bytes(ints({0, 0})); // reference point
        t.u32(2);              // characters
        t.u32(76);             // offset of the string from the record's start
        t.u32(0);
        t.bytes(ints({0, 0, 0, 0}));
        t.u32(0); // no advances
        t.u16(u'H'), t.u16(u'i');
        emfRecord(o, 84, t.b); // EMR_EXTTEXTOUTW
    }
    emfRecord(o, 34, ints({-1})); // restore: the identity again
    emfRecord(o, 14, ints({0, 0, 20}));
    return o.b;
}

TEST(MetafileText, EmfTextGoesThroughWorldPageAndFrame)
{
    for (bool small : {false, true}) {
        SCOPED_TRACE(small ? "EMR_SMALLTEXTOUT" : "EMR_EXTTEXTOUTW");
        const std::vector<MetafileText> texts = metafileText(sampleEmf(small));
        ASSERT_EQ(texts.size(), 1u);
        // World (0, 0) -> page (300, 600) -> device (100, 200); the frame
        // starts at pixel (40, 80) and is 400 by 800 pixels.
        EXPECT_EQ(texts[0].text, u"Hi");
        EXPECT_NEAR(texts[0].x, 60.0 / 400, 1e-9);
        EXPECT_NEAR(texts[0].y, 120.0 / 800, 1e-9);
        // 60 page units are 20 pixels of the frame's 800.
        EXPECT_NEAR(texts[0].emHeight, 20.0 / 800, 1e-9);
        EXPECT_EQ(texts[0].font, u"Open Sans");
        EXPECT_TRUE(texts[0].italic);
    }
}

TEST(MetafileText, NotAMetafileGivesNothing)
{
    EXPECT_TRUE(metafileText("").empty());
    EXPECT_TRUE(metafileText("GIF89a....").empty());
    EXPECT_FALSE(looksLikeMetafile("\x89PNG\r\n"));
    EXPECT_TRUE(looksLikeMetafile(sampleWmf()));
    EXPECT_TRUE(looksLikeMetafile(sampleEmf()));
}

TEST(MetafileText, EveryTruncationAndCorruptionIsSafe)
{
    // Each prefix of each sample, and each with one byte set to 0xFF: never
    // a read outside the bytes (the sanitizer builds check), never more
    // text than the whole file had.
    for (const std::string& whole : {sampleWmf(), sampleEmf(), sampleEmf(true)}) {
        const size_t full = metafileText(whole).size();
        for (size_t n = 0; n < whole.size(); ++n) {
            EXPECT_LE(metafileText(whole.substr(0, n)).size(), full);
            std::string broken = whole;
            broken[n] = '\xFF';
            EXPECT_LE(metafileText(broken).size(), 2u);
        }
    }
}

TEST(MetafileText, CountOfTextsIsBounded)
{
    // A WMF of ten thousand text records gives no more than asked for.
    Out o;
    o.u16(1), o.u16(9), o.u16(0x300), o.u32(0), o.u16(0), o.u32(0), o.u16(0);
    wmfRecord(o, 0x020C, words({100, 100}));
    for (int i = 0; i < 10000; ++i) {
        Out t;
        t.i16(2);
        t.bytes("ab");
        t.i16(i % 100), t.i16(0);
        wmfRecord(o, 0x0521, t.b);
    }
    EXPECT_EQ(metafileText(o.b, 50).size(), 50u);
    EXPECT_EQ(metafileText(o.b).size(), 4096u);
}

} // namespace
} // namespace qm::engine
