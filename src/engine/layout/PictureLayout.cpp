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
    for (LaidOutPage& page : result.pages) {
        for (const auto* lines : {&page.lines, &page.headerLines, &page.footerLines, &page.noteLines, &page.boxLines})
            for (const LaidOutLine& line : *lines) {
                if (line.story >= document.stories.size())
                    continue;
                const Story& s = document.stories[line.story];
                for (const LineRun& run : line.runs) {
                    if (run.start >= s.size() || s.text[run.start] != Ch::Object ||
                        run.charFormat >= document.charFormats.size())
                        continue;
                    const int32_t index = document.charFormats[run.charFormat].objectIndex;
                    if (index < 0 || static_cast<size_t>(index) >= document.objects.size())
                        continue;
                    const InlineObject& o = document.objects[static_cast<size_t>(index)];
                    const Picture* p = pictureOf(o.picture);
                    if (o.floating || !p)
                        continue;
                    const double baseline = line.y + line.ascent;
                    placeOne(document, *p,
                             {run.x, baseline - o.height, static_cast<double>(o.width), static_cast<double>(o.height)},
                             line.column, measurer, page.drawnText);
                }
            }
    }
}

} // namespace qm::engine::layout
