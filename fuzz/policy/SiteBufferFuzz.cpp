// Site buffers: after any additions, evictions and changes of capacity the library's buffer and one that is
// walked hold the same sites in the list and in the set, and give the same answers.
//
// Each input is a program of two-byte steps: what to do, and to which of 4096 addresses, which are put
// together from few hosts, paths and queries so that many cover each other. What follows a byte 255 is taken
// as an address as it stands.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "platform/Log.h"
#include "platform/NameLookup.h"
#include "reference/plain_sites.h"
#include "sifterra/policy/WFWhitelistSiteBuffer.h"

namespace {

using namespace sifterra;
using platform::String;

constexpr std::string_view kHosts[] = {"//example.com",
                                       "//www.example.com",
                                       "//kids.example.com",
                                       "//xkids.Example.com",
                                       "//a.kids.example.com",
                                       "//WWW.a.b.de",
                                       "//a.b.de",
                                       "//b.de",
                                       "//127.0.0.1",
                                       "",
                                       "//",
                                       "//intranet",
                                       "//com",
                                       "//www.",
                                       "//example.com.",
                                       "//%ff"};
constexpr std::string_view kPaths[] = {"", "/", "/a", "/A/b", "/a/b/c/", "/ab", "/a%2F", "/c//"};
constexpr std::string_view kQueries[] = {"", "?", "?q", "?q=1", "?Q=1&r=2", "?r", "?q=2", "#f"};
constexpr std::string_view kSchemes[] = {"http:", "https:", "", "x y:"};

String address(unsigned choice) {
  std::string text(kSchemes[choice >> 10 & 3]);
  text.append(kHosts[choice & 15]).append(kPaths[choice >> 4 & 7]).append(kQueries[choice >> 7 & 7]);
  return String::fromUTF8(text);
}

void check(bool holds) {
  if (!holds) std::abort();
}

void compare(const WFWhitelistSiteBuffer& buffer, const reference::PlainSiteBuffer& plain) {
  const auto list = buffer.siteBuffer();
  const auto set = buffer.siteSet();
  check(list.size() == plain.list.size() && buffer.count() == list.size() && set.size() == plain.set.size());
  for (std::size_t i = 0; i < list.size(); ++i) check(list[i]->urlString() == plain.list[i]->urlString);
  for (std::size_t i = 0; i < set.size(); ++i) check(set[i]->urlString() == plain.set[i]->urlString);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  platform::NameLookup::shared().setEnabled(false);
  platform::Logger::setLevel(platform::LogLevel::Off);
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  WFWhitelistSiteBuffer buffer;
  reference::PlainSiteBuffer plain;
  for (std::size_t at = 0; at + 1 < input.size(); at += 2) {
    const auto step = static_cast<unsigned char>(input[at]);
    const auto value = static_cast<unsigned char>(input[at + 1]);
    String text = address((step & 15U) << 8 | value);
    if (step == 255) {
      text = String::fromUTF8Lossy(input.substr(at + 1));
      at = input.size();
    }
    switch (step >> 4) {
      case 0:
        buffer.setMaxSize(value & 31U);
        plain.setCapacity(value & 31U);
        break;
      case 1:
        buffer.trimToSize(value & 31U);
        plain.trim(value & 31U);
        break;
      case 2:
        buffer.setSiteSet(buffer.siteSet());
        buffer.setSiteBuffer(buffer.siteBuffer());
        break;
      case 3:
      case 4:
      case 5:
        check(buffer.containsURLString(text) == plain.contains(text));
        break;
      case 6:
      case 7:
        check(buffer.containsMetasitePrefixOfURLString(text) == plain.containsPrefix(text));
        break;
      default:
        buffer.addURLString(text);
        plain.add(text);
    }
  }
  compare(buffer, plain);
  return 0;
}
