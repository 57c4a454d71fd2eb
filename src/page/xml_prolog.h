// xml_prolog.h: what stands in front of a page's first element, as XML reads it.
//
// Only the headers of a page tell whether browsers read it as HTML or as XML.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra {

// Past blanks, comments and instructions.
[[nodiscard]] std::size_t skipAsides(std::u16string_view text, std::size_t at) noexcept;

// Whether a browser that reads the page as XML may show it: false for pages that are HTML by their document
// type or first element and name no name space. As XML those would be a tree of elements at most.
[[nodiscard]] bool mayBeXML(std::u16string_view text) noexcept;

}  // namespace sifterra
