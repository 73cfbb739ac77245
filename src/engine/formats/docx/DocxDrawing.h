// What a drawing in a Word package says about its text and its picture: text layout of shapes, metafile parts.
#pragma once

#include "engine/model/Document.h"

#include <pugixml.hpp>

#include <string>
#include <string_view>

namespace qm::engine::docx {

/// DrawingML's English Metric Units (914,400 an inch) in twips.
Twips emuToTwips(int64_t emu);

/// How the shape in `drawing` (a w:drawing, or with `vml` a w:pict) lays out
/// its text: a:prstGeom and its a:avLst, wps:bodyPr's insets, anchor and
/// wrap (ECMA-376 Part 1 §20.1.9.18, §21.1.2.1.1); a VML shape's v:textbox
/// inset and its style's v-text-anchor. What the drawing does not say keeps
/// Word's defaults.
ShapeTextLayout readShapeTextLayout(const pugi::xml_node& drawing, bool vml);

/// The relationship id of the picture a drawing shows (a:blip r:embed, VML
/// v:imagedata r:id); empty when it shows none.
std::string_view pictureRelationship(const pugi::xml_node& drawing, bool vml);

/// A VML style's property ("v-text-anchor:middle" gives "middle" from
/// "position:absolute;v-text-anchor:middle"); empty when it has none.
std::string_view vmlStyleValue(std::string_view style, std::string_view property);

/// Whether a part name is a Windows metafile by its extension (.wmf, .emf).
bool isMetafilePart(std::string_view partName);

} // namespace qm::engine::docx
