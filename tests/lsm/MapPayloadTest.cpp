// Tables inside a map that are out of range or contradict each other: refused, or harmless.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>

#include "lsm/DamagedMap.h"
#include "lsm/MapFile.h"
#include "lsm/TextWords.h"
#include "lsm/TinyMap.h"
#include "lsm/map_generated.h"

namespace sifterra::lsm {
namespace {

TEST(MapPayload, AFlippedByteThatIsSealedAgainNeverHarms) {
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

TEST(MapPayload, SizesOutOfRangeAreRefused) {
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

TEST(MapPayload, TheSmallestWindowsAreTaken) {
  EXPECT_EQ(refusalOf(withPayload([](file::Map& m) { m.mutate_window_tokens(64); })), "taken");
}

TEST(MapPayload, PartsThatMakeNoSenseAreRefused) {
  const auto refusal = [](std::vector<float> penalties, std::uint32_t tokens) {
    MapContents contents = tinyMapContents();
    contents.partPenalties = std::move(penalties);
    contents.partTokens = tokens;
    std::string why;
    return mapFileBytes(contents, why).empty() ? why : "taken";
  };
  EXPECT_EQ(refusal({}, 0), "taken") << "parts are not judged";
  EXPECT_EQ(refusal({1, 2, 3}, 1), "taken");
  EXPECT_EQ(refusal({1, 2, 3}, 0), "bad parts");
  EXPECT_EQ(refusal({1, 2}, 1), "bad parts");
  EXPECT_EQ(refusal({1, 2, 3, 4}, 1), "bad parts");
  EXPECT_EQ(refusal({1, std::nanf(""), 3}, 1), "bad parts");
  EXPECT_EQ(refusal({1, 2, INFINITY}, 1), "bad parts");
}

TEST(MapPayload, NumbersThatAreNotFiniteOrTooLargeAreRefused) {
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

TEST(MapPayload, WordTablesThatPointElsewhereAreRefused) {
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

TEST(MapPayload, AHashTableAtAnOddPlaceIsRefused) {
  std::string bytes = tinyBytes();
  const auto placeOf = [&bytes](const void* part) {
    return static_cast<std::size_t>(static_cast<const char*>(part) - bytes.data());
  };
  const std::size_t slots = placeOf(payloadOf(bytes)->word_slots());
  const std::size_t field = placeOf(
      reinterpret_cast<const flatbuffers::Table*>(payloadOf(bytes))->GetAddressOf(file::Map::VT_WORD_SLOTS));
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

TEST(MapPayload, AWordWhoseOwnTextLeadsElsewhereHarmsNobody) {
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

TEST(MapPayload, AHashTableWithoutFreeSlotsStillEndsEveryLookUp) {
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

TEST(MapPayload, PaddingThatIsNotZeroIsRefused) {
  EXPECT_EQ(refusalOf(withPayload([](file::Map& map) { map.mutable_word_rows()->Mutate(7, 1); })),
            "a row is longer than the rank");
  EXPECT_EQ(refusalOf(withPayload([](file::Map& map) {
              map.mutable_bucket_rows()->Mutate(map.bucket_rows()->size() - 1, -1);
            })),
            "a row is longer than the rank");
}

TEST(MapPayload, APropertyThatIsNotFiniteIsRefused) {
  MapContents contents = tinyMapContents();
  contents.properties["Explicit Threshold"] = std::nanf("");
  std::string why;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "a property is not finite");
}

TEST(MapPayload, AMissingSignatureWordIsRefused) {
  MapContents contents = tinyMapContents();
  contents.words[1].text = "somethingelse";
  std::string why;
  EXPECT_EQ(mapFileBytes(contents, why), "");
  EXPECT_EQ(why, "the signature word of category 2 is missing");
}

}  // namespace
}  // namespace sifterra::lsm
