// URL: a parsed RFC 3986 reference, immutable and shared.
//
// Components are given percent-encoded, as they stand in the text; an absent
// component is null, an empty one the empty string.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra::platform {

class WF_API URL {
 public:
  URL() noexcept = default;        // null
  URL(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor): null, spelled out

  // The reference that the whole text spells, strictly after RFC 3986; null when it spells none.
  // Relative references and the empty string parse.
  [[nodiscard]] static URL fromString(const String& text);
  // A file URL for an absolute path (percent-encoded, "file://" + path); null for any other.
  [[nodiscard]] static URL fileURL(const String& path);

  [[nodiscard]] bool isNull() const noexcept { return !parts_; }
  explicit operator bool() const noexcept { return static_cast<bool>(parts_); }

  [[nodiscard]] String absoluteString() const;  // the text it was parsed from
  [[nodiscard]] String scheme() const;          // as written, without ":"
  [[nodiscard]] String user() const;
  [[nodiscard]] String password() const;
  [[nodiscard]] String host() const;  // null without authority; IP literals keep their brackets
  // By value; nothing when absent or empty. Digits beyond 64 bits give the largest number.
  [[nodiscard]] std::optional<std::uint64_t> port() const;
  [[nodiscard]] String path() const;  // never null for a URL that is not null
  [[nodiscard]] String query() const;
  [[nodiscard]] String fragment() const;
  // The decoded path of a file URL; null for any other, and when it spells no UTF-8 or a zero byte.
  [[nodiscard]] String filePath() const;

  struct Parts;

 private:
  std::shared_ptr<const Parts> parts_;
};

}  // namespace sifterra::platform
