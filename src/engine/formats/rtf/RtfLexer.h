// Splits RTF bytes into groups, control words, control symbols, hex bytes and text runs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qm::engine::rtf {

enum class TokenKind : uint8_t { GroupStart, GroupEnd, ControlWord, ControlSymbol, HexByte, Text, End };

/// One lexical unit. Views point into the lexer's input.
struct Token {
    TokenKind kind = TokenKind::End;
    std::string_view word;  ///< control word name (letters only)
    int32_t param = 0;      ///< saturated to the int32 range
    bool hasParam = false;
    char symbol = 0;        ///< control symbol character
    uint8_t byte = 0;       ///< value of a \'hh escape
    std::string_view text;  ///< a run of literal text bytes (no line ends)
    size_t offset = 0;      ///< where the token starts in the input
};

/// A forward-only lexer. Every read is bounds-checked: a truncated escape or
/// control word at the end of the input ends the stream, and a parameter of
/// any length saturates instead of overflowing. Line ends outside control
/// words are not text in RTF and are dropped here.
class RtfLexer {
public:
    explicit RtfLexer(std::string_view input) : m_input(input) {}

    Token next();

    /// Skips the rest of the group the last GroupStart opened, nested groups
    /// and \bin data included, without building any state; the closing brace
    /// is consumed. Returns false when the input ends first.
    bool skipGroup();

    /// Skips up to n raw bytes (\binN data); clamped to what is left.
    void skipBytes(uint64_t n);

    size_t offset() const { return m_pos; }
    size_t size() const { return m_input.size(); }
    /// Set once a parameter did not fit in 32 bits.
    bool sawHugeParameter() const { return m_hugeParameter; }
    /// Set once a \' escape was not followed by two hex digits.
    bool sawBadHex() const { return m_badHex; }

private:
    Token controlWord(size_t start);

    std::string_view m_input;
    size_t m_pos = 0;
    bool m_hugeParameter = false;
    bool m_badHex = false;
};

} // namespace qm::engine::rtf
