// CharacterSet.h: character encodings by name, and decoding of bytes.
//
// Two kinds of names: IANA's registry (strict: names and aliases registered there, nothing that only
// browsers know) and the labels of the web (what browsers accept, "utf8" and "x-sjis" included).
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

// The canonical name (preferred MIME name, in IANA's spelling) of a registered IANA character-set name or
// alias, compared without regard to ASCII case; nothing for any other name. "latin1" gives "ISO-8859-1".
[[nodiscard]] std::optional<std::string> canonicalIANACharacterSetName(std::string_view name);

// The name by which ICU decodes what browsers decode for this label ("latin1" gives windows-1252,
// "utf8" gives UTF-8), white space around it ignored; nothing for an unknown label.
[[nodiscard]] std::optional<std::string> webEncodingForLabel(std::string_view label);

// The bytes decoded by a converter name that one of the above gave, malformed parts as U+FFFD;
// nothing when there is no such converter.
[[nodiscard]] std::optional<std::u16string> decodeBytes(std::string_view bytes, const std::string& encoding);

// What the bytes look like, by statistics; nothing when no guess reaches the confidence (0 to 100).
[[nodiscard]] std::optional<std::string> detectEncoding(std::string_view bytes, int minimumConfidence);

// ISO-8859-1: every byte is the character of its number.
[[nodiscard]] String stringFromISO88591(std::string_view bytes);

}  // namespace sifterra::platform
