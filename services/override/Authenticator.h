// Authenticator: whether a name and a password are those of somebody who may decide.
#pragma once

#include <string>
#include <vector>

namespace sifterra::override_service {

class Authenticator {
 public:
  virtual ~Authenticator() = default;
  // False for anything but a sure yes. May take seconds; called from several threads at once.
  [[nodiscard]] virtual bool admits(const std::string& name, const std::string& password) = 0;
};

// Asks a process of its own, the command, which talks to PAM: modules of any origin run there, can crash
// there, and are ended when they take longer than 30 s. Name and password go through a pipe, never into an
// argument list.
class ProcessAuthenticator final : public Authenticator {
 public:
  // The path of a program, and what it is called with.
  explicit ProcessAuthenticator(std::vector<std::string> command) : _command(std::move(command)) {}
  [[nodiscard]] bool admits(const std::string& name, const std::string& password) override;

 private:
  std::vector<std::string> _command;
};

// What the process does: reads "name\0password\0" from standard input, asks the PAM service, and ends with 0
// only when the account is good, not expired, and a member of one of the groups.
int authenticateFromInput(const std::string& pamService, const std::vector<std::string>& groups);

}  // namespace sifterra::override_service
