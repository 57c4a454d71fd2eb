// preference_file: from bytes to switches and lists.
#include "policy/preference_file.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/PropertyListTree.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "util/log.h"

namespace sifterra {
namespace {

using platform::PropertyListNode;
using platform::PropertyListTree;
using platform::String;

// As much as property lists may have (property_list_guard.h); longer files are not read at all.
constexpr std::size_t kLargestFile = std::size_t{64} * 1024 * 1024;

constexpr auto kOp = "-[WFWhitelistUserPreferences initWithPreferences:]";

// The addresses of a list, copied from the file's tree.
class Addresses {
 public:
  void push_back(std::string_view address) {
    texts_ += address;
    ends_.push_back(texts_.size());
  }
  void addTo(WFWhitelistSiteBuffer& list) const {
    std::vector<std::string_view> addresses;
    addresses.reserve(ends_.size());
    std::size_t start = 0;
    for (const std::size_t end : ends_) {
      addresses.push_back(std::string_view(texts_).substr(start, end - start));
      start = end;
    }
    list.addURLStrings(addresses);
  }

 private:
  std::string texts_;
  std::vector<std::size_t> ends_;
};

// What is no text names no site. Adding it anyway would make a site without domain, which covers every
// address without domain: an allow list would open what it does not name.
Addresses textsOf(PropertyListNode value, const char* key, const String& path) {
  Addresses addresses;
  if (!value) return addresses;
  if (!value.isArray()) {
    logError("%s -- %s is expected to be an array class in %{public}@", kOp, key, path);
    return addresses;
  }
  bool malformed = false;
  value.forEach([&](PropertyListNode element) {
    if (const auto address = element.text()) {
      addresses.push_back(*address);
    } else {
      malformed = true;
    }
  });
  if (malformed) logError("%s -- %s is malformed in %{public}@", kOp, key, path);
  return addresses;
}

Addresses addressesOf(PropertyListNode value, const String& path) {
  Addresses addresses;
  if (!value) return addresses;
  if (!value.isArray()) {
    logError("%s -- siteWhitelist is expected to be an array class in %{public}@", kOp, path);
    return addresses;
  }
  value.forEach([&](PropertyListNode element) {
    if (!element.isDictionary()) {
      logError("%s -- siteWhitelist is malformed in %{public}@", kOp, path);
    } else if (const auto address = element["address"].text()) {
      addresses.push_back(*address);
    }
  });
  return addresses;
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
  PropertyListTree tree;
  if (hasContents()) {
    tree = PropertyListTree::read(platform::Data(std::move(*contents_.bytes)));
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
  readLists(std::move(tree), *preferences);
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

// The tree goes before the sites come: its memory, ten times the file's, becomes theirs, instead of a hole
// below them that nobody can give back.
void PreferenceFile::readLists(PropertyListTree tree, WFWhitelistUserPreferences& preferences) const {
  const PropertyListNode root = tree.root();
  const Addresses allowed = textsOf(root["filterWhitelist"], "filterWhitelist", path_);
  const Addresses denied = textsOf(root["filterBlacklist"], "filterBlacklist", path_);
  const Addresses sites = addressesOf(root["siteWhitelist"], path_);
  tree = PropertyListTree();
  allowed.addTo(*preferences._filterWhitelist);
  denied.addTo(*preferences._filterBlacklist);
  sites.addTo(*preferences._webWhitelist);
}

}  // namespace sifterra
