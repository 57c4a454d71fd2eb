// A map file read back into what it was written from. What the engine does not read is checked here: a map
// may come from anywhere.
#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "lsm/MapFile.h"
#include "lsm/NearWords.h"
#include "lsm/map_generated.h"
#include "lsm/training/MapWriter.h"

namespace sifterra::lsm {
namespace {

void appendRow(std::vector<float>& rows, const QuantisedRow& row, std::uint32_t rank) {
  for (std::uint32_t k = 0; k < rank; ++k) rows.push_back(static_cast<float>(row.values[k]) * row.scale);
}

constexpr float kMostWeight = 1e9f;
constexpr float kMostOffset = 1e6f;
constexpr float kMostScale = 1e3f;

// Not-a-number lies in no range.
bool within(const flatbuffers::Vector<float>& values, float least, float most) {
  return std::all_of(values.begin(), values.end(),
                     [least, most](float value) { return value >= least && value <= most; });
}

// Every page has a view, and views stand in the order of their pages.
bool viewsFit(const file::Memory& memory) {
  const std::uint32_t pages = memory.page_weights()->size();
  std::uint32_t next = 0;
  for (const std::uint32_t page : *memory.view_pages()) {
    if (page >= pages || (page != next && page + 1 != next)) return false;
    next = page + 1;
  }
  return next == pages;
}

// What is wrong with a memory; null when all is well.
const char* faultOf(const file::Memory& memory, const Map& map) {
  if (memory.page_weights() == nullptr || memory.page_categories() == nullptr ||
      memory.view_pages() == nullptr || memory.view_offsets() == nullptr || memory.view_scales() == nullptr ||
      memory.view_points() == nullptr || memory.word_last_shares() == nullptr) {
    return "a table is missing";
  }
  const std::size_t views = memory.view_pages()->size();
  if (views == 0 || memory.page_categories()->size() != memory.page_weights()->size() ||
      memory.view_offsets()->size() != views || memory.view_scales()->size() != views ||
      memory.view_points()->size() != views * map.rank() ||
      memory.word_last_shares()->size() != map.wordCount()) {
    return "its tables disagree";
  }
  const std::uint32_t categories = map.categoryCount();
  if (!std::all_of(memory.page_categories()->begin(), memory.page_categories()->end(),
                   [categories](std::uint8_t category) { return category < categories; })) {
    return "a page is of no category of the map";
  }
  if (memory.teaching_pages() == 0 || !within(*memory.page_weights(), 1 / kMostWeight, kMostWeight) ||
      !within(*memory.view_offsets(), -kMostOffset, kMostOffset) ||
      !within(*memory.view_scales(), 0, kMostScale)) {
    return "a number is out of range";
  }
  return viewsFit(memory) ? nullptr : "its pages are out of order";
}

// Null, with the reason, when there is none, or none to rely on.
const file::Memory* memoryIn(const Map& map, std::string* noMemory) {
  const file::Memory* memory = file::GetMap(map.payload())->memory();
  std::string why =
      "the map remembers nothing of the pages that it was made of; one that this program trains does";
  if (memory != nullptr) {
    const char* fault = faultOf(*memory, map);
    if (fault == nullptr) return memory;
    why = std::string("the map's memory is damaged: ") + fault;
  }
  if (noMemory != nullptr) *noMemory = why;
  return nullptr;
}

MapMemory memoryOf(const Map& map, const file::Memory* memory) {
  MapMemory result;
  result.teachingPages = memory->teaching_pages();
  result.weights.assign(memory->page_weights()->begin(), memory->page_weights()->end());
  result.categories.assign(memory->page_categories()->begin(), memory->page_categories()->end());
  result.pages.assign(memory->view_pages()->begin(), memory->view_pages()->end());
  result.offsets.assign(memory->view_offsets()->begin(), memory->view_offsets()->end());
  for (std::uint32_t view = 0; view < result.pages.size(); ++view) {
    appendRow(
        result.points,
        {memory->view_points()->data() + std::size_t{view} * map.rank(), memory->view_scales()->Get(view)},
        map.rank());
  }
  return result;
}

// The keys of the telling words. A slot holds a part of its key only; the whole one follows from its word.
// Under one key the words stay in the order in which a look-up comes to them.
std::vector<NearKey> nearKeysOf(const Map& map) {
  std::vector<NearKey> result;
  if (!map.hasNearWords()) return result;
  std::vector<bool> telling(map.wordCount(), false);
  for (const std::uint64_t slot : *file::GetMap(map.payload())->near_slots()) {
    if (slot != 0) telling[(slot & kSlotWordMask) - 1] = true;
  }
  NearKeys keys;
  std::vector<std::uint64_t> all;
  for (std::uint32_t word = 0; word < telling.size(); ++word) {
    if (!telling[word]) continue;
    nearKeys(map.word(word), keys);
    all.insert(all.end(), keys.key, keys.key + keys.count);
  }
  std::sort(all.begin(), all.end());
  all.erase(std::unique(all.begin(), all.end()), all.end());
  for (const std::uint64_t key : all) {
    (void)map.nearWord(key, [&](std::uint32_t word) {
      nearKeys(map.word(word), keys);
      if (std::find(keys.key, keys.key + keys.count, key) != keys.key + keys.count)
        result.push_back({key, word});
      return false;
    });
  }
  return result;
}

}  // namespace

MapContents contentsOf(const Map& map, std::string* noMemory) {
  const file::Memory* memory = memoryIn(map, noMemory);
  MapContents contents;
  contents.properties = map.properties();
  contents.categoryCount = map.categoryCount();
  contents.rank = map.rank();
  contents.bucketCount = map.bucketCount();
  for (std::uint32_t w = 0; w < map.wordCount(); ++w) {
    const float cost = map.splitCost(w);
    contents.words.push_back(
        {std::string(map.word(w)), map.weight(w), cost < 0 ? std::numeric_limits<float>::infinity() : cost});
    if (memory != nullptr) {
      contents.words.back().lastShare = static_cast<float>(memory->word_last_shares()->Get(w)) / 255.0f;
    }
    appendRow(contents.wordRows, map.wordRow(w), map.rank());
  }
  for (std::uint32_t b = 0; b < map.bucketCount(); ++b) {
    appendRow(contents.bucketRows, map.bucketRow(b), map.rank());
  }
  for (std::uint32_t c = 0; c < map.categoryCount(); ++c) {
    contents.head.insert(contents.head.end(), map.head(c), map.head(c) + map.rank());
    contents.bias.push_back(map.bias(c));
  }
  contents.scripts = map.scripts();
  contents.windowTokens = map.windowTokens();
  contents.bestWindows = map.bestWindows();
  contents.windowPenalty = map.windowPenalty();
  if (map.judgesParts()) {
    for (std::size_t part = 0; part < kPageParts; ++part)
      contents.partPenalties.push_back(map.partPenalty(part));
    contents.partTokens = map.partTokens();
  }
  contents.nearKeys = nearKeysOf(map);
  if (memory != nullptr) contents.memory = memoryOf(map, memory);
  return contents;
}

}  // namespace sifterra::lsm
