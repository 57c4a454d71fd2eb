// Any text: the tokens are those of its lines one after the other, wherever the text is cut after a line
// feed; each is sound, and there are not many more of them than characters.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "lsm/NGrams.h"
#include "lsm/TokenList.h"
#include "platform/Unicode.h"

namespace {

using namespace sifterra::lsm;

void check(const OwnedToken& token) {
  const auto text = sifterra::platform::utf16FromUTF8(token.text);
  if (!text || text->empty()) std::abort();
  std::size_t characters = 0;
  for (std::size_t i = 0; i < text->size(); ++characters) (void)sifterra::platform::nextCharacter(*text, i);
  if (characters != token.characters || characters > kMaxWordCharacters) std::abort();
  NGramBuckets buckets;
  nGramBuckets(token.token(), 64, buckets);
  if (hasNGrams(token.token()) != (buckets.count != 0) || buckets.count > kMaxNGrams) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::u16string text(size / 2, u'\0');
  std::memcpy(text.data(), data, text.size() * 2);
  const std::vector<OwnedToken> whole = tokensOf(text);
  // One character gives 18 others at most when it is normalised; each gives one token and, when it stands
  // with others, a part of two readings more.
  if (whole.size() > 4 * 18 * text.size()) std::abort();
  for (const OwnedToken& token : whole) check(token);

  Tokenizer tokenizer;
  TokenList list;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find(u'\n', from), text.size() - 1);
    tokenizer.tokenize(std::u16string_view(text).substr(from, end + 1 - from), list);
    from = end + 1;
  }
  if (list.tokens != whole) std::abort();
  return 0;
}
