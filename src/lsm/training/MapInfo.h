// MapInfo: what a map file says of itself, for people who make and choose maps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "lsm/LsmEngine.h"

namespace sifterra::lsm {

struct MapInfo {
  std::uint32_t formatVersion = 0;     // of the file's layout
  std::uint32_t tokeniserVersion = 0;  // of the rules that make words of a text
  std::int64_t categories = 0;
  std::uint64_t words = 0;    // that the map knows
  std::uint32_t buckets = 0;  // rows for the n-grams of the words that it does not know
  std::uint32_t rank = 0;     // latent dimensions
  std::uint64_t bytes = 0;    // of the file
  std::string checksum;  // of the payload, as the file's header holds it: algorithm and hexadecimal digits
  LsmProperties properties;  // without the threshold, which the engine knows better
};

// Opens the file as the library does. Nothing, with `why`, when it is no map that the library would take.
[[nodiscard]] std::optional<MapInfo> readMapInfo(const std::string& path, std::string& why);

}  // namespace sifterra::lsm
