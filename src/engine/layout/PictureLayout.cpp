// The text metafile pictures print, placed where the pictures stand on the page.
#include "engine/layout/PictureLayout.h"

#include "engine/layout/TextMeasurer.h"
#include "engine/model/Unicode.h"

namespace qm::engine::layout {

namespace {

void placeOne(const Document& document, const Picture& picture, const ChartFrame& frame, int16_t column,
              TextMeasurer& measurer, std::vector<DrawnText>& out)
{
    for (const PictureText& t : picture.texts) {
        if (t.charFormat >= document.charFormats.size())
            continue;
        const MeasuredFont& f = measurer.font(t.charFormat);
        DrawnText d;
        d.text = t.text;
        d.charFormat = t.charFormat;
        d.column = column;
        double x = frame.left + t.x;
        if (t.align != PictureText::Align::Left) {
            const double width = measurer.width(std::u16string_view(t.text), t.charFormat);
            x -= t.align == PictureText::Align::Center ? width / 2 : width;
        }
        d.x = x;
        double baseline = frame.top + t.y;
        if (t.vAlign == PictureText::VAlign::Top)
            baseline += f.ascent;
        else if (t.vAlign == PictureText::VAlign::Bottom)
            baseline -= f.descent;
        d.baseline = baseline;
        d.top = baseline - f.ascent;
        d.bottom = baseline + f.descent;
        out.push_back(std::move(d));
    }
}

} // namespace

void placePictureText(const Document& document, const LayoutOptions& options, LayoutResult& result,
                      const std::vector<FloatingPicture>& floating)
{
    if (document.pictures.empty())
        return;
    std::vector<Diagnostic> unused;
    TextMeasurer measurer(document, options, unused);
    auto pictureOf = [&](int32_t index) -> const Picture* {
        return index >= 0 && static_cast<size_t>(index) < document.pictures.size()
                   ? &document.pictures[static_cast<size_t>(index)]
                   : nullptr;
    };
    for (const FloatingPicture& f : floating)
        if (const Picture* p = pictureOf(f.picture); p && f.page < result.pages.size())
            placeOne(document, *p, f.frame, f.column, measurer, result.pages[f.page].drawnText);
    forEachInlineObject(document, result,
                        [&](LaidOutPage& page, const LaidOutLine& line, const InlineObject& o, const ChartFrame& frame) {
                            if (const Picture* p = pictureOf(o.picture))
                                placeOne(document, *p, frame, line.column, measurer, page.drawnText);
                        });
}

} // namespace qm::engine::layout
