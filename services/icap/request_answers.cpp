#include "request_answers.h"

#include <c_icap/header.h>
#include <c_icap/service.h>
#include <c_icap/simple_api.h>

#include <optional>
#include <string>

#include "content_coding.h"
#include "page_parts.h"

namespace sifterra::icap {
namespace {

using Step = Transaction::Step;

void tellLog(ci_request_t* request, const Transaction& transaction) {
  std::string line = transaction.logLine();
  ci_request_set_log_str(request, line.data());
}

// The headers of the refusal in place of what the proxy sent. A HEAD request gets no body.
void sendRefusal(ci_request_t* request, const Transaction& transaction) {
  const Refusal& refusal = transaction.refusal();
  ci_http_response_create(request, 1, refusal.body.empty() ? 0 : 1);
  for (const std::string& header : refusal.headers) ci_http_response_add_header(request, header.c_str());
  ci_req_unlock_data(request);
}

bool removeHeader(ci_request_t* request, const char* name) {
  while (ci_http_request_get_header(request, name))
    if (!ci_http_request_remove_header(request, name)) return false;
  return true;
}

// A request that passes asks for nothing that cannot be judged when it comes back: browsers offer codings
// that take a dictionary of theirs, and parts of pages. Whether the request was changed. Of requests with a
// body, whose answers are pages more rarely, the body would have to go through here.
bool narrowRequest(ci_request_t* request, const HttpMessage& message) {
  if (ci_req_type(request) != ICAP_REQMOD || ci_req_hasbody(request)) return false;
  const std::optional<std::string> readable = readableEncodings(message.acceptEncoding);
  const bool all = shouldAskForAll(message);
  bool changed = all && removeHeader(request, "Range");
  if (readable && removeHeader(request, "Accept-Encoding"))
    changed |= ci_http_request_add_header(request, ("Accept-Encoding: " + *readable).c_str()) != nullptr;
  return changed;
}

}  // namespace

int answerPreview(ci_request_t* request, Request* data, const HttpMessage& message) {
  const bool preview = ci_req_preview_size(request) >= 0;
  switch (data->transaction.step()) {
    case Step::More:
      return CI_MOD_CONTINUE;
    case Step::Pass:
      tellLog(request, data->transaction);
      if (narrowRequest(request, message)) return CI_MOD_CONTINUE;
      if (preview || ci_req_allow204(request) || !ci_req_hasbody(request)) return CI_MOD_ALLOW204;
      ci_req_unlock_data(request);  // the proxy has kept nothing: it gets its body back
      return CI_MOD_CONTINUE;
    case Step::Refuse:
      break;
  }
  tellLog(request, data->transaction);
  sendRefusal(request, data->transaction);
  return CI_MOD_CONTINUE;
}

void answerLater(ci_request_t* request, Request* data) {
  if (data->transaction.step() == Step::More) return;
  tellLog(request, data->transaction);
  if (data->transaction.step() == Step::Refuse) {
    sendRefusal(request, data->transaction);
    return;
  }
  // In the middle there is no 204 any more, but a proxy that has kept the body may take it from its
  // beginning.
  if (!data->ended && ci_req_allow206_outside_preview(request) && ci_request_206_origin_body(request, 0)) {
    request->return_code = EC_206;
    data->original = true;
  }
  ci_req_unlock_data(request);
}

}  // namespace sifterra::icap
