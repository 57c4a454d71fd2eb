// JsonLinesSourceFuzz: lines give the same pages and errors whether they are read at once or in
// pieces, at most one each, with labels from 0 to 9.
#include "input/JsonLinesSource.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "same_items.h"

using namespace sifterra::tools;

namespace {

std::vector<PageItem> pagesOf(std::string_view bytes, std::size_t chunk, std::size_t mostItems) {
  JsonLinesSource source("a.jsonl", std::make_unique<MemoryStream>(bytes, chunk));
  return itemsWithin(source, mostItems);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const auto lines = static_cast<std::size_t>(std::count(bytes.begin(), bytes.end(), '\n')) + 1;
  const std::vector<PageItem> whole = pagesOf(bytes, SIZE_MAX, lines);
  for (const PageItem& item : whole) {
    if (item.page.label < 0 || item.page.label > 9) abort();
    if (item.page.number < 1 || item.page.number > lines) abort();
  }
  requireSame(whole, pagesOf(bytes, 1, lines));
  requireSame(whole, pagesOf(bytes, 1 + size / 3, lines));
  return 0;
}
