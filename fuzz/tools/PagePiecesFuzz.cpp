// PagePiecesFuzz: a page cut and joined is the same text: cutting it again gives the same texts in the same
// places, and joining those the same bytes.
#include "evaluation/page_pieces.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "evaluation/word_runs.h"

using namespace sifterra::tools;

namespace {

constexpr std::size_t kMostBytes = 65536;  // a page of open quotes is scanned to its end again and again

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMostBytes) return 0;
  const std::string_view html(reinterpret_cast<const char*>(data), size);
  const std::string once = pageOf(pagePieces(html));
  if (pageOf(pagePieces(once)) != once) std::abort();
  std::string joined;
  for (const WordRun& run : wordRuns(html)) joined += run.text();
  if (joined != html) std::abort();
  return 0;
}
