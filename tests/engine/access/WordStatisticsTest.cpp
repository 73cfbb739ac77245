// Word Count figures on documents built here.
#include "engine/access/WordStatistics.h"
#include "engine/model/DocumentBuilder.h"

#include <gtest/gtest.h>

using namespace qm::engine;

namespace {

std::unique_ptr<Document> paragraphs(std::initializer_list<std::u16string_view> texts)
{
    DocumentBuilder b("txt");
    const uint32_t plain = b.charFormat(CharFormat{});
    const uint32_t para = b.paraFormat(ParaFormat{});
    for (auto t : texts) {
        b.appendText(t, plain);
        b.endParagraph(para, plain);
    }
    return b.finish(SectionFormat{}, HeaderFooterRefs{});
}

} // namespace

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
        auto doc = paragraphs({c.text});
        const WordStatistics s = computeWordStatistics(*doc);
        EXPECT_EQ(s.characters, c.characters);
        EXPECT_EQ(s.charactersWithSpaces, c.withSpaces);
        EXPECT_EQ(s.words, c.words);
    }
}

TEST(WordStatistics, HiddenTextCountsAndMarksButTheLastCountAsSpaces)
{
    DocumentBuilder b("txt");
    const uint32_t plain = b.charFormat(CharFormat{});
    CharFormat hiddenFormat;
    hiddenFormat.hidden = true;
    const uint32_t hidden = b.charFormat(hiddenFormat);
    const uint32_t para = b.paraFormat(ParaFormat{});
    b.appendText(u"one", plain);
    b.appendText(u" secret", hidden);
    b.endParagraph(para, plain);
    b.endParagraph(para, plain); // empty
    b.appendText(u"a\u0001b\u000Bc", plain); // a picture and a line break
    b.endParagraph(para, plain);
    b.beginTable();
    b.beginRow();
    b.beginCell();
    b.appendText(u"cell", plain);
    b.endCell(para, plain);
    b.endRow(TableRowFormat{}, plain);
    b.endTable();
    b.appendText(u"two", plain);
    b.endParagraph(para, plain);
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
    auto doc = paragraphs({u"alpha beta", u"gamma"});
    EXPECT_EQ(computeWordStatistics(*doc, 0, 6, 10).words, 1);
    EXPECT_EQ(computeWordStatistics(*doc, 0, 0, 5).characters, 5);
    EXPECT_EQ(computeWordStatistics(*doc, 9, 0).words, 0); // no such story
}
