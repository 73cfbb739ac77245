// Word Count figures on documents built here.
#include "engine/access/WordStatistics.h"

#include "TestDocuments.h"

#include <gtest/gtest.h>

using namespace qm::engine;
using namespace qm::engine::testing;

TEST(WordStatistics, CountsLikeWordCount)
{
    struct Case {
        std::u16string_view text;
        int64_t characters, withSpaces, words;
    } cases[] = {
        {u"", 0, 0, 0},
        {u"Hello world", 10, 11, 2},
        {u"  two   spaces  ", 9, 16, 2},
        {u"06/30/2003 well-known", 20, 21, 2},
        {u"tab\tseparated", 12, 13, 2},
        {u"no\u00A0break", 7, 8, 2},
        {u"line\u000Bbreak", 9, 9, 2},
        {u"soft\u001Fhyphen", 10, 10, 1},
        {u"hard\u001Ehyphen", 11, 11, 1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.text.begin(), c.text.end()));
        auto doc = makeDocument(c.text);
        const WordStatistics s = computeWordStatistics(*doc);
        EXPECT_EQ(s.characters, c.characters);
        EXPECT_EQ(s.charactersWithSpaces, c.withSpaces);
        EXPECT_EQ(s.words, c.words);
    }
}

TEST(WordStatistics, HiddenTextCountsAndMarksButTheLastCountAsSpaces)
{
    DocumentBuilder b("txt");
    // A picture and a line break in the third paragraph.
    appendRuns(b, {{u"one"}, {u" secret", CharFormat{.hidden = true}}, {u"\r\ra\u0001b\u000Bc\r"}});
    appendRow(b, {u"cell"});
    appendRuns(b, {{u"two\r"}});
    auto doc = b.finish(SectionFormat{}, HeaderFooterRefs{});
    const WordStatistics s = computeWordStatistics(*doc);
    EXPECT_EQ(s.words, 7);       // one secret a b c cell two: a picture and a break both end a word
    EXPECT_EQ(s.characters, 19); // hidden "secret" included
    // 19, one space, the picture, and the marks less the story's last: four
    // paragraph marks and a cell and a row end make 5.
    EXPECT_EQ(s.charactersWithSpaces, 26);
    EXPECT_EQ(s.paragraphs, 4);
}

TEST(WordStatistics, RangeOfAStory)
{
    auto doc = makeDocument(u"alpha beta\rgamma\r");
    EXPECT_EQ(computeWordStatistics(*doc, 0, 6, 10).words, 1);
    EXPECT_EQ(computeWordStatistics(*doc, 0, 0, 5).characters, 5);
    EXPECT_EQ(computeWordStatistics(*doc, 9, 0).words, 0); // no such story
}
