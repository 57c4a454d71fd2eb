#include "blockpage/web_filter_activity.h"

#include <atomic>

#include "kernelcontrol/https_filtering.h"
#include "platform/UserDirectory.h"
#include "sifterra/policy/SFTUserSettings.h"
#include "util/log.h"

namespace sifterra {

namespace {

constinit std::atomic<bool> webFilterActivated{false};  // never waited for: see activateWebFilter

}  // namespace

int WebFilterIsActive() {
  return WebFilterIsActive(platform::UserDirectory::current().currentUserName());
}

int WebFilterIsActive(const platform::String& user) {
  constexpr auto kOp = "_WebFilterIsActive";
  const bool active = user && SFTUserSettings(user).websiteRestrictionType() > kSFTRestrictionNone;
  logDebug("%s -- _WebFilterIsActive returning: %s", kOp, active ? "YES" : "NO");
  return active ? 1 : 0;
}

void activateWebFilter() {
  if (webFilterActivated.load(std::memory_order_relaxed)) return;
  // Whether the filter listens or is there at all makes no difference to the pages judged here.
  static_cast<void>(turnOnHTTPSFiltering());
  webFilterActivated.store(true, std::memory_order_relaxed);
}

void forgetWebFilterActivation() noexcept {
  webFilterActivated.store(false, std::memory_order_relaxed);
}

}  // namespace sifterra
