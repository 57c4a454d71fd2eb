// self_label.h: the rating labels by which a page declares itself adult-only.
#pragma once

#include <cstdint>
#include <map>
#include <string_view>

namespace sifterra {

// Whether the text is the RTA label, in any case, and nothing else.
[[nodiscard]] bool isRTALabel(std::u16string_view text);

// SafeSurf labels: "SS~~" in any case, a category code, a level.
[[nodiscard]] bool hasSafeSurfLabel(std::u16string_view text);

// The level of each category code of a label text. The codes are views of the text.
using SafeSurfLevels = std::map<std::u16string_view, std::int32_t>;
[[nodiscard]] SafeSurfLevels safeSurfLevels(std::u16string_view text);

// Whether one of the consulted levels exceeds its limit; a missing code counts as 0.
[[nodiscard]] bool safeSurfRestricts(const SafeSurfLevels& levels);

}  // namespace sifterra
