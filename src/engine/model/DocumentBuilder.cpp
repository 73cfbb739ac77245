// DocumentBuilder: interning, marks, tables, sections and limits.
#include "engine/model/DocumentBuilder.h"

#include "engine/model/Unicode.h"

#include <algorithm>
#include <cassert>

namespace qm::engine {

DocumentBuilder::DocumentBuilder(std::string format, const Limits& limits)
    : m_doc(std::make_unique<Document>()), m_limits(limits)
{
    m_doc->format = std::move(format);
    m_doc->sections.clear();
    m_charIndex.emplace(m_doc->charFormats[0], 0);
    m_paraIndex.emplace(m_doc->paraFormats[0], 0);
    m_storyStates.emplace_back();
}

uint32_t DocumentBuilder::charFormat(const CharFormat& format)
{
    if (m_lastChar && m_lastChar->first == format)
        return m_lastChar->second;
    auto [it, inserted] = m_charIndex.try_emplace(format, static_cast<uint32_t>(m_doc->charFormats.size()));
    if (inserted)
        m_doc->charFormats.push_back(format);
    m_lastChar = &*it;
    return it->second;
}

size_t DocumentBuilder::ParaFormatHash::operator()(const ParaFormat& f) const
{
    // The list label's text and the tab stops too: the paragraphs of a long
    // list differ in their labels alone ("1." to "9." alike in length), a
    // table of figures in its stops alone.
    size_t h = std::hash<std::string_view>()(f.styleName) ^ std::hash<std::u16string_view>()(f.listLabel) * 31;
    for (const TabStop& t : f.tabs)
        h = (h ^ static_cast<size_t>(t.position)) * 0x100000001B3ull;
    for (const int64_t v : {int64_t{f.leftIndent}, int64_t{f.rightIndent}, int64_t{f.firstLineIndent},
                            int64_t{f.spaceBefore}, int64_t{f.spaceAfter}, int64_t{f.lineSpacing},
                            int64_t{f.rowFormat}, int64_t{f.listLabelCharFormat},
                            int64_t{static_cast<int>(f.alignment)} << 8 | f.tableDepth,
                            int64_t{f.rowEnd} << 1 | f.pageBreakBefore, static_cast<int64_t>(f.tabs.size()),
                            static_cast<int64_t>(f.listLabel.size())})
        h = (h ^ static_cast<size_t>(v)) * 0x100000001B3ull;
    return h;
}

uint32_t DocumentBuilder::paraFormat(const ParaFormat& given)
{
    // A list label in a symbol font shows that font's glyph: keep the
    // character it stands for, so that the label reads as it prints.
    const ParaFormat* chosen = &given;
    ParaFormat mapped;
    if (!given.listLabel.empty() && given.listLabelCharFormat >= 0 &&
        static_cast<size_t>(given.listLabelCharFormat) < m_doc->charFormats.size()) {
        const std::string& font = m_doc->charFormats[static_cast<size_t>(given.listLabelCharFormat)].fontName;
        std::u16string label = given.listLabel;
        for (char16_t& c : label)
            c = symbolFontToUnicode(font, c);
        if (label != given.listLabel) {
            mapped = given;
            mapped.listLabel = std::move(label);
            chosen = &mapped;
        }
    }
    const ParaFormat& format = *chosen;
    if (m_lastPara && m_lastPara->first == format)
        return m_lastPara->second;
    auto [it, inserted] = m_paraIndex.try_emplace(format, static_cast<uint32_t>(m_doc->paraFormats.size()));
    if (inserted)
        m_doc->paraFormats.push_back(format);
    m_lastPara = &*it;
    return it->second;
}

int32_t DocumentBuilder::rowFormat(const TableRowFormat& format)
{
    auto [it, inserted] = m_rowIndex.try_emplace(format, static_cast<int32_t>(m_doc->rowFormats.size()));
    if (inserted)
        m_doc->rowFormats.push_back(format);
    return it->second;
}

StoryId DocumentBuilder::newStory(StoryType type)
{
    if (m_doc->stories.size() >= m_limits.maxStories) {
        if (!m_limitReached)
            diagnose("limit.stories", Severity::Error, "", "too many stories; later ones are not read");
        m_limitReached = true;
        return 0xFFFFFFFFu;
    }
    Story story;
    story.type = type;
    m_doc->stories.push_back(std::move(story));
    m_storyStates.emplace_back();
    return static_cast<StoryId>(m_doc->stories.size() - 1);
}

void DocumentBuilder::setStory(StoryId story)
{
    // An id from a refused newStory leaves appends going nowhere useful; keep
    // them in the current story rather than writing out of bounds.
    if (story < m_doc->stories.size())
        m_current = story;
}

uint32_t DocumentBuilder::position() const
{
    return m_doc->stories[m_current].size();
}

bool DocumentBuilder::roomFor(size_t chars)
{
    if (m_limitReached)
        return false;
    const Story& s = m_doc->stories[m_current];
    if (s.text.size() + chars > m_limits.maxStoryChars || m_totalChars + chars > m_limits.maxTotalChars) {
        m_limitReached = true;
        diagnose("limit.text", Severity::Error, "",
                 "the document holds more text than the engine reads; the rest is not counted");
        return false;
    }
    return true;
}

void DocumentBuilder::append(char16_t c, CharAttr attr)
{
    Story& s = m_doc->stories[m_current];
    s.text.push_back(c);
    s.attrs.push_back(attr);
    ++m_totalChars;
}

static bool keptControl(char16_t c)
{
    switch (c) {
    case Ch::Object:
    case Ch::NoteReference:
    case Ch::Anchor:
    case Ch::Tab:
    case Ch::LineBreak:
    case Ch::PageBreak:
    case Ch::ColumnBreak:
    case Ch::NonBreakingHyphen:
    case Ch::OptionalHyphen:
        return true;
    default:
        return false;
    }
}

void DocumentBuilder::appendText(std::u16string_view text, uint32_t charFormat)
{
    if (!roomFor(text.size()))
        return;
    // No reserve here: reserving exactly what each append needs would copy
    // the whole story on every call, and readers append run by run. The
    // stretches between dropped control characters go in whole, which
    // grows the story as geometrically as appending a character at a time.
    if (text.size() == 1) {
        // One character, as a reader that emits character by character gives it.
        if (text[0] >= 32 || keptControl(text[0]))
            append(text[0], CharAttr{charFormat, 0});
        return;
    }
    Story& s = m_doc->stories[m_current];
    const CharAttr attr{charFormat, 0};
    size_t from = 0;
    for (size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && (text[i] >= 32 || keptControl(text[i])))
            continue;
        if (const size_t n = i - from; n > 0) {
            s.text.append(text.substr(from, n));
            // Grown, then filled: a fill-insert copies its value through the
            // stack for every element, which stalls on each.
            const size_t old = s.attrs.size();
            s.attrs.resize(old + n);
            std::fill(s.attrs.begin() + static_cast<std::ptrdiff_t>(old), s.attrs.end(), attr);
            m_totalChars += n;
        }
        from = i + 1;
    }
}

void DocumentBuilder::appendUtf8(std::string_view utf8, uint32_t charFormat)
{
    // Printable ASCII, as most runs' text is, holds no character to drop:
    // it is widened straight into the story, as appendText would put it
    // there, without a converted copy first.
    const bool printable = utf8.size() > 1 && std::all_of(utf8.begin(), utf8.end(), [](char c) {
                               return static_cast<unsigned char>(c) - 32u < 95u;
                           });
    if (!printable) {
        appendText(utf8ToUtf16(utf8), charFormat);
        return;
    }
    if (!roomFor(utf8.size()))
        return;
    Story& s = m_doc->stories[m_current];
    const size_t old = s.text.size();
    s.text.resize(old + utf8.size());
    std::copy(utf8.begin(), utf8.end(), s.text.begin() + static_cast<std::ptrdiff_t>(old));
    s.attrs.resize(old + utf8.size());
    std::fill(s.attrs.begin() + static_cast<std::ptrdiff_t>(old), s.attrs.end(), CharAttr{charFormat, 0});
    m_totalChars += utf8.size();
}

uint32_t DocumentBuilder::withDepth(uint32_t paraFormatIndex, uint8_t depth, bool rowEnd, int32_t row)
{
    const ParaFormat& pf = m_doc->paraFormats[paraFormatIndex];
    if (pf.tableDepth == depth && pf.rowEnd == rowEnd && pf.rowFormat == row)
        return paraFormatIndex;
    ParaFormat copy = pf;
    copy.tableDepth = depth;
    copy.rowEnd = rowEnd;
    copy.rowFormat = row;
    return paraFormat(copy);
}

uint32_t DocumentBuilder::tableDepth() const
{
    return static_cast<uint32_t>(m_storyStates[m_current].tables.size());
}

void DocumentBuilder::endParagraph(uint32_t paraFormatIndex, uint32_t markCharFormat)
{
    if (!roomFor(1))
        return;
    uint8_t depth = static_cast<uint8_t>(tableDepth());
    append(Ch::ParagraphMark, CharAttr{markCharFormat, withDepth(paraFormatIndex, depth, false, -1)});
    m_storyStates[m_current].paragraphStart = position();
}

void DocumentBuilder::endSection(const SectionFormat& format, const HeaderFooterRefs& refs,
                                 uint32_t paraFormatIndex, uint32_t markCharFormat)
{
    if (m_current != 0 || tableDepth() > 0) {
        // A section cannot end inside a table or outside the main story.
        endParagraph(paraFormatIndex, markCharFormat);
        return;
    }
    if (m_doc->sections.size() + 1 >= m_limits.maxSections || !roomFor(1)) {
        if (!m_limitReached)
            diagnose("limit.sections", Severity::Warning, "", "too many sections; the rest are joined");
        endParagraph(paraFormatIndex, markCharFormat);
        return;
    }
    append(Ch::PageBreak, CharAttr{markCharFormat, withDepth(paraFormatIndex, 0, false, -1)});
    m_storyStates[0].paragraphStart = position();
    Section section;
    section.format = format;
    section.end = position();
    section.headers = refs.headers;
    section.footers = refs.footers;
    m_doc->sections.push_back(section);
}

void DocumentBuilder::beginTable()
{
    auto& tables = m_storyStates[m_current].tables;
    if (tables.size() >= m_limits.maxTableDepth) {
        diagnose("limit.table-depth", Severity::Warning, "",
                 "tables nested too deeply; inner ones are read as plain cells");
        tables.push_back(TableState{position(), false}); // still balanced with endTable
        return;
    }
    // A table opened in the middle of a paragraph ends that paragraph first.
    if (m_storyStates[m_current].paragraphStart != position())
        endParagraph(0, 0);
    tables.push_back(TableState{position(), false});
}

void DocumentBuilder::beginRow() {}

void DocumentBuilder::beginCell()
{
    auto& tables = m_storyStates[m_current].tables;
    if (tables.empty())
        return;
    if (++m_cells > m_limits.maxTableCells && !m_limitReached) {
        m_limitReached = true;
        diagnose("limit.cells", Severity::Error, "", "too many table cells; the rest is not counted");
    }
    tables.back().cellStart = position();
    tables.back().inCell = true;
}

void DocumentBuilder::endCell(uint32_t paraFormatIndex, uint32_t markCharFormat)
{
    auto& tables = m_storyStates[m_current].tables;
    if (tables.empty()) {
        endParagraph(paraFormatIndex, markCharFormat);
        return;
    }
    TableState& t = tables.back();
    const uint8_t depth = static_cast<uint8_t>(tables.size());
    Story& s = m_doc->stories[m_current];
    const uint32_t pos = position();
    const bool lastIsOwnMark = pos > t.cellStart && s.text[pos - 1] == Ch::ParagraphMark &&
                               m_doc->paraFormats[s.attrs[pos - 1].paraFormat].tableDepth == depth;
    if (lastIsOwnMark) {
        s.text[pos - 1] = Ch::CellEnd;
    } else if (roomFor(1)) {
        append(Ch::CellEnd, CharAttr{markCharFormat, withDepth(paraFormatIndex, depth, false, -1)});
    }
    m_storyStates[m_current].paragraphStart = position();
    t.inCell = false;
    t.cellStart = position();
}

void DocumentBuilder::endRow(const TableRowFormat& format, uint32_t markCharFormat)
{
    auto& tables = m_storyStates[m_current].tables;
    if (tables.empty())
        return;
    if (tables.back().inCell)
        endCell(0, markCharFormat);
    if (!roomFor(1))
        return;
    const uint8_t depth = static_cast<uint8_t>(tables.size());
    int32_t row = rowFormat(format);
    append(Ch::CellEnd, CharAttr{markCharFormat, withDepth(0, depth, true, row)});
    m_storyStates[m_current].paragraphStart = position();
    tables.back().cellStart = position();
}

void DocumentBuilder::endTable()
{
    auto& tables = m_storyStates[m_current].tables;
    if (tables.empty())
        return;
    if (tables.back().inCell)
        endCell(0, 0);
    // Cells closed without their row end (a malformed table) still get one,
    // so that the table structure stays well formed.
    const Story& s = m_doc->stories[m_current];
    const uint8_t depth = static_cast<uint8_t>(tables.size());
    const uint32_t pos = position();
    if (pos > 0 && s.text[pos - 1] == Ch::CellEnd) {
        const ParaFormat& last = m_doc->paraFormats[s.attrs[pos - 1].paraFormat];
        if (!last.rowEnd && last.tableDepth == depth)
            endRow(TableRowFormat{}, 0);
    }
    tables.pop_back();
}

int32_t DocumentBuilder::addObject(const InlineObject& object)
{
    m_doc->objects.push_back(object);
    return static_cast<int32_t>(m_doc->objects.size() - 1);
}

int32_t DocumentBuilder::addNote(const Note& note)
{
    m_doc->notes.push_back(note);
    return static_cast<int32_t>(m_doc->notes.size() - 1);
}

int32_t DocumentBuilder::addField(uint32_t start, std::string instruction)
{
    const uint32_t end = position();
    if (start >= end)
        return -1;
    m_doc->fields.push_back(Field{static_cast<int32_t>(m_current), start, end, std::move(instruction)});
    return static_cast<int32_t>(m_doc->fields.size() - 1);
}

void DocumentBuilder::diagnose(std::string code, Severity severity, std::string location,
                               std::string message)
{
    // A hostile file can repeat one fault millions of times; keep the list short.
    if (m_doc->diagnostics.size() >= 200)
        return;
    m_doc->diagnostics.push_back({std::move(code), severity, std::move(location), std::move(message)});
}

std::unique_ptr<Document> DocumentBuilder::finish(const SectionFormat& lastSection,
                                                  const HeaderFooterRefs& refs)
{
    for (StoryId id = 0; id < m_doc->stories.size(); ++id) {
        m_current = id;
        while (!m_storyStates[id].tables.empty())
            endTable();
        Story& s = m_doc->stories[id];
        // Word's stories always end with a paragraph mark, after a table or a
        // section break too.
        const bool endsWithMark = !s.text.empty() && s.text.back() == Ch::ParagraphMark;
        if (!endsWithMark) {
            // The last paragraph's mark may not be refused by a limit: the
            // model's invariant matters more than one character of room.
            uint32_t fmt = s.text.empty() ? 0 : s.attrs.back().charFormat;
            append(Ch::ParagraphMark, CharAttr{fmt, 0});
        }
    }
    Section last;
    last.format = lastSection;
    last.headers = refs.headers;
    last.footers = refs.footers;
    last.end = m_doc->mainStory().size();
    m_doc->sections.push_back(last);
    m_current = 0;
    return std::move(m_doc);
}

} // namespace qm::engine
