// thin_attributes.h: leaves out of a start tag what the page model does not read.
//
// A bare parser spends a third of its time on attributes, and of most elements none is read.
#pragma once

#include <string_view>

#include "page/markup_edits.h"
#include "page/markup_tags.h"
#include "page/open_elements.h"

namespace sifterra {

// Of an element of which no attribute is read all go, of one of which some are, all others and those that
// come again. Elsewhere they stay, up to kMostAttributes (tame_markup.h), and behind those the first of each
// that the page model reads.
void thinAttributes(std::u16string_view text, const TagSpan& tag, OpenElements::Reads reads,
                    MarkupEdits& edits);

}  // namespace sifterra
