// Text helpers for settings files: UTF-8 checks, Windows-1252, case folding, trimming.
#include "settings/Encoding.h"

#include <array>
#include <cstdint>

namespace qm::settings {

namespace {

// The code points of bytes 0x80..0x9F in Windows-1252; undefined bytes keep
// their own number.
constexpr std::array<char32_t, 32> kHighControls = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

void appendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

// Decodes one well-formed sequence at pos; returns its length, or 0 when the
// bytes there are not well-formed UTF-8.
size_t decodeOne(std::string_view s, size_t pos, char32_t& c)
{
    const auto b0 = static_cast<unsigned char>(s[pos]);
    if (b0 < 0x80) {
        c = b0;
        return 1;
    }
    size_t len = 0;
    char32_t min = 0;
    if ((b0 & 0xE0) == 0xC0) {
        len = 2, c = b0 & 0x1F, min = 0x80;
    } else if ((b0 & 0xF0) == 0xE0) {
        len = 3, c = b0 & 0x0F, min = 0x800;
    } else if ((b0 & 0xF8) == 0xF0) {
        len = 4, c = b0 & 0x07, min = 0x10000;
    } else {
        return 0;
    }
    if (s.size() - pos < len)
        return 0;
    for (size_t k = 1; k < len; ++k) {
        const auto b = static_cast<unsigned char>(s[pos + k]);
        if ((b & 0xC0) != 0x80)
            return 0;
        c = (c << 6) | (b & 0x3F);
    }
    if (c < min || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return 0;
    return len;
}

char32_t foldChar(char32_t c)
{
    if (c >= 'A' && c <= 'Z')
        return c + 0x20;
    if (c >= 0xC0 && c <= 0xDE && c != 0xD7)
        return c + 0x20;
    if (c >= 0x100 && c <= 0x137 && c % 2 == 0)
        return c + 1;
    if (c >= 0x139 && c <= 0x148 && c % 2 == 1)
        return c + 1;
    if (c >= 0x14A && c <= 0x177 && c % 2 == 0)
        return c + 1;
    if (c == 0x178)
        return 0xFF;
    if ((c == 0x179 || c == 0x17B || c == 0x17D))
        return c + 1;
    if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2)
        return c + 0x20;
    if (c >= 0x410 && c <= 0x42F)
        return c + 0x20;
    if (c >= 0x400 && c <= 0x40F)
        return c + 0x50;
    return c;
}

} // namespace

bool isValidUtf8(std::string_view bytes)
{
    for (size_t pos = 0; pos < bytes.size();) {
        char32_t c = 0;
        const size_t len = decodeOne(bytes, pos, c);
        if (len == 0)
            return false;
        pos += len;
    }
    return true;
}

std::string decodeWindows1252(std::string_view bytes)
{
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 8);
    for (char ch : bytes) {
        const auto b = static_cast<unsigned char>(ch);
        if (b < 0x80)
            out += ch;
        else if (b < 0xA0)
            appendUtf8(out, kHighControls[b - 0x80]);
        else
            appendUtf8(out, b);
    }
    return out;
}

bool encodeWindows1252(std::string_view utf8, std::string& out)
{
    out.clear();
    out.reserve(utf8.size());
    for (size_t pos = 0; pos < utf8.size();) {
        char32_t c = 0;
        size_t len = decodeOne(utf8, pos, c);
        if (len == 0)
            return false;
        pos += len;
        if (c < 0x80 || (c >= 0xA0 && c <= 0xFF)) {
            out += static_cast<char>(c);
            continue;
        }
        bool found = false;
        for (size_t k = 0; k < kHighControls.size(); ++k) {
            if (kHighControls[k] == c) {
                out += static_cast<char>(0x80 + k);
                found = true;
                break;
            }
        }
        if (!found)
            return false;
    }
    return true;
}

std::string decodeText(std::string_view bytes, Encoding encoding)
{
    return encoding == Encoding::Utf8 ? std::string(bytes) : decodeWindows1252(bytes);
}

bool encodeText(std::string_view utf8, Encoding encoding, std::string& out)
{
    if (encoding == Encoding::Windows1252)
        return encodeWindows1252(utf8, out);
    out.assign(utf8);
    return true;
}

std::string foldCase(std::string_view utf8)
{
    std::string out;
    out.reserve(utf8.size());
    for (size_t pos = 0; pos < utf8.size();) {
        char32_t c = 0;
        const size_t len = decodeOne(utf8, pos, c);
        if (len == 0) {
            out += utf8[pos++];
            continue;
        }
        appendUtf8(out, foldChar(c));
        pos += len;
    }
    return out;
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    return foldCase(a) == foldCase(b);
}

std::string_view trimBlanks(std::string_view text)
{
    constexpr std::string_view blanks = " \t\v\f";
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    const size_t last = text.find_last_not_of(blanks);
    return text.substr(first, last - first + 1);
}

std::string_view trimTrailingBlanks(std::string_view text)
{
    const size_t last = text.find_last_not_of(" \t\v\f");
    return last == std::string_view::npos ? std::string_view() : text.substr(0, last + 1);
}

bool looksLikeUtf8(std::string_view bytes)
{
    for (size_t pos = 0; pos < bytes.size();) {
        char32_t c = 0;
        const size_t len = decodeOne(bytes, pos, c);
        if (len == 0) {
            // A lead byte whose continuation bytes are cut off by the end.
            const auto b0 = static_cast<unsigned char>(bytes[pos]);
            const size_t want = (b0 & 0xE0) == 0xC0   ? 2
                                : (b0 & 0xF0) == 0xE0 ? 3
                                : (b0 & 0xF8) == 0xF0 ? 4
                                                      : 0;
            if (want == 0 || bytes.size() - pos >= want)
                return false;
            for (size_t k = pos + 1; k < bytes.size(); ++k)
                if ((static_cast<unsigned char>(bytes[k]) & 0xC0) != 0x80)
                    return false;
            return true;
        }
        pos += len;
    }
    return true;
}

size_t characterCount(std::string_view utf8)
{
    size_t count = 0;
    for (size_t pos = 0; pos < utf8.size(); ++count) {
        char32_t c = 0;
        const size_t len = decodeOne(utf8, pos, c);
        pos += len == 0 ? 1 : len;
    }
    return count;
}

std::string_view firstCharacters(std::string_view utf8, size_t n)
{
    size_t pos = 0;
    for (size_t count = 0; count < n && pos < utf8.size(); ++count) {
        char32_t c = 0;
        const size_t len = decodeOne(utf8, pos, c);
        pos += len == 0 ? 1 : len;
    }
    return utf8.substr(0, pos);
}

} // namespace qm::settings
