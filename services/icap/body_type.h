// body_type: whether a response can be a page.
//
// What its type says is a page is judged whatever it looks like, since browsers show it as one. What its type
// says is something else is judged when the content sniffer finds a page in it all the same.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::icap {

enum class BodyType {
  Page,     // the headers say so
  Unnamed,  // the headers say nothing, or nothing that means anything
  Other     // the headers say that it is something else
};

// Of the value of one Content-Type header. Browsers split it at commas and do not agree on which part counts,
// nor on which of several headers: the strictest does, see stricter().
[[nodiscard]] BodyType bodyType(std::string_view contentType);

// Whether the value names a signed exchange: a page of another site than the one that is asked, in a wrapping
// that only browsers open.
[[nodiscard]] bool isSignedExchange(std::string_view contentType);

[[nodiscard]] BodyType stricter(BodyType a, BodyType b);

// The charset that a Content-Type names; empty when it names none.
[[nodiscard]] std::string charsetOf(std::string_view contentType);

// The charsets by which browsers may read a page with these Content-Types, the likeliest first; an empty one
// stands for what the page itself tells. More than one where the headers contradict each other or can be read
// in more than one way, and for UTF-16, which not everybody believes without a byte-order mark. More than
// kMostCharsets of them nobody needs in good faith; the list ends with the one that is too many.
inline constexpr std::size_t kMostCharsets = 4;
[[nodiscard]] std::vector<std::string> charsetsOf(const std::vector<std::string_view>& contentTypes);

inline constexpr std::size_t kSniffedBytes = 1024;

// Whether a body of that type is to be judged, by its first bytes: kSniffedBytes, or all there are.
[[nodiscard]] bool isPage(BodyType type, std::string_view beginning);

}  // namespace sifterra::icap
