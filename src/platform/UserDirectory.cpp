// UserDirectory: the name service switch through the C library's reentrant calls, and the local account
// files.
#include "platform/UserDirectory.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/FileSystem.h"

namespace sifterra::platform {

namespace {

constexpr uid_t kRoot = 0;
constexpr uid_t kNobody = 65534;
constexpr std::size_t kMostRecordBytes = std::size_t{1} << 20;  // of one account, whatever the directory says
constexpr int kMostInterruptions = 100;
constexpr std::array<const char*, 3> kLocalRecords = {"/etc/userdb/", "/run/userdb/", "/usr/lib/userdb/"};

std::atomic<const UserDirectory*>& replacement() noexcept {
  static constinit std::atomic<const UserDirectory*> replacement{nullptr};
  return replacement;
}

// What the switch has under a key; the calls tell when their buffer is too small. An interrupted one is made
// again: a signal must not make a managed user look like nobody.
template <class Call, class Value>
auto accountBy(const Call& call, const Value& value) -> std::optional<decltype(value(passwd{}))> {
  int interruptions = 0;
  for (std::size_t size = 1024; size <= kMostRecordBytes;) {
    std::vector<char> buffer(size);
    passwd account{};
    passwd* found = nullptr;
    const int error = call(&account, buffer.data(), buffer.size(), &found);
    if (error == EINTR && ++interruptions < kMostInterruptions) continue;
    if (error == ERANGE) {
      size *= 4;
      continue;
    }
    if (error != 0 || !found) return std::nullopt;
    return value(account);
  }
  return std::nullopt;
}

std::optional<uid_t> resolvedByTheSwitch(const std::string& name) {
  return accountBy([&](passwd* account, char* buffer, std::size_t size,
                       passwd** found) { return ::getpwnam_r(name.c_str(), account, buffer, size, found); },
                   [](const passwd& account) { return account.pw_uid; });
}

bool isInPasswordFile(const std::string& name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(
      std::fopen(systemPath("/etc/passwd").c_str(), "re"), &std::fclose);
  if (!file) return false;
  bool found = false;
  while (!found) {
    const std::optional<bool> match = accountBy(
        [&](passwd* account, char* buffer, std::size_t size, passwd** entry) {
          const long line = std::ftell(file.get());
          const int error = ::fgetpwent_r(file.get(), account, buffer, size, entry);
          if (error == ERANGE) std::fseek(file.get(), line, SEEK_SET);
          return error;
        },
        [&](const passwd& account) { return name == account.pw_name; });
    if (!match) return false;
    found = *match;
  }
  return found;
}

bool isLocal(const std::string& name) {
  return isInPasswordFile(name) ||
         std::any_of(kLocalRecords.begin(), kLocalRecords.end(), [&](const char* directory) {
           return fileExists(systemPath(directory + name + ".user"));
         });
}

}  // namespace

const UserDirectory& UserDirectory::current() {
  static const auto& host =
      *new LinuxUserDirectory;  // never destroyed: threads may ask while the process exits
  const UserDirectory* directory = replacement().load(std::memory_order_acquire);
  return directory ? *directory : host;
}

void UserDirectory::setCurrentForTesting(const UserDirectory* directory) noexcept {
  replacement().store(directory, std::memory_order_release);
}

LinuxUserDirectory::LinuxUserDirectory() : resolve_(resolvedByTheSwitch) {}

LinuxUserDirectory::LinuxUserDirectory(Resolve resolve) : resolve_(std::move(resolve)) {}

String LinuxUserDirectory::currentUserName() const {
  const std::optional<std::string> name =
      accountBy([](passwd* account, char* buffer, std::size_t size,
                   passwd** found) { return ::getpwuid_r(::getuid(), account, buffer, size, found); },
                [](const passwd& account) { return std::string(account.pw_name); });
  return name ? String::fromUTF8(*name) : String();
}

std::optional<UserRecord> LinuxUserDirectory::recordOf(const String& userName) const {
  const std::string name = userName.toUTF8();
  if (!isFileName(name)) return std::nullopt;
  const std::optional<uid_t> number = resolve_(name);
  if (!number) return std::nullopt;
  UserRecord record;
  record.hasMobileHomeDirectory = fileExists(systemPath("/var/lib/systemd/home/" + name + ".identity"));
  record.isExternalAccount =
      !record.hasMobileHomeDirectory && *number != kRoot && *number != kNobody && !isLocal(name);
  return record;
}

}  // namespace sifterra::platform
