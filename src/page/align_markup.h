// align_markup.h: makes the parser see the text that browsers show.
//
// Browsers and the HTML parser disagree on where some tags, comments and raw texts end. Between the two a
// page can hide its words from the parser: "<title><!--</title>words" is a title and words to a browser and a
// comment without end to the parser. Here such markup is rewritten so that both read it alike; where it
// cannot be known how a browser reads it, the words are shown. A page without such markup comes back as it
// is. Form feeds become the spaces that they are to browsers, and zeros go, as they do there.
#pragma once

#include <string>

namespace sifterra {

// One pass, linear in the text.
[[nodiscard]] std::u16string alignedMarkup(std::u16string text);

}  // namespace sifterra
