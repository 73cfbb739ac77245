// Our line and page breaks against pages Word exported, pair by pair.
//
// Usage: layout_truth [--dir DIR] [--show NAME] [--dump NAME] [--only SUBSTRING]
// DIR defaults to shared/layout-truth found beside the source tree. --show
// lists the unmatched lines of the pairs named, --dump prints our layout.
// For every DIR/lines/<repo>/<name>.lines.txt it reads the pair's source
// (DIR/pairs/<repo>/<name>.docx, else .doc, else .rtf), lays it out, and
// compares the printed body lines of each page with ours: lines are matched
// by their text (white space ignored) in order over the whole document, so a
// page break in a different place costs no line, a line broken elsewhere
// costs two. Blank lines are invisible in a PDF and are left out on both
// sides; footnote lines ("[note]") are left out too. A table row, or text
// after a tab, is one printed line on both sides.
#include "engine/formats/Reader.h"
#include "engine/layout/Layout.h"
#include "engine/layout/LayoutDump.h"
#include "engine/layout/TextMeasurer.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

using namespace qm::engine;
namespace fs = std::filesystem;

namespace {

struct Row {
    std::string text; // as printed, segments joined by a tab
    std::string key;  // white space removed
    size_t page = 0;
};

std::string keyOf(const std::string& text)
{
    // Ligatures print as one glyph: as their letters, or as "?" where the
    // PDF does not say which letters (the ff ligature); both sides alike.
    // A Symbol-font bullet prints as "•"; PDFs made on Windows keep its
    // private-use code (U+F0B7) in their text, those made on a Mac the
    // bullet: read both as the bullet.
    static const std::pair<std::string, std::string> ligatures[] = {
        {"\uFB00", "ff"},  {"\uFB01", "fi"}, {"\uFB02", "fl"},    {"\uFB03", "ffi"},
        {"\uFB04", "ffl"}, {"?", "ff"},      {"\uF0B7", "\u2022"}};
    std::string k;
    for (size_t i = 0; i < text.size(); ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c == ' ' || c == '\t' || c == '\r' || c == '\n')
            continue;
        // No-break space and the like (UTF-8 C2 A0) print as spaces.
        if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) == 0xA0) {
            ++i;
            continue;
        }
        k += static_cast<char>(c);
    }
    // Tab leaders print as dots the text does not hold.
    for (size_t at = k.find(".."); at != std::string::npos; at = k.find("..", at)) {
        size_t end = at;
        while (end < k.size() && k[end] == '.')
            ++end;
        k.erase(at, end - at);
    }
    for (const auto& [from, to] : ligatures)
        for (size_t at = k.find(from); at != std::string::npos; at = k.find(from, at + to.size()))
            k.replace(at, from.size(), to);
    return k;
}

std::vector<Row> readTruth(const fs::path& file, size_t& pages, size_t& noteLines)
{
    std::vector<Row> rows;
    std::ifstream in(file);
    std::string line;
    pages = 0;
    noteLines = 0;
    while (std::getline(in, line)) {
        if (line.rfind("=== page ", 0) == 0) {
            ++pages;
            continue;
        }
        if (line.rfind("[note]", 0) == 0) {
            ++noteLines;
            continue;
        }
        Row r{line, keyOf(line), pages};
        if (!r.key.empty())
            rows.push_back(std::move(r));
    }
    return rows;
}

std::u16string visibleText(const Document& doc, const layout::LaidOutLine& l)
{
    std::u16string t = l.label;
    if (!t.empty())
        t += u'\t';
    const Story& s = doc.stories[l.story];
    for (uint32_t p = l.start; p < l.end && p < s.size(); ++p) {
        const char16_t c = s.text[p];
        const CharFormat& f = doc.charFormatAt(s, p);
        if (f.hidden)
            continue;
        if (c == Ch::Tab || c >= 32) {
            // Capitals and small capitals print as capitals.
            t += f.allCaps || f.smallCaps ? layout::displayCapital(c) : c;
        } else if (c == Ch::NoteReference) {
            // The reference prints the note's number among its kind.
            const int32_t note = doc.charFormatAt(s, p).noteIndex;
            if (note >= 0 && static_cast<size_t>(note) < doc.notes.size()) {
                int number = 0;
                for (int32_t i = 0; i <= note; ++i)
                    number += doc.notes[i].kind == doc.notes[note].kind ? 1 : 0;
                t += u' ' + utf8ToUtf16(std::to_string(number)) + u' ';
            }
        }
        if (c == Ch::NonBreakingHyphen)
            t += u'-';
    }
    if (l.hyphenated)
        t += u'-';
    return t;
}

// The box a PDF text extractor gives a line's glyphs: from the tallest
// font's ascent above the baseline to its descent below (0.8 and 0.2 of the
// size stand in for the fonts' own figures).
struct GlyphBox {
    double top = 0, bottom = 0;
};

GlyphBox glyphBox(const Document& doc, const layout::LaidOutLine& l)
{
    const Story& s = doc.stories[l.story];
    // The characters that print: a paragraph mark or cell end in a larger
    // size than the text makes the line taller, never its glyphs.
    double size = 0;
    for (uint32_t p = l.start; p < l.end && p < s.size(); ++p)
        if (s.text[p] >= 0x20)
            size = std::max(size, doc.charFormatAt(s, p).sizeHalfPoints * 10.0);
    if (size == 0)
        size = 200;
    const double baseline = l.y + l.ascent;
    return {baseline - 0.8 * size, baseline + 0.2 * size};
}

std::vector<Row> ourRows(const Document& doc, const layout::LayoutResult& result)
{
    std::vector<Row> rows;
    for (size_t p = 0; p < result.pages.size(); ++p) {
        // Lines print as one row as the reference files join them: glyph
        // boxes overlapping by more than half the lower one's height (cells
        // of a table row in different fonts; in the reference no two rows of
        // a column overlap by more). Columns side by side are read column by
        // column like the PDF's reading order.
        // Chart text (titles, axis and legend labels) joins the rows like
        // the lines, with its own glyph box.
        struct Item {
            const layout::LaidOutLine* line;
            const layout::DrawnText* drawn;
            GlyphBox box;
            int16_t column() const { return line ? line->column : drawn->column; }
            double baseline() const { return line ? line->y + line->ascent : drawn->baseline; }
            double x() const { return line ? line->x : drawn->x; }
        };
        std::vector<Item> lines;
        for (const auto* part : {&result.pages[p].lines, &result.pages[p].boxLines})
            for (const auto& l : *part)
                if (!l.empty)
                    lines.push_back({&l, nullptr, glyphBox(doc, l)});
        // Text turned upright (a vertical axis's title) makes no row of its own.
        for (const auto& d : result.pages[p].drawnText)
            if (!d.vertical)
                lines.push_back({nullptr, &d, {d.top, d.bottom}});
        std::stable_sort(lines.begin(), lines.end(), [](const Item& a, const Item& b) {
            if (a.column() != b.column())
                return a.column() < b.column();
            return a.baseline() < b.baseline() - 40;
        });
        auto together = [](const GlyphBox& a, const GlyphBox& b) {
            const double overlap = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
            return overlap > 0.5 * std::min(a.bottom - a.top, b.bottom - b.top);
        };
        for (size_t i = 0; i < lines.size();) {
            size_t j = i + 1;
            while (j < lines.size() && lines[j].column() == lines[i].column() && together(lines[i].box, lines[j].box))
                ++j;
            std::vector<const Item*> group;
            for (size_t k = i; k < j; ++k)
                group.push_back(&lines[k]);
            std::sort(group.begin(), group.end(), [](auto* a, auto* b) { return a->x() < b->x(); });
            std::string text;
            for (const Item* item : group) {
                if (!text.empty())
                    text += '\t';
                text += utf16ToUtf8(item->line ? visibleText(doc, *item->line) : item->drawn->text);
            }
            Row r{text, keyOf(text), p + 1};
            if (!r.key.empty())
                rows.push_back(std::move(r));
            i = j;
        }
    }
    return rows;
}

// Longest common subsequence of the two row lists by key; `pairs` gets the
// matched index pairs when asked (small documents only).
size_t matchRows(const std::vector<Row>& a, const std::vector<Row>& b, std::vector<std::pair<size_t, size_t>>* pairs)
{
    const size_t n = a.size(), m = b.size();
    if (pairs && n * m <= 50'000'000) {
        std::vector<uint16_t> dp((n + 1) * (m + 1), 0);
        auto at = [&](size_t i, size_t j) -> uint16_t& { return dp[i * (m + 1) + j]; };
        for (size_t i = n; i-- > 0;)
            for (size_t j = m; j-- > 0;)
                at(i, j) = a[i].key == b[j].key ? at(i + 1, j + 1) + 1 : std::max(at(i + 1, j), at(i, j + 1));
        for (size_t i = 0, j = 0; i < n && j < m;) {
            if (a[i].key == b[j].key) {
                pairs->push_back({i, j});
                ++i, ++j;
            } else if (at(i + 1, j) >= at(i, j + 1)) {
                ++i;
            } else {
                ++j;
            }
        }
        return at(0, 0);
    }
    std::vector<uint32_t> prev(m + 1, 0), cur(m + 1, 0);
    for (size_t i = 1; i <= n; ++i) {
        for (size_t j = 1; j <= m; ++j)
            cur[j] = a[i - 1].key == b[j - 1].key ? prev[j - 1] + 1 : std::max(prev[j], cur[j - 1]);
        std::swap(prev, cur);
    }
    return prev[m];
}

} // namespace

int main(int argc, char** argv)
{
    // shared/layout-truth beside the source tree or one of its parents (a
    // worktree sits a level deeper than the main checkout).
    fs::path dir;
    for (fs::path up = fs::absolute(QM_SOURCE_DIR); !up.empty(); up = up.parent_path()) {
        if (fs::is_directory(up / "shared" / "layout-truth")) {
            dir = up / "shared" / "layout-truth";
            break;
        }
        if (up == up.parent_path())
            break;
    }
    std::string show, only, dump;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string flag = argv[i];
        if (flag == "--dir")
            dir = argv[i + 1];
        else if (flag == "--show")
            show = argv[i + 1];
        else if (flag == "--only")
            only = argv[i + 1];
        else if (flag == "--dump")
            dump = argv[i + 1];
    }
    if (!fs::is_directory(dir / "lines")) {
        std::printf("no layout truth at %s\n", dir.string().c_str());
        return 0;
    }
    std::vector<fs::path> files;
    for (const auto& e : fs::recursive_directory_iterator(dir / "lines"))
        if (e.path().string().ends_with(".lines.txt"))
            files.push_back(e.path());
    std::sort(files.begin(), files.end());

    size_t pairs = 0, read = 0, pagesExact = 0, pagesNear = 0, perPageExact = 0;
    size_t truthLines = 0, matchedLines = 0;
    double pairShare = 0;
    std::printf("%-48s %9s %11s %7s %7s %s\n", "pair", "pages", "lines", "match", "%", "lines/page equal");
    for (const fs::path& file : files) {
        const std::string repo = file.parent_path().filename().string();
        std::string name = file.filename().string();
        name.resize(name.size() - std::string(".lines.txt").size());
        const std::string label = repo + "/" + name;
        if (!only.empty() && label.find(only) == std::string::npos)
            continue;
        ++pairs;
        fs::path source;
        for (const char* ext : {".docx", ".doc", ".rtf"}) {
            const fs::path candidate = dir / "pairs" / repo / (name + ext);
            if (fs::exists(candidate)) {
                source = candidate;
                break;
            }
        }
        size_t truthPages = 0, notes = 0;
        const std::vector<Row> truth = readTruth(file, truthPages, notes);
        // Word's PDFs show the text metafile pictures draw: read it too.
        ReadOptions readOptions;
        readOptions.pictureText = true;
        ReadResult doc = source.empty() ? ReadResult::failure("no source") : readDocument(source, readOptions);
        if (!doc.ok()) {
            std::printf("%-48s unreadable: %s\n", label.c_str(), doc.error.c_str());
            continue;
        }
        ++read;
        const layout::LayoutResult result = layout::layoutDocument(*doc.document);
        if (!dump.empty() && label.find(dump) != std::string::npos)
            std::fputs(layout::dumpLayout(*doc.document, result).c_str(), stdout);
        const std::vector<Row> ours = ourRows(*doc.document, result);
        std::vector<std::pair<size_t, size_t>> matchedPairs;
        const size_t matched =
            matchRows(ours, truth, label.find(show) != std::string::npos && !show.empty() ? &matchedPairs : nullptr);
        const size_t ourPages = static_cast<size_t>(result.pageCount());
        size_t equalPages = 0;
        for (size_t p = 1; p <= std::min(ourPages, truthPages); ++p) {
            const auto count = [p](const std::vector<Row>& rows) {
                return std::count_if(rows.begin(), rows.end(), [p](const Row& r) { return r.page == p; });
            };
            equalPages += count(ours) == count(truth) ? 1 : 0;
        }
        pagesExact += ourPages == truthPages ? 1 : 0;
        pagesNear += (ourPages + 1 >= truthPages && ourPages <= truthPages + 1) ? 1 : 0;
        perPageExact += equalPages == truthPages && ourPages == truthPages ? 1 : 0;
        truthLines += truth.size();
        matchedLines += matched;
        const double share = truth.empty() ? 1.0 : double(matched) / double(truth.size());
        pairShare += share;
        std::printf("%-48s %4zu/%-4zu %5zu/%-5zu %7zu %6.1f%% %zu/%zu\n", label.c_str(), ourPages, truthPages,
                    ours.size(), truth.size(), matched, 100 * share, equalPages, truthPages);
        if (!matchedPairs.empty() || (!show.empty() && label.find(show) != std::string::npos)) {
            std::printf("  lines per page, ours:");
            for (size_t p = 1; p <= ourPages; ++p)
                std::printf(" %zu", static_cast<size_t>(std::count_if(ours.begin(), ours.end(),
                                                                      [p](const Row& r) { return r.page == p; })));
            std::printf("\n  lines per page, Word:");
            for (size_t p = 1; p <= truthPages; ++p)
                std::printf(" %zu", static_cast<size_t>(std::count_if(truth.begin(), truth.end(),
                                                                      [p](const Row& r) { return r.page == p; })));
            std::printf("\n");
            // Page breaks in different places: a matched line that starts a
            // page on one side only.
            for (const auto& [mi, mj] : matchedPairs) {
                const bool ourStart = mi == 0 || ours[mi - 1].page != ours[mi].page;
                const bool wordStart = mj == 0 || truth[mj - 1].page != truth[mj].page;
                if (ourStart != wordStart)
                    std::printf("  break %s  ours p%-3zu word p%-3zu %s\n", ourStart ? "ours" : "word", ours[mi].page,
                                truth[mj].page, truth[mj].text.c_str());
            }
            // Unmatched lines of both sides, in order.
            size_t i = 0, j = 0;
            matchedPairs.push_back({ours.size(), truth.size()});
            for (const auto& [mi, mj] : matchedPairs) {
                for (; i < mi; ++i)
                    std::printf("  ours  p%-3zu %s\n", ours[i].page, ours[i].text.c_str());
                for (; j < mj; ++j)
                    std::printf("  word  p%-3zu %s\n", truth[j].page, truth[j].text.c_str());
                ++i, ++j;
            }
        }
    }
    std::printf("\npairs %zu, read %zu\n", pairs, read);
    if (read > 0) {
        std::printf("pages exact %zu/%zu (%.1f%%), within 1: %zu/%zu\n", pagesExact, read, 100.0 * pagesExact / read,
                    pagesNear, read);
        std::printf("lines per page all equal: %zu/%zu pairs\n", perPageExact, read);
        std::printf("lines matched %zu/%zu (%.1f%% of Word's lines; mean per pair %.1f%%)\n", matchedLines, truthLines,
                    truthLines ? 100.0 * matchedLines / truthLines : 0.0, 100.0 * pairShare / read);
    }
    return 0;
}
