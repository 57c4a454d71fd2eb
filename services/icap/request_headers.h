// request_headers: the headers that c-icap has read, as the judgement asks for them.
#pragma once

#include <c_icap/c-icap.h>
#include <c_icap/request.h>

#include "HttpMessage.h"

namespace sifterra::icap {

// What is known of a request or response before its body. Its texts are the request's own.
[[nodiscard]] HttpMessage messageOf(ci_request_t* request);

}  // namespace sifterra::icap
