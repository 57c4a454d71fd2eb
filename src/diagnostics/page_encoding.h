// page_encoding.h: a page's text by what its first bytes look like to the parser.
#pragma once

#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"

namespace sifterra {

// GuessEncodingForData: the number that xmlDetectCharEncoding has for the page's first bytes.
[[nodiscard]] int guessEncodingForData(const platform::Data& page);

// The page in the encoding of that number. UTF-8 for a number that has no other here, and ISO Latin-1, which
// decodes everything, where UTF-8 does not; `op` names the operation in the log. Null for null, and for ASCII
// that is none.
[[nodiscard]] platform::String decodedByGuess(const char* op, const platform::Data& page, int encoding);

}  // namespace sifterra
