// Which files are maps, and what is said of those that are not.
#include "lsm/MapFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <xxhash.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>

#include "lsm/DamagedMap.h"
#include "lsm/MapHeader.h"
#include "lsm/TinyMap.h"

namespace sifterra::lsm {
namespace {

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
  EXPECT_EQ(map->formatVersion(), kMapFormatVersion);
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
      {"map format 3 is newer than this library's 2", [](MapHeader& h) { h.formatVersion = 3; }, true},
      {"map format 3 is newer than this library's 2", [](MapHeader& h) { h.formatVersion = 3; }, false},
      {"unknown map format", [](MapHeader& h) { h.formatVersion = 0; }, true},
      {"unknown map format", [](MapHeader& h) { h.formatVersion = 1; }, true},
      {"made for tokeniser 99, this library has 3", [](MapHeader& h) { h.tokenizerVersion = 99; }, true},
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
