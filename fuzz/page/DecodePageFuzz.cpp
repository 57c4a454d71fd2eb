// Any bytes under any charset label decode to a text with our declaration in front, no zero and no lone
// half of a surrogate pair in it, that the parser accepts.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "page/parsed_depth.h"
#include "sifterra/page/decodePage.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using sifterra::platform::Data;
  using sifterra::platform::String;
  std::string_view bytes(reinterpret_cast<const char*>(data), size);
  String charset;
  if (const std::size_t line = bytes.find('\n'); line < 40) {  // the first line may name a charset
    charset = String::fromUTF8Lossy(bytes.substr(0, line));
    bytes.remove_prefix(line + 1);
  }
  const String text = sifterra::decodePage(Data(std::string(bytes)), charset);
  if (!text || !text.view().starts_with(u"<!--charset=\"UTF-8\"-->")) std::abort();
  if (text.view().find(u'\0') != std::u16string_view::npos) std::abort();
  // Every byte gives one unit at most, but for the repairs and a few legacy pairs.
  if (text.length() > 64 + 16 * bytes.size()) std::abort();
  if (!sifterra::tests::parsedAsUTF8(text.toUTF8())) std::abort();
  return 0;
}
