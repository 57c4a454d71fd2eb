// Addresses added many at once make the list and the set that they make one by one.
//
// The first byte is the capacity, the lines behind it are addresses. They are added again and again, each
// among seven simple ones, which take little time, until there are enough for two blocks.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Log.h"
#include "platform/NameLookup.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace {

using namespace sifterra;
using platform::String;

constexpr std::size_t kAddresses = 1000;  // a block takes some 500 usual ones

void check(bool holds) {
  if (!holds) std::abort();
}

std::vector<std::string> addressesOf(std::string_view input) {
  std::vector<std::string> addresses;
  std::string_view left = input;
  while (addresses.size() < kAddresses) {
    const std::string number = std::to_string(addresses.size());
    if (addresses.size() % 8 != 0) {
      addresses.push_back("http://host" + number.substr(1) + ".example.com/" + number);
      continue;
    }
    const std::size_t line = left.find('\n');
    addresses.emplace_back(left.substr(0, line));
    left = line == std::string_view::npos ? input : left.substr(line + 1);
  }
  return addresses;
}

void checkSame(const WFWhitelistSiteBuffer::Sites& many, const WFWhitelistSiteBuffer::Sites& one) {
  check(many.size() == one.size());
  for (std::size_t i = 0; i < one.size(); ++i) check(many[i]->urlString() == one[i]->urlString());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  platform::NameLookup::shared().setEnabled(false);
  platform::Logger::setLevel(platform::LogLevel::Off);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::vector<std::string> addresses = addressesOf(input.substr(1));
  WFWhitelistSiteBuffer one;
  WFWhitelistSiteBuffer many;
  one.setMaxSize(std::uint64_t{data[0]} * 4);
  many.setMaxSize(std::uint64_t{data[0]} * 4);
  for (const std::string& address : addresses) one.addURLString(String::fromUTF8Lossy(address));
  many.addURLStrings(std::vector<std::string_view>(addresses.begin(), addresses.end()));
  checkSame(many.siteBuffer(), one.siteBuffer());
  checkSame(many.siteSet(), one.siteSet());
  for (std::size_t i = 0; i < 50; ++i) {
    const String asked = String::fromUTF8Lossy(addresses[i]);
    check(many.containsURLString(asked) == one.containsURLString(asked));
    check(many.containsMetasitePrefixOfURLString(asked) == one.containsMetasitePrefixOfURLString(asked));
  }
  return 0;
}
