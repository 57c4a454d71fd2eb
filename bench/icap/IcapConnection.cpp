#include "icap/IcapConnection.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace sifterra::bench {
namespace {

constexpr int kPatienceMilliseconds = 60'000;
constexpr std::size_t kReadBytes = 64 * 1024;

// The value of a header in a head whose lines end in CRLF; names match without regard to case.
std::string headerValue(const std::string& head, std::string_view name) {
  for (std::size_t line = 0; line < head.size();) {
    const std::size_t end = std::min(head.find("\r\n", line), head.size());
    if (end - line > name.size() && head[line + name.size()] == ':' &&
        strncasecmp(head.data() + line, name.data(), name.size()) == 0) {
      const std::size_t value = head.find_first_not_of(" \t", line + name.size() + 1);
      return value >= end ? std::string() : head.substr(value, end - value);
    }
    line = end + 2;
  }
  return {};
}

int statusOf(const std::string& head) {
  const std::size_t space = head.find(' ');
  return space == std::string::npos ? 0 : std::atoi(head.c_str() + space + 1);
}

}  // namespace

IcapConnection::IcapConnection(std::string host, int port) : host_(std::move(host)), port_(port) {}

IcapConnection::~IcapConnection() {
  close();
}

void IcapConnection::close() {
  if (socket_ >= 0) ::close(socket_);
  socket_ = -1;
  in_.clear();
  at_ = 0;
  out_ = {};
}

bool IcapConnection::connect() {
  close();
  socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port_));
  if (socket_ < 0 || inet_pton(AF_INET, host_.c_str(), &address.sin_addr) != 1 ||
      ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    close();
    return false;
  }
  const int on = 1;
  setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  ++connectionsMade_;
  return true;
}

void IcapConnection::send(std::string_view bytes) {
  out_ = bytes;
}

bool IcapConnection::fill() {
  if (at_ > 0) {
    in_.erase(0, at_);
    at_ = 0;
  }
  for (;;) {
    pollfd ready{socket_, static_cast<short>(out_.empty() ? POLLIN : POLLIN | POLLOUT), 0};
    if (poll(&ready, 1, kPatienceMilliseconds) <= 0) return false;
    if ((ready.revents & POLLOUT) != 0 && !out_.empty()) {
      const ssize_t sent = ::send(socket_, out_.data(), out_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (sent < 0 && errno != EAGAIN) {
        out_ = {};  // the server may have answered before it closed
      } else if (sent > 0) {
        out_.remove_prefix(static_cast<std::size_t>(sent));
      }
    }
    if ((ready.revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
    const std::size_t held = in_.size();
    in_.resize(held + kReadBytes);
    const ssize_t got = recv(socket_, in_.data() + held, kReadBytes, MSG_DONTWAIT);
    in_.resize(held + static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    if (got > 0) return true;
    if (got == 0 || errno != EAGAIN) return false;
  }
}

bool IcapConnection::flush() {
  while (!out_.empty()) {
    pollfd ready{socket_, POLLOUT, 0};
    if (poll(&ready, 1, kPatienceMilliseconds) <= 0) return false;
    const ssize_t sent = ::send(socket_, out_.data(), out_.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent < 0 && errno != EAGAIN) return false;
    if (sent > 0) out_.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool IcapConnection::readLine(std::string& line) {
  std::size_t from = at_;
  for (;;) {
    const std::size_t end = in_.find("\r\n", from);
    if (end != std::string::npos) {
      line.assign(in_, at_, end - at_);
      at_ = end + 2;
      return true;
    }
    const std::size_t waiting = in_.size() - at_;
    if (!fill()) return false;
    from = waiting > 0 ? waiting - 1 : 0;
  }
}

bool IcapConnection::skip(std::size_t count) {
  while (in_.size() - at_ < count) {
    count -= in_.size() - at_;
    at_ = in_.size();
    if (!fill()) return false;
  }
  at_ += count;
  return true;
}

bool IcapConnection::readHead(std::string& head) {
  head.clear();
  for (std::string line; readLine(line);) {
    if (line.empty()) return !head.empty();
    head += line + "\r\n";
  }
  return false;
}

bool IcapConnection::readChunks(Answer& answer) {
  for (std::string line; readLine(line);) {
    const std::size_t size = std::strtoul(line.c_str(), nullptr, 16);
    if (size == 0) return readLine(line);
    answer.bodyBytes += size;
    if (!skip(size + 2)) return false;
  }
  return false;
}

bool IcapConnection::readAnswer(const PageMessage& message, Answer& answer) {
  std::string head;
  if (!readHead(head)) return false;
  if (statusOf(head) == 100) {
    answer.wentOn = true;
    send(message.rest);
    if (!readHead(head)) return false;
  }
  answer.status = statusOf(head);
  const std::string parts = headerValue(head, "Encapsulated");
  if (answer.status != 204 && parts.find("res-hdr") != std::string::npos) {
    std::string http;
    if (!readHead(http)) return false;
    answer.httpStatus = statusOf(http);
    if (parts.find("res-body") != std::string::npos && !readChunks(answer)) return false;
  }
  const bool closes = strcasecmp(headerValue(head, "Connection").c_str(), "close") == 0;
  if (!flush() || closes) close();
  return true;
}

Answer IcapConnection::ask(const PageMessage& message) {
  for (int attempt = 0; attempt < 2; ++attempt) {
    const bool fresh = socket_ < 0;
    if (fresh && !connect()) break;
    Answer answer;
    send(message.head);
    if (readAnswer(message, answer)) return answer;
    close();
    if (fresh) break;
  }
  return {};
}

std::string IcapConnection::options(const std::string& service) {
  if (!connect()) return {};
  const std::string request = "OPTIONS icap://" + host_ + ":" + std::to_string(port_) + "/" + service +
                              " ICAP/1.0\r\nHost: " + host_ + "\r\n\r\n";
  send(request);
  std::string head;
  const bool read = flush() && readHead(head);
  close();
  return read ? head : std::string();
}

}  // namespace sifterra::bench
