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

// The canonical name (preferred MIME name, else the registered name, in the registry's spelling) of a
// registered IANA character-set name or alias, compared exactly but for ASCII case; nothing for any other
// name. "latin1" gives "ISO-8859-1", "utf8" nothing.
[[nodiscard]] std::optional<std::string> canonicalIANACharacterSetName(std::string_view name);

// The name of the encoding that browsers take the label for, ASCII white space around it ignored ("latin1"
// gives windows-1252, "utf8" UTF-8, "gb2312" GBK); nothing for an unknown label. Two names stand for no
// character set: "x-user-defined" (bytes above 0x7F become U+F780 to U+F7FF) and "replacement" (all of a text
// becomes one U+FFFD), which browsers use for encodings that can hide markup.
[[nodiscard]] std::optional<std::string> webEncodingForLabel(std::string_view label);

// The bytes decoded by a name that one of the above gave, each malformed or unassigned part as U+FFFD;
// nothing when there is no such converter. A name that both know is decoded as browsers do: Shift_JIS as
// windows-31j, EUC-KR as windows-949, GB2312 and GBK as gb18030, Big5 with the Hong Kong supplement. A byte
// order mark is kept as U+FEFF, except by "UTF-16" and "UTF-32", which read the byte order from it.
[[nodiscard]] std::optional<std::u16string> decodeBytes(std::string_view bytes, const std::string& encoding);

// What the bytes look like, by statistics over their beginning: a label for webEncodingForLabel. Nothing when
// no guess reaches the confidence (0 to 100). Markup is left out of account. Never an encoding that browsers
// do not decode, ISO-2022-KR among them: a page must not choose to be taken for one.
[[nodiscard]] std::optional<std::string> detectEncoding(std::string_view bytes, int minimumConfidence);

// ISO-8859-1: every byte is the character of its number.
[[nodiscard]] String stringFromISO88591(std::string_view bytes);

}  // namespace sifterra::platform
