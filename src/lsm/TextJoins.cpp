// The part of Text that makes one of words that are cut in two. What was read stays as it is: the sequence
// with the joined words is made anew whenever words were added since.
#include <algorithm>

#include "lsm/TextWords.h"

namespace sifterra::lsm {

void Text::join() {
  if (_joinedUpTo == _sequence.size() + _fragments.size()) return;
  _joinedUpTo = _sequence.size() + _fragments.size();
  if (_leavesDisguises) return;
  const bool hadJoins = !_joins.empty();
  WordJoiner joiner(*_map);
  tryFragments(joiner);
  _joins = joiner.cutAllOver(_sequence.size()) ? joiner.all(parts()) : joiner.pairs();
  if (hadJoins || !_joins.empty()) applyJoins();
}

WordPart Text::partOf(const Fragment& fragment) const noexcept {
  const Unknown& unknown = _unknown[fragment.unknown];
  const std::string_view text = std::string_view(_unknownText).substr(unknown.text, unknown.ends.size);
  return {text, fragment.at, fragment.at + unknown.units.count, kUnknownPartCost, fragment.section};
}

// A unit that no fragment stands for: a known word, or one whose text was not kept.
WordPart Text::partAt(std::uint32_t at) const noexcept {
  const std::uint32_t word = _units[_sequence[at]].word;
  const std::size_t section = _sections.sectionAt(at);
  if (word == Map::kUnknownWord) return {{}, at, at + 1, kUnknownPartCost, section};
  return {_map->word(word), at, at + 1, std::max(_map->splitCost(word), 0.0f), section};
}

// Every unknown word with its neighbours. Their texts are looked at only where their ends fit.
void Text::tryFragments(WordJoiner& joiner) const {
  const auto endsAt = [this](std::uint32_t at) -> const WordEnds& { return _units[_sequence[at]].ends; };
  const Fragment* last = nullptr;
  std::uint32_t lastTo = 0;
  WordEnds lastEnds;
  const auto tryBehindLast = [&] {
    if (joiner.mayPair(lastEnds, endsAt(lastTo))) joiner.tryPair(partOf(*last), partAt(lastTo));
  };
  for (const Fragment& fragment : _fragments) {
    const Unknown& unknown = _unknown[fragment.unknown];
    if (lastTo < fragment.at) {
      if (last != nullptr) tryBehindLast();
      if (joiner.mayPair(endsAt(fragment.at - 1), unknown.ends)) {
        joiner.tryPair(partAt(fragment.at - 1), partOf(fragment));
      }
    } else if (joiner.mayPair(lastEnds, unknown.ends)) {
      joiner.tryPair(partOf(*last), partOf(fragment));
    }
    last = &fragment;
    lastTo = fragment.at + unknown.units.count;
    lastEnds = unknown.ends;
  }
  if (last != nullptr && lastTo < _sequence.size()) tryBehindLast();
}

// All words of the text, in order.
std::vector<WordPart> Text::parts() const {
  std::vector<WordPart> parts;
  parts.reserve(_sequence.size() + _fragments.size());
  auto fragment = _fragments.begin();
  for (std::uint32_t at = 0; at < _sequence.size() || fragment != _fragments.end();) {
    const bool isFragment = fragment != _fragments.end() && fragment->at == at;
    parts.push_back(isFragment ? partOf(*fragment) : partAt(at));
    at = parts.back().to;
    if (isFragment) ++fragment;
  }
  return parts;
}

void Text::applyJoins() {
  _joinedSequence.clear();
  _joinedSequence.reserve(_sequence.size() + _joins.size());
  _joinedSections = _sections;
  std::uint32_t at = 0;
  const auto copyTo = [&](std::uint32_t end) {
    for (; at < end; ++at) _joinedSequence.push_back(_sequence[at]);
  };
  for (const WordJoin& join : _joins) {
    copyTo(join.from);
    _joinedSequence.push_back(unitOfKnownWord(join.word));
    at = join.to;
    _joinedSections.grow(join.section, 1 - static_cast<std::ptrdiff_t>(join.to - join.from));
  }
  copyTo(static_cast<std::uint32_t>(_sequence.size()));
  for (Unit& unit : _units) unit.frequency = 0;
  for (const std::uint32_t unit : sequence()) ++_units[unit].frequency;
}

}  // namespace sifterra::lsm
