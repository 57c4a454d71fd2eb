// request_answers: a Transaction's decision, as c-icap has it told to the proxy.
#pragma once

#include <c_icap/c-icap.h>
#include <c_icap/request.h>

#include "HttpMessage.h"
#include "Request.h"

namespace sifterra::icap {

// The answer to a decision while the headers are all that was sent, or the preview: what c-icap's preview
// handler returns.
[[nodiscard]] int answerPreview(ci_request_t* request, Request* data, const HttpMessage& message);
// A decision in the middle of the body, or at its end.
void answerLater(ci_request_t* request, Request* data);

}  // namespace sifterra::icap
