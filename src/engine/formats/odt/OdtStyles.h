// OpenDocument styles: families, parent chains, automatic styles, list styles, page layouts.
#pragma once

#include "engine/formats/docx/DocxStyles.h"
#include "engine/model/Formats.h"

#include <pugixml.hpp>

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace qm::engine::odt {

/// A length as OpenDocument writes it ("2.54cm", "0.5in", "12pt") in twips;
/// nullopt for percentages and malformed values.
std::optional<Twips> parseLength(std::string_view text);

/// A border as fo:border writes it ("0.5pt solid #000000", "none"): its
/// width, style and colour in any order. A double border's width is the
/// whole of it, its two lines and the gap.
BorderLine parseBorder(std::string_view text);

/// What a table cell's style gives it: its borders and its padding.
struct CellProps {
    CellBorders borders;
    std::optional<Twips> paddingTop, paddingBottom, paddingLeft, paddingRight;
    CellVerticalAlign verticalAlign = CellVerticalAlign::Top;
};

/// The name under which the heading outline's numbering is kept with the
/// list styles (no list style can have it: it is not a valid style name).
inline constexpr const char* OutlineListStyle = "\x01outline";

/// One level of a list style.
struct ListLevel {
    bool bullet = false;
    std::u16string bulletChar;
    std::string format = "1"; ///< "1", "a", "A", "i", "I", or "" for none
    std::string prefix, suffix;
    int32_t start = 1;
    int32_t displayLevels = 1;
    std::optional<Twips> indent, firstLine;
};

/// A page layout and the master page that uses it.
struct MasterPage {
    SectionFormat format;
    pugi::xml_node header, headerLeft, headerFirst, footer, footerLeft, footerFirst;
};

/// Which automatic styles a name refers to: content.xml's body or styles.xml's
/// master pages (the two may use the same names for different styles).
enum class StyleScope : uint8_t { Content, Styles };

/// The style sheet of one document. Formats are resolved through the
/// family's default style and the parent chain, with cycle guards; an unknown
/// name resolves like no style at all.
class OdtStyles {
public:
    /// Reads font faces, common and automatic styles, list styles, page
    /// layouts and master pages. `contentAutomatic` may be null (flat files
    /// keep one set of automatic styles, passed as `stylesAutomatic`).
    void load(const pugi::xml_node& fontFaces, const pugi::xml_node& common, const pugi::xml_node& stylesAutomatic,
              const pugi::xml_node& contentAutomatic, const pugi::xml_node& masterStyles,
              const pugi::xml_node& contentFontFaces);

    docx::RunProps textProps(StyleScope scope, std::string_view family, const std::string& name) const;
    docx::ParaProps paraProps(StyleScope scope, const std::string& name) const;
    docx::RunProps defaultText() const { return m_defaultText; }
    /// The display name of the paragraph's common style ("Text Body").
    std::string displayName(StyleScope scope, const std::string& name) const;
    /// The master page a paragraph or table style starts, or empty.
    std::string masterPageOf(StyleScope scope, std::string_view family, const std::string& name) const;
    std::string listStyleOf(StyleScope scope, const std::string& paragraphStyle) const;
    const ListLevel* listLevel(const std::string& listStyle, int level) const;
    std::optional<Twips> columnWidth(StyleScope scope, const std::string& name) const;
    CellProps cellProps(StyleScope scope, const std::string& name) const;
    const MasterPage* masterPage(const std::string& name) const;
    const std::string& firstMasterPage() const { return m_firstMaster; }
    Twips defaultTabStop() const { return m_defaultTab; }

private:
    struct Style {
        std::string family, parent, displayName, masterPage, listStyle;
        docx::RunProps text;
        docx::ParaProps para;
        std::optional<Twips> columnWidth;
        CellProps cell;
    };
    const Style* find(StyleScope scope, std::string_view family, const std::string& name) const;
    void readStyles(const pugi::xml_node& root, std::map<std::pair<std::string, std::string>, Style>& into,
                    std::map<std::string, SectionFormat>* layouts);

    std::map<std::string, std::string> m_fonts; // face name -> family
    std::map<std::pair<std::string, std::string>, Style> m_common, m_stylesAuto, m_contentAuto; // (family, name)
    std::map<std::string, std::array<ListLevel, 10>> m_lists;
    std::map<std::string, MasterPage> m_masters;
    std::string m_firstMaster;
    docx::RunProps m_defaultText;
    docx::ParaProps m_defaultPara;
    Twips m_defaultTab = 720;
};

} // namespace qm::engine::odt
