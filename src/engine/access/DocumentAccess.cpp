// Ranges, selection, find and replace, counts, statistics and undo over the document model.
#include "engine/access/DocumentAccess.h"

#include "engine/access/ScriptRules.h"
#include "engine/access/WordCharacters.h"
#include "engine/access/WordStatistics.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cassert>

namespace qm::engine {

// ---- Find -------------------------------------------------------------------

void Find::setText(std::u16string_view text)
{
    if (text != m_text || !m_pattern)
        m_pattern.reset();
    m_text = text;
}

void Find::setText(std::string_view utf8) { setText(utf8ToUtf16(utf8)); }

void Find::setSyntax(PatternSyntax syntax)
{
    if (syntax != m_syntax) {
        m_pattern.reset();
        m_replacement.reset();
    }
    m_syntax = syntax;
}

void Find::setReplacementText(std::u16string_view text)
{
    if (text != m_replacementText)
        m_replacement.reset();
    m_replacementText = text;
}

void Find::setReplacementText(std::string_view utf8) { setReplacementText(utf8ToUtf16(utf8)); }

const CompiledPattern& Find::pattern()
{
    if (!m_pattern)
        m_pattern = FindPattern::compile(m_text, m_syntax);
    return *m_pattern;
}

const CompiledReplacement& Find::replacement()
{
    if (!m_replacement)
        m_replacement = Replacement::compile(m_replacementText, m_syntax);
    return *m_replacement;
}

namespace {

bool carries(const CharFormat& f, FontCriterion criterion)
{
    switch (criterion) {
    case FontCriterion::Bold: return f.bold;
    case FontCriterion::Italic: return f.italic;
    case FontCriterion::Underline: return f.underlined();
    case FontCriterion::SmallCaps: return f.smallCaps;
    case FontCriterion::Superscript: return f.verticalPosition == VerticalPosition::Superscript;
    case FontCriterion::Subscript: return f.verticalPosition == VerticalPosition::Subscript;
    }
    return false;
}

// Per character format: whether a match may cover it. Hidden text is never
// found (Word's find passes over hidden text that is not displayed, and the
// statistics leave it out too); the rest must satisfy every font criterion.
// Font criteria no format of the document meets (no bold text at all, say)
// find nothing: every match covers at least one character, and each must
// meet them. Checked once an operation, not once a search.
bool anyAllowed(const std::vector<uint8_t>& allowed)
{
    return std::any_of(allowed.begin(), allowed.end(), [](uint8_t a) { return a != 0; });
}

std::vector<uint8_t> allowedFormats(const Document& doc, const Find& find)
{
    std::vector<uint8_t> allowed(doc.charFormats.size(), 1);
    for (size_t i = 0; i < doc.charFormats.size(); ++i) {
        if (doc.charFormats[i].hidden)
            allowed[i] = 0;
        for (size_t c = 0; c < 6; ++c) {
            const auto criterion = static_cast<FontCriterion>(c);
            const CriterionState state = find.font(criterion);
            if (state == CriterionState::Cleared)
                continue;
            if (carries(doc.charFormats[i], criterion) != (state == CriterionState::On))
                allowed[i] = 0;
        }
    }
    return allowed;
}

// Table cell and row marks, and the story's last paragraph mark, are kept by deletions.
bool keptByDelete(const Story& s, uint32_t pos)
{
    return s.text[pos] == Ch::CellEnd || (pos + 1 == s.size() && s.text[pos] == Ch::ParagraphMark);
}

// Every match of `find` in [from, to) of a story, each search starting where
// the previous match ended: the text as it stands, no overlaps. False, with
// the pattern's error, when the pattern does not compile.
template <typename OnMatch>
bool forEachMatch(const Document& doc, Find& find, size_t story, uint32_t from, uint32_t to, std::string& error,
                  OnMatch&& onMatch)
{
    const CompiledPattern& compiled = find.pattern();
    if (!compiled.pattern) {
        error = compiled.error;
        return false;
    }
    const Story& s = doc.stories[story];
    MatchSubject subject{s.text, s.attrs.data(), nullptr, &doc, story};
    const std::vector<uint8_t> allowed = allowedFormats(doc, find);
    if (!anyAllowed(allowed))
        return true;
    subject.allowedFormats = &allowed;
    uint32_t pos = from;
    while (pos < to) {
        const std::optional<PatternMatch> match = compiled.pattern->search(subject, pos, to);
        if (!match)
            break;
        onMatch(*match);
        pos = match->end;
    }
    return true;
}

} // namespace

// ---- Range ------------------------------------------------------------------

Range::Range(DocumentAccess* access, int32_t story, uint32_t start, uint32_t end, bool wholeStory)
    : m_access(access), m_story(story), m_start(start), m_end(end), m_wholeStory(wholeStory)
{
}

uint32_t Range::start() const
{
    if (!exists() || m_wholeStory)
        return 0;
    return std::min(m_start, m_access->storySize(story()));
}

uint32_t Range::end() const
{
    if (!exists())
        return 0;
    const uint32_t size = m_access->storySize(story());
    return m_wholeStory ? size : std::max(start(), std::min(m_end, size));
}

std::u16string Range::text() const
{
    if (!exists())
        return {};
    return m_access->document().stories[story()].text.substr(start(), end() - start());
}

// One per code point: a character outside the Basic Multilingual Plane is one
// character, so "[!^13]" replaced by "BB" over an emoji grows the count by one.
int64_t Range::charactersCount() const
{
    if (!exists())
        return 0;
    const std::u16string_view text = m_access->document().stories[story()].text;
    return countCodePoints(text.substr(start(), end() - start()));
}

int64_t Range::wordsCount() const
{
    if (!exists())
        return 0;
    const std::u16string_view text = m_access->document().stories[story()].text;
    const uint32_t from = start(), to = end();
    int64_t words = 0;
    for (uint32_t i = from; i < to; ++i)
        if (isWordStart(text, i) || (i == from && !isInsidePair(text, i) && isWordCharacterAt(text, i)))
            ++words;
    return words;
}

int64_t Range::tablesCount() const
{
    if (!exists())
        return 0;
    return static_cast<int64_t>(findTables(m_access->document(), story(), start(), end(), 1).size());
}

FindOutcome Range::findNext()
{
    FindOutcome outcome;
    if (!exists()) {
        const CompiledPattern& p = m_find.pattern();
        outcome.error = p.error;
        return outcome;
    }
    const uint32_t size = m_access->storySize(story());
    const uint32_t from = m_found ? end() : start();
    const uint32_t to = m_found ? size : end();
    std::optional<PatternMatch> match = m_access->search(m_find, story(), from, to, outcome.error);
    if (match) {
        m_wholeStory = false;
        m_found = true;
        m_start = match->start;
        m_end = match->end;
        outcome.found = true;
    }
    return outcome;
}

ReplaceOutcome Range::countAll()
{
    if (!exists()) {
        ReplaceOutcome outcome;
        outcome.error = m_find.pattern().error;
        return outcome;
    }
    return m_access->countAll(m_find, story(), start(), end());
}

std::optional<int64_t> Range::countRuns(FontCriterion criterion)
{
    if (!exists() || !m_wholeStory || m_found)
        return std::nullopt;
    std::optional<std::pair<uint32_t, uint32_t>> last;
    const std::optional<int64_t> runs = m_access->countRuns(m_find, story(), criterion, last);
    if (runs && last) {
        m_wholeStory = false;
        m_found = true;
        m_start = last->first;
        m_end = last->second;
    }
    return runs;
}

ReplaceOutcome Range::replaceAll()
{
    if (!exists()) {
        ReplaceOutcome outcome;
        outcome.error = m_find.pattern().error;
        if (outcome.error.empty())
            outcome.error = m_find.replacement().error;
        return outcome;
    }
    int64_t growth = 0;
    const uint32_t from = start(), to = end();
    ReplaceOutcome outcome = m_access->replaceAll(m_find, story(), from, to, growth);
    if (!m_wholeStory) {
        m_start = from;
        m_end = static_cast<uint32_t>(to + growth);
    }
    return outcome;
}

Range HeadersFooters::item(int index) const
{
    const Document& doc = m_access->document();
    if (index < 1 || index > 3 || m_section >= doc.sections.size())
        return m_access->storyRange(-1);
    const auto which = static_cast<HeaderFooterIndex>(index);
    const int32_t story = m_headers ? doc.headerStory(m_section, which) : doc.footerStory(m_section, which);
    return m_access->storyRange(story);
}

// ---- Selection ---------------------------------------------------------------

uint32_t Selection::start() const { return std::min(m_start, m_access->storySize(m_story)); }
uint32_t Selection::end() const { return std::max(start(), std::min(m_end, m_access->storySize(m_story))); }

std::u16string Selection::text() const
{
    return m_access->document().stories[m_story].text.substr(start(), end() - start());
}

void Selection::homeKeyStory()
{
    m_story = 0;
    m_start = m_end = 0;
    m_extended = false;
}

void Selection::endKeyLineExtend()
{
    const Document& doc = m_access->document();
    const Story& s = doc.stories[m_story];
    const uint32_t from = end();
    uint32_t lineEnd = s.size();
    std::optional<uint32_t> laidOut;
    if (from < s.size())
        laidOut = m_access->laidOutLineEnd(m_story, from);
    if (laidOut) {
        lineEnd = std::clamp(*laidOut, from, s.size());
    } else {
        for (uint32_t i = from; i < s.size(); ++i) {
            if (s.text[i] == Ch::LineBreak || doc.endsParagraph(m_story, i)) {
                lineEnd = i + 1;
                break;
            }
        }
    }
    m_start = start();
    m_end = lineEnd;
    m_extended = m_end > m_start;
}

bool Selection::deleteText()
{
    const Story& s = m_access->document().stories[m_story];
    uint32_t from = start(), to = end();
    if (from == to) {
        if (from >= s.size())
            return false;
        to = from + 1;
    }
    // Remove the runs between kept marks, so tables and the story's end stay whole.
    std::vector<StoryEdit> edits;
    uint32_t runStart = from;
    for (uint32_t i = from; i <= to; ++i) {
        if (i == to || keptByDelete(s, i)) {
            if (i > runStart)
                edits.push_back(StoryEdit{runStart, i - runStart, {}, CharAttr{}});
            runStart = i + 1;
        }
    }
    m_end = m_start = from;
    m_extended = false;
    if (edits.empty())
        return false;
    m_access->edit(m_story, edits);
    return true;
}

FindOutcome Selection::findNext()
{
    FindOutcome outcome;
    const uint32_t size = m_access->storySize(m_story);
    const uint32_t from = m_extended ? start() : end();
    const uint32_t to = m_extended ? end() : size;
    std::optional<PatternMatch> match = m_access->search(m_find, m_story, from, to, outcome.error);
    if (match) {
        m_start = match->start;
        m_end = match->end;
        m_extended = false;
        outcome.found = true;
    }
    return outcome;
}

ReplaceOutcome Selection::replaceAll()
{
    int64_t growth = 0;
    const uint32_t from = start();
    const uint32_t to = m_extended ? end() : m_access->storySize(m_story);
    ReplaceOutcome outcome = m_access->replaceAll(m_find, m_story, from, to, growth);
    if (m_extended)
        m_end = static_cast<uint32_t>(to + growth);
    return outcome;
}

ReplaceOutcome Selection::countAll()
{
    const uint32_t to = m_extended ? end() : m_access->storySize(m_story);
    return m_access->countAll(m_find, m_story, start(), to);
}

std::optional<int64_t> Selection::countRuns(FontCriterion criterion)
{
    if (m_extended || end() != 0)
        return std::nullopt;
    std::optional<std::pair<uint32_t, uint32_t>> last;
    const std::optional<int64_t> runs = m_access->countRuns(m_find, m_story, criterion, last);
    if (runs && last) {
        m_start = last->first;
        m_end = last->second;
    }
    return runs;
}

// ---- DocumentAccess -----------------------------------------------------------

DocumentAccess::DocumentAccess(std::unique_ptr<Document> document)
    : m_document(std::move(document)), m_selection(this)
{
    assert(m_document && !m_document->stories.empty() && !m_document->sections.empty());
}

Range DocumentAccess::storyRange(int32_t story)
{
    if (!validStory(story))
        return Range(this, -1, 0, 0, false);
    return Range(this, story, 0, storySize(static_cast<size_t>(story)), true);
}

Range DocumentAccess::sectionRange(size_t section)
{
    const auto& sections = m_document->sections;
    if (section < 1 || section > sections.size())
        return Range(this, -1, 0, 0, false);
    const uint32_t start = section == 1 ? 0 : sections[section - 2].end;
    return Range(this, 0, start, sections[section - 1].end, false);
}

int64_t DocumentAccess::tablesCount() const
{
    return static_cast<int64_t>(findTables(*m_document, 0, 0, storySize(0), 1).size());
}

StatisticOutcome DocumentAccess::builtInProperty(BuiltInProperty property) const
{
    StatisticOutcome outcome;
    switch (property) {
    case BuiltInProperty::Characters:
    case BuiltInProperty::CharactersWithSpaces:
    case BuiltInProperty::Words:
    case BuiltInProperty::Paragraphs: {
        auto it = m_statistics.find(m_revision);
        if (it == m_statistics.end()) {
            boundFigures();
            it = m_statistics.emplace(m_revision, computeWordStatistics(*m_document)).first;
        }
        const WordStatistics& stats = it->second;
        outcome.value = property == BuiltInProperty::Characters             ? stats.characters
                        : property == BuiltInProperty::CharactersWithSpaces ? stats.charactersWithSpaces
                        : property == BuiltInProperty::Words                ? stats.words
                                                                            : stats.paragraphs;
        return outcome;
    }
    case BuiltInProperty::Lines:
    case BuiltInProperty::Pages: {
        if (!m_layout) {
            outcome.error = "lines and pages need the layout engine, which is not available";
            return outcome;
        }
        const LayoutFigures& figures = laidOut(0);
        outcome.error = figures.error;
        outcome.value = property == BuiltInProperty::Lines ? figures.lines : figures.pages;
        return outcome;
    }
    }
    outcome.error = "the document has no built-in property " + std::to_string(static_cast<int>(property));
    return outcome;
}

StatisticOutcome DocumentAccess::storyLines(size_t story) const
{
    StatisticOutcome outcome;
    if (story >= m_document->stories.size()) {
        outcome.error = "the document has no story " + std::to_string(story);
        return outcome;
    }
    if (!m_layout) {
        outcome.error = "lines and pages need the layout engine, which is not available";
        return outcome;
    }
    const LayoutFigures& figures = laidOut(story);
    outcome.error = figures.error;
    outcome.value = figures.lines;
    return outcome;
}

std::optional<uint32_t> DocumentAccess::laidOutLineEnd(size_t story, uint32_t pos) const
{
    if (!m_layout || story != 0)
        return std::nullopt;
    const LayoutFigures& figures = laidOut(0);
    if (!figures.error.empty())
        return std::nullopt;
    for (const auto& [start, end] : figures.mainLines)
        if (pos >= start && pos < end)
            return end;
    return std::nullopt;
}

const LayoutFigures& DocumentAccess::laidOut(size_t story) const
{
    auto it = m_laidOut.find({m_revision, story});
    if (it == m_laidOut.end()) {
        boundFigures();
        it = m_laidOut.emplace(std::pair{m_revision, story}, m_layout->measure(*m_document, story)).first;
    }
    return it->second;
}

std::optional<PatternMatch> DocumentAccess::search(Find& find, size_t story, uint32_t from, uint32_t to,
                                                   std::string& error)
{
    const CompiledPattern& compiled = find.pattern();
    if (!compiled.pattern) {
        error = compiled.error;
        return std::nullopt;
    }
    const Story& s = m_document->stories[story];
    MatchSubject subject{s.text, s.attrs.data(), nullptr, m_document.get(), story};
    const std::vector<uint8_t> allowed = allowedFormats(*m_document, find);
    if (!anyAllowed(allowed))
        return std::nullopt;
    subject.allowedFormats = &allowed;
    return compiled.pattern->search(subject, from, to);
}

ReplaceOutcome DocumentAccess::replaceAll(Find& find, size_t story, uint32_t from, uint32_t to, int64_t& growth)
{
    ReplaceOutcome outcome;
    growth = 0;
    const CompiledReplacement& replacement = find.replacement();
    if (find.pattern().pattern && !replacement.replacement) {
        outcome.error = replacement.error;
        return outcome;
    }
    // Replacement text is never searched again: the whole set of matches is
    // applied as one edit.
    const Story& s = m_document->stories[story];
    std::vector<StoryEdit> edits;
    if (!forEachMatch(*m_document, find, story, from, to, outcome.error, [&](const PatternMatch& match) {
            StoryEdit e;
            e.pos = match.start;
            e.length = match.end - match.start;
            e.text = replacement.replacement->expand(s.text, match);
            e.attr = s.attrs[match.start]; // the replacement takes the replaced text's formatting
            growth += static_cast<int64_t>(e.text.size()) - e.length;
            edits.push_back(std::move(e));
        }))
        return outcome;
    outcome.replaced = static_cast<int64_t>(edits.size());
    // Like Word, a replace all that replaced nothing leaves no step to undo.
    if (!edits.empty())
        edit(story, edits);
    return outcome;
}

const DocumentAccess::CharacterTally* DocumentAccess::tally(Find& find, size_t story)
{
    const CompiledPattern& compiled = find.pattern();
    if (!compiled.pattern || !compiled.pattern->matchesOneCharacter() || compiled.pattern->scansForOneCharacter())
        return nullptr;
    auto key = std::tuple{m_revision, story, find.text(), find.syntax()};
    if (auto it = m_tallies.find(key); it != m_tallies.end())
        return &it->second;
    constexpr size_t Kept = 64;
    if (m_tallies.size() > Kept)
        m_tallies.clear();
    CharacterTally& t = m_tallies[std::move(key)];

    // The walk visits the positions a search tries, in order: one unit at a
    // time, a surrogate pair whole. A position matches as in the search:
    // not a cell mark, the pattern's test passing, and the formats of the
    // character's units all shown (hidden text is never found) and, for a
    // criterion, all carrying it (on) or none carrying it (off).
    const FindPattern& pattern = *compiled.pattern;
    const Document& doc = *m_document;
    const Story& s = doc.stories[story];
    const MatchSubject subject{s.text, s.attrs.data(), nullptr, &doc, story};
    const size_t formats = doc.charFormats.size();
    std::vector<uint8_t> carried(formats), shown(formats);
    for (size_t f = 0; f < formats; ++f) {
        shown[f] = doc.charFormats[f].hidden ? 0 : 1;
        for (size_t c = 0; c < CharacterTally::Criteria; ++c)
            if (carries(doc.charFormats[f], static_cast<FontCriterion>(c)))
                carried[f] |= static_cast<uint8_t>(1u << c);
    }
    constexpr uint8_t All = (1u << CharacterTally::Criteria) - 1;
    uint8_t seekingOn = All; // per criterion: the loop looks for the criterion on next
    // Counts `n` matching characters of formats f1 and f2 (a surrogate
    // pair's halves), the first of them at pos; the rest change nothing in
    // the loop, which has found the first.
    auto count = [&](uint32_t pos, uint32_t units, uint32_t f1, uint32_t f2, int64_t n) {
        if (f1 >= formats || f2 >= formats || !shown[f1] || !shown[f2])
            return;
        t.matches += n;
        const uint8_t on = carried[f1] & carried[f2];
        const uint8_t off = static_cast<uint8_t>(~(carried[f1] | carried[f2]) & All);
        // The loop finds the character where it seeks the criterion on and
        // the character has it, or seeks it off and the character lacks it.
        const uint8_t found = (on & seekingOn) | (off & static_cast<uint8_t>(~seekingOn));
        for (size_t k = 0; (on | found) != 0 && k < CharacterTally::Criteria; ++k) {
            const uint8_t bit = static_cast<uint8_t>(1u << k);
            if (on & bit)
                t.on[k] += n;
            if (found & bit) {
                if (on & bit)
                    ++t.runs[k];
                t.lastRunMatch[k] = std::pair{pos, pos + units};
            }
        }
        seekingOn = static_cast<uint8_t>((seekingOn & ~on) | off);
    };
    // The test's answer for each Latin-1 character depends on the character
    // alone, but for the page break (a section break or not, by where it
    // stands); a cell mark never matches.
    std::array<uint8_t, 256> latin1{};
    for (char16_t c = 0; c < 256; ++c) {
        if (c == Ch::PageBreak || c == Ch::CellEnd)
            continue;
        const char16_t alone[1] = {c};
        const MatchSubject single{std::u16string_view(alone, 1), nullptr, nullptr, &doc, story};
        latin1[c] = pattern.testsCharacterAt(single, 0, 1) ? 1 : 0;
    }
    const char16_t* text = s.text.data();
    const CharAttr* attrs = s.attrs.data();
    const uint32_t to = s.size();
    for (uint32_t i = 0; i < to;) {
        const char16_t c = text[i];
        if (c >= 0xD800 || c == Ch::PageBreak) {
            // A position of its own: a surrogate pair whole, a page break.
            const uint32_t units = isLeadSurrogate(c) && i + 1 < to && isTrailSurrogate(text[i + 1]) ? 2 : 1;
            if (pattern.testsCharacterAt(subject, i, to))
                count(i, units, attrs[i].charFormat, attrs[i + units - 1].charFormat, 1);
            i += units;
            continue;
        }
        // A stretch of one format below the surrogates: its matching
        // characters count alike. They are counted without a branch on
        // each (letters and spaces alternate too irregularly to guess),
        // and the first of them is looked for afterwards.
        const uint32_t format = attrs[i].charFormat;
        auto passes = [&](uint32_t at) {
            const char16_t d = text[at];
            return d < 256 ? latin1[d] != 0 : d != Ch::CellEnd && pattern.testsCharacterAt(subject, at, to);
        };
        int64_t n = 0;
        uint32_t j = i;
        for (; j < to; ++j) {
            const char16_t d = text[j];
            if (d >= 0xD800 || d == Ch::PageBreak || attrs[j].charFormat != format)
                break;
            n += passes(j) ? 1 : 0;
        }
        if (n > 0) {
            uint32_t first = i;
            while (!passes(first))
                ++first;
            count(first, 1, format, format, n);
        }
        i = j;
    }
    return &t;
}

std::optional<int64_t> DocumentAccess::countRuns(Find& find, size_t story, FontCriterion criterion,
                                                 std::optional<std::pair<uint32_t, uint32_t>>& lastMatch)
{
    const CharacterTally* t = tally(find, story);
    if (!t)
        return std::nullopt;
    const size_t k = static_cast<size_t>(criterion);
    lastMatch = t->lastRunMatch[k];
    return t->runs[k];
}

ReplaceOutcome DocumentAccess::countAll(Find& find, size_t story, uint32_t from, uint32_t to)
{
    ReplaceOutcome outcome;
    if (from == 0 && to == storySize(story)) {
        // Over a whole story, with no criterion or one criterion on, the
        // tally's walk counts what the searches find.
        size_t set = 0, criterion = 0;
        bool onlyOn = true;
        for (size_t c = 0; c < CharacterTally::Criteria; ++c)
            if (const CriterionState state = find.font(static_cast<FontCriterion>(c)); state != CriterionState::Cleared) {
                ++set;
                criterion = c;
                onlyOn = onlyOn && state == CriterionState::On;
            }
        if (set <= 1 && onlyOn)
            if (const CharacterTally* t = tally(find, story)) {
                outcome.replaced = set == 0 ? t->matches : t->on[criterion];
                return outcome;
            }
    }
    // As forEachMatch, counted by the pattern itself in one pass.
    const CompiledPattern& compiled = find.pattern();
    if (!compiled.pattern) {
        outcome.error = compiled.error;
        return outcome;
    }
    const Story& s = m_document->stories[story];
    const std::vector<uint8_t> allowed = allowedFormats(*m_document, find);
    if (!anyAllowed(allowed))
        return outcome;
    const MatchSubject subject{s.text, s.attrs.data(), &allowed, m_document.get(), story};
    outcome.replaced = compiled.pattern->countMatches(subject, from, to);
    return outcome;
}

void DocumentAccess::edit(size_t story, const std::vector<StoryEdit>& edits)
{
    const Story& s = m_document->stories[story];
    UndoStep step;
    step.story = story;
    if (story == 0)
        for (const Section& section : m_document->sections)
            step.sectionEnds.push_back(section.end);
    int64_t delta = 0;
    step.restores.reserve(edits.size());
    for (const StoryEdit& e : edits) {
        Restore r;
        r.pos = static_cast<uint32_t>(e.pos + delta);
        r.length = static_cast<uint32_t>(e.text.size());
        r.offset = static_cast<uint32_t>(step.text.size());
        r.originalLength = e.length;
        step.text.append(s.text, e.pos, e.length);
        step.attrs.insert(step.attrs.end(), s.attrs.begin() + e.pos, s.attrs.begin() + e.pos + e.length);
        delta += static_cast<int64_t>(e.text.size()) - e.length;
        step.restores.push_back(r);
    }
    m_document->applyEdits(story, edits);
    step.revisionBefore = m_revision;
    m_revision = ++m_lastRevision;
    m_undo.push_back(std::move(step));
}

bool DocumentAccess::undo(int times)
{
    for (int i = 0; i < times; ++i) {
        if (m_undo.empty())
            return false;
        UndoStep step = std::move(m_undo.back());
        m_undo.pop_back();
        // Each restore becomes one edit per run of equal formatting, the
        // later runs inserted behind the first, so the formatting returns
        // character for character.
        std::vector<StoryEdit> edits;
        edits.reserve(step.restores.size());
        for (const Restore& r : step.restores) {
            const uint32_t endOfOriginal = r.offset + r.originalLength;
            uint32_t run = r.offset;
            bool first = true;
            do {
                uint32_t runEnd = run;
                while (runEnd < endOfOriginal && step.attrs[runEnd] == step.attrs[run])
                    ++runEnd;
                StoryEdit e;
                e.pos = first ? r.pos : r.pos + r.length;
                e.length = first ? r.length : 0;
                e.text = step.text.substr(run, runEnd - run);
                e.attr = run < endOfOriginal ? step.attrs[run] : CharAttr{};
                edits.push_back(std::move(e));
                first = false;
                run = runEnd;
            } while (run < endOfOriginal);
        }
        m_document->applyEdits(step.story, edits);
        m_revision = step.revisionBefore;
        if (step.story == 0 && step.sectionEnds.size() == m_document->sections.size())
            for (size_t k = 0; k < step.sectionEnds.size(); ++k)
                m_document->sections[k].end = step.sectionEnds[k];
    }
    return true;
}

} // namespace qm::engine
