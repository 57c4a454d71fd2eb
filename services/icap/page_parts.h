// page_parts: answers that hold a part of a page, and requests for such.
//
// Parts that are small enough say nothing each, and whoever asked for them puts them together.
#pragma once

#include "HttpMessage.h"

namespace sifterra::icap {

// Whether the response is less than what lies at the address: status 206, unless its range is all of it.
[[nodiscard]] bool isPart(const HttpMessage& message);

// Whether the response is several parts in one body.
[[nodiscard]] bool isOfParts(const HttpMessage& message);

// Whether the request should ask for the whole in place of the range: a window goes on with a page that broke
// off, or the answer would be one of several parts. What plays or downloads keeps its range.
[[nodiscard]] bool shouldAskForAll(const HttpMessage& message);

}  // namespace sifterra::icap
