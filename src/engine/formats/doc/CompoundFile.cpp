// Compound file parsing: header, sector allocation tables, directory and streams.
#include "engine/formats/doc/CompoundFile.h"

#include "engine/formats/doc/ByteReader.h"

#include <algorithm>

namespace qm::engine::doc {

namespace {

constexpr uint32_t MaxRegularSector = 0xFFFFFFFAu;
constexpr uint32_t EndOfChain = 0xFFFFFFFEu;
constexpr uint32_t NoStream = 0xFFFFFFFFu;
constexpr size_t HeaderSize = 512;
constexpr size_t EntrySize = 128;

char16_t foldCase(char16_t c)
{
    return (c >= u'a' && c <= u'z') ? static_cast<char16_t>(c - 32) : c;
}

bool sameName(std::u16string_view a, std::u16string_view b)
{
    return a.size() == b.size() &&
           std::equal(a.begin(), a.end(), b.begin(), [](char16_t x, char16_t y) { return foldCase(x) == foldCase(y); });
}

} // namespace

std::string_view CompoundFile::sector(uint32_t index) const
{
    // Sector n starts after the header sector; a file cut short in its last
    // sector keeps the bytes it has.
    const uint64_t offset = (static_cast<uint64_t>(index) + 1) * m_sectorSize;
    return slice(m_bytes, offset, m_sectorSize);
}

void CompoundFile::diagnose(std::string code, std::string message)
{
    if (m_diagnostics.size() < 50)
        m_diagnostics.push_back({std::move(code), Severity::Warning, "container", std::move(message)});
}

std::string CompoundFile::readChain(const std::vector<uint32_t>& table, uint32_t start, uint64_t size,
                                    bool mini, std::string_view what, bool& complete)
{
    complete = true;
    std::string out;
    const uint32_t unit = mini ? m_miniSectorSize : m_sectorSize;
    const bool sized = size != UINT64_MAX; // the directory's chain has no recorded size
    // No chain can hold more sectors than its table has entries, so the size
    // a directory entry claims is believed only that far.
    size = std::min<uint64_t>(size, static_cast<uint64_t>(table.size()) * unit);
    out.reserve(static_cast<size_t>(size));
    std::vector<bool> seen(table.size(), false);
    uint32_t current = start;
    while (out.size() < size) {
        if (current == EndOfChain && !sized)
            break;
        if (current == EndOfChain || current >= table.size() || seen[current]) {
            complete = false;
            diagnose("doc.chain",
                     std::string(what) + (current < table.size() && seen[current]
                                              ? " loops back on itself; the rest of it is not read"
                                              : " ends before its recorded size; the rest of it is not read"));
            break;
        }
        seen[current] = true;
        std::string_view data;
        if (mini) {
            data = slice(m_miniStream, static_cast<uint64_t>(current) * unit, unit);
        } else {
            data = sector(current);
        }
        if (data.empty()) {
            complete = false;
            diagnose("doc.truncated", std::string(what) + " runs past the end of the file; the rest is not read");
            break;
        }
        out.append(data.substr(0, static_cast<size_t>(std::min<uint64_t>(data.size(), size - out.size()))));
        current = table[current];
    }
    return out;
}

CompoundFile::OpenResult CompoundFile::open(std::string_view bytes)
{
    OpenResult result;
    if (bytes.size() < HeaderSize || !bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1")) {
        result.error = "the file is not a Word document (its container is not recognised)";
        return result;
    }
    CompoundFile cf;
    cf.m_bytes = bytes;
    const uint16_t sectorShift = u16(bytes, 0x1E);
    const uint16_t miniShift = u16(bytes, 0x20);
    if (sectorShift != 9 && sectorShift != 12) {
        result.error = "the document's container is damaged (sector size)";
        return result;
    }
    cf.m_sectorSize = 1u << sectorShift;
    cf.m_miniSectorSize = (miniShift >= 4 && miniShift < sectorShift) ? (1u << miniShift) : 64;
    const uint32_t cutoff = u32(bytes, 0x38);
    cf.m_miniCutoff = cutoff == 0 ? 4096 : cutoff;

    // Sectors the file can hold; every count below is capped by it.
    const uint64_t fileSectors = bytes.size() / cf.m_sectorSize + 1;
    const uint32_t perSector = cf.m_sectorSize / 4;

    // The sector allocation table's own sectors: 109 listed in the header,
    // the rest in a chain of extension sectors.
    std::vector<uint32_t> fatSectors;
    const uint32_t fatCount = u32(bytes, 0x2C);
    for (uint32_t i = 0; i < 109 && fatSectors.size() < fatCount; ++i) {
        const uint32_t s = u32(bytes, 0x4C + 4 * i);
        if (s < MaxRegularSector)
            fatSectors.push_back(s);
    }
    uint32_t difat = u32(bytes, 0x44);
    std::vector<bool> difatSeen;
    uint64_t difatSteps = 0;
    while (difat < MaxRegularSector && fatSectors.size() < fatCount && fatSectors.size() < fileSectors) {
        if (difat >= fileSectors || ++difatSteps > fileSectors) {
            cf.diagnose("doc.difat", "the table of sector tables is damaged; part of the file may be missing");
            break;
        }
        if (difatSeen.size() <= difat)
            difatSeen.resize(difat + 1, false);
        if (difatSeen[difat]) {
            cf.diagnose("doc.difat", "the table of sector tables loops back on itself");
            break;
        }
        difatSeen[difat] = true;
        const std::string_view sec = cf.sector(difat);
        for (uint32_t i = 0; i + 1 < perSector && fatSectors.size() < fatCount; ++i) {
            const uint32_t s = u32(sec, 4ull * i);
            if (s < MaxRegularSector)
                fatSectors.push_back(s);
        }
        difat = u32(sec, 4ull * (perSector - 1));
    }
    if (fatSectors.empty()) {
        result.error = "the document's container is damaged (no sector table)";
        return result;
    }
    cf.m_fat.reserve(std::min<uint64_t>(fatSectors.size(), fileSectors) * perSector);
    for (uint32_t s : fatSectors) {
        const std::string_view sec = cf.sector(s);
        for (uint32_t i = 0; i < perSector; ++i)
            cf.m_fat.push_back(4ull * i + 4 <= sec.size() ? u32(sec, 4ull * i) : NoStream);
    }
    // Entries past the file's own sectors can only point nowhere.
    if (cf.m_fat.size() > fileSectors)
        cf.m_fat.resize(static_cast<size_t>(fileSectors));

    // The directory: 128-byte entries in a chain of sectors.
    bool complete = true;
    const std::string dir = cf.readChain(cf.m_fat, u32(bytes, 0x30), UINT64_MAX, false, "the directory", complete);
    if (dir.size() < EntrySize) {
        result.error = "the document's container is damaged (no directory)";
        return result;
    }
    const bool version4 = u16(bytes, 0x1A) == 4;
    for (size_t off = 0; off + EntrySize <= dir.size(); off += EntrySize) {
        const std::string_view e(dir.data() + off, EntrySize);
        Entry entry;
        const uint16_t nameBytes = std::min<uint16_t>(u16(e, 0x40), 64);
        for (uint16_t i = 0; i + 1 < nameBytes; i += 2) {
            const char16_t c = u16(e, i);
            if (c == 0)
                break;
            entry.name.push_back(c);
        }
        entry.type = u8(e, 0x42);
        entry.left = u32(e, 0x44);
        entry.right = u32(e, 0x48);
        entry.child = u32(e, 0x4C);
        entry.start = u32(e, 0x74);
        // Version 3 files leave the high half of the size undefined.
        entry.size = version4 ? (static_cast<uint64_t>(u32(e, 0x7C)) << 32 | u32(e, 0x78)) : u32(e, 0x78);
        cf.m_entries.push_back(std::move(entry));
    }
    if (cf.m_entries.front().type != 5) {
        result.error = "the document's container is damaged (no root entry)";
        return result;
    }

    // The root storage's members form a binary tree under its child; walk it
    // without recursion and visit each entry once.
    std::vector<bool> visited(cf.m_entries.size(), false);
    std::vector<uint32_t> stack{cf.m_entries.front().child};
    while (!stack.empty()) {
        const uint32_t i = stack.back();
        stack.pop_back();
        if (i >= cf.m_entries.size() || visited[i])
            continue;
        visited[i] = true;
        cf.m_rootChildren.push_back(i);
        stack.push_back(cf.m_entries[i].left);
        stack.push_back(cf.m_entries[i].right);
    }

    // The mini stream's allocation table; the mini stream itself is read on
    // first use.
    const uint32_t miniFatStart = u32(bytes, 0x3C);
    const uint64_t miniFatSectors = std::min<uint64_t>(u32(bytes, 0x40), fileSectors);
    if (miniFatStart < MaxRegularSector && miniFatSectors > 0) {
        const std::string mf = cf.readChain(cf.m_fat, miniFatStart, miniFatSectors * cf.m_sectorSize, false,
                                            "the small-stream table", complete);
        for (size_t off = 0; off + 4 <= mf.size(); off += 4)
            cf.m_miniFat.push_back(u32(mf, off));
    }
    result.file = std::move(cf);
    return result;
}

int CompoundFile::findInRoot(std::u16string_view name) const
{
    for (uint32_t i : m_rootChildren)
        if (m_entries[i].type == 2 && sameName(m_entries[i].name, name))
            return static_cast<int>(i);
    return -1;
}

bool CompoundFile::hasStream(std::u16string_view name) const
{
    return findInRoot(name) >= 0;
}

std::optional<std::string> CompoundFile::stream(std::u16string_view name)
{
    const int index = findInRoot(name);
    if (index < 0)
        return std::nullopt;
    const Entry& e = m_entries[static_cast<size_t>(index)];
    bool complete = true;
    const std::string what = "the stream \"" + std::string(name.begin(), name.end()) + "\"";
    if (e.size < m_miniCutoff) {
        if (!m_miniStreamLoaded) {
            const Entry& root = m_entries.front();
            m_miniStream = readChain(m_fat, root.start, root.size, false, "the small-stream container", complete);
            m_miniStreamLoaded = true;
        }
        return readChain(m_miniFat, e.start, e.size, true, what, complete);
    }
    return readChain(m_fat, e.start, e.size, false, what, complete);
}

} // namespace qm::engine::doc
