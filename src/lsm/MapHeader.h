// MapHeader.h: the 64 bytes in front of a map file's payload.
//
// It is read before anything of the payload is trusted: whether this is a map at all, whether this version of
// the library may use it, and whether all of it arrived. All numbers are little-endian.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace sifterra::lsm {

static_assert(std::endian::native == std::endian::little, "maps are used in place and are little-endian");

// Raised when a reader of the version before would misunderstand the file.
inline constexpr std::uint32_t kMapFormatVersion = 2;
// Line ends of both kinds and an end-of-file character: a transfer as text shows here already.
inline constexpr std::array<char, 8> kMapMagic = {'S', 'L', 'S', 'M', '\r', '\n', '\x1a', '\n'};
inline constexpr std::size_t kMapHeaderBytes = 64;

struct MapHeader {
  std::array<char, 8> magic;
  std::uint32_t formatVersion;
  std::uint32_t tokenizerVersion;
  std::uint64_t payloadBytes;
  std::uint64_t payloadHash;              // XXH3, 64 bits, of the payload
  std::array<std::uint64_t, 3> reserved;  // 0
  std::uint64_t headerHash;               // XXH3, 64 bits, of the 56 bytes before
};
static_assert(sizeof(MapHeader) == kMapHeaderBytes);

}  // namespace sifterra::lsm
