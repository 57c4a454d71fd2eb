// page_elements.h: which of the elements that the page model reads a node's name means.
#pragma once

#include <cstdint>

namespace sifterra {

enum class PageElement : std::uint8_t { Other, A, Style, Script, Meta, Img, Title, Frameset };

// By the lower-cased name; Other for null.
[[nodiscard]] PageElement pageElementNamed(const char* name) noexcept;

}  // namespace sifterra
