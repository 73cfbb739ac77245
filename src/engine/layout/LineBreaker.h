// Breaking one paragraph into lines as Word does.
#pragma once

#include "engine/layout/Hyphenator.h"
#include "engine/layout/Layout.h"
#include "engine/layout/TextMeasurer.h"

#include <vector>

namespace qm::engine::layout {

/// Breaks paragraphs of one document. Lines come back with x relative to
/// the left edge of the text area they were broken for (a column or a
/// cell's text), y = 0 and their height set; placing them is the caller's.
class LineBreaker {
public:
    LineBreaker(const Document& document, TextMeasurer& measurer);

    /// The lines of the paragraph [start, mark] of `story` (mark is the
    /// character that ends it) in a text area `width` twips wide. A paragraph
    /// whose text and mark are all hidden has no line.
    std::vector<LaidOutLine> breakParagraph(size_t story, uint32_t start, uint32_t mark, double width);

    /// Room an object beside the text takes from lines that reach into
    /// [top, bottom) (twips down from the paragraph's first line): `left`
    /// from the text area's left edge, or `right` from its right edge.
    struct Cut {
        double top = 0, bottom = 0;
        double left = 0, right = 0;
    };
    /// The paragraph's lines, each narrowed by the cuts its height reaches
    /// into (not kept in the cache: where the cuts fall is the page's).
    std::vector<LaidOutLine> breakParagraph(size_t story, uint32_t start, uint32_t mark, double width,
                                            const std::vector<Cut>& cuts);

    /// Takes lines from, and gives new ones to, a cache kept between layouts.
    void useCache(ParagraphCache* cache);

    /// The line pitch of the section's document grid in twips, 0 for none:
    /// lines of the main text outside tables then keep to it.
    void setLineGrid(double pitch) { m_linePitch = pitch; }

private:
    std::vector<LaidOutLine> breakUncached(size_t story, uint32_t start, uint32_t mark, double width);
    const std::vector<Cut>* m_cuts = nullptr; ///< of the paragraph being broken, if any
    ParagraphCache::Impl* m_cache = nullptr;

    struct Item {
        char16_t c = 0;
        uint32_t pos = 0;
        uint32_t format = 0;
        double w = 0;
        bool hidden = false;
        FontSlot slot = FontSlot::Latin;
        bool emoji = false;
        bool wordBreakAfter = false; ///< a dictionary word ends here (Thai, Lao, Khmer, Myanmar)
    };

    /// Gives complex-script runs and emoji sequences their shaped widths,
    /// and marks the word ends inside scripts written without spaces.
    void shapeAndSegment();

    /// Where the word starting at item `wordStart` (at `x`) may end the line
    /// with a hyphen within `limit`: the index of the first item left for
    /// the next line, or SIZE_MAX when no hyphenation point fits.
    size_t hyphenationCut(size_t wordStart, double x, double limit) const;

    double nextTabStop(double x, const ParaFormat& pf, const TabStop** explicitStop) const;
    uint32_t labelFormat(const ParaFormat& pf) const;
    double tabWidth(size_t index, double x, double limit, const ParaFormat& pf);
    void finishLine(LaidOutLine& line, size_t from, size_t to, double x0, const ParaFormat& pf, double limit);
    void mirrorRightToLeft(LaidOutLine& line, double x0, const ParaFormat& pf, double limit);

    const Document& m_document;
    TextMeasurer& m_measurer;
    std::vector<Item> m_items;
    double m_linePitch = 0; ///< the section's grid pitch
    double m_gridPitch = 0; ///< the pitch that applies to the paragraph being broken
    /// Automatic hyphenation of the paragraph being broken, and the
    /// document's hyphenator, looked up at the first word it may break
    /// (loading a language's patterns can take seconds).
    bool m_hyphenate = false;
    bool m_hyphenatorKnown = false;
    const Hyphenator* m_hyphenator = nullptr;
};

/// The height Word gives a line of natural (single-spaced) height `natural`
/// in a paragraph that keeps to a document grid of line pitch `pitch`, all
/// in twips: whole grid lines, as many as the text needs, times the
/// paragraph's multiple; "at least" spacing never gives less than the grid.
double gridLineHeight(double natural, const ParaFormat& pf, double pitch);

/// Whether Word may end a line after character `c`, between `previous` and
/// `next` (a hyphen inside a word, dashes, East Asian characters within the
/// first- and last-character rules).
bool breakAllowedAfter(char16_t previous, char16_t c, char16_t next);

/// Punctuation that may hang past the right margin at a line's end.
bool hangsPastMargin(char16_t c);

} // namespace qm::engine::layout
