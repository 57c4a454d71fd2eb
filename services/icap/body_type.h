// body_type: whether a response can be a page.
//
// What its type says is a page is judged whatever it looks like, since browsers show it as one. What its type
// says is something else is judged when the content sniffer finds a page in it all the same.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace sifterra::icap {

enum class BodyType {
  Page,     // the headers say so
  Unnamed,  // the headers say nothing, or nothing that means anything
  Other     // the headers say that it is something else
};

// Of the value of one Content-Type header. Browsers split it at commas and do not agree on which part counts,
// nor on which of several headers: the strictest does, see stricter().
[[nodiscard]] BodyType bodyType(std::string_view contentType);
[[nodiscard]] BodyType stricter(BodyType a, BodyType b);

// The charset that a Content-Type names; empty when it names none.
[[nodiscard]] std::string charsetOf(std::string_view contentType);

inline constexpr std::size_t kSniffedBytes = 1024;

// Whether a body of that type is to be judged, by its first bytes: kSniffedBytes, or all there are.
[[nodiscard]] bool isPage(BodyType type, std::string_view beginning);

}  // namespace sifterra::icap
