// RTF text and formatting: encodings, escapes, destinations, character and paragraph properties, styles.
#include "RtfTestSupport.h"

#include <map>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::test;

// Each case targets one way text goes wrong: a code page not applied, a
// \u fallback counted twice, a destination's text leaking into the story,
// a delimiter space kept as text.
TEST(RtfReader, TextOfTheMainStory)
{
    struct Case {
        const char* name;
        std::string body;
        std::u16string text;
    } cases[] = {
        {"paragraphs", R"(Hello\par World\par)", u"Hello\rWorld\r"},
        {"delimiter space is not text", R"({\b bold}\i0  two)", u"bold two\r"},
        {"line ends are not text", "a\r\nb\nc", u"abc\r"},
        {"backslash line end is a paragraph", "a\\\nb", u"a\rb\r"},
        {"ansi hex", R"(caf\'e9 \'93q\'94)", u"caf\u00E9 \u201Cq\u201D\r"},
        {"ansicpg", R"(\ansicpg1251 \'e0\'e1)", u"\u0430\u0431\r"},
        {"font charset wins over ansicpg", R"({\f1 \'e0}\'e0)", u"\u0430\u00E0\r"},
        {"double-byte font", R"({\fonttbl{\f2\fcharset128 MS Mincho;}}{\f2 \'82\'a0x})", u"\u3042x\r"},
        {"unicode with fallback", R"(\u8212\'97x)", u"\u2014x\r"},
        {"uc0 has no fallback", R"(\uc0\u8212 x)", u"\u2014x\r"},
        {"uc2 skips two", R"(\uc2\u8212\'81\'40x)", u"\u2014x\r"},
        {"fallback is a control word too", R"(\u8212\emdash x)", u"\u2014x\r"},
        {"negative unicode", R"(\u-3913 ?)", u"\uF0B7\r"},
        {"uc is scoped to the group", R"({\uc2 a}\u8212 xy)", u"a\u2014y\r"},
        {"escapes", R"(\{a\} \\b)", u"{a} \\b\r"},
        {"special characters", R"(\emdash\endash\bullet\lquote\rquote\ldblquote\rdblquote)",
         u"\u2014\u2013\u2022\u2018\u2019\u201C\u201D\r"},
        {"spaces and hyphens", R"(a\~b\-c\_d\emspace\enspace\qmspace)", u"a\u00A0b\u001Fc\u001Ed\u2003\u2002\u2005\r"},
        {"breaks", R"(a\line b\tab c\page d\column e)", u"a\u000Bb\tc\fd\u000Ee\r"},
        {"ignorable destination", R"(a{\*\unknownthing hidden {nested} text}b)", u"ab\r"},
        {"known non-text destinations", R"(a{\info{\title T}{\author A}}{\colortbl;\red1;}{\*\generator G;}b)",
         u"ab\r"},
        {"field result only", R"({\field{\*\fldinst HYPERLINK "x"}{\fldrslt link}})", u"link\r"},
        {"field instruction without star", R"({\field{\fldinst PAGE}{\fldrslt 7}})", u"7\r"},
        // A button field shows its label when it has no result to show;
        // any other field without one shows nothing.
        {"macro button without a result",
         R"(a {\field{\*\fldinst { MACROBUTTON NoMacro }{\b [Click here]} }} b)", u"a [Click here] b\r"},
        {"macro button with an empty result",
         R"({\field{\*\fldinst GOTOBUTTON intro Go on}{\fldrslt }})", u"Go on\r"},
        {"macro button with a result", R"({\field{\*\fldinst MACROBUTTON M label}{\fldrslt res}})", u"res\r"},
        {"other field without a result", R"(a{\field{\*\fldinst TC "entry"}}b)", u"ab\r"},
        {"button in another field's code",
         R"({\field{\*\fldinst IF 1 = 1 {\field{\*\fldinst MACROBUTTON M x}}}{\fldrslt yes}})", u"yes\r"},
        {"list label is not text", R"({\listtext\pard\plain \'b7\tab}item\par)", u"item\r"},
        {"index entry", R"(word{\xe {entry}})", u"word\r"},
        {"ansi twin of unicode text", R"({\upr{ascii}{\*\ud{\u945 ?}}})", u"\u03B1\r"},
        {"bin data", "{\\pict\\bin4 }{\\}}x", u"\u0001x\r"},
        {"picture is one object", R"(a{\*\shppict{\pict\picwgoal100\pichgoal50 0a0b}}{\nonshppict{\pict 00}}b)",
         u"a\u0001b\r"},
        {"object is one object", R"(a{\object\objw10\objh10{\*\objdata 0102}{\result{\pict 00}}}b)", u"a\u0001b\r"},
        {"text after the document is not read", R"(a}trailing)", u"a\r"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = readRtfText(wrapBody(c.body));
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->mainStory().text, c.text);
    }
}

// Would catch a toggle read as on when given 0, a group not restoring its
// formatting, or \plain leaving a property set.
// Pictures and embedded objects take the size the writer displayed: the
// goal size (else the native one at 15 twips a pixel) scaled by its per
// cent, and an object's \objw/\objh scaled by \objscalex/\objscaley.
TEST(RtfReader, PicturesAndObjectsTakeTheirDisplayedSize)
{
    struct Case {
        const char* name;
        std::string body;
        Twips width, height;
    } cases[] = {
        {"goal size", R"({\pict\picw10\pich20\picwgoal1000\pichgoal500 00})", 1000, 500},
        {"native size", R"({\pict\picw10\pich20 00})", 150, 300},
        {"scaled goal", R"({\pict\picscalex50\picscaley200\picwgoal1000\pichgoal500 00})", 500, 1000},
        {"object", R"({\object\objemb\objw11401\objh16169{\*\objdata 00}{\result{\pict 00}}})", 11401, 16169},
        {"scaled object", R"({\object\objemb\objw11401\objh16169\objscalex89\objscaley49{\*\objdata 00}})", 10146,
         7922},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto doc = readRtfText("{\\rtf1 a" + c.body + "b\\par}");
        ASSERT_TRUE(doc);
        ASSERT_EQ(doc->objects.size(), 1u);
        EXPECT_EQ(doc->objects[0].width, c.width);
        EXPECT_EQ(doc->objects[0].height, c.height);
    }
}

TEST(RtfReader, CharacterFormattingPerCharacter)
{
    auto doc = readRtfText(
        wrapBody(R"(\fs20 {\b B}{\b\b0 n}{\i I}{\ul U}{\ul\ulnone n}{\uldb D}{\scaps S}{\caps C}{\super P}{\sub Q})"
                 R"({\super\nosupersub n}{\v H}{\strike K}{\b\i\plain n}{\f1 F}{\fs48 Z})"));
    ASSERT_TRUE(doc);
    // \plain restores RTF's 12 points and the default font.
    EXPECT_EQ(describe(*doc, "b i u scaps caps pos hid strike sz"),
              "{b|B}n{i|I}{u|U}n{uu|D}{scaps|S}{caps|C}{sup|P}{sub|Q}n{hid|H}{strike|K}{sz24|n}F{sz48|Z}¶");
    EXPECT_EQ(describe(*doc, "font"), "{'Times New Roman'|BnIUnDSCPQnHKn}{'Arial Cyr'|F}{'Times New Roman'|Z}¶");
}

// Would catch \slmult ignored (a multiple read as twips), tabs out of order
// or losing their kind, and \pard not resetting the previous paragraph.
TEST(RtfReader, ParagraphPropertiesOnTheMark)
{
    auto doc =
        readRtfText(wrapBody(R"(\pard\qc\li720\ri360\fi-360\sb120\sa240\sl360\slmult1\keepn\keep\widctlpar\pagebb)"
                             R"(\tx3000\tqr\tldot\tx9000\tqc\tx1000 one\par)"
                             R"(\pard\qj\sl-300\nosnaplinegrid two\par\pard\sl280 three\par\pard four\par)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "al ind space line keep tabs grid"),
              "one¶[center li720 ri360 fi-360 sb120 sa240 line360 kn kl pbb tab1000c tab3000l tab9000r.]"
              "two¶[justify exact300 nowc nosnap]three¶[atleast280 nowc]four¶[nowc]");
}

// Would catch styles not applied, \sbasedon not followed, or a character
// style leaking paragraph properties.
TEST(RtfReader, StylesAppliedThroughTheirBase)
{
    auto doc = readRtfText(
        R"({\rtf1\ansi\deff0{\fonttbl{\f0 Times;}{\f1 Arial;}})"
        R"({\stylesheet{\ql\fs24 Normal;}{\s1\qc\sb240\f1\fs32\b\sbasedon0 Title;}{\s2\i\sbasedon1 Subtitle;})"
        R"({\*\cs10\additive\ul\qr Emphasis Char;}})"
        R"(\pard\plain\s2 sub\par\pard\plain plain {\cs10 e}\par})");
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "b i u font sz style al space"),
              "{b i sz32 'Arial'|sub}¶['Subtitle' center sb240]{sz24 'Times'|plain }{u sz24 'Times'|e}"
              "¶['Normal']");
}

TEST(RtfReader, StoredStatisticsAndWriter)
{
    auto doc = readRtfText(
        wrapBody(R"({\*\generator Microsoft Word 11.0.6568;}{\info{\title x}{\nofpages3}{\nofwords120}{\nofchars700})"
                 R"({\*\company ACME}{\nofcharsws812}\nofpages4}text)"));
    ASSERT_TRUE(doc);
    const StoredStatistics& st = doc->stored;
    EXPECT_EQ(std::tuple(st.pages, st.words, st.characters, st.charactersWithSpaces, st.application),
              std::tuple(4, 120, 700, 812, "Microsoft Word 11.0.6568"));
    EXPECT_EQ(doc->mainStory().text, u"text\r");
}

// The label a writer rendered for a list paragraph belongs to that
// paragraph only (without its tab), and the document's settings come from
// the header words wherever they stand.
TEST(RtfReader, ListLabelsAndDocumentSettings)
{
    auto doc = readRtfText(wrapBody(R"(\deftab360\margmirror\hyphauto1 )"
                                    R"({\listtext\pard\plain 1.\tab}first\par{\pntext\'b7\tab}second\par third\par)"));
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "label"), "first¶[«1.»]second¶[«·»]third¶");
    EXPECT_EQ(std::tuple(doc->settings.defaultTabStop, doc->settings.mirrorMargins, doc->settings.autoHyphenation),
              std::tuple(360, true, true));
}

// The header's hyphenation words set the document's hyphenation and its
// language (\\deflang, a Windows language number); \\hyphpar0 keeps a
// paragraph out until \\pard.
TEST(RtfReader, HyphenationSettingsLanguageAndParagraphsLeftOut)
{
    auto doc = readRtfText(wrapBody(R"(\deflang1031\hyphauto\hyphhotz284\hyphconsec2\hyphcaps0 )"
                                    R"(a\par\hyphpar0 b\par c\par\pard d\par)"));
    ASSERT_TRUE(doc);
    const DocumentSettings& set = doc->settings;
    EXPECT_EQ(std::tuple(set.autoHyphenation, set.hyphenationZone, set.consecutiveHyphenLimit, set.hyphenateCaps,
                         set.language),
              std::tuple(true, 284, 2, false, "de-DE"));
    std::string left;
    const Story& s = doc->mainStory();
    for (uint32_t p = 0; p < s.size(); ++p)
        if (s.text[p] == u'\r')
            left += doc->paraFormats[s.attrs[p].paraFormat].suppressAutoHyphens ? 'x' : '-';
    EXPECT_EQ(left, "-xx-");
}

// Word writes a run's three fonts as \rtlch\fcs1 \af.. \ltrch\fcs0 \f..
// \loch\af..\hich\af..\dbch\af..: would catch \af given to the Latin font,
// the East Asian font missing after \dbch, \afs read as the Latin size, the
// styles' defaults (\stshfdbch, \stshfbi) ignored, or \rtlpar lost.
TEST(RtfReader, EachScriptKeepsItsOwnFontAndDirection)
{
    auto doc = readRtfText(
        R"({\rtf1\ansi\deff0\stshfdbch2\stshfbi3{\fonttbl{\f0 Times New Roman;}{\f1 Arial;}{\f2\fcharset128 MS Mincho;})"
        R"({\f3 Traditional Arabic;}})"
        R"(\pard a{\rtlch\fcs1 \af1\afs28 \ltrch\fcs0 \f1\loch\af0\hich\af0\dbch\af0 b}\par)"
        R"(\pard\rtlpar c\par})");
    ASSERT_TRUE(doc);
    EXPECT_EQ(
        describe(*doc, "font scripts rtl"),
        "{'Times New Roman' ea'MS Mincho' cs'Traditional Arabic'|a}{'Arial' ea'Times New Roman' cs'Arial' szcs28|b}"
        "¶{'Times New Roman' ea'MS Mincho' cs'Traditional Arabic'|c}¶[rtl]");
}

TEST(RtfReader, FontTableNamesStandInsForMissingFonts)
{
    // The alternate name first, else the family's font; a proportional
    // \fmodern font, an \fnil one and a font standing for itself get none.
    auto doc = readRtfText(
        R"({\rtf1\ansi\deff0{\fonttbl{\f0\froman Times New Roman;})"
        R"({\f1\froman\fcharset0\fprq0{\*\panose 00000000000000000000}inherit{\*\falt Times New Roman};})"
        R"({\f2\froman\fprq2 Old Style;}{\f3\fswiss\fprq2 Grotesk;}{\f4\fmodern\fprq1 Typewriter;})"
        R"({\f5\fmodern\fprq2 DIN;}{\f6\fnil\fprq2 Wingdings;}})"
        R"(\pard\plain {\f1 a}\par})");
    ASSERT_TRUE(doc);
    const std::map<std::string, std::string> expected{{"inherit", "Times New Roman"},
                                                      {"Old Style", "Times New Roman"},
                                                      {"Grotesk", "Arial"},
                                                      {"Typewriter", "Courier New"}};
    EXPECT_EQ(doc->settings.fontStandIns, expected);
    EXPECT_EQ(describe(*doc, "font"), "{'inherit'|a}¶");
}

// Word writes each font's PANOSE number, and sometimes an alternative name,
// in groups of their own before the font's name: would catch such a group's
// end taken as the entry's end, which loses the name and sets the text in
// the default font ('Courier' laid out as a proportional face).
TEST(RtfReader, FontNamesAfterTheirPanoseAndAlternativeGroups)
{
    auto doc = readRtfText(
        R"({\rtf1\ansi\deff0{\fonttbl{\f0\froman Times New Roman;})"
        R"({\f6\fbidi \fnil\fcharset0\fprq2{\*\panose 02000500000000000000}Courier;})"
        R"({\f7\fswiss{\*\falt Helvetica}{\*\panose 020b0604020202020204}Arial;}})"
        R"(\pard\plain {\f6 a}{\f7 b}c\par})");
    ASSERT_TRUE(doc);
    EXPECT_EQ(describe(*doc, "font"), "{'Courier'|a}{'Arial'|b}{'Times New Roman'|c}¶");
}
