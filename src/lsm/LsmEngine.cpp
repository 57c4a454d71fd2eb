#include "lsm/LsmEngine.h"

#include <algorithm>
#include <charconv>
#include <iomanip>
#include <new>
#include <ostream>
#include <system_error>

#include "lsm/Evaluation.h"
#include "lsm/Explanation.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"

namespace sifterra::lsm {

namespace {

constexpr int kAdded = 0;
constexpr int kBadArgument = -1;
constexpr int kOutOfMemory = -3;

// "%.6f" without the host program's locale.
std::string fixed(double value, int digits) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, digits);
  return end.ec == std::errc() ? std::string(text, end.ptr) : "0";
}

// Keys run from 0 to 1 and stay of one width: a share of fifty and more is as good as any.
std::string sortKey(double share) {
  return fixed(std::clamp(0.5 + share / 100.0, 0.0, 0.999999), 6);
}

void writeLine(std::ostream& stream, const std::string& key, std::uint64_t count, double share,
               std::string_view what) {
  stream << key << ' ' << std::setw(8) << std::to_string(count) << ' ' << std::setw(9)
         << (share < 0 ? "" : "+") + fixed(share, 4) << ' ' << what << '\n';
}

// What the page gets, where that is not what its words come to.
std::string pagesOwn(const Stretch& decided) {
  if (decided.windows == 0 && decided.penalty == 0) return {};
  std::string text = "; the page: " + std::string(decided.odds < 0 ? "" : "+") + fixed(decided.odds, 4);
  if (decided.windows > 1)
    text += ", the mean of its " + std::to_string(decided.windows) + " plainest stretches";
  if (decided.penalty != 0) text += ", " + fixed(decided.penalty, 4) + " taken off";
  return text;
}

void writeDump(const Explanation& explanation, std::ostream& stream) {
  std::uint64_t words = 0;
  for (const ExplainedWord& word : explanation.words) words += word.count;
  const Stretch& decided = explanation.judgement.decided;
  writeLine(stream, "1.000000", words, explanation.odds,
            "(" + std::string(stretchName(decided.kind)) + ", all together" + pagesOwn(decided) + ")");
  writeLine(stream, sortKey(explanation.start), 0, explanation.start, "(where every page starts)");
  for (const ExplainedWord& word : explanation.words) {
    std::string what = word.word;
    if (word.nature == WordNature::kFixed) what = "(words of every page)";
    if (!word.meaning.empty()) what += " (" + word.meaning + ")";
    const char* separator = " (written ";
    for (const std::string& form : word.written) {
      what += separator + form;
      separator = ", ";
    }
    if (!word.written.empty()) what += ")";
    if (word.nature == WordNature::kUnknown) what += " (unknown word, by its letters)";
    writeLine(stream, sortKey(word.share), word.count, word.share, what);
  }
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

LsmText lsmTextCreate(const LsmMap& map, bool explained) {
  if (map == nullptr) return noText();
  LsmText text{new Text(map), [](Text* made) { delete made; }};
  if (explained) text->keepSource();
  return text;
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
  const std::shared_ptr<const Explanation> explanation = lsmExplain(map, text, options);
  if (explanation == nullptr) return false;
  writeDump(*explanation, stream);
  return stream.good();
}

std::shared_ptr<const Explanation> lsmExplain(const LsmMap& map, const LsmText& text, unsigned options) {
  if (map == nullptr || text == nullptr || text->map() != map || options != 0) return nullptr;
  return std::make_shared<const Explanation>(explain(*map, *text));
}

}  // namespace sifterra::lsm
