// A document's summary: Word's figures, "<*>" matches, headers and footers as each section shows them.
#include "engine/access/DocumentSummary.h"
#include "TestDocuments.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::testing;

TEST(DocumentSummary, FiguresStoriesAndAnUnchangedDocument)
{
    DocumentBuilder b("rtf");
    HeaderFooterRefs first, second;
    first.headers[0] = addStory(b, StoryType::PrimaryHeader, {{u"Page head\r"}});
    second.footers[0] = addStory(b, StoryType::PrimaryFooter, {{u"Foot\r"}});
    addStory(b, StoryType::Footnotes, {{u"note\r"}}); // not a header or footer: not listed
    appendRuns(b, {{u"well-known words\r"}});
    b.endSection(SectionFormat{}, first, 0, 0);
    appendRuns(b, {{u"06/30/2003\r"}});
    b.diagnose("test.note", Severity::Note, "offset 3", "kept for the summary");
    DocumentAccess access(b.finish(SectionFormat{}, second));
    const Story before = access.document().mainStory();

    const DocumentSummary s = summarizeDocument(access);
    EXPECT_EQ(s.format, "rtf");
    EXPECT_EQ(s.statistics.words, 3);
    EXPECT_EQ(s.wordMatches, 6);
    EXPECT_EQ(s.statistics.paragraphs, 2);
    EXPECT_FALSE(s.lines); // no layout given
    ASSERT_EQ(s.diagnostics.size(), 1u);
    EXPECT_EQ(s.diagnostics[0].code, "test.note");

    struct Expected {
        size_t section;
        bool header;
        bool inherited;
        int64_t characters;
    } expected[] = {{1, true, false, 8}, {2, true, true, 8}, {2, false, false, 4}};
    ASSERT_EQ(s.stories.size(), std::size(expected));
    for (size_t i = 0; i < s.stories.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(s.stories[i].section, expected[i].section);
        EXPECT_EQ(s.stories[i].header, expected[i].header);
        EXPECT_EQ(s.stories[i].index, HeaderFooterIndex::Primary);
        EXPECT_EQ(s.stories[i].inherited, expected[i].inherited);
        EXPECT_EQ(s.stories[i].statistics.characters, expected[i].characters);
    }
    // The "<*>" count is taken without editing the document.
    EXPECT_EQ(utf8(access.document().mainStory().text), utf8(before.text));
    EXPECT_TRUE(access.document().mainStory().attrs == before.attrs);
    EXPECT_EQ(access.undoDepth(), 0u);
}
