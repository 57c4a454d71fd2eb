// preference_file: from bytes to switches and lists.
#include "policy/preference_file.h"

#include <functional>
#include <string_view>
#include <utility>

#include "sifterra/platform/PropertyList.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::PropertyList;
using platform::String;

// As much as property lists may have (property_list_guard.h); longer files are not read at all.
constexpr std::size_t kLargestFile = std::size_t{64} * 1024 * 1024;

constexpr auto kOp = "-[WFWhitelistUserPreferences initWithPreferences:]";

// What is no text names no site. Adding it anyway would make a site without domain, which covers every
// address without domain: an allow list would open what it does not name.
void addTexts(const PropertyList& value, const char* key, const String& path, WFWhitelistSiteBuffer& list) {
  if (!value) return;
  if (!value.isArray()) {
    logError("%s -- %s is expected to be an array class in %{public}@", kOp, key, path);
    return;
  }
  bool malformed = false;
  for (const PropertyList& element : value.array()) {
    if (const String address = element.string()) {
      list.addURLString(address);
    } else {
      malformed = true;
    }
  }
  if (malformed) logError("%s -- %s is malformed in %{public}@", kOp, key, path);
}

void addAddresses(const PropertyList& value, const String& path, WFWhitelistSiteBuffer& list) {
  if (!value) return;
  if (!value.isArray()) {
    logError("%s -- siteWhitelist is expected to be an array class in %{public}@", kOp, path);
    return;
  }
  for (const PropertyList& element : value.array()) {
    if (!element.isDictionary()) {
      logError("%s -- siteWhitelist is malformed in %{public}@", kOp, path);
      continue;
    }
    if (const String address = element[u"address"].string()) list.addURLString(address);
  }
}

}  // namespace

PreferenceFile::PreferenceFile(const String& path)
    : path_(path), contents_(platform::readWholeFile(path.toUTF8(), kLargestFile)) {}

std::size_t PreferenceFile::digest() const {
  const std::size_t seed = contents_.bytes ? 0 : ~std::size_t{0};
  return seed ^ std::hash<std::string_view>()(contents_.bytes ? *contents_.bytes : contents_.problem);
}

std::shared_ptr<WFWhitelistUserPreferences> PreferenceFile::preferences() && {
  auto preferences = std::make_shared<WFWhitelistUserPreferences>();
  noteState(*preferences);
  PropertyList::Reading reading;
  if (hasContents()) {
    reading = PropertyList::read(platform::Data(std::move(*contents_.bytes)));
    if (reading.ok() && !reading.value.isDictionary()) reading.problem = String(u"it is no dictionary");
    preferences->_fileProblem = reading.problem;
  }
  if (preferences->_fileProblem) preferences->_fileState = WFWhitelistUserPreferences::FileState::Broken;
  if (preferences->_fileState != WFWhitelistUserPreferences::FileState::Read) {
    logError(
        "%s -- Failed to read preferences at path %{public}@ error: %{public}@", kOp, path_,
        preferences->_fileProblem ? preferences->_fileProblem : String::fromUTF8Lossy(contents_.problem));
    return preferences;
  }
  preferences->readSwitches(reading.value);
  preferences->readLists(reading.value, path_);
  return preferences;
}

void PreferenceFile::noteState(WFWhitelistUserPreferences& preferences) const {
  using State = WFWhitelistUserPreferences::FileState;
  if (hasContents()) {
    preferences._fileState = State::Read;
  } else if (contents_.missing) {
    preferences._fileState = State::Absent;
  } else {
    preferences._fileState = State::Broken;
    preferences._fileProblem = String::fromUTF8Lossy(contents_.problem);
  }
}

void WFWhitelistUserPreferences::readSwitches(const PropertyList& preferences) {
  _filterEnabled = preferences[u"useContentFilter"].truth();
  _whitelistEnabled = preferences[u"whitelistEnabled"].truth();
  _alwaysAllowHTTPS = preferences[u"alwaysAllowHTTPS"].truth();
  // Without restrictions on the web https is never judged, whatever the key before says. Kept: the other two
  // switches stay as they are.
  if (!preferences[u"restrictWeb"].truth()) _alwaysAllowHTTPS = true;
}

void WFWhitelistUserPreferences::readLists(const PropertyList& preferences, const String& path) {
  addTexts(preferences[u"filterWhitelist"], "filterWhitelist", path, *_filterWhitelist);
  addTexts(preferences[u"filterBlacklist"], "filterBlacklist", path, *_filterBlacklist);
  addAddresses(preferences[u"siteWhitelist"], path, *_webWhitelist);
}

}  // namespace sifterra
