// Word 97-2003 files a word processor converted from our RTF fixtures read as their sources do.
#include "../support/Describe.h"

#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

using namespace qm::engine;
using namespace qm::engine::test;

namespace {

const std::filesystem::path fixtures = std::filesystem::path(QM_SOURCE_DIR) / "tests/engine/formats/doc/fixtures";

std::unique_ptr<Document> read(const std::string& name)
{
    std::ifstream in(fixtures / name, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    ReadResult r = name.ends_with(".doc") ? readDoc(bytes.str(), {}) : readRtf(bytes.str(), {});
    EXPECT_TRUE(r.ok()) << name << ": " << r.error;
    return std::move(r.document);
}

} // namespace

TEST(ConvertedDoc, TextFormatsAndTablesMatchTheirRtfSources)
{
    for (const char* name : {"formatted-runs", "table"}) {
        SCOPED_TRACE(name);
        auto doc = read(std::string(name) + ".doc");
        auto rtf = read(std::string(name) + ".rtf");
        ASSERT_TRUE(doc && rtf);
        // The formatting a count can see, and where rows end (the converter
        // rounds cell widths).
        constexpr std::string_view seen = "b i u scaps hid pos depth rowend";
        EXPECT_EQ(describe(*doc, seen), describe(*rtf, seen));
    }
}

TEST(ConvertedDoc, SectionsHeadersAndNotes)
{
    auto doc = read("sections-and-notes.doc");
    ASSERT_TRUE(doc);
    ASSERT_EQ(doc->sections.size(), 2u);
    auto storyText = [&](int32_t story) {
        return story < 0 ? std::u16string() : doc->stories[size_t(story)].text;
    };
    // The converter moves the first section's headers and footers between
    // page kinds; every text survives in the kind it gave it.
    std::u16string headers, footers;
    for (size_t s = 0; s < 2; ++s)
        for (auto index : {HeaderFooterIndex::Primary, HeaderFooterIndex::FirstPage, HeaderFooterIndex::EvenPages}) {
            headers += storyText(doc->headerStory(s, index));
            footers += storyText(doc->footerStory(s, index));
        }
    EXPECT_NE(headers.find(u"Running header"), std::u16string::npos);
    EXPECT_NE(headers.find(u"First page header"), std::u16string::npos);
    EXPECT_NE(footers.find(u"Page footer"), std::u16string::npos);
    EXPECT_EQ(headers.find(u"footer"), std::u16string::npos);
    ASSERT_EQ(doc->notes.size(), 1u);
    const Note& note = doc->notes[0];
    const std::u16string noteText = doc->stories[size_t(note.story)].text.substr(note.start, note.end - note.start);
    EXPECT_NE(noteText.find(u"The note's text."), std::u16string::npos);
    EXPECT_NE(doc->mainStory().text.find(u"Second section text."), std::u16string::npos);
}

// A drawing object table whose rectangle has sides far apart (a damaged
// file the fuzzer made from our seeds: right 1627416576, left -1342177280)
// gives the shape a bounded size, never an overflowing difference: under
// the sanitizers the read would stop at the arithmetic.
TEST(DamagedDoc, DrawingRectangleSidesFarApartAreNoOverflow)
{
    std::ifstream in(std::filesystem::path(QM_SOURCE_DIR) / "fuzz/doc/seeds/drawing-sides-overflow.doc",
                     std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    ASSERT_FALSE(bytes.str().empty());
    const ReadResult r = readDoc(bytes.str(), {});
    if (r.ok())
        for (const InlineObject& o : r.document->objects) {
            EXPECT_GE(o.width, 0);
            EXPECT_GE(o.height, 0);
        }
}
