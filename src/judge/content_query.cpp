// content_query: WFIsWebPageExplicit, WFIsURLExplicit and WFDecodePage.
//
// The questions are answered in C++ strings. The C functions turn handles into them and the answers into
// borrowed handles, each inside guarded(), so that no exception reaches the caller.
#include <string>

#include "judge/evaluate_verdict.h"
#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "platform/Unicode.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/decodePage.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::borrowedHandle;
using platform::Data;
using platform::ReleaseScope;
using platform::String;
using platform::URL;

constexpr auto kIsWebPageExplicit = "WFIsWebPageExplicit";
constexpr auto kIsURLExplicit = "WFIsURLExplicit";
constexpr auto kDecodePage = "WFDecodePage";

// A string out-pointer of a C function: what it points to changes only if the answer was stored.
class OutString {
 public:
  explicit OutString(WFStringRef* destination) : destination_(destination) {}

  // Where a C++ function stores the answer; null when the caller wants none.
  [[nodiscard]] String* slot() noexcept { return destination_ ? &value_ : nullptr; }
  void handOver() const {
    if (destination_ && !value_.sameObject(untouched_)) *destination_ = borrowedHandle(value_);
  }

 private:
  WFStringRef* destination_;
  const String untouched_{u""};  // known by its identity
  String value_ = untouched_;
};

signed char isWebPageExplicit(const String& content, const String& url, String* title, String* message) {
  const auto judge = WFJudge::defaultJudge();
  const auto verdict = judge ? judge->pronounceOnPageContent(content, url, nullptr, title) : nullptr;
  logInfo("%s -- verdict is %{public}@", kIsWebPageExplicit,
          [&] { return verdict ? verdict->description() : String(); });
  return WFEvaluateVerdict(verdict, message);
}

String lowercasedScheme(const URL& url) {
  const String scheme = url.scheme();
  return scheme ? String(platform::lowercased(scheme.view())) : String();
}

signed char isURLExplicit(const URL& url, const Data& data, String* title, String* message) {
  const String scheme = lowercasedScheme(url);
  if (scheme.view() != u"https" && scheme.view() != u"http") {
    logInfo("%s -- invalid scheme %{public}@", kIsURLExplicit, scheme);
    return 0;
  }
  const String content = data ? String::fromUTF8(data.chars()) : String();
  const signed char result = isWebPageExplicit(content, url.absoluteString(), title, message);
  // A caller without a message pointer is at fault here: the line shows "(null)".
  logInfo("%s -- result is %s (%{public}@) for %{public}@", kIsURLExplicit, result ? "YES" : "NO",
          message ? *message : String(), [&] { return url.absoluteString(); });
  return result;
}

// Runs a query for a C caller. A query that fails midway has no title and a null message, so that the
// caller never reads what it did not set itself.
template <class Query>
signed char answer(const char* op, WFStringRef* title, WFStringRef* message, const Query& query) noexcept {
  bool answered = false;
  const signed char restricted = guarded(op, static_cast<signed char>(0), [&] {
    const ReleaseScope::Call call;
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

}  // namespace
}  // namespace sifterra

extern "C" {

signed char WFIsWebPageExplicit(WFStringRef content, WFStringRef url, WFStringRef* title,
                                WFStringRef* message) {
  using namespace sifterra;
  return answer(kIsWebPageExplicit, title, message, [&](String* titleSlot, String* messageSlot) {
    return isWebPageExplicit(platform::stringFromHandle(content), platform::stringFromHandle(url), titleSlot,
                             messageSlot);
  });
}

signed char WFIsURLExplicit(WFURLRef url, WFDataRef data, WFStringRef* title, WFStringRef* message) {
  using namespace sifterra;
  return answer(kIsURLExplicit, title, message, [&](String* titleSlot, String* messageSlot) {
    return isURLExplicit(platform::urlFromHandle(url), platform::dataFromHandle(data), titleSlot,
                         messageSlot);
  });
}

WFStringRef WFDecodePage(WFDataRef data, WFStringRef charset) {
  using namespace sifterra;
  return guarded(kDecodePage, WFStringRef(nullptr), [&] {
    const ReleaseScope::Call call;
    return borrowedHandle(decodePage(platform::dataFromHandle(data), platform::stringFromHandle(charset)));
  });
}

}  // extern "C"
