// In-memory writer of Works 2-4 word-processor files. The layout is the one
// libwps' WPS4 parser reads (the format Works shares with Write and Word 3):
// a 256-byte header of zone offsets and page setup, the text from 0x100, and
// 128-byte pages of formatting runs after it.
#include "WorksFixture.h"

#include "../doc/DocFixture.h"

#include <cassert>
#include <map>

namespace qm::engine::test {

namespace {

using doc::test::put16;
using doc::test::put32;
using doc::test::set16;
using doc::test::set32;

constexpr uint32_t TextStart = 0x100;
constexpr size_t Page = 0x80;

struct Run {
    uint32_t from, to;
    std::string prop; // the property bytes after the length byte; empty for the defaults
};

// Fills the gaps between the given runs with default runs so that the runs
// cover the whole text, and starts a run where each of the header, footer
// and main text starts, as Works writes them (libwps reads a zone's text
// from the runs that start in it).
std::vector<Run> coverText(std::vector<Run> given, uint32_t size, std::vector<uint32_t> zoneStarts)
{
    std::vector<Run> covered;
    uint32_t at = 0;
    for (const Run& r : given) {
        assert(r.from >= at && r.to > r.from && r.to <= size);
        if (r.from > at)
            covered.push_back({at, r.from, {}});
        covered.push_back(r);
        at = r.to;
    }
    if (at < size || covered.empty())
        covered.push_back({at, size, {}});
    std::vector<Run> out;
    for (Run r : covered) {
        for (uint32_t start : zoneStarts)
            if (start > r.from && start < r.to) {
                out.push_back({r.from, start, r.prop});
                r.from = start;
            }
        out.push_back(r);
    }
    return out;
}

// One formatting page: the run starts (file offsets) and the text's end, one
// byte a run giving where its properties stand in the page (0: defaults),
// the properties packed at the page's end, and the number of runs last.
std::string formattingPage(const std::vector<Run>& runs)
{
    std::string page(Page, '\0');
    const size_t count = runs.size();
    assert(count < 20);
    size_t at = 0;
    for (const Run& r : runs)
        set32(page, at, TextStart + r.from), at += 4;
    set32(page, at, TextStart + runs.back().to), at += 4;
    size_t free = Page - 1;
    std::map<std::string, uint8_t> placed;
    for (size_t i = 0; i < count; ++i) {
        const std::string& prop = runs[i].prop;
        uint8_t offset = 0;
        if (!prop.empty()) {
            auto found = placed.find(prop);
            if (found == placed.end()) {
                free -= prop.size() + 1;
                page[free] = static_cast<char>(prop.size());
                page.replace(free + 1, prop.size(), prop);
                found = placed.emplace(prop, static_cast<uint8_t>(free)).first;
            }
            offset = found->second;
        }
        page[at + i] = static_cast<char>(offset);
    }
    assert(free >= at + count);
    page[Page - 1] = static_cast<char>(count);
    return page;
}

// A table finding the formatting pages: the text's start and end, then the
// page's number (its offset over 128).
std::string pageTable(size_t pageOffset, uint32_t textEnd)
{
    std::string t;
    put32(t, TextStart);
    put32(t, textEnd);
    put16(t, static_cast<uint16_t>(pageOffset / Page));
    return t;
}

} // namespace

std::string buildWorksStream(const WorksDocument& w)
{
    const std::string text = w.header + w.footer + w.text;
    const uint32_t textEnd = TextStart + static_cast<uint32_t>(text.size());
    std::string b(TextStart, '\0');
    b[0] = static_cast<char>(w.version);
    b[1] = '\xFE';
    // The program that wrote the file: Works 3.0 and 4.0 for Windows.
    set16(b, 2, w.version == 6 ? 0x5375 : w.version == 4 ? 0x4E27 : 0);
    set16(b, 0x10, static_cast<uint16_t>(w.oemCodePage << 4));
    // Where the text starts, then where the header, footer and main text end.
    const auto headerEnd = TextStart + static_cast<uint32_t>(w.header.size());
    set32(b, 0x1A, TextStart), set32(b, 0x1E, headerEnd);
    set32(b, 0x22, headerEnd + static_cast<uint32_t>(w.footer.size())), set32(b, 0x26, textEnd);
    b += text;
    b.resize((b.size() + Page - 1) / Page * Page, '\0');

    std::vector<Run> chars, paras;
    for (const WorksDocument::Chars& c : w.chars) {
        std::string prop(1, static_cast<char>(c.flags));
        if (c.font >= 0 || c.halfPoints) {
            // Which of the following bytes are set: 0x08 the font, 0x10 the size.
            prop += static_cast<char>(0x08 | (c.halfPoints ? 0x10 : 0));
            prop += static_cast<char>(c.font < 0 ? 0 : c.font);
            if (c.halfPoints)
                prop += '\0', prop += static_cast<char>(c.halfPoints); // no underline, then the size
        }
        chars.push_back({c.from, c.to, prop});
    }
    for (const WorksDocument::Para& p : w.paras) {
        // Three bytes Works leaves zero, then property 5: the alignment.
        std::string prop = p.justify ? std::string("\0\0\0\x05", 4) + static_cast<char>(p.justify) : std::string();
        paras.push_back({p.from, p.to, prop});
    }
    const auto size = static_cast<uint32_t>(text.size());
    const std::vector<uint32_t> zones{static_cast<uint32_t>(w.header.size()),
                                      static_cast<uint32_t>(w.header.size() + w.footer.size())};
    const size_t charPage = b.size();
    b += formattingPage(coverText(chars, size, zones));
    const size_t paraPage = b.size();
    b += formattingPage(coverText(paras, size, zones));

    auto entry = [&b](size_t at, size_t offset, size_t length) {
        set32(b, at, static_cast<uint32_t>(offset));
        set16(b, at + 4, static_cast<uint16_t>(length));
    };
    const std::string charTable = pageTable(charPage, textEnd), paraTable = pageTable(paraPage, textEnd);
    entry(0x2E, b.size(), charTable.size());
    b += charTable;
    entry(0x34, b.size(), paraTable.size());
    b += paraTable;
    std::string fonts;
    for (size_t i = 0; i < w.fonts.size(); ++i) {
        fonts += static_cast<char>(i);
        fonts += '\0';
        fonts += static_cast<char>(w.fonts[i].size());
        fonts += w.fonts[i];
    }
    if (!fonts.empty()) {
        entry(0x5E, b.size(), fonts.size());
        b += fonts;
    }
    set32(b, 0x2A, static_cast<uint32_t>(b.size())); // the stream's end

    // The page: margins top, bottom, left, right, then height and width;
    // then the first page's number, the no-header and no-footer on the first page flags,
    // the header and footer heights, portrait, a zoom of 100%.
    size_t at = 0x64;
    for (uint16_t v : {w.marginTop, w.marginBottom, w.marginLeft, w.marginRight, w.pageHeight, w.pageWidth, uint16_t(1),
                       uint16_t(w.noFirstPageHeader), uint16_t(0), uint16_t(720), uint16_t(720), uint16_t(0),
                       uint16_t(100), uint16_t(0)})
        set16(b, at, v), at += 2;
    return b;
}

std::string buildWorksFile(const WorksDocument& w)
{
    return doc::test::buildCompoundFile({{u"MN0", buildWorksStream(w)}});
}

} // namespace qm::engine::test
