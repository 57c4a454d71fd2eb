// TextWords.h: the words of one text, counted against a map.
//
// Every token that says something becomes a unit: a known word, the n-grams of an unknown one, or, for a word
// that is made of known ones, one unit for each of those. The sequence of units is kept, because evaluation
// also looks at stretches of the text. Tokens that the map is silent about leave no trace.
//
// Memory grows with the text: four bytes a unit, and a row for each different unknown word, of which at most
// kMaxUnknownWords are taken; further ones are left out. One thread at a time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lsm/JoinedWords.h"
#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"
#include "lsm/NGrams.h"
#include "lsm/RowSum.h"
#include "lsm/TextSection.h"
#include "lsm/Tokenizer.h"
#include "lsm/WordEnds.h"

namespace sifterra::lsm {

inline constexpr std::size_t kMaxUnknownWords = 65536;
inline constexpr std::size_t kFewJudgedTokens = 32;

// What evaluation needs besides the words; kept so that its memory is used again.
struct EvaluationScratch {
  std::vector<float> sum;
  std::vector<float> logits;
  std::vector<WeightedRow> unitRows;  // per unit, unweighted
  std::vector<WeightedRow> rows;      // the sum being made
  std::vector<std::uint32_t> seenIn;  // per unit: the last stretch that it was seen in
  std::vector<std::uint32_t> count;   // per unit, in that stretch
  std::vector<std::uint32_t> units;   // of the stretch, in the order of their first appearance
};

class Text final : private TokenSink {
 public:
  explicit Text(LsmMap map);

  // What is added from now on is kept, a line feed behind each string, for who explains the text.
  void keepSource() noexcept { _keepsSource = true; }
  // From now on disguised, misspelt and glued words are left as they are: for benchmarks. Before any words.
  void leaveDisguises() noexcept {
    _leavesDisguises = true;
    _tokenizer.leaveDisguises();
  }
  void addWords(std::u16string_view words);

  [[nodiscard]] const std::u16string& source() const noexcept { return _source; }
  // The units that a token of the text stands for.
  [[nodiscard]] std::vector<std::uint32_t> unitsOf(const Token& token) const;
  [[nodiscard]] const LsmMap& map() const noexcept { return _map; }
  // Makes one of words that are cut in two (JoinedWords.h). Evaluation asks for it; it changes the sequence
  // and the frequencies of its units.
  void join();
  // The units as they were read, and what of them was joined, in order.
  [[nodiscard]] const std::vector<std::uint32_t>& readSequence() const noexcept { return _sequence; }
  [[nodiscard]] const std::vector<WordJoin>& joins() const noexcept { return _joins; }
  // The units of the text, in order, and how many different ones there are.
  [[nodiscard]] const std::vector<std::uint32_t>& sequence() const noexcept {
    return _joins.empty() ? _sequence : _joinedSequence;
  }
  // Whether most words are of scripts that the map does not judge, and the rest too few to speak for the
  // text. Of equal lines in a row the first counts.
  [[nodiscard]] bool isMostlyUnjudged() const noexcept {
    return _judgedTokens < kFewJudgedTokens && _judgedTokens < _unjudgedTokens;
  }
  [[nodiscard]] const TextSections& sections() const noexcept {
    return _joins.empty() ? _sections : _joinedSections;
  }
  [[nodiscard]] std::size_t unitCount() const noexcept { return _units.size(); }
  [[nodiscard]] std::uint32_t frequency(std::size_t unit) const noexcept { return _units[unit].frequency; }
  // The unit's word in the map, or Map::kUnknownWord.
  [[nodiscard]] std::uint32_t knownWord(std::size_t unit) const noexcept { return _units[unit].word; }
  // The unit's row, unweighted.
  [[nodiscard]] WeightedRow row(std::size_t unit) const noexcept;

  EvaluationScratch scratch;

 private:
  struct Unit {
    std::uint32_t word;       // in the map, or Map::kUnknownWord
    std::uint32_t row;        // among _unknownRows, when the word is unknown
    std::uint32_t frequency;  // tf(w)
    WordEnds ends;            // of a known word
  };
  // What a token's text stands for: one unit, units _pieces[first] and following, or, when `count` is
  // kUnknown, what _unknown[first] says.
  struct Entry {
    std::uint64_t hash;  // 0: free
    std::uint32_t first;
    std::uint32_t count;
  };
  static constexpr std::uint32_t kUnknown = UINT32_MAX;
  // A word that the map does not know, which may be a part of one that it knows.
  struct Unknown {
    Entry units;
    std::uint32_t text;  // in _unknownText
    WordEnds ends;
  };
  // Where it stands in the text.
  struct Fragment {
    std::uint32_t at;  // in the sequence
    std::uint32_t unknown;
    std::uint32_t section;
  };

  // A token that waits for the memory that its look-up needs.
  struct Waiting {
    std::uint64_t hash;
    std::uint64_t wordHash;  // in the map; this and the rest are set for new words only
    Token token;             // its text is in `text`
    std::array<char, kMaxTokenBytes> text;
  };

  void token(const Token& token) override;
  void take(const Waiting& waiting);
  void takeAll();
  void addUnits(const Entry& entry);
  void addUnknown(std::uint32_t unknown);
  void repeat(std::size_t from, std::size_t to, std::size_t fragmentFrom, std::size_t fragmentTo);
  void addUnit(std::uint32_t unit);
  [[nodiscard]] std::size_t slotOf(std::uint64_t hash) const noexcept;
  [[nodiscard]] Entry& entryAt(std::uint64_t hash) { return _entries[slotOf(hash)]; }
  void growEntries();
  [[nodiscard]] Entry resolved(const Waiting& waiting);
  [[nodiscard]] Entry unitsOfUnknown(const Token& token, std::uint64_t hash);
  [[nodiscard]] WordPart partOf(const Fragment& fragment) const noexcept;
  [[nodiscard]] WordPart partAt(std::uint32_t at) const noexcept;
  [[nodiscard]] std::vector<WordPart> parts() const;
  void tryFragments(WordJoiner& joiner) const;
  void applyJoins();
  [[nodiscard]] bool split(const Token& token);
  [[nodiscard]] std::uint32_t unitOfKnownWord(std::uint32_t word);
  [[nodiscard]] std::uint32_t unitOfNGrams(const Token& token);

  LsmMap _map;
  Tokenizer _tokenizer;
  std::uint64_t _seed;
  std::array<Waiting, 16> _waiting{};
  std::size_t _waitingCount = 0;
  std::vector<std::uint32_t> _sequence;
  TextSections _sections;
  std::vector<Fragment> _fragments;
  std::vector<Unknown> _unknown;
  std::string _unknownText;
  std::size_t _joinedUpTo = 0;  // units and fragments that join() has seen
  std::vector<WordJoin> _joins;
  std::vector<std::uint32_t> _joinedSequence;
  TextSections _joinedSections;
  std::size_t _judgedTokens = 0;    // of a script that the map judges; numbers and atoms are of none
  std::size_t _unjudgedTokens = 0;  // of one that it does not judge
  std::vector<Unit> _units;
  std::vector<Entry> _entries;  // open addressing by hash
  std::size_t _usedEntries = 0;
  std::vector<std::uint32_t> _pieces;
  std::vector<float> _unknownRows;  // stride values each
  std::size_t _unknownWords = 0;
  std::size_t _splits = 0;
  NGramBuckets _buckets;
  bool _keepsSource = false;
  bool _leavesDisguises = false;
  std::u16string _source;
};

}  // namespace sifterra::lsm
