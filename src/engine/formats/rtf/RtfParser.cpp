// The RTF group-state machine: destinations, formatting, tables, sections, notes and objects.
#include "engine/formats/rtf/RtfParser.h"

#include "engine/formats/Metafile.h"
#include "engine/model/Languages.h"
#include "engine/model/Unicode.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace qm::engine::rtf {

namespace {

// Caps on what a hostile file can make the reader keep per definition; real
// documents stay far below them.
constexpr size_t maxFonts = 1 << 15;
constexpr size_t maxColors = 1 << 15;
constexpr size_t maxStyles = 1 << 12;
constexpr size_t maxStyleWords = 256;
constexpr size_t maxTabs = 64;
constexpr size_t maxRowCells = 1024;
constexpr size_t maxObjects = 100000;
constexpr size_t maxNotes = 100000;
constexpr size_t maxLabel = 64;
constexpr size_t maxGenerator = 256;
constexpr size_t maxFieldInstruction = 4096; // of a field's code, kept for what it may show
constexpr size_t textChunk = 1 << 16;  ///< bytes decoded at a time
constexpr size_t storyChunk = 1 << 24; ///< characters handed to the builder at a time

// Windows code page of a font charset; 0 for ANSI, default and symbol fonts,
// which take the document's page.
int charsetCodePage(int charset)
{
    switch (charset) {
    case 77: return 10000;
    case 128: return 932;
    case 129: return 949;
    case 130: return 1361;
    case 134: return 936;
    case 136: return 950;
    case 161: return 1253;
    case 162: return 1254;
    case 163: return 1258;
    case 177: return 1255;
    case 178: return 1256;
    case 186: return 1257;
    case 204: return 1251;
    case 222: return 874;
    case 238: return 1250;
    case 254: return 437;
    case 255: return 850;
    default: return 0;
    }
}

// Pages we decode. Any other number a file names is read as the Western page
// rather than handed to the system converter, so a file cannot make us open
// converters for thousands of made-up pages.
bool knownCodePage(int cp)
{
    switch (cp) {
    case 437:
    case 708:
    case 720:
    case 737:
    case 775:
    case 850:
    case 852:
    case 855:
    case 857:
    case 860:
    case 861:
    case 862:
    case 863:
    case 864:
    case 865:
    case 866:
    case 869:
    case 874:
    case 932:
    case 936:
    case 949:
    case 950:
    case 1361:
    case 10000: return true;
    default: return cp >= 1250 && cp <= 1258;
    }
}

bool doubleByte(int cp) { return cp == 932 || cp == 936 || cp == 949 || cp == 950 || cp == 1361; }

Twips clampTwips(int64_t v, int64_t lo = -(1 << 22), int64_t hi = 1 << 22)
{
    return static_cast<Twips>(std::clamp(v, lo, hi));
}

int16_t clamp16(int64_t v)
{
    return static_cast<int16_t>(
        std::clamp<int64_t>(v, std::numeric_limits<int16_t>::min(), std::numeric_limits<int16_t>::max()));
}

std::string trimmedName(std::u16string_view name)
{
    while (!name.empty() && (name.back() == u' ' || name.back() == u';'))
        name.remove_suffix(1);
    while (!name.empty() && name.front() == u' ')
        name.remove_prefix(1);
    return utf16ToUtf8(name);
}

bool wantsText(Destination d)
{
    switch (d) {
    case Destination::Text:
    case Destination::FontTable:
    case Destination::FontAlt:
    case Destination::ColorTable:
    case Destination::StyleEntry:
    case Destination::Generator:
    case Destination::FieldInstruction:
    case Destination::ListText: return true;
    default: return false;
    }
}

// Words that may follow \* and still be read: the destinations this reader
// understands. Any other \* group is skipped whole, as RTF asks.
bool readableAfterStar(Kw kw, Destination d)
{
    if (d == Destination::StyleSheet || d == Destination::StyleEntry)
        return kw == Kw::CharStyle || kw == Kw::TableStyle || kw == Kw::ParaStyle;
    switch (kw) {
    case Kw::Generator:
    case Kw::ShpPict:
    case Kw::ShpInst:
    case Kw::ShpTxt:
    case Kw::Shp:
    case Kw::ShpGroup:
    case Kw::Annotation:
    case Kw::Footnote:
    case Kw::Ud:
    case Kw::NestTableProps: return true;
    case Kw::FontAlt: return d == Destination::FontTable;
    case Kw::FldInst: return d == Destination::Text;
    default: return false;
    }
}

} // namespace

RtfParser::RtfParser(std::string_view input, const Limits& limits, bool pictureText)
    : m_lexer(input), m_limits(limits), m_builder("rtf", limits), m_pictureText(pictureText)
{
    GroupState base;
    base.chr.sizeHalfPoints = 24; // RTF's default size is 12 points
    base.para = defaultParagraph();
    m_stack.push_back(std::move(base));
    m_openCells.resize(1);
}

void RtfParser::diagnose(std::string code, Severity severity, std::string message)
{
    m_builder.diagnose(std::move(code), severity, "byte " + std::to_string(m_lexer.offset()), std::move(message));
}

std::unique_ptr<Document> RtfParser::run()
{
    while (!m_done && !m_builder.limitReached()) {
        const Token t = m_lexer.next();
        switch (t.kind) {
        case TokenKind::End: m_done = true; break;
        case TokenKind::GroupStart: groupStart(); break;
        case TokenKind::GroupEnd: groupEnd(); break;
        case TokenKind::ControlWord: controlWord(t); break;
        case TokenKind::ControlSymbol: controlSymbol(t.symbol); break;
        case TokenKind::HexByte:
            if (!consumeFallback() && wantsText(state().dest))
                m_bytes.push_back(static_cast<char>(t.byte));
            break;
        case TokenKind::Text: textBytes(t.text); break;
        }
    }
    const uint64_t open = m_stack.size() - 1 + m_excessDepth;
    if (open > 0 && !m_builder.limitReached()) {
        diagnose("rtf.truncated", Severity::Warning,
                 "the file ends inside " + std::to_string(open) + " open groups; the text up to its end is counted");
    }
    // Close what is open so that notes, shapes and tables end coherently.
    m_excessDepth = 0;
    while (m_stack.size() > 1)
        groupEnd();
    flush();
    if (m_lexer.sawHugeParameter())
        m_builder.diagnose("rtf.parameter", Severity::Note, "", "a control word's number did not fit and was capped");
    if (m_lexer.sawBadHex())
        m_builder.diagnose("rtf.hex", Severity::Warning, "", "a \\' escape without two hex digits was left out");
    if (!m_generator.empty())
        m_builder.stored().application = trimmedName(m_generator);
    std::unique_ptr<Document> document = m_builder.finish(m_section, m_refs);
    if (document)
        attachPictures(*document);
    return document;
}

// ---- groups ---------------------------------------------------------------

void RtfParser::groupStart()
{
    flush();
    m_fallbackLeft = 0;
    m_ignorableNext = false;
    if (m_excessDepth > 0 || m_stack.size() > m_limits.maxNestingDepth) {
        if (!m_depthReported) {
            diagnose("rtf.depth", Severity::Warning,
                     "groups nested deeper than " + std::to_string(m_limits.maxNestingDepth) +
                         " take the formatting of the group around them");
            m_depthReported = true;
        }
        ++m_excessDepth;
        return;
    }
    const Destination d = state().dest;
    // Inside these, nested groups carry nothing the document shows.
    // (Information groups are read: Word writes each statistic in a group of its own.)
    // An object's groups are read only for the picture its \result shows
    // when the text of metafile pictures is asked for.
    if (d == Destination::Picture || (d == Destination::Object && !m_pictureText) ||
        d == Destination::ColorTable) {
        m_lexer.skipGroup();
        return;
    }
    GroupState copy = state();
    copy.onClose = CloseAction::None;
    if (d == Destination::Object)
        copy.objectGroup = true;
    if (d == Destination::StyleSheet) {
        copy.dest = Destination::StyleEntry;
        copy.onClose = CloseAction::StyleEntry;
        m_styleEntry = StyleDefinition{};
        m_styleNameDone = false;
        m_entryName.clear();
    } else if (d == Destination::FontTable) {
        // A group opened after an entry's \fN belongs to that entry (its
        // {\*\panose}, {\*\falt} or {\*\fontemb}): closing it must not
        // end the entry, whose name still follows.
        copy.onClose = m_fontEntryOpen ? CloseAction::None : CloseAction::FontTable;
    }
    m_stack.push_back(std::move(copy));
}

void RtfParser::groupEnd()
{
    flush();
    m_fallbackLeft = 0;
    m_ignorableNext = false;
    if (m_excessDepth > 0) {
        --m_excessDepth;
        return;
    }
    if (m_stack.size() <= 1) {
        m_done = true;
        return;
    }
    // Actions that finish the closing group's own content run while its
    // story is still current.
    const CloseAction action = state().onClose;
    switch (action) {
    case CloseAction::FontTable: commitFont(); break;
    case CloseAction::StyleEntry: commitStyle(); break;
    case CloseAction::Note: endNote(); break;
    default: break;
    }
    const StoryId closingStory = state().story;
    const Destination closingDest = state().dest;
    m_stack.pop_back();
    GroupState& s = state();
    if (s.story != closingStory)
        switchStory(s.story);
    if (closingDest == Destination::FontTable && s.dest != Destination::FontTable) {
        // The font table is read: characters that have no \f yet take \deff's.
        if (s.font < 0)
            s.font = m_defaultFont;
        s.chr.fontName = fontName(s.font);
        s.codePage = fontCodePage(s.font);
        if (s.chr.eastAsiaFontName.empty() && m_defaultEastAsiaFont >= 0)
            s.chr.eastAsiaFontName = fontName(m_defaultEastAsiaFont);
        if (s.chr.complexFontName.empty() && m_defaultComplexFont >= 0)
            s.chr.complexFontName = fontName(m_defaultComplexFont);
    }
    switch (action) {
    case CloseAction::Shape:
        if (!m_shapes.empty()) {
            const ShapeContext shape = m_shapes.back();
            m_shapes.pop_back();
            if (s.dest == Destination::Text)
                emitObject(shape.story >= 0 ? ObjectKind::TextBox : ObjectKind::Shape,
                           clampTwips(int64_t{shape.right} - shape.left, 0),
                           clampTwips(int64_t{shape.bottom} - shape.top, 0), true, shape.story);
        }
        break;
    case CloseAction::Picture:
        if (s.dest == Destination::Text) {
            const PictureInfo& p = m_picture;
            // The goal size is what the writer displayed; without it the
            // native size is taken at 15 twips a pixel.
            const int64_t w = p.goalWidth > 0 ? p.goalWidth : int64_t{p.width} * 15;
            const int64_t h = p.goalHeight > 0 ? p.goalHeight : int64_t{p.height} * 15;
            const Twips width = clampTwips(w * p.scaleX / 100, 0), height = clampTwips(h * p.scaleY / 100, 0);
            const size_t before = m_builder.document().objects.size();
            emitObject(ObjectKind::Picture, width, height, false, -1);
            if (p.metafile && !m_pictureHex.empty() && m_builder.document().objects.size() > before)
                readMetafilePicture(static_cast<int32_t>(before), width, height);
        } else if (s.dest == Destination::Object && m_picture.metafile) {
            m_objectPictureHex = std::move(m_pictureHex); // shown by the object, placed when it closes
        }
        m_pictureHex.clear();
        break;
    case CloseAction::Field:
        if (!m_fields.empty()) {
            const OpenField field = std::move(m_fields.back());
            m_fields.pop_back();
            // A field whose result shows nothing may show part of its code
            // (a button's label), in the formatting around the field.
            if (s.dest == Destination::Text && (!field.hasResult || m_builder.position() == field.resultStart)) {
                const std::u16string shown = instructionDisplayText(field.instruction);
                if (!shown.empty()) {
                    m_text.append(shown);
                    flush();
                }
            }
        }
        break;
    case CloseAction::Object:
        if (s.dest == Destination::Text) {
            // An object is shown at its size scaled as the writer displayed
            // it (\objscalex, \objscaley), as a picture is.
            const Twips width = clampTwips(int64_t{m_objectWidth} * m_objectScaleX / 100, 0);
            const Twips height = clampTwips(int64_t{m_objectHeight} * m_objectScaleY / 100, 0);
            const size_t before = m_builder.document().objects.size();
            emitObject(ObjectKind::Embedded, width, height, false, -1);
            if (!m_objectPictureHex.empty() && m_builder.document().objects.size() > before) {
                m_pictureHex = std::move(m_objectPictureHex);
                readMetafilePicture(static_cast<int32_t>(before), width, height);
            }
        }
        m_objectPictureHex.clear();
        break;
    default: break;
    }
    if (m_stack.size() == 1)
        m_done = true; // the document's own group is closed; what follows is not RTF
}

void RtfParser::skipCurrentGroup()
{
    flush();
    m_lexer.skipGroup();
    groupEnd();
}

// ---- tokens ---------------------------------------------------------------

bool RtfParser::consumeFallback()
{
    if (m_fallbackLeft <= 0)
        return false;
    --m_fallbackLeft;
    return true;
}

void RtfParser::textBytes(std::string_view bytes)
{
    if (m_pictureText && state().dest == Destination::Picture) {
        // A metafile's data, kept within the size of a package entry.
        if (m_picture.metafile && m_pictureHex.size() + bytes.size() <= 2 * m_limits.maxEntryBytes)
            m_pictureHex.append(bytes);
        return;
    }
    if (!wantsText(state().dest)) {
        m_fallbackLeft = 0;
        return;
    }
    while (m_fallbackLeft > 0 && !bytes.empty()) {
        bytes.remove_prefix(1);
        --m_fallbackLeft;
    }
    // Bounded pieces keep memory flat for a huge run and let a limit stop
    // the reading where the room ends.
    while (!bytes.empty() && !m_builder.limitReached()) {
        const size_t n = std::min(bytes.size(), textChunk - std::min(textChunk, m_bytes.size()) + 1);
        m_bytes.append(bytes.substr(0, n));
        bytes.remove_prefix(n);
        if (m_bytes.size() >= textChunk)
            flushBytes();
    }
}

void RtfParser::controlSymbol(char symbol)
{
    if (symbol == '*') {
        m_ignorableNext = true;
        return;
    }
    if (consumeFallback())
        return;
    switch (symbol) {
    case '~':
        flushBytes();
        emit(Ch::NoBreakSpace);
        break;
    case '-':
        flushBytes();
        emit(Ch::OptionalHyphen);
        break;
    case '_':
        flushBytes();
        emit(Ch::NonBreakingHyphen);
        break;
    case '{':
    case '}':
    case '\\':
        // Kept with the bytes: in a double-byte page they can be trail bytes.
        if (wantsText(state().dest))
            m_bytes.push_back(symbol);
        break;
    case '\t':
        flushBytes();
        emit(Ch::Tab);
        break;
    default: break; // \| \: and other formula or index symbols show nothing
    }
}

void RtfParser::controlWord(const Token& token)
{
    const Kw kw = lookupKeyword(token.word);
    if (state().objectGroup && state().dest == Destination::Object) {
        // Inside an object's groups only the picture its result shows is
        // read: no other destination opens, no property applies, and binary
        // data is passed over as when the groups are skipped whole.
        const bool ignorable = m_ignorableNext;
        m_ignorableNext = false;
        flush();
        if (kw == Kw::Bin)
            m_lexer.skipBytes(token.hasParam && token.param > 0 ? static_cast<uint64_t>(token.param) : 0);
        else if (kw == Kw::Pict || kw == Kw::ShpPict)
            startDestination(kw);
        else if (ignorable || kw == Kw::NonShpPict)
            skipCurrentGroup();
        return;
    }
    if (m_ignorableNext) {
        m_ignorableNext = false;
        if (!readableAfterStar(kw, state().dest)) {
            skipCurrentGroup();
            return;
        }
    }
    if (consumeFallback())
        return;
    const int32_t param = token.param;
    const bool hasParam = token.hasParam;
    if (kw == Kw::Unknown)
        return;
    if (kw == Kw::Unicode) {
        flushBytes();
        int32_t v = param;
        if (v < 0 && v >= -32768)
            v += 65536; // writers give code units above 32767 as negative numbers
        if (v >= 0 && v <= 0xFFFF && wantsText(state().dest))
            emit(static_cast<char16_t>(v));
        m_fallbackLeft = state().unicodeSkip;
        return;
    }
    flush();
    if (startDestination(kw))
        return;
    GroupState& s = state();
    switch (s.dest) {
    case Destination::FontTable:
        if (kw == Kw::Font && hasParam) {
            commitFont();
            m_fontEntryId = param;
            m_fontEntry = FontEntry{};
            m_fontEntryOpen = true;
            m_entryName.clear();
        } else if (kw == Kw::FCharset) {
            m_fontEntry.charset = param;
        } else if (kw == Kw::FontRoman) {
            m_fontEntry.family = FontFamily::Roman;
        } else if (kw == Kw::FontSwiss) {
            m_fontEntry.family = FontFamily::Swiss;
        } else if (kw == Kw::FontModern) {
            m_fontEntry.family = FontFamily::Modern;
        } else if (kw == Kw::FontPitch) {
            m_fontEntry.pitch = param;
        } else if (kw == Kw::Cpg) {
            m_fontEntry.codePage = knownCodePage(param) ? param : 0;
        }
        return;
    case Destination::ColorTable:
        if (kw == Kw::Red || kw == Kw::Green || kw == Kw::Blue) {
            const int shift = kw == Kw::Red ? 16 : kw == Kw::Green ? 8 : 0;
            m_color = (m_color & ~(0xFFu << shift)) | (static_cast<uint32_t>(std::clamp(param, 0, 255)) << shift);
            m_colorHasValue = true;
        }
        return;
    case Destination::StyleEntry:
        if (kw == Kw::ParaStyle || kw == Kw::CharStyle || kw == Kw::TableStyle) {
            m_styleEntry.kind = kw == Kw::ParaStyle   ? StyleDefinition::Kind::Paragraph
                                : kw == Kw::CharStyle ? StyleDefinition::Kind::Character
                                                      : StyleDefinition::Kind::Other;
            m_styleEntry.number = param;
        } else if (kw == Kw::SBasedOn) {
            m_styleEntry.basedOn = param;
        } else if ((isCharProperty(kw) || isParaProperty(kw)) && kw != Kw::Plain && kw != Kw::Pard &&
                   kw != Kw::InTable && kw != Kw::Itap && m_styleEntry.words.size() < maxStyleWords) {
            m_styleEntry.words.push_back({kw, param, hasParam});
        }
        return;
    case Destination::Info: documentProperty(kw, param, hasParam); return;
    case Destination::Picture:
        switch (kw) {
        case Kw::PicW: m_picture.width = std::max(0, param); break;
        case Kw::PicH: m_picture.height = std::max(0, param); break;
        case Kw::PicWGoal: m_picture.goalWidth = std::max(0, param); break;
        case Kw::PicHGoal: m_picture.goalHeight = std::max(0, param); break;
        case Kw::PicScaleX: m_picture.scaleX = std::clamp(param, 1, 10000); break;
        case Kw::PicScaleY: m_picture.scaleY = std::clamp(param, 1, 10000); break;
        case Kw::WMetafile:
        case Kw::EmfBlip: m_picture.metafile = true; break;
        case Kw::Bin: m_lexer.skipBytes(param > 0 ? static_cast<uint64_t>(param) : 0); break;
        default: break;
        }
        return;
    case Destination::Object:
        if (kw == Kw::ObjW)
            m_objectWidth = clampTwips(param, 0);
        else if (kw == Kw::ObjH)
            m_objectHeight = clampTwips(param, 0);
        else if (kw == Kw::ObjScaleX)
            m_objectScaleX = std::clamp(param, 1, 10000);
        else if (kw == Kw::ObjScaleY)
            m_objectScaleY = std::clamp(param, 1, 10000);
        return;
    case Destination::Shape:
        if (!m_shapes.empty()) {
            ShapeContext& shape = m_shapes.back();
            switch (kw) {
            case Kw::ShpLeft: shape.left = param; break;
            case Kw::ShpTop: shape.top = param; break;
            case Kw::ShpRight: shape.right = param; break;
            case Kw::ShpBottom: shape.bottom = param; break;
            default: break;
            }
        }
        return;
    case Destination::StyleSheet:
    case Destination::FieldInstruction:
    case Destination::Generator: return;
    case Destination::Text:
    case Destination::ListText:
    case Destination::Upr: break;
    }
    if (kw == Kw::Bin) {
        m_lexer.skipBytes(param > 0 ? static_cast<uint64_t>(param) : 0);
        return;
    }
    if (applyProperty(s, kw, param, hasParam))
        return;
    documentProperty(kw, param, hasParam);
    sectionProperty(kw, param, hasParam);
    rowProperty(kw, param, hasParam);
    content(kw, param);
}

// ---- destinations ---------------------------------------------------------

bool RtfParser::claimClose(GroupState& s, CloseAction action)
{
    // A group is one destination. A second destination word in a group that
    // already has work to do when it closes (a note, a shape, a picture)
    // would take that work away, so the rest of the group is skipped instead.
    if (s.onClose != CloseAction::None) {
        skipCurrentGroup();
        return false;
    }
    s.onClose = action;
    return true;
}

bool RtfParser::startDestination(Kw kw)
{
    GroupState& s = state();
    // Destinations that carry document text make sense only where text goes.
    const bool inText = s.dest == Destination::Text;
    switch (kw) {
    case Kw::FontTable:
        if (!claimClose(s, CloseAction::FontTable))
            return true;
        s.dest = Destination::FontTable;
        return true;
    case Kw::FontAlt:
        // The alternate name of the entry being read; elsewhere it means nothing.
        if (s.dest != Destination::FontTable || !m_fontEntryOpen) {
            skipCurrentGroup();
            return true;
        }
        s.dest = Destination::FontAlt;
        return true;
    case Kw::ColorTable:
        s.dest = Destination::ColorTable;
        m_color = 0;
        m_colorHasValue = false;
        return true;
    case Kw::StyleSheet: s.dest = Destination::StyleSheet; return true;
    case Kw::Info: s.dest = Destination::Info; return true;
    case Kw::Generator:
        s.dest = Destination::Generator;
        m_generator.clear();
        return true;
    case Kw::Pict:
        if (!claimClose(s, CloseAction::Picture))
            return true;
        s.dest = Destination::Picture;
        m_picture = PictureInfo{};
        m_pictureHex.clear();
        return true;
    case Kw::Object:
        if (!claimClose(s, CloseAction::Object))
            return true;
        s.dest = Destination::Object;
        m_objectWidth = m_objectHeight = 0;
        m_objectPictureHex.clear();
        m_objectScaleX = m_objectScaleY = 100;
        return true;
    case Kw::Shp:
    case Kw::ShpGroup:
        if (s.dest == Destination::Shape)
            return true; // a shape inside a group is part of the outer one
        if (!inText) {
            skipCurrentGroup();
            return true;
        }
        if (!claimClose(s, CloseAction::Shape))
            return true;
        s.dest = Destination::Shape;
        m_shapes.push_back(ShapeContext{});
        return true;
    case Kw::ShpInst:
    case Kw::ShpPict: return true;
    case Kw::Field:
        // Fields in text are followed to their end; elsewhere (inside
        // another field's code) only their text matters, as code.
        if (inText && s.onClose == CloseAction::None && m_fields.size() < m_limits.maxNestingDepth) {
            s.onClose = CloseAction::Field;
            m_fields.push_back({});
        }
        return true;
    case Kw::FldInst:
        if (!inText || m_fields.empty()) {
            skipCurrentGroup();
            return true;
        }
        s.dest = Destination::FieldInstruction;
        return true;
    case Kw::FldRslt:
        if (inText && !m_fields.empty() && !m_fields.back().hasResult) {
            m_fields.back().hasResult = true;
            m_fields.back().resultStart = m_builder.position();
        }
        return true;
    case Kw::ShpTxt: {
        if (s.dest != Destination::Shape || m_shapes.empty() || m_shapes.back().story >= 0) {
            skipCurrentGroup();
            return true;
        }
        const StoryId story = m_builder.newStory(StoryType::TextFrame);
        if (story == 0xFFFFFFFFu) {
            skipCurrentGroup();
            return true;
        }
        m_shapes.back().story = static_cast<int32_t>(story);
        s.dest = Destination::Text;
        s.story = story;
        resetParagraph(s);
        switchStory(story);
        return true;
    }
    case Kw::ShpRslt:
    case Kw::NonShpPict:
    case Kw::NoNestTables:
    case Kw::SkipDestination: skipCurrentGroup(); return true;
    case Kw::Footnote:
    case Kw::Annotation:
        if (!inText || m_note.open || m_builder.document().notes.size() >= maxNotes) {
            skipCurrentGroup();
            return true;
        }
        if (s.onClose != CloseAction::None) {
            skipCurrentGroup();
            return true;
        }
        beginNote(kw == Kw::Footnote ? NoteKind::Footnote : NoteKind::Comment);
        return true;
    case Kw::FtnAlt:
        // An endnote is written as a footnote flagged \ftnalt before its text.
        // Only the note's own group can change the note's story: a nested
        // group would hand the story back when it closes.
        if (m_note.open && m_note.kind == NoteKind::Footnote && m_stack.size() == m_note.depth &&
            s.story == m_note.story && m_builder.position() == m_note.start) {
            const StoryId story = noteStory(NoteKind::Endnote);
            if (story != 0xFFFFFFFFu) {
                m_note.kind = NoteKind::Endnote;
                m_note.story = story;
                s.story = story;
                switchStory(story);
                m_note.start = m_builder.position();
            }
        }
        return true;
    case Kw::Header:
    case Kw::HeaderL:
    case Kw::HeaderR:
    case Kw::HeaderF:
    case Kw::Footer:
    case Kw::FooterL:
    case Kw::FooterR:
    case Kw::FooterF: {
        if (!inText || s.story != 0 || m_note.open) {
            skipCurrentGroup();
            return true;
        }
        const bool header = kw == Kw::Header || kw == Kw::HeaderL || kw == Kw::HeaderR || kw == Kw::HeaderF;
        // \header and \headerr are the primary (odd-page) header, \headerl the
        // even-page one, \headerf the first page's.
        size_t index = 0;
        StoryType type = header ? StoryType::PrimaryHeader : StoryType::PrimaryFooter;
        if (kw == Kw::HeaderL || kw == Kw::FooterL) {
            index = 2;
            type = header ? StoryType::EvenPagesHeader : StoryType::EvenPagesFooter;
        } else if (kw == Kw::HeaderF || kw == Kw::FooterF) {
            index = 1;
            type = header ? StoryType::FirstPageHeader : StoryType::FirstPageFooter;
        }
        const StoryId story = m_builder.newStory(type);
        if (story == 0xFFFFFFFFu) {
            skipCurrentGroup();
            return true;
        }
        (header ? m_refs.headers : m_refs.footers)[index] = static_cast<int32_t>(story);
        s.story = story;
        resetParagraph(s);
        switchStory(story);
        return true;
    }
    case Kw::ListText:
    case Kw::PnText:
        if (!inText) {
            skipCurrentGroup();
            return true;
        }
        s.dest = Destination::ListText;
        m_listLabel.clear();
        return true;
    case Kw::NestTableProps: s.nestTableProps = true; return true;
    case Kw::Upr:
        s.savedDest = s.dest;
        s.dest = Destination::Upr;
        return true;
    case Kw::Ud:
        if (s.dest == Destination::Upr)
            s.dest = s.savedDest;
        return true;
    default: return false;
    }
}

// ---- properties -----------------------------------------------------------

ParaFormat RtfParser::defaultParagraph() const
{
    ParaFormat p;
    auto it = m_paraStyles.find(0);
    p.styleName = it != m_paraStyles.end() && !it->second.name.empty() ? it->second.name : "Normal";
    p.widowControl = false; // RTF paragraphs have widow control only with \widctlpar
    return p;
}

void RtfParser::resetParagraph(GroupState& s) const
{
    s.para = defaultParagraph();
    s.lineSpacing = 0;
    s.lineMultiple = false;
    s.inTable = false;
    s.itap = 0;
    s.pendingTab = TabStop{};
}

void RtfParser::resetCharacter(GroupState& s) const
{
    s.chr = CharFormat{};
    s.chr.sizeHalfPoints = 24;
    s.font = m_defaultFont;
    s.chr.fontName = fontName(s.font);
    s.codePage = fontCodePage(s.font);
    s.chr.eastAsiaFontName = m_defaultEastAsiaFont >= 0 ? fontName(m_defaultEastAsiaFont) : std::string();
    s.chr.complexFontName = m_defaultComplexFont >= 0 ? fontName(m_defaultComplexFont) : std::string();
    s.fontSlot = GroupState::FontSlot::Latin;
}

std::string RtfParser::fontName(int32_t font) const
{
    auto it = m_fonts.find(font);
    return it == m_fonts.end() ? std::string() : it->second.name;
}

int RtfParser::fontCodePage(int32_t font) const
{
    auto it = m_fonts.find(font);
    if (it == m_fonts.end())
        return 0;
    return it->second.codePage != 0 ? it->second.codePage : charsetCodePage(it->second.charset);
}

bool RtfParser::applyProperty(GroupState& s, Kw kw, int32_t param, bool hasParam)
{
    const bool on = !hasParam || param != 0;
    CharFormat& c = s.chr;
    ParaFormat& p = s.para;
    auto underline = [&](UnderlineKind kind) { c.underline = on ? kind : UnderlineKind::None; };
    switch (kw) {
    case Kw::Plain: resetCharacter(s); return true;
    case Kw::Bold: c.bold = on; return true;
    case Kw::Italic: c.italic = on; return true;
    case Kw::Underline: underline(UnderlineKind::Single); return true;
    case Kw::UnderlineNone: c.underline = UnderlineKind::None; return true;
    case Kw::UnderlineDotted: underline(UnderlineKind::Dotted); return true;
    case Kw::UnderlineDash: underline(UnderlineKind::Dash); return true;
    case Kw::UnderlineDouble: underline(UnderlineKind::Double); return true;
    case Kw::UnderlineThick: underline(UnderlineKind::Thick); return true;
    case Kw::UnderlineWords: underline(UnderlineKind::Words); return true;
    case Kw::UnderlineWave: underline(UnderlineKind::Wave); return true;
    case Kw::UnderlineOther: underline(UnderlineKind::Other); return true;
    case Kw::SmallCaps: c.smallCaps = on; return true;
    case Kw::Caps: c.allCaps = on; return true;
    case Kw::Super: c.verticalPosition = on ? VerticalPosition::Superscript : VerticalPosition::Baseline; return true;
    case Kw::Sub: c.verticalPosition = on ? VerticalPosition::Subscript : VerticalPosition::Baseline; return true;
    case Kw::NoSuperSub: c.verticalPosition = VerticalPosition::Baseline; return true;
    case Kw::Up: c.positionHalfPoints = clamp16(hasParam ? param : 6); return true;
    case Kw::Dn: c.positionHalfPoints = clamp16(-int64_t{hasParam ? param : 6}); return true;
    case Kw::Hidden: c.hidden = on; return true;
    case Kw::Strike: c.strike = on; return true;
    case Kw::StrikeDouble: c.doubleStrike = on; return true;
    case Kw::FontSize:
        c.sizeHalfPoints = static_cast<uint16_t>(hasParam && param > 0 ? std::min(param, 3276) : 24);
        return true;
    case Kw::Font:
        if (hasParam) {
            s.font = param;
            c.fontName = fontName(param);
            s.codePage = fontCodePage(param);
        }
        return true;
    // Word writes a run's three fonts as "\rtlch\fcs1 \af1\afs24 \ltrch\fcs0
    // \f0\fs24 \loch\af0\hich\af0\dbch\af11": \af names the font of the
    // character set chosen last, the complex-script one after \rtlch, the
    // East Asian one after \dbch; the Latin font is \f's.
    case Kw::RtlCh: s.fontSlot = GroupState::FontSlot::Complex; return true;
    case Kw::LtrCh:
    case Kw::HiCh:
    case Kw::LoCh: s.fontSlot = GroupState::FontSlot::Latin; return true;
    case Kw::DbCh: s.fontSlot = GroupState::FontSlot::EastAsia; return true;
    case Kw::FontScript:
        s.fontSlot = param == 1 ? GroupState::FontSlot::Complex : GroupState::FontSlot::Latin;
        return true;
    case Kw::AssocFont:
        if (hasParam && s.fontSlot == GroupState::FontSlot::EastAsia)
            c.eastAsiaFontName = fontName(param);
        else if (hasParam && s.fontSlot == GroupState::FontSlot::Complex)
            c.complexFontName = fontName(param);
        return true;
    case Kw::AssocFontSize:
        c.complexSizeHalfPoints = static_cast<uint16_t>(hasParam && param > 0 ? std::min(param, 3276) : 24);
        return true;
    case Kw::ColorFg:
        c.color = hasParam && param > 0 && static_cast<size_t>(param) < m_colors.size() ? m_colors[param] : AutoColor;
        return true;
    case Kw::Expnd: c.spacingTwips = clamp16(int64_t{param} * 5); return true; // quarter points
    case Kw::ExpndTw: c.spacingTwips = clamp16(param); return true;
    case Kw::CharScaleX:
        c.scalePercent = static_cast<uint16_t>(hasParam ? std::clamp(param, 1, 600) : 100);
        return true;
    case Kw::Kerning: c.kernMinHalfPoints = static_cast<uint16_t>(std::clamp(param, 0, 65535)); return true;
    case Kw::CharStyle: applyStyle(s, param, StyleDefinition::Kind::Character); return true;
    case Kw::ParaStyle: applyStyle(s, param, StyleDefinition::Kind::Paragraph); return true;

    case Kw::Pard: resetParagraph(s); return true;
    case Kw::QL: p.alignment = Alignment::Left; return true;
    case Kw::QC: p.alignment = Alignment::Center; return true;
    case Kw::QR: p.alignment = Alignment::Right; return true;
    case Kw::QJ: p.alignment = Alignment::Justify; return true;
    case Kw::QD: p.alignment = Alignment::Distribute; return true;
    case Kw::LeftIndent: p.leftIndent = clampTwips(param); return true;
    case Kw::RightIndent: p.rightIndent = clampTwips(param); return true;
    case Kw::FirstIndent: p.firstLineIndent = clampTwips(param); return true;
    case Kw::SpaceBefore: p.spaceBefore = clampTwips(param, 0); return true;
    case Kw::SpaceAfter: p.spaceAfter = clampTwips(param, 0); return true;
    case Kw::SpaceBeforeAuto: p.spaceBeforeAuto = on; return true;
    case Kw::SpaceAfterAuto: p.spaceAfterAuto = on; return true;
    case Kw::LineSpacing: s.lineSpacing = hasParam ? clampTwips(param) : 0; return true;
    case Kw::LineMult: s.lineMultiple = on; return true;
    case Kw::TabPos:
    case Kw::TabBar: {
        TabStop tab = s.pendingTab;
        tab.position = clampTwips(param);
        if (kw == Kw::TabBar)
            tab.alignment = TabAlignment::Bar;
        s.pendingTab = TabStop{};
        auto it =
            std::find_if(p.tabs.begin(), p.tabs.end(), [&](const TabStop& t) { return t.position == tab.position; });
        if (it != p.tabs.end()) {
            *it = tab; // a style's stop written again directly
        } else if (p.tabs.size() < maxTabs) {
            p.tabs.insert(std::upper_bound(p.tabs.begin(), p.tabs.end(), tab,
                                           [](const TabStop& a, const TabStop& b) { return a.position < b.position; }),
                          tab);
        }
        return true;
    }
    case Kw::TabRight: s.pendingTab.alignment = TabAlignment::Right; return true;
    case Kw::TabCenter: s.pendingTab.alignment = TabAlignment::Center; return true;
    case Kw::TabDecimal: s.pendingTab.alignment = TabAlignment::Decimal; return true;
    case Kw::LeaderDot: s.pendingTab.leader = TabLeader::Dot; return true;
    case Kw::LeaderHyphen: s.pendingTab.leader = TabLeader::Hyphen; return true;
    case Kw::LeaderUnderline: s.pendingTab.leader = TabLeader::Underscore; return true;
    case Kw::LeaderThick: s.pendingTab.leader = TabLeader::Heavy; return true;
    case Kw::LeaderMiddleDot: s.pendingTab.leader = TabLeader::MiddleDot; return true;
    case Kw::KeepNext: p.keepWithNext = on; return true;
    case Kw::Keep: p.keepLinesTogether = on; return true;
    case Kw::WidowOn: p.widowControl = true; return true;
    case Kw::WidowOff: p.widowControl = false; return true;
    case Kw::PageBreakBefore: p.pageBreakBefore = on; return true;
    case Kw::NoSnapLineGrid: p.snapToGrid = false; return true;
    case Kw::RtlPar: p.rightToLeft = true; return true;
    case Kw::LtrPar: p.rightToLeft = false; return true;
    case Kw::ContextualSpace: p.contextualSpacing = on; return true;
    case Kw::HyphPar: p.suppressAutoHyphens = !on; return true;
    case Kw::BrdrT:
    case Kw::BrdrB:
    case Kw::BrdrL:
    case Kw::BrdrR:
    case Kw::BrdrBtw:
    case Kw::BrdrBox: m_borderSide = kw; return true;
    case Kw::BrdrS:
    case Kw::BrdrTh:
    case Kw::BrdrDb:
    case Kw::BrdrDot:
    case Kw::BrdrDash:
    case Kw::BrdrTriple:
    case Kw::BrdrThinThick:
    case Kw::BrdrWavy:
    case Kw::BrdrNone:
    case Kw::BrdrW:
    case Kw::BrSp:
    case Kw::BrdrCf: {
        // \box names all four sides of a paragraph at once.
        const Kw side = m_borderSide;
        const Kw sides[] = {Kw::BrdrT, Kw::BrdrB, Kw::BrdrL, Kw::BrdrR};
        const bool box = side == Kw::BrdrBox;
        for (size_t i = 0; i < (box ? 4u : 1u); ++i) {
            if (box)
                m_borderSide = sides[i];
            if (BorderLine* b = borderTarget(s))
                describeBorder(*b, kw, param);
        }
        m_borderSide = side;
        return true;
    }
    case Kw::CbPat:
        p.shading = param > 0 && static_cast<size_t>(param) < m_colors.size() ? m_colors[param] : AutoColor;
        return true;
    case Kw::InTable: s.inTable = on; return true;
    case Kw::Itap: s.itap = std::clamp<int32_t>(param, 0, static_cast<int32_t>(m_limits.maxTableDepth)); return true;
    default: return false;
    }
}

BorderLine* RtfParser::borderTarget(GroupState& s)
{
    ParagraphBorders& p = s.para.borders;
    RowDefinition& d = m_rows[s.nestTableProps ? 1 : 0];
    TableBorders& t = d.row.tableBorders;
    CellBorders& c = d.pendingCell.borders;
    auto cell = [](std::optional<BorderLine>& side) -> BorderLine* {
        if (!side)
            side.emplace();
        return &*side;
    };
    switch (m_borderSide) {
    case Kw::BrdrT: return &p.top;
    case Kw::BrdrB: return &p.bottom;
    case Kw::BrdrL: return &p.left;
    case Kw::BrdrR: return &p.right;
    case Kw::BrdrBtw: return &p.between;
    case Kw::TrBrdrT: return &t.top;
    case Kw::TrBrdrB: return &t.bottom;
    case Kw::TrBrdrL: return &t.left;
    case Kw::TrBrdrR: return &t.right;
    case Kw::TrBrdrH: return &t.insideH;
    case Kw::TrBrdrV: return &t.insideV;
    case Kw::ClBrdrT: return cell(c.top);
    case Kw::ClBrdrB: return cell(c.bottom);
    case Kw::ClBrdrL: return cell(c.left);
    case Kw::ClBrdrR: return cell(c.right);
    default: return nullptr;
    }
}

void RtfParser::describeBorder(BorderLine& b, Kw kw, int32_t param) const
{
    // A border named without a width is drawn at Word's thinnest, 1/4 pt;
    // \brdrw and \brsp are in twips (a line of w twips is 0.4 w eighths of
    // a point).
    auto kind = [&](BorderStyle style) {
        b.style = style;
        if (b.widthEighths == 0)
            b.widthEighths = 2;
    };
    switch (kw) {
    case Kw::BrdrS: kind(BorderStyle::Single); break;
    case Kw::BrdrTh: kind(BorderStyle::Thick); break;
    case Kw::BrdrDb: kind(BorderStyle::Double); break;
    case Kw::BrdrDot: kind(BorderStyle::Dotted); break;
    case Kw::BrdrDash: kind(BorderStyle::Dashed); break;
    case Kw::BrdrTriple: kind(BorderStyle::Triple); break;
    case Kw::BrdrThinThick: kind(BorderStyle::ThinThick); break;
    case Kw::BrdrWavy: kind(BorderStyle::Wave); break;
    case Kw::BrdrNone: b = BorderLine{}; break;
    case Kw::BrdrW:
        b.widthEighths = static_cast<uint16_t>(std::clamp((int64_t{param} * 2 + 2) / 5, int64_t{2}, int64_t{96}));
        break;
    case Kw::BrSp:
        b.spacePoints = static_cast<uint16_t>(std::clamp((int64_t{param} + 10) / 20, int64_t{0}, int64_t{31}));
        break;
    case Kw::BrdrCf:
        b.color = param > 0 && static_cast<size_t>(param) < m_colors.size() ? m_colors[param] : AutoColor;
        break;
    default: break;
    }
}

void RtfParser::applyStyle(GroupState& s, int32_t number, StyleDefinition::Kind kind)
{
    const auto& styles = kind == StyleDefinition::Kind::Paragraph ? m_paraStyles : m_charStyles;
    // The chain through \sbasedon, nearest last; bounded so a cycle ends.
    std::vector<const StyleDefinition*> chain;
    int32_t current = number;
    for (int step = 0; step < 16; ++step) {
        auto it = styles.find(current);
        if (it == styles.end())
            break;
        chain.push_back(&it->second);
        if (it->second.basedOn < 0 || it->second.basedOn == current)
            break;
        current = it->second.basedOn;
    }
    for (auto it = chain.rbegin(); it != chain.rend(); ++it)
        for (const auto& w : (*it)->words)
            if (kind == StyleDefinition::Kind::Paragraph || isCharProperty(w.kw))
                applyProperty(s, w.kw, w.param, w.hasParam);
    if (kind == StyleDefinition::Kind::Paragraph) {
        if (!chain.empty() && !chain.front()->name.empty())
            s.para.styleName = chain.front()->name;
        else if (number == 0)
            s.para.styleName = "Normal";
    }
}

void RtfParser::documentProperty(Kw kw, int32_t param, bool hasParam)
{
    auto page = [&](Twips SectionFormat::*field, bool positive) {
        if (positive && param <= 0)
            return;
        m_documentSection.*field = clampTwips(param, 0);
        m_section.*field = clampTwips(param, 0);
    };
    DocumentSettings& settings = m_builder.settings();
    StoredStatistics& stored = m_builder.stored();
    switch (kw) {
    case Kw::Ansi: m_ansiCodePage = 1252; break;
    case Kw::Mac: m_ansiCodePage = 10000; break;
    case Kw::Pc: m_ansiCodePage = 437; break;
    case Kw::Pca: m_ansiCodePage = 850; break;
    case Kw::AnsiCpg:
        if (knownCodePage(param))
            m_ansiCodePage = param;
        break;
    case Kw::Deff: m_defaultFont = param; break;
    case Kw::DefaultEastAsiaFont: m_defaultEastAsiaFont = param; break;
    case Kw::DefaultComplexFont: m_defaultComplexFont = param; break;
    case Kw::PaperW: page(&SectionFormat::pageWidth, true); break;
    case Kw::PaperH: page(&SectionFormat::pageHeight, true); break;
    case Kw::MargL: page(&SectionFormat::marginLeft, false); break;
    case Kw::MargR: page(&SectionFormat::marginRight, false); break;
    case Kw::MargT: page(&SectionFormat::marginTop, false); break;
    case Kw::MargB: page(&SectionFormat::marginBottom, false); break;
    case Kw::Gutter: page(&SectionFormat::gutter, false); break;
    case Kw::DefTab: settings.defaultTabStop = param > 0 ? clampTwips(param) : 720; break;
    case Kw::FacingP: settings.evenAndOddHeaders = true; break;
    case Kw::MargMirror: settings.mirrorMargins = true; break;
    case Kw::HyphAuto: settings.autoHyphenation = !hasParam || param != 0; break;
    case Kw::HyphHotZone:
        if (hasParam && param >= 0)
            settings.hyphenationZone = param;
        break;
    case Kw::HyphConsecutive:
        if (hasParam && param >= 0)
            settings.consecutiveHyphenLimit = static_cast<uint16_t>(std::min(param, 0x7FFF));
        break;
    case Kw::HyphCaps: settings.hyphenateCaps = !hasParam || param != 0; break;
    case Kw::DefLang:
        if (hasParam && param > 0)
            settings.language = languageTagOfLcid(static_cast<uint32_t>(param));
        break;
    case Kw::NofPages: stored.pages = param; break;
    case Kw::NofWords: stored.words = param; break;
    case Kw::NofChars: stored.characters = param; break;
    case Kw::NofCharsWs: stored.charactersWithSpaces = param; break;
    default: break;
    }
}

void RtfParser::sectionProperty(Kw kw, int32_t param, bool hasParam)
{
    SectionFormat& f = m_section;
    switch (kw) {
    case Kw::SectD: f = m_documentSection; break;
    case Kw::SbkNone: f.start = SectionStart::Continuous; break;
    case Kw::SbkCol: f.start = SectionStart::NewColumn; break;
    case Kw::SbkPage: f.start = SectionStart::NewPage; break;
    case Kw::SbkEven: f.start = SectionStart::EvenPage; break;
    case Kw::SbkOdd: f.start = SectionStart::OddPage; break;
    case Kw::PgWSxn:
        if (param > 0)
            f.pageWidth = clampTwips(param);
        break;
    case Kw::PgHSxn:
        if (param > 0)
            f.pageHeight = clampTwips(param);
        break;
    case Kw::MargLSxn: f.marginLeft = clampTwips(param, 0); break;
    case Kw::MargRSxn: f.marginRight = clampTwips(param, 0); break;
    case Kw::MargTSxn: f.marginTop = clampTwips(param); break;
    case Kw::MargBSxn: f.marginBottom = clampTwips(param); break;
    case Kw::GutterSxn: f.gutter = clampTwips(param, 0); break;
    case Kw::HeaderY: f.headerDistance = clampTwips(param, 0); break;
    case Kw::FooterY: f.footerDistance = clampTwips(param, 0); break;
    case Kw::TitlePg: f.titlePage = !hasParam || param != 0; break;
    case Kw::Cols: f.columns = std::clamp(param, 1, 64); break;
    case Kw::ColsX: f.columnSpacing = clampTwips(param, 0); break;
    // The document grid: its line pitch, and whether it holds lines only,
    // lines and characters, or snaps characters too; by default none.
    case Kw::SectLineGrid: f.linePitch = clampTwips(param, 0); break;
    case Kw::SectDefaultCl: f.gridType = DocGridType::None; break;
    case Kw::SectSpecifyCl: f.gridType = DocGridType::Lines; break;
    case Kw::SectSpecifyL: f.gridType = DocGridType::LinesAndChars; break;
    case Kw::SectSpecifyGen: f.gridType = DocGridType::SnapToChars; break;
    default: break;
    }
}

void RtfParser::rowProperty(Kw kw, int32_t param, bool)
{
    RowDefinition& d = m_rows[state().nestTableProps ? 1 : 0];
    TableRowFormat& r = d.row;
    switch (kw) {
    case Kw::TRowD:
        d = RowDefinition{};
        // A row keeps its widths unless \trautofit1 fits it to its contents
        // (\trautofit is 0 by default).
        d.row.fixedLayout = true;
        break;
    case Kw::TrAutofit: r.fixedLayout = param == 0; break;
    case Kw::TrLeft:
        r.leftIndent = clampTwips(param);
        d.lastRight = r.leftIndent;
        break;
    case Kw::CellX: {
        TableCellFormat cell = d.pendingCell;
        cell.width = clampTwips(int64_t{param} - d.lastRight, 0);
        d.lastRight = clampTwips(param);
        if (d.pendingMerge && !r.cells.empty()) {
            r.cells.back().width = clampTwips(int64_t{r.cells.back().width} + cell.width, 0);
            ++r.cells.back().gridSpan;
        } else if (r.cells.size() < maxRowCells) {
            r.cells.push_back(cell);
        }
        d.pendingCell = TableCellFormat{};
        d.pendingMerge = false;
        break;
    }
    case Kw::TrGaph: r.cellMarginLeft = r.cellMarginRight = clampTwips(param, 0); break;
    case Kw::TrRh:
        r.height = clampTwips(param < 0 ? -int64_t{param} : int64_t{param}, 0);
        r.heightRule = param > 0 ? RowHeightRule::AtLeast : param < 0 ? RowHeightRule::Exact : RowHeightRule::Auto;
        break;
    case Kw::TrHdr: r.isHeader = true; break;
    case Kw::TrKeep: r.cantSplit = true; break;
    case Kw::TrQL: r.alignment = Alignment::Left; break;
    case Kw::TrQC: r.alignment = Alignment::Center; break;
    case Kw::TrQR: r.alignment = Alignment::Right; break;
    case Kw::TrPaddL: r.cellMarginLeft = clampTwips(param, 0); break;
    case Kw::TrPaddR: r.cellMarginRight = clampTwips(param, 0); break;
    case Kw::TrPaddT: r.cellMarginTop = clampTwips(param, 0); break;
    case Kw::TrPaddB: r.cellMarginBottom = clampTwips(param, 0); break;
    // Spacing between cells: the row keeps one figure, the larger of the
    // spacing above and below its cells.
    case Kw::TrSpdT:
    case Kw::TrSpdB: r.cellSpacing = std::max(r.cellSpacing, clampTwips(param, 0)); break;
    case Kw::ClVmgf: d.pendingCell.verticalMerge = VerticalMerge::Restart; break;
    case Kw::ClVmrg: d.pendingCell.verticalMerge = VerticalMerge::Continue; break;
    case Kw::ClVertAlT: d.pendingCell.verticalAlign = CellVerticalAlign::Top; break;
    case Kw::ClVertAlC: d.pendingCell.verticalAlign = CellVerticalAlign::Center; break;
    case Kw::ClVertAlB: d.pendingCell.verticalAlign = CellVerticalAlign::Bottom; break;
    case Kw::ClHideMark: d.pendingCell.hideMark = true; break;
    case Kw::ClMrg: d.pendingMerge = true; break;
    case Kw::TrBrdrT:
    case Kw::TrBrdrB:
    case Kw::TrBrdrL:
    case Kw::TrBrdrR:
    case Kw::TrBrdrH:
    case Kw::TrBrdrV:
    case Kw::ClBrdrT:
    case Kw::ClBrdrB:
    case Kw::ClBrdrL:
    case Kw::ClBrdrR: m_borderSide = kw; break;
    case Kw::ClCbPat:
        d.pendingCell.shading = param > 0 && static_cast<size_t>(param) < m_colors.size() ? m_colors[param] : AutoColor;
        break;
    default: break;
    }
}

// ---- content --------------------------------------------------------------

void RtfParser::content(Kw kw, int32_t param)
{
    GroupState& s = state();
    const bool text = s.dest == Destination::Text;
    switch (kw) {
    case Kw::Par: endParagraph(); break;
    case Kw::Line: emit(Ch::LineBreak); break;
    case Kw::Tab: emit(Ch::Tab); break;
    case Kw::Page: emit(Ch::PageBreak); break;
    case Kw::Column: emit(Ch::ColumnBreak); break;
    case Kw::EmDash: emit(u'\u2014'); break;
    case Kw::EnDash: emit(u'\u2013'); break;
    case Kw::Bullet: emit(u'\u2022'); break;
    case Kw::LQuote: emit(u'\u2018'); break;
    case Kw::RQuote: emit(u'\u2019'); break;
    case Kw::LDblQuote: emit(u'\u201C'); break;
    case Kw::RDblQuote: emit(u'\u201D'); break;
    case Kw::EmSpace: emit(u'\u2003'); break;
    case Kw::EnSpace: emit(u'\u2002'); break;
    case Kw::QmSpace: emit(u'\u2005'); break;
    case Kw::Zwj: emit(u'\u200D'); break;
    case Kw::Zwnj: emit(u'\u200C'); break;
    case Kw::LtrMark: emit(u'\u200E'); break;
    case Kw::RtlMark: emit(u'\u200F'); break;
    case Kw::UnicodeSkip: s.unicodeSkip = std::clamp(param, 0, 64); break;
    case Kw::Sect:
        if (!text)
            break;
        if (s.story == 0 && !m_note.open) {
            syncTable(0, OpenCell::No);
            m_builder.endSection(m_section, m_refs, paraFormat(s), charFormat(s));
            m_refs = HeaderFooterRefs{};
            m_listLabel.clear();
        } else {
            endParagraph();
        }
        break;
    case Kw::Cell:
    case Kw::NestCell: {
        if (!text)
            break;
        // \cell ends a cell of the outermost table even when the paragraph
        // says nothing of tables; \nestcell one of a nested table.
        const uint32_t depth = kw == Kw::Cell ? 1u : std::max(2u, targetDepth(s));
        syncTable(depth, OpenCell::Yes);
        m_builder.endCell(paraFormat(s), charFormat(s));
        if (!openCells().empty())
            openCells().back() = 0;
        m_listLabel.clear();
        break;
    }
    case Kw::Row:
    case Kw::NestRow: {
        if (!text)
            break;
        const bool nested = kw == Kw::NestRow;
        if (m_builder.tableDepth() < (nested ? 2u : 1u)) {
            diagnose("rtf.row", Severity::Note, "a row end outside a table was ignored");
            break;
        }
        syncTable(nested ? std::max(2u, targetDepth(s)) : 1u, OpenCell::No);
        m_builder.endRow(m_rows[nested ? 1 : 0].row, charFormat(s));
        if (!openCells().empty())
            openCells().back() = 0;
        break;
    }
    case Kw::Chftn:
        if (!text)
            break;
        if (m_note.open && s.story == m_note.story) {
            // Inside the note, the reference mark stands at its start.
            CharFormat f = s.chr;
            f.noteIndex = static_cast<int32_t>(m_builder.document().notes.size());
            syncTable(targetDepth(s), OpenCell::Yes);
            m_builder.appendChar(Ch::NoteReference, m_builder.charFormat(f));
        } else {
            // The reference is written when its note follows.
            m_pendingReference = true;
            m_referenceFormat = s.chr;
        }
        break;
    default: break;
    }
}

void RtfParser::endParagraph()
{
    GroupState& s = state();
    if (s.dest != Destination::Text)
        return;
    syncTable(targetDepth(s), OpenCell::Yes);
    m_builder.endParagraph(paraFormat(s), charFormat(s));
    m_listLabel.clear();
    m_pendingReference = false;
}

uint32_t RtfParser::targetDepth(const GroupState& s) const
{
    const int32_t depth = std::max(s.inTable ? 1 : 0, s.itap);
    return std::min<uint32_t>(static_cast<uint32_t>(depth), m_limits.maxTableDepth);
}

std::vector<uint8_t>& RtfParser::openCells()
{
    const StoryId story = m_builder.currentStory();
    if (m_openCells.size() <= story)
        m_openCells.resize(story + 1);
    return m_openCells[story];
}

void RtfParser::syncTable(uint32_t depth, OpenCell openCell)
{
    depth = std::min(depth, m_limits.maxTableDepth);
    auto& open = openCells();
    while (m_builder.tableDepth() > depth) {
        m_builder.endTable();
        if (!open.empty())
            open.pop_back();
    }
    while (m_builder.tableDepth() < depth) {
        // A nested table stands inside a cell of the table around it.
        if (!open.empty() && !open.back()) {
            m_builder.beginCell();
            open.back() = 1;
        }
        m_builder.beginTable();
        open.push_back(0);
    }
    if (openCell == OpenCell::Yes && depth > 0 && !open.empty() && !open.back()) {
        m_builder.beginCell();
        open.back() = 1;
    }
}

void RtfParser::switchStory(StoryId story)
{
    flush();
    m_builder.setStory(story);
}

StoryId RtfParser::noteStory(NoteKind kind)
{
    StoryId& id = kind == NoteKind::Footnote  ? m_footnoteStory
                  : kind == NoteKind::Endnote ? m_endnoteStory
                                              : m_commentStory;
    if (id == 0) {
        const StoryType type = kind == NoteKind::Footnote  ? StoryType::Footnotes
                               : kind == NoteKind::Endnote ? StoryType::Endnotes
                                                           : StoryType::Comments;
        const StoryId created = m_builder.newStory(type);
        if (created == 0xFFFFFFFFu)
            return created;
        id = created;
    }
    return id;
}

void RtfParser::beginNote(NoteKind kind)
{
    const StoryId story = noteStory(kind);
    if (story == 0xFFFFFFFFu) {
        skipCurrentGroup();
        return;
    }
    GroupState& s = state();
    // Comments have no numbered reference in the text, and a note without a
    // preceding \chftn has a mark of the writer's own, already in the text.
    if (kind != NoteKind::Comment && m_pendingReference) {
        syncTable(targetDepth(s), OpenCell::Yes);
        CharFormat f = m_referenceFormat;
        f.noteIndex = static_cast<int32_t>(m_builder.document().notes.size());
        m_builder.appendChar(Ch::NoteReference, m_builder.charFormat(f));
    }
    m_pendingReference = false;
    s.story = story;
    s.onClose = CloseAction::Note;
    resetParagraph(s);
    switchStory(story);
    m_note = NoteContext{true, kind, story, m_builder.position(), m_stack.size()};
}

void RtfParser::endNote()
{
    if (!m_note.open)
        return;
    GroupState& s = state();
    if (m_builder.currentStory() != m_note.story)
        switchStory(m_note.story);
    syncTable(0, OpenCell::No);
    const Story& story = m_builder.document().stories[m_note.story];
    if (story.size() == m_note.start || story.text.back() != Ch::ParagraphMark)
        m_builder.endParagraph(paraFormat(s), charFormat(s));
    Note note;
    note.kind = m_note.kind;
    note.story = static_cast<int32_t>(m_note.story);
    note.start = m_note.start;
    note.end = m_builder.position();
    m_builder.addNote(note);
    m_note.open = false;
    m_listLabel.clear();
}

void RtfParser::readMetafilePicture(int32_t object, Twips width, Twips height)
{
    // The picture's hex digits (white space between them) to bytes, and the
    // text the metafile draws scaled into the picture's frame, each string
    // in a format of the metafile's font at the size it is shown.
    std::string bytes;
    bytes.reserve(m_pictureHex.size() / 2);
    int high = -1;
    for (const char c : m_pictureHex) {
        const int v = c >= '0' && c <= '9' ? c - '0' : c >= 'a' && c <= 'f' ? c - 'a' + 10 : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
        if (v < 0)
            continue;
        if (high < 0) {
            high = v;
        } else {
            bytes.push_back(static_cast<char>(high * 16 + v));
            high = -1;
        }
    }
    m_pictureHex.clear();
    const std::vector<MetafileText> texts = metafileText(bytes);
    if (texts.empty())
        return;
    Picture picture;
    for (const MetafileText& t : texts) {
        CharFormat f;
        f.fontName = t.font.empty() ? "Arial" : utf16ToUtf8(t.font);
        // Twips to half points: a twentieth of a point, two halves to one.
        f.sizeHalfPoints = static_cast<uint16_t>(std::clamp(std::lround(t.emHeight * height / 10.0), 2L, 3276L));
        f.bold = t.weight >= 600;
        f.italic = t.italic;
        f.color = t.color;
        PictureText p;
        p.text = t.text;
        p.x = t.x * width;
        p.y = t.y * height;
        p.charFormat = m_builder.charFormat(f);
        p.align = static_cast<PictureText::Align>(t.align);
        p.vAlign = t.vAlign == MetafileText::VAlign::Top      ? PictureText::VAlign::Top
                   : t.vAlign == MetafileText::VAlign::Bottom ? PictureText::VAlign::Bottom
                                                              : PictureText::VAlign::Baseline;
        picture.texts.push_back(std::move(p));
    }
    m_pictures.emplace_back(object, std::move(picture));
}

void RtfParser::attachPictures(Document& document)
{
    for (auto& [object, picture] : m_pictures) {
        if (object < 0 || static_cast<size_t>(object) >= document.objects.size())
            continue;
        document.objects[static_cast<size_t>(object)].picture = static_cast<int32_t>(document.pictures.size());
        document.pictures.push_back(std::move(picture));
    }
    m_pictures.clear();
}

void RtfParser::emitObject(ObjectKind kind, Twips width, Twips height, bool floating, int32_t story)
{
    GroupState& s = state();
    syncTable(targetDepth(s), OpenCell::Yes);
    CharFormat f = s.chr;
    if (m_builder.document().objects.size() < maxObjects) {
        InlineObject object;
        object.kind = kind;
        object.width = width;
        object.height = height;
        object.floating = floating;
        object.story = story;
        f.objectIndex = m_builder.addObject(object);
    }
    m_pendingReference = false;
    m_builder.appendChar(floating ? Ch::Anchor : Ch::Object, m_builder.charFormat(f));
}

// ---- text -----------------------------------------------------------------

int RtfParser::codePageOf(const GroupState& s) const
{
    if (s.dest == Destination::FontTable && m_fontEntryOpen) {
        // A font's name is written in the font's own charset.
        const int cp = m_fontEntry.codePage != 0 ? m_fontEntry.codePage : charsetCodePage(m_fontEntry.charset);
        if (cp != 0)
            return cp;
    }
    return s.codePage != 0 ? s.codePage : m_ansiCodePage;
}

void RtfParser::flushBytes()
{
    if (m_bytes.empty())
        return;
    const int cp = codePageOf(state());
    std::u16string decoded;
    const bool ascii =
        std::all_of(m_bytes.begin(), m_bytes.end(), [](char b) { return static_cast<uint8_t>(b) < 0x80; });
    if (ascii) {
        decoded.assign(m_bytes.begin(), m_bytes.end());
    } else if (doubleByte(cp)) {
        decoded = decodeCodePage(cp, m_bytes);
    } else {
        decoded.resize(m_bytes.size());
        for (size_t i = 0; i < m_bytes.size(); ++i)
            decoded[i] = codePageToUnicode(cp, static_cast<uint8_t>(m_bytes[i]));
    }
    m_bytes.clear();
    route(decoded);
}

void RtfParser::route(std::u16string_view text)
{
    switch (state().dest) {
    case Destination::Text:
        m_text.append(text);
        if (m_text.size() >= storyChunk)
            flushText();
        break;
    case Destination::ListText:
        if (m_listLabel.size() + text.size() <= maxLabel)
            m_listLabel.append(text);
        break;
    case Destination::Generator:
        if (m_generator.size() + text.size() <= maxGenerator)
            m_generator.append(text);
        break;
    case Destination::FieldInstruction:
        if (!m_fields.empty() && m_fields.back().instruction.size() + text.size() <= maxFieldInstruction)
            m_fields.back().instruction.append(text);
        break;
    case Destination::FontAlt:
        for (char16_t c : text)
            if (c != u';' && m_fontEntry.alt.size() < 256)
                m_fontEntry.alt.push_back(c);
        break;
    case Destination::FontTable:
        for (char16_t c : text) {
            if (c == u';')
                commitFont();
            else if (m_fontEntryOpen && m_entryName.size() < 256)
                m_entryName.push_back(c);
        }
        break;
    case Destination::StyleEntry:
        for (char16_t c : text) {
            if (c == u';')
                m_styleNameDone = true;
            else if (!m_styleNameDone && m_entryName.size() < 256)
                m_entryName.push_back(c);
        }
        break;
    case Destination::ColorTable:
        for (char16_t c : text)
            if (c == u';')
                commitColor();
        break;
    default: break;
    }
}

void RtfParser::flushText()
{
    if (m_text.empty())
        return;
    GroupState& s = state();
    syncTable(targetDepth(s), OpenCell::Yes);
    m_pendingReference = false;
    const uint32_t format = charFormat(s);
    // A large piece is cut to the room the limits leave, so that the text up
    // to the limit is kept rather than the whole piece refused. (Small
    // pieces skip the count of the room, which looks at every story.)
    const size_t room = m_text.size() > 4096 ? roomLeft() : m_text.size();
    m_builder.appendText(std::u16string_view(m_text).substr(0, room), format);
    if (m_text.size() > room)
        m_builder.appendText(std::u16string_view(m_text).substr(room, 1), format); // refused: records the limit
    m_text.clear();
}

size_t RtfParser::roomLeft() const
{
    const Document& doc = m_builder.document();
    uint64_t total = 0;
    for (const Story& story : doc.stories)
        total += story.size();
    const uint64_t story = doc.stories[m_builder.currentStory()].size();
    const uint64_t storyRoom = story < m_limits.maxStoryChars ? m_limits.maxStoryChars - story : 0;
    const uint64_t totalRoom = total < m_limits.maxTotalChars ? m_limits.maxTotalChars - total : 0;
    return static_cast<size_t>(std::min(storyRoom, totalRoom));
}

uint32_t RtfParser::charFormat(const GroupState& s)
{
    if (!m_haveLastChar || !(m_lastChar == s.chr)) {
        m_lastChar = s.chr;
        m_lastCharIndex = m_builder.charFormat(s.chr);
        m_haveLastChar = true;
    }
    return m_lastCharIndex;
}

uint32_t RtfParser::paraFormat(const GroupState& s)
{
    ParaFormat p = s.para;
    // \sl alone is "at least" (or "exactly" when negative); with \slmult1 it
    // is a multiple of single spacing in 240ths; 0 is single spacing.
    const int64_t sl = s.lineSpacing;
    if (sl == 0) {
        p.lineRule = LineRule::Auto;
        p.lineSpacing = 240;
    } else if (s.lineMultiple) {
        p.lineRule = LineRule::Auto;
        p.lineSpacing = clampTwips(sl < 0 ? -sl : sl);
    } else {
        p.lineRule = sl > 0 ? LineRule::AtLeast : LineRule::Exact;
        p.lineSpacing = clampTwips(sl < 0 ? -sl : sl);
    }
    // The label as the writer rendered it, without the tab that follows it.
    std::u16string label = m_listLabel;
    while (!label.empty() && (label.back() == Ch::Tab || label.back() == Ch::Space))
        label.pop_back();
    p.listLabel = std::move(label);
    return m_builder.paraFormat(p);
}

// ---- tables of the header -------------------------------------------------

void RtfParser::commitFont()
{
    if (!m_fontEntryOpen)
        return;
    if (m_fonts.size() < maxFonts || m_fonts.count(m_fontEntryId)) {
        m_fontEntry.name = trimmedName(m_entryName);
        m_fonts[m_fontEntryId] = m_fontEntry;
        // A font that is not installed is laid out with its {\*\falt}, else
        // the font of its family and pitch (\fprq1 is fixed).
        std::string standIn =
            fontStandIn(m_fontEntry.name, trimmedName(m_fontEntry.alt), m_fontEntry.family, m_fontEntry.pitch == 1);
        if (!standIn.empty() && !m_fontEntry.name.empty())
            m_builder.settings().fontStandIns.emplace(m_fontEntry.name, std::move(standIn));
    }
    m_fontEntryOpen = false;
    m_entryName.clear();
}

void RtfParser::commitStyle()
{
    m_styleEntry.name = trimmedName(m_entryName);
    m_entryName.clear();
    auto& styles = m_styleEntry.kind == StyleDefinition::Kind::Paragraph   ? m_paraStyles
                   : m_styleEntry.kind == StyleDefinition::Kind::Character ? m_charStyles
                                                                           : m_paraStyles;
    if (m_styleEntry.kind != StyleDefinition::Kind::Other &&
        (styles.size() < maxStyles || styles.count(m_styleEntry.number)))
        styles[m_styleEntry.number] = std::move(m_styleEntry);
    m_styleEntry = StyleDefinition{};
    // The text before any \pard takes style 0's name once it is known.
    if (m_paraStyles.count(0))
        for (GroupState& s : m_stack)
            if (s.para.styleName == "Normal")
                s.para.styleName = defaultParagraph().styleName;
}

void RtfParser::commitColor()
{
    if (m_colors.size() < maxColors)
        m_colors.push_back(m_colorHasValue ? m_color : AutoColor);
    m_color = 0;
    m_colorHasValue = false;
}

} // namespace qm::engine::rtf
