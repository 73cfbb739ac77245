// A read document rendered as one compact string, so that a reader test states
// what Word holds as one expected line instead of a property check per field.
#pragma once

#include "engine/formats/Reader.h"
#include "engine/model/Document.h"
#include "engine/model/Unicode.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::engine::test {

/// A story's text (or a part of it) with its marks drawn: ¶ paragraph, ¤ cell
/// or row end, § page or section break, → tab, ↵ line break, ‡ column break,
/// ² note reference, □ inline object, ⚓ floating anchor, ‑ nonbreaking
/// hyphen, ¬ optional hyphen.
inline std::string visible(std::u16string_view text)
{
    constexpr std::u16string_view marks = u"\r\a\f\t\v\x0E\x02\x01\x08\x1E\x1F", drawn = u"¶¤§→↵‡²□⚓‑¬";
    std::u16string out(text);
    for (char16_t& c : out)
        if (const size_t k = marks.find(c); k != marks.npos)
            c = drawn[k];
    return utf16ToUtf8(out);
}
inline std::string visible(const Story& s) { return visible(s.text); }

/// The story's text, or "none" for a missing story.
inline std::string storyText(const Document& doc, int32_t story)
{
    return story >= 0 && static_cast<size_t>(story) < doc.stories.size() ? visible(doc.stories[story]) : "none";
}

namespace detail {

/// Collects the tokens of the properties a test asked to see.
struct Tokens {
    std::string_view show;
    std::string out;
    void add(std::string_view key, bool set, const std::string& text)
    {
        if (set && !text.empty() && (" " + std::string(show) + " ").contains(" " + std::string(key) + " "))
            out += (out.empty() ? "" : " ") + text;
    }
};

inline std::string hex(uint32_t v)
{
    std::ostringstream s;
    s << "#" << std::hex << v;
    return s.str();
}

inline std::string charProps(const CharFormat& f, std::string_view show)
{
    static const char* underlines[] = {"", "u", "uw", "uu", "uthick", "udot", "udash", "uwave", "u?"};
    Tokens t{show};
    t.add("b", f.bold, "b");
    t.add("i", f.italic, "i");
    t.add("caps", f.allCaps, "caps");
    t.add("scaps", f.smallCaps, "scaps");
    t.add("hid", f.hidden, "hid");
    t.add("strike", f.strike, "strike");
    t.add("u", f.underlined(), underlines[static_cast<int>(f.underline)]);
    t.add("pos", f.verticalPosition != VerticalPosition::Baseline,
          f.verticalPosition == VerticalPosition::Superscript ? "sup" : "sub");
    t.add("sz", f.sizeHalfPoints != 20, "sz" + std::to_string(f.sizeHalfPoints));
    t.add("font", !f.fontName.empty(), "'" + f.fontName + "'");
    t.add("scripts", !f.eastAsiaFontName.empty(), "ea'" + f.eastAsiaFontName + "'");
    t.add("scripts", !f.complexFontName.empty(), "cs'" + f.complexFontName + "'");
    t.add("scripts", f.complexSizeHalfPoints != 0, "szcs" + std::to_string(f.complexSizeHalfPoints));
    t.add("color", f.color != AutoColor, hex(f.color));
    t.add("obj", f.objectIndex >= 0, "obj" + std::to_string(f.objectIndex));
    t.add("note", f.noteIndex >= 0, "note" + std::to_string(f.noteIndex));
    return t.out;
}

inline std::string paraProps(const Document& doc, const ParaFormat& p, std::string_view show)
{
    static const char* alignments[] = {"", "center", "right", "justify", "distribute"};
    static const char* lineRules[] = {"line", "atleast", "exact"};
    static const char* leaders[] = {"", ".", "-", "_", "=", "·"};
    Tokens t{show};
    t.add("style", !p.styleName.empty(), "'" + p.styleName + "'");
    t.add("al", p.alignment != Alignment::Left, alignments[static_cast<int>(p.alignment)]);
    t.add("ind", p.leftIndent != 0, "li" + std::to_string(p.leftIndent));
    t.add("ind", p.rightIndent != 0, "ri" + std::to_string(p.rightIndent));
    t.add("ind", p.firstLineIndent != 0, "fi" + std::to_string(p.firstLineIndent));
    t.add("space", p.spaceBefore != 0, "sb" + std::to_string(p.spaceBefore));
    t.add("space", p.spaceAfter != 0, "sa" + std::to_string(p.spaceAfter));
    t.add("line", p.lineRule != LineRule::Auto || p.lineSpacing != 240,
          lineRules[static_cast<int>(p.lineRule)] + std::to_string(p.lineSpacing));
    t.add("keep", p.keepWithNext, "kn");
    t.add("keep", p.keepLinesTogether, "kl");
    t.add("keep", !p.widowControl, "nowc");
    t.add("keep", p.pageBreakBefore, "pbb");
    t.add("rtl", p.rightToLeft, "rtl");
    t.add("grid", !p.snapToGrid, "nosnap");
    // A stop as position, alignment (l c r d |) and leader.
    for (const TabStop& tab : p.tabs)
        t.add("tabs", true,
              "tab" + std::to_string(tab.position) + "lcrd|"[static_cast<int>(tab.alignment)] +
                  leaders[static_cast<int>(tab.leader)]);
    t.add("label", !p.listLabel.empty(), "«" + utf16ToUtf8(p.listLabel) + "»");
    t.add("depth", p.tableDepth > 1, "d" + std::to_string(p.tableDepth)); // a nested table's
    t.add("rowend", p.rowEnd, "rowend");
    if (!p.rowEnd || p.rowFormat < 0)
        return t.out;
    // A row's cells as width, xN for a span, ^ or | for a merge's start or
    // continuation, "mid" or "bot" for text centred or at the bottom.
    const TableRowFormat& r = doc.rowFormats[static_cast<size_t>(p.rowFormat)];
    std::string grid, cells;
    for (Twips g : r.grid)
        grid += (grid.empty() ? "grid" : ",") + std::to_string(g);
    for (const TableCellFormat& c : r.cells)
        cells += (cells.empty() ? "cells" : ",") + std::to_string(c.width) +
                 (c.gridSpan > 1 ? "x" + std::to_string(c.gridSpan) : "") + " ^|"[static_cast<int>(c.verticalMerge)] +
                 (c.verticalAlign == CellVerticalAlign::Center   ? "mid"
                  : c.verticalAlign == CellVerticalAlign::Bottom ? "bot"
                                                                 : "") +
                 (c.shading != AutoColor ? hex(c.shading) : "");
    std::erase(cells, ' ');
    static const char* heightRules[] = {"h", "hmin", "hexact"};
    t.add("row", true, "row");
    t.add("row", !grid.empty(), grid);
    t.add("row", true, cells);
    t.add("row", r.height != 0, heightRules[static_cast<int>(r.heightRule)] + std::to_string(r.height));
    t.add("row", r.isHeader, "hdr");
    t.add("row", !r.borders, "noborders");
    return t.out;
}

} // namespace detail

/// One story as text with the properties named in `show` (space separated):
/// runs of characters alike in them as {props|text}; after each paragraph's
/// mark its own as [props]. Character keys: b i caps scaps hid strike u pos sz
/// font scripts (East Asian and complex-script fonts) color obj note; "mark" adds the marks' own character properties.
/// Paragraph keys: style al ind space line keep rtl grid (nosnap: off the document grid) tabs label depth (of a nested
/// table), row for the row format on a row's end mark, or rowend to mark only
/// where rows end. A property at the model's default prints nothing, so an
/// expectation names only what the file set.
inline std::string describe(const Document& doc, std::string_view show, size_t story = 0)
{
    const Story& s = doc.stories[story];
    const bool marks = (" " + std::string(show) + " ").contains(" mark ");
    std::string out, runProps;
    std::u16string run;
    auto flush = [&] {
        if (!run.empty())
            out += runProps.empty() ? visible(run) : "{" + runProps + "|" + visible(run) + "}";
        run.clear();
    };
    for (uint32_t i = 0; i < s.size(); ++i) {
        const ParaFormat& p = doc.paraFormatOf(s, i);
        const bool mark = doc.endsParagraph(story, i);
        // A row's end mark keeps no run properties in a Word package.
        const std::string props = mark && (!marks || p.rowEnd) ? "" : detail::charProps(doc.charFormatAt(s, i), show);
        if (props != runProps || mark)
            flush();
        runProps = props;
        run += s.text[i];
        if (!mark)
            continue;
        flush();
        if (const std::string para = detail::paraProps(doc, p, show); !para.empty())
            out += "[" + para + "]";
    }
    flush();
    return out;
}

/// Each section as "§end page-setup H:text F:text ...", the setup fields that
/// differ from the model's defaults, then the header and footer each page kind
/// shows (H primary, H1 first page, H2 even pages; F likewise): "H:" for the
/// section's own, "H^:" for one inherited from an earlier section. A story of
/// the wrong type for its place is flagged.
inline std::string describeSections(const Document& doc)
{
    static const char* starts[] = {"continuous", "newcolumn", "", "evenpage", "oddpage"};
    static const StoryType types[2][3] = {
        {StoryType::PrimaryFooter, StoryType::FirstPageFooter, StoryType::EvenPagesFooter},
        {StoryType::PrimaryHeader, StoryType::FirstPageHeader, StoryType::EvenPagesHeader}};
    const SectionFormat base;
    std::string out;
    for (size_t i = 0; i < doc.sections.size(); ++i) {
        const Section& sec = doc.sections[i];
        const SectionFormat& f = sec.format;
        detail::Tokens t{"s"};
        auto twips = [&](const char* name, Twips v, Twips unset) { t.add("s", v != unset, name + std::to_string(v)); };
        twips("w", f.pageWidth, base.pageWidth), twips("h", f.pageHeight, base.pageHeight);
        twips("mt", f.marginTop, base.marginTop), twips("mb", f.marginBottom, base.marginBottom);
        twips("ml", f.marginLeft, base.marginLeft), twips("mr", f.marginRight, base.marginRight);
        twips("hd", f.headerDistance, base.headerDistance), twips("fd", f.footerDistance, base.footerDistance);
        twips("cols", f.columns, base.columns), twips("colsp", f.columnSpacing, base.columnSpacing);
        t.add("s", f.titlePage, "title");
        static const char* grids[] = {"", "gridlines", "gridlineschars", "gridsnapchars"};
        t.add("s", f.gridType != DocGridType::None,
              grids[static_cast<int>(f.gridType)] + std::to_string(f.linePitch));
        t.add("s", true, starts[static_cast<int>(f.start)]);
        for (int header = 1; header >= 0; --header)
            for (int slot = 0; slot < 3; ++slot) {
                const auto index = static_cast<HeaderFooterIndex>(slot + 1);
                const int32_t story = header ? doc.headerStory(i, index) : doc.footerStory(i, index);
                const int32_t own = header ? sec.headers[slot] : sec.footers[slot];
                t.add("s", story >= 0,
                      (header ? "H" : "F") + (slot ? std::to_string(slot) : "") + (own < 0 ? "^:" : ":") +
                          storyText(doc, story) +
                          (story >= 0 && doc.stories[story].type != types[header][slot] ? "(wrong story type)" : ""));
            }
        out += (i ? " | §" : "§") + std::to_string(sec.end) + (t.out.empty() ? "" : " ") + t.out;
    }
    return out;
}

/// Each note as kind:text, the text being the note's own range; a note kept
/// in a story of another kind is flagged.
inline std::string describeNotes(const Document& doc)
{
    std::string out;
    static const char* kinds[] = {"foot", "end", "comment"};
    static const StoryType types[] = {StoryType::Footnotes, StoryType::Endnotes, StoryType::Comments};
    for (const Note& n : doc.notes) {
        const int k = static_cast<int>(n.kind);
        out += (out.empty() ? "" : " | ") + std::string(kinds[k]) + ":";
        if (n.story < 0 || static_cast<size_t>(n.story) >= doc.stories.size()) {
            out += "no story";
            continue;
        }
        const Story& s = doc.stories[n.story];
        out += visible(std::u16string_view(s.text).substr(n.start, n.end - n.start));
        if (s.type != types[k])
            out += "(wrong story type)";
    }
    return out;
}

/// Each drawing object as kind, "float" when anchored, its size when known,
/// and its own story's text.
inline std::string describeObjects(const Document& doc)
{
    std::ostringstream out;
    static const char* kinds[] = {"picture", "shape", "textbox", "chart", "embedded"};
    for (size_t i = 0; i < doc.objects.size(); ++i) {
        const InlineObject& o = doc.objects[i];
        out << (i ? " | " : "") << kinds[static_cast<int>(o.kind)] << (o.floating ? " float" : "");
        if (o.width || o.height)
            out << " " << o.width << "x" << o.height;
        if (o.story >= 0)
            out << ":" << storyText(doc, o.story)
                << (doc.stories[o.story].type == StoryType::TextFrame ? "" : "(wrong story type)");
    }
    return out.str();
}

/// A read that failed with an error containing `part`.
inline ::testing::AssertionResult failsWith(const ReadResult& r, std::string_view part)
{
    if (!r.ok() && r.error.find(part) != std::string::npos)
        return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << "read ok " << r.ok() << ", error \"" << r.error << "\"";
}

inline bool hasDiagnostic(const Document& doc, std::string_view code)
{
    for (const Diagnostic& d : doc.diagnostics)
        if (d.code == code)
            return true;
    return false;
}

} // namespace qm::engine::test
