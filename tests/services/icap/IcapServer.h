// IcapServer: a c-icap of the test's own, on a free port of this machine, with the service in it.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "services/icap/fixture.h"

namespace sifterra::icap {

class IcapServer {
 public:
  // settings: lines for the configuration file. The service's root is the directory given. Waits until the
  // server answers or has ended.
  IcapServer(const TemporaryDirectory& directory, const std::string& settings = {});
  ~IcapServer();
  IcapServer(const IcapServer&) = delete;
  IcapServer& operator=(const IcapServer&) = delete;

  [[nodiscard]] int port() const noexcept { return port_; }
  [[nodiscard]] bool isRunning() const noexcept { return pid_ > 0; }
  // Of a server that has ended.
  [[nodiscard]] int exitStatus() const noexcept { return exitStatus_; }
  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  // What it wrote so far: to its outputs, to its log, to its access log.
  [[nodiscard]] std::string output() const;
  [[nodiscard]] std::string accessLog() const;
  // Waits until the server's log or outputs hold the text; false after half a minute without.
  [[nodiscard]] bool waitForOutput(const std::string& text) const;
  // The same for the access log, which gets its line after the answer is sent.
  [[nodiscard]] bool waitForAccessLog(const std::string& text) const;
  // Other settings, as an administrator gives them to a server that runs. Returns once it has read them; its
  // new process may take another moment.
  void reconfigure(const std::string& settings);
  // Whether that comes true within half a minute.
  [[nodiscard]] static bool waitUntil(const std::function<bool()>& condition);
  void stop();

 private:
  bool start();
  void writeConfiguration() const;
  [[nodiscard]] bool ended();

  std::string directory_;
  std::string settings_;
  std::string root_;
  int port_ = 0;
  pid_t pid_ = -1;
  int exitStatus_ = -1;
};

}  // namespace sifterra::icap
