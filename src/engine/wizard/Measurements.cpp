// The measurements: replace-and-compare counts, find loops, statistics and the billed-line sum.
#include "engine/wizard/Measurements.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace qm::engine {

namespace {

// A failure inside a measurement, described as the error report shows it.
using Failure = std::runtime_error;

// The descriptions users have always seen for these failures.
constexpr const char* TypeMismatch = "Type mismatch";
constexpr const char* Overflow = "Overflow";
constexpr const char* DivisionByZero = "Division by zero";

// Working figures are 32-bit whole numbers: a sum beyond that range is an
// error, not a silent wrap.
int64_t checked(int64_t value)
{
    if (value < INT32_MIN || value > INT32_MAX)
        throw std::overflow_error(Overflow);
    return value;
}

int64_t add(int64_t a, int64_t b) { return checked(a + b); }

// A real number to a whole number, halves to the even neighbour.
int64_t whole(double value)
{
    if (!std::isfinite(value))
        throw std::overflow_error(Overflow);
    const double rounded = std::nearbyint(value);
    if (rounded < INT32_MIN || rounded > INT32_MAX)
        throw std::overflow_error(Overflow);
    return static_cast<int64_t>(rounded);
}

// A stored text read as a number: blanks around it allowed, anything else
// that is not a number is a conversion error.
double number(std::string_view text)
{
    std::string s(text);
    const char* begin = s.c_str();
    while (*begin == ' ' || *begin == '\t')
        ++begin;
    char* end = nullptr;
    errno = 0;
    const double value = std::strtod(begin, &end);
    if (end == begin)
        throw std::invalid_argument(TypeMismatch);
    while (*end == ' ' || *end == '\t')
        ++end;
    if (*end != '\0' || errno == ERANGE || !std::isfinite(value))
        throw std::invalid_argument(TypeMismatch);
    return value;
}

// Runs one measurement under its error trap: a failure is reported once with
// the measurement's location tag and the caller keeps what was counted.
template <class Body>
void trapped(WordWizard& wizard, std::string_view tag, Body&& body)
{
    try {
        body();
    } catch (const std::exception& e) {
        wizard.reportError(e.what(), tag);
    }
}

constexpr std::string_view VisibleCharacter = "[!^13- ]";
constexpr std::string_view AnyButParagraphMark = "[!^13]";

} // namespace

Measurements::Measurements(WordWizard& wizard, ProfileKeyReader readKey, std::function<std::string()> currentProfile)
    : m_wizard(wizard)
    , m_readKey(std::move(readKey))
    , m_currentProfile(std::move(currentProfile))
{
}

template <class Body>
void Measurements::run(std::string_view tag, Body&& body)
{
    struct Running {
        Measurements& m;
        explicit Running(Measurements& measurements) : m(measurements) { ++m.m_running; }
        ~Running()
        {
            // The next measurement reads the profile afresh.
            if (--m.m_running == 0)
                m.m_keysRead.clear();
        }
    } running(*this);
    trapped(m_wizard, tag, std::forward<Body>(body));
}

std::string Measurements::readKey(std::string_view profile, std::string_view name, std::string_view defaultValue)
{
    if (m_running == 0)
        return m_readKey(profile, name, defaultValue);
    for (const KeyRead& read : m_keysRead)
        if (read.key == name && read.profile == profile && read.defaultValue == defaultValue)
            return read.value;
    std::string value = m_readKey(profile, name, defaultValue);
    m_keysRead.push_back({std::string(profile), std::string(name), std::string(defaultValue), value});
    return value;
}

DocumentAccess& Measurements::document()
{
    DocumentAccess* doc = m_wizard.document();
    if (!doc)
        throw Failure("no document is open");
    return *doc;
}

std::string Measurements::key(std::string_view name, std::string_view defaultValue)
{
    return readKey(m_currentProfile ? m_currentProfile() : std::string(), name, defaultValue);
}

bool Measurements::flag(std::string_view name) { return key(name, "0") == "1"; }

double Measurements::amount(std::string_view name, std::string_view defaultValue)
{
    return number(key(name, defaultValue));
}

template <class Measure>
void Measurements::traverseHeadersAndFooters(Measure&& measure)
{
    DocumentAccess& doc = document();
    if (flag("TraverseHeaderAndFooter")) {
        for (size_t section = 1; section <= doc.sectionsCount(); ++section) {
            const HeadersFooters headers = doc.headers(section);
            for (int i = 1; i <= headers.count(); ++i) {
                Range range = headers.item(i);
                measure(range);
            }
            const HeadersFooters footers = doc.footers(section);
            for (int i = 1; i <= footers.count(); ++i) {
                Range range = footers.item(i);
                measure(range);
            }
        }
    }
    // Independent of the key above: with both on, the first section's
    // primary header and footer count twice, as they always have.
    if (flag("TraverseHeaderAndFooterFirstPage")) {
        Range header = doc.headers(1).item(1);
        measure(header);
        Range footer = doc.footers(1).item(1);
        measure(footer);
    }
}

int64_t Measurements::replaceAndCompare(Range& range, std::string_view pattern, std::string_view marker, Unit unit,
                                        std::optional<std::pair<FontCriterion, CriterionState>> font)
{
    if (!range.exists())
        return 0;
    auto count = [&] { return unit == Unit::Words ? range.wordsCount() : range.charactersCount(); };
    Find& find = range.find();
    find.clearFormatting();
    find.clearReplacementFormatting();
    find.setText(pattern);
    find.setSyntax(PatternSyntax::Wildcards);
    if (font)
        find.setFont(font->first, font->second);
    find.setReplacementText(marker);
    if (unit == Unit::Characters && marker.size() == 2 && find.pattern().pattern &&
        find.pattern().pattern->matchesOneCharacter()) {
        // A character pattern matches one character, and the two-letter
        // marker puts two in its place: the text grows by one character a
        // match, so the comparison is the number of matches, taken without
        // making the edit and undoing it.
        const ReplaceOutcome outcome = range.countAll();
        if (!outcome.error.empty())
            throw Failure(outcome.error);
        return checked(outcome.replaced);
    }
    const int64_t before = count();
    const ReplaceOutcome outcome = range.replaceAll();
    if (!outcome.error.empty())
        throw Failure(outcome.error);
    const int64_t after = count();
    // A replace all that changed nothing leaves no edit to undo.
    if (outcome.replaced > 0)
        document().undo(1);
    // Each "<*>" match replaced by "B B" adds one word while the matches stand
    // apart. In text written without spaces between words (East Asian, where
    // every character is a word) neighbouring matches touch, and their
    // replacements run together ("日本" becomes "B BB B", one word more for
    // two matches): there the number of replacements made is the count.
    if (unit == Unit::Words)
        return checked(std::max<int64_t>(std::llabs(after - before), outcome.replaced));
    return checked(std::llabs(after - before));
}

int64_t Measurements::replaceAndCompareDocument(std::string_view pattern, std::string_view marker,
                                                std::optional<FontCriterion> font)
{
    DocumentAccess& doc = document();
    Selection& selection = doc.selection();
    selection.homeKeyStory();
    Find& find = selection.find();
    find.clearFormatting();
    find.clearReplacementFormatting();
    find.setText(pattern);
    find.setSyntax(PatternSyntax::Wildcards);
    if (font)
        find.setFont(*font, CriterionState::On);
    find.setReplacementText(marker);
    if (marker.size() == 2 && find.pattern().pattern && find.pattern().pattern->matchesOneCharacter()) {
        // One character a match grows to two: the growth is the number of
        // matches (see replaceAndCompare).
        const ReplaceOutcome outcome = selection.countAll();
        if (!outcome.error.empty())
            throw Failure(outcome.error);
        find.clearFormatting();
        return checked(outcome.replaced);
    }
    const int64_t before = doc.content().charactersCount();
    const ReplaceOutcome outcome = selection.replaceAll();
    if (!outcome.error.empty())
        throw Failure(outcome.error);
    const int64_t after = doc.content().charactersCount();
    if (outcome.replaced > 0)
        doc.undo(1);
    find.clearFormatting();
    return checked(std::llabs(after - before));
}

int64_t Measurements::statistic(BuiltInProperty property)
{
    const StatisticOutcome outcome = document().builtInProperty(property);
    if (!outcome.ok())
        throw Failure(outcome.error);
    return checked(outcome.value);
}

int64_t Measurements::visibleCharacters(Range range)
{
    return replaceAndCompare(range, VisibleCharacter, "BB", Unit::Characters);
}

// --- Character, word and line counts ---------------------------------------

int64_t Measurements::CountWords(std::string_view)
{
    int64_t total = 0;
    run("-Count Words-", [&] {
        m_wizard.resetView();
        document().selection().homeKeyStory();
        Range content = document().content();
        total = replaceAndCompare(content, "<*>", "B B", Unit::Words);
        traverseHeadersAndFooters([&](Range& range) {
            total = add(total, replaceAndCompare(range, "<*>", "B B", Unit::Words));
        });
    });
    return total;
}

int64_t Measurements::CountChar(std::string_view)
{
    int64_t total = 0;
    run("-Count Char-", [&] {
        m_wizard.resetView();
        document().selection().homeKeyStory();
        total = statistic(BuiltInProperty::Characters);
        traverseHeadersAndFooters([&](Range& range) {
            total = add(total, replaceAndCompare(range, VisibleCharacter, "BB", Unit::Characters));
        });
    });
    return total;
}

int64_t Measurements::CountCharWspace(std::string_view)
{
    int64_t total = 0;
    run("-Count Char with Space-", [&] {
        m_wizard.resetView();
        document().selection().homeKeyStory();
        total = statistic(BuiltInProperty::CharactersWithSpaces);
        // Headers and footers by pattern: spaces in, paragraph marks out.
        traverseHeadersAndFooters([&](Range& range) {
            total = add(total, replaceAndCompare(range, AnyButParagraphMark, "BB", Unit::Characters));
        });
    });
    return total;
}

int64_t Measurements::CountReturnAndEnters()
{
    int64_t result = 0;
    run("-Count Return And Enters-", [&] {
        m_wizard.resetView();
        document().selection().homeKeyStory();
        // In gross-line billing the story's closing mark is not a billed return.
        const bool grossLine = key("DonePer", "") == "Gross Line";
        auto marks = [&](Range& range) {
            const int64_t n = replaceAndCompare(range, "^13", "BB", Unit::Characters);
            return grossLine ? std::max<int64_t>(0, n - 1) : n;
        };
        Range content = document().content();
        int64_t total = marks(content);
        traverseHeadersAndFooters([&](Range& range) { total = add(total, marks(range)); });
        if (total == 0)
            return;
        // Each return is already billed once as a line end: only the excess
        // of its worth is added, except in gross-line billing.
        result = grossLine ? total : whole((amount("EnterAmount", "1.0") - 1.0) * double(total));
    });
    return result;
}

int64_t Measurements::CountPages()
{
    int64_t pages = 0;
    run("-Count Pages-", [&] { pages = statistic(BuiltInProperty::Pages); });
    return pages;
}

int64_t Measurements::CountCharTemp()
{
    int64_t characters = 0;
    run("-Count Char-", [&] { characters = statistic(BuiltInProperty::Characters); });
    return characters;
}

int64_t Measurements::CountCharTempHead()
{
    int64_t total = 0;
    run("-Count CharTemp Head Footer-", [&] {
        const HeadersFooters headers = document().headers(1);
        for (int i = 1; i <= headers.count(); ++i)
            total = add(total, visibleCharacters(headers.item(i)));
    });
    return total;
}

int64_t Measurements::CountCharTempFooter()
{
    int64_t total = 0;
    run("-Count CharTemp Footer-", [&] {
        const HeadersFooters footers = document().footers(1);
        for (int i = 1; i <= footers.count(); ++i)
            total = add(total, visibleCharacters(footers.item(i)));
    });
    return total;
}

int64_t Measurements::CountCharTempHeadByIndex(size_t section, int index)
{
    int64_t total = 0;
    run("-Count CharTemp Head Footer-",
            [&] { total = visibleCharacters(document().headers(section).item(index)); });
    return total;
}

int64_t Measurements::CountCharTempFooterByIndex(size_t section, int index)
{
    int64_t total = 0;
    run("-Count CharTemp Footer-",
            [&] { total = visibleCharacters(document().footers(section).item(index)); });
    return total;
}

int64_t Measurements::CountGrossLines()
{
    int64_t total = 0;
    run("-Count Gross Lines-", [&] {
        const bool skipBlank = flag("DoNotCountBlankLine");
        m_wizard.resetView();
        const int64_t mainCharacters = CountCharTemp();
        CountCharTempHead();
        CountCharTempFooter();
        if (skipBlank) {
            // These edits stay in the document until it is closed unsaved.
            clearBlankLines();
            clearPageBreaks();
            // The space-only clean-up was always skipped on one old word
            // processor generation, whose version text starts with "8".
            if (!m_wizard.versionText().starts_with("8"))
                clearSpaceOnlyLines();
        }
        m_wizard.resetView();
        document().selection().homeKeyStory();
        total = statistic(BuiltInProperty::Lines);
        if (skipBlank && mainCharacters == 0)
            total = 0;

        // A header or footer's lines as laid out in its section's frame; a
        // range with no visible characters has none when blank lines are skipped.
        auto storyLines = [&](Range range, int64_t characters) -> int64_t {
            if (!range.exists() || (skipBlank && characters == 0))
                return 0;
            const StatisticOutcome lines = document().storyLines(range.story());
            if (!lines.ok())
                throw Failure(lines.error);
            return checked(std::llabs(lines.value));
        };
        DocumentAccess& doc = document();
        if (flag("TraverseHeaderAndFooter")) {
            for (size_t section = 1; section <= doc.sectionsCount(); ++section) {
                for (int i = 1; i <= 3; ++i)
                    total = add(total, storyLines(doc.headers(section).item(i), CountCharTempHeadByIndex(section, i)));
                for (int i = 1; i <= 3; ++i)
                    total = add(total, storyLines(doc.footers(section).item(i), CountCharTempFooterByIndex(section, i)));
            }
        }
        if (flag("TraverseHeaderAndFooterFirstPage")) {
            total = add(total, storyLines(doc.headers(1).item(1), CountCharTempHeadByIndex(1, 1)));
            total = add(total, storyLines(doc.footers(1).item(1), CountCharTempFooterByIndex(1, 1)));
        }
    });
    return total;
}

// --- Formatting counts -------------------------------------------------------

double Measurements::countSwitches(SwitchFormat format, std::string_view amountKey, std::string_view amountDefault)
{
    double total = 0;
    auto criterion = [format](bool inHeaderOrFooter) {
        switch (format) {
        case SwitchFormat::Bold: return FontCriterion::Bold;
        case SwitchFormat::Underline: return FontCriterion::Underline;
        case SwitchFormat::Italic: return FontCriterion::Italic;
        case SwitchFormat::Superscript: return FontCriterion::Superscript;
        case SwitchFormat::Subscript: return FontCriterion::Subscript;
        case SwitchFormat::Caps:
            // Small capitals in the main story but underline in headers and
            // footers: the caps switch has always counted it this way.
            return inHeaderOrFooter ? FontCriterion::Underline : FontCriterion::SmallCaps;
        }
        return FontCriterion::Bold;
    };
    const double worth = amount(amountKey, amountDefault);

    // Every run of formatted visible characters counts once: find one with
    // the format, then the next one without it, and so on to the story's end.
    auto runs = [&](Find& find, auto&& findNext, auto&& countRuns, FontCriterion c) {
        double runTotal = 0;
        find.clearFormatting();
        find.clearReplacementFormatting();
        find.setText(VisibleCharacter);
        find.setSyntax(PatternSyntax::Wildcards);
        find.setFont(c, CriterionState::On);
        // The access layer tells the loop's count from one walk of the
        // story, shared by every format's switches, and leaves the
        // selection where the loop would; the worth is added run by run all
        // the same, as each addition is rounded.
        if (const std::optional<int64_t> counted = countRuns(c)) {
            for (int64_t run = 0; run < *counted; ++run)
                runTotal = double(whole(runTotal + worth));
            find.clearFormatting();
            return runTotal;
        }
        for (;;) {
            FindOutcome found = findNext();
            if (!found.error.empty())
                throw Failure(found.error);
            if (!found.found)
                break;
            runTotal = double(whole(runTotal + worth));
            find.clearFormatting();
            find.setFont(c, CriterionState::Off);
            found = findNext();
            if (!found.error.empty())
                throw Failure(found.error);
            if (!found.found)
                break;
            find.clearFormatting();
            find.setFont(c, CriterionState::On);
        }
        find.clearFormatting();
        return runTotal;
    };

    m_wizard.resetView();
    Selection& selection = document().selection();
    selection.homeKeyStory();
    total = runs(
        selection.find(), [&] { return selection.findNext(); },
        [&](FontCriterion c) { return selection.countRuns(c); }, criterion(false));
    traverseHeadersAndFooters([&](Range& range) {
        if (!range.exists())
            return;
        const double rangeTotal = runs(
            range.find(), [&] { return range.findNext(); }, [&](FontCriterion c) { return range.countRuns(c); },
            criterion(true));
        total = double(add(whole(total), whole(rangeTotal)));
    });
    return total;
}

double Measurements::CountBoldCharsONOFF()
{
    double total = 0;
    run("-Count Bold Chr ON OFF-",
            [&] { total = countSwitches(SwitchFormat::Bold, "BoldONOFFAmount", "2.0"); });
    return total;
}

double Measurements::CountCapsCharsONOFF()
{
    double total = 0;
    run("-Count Caps CharsONOFF-",
            [&] { total = countSwitches(SwitchFormat::Caps, "CapsCharONOFFAmount", "2.0"); });
    return total;
}

double Measurements::CountUnderLineCharsONOFF()
{
    double total = 0;
    run("-Count UnderLineCharsONOFF-",
            [&] { total = countSwitches(SwitchFormat::Underline, "UnderlineONOFFAmount", "2.0"); });
    return total;
}

double Measurements::CountItalicCharsONOFF()
{
    double total = 0;
    run("-Count ItalicCharsONOFF-",
            [&] { total = countSwitches(SwitchFormat::Italic, "ItalicONOFFAmount", "2.0"); });
    return total;
}

double Measurements::CountSuperScriptCharsONOFF()
{
    double total = 0;
    run("-Count SuperScriptCharsONOFF-",
            [&] { total = countSwitches(SwitchFormat::Superscript, "SuperScriptCharsONOFFAmount", "1.0"); });
    return total;
}

double Measurements::CountSubScriptCharsONOFF()
{
    double total = 0;
    run("-Count SubScriptCharsONOFF-",
            [&] { total = countSwitches(SwitchFormat::Subscript, "SubScriptCharsONOFFAmount", "1.0"); });
    return total;
}

double Measurements::countFormattedCharacters(CharFormat format, std::string_view amountKey)
{
    const FontCriterion criterion = format == CharFormat::Bold     ? FontCriterion::Bold
                                    : format == CharFormat::Italic ? FontCriterion::Italic
                                                                   : FontCriterion::Underline;
    m_wizard.resetView();
    int64_t count = replaceAndCompareDocument(VisibleCharacter, "BB", criterion);
    traverseHeadersAndFooters([&](Range& range) {
        count = add(count, replaceAndCompare(range, VisibleCharacter, "BB", Unit::Characters,
                                             std::pair{criterion, CriterionState::On}));
    });
    // Formatted characters are billed once already as characters: only the
    // excess of their worth is added.
    const double excess = (amount(amountKey, "2.0") - 1.0) * double(count);
    return format == CharFormat::Bold ? excess : double(whole(excess));
}

double Measurements::CountBoldchars()
{
    double result = 0;
    run("-Count Bold Chr-",
            [&] { result = countFormattedCharacters(CharFormat::Bold, "BoldCharAmount"); });
    return result;
}

double Measurements::CountItalicChars()
{
    double result = 0;
    run("-Count ItalicChars-",
            [&] { result = countFormattedCharacters(CharFormat::Italic, "ItalicCharAmount"); });
    return result;
}

double Measurements::CountUnderlinechars()
{
    double result = 0;
    run("-Count Underlinechars-",
            [&] { result = countFormattedCharacters(CharFormat::Underline, "UnderlineCharAmount"); });
    return result;
}

double Measurements::CountCapsChars()
{
    double result = 0;
    run("-Count Caps Chr-", [&] {
        m_wizard.resetView();
        // Capital letters as typed, whatever their format: text shown in
        // capitals by formatting is not counted. Word's wildcard ranges
        // compare character codes ("[A-z]" finds no accented letter: Microsoft
        // support, "Examples of wildcard characters"; the Editorium's Word
        // wildcard notes), so "[A-Z]" takes the 26 ASCII capitals only: no
        // accented, Greek or Cyrillic capital and no full-width one (U+FF21 to
        // U+FF3A), which is an East Asian character and a word of its own.
        int64_t count = replaceAndCompareDocument("[A-Z]", "BB");
        traverseHeadersAndFooters([&](Range& range) {
            count = add(count, replaceAndCompare(range, "[A-Z]", "BB", Unit::Characters));
        });
        result = amount("CapsCharAmount", "2.0") * double(count);
    });
    return result;
}

// --- Structure counts and clean-up edits -------------------------------------

double Measurements::CountNumTables()
{
    double result = 0;
    run("-Count Tables-", [&] {
        const double worth = amount("TableAmount", "1.0");
        m_wizard.resetView();
        DocumentAccess& doc = document();
        int64_t total = doc.tablesCount();
        if (flag("TraverseHeaderAndFooter")) {
            // Every story but the main one: headers and footers, and notes,
            // comments and text boxes too.
            const size_t stories = doc.document().stories.size();
            for (size_t story = 1; story < stories; ++story)
                total = add(total, doc.storyRange(static_cast<int32_t>(story)).tablesCount());
        }
        if (flag("TraverseHeaderAndFooterFirstPage")) {
            total = add(total, doc.headers(1).item(1).tablesCount());
            total = add(total, doc.footers(1).item(1).tablesCount());
        }
        result = total == 0 ? 0.0 : double(total) * worth;
    });
    return result;
}

double Measurements::CountTabs()
{
    double result = 0;
    run("-Count Tabs-", [&] {
        m_wizard.resetView();
        document().selection().find().clearFormatting();
        document().selection().homeKeyStory();
        Range content = document().content();
        int64_t total = replaceAndCompare(content, "^t", "BB", Unit::Characters);
        traverseHeadersAndFooters([&](Range& range) {
            total = add(total, replaceAndCompare(range, "^t", "BB", Unit::Characters));
        });
        result = double(total) * amount("TabsAmount", "1.0");
    });
    return result;
}

namespace {

// The clean-ups repeat their replace all a fixed ten times: each pass joins
// what the previous one left (three blank paragraphs need two passes).
constexpr int CleanUpPasses = 10;

template <class Target>
void replaceRepeatedly(Target& target, std::string_view findText, std::string_view replacement)
{
    Find& find = target.find();
    find.clearFormatting();
    find.clearReplacementFormatting();
    find.setText(findText);
    find.setSyntax(PatternSyntax::Literal);
    find.setReplacementText(replacement);
    for (int pass = 0; pass < CleanUpPasses; ++pass) {
        const ReplaceOutcome outcome = target.replaceAll();
        if (!outcome.error.empty())
            throw std::runtime_error(outcome.error);
        // A pass that replaced nothing left the text as it was (and no edit
        // to undo): every later pass would search the same text in vain.
        if (outcome.replaced == 0)
            break;
    }
}

} // namespace

template <class Edit>
void Measurements::forEveryHeaderAndFooter(Edit&& edit)
{
    // The clean-ups follow only the key for all headers and footers.
    if (!flag("TraverseHeaderAndFooter"))
        return;
    DocumentAccess& doc = document();
    for (size_t section = 1; section <= doc.sectionsCount(); ++section)
        for (bool headers : {true, false})
            for (int i = 1; i <= 3; ++i) {
                Range range = headers ? doc.headers(section).item(i) : doc.footers(section).item(i);
                if (range.exists())
                    edit(range);
            }
}

void Measurements::clearPageBreaks()
{
    run("-Clear Page Breaks-", [&] {
        m_wizard.resetView();
        Selection& selection = document().selection();
        selection.homeKeyStory();
        // Two spaces keep the words on either side of the break apart.
        replaceRepeatedly(selection, "^m", "  ");
        forEveryHeaderAndFooter([](Range& range) { replaceRepeatedly(range, "^m", "  "); });
    });
}

void Measurements::clearSpaceOnlyLines()
{
    run("-Count Clear Pssss-", [&] {
        m_wizard.resetView();
        Selection& selection = document().selection();
        Find& find = selection.find();
        find.clearFormatting();
        selection.homeKeyStory();
        find.setText("^p ^p");
        find.setSyntax(PatternSyntax::Literal);
        // The whole match goes, both marks and the space, joining the
        // paragraphs on either side: that is the clean-up's intended edit.
        for (;;) {
            const FindOutcome found = selection.findNext();
            if (!found.error.empty())
                throw Failure(found.error);
            if (!found.found || !selection.deleteText())
                break;
            find.clearFormatting();
            find.setText("^p ^p");
        }
        // In a header or footer each match is deleted the same way: a replace
        // all with nothing deletes the same matches, left to right, as the
        // find-and-delete loop does.
        traverseHeadersAndFooters([&](Range& range) {
            if (!range.exists())
                return;
            Find& rangeFind = range.find();
            rangeFind.clearFormatting();
            rangeFind.setText("^p ^p");
            rangeFind.setSyntax(PatternSyntax::Literal);
            rangeFind.setReplacementText(u"");
            const ReplaceOutcome outcome = range.replaceAll();
            if (!outcome.error.empty())
                throw Failure(outcome.error);
        });
    });
}

void Measurements::clearBlankLines()
{
    run("-Clear Blank Lines-", [&] {
        m_wizard.resetView();
        Selection& selection = document().selection();
        selection.homeKeyStory();
        replaceRepeatedly(selection, "^p^p", "^p");
        // A first line left empty (or holding one character) goes too.
        selection.homeKeyStory();
        selection.endKeyLineExtend();
        std::u16string first = selection.text();
        const size_t from = first.find_first_not_of(u' ');
        const size_t to = first.find_last_not_of(u' ');
        const size_t length = from == std::u16string::npos ? 0 : to - from + 1;
        if (length <= 1)
            selection.deleteText();
        forEveryHeaderAndFooter([](Range& range) { replaceRepeatedly(range, "^p^p", "^p"); });
    });
}

// --- The billed-line computation ---------------------------------------------

double Measurements::Countlines(std::string_view text, const std::string& profileName, LineBreakdown* breakdown)
{
    double lines = 0;
    LineBreakdown parts;
    run("-Count Lines-", [&] {
        // Countlines reads its own keys from the profile it is given; the
        // measurements it calls read the profile box, which names the same
        // profile during a run.
        auto own = [&](std::string_view name, std::string_view def) { return readKey(profileName, name, def); };
        auto on = [&](std::string_view name) { return own(name, "0") == "1"; };
        auto numericOn = [&](std::string_view name) { return number(own(name, "0")) == 1.0; };

        m_wizard.resetView();
        parts.charactersPerLine = whole(number(own("CharPerLine", "0")));
        if (on("CountCaps"))
            parts.caps = whole(double(parts.caps) + CountCapsChars());
        if (on("CountTabs"))
            parts.tabs = whole(double(parts.tabs) + CountTabs());

        struct Switch {
            const char* key;
            bool numeric;
            double (Measurements::*measure)();
            const char* name;
        };
        static constexpr Switch switches[] = {
            {"BoldONOFF2", false, &Measurements::CountBoldCharsONOFF, "CountBoldCharsONOFF"},
            {"UnderLineONOFF2", false, &Measurements::CountUnderLineCharsONOFF, "CountUnderLineCharsONOFF"},
            {"ItalicONOFF2", false, &Measurements::CountItalicCharsONOFF, "CountItalicCharsONOFF"},
            {"SuperScriptCharsONOFF", false, &Measurements::CountSuperScriptCharsONOFF, "CountSuperScriptCharsONOFF"},
            {"SubScriptCharsONOFF", false, &Measurements::CountSubScriptCharsONOFF, "CountSubScriptCharsONOFF"},
            {"CountBoldCharAs2", true, &Measurements::CountBoldchars, "CountBoldchars"},
            {"CountUnderlineCharAs2", true, &Measurements::CountUnderlinechars, "CountUnderlinechars"},
            {"CountTables", false, &Measurements::CountNumTables, "CountNumTables"},
            {"CountItalicCharAs2", true, &Measurements::CountItalicChars, "CountItalicChars"},
        };
        for (const Switch& s : switches) {
            if (s.numeric ? numericOn(s.key) : on(s.key)) {
                const double added = (this->*s.measure)();
                parts.formatting = whole(double(parts.formatting) + added);
                parts.formattingParts.emplace_back(s.name, added);
            }
        }
        if (numericOn("CountReturnAndEnter"))
            parts.returns = CountReturnAndEnters();
        parts.charactersWithSpaces = numericOn("LineCountWithSpaces");
        parts.characters = parts.charactersWithSpaces ? CountCharWspace(text) : CountChar(text);

        int64_t sum = parts.characters;
        sum = add(sum, parts.formatting);
        sum = add(sum, parts.returns);
        sum = add(sum, parts.tabs);
        sum = add(sum, parts.caps);
        if (parts.charactersPerLine == 0)
            throw std::domain_error(DivisionByZero);
        lines = double(sum) / double(parts.charactersPerLine);
    });
    parts.lines = lines;
    if (breakdown)
        *breakdown = std::move(parts);
    return lines;
}

} // namespace qm::engine
