#include "current_user.h"

#include <pwd.h>
#include <unistd.h>

#include <array>

namespace sifterra::tools {

std::string currentUserName() {
  passwd record{};
  passwd* found = nullptr;
  std::array<char, 16384> buffer{};
  if (::getpwuid_r(::getuid(), &record, buffer.data(), buffer.size(), &found) != 0 || !found) return {};
  return found->pw_name;
}

}  // namespace sifterra::tools
