// Character classes from a Latin-1 table and ICU's Unicode properties.
#include "engine/access/ScriptRules.h"

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

constinit const std::array<ScriptClass, 256> detail::Latin1Classes = latin1Classes();

ScriptClass detail::scriptClassBeyondLatin1(char32_t c)
{
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
    // Branch-free, so the compiler can run it over many units at once.
    int64_t pairs = 0;
    for (size_t i = 1; i < text.size(); ++i)
        pairs += ((text[i] & 0xFC00) == 0xDC00) & ((text[i - 1] & 0xFC00) == 0xD800);
    return static_cast<int64_t>(text.size()) - pairs;
}

} // namespace qm::engine
