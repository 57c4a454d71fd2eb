#include "kernelcontrol/ScriptedService.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <sstream>

#include "kernelcontrol/RecordingControl.h"

namespace sifterra {

namespace {

constexpr char kEnd[] = "END";  // asks the service to end

[[noreturn]] void fail(const char* what) {
  std::perror(what);
  std::abort();
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return address;
}

int listenAt(const std::string& path) {
  const int listener = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  const sockaddr_un address = addressOf(path);
  if (listener < 0 || ::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(listener, 16) != 0)
    fail(path.c_str());
  return listener;
}

// The process.
class Server {
 public:
  Server(int listener, int pipe, std::vector<ScriptedAnswer> script, pid_t program)
      : sockets_{{listener, POLLIN, 0}}, pipe_(pipe), script_(std::move(script)), program_(program) {}

  void run() {
    while (!ended_ && ::poll(sockets_.data(), sockets_.size(), -1) > 0) {
      for (std::size_t i = 1; i < sockets_.size(); ++i) {
        if (sockets_[i].revents != 0) serve(i);
      }
      if (sockets_[0].revents != 0) accept();
    }
  }

 private:
  void note(std::size_t connection, const std::string& text) {
    const std::string line = std::to_string(connection) + " " + text + "\n";
    if (::write(pipe_, line.data(), line.size()) < 0) std::_Exit(1);
  }

  void accept() {
    const int descriptor = ::accept(sockets_[0].fd, nullptr, nullptr);
    ucred peer{};
    socklen_t length = sizeof peer;
    ::getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &length);
    sockets_.push_back({descriptor, POLLIN, 0});
    note(sockets_.size() - 1, peer.pid == program_ && peer.uid == ::getuid() ? "peer" : "stranger");
  }

  void close(std::size_t connection) {
    ::close(sockets_[connection].fd);
    sockets_[connection].fd = -1;  // passed over from now on
  }

  void serve(std::size_t connection) {
    std::array<char, 512> buffer;
    const int descriptor = sockets_[connection].fd;
    const ssize_t size = ::recv(descriptor, buffer.data(), buffer.size(), 0);
    if (size <= 0) {
      note(connection, "closed");
      return close(connection);
    }
    const std::string request(buffer.data(), static_cast<std::size_t>(size));
    if (request == kEnd) {
      ended_ = true;
      return;
    }
    note(connection, "< " + hex(request.data(), request.size()));
    const auto packets = script_[std::min(asked_++, script_.size() - 1)](request);
    if (!packets) return close(connection);
    for (const std::string& packet : *packets) {
      note(connection, "> " + hex(packet.data(), packet.size()));
      ::send(descriptor, packet.data(), packet.size(), MSG_NOSIGNAL);
    }
  }

  std::vector<pollfd> sockets_;  // the listener, then the connections by their numbers
  int pipe_;
  std::vector<ScriptedAnswer> script_;
  pid_t program_;
  std::size_t asked_ = 0;
  bool ended_ = false;
};

std::string littleEndian(std::uint32_t number) {
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes += static_cast<char>(number >> (8 * i) & 0xFF);
  return bytes;
}

}  // namespace

std::string replyTo(const std::string& request, std::uint32_t status, const std::string& payload) {
  return "WFA1" + request.substr(4, 8) + littleEndian(status) +
         littleEndian(static_cast<std::uint32_t>(payload.size())) + payload;
}

ScriptedAnswer accepts(const std::string& payload) {
  return [=](const std::string& request) { return std::vector{replyTo(request, 0, payload)}; };
}

ScriptedAnswer refuses(std::uint32_t status) {
  return [=](const std::string& request) { return std::vector{replyTo(request, status)}; };
}

ScriptedAnswer staysSilent() {
  return [](const std::string&) { return std::vector<std::string>(); };
}

ScriptedAnswer hangsUp() {
  return [](const std::string&) { return std::nullopt; };
}

ScriptedAnswer sends(const std::vector<std::string>& packets) {
  return [=](const std::string&) { return packets; };
}

std::string ScriptedService::pathBelow(const std::string& root) {
  return root + "/run/sifterra/com.vendrel.nke.webcontentfilter";
}

ScriptedService::ScriptedService(const std::string& root, std::vector<ScriptedAnswer> script)
    : path_(pathBelow(root)) {
  std::filesystem::create_directories(root + "/run/sifterra");
  std::filesystem::remove(path_);
  int ends[2];
  if (::pipe(ends) != 0) fail("pipe");
  const int listener = listenAt(path_);
  const pid_t program = ::getpid();
  process_ = ::fork();
  if (process_ < 0) fail("fork");
  if (process_ == 0) {
    ::close(ends[0]);
    Server(listener, ends[1], std::move(script), program).run();
    std::_Exit(0);
  }
  ::close(listener);
  ::close(ends[1]);
  pipe_ = ends[0];
}

ScriptedService::~ScriptedService() {
  if (process_ > 0) {
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
  }
  if (pipe_ >= 0) ::close(pipe_);
}

std::vector<std::string> ScriptedService::trace() {
  const int descriptor = ::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0);
  const sockaddr_un address = addressOf(path_);
  if (::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    fail("connect");
  if (::send(descriptor, kEnd, sizeof kEnd - 1, MSG_NOSIGNAL) < 0) fail("send");
  std::string text;
  std::array<char, 4096> buffer;
  for (ssize_t size = 0; (size = ::read(pipe_, buffer.data(), buffer.size())) > 0;)
    text.append(buffer.data(), static_cast<std::size_t>(size));
  ::close(descriptor);
  ::waitpid(process_, nullptr, 0);
  process_ = -1;
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  if (!lines.empty()) lines.pop_back();  // the connection of this function
  return lines;
}

}  // namespace sifterra
