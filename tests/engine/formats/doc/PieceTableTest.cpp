// The piece table: decoding piece descriptors and refusing pieces that lie or overlap.
#include "DocFixture.h"
#include "engine/formats/doc/PieceTable.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::doc;
using namespace qm::engine::doc::test;

namespace {

struct P {
    uint32_t cpStart, cpEnd, fc;
    bool compressed;
    uint16_t prm = 0;
};

std::string clx(const std::vector<P>& pieces, const std::vector<std::string>& lists = {})
{
    std::string b;
    for (const auto& l : lists) {
        b.push_back(1);
        put16(b, static_cast<uint16_t>(l.size()));
        b += l;
    }
    b.push_back(2);
    put32(b, static_cast<uint32_t>(4 * (pieces.size() + 1) + 8 * pieces.size()));
    for (const auto& p : pieces)
        put32(b, p.cpStart);
    put32(b, pieces.empty() ? 0 : pieces.back().cpEnd);
    for (const auto& p : pieces) {
        put16(b, 0);
        put32(b, p.compressed ? (p.fc * 2) | 0x40000000u : p.fc);
        put16(b, p.prm);
    }
    return b;
}

} // namespace

TEST(PieceTable, KeepsGoodPiecesAndCutsOrDropsBadOnes)
{
    struct Case {
        const char* name;
        std::vector<P> pieces;
        uint64_t streamSize;
        std::vector<std::pair<uint32_t, uint32_t>> kept; ///< cp ranges kept
        bool diagnosed;
    } cases[] = {
        {"one-byte and two-byte pieces", {{0, 10, 1024, true}, {10, 20, 2048, false}}, 4096, {{0, 10}, {10, 20}}, false},
        // A piece ending past the stream keeps what the stream holds.
        {"piece past the stream", {{0, 100, 1000, false}}, 1100, {{0, 50}}, true},
        {"piece starting past the stream", {{0, 10, 5000, true}, {10, 20, 100, true}}, 1000, {{10, 20}}, true},
        // Boundaries are shared: 0, 5, 3, 8 makes a backwards piece and one
        // that goes back over the first.
        {"boundaries going backwards", {{0, 5, 0, true}, {5, 3, 10, true}, {3, 8, 20, true}}, 1000, {{0, 5}}, true},
        {"empty piece", {{0, 0, 0, true}, {0, 4, 10, true}}, 1000, {{0, 4}}, true},
        // Three pieces reusing the same 600 bytes would claim more text than the stream holds.
        {"pieces reusing bytes", {{0, 600, 0, true}, {600, 1200, 0, true}, {1200, 1800, 0, true}}, 1000,
         {{0, 600}}, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        PieceTable table;
        std::vector<Diagnostic> diagnostics;
        const bool any = table.parse(clx(c.pieces), c.streamSize, diagnostics);
        EXPECT_EQ(any, !c.kept.empty());
        ASSERT_EQ(table.pieces().size(), c.kept.size());
        for (size_t i = 0; i < c.kept.size(); ++i) {
            EXPECT_EQ(table.pieces()[i].cpStart, c.kept[i].first);
            EXPECT_EQ(table.pieces()[i].cpEnd, c.kept[i].second);
        }
        EXPECT_EQ(!diagnostics.empty(), c.diagnosed);
    }
}

TEST(PieceTable, CompressedOffsetsAndPropertyLists)
{
    // A one-byte piece's descriptor holds twice its byte offset.
    PieceTable table;
    std::vector<Diagnostic> diagnostics;
    const std::string bold = sprm(0x0835, {1});
    ASSERT_TRUE(table.parse(clx({{0, 3, 7, true, 1 /* list 0 */}, {3, 5, 20, false, 3 /* list 1 */}},
                                {bold, sprm(0x083C, {1})}),
                            100, diagnostics));
    std::string wd(100, '\0');
    wd.replace(7, 3, "a\x93z");
    wd.replace(20, 4, std::string("\x16\x04!\0", 4));
    EXPECT_EQ(table.text(wd, 0, 5), u"a\u201Cz\u0416!");
    EXPECT_EQ(table.text(wd, 2, 4), u"z\u0416");
    EXPECT_EQ(table.propertyList(1), bold);
    EXPECT_EQ(table.propertyList(3), sprm(0x083C, {1}));
    // A one-sprm modifier and a list index past the lists name nothing.
    EXPECT_TRUE(table.propertyList(0x1234 & ~1).empty());
    EXPECT_TRUE(table.propertyList(9).empty());
}

TEST(PieceTable, NoPieceTableIsNoText)
{
    for (const std::string& bytes : {std::string(), std::string("\x01\xFF\xFF", 3), std::string("\x02\x10\x00\x00\x00", 5)}) {
        PieceTable table;
        std::vector<Diagnostic> diagnostics;
        EXPECT_FALSE(table.parse(bytes, 1000, diagnostics));
        EXPECT_FALSE(diagnostics.empty());
    }
}
