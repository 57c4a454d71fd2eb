// evaluator_functions: the streaming evaluator for C callers.
#include <memory>
#include <utility>

#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "sifterra/blockpage/WebFilterEvaluator.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"

struct WebFilterEvaluatorObject {
  std::shared_ptr<sifterra::WebFilterEvaluator> evaluator;
};

namespace {

using sifterra::guarded;
using sifterra::WebFilterEvaluator;
using sifterra::platform::ReleaseScope;

constexpr auto kIsManagedSession = "WebFilterEvaluatorIsManagedSession";
constexpr auto kCreate = "WebFilterEvaluatorCreateWithResponse";
constexpr auto kCreateForUser = "WebFilterEvaluatorCreateWithResponseForUser";
constexpr auto kAddData = "WebFilterEvaluatorAddData";
constexpr auto kDataComplete = "WebFilterEvaluatorDataComplete";

WebFilterEvaluatorRef owned(std::shared_ptr<WebFilterEvaluator> evaluator) {
  return evaluator ? new WebFilterEvaluatorObject{std::move(evaluator)} : nullptr;
}

WFDataRef passedOn(const char* op, WebFilterEvaluatorRef object, const sifterra::platform::Data& data) {
  if (!object) return nullptr;
  return guarded(op, WFDataRef{nullptr}, [&] {
    const ReleaseScope::Call call;
    return sifterra::platform::borrowedHandle(object->evaluator->addData(data));
  });
}

}  // namespace

extern "C" {

signed char WebFilterEvaluatorIsManagedSession(void) {
  return guarded(kIsManagedSession, static_cast<signed char>(0),
                 [] { return static_cast<signed char>(WebFilterEvaluator::isManagedSession() ? 1 : 0); });
}

WebFilterEvaluatorRef WebFilterEvaluatorCreateWithResponse(WFURLRef url) {
  return guarded(kCreate, WebFilterEvaluatorRef{nullptr}, [&] {
    return owned(WebFilterEvaluator::createWithResponse({sifterra::platform::urlFromHandle(url)}));
  });
}

WebFilterEvaluatorRef WebFilterEvaluatorCreateWithResponseForUser(WFURLRef url, WFStringRef user) {
  return guarded(kCreateForUser, WebFilterEvaluatorRef{nullptr}, [&] {
    return owned(WebFilterEvaluator::createWithResponse({sifterra::platform::urlFromHandle(url)},
                                                        sifterra::platform::stringFromHandle(user)));
  });
}

WFDataRef WebFilterEvaluatorAddData(WebFilterEvaluatorRef evaluator, WFDataRef data) {
  return passedOn(kAddData, evaluator, sifterra::platform::dataFromHandle(data));
}

WFDataRef WebFilterEvaluatorDataComplete(WebFilterEvaluatorRef evaluator) {
  return passedOn(kDataComplete, evaluator, nullptr);
}

long WebFilterEvaluatorFilterState(WebFilterEvaluatorRef evaluator) {
  return evaluator ? evaluator->evaluator->filterState() : static_cast<long>(WebFilterStateAllowed);
}

signed char WebFilterEvaluatorWasBlocked(WebFilterEvaluatorRef evaluator) {
  return static_cast<signed char>(evaluator && evaluator->evaluator->wasBlocked() ? 1 : 0);
}

void WebFilterEvaluatorRelease(WebFilterEvaluatorRef evaluator) {
  delete evaluator;
}

}  // extern "C"
