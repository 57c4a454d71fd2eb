// Whatever the markup, the tamed text stays within the parser's limits, and taming it again changes nothing
// that matters to the parser: still within them.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "page/parsed_depth.h"
#include "page/tame_markup.h"
#include "platform/Unicode.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1 || size > 4096) return 0;  // longer inputs only repeat what short ones do
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::u16string piece = sifterra::platform::utf16FromUTF8Lossy(bytes);
  std::erase(piece, u'\0');  // dropped before taming, as in decodePage
  // Repetition finds what little by little escapes the count of open elements.
  std::u16string page;
  const std::size_t rounds = data[0] < 128 ? 1 : 300;
  for (std::size_t i = 0; i < rounds; ++i) page.append(piece);
  const std::u16string tamed = sifterra::tamedMarkup(page);
  const auto document = sifterra::tests::parsedAsUTF8(sifterra::platform::utf8FromUTF16(tamed));
  if (sifterra::tests::parsedDepth(document.get()) >= 250) std::abort();
  return 0;
}
