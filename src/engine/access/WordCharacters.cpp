// Letter and digit classification by ranges of the Basic Multilingual Plane.
#include "engine/access/WordCharacters.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace qm::engine {

namespace {

// Ranges above Latin-1 that hold punctuation, symbols, spaces or formatting
// characters rather than letters and digits, in ascending order. Anything
// above U+00FF not listed here belongs to some script's letters, digits or
// marks: exact enough for word boundaries, and far cheaper than full tables.
constexpr std::pair<char16_t, char16_t> NotWordRanges[] = {
    {0x037E, 0x037E}, {0x0387, 0x0387},                   // Greek question mark, ano teleia
    {0x055A, 0x055F}, {0x0589, 0x058A},                   // Armenian punctuation
    {0x05BE, 0x05BE}, {0x05C0, 0x05C0}, {0x05C3, 0x05C3}, {0x05C6, 0x05C6}, {0x05F3, 0x05F4}, // Hebrew
    {0x0600, 0x060F}, {0x061B, 0x061F}, {0x066A, 0x066D}, {0x06D4, 0x06D4},                 // Arabic
    {0x0964, 0x0965}, {0x0970, 0x0970},                   // Devanagari danda
    {0x0E3F, 0x0E3F}, {0x0E4F, 0x0E4F}, {0x0E5A, 0x0E5B}, // Thai
    {0x10FB, 0x10FB}, {0x1360, 0x1368},                   // Georgian, Ethiopic punctuation
    {0x166D, 0x166E}, {0x1680, 0x1680},                   // Canadian syllabics punctuation, Ogham space
    {0x17D4, 0x17DA}, {0x1800, 0x180E},                   // Khmer, Mongolian punctuation
    {0x2000, 0x2BFF},                                     // punctuation, super/subscripts, currency,
                                                          // letterlike and number forms, arrows,
                                                          // mathematics, technical, boxes, shapes,
                                                          // dingbats, enclosed numbers
    {0x2CF9, 0x2CFF}, {0x2E00, 0x2E7F},                   // Coptic and supplemental punctuation
    {0x2FF0, 0x3004}, {0x3008, 0x3020}, {0x3030, 0x3030}, {0x303D, 0x303F}, // CJK symbols and punctuation
    {0x30A0, 0x30A0}, {0x30FB, 0x30FB},                   // katakana double hyphen, middle dot
    {0xA4FE, 0xA4FF}, {0xA60D, 0xA60F}, {0xA673, 0xA673}, {0xA6F2, 0xA6F7}, // Lisu, Vai, Bamum punctuation
    {0xE000, 0xF8FF},                                     // private use: symbol-font characters
    {0xFD3E, 0xFD3F},                                     // ornate parentheses
    {0xFE10, 0xFE1F}, {0xFE30, 0xFE6F},                   // vertical and small forms
    {0xFEFF, 0xFEFF},                                     // zero-width no-break space
    {0xFF00, 0xFF0F}, {0xFF1A, 0xFF20}, {0xFF3B, 0xFF40}, {0xFF5B, 0xFF65}, // fullwidth punctuation
    {0xFFE0, 0xFFFF},                                     // fullwidth signs, specials
};

constexpr bool ascendingAndDisjoint()
{
    for (size_t i = 0; i < std::size(NotWordRanges); ++i) {
        if (NotWordRanges[i].first > NotWordRanges[i].second)
            return false;
        if (i > 0 && NotWordRanges[i - 1].second >= NotWordRanges[i].first)
            return false;
    }
    return true;
}
static_assert(ascendingAndDisjoint(), "the lookup below relies on sorted ranges");

bool inNotWordRanges(char16_t c)
{
    auto it = std::upper_bound(std::begin(NotWordRanges), std::end(NotWordRanges), c,
                               [](char16_t v, const std::pair<char16_t, char16_t>& r) { return v < r.first; });
    if (it == std::begin(NotWordRanges))
        return false;
    --it;
    return c <= it->second;
}

bool isApostrophe(char16_t c) { return c == u'\'' || c == 0x2019; }

// Emoji and pictographs live in the supplementary planes behind these lead surrogates.
bool isPictographLead(char16_t c) { return c >= 0xD83C && c <= 0xD83E; }

bool classifyUnit(std::u16string_view text, size_t pos)
{
    const char16_t c = text[pos];
    if (c >= 0xDC00 && c <= 0xDFFF) // a trail surrogate takes its lead's class
        return pos > 0 && text[pos - 1] >= 0xD800 && text[pos - 1] <= 0xDBFF && !isPictographLead(text[pos - 1]);
    if (c >= 0xD800 && c <= 0xDBFF)
        return !isPictographLead(c);
    return isLetterOrDigit(c);
}

} // namespace

bool isLetterOrDigit(char16_t c)
{
    if (c < 0x80)
        return (c >= u'0' && c <= u'9') || (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z');
    if (c < 0x100)
        return c == 0xAA || c == 0xB5 || c == 0xBA || (c >= 0xC0 && c != 0xD7 && c != 0xF7);
    return !inNotWordRanges(c);
}

bool isWordCharacterAt(std::u16string_view text, size_t pos)
{
    if (pos >= text.size())
        return false;
    if (isApostrophe(text[pos]))
        return pos > 0 && pos + 1 < text.size() && classifyUnit(text, pos - 1) && classifyUnit(text, pos + 1);
    return classifyUnit(text, pos);
}

bool isWordStart(std::u16string_view text, size_t pos)
{
    return isWordCharacterAt(text, pos) && (pos == 0 || !isWordCharacterAt(text, pos - 1));
}

bool isWordEnd(std::u16string_view text, size_t pos)
{
    return pos > 0 && pos <= text.size() && isWordCharacterAt(text, pos - 1) && !isWordCharacterAt(text, pos);
}

char16_t foldCase(char16_t c)
{
    if (c < 0x80)
        return (c >= u'A' && c <= u'Z') ? static_cast<char16_t>(c + 32) : c;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return static_cast<char16_t>(c + 32);
    if (c >= 0x100 && c <= 0x17F) {
        // Latin Extended-A pairs capitals and small letters, even code first,
        // except in the stretches 0x139-0x148 and 0x179-0x17E (odd code first).
        if (c == 0x130 || c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F)
            return c;
        if (c == 0x178)
            return 0xFF;
        const bool oddFirst = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
        const bool isCapital = oddFirst ? (c & 1) == 1 : (c & 1) == 0;
        return isCapital ? static_cast<char16_t>(c + 1) : c;
    }
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2)
        return static_cast<char16_t>(c + 32);
    if (c >= 0x410 && c <= 0x42F)
        return static_cast<char16_t>(c + 32);
    if (c >= 0x400 && c <= 0x40F)
        return static_cast<char16_t>(c + 80);
    return c;
}

} // namespace qm::engine
