// TinyMap.h: a small map made in the test, written by the writer that the trainer uses.
//
// Each category has an axis of its own and a few words on it; words of kCommonWords lie between the axes. A
// text of one category's words is clearly that category's; the empty text is category 1's.
//
//   const TinyMapFile file;                            // two categories, no properties
//   const LsmMap map = lsmMapLoad(file.path());
#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"
#include "lsm/training/MapWriter.h"

namespace sifterra::lsm {

inline constexpr const char* kHarmlessWords[] = {"weather", "school",   "garden",  "recipe",
                                                 "library", "football", "science", "history",
                                                 "teacher", "homework", "museum",  "kitchen"};
inline constexpr const char* kAdultWords[] = {"xxx",    "porn", "nude",   "erotic",   "escort",
                                              "webcam", "sexy", "videos", "hardcore", "adult"};
inline constexpr const char* kCommonWords[] = {"the", "and", "free", "pictures", "home", "page", "18", "#4"};

namespace tiny {

inline void addWord(MapContents& contents, std::string word, std::vector<float> row, float weight,
                    float cost) {
  contents.words.push_back({std::move(word), weight, cost});
  row.resize(contents.rank, 0.0f);
  contents.wordRows.insert(contents.wordRows.end(), row.begin(), row.end());
}

// `value` on the axis of a category, from 1.
inline std::vector<float> onAxis(std::uint32_t category, float value) {
  std::vector<float> row(category, 0.0f);
  row[category - 1] = value;
  return row;
}

}  // namespace tiny

// The contents, for a test that changes something before it writes them. The last category is the adult one;
// with more than two, those between have one word each: "topic2", "topic3", ...
inline MapContents tinyMapContents(std::uint32_t categories = 2) {
  constexpr float kWeight = 0.5f;
  constexpr float kCost = 3.0f;
  // Strong enough that every signature word alone reaches the ends of the scale.
  constexpr float kSlope = 20.0f;
  MapContents contents;
  contents.categoryCount = categories;
  contents.rank = categories;
  contents.bucketCount = 64;
  contents.bucketRows.assign(std::size_t{contents.bucketCount} * contents.rank, 0.0f);
  for (std::uint32_t c = 1; c <= categories && c <= kSignedCategories; ++c) {
    tiny::addWord(contents, signatureToken(c), tiny::onAxis(c, 0.05f), 0.07f, -1.0f);
  }
  for (const char* word : kHarmlessWords)
    tiny::addWord(contents, word, tiny::onAxis(1, kWeight), kWeight, kCost);
  for (const char* word : kAdultWords) {
    tiny::addWord(contents, word, tiny::onAxis(categories, kWeight), kWeight, kCost);
  }
  for (std::uint32_t c = 2; c < categories; ++c) {
    tiny::addWord(contents, "topic" + std::to_string(c), tiny::onAxis(c, kWeight), kWeight, kCost);
  }
  for (const char* word : kCommonWords) {
    tiny::addWord(contents, word, std::vector<float>(categories, 0.05f), 0.1f, 1.0f);
  }
  contents.head.assign(std::size_t{categories} * categories, -kSlope);
  contents.bias.assign(categories, -2.0f);
  for (std::uint32_t c = 0; c < categories; ++c) contents.head[c * categories + c] = kSlope;
  contents.bias[0] = 0.0f;
  return contents;
}

// A map file for the time of a test, in the system's temporary directory.
class TinyMapFile {
 public:
  explicit TinyMapFile(const LsmProperties& properties = {}, std::uint32_t categories = 2) {
    MapContents contents = tinyMapContents(categories);
    contents.properties = properties;
    write(contents);
  }
  explicit TinyMapFile(const MapContents& contents) { write(contents); }
  ~TinyMapFile() {
    std::error_code ignored;
    std::filesystem::remove(_path, ignored);
  }
  TinyMapFile(const TinyMapFile&) = delete;
  TinyMapFile& operator=(const TinyMapFile&) = delete;

  [[nodiscard]] const std::string& path() const noexcept { return _path; }

 private:
  void write(const MapContents& contents) {
    static std::atomic<unsigned> number{0};
    const std::string name = "tiny-map-" + std::to_string(::getpid()) + "-" + std::to_string(number++);
    _path = (std::filesystem::temp_directory_path() / name).string();
    std::string why;
    if (!writeMapFile(_path, contents, why)) std::abort();
  }

  std::string _path;
};

}  // namespace sifterra::lsm
