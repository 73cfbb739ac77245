// Writing a document of our model as a Word package (.docx) of hand-written WordprocessingML.
#include "engine/formats/docxwriter/DocxWriter.h"

#include "engine/model/Unicode.h"

#include <zip.h>

#include <algorithm>
#include <cstdio>
#include <system_error>
#include <unistd.h>

namespace qm::engine {

namespace {

constexpr const char* kXmlHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\"?>\n";
constexpr const char* kMainNs =
    "xmlns:w=\"http://schemas.openxmlformats.org/wordprocessingml/2006/main\" "
    "xmlns:r=\"http://schemas.openxmlformats.org/officeDocument/2006/relationships\"";
constexpr const char* kRelNs = "http://schemas.openxmlformats.org/officeDocument/2006/relationships";

void escapeInto(std::string& out, std::string_view text)
{
    for (char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c;
        }
    }
}

std::string escaped(std::string_view text)
{
    std::string out;
    escapeInto(out, text);
    return out;
}

std::string hexColor(uint32_t color)
{
    char buffer[8];
    std::snprintf(buffer, sizeof buffer, "%06X", color & 0xFFFFFFu);
    return buffer;
}

const char* alignmentValue(Alignment alignment)
{
    switch (alignment) {
    case Alignment::Left: return "left";
    case Alignment::Center: return "center";
    case Alignment::Right: return "right";
    case Alignment::Justify: return "both";
    case Alignment::Distribute: return "distribute";
    }
    return "left";
}

const char* underlineValue(UnderlineKind kind)
{
    switch (kind) {
    case UnderlineKind::None: return "none";
    case UnderlineKind::Single: return "single";
    case UnderlineKind::Words: return "words";
    case UnderlineKind::Double: return "double";
    case UnderlineKind::Thick: return "thick";
    case UnderlineKind::Dotted: return "dotted";
    case UnderlineKind::Dash: return "dash";
    case UnderlineKind::Wave: return "wave";
    case UnderlineKind::Other: return "single";
    }
    return "single";
}

std::string runProperties(const CharFormat& f)
{
    std::string out = "<w:rPr>";
    if (!f.fontName.empty()) {
        const std::string font = escaped(f.fontName);
        out += "<w:rFonts w:ascii=\"" + font + "\" w:hAnsi=\"" + font + "\" w:cs=\"" + font + "\"/>";
    }
    // Every switch is written, on or off, so that no style underneath can turn it around.
    auto flag = [&](const char* name, bool on) {
        out += std::string("<w:") + name + (on ? "/>" : " w:val=\"0\"/>");
    };
    flag("b", f.bold);
    flag("bCs", f.bold);
    flag("i", f.italic);
    flag("iCs", f.italic);
    if (f.allCaps)
        out += "<w:caps/>";
    if (f.smallCaps)
        out += "<w:smallCaps/>";
    if (f.strike)
        out += "<w:strike/>";
    if (f.doubleStrike)
        out += "<w:dstrike/>";
    if (f.hidden)
        out += "<w:vanish/>";
    if (f.color != AutoColor)
        out += "<w:color w:val=\"" + hexColor(f.color) + "\"/>";
    if (f.spacingTwips != 0)
        out += "<w:spacing w:val=\"" + std::to_string(f.spacingTwips) + "\"/>";
    if (f.scalePercent != 100)
        out += "<w:w w:val=\"" + std::to_string(f.scalePercent) + "\"/>";
    if (f.kernMinHalfPoints != 0)
        out += "<w:kern w:val=\"" + std::to_string(f.kernMinHalfPoints) + "\"/>";
    if (f.positionHalfPoints != 0)
        out += "<w:position w:val=\"" + std::to_string(f.positionHalfPoints) + "\"/>";
    const std::string size = std::to_string(std::max<int>(1, f.sizeHalfPoints));
    out += "<w:sz w:val=\"" + size + "\"/><w:szCs w:val=\"" + size + "\"/>";
    if (f.underlined())
        out += std::string("<w:u w:val=\"") + underlineValue(f.underline) + "\"/>";
    if (f.verticalPosition != VerticalPosition::Baseline)
        out += f.verticalPosition == VerticalPosition::Superscript ? "<w:vertAlign w:val=\"superscript\"/>"
                                                                   : "<w:vertAlign w:val=\"subscript\"/>";
    out += "</w:rPr>";
    return out;
}

std::string sectionProperties(const SectionFormat& f, const std::vector<std::pair<std::string, std::string>>& refs)
{
    std::string out = "<w:sectPr>";
    for (const auto& [element, attributes] : refs)
        out += "<w:" + element + " " + attributes + "/>";
    static constexpr const char* starts[] = {"continuous", "nextColumn", "nextPage", "evenPage", "oddPage"};
    out += std::string("<w:type w:val=\"") + starts[static_cast<int>(f.start)] + "\"/>";
    out += "<w:pgSz w:w=\"" + std::to_string(f.pageWidth) + "\" w:h=\"" + std::to_string(f.pageHeight) + "\"";
    if (f.pageWidth > f.pageHeight)
        out += " w:orient=\"landscape\"";
    out += "/>";
    out += "<w:pgMar w:top=\"" + std::to_string(f.marginTop) + "\" w:right=\"" + std::to_string(f.marginRight) +
           "\" w:bottom=\"" + std::to_string(f.marginBottom) + "\" w:left=\"" + std::to_string(f.marginLeft) +
           "\" w:header=\"" + std::to_string(f.headerDistance) + "\" w:footer=\"" +
           std::to_string(f.footerDistance) + "\" w:gutter=\"" + std::to_string(f.gutter) + "\"/>";
    out += "<w:cols w:num=\"" + std::to_string(std::max(1, f.columns)) + "\" w:space=\"" +
           std::to_string(f.columnSpacing) + "\"";
    if (!f.columnWidths.empty()) {
        out += " w:equalWidth=\"0\">";
        for (size_t i = 0; i < f.columnWidths.size(); ++i) {
            out += "<w:col w:w=\"" + std::to_string(f.columnWidths[i]) + "\"";
            if (i + 1 < f.columnWidths.size())
                out += " w:space=\"" + std::to_string(f.columnSpacing) + "\"";
            out += "/>";
        }
        out += "</w:cols>";
    } else {
        out += "/>";
    }
    if (f.titlePage)
        out += "<w:titlePg/>";
    static constexpr const char* grids[] = {"default", "lines", "linesAndChars", "snapToChars"};
    out += std::string("<w:docGrid w:type=\"") + grids[static_cast<int>(f.gridType)] + "\"";
    if (f.linePitch > 0)
        out += " w:linePitch=\"" + std::to_string(f.linePitch) + "\"";
    out += "/></w:sectPr>";
    return out;
}

/// Writes the stories of one document; collects the header and footer parts
/// and their relationships as it meets them.
class PackageWriter {
public:
    explicit PackageWriter(const Document& document) : m_doc(document) {}

    std::map<std::string, std::string> parts();

private:
    struct Relationship {
        std::string id;
        std::string type;
        std::string target;
    };

    void writeRange(std::string& out, size_t story, uint32_t from, uint32_t to, uint8_t depth);
    void writeParagraphs(std::string& out, size_t story, uint32_t from, uint32_t to);
    void writeParagraph(std::string& out, size_t story, uint32_t start, uint32_t mark);
    void writeTable(std::string& out, size_t story, const Table& table);
    std::string paragraphProperties(const ParaFormat& f, const CharFormat& mark, const std::string& sectPr);
    std::string sectionFor(uint32_t breakPos);
    std::string sectionPropertiesOf(size_t section);
    std::string partFor(int32_t story, bool header);

    const Document& m_doc;
    std::map<std::string, std::string> m_parts;
    std::vector<Relationship> m_rels;
    std::map<int32_t, std::string> m_storyRelIds;
    int m_headers = 0;
    int m_footers = 0;
};

std::string PackageWriter::paragraphProperties(const ParaFormat& f, const CharFormat& mark, const std::string& sectPr)
{
    std::string out = "<w:pPr>";
    if (f.keepWithNext)
        out += "<w:keepNext/>";
    if (f.keepLinesTogether)
        out += "<w:keepLines/>";
    if (f.pageBreakBefore)
        out += "<w:pageBreakBefore/>";
    out += f.widowControl ? "<w:widowControl/>" : "<w:widowControl w:val=\"0\"/>";
    if (!f.tabs.empty()) {
        static constexpr const char* alignments[] = {"left", "center", "right", "decimal", "bar"};
        static constexpr const char* leaders[] = {"none", "dot", "hyphen", "underscore", "heavy", "middleDot"};
        out += "<w:tabs>";
        for (const TabStop& t : f.tabs)
            out += std::string("<w:tab w:val=\"") + alignments[static_cast<int>(t.alignment)] + "\" w:leader=\"" +
                   leaders[static_cast<int>(t.leader)] + "\" w:pos=\"" + std::to_string(t.position) + "\"/>";
        out += "</w:tabs>";
    }
    if (f.rightToLeft)
        out += "<w:bidi/>";
    if (!f.snapToGrid)
        out += "<w:snapToGrid w:val=\"0\"/>";
    static constexpr const char* rules[] = {"auto", "atLeast", "exact"};
    out += "<w:spacing w:before=\"" + std::to_string(f.spaceBefore) + "\" w:after=\"" +
           std::to_string(f.spaceAfter) + "\" w:line=\"" + std::to_string(f.lineSpacing) + "\" w:lineRule=\"" +
           rules[static_cast<int>(f.lineRule)] + "\"";
    if (f.spaceBeforeAuto)
        out += " w:beforeAutospacing=\"1\"";
    if (f.spaceAfterAuto)
        out += " w:afterAutospacing=\"1\"";
    out += "/>";
    out += "<w:ind w:left=\"" + std::to_string(f.leftIndent) + "\" w:right=\"" + std::to_string(f.rightIndent) + "\"";
    if (f.firstLineIndent < 0)
        out += " w:hanging=\"" + std::to_string(-f.firstLineIndent) + "\"";
    else
        out += " w:firstLine=\"" + std::to_string(f.firstLineIndent) + "\"";
    out += "/>";
    if (f.contextualSpacing)
        out += "<w:contextualSpacing/>";
    out += std::string("<w:jc w:val=\"") + alignmentValue(f.alignment) + "\"/>";
    // The mark's own format decides the height of an empty paragraph.
    out += runProperties(mark);
    out += sectPr;
    out += "</w:pPr>";
    return out;
}

std::string PackageWriter::partFor(int32_t story, bool header)
{
    if (const auto it = m_storyRelIds.find(story); it != m_storyRelIds.end())
        return it->second;
    const std::string name = header ? "header" + std::to_string(++m_headers) : "footer" + std::to_string(++m_footers);
    const std::string id = "rIdHf" + std::to_string(m_storyRelIds.size() + 1);
    m_storyRelIds.emplace(story, id);
    std::string body;
    const Story& s = m_doc.stories[static_cast<size_t>(story)];
    writeRange(body, static_cast<size_t>(story), 0, s.size(), 1);
    const char* root = header ? "w:hdr" : "w:ftr";
    m_parts["word/" + name + ".xml"] = std::string(kXmlHeader) + "<" + root + " " + kMainNs + ">" + body + "</" +
                                       root + ">";
    m_rels.push_back({id, std::string(kRelNs) + (header ? "/header" : "/footer"), name + ".xml"});
    return id;
}

std::string PackageWriter::sectionPropertiesOf(size_t section)
{
    const Section& sec = m_doc.sections[section];
    static constexpr const char* types[] = {"default", "first", "even"};
    std::vector<std::pair<std::string, std::string>> refs;
    for (int kind = 0; kind < 2; ++kind) {
        const bool header = kind == 0;
        const auto& stories = header ? sec.headers : sec.footers;
        for (size_t i = 0; i < 3; ++i) {
            const int32_t story = stories[i];
            if (story <= 0 || static_cast<size_t>(story) >= m_doc.stories.size())
                continue;
            const std::string id = partFor(story, header);
            refs.emplace_back(header ? "headerReference" : "footerReference",
                              std::string("w:type=\"") + types[i] + "\" r:id=\"" + id + "\"");
        }
    }
    return sectionProperties(sec.format, refs);
}

std::string PackageWriter::sectionFor(uint32_t breakPos)
{
    for (size_t i = 0; i + 1 < m_doc.sections.size(); ++i)
        if (m_doc.sections[i].end == breakPos + 1)
            return sectionPropertiesOf(i);
    return {};
}

void PackageWriter::writeParagraph(std::string& out, size_t story, uint32_t start, uint32_t mark)
{
    const Story& s = m_doc.stories[story];
    const ParaFormat& pf = m_doc.paraFormatOf(s, mark);
    const CharFormat& markFormat = m_doc.charFormatAt(s, mark);
    const bool sectionBreak = story == 0 && s.text[mark] == Ch::PageBreak && m_doc.isSectionBreak(mark);
    out += "<w:p>";
    out += paragraphProperties(pf, markFormat, sectionBreak ? sectionFor(mark) : std::string());

    // Field boundaries in this paragraph: a run never straddles one.
    std::vector<std::pair<uint32_t, const Field*>> starts, ends;
    for (const Field& f : m_doc.fields) {
        if (f.story != static_cast<int32_t>(story) || f.start >= f.end)
            continue;
        if (f.start >= start && f.start <= mark)
            starts.emplace_back(f.start, &f);
        if (f.end >= start && f.end <= mark)
            ends.emplace_back(f.end, &f);
    }

    std::u16string run;
    uint32_t runFormat = 0;
    auto flush = [&] {
        if (run.empty())
            return;
        out += "<w:r>" + runProperties(m_doc.charFormats[runFormat]);
        std::u16string text;
        auto flushText = [&] {
            if (text.empty())
                return;
            out += "<w:t xml:space=\"preserve\">";
            escapeInto(out, utf16ToUtf8(text));
            out += "</w:t>";
            text.clear();
        };
        for (char16_t c : run) {
            switch (c) {
            case Ch::Tab: flushText(); out += "<w:tab/>"; break;
            case Ch::LineBreak: flushText(); out += "<w:br/>"; break;
            case Ch::PageBreak: flushText(); out += "<w:br w:type=\"page\"/>"; break;
            case Ch::ColumnBreak: flushText(); out += "<w:br w:type=\"column\"/>"; break;
            case Ch::NonBreakingHyphen: flushText(); out += "<w:noBreakHyphen/>"; break;
            case Ch::OptionalHyphen: flushText(); out += "<w:softHyphen/>"; break;
            default:
                // Objects, note references and anchors have no text of their own;
                // other controls cannot stand in XML.
                if (c >= 0x20 && c != 0xFFFE && c != 0xFFFF)
                    text.push_back(c);
            }
        }
        flushText();
        out += "</w:r>";
        run.clear();
    };
    for (uint32_t i = start; i <= mark; ++i) {
        for (const auto& [pos, field] : ends)
            if (pos == i) {
                flush();
                out += "<w:r><w:fldChar w:fldCharType=\"end\"/></w:r>";
            }
        for (const auto& [pos, field] : starts)
            if (pos == i) {
                flush();
                out += "<w:r>" + runProperties(m_doc.charFormatAt(s, i)) +
                       "<w:fldChar w:fldCharType=\"begin\"/></w:r><w:r>" + runProperties(m_doc.charFormatAt(s, i)) +
                       "<w:instrText xml:space=\"preserve\"> " + escaped(field->instruction) +
                       " </w:instrText></w:r><w:r><w:fldChar w:fldCharType=\"separate\"/></w:r>";
            }
        if (i == mark)
            break;
        const uint32_t format = s.attrs[i].charFormat;
        if (!run.empty() && format != runFormat)
            flush();
        runFormat = format;
        run.push_back(s.text[i]);
    }
    flush();
    out += "</w:p>";
}

void PackageWriter::writeParagraphs(std::string& out, size_t story, uint32_t from, uint32_t to)
{
    uint32_t start = from;
    for (uint32_t i = from; i < to; ++i) {
        if (!m_doc.endsParagraph(story, i))
            continue;
        writeParagraph(out, story, start, i);
        start = i + 1;
    }
}

void PackageWriter::writeTable(std::string& out, size_t story, const Table& table)
{
    const auto rowFormatOf = [&](const TableRow& row) {
        return row.rowFormat >= 0 && static_cast<size_t>(row.rowFormat) < m_doc.rowFormats.size()
                   ? m_doc.rowFormats[static_cast<size_t>(row.rowFormat)]
                   : TableRowFormat{};
    };
    const TableRowFormat first = table.rows.empty() ? TableRowFormat{} : rowFormatOf(table.rows.front());
    std::vector<Twips> grid = first.grid;
    if (grid.empty())
        for (const TableCellFormat& c : first.cells)
            grid.push_back(c.width);
    if (grid.empty() && !table.rows.empty())
        grid.assign(table.rows.front().cells.size(), 0);
    Twips width = 0;
    for (Twips w : grid)
        width += w;

    out += "<w:tbl><w:tblPr>";
    out += "<w:tblW w:w=\"" + std::to_string(width) + "\" w:type=\"" + (width > 0 ? "dxa" : "auto") + "\"/>";
    out += std::string("<w:jc w:val=\"") + alignmentValue(first.alignment) + "\"/>";
    if (first.cellSpacing > 0)
        out += "<w:tblCellSpacing w:w=\"" + std::to_string(first.cellSpacing) + "\" w:type=\"dxa\"/>";
    out += "<w:tblInd w:w=\"" + std::to_string(first.leftIndent) + "\" w:type=\"dxa\"/>";
    const char* border = first.borders ? "<w:%s w:val=\"single\" w:sz=\"4\" w:space=\"0\" w:color=\"auto\"/>"
                                       : "<w:%s w:val=\"none\" w:sz=\"0\" w:space=\"0\" w:color=\"auto\"/>";
    out += "<w:tblBorders>";
    for (const char* side : {"top", "left", "bottom", "right", "insideH", "insideV"}) {
        char buffer[128];
        std::snprintf(buffer, sizeof buffer, border, side);
        out += buffer;
    }
    out += "</w:tblBorders>";
    out += width > 0 ? "<w:tblLayout w:type=\"fixed\"/>" : "";
    out += "<w:tblCellMar><w:top w:w=\"" + std::to_string(first.cellMarginTop) +
           "\" w:type=\"dxa\"/><w:left w:w=\"" + std::to_string(first.cellMarginLeft) +
           "\" w:type=\"dxa\"/><w:bottom w:w=\"" + std::to_string(first.cellMarginBottom) +
           "\" w:type=\"dxa\"/><w:right w:w=\"" + std::to_string(first.cellMarginRight) +
           "\" w:type=\"dxa\"/></w:tblCellMar>";
    out += "</w:tblPr><w:tblGrid>";
    for (Twips w : grid)
        out += "<w:gridCol w:w=\"" + std::to_string(w) + "\"/>";
    out += "</w:tblGrid>";

    for (const TableRow& row : table.rows) {
        const TableRowFormat format = rowFormatOf(row);
        out += "<w:tr><w:trPr>";
        if (format.cantSplit)
            out += "<w:cantSplit/>";
        if (format.height > 0 && format.heightRule != RowHeightRule::Auto)
            out += "<w:trHeight w:val=\"" + std::to_string(format.height) + "\" w:hRule=\"" +
                   (format.heightRule == RowHeightRule::Exact ? "exact" : "atLeast") + "\"/>";
        if (format.isHeader)
            out += "<w:tblHeader/>";
        out += "</w:trPr>";
        for (size_t c = 0; c < row.cells.size(); ++c) {
            const TableCell& cell = row.cells[c];
            const TableCellFormat cf = c < format.cells.size() ? format.cells[c] : TableCellFormat{};
            out += "<w:tc><w:tcPr>";
            out += "<w:tcW w:w=\"" + std::to_string(cf.width) + "\" w:type=\"" + (cf.width > 0 ? "dxa" : "auto") +
                   "\"/>";
            if (cf.gridSpan > 1)
                out += "<w:gridSpan w:val=\"" + std::to_string(cf.gridSpan) + "\"/>";
            if (cf.verticalMerge != VerticalMerge::None)
                out += cf.verticalMerge == VerticalMerge::Restart ? "<w:vMerge w:val=\"restart\"/>" : "<w:vMerge/>";
            if (cf.shading != AutoColor)
                out += "<w:shd w:val=\"clear\" w:color=\"auto\" w:fill=\"" + hexColor(cf.shading) + "\"/>";
            if (cf.verticalAlign != CellVerticalAlign::Top)
                out += cf.verticalAlign == CellVerticalAlign::Center ? "<w:vAlign w:val=\"center\"/>"
                                                                     : "<w:vAlign w:val=\"bottom\"/>";
            out += "</w:tcPr>";
            writeRange(out, story, cell.start, cell.end + 1, static_cast<uint8_t>(table.depth + 1));
            out += "</w:tc>";
        }
        out += "</w:tr>";
    }
    out += "</w:tbl>";
}

void PackageWriter::writeRange(std::string& out, size_t story, uint32_t from, uint32_t to, uint8_t depth)
{
    uint32_t cursor = from;
    for (const Table& table : findTables(m_doc, story, from, to, depth)) {
        writeParagraphs(out, story, cursor, table.start);
        writeTable(out, story, table);
        cursor = table.end;
    }
    writeParagraphs(out, story, cursor, to);
}

std::map<std::string, std::string> PackageWriter::parts()
{
    std::string body;
    const Story& main = m_doc.mainStory();
    writeRange(body, 0, 0, main.size(), 1);
    const std::string lastSection =
        m_doc.sections.empty() ? sectionProperties(SectionFormat{}, {}) : sectionPropertiesOf(m_doc.sections.size() - 1);
    m_parts["word/document.xml"] =
        std::string(kXmlHeader) + "<w:document " + kMainNs + "><w:body>" + body + lastSection + "</w:body></w:document>";

    // Our formats are resolved, so every run and paragraph says what it is;
    // the defaults only serve programs that look at the styles.
    m_parts["word/styles.xml"] = std::string(kXmlHeader) + "<w:styles " + kMainNs +
        "><w:docDefaults><w:rPrDefault><w:rPr><w:rFonts w:ascii=\"Times New Roman\" w:hAnsi=\"Times New Roman\" "
        "w:cs=\"Times New Roman\" w:eastAsia=\"Times New Roman\"/><w:sz w:val=\"20\"/><w:szCs w:val=\"20\"/>"
        "<w:lang w:val=\"en-US\"/></w:rPr></w:rPrDefault><w:pPrDefault><w:pPr><w:spacing w:after=\"0\" "
        "w:line=\"240\" w:lineRule=\"auto\"/></w:pPr></w:pPrDefault></w:docDefaults>"
        "<w:style w:type=\"paragraph\" w:default=\"1\" w:styleId=\"Normal\"><w:name w:val=\"Normal\"/><w:qFormat/>"
        "</w:style><w:style w:type=\"character\" w:default=\"1\" w:styleId=\"DefaultParagraphFont\">"
        "<w:name w:val=\"Default Paragraph Font\"/><w:uiPriority w:val=\"1\"/><w:semiHidden/></w:style>"
        "<w:style w:type=\"table\" w:default=\"1\" w:styleId=\"TableNormal\"><w:name w:val=\"Normal Table\"/>"
        "<w:semiHidden/><w:tblPr><w:tblInd w:w=\"0\" w:type=\"dxa\"/><w:tblCellMar><w:top w:w=\"0\" w:type=\"dxa\"/>"
        "<w:left w:w=\"108\" w:type=\"dxa\"/><w:bottom w:w=\"0\" w:type=\"dxa\"/><w:right w:w=\"108\" w:type=\"dxa\"/>"
        "</w:tblCellMar></w:tblPr></w:style></w:styles>";

    const DocumentSettings& ds = m_doc.settings;
    std::string settings = std::string(kXmlHeader) + "<w:settings " + kMainNs + ">";
    if (ds.mirrorMargins)
        settings += "<w:mirrorMargins/>";
    settings += "<w:defaultTabStop w:val=\"" + std::to_string(ds.defaultTabStop) + "\"/>";
    if (ds.autoHyphenation)
        settings += "<w:autoHyphenation/>";
    if (ds.evenAndOddHeaders)
        settings += "<w:evenAndOddHeaders/>";
    settings += "<w:compat><w:compatSetting w:name=\"compatibilityMode\" "
                "w:uri=\"http://schemas.microsoft.com/office/word\" w:val=\"" +
                std::to_string(ds.compatibilityMode > 0 ? ds.compatibilityMode : 15) + "\"/></w:compat>";
    settings += "</w:settings>";
    m_parts["word/settings.xml"] = settings;

    std::string rels = std::string(kXmlHeader) +
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
        "<Relationship Id=\"rIdStyles\" Type=\"" + kRelNs + "/styles\" Target=\"styles.xml\"/>"
        "<Relationship Id=\"rIdSettings\" Type=\"" + kRelNs + "/settings\" Target=\"settings.xml\"/>";
    std::string overrides;
    for (const Relationship& r : m_rels) {
        rels += "<Relationship Id=\"" + r.id + "\" Type=\"" + r.type + "\" Target=\"" + r.target + "\"/>";
        const bool header = r.target.starts_with("header");
        overrides += "<Override PartName=\"/word/" + r.target +
                     "\" ContentType=\"application/vnd.openxmlformats-officedocument.wordprocessingml." +
                     (header ? "header" : "footer") + "+xml\"/>";
    }
    rels += "</Relationships>";
    m_parts["word/_rels/document.xml.rels"] = rels;

    m_parts["_rels/.rels"] = std::string(kXmlHeader) +
        "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
        "<Relationship Id=\"rId1\" Type=\"" + kRelNs + "/officeDocument\" Target=\"word/document.xml\"/>"
        "<Relationship Id=\"rId2\" Type=\"http://schemas.openxmlformats.org/package/2006/relationships/metadata/"
        "core-properties\" Target=\"docProps/core.xml\"/>"
        "<Relationship Id=\"rId3\" Type=\"" + kRelNs + "/extended-properties\" Target=\"docProps/app.xml\"/>"
        "</Relationships>";

    m_parts["docProps/core.xml"] = std::string(kXmlHeader) +
        "<cp:coreProperties xmlns:cp=\"http://schemas.openxmlformats.org/package/2006/metadata/core-properties\" "
        "xmlns:dc=\"http://purl.org/dc/elements/1.1/\" xmlns:dcterms=\"http://purl.org/dc/terms/\" "
        "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><dc:creator>Quillmeter</dc:creator>"
        "</cp:coreProperties>";
    m_parts["docProps/app.xml"] = std::string(kXmlHeader) +
        "<Properties xmlns=\"http://schemas.openxmlformats.org/officeDocument/2006/extended-properties\">"
        "<Application>Quillmeter</Application></Properties>";

    m_parts["[Content_Types].xml"] = std::string(kXmlHeader) +
        "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
        "<Default Extension=\"rels\" ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
        "<Default Extension=\"xml\" ContentType=\"application/xml\"/>"
        "<Override PartName=\"/word/document.xml\" "
        "ContentType=\"application/vnd.openxmlformats-officedocument.wordprocessingml.document.main+xml\"/>"
        "<Override PartName=\"/word/styles.xml\" "
        "ContentType=\"application/vnd.openxmlformats-officedocument.wordprocessingml.styles+xml\"/>"
        "<Override PartName=\"/word/settings.xml\" "
        "ContentType=\"application/vnd.openxmlformats-officedocument.wordprocessingml.settings+xml\"/>"
        "<Override PartName=\"/docProps/core.xml\" "
        "ContentType=\"application/vnd.openxmlformats-package.core-properties+xml\"/>"
        "<Override PartName=\"/docProps/app.xml\" "
        "ContentType=\"application/vnd.openxmlformats-officedocument.extended-properties+xml\"/>" +
        overrides + "</Types>";
    return std::move(m_parts);
}

} // namespace

std::map<std::string, std::string> docxParts(const Document& document)
{
    return PackageWriter(document).parts();
}

WriteResult writeDocx(const Document& document, const std::filesystem::path& path)
{
    const std::map<std::string, std::string> parts = docxParts(document);
    std::filesystem::path temporary = path;
    temporary += ".part" + std::to_string(::getpid());
    auto fail = [&](std::string message) {
        std::error_code ignored;
        std::filesystem::remove(temporary, ignored);
        return WriteResult{std::move(message)};
    };

    int error = 0;
    zip_t* zip = zip_open(temporary.c_str(), ZIP_CREATE | ZIP_TRUNCATE, &error);
    if (!zip) {
        zip_error_t ze;
        zip_error_init_with_code(&ze, error);
        std::string message = zip_error_strerror(&ze);
        zip_error_fini(&ze);
        return fail("cannot create the file: " + message);
    }
    // [Content_Types].xml first, as Word writes it; some readers look for it there.
    std::vector<const std::pair<const std::string, std::string>*> ordered;
    for (const auto& part : parts)
        if (part.first == "[Content_Types].xml")
            ordered.insert(ordered.begin(), &part);
        else
            ordered.push_back(&part);
    for (const auto* part : ordered) {
        zip_source_t* source = zip_source_buffer(zip, part->second.data(), part->second.size(), 0);
        if (!source || zip_file_add(zip, part->first.c_str(), source, ZIP_FL_ENC_UTF_8) < 0) {
            if (source)
                zip_source_free(source);
            std::string message = zip_strerror(zip);
            zip_discard(zip);
            return fail("cannot add " + part->first + ": " + message);
        }
    }
    if (zip_close(zip) != 0) {
        std::string message = zip_strerror(zip);
        zip_discard(zip);
        return fail("cannot write the file: " + message);
    }
    std::error_code renameError;
    std::filesystem::rename(temporary, path, renameError);
    if (renameError)
        return fail("cannot replace the file: " + renameError.message());
    return {};
}

} // namespace qm::engine
