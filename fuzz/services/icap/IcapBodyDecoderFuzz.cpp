// IcapBodyDecoderFuzz: how a body is cut into pieces changes nothing, and no body gives more than the limit.
//
// Of a damaged body a library may keep back what it has decoded but not yet handed out: one text begins like
// the other then.
//
// The first byte picks the codings, the second the size of the pieces. The limit is small, so that bombs end
// soon.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "BodyDecoder.h"

using namespace sifterra::icap;

namespace {

constexpr std::size_t kLimit = 20000;

std::vector<Coding> codingsOf(std::uint8_t byte) {
  std::vector<Coding> codings;
  for (int layer = 0; layer <= (byte >> 6) % 3; ++layer)
    codings.push_back(static_cast<Coding>((byte >> 2 * layer) & 3));
  return codings;
}

struct Decoded {
  std::string text;
  bool damaged;
};

Decoded decoded(const std::vector<Coding>& codings, std::string_view bytes, std::size_t step) {
  BodyDecoder decoder(codings, kLimit);
  for (std::size_t at = 0; at < bytes.size() && decoder.state() == BodyDecoder::State::Open; at += step)
    decoder.write(bytes.substr(at, step));
  decoder.finish();
  if (decoder.text().size() > kLimit) std::abort();
  if ((decoder.state() == BodyDecoder::State::Full) != (decoder.text().size() == kLimit)) std::abort();
  const bool damaged = decoder.state() == BodyDecoder::State::Damaged;
  return {decoder.takeText(), damaged};
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::vector<Coding> codings = codingsOf(data[0]);
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  const Decoded whole = decoded(codings, bytes, bytes.size() + 1);
  const Decoded pieces = decoded(codings, bytes, data[1] + 1U);
  const bool damaged = whole.damaged || pieces.damaged;
  const std::size_t compared = damaged ? std::min(whole.text.size(), pieces.text.size()) : std::string::npos;
  if (whole.text.compare(0, compared, pieces.text, 0, compared) != 0) std::abort();
  return 0;
}
