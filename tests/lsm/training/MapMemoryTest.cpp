// MapMemoryTest: what a map remembers of its pages, kept in its file, which may come from anywhere.
#include "lsm/training/MapMemory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>

#include "lsm/DamagedMap.h"
#include "lsm/training/AddedPages.h"
#include "lsm/training/RememberedPages.h"
#include "lsm/training/remember_pages.h"
#include "lsm/training/tiny_corpus.h"

namespace sifterra::lsm {
namespace {

const MapContents& trained() {
  static const MapContents contents = trainTinyMap();
  return contents;
}

std::string trainedBytes() {
  std::string why;
  return mapFileBytes(trained(), why);
}

LsmMap opened(const std::string& bytes) {
  std::string why;
  LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  EXPECT_EQ(why, "");
  return map;
}

TEST(MapMemory, SurvivesTheFile) {
  const MapContents& contents = trained();
  std::string why;
  const MapContents read = contentsOf(*opened(trainedBytes()), &why);
  EXPECT_EQ(why, "");
  ASSERT_FALSE(contents.memory.empty());
  EXPECT_EQ(read.memory.teachingPages, contents.memory.teachingPages);
  EXPECT_EQ(read.memory.weights, contents.memory.weights);
  EXPECT_EQ(read.memory.categories, contents.memory.categories);
  EXPECT_EQ(read.memory.pages, contents.memory.pages);
  EXPECT_EQ(read.memory.offsets, contents.memory.offsets);
  ASSERT_EQ(read.memory.points.size(), contents.memory.points.size());
  for (std::size_t i = 0; i < read.memory.points.size(); ++i)
    EXPECT_NEAR(read.memory.points[i], contents.memory.points[i], 1e-6);
}

TEST(MapMemory, FiguresAreThoseThatTheMapWasGivenInTraining) {
  const LsmMap map = opened(trainedBytes());
  const MapContents read = contentsOf(*map);
  const RememberedPages remembered(read.memory, read.rank, read.categoryCount);
  const MapFigures figures =
      remembered.figures(remembered.margins(LastCategory(*map)), thresholdOf(read.properties));
  EXPECT_NEAR(figures.recall, std::get<float>(read.properties.at(kTrainedRecall)), 1e-3);
  EXPECT_NEAR(figures.falsePositives, std::get<float>(read.properties.at(kTrainedFalsePositives)), 1e-3);
}

// Few pages of the last category calibrate; those that taught show as well what a change does to them.
TEST(MapMemory, HoldsTheCategoriesInTheProportionsThatWereLearnt) {
  const MapMemory& memory = trained().memory;
  double last = 0;
  double others = 0;
  std::size_t pagesOfLast = 0;
  for (std::size_t page = 0; page < memory.weights.size(); ++page) {
    (memory.categories[page] == 1 ? last : others) += static_cast<double>(memory.weights[page]);
    pagesOfLast += memory.categories[page] == 1 ? 1 : 0;
  }
  TrainingCorpus corpus = tinyCorpus(tinyPages(60));
  TrainingSummary summary;
  std::string why;
  ASSERT_TRUE(trainMap(corpus, tinyOptions(), summary, why)) << why;
  EXPECT_EQ(pagesOfLast, summary.categories[1].teaching + summary.categories[1].calibrating);
  EXPECT_NEAR(others, static_cast<double>(summary.categories[0].calibrating), 1e-3);
  EXPECT_NEAR(last / others,
              static_cast<double>(summary.categories[1].teaching) /
                  static_cast<double>(summary.categories[0].teaching),
              1e-3);
}

TEST(MapMemory, OfContentsThatDoNotAgreeIsNotWritten) {
  const auto refusal = [](auto spoil) {
    MapContents contents = trained();
    spoil(contents.memory);
    std::string why;
    return mapFileBytes(contents, why).empty() ? why : "";
  };
  EXPECT_EQ(refusal([](MapMemory&) {}), "");
  const std::string disagrees = "the memory does not agree with itself";
  EXPECT_EQ(refusal([](MapMemory& memory) { memory.weights.pop_back(); }), disagrees);
  EXPECT_EQ(refusal([](MapMemory& memory) { memory.offsets.pop_back(); }), disagrees);
  EXPECT_EQ(refusal([](MapMemory& memory) { memory.points.pop_back(); }), disagrees);
  EXPECT_EQ(refusal([](MapMemory& memory) { memory.weights[0] = std::numeric_limits<float>::infinity(); }),
            disagrees);
}

// A vector in the file that claims another length.
template <class Vector>
void setLength(const Vector* vector, std::uint32_t length) {
  std::memcpy(const_cast<std::uint8_t*>(reinterpret_cast<const std::uint8_t*>(vector)), &length,
              sizeof length);
}

// The field of a table as if it had never been written.
void remove(file::Memory& memory, flatbuffers::voffset_t field) {
  auto* table = reinterpret_cast<std::uint8_t*>(&memory);
  std::int32_t back = 0;
  std::memcpy(&back, table, sizeof back);
  std::memset(table - back + field, 0, sizeof(flatbuffers::voffset_t));
}

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

struct Damage {
  const char* why;
  std::function<void(file::Memory&)> change;
};

std::vector<Damage> damages() {
  using file::Memory;
  std::vector<Damage> damages = {
      {"a number is out of range", [](Memory& m) { m.mutate_teaching_pages(0); }},
      {"a number is out of range", [](Memory& m) { m.mutable_page_weights()->Mutate(0, 0.0f); }},
      {"a number is out of range", [](Memory& m) { m.mutable_page_weights()->Mutate(0, -1.0f); }},
      {"a number is out of range", [](Memory& m) { m.mutable_page_weights()->Mutate(1, kNan); }},
      {"a number is out of range", [](Memory& m) { m.mutable_page_weights()->Mutate(1, 1e30f); }},
      {"a number is out of range", [](Memory& m) { m.mutable_view_offsets()->Mutate(0, kNan); }},
      {"a number is out of range", [](Memory& m) { m.mutable_view_offsets()->Mutate(0, -1e7f); }},
      {"a number is out of range", [](Memory& m) { m.mutable_view_scales()->Mutate(0, -1.0f); }},
      {"a number is out of range", [](Memory& m) { m.mutable_view_scales()->Mutate(0, kNan); }},
      {"a page is of no category of the map", [](Memory& m) { m.mutable_page_categories()->Mutate(0, 2); }},
      {"its pages are out of order", [](Memory& m) { m.mutable_view_pages()->Mutate(0, 1); }},
      {"its pages are out of order", [](Memory& m) { m.mutable_view_pages()->Mutate(0, UINT32_MAX); }},
      {"its pages are out of order",
       [](Memory& m) { m.mutable_view_pages()->Mutate(m.view_pages()->size() - 1, 1U << 30U); }},
      {"its tables disagree", [](Memory& m) { setLength(m.page_weights(), 1); }},
      {"its tables disagree", [](Memory& m) { setLength(m.page_categories(), 1); }},
      {"its tables disagree", [](Memory& m) { setLength(m.view_pages(), 0); }},
      {"its tables disagree", [](Memory& m) { setLength(m.view_offsets(), 1); }},
      {"its tables disagree", [](Memory& m) { setLength(m.view_scales(), 1); }},
      {"its tables disagree", [](Memory& m) { setLength(m.view_points(), 1); }},
      {"its tables disagree", [](Memory& m) { setLength(m.word_last_shares(), 1); }},
  };
  for (const auto field :
       {Memory::VT_PAGE_WEIGHTS, Memory::VT_PAGE_CATEGORIES, Memory::VT_VIEW_PAGES, Memory::VT_VIEW_OFFSETS,
        Memory::VT_VIEW_SCALES, Memory::VT_VIEW_POINTS, Memory::VT_WORD_LAST_SHARES}) {
    damages.push_back({"a table is missing", [field](Memory& m) { remove(m, field); }});
  }
  return damages;
}

TEST(MapMemory, ThatIsDamagedIsRefusedWithAReasonAndHarmsNoVerdict) {
  const std::string sound = trainedBytes();
  const std::vector<Damage> rows = damages();
  for (std::size_t i = 0; i < rows.size(); ++i) {
    SCOPED_TRACE(std::to_string(i) + ": " + rows[i].why);
    std::string bytes = sound;
    rows[i].change(*payloadOf(bytes)->mutable_memory());
    const LsmMap map = opened(resealed(bytes));
    ASSERT_TRUE(map);
    std::string why;
    const MapContents contents = contentsOf(*map, &why);
    EXPECT_EQ(why, std::string("the map's memory is damaged: ") + rows[i].why);
    EXPECT_TRUE(contents.memory.empty());
    EXPECT_EQ(contents.words.size(), trained().words.size());
    AddedPagesSummary summary;
    std::string refusal;
    EXPECT_FALSE(addPages(map, tinyCorpus({{u"word", 1, "site"}}), {}, summary, refusal));
    EXPECT_EQ(refusal, why);
  }
}

// One byte after the other: what is taken has finite figures.
TEST(MapMemory, AFlippedByteNeverHarms) {
  const std::string sound = trainedBytes();
  const auto* memory = reinterpret_cast<const char*>(file::GetMap(sound.data() + kMapHeaderBytes)->memory());
  const auto from = static_cast<std::size_t>(memory - sound.data());
  std::size_t taken = 0;
  for (std::size_t i = 0; i < 400; ++i) {
    std::string bytes = sound;
    const std::size_t at = std::min(from + i * i % 30000, bytes.size() - 1);
    bytes[at] = static_cast<char>(bytes[at] ^ (1 << (i % 8)));
    std::string why;
    const LsmMap map = Map::ofBytes(MapBytes::copyOf(resealed(bytes)), why);
    if (map == nullptr) continue;
    const MapContents contents = contentsOf(*map, &why);
    if (contents.memory.empty()) {
      EXPECT_NE(why, "");
      continue;
    }
    ++taken;
    const RememberedPages remembered(contents.memory, contents.rank, contents.categoryCount);
    const std::vector<double> margins = remembered.margins(LastCategory(*map));
    const MapFigures figures = remembered.figures(margins, 0.5);
    EXPECT_TRUE(figures.recall >= 0 && figures.recall <= 1 + 1e-9) << i;
    EXPECT_TRUE(figures.falsePositives >= 0 && figures.falsePositives <= 1) << i;
    EXPECT_TRUE(std::isfinite(remembered.excess(margins, 0.5, 0.01))) << i;
  }
  EXPECT_GT(taken, 0U);
}

}  // namespace
}  // namespace sifterra::lsm
