// preference_state: WFGetPreferenceStateForUser.
#include "platform/CHandles.h"
#include "platform/ReleaseScope.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "sifterra/sifterra.h"
#include "util/guarded.h"

namespace sifterra {
namespace {

constexpr auto kOp = "WFGetPreferenceStateForUser";

WFPreferenceState stateOf(const WFWhitelistUserPreferences* preferences) {
  if (!preferences) return WFPreferenceStateBroken;
  switch (preferences->fileState()) {
    case WFWhitelistUserPreferences::FileState::Absent:
      return WFPreferenceStateAbsent;
    case WFWhitelistUserPreferences::FileState::Read:
      return WFPreferenceStateRead;
    default:
      return WFPreferenceStateBroken;
  }
}

}  // namespace
}  // namespace sifterra

extern "C" WFPreferenceState WFGetPreferenceStateForUser(WFStringRef user, WFStringRef* reason) {
  using namespace sifterra;
  using platform::String;
  if (reason) *reason = nullptr;
  return guarded(kOp, WFPreferenceStateBroken, [&] {
    const platform::ReleaseScope::Call call;
    const auto preferences =
        WFWhitelistUserPreferences::defaultWhitelistForUser(platform::stringFromHandle(user));
    if (reason) {
      *reason = platform::borrowedHandle(preferences ? preferences->fileProblem()
                                                     : String(u"the user name makes no path"));
    }
    return stateOf(preferences.get());
  });
}
