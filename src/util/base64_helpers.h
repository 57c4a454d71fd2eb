// base64_helpers.h: text in and out of base64, by its UTF-8 bytes.
//
// Behind the C functions NS64BaseStringFromString, DecodeBase64 and NSStringFrom64BaseString. Null for null
// and for every failure; none of these writes a log line.
#pragma once

#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// One line of base64; null for text that UTF-8 cannot spell (a lone surrogate).
[[nodiscard]] platform::String base64FromString(const platform::String& text);
// The bytes; null for what is not base64.
[[nodiscard]] platform::Data dataFromBase64(const platform::String& text);
// The bytes as text; null also when they are not well-formed UTF-8.
[[nodiscard]] platform::String stringFromBase64(const platform::String& text);

}  // namespace sifterra
