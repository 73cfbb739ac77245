// Decoding East Asian double-byte text with ICU's converters of the Windows pages.
#include "engine/formats/doc/DoubleByte.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>

namespace qm::engine::doc {

namespace {

// ICU's names of the Windows pages (the plain "windows-936" and the like are
// ambiguous aliases there).
const char* converterName(uint16_t codePage)
{
    switch (codePage) {
    case 932: return "windows-932";
    case 936: return "windows-936-2000";
    case 949: return "windows-949-2000";
    case 950: return "windows-950-2000";
    default: return nullptr;
    }
}

constexpr char16_t NotYet = 0, NoCharacter = 0xFFFF;

} // namespace

bool isDoubleByteCodePage(uint16_t codePage) { return converterName(codePage) != nullptr; }

std::shared_ptr<DoubleByteCharacters> DoubleByteCharacters::open(uint16_t codePage)
{
    const char* name = converterName(codePage);
    if (!name)
        return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    UConverter* converter = ucnv_open(name, &status);
    if (U_FAILURE(status) || !converter)
        return nullptr;
    // A byte sequence the page does not map is reported, not replaced, so
    // that a stray lead byte leaves the byte after it alone.
    ucnv_setToUCallBack(converter, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
    if (U_FAILURE(status)) {
        ucnv_close(converter);
        return nullptr;
    }
    return std::shared_ptr<DoubleByteCharacters>(new DoubleByteCharacters(codePage, converter));
}

DoubleByteCharacters::DoubleByteCharacters(uint16_t codePage, UConverter* converter)
    : m_codePage(codePage), m_converter(converter), m_pairs(65536, NotYet)
{
    UErrorCode status = U_ZERO_ERROR;
    UBool starters[256] = {};
    ucnv_getStarters(m_converter, starters, &status);
    for (int byte = 0; byte < 256; ++byte) {
        m_lead[static_cast<size_t>(byte)] = U_SUCCESS(status) && starters[byte];
        const char in = static_cast<char>(byte);
        UChar out[2] = {};
        UErrorCode s = U_ZERO_ERROR;
        const int32_t n = ucnv_toUChars(m_converter, out, 2, &in, 1, &s);
        m_single[static_cast<size_t>(byte)] =
            U_SUCCESS(s) && n == 1 && !m_lead[static_cast<size_t>(byte)] ? out[0] : u'\uFFFD';
    }
}

DoubleByteCharacters::~DoubleByteCharacters() { ucnv_close(m_converter); }

std::optional<char16_t> DoubleByteCharacters::pair(uint8_t lead, uint8_t trail) const
{
    char16_t& known = m_pairs[static_cast<size_t>(lead) << 8 | trail];
    if (known == NotYet) {
        const char in[2] = {static_cast<char>(lead), static_cast<char>(trail)};
        UChar out[2] = {};
        UErrorCode status = U_ZERO_ERROR;
        const int32_t n = ucnv_toUChars(m_converter, out, 2, in, 2, &status);
        // These pages hold only characters of the Basic Multilingual Plane.
        known = U_SUCCESS(status) && n == 1 && out[0] != NotYet && out[0] != NoCharacter ? out[0] : NoCharacter;
    }
    return known == NoCharacter ? std::nullopt : std::optional<char16_t>(known);
}

char16_t DoubleByteCharacters::unit(uint16_t value) const
{
    if (value < 0x100)
        return m_single[value];
    if (m_lead[value >> 8])
        if (const auto c = pair(static_cast<uint8_t>(value >> 8), static_cast<uint8_t>(value & 0xFF)))
            return *c;
    return static_cast<char16_t>(value);
}

} // namespace qm::engine::doc
