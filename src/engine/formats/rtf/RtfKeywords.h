// The control words the RTF reader acts on, looked up by name.
#pragma once

#include <cstdint>
#include <string_view>

namespace qm::engine::rtf {

/// Control words with a meaning for the reader. Words not listed are
/// ignored, as RTF requires of readers; the order groups them by kind.
enum class Kw : uint16_t {
    Unknown,
    // Destinations and group kinds
    Rtf, FontTable, ColorTable, StyleSheet, Info, Generator, Pict, Object, Shp, ShpGroup, ShpInst,
    ShpTxt, ShpRslt, ShpPict, NonShpPict, Field, FldInst, FldRslt, Footnote, FtnAlt, Annotation,
    Header, HeaderL, HeaderR, HeaderF, Footer, FooterL, FooterR, FooterF, ListText, PnText,
    NestTableProps, NoNestTables, Upr, Ud, SkipDestination,
    // Document
    Ansi, Mac, Pc, Pca, AnsiCpg, Deff, PaperW, PaperH, MargL, MargR, MargT, MargB, Gutter, DefTab,
    FacingP, MargMirror, HyphAuto,
    // Fonts, colours and styles
    FCharset, Cpg, Red, Green, Blue, SBasedOn, ParaStyle, CharStyle, TableStyle,
    // Information
    NofPages, NofWords, NofChars, NofCharsWs,
    // Character properties (kept for style replay)
    FirstCharProp,
    Plain = FirstCharProp, Bold, Italic, Underline, UnderlineNone, UnderlineDotted, UnderlineDash,
    UnderlineDouble, UnderlineThick, UnderlineWords, UnderlineWave, UnderlineOther, SmallCaps, Caps,
    Super, Sub, NoSuperSub, Up, Dn, Hidden, Strike, StrikeDouble, FontSize, Font, ColorFg, Expnd,
    ExpndTw, CharScaleX, Kerning,
    LastCharProp = Kerning,
    // Paragraph properties (kept for style replay)
    FirstParaProp,
    Pard = FirstParaProp, QL, QC, QR, QJ, QD, LeftIndent, RightIndent, FirstIndent, SpaceBefore,
    SpaceAfter, SpaceBeforeAuto, SpaceAfterAuto, LineSpacing, LineMult, TabPos, TabBar, TabRight,
    TabCenter, TabDecimal, LeaderDot, LeaderHyphen, LeaderUnderline, LeaderThick, LeaderMiddleDot,
    KeepNext, Keep, WidowOn, WidowOff, PageBreakBefore, ContextualSpace, InTable, Itap,
    // Border sides of a paragraph, then a border's kind, width, spacing and colour (for whichever
    // paragraph, row or cell side was named last), and the paragraph's background
    BrdrT, BrdrB, BrdrL, BrdrR, BrdrBtw, BrdrBox, BrdrS, BrdrTh, BrdrDb, BrdrDot, BrdrDash, BrdrTriple,
    BrdrThinThick, BrdrWavy, BrdrNone, BrdrW, BrSp, BrdrCf, CbPat,
    LastParaProp = CbPat,
    // Content
    Par, Line, Tab, Page, Column, Sect, Cell, Row, NestCell, NestRow, Chftn, Unicode, UnicodeSkip,
    Bin, EmDash, EnDash, Bullet, LQuote, RQuote, LDblQuote, RDblQuote, EmSpace, EnSpace, QmSpace,
    Zwj, Zwnj, LtrMark, RtlMark,
    // Sections
    SectD, SbkNone, SbkCol, SbkPage, SbkEven, SbkOdd, PgWSxn, PgHSxn, MargLSxn, MargRSxn, MargTSxn,
    MargBSxn, GutterSxn, HeaderY, FooterY, TitlePg, Cols, ColsX,
    // Table rows
    TRowD, CellX, TrGaph, TrLeft, TrRh, TrHdr, TrKeep, TrQL, TrQC, TrQR, TrPaddL, TrPaddR, TrPaddT,
    TrPaddB, ClVmgf, ClVmrg, ClMgf, ClMrg, ClCbPat, TrBrdrT, TrBrdrB, TrBrdrL, TrBrdrR, TrBrdrH,
    TrBrdrV, ClBrdrT, ClBrdrB, ClBrdrL, ClBrdrR,
    // Pictures and shapes
    PicW, PicH, PicWGoal, PicHGoal, PicScaleX, PicScaleY, ObjW, ObjH, ShpLeft, ShpTop, ShpRight,
    ShpBottom,
};

Kw lookupKeyword(std::string_view word);

inline bool isCharProperty(Kw k) { return k >= Kw::FirstCharProp && k <= Kw::LastCharProp; }
inline bool isParaProperty(Kw k) { return k >= Kw::FirstParaProp && k <= Kw::LastParaProp; }

} // namespace qm::engine::rtf
