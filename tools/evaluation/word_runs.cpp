#include "evaluation/word_runs.h"

#include "evaluation/characters.h"

namespace sifterra::tools {
namespace {

WordRun::Kind runKind(CharacterKind kind) {
  switch (kind) {
    case CharacterKind::kDigit:
    case CharacterKind::kLetter:
      return WordRun::Kind::kWord;
    case CharacterKind::kIdeograph:
      return WordRun::Kind::kIdeographs;
    default:
      return WordRun::Kind::kGap;
  }
}

std::string lowered(std::string_view text) {
  std::string lower;
  for (std::size_t at = 0; at < text.size();) appendUtf8(lowerCase(nextCodePoint(text, at)), lower);
  return lower;
}

}  // namespace

std::string WordRun::text() const {
  std::string joined;
  for (const std::string& letter : letters) joined += letter;
  return joined;
}

std::vector<WordRun> wordRuns(std::string_view text) {
  std::vector<WordRun> runs;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t from = at;
    const CharacterKind character = kindOfCharacter(nextCodePoint(text, at));
    const std::string_view letter = text.substr(from, at - from);
    const bool continues = !runs.empty() && character == CharacterKind::kMark;
    const WordRun::Kind kind = continues ? runs.back().kind : runKind(character);
    if (runs.empty() || runs.back().kind != kind) runs.push_back({kind, {}});
    std::vector<std::string>& letters = runs.back().letters;
    if (!letters.empty() && (continues || kind == WordRun::Kind::kGap)) {
      letters.back() += letter;
    } else {
      letters.emplace_back(letter);
    }
  }
  return runs;
}

std::vector<std::string> wordKeys(const WordRun& run) {
  std::vector<std::string> keys;
  if (run.kind == WordRun::Kind::kWord) keys.push_back(lowered(run.text()));
  if (run.kind == WordRun::Kind::kIdeographs) {
    for (std::size_t i = 0; i + 1 < run.letters.size(); ++i)
      keys.push_back(run.letters[i] + run.letters[i + 1]);
  }
  return keys;
}

std::uint64_t stableHash(std::string_view bytes, std::uint64_t seed) {
  std::uint64_t hash = 0xcbf29ce484222325U ^ (seed * 0x9e3779b97f4a7c15U);
  for (const char byte : bytes) hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
  hash ^= hash >> 32U;
  hash *= 0xd6e8feb86659fd93U;
  return hash ^ (hash >> 32U);
}

}  // namespace sifterra::tools
