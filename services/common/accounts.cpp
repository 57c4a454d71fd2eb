#include "accounts.h"

#include <grp.h>
#include <pwd.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace sifterra::services {
namespace {

// No account's entry is larger; a group may have thousands of members.
constexpr std::size_t kMostBytes = 4u << 20;

// Calls `ask(buffer, size)` with buffers that grow until the entry fits.
template <typename Ask>
int withBuffer(std::vector<char>& buffer, Ask ask) {
  buffer.resize(4096);
  int error = 0;
  while ((error = ask(buffer.data(), buffer.size())) == ERANGE && buffer.size() < kMostBytes) {
    buffer.resize(buffer.size() * 2);
  }
  return error;
}

std::optional<Account> told(int error, const passwd* found, std::string& problem) {
  problem.clear();
  if (error == 0 && found != nullptr) return Account{found->pw_name, found->pw_uid, found->pw_gid};
  // These two are how some name services say "no such account".
  if (error != 0 && error != ENOENT && error != ESRCH) problem = std::strerror(error);
  return std::nullopt;
}

}  // namespace

std::optional<Account> accountNamed(const std::string& name, std::string& problem) {
  std::vector<char> buffer;
  passwd entry{};
  passwd* found = nullptr;
  const int error = withBuffer(buffer, [&](char* bytes, std::size_t size) {
    return getpwnam_r(name.c_str(), &entry, bytes, size, &found);
  });
  return told(error, found, problem);
}

std::optional<Account> accountOf(std::uint32_t uid, std::string& problem) {
  std::vector<char> buffer;
  passwd entry{};
  passwd* found = nullptr;
  const int error = withBuffer(
      buffer, [&](char* bytes, std::size_t size) { return getpwuid_r(uid, &entry, bytes, size, &found); });
  return told(error, found, problem);
}

std::optional<std::uint32_t> groupNumber(const std::string& name) {
  std::vector<char> buffer;
  group entry{};
  group* found = nullptr;
  const int error = withBuffer(buffer, [&](char* bytes, std::size_t size) {
    return getgrnam_r(name.c_str(), &entry, bytes, size, &found);
  });
  if (error != 0 || found == nullptr) return std::nullopt;
  return found->gr_gid;
}

}  // namespace sifterra::services
