// Authenticator: whether a name and a password are those of somebody who may decide.
#pragma once

#include <string>

namespace sifterra::override_service {

class Authenticator {
 public:
  virtual ~Authenticator() = default;
  // False for anything but a sure yes. May take seconds; called from several threads at once.
  [[nodiscard]] virtual bool admits(const std::string& name, const std::string& password) = 0;
};

// Asks a process of its own, `PROGRAM --authenticate`, which talks to PAM: modules of any origin run there,
// can crash there, and are ended when they take longer than 30 s. Name and password go through a pipe, never
// into an argument list.
class ProcessAuthenticator final : public Authenticator {
 public:
  explicit ProcessAuthenticator(std::string program) : _program(std::move(program)) {}
  [[nodiscard]] bool admits(const std::string& name, const std::string& password) override;

 private:
  std::string _program;
};

// What the process does: reads "name\0password\0" from standard input, asks the PAM service, and ends with 0
// only when the account is good, not expired, and that of an administrator: root, or a member of one of the
// groups sifterra, sudo.
int authenticateFromInput(const std::string& pamService);

}  // namespace sifterra::override_service
