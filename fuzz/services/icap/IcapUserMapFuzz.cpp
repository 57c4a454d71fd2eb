// IcapUserMapFuzz: a map gives names that are safe in a path, or says in which line the mistake is; what is
// looked up may be anything.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <variant>

#include "UserMap.h"
#include "user_name.h"

using namespace sifterra::icap;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const auto map = UserMap::parse(text, "m");
  if (const auto* problem = std::get_if<std::string>(&map)) {
    if (!problem->starts_with("m:")) std::abort();
    return 0;
  }
  for (const std::string_view address :
       {std::string_view("192.0.2.7"), std::string_view("2001:db8::1"), text}) {
    const std::string user = std::get<UserMap>(map).userOf(address);
    if (!user.empty() && shortName(user) != user) std::abort();
  }
  return 0;
}
