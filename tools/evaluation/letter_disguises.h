// letter_disguises: one word as a disguiser writes it. Words that a disguise cannot touch come back as they
// are.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "evaluation/word_runs.h"

namespace sifterra::tools {

// p0rn: up to half of a Latin word's letters, from the left, as the digit or sign that looks like them.
[[nodiscard]] std::string leetWord(const WordRun& run);
// Every letter that has a look-alike, Latin ones as Cyrillic, Cyrillic and Greek ones as Latin.
[[nodiscard]] std::string lookAlikeWord(const WordRun& run);
// &#112;&#x6f;...: decimal and hexadecimal references in turn.
[[nodiscard]] std::string referencedWord(const WordRun& run);
// The separators in turn between all letters.
[[nodiscard]] std::string partedWord(const WordRun& run, std::initializer_list<std::string_view> separators);
// Words of three letters and more, ideographs of two, with a blank, dot, hyphen or asterisk between.
[[nodiscard]] std::string spacedWord(const WordRun& run, std::uint64_t seed);
// Words of five letters and more: two letters swapped, one left out, doubled or replaced, never the first.
// The same word is misspelt alike throughout a page.
[[nodiscard]] std::string misspeltWord(const WordRun& run, std::uint64_t seed);
// Words in a row become one, two or three each.
[[nodiscard]] std::string gluedText(std::string_view text, std::uint64_t seed);

}  // namespace sifterra::tools
