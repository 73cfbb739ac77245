// Name table of the control words the RTF reader acts on.
#include "engine/formats/rtf/RtfKeywords.h"

#include <string>
#include <unordered_map>

namespace qm::engine::rtf {

namespace {

const std::unordered_map<std::string_view, Kw>& table()
{
    static const std::unordered_map<std::string_view, Kw> map = {
        {"rtf", Kw::Rtf}, {"fonttbl", Kw::FontTable}, {"colortbl", Kw::ColorTable},
        {"stylesheet", Kw::StyleSheet}, {"info", Kw::Info}, {"generator", Kw::Generator},
        {"pict", Kw::Pict}, {"object", Kw::Object}, {"shp", Kw::Shp}, {"shpgrp", Kw::ShpGroup},
        {"shpinst", Kw::ShpInst}, {"shptxt", Kw::ShpTxt}, {"shprslt", Kw::ShpRslt},
        {"shppict", Kw::ShpPict}, {"nonshppict", Kw::NonShpPict}, {"field", Kw::Field},
        {"fldinst", Kw::FldInst}, {"fldrslt", Kw::FldRslt}, {"footnote", Kw::Footnote},
        {"ftnalt", Kw::FtnAlt}, {"annotation", Kw::Annotation}, {"header", Kw::Header},
        {"headerl", Kw::HeaderL}, {"headerr", Kw::HeaderR}, {"headerf", Kw::HeaderF},
        {"footer", Kw::Footer}, {"footerl", Kw::FooterL}, {"footerr", Kw::FooterR},
        {"footerf", Kw::FooterF}, {"listtext", Kw::ListText}, {"pntext", Kw::PnText},
        {"nesttableprops", Kw::NestTableProps}, {"nonesttables", Kw::NoNestTables},
        {"upr", Kw::Upr}, {"ud", Kw::Ud},
        // Destinations whose text is never document text, written without \* by
        // older writers: separators, index and contents entries, old list
        // numbering, revision and file tables, drawing objects.
        {"ftnsep", Kw::SkipDestination}, {"ftnsepc", Kw::SkipDestination},
        {"ftncn", Kw::SkipDestination}, {"aftnsep", Kw::SkipDestination},
        {"aftnsepc", Kw::SkipDestination}, {"aftncn", Kw::SkipDestination},
        {"xe", Kw::SkipDestination}, {"tc", Kw::SkipDestination}, {"tcn", Kw::SkipDestination},
        {"rxe", Kw::SkipDestination}, {"txe", Kw::SkipDestination}, {"pn", Kw::SkipDestination},
        {"pnseclvl", Kw::SkipDestination}, {"revtbl", Kw::SkipDestination},
        {"filetbl", Kw::SkipDestination}, {"listtable", Kw::SkipDestination},
        {"listoverridetable", Kw::SkipDestination}, {"rsidtbl", Kw::SkipDestination},
        {"do", Kw::SkipDestination}, {"template", Kw::SkipDestination},
        {"bkmkstart", Kw::SkipDestination}, {"bkmkend", Kw::SkipDestination},
        {"private", Kw::SkipDestination}, {"pgdsctbl", Kw::SkipDestination},
        {"objdata", Kw::SkipDestination}, {"blipuid", Kw::SkipDestination},
        {"atnid", Kw::SkipDestination}, {"atnauthor", Kw::SkipDestination},
        {"atntime", Kw::SkipDestination}, {"atnicn", Kw::SkipDestination},
        {"atnref", Kw::SkipDestination}, {"atndate", Kw::SkipDestination},
        {"datafield", Kw::SkipDestination}, {"formfield", Kw::SkipDestination},
        {"userprops", Kw::SkipDestination}, {"docvar", Kw::SkipDestination},
        {"sp", Kw::SkipDestination}, {"themedata", Kw::SkipDestination},
        {"colorschememapping", Kw::SkipDestination}, {"latentstyles", Kw::SkipDestination},
        {"datastore", Kw::SkipDestination}, {"xmlnstbl", Kw::SkipDestination},
        // Document
        {"ansi", Kw::Ansi}, {"mac", Kw::Mac}, {"pc", Kw::Pc}, {"pca", Kw::Pca},
        {"ansicpg", Kw::AnsiCpg}, {"deff", Kw::Deff}, {"paperw", Kw::PaperW}, {"paperh", Kw::PaperH},
        {"margl", Kw::MargL}, {"margr", Kw::MargR}, {"margt", Kw::MargT}, {"margb", Kw::MargB},
        {"gutter", Kw::Gutter}, {"deftab", Kw::DefTab}, {"facingp", Kw::FacingP},
        {"margmirror", Kw::MargMirror}, {"hyphauto", Kw::HyphAuto},
        {"fcharset", Kw::FCharset}, {"cpg", Kw::Cpg}, {"red", Kw::Red}, {"green", Kw::Green},
        {"blue", Kw::Blue}, {"sbasedon", Kw::SBasedOn}, {"s", Kw::ParaStyle}, {"cs", Kw::CharStyle},
        {"ts", Kw::TableStyle}, {"ds", Kw::TableStyle},
        {"nofpages", Kw::NofPages}, {"nofwords", Kw::NofWords}, {"nofchars", Kw::NofChars},
        {"nofcharsws", Kw::NofCharsWs},
        // Character properties
        {"plain", Kw::Plain}, {"b", Kw::Bold}, {"i", Kw::Italic}, {"ul", Kw::Underline},
        {"ulnone", Kw::UnderlineNone}, {"uld", Kw::UnderlineDotted}, {"uldash", Kw::UnderlineDash},
        {"uldashd", Kw::UnderlineDash}, {"uldashdd", Kw::UnderlineDash}, {"ulldash", Kw::UnderlineDash},
        {"uldb", Kw::UnderlineDouble}, {"ulth", Kw::UnderlineThick}, {"ulw", Kw::UnderlineWords},
        {"ulwave", Kw::UnderlineWave}, {"ulhwave", Kw::UnderlineWave}, {"ululdbwave", Kw::UnderlineWave},
        {"ulthd", Kw::UnderlineOther}, {"ulthdash", Kw::UnderlineOther},
        {"ulthdashd", Kw::UnderlineOther}, {"ulthdashdd", Kw::UnderlineOther},
        {"ulthldash", Kw::UnderlineOther}, {"scaps", Kw::SmallCaps}, {"caps", Kw::Caps},
        {"super", Kw::Super}, {"sub", Kw::Sub}, {"nosupersub", Kw::NoSuperSub}, {"up", Kw::Up},
        {"dn", Kw::Dn}, {"v", Kw::Hidden}, {"strike", Kw::Strike}, {"striked", Kw::StrikeDouble},
        {"fs", Kw::FontSize}, {"f", Kw::Font}, {"cf", Kw::ColorFg}, {"expnd", Kw::Expnd},
        {"expndtw", Kw::ExpndTw}, {"charscalex", Kw::CharScaleX}, {"kerning", Kw::Kerning},
        // Paragraph properties
        {"pard", Kw::Pard}, {"ql", Kw::QL}, {"qc", Kw::QC}, {"qr", Kw::QR}, {"qj", Kw::QJ},
        {"qd", Kw::QD}, {"li", Kw::LeftIndent}, {"lin", Kw::LeftIndent}, {"ri", Kw::RightIndent},
        {"rin", Kw::RightIndent}, {"fi", Kw::FirstIndent}, {"sb", Kw::SpaceBefore},
        {"sa", Kw::SpaceAfter}, {"sbauto", Kw::SpaceBeforeAuto}, {"saauto", Kw::SpaceAfterAuto},
        {"sl", Kw::LineSpacing}, {"slmult", Kw::LineMult}, {"tx", Kw::TabPos}, {"tb", Kw::TabBar},
        {"tqr", Kw::TabRight}, {"tqc", Kw::TabCenter}, {"tqdec", Kw::TabDecimal},
        {"tldot", Kw::LeaderDot}, {"tlhyph", Kw::LeaderHyphen}, {"tlul", Kw::LeaderUnderline},
        {"tlth", Kw::LeaderThick}, {"tlmdot", Kw::LeaderMiddleDot}, {"tleq", Kw::LeaderThick},
        {"keepn", Kw::KeepNext}, {"keep", Kw::Keep}, {"widctlpar", Kw::WidowOn},
        {"nowidctlpar", Kw::WidowOff}, {"pagebb", Kw::PageBreakBefore},
        {"contextualspace", Kw::ContextualSpace}, {"intbl", Kw::InTable}, {"itap", Kw::Itap},
        {"brdrt", Kw::BrdrT}, {"brdrb", Kw::BrdrB}, {"brdrl", Kw::BrdrL}, {"brdrr", Kw::BrdrR},
        {"brdrbtw", Kw::BrdrBtw}, {"box", Kw::BrdrBox}, {"brdrs", Kw::BrdrS}, {"brdrhair", Kw::BrdrS},
        {"brdrsh", Kw::BrdrS}, {"brdrth", Kw::BrdrTh}, {"brdrdb", Kw::BrdrDb}, {"brdrdot", Kw::BrdrDot},
        {"brdrdash", Kw::BrdrDash}, {"brdrdashsm", Kw::BrdrDash}, {"brdrdashd", Kw::BrdrDash},
        {"brdrdashdd", Kw::BrdrDash}, {"brdrtriple", Kw::BrdrTriple}, {"brdrtnthsg", Kw::BrdrThinThick},
        {"brdrthtnsg", Kw::BrdrThinThick}, {"brdrtnthtnsg", Kw::BrdrThinThick},
        {"brdrtnthmg", Kw::BrdrThinThick}, {"brdrthtnmg", Kw::BrdrThinThick},
        {"brdrtnthtnmg", Kw::BrdrThinThick}, {"brdrtnthlg", Kw::BrdrThinThick},
        {"brdrthtnlg", Kw::BrdrThinThick}, {"brdrtnthtnlg", Kw::BrdrThinThick},
        {"brdrwavy", Kw::BrdrWavy}, {"brdrwavydb", Kw::BrdrWavy}, {"brdrnone", Kw::BrdrNone},
        {"brdrnil", Kw::BrdrNone}, {"brdrw", Kw::BrdrW}, {"brsp", Kw::BrSp}, {"brdrcf", Kw::BrdrCf},
        {"cbpat", Kw::CbPat},
        // Content
        {"par", Kw::Par}, {"line", Kw::Line}, {"tab", Kw::Tab}, {"page", Kw::Page},
        {"column", Kw::Column}, {"sect", Kw::Sect}, {"cell", Kw::Cell}, {"row", Kw::Row},
        {"nestcell", Kw::NestCell}, {"nestrow", Kw::NestRow}, {"chftn", Kw::Chftn},
        {"u", Kw::Unicode}, {"uc", Kw::UnicodeSkip}, {"bin", Kw::Bin}, {"emdash", Kw::EmDash},
        {"endash", Kw::EnDash}, {"bullet", Kw::Bullet}, {"lquote", Kw::LQuote},
        {"rquote", Kw::RQuote}, {"ldblquote", Kw::LDblQuote}, {"rdblquote", Kw::RDblQuote},
        {"emspace", Kw::EmSpace}, {"enspace", Kw::EnSpace}, {"qmspace", Kw::QmSpace},
        {"zwj", Kw::Zwj}, {"zwnj", Kw::Zwnj}, {"ltrmark", Kw::LtrMark}, {"rtlmark", Kw::RtlMark},
        // Sections
        {"sectd", Kw::SectD}, {"sbknone", Kw::SbkNone}, {"sbkcol", Kw::SbkCol},
        {"sbkpage", Kw::SbkPage}, {"sbkeven", Kw::SbkEven}, {"sbkodd", Kw::SbkOdd},
        {"pgwsxn", Kw::PgWSxn}, {"pghsxn", Kw::PgHSxn}, {"marglsxn", Kw::MargLSxn},
        {"margrsxn", Kw::MargRSxn}, {"margtsxn", Kw::MargTSxn}, {"margbsxn", Kw::MargBSxn},
        {"guttersxn", Kw::GutterSxn}, {"headery", Kw::HeaderY}, {"footery", Kw::FooterY},
        {"titlepg", Kw::TitlePg}, {"cols", Kw::Cols}, {"colsx", Kw::ColsX},
        // Table rows
        {"trowd", Kw::TRowD}, {"cellx", Kw::CellX}, {"trgaph", Kw::TrGaph}, {"trleft", Kw::TrLeft},
        {"trrh", Kw::TrRh}, {"trhdr", Kw::TrHdr}, {"trkeep", Kw::TrKeep}, {"trql", Kw::TrQL},
        {"trqc", Kw::TrQC}, {"trqr", Kw::TrQR}, {"trpaddl", Kw::TrPaddL}, {"trpaddr", Kw::TrPaddR},
        {"trpaddt", Kw::TrPaddT}, {"trpaddb", Kw::TrPaddB}, {"clvmgf", Kw::ClVmgf},
        {"clvmrg", Kw::ClVmrg}, {"clmgf", Kw::ClMgf}, {"clmrg", Kw::ClMrg}, {"clcbpat", Kw::ClCbPat},
        {"trbrdrt", Kw::TrBrdrT}, {"trbrdrb", Kw::TrBrdrB}, {"trbrdrl", Kw::TrBrdrL},
        {"trbrdrr", Kw::TrBrdrR}, {"trbrdrh", Kw::TrBrdrH}, {"trbrdrv", Kw::TrBrdrV},
        {"clbrdrt", Kw::ClBrdrT}, {"clbrdrb", Kw::ClBrdrB}, {"clbrdrl", Kw::ClBrdrL},
        {"clbrdrr", Kw::ClBrdrR},
        // Pictures and shapes
        {"picw", Kw::PicW}, {"pich", Kw::PicH}, {"picwgoal", Kw::PicWGoal}, {"pichgoal", Kw::PicHGoal},
        {"picscalex", Kw::PicScaleX}, {"picscaley", Kw::PicScaleY}, {"objw", Kw::ObjW},
        {"objh", Kw::ObjH}, {"shpleft", Kw::ShpLeft}, {"shptop", Kw::ShpTop},
        {"shpright", Kw::ShpRight}, {"shpbottom", Kw::ShpBottom},
    };
    return map;
}

} // namespace

Kw lookupKeyword(std::string_view word)
{
    const auto& map = table();
    auto it = map.find(word);
    return it == map.end() ? Kw::Unknown : it->second;
}

} // namespace qm::engine::rtf
