// named_references.h: writes as numbers the character references that browsers know and the parser does not.
//
// The parser stopped at HTML 4: to it "p&af;orn", "p&shyorn" and "&sopf;" are their letters, where browsers
// show "porn" (with a character in it that nobody sees) and a letter s. Numbers it knows, but for those of
// windows-1252 that stand for control characters; these are put right as well.
#pragma once

#include <string>

namespace sifterra {

// The same text when there is nothing to do. One pass, linear in the text; scripts and styles stay as they
// are, since browsers read no references there.
[[nodiscard]] std::u16string withNumberedReferences(std::u16string text);

}  // namespace sifterra
