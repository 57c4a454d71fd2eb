// Preference files: whatever the bytes, switches and lists are those of the dictionary that they spell, and
// the built-in ones alone when they spell none.
#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/Log.h"
#include "platform/NameLookup.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"
#include "util/string_helpers.h"

namespace {

using namespace sifterra;
using platform::PropertyList;
using platform::String;
using State = WFWhitelistUserPreferences::FileState;

void check(bool holds) {
  if (!holds) std::abort();
}

// A file in memory.
class File {
 public:
  File(const std::uint8_t* data, std::size_t size) : number_(::memfd_create("preferences", MFD_CLOEXEC)) {
    check(number_ >= 0 && ::write(number_, data, size) == static_cast<ssize_t>(size));
  }
  ~File() { ::close(number_); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  [[nodiscard]] String path() const { return String::fromUTF8("/proc/self/fd/" + std::to_string(number_)); }

 private:
  int number_;
};

void checkSites(const WFWhitelistSiteBuffer::Sites& sites, const WFWhitelistSiteBuffer::Sites& others) {
  check(sites.size() == others.size());
  for (std::size_t i = 0; i < sites.size(); ++i) {
    check(sites[i]->urlString() == others[i]->urlString());
    check(sites[i]->domainName() == others[i]->domainName() && sites[i]->hash() == others[i]->hash());
  }
}

// The addresses that a list names, behind the built-in ones, as if they were added one by one.
void checkList(const WFWhitelistSiteBuffer& list, WFWhitelistSiteBuffer& builtIn,
               const std::vector<String>& addresses) {
  const auto sites = list.siteBuffer();
  const std::size_t first = builtIn.count();
  check(sites.size() == first + addresses.size());
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    check(sites[first + i]->urlString() == stringByProperlyFixingPercentEscapes(addresses[i]));
    check(list.containsURLString(addresses[i]));
    builtIn.addURLString(addresses[i]);
  }
  checkSites(sites, builtIn.siteBuffer());
  checkSites(list.siteSet(), builtIn.siteSet());
}

std::vector<String> textsOf(const PropertyList& list) {
  std::vector<String> texts;
  for (const PropertyList& element : list.array()) {
    if (const String text = element.string()) texts.push_back(text);
  }
  return texts;
}

std::vector<String> addressesOf(const PropertyList& list) {
  std::vector<String> addresses;
  for (const PropertyList& element : list.array()) {
    if (const String address = element[u"address"].string()) addresses.push_back(address);
  }
  return addresses;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  platform::NameLookup::shared().setEnabled(false);
  platform::Logger::setLevel(platform::LogLevel::Off);
  const File file(data, size);
  const auto preferences = WFWhitelistUserPreferences::initWithPreferences(file.path());
  const PropertyList::Reading reading = PropertyList::readFile(file.path().toUTF8());
  const bool read = reading.ok() && reading.value.isDictionary();
  check(preferences->fileState() == (read ? State::Read : State::Broken));
  check(preferences->fileProblem().isNull() == read);
  check(preferences->username().isNull());

  const PropertyList none;
  const PropertyList& keys = read ? reading.value : none;
  check(preferences->filterEnabled() == keys[u"useContentFilter"].truth());
  check(preferences->whitelistEnabled() == keys[u"whitelistEnabled"].truth());
  check(preferences->alwaysAllowHTTPS() ==
        (read && (keys[u"alwaysAllowHTTPS"].truth() || !keys[u"restrictWeb"].truth())));
  const WFWhitelistUserPreferences builtIn;
  checkList(preferences->filterWhitelist(), builtIn.filterWhitelist(), textsOf(keys[u"filterWhitelist"]));
  checkList(preferences->filterBlacklist(), builtIn.filterBlacklist(), textsOf(keys[u"filterBlacklist"]));
  checkList(preferences->webWhitelist(), builtIn.webWhitelist(), addressesOf(keys[u"siteWhitelist"]));
  return 0;
}
