// Any bytes as a map that pages shall be added to: what its memory says is refused with a reason, or its
// figures are finite and it is the same when it was written and read again.
//
// The checksums are made right first, or nothing would get past them.
#include <xxhash.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "lsm/MapFile.h"
#include "lsm/MapHeader.h"
#include "lsm/Tokenizer.h"
#include "lsm/training/MapWriter.h"
#include "lsm/training/RememberedPages.h"

namespace {

using namespace sifterra::lsm;

void seal(std::string& bytes) {
  MapHeader header{};
  header.magic = kMapMagic;
  header.formatVersion = kMapFormatVersion;
  header.tokenizerVersion = kTokenizerVersion;
  header.payloadBytes = bytes.size() - kMapHeaderBytes;
  header.payloadHash = XXH3_64bits(bytes.data() + kMapHeaderBytes, bytes.size() - kMapHeaderBytes);
  header.headerHash = XXH3_64bits(&header, offsetof(MapHeader, headerHash));
  std::memcpy(bytes.data(), &header, sizeof header);
}

void measure(const Map& map, const MapContents& contents) {
  const RememberedPages remembered(contents.memory, contents.rank, contents.categoryCount);
  const std::vector<double> margins = remembered.margins(LastCategory(map));
  for (const double margin : margins) {
    if (!std::isfinite(margin)) std::abort();
  }
  const MapFigures figures = remembered.figures(margins, 0.5);
  if (!(figures.recall >= 0 && figures.recall <= 1 + 1e-6)) std::abort();
  if (!(figures.falsePositives >= 0 && figures.falsePositives <= 1)) std::abort();
  if (!std::isfinite(remembered.excess(margins, 0.5, 0.01))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kMapHeaderBytes) return 0;
  std::string bytes(reinterpret_cast<const char*>(data), size);
  seal(bytes);
  std::string why;
  const LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  if (map == nullptr) return 0;
  std::string noMemory;
  const MapContents contents = contentsOf(*map, &noMemory);
  if (contents.memory.empty() == noMemory.empty()) std::abort();
  if (!contents.memory.empty() && map->categoryCount() > 1) measure(*map, contents);
  // A word may stand twice in such a file: then there is nothing to write.
  const LsmMap again = mapOf(contents, why);
  if (again == nullptr) return 0;
  const MapMemory memory = contentsOf(*again).memory;
  if (memory.pages != contents.memory.pages || memory.weights != contents.memory.weights ||
      memory.points.size() != contents.memory.points.size()) {
    std::abort();
  }
  return 0;
}
