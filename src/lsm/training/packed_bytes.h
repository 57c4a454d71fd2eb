// packed_bytes: numbers and texts one after the other, for processes of one program on one kind of machine.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace sifterra::lsm {

template <class Number>
void pack(std::string& bytes, Number value) {
  static_assert(std::is_trivially_copyable_v<Number>);
  bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}
inline void packText(std::string& bytes, std::string_view text) {
  pack(bytes, static_cast<std::uint32_t>(text.size()));
  bytes.append(text);
}

// Reads what was packed, in the same order.
class Unpacking {
 public:
  explicit Unpacking(std::string_view bytes) : _rest(bytes) {}
  [[nodiscard]] bool atEnd() const noexcept { return _rest.empty(); }
  template <class Number>
  [[nodiscard]] Number number() {
    Number value{};
    std::memcpy(&value, _rest.data(), sizeof value);
    _rest.remove_prefix(sizeof value);
    return value;
  }
  [[nodiscard]] std::string_view text() {
    const auto size = number<std::uint32_t>();
    const std::string_view value = _rest.substr(0, size);
    _rest.remove_prefix(size);
    return value;
  }

 private:
  std::string_view _rest;
};

}  // namespace sifterra::lsm
