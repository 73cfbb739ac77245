// A plain-text dump of a layout, one line per laid-out line, for golden tests and inspection.
#include "engine/layout/LayoutDump.h"

#include "engine/model/Unicode.h"

#include <cmath>
#include <cstdio>

namespace qm::engine::layout {

namespace {

std::string tenths(double v)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.1f", std::round(v * 10) / 10 + 0.0);
    return buf;
}

void dumpLine(std::string& out, const Document& doc, size_t page, const std::string& tag, const LaidOutLine& l)
{
    std::u16string text = l.label;
    if (!l.label.empty())
        text += u"\\t";
    const Story& s = doc.stories[l.story];
    for (uint32_t p = l.start; p < l.end && p < s.size(); ++p) {
        const char16_t c = s.text[p];
        if (c == Ch::ParagraphMark || c == Ch::CellEnd || c == Ch::PageBreak || c == Ch::LineBreak ||
            c == Ch::ColumnBreak || c == Ch::OptionalHyphen || doc.charFormatAt(s, p).hidden)
            continue;
        if (c == Ch::Tab)
            text += u"\\t";
        else
            text += c;
    }
    if (l.hyphenated)
        text += u'-';
    out += "p" + std::to_string(page) + " " + tag + " c" + std::to_string(l.column) + " [" +
           std::to_string(l.start) + "," + std::to_string(l.end) + ") x=" + tenths(l.x) + " y=" + tenths(l.y) +
           " w=" + tenths(l.width) + " h=" + tenths(l.height) + " " + std::string(breakReasonName(l.reason)) +
           (l.counted ? "" : " uncounted") + " |" + utf16ToUtf8(text) + "|\n";
}

} // namespace

std::string dumpLayout(const Document& document, const LayoutResult& layout)
{
    std::string out;
    out += "pages " + std::to_string(layout.pageCount()) + " lines " + std::to_string(layout.lineCount()) + "\n";
    for (size_t p = 0; p < layout.pages.size(); ++p) {
        const LaidOutPage& page = layout.pages[p];
        for (size_t i = 0; i < page.lines.size(); ++i)
            dumpLine(out, document, p + 1, "l" + std::to_string(i + 1), page.lines[i]);
        for (const LaidOutLine& l : page.headerLines)
            dumpLine(out, document, p + 1, "H", l);
        for (const LaidOutLine& l : page.footerLines)
            dumpLine(out, document, p + 1, "F", l);
        for (const DrawnText& t : page.drawnText)
            out += "p" + std::to_string(p + 1) + " D c" + std::to_string(t.column) + " x=" + tenths(t.x) +
                   " top=" + tenths(t.top) + " base=" + tenths(t.baseline) + (t.vertical ? " vertical" : "") + " |" +
                   utf16ToUtf8(t.text) + "|\n";
    }
    return out;
}

} // namespace qm::engine::layout
