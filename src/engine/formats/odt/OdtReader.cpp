// The OpenDocument text reader: packaged (.odt, .ott) and flat (.fodt) documents into the model.
#include "engine/formats/Reader.h"
#include "engine/formats/docx/DocxNumbering.h"
#include "engine/formats/docx/XmlPart.h"
#include "engine/formats/docx/ZipPackage.h"
#include "engine/formats/odt/OdtStyles.h"
#include "engine/model/DocumentBuilder.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <new>

namespace qm::engine {

namespace {

using odt::StyleScope;
using xml::child;
using xml::is;
using xml::value;

constexpr int MaxStoryNesting = 6;
// Repeated rows and cells are a compact way to write a huge table; past this
// a repeat is cut short with a diagnostic.
constexpr int64_t MaxRepeat = 1000;

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// Open list levels while reading: the list style and the counters.
struct ListState {
    std::string style;
    int level = 0; ///< 0 for the outermost list
    bool labelPending = false;
    bool header = false; ///< text:list-header: no label
    std::optional<int32_t> startOverride;
};

class OdtReader {
public:
    OdtReader(DocumentBuilder& builder, const odt::OdtStyles& styles, StyleScope bodyScope)
        : m_b(builder), m_styles(styles), m_bodyScope(bodyScope)
    {
    }

    void readBody(const pugi::xml_node& text);
    void readMeta(const pugi::xml_node& meta);
    SectionFormat currentSection(HeaderFooterRefs& refs);

private:
    void readBlocks(const pugi::xml_node& parent, bool topLevel);
    void readParagraph(const pugi::xml_node& p, const std::string& nextMaster);
    void readInline(const pugi::xml_node& parent, const docx::RunProps& props, const std::string& paraStyle);
    void appendText(std::string_view text, uint32_t format);
    void readList(const pugi::xml_node& list);
    void readTable(const pugi::xml_node& table);
    void readFrame(const pugi::xml_node& frame, uint32_t format, bool inParagraph);
    void readNote(const pugi::xml_node& note, uint32_t format);
    void readAnnotation(const pugi::xml_node& annotation);
    int32_t readHeaderFooter(const pugi::xml_node& content, StoryType type);
    std::string masterOf(const pugi::xml_node& element) const;
    bool repeatAllowed();
    uint32_t charFormat(const docx::RunProps& props);
    template <class F> void inStory(StoryId story, F&& read);

    DocumentBuilder& m_b;
    const odt::OdtStyles& m_styles;
    StyleScope m_bodyScope;
    StyleScope m_scope = StyleScope::Content;
    bool m_lastWasSpace = true;
    int m_storyNesting = 0;
    bool m_inNote = false;
    std::vector<ListState> m_lists;
    std::map<std::string, std::array<int32_t, 10>> m_counters;
    std::string m_master;
    int32_t m_footnoteStory = -1, m_endnoteStory = -1, m_commentStory = -1;
    std::map<const void*, int32_t> m_headerStories;
    // Repeated rows and cells copy their content; a document-wide budget
    // keeps a small file from expanding into millions of cells.
    int64_t m_repeatBudget = 100000;
};

bool OdtReader::repeatAllowed()
{
    if (m_repeatBudget > 0) {
        --m_repeatBudget;
        return true;
    }
    if (m_repeatBudget == 0) {
        --m_repeatBudget;
        m_b.diagnose("odt.repeat", Severity::Warning, "content.xml",
                     "repeated table rows and cells were cut short; their copies are not counted");
    }
    return false;
}

uint32_t OdtReader::charFormat(const docx::RunProps& props)
{
    CharFormat f;
    f.fontName = props.font.value_or("");
    f.sizeHalfPoints = props.size.value_or(24);
    f.eastAsiaFontName = props.eastAsiaFont.value_or("");
    f.complexFontName = props.complexFont.value_or("");
    f.complexSizeHalfPoints = props.complexSize.value_or(0);
    f.bold = props.bold.value_or(false);
    f.italic = props.italic.value_or(false);
    f.allCaps = props.allCaps.value_or(false);
    f.smallCaps = props.smallCaps.value_or(false);
    f.strike = props.strike.value_or(false);
    f.doubleStrike = props.doubleStrike.value_or(false);
    f.hidden = props.hidden.value_or(false);
    f.underline = props.underline.value_or(UnderlineKind::None);
    f.verticalPosition = props.verticalPosition.value_or(VerticalPosition::Baseline);
    f.spacingTwips = props.spacing.value_or(0);
    f.scalePercent = props.scale.value_or(100);
    f.color = props.color.value_or(AutoColor);
    return m_b.charFormat(f);
}

template <class F> void OdtReader::inStory(StoryId story, F&& read)
{
    const StoryId previous = m_b.currentStory();
    const bool lastWasSpace = m_lastWasSpace;
    std::vector<ListState> lists;
    lists.swap(m_lists);
    ++m_storyNesting;
    m_b.setStory(story);
    read();
    m_b.setStory(previous);
    --m_storyNesting;
    m_lists.swap(lists);
    m_lastWasSpace = lastWasSpace;
}

std::string OdtReader::masterOf(const pugi::xml_node& element) const
{
    const std::string style(value(element, "style-name"));
    if (is(element, "p") || is(element, "h"))
        return m_styles.masterPageOf(m_scope, "paragraph", style);
    if (is(element, "table"))
        return m_styles.masterPageOf(m_scope, "table", style);
    return {};
}

int32_t OdtReader::readHeaderFooter(const pugi::xml_node& content, StoryType type)
{
    if (!content)
        return -1;
    if (auto it = m_headerStories.find(content.internal_object()); it != m_headerStories.end())
        return it->second;
    const StoryId story = m_b.newStory(type);
    if (story == 0xFFFFFFFFu)
        return -1;
    const StyleScope scope = m_scope;
    m_scope = m_bodyScope == StyleScope::Content ? StyleScope::Styles : m_bodyScope;
    inStory(story, [&] { readBlocks(content, false); });
    m_scope = scope;
    m_headerStories[content.internal_object()] = static_cast<int32_t>(story);
    return static_cast<int32_t>(story);
}

SectionFormat OdtReader::currentSection(HeaderFooterRefs& refs)
{
    const odt::MasterPage* page = m_styles.masterPage(m_master);
    if (!page)
        return SectionFormat{};
    refs.headers[0] = readHeaderFooter(page->header, StoryType::PrimaryHeader);
    refs.headers[1] = readHeaderFooter(page->headerFirst, StoryType::FirstPageHeader);
    refs.footers[0] = readHeaderFooter(page->footer, StoryType::PrimaryFooter);
    refs.footers[1] = readHeaderFooter(page->footerFirst, StoryType::FirstPageFooter);
    if (page->headerLeft || page->footerLeft) {
        // Left pages show their own variant; Word's equivalent is the even
        // page header with different odd and even pages switched on.
        m_b.settings().evenAndOddHeaders = true;
        refs.headers[2] =
            page->headerLeft ? readHeaderFooter(page->headerLeft, StoryType::EvenPagesHeader) : refs.headers[0];
        refs.footers[2] =
            page->footerLeft ? readHeaderFooter(page->footerLeft, StoryType::EvenPagesFooter) : refs.footers[0];
    }
    return page->format;
}

void OdtReader::readBody(const pugi::xml_node& text)
{
    m_master = m_styles.firstMasterPage();
    // The first paragraph may name the master page the document starts with.
    for (pugi::xml_node e = text.first_child(); e; e = e.next_sibling()) {
        if (is(e, "p") || is(e, "h") || is(e, "table")) {
            if (std::string first = masterOf(e); !first.empty())
                m_master = first;
            break;
        }
    }
    readBlocks(text, true);
}

void OdtReader::readBlocks(const pugi::xml_node& parent, bool topLevel)
{
    for (pugi::xml_node e = parent.first_child(); e && !m_b.limitReached(); e = e.next_sibling()) {
        if (e.type() != pugi::node_element)
            continue;
        const std::string_view n = xml::localName(e);
        if (n == "p" || n == "h") {
            // A paragraph ends the section when the next block starts a new master page.
            std::string nextMaster;
            if (topLevel && m_b.currentStory() == 0)
                for (pugi::xml_node next = e.next_sibling(); next; next = next.next_sibling()) {
                    if (next.type() != pugi::node_element || is(next, "soft-page-break"))
                        continue;
                    nextMaster = masterOf(next);
                    break;
                }
            readParagraph(e, nextMaster);
        } else if (n == "list") {
            readList(e);
        } else if (n == "table") {
            readTable(e);
        } else if (n == "section" || n == "index-title" || n == "numbered-paragraph") {
            readBlocks(e, false);
        } else if (n == "table-of-content" || n == "alphabetical-index" || n == "illustration-index" ||
                   n == "table-index" || n == "object-index" || n == "user-index" || n == "bibliography") {
            readBlocks(child(e, "index-body"), false);
        } else if (n == "frame") {
            readFrame(e, charFormat(m_styles.defaultText()), false);
        }
    }
}

void OdtReader::readParagraph(const pugi::xml_node& p, const std::string& nextMaster)
{
    const std::string style(value(p, "style-name"));
    docx::ParaProps paraProps = m_styles.paraProps(m_scope, style);
    docx::RunProps props = m_styles.defaultText();
    props.overlay(m_styles.textProps(m_scope, "paragraph", style));

    ParaFormat pf;
    // A heading outside lists takes its number from the outline numbering.
    bool outline = false;
    if (is(p, "h") && (m_lists.empty() || !m_lists.back().labelPending)) {
        if (auto level = xml::toInt(value(p, "outline-level")); level && *level >= 1 && *level <= 10) {
            ListState state;
            state.style = odt::OutlineListStyle;
            state.level = static_cast<int>(*level - 1);
            state.labelPending = true;
            m_lists.push_back(state);
            outline = true;
        }
    }
    if (!m_lists.empty() && m_lists.back().labelPending) {
        ListState& list = m_lists.back();
        list.labelPending = false;
        const std::string listStyle = list.style.empty() ? m_styles.listStyleOf(m_scope, style) : list.style;
        if (const odt::ListLevel* level = m_styles.listLevel(listStyle, list.level); level && !list.header) {
            auto& counters = m_counters[listStyle];
            const size_t l = static_cast<size_t>(std::clamp(list.level, 0, 9));
            counters[l] = list.startOverride ? *list.startOverride : counters[l] + 1;
            if (counters[l] < level->start && !list.startOverride)
                counters[l] = level->start;
            for (size_t deeper = l + 1; deeper < 10; ++deeper)
                counters[deeper] = 0;
            if (level->bullet) {
                pf.listLabel = level->bulletChar;
            } else if (!level->format.empty()) {
                std::u16string label = utf8ToUtf16(level->prefix);
                const size_t first = l + 1 >= static_cast<size_t>(level->displayLevels)
                                         ? l + 1 - static_cast<size_t>(level->displayLevels)
                                         : 0;
                for (size_t i = first; i <= l; ++i) {
                    const odt::ListLevel* shown = m_styles.listLevel(listStyle, static_cast<int>(i));
                    const std::string fmt = shown ? shown->format : "1";
                    const std::string_view word = fmt == "a"   ? "lowerLetter"
                                                  : fmt == "A" ? "upperLetter"
                                                  : fmt == "i" ? "lowerRoman"
                                                  : fmt == "I" ? "upperRoman"
                                                               : "decimal";
                    label += docx::formatListNumber(std::max(counters[i], 1), word);
                    if (i < l)
                        label += u'.';
                }
                pf.listLabel = label + utf8ToUtf16(level->suffix);
            }
            if (level->indent)
                paraProps.leftIndent = level->indent;
            if (level->firstLine)
                paraProps.firstLineIndent = level->firstLine;
        }
    }
    if (outline)
        m_lists.pop_back();
    {
        // Resolve the paragraph's own properties on top of the list's.
        ParaFormat resolved;
        resolved.styleName = m_styles.displayName(m_scope, style);
        resolved.alignment = paraProps.alignment.value_or(Alignment::Left);
        resolved.leftIndent = paraProps.leftIndent.value_or(0);
        resolved.rightIndent = paraProps.rightIndent.value_or(0);
        resolved.firstLineIndent = paraProps.firstLineIndent.value_or(0);
        resolved.spaceBefore = paraProps.spaceBefore.value_or(0);
        resolved.spaceAfter = paraProps.spaceAfter.value_or(0);
        resolved.contextualSpacing = paraProps.contextualSpacing.value_or(false);
        resolved.lineRule = paraProps.lineRule.value_or(LineRule::Auto);
        resolved.lineSpacing = paraProps.lineSpacing.value_or(240);
        resolved.keepWithNext = paraProps.keepWithNext.value_or(false);
        resolved.keepLinesTogether = paraProps.keepLinesTogether.value_or(false);
        resolved.widowControl = paraProps.widowControl.value_or(true);
        resolved.pageBreakBefore = paraProps.pageBreakBefore.value_or(false);
        resolved.rightToLeft = paraProps.rightToLeft.value_or(false);
        resolved.snapToGrid = paraProps.snapToGrid.value_or(true);
        resolved.borders = {paraProps.borderTop.value_or(BorderLine{}), paraProps.borderLeft.value_or(BorderLine{}),
                            paraProps.borderBottom.value_or(BorderLine{}), paraProps.borderRight.value_or(BorderLine{}),
                            paraProps.borderBetween.value_or(BorderLine{})};
        resolved.shading = paraProps.shading.value_or(AutoColor);
        for (const auto& [stop, clear] : paraProps.tabs)
            if (!clear)
                resolved.tabs.push_back(stop);
        std::sort(resolved.tabs.begin(), resolved.tabs.end(),
                  [](const TabStop& a, const TabStop& b) { return a.position < b.position; });
        resolved.listLabel = std::move(pf.listLabel);
        pf = std::move(resolved);
    }
    const uint32_t markFormat = charFormat(props);
    m_lastWasSpace = true; // leading white space of a paragraph is not shown
    readInline(p, props, style);
    const uint32_t paraFormat = m_b.paraFormat(pf);
    if (!nextMaster.empty()) {
        HeaderFooterRefs refs;
        const SectionFormat section = currentSection(refs);
        m_b.endSection(section, refs, paraFormat, markFormat);
        m_master = nextMaster;
    } else {
        m_b.endParagraph(paraFormat, markFormat);
    }
}

void OdtReader::appendText(std::string_view text, uint32_t format)
{
    // Runs of XML white space show as one space.
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (isXmlSpace(c)) {
            if (!m_lastWasSpace)
                out += ' ';
            m_lastWasSpace = true;
        } else {
            out += c;
            m_lastWasSpace = false;
        }
    }
    if (!out.empty())
        m_b.appendUtf8(out, format);
}

void OdtReader::readInline(const pugi::xml_node& parent, const docx::RunProps& props, const std::string& paraStyle)
{
    std::optional<uint32_t> format;
    auto cf = [&] {
        if (!format)
            format = charFormat(props);
        return *format;
    };
    for (pugi::xml_node e = parent.first_child(); e; e = e.next_sibling()) {
        if (e.type() == pugi::node_pcdata || e.type() == pugi::node_cdata) {
            appendText(e.value(), cf());
            continue;
        }
        if (e.type() != pugi::node_element)
            continue;
        const std::string_view n = xml::localName(e);
        if (n == "span") {
            docx::RunProps inner = props;
            inner.overlay(m_styles.textProps(m_scope, "text", std::string(value(e, "style-name"))));
            readInline(e, inner, paraStyle);
        } else if (n == "s") {
            const int64_t count = std::clamp<int64_t>(xml::toInt(value(e, "c")).value_or(1), 1, MaxRepeat);
            m_b.appendText(std::u16string(static_cast<size_t>(count), u' '), cf());
            m_lastWasSpace = false;
        } else if (n == "tab") {
            m_b.appendChar(Ch::Tab, cf());
            m_lastWasSpace = false;
        } else if (n == "line-break") {
            m_b.appendChar(Ch::LineBreak, cf());
            m_lastWasSpace = false;
        } else if (n == "note") {
            readNote(e, cf());
        } else if (n == "annotation") {
            readAnnotation(e);
        } else if (n == "frame") {
            readFrame(e, cf(), true);
        } else if (n == "ruby") {
            readInline(child(e, "ruby-base"), props, paraStyle);
        } else if (n == "soft-page-break" || n == "bookmark" || n == "bookmark-start" || n == "bookmark-end" ||
                   n == "reference-mark" || n == "reference-mark-start" || n == "reference-mark-end" || n == "change" ||
                   n == "change-start" || n == "change-end" || n == "annotation-end" || n == "toc-mark" ||
                   n == "toc-mark-start" || n == "toc-mark-end" || n == "alphabetical-index-mark" ||
                   n == "alphabetical-index-mark-start" || n == "alphabetical-index-mark-end" ||
                   n == "user-index-mark" || n == "hidden-text" || n == "hidden-paragraph" || n == "sequence-decls" ||
                   n == "variable-decls" || n == "user-field-decls") {
            continue;
        } else if (n == "g") {
            readInline(e, props, paraStyle); // a group's shapes each stand on their own
        } else if (std::string_view(e.name()).starts_with("draw:")) {
            // Other drawing shapes: their text is a story of its own.
            readFrame(e, cf(), true);
        } else {
            // Links, fields and meta elements show the text they hold.
            readInline(e, props, paraStyle);
        }
    }
}

void OdtReader::readList(const pugi::xml_node& list)
{
    ListState state;
    state.style = value(list, "style-name");
    if (!m_lists.empty()) {
        state.level = m_lists.back().level + 1;
        if (state.style.empty())
            state.style = m_lists.back().style;
    } else if (value(list, "continue-numbering") != "true" && value(list, "continue-list").empty() &&
               !state.style.empty()) {
        m_counters.erase(state.style);
    }
    if (m_lists.size() >= 32) {
        readBlocks(list, false);
        return;
    }
    for (pugi::xml_node item = list.first_child(); item && !m_b.limitReached(); item = item.next_sibling()) {
        if (!is(item, "list-item") && !is(item, "list-header"))
            continue;
        ListState itemState = state;
        itemState.labelPending = true;
        itemState.header = is(item, "list-header");
        if (auto start = xml::toInt(value(item, "start-value")))
            itemState.startOverride = xml::clampInt32(*start);
        m_lists.push_back(itemState);
        readBlocks(item, false);
        m_lists.pop_back();
    }
}

void OdtReader::readTable(const pugi::xml_node& table)
{
    TableRowFormat base;
    // Column widths: each column element may stand for several columns.
    auto columns = [&](auto& self, const pugi::xml_node& parent) -> void {
        for (pugi::xml_node c = parent.first_child(); c && base.grid.size() < 64; c = c.next_sibling()) {
            if (is(c, "table-column")) {
                const int64_t repeat =
                    std::clamp<int64_t>(xml::toInt(value(c, "number-columns-repeated")).value_or(1), 1, 64);
                const Twips width = m_styles.columnWidth(m_scope, std::string(value(c, "style-name"))).value_or(0);
                for (int64_t i = 0; i < repeat && base.grid.size() < 64; ++i)
                    base.grid.push_back(width);
            } else if (is(c, "table-columns") || is(c, "table-header-columns") || is(c, "table-column-group")) {
                self(self, c);
            }
        }
    };
    columns(columns, table);

    m_b.beginTable();
    std::vector<int64_t> rowsCovered(base.grid.size(), 0);
    auto readRow = [&](const pugi::xml_node& row, bool header) {
        TableRowFormat format = base;
        format.isHeader = header;
        m_b.beginRow();
        size_t column = 0;
        int64_t horizontalCover = 0;
        for (pugi::xml_node cell = row.first_child(); cell && !m_b.limitReached(); cell = cell.next_sibling()) {
            const bool covered = is(cell, "covered-table-cell");
            if (!covered && !is(cell, "table-cell"))
                continue;
            const int64_t repeat =
                std::clamp<int64_t>(xml::toInt(value(cell, "number-columns-repeated")).value_or(1), 1, MaxRepeat);
            for (int64_t r = 0; r < repeat && (r == 0 || repeatAllowed()); ++r) {
                if (covered && horizontalCover > 0) {
                    --horizontalCover; // part of a cell spanning columns
                    ++column;
                    continue;
                }
                TableCellFormat cf;
                if (covered) {
                    cf.verticalMerge = VerticalMerge::Continue;
                } else {
                    cf.gridSpan = static_cast<int32_t>(
                        std::clamp<int64_t>(xml::toInt(value(cell, "number-columns-spanned")).value_or(1), 1, 64));
                    const int64_t rows =
                        std::clamp<int64_t>(xml::toInt(value(cell, "number-rows-spanned")).value_or(1), 1, MaxRepeat);
                    if (rows > 1)
                        cf.verticalMerge = VerticalMerge::Restart;
                    horizontalCover = cf.gridSpan - 1;
                    for (size_t c = column; c < column + static_cast<size_t>(cf.gridSpan) && c < rowsCovered.size();
                         ++c)
                        rowsCovered[c] = rows - 1;
                }
                for (size_t c = column; c < column + static_cast<size_t>(cf.gridSpan) && c < base.grid.size(); ++c)
                    cf.width += base.grid[c];
                // The cell style's borders, and its padding as the row's cell
                // margins (Word keeps one set per row; the first cell's stands).
                const odt::CellProps props = m_styles.cellProps(m_scope, std::string(value(cell, "style-name")));
                cf.borders = props.borders;
                cf.verticalAlign = props.verticalAlign;
                if (format.cells.empty()) {
                    format.cellMarginTop = props.paddingTop.value_or(format.cellMarginTop);
                    format.cellMarginBottom = props.paddingBottom.value_or(format.cellMarginBottom);
                    format.cellMarginLeft = props.paddingLeft.value_or(format.cellMarginLeft);
                    format.cellMarginRight = props.paddingRight.value_or(format.cellMarginRight);
                }
                if (format.cells.size() < 64)
                    format.cells.push_back(cf);
                m_b.beginCell();
                if (!covered)
                    readBlocks(cell, false);
                m_b.endCell(0, charFormat(m_styles.defaultText()));
                column += static_cast<size_t>(cf.gridSpan);
            }
        }
        m_b.endRow(format, charFormat(m_styles.defaultText()));
    };
    auto rows = [&](auto& self, const pugi::xml_node& parent, bool header) -> void {
        for (pugi::xml_node r = parent.first_child(); r && !m_b.limitReached(); r = r.next_sibling()) {
            if (is(r, "table-row")) {
                int64_t repeat =
                    std::clamp<int64_t>(xml::toInt(value(r, "number-rows-repeated")).value_or(1), 1, MaxRepeat);
                for (int64_t i = 0; i < repeat && (i == 0 || repeatAllowed()); ++i)
                    readRow(r, header);
            } else if (is(r, "table-header-rows")) {
                self(self, r, true);
            } else if (is(r, "table-rows") || is(r, "table-row-group")) {
                self(self, r, header);
            }
        }
    };
    rows(rows, table, false);
    m_b.endTable();
}

void OdtReader::readFrame(const pugi::xml_node& frame, uint32_t format, bool inParagraph)
{
    InlineObject object;
    object.kind = ObjectKind::Shape;
    object.floating = value(frame, "anchor-type") != "as-char";
    object.width = odt::parseLength(value(frame, "width")).value_or(0);
    object.height = odt::parseLength(value(frame, "height")).value_or(0);
    pugi::xml_node textBox = child(frame, "text-box");
    if (child(frame, "image"))
        object.kind = ObjectKind::Picture;
    else if (child(frame, "object"))
        object.kind = ObjectKind::Embedded;
    // Shapes other than frames hold their paragraphs directly.
    const bool shapeText = !is(frame, "frame") && child(frame, "p");
    if ((textBox || shapeText) && m_storyNesting < MaxStoryNesting) {
        const StoryId story = m_b.newStory(StoryType::TextFrame);
        if (story != 0xFFFFFFFFu) {
            object.kind = ObjectKind::TextBox;
            object.story = static_cast<int32_t>(story);
            inStory(story, [&] { readBlocks(textBox ? textBox : frame, false); });
        }
    }
    const int32_t index = m_b.addObject(object);
    if (!inParagraph)
        return; // anchored to the page: there is no character to stand on
    CharFormat f = m_b.document().charFormats[format];
    f.objectIndex = index;
    m_b.appendChar(object.floating ? Ch::Anchor : Ch::Object, m_b.charFormat(f));
    m_lastWasSpace = false;
}

void OdtReader::readNote(const pugi::xml_node& note, uint32_t format)
{
    const bool endnote = value(note, "note-class") == "endnote";
    int32_t noteIndex = -1;
    if (!m_inNote && m_storyNesting < MaxStoryNesting) {
        int32_t& story = endnote ? m_endnoteStory : m_footnoteStory;
        if (story < 0) {
            const StoryId id = m_b.newStory(endnote ? StoryType::Endnotes : StoryType::Footnotes);
            story = id == 0xFFFFFFFFu ? -1 : static_cast<int32_t>(id);
        }
        if (story >= 0) {
            Note n;
            n.kind = endnote ? NoteKind::Endnote : NoteKind::Footnote;
            n.story = story;
            m_inNote = true;
            inStory(static_cast<StoryId>(story), [&] {
                n.start = m_b.position();
                readBlocks(child(note, "note-body"), false);
                n.end = m_b.position();
            });
            m_inNote = false;
            noteIndex = m_b.addNote(n);
        }
    }
    CharFormat f = m_b.document().charFormats[format];
    f.noteIndex = noteIndex;
    m_b.appendChar(Ch::NoteReference, m_b.charFormat(f));
    m_lastWasSpace = false;
}

void OdtReader::readAnnotation(const pugi::xml_node& annotation)
{
    if (m_inNote || m_storyNesting >= MaxStoryNesting)
        return;
    if (m_commentStory < 0) {
        const StoryId id = m_b.newStory(StoryType::Comments);
        if (id == 0xFFFFFFFFu)
            return;
        m_commentStory = static_cast<int32_t>(id);
    }
    Note n;
    n.kind = NoteKind::Comment;
    n.story = m_commentStory;
    m_inNote = true;
    inStory(static_cast<StoryId>(m_commentStory), [&] {
        n.start = m_b.position();
        readBlocks(annotation, false); // its author and date are not paragraphs
        n.end = m_b.position();
    });
    m_inNote = false;
    m_b.addNote(n);
}

void OdtReader::readMeta(const pugi::xml_node& meta)
{
    StoredStatistics& st = m_b.stored();
    if (pugi::xml_node stats = child(meta, "document-statistic")) {
        auto number = [&](std::string_view name) { return xml::toInt(value(stats, name)); };
        st.pages = number("page-count");
        st.words = number("word-count");
        st.charactersWithSpaces = number("character-count");
        st.characters = number("non-whitespace-character-count");
        st.paragraphs = number("paragraph-count");
    }
    if (pugi::xml_node generator = child(meta, "generator"))
        st.application = generator.text().get();
}

struct OdtParts {
    pugi::xml_node content, styles, meta; // document roots; one node for all three in a flat file
    bool flat = false;
};

ReadResult readOdtParts(const OdtParts& parts, DocumentBuilder& builder)
{
    const pugi::xml_node content = parts.content;
    const pugi::xml_node styles = parts.styles;
    odt::OdtStyles sheet;
    sheet.load(child(styles, "font-face-decls"), child(styles, "styles"), child(styles, "automatic-styles"),
               parts.flat ? pugi::xml_node() : child(content, "automatic-styles"), child(styles, "master-styles"),
               parts.flat ? pugi::xml_node() : child(content, "font-face-decls"));
    builder.settings().defaultTabStop = sheet.defaultTabStop();
    OdtReader reader(builder, sheet, parts.flat ? StyleScope::Styles : StyleScope::Content);
    if (parts.meta)
        reader.readMeta(child(parts.meta, "meta"));
    const pugi::xml_node text = child(child(content, "body"), "text");
    if (!text)
        builder.diagnose("odt.body", Severity::Error, "content.xml",
                         "the document has no text body; no text is counted");
    reader.readBody(text);
    HeaderFooterRefs refs;
    const SectionFormat last = reader.currentSection(refs);
    ReadResult result;
    result.document = builder.finish(last, refs);
    return result;
}

template <class F> ReadResult guarded(F&& read)
{
    try {
        return read();
    } catch (const std::bad_alloc&) {
        return ReadResult::failure("the document needs more memory than the engine can take");
    } catch (const std::exception& e) {
        return ReadResult::failure(std::string("the document cannot be read: ") + e.what());
    }
}

} // namespace

ReadResult readOdt(std::string_view bytes, const ReadOptions& options)
{
    return guarded([&] {
        ZipPackage zip(bytes, options.limits);
        if (!zip.isOpen())
            return ReadResult::failure(zip.error());
        if (zip.contains("META-INF/manifest.xml")) {
            PartData manifest = zip.read("META-INF/manifest.xml");
            if (manifest.ok() && manifest.bytes.find("encryption-data") != std::string::npos)
                return ReadResult::failure("password-protected documents cannot be counted");
        }
        DocumentBuilder builder("odt", options.limits);
        const uint32_t depth = options.limits.maxNestingDepth;
        pugi::xml_document content, styles, meta;
        PartData data = zip.read("content.xml");
        if (!data.found)
            return ReadResult::failure("the package holds no OpenDocument text (content.xml is missing)");
        if (!data.ok())
            return ReadResult::failure("the document's content cannot be read: " + data.error);
        if (std::string error = xml::parse(data.bytes, content, depth); !error.empty())
            return ReadResult::failure("the document's content cannot be read: " + error);
        data = {};
        auto optional = [&](const char* name, pugi::xml_document& doc) {
            PartData part = zip.read(name);
            if (!part.found)
                return;
            std::string error = part.ok() ? xml::parse(part.bytes, doc, depth) : part.error;
            if (!error.empty())
                builder.diagnose("odt.part", Severity::Warning, name, error + "; the document is read without it");
        };
        optional("styles.xml", styles);
        optional("meta.xml", meta);
        OdtParts parts;
        parts.content = content.document_element();
        parts.styles = styles.document_element();
        parts.meta = meta.document_element();
        return readOdtParts(parts, builder);
    });
}

ReadResult readFlatOdt(std::string_view bytes, const ReadOptions& options)
{
    return guarded([&] {
        pugi::xml_document doc;
        if (std::string error = xml::parse(std::string(bytes), doc, options.limits.maxNestingDepth); !error.empty())
            return ReadResult::failure("the document cannot be read: " + error);
        const pugi::xml_node root = doc.document_element();
        if (xml::localName(root) != "document")
            return ReadResult::failure("the file is not a flat OpenDocument text");
        DocumentBuilder builder("odt", options.limits);
        OdtParts parts;
        parts.content = parts.styles = parts.meta = root;
        parts.flat = true;
        return readOdtParts(parts, builder);
    });
}

} // namespace qm::engine
