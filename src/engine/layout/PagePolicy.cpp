// Where a paragraph may be split between pages: Word's widow and orphan control.
#include "engine/layout/PagePolicy.h"

namespace qm::engine::layout {

size_t widowOrphanSplit(size_t lines, size_t first, size_t fit, WidowControl control)
{
    if (control == WidowControl::Off || fit >= lines || fit <= first)
        return fit;
    size_t split = fit;
    // The last line would stand alone on the next page: take one more along.
    if (lines - split == 1 && lines >= 2)
        --split;
    // The first line would stand alone at the bottom: move the paragraph.
    if (first == 0 && split == 1)
        split = 0;
    return split < first ? first : split;
}

} // namespace qm::engine::layout
