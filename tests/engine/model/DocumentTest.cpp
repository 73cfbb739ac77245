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
