// c_query.h: what the C functions of the judge share: from handles to C++ values and back.
#pragma once

#include <string>

#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "platform/Unicode.h"
#include "sifterra/platform/Data.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"
#include "util/log.h"

namespace sifterra {

// A string out-pointer of a C function: what it points to changes only if the answer was stored.
class OutString {
 public:
  explicit OutString(WFStringRef* destination) : destination_(destination) {}

  // Where a C++ function stores the answer; null when the caller wants none.
  [[nodiscard]] platform::String* slot() noexcept { return destination_ ? &value_ : nullptr; }
  void handOver() const {
    if (destination_ && !value_.sameObject(untouched_)) *destination_ = platform::borrowedHandle(value_);
  }

 private:
  WFStringRef* destination_;
  const platform::String untouched_{u""};  // known by its identity
  platform::String value_ = untouched_;
};

// Runs a query for a C caller. A query that fails midway has no title and a null message, so that the
// caller never reads what it did not set itself.
template <class Query>
signed char answerQuery(const char* op, WFStringRef* title, WFStringRef* message,
                        const Query& query) noexcept {
  bool answered = false;
  const signed char restricted = guarded(op, static_cast<signed char>(0), [&] {
    const platform::ReleaseScope::Call call;
    OutString titleOut(title);
    OutString messageOut(message);
    const signed char result = query(titleOut.slot(), messageOut.slot());
    titleOut.handOver();
    messageOut.handOver();
    answered = true;
    return result;
  });
  if (!answered && message) *message = nullptr;
  return restricted;
}

// Runs a query for a URL, as the function named op: not at all for a scheme other than http or https.
// `query` is given the URL's text and its page, null when the bytes are not UTF-8.
template <class Query>
signed char queryURL(const char* op, const platform::URL& url, const platform::Data& data,
                     const platform::String* message, const Query& query) {
  const platform::String scheme = url.scheme();
  const std::u16string lowered = platform::lowercased(scheme.view());
  if (lowered != u"https" && lowered != u"http") {
    logInfo("%s -- invalid scheme %{public}@", op, scheme ? platform::String(lowered) : platform::String());
    return 0;
  }
  const platform::String content = data ? platform::String::fromUTF8(data.chars()) : platform::String();
  const signed char result = query(content, url.absoluteString());
  // A caller without a message pointer is at fault here: the line shows "(null)".
  logInfo("%s -- result is %s (%{public}@) for %{public}@", op, result ? "YES" : "NO",
          message ? *message : platform::String(), [&] { return url.absoluteString(); });
  return result;
}

}  // namespace sifterra
