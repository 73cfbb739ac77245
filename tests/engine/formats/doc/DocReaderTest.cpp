// The Word 97-2003 reader on documents built here: text, formatting, tables, fields, sections, notes, errors.
#include "../support/Describe.h"
#include "DocFixture.h"
#include "engine/access/WordStatistics.h"
#include "engine/formats/Reader.h"
#include "engine/formats/doc/Properties.h"

#include <functional>
#include <map>
#include <gtest/gtest.h>
#include <tuple>

using namespace qm::engine;
using namespace qm::engine::doc::test;
using namespace qm::engine::test;

namespace {

ReadResult read(const DocSpec& spec) { return readDoc(buildDoc(spec), ReadOptions{}); }

DocSpec plain(std::u16string text)
{
    DocSpec spec;
    spec.text = std::move(text);
    return spec;
}

/// The main story as describe() shows it, or the error.
std::string describeMain(const DocSpec& spec, std::string_view show = "")
{
    ReadResult r = read(spec);
    return r.ok() ? describe(*r.document, show) : "error: " + r.error;
}

} // namespace

TEST(DocReader, MainStoryHoldsTheFinalTextInCharacterOrder)
{
    // Smart quotes and the dash sit in 0x80-0x9F of a one-byte piece; a
    // fast-saved file keeps its pieces out of file order.
    const std::u16string quotes = u"Say \u201Chi\u201D \u2014 caf\u00E9\rNext\r";
    const char* const shown = "Say \u201Chi\u201D \u2014 caf\u00E9¶Next¶";
    struct Case {
        std::u16string text;
        std::string shown;
        std::vector<DocSpec::Chars> chars = {};
        bool compressed = true;
        std::vector<uint32_t> splits = {};
    } cases[] = {
        {quotes, shown},
        {quotes, shown, {}, false},
        {quotes, shown, {}, true, {3, 9, 15}},
        {quotes, shown, {}, false, {1, 16}},
        {u"A\x13 PAGE \x14"
         u"3\x15 B\r",
         "A3 B¶"},
        // A field nested in an instruction is code as a whole; one in a result shows.
        {u"\x13 IF \x13 DATE \x14x\x15 = 1 \x14yes\x15!\r", "yes!¶"},
        {u"\x13 A \x14<\x13 B \x14inner\x15>\x15\r", "<inner>¶"},
        // A field without a separator shows nothing; stray ends change nothing.
        {u"x\x13 TOC \x15y\x15\x14z\r", "xyz¶"},
        // ...but a button field shows its label, unless it is itself code.
        {u"a \x13 MACROBUTTON NoMacro [Click here] \x15 b\r", "a [Click here] b¶"},
        {u"\x13 IF 1 = 1 \x13 GOTOBUTTON x label\x15\x14yes\x15\r", "yes¶"},
        // An unfinished field at the end leaves the rest out but keeps the paragraph.
        {u"keep\x13 broken\r", "keep¶"},
        // "gone " marked deleted.
        {u"keep gone kept\r", "keep kept¶", {{5, 10, sprm(0x0800, {1})}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.shown);
        DocSpec spec = plain(c.text);
        spec.chars = c.chars;
        spec.compressed = c.compressed;
        spec.pieceSplits = c.splits;
        EXPECT_EQ(describeMain(spec), c.shown);
    }
}

TEST(DocReader, FilesItCannotCountGetAClearError)
{
    struct Case {
        const char* name;
        std::function<std::string()> file;
        std::string error;
    } cases[] = {
        {"encrypted", [] { DocSpec s = plain(u"x\r"); s.flags |= 0x0100; return buildDoc(s); },
         "password-protected documents cannot be counted"},
        {"obfuscated",
         [] {
             DocSpec s = plain(u"x\r");
             s.flags |= 0x8000;
             return buildDoc(s);
         },
         "password-protected documents cannot be counted"},
        {"encrypted package",
         [] {
             return buildCompoundFile({{u"EncryptionInfo", "abc"}, {u"EncryptedPackage", std::string(5000, 'x')}});
         },
         "password-protected documents cannot be counted"},
        {"no document stream",
         [] {
             return buildCompoundFile({{u"Book", "x"}});
         },
         "the file is not a Word document (it has no document stream)"},
        {"no table stream",
         [] {
             DocSpec s = plain(u"x\r");
             s.omitTableStream = true;
             return buildDoc(s);
         },
         "the document is damaged (its table stream is missing)"},
        {"Word 2", [] { return std::string("\xDB\xA5\x2D\x00", 4) + std::string(1000, '\0'); },
         "Word 2 and earlier documents are not supported"},
        {"empty", [] { return std::string(); }, "the file is empty"},
        {"not a container", [] { return std::string(1000, 'x'); },
         "the file is not a Word document (its container is not recognised)"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ReadResult r = readDoc(c.file(), ReadOptions{});
        EXPECT_FALSE(r.ok());
        EXPECT_EQ(r.error, c.error);
    }
}

TEST(DocReader, CharacterPropertiesApplyStylesThenToggles)
{
    // Style 1 is a bold paragraph style, style 11 an italic character style.
    std::vector<StyleDef> styles(12, StyleDef{0});
    styles[0] = {1, 0x0FFF, u"Normal", {}, {}};
    styles[1] = {1, 0, u"Strong Para", {}, sprm(0x0835, {1})};
    styles[10] = {2, 0x0FFF, u"Default Paragraph Font", {}, {}};
    styles[11] = {2, 10, u"Emphasis", {}, sprm(0x0836, {1})};
    DocSpec spec = plain(u"abcd\refghijklmn\r");
    spec.styleSheet = buildStyleSheet(styles);
    spec.paras = {{5, 1, {}}, {16, 0, {}}};
    spec.chars = {
        {1, 2, sprm(0x0835, {0x81})},                        // b: the opposite of the bold style
        {2, 3, sprm(0x0835, {0x80})},                        // c: as the style has it
        {3, 4, sprm(0x0835, {0})},                           // d: off
        {5, 6, sprm(0x0835, {0x81})},                        // e: the opposite of a plain style
        {6, 7, sprm16(0x4A30, 11)},                          // f: character style
        {7, 8, sprm(0x083C, {1})},                           // g: hidden
        {8, 9, sprm(0x2A3E, {3})},                           // h: double underline
        {9, 10, sprm(0x2A48, {1})},                          // i: superscript
        {10, 11, sprm16(0x4A43, 48)},                        // j: 24 points
        {11, 12, sprm(0x083B, {1})},                         // k: caps
        {12, 13, sprm(0x083A, {1})},                         // l: small caps
        {13, 14, sprm(0x0837, {1})},                         // m: strike
        {14, 15, sprm16(0x4A30, 11) + sprm(0x0836, {0x81})}, // n: toggled off against its character style
    };
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    EXPECT_EQ(describe(d, "b i hid u pos sz caps scaps strike mark style"),
              "{b|a}b{b|c}d{b|¶}['Strong "
              "Para']{b|e}{i|f}{hid|g}{uu|h}{sup|i}{sz48|j}{caps|k}{scaps|l}{strike|m}n¶['Normal']");
    EXPECT_EQ(d.charFormatAt(d.mainStory(), 15).fontName, "Times New Roman");
    // Word's figures count hidden text with the rest: all 14 characters.
    EXPECT_EQ(computeWordStatistics(d).characters, 14);
}

// Runs with the same property bytes share one resolution, and each keeps
// its own format between runs of others; the same bytes in a paragraph of
// another style resolve against that style (bold toggled off in "Strong").
TEST(DocReader, RunsWithTheSamePropertiesEachKeepTheirFormat)
{
    std::vector<StyleDef> styles(11, StyleDef{0});
    styles[0] = {1, 0x0FFF, u"Normal", {}, {}};
    styles[1] = {1, 0, u"Strong", {}, sprm(0x0835, {1})};
    styles[10] = {2, 0x0FFF, u"Default Paragraph Font", {}, {}};
    DocSpec file = plain(u"ab cd ef gh\rij kl\r");
    file.styleSheet = buildStyleSheet(styles);
    file.paras = {{12, 0, {}}, {18, 1, {}}};
    file.chars = {
        {0, 2, sprm(0x0835, {0x81})},  // ab: bold against Normal
        {3, 5, sprm(0x0836, {1})},     // cd: italic
        {6, 8, sprm(0x0835, {0x81})},  // ef: the same bytes as ab
        {9, 11, sprm(0x0836, {1})},    // gh: the same bytes as cd
        {12, 14, sprm(0x0835, {0x81})}, // ij: the same bytes, toggled against Strong: plain
    };
    ReadResult r = read(file);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "b i"), "{b|ab} {i|cd} {b|ef} {i|gh}¶ij{b| kl}¶");
}

TEST(DocReader, ParagraphPropertiesFromPagesAndStyles)
{
    std::vector<StyleDef> styles{{1, 0x0FFF, u"Normal", {}, {}},
                                 {1, 0, u"Indented", sprm16(0x845E, 720) + sprm(0x2406, {1}), {}}};
    DocSpec spec = plain(u"one\rtwo\rthree\r");
    spec.styleSheet = buildStyleSheet(styles);
    std::string tabs =
        sprm(0xC60D, {8, 0, 2, 0x40, 0x06, 0xA0, 0x0F, 0x02, 0x0B}); // add 1600 right, 4000 decimal dotted
    spec.paras = {
        {4, 0, sprm(0x2461, {1}) + sprm16(0xA413, 240) + sprm16(0xA414, 120) + sprm(0x6412, {0x2C, 0xFF, 0, 0})},
        {8, 1, sprm16(0x8460, static_cast<uint16_t>(-360)) + sprm(0x2407, {1}) + tabs},
        {14, 0, sprm(0x6412, {0xE0, 0x01, 1, 0}) + sprm(0x2431, {0}) + sprm(0x2405, {1})},
    };
    // A negative line height is exact.
    EXPECT_EQ(describeMain(spec, "style al ind space line keep tabs"),
              "one¶['Normal' center sb240 sa120 exact212]two¶['Indented' li720 fi-360 kn pbb tab1600r tab4000d.]"
              "three¶['Normal' line480 kl nowc]");
}

// Would catch the East Asian font (sprmCRgFtc1), the complex-script font and
// size (sprmCFtcBi, sprmCHpsBi) or a right-to-left paragraph (sprmPFBiDi)
// not read. The fixture's font table holds Times New Roman alone, and its
// style sheet's default East Asian font (ftcFE) is that font too.
TEST(DocReader, EachScriptKeepsItsOwnFontAndDirection)
{
    DocSpec spec = plain(u"ab\rc\r");
    spec.chars = {{1, 2, sprm16(0x4A50, 0) + sprm16(0x4A5E, 0) + sprm16(0x4A61, 28)}};
    spec.paras = {{3, 0, {}}, {5, 0, sprm(0x2441, {1})}};
    EXPECT_EQ(
        describeMain(spec, "scripts rtl"),
        "{ea'Times New Roman'|a}{ea'Times New Roman' cs'Times New Roman' szcs28|b}¶{ea'Times New Roman'|c}¶[rtl]");
}

TEST(DocReader, TablesFromCellMarksRowEndsAndDepth)
{
    const std::string inTable = sprm(0x2416, {1});
    // sprmTDefTable: 2 cells at 0, 1500 and 4500 twips.
    std::string defTable = sprm(0xD608, {});
    put16(defTable, 1 + 1 + 3 * 2);
    defTable += std::string("\x02", 1);
    put16(defTable, 0);
    put16(defTable, 1500);
    put16(defTable, 4500);
    const std::string nested = sprm(0x2416, {1}) + sprm(0x6649, {2, 0, 0, 0});
    // "before" | row 1: [a | b] | row 2: [nested table (x | y) | c] | "after"
    DocSpec spec = plain(u"before\ra\u0007b\u0007\u0007x\ry\r\r\u0007c\u0007\u0007after\r");
    spec.paras = {
        {7, 0, {}},
        {9, 0, inTable},
        {11, 0, inTable},
        {12, 0, inTable + sprm(0x2417, {1}) + defTable},
        {14, 0, nested + sprm(0x244B, {1})},
        {16, 0, nested + sprm(0x244B, {1})},
        {17, 0, nested + sprm(0x244C, {1})},
        {18, 0, inTable},
        {20, 0, inTable},
        {21, 0, inTable + sprm(0x2417, {1}) + defTable},
        {27, 0, {}},
    };
    EXPECT_EQ(describeMain(spec, "depth row"),
              "before¶a¤b¤¤[row cells1500,3000]x¤[d2]y¤[d2]¤[d2 row]¤c¤¤[row cells1500,3000]after¶");
}

TEST(DocReader, SpecialCharactersNeedTheirFlag)
{
    // A 1, 2 or 8 is a picture, note reference or drawing only when flagged
    // special; otherwise Word shows nothing for it.
    DocSpec spec = plain(u"a\x01"
                         u"b\x08"
                         u"c\x01"
                         u"d\x02\r");
    spec.chars = {{1, 2, sprm(0x0855, {1})}, {3, 4, sprm(0x0855, {1})}};
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "obj"), "a{obj0|□}b{obj1|⚓}cd¶");
    EXPECT_EQ(describeObjects(*r.document), "picture | shape float");
}

TEST(DocReader, SectionsCarryPageSetupAndHeadersInheritWhenEmpty)
{
    // Main story: two sections. Header story: six empty separator stories,
    // then section 1's odd header and odd footer; section 2 defines none.
    const std::u16string main = u"One\x0cTwo\r";
    const std::u16string headers = u"H1\rF1\r\r";
    DocSpec spec = plain(main + headers);
    spec.ccp[0] = static_cast<uint32_t>(main.size());
    spec.ccp[2] = static_cast<uint32_t>(headers.size());
    const std::string sepx1 = sprm16(0xB01F, 11906) + sprm16(0xB020, 16838) + sprm(0x3009, {0}) + sprm(0x300A, {1}) +
                              sprm16(0x500B, 1) + sprm16(0xB021, 1000);
    spec.sections = {{4, sepx1}, {8, {}}};
    spec.hdd = {0, 0, 0, 0, 0, 0, /* section 1 */ 0, 0, 3, 3, 6, 6, /* section 2 */ 6, 6, 6, 6, 6, 6, 6, 7};
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    // Section 2 has no properties: Word 97's Letter page with 1.25" sides,
    // and section 1's header and footer.
    EXPECT_EQ(describe(*r.document, ""), "One§Two¶");
    EXPECT_TRUE(r.document->isSectionBreak(3));
    EXPECT_EQ(describeSections(*r.document),
              "§4 w11906 h16838 ml1000 mr1800 cols2 title continuous H:H1¶ F:F1¶ | §8 ml1800 mr1800 H^:H1¶ F^:F1¶");
}

TEST(DocReader, NegativeTopAndBottomMarginsStayExact)
{
    // A negative margin is Word's "exactly": a tall header or footer may not
    // push the body. The sign is kept for the layout; the size is the same.
    struct Case {
        int16_t top, bottom;
    } cases[] = {{-2000, 1440}, {1440, -720}, {1800, 1000}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.top);
        DocSpec spec = plain(u"Body\r");
        spec.sections = {{5, sprm16(0x9023, static_cast<uint16_t>(c.top)) +
                                 sprm16(0x9024, static_cast<uint16_t>(c.bottom))}};
        ReadResult r = read(spec);
        ASSERT_TRUE(r.ok()) << r.error;
        EXPECT_EQ(r.document->sections[0].format.marginTop, c.top);
        EXPECT_EQ(r.document->sections[0].format.marginBottom, c.bottom);
    }
}

TEST(DocReader, FootnoteReferencesPointAtTheirNotes)
{
    const std::u16string main = u"Text\x02 more\x02.\r";
    const std::u16string notes = u"\x02 First\r\x02 Second\r\r";
    DocSpec spec = plain(main + notes);
    spec.ccp[0] = static_cast<uint32_t>(main.size());
    spec.ccp[1] = static_cast<uint32_t>(notes.size());
    const uint32_t n = spec.ccp[0];
    spec.chars = {{4, 5, sprm(0x0855, {1})},
                  {10, 11, sprm(0x0855, {1})},
                  {n, n + 1, sprm(0x0855, {1})},
                  {n + 8, n + 9, sprm(0x0855, {1})}};
    spec.footnoteRefs = {4, 10};
    spec.footnoteTexts = {0, 8, 17};
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, "note"), "Text{note0|²} more{note1|²}.¶");
    EXPECT_EQ(describeNotes(*r.document), "foot:² First¶ | foot:² Second¶");
}

// Automatic hyphenation is the document's (fAutoHyphen, fHyphCapitals, the
// zone and the limit of hyphens in a row in the document properties), in the
// language the file header names; a paragraph may keep out of it.
TEST(DocReader, HyphenationSettingsLanguageAndParagraphsLeftOut)
{
    DocSpec spec = plain(u"one\rtwo\r");
    spec.lid = 0x0807; // German (Switzerland)
    spec.paras = {{4, 0, {}}, {8, 0, sprm(0x242A, {1})}};
    spec.dop.assign(0x1F4, '\0');
    spec.dop[5] = 0x10;       // fAutoHyphen, not fHyphCapitals
    set16(spec.dop, 14, 284); // dxaHotZ
    set16(spec.dop, 16, 2);   // cConsecHypLim
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    const DocumentSettings& set = d.settings;
    EXPECT_EQ(std::tuple(set.autoHyphenation, set.hyphenateCaps, set.hyphenationZone, set.consecutiveHyphenLimit,
                         set.language),
              std::tuple(true, false, 284, 2, "de-CH"));
    const Story& s = d.mainStory();
    EXPECT_FALSE(d.paraFormats[s.attrs[3].paraFormat].suppressAutoHyphens);
    EXPECT_TRUE(d.paraFormats[s.attrs[7].paraFormat].suppressAutoHyphens);
}

TEST(DocReader, StoredStatisticsAndSettingsFromDocumentProperties)
{
    DocSpec spec = plain(u"x\r");
    spec.dop.assign(0x1F4, '\0');
    set16(spec.dop, 0, 1);        // facing pages
    set16(spec.dop, 10, 360);     // default tab stop
    set32(spec.dop, 0x26, 1234);  // words
    set32(spec.dop, 0x2A, 5678);  // characters
    set16(spec.dop, 0x2E, 9);     // pages
    set32(spec.dop, 0x30, 77);    // paragraphs
    set32(spec.dop, 0x38, 88);    // lines
    set32(spec.dop, 0x1AA, 6789); // characters with spaces
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.document->stored.exact, false);
    spec.dop[6] = 0x02; // Word says it counted exactly
    r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    const StoredStatistics& st = d.stored;
    EXPECT_EQ(std::tuple(st.exact, st.words, st.characters, st.charactersWithSpaces, st.pages, st.paragraphs, st.lines),
              std::tuple(true, 1234, 5678, 6789, 9, 77, 88));
    EXPECT_EQ(std::tuple(d.settings.defaultTabStop, d.settings.evenAndOddHeaders), std::tuple(360, true));
    EXPECT_EQ(std::tuple(d.settings.autoHyphenation, d.settings.language), std::tuple(false, "en-US"));
    // Stored figures are for comparison only: the count is the text's.
    EXPECT_EQ(computeWordStatistics(d).words, 1);
}

TEST(DocReader, DamagedTablesGivePartialDocumentsOrClearErrors)
{
    DocSpec base = plain(u"Hello there\rsecond\r");
    base.chars = {{0, 5, sprm(0x0835, {1})}};
    base.paras = {{12, 0, sprm(0x2461, {2})}, {19, 0, {}}};
    auto [goodWd, goodTable] = buildStreams(base);
    // FIB offsets: the story counts and the table-stream locations.
    const size_t ccpText = 64 + 12, fcLcb = 154;
    auto location = [&](int index) { return fcLcb + 8 * index; };
    struct Case {
        const char* name;
        std::function<void(std::string& wd, std::string& table)> damage;
        bool readable;
        std::string text; ///< expected main story when readable
        bool diagnosed;   ///< whether the damage is worth a diagnostic
    } cases[] = {
        {"story count past the text", [&](std::string& wd, std::string&) { set32(wd, ccpText, 0x7FFFFFF0u); }, true,
         "Hello there¶second¶", true},
        {"piece table out of range", [&](std::string& wd, std::string&) { set32(wd, location(33), 0xFFFFFF00u); },
         false, "", true},
        {"piece table cut", [&](std::string& wd, std::string&) { set32(wd, location(33) + 4, 3); }, false, "", true},
        {"property pages past the stream",
         [&](std::string& wd, std::string& table) {
             const uint32_t at = static_cast<uint32_t>(get32(wd, location(12)));
             set32(table, at + 8, 0x3FFFFF);
         },
         true, "Hello there¶second¶", true},
        {"style sheet garbage",
         [&](std::string& wd, std::string& table) {
             const uint32_t at = static_cast<uint32_t>(get32(wd, location(1)));
             for (size_t i = at + 2; i < at + 40 && i < table.size(); ++i)
                 table[i] = '\xFF';
         },
         true, "Hello there¶second¶", false},
        {"section table with huge property offset",
         [&](std::string& wd, std::string& table) {
             const uint32_t at = static_cast<uint32_t>(get32(wd, location(6)));
             set32(table, at + 8 + 2, 0x7FFFFFF0u);
         },
         true, "Hello there¶second¶", false},
        {"every location past the table stream",
         [&](std::string& wd, std::string&) {
             for (int i = 0; i < 93; ++i)
                 if (i != 33)
                     set32(wd, location(i), 0xFFFFFFF0u);
         },
         true, "Hello there¶second¶", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string wd = goodWd, table = goodTable;
        c.damage(wd, table);
        ReadResult r = readDoc(buildCompoundFile({{u"WordDocument", wd}, {u"1Table", table}}), ReadOptions{});
        ASSERT_EQ(r.ok(), c.readable) << r.error;
        if (!r.ok()) {
            EXPECT_FALSE(r.error.empty());
            continue;
        }
        EXPECT_EQ(visible(r.document->mainStory()), c.text);
        if (c.diagnosed) {
            EXPECT_FALSE(r.document->diagnostics.empty());
        }
    }
}

TEST(DocReader, CyclicStyleBasesAndLongChainsEnd)
{
    std::vector<StyleDef> styles{
        {1, 2, u"Normal", {}, sprm(0x0835, {1})}, {1, 0, u"A", {}, sprm(0x0836, {1})}, {1, 1, u"B", {}, {}}};
    for (int i = 0; i < 100; ++i)
        styles.push_back({1, static_cast<uint16_t>(styles.size() - 1), u"chain", {}, {}});
    DocSpec spec = plain(u"x\ry\r");
    spec.styleSheet = buildStyleSheet(styles);
    spec.paras = {{2, 2, {}}, {4, static_cast<uint16_t>(styles.size() - 1), {}}};
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(visible(r.document->mainStory()), "x¶y¶");
    EXPECT_TRUE(r.document->charFormatAt(r.document->mainStory(), 0).italic);
}

TEST(DocReader, ParagraphLongerThanTheReadingBufferStaysWhole)
{
    // The reader hands very long paragraphs to the builder in parts; the
    // parts must join without losing or doubling characters or formatting.
    std::u16string text;
    for (int i = 0; i < 30000; ++i)
        text += u"abc ";
    text += u"end\r";
    DocSpec spec = plain(text);
    spec.chars = {{65530, 65540, sprm(0x0835, {1})}};
    spec.paras = {{static_cast<uint32_t>(text.size()), 0, sprm(0x2461, {2})}};
    ReadResult r = read(spec);
    ASSERT_TRUE(r.ok()) << r.error;
    const Document& d = *r.document;
    const Story& s = d.mainStory();
    ASSERT_EQ(s.text, text);
    EXPECT_EQ(std::tuple(d.charFormatAt(s, 65529).bold, d.charFormatAt(s, 65530).bold, d.charFormatAt(s, 65539).bold,
                         d.charFormatAt(s, 65540).bold),
              std::tuple(false, true, true, false));
    EXPECT_EQ(d.paraFormatOf(s, s.size() - 1).alignment, Alignment::Right);
    EXPECT_EQ(computeWordStatistics(d).words, 30001);
}

// A font table of FFNs as Word 97 writes them: the name from byte 40 as
// UTF-16 and, when ixchSzAlt (byte 5) is not 0, the alternate name from that
// character on; ffid (byte 1) holds the pitch in bits 0-1 and the family in
// bits 4-6.
TEST(DocProperties, FontTableGivesStandInsForMissingFonts)
{
    auto ffn = [](uint8_t ffid, std::u16string name, std::u16string alt) {
        std::string f(40, '\0');
        f[1] = static_cast<char>(ffid);
        f[5] = static_cast<char>(alt.empty() ? 0 : name.size() + 1);
        for (const std::u16string& s : {name, alt}) {
            if (s.empty())
                continue;
            for (char16_t c : s + u'\0')
                f += static_cast<char>(c & 0xFF), f += static_cast<char>(c >> 8);
        }
        f[0] = static_cast<char>(f.size() - 1);
        return f;
    };
    const std::string table = std::string("\x06\x00\x00\x00", 4) +
                              ffn(0x12, u"inherit", u"Times New Roman") + // roman, variable, an alternate name
                              ffn(0x12, u"Old Style", u"") +              // roman: Times New Roman
                              ffn(0x22, u"Grotesk", u"") +                // swiss: Arial
                              ffn(0x31, u"Typewriter", u"") +             // modern at a fixed pitch: Courier New
                              ffn(0x32, u"DIN", u"") +                    // modern, proportional: none
                              ffn(0x02, u"Wingdings", u"");               // no family: none
    const std::map<std::string, std::string> expected{{"inherit", "Times New Roman"},
                                                      {"Old Style", "Times New Roman"},
                                                      {"Grotesk", "Arial"},
                                                      {"Typewriter", "Courier New"}};
    EXPECT_EQ(doc::parseFontStandIns(table), expected);
    EXPECT_EQ(doc::parseFontTable(table).size(), 6u);
}

// sprmTFAutofit (0x3615) fits a row to its contents; without it, or with
// 0, the row keeps its widths.
TEST(DocProperties, RowsFitTheirContentsOnlyWhenAsked)
{
    struct Case {
        std::string grpprl;
        bool fixed;
    } cases[] = {{"", true}, {std::string("\x15\x36\x01", 3), false}, {std::string("\x15\x36\x00", 3), true}};
    for (const Case& c : cases) {
        doc::Pap pap;
        doc::applyPapx(pap, c.grpprl);
        EXPECT_EQ(pap.row.fixedLayout, c.fixed) << c.grpprl.size();
    }
}

// Border sprms as Word 97 (Brc80: width in eighths, type, colour index,
// space in points) and later Word (Brc after a size byte: COLORREF first)
// write them, for paragraphs, whole tables and the cells of a row.
TEST(DocProperties, BordersOfParagraphsTablesAndCells)
{
    using doc::applyPapx;
    doc::Pap pap;
    const std::string grpprl =
        std::string("\x24\x64\x04\x01\x06\x02", 6) +                      // top: 1/2 pt single, red, 2 pt
        std::string("\x4E\xC6\x08\x00\xFF\x00\x00\x0C\x03\x01\x00", 11) + // top again: 1.5 pt double
        std::string("\x26\x64\xFF\xFF\xFF\xFF", 6);                       // bottom: nil
    applyPapx(pap, grpprl);
    EXPECT_EQ(pap.format.borders.top, (BorderLine{BorderStyle::Double, 12, 1, 0x00FF00}));
    EXPECT_FALSE(pap.format.borders.bottom.present());

    // sprmTDefTable with two cells, the second with a dotted top TC80 border;
    // then sprmTTableBorders80 with a single insideH and sprmTSetBrc80 giving
    // the first cell a thick bottom.
    std::string def("\x08\xD6\x00\x00\x02\x00\x00\xE8\x03\xD0\x07", 11);
    std::string tc1(20, '\0');
    std::string tc2(20, '\0');
    tc2.replace(4, 4, std::string("\x06\x06\x00\x00", 4));
    def += tc1 + tc2;
    def[2] = static_cast<char>(def.size() - 3); // the operand's length plus one
    std::string borders = std::string("\x05\xD6\x18", 3) + std::string(16, '\0') + std::string("\x04\x01\x00\x00", 4) +
                          std::string(4, '\0');
    const std::string setBrc("\x20\xD6\x07\x00\x01\x04\x08\x02\x00\x00", 10);
    applyPapx(pap, def + borders + setBrc);
    ASSERT_EQ(pap.row.cells.size(), 2u);
    EXPECT_EQ(pap.row.cells[1].width, 1000);
    EXPECT_FALSE(pap.row.cells[0].borders.top.has_value());
    EXPECT_EQ(pap.row.cells[1].borders.top, (BorderLine{BorderStyle::Dotted, 6, 0, AutoColor}));
    EXPECT_EQ(pap.row.tableBorders.insideH, (BorderLine{BorderStyle::Single, 4, 0, AutoColor}));
    EXPECT_FALSE(pap.row.tableBorders.top.present());
    EXPECT_EQ(pap.row.cells[0].borders.bottom, (BorderLine{BorderStyle::Thick, 8, 0, AutoColor}));
}

// Word 2000 and later write a table's cell margins and cell spacing as
// sprmTCellPaddingDefault and sprmTCellSpacingDefault (after the length
// byte: first and last cell, sides top 1 left 2 bottom 4 right 8, unit 3
// for twips, width); they override the older sprmTDxaGapHalf, a unit other
// than twips is not read, and TC80's fHideMark (0x4000) hides a cell's mark.
TEST(DocProperties, CellMarginsSpacingAndHiddenMarks)
{
    const std::string gapHalf = sprm(0x9602, {108, 0});
    struct Case {
        const char* what;
        std::string grpprl;
        std::array<Twips, 4> margins; // top, left, bottom, right
        Twips spacing;
    } cases[] = {
        {"gap half alone", gapHalf, {0, 108, 0, 108}, 0},
        {"all sides", gapHalf + sprm(0xD634, {6, 0, 1, 0x0F, 3, 57, 0}), {57, 57, 57, 57}, 0},
        {"top and bottom", gapHalf + sprm(0xD634, {6, 0, 1, 0x05, 3, 30, 0}), {30, 108, 30, 108}, 0},
        {"not in twips", gapHalf + sprm(0xD634, {6, 0, 1, 0x0F, 2, 57, 0}), {0, 108, 0, 108}, 0},
        {"spacing", sprm(0xD633, {6, 0, 1, 0x0F, 3, 15, 0}), {0, 108, 0, 108}, 15},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        doc::Pap pap;
        doc::applyPapx(pap, c.grpprl);
        const TableRowFormat& r = pap.row;
        EXPECT_EQ((std::array<Twips, 4>{r.cellMarginTop, r.cellMarginLeft, r.cellMarginBottom, r.cellMarginRight}),
                  c.margins);
        EXPECT_EQ(r.cellSpacing, c.spacing);
    }

    // Two cells, the second with fHideMark set in its TC80.
    std::string def = sprm(0xD608, {});
    put16(def, 1 + 1 + 3 * 2 + 2 * 20);
    def += std::string("\x02", 1);
    for (uint16_t edge : {0, 1000, 2000})
        put16(def, edge);
    for (uint16_t flags : {0, 0x4000}) {
        put16(def, flags);
        def.append(18, '\0');
    }
    doc::Pap pap;
    doc::applyPapx(pap, def);
    ASSERT_EQ(pap.row.cells.size(), 2u);
    EXPECT_FALSE(pap.row.cells[0].hideMark);
    EXPECT_TRUE(pap.row.cells[1].hideMark);
}

// Would catch TC80's merge flags ignored: cells merged across as one wide
// cell (the merged ones at no width), a vertical merge started by a TC80 flag
// and continued by sprmTVertMerge in the row below; and the cells' vertical
// alignment from TC80 and sprmTVertAlign.
TEST(DocReader, MergedCellsAcrossAndDown)
{
    const std::string inTable = sprm(0x2416, {1});
    // sprmTDefTable: 3 cells at 0, 1500, 3000 and 4500 twips, each with a
    // TC80 of its flags and no borders.
    auto defTable = [](std::array<uint16_t, 3> flags) {
        std::string op = sprm(0xD608, {});
        put16(op, 1 + 1 + 4 * 2 + 3 * 20);
        op += std::string("\x03", 1);
        for (uint16_t edge : {0, 1500, 3000, 4500})
            put16(op, edge);
        for (uint16_t f : flags) {
            put16(op, f);
            op.append(18, '\0');
        }
        return op;
    };
    // Row 1: cells 1 and 2 merged (fFirstMerged, fMerged), cell 3 starts a
    // vertical merge (fVertRestart) with its text at the bottom (vertAlign
    // 2); row 2: plain cells, cell 3 continuing the merge, the first two
    // centred by sprmTVertAlign.
    const std::string row1 = defTable({0x0001, 0x0002, 0x0040 | (2 << 7)});
    const std::string row2 = defTable({0, 0, 0}) + sprm(0xD62B, {2, 2, 1}) + sprm(0xD62C, {3, 0, 2, 1});
    DocSpec spec = plain(u"a\u0007\u0007b\u0007\u0007c\u0007d\u0007\u0007\u0007after\r");
    spec.paras = {
        {2, 0, inTable}, {3, 0, inTable}, {5, 0, inTable}, {6, 0, inTable + sprm(0x2417, {1}) + row1},
        {8, 0, inTable}, {10, 0, inTable}, {11, 0, inTable}, {12, 0, inTable + sprm(0x2417, {1}) + row2},
        {18, 0, {}},
    };
    EXPECT_EQ(describeMain(spec, "row"),
              "a¤¤b¤¤[row cells3000,0,1500^bot]c¤d¤¤¤[row cells1500mid,1500mid,1500|]after¶");
}
