// Whatever the bytes, the tree in one piece of memory is the one that the parser builds by itself.
#include <libxml/HTMLparser.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "page/parse_html.h"
#include "page/parsed_depth.h"
#include "page/tree_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace sifterra;
  if (size < 1 || size > 16384) return 0;
  const char* const encoding = data[0] % 2 == 0 ? "UTF-8" : nullptr;
  const std::string_view page(reinterpret_cast<const char*>(data) + 1, size - 1);
  const HTMLDocument own = parseHTML(page, encoding);
  const tests::Document parsers(
      htmlReadMemory(page.data(), static_cast<int>(page.size()), nullptr, encoding, kHTMLParseOptions));
  if (tests::treeText(own.get()) != tests::treeText(parsers.get())) std::abort();
  return 0;
}
