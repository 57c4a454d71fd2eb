// Any bytes as a map file: whatever is taken as a map scores every text with finite numbers that sum to 1.
//
// The checksums are made right first, or nothing would get past them; one bit of the first byte tells
// whether, so that the header's own checks are reached as well.
#include <xxhash.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "lsm/Explanation.h"
#include "lsm/LsmEngine.h"
#include "lsm/MapFile.h"
#include "lsm/MapHeader.h"
#include "lsm/Tokenizer.h"

namespace {

using namespace sifterra::lsm;

void seal(std::string& bytes) {
  if (bytes.size() < kMapHeaderBytes) return;
  MapHeader header{};
  header.magic = kMapMagic;
  header.formatVersion = kMapFormatVersion;
  header.tokenizerVersion = kTokenizerVersion;
  header.payloadBytes = bytes.size() - kMapHeaderBytes;
  header.payloadHash = XXH3_64bits(bytes.data() + kMapHeaderBytes, bytes.size() - kMapHeaderBytes);
  header.headerHash = XXH3_64bits(&header, offsetof(MapHeader, headerHash));
  std::memcpy(bytes.data(), &header, sizeof header);
}

void evaluateWith(const LsmMap& map) {
  // A known word for sure, unknown ones that are cut and spelt out, and enough words for several windows.
  std::u16string words =
      u"ooooooooooooCategory1oooooooooooo weather freepictures zzzzyyyyxxxx 18 2024 \u4e2d\u6587\n";
  for (int i = 0; i < 200; ++i) words += u"porn school library ";
  const LsmText text = lsmTextCreate(map, true);
  if (lsmTextAddWords(text, words) != 0) std::abort();
  const LsmRawResult result = lsmEvaluate(map, text, lsmMapCategoryCount(map));
  if (!result || static_cast<std::int64_t>(result.entries.size()) != lsmMapCategoryCount(map)) std::abort();
  double sum = 0;
  for (const LsmScore& score : result.entries) {
    if (!std::isfinite(score.score) || score.score < 0 || score.score > 1) std::abort();
    sum += static_cast<double>(score.score);
  }
  if (std::fabs(sum - 1) > 1e-3) std::abort();
  std::ostringstream dump;
  if (!lsmWriteWordDump(map, text, dump)) std::abort();
  const auto explanation = lsmExplain(map, text);
  double shares = explanation->start;
  for (const ExplainedWord& word : explanation->words) shares += word.share;
  if (!(std::fabs(shares - explanation->odds) < 1e-3 * (1 + std::fabs(explanation->odds)))) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  std::string bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  if ((data[0] & 1U) == 0) seal(bytes);
  std::string why;
  const LsmMap map = Map::ofBytes(MapBytes::copyOf(bytes), why);
  if (map == nullptr) {
    if (why.empty()) std::abort();  // a refusal says why
    return 0;
  }
  evaluateWith(map);
  return 0;
}
