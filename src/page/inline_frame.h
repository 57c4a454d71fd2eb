// inline_frame.h: the words of a page that an iframe brings along in its "srcdoc" attribute.
//
// A frame's own address is asked for and judged by itself; such a page is part of the one around it, and
// browsers show it there.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sifterra {

// Of the iframe whose '<' is at `at`, in plain text without markup, a space at both ends; empty when there
// are none. The page of a frame in the frame comes with what surrounds it. Linear in the tag.
[[nodiscard]] std::u16string inlineFrameWords(std::u16string_view text, std::size_t at);

}  // namespace sifterra
