// folded_search.h: finding text in any case, fast for plain ASCII words in long pages.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

// First match of `needle` at or after `from` under simple case folding, starting and ending on a
// character boundary; npos when there is none or the needle is empty. Gives what
// platform::findIgnoringCase gives.
[[nodiscard]] std::size_t findFolded(std::u16string_view text, std::u16string_view needle, std::size_t from);

}  // namespace sifterra
