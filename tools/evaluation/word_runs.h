// word_runs: a text as words and what stands between them, for whoever rewrites it word by word.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::tools {

struct WordRun {
  enum class Kind : unsigned char {
    kGap,         // blanks, signs
    kWord,        // letters and digits of a script that parts its words
    kIdeographs,  // characters of one that does not
  };
  Kind kind;
  // Letters, each with the marks that belong to it; a gap is one string.
  std::vector<std::string> letters;

  [[nodiscard]] std::string text() const;
};

// Joined, the runs are the text again, but for bytes that are no UTF-8.
[[nodiscard]] std::vector<WordRun> wordRuns(std::string_view text);

// The keys under which a run's words are counted: the word in lower case; of ideographs each two in a row.
[[nodiscard]] std::vector<std::string> wordKeys(const WordRun& run);

// The same number for the same bytes on every machine.
[[nodiscard]] std::uint64_t stableHash(std::string_view bytes, std::uint64_t seed = 0);

}  // namespace sifterra::tools
