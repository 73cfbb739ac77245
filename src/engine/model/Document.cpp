// Queries and the one editing primitive of the document model.
#include "engine/model/Document.h"

#include <cassert>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace qm::engine {

std::u16string instructionDisplayText(std::u16string_view instruction)
{
    auto isSpace = [](char16_t c) { return c == u' ' || c == u'\t' || c == 0xA0 || c == u'\r' || c == u'\n'; };
    size_t i = 0;
    auto skipSpace = [&] {
        while (i < instruction.size() && isSpace(instruction[i]))
            ++i;
    };
    auto word = [&] {
        const size_t from = i;
        while (i < instruction.size() && !isSpace(instruction[i]))
            ++i;
        return instruction.substr(from, i - from);
    };
    skipSpace();
    const std::u16string_view name = word();
    auto is = [&](std::u16string_view want) {
        if (name.size() != want.size())
            return false;
        for (size_t k = 0; k < name.size(); ++k)
            if ((name[k] >= u'a' && name[k] <= u'z' ? name[k] - 32 : name[k]) != want[k])
                return false;
        return true;
    };
    if (!is(u"MACROBUTTON") && !is(u"GOTOBUTTON"))
        return {};
    skipSpace();
    word(); // the macro or the bookmark
    skipSpace();
    size_t end = instruction.size();
    while (end > i && isSpace(instruction[end - 1]))
        --end;
    return std::u16string(instruction.substr(i, end - i));
}

std::string fontStandIn(std::string_view font, std::string_view alternate, FontFamily family, bool fixedPitch)
{
    std::string standIn(alternate);
    if (standIn.empty())
        standIn = family == FontFamily::Roman                  ? "Times New Roman"
                  : family == FontFamily::Swiss                ? "Arial"
                  : family == FontFamily::Modern && fixedPitch ? "Courier New"
                                                               : "";
    return standIn == font ? std::string() : standIn;
}

bool Document::isSectionBreak(uint32_t pos) const
{
    const Story& main = mainStory();
    if (pos >= main.size() || main.text[pos] != Ch::PageBreak)
        return false;
    for (size_t i = 0; i + 1 < sections.size(); ++i)
        if (sections[i].end == pos + 1)
            return true;
    return false;
}

uint32_t nextLowCharacter(std::u16string_view text, uint32_t from, uint32_t to)
{
    const char16_t* p = text.data();
    uint32_t i = from;
#if defined(__SSE2__)
    // A unit is 13 or below where subtracting 13 without going under zero leaves zero.
    const __m128i thirteen = _mm_set1_epi16(13);
    const __m128i zero = _mm_setzero_si128();
    for (; i + 8 <= to; i += 8) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + i));
        const __m128i low = _mm_cmpeq_epi16(_mm_subs_epu16(block, thirteen), zero);
        if (const int mask = _mm_movemask_epi8(low))
            return i + static_cast<uint32_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
    }
#endif
    for (; i < to; ++i)
        if (p[i] <= 13)
            return i;
    return to;
}

uint32_t Document::paragraphEnd(size_t story, uint32_t pos) const
{
    const Story& s = stories[story];
    for (uint32_t i = nextLowCharacter(s.text, pos, s.size()); i < s.size(); i = nextLowCharacter(s.text, i + 1, s.size()))
        if (endsParagraph(story, i))
            return i;
    return s.size() == 0 ? 0 : s.size() - 1;
}

static int32_t inheritedStory(const std::vector<Section>& sections, size_t section,
                              HeaderFooterIndex index, bool header)
{
    const size_t slot = static_cast<size_t>(index) - 1;
    for (size_t i = section + 1; i-- > 0;) {
        if (i >= sections.size())
            continue;
        int32_t story = header ? sections[i].headers[slot] : sections[i].footers[slot];
        if (story >= 0)
            return story;
    }
    return -1;
}

int32_t Document::headerStory(size_t section, HeaderFooterIndex index) const
{
    return inheritedStory(sections, section, index, true);
}

int32_t Document::footerStory(size_t section, HeaderFooterIndex index) const
{
    return inheritedStory(sections, section, index, false);
}

void Document::applyEdits(size_t storyIndex, const std::vector<StoryEdit>& edits)
{
    if (edits.empty())
        return;
    Story& story = stories[storyIndex];
    const uint32_t oldSize = story.size();

    // Maps a position of the old text to the new one: shifted by the edits
    // wholly before it, clamped into an edit it falls inside.
    auto mapPosition = [&](uint32_t p) {
        int64_t delta = 0;
        for (const StoryEdit& e : edits) {
            if (e.pos + e.length <= p) {
                delta += static_cast<int64_t>(e.text.size()) - e.length;
                continue;
            }
            if (e.pos < p) {
                uint32_t into = std::min<uint32_t>(p - e.pos, static_cast<uint32_t>(e.text.size()));
                return static_cast<uint32_t>(e.pos + delta + into);
            }
            break;
        }
        return static_cast<uint32_t>(p + delta);
    };

    std::u16string text;
    std::vector<CharAttr> attrs;
    size_t grown = oldSize;
    for (const StoryEdit& e : edits)
        grown += e.text.size();
    text.reserve(grown);
    attrs.reserve(grown);
    uint32_t cursor = 0;
    // A replace-all over every character makes an edit per character, so
    // each step is kept to what it needs.
    for (const StoryEdit& e : edits) {
        assert(e.pos >= cursor && e.pos + e.length <= oldSize && "edits sorted and in range");
        if (e.pos > cursor) {
            text.append(story.text, cursor, e.pos - cursor);
            attrs.insert(attrs.end(), story.attrs.begin() + cursor, story.attrs.begin() + e.pos);
        }
        if (e.text.size() == 1) {
            text.push_back(e.text[0]);
            attrs.push_back(e.attr);
        } else if (!e.text.empty()) {
            text.append(e.text);
            attrs.resize(attrs.size() + e.text.size(), e.attr);
        }
        cursor = e.pos + e.length;
    }
    text.append(story.text, cursor, std::u16string::npos);
    attrs.insert(attrs.end(), story.attrs.begin() + cursor, story.attrs.end());

    if (storyIndex == 0) {
        for (Section& s : sections)
            s.end = mapPosition(s.end);
        sections.back().end = static_cast<uint32_t>(text.size());
    }
    for (Field& f : fields) {
        if (f.story == static_cast<int32_t>(storyIndex)) {
            f.start = mapPosition(f.start);
            f.end = mapPosition(f.end);
        }
    }
    story.text = std::move(text);
    story.attrs = std::move(attrs);
}

std::vector<Table> findTables(const Document& doc, size_t storyIndex, uint32_t from, uint32_t to,
                              uint8_t depth)
{
    std::vector<Table> tables;
    const Story& s = doc.stories[storyIndex];
    to = std::min(to, s.size());
    uint32_t paraStart = from;
    Table* table = nullptr;
    TableRow row;
    uint32_t cellStart = from;
    bool rowOpen = false;
    for (uint32_t i = nextLowCharacter(s.text, from, to); i < to; i = nextLowCharacter(s.text, i + 1, to)) {
        if (!doc.endsParagraph(storyIndex, i))
            continue;
        const ParaFormat& pf = doc.paraFormatOf(s, i);
        if (pf.tableDepth < depth) {
            table = nullptr;
            rowOpen = false;
            paraStart = i + 1;
            continue;
        }
        if (!table) {
            tables.push_back(Table{paraStart, paraStart, depth, {}});
            table = &tables.back();
            cellStart = paraStart;
        }
        if (!rowOpen) {
            row = TableRow{cellStart, cellStart, -1, {}};
            rowOpen = true;
        }
        if (pf.tableDepth == depth && s.text[i] == Ch::CellEnd) {
            if (pf.rowEnd) {
                row.end = i;
                row.rowFormat = pf.rowFormat;
                table->rows.push_back(std::move(row));
                rowOpen = false;
                table->end = i + 1;
            } else {
                row.cells.push_back(TableCell{cellStart, i});
            }
            cellStart = i + 1;
        }
        paraStart = i + 1;
    }
    return tables;
}

} // namespace qm::engine

namespace qm::engine {

double BorderLine::thicknessTwips() const
{
    if (!present())
        return 0;
    // A line of w eighths of a point is w * 2.5 twips wide. Compound lines
    // keep gaps as wide as their lines: a double border is two lines and the
    // gap between them, a triple one three lines and two gaps.
    const double w = widthEighths * 2.5;
    switch (style) {
    case BorderStyle::Double:
    case BorderStyle::ThinThick: return 3 * w;
    case BorderStyle::Triple: return 5 * w;
    default: return w;
    }
}

} // namespace qm::engine
