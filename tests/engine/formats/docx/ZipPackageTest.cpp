// Reading zip entries: whole entries inflated in one call, and the damaged or
// unusual ones, which are read again as a stream and reported.
#include "../support/TestZip.h"
#include "engine/formats/docx/Package.h"
#include "engine/formats/docx/ZipPackage.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

std::string repeated(std::string_view text, size_t times)
{
    std::string out;
    for (size_t i = 0; i < times; ++i)
        out += text;
    return out;
}

// Bytes that deflate cannot shrink, so the stored form is chosen or kept.
std::string noise(size_t n)
{
    std::string out(n, '\0');
    uint32_t x = 2463534242u;
    for (char& c : out) {
        x ^= x << 13, x ^= x >> 17, x ^= x << 5;
        c = static_cast<char>(x);
    }
    return out;
}

// Where the central directory header of the first entry starts.
size_t centralHeader(const std::string& zip)
{
    const size_t at = zip.find(std::string("PK\x01\x02", 4));
    EXPECT_NE(at, std::string::npos);
    return at;
}

// Where the data of the first entry starts, past its local header.
size_t firstData(const std::string& zip)
{
    auto u16 = [&](size_t at) { return size_t(uint8_t(zip[at])) | size_t(uint8_t(zip[at + 1])) << 8; };
    return 30 + u16(26) + u16(28);
}

} // namespace

TEST(ZipPackage, EntriesComeBackByteForByte)
{
    struct Case {
        const char* what;
        ZipEntry entry;
    } const cases[] = {
        {"deflated XML", {"word/document.xml", repeated("<w:p><w:r><w:t>Text</w:t></w:r></w:p>", 500)}},
        {"stored", {"mimetype", "application/vnd.oasis.opendocument.text", true}},
        {"empty", {"word/empty.xml", ""}},
        {"empty and stored", {"word/none.xml", "", true}},
        {"incompressible", {"media/image.bin", noise(70000)}},
        {"larger than one stream buffer", {"word/big.xml", repeated("0123456789abcdef", 20000)}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string bytes = makeZip({c.entry});
        ZipPackage zip(bytes, Limits{});
        ASSERT_TRUE(zip.isOpen()) << zip.error();
        PartData part = zip.read(c.entry.name);
        EXPECT_TRUE(part.ok()) << part.error;
        EXPECT_EQ(part.bytes, c.entry.data);
    }
}

TEST(ZipPackage, DamagedEntriesAreRefusedWhole)
{
    const std::string text = repeated("<w:t>a paragraph of words</w:t>", 300);
    // Each row damages a fresh copy of the archive at one place.
    struct Case {
        const char* what;
        size_t (*where)(const std::string&);
        size_t offset;
        const char* error; // part of the report
    } const cases[] = {
        // The checksum the central directory records for the entry.
        {"checksum", centralHeader, 16, "checksum"},
        // A byte in the middle of the deflated stream.
        {"deflated data", firstData, 40, "damaged"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes = makeZip({{"word/document.xml", text}});
        bytes[c.where(bytes) + c.offset] ^= 0x5A;
        ZipPackage zip(bytes, Limits{});
        ASSERT_TRUE(zip.isOpen()) << zip.error();
        PartData part = zip.read("word/document.xml");
        EXPECT_FALSE(part.ok());
        EXPECT_NE(part.error.find(c.error), std::string::npos) << part.error;
        EXPECT_TRUE(part.bytes.empty()) << "never a truncated text";
    }
}

// A central directory that claims more raw bytes than the whole file holds
// is not believed (no buffer is sized by it: the fuzzer's 4 GB claim): the
// entry is read as a stream, which ends where the deflated data ends.
TEST(ZipPackage, ALyingCompressedSizeIsReadAsAStream)
{
    const std::string text = repeated("<w:t>a paragraph of words</w:t>", 300);
    std::string bytes = makeZip({{"word/document.xml", text}});
    const size_t size = centralHeader(bytes) + 20;
    // 0xFFFFFF00 bytes (0xFFFFFFFF would announce a zip64 record instead).
    bytes[size] = 0;
    for (size_t i = 1; i < 4; ++i)
        bytes[size + i] = static_cast<char>(0xFF);
    ZipPackage zip(bytes, Limits{});
    ASSERT_TRUE(zip.isOpen()) << zip.error();
    PartData part = zip.read("word/document.xml");
    EXPECT_TRUE(part.ok()) << part.error;
    EXPECT_EQ(part.bytes, text);
}

TEST(ZipPackage, LimitsCountEveryEntryRead)
{
    // Three parts of 3,000, 2,000 and 1,500 bytes, read in order under an
    // allowance for all entries together: the running total decides which
    // part is the one refused.
    const std::string a(3000, 'a'), b(2000, 'b'), c(1500, 'c');
    const std::string bytes = makeZip({{"a.xml", a}, {"b.xml", b}, {"c.xml", c}});
    struct Case {
        uint64_t total, entry;
        bool aOk, bOk, cOk;
    } const cases[] = {
        {6500, 10000, true, true, true},  // exactly enough
        {6499, 10000, true, true, false}, // one byte short at the end
        {4999, 10000, true, false, true}, // b is refused, c still fits (3,000 + 1,500)
        {10000, 2000, false, true, true}, // a is larger than one entry may be
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << "total " << k.total << ", entry " << k.entry);
        Limits limits;
        limits.maxUncompressedBytes = k.total;
        limits.maxEntryBytes = k.entry;
        ZipPackage zip(bytes, limits);
        ASSERT_TRUE(zip.isOpen()) << zip.error();
        EXPECT_EQ(zip.read("a.xml").ok(), k.aOk);
        EXPECT_EQ(zip.read("b.xml").ok(), k.bOk);
        EXPECT_EQ(zip.read("c.xml").ok(), k.cOk);
    }
}

TEST(ZipPackage, RawTextsTellPartsApartAndCountAsTheirReads)
{
    // The same part in two packages has one raw text; another text, or the
    // same text stored instead of deflated, has another.
    const std::string theme = repeated("<a:font script=\"Jpan\" typeface=\"x\"/>", 40);
    const std::string one = makeZip({{"t.xml", theme}, {"u.xml", theme + " "}, {"s.xml", theme, true}});
    const std::string two = makeZip({{"other.xml", "x"}, {"t.xml", theme}});
    ZipPackage a(one, {}), b(two, {});
    ASSERT_TRUE(a.isOpen() && b.isOpen());
    const std::string raw = a.rawText("t.xml");
    ASSERT_FALSE(raw.empty());
    EXPECT_EQ(b.rawText("T.XML"), raw); // names match as read() matches them
    EXPECT_NE(a.rawText("u.xml"), raw);
    EXPECT_NE(a.rawText("s.xml"), raw);
    EXPECT_EQ(a.rawText("missing.xml"), "");
    EXPECT_EQ(a.inflatedSoFar(), 0u); // looking at raw texts counts nothing

    // Counting a part as read adds what reading it adds, under the same
    // limits: a part the allowance refuses is not counted.
    struct Case {
        uint64_t total, entry;
        bool counted;
    } const cases[] = {
        {1u << 20, 1u << 20, true},
        {theme.size(), 1u << 20, true},       // exactly enough
        {theme.size() - 1, 1u << 20, false},  // one byte short
        {1u << 20, theme.size() - 1, false},  // larger than one entry may be
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(testing::Message() << "total " << k.total << ", entry " << k.entry);
        Limits limits;
        limits.maxUncompressedBytes = k.total;
        limits.maxEntryBytes = k.entry;
        ZipPackage read(one, limits), counted(one, limits);
        EXPECT_EQ(counted.rawText("t.xml").empty(), !k.counted); // none where read() would refuse the part
        EXPECT_EQ(read.read("t.xml").ok(), k.counted);
        EXPECT_EQ(counted.countAsRead("t.xml"), k.counted);
        EXPECT_EQ(counted.inflatedSoFar(), read.inflatedSoFar());
    }
}

namespace {

std::string describe(const Relationships& rels)
{
    std::string out;
    for (const auto& [id, rel] : rels)
        out += id + "=" + rel.type + ":" + rel.target + " ";
    return out;
}

} // namespace

TEST(Relationships, APartMetBeforeReadsAsItDidAndCountsAsARead)
{
    // The same relationships part, byte for byte, in packages read one after
    // another: each package gets what a first read gives, its targets
    // resolved against its own part's folder, and it counts towards that
    // package's limits as a read would, so a package whose allowance it
    // breaks still goes without it.
    const std::string rels =
        R"(<?xml version="1.0"?><Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">)"
        R"(<Relationship Id="rId1" Type="http://x/relationships/styles" Target="styles.xml"/>)"
        R"(<Relationship Id="rId2" Type="http://x/relationships/image" Target="../media/a%20b.png"/>)"
        R"(<Relationship Id="rId3" Type="http://x/relationships/hyperlink" Target="http://e.com" TargetMode="External"/>)"
        R"(</Relationships>)";
    const std::string main = makeZip({{"word/_rels/document.xml.rels", rels}});
    const std::string glossary = makeZip({{"word/glossary/_rels/document.xml.rels", rels}});
    const std::string changed = makeZip({{"word/_rels/document.xml.rels", rels + " "}});
    const std::string expected = "rId1=styles:word/styles.xml rId2=image:media/a b.png rId3=hyperlink: ";
    struct Case {
        const char* what;
        const std::string* package;
        std::string part;
        uint64_t allowance; // for all entries together
        std::string relationships;
    } const cases[] = {
        {"first read", &main, "word/document.xml", 1u << 20, expected},
        {"met before", &main, "word/document.xml", 1u << 20, expected},
        {"met before, another folder", &glossary, "word/glossary/document.xml", 1u << 20,
         "rId1=styles:word/glossary/styles.xml rId2=image:word/media/a b.png rId3=hyperlink: "},
        {"met before, over the allowance", &main, "word/document.xml", rels.size() - 1, ""},
        {"met before, at the allowance", &main, "word/document.xml", rels.size(), expected},
        {"a byte more", &changed, "word/document.xml", 1u << 20, expected},
        {"no such part", &main, "word/footnotes.xml", 1u << 20, ""},
    };
    for (const Case& k : cases) {
        SCOPED_TRACE(k.what);
        Limits limits;
        limits.maxUncompressedBytes = k.allowance;
        ZipPackage zip(*k.package, limits);
        ASSERT_TRUE(zip.isOpen()) << zip.error();
        EXPECT_EQ(describe(readRelationships(zip, k.part, 64)), k.relationships);
        EXPECT_EQ(zip.inflatedSoFar(), k.relationships.empty() ? 0u : k.package == &changed ? rels.size() + 1 : rels.size());
    }
}
