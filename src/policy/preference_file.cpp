// preference_file: from bytes to switches and lists.
#include "policy/preference_file.h"

#include <functional>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/PropertyListTree.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::PropertyListNode;
using platform::String;

// As much as property lists may have (property_list_guard.h); longer files are not read at all.
constexpr std::size_t kLargestFile = std::size_t{64} * 1024 * 1024;

constexpr auto kOp = "-[WFWhitelistUserPreferences initWithPreferences:]";

// What is no text names no site. Adding it anyway would make a site without domain, which covers every
// address without domain: an allow list would open what it does not name.
void addTexts(PropertyListNode value, const char* key, const String& path, WFWhitelistSiteBuffer& list) {
  if (!value) return;
  if (!value.isArray()) {
    logError("%s -- %s is expected to be an array class in %{public}@", kOp, key, path);
    return;
  }
  bool malformed = false;
  std::vector<std::string_view> addresses;
  value.forEach([&](PropertyListNode element) {
    if (const auto address = element.text()) {
      addresses.push_back(*address);
    } else {
      malformed = true;
    }
  });
  list.addURLStrings(addresses);
  if (malformed) logError("%s -- %s is malformed in %{public}@", kOp, key, path);
}

void addAddresses(PropertyListNode value, const String& path, WFWhitelistSiteBuffer& list) {
  if (!value) return;
  if (!value.isArray()) {
    logError("%s -- siteWhitelist is expected to be an array class in %{public}@", kOp, path);
    return;
  }
  std::vector<std::string_view> addresses;
  value.forEach([&](PropertyListNode element) {
    if (!element.isDictionary()) {
      logError("%s -- siteWhitelist is malformed in %{public}@", kOp, path);
    } else if (const auto address = element["address"].text()) {
      addresses.push_back(*address);
    }
  });
  list.addURLStrings(addresses);
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
  platform::PropertyListTree tree;
  if (hasContents()) {
    tree = platform::PropertyListTree::read(platform::Data(std::move(*contents_.bytes)));
    const char* problem = tree.problem();
    if (!problem && !tree.root().isDictionary()) problem = "it is no dictionary";
    if (problem) preferences->_fileProblem = String::fromUTF8(problem);
  }
  if (preferences->_fileProblem) preferences->_fileState = WFWhitelistUserPreferences::FileState::Broken;
  if (preferences->_fileState != WFWhitelistUserPreferences::FileState::Read) {
    logError(
        "%s -- Failed to read preferences at path %{public}@ error: %{public}@", kOp, path_,
        preferences->_fileProblem ? preferences->_fileProblem : String::fromUTF8Lossy(contents_.problem));
    return preferences;
  }
  readSwitches(tree.root(), *preferences);
  readLists(tree.root(), *preferences);
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

void PreferenceFile::readSwitches(PropertyListNode root, WFWhitelistUserPreferences& preferences) {
  const auto isOn = [root](const char* key) { return root[key].value().truth(); };
  preferences._filterEnabled = isOn("useContentFilter");
  preferences._whitelistEnabled = isOn("whitelistEnabled");
  preferences._alwaysAllowHTTPS = isOn("alwaysAllowHTTPS");
  // Without restrictions on the web https is never judged, whatever the key before says. Kept: the other two
  // switches stay as they are.
  if (!isOn("restrictWeb")) preferences._alwaysAllowHTTPS = true;
}

void PreferenceFile::readLists(PropertyListNode root, WFWhitelistUserPreferences& preferences) const {
  addTexts(root["filterWhitelist"], "filterWhitelist", path_, *preferences._filterWhitelist);
  addTexts(root["filterBlacklist"], "filterBlacklist", path_, *preferences._filterBlacklist);
  addAddresses(root["siteWhitelist"], path_, *preferences._webWhitelist);
}

}  // namespace sifterra
