#include "evaluation/letter_disguises.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "evaluation/characters.h"

namespace sifterra::tools {
namespace {

struct Pair {
  char32_t letter;
  std::string_view other;
};

constexpr std::array<Pair, 10> kLeet = {{{U'a', "4"},
                                         {U'a', "@"},
                                         {U'b', "8"},
                                         {U'e', "3"},
                                         {U'i', "1"},
                                         {U'i', "!"},
                                         {U'o', "0"},
                                         {U's', "5"},
                                         {U's', "$"},
                                         {U't', "7"}}};

constexpr std::array<std::pair<char32_t, char32_t>, 28> kCyrillic = {
    {{U'a', U'\u0430'}, {U'c', U'\u0441'}, {U'e', U'\u0435'}, {U'h', U'\u04BB'}, {U'i', U'\u0456'},
     {U'j', U'\u0458'}, {U'o', U'\u043E'}, {U'p', U'\u0440'}, {U's', U'\u0455'}, {U'x', U'\u0445'},
     {U'y', U'\u0443'}, {U'A', U'\u0410'}, {U'B', U'\u0412'}, {U'C', U'\u0421'}, {U'E', U'\u0415'},
     {U'H', U'\u041D'}, {U'I', U'\u0406'}, {U'J', U'\u0408'}, {U'K', U'\u041A'}, {U'M', U'\u041C'},
     {U'O', U'\u041E'}, {U'P', U'\u0420'}, {U'S', U'\u0405'}, {U'T', U'\u0422'}, {U'X', U'\u0425'},
     {U'Y', U'\u04AE'}, {U'd', U'\u0501'}, {U'q', U'\u051B'}}};

constexpr std::array<std::pair<char32_t, char32_t>, 20> kGreek = {
    {{U'a', U'\u03B1'}, {U'i', U'\u03B9'}, {U'k', U'\u03BA'}, {U'o', U'\u03BF'}, {U'p', U'\u03C1'},
     {U'u', U'\u03C5'}, {U'v', U'\u03BD'}, {U'A', U'\u0391'}, {U'B', U'\u0392'}, {U'E', U'\u0395'},
     {U'H', U'\u0397'}, {U'I', U'\u0399'}, {U'K', U'\u039A'}, {U'M', U'\u039C'}, {U'N', U'\u039D'},
     {U'O', U'\u039F'}, {U'P', U'\u03A1'}, {U'T', U'\u03A4'}, {U'X', U'\u03A7'}, {U'Z', U'\u0396'}}};

char32_t onlyCharacter(const std::string& letter) {
  std::size_t at = 0;
  const char32_t c = nextCodePoint(letter, at);
  return at == letter.size() ? c : 0;
}

// 0 without one.
char32_t lookAlike(char32_t c) {
  for (const auto& [latin, cyrillic] : kCyrillic) {
    if (c == latin) return cyrillic;
    if (c == cyrillic) return latin;
  }
  for (const auto& [latin, greek] : kGreek) {
    if (c == greek) return latin;
  }
  return 0;
}

std::string joined(const std::vector<std::string>& letters) {
  std::string word;
  for (const std::string& letter : letters) word += letter;
  return word;
}

bool hasDigit(const WordRun& run) {
  return std::any_of(run.letters.begin(), run.letters.end(), [](const std::string& letter) {
    return kindOfCharacter(onlyCharacter(letter)) == CharacterKind::kDigit;
  });
}

}  // namespace

std::string leetWord(const WordRun& run) {
  constexpr std::size_t kShortest = 3;
  if (run.kind != WordRun::Kind::kWord || run.letters.size() < kShortest || hasDigit(run)) return run.text();
  const std::uint64_t chance = stableHash(run.text());
  std::vector<std::string> letters = run.letters;
  std::size_t left = letters.size() / 2;
  for (std::size_t i = 0; i < letters.size() && left > 0; ++i) {
    const char32_t letter = lowerCase(onlyCharacter(letters[i]));
    std::vector<std::string_view> forms;
    for (const Pair& pair : kLeet) {
      if (pair.letter == letter) forms.push_back(pair.other);
    }
    // An exclamation mark at the end is read as one.
    if (!forms.empty() && i + 1 == letters.size()) forms.resize(1);
    if (forms.empty()) continue;
    letters[i] = forms[(chance >> (i % 32)) % forms.size()];
    --left;
  }
  return joined(letters);
}

std::string lookAlikeWord(const WordRun& run) {
  std::string word;
  for (const std::string& letter : run.letters) {
    const char32_t other = lookAlike(onlyCharacter(letter));
    if (other == 0) {
      word += letter;
    } else {
      appendUtf8(other, word);
    }
  }
  return word;
}

std::string referencedWord(const WordRun& run) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const std::string text = run.text();
  std::string html;
  std::size_t count = 0;
  for (std::size_t at = 0; at < text.size();) {
    const char32_t c = nextCodePoint(text, at);
    if (count++ % 2 == 0) {
      html += "&#" + std::to_string(static_cast<std::uint32_t>(c)) + ";";
      continue;
    }
    std::string hex;
    for (char32_t rest = c; rest != 0; rest /= 16) hex.insert(hex.begin(), kDigits[rest % 16]);
    html += "&#x" + hex + ";";
  }
  return html;
}

std::string partedWord(const WordRun& run, std::initializer_list<std::string_view> separators) {
  std::string word;
  for (std::size_t i = 0; i < run.letters.size(); ++i) {
    if (i > 0) word += separators.begin()[(i - 1) % separators.size()];
    word += run.letters[i];
  }
  return word;
}

std::string spacedWord(const WordRun& run, std::uint64_t seed) {
  constexpr std::array<std::string_view, 4> kSeparators = {" ", ".", "-", "*"};
  const bool ideographs = run.kind == WordRun::Kind::kIdeographs;
  if (run.letters.size() < (ideographs ? 2 : 3) || hasDigit(run)) return run.text();
  const std::uint64_t chance = stableHash(run.text(), seed);
  return partedWord(run, {ideographs ? kSeparators[0] : kSeparators[chance % kSeparators.size()]});
}

std::string misspeltWord(const WordRun& run, std::uint64_t seed) {
  constexpr std::size_t kShortest = 5;
  if (run.kind != WordRun::Kind::kWord || run.letters.size() < kShortest || hasDigit(run)) return run.text();
  const std::uint64_t chance = stableHash(run.text(), seed);
  std::vector<std::string> letters = run.letters;
  const std::size_t at = 1 + (chance >> 8U) % (letters.size() - 2);  // neither the first nor the last
  const auto place = letters.begin() + static_cast<std::ptrdiff_t>(at);
  switch (chance % 4) {
    case 0:
      std::swap(letters[at], letters[at + 1]);
      break;
    case 1:
      letters.erase(place);
      break;
    case 2:
      letters.insert(place, letters[at]);
      break;
    default:
      // Another letter of the same word: it is of the right alphabet, whichever that is.
      letters[at] = letters[(at + 1 + (chance >> 32U) % (letters.size() - 1)) % letters.size()];
      break;
  }
  return joined(letters);
}

std::string gluedText(std::string_view text, std::uint64_t seed) {
  std::string result;
  std::size_t left = 0;  // words that the word being written still takes in
  const std::vector<WordRun> runs = wordRuns(text);
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const std::string run = runs[i].text();
    if (runs[i].kind != WordRun::Kind::kGap) {
      if (left == 0) left = 2 + stableHash(run, seed) % 2;
      --left;
      result += run;
      continue;
    }
    const bool blank = run == " " && i > 0;
    if (left == 0 || !blank) {
      left = 0;
      result += run;
    }
  }
  return result;
}

}  // namespace sifterra::tools
