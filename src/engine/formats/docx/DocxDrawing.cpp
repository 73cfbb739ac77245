// Text layout of shapes and the pictures drawings show, read from DrawingML and VML.
#include "engine/formats/docx/DocxDrawing.h"

#include "engine/formats/docx/XmlPart.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string>

namespace qm::engine::docx {

namespace {

using xml::child;
using xml::is;
using xml::value;

Twips emuTwips(std::string_view v, Twips fallback)
{
    const std::optional<int64_t> emu = xml::toInt(v);
    if (!emu)
        return fallback;
    return std::clamp<Twips>(emuToTwips(*emu), 0, 31680);
}

/// A VML length ("7.2pt", "0.1in", "2mm", "0"): bare numbers are pixels.
Twips vmlInset(std::string_view s, Twips fallback)
{
    while (!s.empty() && s.front() == ' ')
        s.remove_prefix(1);
    if (s.empty())
        return fallback;
    const std::string text(s.substr(0, 32));
    char* end = nullptr;
    const double v = std::strtod(text.c_str(), &end);
    if (end == text.c_str())
        return fallback;
    const std::string_view unit(end);
    double twips = v * 15;
    if (unit.starts_with("pt"))
        twips = v * 20;
    else if (unit.starts_with("in"))
        twips = v * 1440;
    else if (unit.starts_with("cm"))
        twips = v * 1440 / 2.54;
    else if (unit.starts_with("mm"))
        twips = v * 144 / 2.54;
    if (!(twips >= 0 && twips <= 31680))
        return fallback;
    return static_cast<Twips>(twips + 0.5);
}

void readBodyPr(const pugi::xml_node& body, ShapeTextLayout& out)
{
    out.insetLeft = emuTwips(value(body, "lIns"), out.insetLeft);
    out.insetTop = emuTwips(value(body, "tIns"), out.insetTop);
    out.insetRight = emuTwips(value(body, "rIns"), out.insetRight);
    out.insetBottom = emuTwips(value(body, "bIns"), out.insetBottom);
    // anchor: t, ctr, b (just and dist set text top down, as t does).
    const std::string_view anchor = value(body, "anchor");
    out.anchor = anchor == "ctr" ? ShapeTextLayout::Anchor::Middle
                 : anchor == "b" ? ShapeTextLayout::Anchor::Bottom
                                 : ShapeTextLayout::Anchor::Top;
    out.wrap = value(body, "wrap") != "none";
}

} // namespace

std::string_view vmlStyleValue(std::string_view style, std::string_view property)
{
    size_t pos = 0;
    while ((pos = style.find(property, pos)) != std::string_view::npos) {
        const bool atStart = pos == 0 || style[pos - 1] == ';' || style[pos - 1] == ' ';
        pos += property.size();
        if (!atStart || pos >= style.size() || style[pos] != ':')
            continue;
        const size_t end = std::min(style.find(';', pos), style.size());
        return style.substr(pos + 1, end - pos - 1);
    }
    return {};
}

Twips emuToTwips(int64_t emu) { return xml::clampInt32(emu / 635); }

ShapeTextLayout readShapeTextLayout(const pugi::xml_node& drawing, bool vml)
{
    ShapeTextLayout out;
    if (vml) {
        // The first shape of the w:pict: its v:textbox's inset (left, top,
        // right, bottom) and where its style anchors the text.
        for (pugi::xml_node s = drawing.first_child(); s; s = s.next_sibling()) {
            if (s.type() != pugi::node_element || is(s, "shapetype"))
                continue;
            const std::string_view anchor = vmlStyleValue(value(s, "style"), "v-text-anchor");
            out.anchor = anchor.starts_with("middle")   ? ShapeTextLayout::Anchor::Middle
                         : anchor.starts_with("bottom") ? ShapeTextLayout::Anchor::Bottom
                                                        : ShapeTextLayout::Anchor::Top;
            if (pugi::xml_node box = child(s, "textbox")) {
                std::string_view inset = value(box, "inset");
                Twips* sides[] = {&out.insetLeft, &out.insetTop, &out.insetRight, &out.insetBottom};
                for (Twips* side : sides) {
                    if (inset.empty())
                        break;
                    const size_t comma = std::min(inset.find(','), inset.size());
                    *side = vmlInset(inset.substr(0, comma), *side);
                    inset.remove_prefix(std::min(comma + 1, inset.size()));
                }
            }
            break;
        }
        return out;
    }
    // wps:wsp: its geometry in wps:spPr, its text's body in wps:bodyPr.
    const pugi::xml_node shape = xml::descendant(drawing, "wsp");
    if (!shape)
        return out;
    if (pugi::xml_node geometry = xml::descendant(child(shape, "spPr"), "prstGeom")) {
        out.preset = std::string(value(geometry, "prst").substr(0, 64));
        for (pugi::xml_node gd = child(child(geometry, "avLst"), "gd"); gd && out.adjust.size() < 8;
             gd = gd.next_sibling()) {
            if (!is(gd, "gd"))
                continue;
            std::string_view formula = value(gd, "fmla");
            if (!formula.starts_with("val "))
                continue;
            formula.remove_prefix(4);
            if (const std::optional<int64_t> v = xml::toInt(formula))
                out.adjust.emplace_back(std::string(value(gd, "name").substr(0, 16)), static_cast<double>(*v));
        }
    }
    if (pugi::xml_node body = child(shape, "bodyPr"))
        readBodyPr(body, out);
    return out;
}

std::string_view pictureRelationship(const pugi::xml_node& drawing, bool vml)
{
    if (vml) {
        for (pugi::xml_node s = drawing.first_child(); s; s = s.next_sibling())
            if (pugi::xml_node data = child(s, "imagedata"))
                return value(data, "id");
        return {};
    }
    return value(xml::descendant(drawing, "blip"), "embed");
}

bool isMetafilePart(std::string_view partName)
{
    if (partName.size() < 4)
        return false;
    std::string ext(partName.substr(partName.size() - 4));
    for (char& c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".wmf" || ext == ".emf";
}

} // namespace qm::engine::docx
