// WarcSourceFuzz: an archive gives the same pages and errors whether it is read at once or in pieces, and no
// page is larger than the limit.
#include "input/WarcSource.h"

#include <cstddef>
#include <cstdint>
#include <memory>

#include "input/GzipStream.h"
#include "same_items.h"

using namespace sifterra::tools;

namespace {

std::vector<PageItem> pagesOf(std::string_view bytes, std::size_t chunk, std::size_t mostItems) {
  WarcSource source("a.warc", std::make_unique<GzipStream>(std::make_unique<MemoryStream>(bytes, chunk)));
  return itemsWithin(source, mostItems);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  // A record takes some 30 bytes; compressed, a thousandth of that at least. One error may follow.
  const std::size_t most = size * 40 + 2;
  const std::vector<PageItem> whole = pagesOf(bytes, SIZE_MAX, most);
  requireSame(whole, pagesOf(bytes, 1, most));
  requireSame(whole, pagesOf(bytes, 1 + size / 3, most));
  return 0;
}
