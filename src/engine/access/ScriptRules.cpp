// Character classes from a Latin-1 table and ICU's Unicode properties.
#include "engine/access/ScriptRules.h"

#include <array>
#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace qm::engine {

namespace {

constexpr std::array<ScriptClass, 256> latin1Classes()
{
    std::array<ScriptClass, 256> t{};
    for (int c = 0; c < 256; ++c) {
        ScriptClass k = ScriptClass::Symbol;
        if (c < 0x20)
            k = ScriptClass::Control;
        else if (c == 0x20 || c == 0xA0)
            k = ScriptClass::Space;
        else if ((c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
            k = ScriptClass::Letter;
        else if (c == 0xAA || c == 0xB5 || c == 0xBA || (c >= 0xC0 && c != 0xD7 && c != 0xF7))
            k = ScriptClass::Letter;
        else if (c == 0xAD) // soft hyphen stored as a character
            k = ScriptClass::Invisible;
        t[static_cast<size_t>(c)] = k;
    }
    return t;
}

constexpr std::array<ScriptClass, 256> Latin1 = latin1Classes();

bool isEastAsianScript(UScriptCode script)
{
    switch (script) {
    case USCRIPT_HAN:
    case USCRIPT_HIRAGANA:
    case USCRIPT_KATAKANA:
    case USCRIPT_HANGUL:
    case USCRIPT_BOPOMOFO: return true;
    default: return false;
    }
}

bool isEastAsian(UChar32 c)
{
    // Emoji drawn wide by default are pictographs, not East Asian text.
    if (u_hasBinaryProperty(c, UCHAR_EMOJI_PRESENTATION))
        return false;
    switch (u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH)) {
    case U_EA_WIDE:
    case U_EA_FULLWIDTH:
    case U_EA_HALFWIDTH: return true;
    default: break;
    }
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(c, &status);
    return U_SUCCESS(status) && isEastAsianScript(script);
}

} // namespace

ScriptClass scriptClass(char32_t c)
{
    if (c < 0x100)
        return Latin1[c];
    const auto u = static_cast<UChar32>(c);
    if (u_hasBinaryProperty(u, UCHAR_WHITE_SPACE))
        return ScriptClass::Space;
    if (u_hasBinaryProperty(u, UCHAR_DEFAULT_IGNORABLE_CODE_POINT))
        return ScriptClass::Invisible;
    const int8_t category = u_charType(u);
    switch (category) {
    case U_NON_SPACING_MARK:
    case U_ENCLOSING_MARK:
    case U_COMBINING_SPACING_MARK: return ScriptClass::Mark;
    case U_SURROGATE:
    case U_PRIVATE_USE_CHAR: return ScriptClass::Symbol;
    default: break;
    }
    if (isEastAsian(u))
        return ScriptClass::EastAsian;
    if (u_isalnum(u))
        return ScriptClass::Letter;
    return ScriptClass::Symbol;
}

int64_t countCodePoints(std::u16string_view text)
{
    int64_t n = static_cast<int64_t>(text.size());
    for (size_t i = 1; i < text.size(); ++i)
        if (isTrailSurrogate(text[i]) && isLeadSurrogate(text[i - 1]))
            --n;
    return n;
}

} // namespace qm::engine
