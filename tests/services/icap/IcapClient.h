// IcapClient: a proxy's side of ICAP, as far as the tests need it, over one connection.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace sifterra::icap {

// What is asked about. The body is sent in chunks, after a preview where one is given.
struct IcapQuestion {
  std::string method = "RESPMOD";
  std::string request = "GET http://example.com/page HTTP/1.1\r\nHost: example.com\r\n";
  std::string response = "HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nETag: \"x\"\r\n";
  std::optional<std::string> body;
  std::optional<std::size_t> preview;
  std::string headers = "Allow: 204\r\n";  // of ICAP
  std::string service = "sifterra";
  std::size_t chunk = 10000;
};

struct IcapAnswer {
  int status = 0;    // of ICAP; 0 when the connection broke
  std::string head;  // of ICAP
  std::string http;  // the HTTP head
  std::string body;
  std::string end;         // the last chunk's line
  bool continued = false;  // a 100 came first

  // A header of the HTTP head; empty when it is not there.
  [[nodiscard]] std::string header(std::string_view name) const;
};

class IcapClient {
 public:
  explicit IcapClient(int port);
  ~IcapClient();
  IcapClient(const IcapClient&) = delete;
  IcapClient& operator=(const IcapClient&) = delete;

  [[nodiscard]] IcapAnswer ask(const IcapQuestion& question);

  // The same in steps, for requests that are not sent as they should be.
  [[nodiscard]] static std::string opening(const IcapQuestion& question);
  [[nodiscard]] static std::string chunked(std::string_view body, std::size_t chunk);
  bool send(std::string_view bytes);
  [[nodiscard]] IcapAnswer receive();
  // Ends the sending half, as clients that are done do.
  void finishSending();

 private:
  [[nodiscard]] bool more();
  [[nodiscard]] bool line(std::string* text);

  int socket_;
  std::string received_;
};

}  // namespace sifterra::icap
