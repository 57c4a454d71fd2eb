// IcapBodyDecoderFuzz: how a body is cut into pieces changes nothing, and no body gives more than the limit.
//
// The first byte picks the codings, the second the size of the pieces. The limit is small, so that bombs end
// soon.
#include <cstdint>
#include <cstdlib>
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

std::string decoded(const std::vector<Coding>& codings, std::string_view bytes, std::size_t step) {
  BodyDecoder decoder(codings, kLimit);
  for (std::size_t at = 0; at < bytes.size() && decoder.state() == BodyDecoder::State::Open; at += step)
    decoder.write(bytes.substr(at, step));
  decoder.finish();
  if (decoder.text().size() > kLimit) std::abort();
  if ((decoder.state() == BodyDecoder::State::Full) != (decoder.text().size() == kLimit)) std::abort();
  return decoder.takeText();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::vector<Coding> codings = codingsOf(data[0]);
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 2, size - 2);
  if (decoded(codings, bytes, bytes.size() + 1) != decoded(codings, bytes, data[1] + 1U)) std::abort();
  return 0;
}
