// Bounds-checked little-endian reads from a byte buffer.
#pragma once

#include <cstdint>
#include <algorithm>
#include <cstring>
#include <string_view>

namespace qm::engine::doc {

/// True when [offset, offset + length) lies inside a buffer of `size` bytes,
/// without overflowing.
inline bool fits(uint64_t size, uint64_t offset, uint64_t length)
{
    return offset <= size && length <= size - offset;
}

/// Little-endian integers at a byte offset. A read that would leave the
/// buffer yields 0: callers check ranges before structural reads, and a 0 is
/// the harmless answer for the rest.
inline uint8_t u8(std::string_view b, uint64_t off)
{
    return off < b.size() ? static_cast<uint8_t>(b[off]) : 0;
}
inline uint16_t u16(std::string_view b, uint64_t off)
{
    if (!fits(b.size(), off, 2))
        return 0;
    return static_cast<uint16_t>(u8(b, off) | (u8(b, off + 1) << 8));
}
inline uint32_t u32(std::string_view b, uint64_t off)
{
    if (!fits(b.size(), off, 4))
        return 0;
    return static_cast<uint32_t>(u16(b, off)) | (static_cast<uint32_t>(u16(b, off + 2)) << 16);
}
inline int16_t s16(std::string_view b, uint64_t off) { return static_cast<int16_t>(u16(b, off)); }
inline int32_t s32(std::string_view b, uint64_t off) { return static_cast<int32_t>(u32(b, off)); }

/// The part [offset, offset + length) of a buffer, clipped to its end.
inline std::string_view slice(std::string_view b, uint64_t off, uint64_t length)
{
    if (off >= b.size())
        return {};
    return b.substr(static_cast<size_t>(off), static_cast<size_t>(std::min<uint64_t>(length, b.size() - off)));
}

} // namespace qm::engine::doc
