#include "services/icap/IcapServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string_view>
#include <thread>

extern char** environ;  // NOLINT(readability-redundant-declaration): only GNU's headers have it

namespace sifterra::icap {
namespace {

using namespace std::chrono_literals;

constexpr auto kPatience = 30s;
constexpr auto kPause = 5ms;  // between two looks at another process

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  return address;
}

int freePort() {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address = loopback(0);
  socklen_t length = sizeof address;
  const bool bound = bind(socket, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                     getsockname(socket, reinterpret_cast<sockaddr*>(&address), &length) == 0;
  close(socket);
  if (!bound) throw std::runtime_error("no free port");
  return ntohs(address.sin_port);
}

bool answers(int port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  const sockaddr_in address = loopback(port);
  const bool connected = connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  close(socket);
  return connected;
}

// A server that does not catch the signal yet would not end as servers do.
bool catchesTermination(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("SigCgt:", 0) == 0)
      return (std::stoull(line.substr(7), nullptr, 16) >> (SIGTERM - 1) & 1) != 0;
  return false;
}

template <class Condition>
bool waitFor(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(kPause);
  }
  return true;
}

}  // namespace

IcapServer::IcapServer(const TemporaryDirectory& directory, const std::string& settings)
    : directory_(directory.path() + "/server"), settings_(settings), root_(directory.path()) {
  std::filesystem::create_directories(directory_);
  // Another program may take the port before the server does.
  for (int attempt = 0; attempt < 5; ++attempt) {
    if (start() || output().find("sifterra: cannot start") != std::string::npos ||
        output().find("Fatal error") != std::string::npos)
      return;
  }
}

IcapServer::~IcapServer() {
  stop();
}

void IcapServer::writeConfiguration() const {
  std::ofstream(directory_ + "/c-icap.conf")
      << "PidFile " << directory_ << "/pid\n"
      << "CommandsSocket " << directory_ << "/ctl\n"
      << "TmpDir " << directory_ << "\n"
      << "ServerLog " << directory_ << "/server.log\n"
      << "LogFormat sifterra \"%im %is %Sl\"\n"
      << "AccessLog " << directory_ << "/access.log sifterra\n"
      << "Port 127.0.0.1:" << port_ << "\n"
      << "StartServers 1\nMaxServers 1\nMinSpareThreads 1\nMaxSpareThreads 8\nThreadsPerChild 8\n"
      << "MaxKeepAliveRequests -1\nKeepAliveTimeout 60\nTimeout 20\n"
      << "Service sifterra " << SIFTERRA_ICAP_MODULE << "\n"
      << "sifterra.Root " << root_ << "\n"
      << settings_;
}

bool IcapServer::start() {
  port_ = freePort();
  writeConfiguration();
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, (directory_ + "/out").c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_adddup2(&files, STDOUT_FILENO, STDERR_FILENO);
  std::string words[] = {SIFTERRA_C_ICAP, "-N", "-D", "-f", directory_ + "/c-icap.conf"};
  char* arguments[] = {words[0].data(), words[1].data(), words[2].data(),
                       words[3].data(), words[4].data(), nullptr};
  pid_t pid = -1;
  const int failure = posix_spawn(&pid, arguments[0], &files, nullptr, arguments, environ);
  posix_spawn_file_actions_destroy(&files);
  if (failure != 0) throw std::runtime_error("cannot start c-icap");
  pid_ = pid;
  static_cast<void>(waitFor([this] { return ended() || (catchesTermination(pid_) && answers(port_)); }));
  return isRunning();
}

bool IcapServer::ended() {
  int status = 0;
  if (pid_ <= 0 || waitpid(pid_, &status, WNOHANG) != pid_) return pid_ <= 0;
  exitStatus_ = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  pid_ = -1;
  return true;
}

void IcapServer::stop() {
  if (pid_ <= 0) return;
  kill(pid_, SIGTERM);
  if (!waitFor([this] { return ended(); })) kill(pid_, SIGKILL);
}

std::string IcapServer::output() const {
  return readFile(directory_ + "/out") + readFile(directory_ + "/server.log");
}

std::string IcapServer::accessLog() const {
  return readFile(directory_ + "/access.log");
}

bool IcapServer::waitForOutput(const std::string& text) const {
  return waitFor([&] { return output().find(text) != std::string::npos; });
}

bool IcapServer::waitForAccessLog(const std::string& text) const {
  return waitFor([&] { return accessLog().find(text) != std::string::npos; });
}

void IcapServer::reconfigure(const std::string& settings) {
  settings_ = settings;
  writeConfiguration();
  const auto reloads = [this] {
    const std::string log = readFile(directory_ + "/server.log");
    std::size_t count = 0;
    for (const std::string_view line : {"sifterra: ready", "sifterra: cannot start"})
      for (std::size_t at = 0; (at = log.find(line, at)) != std::string::npos; ++at) ++count;
    return count;
  };
  const std::size_t before = reloads();
  // The server passes over the command while processes of the configuration before are still there.
  auto next = std::chrono::steady_clock::now();
  static_cast<void>(waitFor([&] {
    if (std::chrono::steady_clock::now() >= next) {
      std::ofstream(directory_ + "/ctl") << "reconfigure" << std::flush;
      next = std::chrono::steady_clock::now() + 1s;
    }
    return reloads() > before;
  }));
}

bool IcapServer::waitUntil(const std::function<bool()>& condition) {
  return waitFor(condition);
}

}  // namespace sifterra::icap
