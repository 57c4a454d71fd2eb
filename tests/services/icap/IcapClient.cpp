#include "services/icap/IcapClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace sifterra::icap {

std::string IcapAnswer::header(std::string_view name) const {
  const std::string start = "\r\n" + std::string(name) + ": ";
  const std::size_t at = http.find(start);
  if (at == std::string::npos) return {};
  const std::size_t from = at + start.size();
  return http.substr(from, http.find("\r\n", from) - from);
}

IcapClient::IcapClient(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  if (connect(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0)
    throw std::runtime_error("cannot connect");
  const timeval patience{30, 0};
  setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
}

IcapClient::~IcapClient() {
  close(socket_);
}

std::string IcapClient::opening(const IcapQuestion& question) {
  const std::string request = question.request + "\r\n";
  const bool isResponse = question.method == "RESPMOD";
  const std::string response = isResponse ? question.response + "\r\n" : std::string();
  std::string encapsulated = "req-hdr=0, ";
  if (isResponse) encapsulated += "res-hdr=" + std::to_string(request.size()) + ", ";
  encapsulated += question.body ? (isResponse ? "res-body=" : "req-body=") : "null-body=";
  encapsulated += std::to_string(request.size() + response.size());
  std::string text = question.method + " icap://127.0.0.1/" + question.service +
                     " ICAP/1.0\r\nHost: 127.0.0.1\r\n" + question.headers;
  if (question.preview) text += "Preview: " + std::to_string(*question.preview) + "\r\n";
  return text + "Encapsulated: " + encapsulated + "\r\n\r\n" + request + response;
}

std::string IcapClient::chunked(std::string_view body, std::size_t chunk) {
  std::string text;
  while (!body.empty()) {
    const std::string_view part = body.substr(0, chunk);
    char size[32];
    std::snprintf(size, sizeof size, "%zx\r\n", part.size());
    text += size + std::string(part) + "\r\n";
    body.remove_prefix(part.size());
  }
  return text;
}

bool IcapClient::send(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

void IcapClient::finishSending() {
  shutdown(socket_, SHUT_WR);
}

bool IcapClient::more() {
  char buffer[65536];
  const ssize_t got = recv(socket_, buffer, sizeof buffer, 0);
  if (got <= 0) return false;
  received_.append(buffer, static_cast<std::size_t>(got));
  return true;
}

bool IcapClient::line(std::string* text) {
  std::size_t end = 0;
  while ((end = received_.find("\r\n")) == std::string::npos)
    if (!more()) return false;
  *text = received_.substr(0, end);
  received_.erase(0, end + 2);
  return true;
}

IcapAnswer IcapClient::receive() {
  IcapAnswer answer;
  std::string text;
  while (line(&text) && !text.empty()) answer.head += text + "\r\n";
  if (answer.head.size() < 12) return answer;
  answer.status = std::atoi(answer.head.c_str() + 9);
  const bool encapsulates = answer.head.find("\r\nEncapsulated: ") != std::string::npos;
  if (answer.status == 100 || answer.status == 204 || !encapsulates) return answer;
  if (answer.head.find("\r\nEncapsulated: null-body=0\r\n") != std::string::npos) return answer;
  while (line(&text) && !text.empty()) answer.http += text + "\r\n";
  if (answer.head.find("null-body=") != std::string::npos) return answer;
  for (;;) {
    if (!line(&text)) {
      answer.status = 0;
      return answer;
    }
    const std::size_t size = std::strtoul(text.c_str(), nullptr, 16);
    if (size == 0) {
      answer.end = text;
      static_cast<void>(line(&text));
      return answer;
    }
    while (received_.size() < size + 2)
      if (!more()) {
        answer.status = 0;
        return answer;
      }
    answer.body += received_.substr(0, size);
    received_.erase(0, size + 2);
  }
}

IcapAnswer IcapClient::ask(const IcapQuestion& question) {
  std::string text = opening(question);
  const std::string body = question.body.value_or("");
  const bool whole = !question.preview || body.size() <= *question.preview;
  if (question.body) {
    text += chunked(whole ? body : body.substr(0, *question.preview), question.chunk);
    text += question.preview && whole ? "0; ieof\r\n\r\n" : "0\r\n\r\n";
  }
  send(text);
  IcapAnswer answer = receive();
  if (answer.status != 100) return answer;
  send(chunked(body.substr(*question.preview), question.chunk) + "0\r\n\r\n");
  answer = receive();
  answer.continued = true;
  return answer;
}

}  // namespace sifterra::icap
