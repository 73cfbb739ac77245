// Text in an East Asian double-byte code page, as Word 6 and Word 95 store it.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

struct UConverter;

namespace qm::engine::doc {

/// Whether a Windows code page is one of the East Asian double-byte pages:
/// 932 Japanese, 936 Simplified Chinese, 949 Korean, 950 Traditional Chinese.
bool isDoubleByteCodePage(uint16_t codePage);

/// The characters of a double-byte code page. A lead byte and the trail
/// byte after it are one character; any other byte is a character alone.
/// Word 6 and Word 95 for the Far East store their text so: in 8-bit text
/// each byte takes a character position, a pair two; in their 16-bit
/// ("extended character") text each unit takes one and holds a pair as
/// lead byte times 256 plus trail byte, a single byte as itself.
class DoubleByteCharacters {
public:
    /// Nothing when the page is not double-byte or the converter is not there.
    static std::shared_ptr<DoubleByteCharacters> open(uint16_t codePage);
    ~DoubleByteCharacters();
    DoubleByteCharacters(const DoubleByteCharacters&) = delete;
    DoubleByteCharacters& operator=(const DoubleByteCharacters&) = delete;

    uint16_t codePage() const { return m_codePage; }
    bool isLeadByte(uint8_t byte) const { return m_lead[byte]; }
    /// A byte that is a character alone; U+FFFD for a lead byte without its trail.
    char16_t single(uint8_t byte) const { return m_single[byte]; }
    /// The character of a lead and a trail byte; nothing when the page has
    /// none for them (the trail byte is then no trail byte: a paragraph mark
    /// after a stray lead byte stays a paragraph mark).
    std::optional<char16_t> pair(uint8_t lead, uint8_t trail) const;
    /// A unit of 16-bit text: a pair when its high byte is a lead byte the
    /// page gives a character for, a single byte below 256, else UTF-16.
    char16_t unit(uint16_t value) const;

private:
    DoubleByteCharacters(uint16_t codePage, UConverter* converter);

    uint16_t m_codePage;
    UConverter* m_converter;
    std::array<bool, 256> m_lead{};
    std::array<char16_t, 256> m_single{};
    /// Pairs decoded so far by lead * 256 + trail: 0 not yet, 0xFFFF none.
    mutable std::vector<char16_t> m_pairs;
};

} // namespace qm::engine::doc
