// simple_address: one pass, one table look-up per character.
#include "policy/simple_address.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace sifterra {
namespace {

enum : std::uint8_t {
  kInScheme = 1,
  kInHost = 2,
  kInPath = 4,
  kInQuery = 8,
  kHex = 16,
  kLetter = 32,
  kDigit = 64
};

constexpr std::array<std::uint8_t, 128> madeTable() {
  std::array<std::uint8_t, 128> table{};
  const auto add = [&](std::string_view characters, unsigned classes) {
    for (const char c : characters) {
      auto& entry = table[static_cast<unsigned char>(c)];
      entry = static_cast<std::uint8_t>(entry | classes);
    }
  };
  constexpr unsigned kAnywhere = kInHost | kInPath | kInQuery;
  add("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", kAnywhere | kInScheme | kLetter);
  add("0123456789", kAnywhere | kInScheme | kDigit | kHex);
  add("abcdefABCDEF", kHex);
  add("+-.", kInScheme);
  add("-._~!$&'()*+,;=", kAnywhere);
  add(":@/", kInPath | kInQuery);
  add("?", kInQuery);
  return table;
}

constexpr std::array<std::uint8_t, 128> kTable = madeTable();

bool isOf(char16_t unit, unsigned classes) noexcept {
  return unit < kTable.size() && (kTable[unit] & classes) != 0;
}

// Reads on from one place; what it took last is a view.
class Reader {
 public:
  explicit Reader(std::u16string_view text) noexcept : text_(text) {}

  [[nodiscard]] bool atEnd() const noexcept { return at_ == text_.size(); }
  [[nodiscard]] char16_t next() const noexcept { return atEnd() ? u'\0' : text_[at_]; }

  bool take(std::u16string_view expected) noexcept {
    if (!text_.substr(at_).starts_with(expected)) return false;
    at_ += expected.size();
    return true;
  }
  std::u16string_view takeAll(unsigned classes) noexcept {
    const std::size_t start = at_;
    while (at_ < text_.size() && isOf(text_[at_], classes)) ++at_;
    return text_.substr(start, at_ - start);
  }
  // The same with escapes; stops at a malformed one.
  std::u16string_view takeEscaped(unsigned classes) noexcept {
    const std::size_t start = at_;
    while (at_ < text_.size()) {
      if (isOf(text_[at_], classes)) {
        ++at_;
      } else if (text_[at_] == u'%' && text_.size() - at_ > 2 && isOf(text_[at_ + 1], kHex) &&
                 isOf(text_[at_ + 2], kHex)) {
        at_ += 3;
      } else {
        break;
      }
    }
    return text_.substr(start, at_ - start);
  }

 private:
  std::u16string_view text_;
  std::size_t at_ = 0;
};

// Ports longer than any are left to those who count.
bool takePort(Reader& reader) noexcept {
  if (!reader.take(u":")) return true;
  const std::u16string_view digits = reader.takeAll(kDigit);
  return !digits.empty() && digits.size() <= 5 && digits[0] != u'0';
}

}  // namespace

std::optional<SimpleAddress> simpleAddress(std::u16string_view text) noexcept {
  Reader reader(text);
  if (!isOf(reader.next(), kLetter)) return std::nullopt;
  reader.takeAll(kInScheme);
  if (!reader.take(u"://")) return std::nullopt;
  SimpleAddress parts;
  parts.host = reader.takeAll(kInHost);
  // One that begins with a digit may be numeric, or look so to the parser.
  if (parts.host.empty() || isOf(parts.host[0], kDigit) || !takePort(reader)) return std::nullopt;
  if (reader.next() == u'/') parts.path = reader.takeEscaped(kInPath);
  parts.hasQuery = reader.take(u"?");
  if (parts.hasQuery) parts.query = reader.takeEscaped(kInQuery);
  if (reader.take(u"#")) reader.takeEscaped(kInQuery);
  return reader.atEnd() ? std::optional(parts) : std::nullopt;
}

}  // namespace sifterra
