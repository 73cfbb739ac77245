// The text a Windows metafile (WMF or EMF) draws, and where it stands in the picture.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace qm::engine {

/// One string a metafile's text records draw. Positions and sizes are
/// shares of the picture (0 at its left or top edge, 1 at its right or
/// bottom), so that the caller scales them into the frame the picture is
/// shown in.
struct MetafileText {
    std::u16string text;
    double x = 0; ///< the reference point across
    double y = 0; ///< the reference point down
    /// The font's em (character height) as a share of the picture's height.
    double emHeight = 0;
    std::u16string font; ///< the face name the metafile selected; empty: its default font
    int32_t weight = 400;
    bool italic = false;
    uint32_t color = 0; ///< 0xRRGGBB
    enum class Align : uint8_t { Left, Center, Right };
    enum class VAlign : uint8_t { Top, Baseline, Bottom };
    Align align = Align::Left;
    VAlign vAlign = VAlign::Top;
};

/// The text of a metafile: [MS-WMF] META_TEXTOUT and META_EXTTEXTOUT, placed
/// through the placeable header's bounds (else the window) and in the font
/// META_CREATEFONTINDIRECT made and META_SELECTOBJECT selected; [MS-EMF]
/// EMR_EXTTEXTOUTW, EMR_EXTTEXTOUTA and EMR_SMALLTEXTOUT, through the world
/// transform, the mapping mode's window and viewport and the header's frame,
/// in the font of EMR_EXTCREATEFONTINDIRECTW. EMF+ records (in comments) are
/// passed over: Word prints the EMF records that stand for them. Anything
/// else ("not a metafile", damaged records) gives what was read before it;
/// every count and offset is bounded by the bytes and by `maxTexts`.
std::vector<MetafileText> metafileText(std::string_view bytes, size_t maxTexts = 4096);

/// Whether `bytes` start as a WMF (placeable or not) or an EMF.
bool looksLikeMetafile(std::string_view bytes);

} // namespace qm::engine
