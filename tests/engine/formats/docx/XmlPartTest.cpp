// The XML helpers: names matched by their local part, and parsing in place
// giving what parsing a copy gives.
#include "engine/formats/docx/XmlPart.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace qm::engine;

TEST(XmlPart, LocalNamesAreMatchedAfterTheFirstColon)
{
    struct Case {
        const char* qualified;
        std::string_view local;
        bool matches;
        std::string_view localName;
    } const cases[] = {
        {"w:p", "p", true, "p"},
        {"p", "p", true, "p"},
        {"w:pPr", "p", false, "pPr"},      // the wanted name is a prefix of the real one
        {"w:p", "pPr", false, "p"},        // the real name is a prefix of the wanted one
        {"w:tbl", "tblPr", false, "tbl"},
        {"", "p", false, ""},
        {"w:", "p", false, ""},
        {"a:b:c", "b:c", true, "b:c"},     // only the first colon ends the prefix
        {"a:b:c", "c", false, "b:c"},
        {"val", "w:val", false, "val"},    // a prefix in the wanted name never matches
        {"mc:AlternateContent", "AlternateContent", true, "AlternateContent"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.qualified) + " / " + std::string(c.local));
        EXPECT_EQ(xml::hasLocalName(c.qualified, c.local), c.matches);
        EXPECT_EQ(xml::localName(c.qualified), c.localName);
    }
}

TEST(XmlPart, ChildAndAttributeFoundByLocalName)
{
    std::string bytes = R"(<w:r xmlns:w="x" w:rsidR="1" w:rsid="2"><w:rPrChange/><w:rPr w:val="a"/><w:t>Hi</w:t></w:r>)";
    pugi::xml_document doc;
    ASSERT_EQ(xml::parseInPlace(bytes, doc, 512), "");
    const pugi::xml_node r = doc.document_element();
    EXPECT_STREQ(xml::child(r, "rPr").name(), "w:rPr"); // not the rPrChange before it
    EXPECT_EQ(xml::value(r, "rsid"), "2");              // not rsidR
    EXPECT_EQ(xml::value(xml::child(r, "rPr"), "val"), "a");
    EXPECT_FALSE(xml::child(r, "r"));
    EXPECT_STREQ(xml::descendant(doc, "t").child_value(), "Hi");
}

TEST(XmlPart, ParsingInPlaceGivesWhatParsingACopyGives)
{
    // Well-formed and malformed texts under a depth limit of 3: the root is
    // depth 0, so four levels of elements are allowed and five refused.
    struct Case {
        const char* what;
        std::string text;
        bool ok;
    } const cases[] = {
        {"text with entities and spaces", "<a><b x='1&amp;2'>  &lt;t&gt; </b><c/>\r\n</a>", true},
        {"unclosed element", "<a><b>text</a>", false},
        {"garbage after the root", "<a/><", false},
        {"five levels", "<a><b><c><d><e/></d></c></b></a>", false},
        {"four levels", "<a><b><c><d/></c></b></a>", true},
        {"empty", "", false},
    };
    auto dump = [](const pugi::xml_document& doc) {
        std::ostringstream out;
        doc.save(out, "", pugi::format_raw);
        return out.str();
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        pugi::xml_document copied, inPlace;
        std::string bytes = c.text;
        const std::string copyError = xml::parse(c.text, copied, 3);
        EXPECT_EQ(copyError.empty(), c.ok) << copyError;
        EXPECT_EQ(xml::parseInPlace(bytes, inPlace, 3), copyError);
        EXPECT_EQ(dump(inPlace), dump(copied));
    }
}

TEST(XmlPart, HelpersReadingRecordsAnswerAsTheLibraryDoes)
{
    // The records are read directly only when they lie as this build of the
    // library lays them out; here they must, or every part is read the slow way.
    ASSERT_TRUE(xml::records::match);
    std::string bytes = R"(<w:r xmlns:w="x" w:a="1" b=""><!--c-->text<w:a w:v="2"/><w:rPr/>tail<b:rPr w:val="3"/><?pi x?></w:r>)";
    pugi::xml_document doc;
    ASSERT_EQ(xml::parseInPlace(bytes, doc, 512), "");
    const pugi::xml_node r = doc.document_element();
    const pugi::xml_node none;
    struct Case {
        pugi::xml_node node;
        std::string_view local;
    } const cases[] = {
        {r, "a"},    {r, "rPr"}, {r, "b"}, {r, "r"},       {r, ""}, {r.first_child(), "a"},
        {none, "a"}, {doc, "r"}, {doc, "w:r"}, {xml::childThroughLibrary(r, "rPr"), "val"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.node.name()) + " / " + std::string(c.local));
        EXPECT_EQ(xml::child(c.node, c.local), xml::childThroughLibrary(c.node, c.local));
        EXPECT_EQ(xml::attr(c.node, c.local), xml::attrThroughLibrary(c.node, c.local));
        const pugi::xml_attribute a = xml::attrThroughLibrary(c.node, c.local);
        EXPECT_EQ(xml::value(c.node, c.local), a ? std::string_view(a.value()) : std::string_view());
    }
    // Text and comments are no children by name; the first of two matches wins.
    EXPECT_STREQ(xml::child(r, "rPr").name(), "w:rPr");
    EXPECT_EQ(xml::value(r, "b"), "");
    EXPECT_FALSE(xml::attr(r, "c"));
}

TEST(XmlPart, SeveralValuesInOnePassAreWhatValueGivesForEach)
{
    // First match wins, an empty value is still found (and kept over a later
    // one), the prefix is whatever comes before the first colon, an absent
    // name gives an empty view.
    std::string bytes = R"(<w:rFonts xmlns:w="x" w:ascii="" w:hAnsi="Arial" x:ascii="Late" cs="Plain" a:b:cs="Deep" w:eastAsiaTheme="minorEastAsia"/>)";
    pugi::xml_document doc;
    ASSERT_EQ(xml::parseInPlace(bytes, doc, 512), "");
    const pugi::xml_node e = doc.document_element();
    const auto [ascii, hAnsi, cs, bcs, theme, absent] = xml::values(e, {"ascii", "hAnsi", "cs", "b:cs", "eastAsiaTheme", "color"});
    for (const auto& [got, local] : {std::pair{ascii, "ascii"}, {hAnsi, "hAnsi"}, {cs, "cs"}, {bcs, "b:cs"},
                                     {theme, "eastAsiaTheme"}, {absent, "color"}}) {
        SCOPED_TRACE(local);
        EXPECT_EQ(got, xml::value(e, local));
    }
    EXPECT_EQ(ascii, "");
    EXPECT_EQ(hAnsi, "Arial");
    EXPECT_EQ(cs, "Plain");
    EXPECT_EQ(bcs, "Deep");
    EXPECT_EQ(absent, "");
    const auto [none] = xml::values(pugi::xml_node(), {"ascii"});
    EXPECT_EQ(none, "");
}

TEST(XmlPart, DepthIsMeasuredOverEveryBranch)
{
    // Limit 2: the root at 0, so three levels of elements (or text) pass.
    struct Case {
        const char* what;
        const char* text;
        bool ok;
    } const cases[] = {
        {"deep first branch", "<a><b><c><d/></c></b><e/></a>", false},
        {"deep last branch after a climb", "<a><b><c/></b><e><f><g/></f></e></a>", false},
        {"text as the deepest node", "<a><b><c>t</c></b></a>", false},
        {"wide and shallow", "<a><b><c/><c/></b><b>t<c/></b><b/></a>", true},
        {"just within", "<a><b>t</b><b><c/></b></a>", true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        pugi::xml_document doc;
        std::string bytes = c.text;
        EXPECT_EQ(xml::parseInPlace(bytes, doc, 2).empty(), c.ok);
    }
}

TEST(XmlPart, PlainChildrenOfTheRootAreDroppedAndNothingElse)
{
    const std::string latent = R"(<w:latentStyles w:defLockedState="0" w:count="2">)"
                               R"(<w:lsdException w:name="Normal" w:qFormat="1"/>)"
                               "\r\n <w:lsdException w:name='heading 1' w:x=\"a>b\"/></w:latentStyles>";
    struct Case {
        const char* what;
        std::string text;
        std::string expected; // as it was when empty
        uint32_t maxDepth = 512;
    } const cases[] = {
        {"Word's latent styles", R"(<w:styles xmlns:w="x"><w:docDefaults/>)" + latent + "<w:style/></w:styles>",
         R"(<w:styles xmlns:w="x"><w:docDefaults/><w:style/></w:styles>)"},
        {"after a declaration, a comment and a '>' in a value",
         "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!-- <w:x> --><w:styles a=\"1>2\">" + latent + "</w:styles>",
         "\xEF\xBB\xBF<?xml version=\"1.0\"?>\r\n<!-- <w:x> --><w:styles a=\"1>2\"></w:styles>"},
        {"without a prefix, empty", "<styles><latentStyles/><style/></styles>", "<styles><style/></styles>"},
        {"only the first", "<s><latentStyles/><latentStyles/></s>", "<s><latentStyles/></s>"},
        {"a comment inside", "<s><latentStyles><!--c--></latentStyles></s>", ""},
        {"text inside", "<s><latentStyles>t</latentStyles></s>", ""},
        {"an unquoted value inside", "<s><latentStyles><x a=1/></latentStyles></s>", ""},
        {"attributes run together", "<s><latentStyles><x a='1'b='2'/></latentStyles></s>", ""},
        {"a '<' in a value inside", "<s><latentStyles><x a='<'/></latentStyles></s>", ""},
        {"a wrong end tag inside", "<s><latentStyles><x></y></latentStyles></s>", ""},
        {"never closed", "<s><latentStyles><x/>", ""},
        {"deeper than the parse allows", "<s><latentStyles><x><y/></x></latentStyles></s>", "", 2},
        {"blank text deeper than the parse allows", "<s><latentStyles><x> </x></latentStyles></s>", "", 2},
        {"just within the depth", "<s><latentStyles><x/></latentStyles><t/></s>", "<s><t/></s>", 2},
        {"a grandchild of the root", "<s><t><latentStyles/></t></s>", ""},
        {"a '<' in a value before it", "<s a='<latentStyles/>'><latentStyles/></s>", ""},
        {"a document type", "<!DOCTYPE s><s><latentStyles/></s>", ""},
        {"a name beyond ASCII before it", "<s><\xC3\xA9/><latentStyles/></s>", ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::string bytes = c.text;
        const std::string expected = c.expected.empty() ? c.text : c.expected;
        EXPECT_EQ(xml::dropPlainChildren(bytes, {"latentStyles"}, c.maxDepth), c.text.size() - expected.size());
        EXPECT_EQ(bytes, expected);
        // Twice: the second time the element is known from the first.
        bytes = c.text;
        xml::dropPlainChildren(bytes, {"latentStyles"}, c.maxDepth);
        EXPECT_EQ(bytes, expected);
    }
    // An element known plain answers only for the very same text: one that
    // starts alike and holds a comment further on stays.
    std::string plain = "<s><latentStyles><x/><y/></latentStyles></s>";
    std::string commented = "<s><latentStyles><x/><!--c--><y/></latentStyles></s>";
    EXPECT_GT(xml::dropPlainChildren(plain, {"latentStyles"}, 512), 0u);
    EXPECT_EQ(xml::dropPlainChildren(commented, {"latentStyles"}, 512), 0u);
    // Several names: each found once, the rest of the text left unread.
    std::string both = "<s><a/><rsids><r v='1'/></rsids><latentStyles/><rsids/></s>";
    EXPECT_EQ(xml::dropPlainChildren(both, {"latentStyles", "rsids"}, 512), std::string("<rsids><r v='1'/></rsids><latentStyles/>").size());
    EXPECT_EQ(both, "<s><a/><rsids/></s>");
}

namespace {

// The tree of a node as text, for comparing two parses of the same element.
std::string printed(const pugi::xml_node& node)
{
    std::ostringstream out;
    node.print(out, "", pugi::format_raw);
    return out.str();
}

} // namespace

TEST(XmlPart, BodyChildrenFoundWhereTheyLie)
{
    // Each text and the children its body is found to hold, as the text of
    // each; nullptr where the scan leaves the part to be parsed whole.
    const std::string head = R"(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>)"
                             "\r\n<w:document xmlns:w=\"x\">";
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::string> children; // empty with `found` false: left to the whole parse
        bool found;
    } const cases[] = {
        {"paragraphs and a table", head + "<w:body><w:p a='1'><w:r><w:t>a &lt; b</w:t></w:r></w:p>\n "
                                          "<w:tbl><w:tr/></w:tbl><w:sectPr/></w:body></w:document>",
         {"<w:p a='1'><w:r><w:t>a &lt; b</w:t></w:r></w:p>", "<w:tbl><w:tr/></w:tbl>", "<w:sectPr/>"}, true},
        {"a root child before the body, a comment inside a child, '>' in a value",
         head + "<w:background w:color=\"FFF\"><x/></w:background><w:body><w:p q=\"a>b\"><!-- <w:p> --></w:p>"
                "<w:p><![CDATA[</w:p>]]></w:p></w:body></w:document>",
         {"<w:p q=\"a>b\"><!-- <w:p> --></w:p>", "<w:p><![CDATA[</w:p>]]></w:p>"}, true},
        {"long tags, '>' and the other quote inside values past sixteen bytes",
         head + "<w:body><w:p w:rsidR=\"00DE2B66\" w:rsidRDefault=\"00DE2B66\" q='x>y\"z' r=\"it's/>\">"
                "<w:r><w:t>a long run of text without any markup in it at all</w:t></w:r></w:p>"
                "<w:p w:rsidR=\"00DE2B66\" w:rsidRDefault=\"00DE2B66\"/></w:body></w:document>",
         {"<w:p w:rsidR=\"00DE2B66\" w:rsidRDefault=\"00DE2B66\" q='x>y\"z' r=\"it's/>\">"
          "<w:r><w:t>a long run of text without any markup in it at all</w:t></w:r></w:p>",
          "<w:p w:rsidR=\"00DE2B66\" w:rsidRDefault=\"00DE2B66\"/>"},
         true},
        {"no declaration, an empty body", "<d><body></body></d>", {}, true},
        {"an empty body tag", head + "<w:body/></w:document>", {}, false},
        {"no body", head + "<w:other/></w:document>", {}, false},
        {"text between children", head + "<w:body><w:p/>stray<w:p/></w:body></w:document>", {}, false},
        {"a comment between children", head + "<w:body><w:p/><!-- c --><w:p/></w:body></w:document>", {}, false},
        {"a NUL between children", head + "<w:body><w:p/>" + std::string(1, '\0') + "<w:p/></w:body></w:document>",
         {}, false},
        // End tags are counted, not matched: the child's own parse finds the fault.
        {"a mismatched end tag", head + "<w:body><w:p><w:r></w:p></w:r></w:body></w:document>",
         {"<w:p><w:r></w:p></w:r>"}, true},
        {"an end tag too many", head + "<w:body><w:p></w:p></w:p></w:body></w:document>", {}, false},
        // Inside a child only quotes and markup are followed; the rest is
        // for the child's parse to judge.
        {"'<' in an attribute value", head + "<w:body><w:p a='<'/></w:body></w:document>", {"<w:p a='<'/>"}, true},
        {"an attribute without a blank before it", head + "<w:body><w:p a='1'b='2'/></w:body></w:document>",
         {"<w:p a='1'b='2'/>"}, true},
        {"a document type", "<!DOCTYPE d><d><body><p/></body></d>", {}, false},
        {"another encoding", "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><d><body><p/></body></d>", {}, false},
        {"a byte order mark", "\xEF\xBB\xBF<d><body><p/></body></d>", {}, false},
        {"a name beyond ASCII", head + "<w:body><w:p\xC3\xA9/></w:body></w:document>", {"<w:p\xC3\xA9/>"}, true},
        {"a body name beyond ASCII", head + "<w:body\xC3\xA9><w:p/></w:body\xC3\xA9></w:document>", {}, false},
        {"a child that never ends", head + "<w:body><w:p><w:r>", {}, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        xml::ChildElements found;
        ASSERT_EQ(xml::findChildElements(c.text, "body", found), c.found);
        if (!c.found)
            continue;
        std::vector<std::string> children;
        for (const auto& [start, length] : found.spans)
            children.push_back(c.text.substr(start, length));
        EXPECT_EQ(children, c.children);
        EXPECT_EQ(c.text.substr(found.contentEnd).substr(0, 2), "</");
        EXPECT_EQ(c.text[found.contentBegin - 1], '>');
    }
}

TEST(XmlPart, EachBodyChildParsedAloneIsItsTreeInTheWholeText)
{
    std::string text = R"(<?xml version="1.0" encoding="utf-8"?><w:document xmlns:w="x"><w:body>)"
                       "<w:p><w:r><w:t xml:space=\"preserve\"> a &amp; b\r\n</w:t></w:r></w:p>\r\n"
                       "<w:tbl><w:tr><w:tc><w:p><w:r><w:t>cell</w:t></w:r></w:p></w:tc></w:tr></w:tbl>"
                       "<w:sdt><w:sdtContent><w:p/></w:sdtContent></w:sdt>"
                       "</w:body></w:document>";
    xml::ChildElements found;
    ASSERT_TRUE(xml::findChildElements(text, "body", found));
    ASSERT_EQ(found.spans.size(), 3u);
    std::string whole = text;
    pugi::xml_document wholeTree;
    ASSERT_EQ(xml::parseInPlace(whole, wholeTree, 512), "");
    std::vector<std::string> expected;
    for (pugi::xml_node c = wholeTree.document_element().first_child().first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element)
            expected.push_back(printed(c));
    std::vector<std::string> alone;
    for (const auto& [start, length] : found.spans) {
        pugi::xml_document tree;
        ASSERT_EQ(xml::parseStretchInPlace(text, start, length, tree, 512), "");
        alone.push_back(printed(tree.document_element()));
    }
    EXPECT_EQ(alone, expected);

    // The depth limit counts from the stretch's own root: the table's text
    // lies six levels below it.
    text = std::string(R"(<d><body><w:tbl><w:tr><w:tc><w:p><w:r><w:t>x</w:t></w:r></w:p></w:tc></w:tr></w:tbl></body></d>)");
    ASSERT_TRUE(xml::findChildElements(text, "body", found));
    ASSERT_EQ(found.spans.size(), 1u);
    for (uint32_t limit : {5u, 6u}) {
        std::string copy = text;
        pugi::xml_document tree;
        EXPECT_EQ(xml::parseStretchInPlace(copy, found.spans[0].first, found.spans[0].second, tree, limit).empty(),
                  limit == 6u);
    }
}
