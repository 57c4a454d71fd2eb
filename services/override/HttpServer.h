// HttpServer: libmicrohttpd in front of the OverrideService.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "OverrideService.h"

struct MHD_Daemon;

namespace sifterra::override_service {

class Connections;

class HttpServer {
 public:
  // Serves the listening sockets, a thread for each connection, until the object goes. Takes the sockets
  // over.
  HttpServer(OverrideService& service, const std::vector<int>& listening);
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  [[nodiscard]] bool good() const noexcept { return _good; }

 private:
  std::unique_ptr<Connections> _connections;
  std::vector<MHD_Daemon*> _daemons;
  bool _good = true;
};

// A socket that listens at the address ("127.0.0.1" or "::1"); -1 with the reason. Port 0 takes a free one.
[[nodiscard]] int listenAt(const char* address, int port, std::string& problem);
// The port of a listening socket.
[[nodiscard]] int portOf(int listening);

}  // namespace sifterra::override_service
