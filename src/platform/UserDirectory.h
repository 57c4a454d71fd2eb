// UserDirectory: who runs this process, and what kind of account a user has.
//
//   const UserDirectory& directory = UserDirectory::current();
//   const String user = directory.currentUserName();
//   const std::optional<UserRecord> record = directory.recordOf(user);
//
// On Linux (LinuxUserDirectory) users are those of the name service switch. An account is external when it
// comes from a network directory, and its home is mobile when systemd-homed carries it. Told by:
//   - local: named in "/etc/passwd", or by a record "NAME.user" in /etc/userdb, /run/userdb or
//   /usr/lib/userdb;
//   - mobile home: there is "/var/lib/systemd/home/NAME.identity"; such an account is local, too;
//   - external: everything else that the switch resolves, but for root and nobody, which it may make up.
// The files are looked up below the root prefix of FileSystem.h; the switch is always the machine's own, and
// asking it may take as long as the directory behind it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "sifterra/platform/String.h"

namespace sifterra::platform {

struct UserRecord {
  bool hasMobileHomeDirectory = false;
  bool isExternalAccount = false;
  friend bool operator==(const UserRecord&, const UserRecord&) = default;
};

class UserDirectory {
 public:
  UserDirectory() = default;
  UserDirectory(const UserDirectory&) = delete;
  UserDirectory& operator=(const UserDirectory&) = delete;
  virtual ~UserDirectory() = default;

  // The short name of the user whose process this is (the real user, not the effective one); null when no
  // account has that number.
  [[nodiscard]] virtual String currentUserName() const = 0;
  // Nothing when there is no such user.
  [[nodiscard]] virtual std::optional<UserRecord> recordOf(const String& userName) const = 0;

  // The directory of the process. Thread safe.
  [[nodiscard]] static const UserDirectory& current();
  // For tests: replaces it; null restores the host's own. The given directory must outlive its use.
  static void setCurrentForTesting(const UserDirectory* directory) noexcept;
};

class LinuxUserDirectory final : public UserDirectory {
 public:
  // The number of the account that the switch knows by a name.
  using Resolve = std::function<std::optional<uid_t>(const std::string& name)>;

  LinuxUserDirectory();
  explicit LinuxUserDirectory(Resolve resolve);  // tests replace the switch

  [[nodiscard]] String currentUserName() const override;
  [[nodiscard]] std::optional<UserRecord> recordOf(const String& userName) const override;

 private:
  Resolve resolve_;
};

}  // namespace sifterra::platform
