// In-memory writers of compound files and Word 97-2003 documents for the reader's tests.
#include "DocFixture.h"

#include <algorithm>
#include <cassert>

namespace qm::engine::doc::test {

namespace {

constexpr uint32_t EndOfChain = 0xFFFFFFFEu;
constexpr uint32_t FreeSector = 0xFFFFFFFFu;
constexpr uint32_t FatSector = 0xFFFFFFFDu;
constexpr size_t Sector = 512;

size_t sectorsFor(size_t bytes) { return (bytes + Sector - 1) / Sector; }

void pad(std::string& b, size_t multiple, char fill = '\0')
{
    while (b.size() % multiple != 0)
        b.push_back(fill);
}

uint8_t cp1252Byte(char16_t c)
{
    static constexpr char16_t high[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
    for (int i = 0; i < 32; ++i)
        if (high[i] == c)
            return static_cast<uint8_t>(0x80 + i);
    assert(c < 256);
    return static_cast<uint8_t>(c);
}

/// Formatted disk pages for runs in file order: (fcStart, fcEnd, property bytes).
struct FkpRun {
    uint32_t start, end;
    std::string props; // empty: no properties
};

std::string fkpPages(std::vector<FkpRun> runs, bool paragraphs, uint32_t firstPage, std::string& binTable)
{
    std::sort(runs.begin(), runs.end(), [](const FkpRun& a, const FkpRun& b) { return a.start < b.start; });
    // Merge neighbours with equal properties and fill gaps with property-less runs.
    std::vector<FkpRun> merged;
    for (const FkpRun& r : runs) {
        if (!merged.empty() && merged.back().end < r.start)
            merged.push_back({merged.back().end, r.start, {}});
        if (!merged.empty() && merged.back().end == r.start && merged.back().props == r.props)
            merged.back().end = r.end;
        else
            merged.push_back(r);
    }
    std::string pages;
    std::vector<uint32_t> fcs, pns;
    const size_t perPage = paragraphs ? 20 : 60;
    for (size_t first = 0; first < merged.size(); first += perPage) {
        const size_t n = std::min(perPage, merged.size() - first);
        std::string page(Sector, '\0');
        size_t top = 511;
        for (size_t i = 0; i <= n; ++i)
            set32(page, 4 * i, i < n ? merged[first + i].start : merged[first + n - 1].end);
        const size_t entries = 4 * (n + 1);
        for (size_t i = 0; i < n; ++i) {
            const std::string& props = merged[first + i].props;
            if (props.empty())
                continue;
            std::string blob;
            if (paragraphs) {
                if (props.size() % 2 == 1) {
                    blob.push_back(static_cast<char>((props.size() + 1) / 2));
                } else {
                    blob.push_back('\0');
                    blob.push_back(static_cast<char>(props.size() / 2));
                }
            } else {
                blob.push_back(static_cast<char>(props.size()));
            }
            blob += props;
            top = (top - blob.size()) & ~size_t(1);
            assert(top > entries + (paragraphs ? 13 : 1) * n);
            page.replace(top, blob.size(), blob);
            page[entries + (paragraphs ? 13 : 1) * i] = static_cast<char>(top / 2);
        }
        page[511] = static_cast<char>(n);
        fcs.push_back(merged[first].start);
        pns.push_back(firstPage + static_cast<uint32_t>(pages.size() / Sector));
        pages += page;
    }
    if (!merged.empty())
        fcs.push_back(merged.back().end);
    for (uint32_t fc : fcs)
        put32(binTable, fc);
    for (uint32_t pn : pns)
        put32(binTable, pn);
    return pages;
}

} // namespace

void put16(std::string& b, uint16_t v) { b += {static_cast<char>(v & 0xFF), static_cast<char>(v >> 8)}; }
void put32(std::string& b, uint32_t v) { put16(b, static_cast<uint16_t>(v)), put16(b, static_cast<uint16_t>(v >> 16)); }
void set16(std::string& b, size_t at, uint16_t v)
{
    b[at] = static_cast<char>(v & 0xFF), b[at + 1] = static_cast<char>(v >> 8);
}
void set32(std::string& b, size_t at, uint32_t v)
{
    set16(b, at, static_cast<uint16_t>(v)), set16(b, at + 2, static_cast<uint16_t>(v >> 16));
}

uint32_t get32(const std::string& b, size_t at)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | static_cast<uint8_t>(b[at + i]);
    return v;
}

std::string sprm(uint16_t code, std::initializer_list<uint8_t> operand)
{
    std::string s;
    put16(s, code);
    for (uint8_t b : operand)
        s.push_back(static_cast<char>(b));
    return s;
}

std::string sprm16(uint16_t code, uint16_t value)
{
    return sprm(code, {static_cast<uint8_t>(value & 0xFF), static_cast<uint8_t>(value >> 8)});
}

std::string buildCompoundFile(const std::vector<std::pair<std::u16string, std::string>>& streams, CfbLayout* layout)
{
    // Small streams live in the small-stream container, 64 bytes a unit.
    std::string mini;
    std::vector<uint32_t> miniFat;
    std::vector<uint32_t> start(streams.size(), EndOfChain);
    for (size_t i = 0; i < streams.size(); ++i) {
        const std::string& data = streams[i].second;
        if (data.size() >= 4096 || data.empty())
            continue;
        const uint32_t first = static_cast<uint32_t>(miniFat.size());
        const size_t units = (data.size() + 63) / 64;
        for (size_t u = 0; u < units; ++u)
            miniFat.push_back(u + 1 < units ? first + static_cast<uint32_t>(u) + 1 : EndOfChain);
        start[i] = first;
        mini += data;
        pad(mini, 64);
    }
    const size_t dirSectors = sectorsFor((streams.size() + 1) * 128);
    const size_t miniFatSectors = sectorsFor(miniFat.size() * 4);
    const size_t miniSectors = sectorsFor(mini.size());
    size_t streamSectors = 0;
    for (const auto& [name, data] : streams)
        if (data.size() >= 4096)
            streamSectors += sectorsFor(data.size());
    const size_t other = dirSectors + miniFatSectors + miniSectors + streamSectors;
    size_t fatSectors = 1;
    while (fatSectors * 128 < fatSectors + other)
        ++fatSectors;
    assert(fatSectors <= 109);

    std::vector<uint32_t> fat(fatSectors * 128, FreeSector);
    uint32_t next = 0;
    auto chain = [&](size_t count) {
        const uint32_t first = next;
        for (size_t k = 0; k < count; ++k, ++next)
            fat[next] = k + 1 < count ? next + 1 : EndOfChain;
        return count ? first : EndOfChain;
    };
    for (size_t k = 0; k < fatSectors; ++k)
        fat[next++] = FatSector;
    const uint32_t dirStart = chain(dirSectors);
    const uint32_t miniFatStart = chain(miniFatSectors);
    const uint32_t miniStart = chain(miniSectors);
    std::string body;
    for (size_t k = 0; k < fatSectors * 128; ++k)
        put32(body, 0); // placeholder for the allocation table
    std::string dir;
    auto entry = [&](std::u16string_view name, uint8_t type, uint32_t right, uint32_t child, uint32_t first,
                     uint32_t size) {
        std::string e(128, '\0');
        for (size_t c = 0; c < name.size() && c < 31; ++c)
            set16(e, 2 * c, name[c]);
        set16(e, 0x40, static_cast<uint16_t>(2 * (name.size() + 1)));
        e[0x42] = static_cast<char>(type);
        e[0x43] = 1;
        set32(e, 0x44, FreeSector);
        set32(e, 0x48, right);
        set32(e, 0x4C, child);
        set32(e, 0x74, first);
        set32(e, 0x78, size);
        dir += e;
    };
    entry(u"Root Entry", 5, FreeSector, streams.empty() ? FreeSector : 1, miniStart,
          static_cast<uint32_t>(mini.size()));
    for (size_t i = 0; i < streams.size(); ++i) {
        const std::string& data = streams[i].second;
        if (data.size() >= 4096) {
            start[i] = chain(sectorsFor(data.size()));
            if (layout)
                layout->firstSector[streams[i].first] = start[i];
        }
        // Members form a chain down the right-hand links: a valid, if lopsided, tree.
        entry(streams[i].first, 2, i + 1 < streams.size() ? static_cast<uint32_t>(i + 2) : FreeSector, FreeSector,
              start[i], static_cast<uint32_t>(data.size()));
    }
    auto append = [&](std::string part, char fill) {
        pad(part, Sector, fill);
        body += part;
    };
    append(dir, '\0');
    std::string mf;
    for (uint32_t v : miniFat)
        put32(mf, v);
    append(mf, '\xFF');
    append(mini, '\0');
    for (const auto& [name, data] : streams)
        if (data.size() >= 4096)
            append(data, '\0');
    for (size_t k = 0; k < fat.size(); ++k)
        set32(body, 4 * k, fat[k]);

    std::string header(Sector, '\0');
    header.replace(0, 8, "\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1");
    // Minor and major version, byte order, sector and small-sector shifts.
    for (auto [at, v] : {std::pair{0x18, 0x3E}, {0x1A, 3}, {0x1C, 0xFFFE}, {0x1E, 9}, {0x20, 6}})
        set16(header, at, static_cast<uint16_t>(v));
    set32(header, 0x2C, static_cast<uint32_t>(fatSectors));
    set32(header, 0x30, dirStart);
    set32(header, 0x38, 4096);
    set32(header, 0x3C, miniFatSectors ? miniFatStart : EndOfChain);
    set32(header, 0x40, static_cast<uint32_t>(miniFatSectors));
    set32(header, 0x44, EndOfChain);
    for (size_t k = 0; k < 109; ++k)
        set32(header, 0x4C + 4 * k, k < fatSectors ? static_cast<uint32_t>(k) : FreeSector);
    if (layout) {
        layout->fatOffset = Sector;
        layout->directoryOffset = Sector * (1 + dirStart);
    }
    return header + body;
}

std::string buildStyleSheet(const std::vector<StyleDef>& styles)
{
    std::string b;
    // The header: its length, the style count, each style's base length, then
    // zeros (default fonts: the first of the font table).
    for (uint16_t v : {18, static_cast<int>(styles.size()), 10, 1, 0, 0, 0, 0, 0, 0})
        put16(b, v);
    for (const StyleDef& s : styles) {
        if (s.kind == 0) { // an unused slot
            put16(b, 0);
            continue;
        }
        std::string std;
        put16(std, 0);
        put16(std, static_cast<uint16_t>(s.kind | (s.base << 4)));
        put16(std, static_cast<uint16_t>((s.kind == 1 ? 2 : 1) | (0 << 4)));
        put16(std, 0);
        put16(std, 0);
        put16(std, static_cast<uint16_t>(s.name.size()));
        for (char16_t c : s.name)
            put16(std, c);
        put16(std, 0);
        auto upx = [&](const std::string& bytes) {
            put16(std, static_cast<uint16_t>(bytes.size()));
            std += bytes;
            pad(std, 2);
        };
        if (s.kind == 1) {
            std::string papx;
            put16(papx, 0);
            upx(papx + s.papx);
        }
        upx(s.chpx);
        put16(b, static_cast<uint16_t>(std.size()));
        b += std;
    }
    return b;
}

std::pair<std::string, std::string> buildStreams(const DocSpec& spec)
{
    std::string wd(1024, '\0');
    std::string table;
    const uint32_t total = static_cast<uint32_t>(spec.text.size());
    const uint32_t width = spec.compressed ? 1 : 2;

    // Pieces: split where asked, stored in the stream last piece first.
    std::vector<uint32_t> bounds{0};
    for (uint32_t s : spec.pieceSplits)
        bounds.push_back(s);
    bounds.push_back(total);
    std::vector<uint32_t> pieceFc(bounds.size() - 1);
    for (size_t p = bounds.size() - 1; p-- > 0;) {
        pieceFc[p] = static_cast<uint32_t>(wd.size());
        for (uint32_t cp = bounds[p]; cp < bounds[p + 1]; ++cp) {
            if (spec.compressed)
                wd.push_back(static_cast<char>(cp1252Byte(spec.text[cp])));
            else
                put16(wd, spec.text[cp]);
        }
    }
    auto fcOf = [&](uint32_t cp) {
        size_t p = std::upper_bound(bounds.begin(), bounds.end(), cp) - bounds.begin() - 1;
        p = std::min(p, pieceFc.size() - 1);
        return pieceFc[p] + (cp - bounds[p]) * width;
    };
    pad(wd, Sector);

    // Section properties live in the document stream.
    std::vector<uint32_t> sepxAt;
    for (const auto& s : spec.sections) {
        sepxAt.push_back(static_cast<uint32_t>(wd.size()));
        put16(wd, static_cast<uint16_t>(s.sepx.size()));
        wd += s.sepx;
        pad(wd, 2);
    }
    pad(wd, Sector);

    std::vector<FkpRun> charRuns, paraRuns;
    for (uint32_t cp = 0; cp < total; ++cp) {
        std::string chpx;
        for (const auto& c : spec.chars)
            if (cp >= c.from && cp < c.to)
                chpx = c.grpprl;
        charRuns.push_back({fcOf(cp), fcOf(cp) + width, chpx});
        std::string papx;
        for (const auto& p : spec.paras) {
            if (cp < p.end) {
                put16(papx, p.istd);
                papx += p.grpprl;
                break;
            }
        }
        paraRuns.push_back({fcOf(cp), fcOf(cp) + width, papx});
    }
    std::string chpBin, papBin;
    wd += fkpPages(charRuns, false, static_cast<uint32_t>(wd.size() / Sector), chpBin);
    wd += fkpPages(paraRuns, true, static_cast<uint32_t>(wd.size() / Sector), papBin);

    // The file information block.
    set16(wd, 0, spec.wIdent);
    set16(wd, 2, spec.nFib);
    set16(wd, 6, spec.lid);
    set16(wd, 0x0A, spec.flags);
    set16(wd, 32, 14);
    set16(wd, 62, 22);
    const size_t lw = 64;
    set32(wd, lw, static_cast<uint32_t>(wd.size()));
    std::array<uint32_t, 8> ccp = spec.ccp;
    if (ccp[0] == 0) {
        uint32_t rest = 0;
        for (int i = 1; i < 8; ++i)
            rest += ccp[i];
        ccp[0] = total - rest;
    }
    for (int i = 0; i < 8; ++i)
        set32(wd, lw + 4 * (3 + i), ccp[i]);
    set16(wd, 152, 93);
    const size_t fcLcb = 154;
    auto place = [&](int index, const std::string& bytes) {
        if (bytes.empty())
            return;
        set32(wd, fcLcb + 8 * index, static_cast<uint32_t>(table.size()));
        set32(wd, fcLcb + 8 * index + 4, static_cast<uint32_t>(bytes.size()));
        table += bytes;
    };
    place(1, spec.styleSheet.empty() ? buildStyleSheet({StyleDef{1, 0x0FFF, u"Normal", {}, {}}}) : spec.styleSheet);
    if (!spec.footnoteRefs.empty()) {
        std::string refs, texts;
        for (uint32_t cp : spec.footnoteRefs)
            put32(refs, cp);
        put32(refs, ccp[0]);
        for (size_t i = 0; i < spec.footnoteRefs.size(); ++i)
            put16(refs, 1);
        for (uint32_t cp : spec.footnoteTexts)
            put32(texts, cp);
        place(2, refs);
        place(3, texts);
    }
    {
        std::string sed;
        std::vector<DocSpec::Sect> sections = spec.sections;
        if (sections.empty())
            sections.push_back({ccp[0], {}});
        put32(sed, 0);
        for (const auto& s : sections)
            put32(sed, s.end);
        for (size_t i = 0; i < sections.size(); ++i) {
            put16(sed, 0);
            put32(sed, i < sepxAt.size() ? sepxAt[i] : 0xFFFFFFFFu);
            put16(sed, 0);
            put32(sed, 0xFFFFFFFFu);
        }
        place(6, sed);
    }
    if (!spec.hdd.empty()) {
        std::string hdd;
        for (uint32_t cp : spec.hdd)
            put32(hdd, cp);
        place(11, hdd);
    }
    place(12, chpBin);
    place(13, papBin);
    {
        std::string ffn;
        put16(ffn, 1);
        put16(ffn, 0);
        std::string font(40, '\0');
        for (char16_t c : std::u16string(u"Times New Roman"))
            put16(font, c);
        put16(font, 0);
        font[0] = static_cast<char>(font.size() - 1);
        ffn += font;
        place(15, ffn);
    }
    place(31, spec.dop);
    {
        std::string clx;
        clx.push_back(2);
        put32(clx, static_cast<uint32_t>(4 * bounds.size() + 8 * (bounds.size() - 1)));
        for (uint32_t cp : bounds)
            put32(clx, cp);
        for (size_t p = 0; p + 1 < bounds.size(); ++p) {
            put16(clx, 0);
            put32(clx, spec.compressed ? (pieceFc[p] * 2) | 0x40000000u : pieceFc[p]);
            put16(clx, 0);
        }
        place(33, clx);
    }
    return {wd, table};
}

std::string buildDoc(const DocSpec& spec, CfbLayout* layout)
{
    auto [wd, table] = buildStreams(spec);
    std::vector<std::pair<std::u16string, std::string>> streams{{u"WordDocument", wd}};
    if (!spec.omitTableStream)
        streams.emplace_back((spec.flags & 0x0200) ? u"1Table" : u"0Table", table);
    return buildCompoundFile(streams, layout);
}

} // namespace qm::engine::doc::test
