// ScriptedService: the other end of the control socket, a process that answers from a script.
//
//   ScriptedService service(root, {accepts(), refuses(EPERM)});
//   ... calls ...
//   EXPECT_THAT(service.trace(), ElementsAre("1 peer", "1 < 57465131...", "1 > 57464131...", "1 closed"));
//
// It knows nothing of the library's message code: packets are put together byte by byte.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra {

// The packets that answer a request; nothing closes the connection.
using ScriptedAnswer = std::function<std::optional<std::vector<std::string>>(const std::string& request)>;

// A reply to the request: its operation and sequence, then status, length and payload.
std::string replyTo(const std::string& request, std::uint32_t status, const std::string& payload = {});
ScriptedAnswer accepts(const std::string& payload = {});
ScriptedAnswer refuses(std::uint32_t status);
ScriptedAnswer staysSilent();
ScriptedAnswer hangsUp();
ScriptedAnswer sends(const std::vector<std::string>& packets);

class ScriptedService {
 public:
  // Listens at the control's path below the root. Request n gets answer n, later ones the last.
  ScriptedService(const std::string& root, std::vector<ScriptedAnswer> script);
  ~ScriptedService();
  ScriptedService(const ScriptedService&) = delete;
  ScriptedService& operator=(const ScriptedService&) = delete;

  // Ends the process. What it saw, a line each, with connections counted from 1:
  //   "1 peer"        accepted, from this very process (else "1 stranger")
  //   "1 < hex"       a request
  //   "1 > hex"       a packet sent
  //   "1 closed"      by the program
  [[nodiscard]] std::vector<std::string> trace();

  [[nodiscard]] static std::string pathBelow(const std::string& root);

 private:
  std::string path_;
  pid_t process_ = -1;
  int pipe_ = -1;
};

}  // namespace sifterra
