// WebFilterEvaluator: the states, the buffer, and the block page for a user's settings.
#include "sifterra/blockpage/WebFilterEvaluator.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "blockpage/web_filter_activity.h"
#include "judge/user_query.h"
#include "platform/UserDirectory.h"
#include "sifterra/blockpage/WFBlockPage.h"
#include "sifterra/policy/SFTUserSettings.h"
#include "util/base64_helpers.h"
#include "util/log.h"

namespace sifterra {

namespace {

using platform::Data;
using platform::PropertyList;
using platform::String;
using platform::URL;

constexpr char kErrorPage[] =
    "<html> <head><title>Error composing block page</title></head> <body>Error composing block page</body> "
    "</html>";

constexpr std::size_t kLoggedSites = 100;  // lists may hold a hundred thousand

bool isNetworkAccount(const String& user) {
  const std::optional<platform::UserRecord> record = platform::UserDirectory::current().recordOf(user);
  return record && (record->hasMobileHomeDirectory || record->isExternalAccount);
}

String overrideAddress() {
  return String::fromUTF8("http://127.0.0.1:" + std::to_string(WebFilterEvaluator::kOverridePort) +
                          "/webcontentfilter.override.local");
}

// The addresses of a list of sites, for the log.
String addressesOf(const PropertyList& sites) {
  std::u16string text = u"(";
  std::size_t count = 0;
  for (const PropertyList& site : sites.array()) {
    if (count > 0) text += u", ";
    if (count++ == kLoggedSites) {
      text += u"...";
      break;
    }
    text += site[u"address"].string().view();
  }
  return String(text + u")");
}

WFBlockPage blockPageFor(const char* op, const String& user, bool overridesAllowed, bool isWhitelistBlock,
                         const URL& url) {
  const auto address = [&] { return url.absoluteString(); };
  if (overridesAllowed) {
    WFBlockPage page(user, isWhitelistBlock, isNetworkAccount(user));
    logInfo("%s -- Creating overrides allowed blockPage for %{public}@", op, address);
    return page;
  }
  WFBlockPage page = WFBlockPage::initNoOveridePageWithUsername(user);
  logInfo("%s -- Creating no override blockPage for %{public}@", op, address);
  return page;
}

}  // namespace

// ---- Buffer

void WebFilterEvaluator::Buffer::append(const Data& data) {
  if (shared_) {
    growing_ = shared_.chars();
    shared_ = nullptr;
  }
  const std::size_t length = growing_.size() + data.length();
  if (length > growing_.capacity()) {
    // Doubling up to the sample saves copies; beyond it nothing is wanted but what there is.
    growing_.reserve(std::max(length, std::min(growing_.capacity() * 2, kSampleBytes)));
  }
  growing_ += data.chars();
}

void WebFilterEvaluator::Buffer::clear() noexcept {
  growing_ = std::string();
  shared_ = nullptr;
}

Data WebFilterEvaluator::Buffer::data() {
  if (!shared_) shared_ = Data(std::exchange(growing_, {}));
  return shared_;
}

// ---- WebFilterEvaluator

bool WebFilterEvaluator::isManagedSession() {
  return WebFilterIsActive() != 0;
}

std::shared_ptr<WebFilterEvaluator> WebFilterEvaluator::createWithResponse(
    const WebFilterResponse& response) {
  if (WebFilterIsActive() == 0) return nullptr;
  activateWebFilter();
  return std::make_shared<WebFilterEvaluator>(response);
}

std::shared_ptr<WebFilterEvaluator> WebFilterEvaluator::createWithResponse(const WebFilterResponse& response,
                                                                           const String& forUser) {
  if (WebFilterIsActive(forUser) == 0) return nullptr;
  return std::make_shared<WebFilterEvaluator>(response, forUser);
}

WebFilterEvaluator::WebFilterEvaluator(const WebFilterResponse& response) : _url(response.URL) {}

WebFilterEvaluator::WebFilterEvaluator(const WebFilterResponse& response, const String& forUser)
    : _url(response.URL), _user(forUser) {}

String WebFilterEvaluator::userName() const {
  return _user ? _user : platform::UserDirectory::current().currentUserName();
}

// Kept: the state on entry is not looked at. After a verdict to allow the buffer is still there, and more
// data is judged and handed back with all of it; after a refusal it is empty, and completing it allows.
Data WebFilterEvaluator::addData(const Data& data) {
  constexpr auto kOp = "-[WebFilterEvaluator addData:]";
  if (data) {
    _buffer.append(data);
    if (_buffer.length() < kSampleBytes) return Data(std::string());
  }
  if (_buffer.length() == 0) {
    _filterState = WebFilterStateAllowed;
    return _buffer.data();
  }
  _filterState = WebFilterStateEvaluating;
  String title;
  String message;
  const bool refused =
      isURLToRestrictForUser(userName(), _url, _buffer.data().slice(0, kSampleBytes), &title, &message) != 0;
  if (refused) {
    logInfo(
        "%s -- '%{public}@' <%{public}@> is restricted: %{public}@", kOp, title,
        [&] { return _url.absoluteString(); }, message);
    _filterState = WebFilterStateBlocked;
    _buffer.clear();
    return blockPageForPageWithTitle(title, _url);
  }
  logInfo("%s -- %{public}@ is not blocked", kOp, title);
  _filterState = WebFilterStateAllowed;
  return _buffer.data();
}

Data WebFilterEvaluator::blockPageForPageWithTitle(const String& title, const URL& origURL) const {
  constexpr auto kOp = "-[WebFilterEvaluator blockPageForPageWithTitle:origURL:]";
  const String user = userName();
  if (!user) {
    logInfo("%s -- Returning NULL! Is this an error??", kOp);
    return nullptr;
  }
  SFTUserSettings settings(user);
  logInfo("%s -- Got settings for %@", kOp, user);
  const bool isWhitelistBlock = settings.websiteRestrictionType() == kSFTRestrictionAllowListOnly;
  WFBlockPage blockPage = blockPageFor(kOp, user, settings.overridesAllowed(), isWhitelistBlock, origURL);
  const PropertyList sites = isWhitelistBlock ? settings.whiteListAllowedSites() : PropertyList();
  if (sites) {
    blockPage.setAllowedWebSites(sites);
    logInfo("%s -- Added whitelist sites: %{public}@", kOp, [&] { return addressesOf(sites); });
  }
  blockPage.setFormPostToURLString(overrideAddress());
  if (title) blockPage.setFormRestrictedPageTitle(base64FromString(title));
  const String address = origURL.absoluteString();
  blockPage.setUserVisibleURLString(address);
  blockPage.setFormRestrictedPageURLString(base64FromString(address));
  const String page = blockPage.page();
  return Data(page ? page.toUTF8() : std::string(kErrorPage));
}

}  // namespace sifterra
