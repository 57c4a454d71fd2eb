// property_list_guard.h: what an untrusted property list must keep to before libplist sees it.
//
// libplist trusts its input: it overflows its stack when it frees a million arrays inside each other, unfolds
// shared parts of a binary list once per reference, and takes time in the square of a text's length when the
// text is full of character references, and of a dictionary's size when its keys repeat or collide. The
// guards read the bytes on their own, without recursion and in time proportional to their number, and let
// pass less than libplist would take.
#pragma once

#include <cstddef>
#include <string_view>

namespace sifterra::platform {

constexpr std::size_t kLargestPropertyList =
    std::size_t{64} * 1024 * 1024;                // bytes, as they stand in the file
constexpr std::size_t kDeepestPropertyList = 64;  // arrays and dictionaries inside each other
// Values and keys. Three full lists of 100,000 sites, each with an address and a title, are 700,000. Within
// libplist each value takes some 110 bytes.
constexpr std::size_t kMostPropertyListValues = 2'000'000;
// Bytes that libplist moves to replace the character references of all texts: a quarter of a second.
constexpr std::size_t kMostMovedBytes = std::size_t{1} << 31;
// Keys that libplist looks at to put each key into its dictionary, at the worst all that are there already:
// half a second. One dictionary may have 5,793, many small ones as many as there may be values.
constexpr std::size_t kMostComparedKeys = std::size_t{1} << 24;

[[nodiscard]] bool isBinaryPropertyList(std::string_view bytes) noexcept;

// Null when the list may be parsed, else what is wrong with it, in words.
[[nodiscard]] const char* xmlPropertyListProblem(std::string_view bytes);
[[nodiscard]] const char* binaryPropertyListProblem(std::string_view bytes);

}  // namespace sifterra::platform
