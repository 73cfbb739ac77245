// The Word package reader: document, styles, numbering, notes, headers and footers into the model.
#include "engine/formats/docx/DocxReader.h"

#include "engine/formats/Reader.h"
#include "engine/formats/docx/DocxChart.h"
#include "engine/formats/docx/DocxDrawing.h"
#include "engine/formats/docx/DocxNumbering.h"
#include "engine/formats/docx/DocxStyles.h"
#include "engine/formats/docx/Package.h"
#include "engine/formats/docx/PartMemo.h"
#include "engine/formats/docx/XmlPart.h"
#include "engine/formats/docx/ZipPackage.h"
#include "engine/formats/Metafile.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <unordered_map>

namespace qm::engine {

namespace {

using docx::ParaProps;
using docx::parseBorder;
using docx::parseShadingFill;
using docx::parseTableProps;
using docx::RunProps;
using docx::TableProps;
using docx::TableStyleRef;
using docx::TableCondition;
using docx::parseCellBorders;
using docx::truthy;
using xml::child;
using xml::is;
using xml::value;

// Text boxes inside text boxes inside text boxes are legal; deeper nesting
// only serves to exhaust the stack.
constexpr int MaxStoryNesting = 6;

using docx::emuToTwips;

std::optional<Twips> twipsOf(const pugi::xml_node& node, std::string_view name)
{
    if (auto v = xml::toInt(value(node, name)))
        return xml::clampInt32(*v);
    return std::nullopt;
}

// "width:72pt;height:1.5in" as VML writes shape sizes.
Twips vmlLength(std::string_view style, std::string_view property)
{
    const std::string_view found = docx::vmlStyleValue(style, property);
    if (found.empty())
        return 0;
    const std::string number(found);
    char* end = nullptr;
    const double v = std::strtod(number.c_str(), &end);
    const std::string unit = end ? std::string(end) : "";
    double twips = v * 20; // points, VML's default unit is pixels but Word writes pt
    if (unit.starts_with("in"))
        twips = v * 1440;
    else if (unit.starts_with("cm"))
        twips = v * 1440 / 2.54;
    else if (unit.starts_with("mm"))
        twips = v * 144 / 2.54;
    else if (unit.starts_with("px") || unit.empty())
        twips = v * 15;
    if (!(twips > -1e9 && twips < 1e9))
        return 0;
    return static_cast<Twips>(twips);
}

bool isEncryptedPackage(std::string_view bytes)
{
    if (!bytes.starts_with("\xD0\xCF\x11\xE0\xA1\xB1\x1A\xE1"))
        return false;
    // The stream name is stored in UTF-16 in the container's directory.
    static const char name[] = "E\0n\0c\0r\0y\0p\0t\0e\0d\0P\0a\0c\0k\0a\0g\0e\0";
    return bytes.find(std::string_view(name, sizeof name - 1)) != std::string_view::npos;
}

/// One parsed part with its relationships.
struct Part {
    std::string name;
    std::string bytes; ///< the part's XML, which `xml` is parsed in
    pugi::xml_document xml;
    Relationships rels;
    bool loaded = false;
    /// A child of the root the reader never looks into, left out of the
    /// parse when it is plain (xml::dropPlainChildren), and the part's text
    /// as it came, parsed instead should the rest fail (when none is kept,
    /// the part is read from the package again for that).
    std::string_view unread;
    std::string_view asItCame;
};

/// An open complex field: its instruction is not shown, its result is. A
/// field that ends without a result may show part of its instruction
/// (instructionDisplayText), so the instruction's text is kept.
struct Field {
    bool inInstruction = true;
    std::u16string instruction;
};

/// Reading state of one story (the main text, a header, a note, a text box).
struct StoryContext {
    const Part* part = nullptr;
    std::vector<Field> fields;
    uint32_t inInstruction = 0; ///< open fields still in their instruction: nothing shows
    uint32_t fieldOverflow = 0; ///< fields nested past the limit, still to be closed
    bool isMain = false;
    bool inNote = false;
    std::vector<TableStyleRef> tableStyles; ///< of the open tables, innermost last, with the cell's parts
    std::vector<uint8_t> tableLooks;        ///< the parts each open table formats apart
    // A paragraph whose mark was deleted as a tracked change runs on into
    // the next one; its format is kept in case nothing follows.
    bool pendingMark = false;
    uint32_t pendingParaFormat = 0;
    uint32_t pendingMarkFormat = 0;
};

class DocxReader {
public:
    /// `whole`: the document part is parsed as one tree, never a child of
    /// its body at a time. `pictureText`: the text of metafile pictures is
    /// read for printing.
    DocxReader(ZipPackage& zip, DocumentBuilder& builder, bool whole, bool pictureText = false)
        : m_zip(zip), m_b(builder), m_whole(whole), m_pictureText(pictureText)
    {
    }

    ReadResult run();
    /// Whether the reading must be done again with `whole` set: a child of
    /// the body failed to parse on its own while the part parses whole.
    bool mustReadWhole() const { return m_mustReadWhole; }

private:
    /// The document part: its bytes, then its tree, or (when its body's
    /// children can be found without a parse) the tree without them, each
    /// child being parsed as the body is read.
    bool loadMain();
    enum class BodyOutcome { Read, Malformed, ReadWhole };
    /// Parses and reads the body's children one after the other.
    BodyOutcome readBodyChildren();
    ReadResult mainFailure() const;
    bool load(Part& part, Severity severity);
    /// The two halves of load: the part's bytes, then their XML.
    bool readBytes(Part& part, Severity severity);
    bool parse(Part& part, Severity severity);
    void readTheme(const Relationships& rels);
    void readStyles(const std::string& name);
    void readSettings(const std::string& name);
    void readFontTable(const std::string& name);
    static void readAnchorPlacement(const pugi::xml_node& anchor, InlineObject& object);
    void readAppProperties(const Relationships& packageRels);

    void readBlocks(const pugi::xml_node& parent);
    void readParagraph(const pugi::xml_node& p);
    void readInline(const pugi::xml_node& parent, const std::string& paraStyle);
    void readRunContent(const pugi::xml_node& parent, const std::string& paraStyle, const std::string& charStyle,
                        const RunProps& props);
    void readTable(const pugi::xml_node& tbl);
    void readRow(const pugi::xml_node& tr, const TableRowFormat& tableBase, uint8_t rowParts);
    void readCell(const pugi::xml_node& tc, TableRowFormat& row, uint8_t parts);
    static uint8_t tableLook(const pugi::xml_node& look);
    void readObject(const pugi::xml_node& node, uint32_t charFormat, bool vml);
    void readNoteReference(NoteKind kind, const pugi::xml_node& ref, uint32_t charFormat);
    int32_t readHeaderFooter(const std::string& relId, StoryType type);
    SectionFormat readSection(const pugi::xml_node& sectPr, HeaderFooterRefs& refs);

    void flushPendingMark();
    bool suppressed() const;
    const TableStyleRef& tableStyle() const
    {
        static const TableStyleRef none;
        return m_ctx->tableStyles.empty() ? none : m_ctx->tableStyles.back();
    }
    void emit(std::u16string_view text, uint32_t charFormat);
    void emitChar(char16_t c, uint32_t charFormat) { emit(std::u16string_view(&c, 1), charFormat); }
    static pugi::xml_node chooseAlternate(const pugi::xml_node& alternateContent);

    ZipPackage& m_zip;
    DocumentBuilder& m_b;
    Part m_main;
    const bool m_whole;
    bool m_mustReadWhole = false;
    /// The body's children when read one at a time: where they lie in the
    /// part's bytes, the tree of the one being read, and the body's own
    /// section properties (its first sectPr child), kept to the end.
    xml::ChildElements m_bodyChildren;
    bool m_byChild = false;
    std::string m_outline; ///< the part without the body's content, which m_main.xml is parsed in
    pugi::xml_document m_child;
    pugi::xml_document m_bodySection;
    docx::ThemeFonts m_theme;
    /// Chart objects and their parts, read once the text is (see readCharts).
    std::vector<std::pair<int32_t, std::string>> m_chartParts;
    void readCharts(Document& document);
    /// Metafile pictures and their parts, read last when asked (see readPictures).
    bool m_pictureText = false;
    std::vector<std::pair<int32_t, std::string>> m_metafileParts;
    void readPictures(Document& document);
    std::string m_eastAsiaLanguage; // the theme-font languages of the settings
    std::string m_bidiLanguage;
    docx::Styles m_styles;
    docx::Numbering m_numbering;
    StoryContext* m_ctx = nullptr;
    int m_storyNesting = 0;
    uint32_t m_defaultParaFormat = 0;
    uint32_t m_defaultCharFormat = 0;

    // Notes and comments: their parts, their notes by id, their stories.
    struct NoteSource {
        Part part;
        std::map<std::string, pugi::xml_node> byId;
        std::map<std::string, int32_t> read; // note id -> note index, each note read once
        int32_t story = -1;
        bool tried = false;
    };
    NoteSource m_notes[3];
    std::map<std::string, int32_t> m_headerStories; // part name -> story
    std::map<std::string, std::unique_ptr<Part>> m_headerParts;
};

bool DocxReader::load(Part& part, Severity severity)
{
    return readBytes(part, severity) && parse(part, severity);
}

bool DocxReader::readBytes(Part& part, Severity severity)
{
    PartData data = m_zip.read(part.name);
    if (!data.ok()) {
        // Optional parts (a theme, app.xml) may be absent without comment.
        if (data.found || severity != Severity::Note)
            m_b.diagnose("docx.part", severity, part.name, data.error + "; its text is not counted");
        return false;
    }
    part.bytes = std::move(data.bytes);
    return true;
}

bool DocxReader::parse(Part& part, Severity severity)
{
    // A child left out whose rest fails to parse: the part is parsed again
    // as it came, so that the fault is reported where it lies.
    const uint32_t maxDepth = m_b.limits().maxNestingDepth;
    bool parsed = false;
    const size_t size = part.bytes.size();
    if (!part.unread.empty() && (part.asItCame.empty() || part.asItCame.size() == size) &&
        xml::dropPlainChildren(part.bytes, {part.unread}, maxDepth) > 0) {
        parsed = xml::parseInPlace(part.bytes, part.xml, maxDepth).empty();
        if (!parsed && !part.asItCame.empty()) {
            part.bytes.assign(part.asItCame);
        } else if (!parsed) {
            PartData again = m_zip.readAgain(part.name, size);
            if (!again.ok()) {
                m_b.diagnose("docx.part", severity, part.name, again.error + "; its text is not counted");
                return false;
            }
            part.bytes = std::move(again.bytes);
        }
    }
    std::string error = parsed ? std::string() : xml::parseInPlace(part.bytes, part.xml, maxDepth);
    if (!error.empty()) {
        m_b.diagnose("docx.xml", severity, part.name, error + "; its text is not counted");
        return false;
    }
    part.rels = readRelationships(m_zip, part.name, m_b.limits().maxNestingDepth);
    part.loaded = true;
    return true;
}

namespace {

/// What the reader takes from a theme: the Latin fonts, and for the major
/// and minor collections their East Asian and complex-script typefaces and
/// their per-script fonts in order.
struct ThemeFontScheme {
    struct Collection {
        std::string ea, cs;
        std::vector<std::pair<std::string, std::string>> fonts; // script, typeface
    };
    std::string majorLatin, minorLatin;
    Collection major, minor;
};

ThemeFontScheme fontSchemeOf(const pugi::xml_document& theme)
{
    ThemeFontScheme out;
    const pugi::xml_node scheme = xml::descendant(theme, "fontScheme");
    auto collection = [](const pugi::xml_node& node, ThemeFontScheme::Collection& c) {
        c.ea = value(child(node, "ea"), "typeface");
        c.cs = value(child(node, "cs"), "typeface");
        for (pugi::xml_node f = node.first_child(); f; f = f.next_sibling())
            if (xml::is(f, "font"))
                c.fonts.emplace_back(value(f, "script"), value(f, "typeface"));
    };
    const pugi::xml_node major = child(scheme, "majorFont");
    const pugi::xml_node minor = child(scheme, "minorFont");
    out.majorLatin = value(child(major, "latin"), "typeface");
    out.minorLatin = value(child(minor, "latin"), "typeface");
    collection(major, out.major);
    collection(minor, out.minor);
    return out;
}

// Sixteen themes, style sheets and font tables of up to 256 KiB are kept
// (docx::PartMemo); a part that fails to parse is not kept: it is parsed,
// and reported, each time.
template <typename Value>
using PartMemo = docx::PartMemo<Value, 256u << 10, 16>;

PartMemo<ThemeFontScheme>& themeMemo()
{
    static PartMemo<ThemeFontScheme> memo;
    return memo;
}

// The same by the bytes a package holds for the part (ZipPackage::rawText),
// which spares inflating it.
PartMemo<ThemeFontScheme>& themeRawMemo()
{
    static PartMemo<ThemeFontScheme> memo;
    return memo;
}

// Styles are made with the theme's fonts: both are the key.
PartMemo<docx::Styles>& stylesMemo()
{
    static PartMemo<docx::Styles> memo;
    return memo;
}

PartMemo<docx::Styles>& stylesRawMemo()
{
    static PartMemo<docx::Styles> memo;
    return memo;
}

// A font table's stand-ins, in the order its fonts come, by the bytes the
// package holds for it.
using FontStandIns = std::vector<std::pair<std::string, std::string>>;
PartMemo<FontStandIns>& fontTableRawMemo()
{
    static PartMemo<FontStandIns> memo;
    return memo;
}

std::string stylesKey(const std::string& bytes, const docx::ThemeFonts& theme)
{
    const std::string* fonts[] = {&theme.major,         &theme.minor,        &theme.majorEastAsia,
                                  &theme.minorEastAsia, &theme.majorComplex, &theme.minorComplex};
    size_t size = bytes.size();
    for (const std::string* font : fonts)
        size += font->size() + 1;
    std::string key;
    key.reserve(size);
    for (const std::string* font : fonts)
        key.append(*font).push_back('\0');
    return key.append(bytes);
}

} // namespace

void DocxReader::readStyles(const std::string& name)
{
    Part styles;
    styles.name = name;
    if (name.empty())
        return;
    // A style sheet met before, known by the bytes the package holds (and
    // the theme's fonts), is not inflated again.
    std::string raw = m_zip.rawText(name);
    if (!raw.empty())
        raw = stylesKey(raw, m_theme);
    if (std::optional<docx::Styles> kept = raw.empty() ? std::nullopt : stylesRawMemo().find(raw);
        kept && m_zip.countAsRead(name)) {
        readRelationships(m_zip, styles.name, m_b.limits().maxNestingDepth);
        m_styles = std::move(*kept);
        m_b.settings().language = m_styles.defaultLanguage();
        return;
    }
    if (!readBytes(styles, Severity::Warning))
        return;
    // The latent styles (how Word's gallery shows the styles a document has
    // not used) are most of a style sheet Word writes, and nothing in them
    // is read. A sheet without raw bytes (one held inline, as a Flat OPC
    // file holds its parts) is looked for by its text, and the key holds
    // that text as it came; any other, or one too long to be kept, is not
    // copied: should it fail to parse without its latent styles, it is
    // read again. Hashing and copying every sheet's text cost more than
    // the few sheets alike in text but not in their raw bytes saved.
    styles.unread = "latentStyles";
    const size_t inflated = styles.bytes.size();
    std::string key;
    if (raw.empty() && styles.bytes.size() <= PartMemo<docx::Styles>::MaxKeyBytes) {
        key = stylesKey(styles.bytes, m_theme);
        styles.asItCame = std::string_view(key).substr(key.size() - styles.bytes.size());
    }
    if (std::optional<docx::Styles> kept = key.empty() ? std::nullopt : stylesMemo().find(key)) {
        // As a parse would, the part's relationships are read (they count
        // towards the package's limits), though nothing in them is used.
        readRelationships(m_zip, styles.name, m_b.limits().maxNestingDepth);
        m_styles = std::move(*kept);
    } else {
        if (!parse(styles, Severity::Warning))
            return;
        m_styles.load(styles.xml.document_element(), m_theme);
        // Kept by its raw bytes too where it is kept by its text: a sheet
        // too long for that would hold on to more memory than it saves.
        if (!raw.empty() && inflated <= PartMemo<docx::Styles>::MaxKeyBytes)
            stylesRawMemo().keep(std::move(raw), m_styles);
        if (!key.empty())
            stylesMemo().keep(std::move(key), m_styles);
    }
    m_b.settings().language = m_styles.defaultLanguage();
}

void DocxReader::readTheme(const Relationships& rels)
{
    Part theme;
    theme.name = targetOfType(rels, "theme");
    if (theme.name.empty())
        return;
    // A theme met before, known by the bytes the package holds, is not
    // inflated again: they inflate to the same text.
    std::string raw = m_zip.rawText(theme.name);
    std::optional<ThemeFontScheme> scheme = raw.empty() ? std::nullopt : themeRawMemo().find(raw);
    if (scheme && m_zip.countAsRead(theme.name)) {
        readRelationships(m_zip, theme.name, m_b.limits().maxNestingDepth);
    } else if (!readBytes(theme, Severity::Note)) {
        return;
    } else if ((scheme = themeMemo().find(theme.bytes))) {
        // As a parse would, the theme's relationships are read (they count
        // towards the package's limits), though nothing in them is used.
        readRelationships(m_zip, theme.name, m_b.limits().maxNestingDepth);
        if (!raw.empty())
            themeRawMemo().keep(std::move(raw), *scheme);
    } else {
        std::string text = theme.bytes; // parsing in place changes the bytes
        if (!parse(theme, Severity::Note))
            return;
        scheme = fontSchemeOf(theme.xml);
        if (!raw.empty() && text.size() <= PartMemo<ThemeFontScheme>::MaxKeyBytes)
            themeRawMemo().keep(std::move(raw), *scheme);
        themeMemo().keep(std::move(text), *scheme);
    }
    if (!scheme->majorLatin.empty())
        m_theme.major = scheme->majorLatin;
    if (!scheme->minorLatin.empty())
        m_theme.minor = scheme->minorLatin;
    // East Asian and complex-script theme fonts: the <a:ea>/<a:cs> typeface
    // when the theme names one, else the per-script font for the language
    // the document's theme fonts were chosen for.
    auto scriptFont = [&](const ThemeFontScheme::Collection& c, bool eastAsian, const std::string& language) {
        if (const std::string& f = eastAsian ? c.ea : c.cs; !f.empty())
            return f;
        const std::string_view script = docx::themeScriptOfLanguage(language);
        for (const auto& [fontScript, typeface] : c.fonts)
            if (fontScript == script)
                return typeface;
        return std::string();
    };
    m_theme.majorEastAsia = scriptFont(scheme->major, true, m_eastAsiaLanguage);
    m_theme.minorEastAsia = scriptFont(scheme->minor, true, m_eastAsiaLanguage);
    m_theme.majorComplex = scriptFont(scheme->major, false, m_bidiLanguage);
    m_theme.minorComplex = scriptFont(scheme->minor, false, m_bidiLanguage);
}

void DocxReader::readSettings(const std::string& name)
{
    Part part;
    part.name = name;
    if (name.empty() || !load(part, Severity::Note))
        return;
    DocumentSettings& s = m_b.settings();
    for (pugi::xml_node e = part.xml.document_element().first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "evenAndOddHeaders")
            s.evenAndOddHeaders = docx::onOff(e);
        else if (n == "mirrorMargins")
            s.mirrorMargins = docx::onOff(e);
        else if (n == "autoHyphenation")
            s.autoHyphenation = docx::onOff(e);
        else if (n == "hyphenationZone") {
            if (auto v = twipsOf(e, "val"); v && *v >= 0)
                s.hyphenationZone = *v;
        } else if (n == "consecutiveHyphenLimit") {
            if (auto v = xml::toInt(value(e, "val")); v && *v >= 0)
                s.consecutiveHyphenLimit = static_cast<uint16_t>(std::min<int64_t>(*v, 0x7FFF));
        } else if (n == "doNotHyphenateCaps")
            s.hyphenateCaps = !docx::onOff(e);
        else if (n == "themeFontLang") {
            m_eastAsiaLanguage = value(e, "eastAsia");
            m_bidiLanguage = value(e, "bidi");
        } else if (n == "defaultTabStop") {
            if (auto v = twipsOf(e, "val"); v && *v > 0)
                s.defaultTabStop = *v;
        } else if (n == "compat") {
            for (pugi::xml_node c = e.first_child(); c; c = c.next_sibling()) {
                if (c.type() != pugi::node_element)
                    continue;
                if (is(c, "compatSetting")) {
                    std::string key(value(c, "name"));
                    std::string val(value(c, "val"));
                    if (key == "compatibilityMode")
                        s.compatibilityMode = xml::clampInt32(xml::toInt(val).value_or(0));
                    if (!key.empty())
                        s.compat[key] = val;
                } else {
                    s.compat[std::string(xml::localName(c))] = docx::onOff(c) ? "1" : "0";
                }
            }
        }
    }
}

void DocxReader::readFontTable(const std::string& name)
{
    Part part;
    part.name = name;
    if (name.empty())
        return;
    std::map<std::string, std::string>& standIns = m_b.settings().fontStandIns;
    // A font table met before, known by the bytes the package holds, gives
    // the stand-ins it gave then (documents of one template share it).
    std::string raw = m_zip.rawText(name);
    if (std::optional<FontStandIns> kept = raw.empty() ? std::nullopt : fontTableRawMemo().find(raw);
        kept && m_zip.countAsRead(name)) {
        // As a parse would, the part's relationships are read (they count
        // towards the package's limits), though nothing in them is used.
        readRelationships(m_zip, name, m_b.limits().maxNestingDepth);
        for (const auto& [font, standIn] : *kept)
            standIns.emplace(font, standIn);
        return;
    }
    if (!load(part, Severity::Note))
        return;
    FontStandIns found;
    for (pugi::xml_node f = part.xml.document_element().first_child(); f; f = f.next_sibling()) {
        if (!is(f, "font"))
            continue;
        const std::string font(value(f, "name"));
        if (font.empty())
            continue;
        // "auto", "decorative" and "script" families give no font.
        const std::string_view family = value(child(f, "family"), "val");
        std::string standIn = fontStandIn(font, value(child(f, "altName"), "val"),
                                          family == "roman"    ? FontFamily::Roman
                                          : family == "swiss"  ? FontFamily::Swiss
                                          : family == "modern" ? FontFamily::Modern
                                                               : FontFamily::Other,
                                          value(child(f, "pitch"), "val") == "fixed");
        if (!standIn.empty())
            found.emplace_back(font, std::move(standIn));
    }
    for (const auto& [font, standIn] : found)
        standIns.emplace(font, standIn);
    if (!raw.empty() && part.bytes.size() <= PartMemo<FontStandIns>::MaxKeyBytes)
        fontTableRawMemo().keep(std::move(raw), found);
}

void DocxReader::readAppProperties(const Relationships& packageRels)
{
    Part app;
    app.name = targetOfType(packageRels, "extended-properties");
    if (app.name.empty())
        app.name = "docProps/app.xml";
    if (!m_zip.contains(app.name) || !load(app, Severity::Note))
        return;
    StoredStatistics& st = m_b.stored();
    for (pugi::xml_node e = app.xml.document_element().first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        auto number = [&] { return xml::toInt(e.text().get()); };
        if (n == "Pages")
            st.pages = number();
        else if (n == "Words")
            st.words = number();
        else if (n == "Characters")
            st.characters = number();
        else if (n == "CharactersWithSpaces")
            st.charactersWithSpaces = number();
        else if (n == "Lines")
            st.lines = number();
        else if (n == "Paragraphs")
            st.paragraphs = number();
        else if (n == "Application")
            st.application = e.text().get();
    }
}

bool DocxReader::suppressed() const { return m_ctx->inInstruction > 0 || m_ctx->fieldOverflow > 0; }

void DocxReader::emit(std::u16string_view text, uint32_t charFormat)
{
    if (!suppressed())
        m_b.appendText(text, charFormat);
}

void DocxReader::flushPendingMark()
{
    if (m_ctx->pendingMark) {
        m_ctx->pendingMark = false;
        m_b.endParagraph(m_ctx->pendingParaFormat, m_ctx->pendingMarkFormat);
    }
}

pugi::xml_node DocxReader::chooseAlternate(const pugi::xml_node& alternateContent)
{
    // Word takes the first choice it understands, which for the namespaces
    // Word writes is the first one; the fallback only when there is none.
    // Taking exactly one branch keeps a text box from counting twice.
    if (pugi::xml_node choice = child(alternateContent, "Choice"))
        return choice;
    return child(alternateContent, "Fallback");
}

void DocxReader::readBlocks(const pugi::xml_node& parent)
{
    for (pugi::xml_node e = parent.first_child(); e && !m_b.limitReached(); e = e.next_sibling()) {
        if (e.type() != pugi::node_element)
            continue;
        const std::string_view n = xml::localName(e);
        if (n == "p") {
            readParagraph(e);
        } else if (n == "tbl") {
            readTable(e);
        } else if (n == "sdt") {
            readBlocks(child(e, "sdtContent"));
        } else if (n == "customXml" || n == "ins" || n == "moveTo" || n == "smartTag") {
            readBlocks(e);
        } else if (n == "AlternateContent") {
            readBlocks(chooseAlternate(e));
        } else if (n == "altChunk") {
            m_b.diagnose("docx.altchunk", Severity::Warning, m_ctx->part->name,
                         "imported content (altChunk) is not read; its text is not counted");
        }
    }
}

void DocxReader::readParagraph(const pugi::xml_node& p)
{
    const pugi::xml_node pPr = child(p, "pPr");
    std::string style(value(child(pPr, "pStyle"), "val"));
    if (style.empty())
        style = m_styles.defaultParagraphStyle();
    const ParaProps direct = docx::parseParaProps(pPr);

    // Numbering comes from the paragraph, else from its style.
    docx::ListLabel label;
    {
        const ParaProps fromStyle = m_styles.styleParaProps(style);
        const int32_t numId = direct.numId ? *direct.numId : fromStyle.numId.value_or(0);
        const int32_t level = direct.level ? *direct.level : fromStyle.level.value_or(0);
        if (numId > 0 && !suppressed())
            label = m_numbering.next(numId, level);
    }

    const pugi::xml_node markPr = child(pPr, "rPr");
    const std::string markStyle(value(child(markPr, "rStyle"), "val"));
    const RunProps markProps = docx::parseRunProps(markPr, m_theme);
    const uint32_t markFormat = m_b.charFormat(m_styles.runFormat(style, markStyle, markProps, tableStyle()));
    const bool markDeleted = child(markPr, "del") || child(markPr, "moveFrom");

    ParaFormat pf = m_styles.paraFormat(style, label.para, direct, tableStyle());
    if (!label.text.empty()) {
        pf.listLabel = label.text;
        RunProps labelProps = label.run;
        labelProps.overlay(markProps);
        pf.listLabelCharFormat =
            static_cast<int32_t>(m_b.charFormat(m_styles.runFormat(style, markStyle, labelProps, tableStyle())));
    }
    const uint32_t paraFormat = m_b.paraFormat(pf);

    m_ctx->pendingMark = false; // this paragraph continues the one whose mark was deleted
    readInline(p, style);

    const pugi::xml_node sectPr = child(pPr, "sectPr");
    if (sectPr && m_ctx->isMain && m_b.tableDepth() == 0) {
        HeaderFooterRefs refs;
        const SectionFormat section = readSection(sectPr, refs);
        m_b.endSection(section, refs, paraFormat, markFormat);
    } else if (markDeleted) {
        m_ctx->pendingMark = true;
        m_ctx->pendingParaFormat = paraFormat;
        m_ctx->pendingMarkFormat = markFormat;
    } else {
        m_b.endParagraph(paraFormat, markFormat);
    }
}

void DocxReader::readInline(const pugi::xml_node& parent, const std::string& paraStyle)
{
    for (pugi::xml_node e = parent.first_child(); e; e = e.next_sibling()) {
        if (e.type() != pugi::node_element)
            continue;
        const std::string_view n = xml::localName(e);
        if (n == "r") {
            const pugi::xml_node rPr = child(e, "rPr");
            const std::string charStyle(value(child(rPr, "rStyle"), "val"));
            readRunContent(e, paraStyle, charStyle, docx::parseRunProps(rPr, m_theme));
        } else if (n == "hyperlink" || n == "smartTag" || n == "customXml" || n == "ins" || n == "moveTo" ||
                   n == "fldSimple" || n == "dir" || n == "bdo" || n == "oMath" || n == "oMathPara") {
            readInline(e, paraStyle);
        } else if (n == "sdt") {
            readInline(child(e, "sdtContent"), paraStyle);
        } else if (n == "AlternateContent") {
            readInline(chooseAlternate(e), paraStyle);
        } else if (std::strncmp(e.name(), "m:", 2) == 0) {
            // Equation structures (fractions, scripts, radicals) hold their
            // text in runs further down.
            readInline(e, paraStyle);
        }
    }
}

void DocxReader::readRunContent(const pugi::xml_node& parent, const std::string& paraStyle,
                                const std::string& charStyle, const RunProps& props)
{
    std::optional<uint32_t> format;
    auto cf = [&] {
        if (!format)
            format = m_b.charFormat(m_styles.runFormat(paraStyle, charStyle, props, tableStyle()));
        return *format;
    };
    for (pugi::xml_node e = parent.first_child(); e; e = e.next_sibling()) {
        if (e.type() != pugi::node_element)
            continue;
        const std::string_view n = xml::localName(e);
        if (n == "t") {
            if (suppressed())
                continue;
            std::string_view text = e.text().get();
            // Without xml:space="preserve" Word drops the whitespace around
            // the text, as XML tools may have added it for indentation.
            if (value(e, "space") != "preserve") {
                const size_t first = text.find_first_not_of(" \t\r\n");
                text = first == std::string_view::npos
                           ? std::string_view()
                           : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
            }
            if (!text.empty())
                m_b.appendUtf8(text, cf());
        } else if (n == "tab" || n == "ptab") {
            emitChar(Ch::Tab, cf());
        } else if (n == "br") {
            const std::string_view type = value(e, "type");
            emitChar(type == "page" ? Ch::PageBreak : type == "column" ? Ch::ColumnBreak : Ch::LineBreak, cf());
        } else if (n == "cr") {
            emitChar(Ch::LineBreak, cf());
        } else if (n == "noBreakHyphen") {
            emitChar(Ch::NonBreakingHyphen, cf());
        } else if (n == "softHyphen") {
            emitChar(Ch::OptionalHyphen, cf());
        } else if (n == "sym") {
            // Symbol-font characters are stored as their private-use code
            // (F0xx); Word shows and counts them as one character.
            std::string_view code = value(e, "char");
            uint32_t c = 0;
            bool ok = !code.empty() && code.size() <= 4;
            for (char h : code) {
                c <<= 4;
                if (h >= '0' && h <= '9')
                    c |= static_cast<uint32_t>(h - '0');
                else if ((h | 0x20) >= 'a' && (h | 0x20) <= 'f')
                    c |= static_cast<uint32_t>((h | 0x20) - 'a' + 10);
                else
                    ok = false;
            }
            if (ok && c >= 0x20)
                emitChar(static_cast<char16_t>(c), cf());
        } else if (n == "fldChar") {
            const std::string_view type = value(e, "fldCharType");
            if (type == "begin") {
                if (m_ctx->fields.size() < m_b.limits().maxNestingDepth) {
                    m_ctx->fields.push_back(Field{});
                    ++m_ctx->inInstruction;
                } else {
                    ++m_ctx->fieldOverflow;
                }
            } else if (type == "separate") {
                if (m_ctx->fieldOverflow == 0 && !m_ctx->fields.empty() && m_ctx->fields.back().inInstruction) {
                    m_ctx->fields.back().inInstruction = false;
                    --m_ctx->inInstruction;
                }
            } else if (type == "end") {
                if (m_ctx->fieldOverflow > 0) {
                    --m_ctx->fieldOverflow;
                } else if (!m_ctx->fields.empty()) {
                    std::u16string shown;
                    if (m_ctx->fields.back().inInstruction) {
                        --m_ctx->inInstruction;
                        shown = instructionDisplayText(m_ctx->fields.back().instruction);
                    }
                    m_ctx->fields.pop_back();
                    if (!shown.empty() && !suppressed())
                        m_b.appendText(shown, cf());
                }
            }
        } else if (n == "instrText") {
            // Kept only while it can matter: a field's own instruction,
            // outside any other instruction, up to a bound.
            constexpr size_t MaxInstruction = 4096;
            if (m_ctx->fieldOverflow == 0 && m_ctx->inInstruction == 1 && !m_ctx->fields.empty() &&
                m_ctx->fields.back().inInstruction && m_ctx->fields.back().instruction.size() < MaxInstruction)
                m_ctx->fields.back().instruction += utf8ToUtf16(e.text().get());
        } else if (n == "footnoteReference" || n == "endnoteReference" || n == "commentReference") {
            if (suppressed())
                continue;
            const NoteKind kind = n == "footnoteReference"  ? NoteKind::Footnote
                                  : n == "endnoteReference" ? NoteKind::Endnote
                                                            : NoteKind::Comment;
            readNoteReference(kind, e, cf());
        } else if (n == "footnoteRef" || n == "endnoteRef") {
            // The note's own number at the start of its text.
            emitChar(Ch::NoteReference, cf());
        } else if (n == "drawing" || n == "pict" || n == "object") {
            if (!suppressed())
                readObject(e, cf(), n != "drawing");
        } else if (n == "AlternateContent") {
            readRunContent(chooseAlternate(e), paraStyle, charStyle, props);
        } else if (n == "ruby") {
            // The base text counts; the small guide text above it does not.
            readInline(child(e, "rubyBase"), paraStyle);
        }
    }
}

void DocxReader::readAnchorPlacement(const pugi::xml_node& anchor, InlineObject& object)
{
    // wp:anchor (ECMA-376 Part 1 §20.4.2.3): the distances the text keeps,
    // positionH/positionV with an offset or an alignment, and the wrapping.
    auto emu = [&](const pugi::xml_node& n, const char* name) {
        return emuToTwips(xml::toInt(value(n, name)).value_or(0));
    };
    object.distTop = emu(anchor, "distT");
    object.distBottom = emu(anchor, "distB");
    object.distLeft = emu(anchor, "distL");
    object.distRight = emu(anchor, "distR");
    auto axis = [&](const char* name, bool vertical) {
        AnchorAxis a;
        const pugi::xml_node pos = child(anchor, name);
        const std::string_view from = value(pos, "relativeFrom");
        a.from = from == "page"                           ? AnchorFrom::Page
                 : from == "margin"                       ? AnchorFrom::Margin
                 : from == "paragraph"                    ? AnchorFrom::Paragraph
                 : from == "line"                         ? AnchorFrom::Line
                 : from == "character"                    ? AnchorFrom::Character
                 : from == "column" || (!vertical && from.empty()) ? AnchorFrom::Column
                 : from.empty()                           ? AnchorFrom::Paragraph
                                                          : AnchorFrom::OtherMargin;
        if (pugi::xml_node align = child(pos, "align")) {
            const std::string_view v = align.text().get();
            a.align = v == "center"                  ? AnchorAxis::Align::Center
                      : v == "right" || v == "bottom" || v == "outside" ? AnchorAxis::Align::End
                                                                        : AnchorAxis::Align::Start;
        } else if (pugi::xml_node offset = child(pos, "posOffset")) {
            a.offset = emuToTwips(xml::toInt(offset.text().get()).value_or(0));
        }
        return a;
    };
    object.horizontal = axis("positionH", false);
    object.vertical = axis("positionV", true);
    for (pugi::xml_node c = anchor.first_child(); c; c = c.next_sibling()) {
        const std::string_view n = xml::localName(c);
        if (n == "wrapSquare")
            object.wrap = TextWrap::Square;
        else if (n == "wrapTight")
            object.wrap = TextWrap::Tight;
        else if (n == "wrapThrough")
            object.wrap = TextWrap::Through;
        else if (n == "wrapTopAndBottom")
            object.wrap = TextWrap::TopAndBottom;
        else if (n == "wrapNone")
            object.wrap = TextWrap::None;
    }
}

void DocxReader::readObject(const pugi::xml_node& node, uint32_t charFormat, bool vml)
{
    InlineObject object;
    object.kind = ObjectKind::Picture;
    if (!vml) {
        pugi::xml_node frame = child(node, "inline");
        if (!frame) {
            frame = child(node, "anchor");
            object.floating = static_cast<bool>(frame);
        }
        if (pugi::xml_node extent = child(frame, "extent")) {
            object.width = emuToTwips(xml::toInt(value(extent, "cx")).value_or(0));
            object.height = emuToTwips(xml::toInt(value(extent, "cy")).value_or(0));
        }
        if (object.floating)
            readAnchorPlacement(frame, object);
        if (xml::descendant(node, "chart"))
            object.kind = ObjectKind::Chart;
        else if (!xml::descendant(node, "pic"))
            object.kind = ObjectKind::Shape;
    } else {
        // VML: a shape positioned absolutely floats; others stand in the line.
        for (pugi::xml_node s = node.first_child(); s; s = s.next_sibling()) {
            std::string_view style = value(s, "style");
            if (style.empty())
                continue;
            object.floating = style.find("position:absolute") != std::string_view::npos;
            object.width = vmlLength(style, "width");
            object.height = vmlLength(style, "height");
            break;
        }
        if (is(node, "object"))
            object.kind = ObjectKind::Embedded;
        else if (!xml::descendant(node, "imagedata"))
            object.kind = ObjectKind::Shape;
    }

    // Text boxes: every w:txbxContent of the drawing, not those nested in
    // another box's text (those are read with that text).
    std::vector<pugi::xml_node> boxes;
    std::vector<pugi::xml_node> stack{node};
    while (!stack.empty() && boxes.size() < 64) {
        pugi::xml_node cur = stack.back();
        stack.pop_back();
        for (pugi::xml_node c = cur.last_child(); c; c = c.previous_sibling()) {
            if (c.type() != pugi::node_element)
                continue;
            if (is(c, "txbxContent"))
                boxes.push_back(c);
            else if (is(c, "AlternateContent"))
                stack.push_back(chooseAlternate(c));
            else
                stack.push_back(c);
        }
    }
    if (!boxes.empty() && m_storyNesting < MaxStoryNesting) {
        const StoryId story = m_b.newStory(StoryType::TextFrame);
        if (story != 0xFFFFFFFFu) {
            object.kind = ObjectKind::TextBox;
            object.story = static_cast<int32_t>(story);
            object.textLayout = docx::readShapeTextLayout(node, vml);
            const StoryId previous = m_b.currentStory();
            StoryContext context;
            context.part = m_ctx->part;
            StoryContext* outer = m_ctx;
            m_ctx = &context;
            ++m_storyNesting;
            m_b.setStory(story);
            for (const pugi::xml_node& box : boxes)
                readBlocks(box);
            flushPendingMark();
            m_b.setStory(previous);
            --m_storyNesting;
            m_ctx = outer;
        }
    }
    const int32_t index = m_b.addObject(object);
    if (object.kind == ObjectKind::Chart && index >= 0 && m_ctx && m_ctx->part) {
        // c:chart r:id names the chart part among the relationships of the
        // part the drawing stands in.
        const std::string_view id = value(xml::descendant(node, "chart"), "id");
        if (auto rel = m_ctx->part->rels.find(std::string(id));
            rel != m_ctx->part->rels.end() && !rel->second.target.empty())
            m_chartParts.emplace_back(index, rel->second.target);
    }
    if (m_pictureText && index >= 0 && m_ctx && m_ctx->part &&
        (object.kind == ObjectKind::Picture || object.kind == ObjectKind::Embedded)) {
        // a:blip r:embed, v:imagedata r:id: a metafile's text is printed.
        const std::string_view id = docx::pictureRelationship(node, vml);
        if (auto rel = id.empty() ? m_ctx->part->rels.end() : m_ctx->part->rels.find(std::string(id));
            rel != m_ctx->part->rels.end() && docx::isMetafilePart(rel->second.target))
            m_metafileParts.emplace_back(index, rel->second.target);
    }
    CharFormat format = m_b.document().charFormats[charFormat];
    format.objectIndex = index;
    m_b.appendChar(object.floating ? Ch::Anchor : Ch::Object, m_b.charFormat(format));
}

void DocxReader::readNoteReference(NoteKind kind, const pugi::xml_node& ref, uint32_t charFormat)
{
    const bool customMark = docx::truthy(value(ref, "customMarkFollows"));
    const size_t k = static_cast<size_t>(kind);
    NoteSource& src = m_notes[k];
    if (m_ctx->inNote || m_storyNesting >= MaxStoryNesting) {
        // A reference inside a note has no note of its own in Word.
        if (kind != NoteKind::Comment && !customMark)
            emitChar(Ch::NoteReference, charFormat);
        return;
    }
    if (!src.tried) {
        src.tried = true;
        static const char* const types[] = {"footnotes", "endnotes", "comments"};
        src.part.name = targetOfType(m_main.rels, types[k]);
        if (!src.part.name.empty() && load(src.part, Severity::Warning)) {
            for (pugi::xml_node n = src.part.xml.document_element().first_child(); n; n = n.next_sibling())
                if (n.type() == pugi::node_element)
                    src.byId.try_emplace(std::string(value(n, "id")), n);
        }
    }
    const std::string id(value(ref, "id"));
    auto it = src.byId.find(id);
    int32_t noteIndex = -1;
    if (auto done = src.read.find(id); done != src.read.end()) {
        // A second reference to one note shows the mark again but must not
        // copy the note's text: that would let a small file grow without bound.
        noteIndex = done->second;
    } else if (it != src.byId.end()) {
        if (src.story < 0) {
            const StoryType type = kind == NoteKind::Footnote  ? StoryType::Footnotes
                                   : kind == NoteKind::Endnote ? StoryType::Endnotes
                                                               : StoryType::Comments;
            const StoryId id = m_b.newStory(type);
            if (id == 0xFFFFFFFFu)
                return;
            src.story = static_cast<int32_t>(id);
        }
        const StoryId previous = m_b.currentStory();
        StoryContext context;
        context.part = &src.part;
        context.inNote = true;
        StoryContext* outer = m_ctx;
        m_ctx = &context;
        ++m_storyNesting;
        m_b.setStory(static_cast<StoryId>(src.story));
        Note note;
        note.kind = kind;
        note.story = src.story;
        note.start = m_b.position();
        readBlocks(it->second);
        flushPendingMark();
        note.end = m_b.position();
        m_b.setStory(previous);
        --m_storyNesting;
        m_ctx = outer;
        noteIndex = m_b.addNote(note);
        src.read.emplace(id, noteIndex);
    } else {
        m_b.diagnose("docx.note", Severity::Warning, m_main.name, "a note reference points to no note");
    }
    // Comments have no reference character that Word counts or shows in the text.
    if (kind == NoteKind::Comment || customMark)
        return;
    CharFormat format = m_b.document().charFormats[charFormat];
    format.noteIndex = noteIndex;
    m_b.appendChar(Ch::NoteReference, m_b.charFormat(format));
}

int32_t DocxReader::readHeaderFooter(const std::string& relId, StoryType type)
{
    auto rel = m_main.rels.find(relId);
    if (rel == m_main.rels.end() || rel->second.target.empty()) {
        m_b.diagnose("docx.relationship", Severity::Warning, m_main.name,
                     "a header or footer reference names no part; it is not counted");
        return -1;
    }
    const std::string& name = rel->second.target;
    if (auto it = m_headerStories.find(name); it != m_headerStories.end())
        return it->second;
    m_headerStories[name] = -1; // a part that fails stays failed
    auto part = std::make_unique<Part>();
    part->name = name;
    if (!load(*part, Severity::Warning))
        return -1;
    const StoryId story = m_b.newStory(type);
    if (story == 0xFFFFFFFFu)
        return -1;
    const StoryId previous = m_b.currentStory();
    StoryContext context;
    context.part = part.get();
    StoryContext* outer = m_ctx;
    m_ctx = &context;
    ++m_storyNesting;
    m_b.setStory(story);
    readBlocks(part->xml.document_element());
    flushPendingMark();
    m_b.setStory(previous);
    --m_storyNesting;
    m_ctx = outer;
    m_headerParts[name] = std::move(part);
    m_headerStories[name] = static_cast<int32_t>(story);
    return static_cast<int32_t>(story);
}

SectionFormat DocxReader::readSection(const pugi::xml_node& sectPr, HeaderFooterRefs& refs)
{
    SectionFormat f;
    auto clampLength = [](std::optional<Twips> v, Twips fallback, Twips lo, Twips hi) {
        return v ? std::clamp(*v, lo, hi) : fallback;
    };
    constexpr Twips MaxPage = 31680 * 2; // 44 inches, beyond any paper Word offers
    for (pugi::xml_node e = sectPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "pgSz") {
            f.pageWidth = clampLength(twipsOf(e, "w"), f.pageWidth, 144, MaxPage);
            f.pageHeight = clampLength(twipsOf(e, "h"), f.pageHeight, 144, MaxPage);
        } else if (n == "pgMar") {
            f.marginTop = clampLength(twipsOf(e, "top"), f.marginTop, -MaxPage, MaxPage);
            f.marginBottom = clampLength(twipsOf(e, "bottom"), f.marginBottom, -MaxPage, MaxPage);
            f.marginLeft =
                clampLength(twipsOf(e, "left"), clampLength(twipsOf(e, "start"), f.marginLeft, 0, MaxPage), 0, MaxPage);
            f.marginRight =
                clampLength(twipsOf(e, "right"), clampLength(twipsOf(e, "end"), f.marginRight, 0, MaxPage), 0, MaxPage);
            f.headerDistance = clampLength(twipsOf(e, "header"), f.headerDistance, 0, MaxPage);
            f.footerDistance = clampLength(twipsOf(e, "footer"), f.footerDistance, 0, MaxPage);
            f.gutter = clampLength(twipsOf(e, "gutter"), f.gutter, 0, MaxPage);
        } else if (n == "titlePg") {
            f.titlePage = docx::onOff(e);
        } else if (n == "type") {
            const std::string_view v = value(e, "val");
            f.start = v == "continuous"   ? SectionStart::Continuous
                      : v == "nextColumn" ? SectionStart::NewColumn
                      : v == "evenPage"   ? SectionStart::EvenPage
                      : v == "oddPage"    ? SectionStart::OddPage
                                          : SectionStart::NewPage;
        } else if (n == "cols") {
            f.columns = std::clamp<int32_t>(xml::clampInt32(xml::toInt(value(e, "num")).value_or(1)), 1, 45);
            f.columnSpacing = clampLength(twipsOf(e, "space"), f.columnSpacing, 0, MaxPage);
            if (value(e, "equalWidth") == "0" || value(e, "equalWidth") == "false") {
                for (pugi::xml_node c = e.first_child(); c && f.columnWidths.size() < 45; c = c.next_sibling())
                    if (is(c, "col"))
                        f.columnWidths.push_back(clampLength(twipsOf(c, "w"), 0, 0, MaxPage));
                if (!f.columnWidths.empty())
                    f.columns = static_cast<int32_t>(f.columnWidths.size());
            }
        } else if (n == "docGrid") {
            const std::string_view v = value(e, "type");
            f.gridType = v == "lines"           ? DocGridType::Lines
                         : v == "linesAndChars" ? DocGridType::LinesAndChars
                         : v == "snapToChars"   ? DocGridType::SnapToChars
                                                : DocGridType::None;
            f.linePitch = clampLength(twipsOf(e, "linePitch"), 0, 0, MaxPage);
        } else if (n == "headerReference" || n == "footerReference") {
            const bool header = n == "headerReference";
            const std::string_view type = value(e, "type");
            const size_t index = type == "first" ? 1 : type == "even" ? 2 : 0;
            static const StoryType headerTypes[] = {StoryType::PrimaryHeader, StoryType::FirstPageHeader,
                                                    StoryType::EvenPagesHeader};
            static const StoryType footerTypes[] = {StoryType::PrimaryFooter, StoryType::FirstPageFooter,
                                                    StoryType::EvenPagesFooter};
            const int32_t story =
                readHeaderFooter(std::string(value(e, "id")), header ? headerTypes[index] : footerTypes[index]);
            (header ? refs.headers : refs.footers)[index] = story;
        }
    }
    return f;
}

void DocxReader::readTable(const pugi::xml_node& tbl)
{
    flushPendingMark();
    TableRowFormat base;
    for (pugi::xml_node g = child(child(tbl, "tblGrid"), "gridCol"); g && base.grid.size() < 64; g = g.next_sibling()) {
        if (is(g, "gridCol"))
            base.grid.push_back(std::max<Twips>(0, twipsOf(g, "w").value_or(0)));
    }
    const pugi::xml_node tblPr = child(tbl, "tblPr");
    base.borders = static_cast<bool>(child(tblPr, "tblStyle"));
    std::string style(value(child(tblPr, "tblStyle"), "val"));
    // The table style's borders and cell margins, then the table's own.
    TableProps props = m_styles.tableProps(style.empty() ? m_styles.defaultTableStyle() : style);
    props.overlay(parseTableProps(tblPr));
    props.applyTo(base);
    for (pugi::xml_node e = tblPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "jc") {
            const std::string_view v = value(e, "val");
            base.alignment = v == "center"                  ? Alignment::Center
                             : (v == "right" || v == "end") ? Alignment::Right
                                                            : Alignment::Left;
        } else if (n == "tblInd") {
            base.leftIndent = twipsOf(e, "w").value_or(0);
        } else if (n == "tblW") {
            // "pct" in fiftieths of a percent, or written as "100%".
            const std::string_view type = value(e, "type");
            const std::string_view w = value(e, "w");
            if (type == "pct") {
                const bool percentSign = !w.empty() && w.back() == '%';
                const int64_t v = xml::toInt(percentSign ? w.substr(0, w.size() - 1) : w).value_or(0);
                base.preferredWidth = static_cast<Twips>(std::clamp<int64_t>(percentSign ? v * 50 : v, 0, 5000));
                base.preferredWidthPercent = true;
            } else if (type == "dxa" || type.empty()) {
                base.preferredWidth = std::clamp<Twips>(twipsOf(e, "w").value_or(0), 0, 31680);
            }
        } else if (n == "tblLayout") {
            base.fixedLayout = value(e, "type") == "fixed";
        } else if (n == "tblCellSpacing") {
            base.cellSpacing = std::max<Twips>(0, twipsOf(e, "w").value_or(0));
        } else if (n == "tblBorders") {
            base.borders = false;
            for (pugi::xml_node b = e.first_child(); b; b = b.next_sibling())
                if (b.type() == pugi::node_element && value(b, "val") != "nil" && value(b, "val") != "none")
                    base.borders = true;
        }
    }
    m_ctx->tableStyles.push_back({style.empty() ? m_styles.defaultTableStyle() : style, 0});
    m_ctx->tableLooks.push_back(tableLook(child(tblPr, "tblLook")));
    m_b.beginTable();
    // Rows may sit inside content controls or custom XML around them.
    auto forEachRow = [&](auto& self, const pugi::xml_node& parent, const auto& visit) -> void {
        for (pugi::xml_node e = parent.first_child(); e && !m_b.limitReached(); e = e.next_sibling()) {
            const std::string_view n = xml::localName(e);
            if (n == "tr")
                visit(e);
            else if (n == "sdt")
                self(self, child(e, "sdtContent"), visit);
            else if (n == "customXml" || n == "ins" || n == "moveTo")
                self(self, e, visit);
        }
    };
    size_t rows = 0;
    forEachRow(forEachRow, tbl, [&](const pugi::xml_node&) { ++rows; });
    size_t row = 0;
    forEachRow(forEachRow, tbl, [&](const pugi::xml_node& tr) {
        const uint8_t parts = (row == 0 ? TableCondition::FirstRow : 0) | (row + 1 == rows ? TableCondition::LastRow : 0);
        ++row;
        readRow(tr, base, parts);
    });
    m_ctx->tableLooks.pop_back();
    m_b.endTable();
    m_ctx->tableStyles.pop_back();
}

uint8_t DocxReader::tableLook(const pugi::xml_node& look)
{
    // The parts of the table its style formats apart: the attributes, or
    // the older hexadecimal mask in w:val (ECMA-376 Part 1, 17.4.56).
    if (!look)
        return 0;
    uint8_t parts = 0;
    const unsigned long mask = std::strtoul(std::string(value(look, "val")).c_str(), nullptr, 16);
    auto on = [&](const char* attribute, unsigned long bit) {
        const std::string_view v = value(look, attribute);
        return v.empty() ? (mask & bit) != 0 : truthy(v);
    };
    if (on("firstRow", 0x0020))
        parts |= TableCondition::FirstRow;
    if (on("lastRow", 0x0040))
        parts |= TableCondition::LastRow;
    if (on("firstColumn", 0x0080))
        parts |= TableCondition::FirstColumn;
    if (on("lastColumn", 0x0100))
        parts |= TableCondition::LastColumn;
    return parts;
}

void DocxReader::readRow(const pugi::xml_node& tr, const TableRowFormat& tableBase, uint8_t rowParts)
{
    const pugi::xml_node trPr = child(tr, "trPr");
    if (child(trPr, "del"))
        return; // a row deleted as a tracked change is gone from the final text
    TableRowFormat row = tableBase;
    for (pugi::xml_node e = trPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "trHeight") {
            row.height = std::max<Twips>(0, twipsOf(e, "val").value_or(0));
            row.heightRule = value(e, "hRule") == "exact"                    ? RowHeightRule::Exact
                             : row.height > 0 && value(e, "hRule") != "auto" ? RowHeightRule::AtLeast
                                                                             : RowHeightRule::Auto;
        } else if (n == "cantSplit") {
            row.cantSplit = docx::onOff(e);
        } else if (n == "tblHeader") {
            row.isHeader = docx::onOff(e);
        } else if (n == "tblCellSpacing") {
            row.cellSpacing = std::max<Twips>(0, twipsOf(e, "w").value_or(0));
        }
    }
    m_b.beginRow();
    auto forEachCell = [&](auto& self, const pugi::xml_node& parent, const auto& visit) -> void {
        for (pugi::xml_node e = parent.first_child(); e && !m_b.limitReached(); e = e.next_sibling()) {
            const std::string_view n = xml::localName(e);
            if (n == "tc")
                visit(e);
            else if (n == "sdt")
                self(self, child(e, "sdtContent"), visit);
            else if (n == "customXml")
                self(self, e, visit);
        }
    };
    size_t cells = 0;
    forEachCell(forEachCell, tr, [&](const pugi::xml_node&) { ++cells; });
    size_t cell = 0;
    const uint8_t look = m_ctx->tableLooks.empty() ? 0 : m_ctx->tableLooks.back();
    forEachCell(forEachCell, tr, [&](const pugi::xml_node& tc) {
        const uint8_t parts = rowParts | (cell == 0 ? TableCondition::FirstColumn : 0) |
                              (cell + 1 == cells ? TableCondition::LastColumn : 0);
        ++cell;
        readCell(tc, row, static_cast<uint8_t>(parts & look));
    });
    m_b.endRow(row, m_defaultCharFormat);
}

void DocxReader::readCell(const pugi::xml_node& tc, TableRowFormat& row, uint8_t parts)
{
    // The cell's text takes the formatting its table's style gives the
    // parts of the table the cell is in (a bold header row, a heavier line
    // under it), and so do its borders, under the cell's own.
    TableStyleRef& styleRef = m_ctx->tableStyles.back();
    styleRef.conditions = parts;
    TableCellFormat cell;
    cell.borders = m_styles.conditionalBorders(styleRef);
    const pugi::xml_node tcPr = child(tc, "tcPr");
    for (pugi::xml_node e = tcPr.first_child(); e; e = e.next_sibling()) {
        const std::string_view n = xml::localName(e);
        if (n == "tcW") {
            const std::string_view type = value(e, "type");
            if (type.empty() || type == "dxa")
                cell.width = std::max<Twips>(0, twipsOf(e, "w").value_or(0));
        } else if (n == "gridSpan") {
            cell.gridSpan = std::clamp<int32_t>(xml::clampInt32(xml::toInt(value(e, "val")).value_or(1)), 1, 64);
        } else if (n == "vMerge") {
            cell.verticalMerge = value(e, "val") == "restart" ? VerticalMerge::Restart : VerticalMerge::Continue;
        } else if (n == "hideMark") {
            cell.hideMark = docx::onOff(e);
        } else if (n == "vAlign") {
            const std::string_view v = value(e, "val");
            cell.verticalAlign = v == "center"   ? CellVerticalAlign::Center
                                 : v == "bottom" ? CellVerticalAlign::Bottom
                                                 : CellVerticalAlign::Top;
        } else if (n == "shd") {
            if (auto fill = parseShadingFill(e))
                cell.shading = *fill;
        } else if (n == "tcBorders") {
            docx::overlayBorders(cell.borders, parseCellBorders(e));
        }
    }
    if (cell.width == 0 && !row.grid.empty()) {
        // Without a width of its own the cell spans its grid columns.
        const size_t first = row.cells.empty() ? 0 : [&] {
            size_t col = 0;
            for (const auto& c : row.cells)
                col += static_cast<size_t>(c.gridSpan);
            return col;
        }();
        for (size_t i = first; i < first + static_cast<size_t>(cell.gridSpan) && i < row.grid.size(); ++i)
            cell.width += row.grid[i];
    }
    if (row.cells.size() < 64)
        row.cells.push_back(cell);
    m_b.beginCell();
    readBlocks(tc);
    flushPendingMark();
    m_b.endCell(m_defaultParaFormat, m_defaultCharFormat);
    m_ctx->tableStyles.back().conditions = 0;
}

ReadResult DocxReader::run()
{
    const Relationships packageRels = readRelationships(m_zip, "", m_b.limits().maxNestingDepth);
    m_main.name = targetOfType(packageRels, "officeDocument");
    if (m_main.name.empty() || !m_zip.contains(m_main.name))
        m_main.name = "word/document.xml";
    if (!m_zip.contains(m_main.name))
        return ReadResult::failure("the package holds no Word document (word/document.xml is missing)");
    if (!loadMain())
        return mainFailure();

    readSettings(targetOfType(m_main.rels, "settings"));
    readFontTable(targetOfType(m_main.rels, "fontTable"));
    readTheme(m_main.rels);
    readStyles(targetOfType(m_main.rels, "styles"));
    if (Part numbering;
        !(numbering.name = targetOfType(m_main.rels, "numbering")).empty() && load(numbering, Severity::Warning))
        m_numbering.load(numbering.xml.document_element(), m_theme);
    readAppProperties(packageRels);

    m_defaultParaFormat = m_b.paraFormat(m_styles.paraFormat(m_styles.defaultParagraphStyle(), {}, {}));
    m_defaultCharFormat = m_b.charFormat(m_styles.runFormat(m_styles.defaultParagraphStyle(), {}, {}));

    const pugi::xml_node body = child(m_main.xml.document_element(), "body");
    if (!body)
        m_b.diagnose("docx.body", Severity::Error, m_main.name, "the document has no body; no text is counted");
    StoryContext main;
    main.part = &m_main;
    main.isMain = true;
    m_ctx = &main;
    readBlocks(body);
    if (m_byChild) {
        switch (readBodyChildren()) {
        case BodyOutcome::Read: break;
        case BodyOutcome::Malformed: return mainFailure();
        case BodyOutcome::ReadWhole: m_mustReadWhole = true; return ReadResult::failure("the body is read again whole");
        }
    }
    flushPendingMark();
    HeaderFooterRefs refs;
    const SectionFormat last =
        readSection(m_byChild ? m_bodySection.document_element() : child(body, "sectPr"), refs);
    m_ctx = nullptr;
    ReadResult result;
    result.document = m_b.finish(last, refs);
    try {
        readCharts(*result.document);
    } catch (const std::exception&) {
        // A chart that cannot be read (memory) costs its text only.
    }
    try {
        readPictures(*result.document);
    } catch (const std::exception&) {
        // Nor does a picture.
    }
    return result;
}

ReadResult DocxReader::mainFailure() const
{
    return ReadResult::failure("the document's main part cannot be read: " +
                               (m_b.document().diagnostics.empty() ? std::string("it is damaged")
                                                                   : m_b.document().diagnostics.back().message));
}

bool DocxReader::loadMain()
{
    if (!readBytes(m_main, Severity::Error))
        return false;
    // A long document's body has its children parsed one at a time where
    // they can be found without a parse: the tree of one paragraph or table
    // is all that is held at once, not the whole part's (a tree is several
    // times the size of its text, and each page of it is fresh memory the
    // system must fault in: a 12 MB part made a 50 MB tree). Finding them
    // costs a pass over the text, which a short part, whose tree fits in
    // memory already in use, would not repay. The rest of the part, its
    // content left out, is parsed first: a fault there, or anything the
    // search does not follow, and the part is parsed whole as before.
    constexpr size_t ReadByChildFrom = 2u << 20;
    const uint32_t maxDepth = m_b.limits().maxNestingDepth;
    if (!m_whole && maxDepth >= 3 && m_main.bytes.size() >= ReadByChildFrom &&
        xml::findChildElements(m_main.bytes, "body", m_bodyChildren)) {
        m_outline.reserve(m_main.bytes.size() - (m_bodyChildren.contentEnd - m_bodyChildren.contentBegin));
        m_outline.assign(m_main.bytes, 0, m_bodyChildren.contentBegin);
        m_outline.append(m_main.bytes, m_bodyChildren.contentEnd);
        if (xml::parseInPlace(m_outline, m_main.xml, maxDepth).empty()) {
            m_byChild = true;
            m_main.rels = readRelationships(m_zip, m_main.name, maxDepth);
            m_main.loaded = true;
            return true;
        }
        m_main.xml.reset();
    }
    return parse(m_main, Severity::Error);
}

DocxReader::BodyOutcome DocxReader::readBodyChildren()
{
    // Each child lies two levels below the root (the root, the body), so it
    // may nest two levels less deeply than the part.
    const uint32_t maxDepth = m_b.limits().maxNestingDepth - 2;
    bool haveSection = false;
    for (const auto& [start, length] : m_bodyChildren.spans) {
        // The body's own section properties are its first sectPr child,
        // read after the text; any other child is read at once, until the
        // text reaches the engine's limits (each is parsed all the same, as
        // in the whole part a fault anywhere fails the document).
        const std::string_view tag(m_main.bytes.data() + start + 1, std::min<size_t>(length - 1, 64));
        const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n/>"));
        const bool section = !haveSection && name.substr(name.find(':') + 1) == "sectPr";
        pugi::xml_document& tree = section ? m_bodySection : m_child;
        if (!xml::parseStretchInPlace(m_main.bytes, start, length, tree, maxDepth).empty()) {
            // The part as it came decides: parsed whole, its fault is
            // reported where it lies, as it was before any child was read.
            PartData again = m_zip.readAgain(m_main.name, m_main.bytes.size());
            pugi::xml_document whole;
            std::string error = again.ok() ? xml::parseInPlace(again.bytes, whole, m_b.limits().maxNestingDepth)
                                           : again.error;
            if (error.empty())
                return BodyOutcome::ReadWhole;
            m_b.diagnose("docx.xml", Severity::Error, m_main.name, error + "; its text is not counted");
            return BodyOutcome::Malformed;
        }
        haveSection = haveSection || section;
        if (!section && !m_b.limitReached())
            readBlocks(tree);
    }
    return BodyOutcome::Read;
}

namespace {

/// Adds the character formats of text read after the document was built
/// (charts, metafile pictures) to its formats, each distinct one once, and
/// answers its index.
class FormatInterner {
public:
    explicit FormatInterner(Document& document) : m_document(document) {}
    uint32_t operator()(const CharFormat& f)
    {
        auto [it, inserted] = m_formats.try_emplace(f, static_cast<uint32_t>(m_document.charFormats.size()));
        if (inserted)
            m_document.charFormats.push_back(f);
        return it->second;
    }

private:
    Document& m_document;
    std::map<CharFormat, uint32_t> m_formats;
};

} // namespace

void DocxReader::readCharts(Document& document)
{
    // Charts print text that no statistic counts: they are read after every
    // part that holds counted text, so that the package's limits on what is
    // inflated can never cost the text a part. A chart part that is missing
    // or broken leaves its object a blank frame, as before.
    if (m_chartParts.empty())
        return;
    docx::ChartTheme fonts{m_theme.minor, m_theme.major, {}};
    if (const std::string theme = targetOfType(m_main.rels, "theme"); !theme.empty()) {
        PartData data = m_zip.read(theme);
        pugi::xml_document xml;
        if (data.ok() && xml::parseInPlace(data.bytes, xml, m_b.limits().maxNestingDepth).empty())
            fonts.accents = docx::themeAccents(xml.document_element());
    }
    FormatInterner intern(document);
    std::map<std::string, int32_t> read; // a part shown twice is read once
    for (const auto& [object, name] : m_chartParts) {
        if (static_cast<size_t>(object) >= document.objects.size())
            continue;
        auto [it, fresh] = read.try_emplace(name, -1);
        if (fresh) {
            PartData data = m_zip.read(name);
            pugi::xml_document xml;
            if (!data.ok() || !xml::parseInPlace(data.bytes, xml, m_b.limits().maxNestingDepth).empty())
                continue;
            Chart chart = docx::readChart(xml.document_element(), fonts, std::ref(intern));
            if (chart.series.empty())
                continue;
            it->second = static_cast<int32_t>(document.charts.size());
            document.charts.push_back(std::move(chart));
        }
        document.objects[static_cast<size_t>(object)].chart = it->second;
    }
}

void DocxReader::readPictures(Document& document)
{
    // Like charts, read after all counted text: the text a metafile draws,
    // each string in a format of the metafile's font at the size it takes
    // once the picture is scaled into its frame.
    if (m_metafileParts.empty())
        return;
    FormatInterner intern(document);
    std::map<std::string, std::vector<MetafileText>> read; // a part shown twice is read once
    for (const auto& [object, name] : m_metafileParts) {
        if (static_cast<size_t>(object) >= document.objects.size())
            continue;
        auto [it, fresh] = read.try_emplace(name);
        if (fresh) {
            PartData data = m_zip.read(name);
            if (data.ok())
                it->second = metafileText(data.bytes);
        }
        if (it->second.empty())
            continue;
        InlineObject& o = document.objects[static_cast<size_t>(object)];
        Picture picture;
        for (const MetafileText& t : it->second) {
            CharFormat f;
            f.fontName = t.font.empty() ? "Arial" : utf16ToUtf8(t.font);
            // Twips to half points: a twentieth of a point, two halves to one.
            const double halfPoints = t.emHeight * o.height / 10.0;
            f.sizeHalfPoints = static_cast<uint16_t>(std::clamp(std::lround(halfPoints), 2L, 3276L));
            f.bold = t.weight >= 600;
            f.italic = t.italic;
            f.color = t.color;
            PictureText p;
            p.text = t.text;
            p.x = t.x * o.width;
            p.y = t.y * o.height;
            p.charFormat = intern(f);
            p.align = static_cast<PictureText::Align>(t.align);
            p.vAlign = t.vAlign == MetafileText::VAlign::Top      ? PictureText::VAlign::Top
                       : t.vAlign == MetafileText::VAlign::Bottom ? PictureText::VAlign::Bottom
                                                                  : PictureText::VAlign::Baseline;
            picture.texts.push_back(std::move(p));
        }
        o.picture = static_cast<int32_t>(document.pictures.size());
        document.pictures.push_back(std::move(picture));
    }
}

} // namespace

ReadResult readDocxPackage(ZipPackage& package, const ReadOptions& options, std::string_view format)
{
    const uint64_t inflated = package.inflatedSoFar();
    {
        DocumentBuilder builder(std::string(format), options.limits);
        DocxReader reader(package, builder, false, options.pictureText);
        ReadResult result = reader.run();
        if (!reader.mustReadWhole())
            return result;
    }
    // Read again from the start, the document part parsed whole; the parts
    // count once towards the package's limits.
    package.rewindInflated(inflated);
    DocumentBuilder builder(std::string(format), options.limits);
    DocxReader reader(package, builder, true, options.pictureText);
    return reader.run();
}

ReadResult readDocx(std::string_view bytes, const ReadOptions& options)
{
    if (isEncryptedPackage(bytes))
        return ReadResult::failure("password-protected documents cannot be counted");
    try {
        ZipPackage zip(bytes, options.limits);
        if (!zip.isOpen())
            return ReadResult::failure(zip.error());
        return readDocxPackage(zip, options);
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (const std::exception& e) {
        return ReadResult::failure(std::string("the document cannot be read: ") + e.what());
    }
}

} // namespace qm::engine
