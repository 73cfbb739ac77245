// Breaking one paragraph into lines as Word does.
#include "engine/layout/LineBreaker.h"

#include "engine/access/ScriptRules.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <string_view>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unordered_map>

namespace qm::engine::layout {

namespace {

// Widths are compared with a little slack so that text that fits exactly,
// measured in floating point, is not pushed to the next line.
constexpr double Slack = 1e-6;

// East Asian text breaks between any two of its characters: Han
// ideographs (with the compatibility ideographs and, behind lead surrogates
// D840-D8BF, the supplementary planes' extensions), kana, Bopomofo, the CJK
// symbols and punctuation and the full-width and half-width forms. Hangul is
// not among them: Korean is written with spaces and Word wraps it at them.
bool isEastAsianBreakable(char16_t c)
{
    return (c >= 0x2E80 && c <= 0x2FDF)     // CJK and Kangxi radicals
           || (c >= 0x3000 && c <= 0x30FF)  // CJK symbols and punctuation, kana
           || (c >= 0x3100 && c <= 0x312F)  // Bopomofo
           || (c >= 0x31A0 && c <= 0x31FF)  // Bopomofo extended, CJK strokes, small kana
           || (c >= 0x3400 && c <= 0x4DBF)  // CJK extension A
           || (c >= 0x4E00 && c <= 0x9FFF)  // CJK unified ideographs
           || (c >= 0xF900 && c <= 0xFAFF)  // CJK compatibility ideographs
           || (c >= 0xFE30 && c <= 0xFE4F)  // CJK compatibility forms
           || (c >= 0xFF01 && c <= 0xFF60)  // full-width forms
           || (c >= 0xFF61 && c <= 0xFF9F); // half-width punctuation and kana
}

bool isSupplementaryIdeographLead(char16_t c) { return c >= 0xD840 && c <= 0xD8BF; }

// Word's default first- and last-character rules for East Asian lines
// (kinsoku), which apply unless a paragraph turns them off: the Japanese
// defaults that ECMA-376 Part 1, 17.3.1.16 (kinsoku) lists, which hold the
// Chinese defaults' everyday characters too. They decide only where East
// Asian text may break; Latin text keeps its own rules.
constexpr std::u16string_view NotLineStart = u"!%),.:;?]}\u00A2\u00B0\u2019\u201D\u2030\u2032\u2033\u2103"
                                             u"\u3001\u3002\u3005\u3009\u300B\u300D\u300F\u3011\u3015"
                                             u"\u309B\u309C\u309D\u309E\u30FB\u30FD\u30FE"
                                             u"\uFF01\uFF05\uFF09\uFF0C\uFF0E\uFF1A\uFF1B\uFF1F\uFF3D\uFF5D"
                                             u"\uFF61\uFF63\uFF64\uFF65\uFF9E\uFF9F\uFFE0";
constexpr std::u16string_view NotLineEnd = u"$([\\{\u00A3\u00A5\u2018\u201C\u3008\u300A\u300C\u300E\u3010\u3014"
                                           u"\uFF04\uFF08\uFF3B\uFF5B\uFF62\uFFE1\uFFE5";

bool cannotStartLine(char16_t c) { return NotLineStart.find(c) != std::u16string_view::npos; }
bool cannotEndLine(char16_t c) { return NotLineEnd.find(c) != std::u16string_view::npos; }

} // namespace

bool hangsPastMargin(char16_t c)
{
    // Word lets the ideographic comma and full stop (and their full-width
    // Latin twins) hang past the right margin rather than move a character
    // with them to the next line: "Allow hanging punctuation", on unless a
    // paragraph turns it off (ECMA-376 Part 1, 17.3.1.21 overflowPunct).
    return c == 0x3001 || c == 0x3002 || c == 0xFF0C || c == 0xFF0E;
}

namespace {

bool isLetterOrDigit(char16_t c)
{
    return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') ||
           (c >= 0xC0 && c != 0xD7 && c != 0xF7 && c < 0x2000);
}

} // namespace

bool breakAllowedAfter(char16_t previous, char16_t c, char16_t next)
{
    switch (c) {
    case u'-':
        // "well-known" breaks after the hyphen; a minus sign ("-5") or a
        // lone hyphen between spaces does not.
        return isLetterOrDigit(previous) && isLetterOrDigit(next);
    case 0x2010: // hyphen
    case 0x2013: // en dash
    case 0x2014: // em dash
        return next != Ch::Space && next != Ch::NoBreakSpace;
    default: break;
    }
    if (c < 0x2E80 && next < 0x2E80)
        return false; // no East Asian character on either side: Latin text breaks at spaces
    if (c >= 0xD800 && c <= 0xDBFF)
        return false; // never inside a surrogate pair
    const bool here = isEastAsianBreakable(c) || (c >= 0xDC00 && c <= 0xDFFF && isSupplementaryIdeographLead(previous));
    const bool there = isEastAsianBreakable(next) || isSupplementaryIdeographLead(next);
    // Between East Asian characters, or where a Latin word meets one, unless
    // the kinsoku rules keep the pair together.
    return (here || there) && !cannotEndLine(c) && !cannotStartLine(next);
}

LineBreaker::LineBreaker(const Document& document, TextMeasurer& measurer) : m_document(document), m_measurer(measurer)
{
}

// A section with a line grid (the East Asian templates' default: "Specify
// line grid only", 15.6 pt in Chinese ones, 18 pt in Japanese ones) gives
// every line of its text a whole number of grid lines: a single-spaced line
// of ordinary text takes one pitch, a heading too tall for one takes two,
// and "Multiple" spacing multiplies the pitch, not the font's height, so
// 1.5 lines on a 15.6 pt grid is 23.4 pt. "Exactly" spacing ignores the grid,
// "At least" takes the larger of its own height and the grid's. A paragraph
// whose "Snap to grid when document grid is defined" is off, and text in
// table cells, keep their own heights (ECMA-376 Part 1, 17.6.5 docGrid and
// 17.3.1.32 snapToGrid; Word's Paragraph dialog). Cells keep theirs even
// where the compatibility option adjustLineHeightInTable is set: a
// Word-saved page of 43 table lines on an 18 pt grid with it is one page.
double gridLineHeight(double natural, const ParaFormat& pf, double pitch)
{
    if (pitch <= 0)
        return natural;
    // A hair's tolerance: a line exactly one pitch high takes one pitch.
    const double cells = std::max(1.0, std::ceil(natural / pitch - 1e-6));
    switch (pf.lineRule) {
    case LineRule::Auto: return cells * pitch * std::max(1, pf.lineSpacing) / 240.0;
    case LineRule::AtLeast: return std::max(cells * pitch, static_cast<double>(pf.lineSpacing));
    case LineRule::Exact: break;
    }
    return std::abs(pf.lineSpacing);
}

namespace {

// Thai, Lao, Khmer and Myanmar are written without spaces between words;
// Word wraps their lines between words that it finds with a dictionary
// (Microsoft Learn, "Word breaking for Thai"). ICU's line break iterator
// does the same with its own dictionaries.
bool isWrittenWithoutSpaces(char32_t c)
{
    if (c < 0x0E00 || c > 0x1CFF)
        return false;
    UErrorCode error = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(static_cast<UChar32>(c), &error);
    return script == USCRIPT_THAI || script == USCRIPT_LAO || script == USCRIPT_KHMER || script == USCRIPT_MYANMAR;
}

icu::BreakIterator* dictionaryLineBreaker()
{
    // One per thread: a break iterator keeps the text it works on.
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode error = U_ZERO_ERROR;
        std::unique_ptr<icu::BreakIterator> it(icu::BreakIterator::createLineInstance(icu::Locale::getRoot(), error));
        return U_SUCCESS(error) ? std::move(it) : nullptr;
    }();
    return iterator.get();
}

} // namespace

void LineBreaker::shapeAndSegment()
{
    const size_t n = m_items.size();
    bool anyComplex = false;
    for (size_t k = 0; k < n; ++k) {
        Item& it = m_items[k];
        if (it.c < 0x0590 || it.hidden)
            continue;
        char32_t cp = it.c;
        if (isLeadSurrogate(it.c) && k + 1 < n && isTrailSurrogate(m_items[k + 1].c))
            cp = 0x10000 + ((char32_t(it.c) - 0xD800) << 10) + (char32_t(m_items[k + 1].c) - 0xDC00);
        else if (isTrailSurrogate(it.c) && k > 0 && isLeadSurrogate(m_items[k - 1].c)) {
            it.slot = m_items[k - 1].slot;
            it.emoji = m_items[k - 1].emoji;
            continue;
        }
        it.slot = fontSlotOf(cp);
        it.emoji = isEmojiPart(cp);
        anyComplex = anyComplex || it.slot == FontSlot::Complex || it.emoji;
    }
    if (!anyComplex)
        return;
    std::u16string text;
    std::vector<double> widths;
    for (size_t k = 0; k < n;) {
        const Item& first = m_items[k];
        if (first.hidden || (first.slot != FontSlot::Complex && !first.emoji)) {
            ++k;
            continue;
        }
        // A run: one format, all complex-script or all emoji; spaces and
        // marks between complex-script letters belong to it, as they shape
        // with them.
        size_t end = k + 1;
        while (end < n && !m_items[end].hidden && m_items[end].format == first.format &&
               (first.emoji ? m_items[end].emoji
                            : m_items[end].slot == FontSlot::Complex || (m_items[end].c == Ch::Space && end + 1 < n &&
                                                                         m_items[end + 1].slot == FontSlot::Complex)))
            ++end;
        text.clear();
        for (size_t j = k; j < end; ++j)
            text.push_back(m_items[j].c);
        if (m_measurer.shapedWidths(text, first.format, first.emoji ? FontSlot::Latin : FontSlot::Complex, first.emoji,
                                    widths))
            for (size_t j = k; j < end; ++j)
                m_items[j].w = widths[j - k];
        // Word ends inside text written without spaces.
        if (!first.emoji && isWrittenWithoutSpaces(first.c)) {
            if (icu::BreakIterator* breaker = dictionaryLineBreaker()) {
                const icu::UnicodeString u(false, reinterpret_cast<const UChar*>(text.data()),
                                           static_cast<int32_t>(text.size()));
                breaker->setText(u);
                for (int32_t b = breaker->next(); b != icu::BreakIterator::DONE; b = breaker->next())
                    if (b > 0 && static_cast<size_t>(b) < text.size())
                        m_items[k + static_cast<size_t>(b) - 1].wordBreakAfter = true;
            }
        }
        k = end;
    }
}

double LineBreaker::nextTabStop(double x, const ParaFormat& pf, const TabStop** explicitStop) const
{
    *explicitStop = nullptr;
    double best = -1;
    for (const TabStop& t : pf.tabs) {
        if (t.alignment == TabAlignment::Bar || t.position <= x + Slack)
            continue;
        if (best < 0 || t.position < best) {
            best = t.position;
            *explicitStop = &t;
        }
    }
    // A hanging indent is a tab stop of its own: the first line's label or
    // text jumps to the indent.
    if (pf.firstLineIndent < 0 && pf.leftIndent > x + Slack && (best < 0 || pf.leftIndent < best)) {
        best = pf.leftIndent;
        *explicitStop = nullptr;
    }
    if (best >= 0)
        return best;
    // Default stops lie at multiples of the interval; those left of a custom
    // stop are cleared, which the search above already honours by taking
    // any custom stop to the right first.
    const double interval = m_document.settings.defaultTabStop > 0 ? m_document.settings.defaultTabStop : 720;
    return (std::floor((x + Slack) / interval) + 1) * interval;
}

double LineBreaker::tabWidth(size_t index, double x, double limit, const ParaFormat& pf)
{
    const TabStop* stop = nullptr;
    double target = nextTabStop(x, pf, &stop);
    const TabAlignment alignment = stop ? stop->alignment : TabAlignment::Left;
    if (alignment != TabAlignment::Left) {
        // Right, centred and decimal stops align the text that follows, up
        // to the next tab or the end of the line.
        double segment = 0;
        for (size_t k = index + 1; k < m_items.size(); ++k) {
            const Item& it = m_items[k];
            if (it.c == Ch::Tab || it.c == Ch::LineBreak || it.c == Ch::ParagraphMark || it.c == Ch::CellEnd ||
                it.c == Ch::PageBreak || it.c == Ch::ColumnBreak)
                break;
            if (alignment == TabAlignment::Decimal && (it.c == u'.' || it.c == u','))
                break;
            segment += it.w;
        }
        if (alignment == TabAlignment::Center)
            target -= segment / 2;
        else
            target -= segment;
    }
    // A stop past the right edge ends the tab at the edge.
    if (!stop && target > limit && x < limit)
        target = limit;
    return std::max(0.0, target - x);
}

uint32_t LineBreaker::labelFormat(const ParaFormat& pf) const
{
    // A label without a format of its own takes the paragraph mark's.
    return pf.listLabelCharFormat >= 0 && static_cast<size_t>(pf.listLabelCharFormat) < m_document.charFormats.size()
               ? static_cast<uint32_t>(pf.listLabelCharFormat)
               : m_items.back().format;
}

size_t LineBreaker::hyphenationCut(size_t wordStart, double x, double limit) const
{
    // The word: letters, perhaps behind opening quotes or brackets and
    // before closing punctuation; anything else in it (digits, a hyphen, a
    // slash) and it is left whole, as are words in capitals where the
    // document says so.
    const size_t n = m_items.size();
    size_t k = wordStart;
    auto visible = [&](size_t i) { return !m_items[i].hidden; };
    while (k + 1 < n && (!visible(k) || u_hasBinaryProperty(m_items[k].c, UCHAR_QUOTATION_MARK) ||
                         u_charType(m_items[k].c) == U_START_PUNCTUATION))
        ++k;
    std::u16string letters;
    std::vector<size_t> itemOf;
    bool anyLower = false;
    for (; k + 1 < n; ++k) {
        if (!visible(k))
            continue;
        const char16_t c = m_items[k].c;
        if (!u_isalpha(c) || U16_IS_SURROGATE(c))
            break;
        anyLower = anyLower || u_islower(c);
        letters += c;
        itemOf.push_back(k);
    }
    if (letters.size() < 4)
        return SIZE_MAX;
    for (size_t e = k; e + 1 < n; ++e) {
        const char16_t c = m_items[e].c;
        if (c == Ch::Space || c == 0x3000 || c == Ch::Tab || c == Ch::LineBreak || c == Ch::PageBreak ||
            c == Ch::ColumnBreak)
            break;
        if (visible(e) && !u_ispunct(c))
            return SIZE_MAX;
        if (visible(e) && (c == u'-' || c == u'/' || c == 0x2010 || c == 0x2013 || c == 0x2014))
            return SIZE_MAX;
    }
    if (!anyLower && !m_document.settings.hyphenateCaps)
        return SIZE_MAX;
    const std::vector<bool> points = m_hyphenator->breaks(letters);
    size_t cut = SIZE_MAX;
    size_t letter = 0;
    for (size_t i = wordStart; i < n && letter < itemOf.size(); ++i) {
        if (!visible(i))
            continue;
        x += m_items[i].w;
        if (i != itemOf[letter])
            continue;
        if (x > limit + Slack)
            break;
        if (points[letter] && x + m_measurer.width(u'-', m_items[i].format) <= limit + Slack)
            cut = i + 1;
        ++letter;
    }
    return cut;
}

void LineBreaker::finishLine(LaidOutLine& line, size_t from, size_t to, double x0, const ParaFormat& pf, double limit)
{
    double ascent = 0, descent = 0;
    double blankAscent = 0, blankDescent = 0;
    // The fonts' own height, inline pictures left out: multiple spacing
    // adds its share of this, not of a picture's height.
    double fontAscent = 0, fontDescent = 0;
    bool anyVisible = false;
    double x = x0;
    double contentEnd = x0;
    // Runs of one format and script are the rule: their font is looked up once.
    const MeasuredFont* runFont = nullptr;
    uint32_t runFormat = 0;
    FontSlot runSlot = FontSlot::Latin;
    auto fontOf = [&](const Item& it) -> const MeasuredFont& {
        if (!runFont || it.format != runFormat || it.slot != runSlot) {
            runFont = &m_measurer.font(it.format, it.slot);
            runFormat = it.format;
            runSlot = it.slot;
        }
        return *runFont;
    };
    for (size_t k = from; k < to; ++k) {
        const Item& it = m_items[k];
        if (it.hidden)
            continue;
        const bool mark =
            it.c == Ch::ParagraphMark || it.c == Ch::CellEnd || (it.c == Ch::PageBreak && k + 1 == m_items.size());
        // The paragraph mark gives the line its height only when nothing
        // else on the line does (an empty paragraph): a TOC line of Arial
        // 10 pt ending in a Calibri 11 pt mark is 11.5 pt high on Word's pages.
        if (mark)
            continue;
        // Tabs and spaces take no height of their own either: a Calibri tab
        // or a 14 pt space between Arial 10 pt words leaves the line at
        // Arial's height on Word's pages.
        if (it.c == Ch::Space || it.c == Ch::Tab) {
            const MeasuredFont& f = fontOf(it);
            blankAscent = std::max(blankAscent, f.ascent);
            blankDescent = std::max(blankDescent, f.descent);
        } else {
            const MeasuredFont& f = fontOf(it);
            double itemAscent = f.ascent;
            double itemDescent = f.descent;
            fontAscent = std::max(fontAscent, f.ascent);
            fontDescent = std::max(fontDescent, f.descent);
            if (it.c == Ch::Object) {
                const int32_t obj = m_document.charFormats[it.format].objectIndex;
                if (obj >= 0 && static_cast<size_t>(obj) < m_document.objects.size() &&
                    !m_document.objects[obj].floating && m_document.objects[obj].height > 0) {
                    // An inline picture stands on the baseline and reaches
                    // no lower: a line holding only a 39.6 pt picture is
                    // 39.6 pt high on Word's pages, not that plus the
                    // font's descent.
                    itemAscent = std::max(itemAscent, static_cast<double>(m_document.objects[obj].height));
                    itemDescent = 0;
                }
            }
            ascent = std::max(ascent, itemAscent);
            descent = std::max(descent, itemDescent);
        }
        if (it.c != Ch::LineBreak && it.c != Ch::PageBreak && it.c != Ch::ColumnBreak) {
            if (!line.runs.empty() && line.runs.back().charFormat == it.format && line.runs.back().end == it.pos) {
                line.runs.back().end = it.pos + 1;
                line.runs.back().width += it.w;
            } else {
                line.runs.push_back({it.pos, it.pos + 1, x, it.w, it.format});
            }
            x += it.w;
            if (it.c != Ch::Space && it.c != Ch::Tab) {
                contentEnd = x;
                anyVisible = true;
            } else if (it.c == Ch::Tab) {
                contentEnd = x;
            }
        }
        if (it.c > Ch::Space) {
            // The ordinary characters after it in its format and script, most
            // of every line, give the line no height it has not given: they
            // join its run as above, each width added in turn.
            LineRun& run = line.runs.back();
            for (; k + 1 < to; ++k) {
                const Item& next = m_items[k + 1];
                if (next.hidden || next.c <= Ch::Space || next.format != it.format || next.slot != it.slot ||
                    next.pos != run.end)
                    break;
                run.end = next.pos + 1;
                run.width += next.w;
                x += next.w;
            }
            contentEnd = x;
        }
    }
    if (!line.label.empty()) {
        // A list label is drawn in its own font, and that font's height
        // counts: a Symbol bullet makes an Arial 10 pt line 12.24 pt high on
        // Word's pages, the same text without it 11.5 pt.
        const MeasuredFont& f = m_measurer.font(labelFormat(pf));
        ascent = std::max(ascent, f.ascent);
        descent = std::max(descent, f.descent);
    }
    if (ascent == 0 && descent == 0) {
        ascent = blankAscent;
        descent = blankDescent;
    }
    if (ascent == 0 && descent == 0) {
        // Nothing visible: the line takes the height of the paragraph mark.
        const MeasuredFont& f = m_measurer.font(m_items.back().format);
        ascent = f.ascent;
        descent = f.descent;
    }
    line.width = contentEnd - x0;
    line.empty = !anyVisible && line.label.empty();
    const double natural = ascent + descent;
    double height = natural;
    switch (pf.lineRule) {
    case LineRule::Auto:
        // A line standing as high as an inline picture gets the spacing's
        // extra over its font's height only: in Word's PDFs a 216 pt chart
        // in a 1.15-spaced Cambria 11 pt paragraph makes a line 1.93 pt
        // taller than the chart, not 32.4 pt.
        if (const double fonts = fontAscent + fontDescent; pf.lineSpacing > 240 && fonts > 0 && natural > fonts)
            height = natural + fonts * (pf.lineSpacing - 240) / 240.0;
        else
            height = natural * std::max(1, pf.lineSpacing) / 240.0;
        break;
    case LineRule::AtLeast: height = std::max(natural, static_cast<double>(pf.lineSpacing)); break;
    case LineRule::Exact: height = std::abs(pf.lineSpacing); break;
    }
    const bool onGrid = m_gridPitch > 0 && pf.snapToGrid && pf.tableDepth == 0 && pf.lineRule != LineRule::Exact;
    if (onGrid)
        height = gridLineHeight(natural, pf, m_gridPitch);
    // Extra leading of multiple spacing lies below the text: Word's PDFs put
    // the top of a page's first line at the margin whatever the spacing, and
    // the cells of a row whose paragraphs are spaced 1 and 1.2 on one
    // baseline. The space of "at least", "exactly" and a grid lies above.
    line.ascent = pf.lineRule == LineRule::Auto && height >= natural && !onGrid ? ascent : height - descent;
    line.height = height;
    // Alignment moves the line within the text area; justified lines keep
    // their breaks and only spread their spaces when drawn.
    const double free = limit - x0 - line.width;
    double shift = 0;
    if (free > 0 && line.reason != BreakReason::CharacterWrap) {
        if (pf.alignment == Alignment::Center)
            shift = free / 2;
        else if (pf.alignment == Alignment::Right)
            shift = free;
    }
    line.x = x0 + shift - (line.runs.empty() ? 0 : 0);
    for (LineRun& r : line.runs)
        r.x += shift;
    if (pf.rightToLeft && pf.listLabel.empty() && line.reason != BreakReason::CharacterWrap)
        mirrorRightToLeft(line, x0, pf, limit);
}

void LineBreaker::mirrorRightToLeft(LaidOutLine& line, double x0, const ParaFormat& pf, double limit)
{
    // A right-to-left paragraph reads from the right: its start indent (the
    // left indent in the file) lies at the right edge, "left" alignment puts
    // the line against the right margin and "right" against the left one,
    // and runs follow each other leftwards. Each run keeps its own order
    // inside (a Latin word reads left to right; Arabic is shaped right to
    // left when drawn). Where the line breaks does not change.
    const double startEdge = limit + pf.rightIndent - x0;
    const double endEdge = pf.rightIndent;
    const double free = std::max(0.0, startEdge - endEdge - line.width);
    double right = startEdge;
    if (pf.alignment == Alignment::Center)
        right -= free / 2;
    else if (pf.alignment == Alignment::Right)
        right -= free;
    const double logicalStart = line.runs.empty() ? x0 : line.runs.front().x;
    for (LineRun& r : line.runs)
        r.x = right - (r.x - logicalStart) - r.width;
    line.x = right - line.width;
}

struct ParagraphCache::Impl {
    struct Key {
        std::u16string text;
        std::vector<uint32_t> formats; // each character's format, then the mark's paragraph format
        double width = 0;
        double linePitch = 0;
        bool mainStory = false;
        /// Worked out once from the fields above (hashOf), so that a look-up
        /// and the insertion after it do not hash the paragraph twice.
        size_t hash = 0;
        bool operator==(const Key&) const = default;
    };
    static size_t hashOf(const Key& k)
    {
        size_t h = std::hash<std::u16string_view>()(k.text);
        const std::string_view formats(reinterpret_cast<const char*>(k.formats.data()),
                                       k.formats.size() * sizeof(uint32_t));
        h ^= std::hash<std::string_view>()(formats) + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2);
        h ^= std::hash<double>()(k.width) + (h << 6) + (h >> 2);
        h ^= std::hash<double>()(k.linePitch) + (h << 6) + (h >> 2);
        return h ^ static_cast<size_t>(k.mainStory);
    }
    struct Hash {
        size_t operator()(const Key& k) const { return k.hash; }
    };
    uint64_t document = 0;
    /// Lines with positions counted from the paragraph's first character.
    std::unordered_map<Key, std::vector<LaidOutLine>, Hash> lines;
    size_t characters = 0; // held in keys, to bound the cache
    Key probe;             // reused for look-ups

    /// Empties the cache. The table is made anew rather than cleared: a
    /// cleared table keeps its buckets, and after one long document every
    /// short one after it would pay for wiping them all.
    void forget()
    {
        decltype(lines)().swap(lines);
        characters = 0;
    }
};

ParagraphCache::ParagraphCache() : m_impl(std::make_unique<Impl>()) {}
ParagraphCache::~ParagraphCache() = default;

void LineBreaker::useCache(ParagraphCache* cache)
{
    m_cache = cache ? &cache->impl() : nullptr;
    if (m_cache && m_cache->document != m_document.serial) {
        m_cache->forget();
        m_cache->document = m_document.serial;
    }
}

namespace {

void moveLines(std::vector<LaidOutLine>& lines, int64_t by, uint32_t story)
{
    for (LaidOutLine& l : lines) {
        l.story = story;
        l.start = static_cast<uint32_t>(l.start + by);
        l.end = static_cast<uint32_t>(l.end + by);
        for (LineRun& r : l.runs) {
            r.start = static_cast<uint32_t>(r.start + by);
            r.end = static_cast<uint32_t>(r.end + by);
        }
    }
}

// A cache never holds more than a few documents' worth of text.
constexpr size_t MaxCachedCharacters = 8u << 20;

} // namespace

std::vector<LaidOutLine> LineBreaker::breakParagraph(size_t story, uint32_t start, uint32_t mark, double width,
                                                     const std::vector<Cut>& cuts)
{
    m_cuts = &cuts;
    std::vector<LaidOutLine> lines = breakUncached(story, start, mark, width);
    m_cuts = nullptr;
    return lines;
}

std::vector<LaidOutLine> LineBreaker::breakParagraph(size_t story, uint32_t start, uint32_t mark, double width)
{
    const Story& s = m_document.stories[story];
    if (!m_cache || mark >= s.size() || start > mark)
        return breakUncached(story, start, mark, width);
    ParagraphCache::Impl::Key& key = m_cache->probe;
    key.text.assign(s.text.begin() + start, s.text.begin() + mark + 1);
    key.formats.resize(mark - start + 2);
    for (uint32_t p = start; p <= mark; ++p)
        key.formats[p - start] = s.attrs[p].charFormat;
    key.formats.back() = s.attrs[mark].paraFormat;
    key.width = width;
    key.linePitch = story == 0 ? m_linePitch : 0;
    key.mainStory = story == 0;
    key.hash = ParagraphCache::Impl::hashOf(key);
    if (auto it = m_cache->lines.find(key); it != m_cache->lines.end()) {
        std::vector<LaidOutLine> lines = it->second;
        moveLines(lines, start, static_cast<uint32_t>(story));
        return lines;
    }
    std::vector<LaidOutLine> lines = breakUncached(story, start, mark, width);
    if (m_cache->characters + key.text.size() > MaxCachedCharacters)
        m_cache->forget();
    std::vector<LaidOutLine> relative = lines;
    moveLines(relative, -int64_t{start}, static_cast<uint32_t>(story));
    m_cache->characters += key.text.size();
    // The probe goes into the cache itself; the next look-up fills it anew.
    m_cache->lines.emplace(std::move(key), std::move(relative));
    return lines;
}

std::vector<LaidOutLine> LineBreaker::breakUncached(size_t story, uint32_t start, uint32_t mark, double width)
{
    std::vector<LaidOutLine> lines;
    const Story& s = m_document.stories[story];
    if (mark >= s.size() || start > mark)
        return lines;
    const ParaFormat& pf = m_document.paraFormats[s.attrs[mark].paraFormat];
    m_gridPitch = story == 0 ? m_linePitch : 0;

    m_items.clear();
    m_items.reserve(mark - start + 1);
    bool allHidden = true;
    uint32_t noteCount = 0;
    uint32_t lastFormat = 0;
    bool lastHidden = false, known = false;
    char16_t highest = 0; // shaping and segmenting start at U+0590
    for (uint32_t p = start; p <= mark; ++p) {
        const uint32_t format = s.attrs[p].charFormat;
        if (!known || format != lastFormat) {
            lastHidden = m_measurer.font(format).hidden;
            lastFormat = format;
            known = true;
        }
        // Built where it stays (the room is reserved): an item put together
        // on the stack and copied in is read back before its separate
        // writes have landed, which stalls on every character.
        Item& it = m_items.emplace_back(Item{s.text[p], p, format, 0, lastHidden});
        highest = std::max(highest, it.c);
        if (!it.hidden)
            allHidden = false;
        if (!it.hidden) {
            switch (it.c) {
            case Ch::ParagraphMark:
            case Ch::CellEnd:
            case Ch::LineBreak:
            case Ch::PageBreak:
            case Ch::ColumnBreak:
            case Ch::Tab:
            case Ch::Anchor:
            case Ch::OptionalHyphen: break;
            case Ch::Object: {
                const int32_t obj = m_document.charFormats[format].objectIndex;
                if (obj >= 0 && static_cast<size_t>(obj) < m_document.objects.size() &&
                    !m_document.objects[obj].floating)
                    it.w = m_document.objects[obj].width;
                break;
            }
            case Ch::NoteReference: {
                // The reference shows the note's number.
                const int32_t note = m_document.charFormats[format].noteIndex;
                const uint32_t number = note >= 0 ? static_cast<uint32_t>(note) + 1 : ++noteCount;
                const uint32_t digits = number >= 100 ? 3 : number >= 10 ? 2 : 1;
                it.w = digits * m_measurer.width(u'1', format);
                break;
            }
            case Ch::NonBreakingHyphen: it.w = m_measurer.width(u'-', format); break;
            default: it.w = m_measurer.width(it.c, format); break;
            }
        }
    }
    if (allHidden)
        return lines;
    if (highest >= 0x0590) // below it nothing is shaped or written without spaces
        shapeAndSegment();

    const double limit = width - pf.rightIndent;
    const DocumentSettings& settings = m_document.settings;
    const bool tabsOverMargin = settings.compatibilityMode < 15;
    // Automatic hyphenation, in the document's language. Word 2013 and later
    // hyphenate a word that does not fit whatever room it leaves; earlier
    // versions (and their documents in compatibility mode) only where moving
    // it whole would leave more than the hyphenation zone free (Word's
    // HyphenationZone reads 99999999 outside compatibility mode).
    m_hyphenate = settings.autoHyphenation && !pf.suppressAutoHyphens;
    const double hyphenationZone = settings.compatibilityMode >= 15 ? 0.0 : settings.hyphenationZone;

    const size_t n = m_items.size();
    size_t i = 0;
    bool first = true;
    double lineTop = 0;
    while (i < n) {
        LaidOutLine line;
        line.story = static_cast<uint32_t>(story);
        line.tableDepth = pf.tableDepth;
        // An object beside the text narrows the lines whose height reaches
        // into it (the height taken as the line before's, or the first
        // character's font's for the first line).
        double cutLeft = 0, cutRight = 0;
        if (m_cuts) {
            double estimate = lines.empty() ? 0 : std::floor(lines.back().height + 0.5);
            if (lines.empty()) {
                const MeasuredFont& f = m_measurer.font(m_items[i].format, m_items[i].slot);
                estimate = (f.ascent + f.descent) *
                           (pf.lineRule == LineRule::Auto ? std::max(1, pf.lineSpacing) / 240.0 : 1.0);
            }
            for (const Cut& cut : *m_cuts)
                if (lineTop < cut.bottom && lineTop + estimate > cut.top) {
                    cutLeft = std::max(cutLeft, cut.left);
                    cutRight = std::max(cutRight, cut.right);
                }
        }
        const double x0 = pf.leftIndent + (first ? pf.firstLineIndent : 0) + cutLeft;
        double x = x0;
        if (first && !pf.listLabel.empty()) {
            // The label, then a tab to the text (Word's default label suffix).
            line.label = pf.listLabel;
            x += m_measurer.width(pf.listLabel, labelFormat(pf));
            const TabStop* stop = nullptr;
            x = nextTabStop(x, pf, &stop);
        }
        const size_t lineStart = i;
        // The right edge text may reach on this line: the paragraph's, or
        // further where a tab stop set past it was used (below).
        const double cutLimit = limit - cutRight;
        double lineLimit = cutLimit;
        size_t lastBreak = SIZE_MAX;
        char16_t lastVisible = 0;
        bool anyContent = x > x0 + Slack;
        size_t end = SIZE_MAX;
        BreakReason reason = BreakReason::ParagraphEnd;
        // Where the word after the last space starts, and where the text
        // before that space ends (the room a hyphenation zone measures).
        double wordX = x, textEnd = x;
        bool hyphenated = false;
        size_t j = i;
        // A character that stays on the line takes its room, and a break
        // may follow it.
        auto take = [&](size_t at) {
            const Item& it = m_items[at];
            x += it.w;
            anyContent = true;
            const char16_t previous = lastVisible;
            lastVisible = it.c;
            char16_t next = 0;
            for (size_t k = at + 1; k < n; ++k)
                if (!m_items[k].hidden) {
                    next = m_items[k].c;
                    break;
                }
            // Latin text with no hyphen or dash breaks only at spaces, taken
            // apart: most characters need not ask.
            const bool mayBreak = it.c == u'-' || it.c >= 0x2010 || next >= 0x2E80;
            if ((mayBreak && breakAllowedAfter(previous, it.c, next)) || it.wordBreakAfter)
                lastBreak = at;
        };
        for (; j < n; ++j) {
            Item& it = m_items[j];
            if (it.hidden)
                continue;
            const char16_t c = it.c;
            if (c > Ch::Space && c != 0x3000 && j + 1 < n && x + it.w <= lineLimit + Slack) {
                // An ordinary character that fits, most of every line: none
                // of the breaks, tabs, spaces and overflows below applies.
                take(j);
                continue;
            }
            if (j + 1 == n) {
                end = n;
                reason = (story == 0 && c == Ch::PageBreak) ? BreakReason::SectionBreak : BreakReason::ParagraphEnd;
                break;
            }
            if (c == Ch::LineBreak || c == Ch::PageBreak || c == Ch::ColumnBreak) {
                end = j + 1;
                // A page or column break right before the paragraph mark keeps
                // the mark on its line; a line break does not, so the mark
                // then makes a line of its own.
                if (c != Ch::LineBreak) {
                    size_t k = j + 1;
                    while (k + 1 < n && m_items[k].hidden)
                        ++k;
                    if (k + 1 == n)
                        end = n;
                }
                reason = c == Ch::LineBreak   ? BreakReason::LineBreak
                         : c == Ch::PageBreak ? BreakReason::PageBreak
                                              : BreakReason::ColumnBreak;
                break;
            }
            if (c == Ch::Tab) {
                if (x >= lineLimit - Slack && anyContent) {
                    end = lastBreak != SIZE_MAX ? lastBreak + 1 : j;
                    reason = BreakReason::Wrap;
                    break;
                }
                // A tab stop set past the right margin is honoured, and the
                // text it aligns reaches out to it: a table of contents
                // whose right-aligned page numbers stand at 6.1" in a 5.8"
                // text area keeps each number on its entry's line. Word
                // 2010 and earlier documents (compatibility mode 14 or less,
                // Word 97-2003 and RTF files) do this; LibreOffice names it
                // TabOverMargin for Word's files.
                const TabStop* stop = nullptr;
                const double stopAt = nextTabStop(x, pf, &stop);
                if (stop && stopAt > lineLimit && tabsOverMargin)
                    lineLimit = stopAt;
                it.w = tabWidth(j, x, cutLimit, pf);
                x += it.w;
                anyContent = true;
                lastBreak = j;
                lastVisible = c;
                continue;
            }
            if (anyContent && x + it.w > lineLimit + Slack && x <= lineLimit + Slack && hangsPastMargin(c)) {
                // Hanging punctuation stays on the full line; the line ends after it.
                x += it.w;
                lastBreak = j;
                lastVisible = c;
                continue;
            }
            if (c == Ch::Space || c == 0x3000) {
                // Spaces hang past the margin: they never push a line over.
                if (lastVisible != Ch::Space && lastVisible != 0x3000)
                    textEnd = x;
                x += it.w;
                wordX = x;
                lastBreak = j;
                lastVisible = c;
                continue;
            }
            if (c == Ch::OptionalHyphen) {
                // Shown, and a break, only where the line ends.
                const double hyphen = m_measurer.width(u'-', it.format);
                if (anyContent && x + hyphen <= lineLimit + Slack)
                    lastBreak = j;
                it.w = 0;
                continue;
            }
            if (x + it.w > lineLimit + Slack && anyContent) {
                // A word that starts the line or follows a space may be
                // hyphenated, within the limit of hyphenated lines in a row.
                const bool afterSpace =
                    lastBreak == SIZE_MAX || m_items[lastBreak].c == Ch::Space || m_items[lastBreak].c == 0x3000;
                if (m_hyphenate && afterSpace && lineLimit - textEnd > hyphenationZone - Slack) {
                    if (!m_hyphenatorKnown) {
                        m_hyphenator = Hyphenator::forLanguage(settings.language);
                        m_hyphenatorKnown = true;
                    }
                    size_t inARow = 0;
                    while (inARow < lines.size() && lines[lines.size() - 1 - inARow].hyphenated)
                        ++inARow;
                    const uint16_t most = settings.consecutiveHyphenLimit;
                    const size_t wordStart = lastBreak == SIZE_MAX ? lineStart : lastBreak + 1;
                    const size_t cut = !m_hyphenator || (most > 0 && inARow >= most)
                                           ? SIZE_MAX
                                           : hyphenationCut(wordStart, wordX, lineLimit);
                    if (cut != SIZE_MAX) {
                        end = cut;
                        reason = BreakReason::Wrap;
                        hyphenated = true;
                        break;
                    }
                }
                if (lastBreak != SIZE_MAX) {
                    end = lastBreak + 1;
                    reason = BreakReason::Wrap;
                } else {
                    end = j;
                    reason = BreakReason::CharacterWrap;
                }
                break;
            }
            take(j);
        }
        if (end == SIZE_MAX || end <= lineStart)
            end = std::max(lineStart + 1, std::min(n, j + 1));
        // A broken optional hyphen shows as a hyphen at the line's end, and
        // so does a word broken by hyphenation.
        if (reason == BreakReason::Wrap && m_items[end - 1].c == Ch::OptionalHyphen)
            m_items[end - 1].w = m_measurer.width(u'-', m_items[end - 1].format);
        if (hyphenated)
            m_items[end - 1].w += m_measurer.width(u'-', m_items[end - 1].format);
        line.start = m_items[lineStart].pos;
        line.end = m_items[end - 1].pos + 1;
        line.reason = reason;
        line.hyphenated = hyphenated;
        finishLine(line, lineStart, end, x0, pf, cutLimit);
        if (!line.label.empty()) {
            // Runs start after the label's tab; the width counts from the label.
            double textStart = x0 + m_measurer.width(pf.listLabel, labelFormat(pf));
            const TabStop* stop = nullptr;
            textStart = nextTabStop(textStart, pf, &stop);
            const double offset = textStart - x0;
            for (LineRun& r : line.runs)
                r.x += offset;
            line.width += offset;
            line.empty = false;
        }
        // Placed lines stand whole twips apart.
        lineTop += std::floor(line.height + 0.5);
        lines.push_back(std::move(line));
        i = end;
        first = false;
    }
    return lines;
}

} // namespace qm::engine::layout
