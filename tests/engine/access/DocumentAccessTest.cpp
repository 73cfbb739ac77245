// The access layer on documents built here: ranges, find with font criteria, replace all, undo, statistics.
#include "engine/access/DocumentAccess.h"
#include "engine/access/WordStatistics.h"
#include "TestDocuments.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace qm::engine;
using namespace qm::engine::testing;

namespace {

constexpr PatternSyntax W = PatternSyntax::Wildcards;
constexpr PatternSyntax L = PatternSyntax::Literal;

// Replace-and-compare as the measurements do it: the growth of the range's
// word or character count after replacing every match by a marker.
struct Compared {
    int64_t growth = 0;
    int64_t replaced = 0;
};
Compared replaceAndCompare(Range& range, std::u16string_view pattern, PatternSyntax syntax,
                           std::u16string_view marker, bool words)
{
    Find& f = range.find();
    f.clearFormatting();
    f.setText(pattern);
    f.setSyntax(syntax);
    f.setReplacementText(marker);
    const int64_t before = words ? range.wordsCount() : range.charactersCount();
    ReplaceOutcome r = range.replaceAll();
    EXPECT_EQ(r.error, "");
    const int64_t after = words ? range.wordsCount() : range.charactersCount();
    return {after - before, r.replaced};
}

void expectSameStory(const Story& a, const Story& b)
{
    EXPECT_EQ(utf8(a.text), utf8(b.text));
    EXPECT_TRUE(a.attrs == b.attrs) << "formatting differs";
}

} // namespace

// The counting measurements rely on this: doubling each match grows the
// count by exactly the number of matches, and one undo restores everything.
TEST(DocumentAccess, ReplaceAndCompareEqualsTheMatchCountAndUndoRestores)
{
    const std::u16string_view texts[] = {
        u"",
        u"Hello world\r",
        u"well-known 06/30/2003 don't 3'4 x'\r'y\r",
        u"a\tb\t\t\rc\u000Bd\u000Ce\r\r",
        u"A.B,C;D\u2014E F\u00A0G\r",
        u"it's o'clock rock'n'roll '90s\r",
        u"\u041F\u0440\u0438\u0432\u0435\u0442 \u4E16 \u754C na\u00EFve\r",
        // Other scripts, emoji and invisible characters, East Asian words apart.
        u"\u0645\u0631\u062D\u0628\u0627 \u0E2A\u0E27\u0E31\u0E2A\u0E14\u0E35 \U0001F600x\U0001F44D\U0001F3FD\r"
        u"\u65E5 \u3001 \U00020B9F \u3002 \u304B\u3099 \uFF21 B co\u200Dop 1\uFE0F\u20E3\r",
    };
    struct Pattern {
        std::u16string_view find;
        std::u16string_view marker;
        bool words;
    } patterns[] = {
        {u"<*>", u"B B", true}, {u"[!^13- ]", u"BB", false}, {u"[!^13]", u"BB", false},
        {u"^13", u"BB", false}, {u"[A-Z]", u"BB", false},    {u"^t", u"BB", false},
    };
    for (std::u16string_view text : texts) {
        for (const Pattern& p : patterns) {
            SCOPED_TRACE("\"" + utf8(p.find) + "\" on \"" + utf8(text) + "\"");
            DocumentAccess access(makeDocument(text));
            const Story original = access.document().mainStory();
            Range content = access.content();
            // Counting alone finds what replacing replaces, and edits nothing.
            Range counted = access.content();
            counted.find().setText(p.find);
            counted.find().setSyntax(W);
            const int64_t matches = counted.countAll().replaced;
            EXPECT_EQ(access.undoDepth(), 0u);
            Compared c = replaceAndCompare(content, p.find, W, p.marker, p.words);
            EXPECT_EQ(matches, c.replaced);
            EXPECT_EQ(c.growth, c.replaced);
            EXPECT_EQ(access.undoDepth(), c.replaced > 0 ? 1u : 0u);
            if (c.replaced > 0) {
                EXPECT_TRUE(access.undo());
            }
            expectSameStory(access.document().mainStory(), original);
        }
    }
}

// Hidden text is neither found nor counted, as in Word with hidden text not shown.
TEST(DocumentAccess, CountsOfTheCountingPatternsLeaveHiddenTextOut)
{
    DocumentAccess plain(makeDocument(u"One two-three\tFour\r\rFIVE 5\r"));
    DocumentAccess hidden(makeDocument({{u"shown"}, {u" secret", CharFormat{.hidden = true}}, {u" Tail\r"}}));
    struct Case {
        DocumentAccess& access;
        std::u16string_view find;
        PatternSyntax syntax;
        int64_t expected;
    } cases[] = {
        {plain, u"<*>", W, 6},   {plain, u"[!^13- ]", W, 22}, {plain, u"[!^13]", W, 24}, {plain, u"^13", W, 3},
        {plain, u"[A-Z]", W, 6}, {plain, u"^t", W, 1},        {plain, u"^p", L, 3},      {plain, u"^p^p", L, 1},
        {plain, u"five", L, 1},  {plain, u"FIVE", W, 1},      {plain, u"five", W, 0},    {hidden, u"[!^13- ]", W, 9},
        {hidden, u"<*>", W, 2},  {hidden, u"secret", L, 0},   {hidden, u"[A-Z]", W, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(utf8(c.find));
        Range content = c.access.content();
        EXPECT_EQ(replaceAndCompare(content, c.find, c.syntax, u"BB", false).replaced, c.expected);
        c.access.undo();
    }
}

// Every matched character must carry the criterion: a run partly in the
// format is matched only in its formatted part, and "<*>" only when the
// whole word has it.
TEST(DocumentAccess, FontCriteriaApplyToEveryMatchedCharacter)
{
    const CharFormat bold = boldFormat();
    const CharFormat italic = CharFormat{.italic = true};
    const CharFormat underline = CharFormat{.underline = UnderlineKind::Double};
    const CharFormat caps = CharFormat{.smallCaps = true};
    const CharFormat sup = CharFormat{.verticalPosition = VerticalPosition::Superscript};
    const CharFormat sub = CharFormat{.verticalPosition = VerticalPosition::Subscript};
    DocumentAccess access(makeDocument({{u"Bold"}, {u"Face ", bold}, {u"Ital\tic ", italic}, {u"und ", underline},
                                        {u"Caps ", caps}, {u"x2", sup}, {u"y", sub}, {u" END\r"}}));
    struct Case {
        std::u16string_view find;
        FontCriterion criterion;
        CriterionState state;
        int64_t expected;
    } cases[] = {
        {u"[!^13- ]", FontCriterion::Bold, CriterionState::On, 4},
        {u"[!^13- ]", FontCriterion::Bold, CriterionState::Off, 24},
        {u"<*>", FontCriterion::Bold, CriterionState::On, 0}, // "BoldFace" is half bold
        {u"<*>", FontCriterion::Bold, CriterionState::Off, 6}, // Ital ic und Caps x2y END
        {u"[!^13- ]", FontCriterion::Italic, CriterionState::On, 7}, // the tab is below 13: it counts
        {u"^t", FontCriterion::Italic, CriterionState::On, 1},
        {u"^t", FontCriterion::Italic, CriterionState::Off, 0},
        {u"[!^13- ]", FontCriterion::Underline, CriterionState::On, 3},
        {u"[A-Z]", FontCriterion::SmallCaps, CriterionState::On, 1},
        {u"[!^13- ]", FontCriterion::Superscript, CriterionState::On, 2},
        {u"[!^13- ]", FontCriterion::Subscript, CriterionState::On, 1},
        {u"^13", FontCriterion::Bold, CriterionState::On, 0},
        {u"^13", FontCriterion::Bold, CriterionState::Off, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(utf8(c.find) + " criterion " + std::to_string(int(c.criterion)) + " state " +
                     std::to_string(int(c.state)));
        Range content = access.content();
        Find& f = content.find();
        f.clearFormatting();
        f.setText(c.find);
        f.setSyntax(W);
        f.setFont(c.criterion, c.state);
        f.setReplacementText(u"BB");
        EXPECT_EQ(content.replaceAll().replaced, c.expected);
        access.undo(access.undoDepth() > 0 ? 1 : 0);
    }
    // Cleared, a criterion no longer limits the search: the half-bold word is found.
    Range again = access.content();
    again.find().setText(u"<*>");
    again.find().setSyntax(W);
    again.find().setFont(FontCriterion::Bold, CriterionState::On);
    again.find().clearFormatting();
    EXPECT_TRUE(again.findNext().found);
}

// The run-counting loop: find a formatted visible character, then an
// unformatted one, and so on. Each find starts where the last match ended
// and stops at the end of the story.
TEST(DocumentAccess, FindNextAlternatingCriteriaCountsRuns)
{
    const CharFormat bold = boldFormat();
    struct Case {
        std::unique_ptr<Document> doc;
        int runs;
    };
    std::vector<Case> cases;
    cases.push_back({makeDocument({{u"one", bold}, {u" two "}, {u"three", bold}, {u"\r"}}), 2});
    cases.push_back({makeDocument({{u"one", bold}, {u" "}, {u"three", bold}, {u"\r"}}), 1});
    cases.push_back({makeDocument({{u"plain "}, {u"ends bold", bold}}), 1});
    cases.push_back({makeDocument({{u"nothing bold\r"}}), 0});
    cases.push_back({makeDocument({{u"a", bold}, {u"b"}, {u"c", bold}, {u"d"}, {u"e", bold}}), 3});
    for (size_t k = 0; k < cases.size(); ++k) {
        SCOPED_TRACE(k);
        DocumentAccess access(std::move(cases[k].doc));
        Selection& sel = access.selection();
        sel.homeKeyStory();
        Find& f = sel.find();
        f.clearFormatting();
        f.setText(u"[!^13- ]");
        f.setSyntax(W);
        int runs = 0;
        for (int guard = 0; guard < 100; ++guard) {
            f.setFont(FontCriterion::Bold, CriterionState::On);
            if (!sel.findNext().found)
                break;
            ++runs;
            f.clearFormatting();
            f.setFont(FontCriterion::Bold, CriterionState::Off);
            if (!sel.findNext().found)
                break;
        }
        EXPECT_EQ(runs, cases[k].runs);
    }
}

namespace {

// Runs of `criterion` counted on a fresh selection at the story's start, by
// the alternating find loop or by one walk (countRuns), with the selection
// they leave, and the characters countAll finds with the criterion on.
struct Counted {
    int64_t runs = -1, on = -1;
    uint32_t start = 0, end = 0;
    bool operator==(const Counted&) const = default;
};
Counted countRuns(DocumentAccess& access, std::u16string_view find, FontCriterion criterion, bool byLoop)
{
    Selection& sel = access.selection();
    Find& f = sel.find();
    sel.homeKeyStory();
    f.clearFormatting();
    f.setText(find);
    f.setSyntax(W);
    Counted out;
    if (byLoop) {
        out.runs = 0;
        while ((f.setFont(criterion, CriterionState::On), sel.findNext().found) && ++out.runs &&
               (f.setFont(criterion, CriterionState::Off), sel.findNext().found)) {
        }
    } else if (const std::optional<int64_t> runs = sel.countRuns(criterion)) {
        out.runs = *runs;
    }
    out.start = sel.start();
    out.end = sel.end();
    // The characters with the criterion on: by the search replace all still
    // makes, or from the walk.
    Range all = access.content();
    Find& target = byLoop ? all.find() : f;
    target.setText(find);
    target.setSyntax(W);
    target.setFont(criterion, CriterionState::On);
    target.setReplacementText(u"BB");
    sel.homeKeyStory();
    out.on = byLoop ? all.replaceAll().replaced : sel.countAll().replaced;
    access.undo(static_cast<int>(access.undoDepth()));
    f.clearFormatting();
    return out;
}

} // namespace

// One walk of the story counts what the find loop and the searches count:
// hidden text is skipped without splitting a run, a surrogate pair counts
// once and only when both halves are shown and carry the format, cell marks
// never match, a page break (below 13) is visible, and the selection ends on
// the loop's last match.
TEST(DocumentAccess, OneWalkCountsWhatTheFindLoopAndSearchesCount)
{
    const CharFormat bold = boldFormat(), boldHidden = CharFormat{.bold = true, .hidden = true};
    const CharFormat italic = CharFormat{.italic = true};
    const CharFormat sup = CharFormat{.verticalPosition = VerticalPosition::Superscript};
    auto table = [&] {
        DocumentBuilder b("txt");
        appendRuns(b, {{u"A", bold}, {u"\r"}});
        appendRow(b, {u"Bc", u"D"});
        appendRuns(b, {{u"E\fF", bold}, {u"\r"}});
        return b.finish(SectionFormat{}, HeaderFooterRefs{});
    };
    struct Case {
        const char* name;
        std::function<std::unique_ptr<Document>()> make;
        std::u16string_view find;
        FontCriterion criterion;
        int64_t runs, on;
        uint32_t lastMatch;
    } cases[] = {
        // a b | c | d e [X hidden] f 😀 | g: ends on the "g" at 10.
        {"runs", [&] { return makeDocument({{u"ab", bold}, {u"c"}, {u"d", bold}, {u" ", bold}, {u"e", bold},
                                            {u"X", boldHidden}, {u"f", bold}, {u"\U0001F600", bold}, {u"g"},
                                            {u"\r"}}); },
         u"[!^13- ]", FontCriterion::Bold, 2, 6, 10},
        {"no italic", [&] { return makeDocument({{u"ab", bold}, {u"c\r"}}); }, u"[!^13- ]", FontCriterion::Italic,
         0, 0, 0},
        {"italic to the end", [&] { return makeDocument({{u"a b"}, {u"c d", italic}}); }, u"[!^13- ]",
         FontCriterion::Italic, 1, 2, 3},
        // x, a smiley bold in its lead half only (neither on nor off), y.
        {"mixed pair", [&] { return makeDocument({{u"x", bold}, {u"\xD83D", bold}, {u"\xDE00"}, {u"y", bold}}); },
         u"[!^13- ]", FontCriterion::Bold, 1, 2, 0},
        // x, a bold smiley whose trail half is hidden (never found), y, z.
        {"half-hidden pair",
         [&] { return makeDocument({{u"x", bold}, {u"\xD83D", bold}, {u"\xDE00", boldHidden}, {u"y"}, {u"z", bold}}); },
         u"[!^13- ]", FontCriterion::Bold, 2, 2, 4},
        // é — | ü | —: letters past ASCII and past Latin-1 are visible too.
        {"accents and dashes",
         [&] { return makeDocument({{u"\u00E9\u2014", bold}, {u"\u00FC"}, {u"\u2014", bold}, {u"\r"}}); },
         u"[!^13- ]", FontCriterion::Bold, 2, 3, 3},
        // Capitals A | C D | G | F: small letters between them split nothing.
        {"superscript capitals",
         [&] { return makeDocument({{u"Ab"}, {u"CD", sup}, {u"eG"}, {u"F", sup}, {u"\r"}}); }, u"[A-Z]",
         FontCriterion::Superscript, 2, 3, 6},
        // A | B c (cell) D (cell) | E (page break) F: the cell marks match
        // nothing; the bold page break joins E and F into one run.
        {"table and break", table, u"[!^13- ]", FontCriterion::Bold, 2, 4, 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        DocumentAccess byLoop(c.make()), byWalk(c.make());
        const Counted loop = countRuns(byLoop, c.find, c.criterion, true);
        EXPECT_EQ(std::tuple(loop.runs, loop.on, loop.start), std::tuple(c.runs, c.on, c.lastMatch));
        EXPECT_EQ(countRuns(byWalk, c.find, c.criterion, false), loop);
    }
}

// The walk answers only where it equals the loop: a one-character find text
// not found by scanning for its character, from a collapsed selection at the
// story's start or a whole-story range that has found nothing; an edit gives
// the text a new walk, and an undo the old one back.
TEST(DocumentAccess, OneWalkAnswersOnlyWhereItEqualsTheLoop)
{
    DocumentAccess access(makeDocument({{u"one", boldFormat()}, {u" two "}, {u"three", boldFormat()}, {u"\tfour\r"}}));
    Selection& sel = access.selection();
    Find& f = sel.find();
    f.setSyntax(W);
    for (auto [find, answered] : {std::pair{u"[!^13- ]", true}, {u"[A-Z]", true}, {u"?", true}, {u"^t", false},
                                  {u"<*>", false}, {u"o", false}, {u"[z-a]", false}}) {
        SCOPED_TRACE(utf8(find));
        sel.homeKeyStory();
        f.setText(std::u16string_view(find));
        EXPECT_EQ(sel.countRuns(FontCriterion::Bold).has_value(), answered);
    }
    f.setText(u"[!^13- ]");
    sel.homeKeyStory();
    EXPECT_EQ(sel.countRuns(FontCriterion::Bold), 2);
    EXPECT_EQ(sel.countRuns(FontCriterion::Bold), std::nullopt); // moved on to the last match
    sel.homeKeyStory();
    sel.endKeyLineExtend();
    EXPECT_EQ(sel.countRuns(FontCriterion::Bold), std::nullopt); // extended by hand

    Range fresh = access.content(), found = access.content();
    fresh.find().setText(u"[!^13- ]");
    found.find().setText(u"[!^13- ]");
    fresh.find().setSyntax(W);
    found.find().setSyntax(W);
    ASSERT_TRUE(found.findNext().found);
    EXPECT_EQ(found.countRuns(FontCriterion::Bold), std::nullopt);
    EXPECT_EQ(access.sectionRange(1).countRuns(FontCriterion::Bold), std::nullopt); // not a whole story
    EXPECT_EQ(fresh.countRuns(FontCriterion::Bold), 2);
    EXPECT_EQ(std::pair(fresh.start(), fresh.end()), std::pair(13u, 14u)); // the tab after "three"

    // "one" replaced by a bold "1": 6 bold characters, then 8 again after the undo.
    Range edit = access.content();
    edit.find().setText(u"one");
    edit.find().setReplacementText(u"1");
    ASSERT_EQ(edit.replaceAll().replaced, 1);
    sel.homeKeyStory();
    f.setFont(FontCriterion::Bold, CriterionState::On);
    EXPECT_EQ(sel.countAll().replaced, 6);
    ASSERT_TRUE(access.undo());
    EXPECT_EQ(sel.countAll().replaced, 8);
}

TEST(DocumentAccess, RangeFindMovesOntoTheMatchAndStopsAtTheStoryEnd)
{
    DocumentAccess access(makeDocument(u"cat dog cat\r"));
    Range r = access.content();
    r.find().setText(u"cat");
    ASSERT_TRUE(r.findNext().found);
    EXPECT_EQ(r.start(), 0u);
    EXPECT_EQ(utf8(r.text()), "cat");
    ASSERT_TRUE(r.findNext().found);
    EXPECT_EQ(r.start(), 8u);
    EXPECT_FALSE(r.findNext().found); // no wrap to the start
    EXPECT_EQ(r.start(), 8u);          // and the range stays on the last match
}

TEST(DocumentAccess, InvalidPatternIsAnErrorNotAMatch)
{
    DocumentAccess access(makeDocument(u"text\r"));
    Range r = access.content();
    r.find().setText(u"[z-a]");
    r.find().setSyntax(W);
    const FindOutcome f = r.findNext();
    EXPECT_TRUE(!f.found && !f.error.empty());
    const ReplaceOutcome rep = r.replaceAll();
    EXPECT_TRUE(rep.replaced == 0 && !rep.error.empty() && access.undoDepth() == 0);
}

// The clean-up edits: page breaks to spaces (section breaks stay),
// space-only lines deleted through the selection, blank lines joined.
TEST(DocumentAccess, CleanUpEdits)
{
    DocumentBuilder b("txt");
    appendRuns(b, {{u"one\u000Ctwo\r \rthree\r\r\r\rfour"}});
    b.endSection(SectionFormat{}, HeaderFooterRefs{}, 0, 0);
    appendRuns(b, {{u"five\r"}});
    DocumentAccess access(b.finish(SectionFormat{}, HeaderFooterRefs{}));

    Range content = access.content();
    content.find().setText(u"^m");
    content.find().setReplacementText(u"  ");
    EXPECT_EQ(content.replaceAll().replaced, 1);
    EXPECT_EQ(utf8(access.document().mainStory().text), "one  two\r \rthree\r\r\r\rfour\ffive\r");
    EXPECT_TRUE(access.document().isSectionBreak(24));

    Selection& sel = access.selection();
    sel.homeKeyStory();
    sel.find().setText(u"^p ^p");
    int deleted = 0;
    while (sel.findNext().found && deleted < 10) {
        EXPECT_TRUE(sel.deleteText());
        ++deleted;
    }
    EXPECT_EQ(deleted, 1);
    EXPECT_EQ(utf8(access.document().mainStory().text), "one  twothree\r\r\r\rfour\ffive\r");

    Range again = access.content();
    again.find().setText(u"^p^p");
    again.find().setReplacementText(u"^p");
    for (int i = 0; i < 10; ++i)
        again.replaceAll();
    EXPECT_EQ(utf8(access.document().mainStory().text), "one  twothree\rfour\ffive\r");
    EXPECT_EQ(access.undoDepth(), 4u); // page breaks, one deletion, two passes of joins
    EXPECT_EQ(access.document().sections.front().end, 19u);
    EXPECT_TRUE(access.undo(4));
    EXPECT_EQ(utf8(access.document().mainStory().text), "one\ftwo\r \rthree\r\r\r\rfour\ffive\r");
    EXPECT_EQ(access.document().sections.front().end, 24u);
    EXPECT_FALSE(access.undo());
}

TEST(DocumentAccess, UndoRestoresMixedFormattingAndSectionEnds)
{
    DocumentBuilder b("rtf");
    appendRuns(b, {{u"Mi"}, {u"xed", boldFormat()}, {u" words"}});
    b.endSection(SectionFormat{}, HeaderFooterRefs{}, 0, 0);
    appendRuns(b, {{u"Two", boldFormat()}, {u"\r"}});
    DocumentAccess access(b.finish(SectionFormat{}, HeaderFooterRefs{}));
    const Document before = access.document();

    // Every character, the section break included, becomes "BB" in one
    // formatting; then each word of "BB"s becomes "W".
    Range content = access.content();
    EXPECT_EQ(replaceAndCompare(content, u"[!^13]", W, u"BB", false).replaced, 15);
    Range words = access.content();
    EXPECT_GT(replaceAndCompare(words, u"<*>", W, u"W", true).replaced, 0);

    EXPECT_TRUE(access.undo(2));
    expectSameStory(access.document().mainStory(), before.mainStory());
    ASSERT_EQ(access.document().sections.size(), 2u);
    EXPECT_EQ(access.document().sections[0].end, before.sections[0].end);
    EXPECT_FALSE(access.undo(1));
}

TEST(DocumentAccess, HeadersAndFootersResolveInheritance)
{
    DocumentBuilder b("rtf");
    HeaderFooterRefs one, two;
    one.headers[0] = addStory(b, StoryType::PrimaryHeader, {{u"Head\r"}});
    one.footers[1] = addStory(b, StoryType::FirstPageFooter, {{u"First foot\r"}});
    two.headers[2] = addStory(b, StoryType::EvenPagesHeader, {{u"Even\r"}});
    appendRuns(b, {{u"Section one"}});
    b.endSection(SectionFormat{}, one, 0, 0);
    appendRuns(b, {{u"Section two\r"}});
    DocumentAccess access(b.finish(SectionFormat{}, two));

    ASSERT_EQ(access.sectionsCount(), 2u);
    EXPECT_EQ(utf8(access.sectionRange(1).text()), "Section one\f");
    EXPECT_EQ(utf8(access.sectionRange(2).text()), "Section two\r");
    struct Case {
        size_t section;
        bool header;
        int index;
        const char* text; // nullptr: no story anywhere
    } cases[] = {
        {1, true, 1, "Head\r"},  {1, true, 2, nullptr},  {1, true, 3, nullptr},
        {2, true, 1, "Head\r"},  {2, true, 2, nullptr},  {2, true, 3, "Even\r"},
        {1, false, 1, nullptr},  {1, false, 2, "First foot\r"}, {2, false, 2, "First foot\r"},
        {1, true, 0, nullptr},   {1, true, 4, nullptr},  {3, true, 1, nullptr},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.section) + (c.header ? " header " : " footer ") + std::to_string(c.index));
        HeadersFooters list = c.header ? access.headers(c.section) : access.footers(c.section);
        EXPECT_EQ(list.count(), 3);
        Range r = list.item(c.index);
        EXPECT_EQ(r.exists(), c.text != nullptr);
        EXPECT_EQ(utf8(r.text()), c.text ? c.text : "");
        if (!c.text) {
            EXPECT_EQ(r.charactersCount(), 0);
            r.find().setText(u"x");
            EXPECT_FALSE(r.findNext().found);
        }
    }
    // A header range has its own find state and edits only its own story.
    Range header = access.headers(2).item(1);
    Compared c = replaceAndCompare(header, u"[!^13- ]", W, u"BB", false);
    EXPECT_EQ(c.replaced, 4);
    EXPECT_EQ(c.growth, 4);
    EXPECT_EQ(utf8(access.document().mainStory().text), "Section one\fSection two\r");
    access.undo();
    EXPECT_EQ(utf8(access.headers(1).item(1).text()), "Head\r");
}

TEST(DocumentAccess, SelectionExtendsToTheLineEndAndDeletes)
{
    struct Case {
        std::u16string_view text;
        const char* firstLine;
        const char* afterDelete;
    } cases[] = {
        {u"first\u000Bsecond\rnext\r", "first\u000B", "second\rnext\r"},
        {u"\rnext\r", "\r", "next\r"},
        {u"only\r", "only\r", "\r"},        // the story's last mark stays
        {u"", "\r", "\r"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(utf8(c.text));
        DocumentAccess access(makeDocument(c.text));
        Selection& sel = access.selection();
        sel.homeKeyStory();
        sel.endKeyLineExtend();
        EXPECT_EQ(utf8(sel.text()), c.firstLine);
        sel.deleteText();
        EXPECT_EQ(utf8(access.document().mainStory().text), c.afterDelete);
        EXPECT_EQ(sel.start(), 0u);
        EXPECT_EQ(sel.end(), 0u);
    }
}

TEST(DocumentAccess, CollapsedDeleteRemovesTheNextCharacterButNotCellMarks)
{
    DocumentBuilder b("rtf");
    appendRow(b, {u"c"});
    appendRuns(b, {{u"after\r"}});
    DocumentAccess access(b.finish(SectionFormat{}, HeaderFooterRefs{}));
    EXPECT_EQ(access.tablesCount(), 1);
    EXPECT_EQ(access.content().tablesCount(), 1);
    Selection& sel = access.selection();
    sel.homeKeyStory();
    EXPECT_TRUE(sel.deleteText());  // "c"
    EXPECT_FALSE(sel.deleteText()); // the cell mark stays
    EXPECT_EQ(access.tablesCount(), 1);
    EXPECT_TRUE(access.undo());
    EXPECT_EQ(utf8(access.document().mainStory().text).substr(0, 1), "c");
}

namespace {
class FixedLayout : public LayoutProvider {
public:
    LayoutFigures measure(const Document&, size_t story) override
    {
        ++calls;
        if (story != 0)
            return {2, 3, {}, {}};
        return {42, 3, {}, {{0, 6}, {6, 12}}};
    }
    int calls = 0;
};
} // namespace

TEST(DocumentAccess, StatisticsComeFromWordCountAndTheLayout)
{
    DocumentAccess access(makeDocument(u"06/30/2003 well-known words\r\rsecond\r"));
    const WordStatistics stats = computeWordStatistics(access.document());
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Characters).value, stats.characters);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::CharactersWithSpaces).value, stats.charactersWithSpaces);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Words).value, 4); // Word counts the date as one word
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Paragraphs).value, 2);
    EXPECT_EQ(access.content().wordsCount(), 7); // our "<*>" words split both

    // Without a layout, lines and pages are an error, never a guess.
    for (BuiltInProperty p : {BuiltInProperty::Lines, BuiltInProperty::Pages}) {
        StatisticOutcome s = access.builtInProperty(p);
        EXPECT_FALSE(s.ok());
        EXPECT_EQ(s.value, 0);
    }
    EXPECT_FALSE(access.storyLines(0).ok());
    EXPECT_FALSE(access.builtInProperty(static_cast<BuiltInProperty>(99)).ok());

    FixedLayout layout;
    access.setLayoutProvider(&layout);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Lines).value, 42);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Pages).value, 3);
    EXPECT_EQ(access.storyLines(0).value, 42);
    EXPECT_FALSE(access.storyLines(7).ok());
    EXPECT_EQ(layout.calls, 1) << "an unchanged document is laid out once";
    // With a layout, the selection extends to the laid-out line's end, not the paragraph's.
    access.selection().homeKeyStory();
    access.selection().endKeyLineExtend();
    EXPECT_EQ(utf8(access.selection().text()), "06/30/");
    // An edit asks the layout afresh and the Word Count figures follow:
    // deleting "06/30/" leaves "2003" a word of 4 characters. Undoing it
    // brings back the text laid out before, whose figures still stand; a
    // new edit after it is laid out again.
    ASSERT_TRUE(access.selection().deleteText());
    access.builtInProperty(BuiltInProperty::Pages);
    EXPECT_EQ(layout.calls, 2);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Characters).value, stats.characters - 6);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Words).value, 4);
    EXPECT_TRUE(access.undo());
    access.builtInProperty(BuiltInProperty::Lines);
    EXPECT_EQ(layout.calls, 2);
    EXPECT_EQ(access.builtInProperty(BuiltInProperty::Characters).value, stats.characters);
    access.selection().homeKeyStory();
    access.selection().endKeyLineExtend();
    ASSERT_TRUE(access.selection().deleteText());
    access.builtInProperty(BuiltInProperty::Lines);
    EXPECT_EQ(layout.calls, 3);
}
