// The compound-file container: streams, small streams, and damaged chains and directories.
#include "DocFixture.h"
#include "engine/formats/doc/CompoundFile.h"

#include <gtest/gtest.h>

#include <functional>

using namespace qm::engine::doc;
using namespace qm::engine::doc::test;

namespace {

std::string pattern(size_t size, char seed)
{
    std::string s(size, '\0');
    for (size_t i = 0; i < size; ++i)
        s[i] = static_cast<char>(seed + i * 7 + i / 251);
    return s;
}

bool hasCode(const CompoundFile& cf, std::string_view code)
{
    for (const auto& d : cf.diagnostics())
        if (d.code == code)
            return true;
    return false;
}

} // namespace

TEST(CompoundFile, ReadsRegularAndSmallStreamsByNameInAnyCase)
{
    // Sizes around the 4096-byte boundary between the two kinds of storage
    // and around sector and small-sector ends catch off-by-one chain reads.
    const std::vector<std::pair<std::u16string, std::string>> streams{
        {u"WordDocument", pattern(5000, 'a')}, {u"1Table", pattern(4095, 'b')}, {u"Data", pattern(4096, 'c')},
        {u"Tiny", pattern(1, 'd')},           {u"Odd", pattern(64 * 3 + 1, 'e')}, {u"Empty", ""},
    };
    const std::string file = buildCompoundFile(streams);
    auto opened = CompoundFile::open(file);
    ASSERT_TRUE(opened.file) << opened.error;
    for (const auto& [name, data] : streams) {
        SCOPED_TRACE(std::string(name.begin(), name.end()));
        auto got = opened.file->stream(name);
        ASSERT_TRUE(got);
        EXPECT_EQ(*got, data);
    }
    EXPECT_TRUE(opened.file->stream(u"worddocument"));
    EXPECT_FALSE(opened.file->stream(u"0Table"));
    EXPECT_TRUE(opened.file->diagnostics().empty());
}

TEST(CompoundFile, RejectsWhatIsNoContainer)
{
    const std::string good = buildCompoundFile({{u"WordDocument", pattern(5000, 'a')}});
    struct Case {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"empty", ""},
        {"text", std::string(600, 'x')},
        {"header only, cut", good.substr(0, 300)},
        {"bad sector size", [&] { std::string b = good; set16(b, 0x1E, 30); return b; }()},
        {"no directory", [&] { std::string b = good; set32(b, 0x30, 0xFFFFFFFEu); return b; }()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto opened = CompoundFile::open(c.bytes);
        EXPECT_FALSE(opened.file);
        EXPECT_FALSE(opened.error.empty());
    }
}

TEST(CompoundFile, DamagedChainsEndWithADiagnosticInsteadOfLoopingOrReadingOutside)
{
    CfbLayout layout;
    const std::string data = pattern(9 * 512 + 100, 'q');
    const std::string good = buildCompoundFile({{u"WordDocument", data}}, &layout);
    const uint32_t first = layout.firstSector.at(u"WordDocument");
    struct Case {
        const char* name;
        std::function<void(std::string&)> damage;
        size_t expectedSize;
        const char* code;
    } cases[] = {
        // Without the cycle check the second sector pointing back at the
        // first would be read forever.
        {"chain loops back", [&](std::string& b) { set32(b, layout.fatOffset + 4 * (first + 1), first); }, 1024,
         "doc.chain"},
        {"chain points past the table",
         [&](std::string& b) { set32(b, layout.fatOffset + 4 * first, 0x00FFFFFFu); }, 512, "doc.chain"},
        {"chain ends early", [&](std::string& b) { set32(b, layout.fatOffset + 4 * first, 0xFFFFFFFEu); }, 512,
         "doc.chain"},
        {"file cut inside the stream", [&](std::string& b) { b.resize(b.size() - 700); }, 9 * 512 + 100 - 700 + 512 - 100,
         "doc.truncated"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string bytes = good;
        c.damage(bytes);
        auto opened = CompoundFile::open(bytes);
        ASSERT_TRUE(opened.file) << opened.error;
        auto got = opened.file->stream(u"WordDocument");
        ASSERT_TRUE(got);
        EXPECT_EQ(got->size(), c.expectedSize);
        EXPECT_EQ(*got, data.substr(0, got->size()));
        EXPECT_TRUE(hasCode(*opened.file, c.code));
    }
}

TEST(CompoundFile, DirectoryAndExtensionCyclesAreCut)
{
    CfbLayout layout;
    const std::string good = buildCompoundFile({{u"A", pattern(10, 'a')}, {u"B", pattern(10, 'b')}}, &layout);
    struct Case {
        const char* name;
        std::function<void(std::string&)> damage;
    } cases[] = {
        // Entry 2's right link pointing at entry 1 makes the tree a loop.
        {"tree loops", [&](std::string& b) { set32(b, layout.directoryOffset + 2 * 128 + 0x48, 1); }},
        {"tree points past the directory",
         [&](std::string& b) { set32(b, layout.directoryOffset + 1 * 128 + 0x44, 5000); }},
        // A sector-table extension that names itself as its successor, with
        // a count that asks for ever more.
        {"extension loops",
         [&](std::string& b) {
             set32(b, 0x2C, 5000);
             set32(b, 0x44, 0);
             set32(b, layout.fatOffset + 508, 0);
         }},
        {"huge sector counts", [&](std::string& b) {
             set32(b, 0x2C, 0xFFFFFFFFu);
             set32(b, 0x40, 0xFFFFFFFFu);
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string bytes = good;
        c.damage(bytes);
        auto opened = CompoundFile::open(bytes);
        if (opened.file) {
            (void)opened.file->stream(u"A");
            (void)opened.file->stream(u"B");
        } else {
            EXPECT_FALSE(opened.error.empty());
        }
    }
}
