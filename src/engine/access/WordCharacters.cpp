// Word boundaries of the wildcard find over Word's character classes, and case folding.
#include "engine/access/WordCharacters.h"

#include "engine/access/ScriptRules.h"

#include <unicode/uchar.h>

namespace qm::engine {

namespace {

// A code point's part in a word: a letter of a word, an East Asian character
// (a word of its own), a mark or format character that belongs to the East
// Asian character before it, or none.
enum class Role : uint8_t { None, Letter, EastAsian, EastAsianTail };

// Marks and format characters take the part of the character they follow;
// runs of them longer than this are looked through no further, which keeps
// every classification bounded.
constexpr int MaxAttachedRun = 32;

bool isApostrophe(char32_t c) { return c == u'\'' || c == 0x2019; }

// The role of the code point starting at pos, apostrophes taken as symbols.
Role baseRole(std::u16string_view text, size_t pos)
{
    const ScriptClass k = scriptClass(codePointAt(text, pos).value);
    switch (k) {
    case ScriptClass::Letter: return Role::Letter;
    case ScriptClass::EastAsian: return Role::EastAsian;
    case ScriptClass::Mark:
    case ScriptClass::Invisible: {
        size_t at = pos;
        for (int n = 0; n < MaxAttachedRun && at > 0; ++n) {
            at = previousCodePoint(text, at);
            const ScriptClass before = scriptClass(codePointAt(text, at).value);
            if (before == ScriptClass::Mark || before == ScriptClass::Invisible)
                continue;
            if (before == ScriptClass::Letter)
                return Role::Letter;
            if (before == ScriptClass::EastAsian)
                return Role::EastAsianTail;
            break;
        }
        // With nothing to attach to, a combining mark still shows as a letter;
        // an invisible character is no part of any word.
        return k == ScriptClass::Mark ? Role::Letter : Role::None;
    }
    default: return Role::None;
    }
}

Role roleAt(std::u16string_view text, size_t pos)
{
    // Latin text answers from the table at once; only the apostrophe and the
    // soft hyphen look at their neighbours.
    const char16_t unit = text[pos];
    if (unit < 0x100 && unit != u'\'') {
        const ScriptClass k = detail::Latin1Classes[unit];
        if (k != ScriptClass::Invisible)
            return k == ScriptClass::Letter ? Role::Letter : Role::None;
    }
    if (isInsidePair(text, pos))
        --pos;
    if (!isApostrophe(text[pos]))
        return baseRole(text, pos);
    if (pos == 0 || pos + 1 >= text.size())
        return Role::None;
    return baseRole(text, previousCodePoint(text, pos)) == Role::Letter && baseRole(text, pos + 1) == Role::Letter
               ? Role::Letter
               : Role::None;
}

} // namespace

bool isLetterOrDigit(char32_t c)
{
    switch (scriptClass(c)) {
    case ScriptClass::Letter:
    case ScriptClass::Mark: return true;
    case ScriptClass::EastAsian: return u_isalnum(static_cast<UChar32>(c));
    default: return false;
    }
}

bool isWordCharacterAt(std::u16string_view text, size_t pos)
{
    return pos < text.size() && roleAt(text, pos) != Role::None;
}

bool detail::isWordStartBeyondLatin(std::u16string_view text, size_t pos)
{
    if (isInsidePair(text, pos))
        return false;
    const Role r = roleAt(text, pos);
    if (r == Role::EastAsian)
        return true;
    return r == Role::Letter && (pos == 0 || roleAt(text, previousCodePoint(text, pos)) != Role::Letter);
}

bool detail::isWordEndBeyondLatin(std::u16string_view text, size_t pos)
{
    if (isInsidePair(text, pos))
        return false;
    const Role before = roleAt(text, previousCodePoint(text, pos));
    const Role after = pos < text.size() ? roleAt(text, pos) : Role::None;
    switch (before) {
    case Role::Letter: return after != Role::Letter;
    case Role::EastAsian:
    case Role::EastAsianTail: return after != Role::EastAsianTail;
    case Role::None: return false;
    }
    return false;
}

char32_t foldCase(char32_t c)
{
    if (c < 0x80)
        return (c >= u'A' && c <= u'Z') ? static_cast<char32_t>(c + 32) : c;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return static_cast<char32_t>(c + 32);
    if (c >= 0x100 && c <= 0x17F) {
        // Latin Extended-A pairs capitals and small letters, even code first,
        // except in the stretches 0x139-0x148 and 0x179-0x17E (odd code first).
        if (c == 0x130 || c == 0x131 || c == 0x138 || c == 0x149 || c == 0x17F)
            return c;
        if (c == 0x178)
            return 0xFF;
        const bool oddFirst = (c >= 0x139 && c <= 0x148) || (c >= 0x179 && c <= 0x17E);
        const bool isCapital = oddFirst ? (c & 1) == 1 : (c & 1) == 0;
        return isCapital ? static_cast<char32_t>(c + 1) : c;
    }
    if (c >= 0x391 && c <= 0x3AB && c != 0x3A2)
        return static_cast<char32_t>(c + 32);
    if (c >= 0x410 && c <= 0x42F)
        return static_cast<char32_t>(c + 32);
    if (c >= 0x400 && c <= 0x40F)
        return static_cast<char32_t>(c + 80);
    return c;
}

} // namespace qm::engine
