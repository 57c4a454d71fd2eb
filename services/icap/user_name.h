// user_name: the short name of a user from what a proxy says in a header.
//
// Proxies pass on what their authentication knows: a plain name, "DOMAIN\ann", "ann@example.com",
// "LDAP://ldap.example.com/uid=ann,ou=people", "WinNT://DOMAIN/ann"; some put it into base64. The library
// knows users by their short names alone.
#pragma once

#include <string>
#include <string_view>

#include "Settings.h"

namespace sifterra::icap {

// The short name in a text; empty when there is none that could name a user: what is longer than 255 bytes,
// no UTF-8, or holds a slash, a zero byte or another control character.
[[nodiscard]] std::string shortName(std::string_view text);

// The short name in the value of a header. mayBeBase64: what NameEncoding::Auto takes base64 for, where it
// reads as such.
[[nodiscard]] std::string userFromHeader(std::string_view value, NameEncoding encoding, bool mayBeBase64);

}  // namespace sifterra::icap
