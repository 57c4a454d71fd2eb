// Data: an immutable, shared, nullable run of bytes with cheap slices.
//
// Null is a state of its own, not the empty run. A slice shares the bytes of the
// whole and keeps them alive.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "sifterra/platform/Export.h"

namespace sifterra::platform {

class WF_API Data {
 public:
  Data() noexcept = default;         // null
  Data(std::nullptr_t) noexcept {}   // NOLINT(google-explicit-constructor): null, spelled out
  explicit Data(std::string bytes);  // takes the buffer over
  explicit Data(std::span<const std::byte> bytes);

  [[nodiscard]] bool isNull() const noexcept { return !owner_; }
  explicit operator bool() const noexcept { return static_cast<bool>(owner_); }
  [[nodiscard]] std::size_t length() const noexcept { return bytes_.size(); }

  // The bytes; empty when null.
  [[nodiscard]] std::span<const std::byte> bytes() const noexcept {
    return std::as_bytes(std::span(bytes_.data(), bytes_.size()));
  }
  // The same bytes as characters, for text interfaces.
  [[nodiscard]] std::string_view chars() const noexcept { return bytes_; }

  // At most `count` bytes from `offset`, both cut to what there is; null of null.
  [[nodiscard]] Data slice(std::size_t offset, std::size_t count) const;

 private:
  std::shared_ptr<const std::string> owner_;
  std::string_view bytes_;
};

}  // namespace sifterra::platform
