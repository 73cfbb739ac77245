// The RTF group-state machine: tokens in, DocumentBuilder calls out.
#pragma once

#include "engine/formats/rtf/RtfKeywords.h"
#include "engine/formats/rtf/RtfLexer.h"
#include "engine/model/DocumentBuilder.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace qm::engine::rtf {

/// Where the text of a group goes.
enum class Destination : uint8_t {
    Text, ///< the current story
    FontTable,
    FontAlt, ///< the alternate name of a font table entry
    ColorTable,
    StyleSheet,
    StyleEntry, ///< one style definition inside the style sheet
    Info,       ///< document information: statistics kept, text ignored
    Generator,  ///< the writing program's name
    ListText,   ///< a list label as the writer rendered it
    Picture,    ///< picture properties; the data is ignored
    Object,     ///< an embedded object; shown as one object character
    Shape,      ///< a drawing object; only its text box text is read
    Upr,        ///< ANSI twin of a Unicode destination: ignored in favour of \ud
    FieldInstruction, ///< a field's code: kept only for what a field without a result shows
};

/// What closing a group does beyond restoring the enclosing state.
enum class CloseAction : uint8_t { None, FontTable, StyleEntry, Note, Shape, Picture, Object, Field };

/// Formatting and routing of one group; copied on '{', restored on '}'.
struct GroupState {
    Destination dest = Destination::Text;
    Destination savedDest = Destination::Text; ///< the destination an \upr group hides
    CloseAction onClose = CloseAction::None;
    StoryId story = 0;
    CharFormat chr;
    int32_t font = -1;
    int codePage = 0; ///< of the current font; 0: the document's
    enum class FontSlot : uint8_t { Latin, EastAsia, Complex };
    FontSlot fontSlot = FontSlot::Latin; ///< what \af names: set by \loch \hich \dbch \rtlch \ltrch
    ParaFormat para;
    int32_t lineSpacing = 0; ///< \sl as written; resolved with lineMultiple
    bool lineMultiple = false;
    bool inTable = false;
    int32_t itap = 0;
    TabStop pendingTab;      ///< alignment and leader waiting for \tx
    int32_t unicodeSkip = 1; ///< \uc: fallback characters after \u
    bool nestTableProps = false;
    bool objectGroup = false; ///< a group inside an object, read for its result's picture only
};

struct StyleDefinition {
    enum class Kind : uint8_t { Paragraph, Character, Other } kind = Kind::Paragraph;
    int32_t number = 0;
    int32_t basedOn = -1;
    std::string name;
    struct Word {
        Kw kw;
        int32_t param;
        bool hasParam;
    };
    std::vector<Word> words; ///< formatting control words, replayed when applied
};

/// Reads one RTF document into a builder. Never recurses on the input's
/// nesting: group states live on an explicit stack capped by
/// Limits::maxNestingDepth, deeper groups share their parent's state, and
/// skipped destinations are stepped over with a counter. Whatever the input,
/// `run` ends with a finished document; problems become diagnostics.
class RtfParser {
public:
    /// With `pictureText`, the text of metafile pictures (\wmetafile,
    /// \emfblip) is read into Document::pictures, for printing.
    RtfParser(std::string_view input, const Limits& limits, bool pictureText = false);
    std::unique_ptr<Document> run();

private:
    struct FontEntry {
        std::string name;
        int charset = 1;
        int codePage = 0;
        std::u16string alt;              ///< {\*\falt}: the font to use when this one is missing
        FontFamily family = FontFamily::Other; ///< \froman, \fswiss, \fmodern
        int pitch = 0;                         ///< \fprq: 1 fixed, 2 variable
    };
    struct ShapeContext {
        int32_t story = -1; ///< its text box story, once \shptxt is seen
        Twips left = 0, top = 0, right = 0, bottom = 0;
    };
    struct NoteContext {
        bool open = false;
        NoteKind kind = NoteKind::Footnote;
        StoryId story = 0;
        uint32_t start = 0;
        size_t depth = 0;
    };
    struct PictureInfo {
        int32_t width = 0, height = 0, goalWidth = 0, goalHeight = 0;
        int32_t scaleX = 100, scaleY = 100;
        bool metafile = false; ///< \wmetafile or \emfblip
    };
    enum class OpenCell : uint8_t { No, Yes };

    GroupState& state() { return m_stack.back(); }
    void groupStart();
    void groupEnd();
    void controlWord(const Token& token);
    void controlSymbol(char symbol);
    void textBytes(std::string_view bytes);
    bool consumeFallback();

    bool startDestination(Kw kw);
    bool claimClose(GroupState& s, CloseAction action);
    bool applyProperty(GroupState& s, Kw kw, int32_t param, bool hasParam);
    void applyStyle(GroupState& s, int32_t number, StyleDefinition::Kind kind);
    void documentProperty(Kw kw, int32_t param, bool hasParam);
    void sectionProperty(Kw kw, int32_t param, bool hasParam);
    void rowProperty(Kw kw, int32_t param, bool hasParam);
    void content(Kw kw, int32_t param);

    void flushBytes();
    void flushText();
    size_t roomLeft() const;
    void flush()
    {
        flushBytes();
        flushText();
    }
    void route(std::u16string_view text);
    void emit(char16_t c) { route(std::u16string_view(&c, 1)); }
    int codePageOf(const GroupState& s) const;
    uint32_t charFormat(const GroupState& s);
    uint32_t paraFormat(const GroupState& s);
    uint32_t targetDepth(const GroupState& s) const;
    void syncTable(uint32_t depth, OpenCell openCell);
    std::vector<uint8_t>& openCells();
    void endParagraph();
    void switchStory(StoryId story);
    StoryId noteStory(NoteKind kind);
    void beginNote(NoteKind kind);
    void endNote();
    void emitObject(ObjectKind kind, Twips width, Twips height, bool floating, int32_t story);

    void commitFont();
    void commitStyle();
    void commitColor();
    void skipCurrentGroup();
    void resetParagraph(GroupState& s) const;
    void resetCharacter(GroupState& s) const;
    ParaFormat defaultParagraph() const;
    std::string fontName(int32_t font) const;
    int fontCodePage(int32_t font) const;
    void diagnose(std::string code, Severity severity, std::string message);

    RtfLexer m_lexer;
    Limits m_limits;
    DocumentBuilder m_builder;
    std::vector<GroupState> m_stack;
    uint64_t m_excessDepth = 0; ///< groups deeper than the cap, sharing their parent's state
    bool m_depthReported = false;
    bool m_ignorableNext = false; ///< after \*: skip the group unless the word is known
    int32_t m_fallbackLeft = 0;   ///< \u fallback characters still to skip
    bool m_done = false;

    int m_ansiCodePage = 1252;
    int32_t m_defaultFont = 0;
    int32_t m_defaultEastAsiaFont = -1; ///< \stshfdbch: the styles' East Asian font
    int32_t m_defaultComplexFont = -1;  ///< \stshfbi: their complex-script font
    std::map<int32_t, FontEntry> m_fonts;
    FontEntry m_fontEntry;
    int32_t m_fontEntryId = -1;
    bool m_fontEntryOpen = false;
    std::vector<uint32_t> m_colors;
    bool m_colorHasValue = false;
    uint32_t m_color = 0;
    std::map<int32_t, StyleDefinition> m_paraStyles;
    std::map<int32_t, StyleDefinition> m_charStyles;
    StyleDefinition m_styleEntry;
    bool m_styleNameDone = false;
    std::u16string m_entryName; ///< name of the font or style being defined

    std::string m_bytes;   ///< text bytes waiting for their code page
    std::u16string m_text; ///< decoded text waiting for the builder
    std::u16string m_listLabel;
    std::u16string m_generator;
    /// Open \field groups, innermost last: the instruction's text, and where
    /// the result began in the story (a field that shows no result may show
    /// part of its instruction: instructionDisplayText).
    struct OpenField {
        std::u16string instruction;
        bool hasResult = false;
        uint32_t resultStart = 0;
    };
    std::vector<OpenField> m_fields;
    CharFormat m_lastChar;
    uint32_t m_lastCharIndex = 0;
    bool m_haveLastChar = false;

    SectionFormat m_documentSection;
    SectionFormat m_section;
    HeaderFooterRefs m_refs;
    /// Row definitions being read: [0] for top-level rows, [1] for nested
    /// rows (\nesttableprops), so a nested definition does not replace the
    /// outer row's.
    struct RowDefinition {
        TableRowFormat row;
        Twips lastRight = 0;
        TableCellFormat pendingCell;
        bool pendingMerge = false;
    };
    RowDefinition m_rows[2];
    /// The border that \brdrs, \brdrw, \brsp and \brdrcf describe: the
    /// side last named by \brdrt.. (paragraph), \trbrdrt.. (row) or
    /// \clbrdrt.. (the cell being defined).
    BorderLine* borderTarget(GroupState& s);
    void describeBorder(BorderLine& border, Kw kw, int32_t param) const;
    Kw m_borderSide = Kw::Unknown;
    std::vector<std::vector<uint8_t>> m_openCells; ///< per story: per table depth, a cell is open

    NoteContext m_note;
    std::vector<ShapeContext> m_shapes;
    PictureInfo m_picture;
    // Metafile pictures' data as hex digits while the picture is read, and
    // their text by object, put in the document once it is finished.
    bool m_pictureText = false;
    std::string m_pictureHex;
    std::string m_objectPictureHex; ///< the metafile an object's \result shows, till the object closes
    std::vector<std::pair<int32_t, Picture>> m_pictures;
    void attachPictures(Document& document);
    void readMetafilePicture(int32_t object, Twips width, Twips height);
    Twips m_objectWidth = 0, m_objectHeight = 0;
    int32_t m_objectScaleX = 100, m_objectScaleY = 100; ///< per cent, as displayed
    bool m_pendingReference = false;
    CharFormat m_referenceFormat;
    StoryId m_footnoteStory = 0, m_endnoteStory = 0, m_commentStory = 0;
};

} // namespace qm::engine::rtf
