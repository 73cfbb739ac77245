// Documents built for layout tests, and readable views of a layout.
#pragma once

#include "engine/layout/Layout.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <memory>
#include <string>
#include <vector>

namespace qm::engine::layout::testing {

inline CharFormat font(std::string name, uint16_t halfPoints)
{
    CharFormat f;
    f.fontName = std::move(name);
    f.sizeHalfPoints = halfPoints;
    return f;
}

/// Courier New 10 pt: every character 1229/2048 em, 120.02 twips, so a text
/// area of n * Mono twips holds n characters.
inline CharFormat mono() { return font("Courier New", 20); }
inline constexpr double Mono = 1229.0 * 200.0 / 2048.0;

struct Para {
    std::u16string text;
    ParaFormat format = {};
    CharFormat chars = mono();
};

/// One section of paragraphs in the given page setup.
inline std::unique_ptr<Document> makeDocument(const std::vector<Para>& paragraphs, const SectionFormat& page = {})
{
    DocumentBuilder b("docx");
    for (const Para& p : paragraphs) {
        const uint32_t cf = b.charFormat(p.chars);
        b.appendText(p.text, cf);
        b.endParagraph(b.paraFormat(p.format), cf);
    }
    return b.finish(page, HeaderFooterRefs{});
}

/// Appends a paragraph of text in the given formats to the current story.
inline void addPara(DocumentBuilder& b, std::u16string_view text, uint32_t chars, uint32_t para)
{
    b.appendText(text, chars);
    b.endParagraph(para, chars);
}

/// Appends a table cell holding `text` (none: an empty cell).
inline void addCell(DocumentBuilder& b, std::u16string_view text, uint32_t chars, uint32_t para)
{
    b.beginCell();
    b.appendText(text, chars);
    b.endCell(para, chars);
}

/// One row of a test table: its format and its cells' texts.
struct TableRowSpec {
    TableRowFormat format;
    std::vector<std::u16string> cells;
};

/// A document of one table in `font`, a "before" paragraph ahead of it when
/// asked and an "after" paragraph behind it.
inline std::unique_ptr<Document> oneTableDocument(const std::vector<TableRowSpec>& rows, bool before,
                                                  const CharFormat& font)
{
    DocumentBuilder b("docx");
    const uint32_t cf = b.charFormat(font);
    const uint32_t pf = b.paraFormat({});
    if (before)
        addPara(b, u"before", cf, pf);
    b.beginTable();
    for (const TableRowSpec& row : rows) {
        b.beginRow();
        for (const std::u16string& text : row.cells)
            addCell(b, text, cf, pf);
        b.endRow(row.format, cf);
    }
    b.endTable();
    addPara(b, u"after", cf, pf);
    return b.finish({}, {});
}

/// A page setup whose text area is `chars` monospaced characters wide.
inline SectionFormat pageOfWidth(double chars)
{
    SectionFormat s;
    s.marginLeft = 1440;
    s.marginRight = 1440;
    s.pageWidth = static_cast<Twips>(2880 + chars * Mono + 1);
    return s;
}

/// The text of a laid-out line, marks left out, spaces kept; an optional
/// hyphen shows as "~", and a line ended by automatic hyphenation ends in "-".
inline std::string lineText(const Document& doc, const LaidOutLine& line)
{
    std::u16string t;
    const Story& s = doc.stories[line.story];
    for (uint32_t p = line.start; p < line.end && p < s.size(); ++p) {
        const char16_t c = s.text[p];
        if (c == Ch::ParagraphMark || c == Ch::CellEnd || c == Ch::LineBreak || c == Ch::PageBreak)
            continue;
        t += c == Ch::Tab ? u'|' : c == Ch::OptionalHyphen ? u'~' : c;
    }
    if (line.hyphenated)
        t += u'-';
    return utf16ToUtf8(t);
}

inline std::vector<std::string> allLineTexts(const Document& doc, const LayoutResult& r)
{
    std::vector<std::string> out;
    for (const LaidOutPage& p : r.pages)
        for (const LaidOutLine& l : p.lines)
            out.push_back(lineText(doc, l));
    return out;
}

inline std::vector<size_t> linesPerPage(const LayoutResult& r)
{
    std::vector<size_t> out;
    for (const LaidOutPage& p : r.pages)
        out.push_back(p.lines.size());
    return out;
}

} // namespace qm::engine::layout::testing
