// Character classes from a Latin-1 table and ICU's Unicode properties.
#include "engine/access/ScriptRules.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>

#include <atomic>
#include <memory>

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

ScriptClass detail::scriptClassFromProperties(char32_t c)
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

std::atomic<const detail::ClassBlock*> detail::bmpBlocks[256];

namespace {

// The classes of the Basic Multilingual Plane, 256 code points a block.
// Asking ICU costs five or six property look-ups a character, and text in
// any script other than Latin asks for the same few blocks again and again:
// each block is worked out from the properties the first time one of its
// characters is met, then read from the table. A block is published whole
// through an atomic pointer, so threads counting at once either see it
// complete or build their own copy (the loser's copy is dropped).
using detail::ClassBlock;

const ClassBlock& bmpBlock(char32_t c)
{
    std::atomic<const ClassBlock*>& slot = detail::bmpBlocks[c >> 8];
    const ClassBlock* block = slot.load(std::memory_order_acquire);
    if (block)
        return *block;
    auto fresh = std::make_unique<ClassBlock>();
    const char32_t first = c & ~char32_t(0xFF);
    for (char32_t i = 0; i < 256; ++i)
        (*fresh)[i] = detail::scriptClassFromProperties(first + i);
    if (slot.compare_exchange_strong(block, fresh.get(), std::memory_order_acq_rel))
        return *fresh.release();
    return *block;
}

} // namespace

ScriptClass detail::scriptClassBeyondLatin1(char32_t c)
{
    // Beyond the BMP (emoji, rare ideographs) characters are few and spread
    // over a vast range: ICU answers them directly.
    if (c > 0xFFFF)
        return scriptClassFromProperties(c);
    return bmpBlock(c)[c & 0xFF];
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
