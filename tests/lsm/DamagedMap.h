// DamagedMap.h: the bytes of a small map, to be damaged by a test and sealed again.
#pragma once

#include <gtest/gtest.h>
#include <xxhash.h>

#include <cstddef>
#include <cstring>
#include <string>
#include <utility>

#include "lsm/MapFile.h"
#include "lsm/MapHeader.h"
#include "lsm/TinyMap.h"
#include "lsm/map_generated.h"

namespace sifterra::lsm {

inline std::string tinyBytes(std::uint32_t categories = 2) {
  std::string why;
  std::string bytes = mapFileBytes(tinyMapContents(categories), why);
  EXPECT_EQ(why, "");
  return bytes;
}

// Why these bytes are no map; "taken" when they are one.
inline std::string refusalOf(const std::string& bytes) {
  std::string why;
  return Map::ofBytes(MapBytes::copyOf(bytes), why) == nullptr ? why : "taken";
}

// Makes both checksums right again: what then fails, fails by its own check.
inline std::string resealed(std::string bytes) {
  MapHeader header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  header.payloadBytes = bytes.size() - kMapHeaderBytes;
  header.payloadHash = XXH3_64bits(bytes.data() + kMapHeaderBytes, bytes.size() - kMapHeaderBytes);
  header.headerHash = XXH3_64bits(&header, offsetof(MapHeader, headerHash));
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

inline file::Map* payloadOf(std::string& bytes) {
  return file::GetMutableMap(bytes.data() + kMapHeaderBytes);
}

// A field of the payload, changed in place, with right checksums.
template <class Change>
std::string withPayload(Change change) {
  std::string bytes = tinyBytes();
  change(*payloadOf(bytes));
  return resealed(std::move(bytes));
}

}  // namespace sifterra::lsm
