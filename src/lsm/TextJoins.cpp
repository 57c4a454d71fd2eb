// The part of Text that makes one of words that are cut in two. What was read stays as it is: the sequence
// with the joined words is made anew whenever words were added since.
#include "lsm/TextWords.h"

namespace sifterra::lsm {

void Text::join() {
  if (_joinedUpTo == _sequence.size() + _fragments.size()) return;
  _joinedUpTo = _sequence.size() + _fragments.size();
  const bool hadJoins = !_joins.empty();
  WordJoiner joiner(*_map);
  tryFragments(joiner);
  _joins = joiner.cutAllOver(_sequence.size()) ? joiner.all(parts(joiner)) : joiner.pairs();
  if (hadJoins || !_joins.empty()) applyJoins();
}

WordPart Text::partOf(const Fragment& fragment) const noexcept {
  const Unknown& unknown = _unknown[fragment.unknown];
  const std::uint32_t units = unknown.units.count;
  return WordJoiner::unknown(std::string_view(_unknownText).substr(unknown.text, unknown.size), fragment.at,
                             fragment.at + units);
}

// Every unknown word with its neighbours.
void Text::tryFragments(WordJoiner& joiner) const {
  const auto knownAt = [&](std::uint32_t at) { return _units[_sequence[at]].word; };
  std::uint32_t behindLast = 0;
  WordPart last;
  for (const Fragment& fragment : _fragments) {
    const WordPart part = partOf(fragment);
    if (!last.text.empty() && behindLast < part.from) {
      const std::uint32_t word = knownAt(behindLast);
      if (word != Map::kUnknownWord) joiner.tryPair(last, joiner.known(word, behindLast));
    }
    if (!last.text.empty() && behindLast == part.from) {
      joiner.tryPair(last, part);
    } else if (part.from > 0) {
      const std::uint32_t word = knownAt(part.from - 1);
      if (word != Map::kUnknownWord) joiner.tryPair(joiner.known(word, part.from - 1), part);
    }
    last = part;
    behindLast = part.to;
  }
  if (!last.text.empty() && behindLast < _sequence.size()) {
    const std::uint32_t word = knownAt(behindLast);
    if (word != Map::kUnknownWord) joiner.tryPair(last, joiner.known(word, behindLast));
  }
}

// All words of the text, in order.
std::vector<WordPart> Text::parts(const WordJoiner& joiner) const {
  std::vector<WordPart> parts;
  parts.reserve(_sequence.size() + _fragments.size());
  auto fragment = _fragments.begin();
  for (std::uint32_t at = 0; at < _sequence.size() || fragment != _fragments.end();) {
    if (fragment != _fragments.end() && fragment->at == at) {
      parts.push_back(partOf(*fragment));
      at = parts.back().to;
      ++fragment;
      continue;
    }
    const std::uint32_t word = _units[_sequence[at]].word;
    parts.push_back(word != Map::kUnknownWord ? joiner.known(word, at)
                                              : WordJoiner::unknown({}, at, at + 1));
    ++at;
  }
  return parts;
}

void Text::applyJoins() {
  _joinedSequence.clear();
  _joinedSequence.reserve(_sequence.size() + _joins.size());
  std::uint32_t at = 0;
  const auto copyTo = [&](std::uint32_t end) {
    for (; at < end; ++at) _joinedSequence.push_back(_sequence[at]);
  };
  for (const WordJoin& join : _joins) {
    copyTo(join.from);
    _joinedSequence.push_back(unitOfKnownWord(join.word));
    at = join.to;
  }
  copyTo(static_cast<std::uint32_t>(_sequence.size()));
  _joinedSections = _sections.moved([this](std::size_t start) {
    std::size_t place = start;
    for (const WordJoin& join : _joins) {
      if (join.to > start) break;
      place = place + 1 - (join.to - join.from);
    }
    return place;
  });
  for (Unit& unit : _units) unit.frequency = 0;
  for (const std::uint32_t unit : sequence()) ++_units[unit].frequency;
}

}  // namespace sifterra::lsm
