// simple_address.h: the parts of an address that has nothing special about it.
//
// Most entries of a list are spelled "https://name/path?query", and repairing, parsing and reducing such a
// one gives back what is there already. It is cut here in one go; any other takes the steps one by one. The
// two routes make the same record, which a fuzz target checks.
#pragma once

#include <optional>
#include <string_view>

namespace sifterra {

struct SimpleAddress {
  std::u16string_view host;  // a name that does not begin with a digit, not empty
  std::u16string_view path;
  std::u16string_view query;
  bool hasQuery = false;
};

// The parts of "scheme://name[:port][/path][?query][#fragment]" in well-formed characters, without user, with
// escapes only behind the host, and with a name that does not begin with a digit and a port that does not
// begin with zero; nothing for any other text.
[[nodiscard]] std::optional<SimpleAddress> simpleAddress(std::u16string_view text) noexcept;

}  // namespace sifterra
