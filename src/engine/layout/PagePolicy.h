// Where a paragraph may be split between pages: Word's widow and orphan control.
#pragma once

#include <cstddef>
#include <cstdint>

namespace qm::engine::layout {

enum class WidowControl : uint8_t { Off, On };

/// A paragraph of `lines` lines has lines [first, fit) fitting in what is
/// left of the page (first: its first line not yet placed). Returns how many
/// of its lines, counted from its start, end the page: `fit` itself without
/// widow control; with it, never a paragraph's first line alone at the
/// bottom of a page (an orphan) nor its last line alone at the top of the
/// next (a widow), moving lines to the next page instead. A result equal to
/// `first` means nothing goes on this page.
size_t widowOrphanSplit(size_t lines, size_t first, size_t fit, WidowControl control);

} // namespace qm::engine::layout
