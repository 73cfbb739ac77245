// Reads web pages (.htm, .html) as Word opens them, parsed by libxml2's HTML parser.
#include "engine/formats/Reader.h"
#include "engine/formats/html/Css.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cstring>
#include <libxml/HTMLparser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <memory>
#include <string>

namespace qm::engine {

namespace {

using html::Style;

enum class Kind { Inline, Block, Skip, Table, ListContainer, Break, Image };

struct ElementInfo {
    std::string_view name;
    Kind kind;
};

// What each element is to Word's import. Elements not listed are inline.
// The head, scripts, style sheets and form controls show no text in Word.
constexpr ElementInfo kElements[] = {
    {"p", Kind::Block},          {"div", Kind::Block},         {"h1", Kind::Block},
    {"h2", Kind::Block},         {"h3", Kind::Block},          {"h4", Kind::Block},
    {"h5", Kind::Block},         {"h6", Kind::Block},          {"li", Kind::Block},
    {"dt", Kind::Block},         {"dd", Kind::Block},          {"dl", Kind::Block},
    {"blockquote", Kind::Block}, {"pre", Kind::Block},         {"address", Kind::Block},
    {"center", Kind::Block},     {"body", Kind::Block},        {"html", Kind::Block},
    {"form", Kind::Block},       {"fieldset", Kind::Block},    {"legend", Kind::Block},
    {"figure", Kind::Block},     {"figcaption", Kind::Block},  {"article", Kind::Block},
    {"section", Kind::Block},    {"header", Kind::Block},      {"footer", Kind::Block},
    {"nav", Kind::Block},        {"aside", Kind::Block},       {"main", Kind::Block},
    {"hr", Kind::Block},         {"caption", Kind::Block},     {"listing", Kind::Block},
    {"xmp", Kind::Block},        {"plaintext", Kind::Block},   {"ul", Kind::ListContainer},
    {"ol", Kind::ListContainer}, {"dir", Kind::ListContainer}, {"menu", Kind::ListContainer},
    {"table", Kind::Table},      {"br", Kind::Break},          {"img", Kind::Image},
    {"head", Kind::Skip},        {"title", Kind::Skip},        {"script", Kind::Skip},
    {"style", Kind::Skip},       {"noscript", Kind::Skip},     {"template", Kind::Skip},
    {"object", Kind::Skip},      {"applet", Kind::Skip},       {"iframe", Kind::Skip},
    {"frameset", Kind::Skip},    {"noframes", Kind::Skip},     {"select", Kind::Skip},
    {"textarea", Kind::Skip},    {"button", Kind::Skip},       {"input", Kind::Skip},
    {"map", Kind::Skip},         {"svg", Kind::Skip},          {"xml", Kind::Skip},
    {"meta", Kind::Skip},        {"link", Kind::Skip},
};

Kind kindOf(std::string_view name)
{
    for (const ElementInfo& e : kElements)
        if (e.name == name)
            return e.kind;
    return Kind::Inline;
}

// Blocks that make a paragraph of their own even when empty, as Word keeps
// an empty <p></p> as an empty paragraph.
bool alwaysParagraph(std::string_view name)
{
    return name == "p" || (name.size() == 2 && name[0] == 'h' && name[1] >= '1' && name[1] <= '6') || name == "li" ||
           name == "dt" || name == "dd" || name == "hr";
}

std::string_view nameOf(const xmlNode* node) { return reinterpret_cast<const char*>(node->name); }

std::string attribute(const xmlNode* node, const char* name)
{
    for (const xmlAttr* a = node->properties; a; a = a->next)
        if (strcasecmp(reinterpret_cast<const char*>(a->name), name) == 0 && a->children &&
            a->children->type == XML_TEXT_NODE && a->children->content)
            return reinterpret_cast<const char*>(a->children->content);
    return {};
}

std::string lower(std::string s)
{
    std::transform(s.begin(), s.end(), s.begin(), [](unsigned char c) { return std::tolower(c); });
    return s;
}

// The formatting a browser's and Word's default style sheet give an element,
// before the page's own rules. Sizes are Word's for its HTML heading styles.
void applyElementDefaults(std::string_view name, Style& s)
{
    CharFormat& c = s.chars;
    static constexpr std::pair<char, uint16_t> headingSizes[] = {{'1', 48}, {'2', 36}, {'3', 27},
                                                                 {'4', 24}, {'5', 20}, {'6', 15}};
    if (name.size() == 2 && name[0] == 'h')
        for (const auto& [level, size] : headingSizes)
            if (name[1] == level) {
                c.bold = true;
                c.sizeHalfPoints = size;
                s.block.styleName = std::string("Heading ") + level;
                s.block.spaceBeforeAuto = s.block.spaceAfterAuto = true;
                s.block.keepWithNext = true;
            }
    if (name == "b" || name == "strong" || name == "th")
        c.bold = true;
    else if (name == "i" || name == "em" || name == "cite" || name == "var" || name == "dfn" || name == "address")
        c.italic = true;
    else if (name == "u" || name == "ins")
        c.underline = UnderlineKind::Single;
    else if (name == "s" || name == "strike" || name == "del")
        c.strike = true;
    else if (name == "sup")
        c.verticalPosition = VerticalPosition::Superscript;
    else if (name == "sub")
        c.verticalPosition = VerticalPosition::Subscript;
    else if (name == "tt" || name == "code" || name == "kbd" || name == "samp" || name == "pre" || name == "xmp" ||
             name == "listing" || name == "plaintext") {
        c.fontName = "Courier New";
        c.sizeHalfPoints = 20;
    } else if (name == "small")
        c.sizeHalfPoints = static_cast<uint16_t>(std::max(2, c.sizeHalfPoints * 5 / 6));
    else if (name == "big")
        c.sizeHalfPoints = static_cast<uint16_t>(c.sizeHalfPoints * 6 / 5);
    if (name == "p") {
        s.block.styleName = "Normal (Web)";
        s.block.spaceBeforeAuto = s.block.spaceAfterAuto = true;
    }
    if (name == "pre" || name == "xmp" || name == "listing" || name == "plaintext")
        s.preformatted = true;
    if (name == "center" || name == "th")
        s.block.alignment = Alignment::Center;
    if (name == "blockquote" || name == "dd")
        s.block.leftIndent = 720;
}

// Presentational attributes of old pages: <font face size>, align.
void applyAttributes(const xmlNode* node, std::string_view name, Style& s)
{
    if (name == "font") {
        if (std::string face = attribute(node, "face"); !face.empty())
            s.chars.fontName = face.substr(0, face.find(','));
        if (std::string size = attribute(node, "size"); !size.empty()) {
            // HTML sizes 1 to 7, absolute or relative to the default 3.
            static constexpr uint16_t sizes[] = {15, 20, 24, 27, 36, 48, 72};
            int n = std::atoi(size.c_str());
            if (size[0] == '+' || size[0] == '-')
                n += 3;
            s.chars.sizeHalfPoints = sizes[std::clamp(n, 1, 7) - 1];
        }
    }
    if (std::string align = lower(attribute(node, "align")); !align.empty() && kindOf(name) == Kind::Block)
        s.block.alignment = align == "center"    ? Alignment::Center
                            : align == "right"   ? Alignment::Right
                            : align == "justify" ? Alignment::Justify
                                                 : Alignment::Left;
}

bool isHtmlSpace(char16_t c) { return c == u' ' || c == u'\t' || c == u'\n' || c == u'\r' || c == u'\f'; }

/// Walks the parsed page into the builder. Text is gathered per paragraph
/// so that white space collapses as a browser and Word collapse it: runs of
/// spaces and line ends become one space, and none is kept at a paragraph's
/// start or end.
class HtmlReader {
public:
    HtmlReader(DocumentBuilder& builder, const ReadOptions& options) : m_b(builder), m_options(options) {}

    void read(xmlDoc* doc)
    {
        xmlNode* root = xmlDocGetRootElement(doc);
        if (!root) {
            m_b.diagnose("html.empty", Severity::Warning, "page", "the page has no content");
            return;
        }
        collectStyleSheets(root, 0);
        // The page's defaults as Word takes them: Times New Roman 12 pt.
        Style base;
        base.chars.fontName = "Times New Roman";
        base.chars.sizeHalfPoints = 24;
        walk(root, base, base.block, 0);
        flush(nullptr);
    }

    SectionFormat pageSetup() const { return m_sheet.pageSetup(); }

private:
    struct Run {
        std::u16string text;
        uint32_t charFormat;
    };
    struct List {
        bool ordered = false;
        int next = 1;
    };

    void collectStyleSheets(const xmlNode* node, uint32_t depth)
    {
        for (const xmlNode* n = node->children; n && depth < m_options.limits.maxNestingDepth; n = n->next) {
            if (n->type != XML_ELEMENT_NODE)
                continue;
            if (lower(std::string(nameOf(n))) == "style") {
                for (const xmlNode* t = n->children; t; t = t->next)
                    if (t->content)
                        m_sheet.add(reinterpret_cast<const char*>(t->content));
            } else {
                collectStyleSheets(n, depth + 1);
            }
        }
    }

    Style styleOf(const xmlNode* node, const std::string& name, const Style& parent)
    {
        Style s;
        s.chars = parent.chars;
        s.chars.objectIndex = -1;
        s.block.alignment = parent.block.alignment; // text-align is inherited
        s.listIgnore = parent.listIgnore;
        s.preformatted = parent.preformatted;
        applyElementDefaults(name, s);
        m_sheet.apply(name, attribute(node, "class"), s, parent.chars.sizeHalfPoints);
        applyAttributes(node, name, s);
        if (std::string inline_ = attribute(node, "style"); !inline_.empty())
            html::applyDeclarations(inline_, s, parent.chars.sizeHalfPoints);
        return s;
    }

    void walk(const xmlNode* node, const Style& style, const ParaFormat& block, uint32_t depth)
    {
        if (depth >= m_options.limits.maxNestingDepth) {
            if (!m_deepReported)
                m_b.diagnose("html.depth", Severity::Warning, "element " + std::string(nameOf(node)),
                             "elements nested deeper than the engine reads are left out with their text");
            m_deepReported = true;
            return;
        }
        for (const xmlNode* n = node->children; n && !m_b.limitReached(); n = n->next) {
            if (n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) {
                if (n->content)
                    text(utf8ToUtf16(reinterpret_cast<const char*>(n->content)), style, block);
                continue;
            }
            if (n->type != XML_ELEMENT_NODE)
                continue;
            const std::string name = lower(std::string(nameOf(n)));
            const Kind kind = kindOf(name);
            if (kind == Kind::Skip)
                continue;
            // Word's export writes <o:p>&nbsp;</o:p> to keep an empty
            // paragraph open in browsers; Word itself reads no text there.
            if (name == "o-p")
                continue;
            Style s = styleOf(n, name, style);
            if (s.displayNone)
                continue;
            switch (kind) {
            case Kind::Inline: walk(n, s, block, depth + 1); break;
            case Kind::Break:
                if (s.pageBreakBefore) {
                    appendRaw(u"\f", style, block);
                } else {
                    appendRaw(u"\v", style, block);
                }
                m_space = true;
                break;
            case Kind::Image: image(n, style, block); break;
            case Kind::Table: table(n, s, depth + 1); break;
            case Kind::ListContainer: {
                flush(nullptr);
                m_lists.push_back(List{name == "ol", std::max(1, std::atoi(attribute(n, "start").c_str()))});
                ParaFormat listBlock = block;
                walk(n, s, listBlock, depth + 1);
                flush(nullptr);
                m_lists.pop_back();
                break;
            }
            case Kind::Block: blockElement(n, name, s, depth); break;
            case Kind::Skip: break;
            }
        }
    }

    void blockElement(const xmlNode* n, const std::string& name, Style& s, uint32_t depth)
    {
        flush(nullptr);
        ParaFormat pf = s.block;
        pf.pageBreakBefore = pf.pageBreakBefore || s.pageBreakBefore;
        if (name == "li") {
            if (m_lists.empty())
                m_lists.push_back(List{});
            List& list = m_lists.back();
            pf.listLabel = (list.ordered ? utf8ToUtf16(std::to_string(list.next++) + ".") : u"\u2022") + u"\t";
            const auto level = static_cast<Twips>(m_lists.size());
            pf.leftIndent += 360 * level + 360 * (level - 1);
            pf.firstLineIndent = -360;
            pf.styleName = "List Paragraph";
        }
        m_labelPending = s.msoList;
        const uint64_t before = m_paragraphs;
        walk(n, s, pf, depth + 1);
        // An item whose text went to paragraphs of its own (a nested list)
        // leaves no empty paragraph behind.
        if (m_open || (alwaysParagraph(name) && m_paragraphs == before))
            flush(&pf);
        m_labelPending = false;
    }

    void image(const xmlNode* n, const Style& style, const ParaFormat& block)
    {
        InlineObject object;
        object.kind = ObjectKind::Picture;
        // Sizes in pixels, at 96 to the inch as Word takes a page's.
        object.width = std::clamp(std::atoi(attribute(n, "width").c_str()), 0, 10000) * 15;
        object.height = std::clamp(std::atoi(attribute(n, "height").c_str()), 0, 10000) * 15;
        CharFormat format = style.chars;
        format.objectIndex = m_b.addObject(object);
        openParagraph(block);
        m_runs.push_back(Run{std::u16string(1, Ch::Object), m_b.charFormat(format)});
        m_space = false;
    }

    void table(const xmlNode* t, const Style& style, uint32_t depth)
    {
        flush(nullptr);
        std::vector<const xmlNode*> rows;
        std::vector<const xmlNode*> captions;
        for (const xmlNode* n = t->children; n; n = n->next) {
            if (n->type != XML_ELEMENT_NODE)
                continue;
            const std::string name = lower(std::string(nameOf(n)));
            if (name == "tr")
                rows.push_back(n);
            else if (name == "caption")
                captions.push_back(n);
            else if (name == "thead" || name == "tbody" || name == "tfoot")
                for (const xmlNode* r = n->children; r; r = r->next)
                    if (r->type == XML_ELEMENT_NODE && lower(std::string(nameOf(r))) == "tr")
                        rows.push_back(r);
        }
        for (const xmlNode* caption : captions) {
            Style s = styleOf(caption, "caption", style);
            s.block.alignment = Alignment::Center;
            blockElement(caption, "caption", s, depth);
        }
        const uint32_t markFormat = m_b.charFormat(style.chars);
        const uint32_t plain = m_b.paraFormat(ParaFormat{});
        bool began = false;
        for (const xmlNode* row : rows) {
            std::vector<const xmlNode*> cells;
            for (const xmlNode* c = row->children; c; c = c->next)
                if (c->type == XML_ELEMENT_NODE &&
                    (lower(std::string(nameOf(c))) == "td" || lower(std::string(nameOf(c))) == "th"))
                    cells.push_back(c);
            if (cells.empty() || m_b.limitReached())
                continue;
            if (!began)
                m_b.beginTable();
            began = true;
            m_b.beginRow();
            TableRowFormat format;
            for (const xmlNode* c : cells) {
                const std::string name = lower(std::string(nameOf(c)));
                Style s = styleOf(c, name, style);
                m_b.beginCell();
                if (!s.displayNone)
                    walk(c, s, s.block, depth + 1);
                uint32_t pf = plain;
                if (m_open || !m_runs.empty()) {
                    pf = m_b.paraFormat(m_paragraph);
                    emitRuns();
                }
                m_open = false;
                m_b.endCell(pf, markFormat);
                TableCellFormat cell;
                cell.gridSpan = std::clamp(std::atoi(attribute(c, "colspan").c_str()), 1, 63);
                format.cells.push_back(cell);
            }
            // Without widths of their own, the columns share the text width.
            int spans = 0;
            for (const TableCellFormat& cell : format.cells)
                spans += cell.gridSpan;
            for (TableCellFormat& cell : format.cells)
                cell.width = SectionFormat{}.textWidth() * cell.gridSpan / std::max(1, spans);
            format.isHeader = lower(std::string(nameOf(row->parent))) == "thead";
            m_b.endRow(format, markFormat);
        }
        if (began)
            m_b.endTable();
    }

    void openParagraph(const ParaFormat& block)
    {
        if (!m_open) {
            m_open = true;
            m_paragraph = block;
            m_space = true;
        }
    }

    void appendRaw(std::u16string_view chars, const Style& style, const ParaFormat& block)
    {
        openParagraph(block);
        trimTrailingSpace();
        m_runs.push_back(Run{std::u16string(chars), m_b.charFormat(style.chars)});
    }

    void text(std::u16string_view raw, const Style& style, const ParaFormat& block)
    {
        std::u16string out;
        if (style.preformatted) {
            // Preformatted text keeps its spaces; each line end ends a
            // paragraph, as Word's HTML Preformatted paragraphs do.
            for (const char16_t c : raw) {
                if (c == u'\r')
                    continue;
                if (c == u'\n') {
                    openParagraph(block);
                    addRun(out, style);
                    out.clear();
                    ParaFormat pf = m_paragraph;
                    flush(&pf);
                    continue;
                }
                out += c;
            }
            if (!out.empty()) {
                openParagraph(block);
                m_space = false;
                addRun(out, style);
            }
            return;
        }
        for (const char16_t c : raw) {
            if (isHtmlSpace(c)) {
                if (!m_space && (m_open || !out.empty()))
                    out += u' ';
                m_space = true;
            } else {
                out += c;
                m_space = false;
            }
        }
        if (out.empty())
            return; // white space between blocks makes no paragraph
        openParagraph(block);
        addRun(out, style);
    }

    void addRun(const std::u16string& text, const Style& style)
    {
        if (text.empty())
            return;
        if (style.listIgnore && m_labelPending) {
            // The label Word's export spells out for browsers becomes the
            // paragraph's list label again, not text.
            m_paragraph.listLabel += text;
            return;
        }
        m_runs.push_back(Run{text, m_b.charFormat(style.chars)});
    }

    void trimTrailingSpace()
    {
        while (!m_runs.empty()) {
            std::u16string& t = m_runs.back().text;
            while (!t.empty() && t.back() == u' ')
                t.pop_back();
            if (!t.empty())
                return;
            m_runs.pop_back();
        }
    }

    void emitRuns()
    {
        trimTrailingSpace();
        for (const Run& r : m_runs)
            m_b.appendText(r.text, r.charFormat);
        m_runs.clear();
    }

    // Ends the open paragraph; with `force`, makes an empty one when none is open.
    void flush(const ParaFormat* force)
    {
        if (!m_open && !force)
            return;
        ParaFormat pf = m_open ? m_paragraph : *force;
        if (!pf.listLabel.empty()) {
            // Word's export pads a label with no-break spaces up to the text;
            // in Word that gap is the label's tab.
            while (!pf.listLabel.empty() && (pf.listLabel.back() == u'\u00A0' || pf.listLabel.back() == u' '))
                pf.listLabel.pop_back();
            if (!pf.listLabel.ends_with(u'\t'))
                pf.listLabel += u'\t';
        }
        const uint32_t mark =
            m_runs.empty() ? m_b.charFormat(CharFormat{"Times New Roman", 24}) : m_runs.back().charFormat;
        emitRuns();
        m_b.endParagraph(m_b.paraFormat(pf), mark);
        ++m_paragraphs;
        m_open = false;
        m_space = true;
    }

    DocumentBuilder& m_b;
    const ReadOptions& m_options;
    html::StyleSheet m_sheet;
    std::vector<Run> m_runs;
    std::vector<List> m_lists;
    ParaFormat m_paragraph;
    uint64_t m_paragraphs = 0;
    bool m_open = false;
    bool m_space = true;
    bool m_labelPending = false;
    bool m_deepReported = false;
};

// Word's export hides list labels and other text meant for browsers only
// behind "downlevel-revealed" conditionals (<![if !supportLists]> ...
// <![endif]>), which an HTML parser takes for text. Word reads what they
// enclose, so the markers alone are dropped. Its <o:p> placeholders are
// renamed so the parser does not take them for paragraphs.
std::string withoutOfficeMarkers(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (size_t i = 0; i < bytes.size();) {
        if (bytes.compare(i, 4, "<![i") == 0 || bytes.compare(i, 4, "<![e") == 0) {
            const size_t end = bytes.find("]>", i);
            if (end != std::string_view::npos && end - i < 200) {
                i = end + 2;
                continue;
            }
        }
        if (bytes.compare(i, 5, "<o:p>") == 0 || bytes.compare(i, 6, "</o:p>") == 0) {
            const bool closing = bytes[i + 1] == '/';
            out += closing ? "</o-p>" : "<o-p>";
            i += closing ? 6 : 5;
            continue;
        }
        out += bytes[i++];
    }
    return out;
}

// A page that names no encoding and is not valid UTF-8 is in the Windows
// ANSI page Word assumes on a Western system. It is turned into UTF-8 here:
// the parser's own converter stops at the bytes that page leaves undefined
// (0x81, 0x8D, ...), which would cut the page short.
bool namesItsEncoding(std::string_view bytes)
{
    const std::string head = lower(std::string(bytes.substr(0, 4096)));
    return head.contains("charset") || bytes.starts_with("\xEF\xBB\xBF") || bytes.starts_with("\xFF\xFE") ||
           bytes.starts_with("\xFE\xFF");
}

// libxml2 reports encoding trouble on stderr whatever the parse options;
// the reader's caller decides what the user sees.
void quiet(void*, const char*, ...) {}

} // namespace

/// Reads a web page. The parser recovers from any malformed markup, so a
/// page always gives a document; a page that cannot be parsed at all fails.
ReadResult readHtml(std::string_view bytes, const ReadOptions& options)
{
    if (bytes.size() > options.limits.maxInputBytes)
        return ReadResult::failure("the file is larger than the engine reads");
    try {
        const bool utf8 = !namesItsEncoding(bytes);
        const std::string source =
            withoutOfficeMarkers(utf8 && !isValidUtf8(bytes) ? utf16ToUtf8(cp1252ToUtf16(bytes)) : std::string(bytes));
        xmlSetGenericErrorFunc(nullptr, quiet);
        if (source.size() > static_cast<size_t>(INT32_MAX))
            return ReadResult::failure("the file is larger than the engine reads");
        const int flags = HTML_PARSE_RECOVER | HTML_PARSE_NOERROR | HTML_PARSE_NOWARNING | HTML_PARSE_NONET;
        std::unique_ptr<xmlDoc, void (*)(xmlDoc*)> doc(
            htmlReadMemory(source.data(), static_cast<int>(source.size()), nullptr, utf8 ? "UTF-8" : nullptr, flags),
            xmlFreeDoc);
        if (!doc)
            return ReadResult::failure("the page cannot be read (the HTML parser found no document in it)");
        DocumentBuilder builder("html", options.limits);
        HtmlReader reader(builder, options);
        reader.read(doc.get());
        ReadResult result;
        result.document = builder.finish(reader.pageSetup(), HeaderFooterRefs{});
        return result;
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    }
}

} // namespace qm::engine
