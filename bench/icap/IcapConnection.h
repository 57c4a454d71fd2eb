// IcapConnection: one persistent connection to an ICAP server.
//
// Writes and reads by turns as the socket allows, so that a server that answers while it is still being told
// the body cannot make both wait for each other.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "icap/PageMessages.h"

namespace sifterra::bench {

struct Answer {
  int status = 0;             // ICAP's; 0 when the connection broke
  int httpStatus = 0;         // of the response inside a 200 or 206
  std::size_t bodyBytes = 0;  // that came back
  bool wentOn = false;        // the server asked for what followed the preview
};

class IcapConnection {
 public:
  IcapConnection(std::string host, int port);
  ~IcapConnection();
  IcapConnection(const IcapConnection&) = delete;
  IcapConnection& operator=(const IcapConnection&) = delete;

  // Asks about one page and reads the whole answer. Connects when there is no connection, once more when the
  // server closed an idle one.
  Answer ask(const PageMessage& message);

  // The head of the answer to an OPTIONS request; empty when there was none.
  std::string options(const std::string& service);

  [[nodiscard]] std::size_t connectionsMade() const { return connectionsMade_; }

 private:
  bool connect();
  void close();
  void send(std::string_view bytes);
  // Waits until there is more to read, writing meanwhile; false at the end of the connection.
  bool fill();
  bool flush();
  bool readLine(std::string& line);
  bool skip(std::size_t count);
  bool readHead(std::string& head);
  bool readChunks(Answer& answer);
  bool readAnswer(const PageMessage& message, Answer& answer);

  std::string host_;
  int port_;
  int socket_ = -1;
  std::string in_;
  std::size_t at_ = 0;
  std::string_view out_;
  std::size_t connectionsMade_ = 0;
};

}  // namespace sifterra::bench
