// UTF-8/UTF-16 conversion and Windows code pages (single-byte tables cached from iconv).
#include "engine/model/Unicode.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iconv.h>
#include <map>
#include <memory>
#include <mutex>
#include <span>

namespace qm::engine {

// Decodes one UTF-8 sequence at i; returns the code point or -1 when malformed.
static int32_t decodeUtf8(std::string_view s, size_t& i)
{
    auto byte = [&](size_t k) { return static_cast<uint8_t>(s[k]); };
    uint8_t b = byte(i);
    if (b < 0x80) {
        ++i;
        return b;
    }
    int len = b >= 0xF0 && b < 0xF5 ? 4 : b >= 0xE0 ? 3 : b >= 0xC2 && b < 0xE0 ? 2 : 0;
    if (len == 0 || i + len > s.size()) {
        ++i;
        return -1;
    }
    char32_t cp = b & (0x7F >> len);
    for (int k = 1; k < len; ++k) {
        uint8_t c = byte(i + k);
        if ((c & 0xC0) != 0x80) {
            ++i;
            return -1;
        }
        cp = (cp << 6) | (c & 0x3F);
    }
    static constexpr char32_t minimum[] = {0, 0, 0x80, 0x800, 0x10000};
    if (cp < minimum[len] || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) {
        ++i;
        return -1;
    }
    i += len;
    return static_cast<int32_t>(cp);
}

std::u16string utf8ToUtf16(std::string_view utf8)
{
    // Every byte gives at most one unit (a four-byte sequence two), so the
    // text is written into room for as many units as bytes, ASCII a byte at
    // a time, and cut to length.
    std::u16string out(utf8.size(), u'\0');
    char16_t* to = out.data();
    size_t n = 0;
    for (size_t i = 0; i < utf8.size();) {
        const auto b = static_cast<uint8_t>(utf8[i]);
        if (b < 0x80) {
            to[n++] = b;
            ++i;
            continue;
        }
        const int32_t decoded = decodeUtf8(utf8, i);
        char32_t cp = decoded < 0 ? 0xFFFD : static_cast<char32_t>(decoded);
        if (cp >= 0x10000) {
            cp -= 0x10000;
            to[n++] = static_cast<char16_t>(0xD800 + (cp >> 10));
            to[n++] = static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
        } else {
            to[n++] = static_cast<char16_t>(cp);
        }
    }
    out.resize(n);
    return out;
}

bool isValidUtf8(std::string_view bytes)
{
    for (size_t i = 0; i < bytes.size();)
        if (decodeUtf8(bytes, i) < 0)
            return false;
    return true;
}

std::string utf16ToUtf8(std::u16string_view s)
{
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        char32_t cp = s[i];
        if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < s.size() && s[i + 1] >= 0xDC00 && s[i + 1] < 0xE000) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (s[i + 1] - 0xDC00);
            ++i;
        } else if (cp >= 0xD800 && cp < 0xE000) {
            cp = 0xFFFD;
        }
        if (cp < 0x80) {
            out.push_back(static_cast<char>(cp));
        } else if (cp < 0x800) {
            out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    return out;
}

char16_t cp1252ToUnicode(uint8_t b)
{
    static constexpr char16_t high[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
    return b >= 0x80 && b < 0xA0 ? high[b - 0x80] : static_cast<char16_t>(b);
}

// Windows recognises UTF-16 text without a byte-order mark by its bytes
// (IsTextUnicode, Microsoft Learn: zero-extended ASCII, statistics of the
// high and low bytes, and the presence of line ends, spaces or tabs). The
// same evidence, kept strict: an even length, no NUL character, nine units
// in ten with a zero high byte (the Latin, digits and punctuation of a
// Western transcript), and at least one space, tab or line end. UTF-16 text
// in other scripts needs its byte-order mark, as it does on Windows.
Utf16Order bomlessUtf16(std::string_view bytes)
{
    if (bytes.size() < 4 || bytes.size() % 2 != 0)
        return Utf16Order::None;
    const size_t units = std::min<size_t>(bytes.size(), 8192) / 2;
    size_t lowFirst = 0, highFirst = 0;
    bool controlsLow = false, controlsHigh = false;
    auto control = [](unsigned char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; };
    for (size_t i = 0; i < units; ++i) {
        const auto a = static_cast<unsigned char>(bytes[2 * i]);
        const auto b = static_cast<unsigned char>(bytes[2 * i + 1]);
        if (a == 0 && b == 0)
            return Utf16Order::None;
        if (b == 0) {
            ++lowFirst;
            controlsLow = controlsLow || control(a);
        } else if (a == 0) {
            ++highFirst;
            controlsHigh = controlsHigh || control(b);
        }
    }
    if (lowFirst * 10 >= units * 9 && controlsLow)
        return Utf16Order::LittleEndian;
    if (highFirst * 10 >= units * 9 && controlsHigh)
        return Utf16Order::BigEndian;
    return Utf16Order::None;
}

std::u16string cp1252ToUtf16(std::string_view bytes)
{
    std::u16string out(bytes.size(), u'\0');
    for (size_t i = 0; i < bytes.size(); ++i)
        out[i] = cp1252ToUnicode(static_cast<uint8_t>(bytes[i]));
    return out;
}

static std::string iconvName(int codePage)
{
    if (codePage == 10000)
        return "MACINTOSH";
    if (codePage == 932)
        return "CP932";
    if (codePage == 936)
        return "GBK";
    if (codePage == 949)
        return "CP949";
    if (codePage == 950)
        return "BIG5";
    return "CP" + std::to_string(codePage);
}

// Converts with iconv, one character at a time past errors; empty optional
// when the system has no converter for the page.
static bool iconvDecode(int codePage, std::string_view bytes, std::u16string& out)
{
    iconv_t cd = iconv_open("UTF-16LE", iconvName(codePage).c_str());
    if (cd == reinterpret_cast<iconv_t>(-1))
        return false;
    std::string buffer(bytes.size() * 4 + 8, '\0');
    char* in = const_cast<char*>(bytes.data());
    size_t inLeft = bytes.size();
    while (inLeft > 0) {
        char* outPtr = buffer.data();
        size_t outLeft = buffer.size();
        size_t r = iconv(cd, &in, &inLeft, &outPtr, &outLeft);
        size_t produced = buffer.size() - outLeft;
        for (size_t k = 0; k + 1 < produced; k += 2)
            out.push_back(static_cast<char16_t>(static_cast<uint8_t>(buffer[k]) |
                                                (static_cast<uint8_t>(buffer[k + 1]) << 8)));
        if (r == static_cast<size_t>(-1) && inLeft > 0) {
            if (errno == E2BIG)
                continue;
            out.push_back(u'\uFFFD'); // an invalid or incomplete sequence: skip one byte
            ++in;
            --inLeft;
        }
    }
    iconv_close(cd);
    return true;
}

char16_t codePageToUnicode(int codePage, uint8_t byte)
{
    if (codePage == 1252 || codePage <= 0 || byte < 0x80)
        return cp1252ToUnicode(byte);
    static std::mutex mutex;
    static std::map<int, std::unique_ptr<std::array<char16_t, 256>>> tables;
    std::lock_guard lock(mutex);
    auto& table = tables[codePage];
    if (!table) {
        table = std::make_unique<std::array<char16_t, 256>>();
        for (int b = 0; b < 256; ++b) {
            char c = static_cast<char>(b);
            std::u16string one;
            bool ok = iconvDecode(codePage, std::string_view(&c, 1), one);
            (*table)[b] = ok && one.size() == 1 ? one[0] : cp1252ToUnicode(static_cast<uint8_t>(b));
        }
    }
    return (*table)[byte];
}

std::u16string decodeCodePage(int codePage, std::string_view bytes)
{
    if (codePage == 1252 || codePage <= 0)
        return cp1252ToUtf16(bytes);
    std::u16string out;
    if (!iconvDecode(codePage, bytes, out))
        return cp1252ToUtf16(bytes);
    return out;
}

char16_t symbolFontToUnicode(std::string_view font, char16_t c)
{
    const bool symbol = font == "Symbol";
    const bool wingdings = font == "Wingdings";
    if (!symbol && !wingdings)
        return c;
    const unsigned code = c >= 0xF000 && c <= 0xF0FF ? c - 0xF000u : c;
    if (code > 0xFF)
        return c;
    // The bullets lists use most (the fonts' own code charts).
    struct Map {
        uint8_t code;
        char16_t unicode;
    };
    static constexpr Map symbolMap[] = {{0xB7, u'\u2022'}, {0xA7, u'\u2663'}, {0xA8, u'\u2666'},
                                        {0xA9, u'\u2665'}, {0xAA, u'\u2660'}, {0xDE, u'\u21D2'}};
    static constexpr Map wingdingsMap[] = {{0x6C, u'\u25CF'}, {0x6E, u'\u25A0'}, {0x71, u'\u2751'}, {0x76, u'\u2756'},
                                           {0xA7, u'\u25AA'}, {0xA8, u'\u25FB'}, {0xD8, u'\u27A2'}, {0xFC, u'\u2714'}};
    for (const Map& m : symbol ? std::span<const Map>(symbolMap) : std::span<const Map>(wingdingsMap))
        if (m.code == code)
            return m.unicode;
    return c;
}

} // namespace qm::engine
