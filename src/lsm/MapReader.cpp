// MapReader: the header, the sizes and the rows of a map. The words and what finds them stand in
// MapReaderWords.cpp.
#include "lsm/MapReader.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <utility>

#include "lsm/MapHeader.h"
#include "lsm/Tokenizer.h"
#include "lsm/map_checks.h"
#include "lsm/map_generated.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace sifterra::lsm {
namespace {

// Wide limits, all far above any real map. Together they keep every score finite: at most 2^30 bytes of
// text, rows of |value| <= 127 x kMaxScale weighted with log2(1 + tf) <= 30, head and bias of at most
// kMaxHead (map_checks.h).
constexpr std::uint32_t kMaxCategories = 1024;
constexpr std::uint32_t kMaxRank = 1024;
constexpr std::uint32_t kMaxBuckets = 1U << 24U;
// Each window costs as much as the head does, whatever its size: tiny ones would make a long text slow.
constexpr std::uint32_t kMinWindowTokens = 64;
constexpr std::uint32_t kMaxWindowTokens = 1U << 16U;
constexpr std::uint32_t kMaxBestWindows = 16;
constexpr float kMaxScale = 1e3f;
// The properties are the only tables; nothing is nested deeper.
constexpr flatbuffers::uoffset_t kMaxDepth = 4;
constexpr flatbuffers::uoffset_t kMaxTables = 1000;

bool paddingIsZero(const std::int8_t* rows, std::size_t count, std::uint32_t rank, std::uint32_t stride) {
  for (std::size_t row = 0; row < count; ++row) {
    for (std::uint32_t i = rank; i < stride; ++i) {
      if (rows[row * stride + i] != 0) return false;
    }
  }
  return true;
}

}  // namespace

MapReader::MapReader(std::unique_ptr<MapBytes> bytes, std::string& why) : _map(new Map), _why(why) {
  _map->_bytes = std::move(bytes);
}

LsmMap MapReader::read() {
  if (!readHeader() || !readPayload() || !hasSignatureWords()) return nullptr;
  return LsmMap(std::move(_map));
}

bool MapReader::refuse(std::string reason) {
  _why = std::move(reason);
  return false;
}

bool MapReader::readHeader() {
  const std::span<const std::byte> bytes = _map->_bytes->bytes();
  if (bytes.size() < kMapHeaderBytes) return refuse("too short for a map");
  MapHeader header{};
  std::memcpy(&header, bytes.data(), sizeof header);
  if (header.magic != kMapMagic) return refuse("not a map");
  // Before the checksum: another version may have another header.
  if (header.formatVersion > kMapFormatVersion) {
    return refuse("map format " + std::to_string(header.formatVersion) + " is newer than this library's " +
                  std::to_string(kMapFormatVersion));
  }
  if (header.formatVersion != kMapFormatVersion) return refuse("unknown map format");
  if (XXH3_64bits(bytes.data(), kMapHeaderBytes - sizeof header.headerHash) != header.headerHash) {
    return refuse("the header is damaged");
  }
  if (header.reserved != std::array<std::uint64_t, 3>{}) return refuse("the header is damaged");
  if (header.tokenizerVersion != kTokenizerVersion) {
    return refuse("made for tokeniser " + std::to_string(header.tokenizerVersion) + ", this library has " +
                  std::to_string(kTokenizerVersion));
  }
  const std::size_t payload = bytes.size() - kMapHeaderBytes;
  if (header.payloadBytes > payload) return refuse("the file is cut short");
  if (header.payloadBytes < payload) return refuse("the file has bytes after its end");
  if (XXH3_64bits(bytes.data() + kMapHeaderBytes, payload) != header.payloadHash) {
    return refuse("the checksum does not match");
  }
  _map->_formatVersion = header.formatVersion;
  _map->_tokenizerVersion = header.tokenizerVersion;
  _map->_payloadHash = header.payloadHash;
  return true;
}

bool MapReader::readPayload() {
  const auto* start = reinterpret_cast<const std::uint8_t*>(_map->_bytes->bytes().data()) + kMapHeaderBytes;
  const std::size_t size = _map->_bytes->bytes().size() - kMapHeaderBytes;
  flatbuffers::Verifier verifier(start, size, kMaxDepth, kMaxTables);
  if (!file::VerifyMapBuffer(verifier)) return refuse("the payload is malformed");
  const file::Map& payload = *file::GetMap(start);
  return readSizes(payload) && readParts(payload) && readHead(payload) && readWords(payload) &&
         readSlots(payload) && readNearWords(payload) && readRows(payload) && readProperties(payload);
}

bool MapReader::readSizes(const file::Map& payload) {
  Map& map = *_map;
  map._categoryCount = payload.category_count();
  map._rank = payload.rank();
  map._stride = payload.stride();
  map._wordCount = payload.word_count();
  map._bucketCount = payload.bucket_count();
  map._scripts = payload.scripts();
  map._windowTokens = payload.window_tokens();
  map._bestWindows = payload.best_windows();
  map._windowPenalty = payload.window_penalty();
  if (map._categoryCount < 1 || map._categoryCount > kMaxCategories)
    return refuse("bad number of categories");
  if (map._rank < 1 || map._rank > kMaxRank) return refuse("bad rank");
  if (map._stride != (map._rank + kRowPadding - 1) / kRowPadding * kRowPadding) return refuse("bad row size");
  if (map._wordCount < 1 || map._wordCount > kMaxWords) return refuse("bad number of words");
  if (!std::has_single_bit(map._bucketCount) || map._bucketCount > kMaxBuckets) {
    return refuse("bad number of buckets");
  }
  if (map._windowTokens < kMinWindowTokens || map._windowTokens > kMaxWindowTokens ||
      map._windowTokens % 2 != 0 || map._bestWindows < 1 || map._bestWindows > kMaxBestWindows ||
      !allWithin(&map._windowPenalty, 1, -kMaxHead, kMaxHead)) {
    return refuse("bad windows");
  }
  return true;
}

bool MapReader::readParts(const file::Map& payload) {
  if (payload.part_penalties() == nullptr) return true;
  if (!hasSize(payload.part_penalties(), kPageParts) || payload.part_tokens() < 1 ||
      !allWithin(payload.part_penalties()->data(), kPageParts, -kMaxHead, kMaxHead)) {
    return refuse("bad parts");
  }
  _map->_partPenalties = payload.part_penalties()->data();
  _map->_partTokens = payload.part_tokens();
  return true;
}

bool MapReader::readHead(const file::Map& payload) {
  Map& map = *_map;
  const std::uint64_t values = std::uint64_t{map._categoryCount} * map._stride;
  if (!hasSize(payload.head(), values) || !hasSize(payload.bias(), map._categoryCount)) {
    return refuse("the head does not fit the categories");
  }
  map._head = payload.head()->data();
  map._bias = payload.bias()->data();
  if (!allWithin(map._head, values, -kMaxHead, kMaxHead) ||
      !allWithin(map._bias, map._categoryCount, -kMaxHead, kMaxHead)) {
    return refuse("a number of the head is out of range");
  }
  return true;
}

bool MapReader::readRows(const file::Map& payload) {
  Map& map = *_map;
  if (!hasSize(payload.word_rows(), std::uint64_t{map._wordCount} * map._stride) ||
      !hasSize(payload.word_row_scales(), map._wordCount) ||
      !hasSize(payload.bucket_rows(), std::uint64_t{map._bucketCount} * map._stride) ||
      !hasSize(payload.bucket_row_scales(), map._bucketCount)) {
    return refuse("the row tables disagree");
  }
  map._wordRows = payload.word_rows()->data();
  map._wordScales = payload.word_row_scales()->data();
  map._bucketRows = payload.bucket_rows()->data();
  map._bucketScales = payload.bucket_row_scales()->data();
  if (!allWithin(map._wordScales, map._wordCount, 0, kMaxScale) ||
      !allWithin(map._bucketScales, map._bucketCount, 0, kMaxScale)) {
    return refuse("a row scale is out of range");
  }
  if (!paddingIsZero(map._wordRows, map._wordCount, map._rank, map._stride) ||
      !paddingIsZero(map._bucketRows, map._bucketCount, map._rank, map._stride)) {
    return refuse("a row is longer than the rank");
  }
  return true;
}

bool MapReader::readProperties(const file::Map& payload) {
  if (payload.properties() == nullptr) return true;
  for (const file::Property* property : *payload.properties()) {
    LsmProperty value = property->number();
    if (property->text() != nullptr) {
      value = property->text()->str();
    } else if (!std::isfinite(property->number())) {
      return refuse("a property is not finite");
    }
    if (!_map->_properties.emplace(property->key()->str(), std::move(value)).second) {
      return refuse("a property stands twice");
    }
  }
  return true;
}

bool MapReader::hasSignatureWords() {
  for (std::uint32_t category = 1; category <= _map->_categoryCount && category <= kSignedCategories;
       ++category) {
    if (_map->find(signatureToken(category)) == Map::kUnknownWord) {
      return refuse("the signature word of category " + std::to_string(category) + " is missing");
    }
  }
  return true;
}

LsmMap Map::ofBytes(std::unique_ptr<MapBytes> bytes, std::string& why) {
  return MapReader(std::move(bytes), why).read();
}

}  // namespace sifterra::lsm
