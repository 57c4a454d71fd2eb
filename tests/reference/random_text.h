// random_text.h: random texts over small alphabets, the same on every run.
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

namespace sifterra::reference {

class RandomText {
 public:
  explicit RandomText(std::uint32_t seed) : random_(seed) {}

  std::size_t below(std::size_t limit) { return random_() % limit; }

  // Up to `most` pieces, each taken from the list.
  std::u16string of(const std::vector<std::u16string>& pieces, std::size_t most) {
    std::u16string text;
    for (std::size_t count = below(most + 1); count > 0; --count) text += pieces[below(pieces.size())];
    return text;
  }

 private:
  std::mt19937 random_;
};

}  // namespace sifterra::reference
