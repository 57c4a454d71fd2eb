// Which files are maps, and what is said of those that are not.
#include "lsm/MapFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <xxhash.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>

#include "lsm/MapHeader.h"
#include "lsm/TextWords.h"
#include "lsm/TinyMap.h"
#include "lsm/map_generated.h"

namespace sifterra::lsm {
namespace {

std::string tinyBytes(std::uint32_t categories = 2) {
  std::string why;
  std::string bytes = mapFileBytes(tinyMapContents(categories), why);
  EXPECT_EQ(why, "");
  return bytes;
}

std::string refusalOf(const std::string& bytes) {
  std::string why;
  return Map::ofBytes(MapBytes::copyOf(bytes), why) == nullptr ? why : "taken";
}

// Makes both checksums right again: what then fails, fails by its own check.
std::string resealed(std::string bytes) {
  MapHeader header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  header.payloadBytes = bytes.size() - kMapHeaderBytes;
  header.payloadHash = XXH3_64bits(bytes.data() + kMapHeaderBytes, bytes.size() - kMapHeaderBytes);
  header.headerHash = XXH3_64bits(&header, offsetof(MapHeader, headerHash));
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

using Header = std::function<void(MapHeader&)>;
std::string withHeader(const Header& change, bool seal = true) {
  std::string bytes = tinyBytes();
  MapHeader header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  change(header);
  if (seal) header.headerHash = XXH3_64bits(&header, offsetof(MapHeader, headerHash));
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

file::Map* payloadOf(std::string& bytes) {
  return file::GetMutableMap(bytes.data() + kMapHeaderBytes);
}

// A field of the payload, changed in place, with right checksums.
template <class Change>
std::string withPayload(Change change) {
  std::string bytes = tinyBytes();
  change(*payloadOf(bytes));
  return resealed(std::move(bytes));
}

TEST(MapFile, WhatTheWriterWroteIsTaken) {
  for (const std::uint32_t categories : {1u, 2u, 3u, 8u, 9u, 12u})
    EXPECT_EQ(refusalOf(tinyBytes(categories)), "taken");
}

TEST(MapFile, TheSameContentsGiveTheSameBytes) {
  EXPECT_EQ(tinyBytes(), tinyBytes());
}

TEST(MapFile, HoldsWhatWasWritten) {
  const MapContents contents = tinyMapContents();
  const TinyMapFile file(contents);
  const LsmMap map = lsmMapLoad(file.path());
  ASSERT_NE(map, nullptr);
  EXPECT_EQ(map->categoryCount(), 2u);
  EXPECT_EQ(map->rank(), 2u);
  EXPECT_EQ(map->stride(), 8u);
  EXPECT_EQ(map->wordCount(), contents.words.size());
  EXPECT_EQ(map->bucketCount(), 64u);
  EXPECT_EQ(map->windowTokens(), 512u);
  EXPECT_EQ(map->bestWindows(), 3u);
  EXPECT_EQ(map->windowPenalty(), 4.0f);
  EXPECT_EQ(map->scripts(), kAllWordScripts);
  EXPECT_EQ(map->formatVersion(), 1u);
  EXPECT_EQ(map->tokenizerVersion(), kTokenizerVersion);
  EXPECT_EQ(map->fileBytes(), std::filesystem::file_size(file.path()));
  for (std::size_t i = 0; i < contents.words.size(); ++i) {
    const MapWord& word = contents.words[i];
    SCOPED_TRACE(word.text);
    const std::uint32_t number = map->find(word.text);
    ASSERT_NE(number, Map::kUnknownWord);
    EXPECT_EQ(map->word(number), word.text);
    EXPECT_EQ(map->weight(number), word.weight);
    EXPECT_EQ(map->splitCost(number), word.splitCost);
    const QuantisedRow row = map->wordRow(number);
    for (std::size_t d = 0; d < 2; ++d) {
      EXPECT_NEAR(row.scale * static_cast<float>(row.values[d]), contents.wordRows[2 * i + d], 0.004f);
    }
  }
  EXPECT_EQ(map->find("unknown"), Map::kUnknownWord);
  EXPECT_EQ(map->find(""), Map::kUnknownWord);
}

TEST(MapFile, EveryHeaderFieldCounts) {
  const struct {
    const char* why;
    Header change;
    bool seal;
  } rows[] = {
      {"not a map", [](MapHeader& h) { h.magic[0] = 'X'; }, true},
      {"not a map", [](MapHeader& h) { h.magic[4] = '\n'; }, true},  // line ends converted
      {"map format 2 is newer than this library's 1", [](MapHeader& h) { h.formatVersion = 2; }, true},
      {"map format 2 is newer than this library's 1", [](MapHeader& h) { h.formatVersion = 2; }, false},
      {"unknown map format", [](MapHeader& h) { h.formatVersion = 0; }, true},
      {"made for tokeniser 99, this library has 2", [](MapHeader& h) { h.tokenizerVersion = 99; }, true},
      {"the file is cut short", [](MapHeader& h) { ++h.payloadBytes; }, true},
      {"the file is cut short", [](MapHeader& h) { h.payloadBytes = UINT64_MAX; }, true},
      {"the file has bytes after its end", [](MapHeader& h) { --h.payloadBytes; }, true},
      {"the checksum does not match", [](MapHeader& h) { h.payloadHash ^= 1; }, true},
      {"the header is damaged", [](MapHeader& h) { h.reserved[0] = 1; }, true},
      {"the header is damaged", [](MapHeader& h) { h.reserved[2] = 1; }, true},
      {"the header is damaged", [](MapHeader& h) { h.headerHash ^= 1; }, false},
      {"the header is damaged", [](MapHeader& h) { ++h.payloadBytes; }, false},
  };
  for (const auto& row : rows) EXPECT_EQ(refusalOf(withHeader(row.change, row.seal)), row.why);
}

TEST(MapFile, AFileCutShortAnywhereIsRefused) {
  const std::string bytes = tinyBytes();
  for (std::size_t size = 0; size < bytes.size(); size += 64) {
    const std::string why = refusalOf(bytes.substr(0, size));
    EXPECT_EQ(why, size < kMapHeaderBytes ? "too short for a map" : "the file is cut short") << size;
  }
  EXPECT_EQ(refusalOf(bytes + "x"), "the file has bytes after its end");
}

TEST(MapFile, AFileCutShortAndSealedAgainIsRefused) {
  const std::string bytes = tinyBytes();
  for (std::size_t size = kMapHeaderBytes; size < bytes.size(); size += 64) {
    EXPECT_NE(refusalOf(resealed(bytes.substr(0, size))), "taken") << size;
  }
}

TEST(MapFile, AFlippedByteIsRefused) {
  const std::string bytes = tinyBytes();
  for (std::size_t i = 0; i < bytes.size(); i += i < 512 ? 1 : 37) {
    std::string damaged = bytes;
    damaged[i] = static_cast<char>(damaged[i] ^ 0x40);
    EXPECT_NE(refusalOf(damaged), "taken") << i;
  }
}

TEST(MapFile, AFlippedByteThatIsSealedAgainNeverHarms) {
  const std::string bytes = tinyBytes();
  for (std::size_t i = kMapHeaderBytes; i < bytes.size(); ++i) {
    for (const int flip : {0x01, 0x80, 0xFF}) {
      std::string damaged = bytes;
      damaged[i] = static_cast<char>(damaged[i] ^ flip);
      std::string why;
      const LsmMap map = Map::ofBytes(MapBytes::copyOf(resealed(std::move(damaged))), why);
      if (map == nullptr) continue;
      const LsmText text = lsmTextCreate(map);
      ASSERT_EQ(lsmTextAddWords(text, u"porn weather the freepictures zzzzzz"), 0);
      const LsmRawResult result = lsmEvaluate(map, text, lsmMapCategoryCount(map));
      float sum = 0;
      for (const LsmScore& score : result.entries) sum += score.score;
      ASSERT_NEAR(sum, 1, 1e-4) << i;
    }
  }
}

TEST(MapFile, SizesOutOfRangeAreRefused) {
  const struct {
    const char* why;
    std::function<void(file::Map&)> change;
  } rows[] = {
      {"bad number of categories", [](file::Map& m) { m.mutate_category_count(0); }},
      {"bad number of categories", [](file::Map& m) { m.mutate_category_count(1025); }},
      {"the head does not fit the categories", [](file::Map& m) { m.mutate_category_count(3); }},
      {"bad rank", [](file::Map& m) { m.mutate_rank(0); }},
      {"bad rank", [](file::Map& m) { m.mutate_rank(1025); }},
      {"bad row size", [](file::Map& m) { m.mutate_rank(9); }},
      {"bad row size", [](file::Map& m) { m.mutate_stride(16); }},
      {"bad row size", [](file::Map& m) { m.mutate_stride(0); }},
      {"bad number of words", [](file::Map& m) { m.mutate_word_count(0); }},
      {"bad number of words", [](file::Map& m) { m.mutate_word_count(UINT32_MAX); }},
      {"the word tables disagree", [](file::Map& m) { m.mutate_word_count(m.word_count() + 1); }},
      {"bad number of buckets", [](file::Map& m) { m.mutate_bucket_count(0); }},
      {"bad number of buckets", [](file::Map& m) { m.mutate_bucket_count(63); }},
      {"bad number of buckets", [](file::Map& m) { m.mutate_bucket_count(1U << 31U); }},
      {"the row tables disagree", [](file::Map& m) { m.mutate_bucket_count(128); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_tokens(0); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_tokens(2); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_tokens(62); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_tokens(511); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_tokens(1U << 17U); }},
      {"bad windows", [](file::Map& m) { m.mutate_best_windows(0); }},
      {"bad windows", [](file::Map& m) { m.mutate_best_windows(17); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_penalty(std::nanf("")); }},
      {"bad windows", [](file::Map& m) { m.mutate_window_penalty(INFINITY); }},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(refusalOf(withPayload(row.change)), row.why) << (&row - rows);
  }
}

TEST(MapFile, TheSmallestWindowsAreTaken) {
  EXPECT_EQ(refusalOf(withPayload([](file::Map& m) { m.mutate_window_tokens(64); })), "taken");
}

TEST(MapFile, NumbersThatAreNotFiniteOrTooLargeAreRefused) {
  const struct {
    const char* why;
    std::function<flatbuffers::Vector<float>*(file::Map&)> vector;
  } rows[] = {
      {"a number of the head is out of range", [](file::Map& m) { return m.mutable_head(); }},
      {"a number of the head is out of range", [](file::Map& m) { return m.mutable_bias(); }},
      {"a number of a word is out of range", [](file::Map& m) { return m.mutable_word_weights(); }},
      {"a number of a word is out of range", [](file::Map& m) { return m.mutable_word_split_costs(); }},
      {"a row scale is out of range", [](file::Map& m) { return m.mutable_word_row_scales(); }},
      {"a row scale is out of range", [](file::Map& m) { return m.mutable_bucket_row_scales(); }},
  };
  for (const auto& row : rows) {
    for (const float bad : {std::nanf(""), INFINITY, -INFINITY, 1e30f, -1e30f}) {
      for (const bool last : {false, true}) {
        const std::string bytes = withPayload([&](file::Map& map) {
          auto* vector = row.vector(map);
          vector->Mutate(last ? vector->size() - 1 : 0, bad);
        });
        EXPECT_EQ(refusalOf(bytes), row.why) << (&row - rows) << ' ' << bad;
      }
    }
  }
}

TEST(MapFile, WordTablesThatPointElsewhereAreRefused) {
  const auto offsets = [](std::uint32_t at, std::uint32_t value) {
    return withPayload([&](file::Map& map) { map.mutable_word_offsets()->Mutate(at, value); });
  };
  EXPECT_EQ(refusalOf(offsets(0, 1)), "the words are out of order");
  EXPECT_EQ(refusalOf(offsets(3, 0)), "the words are out of order");
  EXPECT_EQ(refusalOf(offsets(3, UINT32_MAX)), "the words are out of order");
  EXPECT_EQ(refusalOf(offsets(3, 1U << 31U)), "the words are out of order");
  const auto slot = [](std::uint64_t value) {
    return withPayload([&](file::Map& map) { map.mutable_word_slots()->Mutate(5, value); });
  };
  EXPECT_EQ(refusalOf(slot(kSlotWordMask)), "bad hash table");
  EXPECT_EQ(refusalOf(slot(std::uint64_t{1} << kSlotWordBits)), "bad hash table") << "a tag without a word";
  const std::uint64_t words = tinyMapContents().words.size();
  EXPECT_EQ(refusalOf(slot(words + 1)), "bad hash table");
}

TEST(MapFile, AHashTableAtAnOddPlaceIsRefused) {
  std::string bytes = tinyBytes();
  const std::size_t slots = reinterpret_cast<const char*>(payloadOf(bytes)->word_slots()) - bytes.data();
  const std::size_t field =
      reinterpret_cast<const char*>(reinterpret_cast<const flatbuffers::Table*>(payloadOf(bytes))
                                        ->GetAddressOf(file::Map::VT_WORD_SLOTS)) -
      bytes.data();
  const std::size_t size = 4 + 8 * std::size_t{payloadOf(bytes)->word_slots()->size()};
  // A copy of the table behind everything else: its length at a multiple of eight puts the slots between two.
  for (const std::size_t at : {std::size_t{4}, std::size_t{0}}) {
    std::string moved = bytes;
    while (moved.size() % 8 != at) moved.push_back('\0');
    const auto offset = static_cast<std::uint32_t>(moved.size() - field);
    std::memcpy(moved.data() + field, &offset, sizeof offset);
    moved += bytes.substr(slots, size);
    EXPECT_EQ(refusalOf(resealed(moved)), at == 4 ? "taken" : "bad hash table");
  }
}

TEST(MapFile, AWordWhoseOwnTextLeadsElsewhereHarmsNobody) {
  // "free" leads to the word "xxx", which is not found under its own text.
  const std::string bytes = withPayload([](file::Map& map) {
    auto* slots = map.mutable_word_slots();
    const auto slotOf = [&](std::string_view word) {
      for (std::uint32_t i = 0; i < slots->size(); ++i) {
        const std::uint64_t entry = slots->Get(i);
        if (entry != 0 && ((entry ^ wordHash(word)) & ~kSlotWordMask) == 0) return i;
      }
      ADD_FAILURE() << word;
      return 0u;
    };
    const std::uint32_t from = slotOf("free");
    const std::uint32_t to = slotOf("xxx");
    const std::uint64_t number = slots->Get(to) & kSlotWordMask;
    slots->Mutate(to, slots->Get(to) ^ (std::uint64_t{1} << 63U));
    slots->Mutate(from, (slots->Get(from) & ~kSlotWordMask) | number);
  });
  std::string why;
  const LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  ASSERT_NE(map, nullptr) << why;
  ASSERT_EQ(map->find("xxx"), Map::kUnknownWord);
  ASSERT_EQ(map->word(map->find("free")), "xxx");
  Text text(map);
  text.addWords(u"xxx freefree");
  ASSERT_EQ(text.sequence().size(), 2u);
  for (const std::uint32_t unit : text.sequence()) {
    ASSERT_LT(unit, text.unitCount());
    EXPECT_EQ(map->word(text.knownWord(unit)), "xxx");
  }
}

TEST(MapFile, AHashTableWithoutFreeSlotsStillEndsEveryLookUp) {
  const std::string bytes = withPayload([](file::Map& map) {
    auto* slots = map.mutable_word_slots();
    for (std::uint32_t i = 0; i < slots->size(); ++i) {
      if (slots->Get(i) == 0) slots->Mutate(i, 1);
    }
  });
  std::string why;
  const LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  ASSERT_NE(map, nullptr) << why;
  EXPECT_EQ(map->find("unknown"), Map::kUnknownWord);
}

TEST(MapFile, ThePieceFilterLetsEveryPieceThrough) {
  const TinyMapFile file;
  const LsmMap map = lsmMapLoad(file.path());
  const auto mayBePiece = [&map](std::string_view word) {
    PieceHash hash;
    for (const char byte : word) hash.add(byte);
    return map->mayBePiece(hash);
  };
  for (std::uint32_t i = 0; i < map->wordCount(); ++i) {
    EXPECT_TRUE(map->splitCost(i) < 0 || mayBePiece(map->word(i))) << map->word(i);
  }
  int others = 0;
  for (int i = 0; i < 1000; ++i) others += mayBePiece("other" + std::to_string(i));
  EXPECT_LT(others, 150) << "and few others";
}

TEST(MapFile, PaddingThatIsNotZeroIsRefused) {
  EXPECT_EQ(refusalOf(withPayload([](file::Map& map) { map.mutable_word_rows()->Mutate(7, 1); })),
            "a row is longer than the rank");
  EXPECT_EQ(refusalOf(withPayload([](file::Map& map) {
              map.mutable_bucket_rows()->Mutate(map.bucket_rows()->size() - 1, -1);
            })),
            "a row is longer than the rank");
}

TEST(MapFile, APropertyThatIsNotFiniteIsRefused) {
  MapContents contents = tinyMapContents();
  contents.properties["Explicit Threshold"] = std::nanf("");
  std::string why;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "a property is not finite");
}

TEST(MapFile, AMissingSignatureWordIsRefused) {
  MapContents contents = tinyMapContents();
  contents.words[1].text = "somethingelse";
  std::string why;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "the signature word of category 2 is missing");
}

TEST(MapFile, ThingsThatAreNoMapsAreRefused) {
  EXPECT_EQ(refusalOf(""), "too short for a map");
  EXPECT_EQ(refusalOf(std::string(64, '\0')), "not a map");
  EXPECT_EQ(refusalOf(std::string(1000, 'x')), "not a map");
  // The payload alone, without its header.
  EXPECT_EQ(refusalOf(tinyBytes().substr(kMapHeaderBytes)), "not a map");
  // A sound header before a payload of another kind.
  std::string foreign = tinyBytes();
  for (std::size_t i = kMapHeaderBytes; i < foreign.size(); ++i) foreign[i] = static_cast<char>(i * 7);
  EXPECT_EQ(refusalOf(resealed(foreign)), "the payload is malformed");
}

TEST(MapFile, PathsThatAreNoFilesAreRefused) {
  std::string why;
  EXPECT_EQ(lsmMapLoad("/nonexistent/map", 0, &why), nullptr);
  EXPECT_EQ(why, "cannot open the file: No such file or directory");
  EXPECT_EQ(lsmMapLoad(std::filesystem::temp_directory_path().string(), 0, &why), nullptr);
  EXPECT_EQ(why, "not a regular file");
  EXPECT_EQ(lsmMapLoad("/dev/null", 0, &why), nullptr);
  EXPECT_EQ(why, "not a regular file");
  EXPECT_EQ(lsmMapLoad("", 0, &why), nullptr);
  EXPECT_EQ(why, "not a file name");
  EXPECT_EQ(lsmMapLoad(std::string("/dev/null\0x", 11), 0, &why), nullptr);
  EXPECT_EQ(why, "not a file name");
  EXPECT_EQ(lsmMapLoad("/nonexistent/map"), nullptr) << "nobody asks why";
  const std::string empty = ::testing::TempDir() + "lsm-empty-map";
  std::ofstream(empty).close();
  EXPECT_EQ(lsmMapLoad(empty, 0, &why), nullptr);
  EXPECT_EQ(why, "the file is empty");
  std::filesystem::remove(empty);
  const std::string pipe = ::testing::TempDir() + "lsm-pipe-map";
  std::filesystem::remove(pipe);
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(lsmMapLoad(pipe, 0, &why), nullptr) << "does not wait for a writer";
  EXPECT_EQ(why, "not a regular file");
  std::filesystem::remove(pipe);
}

}  // namespace
}  // namespace sifterra::lsm
