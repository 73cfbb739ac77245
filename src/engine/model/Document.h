// The document model: Word's flat story model with its special characters.
#pragma once

#include "engine/model/Diagnostic.h"
#include "engine/model/Formats.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace qm::engine {

/// Word's special characters, as they stand in a story's text.
namespace Ch {
inline constexpr char16_t Object = 1;        ///< an inline picture or object
inline constexpr char16_t NoteReference = 2; ///< an automatically numbered note reference
inline constexpr char16_t CellEnd = 7;       ///< end of a table cell, and end of a table row
inline constexpr char16_t Anchor = 8;        ///< anchor of a floating drawing object
inline constexpr char16_t Tab = 9;
inline constexpr char16_t LineBreak = 11; ///< manual line break
inline constexpr char16_t PageBreak = 12; ///< manual page break, or a section break
inline constexpr char16_t ParagraphMark = 13;
inline constexpr char16_t ColumnBreak = 14;
inline constexpr char16_t NonBreakingHyphen = 30;
inline constexpr char16_t OptionalHyphen = 31;
inline constexpr char16_t Space = 32;
inline constexpr char16_t NoBreakSpace = 160;
} // namespace Ch

/// Word's story types (its WdStoryType numbers).
enum class StoryType : uint8_t {
    Main = 1,
    Footnotes = 2,
    Endnotes = 3,
    Comments = 4,
    TextFrame = 5,
    EvenPagesHeader = 6,
    PrimaryHeader = 7,
    EvenPagesFooter = 8,
    PrimaryFooter = 9,
    FirstPageHeader = 10,
    FirstPageFooter = 11,
};

/// Word's header and footer index: 1 primary, 2 first page, 3 even pages.
enum class HeaderFooterIndex : uint8_t { Primary = 1, FirstPage = 2, EvenPages = 3 };

/// The formatting of one character: indices into the document's tables.
/// A trivial type, so that the per-character vectors copy as memory does
/// (edits copy whole stories); `CharAttr{}` is format 0 of both.
struct CharAttr {
    uint32_t charFormat;
    uint32_t paraFormat; ///< meaningful on the character that ends a paragraph
    bool operator==(const CharAttr&) const = default;
};
static_assert(std::is_trivial_v<CharAttr>);

/// One story: a character stream and, per character, its formatting. Every
/// paragraph ends in a mark (13; 7 for a table cell's last paragraph; 12 for a
/// paragraph that ends a section), the story's last paragraph too.
struct Story {
    StoryType type = StoryType::Main;
    std::u16string text;
    std::vector<CharAttr> attrs; ///< same length as text

    uint32_t size() const { return static_cast<uint32_t>(text.size()); }
};

struct Section {
    SectionFormat format;
    uint32_t end = 0; ///< one past the section's last character in the main story
    /// Story indices by HeaderFooterIndex - 1; -1 where the section defines
    /// none of that kind and shows the previous section's.
    std::array<int32_t, 3> headers{-1, -1, -1};
    std::array<int32_t, 3> footers{-1, -1, -1};
};

enum class NoteKind : uint8_t { Footnote, Endnote, Comment };

/// A note: its reference character in the main story carries noteIndex, and
/// its text is [start, end) of a notes story.
struct Note {
    NoteKind kind = NoteKind::Footnote;
    int32_t story = -1;
    uint32_t start = 0;
    uint32_t end = 0;
};

enum class ObjectKind : uint8_t { Picture, Shape, TextBox, Chart, Embedded };

/// How the text of the page flows around a floating object (ECMA-376 Part 1
/// §20.4.2.16-20.4.2.20 wrapNone, wrapSquare, wrapThrough, wrapTight,
/// wrapTopAndBottom). None: the object lies over or behind the text.
enum class TextWrap : uint8_t { None, Square, Tight, Through, TopAndBottom };

/// What a floating object's position is measured from (ECMA-376 Part 1
/// §20.4.3.4, §20.4.3.5 ST_RelFromH and ST_RelFromV): the text column, the
/// paragraph or line holding the anchor, the margins or the page edge.
enum class AnchorFrom : uint8_t { Column, Character, Paragraph, Line, Margin, Page, OtherMargin };

/// Where along one axis a floating object stands: an offset from its
/// reference, or aligned to its start, centre or end (wp:posOffset, wp:align).
struct AnchorAxis {
    enum class Align : uint8_t { Offset, Start, Center, End };
    AnchorFrom from = AnchorFrom::Column;
    Align align = Align::Offset;
    Twips offset = 0;
};

/// How a shape lays out its text (wps:bodyPr, a:prstGeom; VML v:textbox):
/// inside its preset geometry's text rectangle, less the insets, anchored to
/// its top, middle or bottom, wrapped at the rectangle's width unless the
/// shape says not to (ECMA-376 Part 1 §21.1.2.1.1 bodyPr).
struct ShapeTextLayout {
    std::string preset; ///< a:prstGeom prst ("chevron"); empty: the whole box
    /// Adjust values the shape sets (a:avLst a:gd name="adj" fmla="val 50000").
    std::vector<std::pair<std::string, double>> adjust;
    /// lIns, tIns, rIns, bIns; Word's defaults 0.1" at the sides, 0.05" above and below.
    Twips insetLeft = 144, insetTop = 72, insetRight = 144, insetBottom = 72;
    enum class Anchor : uint8_t { Top, Middle, Bottom };
    Anchor anchor = Anchor::Top;
    bool wrap = true; ///< false: wrap="none", lines as long as their text
};

/// A picture or drawing object standing at a character 1 (inline) or 8 (floating).
struct InlineObject {
    ObjectKind kind = ObjectKind::Picture;
    Twips width = 0;
    Twips height = 0;
    bool floating = false;
    int32_t story = -1; ///< a text box's own story, or -1
    /// A floating object's wrapping, position and the distance the text keeps
    /// from each side; readers that do not know them leave the text alone.
    TextWrap wrap = TextWrap::None;
    AnchorAxis horizontal, vertical;
    Twips distTop = 0, distBottom = 0, distLeft = 0, distRight = 0;
    int32_t chart = -1; ///< a chart's printable content: index into Document::charts
    ShapeTextLayout textLayout; ///< where a text box's or shape's text stands in it
    int32_t picture = -1; ///< a metafile picture's printable text: index into Document::pictures
};

/// One string a metafile picture draws ([MS-WMF] META_TEXTOUT,
/// META_EXTTEXTOUT; [MS-EMF] EMR_EXTTEXTOUTW and its kin), where it stands
/// once the picture is scaled into its frame: twips from the frame's top
/// left corner, in a character format of the font the metafile selected.
struct PictureText {
    std::u16string text;
    double x = 0; ///< the reference point: the text's left edge, centre or right edge (see align)
    double y = 0; ///< the reference point: the text's baseline, top or bottom (see vAlign)
    uint32_t charFormat = 0;
    enum class Align : uint8_t { Left, Center, Right };
    enum class VAlign : uint8_t { Baseline, Top, Bottom };
    Align align = Align::Left;
    VAlign vAlign = VAlign::Baseline;
};

/// What a picture prints beyond its pixels: the text of a metafile, read
/// only when a reader is asked for it (ReadOptions::pictureText); Word's
/// statistics never count it.
struct Picture {
    std::vector<PictureText> texts;
};

enum class ChartKind : uint8_t { Bar, Line, Area, Pie, Doughnut, Scatter, Bubble, Radar };
enum class LegendPosition : uint8_t { None, Right, Left, Top, Bottom };

/// Which parts of a data point its label shows (c:dLbls).
struct ChartLabels {
    bool value = false;
    bool percent = false;
    bool category = false;
    bool series = false;
    bool any() const { return value || percent || category || series; }
};

/// One series of a chart as its part caches it: the name the legend shows,
/// the values (NaN where a point is missing), x values of scatter and
/// bubble charts, and the category labels of its points.
struct ChartSeries {
    std::u16string name;
    std::vector<double> values;
    std::vector<double> xValues;
    std::vector<double> sizes; ///< bubble sizes
    std::vector<std::u16string> categories;
    /// Categories cached as numbers (dates among them) and their format;
    /// shown through the category axis's format where it has its own.
    std::vector<double> categoryValues;
    std::string categoryFormat;
    std::string valueFormat; ///< the cache's number format ("General", "0.0%")
    ChartLabels labels;
    uint32_t color = AutoColor; ///< its fill (bars, areas) or line; AutoColor: the theme's colour for its place
    /// Its own kind in a chart of several (columns with a line); none: the chart's.
    std::optional<ChartKind> kind;
};

/// A value or category axis: shown or deleted, its fixed scale where the
/// chart sets one, its number format and its text's format.
struct ChartAxis {
    bool present = false;
    bool deleted = false;
    std::optional<double> min, max, majorUnit;
    std::string numberFormat; ///< empty: the values' own format
    bool reversed = false;
    uint32_t charFormat = 0;
    std::u16string title; ///< the axis's title; empty: none
    uint32_t titleFormat = 0;
};

/// What a chart prints: its kind, series and labels, title, legend and axes.
/// Word draws it inside the object's frame; its text is never counted.
struct Chart {
    ChartKind kind = ChartKind::Bar;
    bool horizontal = false; ///< bars along the x axis (c:barDir bar)
    bool stacked = false;    ///< stacked or percent-stacked series
    bool percentStacked = false;
    bool pointsOnTicks = false; ///< category labels at the ticks, not between them
    std::vector<ChartSeries> series;
    std::u16string title; ///< empty: no title
    uint32_t titleFormat = 0;
    LegendPosition legend = LegendPosition::None;
    uint32_t legendFormat = 0;
    ChartAxis categoryAxis, valueAxis; ///< a scatter chart's x axis is its category axis
    uint32_t labelFormat = 0;          ///< of the data labels
    uint32_t holePercent = 0;          ///< a doughnut's hole
    uint32_t gapWidth = 150;           ///< between bar clusters, in percent of a bar's width
    std::vector<uint32_t> palette;     ///< the theme's accent colours, for series without their own
    /// A plot area placed by hand (c:manualLayout, edge mode, inner): its
    /// left, top, width and height as shares of the chart's frame.
    std::optional<std::array<double, 4>> manualPlot;
};

/// A field such as a page number: the text [start, end) of a story is the
/// result the instruction last produced ("1" for "PAGE"). Counting and layout
/// read the result like any other text; writers keep the instruction so that
/// the word processor recomputes it.
struct Field {
    int32_t story = 0;
    uint32_t start = 0;
    uint32_t end = 0;
    std::string instruction; ///< as Word writes it, e.g. "PAGE"
};

/// The text a field that has no result shows from its own instruction. A
/// MACROBUTTON or GOTOBUTTON field is a button in the text labelled with its
/// display text, the words after the macro's or the bookmark's name (Word's
/// PDF of a standards document prints "[All text is normative unless
/// otherwise labeled]" where " MACROBUTTON NoMacro [All text ...] " stands);
/// it is read
/// as the field's result, laid out and counted as shown. Any other field
/// without a result shows nothing.
std::u16string instructionDisplayText(std::u16string_view instruction);

/// Statistics the saving program stored in the file (docProps/app.xml, the DOP,
/// RTF \info). Kept for comparison only: counting never uses them.
struct StoredStatistics {
    std::optional<int64_t> pages, words, characters, charactersWithSpaces, lines, paragraphs;
    std::string application; ///< who saved the file, when it says
    /// Whether the saving program says the figures were an exact count of
    /// the text as saved (Word 97-2003 files say so; when they say no, Word
    /// stored an estimate, such as a word count worked out from the characters).
    std::optional<bool> exact;
};

/// A font's family as font tables name it (docx w:family, .doc FFID, RTF
/// \froman, \fswiss, \fmodern); the others give no stand-in.
enum class FontFamily : uint8_t { Other, Roman, Swiss, Modern };

/// The font a font table names to stand in for `font` when it is not
/// installed: its alternate name, else a font of its family and pitch -
/// roman Times New Roman, swiss Arial, modern Courier New only at a fixed
/// pitch (DIN faces are "modern" and proportional) - ECMA-376 Part 1
/// §17.8.3.1 altName, §17.8.3.9 family, §17.8.3.13 pitch. Empty when there
/// is none, or when it is the font itself.
std::string fontStandIn(std::string_view font, std::string_view alternate, FontFamily family, bool fixedPitch);

/// Document-wide settings the layout needs.
struct DocumentSettings {
    Twips defaultTabStop = 720;
    bool evenAndOddHeaders = false;
    bool mirrorMargins = false;
    /// Automatic hyphenation: words that do not fit at a line's end are
    /// broken at a hyphenation point of the document's language. Documents
    /// before Word 2013 hyphenate a word only where moving it whole would
    /// leave more than the zone free at the line's end.
    bool autoHyphenation = false;
    Twips hyphenationZone = 360;
    uint16_t consecutiveHyphenLimit = 0; ///< lines in a row that may end hyphenated; 0: any
    bool hyphenateCaps = true;           ///< words in capitals too
    std::string language;                ///< the text's default language ("en-US"); empty: unknown
    int32_t compatibilityMode = 0;             ///< Word's compatibility mode (15 for 2013+); 0 unknown
    std::map<std::string, std::string> compat; ///< compatibility options by name, as read
    /// The font the document's font table gives to stand in for a font that
    /// is not installed (fontStandIn), by the missing font's name.
    std::map<std::string, std::string> fontStandIns;
};

/// One edit of a story: replace [pos, pos + length) by text, whose characters
/// take `attr`.
struct StoryEdit {
    uint32_t pos = 0;
    uint32_t length = 0;
    std::u16string text;
    CharAttr attr{};
};

/// A whole document. stories[0] is the main story; sections cover it in order
/// and the last one ends at its end. Readers build it with DocumentBuilder;
/// the access layer edits it only through applyEdits.
class Document {
public:
    /// Tells documents apart for caches that outlive one document (a new
    /// document may be built where an old one was freed). A copy keeps it:
    /// edits only append formats, so what a cache keyed on format indices
    /// holds stays true for both.
    uint64_t serial = nextSerial();
    std::string format; ///< "txt", "rtf", "docx", "odt", "doc"
    std::vector<CharFormat> charFormats{CharFormat{}};
    std::vector<ParaFormat> paraFormats{ParaFormat{}};
    std::vector<TableRowFormat> rowFormats;
    std::vector<Story> stories{Story{}};
    std::vector<Section> sections{Section{}};
    std::vector<Note> notes;
    std::vector<InlineObject> objects;
    std::vector<Chart> charts; ///< by InlineObject::chart
    std::vector<Picture> pictures; ///< by InlineObject::picture
    std::vector<Field> fields; ///< in the order they were built
    DocumentSettings settings;
    StoredStatistics stored;
    std::vector<Diagnostic> diagnostics;

    static uint64_t nextSerial()
    {
        static std::atomic<uint64_t> next{1};
        return next.fetch_add(1, std::memory_order_relaxed);
    }

    Story& mainStory() { return stories.front(); }
    const Story& mainStory() const { return stories.front(); }

    const CharFormat& charFormatAt(const Story& s, uint32_t pos) const { return charFormats[s.attrs[pos].charFormat]; }
    const ParaFormat& paraFormatOf(const Story& s, uint32_t markPos) const
    {
        return paraFormats[s.attrs[markPos].paraFormat];
    }

    /// True when the character at pos of the main story is a section break
    /// (a 12 that ends a section other than the last) rather than a page break.
    bool isSectionBreak(uint32_t pos) const;

    /// True when the character at pos of story ends a paragraph. Inline:
    /// statistics, table finding and layout ask it of every character, and
    /// nearly all of them are above 13 and end nothing.
    bool endsParagraph(size_t story, uint32_t pos) const
    {
        const Story& s = stories[story];
        if (pos >= s.size())
            return false;
        const char16_t c = s.text[pos];
        if (c > Ch::ParagraphMark)
            return false;
        if (c == Ch::ParagraphMark || c == Ch::CellEnd)
            return true;
        return story == 0 && c == Ch::PageBreak && isSectionBreak(pos);
    }

    /// The index of the character that ends the paragraph holding pos.
    uint32_t paragraphEnd(size_t story, uint32_t pos) const;

    /// The story shown as header (or footer) `index` of section `section`:
    /// its own, else the nearest earlier section's; -1 when none defines one.
    int32_t headerStory(size_t section, HeaderFooterIndex index) const;
    int32_t footerStory(size_t section, HeaderFooterIndex index) const;

    /// Applies sorted, non-overlapping edits to one story in a single pass and
    /// moves section ends with the main story's text. Formats are untouched.
    void applyEdits(size_t story, const std::vector<StoryEdit>& edits);
};

/// Tables found in a stretch of a story, derived from its marks: a maximal
/// run of paragraphs of table depth >= d forms a table of level d; at level d
/// a 7 flagged rowEnd ends a row and any other 7 ends a cell.
struct TableCell {
    uint32_t start = 0;
    uint32_t end = 0; ///< index of the cell's end mark
};
struct TableRow {
    uint32_t start = 0;
    uint32_t end = 0; ///< index of the row's end mark
    int32_t rowFormat = -1;
    std::vector<TableCell> cells;
};
struct Table {
    uint32_t start = 0;
    uint32_t end = 0; ///< one past the last row's end mark
    uint8_t depth = 1;
    std::vector<TableRow> rows;
};

/// The tables of level `depth` within [from, to) of a story, in order.
/// Nested tables are found by asking again with a cell's bounds and depth + 1.
std::vector<Table> findTables(const Document& doc, size_t story, uint32_t from, uint32_t to, uint8_t depth = 1);

/// The first position in [from, to) of `text` whose character is 13 or
/// below, or `to`. Every mark that can end a paragraph (13, a cell's 7, a
/// section's 12) is among them, so a search for the next one need look at
/// no other position; the scan takes eight units at a time where the
/// processor allows.
uint32_t nextLowCharacter(std::u16string_view text, uint32_t from, uint32_t to);

} // namespace qm::engine
