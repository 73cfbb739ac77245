// A small Windows metafile that draws one string, for the readers' picture-text tests.
#pragma once

#include "engine/model/Document.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace qm::engine::test {

/// The one string the one picture of a document's one object draws; null,
/// with the test failed, when the document holds anything else.
inline const PictureText* onlyPictureText(const Document& d)
{
    if (d.objects.size() != 1 || d.objects[0].picture != 0 || d.pictures.size() != 1 ||
        d.pictures[0].texts.size() != 1) {
        ADD_FAILURE() << "expected one object showing one picture that draws one string: " << d.objects.size()
                      << " objects, " << d.pictures.size() << " pictures";
        return nullptr;
    }
    return &d.pictures[0].texts[0];
}

/// A WMF 1000 logical units square that draws `text` at (250, 500),
/// baseline aligned, in `face` 100 units high (a tenth of the picture).
/// Placeable: a header gives its bounds, as a .wmf part holds it; otherwise
/// the window is set by a record, as RTF keeps a \wmetafile.
inline std::string textWmf(std::string_view text, std::string_view face, bool placeable)
{
    std::string b;
    auto u16 = [&](int v) { b.push_back(char(v & 0xFF)), b.push_back(char((v >> 8) & 0xFF)); };
    auto u32 = [&](uint32_t v) { u16(int(v & 0xFFFF)), u16(int(v >> 16)); };
    if (placeable)
        u32(0x9AC6CDD7u), u16(0), u16(0), u16(0), u16(1000), u16(1000), u16(1440), u32(0), u16(0);
    u16(1), u16(9), u16(0x300), u32(0), u16(1), u32(0), u16(0); // META_HEADER
    if (!placeable)
        u32(5), u16(0x020C), u16(1000), u16(1000); // META_SETWINDOWEXT
    u32(3 + 25), u16(0x02FB), u16(-100), u16(0), u16(0), u16(0), u16(400); // META_CREATEFONTINDIRECT
    b += std::string(8, '\0');
    std::string name(face);
    name.resize(32, '\0');
    b += name;
    u32(4), u16(0x012D), u16(0);  // META_SELECTOBJECT
    u32(4), u16(0x012E), u16(24); // META_SETTEXTALIGN: TA_BASELINE
    std::string padded(text);
    padded.resize((padded.size() + 1) / 2 * 2, '\0');
    u32(static_cast<uint32_t>(3 + 1 + padded.size() / 2 + 2)), u16(0x0521), u16(int(text.size())); // META_TEXTOUT
    b += padded;
    u16(500), u16(250);
    u32(3), u16(0); // META_EOF
    return b;
}

/// The bytes as RTF writes a picture's data: two hex digits a byte, with a
/// line break after every `perLine` bytes (0: none), as writers break them.
inline std::string rtfHex(std::string_view bytes, size_t perLine = 0)
{
    static const char* digits = "0123456789abcdef";
    std::string hex;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        hex += digits[c >> 4];
        hex += digits[c & 15];
        if (perLine != 0 && i % perLine == perLine - 1)
            hex += "\r\n";
    }
    return hex;
}

} // namespace qm::engine::test
