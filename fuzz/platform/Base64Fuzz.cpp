// Base64: what is encoded comes back; what is decoded is what a plain version and nettle make of it, where
// nettle is stricter about unused bits and laxer about white space and padding.
#include <nettle/base64.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/Base64.h"
#include "reference/plain_base64.h"

namespace {

using namespace sifterra;

void check(bool holds) {
  if (!holds) std::abort();
}

std::optional<std::string> decodedByNettle(std::string_view text) {
  base64_decode_ctx context;
  base64_decode_init(&context);
  std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
  std::size_t length = 0;
  if (base64_decode_update(&context, &length, reinterpret_cast<std::uint8_t*>(bytes.data()), text.size(),
                           text.data()) != 1 ||
      base64_decode_final(&context) != 1) {
    return std::nullopt;
  }
  bytes.resize(length);
  return bytes;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string text = platform::base64Encoded(input);
  check(text == reference::encodedBase64(input));
  check(platform::base64Decoded(text) == input);

  const std::optional<std::string> bytes = platform::base64Decoded(input);
  check(bytes == reference::decodedBase64(input));
  const std::optional<std::string> lax = decodedByNettle(input);
  // nettle passes over white space and takes three padding characters.
  const bool lenient = input.find_first_of(" \t\n\v\f\r") != std::string_view::npos || input.ends_with("===");
  if (lax && !lenient) check(bytes == lax);
  // Encoding what was decoded tidies the last character, and nettle then takes it too.
  if (bytes) check(decodedByNettle(platform::base64Encoded(*bytes)) == bytes);
  return 0;
}
