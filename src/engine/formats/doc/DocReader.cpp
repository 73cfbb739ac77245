// Reading Word 97-2003 binary documents into the document model.
#include "engine/formats/Reader.h"

#include "engine/formats/doc/ByteReader.h"
#include "engine/formats/doc/CompoundFile.h"
#include "engine/formats/doc/DoubleByte.h"
#include "engine/formats/doc/Fib.h"
#include "engine/formats/doc/PieceTable.h"
#include "engine/formats/doc/Properties.h"
#include "engine/formats/doc/Word6.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Languages.h"

#include <algorithm>
#include <deque>
#include <limits>
#include <map>
#include <new>
#include <tuple>

namespace qm::engine {

namespace {

using namespace doc;

constexpr uint32_t FkpSize = 512;
constexpr size_t MaxPendingChars = 1 << 16;

/// A run of text in the document stream [fcStart, fcEnd) with the properties
/// its formatted disk page gives it.
struct Run {
    uint32_t fcStart = 0;
    uint32_t fcEnd = 0;
    std::string_view grpprl; ///< for paragraphs: the style index, then the sprms
};

/// One character of a paragraph waiting for its paragraph's properties.
struct PendingChar {
    char16_t c;
    uint32_t cp;
    uint64_t fc;
    uint16_t prm;
};

/// What a story being built needs beyond its character range.
struct StoryContext {
    bool main = false;                           ///< the main story: section breaks and note references
    std::vector<uint32_t> noteStarts;            ///< cps where the notes of this story start
    std::vector<uint32_t> noteStartPositions;    ///< where they landed in the built story
};

enum class RunKind { Characters, Paragraphs };
/// Whether a paragraph handed to the builder has reached its mark or goes on.
enum class ParagraphEnd { Ended, Continues };
enum class TableMark { RowEnd, Other };

struct ResolvedChp {
    Chp chp;
    uint32_t index = 0;
};

class DocReader {
public:
    DocReader(std::string_view bytes, const ReadOptions& options)
        : m_bytes(bytes), m_options(options), m_builder("doc", options.limits)
    {
    }

    ReadResult read();

private:
    void diagnose(std::string code, std::string location, std::string message)
    {
        m_builder.diagnose(std::move(code), Severity::Warning, std::move(location), std::move(message));
    }
    std::string_view tablePart(const FcLcb& where, std::string_view what);
    std::vector<Run> loadRuns(const FcLcb& binTable, RunKind kind);
    static const Run* findRun(const std::vector<Run>& runs, uint64_t fc);

    void readSections();
    void readStoredStatistics();
    void readHeaders();
    void readNotes(const FcLcb& refs, const FcLcb& texts, uint32_t storyStart, uint32_t storyLength, NoteKind kind,
                   StoryType type);
    void readTextBoxes(const FcLcb& plc, uint32_t storyStart, uint32_t storyLength);
    void readShapes();

    /// Builds [from, to) of the character positions into the current story.
    void buildRange(uint32_t from, uint32_t to, StoryContext& context);
    void flushParagraph(std::vector<PendingChar>& chars, StoryContext& context, ParagraphEnd end);
    Pap paragraphProperties(const PendingChar& mark);
    const ResolvedChp& characterProperties(const PendingChar& ch, const Pap& pap);
    const ResolvedChp& resolveCharacterProperties(const PendingChar& ch, const Pap& pap);
    void applyTableDepth(int32_t depth, TableMark mark);
    void emit(const PendingChar& ch, const ResolvedChp& chp, StoryContext& context, std::u16string& pending,
              uint32_t& pendingFormat);
    InlineObject pictureObject(const Chp& chp) const;

    std::string_view m_bytes;
    const ReadOptions& m_options;
    DocumentBuilder m_builder;
    std::string m_wd, m_table, m_data;
    std::deque<std::string> m_word6Lists; // Word 6 property lists as Word 97 modifiers
    Fib m_fib;
    PieceTable m_pieces;
    std::vector<std::string> m_fonts;
    StyleSheet m_styles;
    std::vector<Run> m_chpx, m_papx;
    std::array<uint32_t, Fib::CcpCount + 1> m_storyStart{};

    std::vector<SectionFormat> m_sectionFormats;
    std::vector<uint32_t> m_sectionEnds;
    std::vector<HeaderFooterRefs> m_sectionRefs;
    /// Word 6: per entry of the section table, which headers and footers it
    /// has, and the section it became (-1: folded into the next).
    std::vector<std::pair<uint8_t, int32_t>> m_headerFlags;
    uint8_t m_noteSeparatorFlags = 0; ///< Word 6: which note separators the header table holds
    std::map<uint32_t, InlineObject> m_shapes; // by the cp of their anchor
    std::map<uint32_t, int32_t> m_noteRefs;    // note index by the cp of its reference

    /// Resolved character properties by what they are resolved from: the
    /// run's property bytes, the piece's property modifier and the paragraph
    /// style. Runs with the same bytes (a document's bold words, each a run
    /// of its own) share one resolution.
    std::map<std::tuple<std::string_view, uint16_t, uint16_t>, ResolvedChp> m_chpCache;
    /// The last look-up, for the next character of the same run.
    struct LastChp {
        const Run* run = nullptr;
        uint16_t prm = 0, istd = 0;
        const ResolvedChp* resolved = nullptr;
    } m_lastChp;
    /// An open field: whether it is still in its instruction, and that
    /// instruction's text (a field that ends without a result may show part
    /// of it: instructionDisplayText).
    struct FieldFrame {
        bool inInstruction = true;
        std::u16string instruction;
    };
    std::vector<FieldFrame> m_fieldFrames;
    uint32_t m_instructionDepth = 0;
    std::vector<bool> m_pendingCell; // per table level: the next content opens a cell
};

std::string_view DocReader::tablePart(const FcLcb& where, std::string_view what)
{
    if (where.lcb == 0)
        return {};
    if (!fits(m_table.size(), where.fc, where.lcb)) {
        diagnose("doc.range", std::string(what), std::string(what) + " lies outside the table stream; it is not read");
        return {};
    }
    return std::string_view(m_table).substr(where.fc, where.lcb);
}

std::vector<Run> DocReader::loadRuns(const FcLcb& where, RunKind kind)
{
    const bool paragraphs = kind == RunKind::Paragraphs;
    std::vector<Run> runs;
    const std::string_view plc = tablePart(where, paragraphs ? "the paragraph property index" : "the character property index");
    // Word 6 numbers its pages in two bytes and gives each paragraph run six
    // bytes of height information where Word 97 gives twelve.
    const size_t pnSize = m_fib.word6 ? 2 : 4;
    if (plc.size() < 8 + pnSize)
        return runs;
    const size_t pages = (plc.size() - 4) / (4 + pnSize);
    const std::string_view wd(m_wd);
    bool damaged = false;
    for (size_t i = 0; i < pages; ++i) {
        const uint32_t pn = m_fib.word6 ? u16(plc, 4 * (pages + 1) + 2 * i) : u32(plc, 4 * (pages + 1) + 4 * i) & 0x3FFFFF;
        const std::string_view page = slice(wd, static_cast<uint64_t>(pn) * FkpSize, FkpSize);
        if (page.size() < FkpSize) {
            damaged = true;
            continue;
        }
        const uint8_t crun = u8(page, 511);
        const size_t entry = paragraphs ? (m_fib.word6 ? 7 : 13) : 1;
        if (4 * (crun + 1u) + entry * crun > 511) {
            damaged = true;
            continue;
        }
        for (uint8_t r = 0; r < crun; ++r) {
            Run run{u32(page, 4 * r), u32(page, 4 * (r + 1)), {}};
            const uint8_t b = u8(page, 4 * (crun + 1u) + entry * r);
            if (b != 0) {
                const size_t at = 2u * b;
                if (paragraphs) {
                    const uint8_t cb = u8(page, at);
                    // Word 6 counts the words after its count byte; Word 97
                    // counts the count byte in, which leaves one byte fewer.
                    run.grpprl = cb != 0 ? slice(page.substr(0, 511), at + 1, 2u * cb - (m_fib.word6 ? 0 : 1))
                                         : slice(page.substr(0, 511), at + 2, 2u * u8(page, at + 1));
                } else {
                    run.grpprl = slice(page.substr(0, 511), at + 1, u8(page, at));
                }
            }
            if (m_fib.word6 && !run.grpprl.empty()) {
                // Word 6 modifiers are read as their Word 97 counterparts.
                const size_t keep = paragraphs ? std::min<size_t>(2, run.grpprl.size()) : 0;
                m_word6Lists.push_back(std::string(run.grpprl.substr(0, keep)) + word6Sprms(run.grpprl.substr(keep)));
                run.grpprl = m_word6Lists.back();
            }
            if (run.fcEnd > run.fcStart)
                runs.push_back(run);
        }
    }
    if (damaged)
        diagnose("doc.fkp", "property pages", "some property pages are damaged; their text keeps default formatting");
    std::stable_sort(runs.begin(), runs.end(), [](const Run& a, const Run& b) { return a.fcStart < b.fcStart; });
    return runs;
}

const Run* DocReader::findRun(const std::vector<Run>& runs, uint64_t fc)
{
    auto it = std::upper_bound(runs.begin(), runs.end(), fc, [](uint64_t f, const Run& r) { return f < r.fcStart; });
    if (it == runs.begin())
        return nullptr;
    --it;
    return fc < it->fcEnd ? &*it : nullptr;
}

void DocReader::readSections()
{
    const std::string_view plc = tablePart(m_fib.plcfSed, "the section table");
    const size_t count = plc.size() >= 16 ? (plc.size() - 4) / 16 : 0;
    const uint32_t mainEnd = m_storyStart[1];
    for (size_t i = 0; i < count && i < m_options.limits.maxSections; ++i) {
        const uint32_t end = u32(plc, 4 * (i + 1));
        SectionFormat format = defaultSectionFormat();
        uint8_t headerFlags = 0;
        const uint32_t fcSepx = u32(plc, 4 * (count + 1) + 12 * i + 2);
        if (fcSepx != 0xFFFFFFFFu) {
            const uint16_t cb = u16(m_wd, fcSepx);
            const std::string_view stored = slice(m_wd, uint64_t(fcSepx) + 2, cb);
            const std::string sepx = m_fib.word6 ? word6Sprms(stored) : std::string(stored);
            forEachSprm(sepx, [&](uint16_t sprm, std::string_view op) {
                applySepSprm(format, sprm, op);
                if (sprm == 0x3014) // which headers and footers the section has
                    headerFlags = u8(op, 0);
            });
        }
        // Sections must move forward through the main story; a bad entry is
        // folded into the next (its Word 6 header stories still take their
        // places in the header table).
        if (!m_sectionEnds.empty() && end <= m_sectionEnds.back()) {
            m_headerFlags.emplace_back(headerFlags, -1);
            continue;
        }
        m_headerFlags.emplace_back(headerFlags, static_cast<int32_t>(m_sectionFormats.size()));
        m_sectionFormats.push_back(format);
        m_sectionEnds.push_back(std::min(end, mainEnd));
        if (end >= mainEnd)
            break;
    }
    if (m_sectionFormats.empty()) {
        m_sectionFormats.push_back(defaultSectionFormat());
        m_sectionEnds.push_back(mainEnd);
    }
    m_sectionRefs.resize(m_sectionFormats.size());
}

void DocReader::readStoredStatistics()
{
    const std::string_view dop = tablePart(m_fib.dop, "the document properties");
    if (dop.size() < 84)
        return;
    DocumentSettings& settings = m_builder.settings();
    settings.evenAndOddHeaders = u16(dop, 0) & 1;
    m_noteSeparatorFlags = u8(dop, 1); // grpfIhdt
    const uint16_t tab = u16(dop, 10);
    if (tab > 0)
        settings.defaultTabStop = tab;
    // fHyphCapitals and fAutoHyphen, then the hyphenation zone (dxaHotZ)
    // and the limit of hyphens in a row (cConsecHypLim).
    settings.hyphenateCaps = (u8(dop, 5) & 0x08) != 0;
    settings.autoHyphenation = (u8(dop, 5) & 0x10) != 0;
    settings.hyphenationZone = u16(dop, 14);
    settings.consecutiveHyphenLimit = std::min<uint16_t>(u16(dop, 16), 0x7FFF);
    settings.language = languageTagOfLcid(m_fib.lid);
    StoredStatistics& stored = m_builder.stored();
    // fExactCWords: Word recounted before saving; without it the figures
    // may be estimates or stale.
    stored.exact = (static_cast<uint8_t>(dop[6]) & 0x02) != 0;
    stored.words = s32(dop, 0x26);
    stored.characters = s32(dop, 0x2A);
    stored.pages = u16(dop, 0x2E);
    stored.paragraphs = s32(dop, 0x30);
    stored.lines = s32(dop, 0x38);
    // Word 97 and later keep characters with spaces after the typography settings.
    if (dop.size() >= 0x1AE)
        stored.charactersWithSpaces = s32(dop, 0x1AA);
}

void DocReader::readHeaders()
{
    const std::string_view plc = tablePart(m_fib.plcfHdd, "the header table");
    if (plc.size() < 8)
        return;
    const size_t cps = plc.size() / 4;
    const uint32_t start = m_storyStart[Fib::Hdd];
    const uint32_t length = m_fib.ccp[Fib::Hdd];
    static constexpr StoryType types[6] = {StoryType::EvenPagesHeader, StoryType::PrimaryHeader,
                                           StoryType::EvenPagesFooter, StoryType::PrimaryFooter,
                                           StoryType::FirstPageHeader, StoryType::FirstPageFooter};
    // Each section's stories by their first entry in the table: Word 97
    // keeps six for every section after six for the note separators.
    std::vector<HeaderSlots> slots;
    if (m_fib.word6) {
        std::vector<uint8_t> flags;
        for (const auto& [f, section] : m_headerFlags)
            flags.push_back(f);
        const std::vector<HeaderSlots> all = word6HeaderSlots(m_noteSeparatorFlags, flags);
        slots.assign(m_sectionRefs.size(), HeaderSlots{-1, -1, -1, -1, -1, -1});
        for (size_t i = 0; i < all.size(); ++i)
            if (const int32_t section = m_headerFlags[i].second; section >= 0 && size_t(section) < slots.size())
                slots[size_t(section)] = all[i];
    } else {
        for (size_t s = 0; s < m_sectionRefs.size(); ++s)
            slots.push_back({int32_t(6 + 6 * s), int32_t(7 + 6 * s), int32_t(8 + 6 * s), int32_t(9 + 6 * s),
                             int32_t(10 + 6 * s), int32_t(11 + 6 * s)});
    }
    for (size_t s = 0; s < m_sectionRefs.size(); ++s) {
        for (size_t j = 0; j < 6; ++j) {
            if (slots[s][j] < 0)
                continue; // a Word 6 section without this story: the previous section's shows
            const size_t k = static_cast<size_t>(slots[s][j]);
            if (k + 1 >= cps)
                return;
            const uint32_t a = u32(plc, 4 * k);
            const uint32_t b = std::min(u32(plc, 4 * (k + 1)), length);
            if (a >= b)
                continue; // an empty story: the previous section's shows
            const StoryId id = m_builder.newStory(types[j]);
            if (m_builder.limitReached())
                return;
            m_builder.setStory(id);
            StoryContext context;
            buildRange(start + a, start + b, context);
            static constexpr int slot[6] = {2, 0, 2, 0, 1, 1};
            auto& refs = (j == 0 || j == 1 || j == 4) ? m_sectionRefs[s].headers : m_sectionRefs[s].footers;
            refs[slot[j]] = static_cast<int32_t>(id);
        }
    }
}

void DocReader::readNotes(const FcLcb& refsWhere, const FcLcb& textsWhere, uint32_t storyStart,
                          uint32_t storyLength, NoteKind kind, StoryType type)
{
    if (storyLength == 0)
        return;
    const std::string_view refs = tablePart(refsWhere, "a note reference table");
    const std::string_view texts = tablePart(textsWhere, "a note text table");
    const StoryId id = m_builder.newStory(type);
    if (m_builder.limitReached())
        return;
    m_builder.setStory(id);
    StoryContext context;
    // One reference per note; the text table has a CP more than there are
    // notes, and for footnotes and endnotes one more for the story's closing
    // guard paragraph, which belongs to no note.
    // A comment's reference carries its author's initials: ten UTF-16
    // characters in Word 97, ten bytes in Word 6.
    const size_t elementSize = kind == NoteKind::Comment ? (m_fib.word6 ? 20 : 30) : 2;
    const size_t refCount = refs.size() >= 4 ? (refs.size() - 4) / (4 + elementSize) : 0;
    const size_t textCps = texts.size() / 4;
    const size_t noteCount = std::min(refCount, textCps > 0 ? textCps - 1 : 0);
    for (size_t i = 0; i <= noteCount && i < textCps; ++i)
        context.noteStarts.push_back(storyStart + u32(texts, 4 * i));
    buildRange(storyStart, storyStart + storyLength, context);

    // A note's text runs from its start to the next note's start.
    const uint32_t storyEnd = m_builder.document().stories[id].size();
    for (size_t i = 0; i < context.noteStartPositions.size() && i < noteCount; ++i) {
        Note note;
        note.kind = kind;
        note.story = static_cast<int32_t>(id);
        note.start = context.noteStartPositions[i];
        note.end = i + 1 < context.noteStartPositions.size() ? context.noteStartPositions[i + 1] : storyEnd;
        const int32_t index = m_builder.addNote(note);
        if (i < refCount)
            m_noteRefs[u32(refs, 4 * i)] = index;
    }
}

void DocReader::readTextBoxes(const FcLcb& where, uint32_t storyStart, uint32_t storyLength)
{
    if (storyLength == 0)
        return;
    const std::string_view plc = tablePart(where, "the text box table");
    // Word 97 gives each text box 22 bytes of chaining after the positions;
    // Word 6 keeps the positions alone (its boxes are drawing objects).
    const size_t entry = m_fib.word6 ? 4 : 26;
    const size_t count = plc.size() >= 4 ? (plc.size() - 4) / entry : 0;
    std::vector<uint32_t> cps;
    for (size_t i = 0; i <= count; ++i)
        cps.push_back(std::min(u32(plc, 4 * i), storyLength));
    if (count == 0)
        cps = {0, storyLength};
    for (size_t i = 0; i + 1 < cps.size(); ++i) {
        if (cps[i] >= cps[i + 1])
            continue;
        const StoryId id = m_builder.newStory(StoryType::TextFrame);
        if (m_builder.limitReached())
            return;
        m_builder.setStory(id);
        StoryContext context;
        buildRange(storyStart + cps[i], storyStart + cps[i + 1], context);
    }
}

void DocReader::readShapes()
{
    const std::string_view plc = tablePart(m_fib.plcSpaMom, "the drawing object table");
    const size_t count = plc.size() >= 4 ? (plc.size() - 4) / 30 : 0;
    const size_t base = 4 * (count + 1);
    for (size_t i = 0; i < count; ++i) {
        InlineObject shape;
        shape.kind = ObjectKind::Shape;
        shape.floating = true;
        const size_t at = base + 26 * i;
        // The rectangle's sides are any 32-bit values a damaged file holds:
        // their difference is taken wide and kept to what a size can be.
        auto extent = [&](size_t from, size_t to) {
            const int64_t d = int64_t{s32(plc, at + to)} - s32(plc, at + from);
            return static_cast<Twips>(std::clamp<int64_t>(d, 0, std::numeric_limits<int32_t>::max()));
        };
        shape.width = extent(4, 12);
        shape.height = extent(8, 16);
        m_shapes.emplace(u32(plc, 4 * i), shape);
    }
}

InlineObject DocReader::pictureObject(const Chp& chp) const
{
    InlineObject object;
    object.kind = ObjectKind::Picture;
    if (!chp.picture)
        return object;
    // The picture's header: its goal size, scale in tenths of a percent and crops.
    const std::string_view picf = slice(m_data, *chp.picture, 44);
    if (picf.size() < 44)
        return object;
    const int64_t goalWidth = s16(picf, 28), goalHeight = s16(picf, 30);
    const int64_t scaleX = u16(picf, 32), scaleY = u16(picf, 34);
    const int64_t width = (goalWidth - s16(picf, 36) - s16(picf, 40)) * scaleX / 1000;
    const int64_t height = (goalHeight - s16(picf, 38) - s16(picf, 42)) * scaleY / 1000;
    object.width = static_cast<Twips>(std::clamp<int64_t>(width, 0, 1 << 20));
    object.height = static_cast<Twips>(std::clamp<int64_t>(height, 0, 1 << 20));
    return object;
}

Pap DocReader::paragraphProperties(const PendingChar& mark)
{
    const Run* run = findRun(m_papx, mark.fc);
    const uint16_t istd = run ? u16(run->grpprl, 0) : 0;
    Pap pap = m_styles.paragraphStyle(istd);
    pap.istd = istd;
    if (run && run->grpprl.size() > 2)
        applyPapx(pap, run->grpprl.substr(2));
    // A fast-saved document changes properties through the piece as well.
    applyPapx(pap, m_pieces.propertyList(mark.prm));
    pap.istd = istd;
    return pap;
}

const ResolvedChp& DocReader::characterProperties(const PendingChar& ch, const Pap& pap)
{
    // Characters come a run at a time: most are answered by the last look-up.
    if (const LastChp& last = m_lastChp; last.run && ch.fc >= last.run->fcStart && ch.fc < last.run->fcEnd &&
                                          ch.prm == last.prm && pap.istd == last.istd)
        return *last.resolved;
    return resolveCharacterProperties(ch, pap);
}

const ResolvedChp& DocReader::resolveCharacterProperties(const PendingChar& ch, const Pap& pap)
{
    const Run* run = findRun(m_chpx, ch.fc);
    const auto key = std::make_tuple(run ? run->grpprl : std::string_view(), ch.prm, pap.istd);
    if (auto it = m_chpCache.find(key); it != m_chpCache.end()) {
        m_lastChp = {run, ch.prm, pap.istd, &it->second};
        return it->second;
    }
    Chp chp = m_styles.paragraphStyleChp(pap.istd);
    const std::string_view grpprl = run ? run->grpprl : std::string_view();
    // The character style comes between the paragraph style and the run's
    // own properties, whatever the order the sprms stand in.
    uint16_t characterStyle = 10;
    forEachSprm(grpprl, [&](uint16_t sprm, std::string_view op) {
        if (sprm == 0x4A30)
            characterStyle = u16(op, 0);
    });
    if (characterStyle != 10)
        m_styles.applyCharacterStyle(chp, characterStyle);
    const Chp base = chp;
    applyChpx(chp, base, grpprl, m_fonts);
    applyChpx(chp, base, m_pieces.propertyList(ch.prm), m_fonts);
    ResolvedChp resolved;
    resolved.index = m_builder.charFormat(chp.format);
    resolved.chp = std::move(chp);
    const ResolvedChp& stored = m_chpCache.emplace(key, std::move(resolved)).first->second;
    m_lastChp = {run, ch.prm, pap.istd, &stored};
    return stored;
}

void DocReader::applyTableDepth(int32_t depth, TableMark mark)
{
    const bool rowEnd = mark == TableMark::RowEnd;
    depth = std::clamp<int32_t>(depth, 0, static_cast<int32_t>(m_options.limits.maxTableDepth));
    const uint32_t d = static_cast<uint32_t>(depth);
    while (m_builder.tableDepth() > d)
        m_builder.endTable();
    m_pendingCell.resize(d + 1, false);
    for (uint32_t k = 1; k <= d; ++k) {
        // A row end stands outside every cell of its row.
        const bool opensCell = !(rowEnd && k == d);
        if (m_builder.tableDepth() < k) {
            m_builder.beginTable();
            m_builder.beginRow();
            if (opensCell)
                m_builder.beginCell();
            m_pendingCell[k] = !opensCell;
        } else if (m_pendingCell[k] && opensCell) {
            m_builder.beginCell();
            m_pendingCell[k] = false;
        }
    }
}

void DocReader::emit(const PendingChar& ch, const ResolvedChp& resolved, StoryContext& context,
                     std::u16string& pending, uint32_t& pendingFormat)
{
    auto flush = [&] {
        if (!pending.empty())
            m_builder.appendText(pending, pendingFormat);
        pending.clear();
    };
    char16_t c = ch.c;
    // Field marks: the instruction (begin to separator) is code Word does
    // not show; the result (separator to end) is the text it shows.
    if (c == 0x13) {
        if (m_fieldFrames.size() < m_options.limits.maxNestingDepth) {
            m_fieldFrames.push_back({});
            ++m_instructionDepth;
        }
        return;
    }
    if (c == 0x14 || c == 0x15) {
        if (m_fieldFrames.empty())
            return;
        std::u16string shown;
        if (m_fieldFrames.back().inInstruction) {
            m_fieldFrames.back().inInstruction = false;
            --m_instructionDepth;
            if (c == 0x15)
                shown = instructionDisplayText(m_fieldFrames.back().instruction);
        }
        if (c == 0x15)
            m_fieldFrames.pop_back();
        if (!shown.empty() && m_instructionDepth == 0) {
            if (resolved.index != pendingFormat)
                flush();
            pendingFormat = resolved.index;
            pending += shown;
        }
        return;
    }
    if (m_instructionDepth > 0) {
        // Kept only while it can matter: a field's own instruction, outside
        // any other instruction, up to a bound.
        constexpr size_t MaxInstruction = 4096;
        if (m_instructionDepth == 1 && m_fieldFrames.back().inInstruction &&
            m_fieldFrames.back().instruction.size() < MaxInstruction)
            m_fieldFrames.back().instruction.push_back(c);
        return;
    }
    const Chp& chp = resolved.chp;
    uint32_t format = resolved.index;
    const bool special = chp.special;
    if (c == Ch::Object || c == Ch::Anchor || c == Ch::NoteReference) {
        // Without the special flag these are stray control characters Word does not show.
        if (!special)
            return;
        CharFormat cf = chp.format;
        if (c == Ch::Object) {
            cf.objectIndex = m_builder.addObject(pictureObject(chp));
        } else if (c == Ch::Anchor) {
            auto it = m_shapes.find(ch.cp);
            InlineObject shape;
            shape.kind = ObjectKind::Shape;
            shape.floating = true;
            cf.objectIndex = m_builder.addObject(it != m_shapes.end() ? it->second : shape);
        } else if (context.main) {
            if (auto it = m_noteRefs.find(ch.cp); it != m_noteRefs.end())
                cf.noteIndex = it->second;
        }
        format = m_builder.charFormat(cf);
    } else if (special && c == u'(' && chp.symbol != 0) {
        c = chp.symbol; // a symbol character shows the character its symbol names
    }
    if (format != pendingFormat)
        flush();
    pendingFormat = format;
    pending.push_back(c);
}

void DocReader::flushParagraph(std::vector<PendingChar>& chars, StoryContext& context, ParagraphEnd end)
{
    const bool ended = end == ParagraphEnd::Ended;
    if (chars.empty())
        return;
    const PendingChar& mark = chars.back();
    const Pap pap = paragraphProperties(mark);
    const int32_t depth = pap.depth();
    const bool rowEnd = ended && ((depth == 1 && mark.c == Ch::CellEnd && pap.rowEnd) || (depth > 1 && pap.innerRowEnd));
    const bool cellEnd = ended && !rowEnd && depth >= 1 && (mark.c == Ch::CellEnd || (depth > 1 && pap.innerCell));
    applyTableDepth(depth, rowEnd ? TableMark::RowEnd : TableMark::Other);

    std::u16string pending;
    uint32_t pendingFormat = 0;
    const size_t textChars = ended ? chars.size() - 1 : chars.size();
    for (size_t i = 0; i < textChars; ++i) {
        if (m_builder.limitReached())
            return;
        const ResolvedChp& chp = characterProperties(chars[i], pap);
        // Tracked changes read as the final text: deleted text is left out.
        if (chp.chp.deleted)
            continue;
        emit(chars[i], chp, context, pending, pendingFormat);
    }
    if (!pending.empty())
        m_builder.appendText(pending, pendingFormat);
    if (!ended)
        return;

    const uint32_t markFormat = characterProperties(mark, pap).index;
    const uint32_t paraFormat = m_builder.paraFormat(pap.format);
    const uint32_t level = m_builder.tableDepth();
    if (rowEnd && level > 0) {
        m_builder.endRow(pap.row, markFormat);
        m_pendingCell.resize(level + 1, false);
        m_pendingCell[level] = true;
    } else if (cellEnd && level > 0) {
        m_builder.endCell(paraFormat, markFormat);
        m_pendingCell.resize(level + 1, false);
        m_pendingCell[level] = true;
    } else if (context.main && mark.c == Ch::PageBreak) {
        // The break that ends a section: the section's page setup and headers go with it.
        const auto it = std::lower_bound(m_sectionEnds.begin(), m_sectionEnds.end(), mark.cp + 1);
        const size_t s = std::min(static_cast<size_t>(it - m_sectionEnds.begin()), m_sectionEnds.size() - 1);
        m_builder.endSection(m_sectionFormats[s], m_sectionRefs[s], paraFormat, markFormat);
    } else {
        m_builder.endParagraph(paraFormat, markFormat);
    }
}

void DocReader::buildRange(uint32_t from, uint32_t to, StoryContext& context)
{
    m_fieldFrames.clear();
    m_instructionDepth = 0;
    m_pendingCell.clear();
    std::vector<PendingChar> paragraph;
    size_t nextNote = 0;
    const auto& pieces = m_pieces.pieces();
    auto it = std::upper_bound(pieces.begin(), pieces.end(), from,
                               [](uint32_t cp, const Piece& p) { return cp < p.cpEnd; });
    const std::string_view wd(m_wd);
    // The next position to read: a double-byte pair's trail byte is read
    // with its lead and has no character of its own, so the positions of
    // runs, marks and stories, counted in bytes, stay where they are.
    uint32_t next = from;
    for (; it != pieces.end() && it->cpStart < to; ++it) {
        const uint32_t a = std::max(from, it->cpStart);
        const uint32_t b = std::min(to, it->cpEnd);
        for (uint32_t cp = a; cp < b; ++cp) {
            if (cp < next)
                continue;
            if (m_builder.limitReached())
                return;
            while (nextNote < context.noteStarts.size() && context.noteStarts[nextNote] <= cp) {
                // A note starts with its paragraph; any text before it in
                // the same paragraph belongs to the note before.
                flushParagraph(paragraph, context, ParagraphEnd::Continues);
                paragraph.clear();
                context.noteStartPositions.push_back(m_builder.position());
                ++nextNote;
            }
            const PieceTable::Decoded decoded = m_pieces.decode(wd, static_cast<size_t>(it - pieces.begin()), cp, to);
            next = cp + decoded.positions;
            const char16_t c = decoded.c;
            paragraph.push_back(PendingChar{c, cp, it->fcOf(cp), it->prm});
            const bool sectionEnd = context.main && c == Ch::PageBreak &&
                                    std::binary_search(m_sectionEnds.begin(), m_sectionEnds.end() - 1, cp + 1);
            if (c == Ch::ParagraphMark || c == Ch::CellEnd || sectionEnd) {
                flushParagraph(paragraph, context, ParagraphEnd::Ended);
                paragraph.clear();
            } else if (paragraph.size() >= MaxPendingChars) {
                // A paragraph this long is handed over in parts, formatted by
                // the paragraph run its text lies in, to keep memory bounded.
                flushParagraph(paragraph, context, ParagraphEnd::Continues);
                paragraph.clear();
            }
        }
    }
    flushParagraph(paragraph, context, ParagraphEnd::Continues);
    while (m_builder.tableDepth() > 0)
        m_builder.endTable();
}

ReadResult DocReader::read()
{
    if (m_bytes.empty())
        return ReadResult::failure("the file is empty");
    // Word for Windows 1 and 2 wrote their block straight into the file, without a container.
    if (m_bytes.starts_with("\xDB\xA5") || m_bytes.starts_with("\x9B\xA5"))
        return ReadResult::failure("Word 2 and earlier documents are not supported");
    auto opened = CompoundFile::open(m_bytes);
    if (!opened.file)
        return ReadResult::failure(opened.error);
    CompoundFile& cf = *opened.file;
    if (cf.hasStream(u"EncryptedPackage") || cf.hasStream(u"EncryptionInfo"))
        return ReadResult::failure("password-protected documents cannot be counted");
    auto wd = cf.stream(u"WordDocument");
    if (!wd) {
        // Works 3 and 4 keep a file in this container as "MN0"; its word
        // processor's stream opens with a version byte and 0xFE, which the
        // Works reader takes. Any other kind is a spreadsheet or database.
        if (auto works = cf.stream(u"MN0"); works && !(works->size() > 1 && (*works)[1] == '\xFE'))
            return ReadResult::failure(
                "the file is a Works spreadsheet or database, not a document that can be counted (it has no "
                "document stream)");
        return ReadResult::failure("the file is not a Word document (it has no document stream)");
    }
    m_wd = std::move(*wd);
    FibResult fib = parseFib(m_wd);
    if (!fib.error.empty())
        return ReadResult::failure(fib.error);
    m_fib = fib.fib;
    if (m_fib.word6) {
        // Word 6 and Word 95 keep their tables in the document stream itself.
        m_table = m_wd;
    } else {
        auto table = cf.stream(m_fib.fWhichTblStm ? u"1Table" : u"0Table");
        if (!table)
            return ReadResult::failure("the document is damaged (its table stream is missing)");
        m_table = std::move(*table);
    }
    if (auto data = cf.stream(u"Data"))
        m_data = std::move(*data);
    for (const Diagnostic& d : cf.diagnostics())
        m_builder.diagnose(d.code, d.severity, d.location, d.message);

    std::vector<Diagnostic> pieceDiagnostics;
    const bool havePieces = m_fib.word6 ? word6Pieces(m_wd, m_fib, m_pieces, pieceDiagnostics)
                                        : m_pieces.parse(tablePart(m_fib.clx, "the piece table"), m_wd.size(),
                                                         pieceDiagnostics);
    // Word 6 text is in the code page its header, fonts or language name;
    // an East Asian page keeps a character in one byte or two.
    if (const uint16_t page = m_fib.word6 ? word6TextCodePage(m_wd, m_fib) : 1252; isDoubleByteCodePage(page)) {
        if (auto characters = DoubleByteCharacters::open(page))
            m_pieces.setDoubleByteCharacters(std::move(characters));
    } else if (page != 1252) {
        if (const auto characters = eightBitCharacters(page))
            m_pieces.setEightBitCharacters(*characters);
    }
    for (const Diagnostic& d : pieceDiagnostics)
        m_builder.diagnose(d.code, d.severity, d.location, d.message);
    if (!havePieces)
        return ReadResult::failure("the document is damaged (its text cannot be found)");

    // Story boundaries in character positions, capped so that a hostile
    // count cannot ask for more text than the engine takes.
    uint64_t at = 0;
    for (int i = 0; i < Fib::CcpCount; ++i) {
        m_storyStart[i] = static_cast<uint32_t>(std::min<uint64_t>(at, UINT32_MAX));
        at += m_fib.ccp[i];
    }
    m_storyStart[Fib::CcpCount] = static_cast<uint32_t>(std::min<uint64_t>(at, UINT32_MAX));
    const uint64_t available = m_pieces.pieces().back().cpEnd;
    if (at > available)
        diagnose("doc.length", "character counts", "the stories claim more text than the document holds; the rest is missing");

    if (m_fib.word6) {
        m_fonts = word6FontNames(m_wd);
        m_builder.settings().fontStandIns = word6FontStandIns(m_wd);
        m_styles.parse(word97StyleSheet(tablePart(m_fib.stshf, "the style sheet")), m_fonts);
    } else {
        m_fonts = parseFontTable(tablePart(m_fib.sttbfFfn, "the font table"));
        m_builder.settings().fontStandIns = parseFontStandIns(tablePart(m_fib.sttbfFfn, "the font table"));
        m_styles.parse(tablePart(m_fib.stshf, "the style sheet"), m_fonts);
    }
    m_chpx = loadRuns(m_fib.plcfBteChpx, RunKind::Characters);
    m_papx = loadRuns(m_fib.plcfBtePapx, RunKind::Paragraphs);
    readStoredStatistics();
    readSections();
    readShapes();

    // Notes, headers and text boxes first, so that the main story can refer to them.
    auto length = [&](int i) { return m_storyStart[i + 1] - m_storyStart[i]; };
    readNotes(m_fib.plcffndRef, m_fib.plcffndTxt, m_storyStart[Fib::Ftn], length(Fib::Ftn), NoteKind::Footnote,
              StoryType::Footnotes);
    readNotes(m_fib.plcfendRef, m_fib.plcfendTxt, m_storyStart[Fib::Edn], length(Fib::Edn), NoteKind::Endnote,
              StoryType::Endnotes);
    readNotes(m_fib.plcfandRef, m_fib.plcfandTxt, m_storyStart[Fib::Atn], length(Fib::Atn), NoteKind::Comment,
              StoryType::Comments);
    readHeaders();
    readTextBoxes(m_fib.plcftxbxTxt, m_storyStart[Fib::Txbx], length(Fib::Txbx));
    readTextBoxes(m_fib.plcfHdrtxbxTxt, m_storyStart[Fib::HdrTxbx], length(Fib::HdrTxbx));

    m_builder.setStory(0);
    StoryContext main;
    main.main = true;
    buildRange(0, m_storyStart[1], main);

    ReadResult result;
    result.document = m_builder.finish(m_sectionFormats.back(), m_sectionRefs.back());
    return result;
}

} // namespace

ReadResult readDoc(std::string_view bytes, const ReadOptions& options)
{
    try {
        return DocReader(bytes, options).read();
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document is too large to read");
    } catch (const std::length_error&) {
        return ReadResult::failure("the document is too large to read");
    }
}

} // namespace qm::engine
