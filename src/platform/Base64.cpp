// Base64: nettle does the work. Its decoder passes over white space and demands that unused bits are zero;
// the shape of the text is therefore checked here, and the last character put right before the decoder sees
// it.
#include "platform/Base64.h"

#include <nettle/base64.h>

#include <cstddef>
#include <cstdint>
#include <utility>

namespace sifterra::platform {
namespace {

constexpr std::size_t kGroup = BASE64_TEXT_BLOCK_SIZE;
constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The characters that the decoder would take although they are no part of the alphabet.
constexpr std::string_view kPassedOver = " \t\n\v\f\r=";

std::size_t paddingOf(std::string_view text) {
  if (text.ends_with("==")) return 2;
  return text.ends_with('=') ? 1 : 0;
}

// The last group with the bits that carry nothing set to zero: 2 of them for each padding character.
std::string lastGroup(std::string_view group, std::size_t padding) {
  std::string tidy(group);
  char& last = tidy[kGroup - 1 - padding];
  const std::size_t value = kAlphabet.find(last);
  if (value != std::string_view::npos) last = kAlphabet[value >> (2 * padding) << (2 * padding)];
  return tidy;
}

class Decoder {
 public:
  explicit Decoder(std::size_t textLength) {
    base64_decode_init(&context_);
    bytes_.resize(BASE64_DECODE_LENGTH(textLength));
  }

  [[nodiscard]] bool add(std::string_view text) {
    std::size_t count = 0;
    const bool good =
        base64_decode_update(&context_, &count, reinterpret_cast<std::uint8_t*>(bytes_.data()) + length_,
                             text.size(), text.data()) == 1;
    length_ += count;
    return good;
  }

  [[nodiscard]] std::optional<std::string> bytes() {
    if (base64_decode_final(&context_) != 1) return std::nullopt;
    bytes_.resize(length_);
    return std::move(bytes_);
  }

 private:
  base64_decode_ctx context_{};
  std::string bytes_;
  std::size_t length_ = 0;
};

}  // namespace

std::string base64Encoded(std::string_view bytes) {
  std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
  base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  return text;
}

std::optional<std::string> base64Decoded(std::string_view text) {
  if (text.empty()) return std::string();
  if (text.size() % kGroup != 0) return std::nullopt;
  const std::size_t padding = paddingOf(text);
  if (text.substr(0, text.size() - padding).find_first_of(kPassedOver) != std::string_view::npos)
    return std::nullopt;
  Decoder decoder(text.size());
  const std::size_t head = text.size() - kGroup;
  if (!decoder.add(text.substr(0, head)) || !decoder.add(lastGroup(text.substr(head), padding)))
    return std::nullopt;
  return decoder.bytes();
}

}  // namespace sifterra::platform
