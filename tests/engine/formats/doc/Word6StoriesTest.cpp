// Word 6 and Word 95 documents: headers and footers, notes, comments, text
// boxes, stored figures, UTF-16 text and merged cells in their Word 6 layout.
#include "../support/Describe.h"
#include "DocFixture.h"
#include "engine/formats/Reader.h"
#include "engine/formats/doc/Properties.h"
#include "engine/formats/doc/Word6.h"

#include <gtest/gtest.h>

namespace qm::engine::doc::test {
namespace {

using namespace engine::test;

std::string cps(std::initializer_list<uint32_t> values, std::string after = {})
{
    std::string out;
    for (uint32_t v : values)
        put32(out, v);
    return out + after;
}

// The header up to fcMin (0x300), the stories' text from there (ccp[0]
// defaults to all of it), then each table where the header's pair at its
// offset says. Sections: the section table with each one's Word 6 modifiers.
struct Word6Doc {
    std::string text;
    std::array<uint32_t, 8> ccp{};
    std::vector<std::pair<uint32_t, std::string>> sections, tables;
    uint16_t flags = 0;
    uint16_t lid = 0x0409;
};

ReadResult read(const Word6Doc& d)
{
    std::string wd(0x300, '\0');
    set16(wd, 0, 0xA5DC), set16(wd, 2, 104), set16(wd, 6, d.lid), set16(wd, 0x0A, d.flags);
    set32(wd, 0x18, 0x300), set32(wd, 0x1C, 0x300 + static_cast<uint32_t>(d.text.size()));
    for (size_t i = 0; i < 8; ++i)
        set32(wd, 0x34 + 4 * i, i == 0 && d.ccp[0] == 0 ? static_cast<uint32_t>(d.text.size()) : d.ccp[i]);
    wd += d.text;
    auto tables = d.tables;
    if (!d.sections.empty()) {
        std::string plc = cps({0}), sepxs;
        for (const auto& [end, sepx] : d.sections)
            put32(plc, end);
        const auto sepxAt = static_cast<uint32_t>(wd.size() + plc.size() + 12 * d.sections.size());
        for (const auto& [end, sepx] : d.sections) {
            put16(plc, 0), put32(plc, sepxAt + static_cast<uint32_t>(sepxs.size())), plc.append(6, '\0');
            put16(sepxs, static_cast<uint16_t>(sepx.size())), sepxs += sepx;
        }
        tables.insert(tables.begin(), {{0x88, plc}, {0, sepxs}});
    }
    for (const auto& [at, table] : tables) {
        if (at)
            set32(wd, at, static_cast<uint32_t>(wd.size())), set32(wd, at + 4, static_cast<uint32_t>(table.size()));
        wd += table;
    }
    return readDoc(buildCompoundFile({{u"WordDocument", wd}}), {});
}

// Word 6 keeps a header table entry only for the stories a flag names: the
// note separators the document properties name, then each section's in bit
// order (modifier 153). A section without flags shows the one before's; an
// entry folded into the next section still takes its places. The same
// properties hold the figures Word stored, at Word 97's offsets (no
// characters with spaces in Word 6's 84 bytes); before, none was read.
TEST(Word6Stories, HeadersAndStoredFiguresFromTheirFlagsAndProperties)
{
    const std::string main = "One\x0CTwo\x0CThree\r", headers = "--\rH1\rF1\rX\rFirst\r\r";
    Word6Doc d{main + headers, {14, 0, static_cast<uint32_t>(headers.size())}};
    d.sections = {{4, "\x99\x0A"}, {4, "\x99\x02"}, {8, ""}, {14, std::string("\x99\x10\x8F\x01", 4)}};
    std::string dop(84, '\0');
    dop[1] = 0x01; // the footnote separator
    set32(dop, 0x26, 538), set32(dop, 0x2A, 3068), set16(dop, 0x2E, 2), set32(dop, 0x30, 6), set32(dop, 0x38, 25);
    d.tables = {{0xB0, cps({0, 3, 6, 9, 11, 17, 18})}, {0x150, dop}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeSections(*r.document), "§4 ml1800 mr1800 H:H1¶ F:F1¶ | §8 ml1800 mr1800 H^:H1¶ F^:F1¶ | "
                                             "§14 ml1800 mr1800 title H^:H1¶ H1:First¶ F^:F1¶");
    // The two high bits of either flag byte name nothing.
    EXPECT_EQ(word6HeaderSlots(0xC5, {0x41}), (std::vector<HeaderSlots>{{2, -1, -1, -1, -1, -1}}));
    const StoredStatistics& st = r.document->stored;
    EXPECT_EQ(std::tuple(st.words, st.characters, st.pages, st.paragraphs, st.lines, st.charactersWithSpaces),
              std::tuple(538, 3068, 2, 6, 25, std::nullopt));
}

// Footnotes, endnotes (their tables at 0x1D2), comments, whose references
// are 20 bytes in Word 6 (30 in Word 97: read so, two looked like one), and
// text boxes, whose table at 0x222 holds positions alone (read as Word 97's
// 26-byte entries, no box was found; the last closes the guard paragraph).
TEST(Word6Stories, NotesCommentsAndTextBoxes)
{
    const std::string main = "A B C D.\r", foot = "Foot\r\r", notes = "One\rTwo\r", end = "End\r\r";
    const std::string frd("\x01\x00", 2), atrd(20, '\0');
    Word6Doc d{main + foot + notes + end + "First box\rSecond\r\r", {9, 6, 0, 0, 8, 5, 18}};
    d.tables = {{0x68, cps({1, 99}, frd)},    {0x70, cps({0, 5, 6})},     {0x78, cps({5, 7, 99}, atrd + atrd)},
                {0x80, cps({0, 4, 8})},       {0x1D2, cps({3, 99}, frd)}, {0x1DA, cps({0, 4, 5})},
                {0x222, cps({0, 10, 17, 18})}};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describeNotes(*r.document), "foot:Foot¶ | end:End¶ | comment:One¶ | comment:Two¶");
    std::vector<std::string> frames;
    for (size_t i = 0; i < r.document->stories.size(); ++i)
        if (r.document->stories[i].type == StoryType::TextFrame)
            frames.push_back(storyText(*r.document, static_cast<int32_t>(i)));
    EXPECT_EQ(frames, (std::vector<std::string>{"First box¶", "Second¶", "¶"}));
}

// The extended-character flag (0x1000): the text is UTF-16; fast-saved, a
// piece with bit 30 of its offset set is still 8-bit at half that offset.
// Read as 8-bit, "Да" was four Latin letters and the text ran on.
TEST(Word6Stories, ExtendedCharacterFlagMeansUtf16)
{
    const std::string wide("\x14\x04\x30\x04 \0", 6);
    const ReadResult full = read({wide + std::string("o\0k\0\r\0", 6), {6}, {}, {}, 0x1000});
    std::string clx = "\x02" + cps({28}) + cps({0, 3, 6});
    put16(clx, 0), put32(clx, 0x300), put16(clx, 0);                     // UTF-16 at 0x300
    put16(clx, 0), put32(clx, (0x306 * 2) | 0x40000000u), put16(clx, 0); // 8-bit at 0x306
    const ReadResult fast = read({wide + "ok\r", {6}, {}, {{0x160, clx}}, 0x1004});
    for (const ReadResult* r : {&full, &fast}) {
        ASSERT_TRUE(r->ok()) << r->error;
        EXPECT_EQ(describe(*r->document, ""), "\u0414\u0430 ok¶");
    }
}

// Fast-saved Japanese text: a piece may end between a lead byte and its
// trail, which begins the next piece (stored here before the first). The
// pair is still one character, 本; read by piece, it was a stray lead byte
// and a brace.
TEST(Word6Stories, EastAsianPairSplitBetweenPieces)
{
    std::string clx = "\x02" + cps({28}) + cps({0, 3, 5});
    put16(clx, 0), put32(clx, 0x302), put16(clx, 0); // 93 FA 96: 日 and a lead byte
    put16(clx, 0), put32(clx, 0x300), put16(clx, 0); // 7B 0D: the trail, then the mark
    Word6Doc d{"\x7B\r\x93\xFA\x96", {5}, {}, {{0x160, clx}}, 0x0004, 0x0411};
    const ReadResult r = read(d);
    ASSERT_TRUE(r.ok()) << r.error;
    EXPECT_EQ(describe(*r.document, ""), "日本¶");
}

// Cells merged across (the first flagged 1, the rest 2) show as one cell:
// read cell by cell, a corpus price list's fourteen-cell title rows wrapped
// in their first narrow cell and took five pages for one. The merged cells'
// marks stay in the text, so they stay, at no width. Edges 0 100 300 600 1000.
TEST(Word6Stories, CellsMergedAcrossMakeOneWideCell)
{
    const std::pair<std::vector<uint16_t>, std::vector<Twips>> cases[] = {
        {{0, 0, 0, 0}, {100, 200, 300, 400}}, {{1, 2, 2, 0}, {600, 0, 0, 400}},     {{0, 1, 2, 0}, {100, 500, 0, 400}},
        {{1, 2, 1, 2}, {300, 0, 700, 0}},     {{0, 2, 2, 0}, {100, 200, 300, 400}}, // no first: as stored
        {{1, 3, 2, 0}, {600, 0, 0, 400}},                                           // flagged both: merged on
    };
    for (const auto& [flags, expected] : cases) {
        std::string op = "\x04" + std::string("\0\0\x64\0\x2C\x01\x58\x02\xE8\x03", 10);
        for (const uint16_t f : flags)
            put16(op, f), op.append(8, '\0');
        std::string grpprl = "\xBE";
        put16(grpprl, static_cast<uint16_t>(op.size()));
        Pap pap;
        applyPapx(pap, word6Sprms(grpprl + op));
        std::vector<Twips> widths;
        for (const TableCellFormat& cell : pap.row.cells)
            widths.push_back(cell.width);
        EXPECT_EQ(widths, expected);
    }
}

} // namespace
} // namespace qm::engine::doc::test
