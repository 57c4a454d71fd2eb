#include "lsm/training/TrainingPage.h"

#include <unordered_map>
#include <utility>

#include "lsm/line_end.h"

namespace sifterra::lsm {
namespace {

// Calls take(line, repeats) for every run of equal lines.
template <class Take>
void forEachLine(std::u16string_view text, Take take) {
  std::u16string_view line;
  std::uint32_t repeats = 0;
  for (bool more = true; more;) {
    const std::size_t end = lineEnd(text);
    const std::u16string_view next = text.substr(0, end);
    more = end < text.size();
    text.remove_prefix(more ? end + 1 : text.size());
    if (repeats != 0 && next == line) {
      ++repeats;
      continue;
    }
    if (repeats != 0) take(line, repeats);
    line = next;
    repeats = 1;
  }
  take(line, repeats);
}

struct TextHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>()(text); }
};

class Counter final : public TokenSink {
 public:
  void countLine(std::u16string_view line, std::uint32_t repeats) {
    _repeats = repeats;
    _tokenizer.tokenizeLine(line, *this);
  }
  [[nodiscard]] PageWords words() && { return std::move(_words); }

 private:
  void token(const Token& token) override {
    if (token.kind == TokenKind::kAtom || token.kind == TokenKind::kSpelt) return;
    auto found = _numbers.find(token.text);
    if (found == _numbers.end()) {
      found = _numbers.emplace(token.text, _words.size()).first;
      _words.push_back({std::string(token.text), token.kind, token.script, token.characters, 0});
    }
    _words[found->second].count += _repeats;
  }

  Tokenizer _tokenizer;
  std::uint32_t _repeats = 0;
  PageWords _words;
  std::unordered_map<std::string, std::size_t, TextHash, std::equal_to<>> _numbers;  // never walked
};

}  // namespace

PageWords countWords(std::u16string_view text) {
  Counter counter;
  forEachLine(text,
              [&](std::u16string_view line, std::uint32_t repeats) { counter.countLine(line, repeats); });
  return std::move(counter).words();
}

FoldedText::FoldedText(std::u16string_view text) {
  forEachLine(text, [&](std::u16string_view line, std::uint32_t repeats) {
    if (!_repeats.empty()) _lines += u'\n';
    _lines += line;
    _repeats.push_back(repeats);
  });
  _lines.shrink_to_fit();
}

std::u16string FoldedText::text() const {
  std::u16string result;
  std::u16string_view rest = _lines;
  for (std::size_t i = 0; i < _repeats.size(); ++i) {
    const std::size_t end = lineEnd(rest);
    for (std::uint32_t k = 0; k < _repeats[i]; ++k) {
      if (i + k != 0) result += u'\n';
      result += rest.substr(0, end);
    }
    rest.remove_prefix(std::min(rest.size(), end + 1));
  }
  return result;
}

TrainingPage makeTrainingPage(std::u16string_view trainingText, std::u16string_view filterText,
                              std::uint32_t category, std::string site) {
  return {countWords(trainingText), FoldedText(filterText), category, std::move(site), false};
}

}  // namespace sifterra::lsm
