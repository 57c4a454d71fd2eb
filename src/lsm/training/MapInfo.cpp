#include "lsm/training/MapInfo.h"

#include <cinttypes>
#include <cstdio>

#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"

namespace sifterra::lsm {

std::optional<MapInfo> readMapInfo(const std::string& path, std::string& why) {
  const LsmMap map = lsmMapLoad(path, 0, &why);
  if (!map) return std::nullopt;
  MapInfo info;
  info.formatVersion = map->formatVersion();
  info.tokeniserVersion = map->tokenizerVersion();
  info.categories = lsmMapCategoryCount(map);
  info.words = map->wordCount();
  info.buckets = map->bucketCount();
  info.rank = map->rank();
  info.bytes = map->fileBytes();
  char digits[32];
  std::snprintf(digits, sizeof digits, "xxh3:%016" PRIx64, map->payloadHash());
  info.checksum = digits;
  info.properties = map->properties();
  info.properties.erase(kLsmExplicitThreshold);
  return info;
}

}  // namespace sifterra::lsm
