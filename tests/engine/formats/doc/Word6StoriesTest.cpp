// Word 6 and Word 95 documents: headers and footers, notes, comments, text
// boxes and the figures Word stored, each in its Word 6 layout.
#include "../support/Describe.h"
#include "DocFixture.h"
#include "engine/formats/Reader.h"
#include "engine/formats/doc/Properties.h"
#include "engine/formats/doc/Word6.h"

#include <gtest/gtest.h>

namespace qm::engine::doc::test {
namespace {

using engine::test::describe;
using engine::test::describeNotes;
using engine::test::describeSections;
using engine::test::storyText;

// A Word 6 document stream: the header up to fcMin (0x300), the 8-bit text
// of all stories from there, then each table after it, where the header's
// pair at `fib` says. No property pages: every run keeps the defaults.
struct Word6Doc {
    std::string text;
    std::array<uint32_t, 8> ccp{}; ///< the main story's defaults to all the text
    struct Sect {
        uint32_t end;
        std::string sepx; ///< Word 6 one-byte modifiers
    };
    std::vector<Sect> sections;
    std::vector<std::pair<uint32_t, std::string>> tables; ///< header offset of the pair, table bytes
};

std::string cps(std::initializer_list<uint32_t> values, std::string_view after = {})
{
    std::string out;
    for (uint32_t v : values)
        put32(out, v);
    return out + std::string(after);
}

std::string word6Stream(const Word6Doc& d)
{
    std::string wd(0x300, '\0');
    set16(wd, 0, 0xA5DC);
    set16(wd, 2, 104);
    set16(wd, 6, 0x0409);
    const auto n = static_cast<uint32_t>(d.text.size());
    set32(wd, 0x18, 0x300);
    set32(wd, 0x1C, 0x300 + n);
    std::array<uint32_t, 8> ccp = d.ccp;
    if (ccp[0] == 0)
        ccp[0] = n;
    for (size_t i = 0; i < ccp.size(); ++i)
        set32(wd, 0x34 + 4 * i, ccp[i]);
    wd += d.text;
    auto place = [&](uint32_t fibAt, const std::string& table) {
        set32(wd, fibAt, static_cast<uint32_t>(wd.size()));
        set32(wd, fibAt + 4, static_cast<uint32_t>(table.size()));
        wd += table;
    };
    if (!d.sections.empty()) {
        // The section table: the ends, then per section a six-byte entry
        // whose bytes 2 to 5 say where its modifiers lie.
        std::string plc;
        put32(plc, 0);
        for (const auto& s : d.sections)
            put32(plc, s.end);
        std::vector<size_t> fcAt;
        for (size_t i = 0; i < d.sections.size(); ++i) {
            fcAt.push_back(plc.size() + 2);
            plc.append(12, '\0');
        }
        const size_t plcAt = wd.size();
        place(0x88, plc);
        for (size_t i = 0; i < d.sections.size(); ++i) {
            set32(wd, plcAt + fcAt[i], static_cast<uint32_t>(wd.size()));
            put16(wd, static_cast<uint16_t>(d.sections[i].sepx.size()));
            wd += d.sections[i].sepx;
        }
    }
    for (const auto& [fibAt, table] : d.tables)
        place(fibAt, table);
    return wd;
}

ReadResult read(const Word6Doc& d)
{
    return readDoc(buildCompoundFile({{u"WordDocument", word6Stream(d)}}), {});
}

// Word 6 keeps a header table entry only for the stories a flag names. The
// places are worked by hand from the flags: separators first, then each
// section's stories in bit order.
TEST(Word6Headers, SlotsFollowTheFlags)
{
    struct Case {
        const char* what;
        uint8_t separators;
        std::vector<uint8_t> sections;
        std::vector<HeaderSlots> expected;
    } cases[] = {
        {"all six, no separators", 0x00, {0x3F}, {{0, 1, 2, 3, 4, 5}}},
        {"odd header and footer after two separators", 0x05, {0x0A}, {{-1, 2, -1, 3, -1, -1}}},
        {"a section without stories takes no places",
         0x00,
         {0x02, 0x00, 0x30},
         {{-1, 0, -1, -1, -1, -1}, {-1, -1, -1, -1, -1, -1}, {-1, -1, -1, -1, 1, 2}}},
        {"the two high bits name nothing", 0xC1, {0xC1}, {{1, -1, -1, -1, -1, -1}}},
        {"six separators, then even footer and first-page header",
         0x3F,
         {0x14, 0x14},
         {{-1, -1, 6, -1, 7, -1}, {-1, -1, 8, -1, 9, -1}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(word6HeaderSlots(c.separators, c.sections), c.expected);
    }
}

// The header stories of the corpus's Word 95 files: a section's flags
// (modifier 153) say which it has, and a second section without flags
// shows the first one's. Before, a Word 6 document had no headers at all.
TEST(Word6Headers, SectionsTakeTheStoriesTheirFlagsName)
{
    const std::string main = "One\x0CTwo\x0CThree\r";
    // The footnote separator (the document properties name it), then section
    // 1's odd header and odd footer, section 3's first-page header.
    const std::string headers = "--\rH1\rF1\rFirst\r\r";
    Word6Doc d;
    d.text = main + headers;
    d.ccp[0] = static_cast<uint32_t>(main.size());
    d.ccp[2] = static_cast<uint32_t>(headers.size());
    d.sections = {{4, "\x99\x0A"}, {8, ""}, {14, std::string("\x99\x10\x8F\x01", 4)}};
    std::string dop(84, '\0');
    dop[1] = 0x01; // the footnote separator
    d.tables = {{0xB0, cps({0, 3, 6, 9, 15, 16})}, {0x150, dop}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeSections(*r.document),
              "§4 ml1800 mr1800 H:H1¶ F:F1¶ | §8 ml1800 mr1800 H^:H1¶ F^:F1¶ | "
              "§14 ml1800 mr1800 title H^:H1¶ H1:First¶ F^:F1¶");
}

// Where the header table is shorter than the flags say, the stories it
// holds are read and the rest are left to the earlier sections.
TEST(Word6Headers, ShortTableKeepsWhatItHolds)
{
    const std::string main = "One\r";
    const std::string headers = "H1\r\r";
    Word6Doc d;
    d.text = main + headers;
    d.ccp[0] = static_cast<uint32_t>(main.size());
    d.ccp[2] = static_cast<uint32_t>(headers.size());
    d.sections = {{4, "\x99\x3F"}};
    d.tables = {{0xB0, cps({0, 0, 3})}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeSections(*r.document), "§4 ml1800 mr1800 H:H1¶");
}

// A section table entry that does not move forward is folded into the next
// section, but its stories still hold their places in the header table: the
// third entry's header is the third story, not the second.
TEST(Word6Headers, FoldedSectionKeepsItsPlaces)
{
    const std::string main = "One\x0CTwo\r";
    const std::string headers = "A\rB\rC\r\r";
    Word6Doc d;
    d.text = main + headers;
    d.ccp[0] = static_cast<uint32_t>(main.size());
    d.ccp[2] = static_cast<uint32_t>(headers.size());
    d.sections = {{4, "\x99\x02"}, {4, "\x99\x02"}, {8, "\x99\x02"}};
    d.tables = {{0xB0, cps({0, 2, 4, 6, 7})}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeSections(*r.document), "§4 ml1800 mr1800 H:A¶ | §8 ml1800 mr1800 H:C¶");
}

// A Word 6 document's properties: the same first 84 bytes as Word 97's,
// without characters with spaces. Before, none of them was read.
TEST(Word6Stored, StatisticsFromTheDocumentProperties)
{
    Word6Doc d;
    d.text = "x\r";
    std::string dop(88, '\0');
    set16(dop, 0, 1);       // facing pages
    set16(dop, 10, 360);    // default tab stop
    set32(dop, 0x26, 538);  // words
    set32(dop, 0x2A, 3068); // characters
    set16(dop, 0x2E, 2);    // pages
    set32(dop, 0x30, 6);    // paragraphs
    set32(dop, 0x38, 25);   // lines
    d.tables = {{0x150, dop}};
    ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    const StoredStatistics& st = r.document->stored;
    EXPECT_EQ(std::tuple(st.words, st.characters, st.pages, st.paragraphs, st.lines),
              std::tuple(538, 3068, 2, 6, 25));
    EXPECT_FALSE(st.charactersWithSpaces.has_value());
    EXPECT_EQ(st.exact, false);
    EXPECT_EQ(std::tuple(r.document->settings.defaultTabStop, r.document->settings.evenAndOddHeaders),
              std::tuple(360, true));

    d.tables[0].second[6] = 0x02; // Word counted before saving
    r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(r.document->stored.exact, true);

    d.tables[0].second.resize(40); // cut short: nothing stored is believed
    r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_FALSE(r.document->stored.words.has_value());
}

// Footnotes, endnotes and comments at their Word 6 places, each story
// after the one before in the text. A comment's reference is 20 bytes there
// (8-bit initials), 30 in Word 97: read as Word 97's, two references look
// like one and the second comment is lost.
TEST(Word6Notes, FootnotesEndnotesAndCommentsAreRead)
{
    const std::string main = "A B C D.\r";
    const std::string foot = "Foot\r\r";
    const std::string comments = "One\rTwo\r";
    const std::string end = "End\r\r";
    Word6Doc d;
    d.text = main + foot + comments + end;
    d.ccp = {static_cast<uint32_t>(main.size()),
             static_cast<uint32_t>(foot.size()),
             0,
             0,
             static_cast<uint32_t>(comments.size()),
             static_cast<uint32_t>(end.size()),
             0,
             0};
    const std::string comment(20, '\0');
    d.tables = {{0x68, cps({1, 100}, std::string("\x01\x00", 2))}, // the footnote at cp 1
                {0x70, cps({0, 5, 6})},
                {0x78, cps({5, 7, 100}, comment + comment)}, // comments at cps 5 and 7
                {0x80, cps({0, 4, 8})},
                {0x1D2, cps({3, 100}, std::string("\x01\x00", 2))}, // the endnote at cp 3
                {0x1DA, cps({0, 4, 5})}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeNotes(*r.document), "foot:Foot¶ | end:End¶ | comment:One¶ | comment:Two¶");
}

// Word 6 text boxes: the table holds their positions in the text box story
// and nothing after them; read as Word 97's 26-byte entries, no box was found.
TEST(Word6TextBoxes, EachPositionStartsABox)
{
    const std::string main = "Main\r";
    const std::string boxes = "First box\rSecond\r\r";
    Word6Doc d;
    d.text = main + boxes;
    d.ccp[0] = static_cast<uint32_t>(main.size());
    d.ccp[6] = static_cast<uint32_t>(boxes.size());
    d.tables = {{0x222, cps({0, 10, 17, 18})}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    std::vector<std::string> frames;
    for (size_t i = 0; i < r.document->stories.size(); ++i)
        if (r.document->stories[i].type == StoryType::TextFrame)
            frames.push_back(storyText(*r.document, static_cast<int32_t>(i)));
    // The last position closes the story's guard paragraph, an empty box as
    // in Word 97's table.
    EXPECT_EQ(frames, (std::vector<std::string>{"First box¶", "Second¶", "¶"}));
}

// A Word 6 row's cells merged across (the first flagged 1, those merged
// into it 2) show as one cell: read cell by cell, a title row of fourteen
// merged cells wrapped its title in the first narrow cell, and a one-page
// price list laid out on five pages. The merged cells keep their marks in
// the text, so they stay, at no width.
TEST(Word6Tables, CellsMergedAcrossMakeOneWideCell)
{
    struct Case {
        const char* what;
        std::vector<uint16_t> flags;
        std::vector<Twips> widths;
    } cases[] = {
        {"no merge", {0, 0, 0, 0}, {100, 200, 300, 400}},
        {"the first three merged", {1, 2, 2, 0}, {600, 0, 0, 400}},
        {"a merge in the middle", {0, 1, 2, 0}, {100, 500, 0, 400}},
        {"two merges", {1, 2, 1, 2}, {300, 0, 700, 0}},
        {"merged cells with no first are left alone", {0, 2, 2, 0}, {100, 200, 300, 400}},
        {"a cell flagged both continues the merge", {1, 3, 2, 0}, {600, 0, 0, 400}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        // Modifier 190: a two-byte length, the cell count, the five edges at
        // 0, 100, 300, 600 and 1000, then each cell's ten bytes.
        std::string op = "\x04";
        for (const uint16_t edge : {0, 100, 300, 600, 1000})
            put16(op, edge);
        for (const uint16_t f : c.flags) {
            put16(op, f);
            op.append(8, '\0');
        }
        std::string grpprl = "\xBE";
        put16(grpprl, static_cast<uint16_t>(op.size()));
        Pap pap;
        applyPapx(pap, word6Sprms(grpprl + op));
        std::vector<Twips> widths;
        for (const TableCellFormat& cell : pap.row.cells)
            widths.push_back(cell.width);
        EXPECT_EQ(widths, c.widths);
    }
}

} // namespace
} // namespace qm::engine::doc::test
