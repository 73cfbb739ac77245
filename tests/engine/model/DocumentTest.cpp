// Editing the model: one-pass edits move section ends with the text.
#include "engine/model/DocumentBuilder.h"

#include <gtest/gtest.h>

using namespace qm::engine;

TEST(Document, EditsBeforeInsideAndAfterASectionEndMoveIt)
{
    DocumentBuilder b("test");
    b.appendUtf8("aa bb", 0);
    b.endSection({}, {}, 0, 0); // "aa bb§" ends at 6
    b.appendUtf8("cc", 0);
    auto doc = b.finish({}, {});
    // Grow before the break, shrink after it.
    doc->applyEdits(0, {{0, 2, u"xxxx", {}}, {6, 2, u"", {}}});
    EXPECT_EQ(doc->mainStory().text, u"xxxx bb\x0c\r");
    EXPECT_EQ(doc->sections[0].end, 8u);
    EXPECT_EQ(doc->sections[1].end, 9u);
    EXPECT_TRUE(doc->isSectionBreak(7));
    EXPECT_EQ(doc->mainStory().attrs.size(), doc->mainStory().text.size());
}

TEST(Document, InsertedTextTakesTheGivenFormats)
{
    DocumentBuilder b("test");
    CharFormat bold;
    bold.bold = true;
    uint32_t f = b.charFormat(bold);
    b.appendUtf8("abc", f);
    auto doc = b.finish({}, {});
    doc->applyEdits(0, {{1, 1, u"BB", CharAttr{f, 0}}});
    const Story& s = doc->mainStory();
    EXPECT_EQ(s.text, u"aBBc\r");
    EXPECT_TRUE(doc->charFormatAt(s, 1).bold);
    EXPECT_TRUE(doc->charFormatAt(s, 2).bold);
}

TEST(Document, ParagraphEndFindsTheMarkOfTheHoldingParagraph)
{
    DocumentBuilder b("test");
    b.appendUtf8("ab", 0);
    b.endParagraph(0, 0);
    b.appendUtf8("cd", 0);
    auto doc = b.finish({}, {});
    EXPECT_EQ(doc->paragraphEnd(0, 0), 2u);
    EXPECT_EQ(doc->paragraphEnd(0, 2), 2u);
    EXPECT_EQ(doc->paragraphEnd(0, 3), 5u);
}

// The scan for marks finds the first character of 13 or below wherever it
// stands among the blocks of eight it takes at a time, and never one at or
// after the end it is given. 14 (a column break) and 32 are not among them.
TEST(Document, NextLowCharacterFindsTheFirstOf13OrBelow)
{
    // a-g, 13 at 7, h-n, 7 at 15, o p, 14 at 18, a space, 12 at 20.
    const std::u16string text = u"abcdefg\rhijklmn\x07op\x0e \x0c";
    ASSERT_EQ(text.size(), 21u);
    struct Case {
        uint32_t from, to, expected;
    } cases[] = {
        {0, 21, 7},   // the paragraph mark, last of the first block
        {8, 21, 15},  // the cell mark, last of the second
        {16, 21, 20}, // past the column break and the space to the page break
        {16, 20, 20}, // the end given: nothing before it
        {0, 7, 7},    {7, 8, 7}, {19, 19, 19}, {21, 21, 21},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.from) + " to " + std::to_string(c.to));
        EXPECT_EQ(nextLowCharacter(text, c.from, c.to), c.expected);
    }
    // Every position of a long run: the first mark after each is found.
    std::u16string longer(40, u'x');
    longer[9] = 13;
    longer[26] = 1;
    for (uint32_t from = 0; from <= 40; ++from) {
        SCOPED_TRACE(from);
        EXPECT_EQ(nextLowCharacter(longer, from, 40), from <= 9 ? 9u : from <= 26 ? 26u : 40u);
    }
}
