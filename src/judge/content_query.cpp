// content_query: WFIsWebPageExplicit, WFIsURLExplicit and WFDecodePage.
//
// The questions are answered in C++ strings. The C functions turn handles into them and the answers into
// borrowed handles, each inside guarded(), so that no exception reaches the caller.
#include "judge/c_query.h"
#include "judge/evaluate_verdict.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/page/decodePage.h"
#include "sifterra/sifterra.h"
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

signed char isWebPageExplicit(const String& content, const String& url, String* title, String* message) {
  const auto judge = WFJudge::defaultJudge();
  const auto verdict = judge ? judge->pronounceOnPageContent(content, url, nullptr, title) : nullptr;
  logInfo("%s -- verdict is %{public}@", kIsWebPageExplicit,
          [&] { return verdict ? verdict->description() : String(); });
  return WFEvaluateVerdict(verdict, message);
}

signed char isURLExplicit(const URL& url, const Data& data, String* title, String* message) {
  return queryURL(kIsURLExplicit, url, data, message, [&](const String& content, const String& address) {
    return isWebPageExplicit(content, address, title, message);
  });
}

}  // namespace
}  // namespace sifterra

extern "C" {

signed char WFIsWebPageExplicit(WFStringRef content, WFStringRef url, WFStringRef* title,
                                WFStringRef* message) {
  using namespace sifterra;
  return answerQuery(kIsWebPageExplicit, title, message, [&](String* titleSlot, String* messageSlot) {
    return isWebPageExplicit(platform::stringFromHandle(content), platform::stringFromHandle(url), titleSlot,
                             messageSlot);
  });
}

signed char WFIsURLExplicit(WFURLRef url, WFDataRef data, WFStringRef* title, WFStringRef* message) {
  using namespace sifterra;
  return answerQuery(kIsURLExplicit, title, message, [&](String* titleSlot, String* messageSlot) {
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
