// Character classes from a Latin-1 table and ICU's Unicode properties.
#include "engine/access/ScriptRules.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

namespace qm::engine {

namespace {

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
    // Most text holds no surrogate at all: a branch-free look over the units,
    // which the compiler runs many at a time, settles that first.
    uint16_t anySurrogate = 0;
    for (char16_t c : text)
        anySurrogate |= static_cast<uint16_t>((c & 0xF800) == 0xD800);
    if (!anySurrogate)
        return static_cast<int64_t>(text.size());
    int64_t pairs = 0;
    for (size_t i = 1; i < text.size(); ++i)
        pairs += ((text[i] & 0xFC00) == 0xDC00) & ((text[i - 1] & 0xFC00) == 0xD800);
    return static_cast<int64_t>(text.size()) - pairs;
}

} // namespace qm::engine
