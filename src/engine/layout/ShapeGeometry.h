// The text rectangles of DrawingML's preset shapes: where a shape's text is laid out inside its box.
#pragma once

#include "engine/model/Document.h"

#include <functional>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace qm::engine::layout {

/// A rectangle inside a shape's box, in the box's own units from its top
/// left corner.
struct TextRect {
    double left = 0, top = 0, right = 0, bottom = 0;
    double width() const { return right - left; }
    double height() const { return bottom - top; }
};

/// An adjust value a shape sets for its preset (a:avLst a:gd name="adj1"
/// fmla="val 50000"): by name, in the preset's own units.
using ShapeAdjust = std::pair<std::string_view, double>;

/// The text rectangle of preset geometry `preset` ("chevron", "star5") in a
/// box `width` by `height`, its guides worked out from the preset's default
/// adjust values and those `adjust` replaces, as ECMA-376 Part 1 §20.1.9.18
/// prstGeom and the preset definitions (presetShapeDefinitions.xml, a:rect
/// l t r b) give them. Nothing for a preset without a table entry: the
/// caller takes the whole box. The rectangle is kept inside the box and
/// never turned inside out.
std::optional<TextRect> presetTextRect(std::string_view preset, double width, double height,
                                       const std::vector<ShapeAdjust>& adjust = {});

/// Where a shape's text is laid out in its box `width` by `height`: its
/// preset's text rectangle (the whole box for a preset without an entry),
/// less the insets the shape keeps (bodyPr lIns, tIns, rIns, bIns). Empty
/// (zero width or height) when the insets leave no room.
TextRect shapeTextArea(const ShapeTextLayout& layout, double width, double height);

/// Whether `preset` has a table entry.
bool knownPreset(std::string_view preset);

/// One guide formula of the DrawingML shape language (ECMA-376 Part 1
/// §20.1.9.11 gd): "*/ w adj 100000", "?: dx x1 l", "cos wd2 2700000". Each
/// argument a number or a name `lookup` resolves (nothing: the name is
/// unknown). Angles are 60000ths of a degree. Nothing for a formula it cannot
/// read. Exposed for tests.
std::optional<double> evaluateGuide(std::string_view formula,
                                    const std::function<std::optional<double>(std::string_view)>& lookup);

} // namespace qm::engine::layout
