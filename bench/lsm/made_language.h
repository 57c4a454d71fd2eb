// made_language.h: a made-up language of a real one's proportions, and a map that knows it.
//
// Word lengths and frequencies follow what pages show: a few short words make half of the text, one word in
// twelve is unknown to the map. The same seed gives the same language.
#pragma once

#include <algorithm>
#include <cmath>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "lsm/MapFile.h"
#include "lsm/training/MapWriter.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {

class MadeLanguage {
 public:
  // `alphabet`: the letters to make words of, folded.
  explicit MadeLanguage(std::u16string alphabet = u"etaoinshrdlucmfwypvbgkqjxz", std::size_t words = 40000)
      : _alphabet(std::move(alphabet)) {
    while (_words.size() < words)
      _words.push_back(newWord(2 + std::min<std::size_t>(_words.size() / 200, 5)));
    std::sort(_words.begin() + 200, _words.end());
    _words.erase(std::unique(_words.begin() + 200, _words.end()), _words.end());
    std::shuffle(_words.begin() + 200, _words.end(), _random);
  }

  // So many words in lines of about a dozen.
  std::u16string text(std::size_t words) {
    std::uniform_real_distribution<double> uniform(0, 1);
    std::u16string text;
    for (std::size_t i = 0; i < words; ++i) {
      if (uniform(_random) < 1.0 / 12) {
        text += newWord(6);
      } else {
        // Zipf: the share of the r-th word falls as 1 / r.
        const double rank = std::pow(static_cast<double>(_words.size()), uniform(_random));
        text += _words[static_cast<std::size_t>(rank) - 1];
      }
      text += i % 12 == 11 ? u'\n' : u' ';
    }
    return text;
  }

  // A map of this language with rows of noise: its answers mean nothing, its size and work are a real map's.
  MapContents contents(std::uint32_t rank = 32) {
    std::normal_distribution<float> noise(0, 0.1f);
    MapContents contents;
    contents.rank = rank;
    for (std::uint32_t c = 1; c <= 2; ++c) contents.words.push_back({signatureToken(c), 0.07f, -1});
    std::vector<std::string> known;
    for (const std::u16string& word : _words) known.push_back(platform::utf8FromUTF16(word));
    // Frequent words first, as the trainer orders them; among the first ones a word may occur twice.
    std::set<std::string> seen;
    for (std::string& word : known) {
      if (seen.insert(word).second) contents.words.push_back({std::move(word), 0.5f, 7.0f});
    }
    const auto fill = [&](std::vector<float>& rows, std::size_t count) {
      rows.resize(count);
      for (float& value : rows) value = noise(_random);
    };
    fill(contents.wordRows, contents.words.size() * rank);
    fill(contents.bucketRows, std::size_t{contents.bucketCount} * rank);
    fill(contents.head, std::size_t{2} * rank);
    contents.bias = {0, -1};
    return contents;
  }

 private:
  std::u16string newWord(std::size_t shortest) {
    const std::size_t length = shortest + _random() % 5;
    std::u16string word;
    while (word.size() < length) word += _alphabet[_random() % _alphabet.size()];
    return word;
  }

  std::mt19937_64 _random{20240611};
  std::u16string _alphabet;
  std::vector<std::u16string> _words;
};

}  // namespace sifterra::lsm
