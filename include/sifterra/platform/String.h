// String: an immutable, shared, nullable UTF-16 string.
//
// Null is a state of its own, not the empty string: operations that find nothing
// answer null. Copies share one buffer. Lengths and positions count UTF-16 code
// units; the units are kept as they came, lone surrogates too.
//
// Read with view(), build with std::u16string, convert from and to UTF-8 only at
// the rim (paths, log, C interface, libxml2).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "sifterra/platform/Export.h"

namespace sifterra::platform {

class WF_API String {
 public:
  String() noexcept = default;            // null
  String(std::nullptr_t) noexcept {}      // NOLINT(google-explicit-constructor): null, spelled out
  explicit String(std::u16string units);  // takes the buffer over
  explicit String(std::u16string_view units);
  explicit String(const char16_t* literal);

  // The text of well-formed UTF-8 bytes (zero bytes allowed); null when they are not well formed.
  [[nodiscard]] static String fromUTF8(std::string_view bytes);
  // Like fromUTF8, with each maximal ill-formed part replaced by U+FFFD; never null.
  [[nodiscard]] static String fromUTF8Lossy(std::string_view bytes);

  [[nodiscard]] bool isNull() const noexcept { return !units_; }
  explicit operator bool() const noexcept { return static_cast<bool>(units_); }

  // The units; empty when null.
  [[nodiscard]] std::u16string_view view() const noexcept {
    return units_ ? std::u16string_view(*units_) : std::u16string_view();
  }
  [[nodiscard]] std::size_t length() const noexcept { return units_ ? units_->size() : 0; }

  // UTF-8 form; lone surrogates become U+FFFD. Empty when null.
  [[nodiscard]] std::string toUTF8() const;

  // Whether both share one buffer (or are both null): identity, not equality.
  [[nodiscard]] bool sameObject(const String& other) const noexcept { return units_ == other.units_; }

  // Equal units; null equals null only.
  friend bool operator==(const String& a, const String& b) noexcept {
    return a.isNull() == b.isNull() && a.view() == b.view();
  }

 private:
  std::shared_ptr<const std::u16string> units_;
};

}  // namespace sifterra::platform
