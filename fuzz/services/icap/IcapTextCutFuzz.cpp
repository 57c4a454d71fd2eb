// IcapTextCutFuzz: a cut is never beyond the limit, never far before it, and in UTF-8 and UTF-16 never inside
// a character.
//
// The first byte picks the charset, the next two the limit.
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "text_cut.h"

using namespace sifterra::icap;

namespace {

constexpr const char* kCharsets[] = {"",         "utf-8",  "shift_jis",   "euc-jp",
                                     "gb18030",  "big5",   "euc-kr",      "utf-16le",
                                     "utf-16be", "utf-16", "iso-2022-jp", "windows-1252"};

// The longest way back: the longest character, or in charsets that shift to a blank in the last kilobytes.
constexpr std::size_t kFarthest = 4;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const std::string_view page(reinterpret_cast<const char*>(data) + 3, size - 3);
  const std::string_view charset = kCharsets[data[0] % std::size(kCharsets)];
  const std::size_t limit = data[1] * 256U + data[2];
  const std::size_t length = cutAtCharacter(page, limit, charset);
  if (length > page.size() || length > limit) std::abort();
  if (page.size() <= limit && length != page.size()) std::abort();
  if (page.size() > limit && charset != "iso-2022-jp" && length + kFarthest < limit) std::abort();
  if (page.size() > limit && charset.starts_with("utf-16") && length % 2 != 0) std::abort();
  if (charsetForCutting(page, {}).size() > 1024) std::abort();
  return 0;
}
