// Word 97-2003 property modifiers (sprms), the font table and the style sheet.
#pragma once

#include "engine/model/Formats.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine::doc {

/// Calls f(sprm, operand) for each property modifier of a grpprl, stopping at
/// the first one whose operand would run past the end.
void forEachSprm(std::string_view grpprl, const std::function<void(uint16_t, std::string_view)>& f);

/// Font names by index, from the font table.
std::vector<std::string> parseFontTable(std::string_view sttbfFfn);

/// The font Word lays a font out with when it is not installed, by font
/// name, from the font table: each font's alternate name, else the font of
/// its family and pitch.
std::map<std::string, std::string> parseFontStandIns(std::string_view sttbfFfn);

/// The stand-in of an FFN's font (fontStandIn): its alternate name, else the
/// font of the family and pitch its ffid byte gives.
std::string ffnStandIn(std::string_view name, std::string_view alternate, uint8_t ffid);

/// Character properties while they are being resolved: the model's format
/// plus what the reader needs beyond it.
struct Chp {
    CharFormat format;
    uint16_t istd = 10;           ///< character style; 10 is "Default Paragraph Font"
    bool special = false;         ///< the character is one of Word's special characters
    bool deleted = false;         ///< a tracked deletion: not in the final text Word counts
    std::optional<uint32_t> picture; ///< offset of the picture's header in the "Data" stream
    char16_t symbol = 0;          ///< the character a symbol character shows
};

/// Paragraph properties while they are being resolved, with the table marks.
struct Pap {
    ParaFormat format;
    uint16_t istd = 0;
    bool inTable = false;
    bool rowEnd = false;          ///< fTtp: this mark ends a table row
    bool innerCell = false;       ///< a nested table's cell ends at this mark
    bool innerRowEnd = false;     ///< a nested table's row ends at this mark
    int32_t itap = -1;            ///< table depth when stated
    /// A row keeps its column widths unless sprmTFAutofit says the table is
    /// fitted to its contents ([MS-DOC] 2.6.4: fAutofit, 0 by default).
    TableRowFormat row = [] {
        TableRowFormat r;
        r.fixedLayout = true;
        return r;
    }();

    int32_t depth() const { return itap >= 0 ? itap : (inTable ? 1 : 0); }
};

/// Applies one sprm to character properties; toggles (0x80, 0x81) refer to
/// `base`, the properties the styles give.
void applyChpSprm(Chp& chp, const Chp& base, uint16_t sprm, std::string_view operand,
                  const std::vector<std::string>& fonts);
void applyPapSprm(Pap& pap, uint16_t sprm, std::string_view operand);
void applySepSprm(SectionFormat& sep, uint16_t sprm, std::string_view operand);

/// Applies every character sprm of a grpprl, toggles against `base`.
void applyChpx(Chp& chp, const Chp& base, std::string_view grpprl, const std::vector<std::string>& fonts);
void applyPapx(Pap& pap, std::string_view grpprl);

/// Word's page setup for a section that states nothing.
SectionFormat defaultSectionFormat();

/// The style sheet: each style's properties resolved through its base
/// styles. Cycles and missing bases are cut; out-of-range indices give
/// Word's defaults.
class StyleSheet {
public:
    void parse(std::string_view stsh, const std::vector<std::string>& fonts);

    /// The properties paragraph style istd gives (its own and its bases').
    const Pap& paragraphStyle(uint16_t istd) const;
    const Chp& paragraphStyleChp(uint16_t istd) const;
    /// Applies character style istd over chp (the paragraph style's).
    void applyCharacterStyle(Chp& chp, uint16_t istd) const;
    const Chp& defaults() const { return m_defaults; }

private:
    struct Style {
        uint8_t kind = 0; // 1 paragraph, 2 character, 3 table, 4 list
        uint16_t base = 0x0FFF;
        std::string name;
        std::string papx, chpx;
        bool resolved = false;
        Pap pap;
        Chp chp;
    };
    void resolve(uint16_t istd, int depth);

    std::vector<Style> m_styles;
    Chp m_defaults;
    Pap m_defaultPap;
    const std::vector<std::string>* m_fonts = nullptr;
};

} // namespace qm::engine::doc
