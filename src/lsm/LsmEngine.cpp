#include "lsm/LsmEngine.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <new>
#include <ostream>

#include "lsm/Evaluation.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {

namespace {

constexpr int kAdded = 0;
constexpr int kBadArgument = -1;
constexpr int kOutOfMemory = -3;

// "%.6f" without the host program's locale.
std::string fixed(float value, int digits) {
  char text[64];
  const auto end =
      std::to_chars(text, text + sizeof text, static_cast<double>(value), std::chars_format::fixed, digits);
  return {text, end.ptr};
}

LsmText noText() {
  return {nullptr, [](Text*) {}};
}

}  // namespace

LsmMap lsmMapLoad(const std::string& path, unsigned options, std::string* why) {
  std::string reason;
  LsmMap map;
  if (options != 0) {
    reason = "unknown options";
  } else if (std::unique_ptr<MapBytes> bytes = MapBytes::ofFile(path, reason)) {
    map = Map::ofBytes(std::move(bytes), reason);
  }
  if (map == nullptr && why != nullptr) *why = std::move(reason);
  return map;
}

std::unique_ptr<LsmProperties> lsmMapProperties(const LsmMap& map) {
  if (map == nullptr || map->properties().empty()) return nullptr;
  return std::make_unique<LsmProperties>(map->properties());
}

std::int64_t lsmMapCategoryCount(const LsmMap& map) {
  return map == nullptr ? 0 : static_cast<std::int64_t>(map->categoryCount());
}

LsmText lsmTextCreate(const LsmMap& map) {
  if (map == nullptr) return noText();
  return {new Text(map), [](Text* text) { delete text; }};
}

int lsmTextAddWords(const LsmText& text, std::u16string_view words, unsigned flags) {
  if (text == nullptr || flags != 0) return kBadArgument;
  try {
    text->addWords(words);
  } catch (const std::bad_alloc&) {
    return kOutOfMemory;
  }
  return kAdded;
}

LsmRawResult lsmEvaluate(const LsmMap& map, const LsmText& text, std::int64_t count, unsigned options) {
  LsmRawResult result;
  if (map == nullptr || text == nullptr || text->map() != map || count < 1 || options != 0) return result;
  const std::vector<float> scores = evaluate(*map, *text);
  result.entries.reserve(scores.size());
  for (std::size_t c = 0; c < scores.size(); ++c) {
    result.entries.push_back({static_cast<std::uint32_t>(c + 1), scores[c]});
  }
  std::stable_sort(result.entries.begin(), result.entries.end(),
                   [](const LsmScore& a, const LsmScore& b) { return a.score > b.score; });
  if (static_cast<std::uint64_t>(count) < result.entries.size()) {
    result.entries.resize(static_cast<std::size_t>(count));
  }
  result.valid = true;
  return result;
}

bool lsmWriteWordDump(const LsmMap& map, const LsmText& text, std::ostream& stream, unsigned options) {
  if (map == nullptr || text == nullptr || text->map() != map || options != 0) return false;
  for (std::size_t unit = 0; unit < text->unitCount(); ++unit) {
    const std::uint32_t word = text->knownWord(unit);
    if (word == Map::kUnknownWord) continue;
    const float probability = evaluateWord(*map, word, text->scratch).back();
    // Fixed widths: sorted as text, in any locale, the words that speak most for the last category come
    // first.
    stream << fixed(probability, 6) << ' ' << std::setw(8) << std::to_string(text->frequency(unit)) << ' '
           << fixed(map->weight(word), 4) << ' ';
    stream << map->word(word) << '\n';
  }
  return stream.good();
}

}  // namespace sifterra::lsm
