// RTF tokens with bounds-checked reads and saturating parameters.
#include "engine/formats/rtf/RtfLexer.h"

#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace qm::engine::rtf {

namespace {

bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isDigit(char c) { return c >= '0' && c <= '9'; }

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

Token RtfLexer::controlWord(size_t start)
{
    Token t;
    t.kind = TokenKind::ControlWord;
    t.offset = start;
    const size_t nameStart = m_pos;
    while (m_pos < m_input.size() && isLetter(m_input[m_pos]))
        ++m_pos;
    t.word = m_input.substr(nameStart, m_pos - nameStart);
    bool negative = false;
    if (m_pos + 1 < m_input.size() && m_input[m_pos] == '-' && isDigit(m_input[m_pos + 1])) {
        negative = true;
        ++m_pos;
    }
    if (m_pos < m_input.size() && isDigit(m_input[m_pos])) {
        t.hasParam = true;
        int64_t value = 0;
        constexpr int64_t cap = int64_t{std::numeric_limits<int32_t>::max()} + 1;
        while (m_pos < m_input.size() && isDigit(m_input[m_pos])) {
            if (value < cap)
                value = value * 10 + (m_input[m_pos] - '0');
            ++m_pos;
        }
        if (value >= cap) {
            m_hugeParameter = true;
            value = negative ? cap : cap - 1;
        }
        t.param = static_cast<int32_t>(negative ? -value : value);
    }
    // One space after a control word is its delimiter, not text.
    if (m_pos < m_input.size() && m_input[m_pos] == ' ')
        ++m_pos;
    return t;
}

Token RtfLexer::next()
{
    while (m_pos < m_input.size()) {
        const size_t start = m_pos;
        const char c = m_input[m_pos];
        switch (c) {
        case '{':
            ++m_pos;
            return Token{TokenKind::GroupStart, {}, 0, false, 0, 0, {}, start};
        case '}':
            ++m_pos;
            return Token{TokenKind::GroupEnd, {}, 0, false, 0, 0, {}, start};
        case '\r':
        case '\n':
            ++m_pos;
            continue;
        case '\\': {
            ++m_pos;
            if (m_pos >= m_input.size())
                return Token{TokenKind::End, {}, 0, false, 0, 0, {}, start};
            const char s = m_input[m_pos];
            if (isLetter(s))
                return controlWord(start);
            ++m_pos;
            if (s == '\r' || s == '\n') // a backslash before a line end is a paragraph end
                return Token{TokenKind::ControlWord, "par", 0, false, 0, 0, {}, start};
            if (s == '\'') {
                const int hi = m_pos < m_input.size() ? hexValue(m_input[m_pos]) : -1;
                const int lo = m_pos + 1 < m_input.size() ? hexValue(m_input[m_pos + 1]) : -1;
                if (hi < 0 || lo < 0) {
                    // The digit that is there belongs to the broken escape.
                    m_badHex = true;
                    m_pos += hi >= 0 ? 1 : 0;
                    continue;
                }
                m_pos += 2;
                Token t{TokenKind::HexByte, {}, 0, false, 0, 0, {}, start};
                t.byte = static_cast<uint8_t>(hi * 16 + lo);
                return t;
            }
            Token t{TokenKind::ControlSymbol, {}, 0, false, 0, 0, {}, start};
            t.symbol = s;
            return t;
        }
        default: {
            while (m_pos < m_input.size()) {
                const char d = m_input[m_pos];
                if (d == '{' || d == '}' || d == '\\' || d == '\r' || d == '\n')
                    break;
                ++m_pos;
            }
            Token t{TokenKind::Text, {}, 0, false, 0, 0, {}, start};
            t.text = m_input.substr(start, m_pos - start);
            return t;
        }
        }
    }
    return Token{TokenKind::End, {}, 0, false, 0, 0, {}, m_pos};
}

namespace {

// Where the next brace or backslash lies from `at` on (`end` when none):
// skipped groups are mostly picture data in hexadecimal, passed over
// sixteen bytes at a time where the processor compares that many at once.
size_t nextStructure(const char* data, size_t at, size_t end)
{
#ifdef __SSE2__
    while (end - at >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(data + at));
        const int hits = _mm_movemask_epi8(_mm_cmpeq_epi8(block, _mm_set1_epi8('{')) |
                                           _mm_cmpeq_epi8(block, _mm_set1_epi8('}')) |
                                           _mm_cmpeq_epi8(block, _mm_set1_epi8('\\')));
        if (hits)
            return at + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(hits)));
        at += 16;
    }
#endif
    while (at < end && data[at] != '{' && data[at] != '}' && data[at] != '\\')
        ++at;
    return at;
}

} // namespace

bool RtfLexer::skipGroup()
{
    // Depth is a counter, never a stack: a million nested groups cost nothing.
    uint64_t depth = 1;
    while (m_pos < m_input.size()) {
        m_pos = nextStructure(m_input.data(), m_pos, m_input.size());
        if (m_pos == m_input.size())
            break;
        const char c = m_input[m_pos++];
        if (c == '{') {
            ++depth;
        } else if (c == '}') {
            if (--depth == 0)
                return true;
        } else if (c == '\\' && m_pos < m_input.size()) {
            if (!isLetter(m_input[m_pos])) {
                ++m_pos; // an escaped brace or backslash is not structure
                continue;
            }
            Token t = controlWord(m_pos - 1);
            if (t.word == "bin" && t.hasParam && t.param > 0)
                skipBytes(static_cast<uint64_t>(t.param));
        }
    }
    return false;
}

void RtfLexer::skipBytes(uint64_t n)
{
    const uint64_t left = m_input.size() - m_pos;
    m_pos += static_cast<size_t>(n < left ? n : left);
}

} // namespace qm::engine::rtf
