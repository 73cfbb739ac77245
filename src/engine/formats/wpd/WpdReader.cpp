// WordPerfect (libwpd) and Microsoft Works (libwps) documents, their text-interface callbacks mapped into the builder.
#include "engine/formats/Reader.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <librevenge-stream/librevenge-stream.h>
#include <librevenge/librevenge.h>
#include <libwpd/libwpd.h>
#include <libwps/libwps.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qm::engine {

namespace {

using librevenge::RVNGPropertyList;

std::optional<double> number(const RVNGPropertyList& props, const char* name)
{
    const librevenge::RVNGProperty* p = props[name];
    if (!p)
        return std::nullopt;
    const double v = p->getDouble();
    return std::isfinite(v) ? std::optional<double>(v) : std::nullopt;
}

std::string text(const RVNGPropertyList& props, const char* name)
{
    const librevenge::RVNGProperty* p = props[name];
    return p ? std::string(p->getStr().cstr()) : std::string();
}

// A length property in twips: librevenge gives inches unless a unit says
// otherwise (points for font sizes, which are read on their own).
std::optional<Twips> twips(const RVNGPropertyList& props, const char* name)
{
    const librevenge::RVNGProperty* p = props[name];
    if (!p)
        return std::nullopt;
    const std::string s = p->getStr().cstr();
    double v = p->getDouble();
    if (!std::isfinite(v) || std::abs(v) > 1e5)
        return std::nullopt;
    if (s.ends_with("pt"))
        v *= 20;
    else if (s.ends_with("%"))
        return std::nullopt;
    else
        v *= 1440; // inches
    return static_cast<Twips>(std::lround(v));
}

/// Receives a document from libwpd or libwps and builds the model: page
/// spans become sections, headers and footers their stories, notes the note
/// stories, tables Word's tables. Comments, text boxes and frames give no
/// text to Word's main counts and are left out.
class TextCollector final : public librevenge::RVNGTextInterface {
public:
    /// How a library hands over its pages: libwpd opens a page span where
    /// the page setup or the headers change, libwps one for every page.
    enum class Spans { AtChanges, EveryPage };

    /// `page`, when given, is the page setup read from the file itself,
    /// taken instead of the one the library reports.
    TextCollector(DocumentBuilder& builder, std::string_view defaultFont, Spans spans,
                  std::optional<SectionFormat> page = {})
        : m_b(builder), m_defaultFont(defaultFont), m_spans(spans), m_page(std::move(page))
    {
        m_char.fontName = m_defaultFont;
        m_char.sizeHalfPoints = 24;
    }

    void finish()
    {
        if (m_paragraphOpen)
            closeParagraph();
        while (m_b.tableDepth() > 0)
            m_b.endTable();
    }
    const SectionFormat& section() const { return m_section; }
    const HeaderFooterRefs& refs() const { return m_refs; }

    void setDocumentMetaData(const RVNGPropertyList&) override {}
    void startDocument(const RVNGPropertyList&) override {}
    void endDocument() override {}
    void definePageStyle(const RVNGPropertyList&) override {}
    void defineEmbeddedFont(const RVNGPropertyList&) override {}

    void openPageSpan(const RVNGPropertyList& props) override
    {
        SectionFormat f;
        if (m_page) {
            f = *m_page;
        } else {
            auto set = [&](const char* name, Twips& into) {
                if (auto v = twips(props, name); v && *v >= 0 && *v < 31680)
                    into = *v;
            };
            set("fo:page-width", f.pageWidth), set("fo:page-height", f.pageHeight);
            set("fo:margin-left", f.marginLeft), set("fo:margin-right", f.marginRight);
            set("fo:margin-top", f.marginTop), set("fo:margin-bottom", f.marginBottom);
        }
        m_continuedSpan = m_pageSpans++ > 0 && m_spans == Spans::EveryPage && samePage(f, m_section);
        m_spansInSection = m_continuedSpan ? m_spansInSection + 1 : 1;
        m_firstPageFound = m_firstPageFound && m_continuedSpan;
        if (m_continuedSpan) {
            // libwps opens a span for every page, a manual page break ending
            // one; the page is the same, so the break stays a break in the
            // text (the next paragraph asks for it) and no section starts.
            m_pendingBreak = true;
            return;
        }
        if (m_pageSpans > 1 && !m_b.limitReached()) {
            // A new page setup starts a section of its own.
            m_b.endSection(m_section, m_refs, m_b.paraFormat(ParaFormat{}), m_b.charFormat(m_char));
            m_refs = HeaderFooterRefs{};
        }
        m_pendingBreak = false;
        m_section = f;
    }
    void closePageSpan() override {}

    void openHeader(const RVNGPropertyList& props) override { openHeaderFooter(props, true); }
    void closeHeader() override { closeStory(); }
    void openFooter(const RVNGPropertyList& props) override { openHeaderFooter(props, false); }
    void closeFooter() override { closeStory(); }

    void defineParagraphStyle(const RVNGPropertyList&) override {}
    void openParagraph(const RVNGPropertyList& props) override
    {
        if (m_skip)
            return;
        if (m_paragraphOpen)
            closeParagraph();
        m_para = paraFormat(props);
        m_paragraphOpen = true;
        if (m_para.pageBreakBefore && m_pendingBreak) {
            // The break of a continued page span: the file holds it as a
            // break character at the paragraph's start, and Word counts it so.
            m_para.pageBreakBefore = false;
            m_pendingBreak = false;
            append(std::u16string_view(&Ch::PageBreak, 1));
        }
    }
    void closeParagraph() override
    {
        if (m_skip || !m_paragraphOpen)
            return;
        m_b.endParagraph(m_b.paraFormat(m_para), m_b.charFormat(m_char));
        m_paragraphOpen = false;
    }

    void defineCharacterStyle(const RVNGPropertyList&) override {}
    void openSpan(const RVNGPropertyList& props) override
    {
        CharFormat c;
        c.fontName = m_defaultFont;
        c.sizeHalfPoints = 24;
        if (std::string font = text(props, "style:font-name"); !font.empty())
            c.fontName = font;
        if (auto size = number(props, "fo:font-size"); size && *size > 0 && *size < 1600)
            c.sizeHalfPoints = static_cast<uint16_t>(std::lround(*size * 2));
        c.bold = text(props, "fo:font-weight") == "bold";
        c.italic = text(props, "fo:font-style") == "italic";
        const std::string underline = text(props, "style:text-underline-type");
        if (!underline.empty() && underline != "none")
            c.underline = underline == "double" ? UnderlineKind::Double : UnderlineKind::Single;
        const std::string strike = text(props, "style:text-line-through-type");
        c.strike = !strike.empty() && strike != "none";
        c.smallCaps = text(props, "fo:font-variant") == "small-caps";
        c.allCaps = text(props, "fo:text-transform") == "uppercase";
        c.hidden = text(props, "fo:display") == "none";
        const std::string position = text(props, "style:text-position");
        if (position.starts_with("super") || (!position.empty() && position[0] != '-' && position[0] != '0'))
            c.verticalPosition = VerticalPosition::Superscript;
        if (position.starts_with("sub") || position.starts_with("-"))
            c.verticalPosition = VerticalPosition::Subscript;
        m_char = c;
    }
    void closeSpan() override
    {
        m_char = CharFormat{};
        m_char.fontName = m_defaultFont;
        m_char.sizeHalfPoints = 24;
    }
    void openLink(const RVNGPropertyList&) override {}
    void closeLink() override {}
    void defineSectionStyle(const RVNGPropertyList&) override {}
    void openSection(const RVNGPropertyList&) override {}
    void closeSection() override {}

    void insertTab() override { append(u"\t"); }
    void insertSpace() override { append(u" "); }
    void insertText(const librevenge::RVNGString& value) override
    {
        if (!m_skip)
            append(utf8ToUtf16(value.cstr()));
    }
    void insertLineBreak() override { append(u"\v"); }
    void insertField(const RVNGPropertyList&) override {}

    void openOrderedListLevel(const RVNGPropertyList&) override { m_lists.push_back(1); }
    void openUnorderedListLevel(const RVNGPropertyList&) override { m_lists.push_back(0); }
    void closeOrderedListLevel() override { popList(); }
    void closeUnorderedListLevel() override { popList(); }
    void openListElement(const RVNGPropertyList& props) override
    {
        openParagraph(props);
        if (m_skip || m_lists.empty())
            return;
        int& next = m_lists.back();
        m_para.listLabel = next > 0 ? utf8ToUtf16(std::to_string(next++) + ".\t") : u"\u2022\t";
    }
    void closeListElement() override { closeParagraph(); }

    void openFootnote(const RVNGPropertyList&) override { openNote(NoteKind::Footnote); }
    void closeFootnote() override { closeNote(); }
    void openEndnote(const RVNGPropertyList&) override { openNote(NoteKind::Endnote); }
    void closeEndnote() override { closeNote(); }
    void openComment(const RVNGPropertyList&) override { ++m_skip; }
    void closeComment() override { --m_skip; }
    void openTextBox(const RVNGPropertyList&) override { ++m_skip; }
    void closeTextBox() override { --m_skip; }

    void openTable(const RVNGPropertyList& props) override
    {
        if (m_skip)
            return;
        if (m_paragraphOpen)
            closeParagraph();
        m_columns.clear();
        if (const librevenge::RVNGPropertyListVector* columns = props.child("librevenge:table-columns"))
            for (unsigned long i = 0; i < columns->count(); ++i)
                m_columns.push_back(twips((*columns)[i], "style:column-width").value_or(0));
        m_b.beginTable();
    }
    void openTableRow(const RVNGPropertyList&) override
    {
        if (m_skip)
            return;
        m_row = TableRowFormat{};
        m_b.beginRow();
    }
    void closeTableRow() override
    {
        if (!m_skip)
            m_b.endRow(m_row, m_b.charFormat(m_char));
    }
    void openTableCell(const RVNGPropertyList& props) override
    {
        if (m_skip)
            return;
        TableCellFormat cell;
        cell.gridSpan = std::clamp(
            props["table:number-columns-spanned"] ? props["table:number-columns-spanned"]->getInt() : 1, 1, 63);
        const size_t at = m_row.cells.size();
        for (int i = 0; i < cell.gridSpan && at + static_cast<size_t>(i) < m_columns.size(); ++i)
            cell.width += m_columns[at + static_cast<size_t>(i)];
        m_row.cells.push_back(cell);
        m_b.beginCell();
    }
    void closeTableCell() override
    {
        if (m_skip)
            return;
        if (m_paragraphOpen) {
            // The cell's last paragraph ends with the cell mark itself.
            const uint32_t pf = m_b.paraFormat(m_para);
            m_paragraphOpen = false;
            m_b.endCell(pf, m_b.charFormat(m_char));
            return;
        }
        m_b.endCell(m_b.paraFormat(ParaFormat{}), m_b.charFormat(m_char));
    }
    void insertCoveredTableCell(const RVNGPropertyList&) override {}
    void closeTable() override
    {
        if (!m_skip && m_b.tableDepth() > 0)
            m_b.endTable();
    }

    void openFrame(const RVNGPropertyList&) override { ++m_skip; }
    void closeFrame() override { --m_skip; }
    void insertBinaryObject(const RVNGPropertyList&) override {}
    void insertEquation(const RVNGPropertyList&) override {}
    void openGroup(const RVNGPropertyList&) override {}
    void closeGroup() override {}
    void defineGraphicStyle(const RVNGPropertyList&) override {}
    void drawRectangle(const RVNGPropertyList&) override {}
    void drawEllipse(const RVNGPropertyList&) override {}
    void drawPolygon(const RVNGPropertyList&) override {}
    void drawPolyline(const RVNGPropertyList&) override {}
    void drawPath(const RVNGPropertyList&) override {}
    void drawConnector(const RVNGPropertyList&) override {}

private:
    struct Saved {
        StoryId story;
        bool paragraphOpen;
        ParaFormat para;
        CharFormat chars;
        NoteKind kind;
        uint32_t start;
        int32_t noteStory;
    };

    ParaFormat paraFormat(const RVNGPropertyList& props) const
    {
        ParaFormat p;
        const std::string align = text(props, "fo:text-align");
        p.alignment = align == "center"                    ? Alignment::Center
                      : align == "end" || align == "right" ? Alignment::Right
                      : align == "justify"                 ? Alignment::Justify
                                                           : Alignment::Left;
        p.leftIndent = twips(props, "fo:margin-left").value_or(0);
        p.rightIndent = twips(props, "fo:margin-right").value_or(0);
        p.firstLineIndent = twips(props, "fo:text-indent").value_or(0);
        p.spaceBefore = std::max(0, twips(props, "fo:margin-top").value_or(0));
        p.spaceAfter = std::max(0, twips(props, "fo:margin-bottom").value_or(0));
        p.pageBreakBefore = text(props, "fo:break-before") == "page";
        return p;
    }

    void append(std::u16string_view chars)
    {
        if (m_skip || m_b.limitReached())
            return;
        if (!m_paragraphOpen) {
            m_para = ParaFormat{};
            m_paragraphOpen = true;
        }
        m_b.appendText(chars, m_b.charFormat(m_char));
    }

    void popList()
    {
        if (!m_lists.empty())
            m_lists.pop_back();
    }

    void openHeaderFooter(const RVNGPropertyList& props, bool header)
    {
        if (m_skip || m_saved.size() >= 4) {
            ++m_skip;
            m_skippedStory.push_back(true);
            return;
        }
        const std::string occurrence = text(props, "librevenge:occurrence");
        int slot = occurrence == "first" ? 1 : occurrence == "even" ? 2 : 0;
        if (m_continuedSpan) {
            // Each continued span repeats the section's header and footer:
            // they are read once. The second page's span shows what the
            // first page lacked (libwps leaves a Works header off the first
            // page so): then the section has a different first page, whose
            // own stories are what the first span had, and the second
            // span's stories are the other pages'.
            const auto& refs = header ? m_refs.headers : m_refs.footers;
            const bool secondPage = m_spansInSection == 2 && slot == 0;
            if (secondPage && refs[0] < 0) {
                m_section.titlePage = true;
                m_firstPageFound = true;
            } else if (secondPage && m_firstPageFound && refs[1] < 0) {
                slot = 1; // the first page showed this one too
            } else {
                ++m_skip;
                m_skippedStory.push_back(true);
                return;
            }
        }
        static constexpr StoryType types[2][3] = {
            {StoryType::PrimaryFooter, StoryType::FirstPageFooter, StoryType::EvenPagesFooter},
            {StoryType::PrimaryHeader, StoryType::FirstPageHeader, StoryType::EvenPagesHeader}};
        const StoryId story = m_b.newStory(types[header][slot]);
        if (story == 0xFFFFFFFFu) {
            ++m_skip;
            m_skippedStory.push_back(true);
            return;
        }
        (header ? m_refs.headers : m_refs.footers)[static_cast<size_t>(slot)] = static_cast<int32_t>(story);
        enter(story, NoteKind::Footnote, -1);
        m_skippedStory.push_back(false);
    }

    void closeStory()
    {
        if (m_skippedStory.empty())
            return;
        const bool skipped = m_skippedStory.back();
        m_skippedStory.pop_back();
        if (skipped) {
            --m_skip;
            return;
        }
        leave();
    }

    void openNote(NoteKind kind)
    {
        if (m_skip || m_saved.size() >= 4) {
            ++m_skip;
            m_skippedStory.push_back(true);
            return;
        }
        int32_t& story = kind == NoteKind::Endnote ? m_endnoteStory : m_footnoteStory;
        if (story < 0) {
            const StoryId id = m_b.newStory(kind == NoteKind::Endnote ? StoryType::Endnotes : StoryType::Footnotes);
            story = id == 0xFFFFFFFFu ? -1 : static_cast<int32_t>(id);
        }
        if (story < 0) {
            ++m_skip;
            m_skippedStory.push_back(true);
            return;
        }
        enter(static_cast<StoryId>(story), kind, story);
        m_skippedStory.push_back(false);
    }

    void closeNote() { closeStory(); }

    void enter(StoryId story, NoteKind kind, int32_t noteStory)
    {
        m_saved.push_back(Saved{m_b.currentStory(), m_paragraphOpen, m_para, m_char, kind, 0, noteStory});
        m_b.setStory(story);
        m_saved.back().start = m_b.position();
        m_paragraphOpen = false;
    }

    void leave()
    {
        if (m_paragraphOpen)
            closeParagraph();
        const Saved saved = m_saved.back();
        m_saved.pop_back();
        int32_t noteIndex = -1;
        if (saved.noteStory >= 0) {
            Note n;
            n.kind = saved.kind;
            n.story = saved.noteStory;
            n.start = saved.start;
            n.end = m_b.position();
            noteIndex = m_b.addNote(n);
        }
        m_b.setStory(saved.story);
        m_paragraphOpen = saved.paragraphOpen;
        m_para = saved.para;
        m_char = saved.chars;
        if (saved.noteStory >= 0) {
            CharFormat reference = m_char;
            reference.noteIndex = noteIndex;
            reference.verticalPosition = VerticalPosition::Superscript;
            if (!m_paragraphOpen) {
                m_para = ParaFormat{};
                m_paragraphOpen = true;
            }
            m_b.appendChar(Ch::NoteReference, m_b.charFormat(reference));
        }
    }

    static bool samePage(const SectionFormat& a, const SectionFormat& b)
    {
        return a.pageWidth == b.pageWidth && a.pageHeight == b.pageHeight && a.marginLeft == b.marginLeft &&
               a.marginRight == b.marginRight && a.marginTop == b.marginTop && a.marginBottom == b.marginBottom;
    }

    DocumentBuilder& m_b;
    std::string m_defaultFont;
    Spans m_spans;
    std::optional<SectionFormat> m_page;
    bool m_continuedSpan = false;  // the current span goes on with the section before
    int m_spansInSection = 0;      // the spans of the current section so far
    bool m_firstPageFound = false; // the second span showed a first page of its own
    bool m_pendingBreak = false;   // its page break is not yet in the text
    CharFormat m_char;
    ParaFormat m_para;
    bool m_paragraphOpen = false;
    int m_skip = 0;
    int m_pageSpans = 0;
    SectionFormat m_section;
    HeaderFooterRefs m_refs;
    std::vector<int> m_lists; // next number of each open level; 0 for bullets
    std::vector<Twips> m_columns;
    TableRowFormat m_row;
    std::vector<Saved> m_saved;
    std::vector<bool> m_skippedStory;
    int32_t m_footnoteStory = -1, m_endnoteStory = -1;
};

template <typename Parse>
ReadResult collect(std::string_view format, std::string_view defaultFont, const ReadOptions& options, Parse parse,
                   TextCollector::Spans spans = TextCollector::Spans::AtChanges, std::optional<SectionFormat> page = {})
{
    DocumentBuilder builder{std::string(format), options.limits};
    TextCollector collector(builder, defaultFont, spans, std::move(page));
    const std::string error = parse(collector);
    if (!error.empty())
        return ReadResult::failure(error);
    collector.finish();
    ReadResult result;
    result.document = builder.finish(collector.section(), collector.refs());
    return result;
}

// The page Works 2 to 4 saved: six words at 0x64 of the document stream
// (the whole file for Works 2 and for DOS, the "MN0" stream of Works 3 and
// 4), the top, bottom, left and right margins, then the page's height and
// width, in twips. libwps narrows the right margin it reports by 0.2 inch
// (halves one under 0.4 inch); Word lays the text out on the saved one.
std::optional<SectionFormat> worksPageSetup(librevenge::RVNGInputStream& input)
{
    std::unique_ptr<librevenge::RVNGInputStream> sub;
    librevenge::RVNGInputStream* stream = &input;
    if (input.isStructured()) {
        sub.reset(input.getSubStreamByName("MN0"));
        if (!sub)
            return std::nullopt;
        stream = sub.get();
    }
    stream->seek(0, librevenge::RVNG_SEEK_SET);
    unsigned long got = 0;
    const unsigned char* head = stream->read(0x70, got);
    input.seek(0, librevenge::RVNG_SEEK_SET);
    // The layout's signature: a version byte up to 7, then 0xFE.
    if (!head || got < 0x70 || head[0] > 7 || head[1] != 0xFE)
        return std::nullopt;
    auto word = [head](size_t at) { return static_cast<Twips>(head[at] | head[at + 1] << 8); };
    SectionFormat f;
    f.marginTop = word(0x64), f.marginBottom = word(0x66), f.marginLeft = word(0x68), f.marginRight = word(0x6A);
    f.pageHeight = word(0x6C), f.pageWidth = word(0x6E);
    if (f.pageWidth == 0 || f.pageHeight == 0 || f.marginLeft + f.marginRight >= f.pageWidth ||
        f.marginTop + f.marginBottom >= f.pageHeight)
        return std::nullopt;
    return f;
}

// The code page of a file libwps cannot tell one for. Works for DOS (the
// Works 2-4 layout with version byte 1) wrote its text in a DOS page: the
// one its header names at 0x10 (bits 4 to 14), else libwps' own choice,
// page 850 (é is 0x82 there, and 0xA0 is á, not a no-break space). Write
// and the other old formats are Windows-1252.
std::string oldTextEncoding(std::string_view bytes, libwps::WPSCreator creator)
{
    if (creator != libwps::WPS_MSWORKS)
        return "CP1252";
    if (bytes.size() < 0x12 || bytes[0] != 1 || bytes[1] != '\xFE')
        return {};
    const auto oem = static_cast<uint16_t>(static_cast<uint8_t>(bytes[0x10]) | static_cast<uint8_t>(bytes[0x11]) << 8);
    const unsigned page = (oem >> 4) & 0x7FF;
    return page >= 437 && page <= 869 ? "CP" + std::to_string(page) : std::string();
}

} // namespace

bool isWordPerfectDocument(std::string_view bytes)
{
    if (bytes.size() > UINT32_MAX)
        return false;
    try {
        librevenge::RVNGStringStream input(reinterpret_cast<const unsigned char*>(bytes.data()),
                                           static_cast<unsigned>(bytes.size()));
        return libwpd::WPDocument::isFileFormatSupported(&input) != libwpd::WPD_CONFIDENCE_NONE;
    } catch (...) {
        return false;
    }
}

bool isWorksDocument(std::string_view bytes)
{
    if (bytes.size() > UINT32_MAX)
        return false;
    try {
        librevenge::RVNGStringStream input(reinterpret_cast<const unsigned char*>(bytes.data()),
                                           static_cast<unsigned>(bytes.size()));
        libwps::WPSKind kind = libwps::WPS_TEXT;
        libwps::WPSCreator creator = libwps::WPS_MSWORKS;
        bool needsEncoding = false;
        return libwps::WPSDocument::isFileFormatSupported(&input, kind, creator, needsEncoding) !=
                   libwps::WPS_CONFIDENCE_NONE &&
               kind == libwps::WPS_TEXT;
    } catch (...) {
        return false;
    }
}

/// Reads a WordPerfect document (versions 4.2 to X-series) with libwpd.
ReadResult readWordPerfect(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes || bytes.size() > UINT32_MAX)
        return ReadResult::failure("the file is larger than the engine reads");
    try {
        librevenge::RVNGStringStream input(reinterpret_cast<const unsigned char*>(bytes.data()),
                                           static_cast<unsigned>(bytes.size()));
        const libwpd::WPDConfidence confidence = libwpd::WPDocument::isFileFormatSupported(&input);
        if (confidence == libwpd::WPD_CONFIDENCE_NONE)
            return ReadResult::failure("the file is not a WordPerfect document that can be read");
        if (confidence != libwpd::WPD_CONFIDENCE_EXCELLENT)
            return ReadResult::failure("password-protected documents cannot be counted");
        // WordPerfect's own default face is Times New Roman at 12 points.
        return collect("wpd", "Times New Roman", options, [&](TextCollector& collector) -> std::string {
            input.seek(0, librevenge::RVNG_SEEK_SET);
            switch (libwpd::WPDocument::parse(&input, &collector, nullptr)) {
            case libwpd::WPD_OK: return {};
            case libwpd::WPD_UNSUPPORTED_ENCRYPTION_ERROR:
            case libwpd::WPD_PASSWORD_MISSMATCH_ERROR: return "password-protected documents cannot be counted";
            default: return "the WordPerfect document is damaged and cannot be read";
            }
        });
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (...) {
        return ReadResult::failure("the WordPerfect document is damaged and cannot be read");
    }
}

/// Reads a Microsoft Works word-processor document (and the other text
/// formats libwps reads) with libwps; spreadsheets and databases are refused.
ReadResult readWorks(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes || bytes.size() > UINT32_MAX)
        return ReadResult::failure("the file is larger than the engine reads");
    try {
        librevenge::RVNGStringStream input(reinterpret_cast<const unsigned char*>(bytes.data()),
                                           static_cast<unsigned>(bytes.size()));
        libwps::WPSKind kind = libwps::WPS_TEXT;
        libwps::WPSCreator creator = libwps::WPS_MSWORKS;
        bool needsEncoding = false;
        const libwps::WPSConfidence confidence =
            libwps::WPSDocument::isFileFormatSupported(&input, kind, creator, needsEncoding);
        if (confidence == libwps::WPS_CONFIDENCE_NONE)
            return ReadResult::failure("the file is not a Works document that can be read");
        if (kind != libwps::WPS_TEXT)
            return ReadResult::failure("the file looks like a Works spreadsheet or database, not a document "
                                       "that can be counted");
        std::optional<SectionFormat> page = worksPageSetup(input);
        return collect(
            "wps", "Times New Roman", options,
            [&](TextCollector& collector) -> std::string {
                input.seek(0, librevenge::RVNG_SEEK_SET);
                const std::string encoding = needsEncoding ? oldTextEncoding(bytes, creator) : std::string();
                switch (libwps::WPSDocument::parse(&input, &collector, nullptr,
                                                   encoding.empty() ? nullptr : encoding.c_str())) {
                case libwps::WPS_OK: return {};
                case libwps::WPS_ENCRYPTION_ERROR: return "password-protected documents cannot be counted";
                default: return "the Works document is damaged and cannot be read";
                }
            },
            TextCollector::Spans::EveryPage, std::move(page));
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (...) {
        return ReadResult::failure("the Works document is damaged and cannot be read");
    }
}

} // namespace qm::engine
