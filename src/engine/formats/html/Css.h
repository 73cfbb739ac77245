// The part of CSS a page's formatting needs when Word opens it: declarations
// of fonts, emphasis, visibility and paragraph spacing, and simple selectors.
#pragma once

#include "engine/model/Formats.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::engine::html {

/// What CSS gives one element. Character properties are inherited by the
/// element's children; block properties belong to the element alone.
struct Style {
    CharFormat chars;
    ParaFormat block;
    bool displayNone = false; ///< display:none or mso-hide:all: left out with its content
    bool listIgnore = false;  ///< mso-list:Ignore: Word's own export of a list label
    bool msoList = false;     ///< mso-list:lN levelN: a paragraph Word exported from a list
    bool pageBreakBefore = false;
    bool preformatted = false; ///< white-space:pre
};

/// Applies one declaration block ("font-weight:bold; font-size:12pt") to a
/// style. `parentSizeHalfPoints` resolves em and percent sizes. The subset:
/// font-family, font-size (pt, px, in, cm, mm, em, %, keywords), font-weight,
/// font-style, font-variant, font (shorthand), text-decoration,
/// text-transform, vertical-align, display:none, visibility:hidden,
/// white-space, text-align, margin, margin-left/right/top/bottom,
/// text-indent, page-break-before, and Word's mso-hide:all, mso-list. Other
/// properties and malformed declarations are ignored, as browsers ignore them.
void applyDeclarations(std::string_view declarations, Style& style, uint16_t parentSizeHalfPoints);

/// A style sheet of rules with simple selectors: an element (p), a class
/// (.Note) or both (p.MsoNormal), in comma lists. Rules with other selectors
/// (descendants, attributes, pseudo-classes) and at-rules are left out.
class StyleSheet {
public:
    /// Adds the rules of a `<style>` element's text; comment delimiters and
    /// HTML comment marks around the text are skipped.
    void add(std::string_view css);
    /// Applies the rules that match an element, element rules first, then
    /// class rules, then element-and-class rules, each in source order.
    void apply(std::string_view element, std::string_view classes, Style& style, uint16_t parentSizeHalfPoints) const;
    bool empty() const { return m_rules.empty(); }
    /// The page setup of the first @page rule (Word's export names it after
    /// its first section, "@page WordSection1"): size and margins. Letter
    /// with one-inch margins, Word's defaults, where the rule says nothing.
    SectionFormat pageSetup() const;

private:
    std::string m_page; ///< the declarations of the first @page rule
    struct Rule {
        std::string element; ///< lower case; empty: any
        std::string cls;     ///< empty: none
        std::string declarations;
    };
    std::vector<Rule> m_rules;
};

/// A CSS length in twips ("12pt", "0.5in", "16px"); `emTwips` for em and %.
/// Nothing for "auto" or a malformed length.
bool parseLength(std::string_view text, double emTwips, double& twips);

} // namespace qm::engine::html
