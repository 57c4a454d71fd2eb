// strip_markup.h: the cleaners' scans over UTF-16 text, for callers that have no String at hand.
#pragma once

#include <string>
#include <string_view>

namespace sifterra {

// Appends the line without its tags.
void appendLineWithoutTags(std::u16string_view line, std::u16string& out);
// The text without its tags, a line feed behind every line.
[[nodiscard]] std::u16string textWithoutTags(std::u16string_view text);
// Replaces "_", "-", "<" and ">" by spaces.
void normalizePunctuation(std::u16string& text);
// Appends what stands between each pair of tokens, and a comma behind each.
void appendStringsBetween(std::u16string_view line, std::u16string_view token, std::u16string& out);

}  // namespace sifterra
