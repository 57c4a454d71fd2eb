// user_query: WFIsWebPageToRestrictForUser and WFIsURLToRestrictForUser.
#include "judge/user_query.h"

#include "judge/c_query.h"
#include "judge/evaluate_verdict.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "sifterra/sifterra.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::Data;
using platform::String;
using platform::URL;

constexpr auto kIsWebPageToRestrictForUser = "WFIsWebPageToRestrictForUser";
constexpr auto kIsURLToRestrictForUser = "WFIsURLToRestrictForUser";

}  // namespace

signed char isWebPageToRestrictForUser(const String& user, const String& content, const String& url,
                                       String* title, String* message) {
  constexpr auto kOp = kIsWebPageToRestrictForUser;
  const auto preferences = WFWhitelistUserPreferences::defaultWhitelistForUser(user);
  if (!preferences) logError("%s -- WFIsWebPageToRestrictForUser: whitelist is nil", kOp);
  const auto judge = WFJudge::defaultJudge();
  if (!judge) logError("%s -- WFIsWebPageToRestrictForUser: judge is nil", kOp);
  const auto verdict =
      judge ? judge->pronounceOnPageContent(content, url, preferences, nullptr, title) : nullptr;
  logInfo("%s -- verdict is %{public}@", kOp, [&] { return verdict ? verdict->description() : String(); });
  return WFEvaluateVerdict(verdict, message);
}

signed char isURLToRestrictForUser(const String& user, const URL& url, const Data& data, String* title,
                                   String* message) {
  return queryURL(kIsURLToRestrictForUser, url, data, message,
                  [&](const String& content, const String& address) {
                    return isWebPageToRestrictForUser(user, content, address, title, message);
                  });
}

}  // namespace sifterra

extern "C" {

signed char WFIsWebPageToRestrictForUser(WFStringRef user, WFStringRef content, WFStringRef url,
                                         WFStringRef* title, WFStringRef* message) {
  using namespace sifterra;
  using platform::stringFromHandle;
  return answerQuery(kIsWebPageToRestrictForUser, title, message,
                     [&](String* titleSlot, String* messageSlot) {
                       return isWebPageToRestrictForUser(stringFromHandle(user), stringFromHandle(content),
                                                         stringFromHandle(url), titleSlot, messageSlot);
                     });
}

signed char WFIsURLToRestrictForUser(WFStringRef user, WFURLRef url, WFDataRef data, WFStringRef* title,
                                     WFStringRef* message) {
  using namespace sifterra;
  return answerQuery(kIsURLToRestrictForUser, title, message, [&](String* titleSlot, String* messageSlot) {
    return isURLToRestrictForUser(platform::stringFromHandle(user), platform::urlFromHandle(url),
                                  platform::dataFromHandle(data), titleSlot, messageSlot);
  });
}

}  // extern "C"
