// tame_markup.h: makes markup safe by which a page could hide from the HTML parser or stall it.
//
// The parser drops everything below 256 levels of nesting and past 10 MB of one text, takes time
// quadratic in the attributes of one element, and reads "<!-->" as the start of a comment where
// browsers see an empty one. So: start tags past 200 levels become comments (what the page model
// reads stays), long texts are parted by comments, attributes past 256 are dropped but for those the
// page model reads, empty comments are written out, and so are the
// end tags that an outer one stands for (open_elements.h says why).
//
// What the page model never reads goes as well where the page is for judging only, since the parser takes its
// time over it: styles, comments but those of a title, attributes of elements other than links, images and
// meta tags, and of links and images those that mean nothing. A page without any of all this comes back as it
// is.
#pragma once

#include <cstddef>
#include <string>

namespace sifterra {

inline constexpr std::size_t kMostNestedElements = 200;
inline constexpr std::size_t kMostNestedTitles = 210;            // a title may stand this deep
inline constexpr std::size_t kLongestTextRun = 8 * 1024 * 1024;  // UTF-8 bytes
inline constexpr std::size_t kMostAttributes = 256;              // of one element

// What becomes of what the page model does not read: left out, or kept for who looks at the page.
enum class Unread { Left, Kept };

// One pass, linear in the text.
[[nodiscard]] std::u16string tamedMarkup(std::u16string text, Unread unread = Unread::Left);

}  // namespace sifterra
