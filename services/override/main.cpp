// main: the program sifterra-override.
#include <poll.h>
#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <thread>
#include <vector>

#include "Authenticator.h"
#include "HttpServer.h"
#include "OverrideService.h"
#include "PeerOwner.h"
#include "common/log_line.h"
#include "sifterra/sifterra.h"

namespace sifterra::override_service {
namespace {

constexpr int kError = 2;
constexpr int kWatchdogMilliseconds = 5000;

struct Options {
  int port = kPort;
  std::string root;
  std::string stateDirectory = "/var/lib/sifterra";
  std::string pamService = "sifterra";
  std::string authenticator;
  std::vector<std::string> approvers = {"sifterra-approvers"};
  bool authenticate = false;
};

int failed(const std::string& what) {
  std::fprintf(stderr, "sifterra-override: %s\n", what.c_str());
  return kError;
}

void logLine(int level, const std::string& text) {
  services::logLine("sifterra-override", level, text);
}

// Those that systemd opened, else the loopback addresses. A machine without IPv6 does with one.
std::vector<int> listeningSockets(int port, std::string& problem) {
  std::vector<int> sockets;
  const int given = std::max(0, sd_listen_fds(1));
  sockets.reserve(static_cast<std::size_t>(given) + 2);
  for (int i = 0; i < given; ++i) sockets.push_back(SD_LISTEN_FDS_START + i);
  if (!sockets.empty()) return sockets;
  const int ipv4 = listenAt("127.0.0.1", port, problem);
  if (ipv4 < 0) return {};
  sockets.push_back(ipv4);
  std::string ignored;
  const int ipv6 = listenAt("::1", portOf(ipv4), ignored);
  if (ipv6 >= 0) sockets.push_back(ipv6);
  return sockets;
}

// Who is asked about passwords: this program, with what it was called with, or the one that was named.
std::vector<std::string> authenticatorOf(const Options& options, std::string own) {
  if (!options.authenticator.empty()) return {options.authenticator, "--authenticate"};
  std::vector<std::string> command = {std::move(own), "--authenticate", "--pam-service", options.pamService};
  for (const std::string& group : options.approvers) command.insert(command.end(), {"--approvers", group});
  return command;
}

std::string ownProgram() {
  std::string path(4096, '\0');
  const ssize_t size = readlink("/proc/self/exe", path.data(), path.size());
  path.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
  return path;
}

int serve(const Options& options) {
  // Before any thread: all of them leave the signals to this one.
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT}) sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  std::signal(SIGPIPE, SIG_IGN);
  const int signals = signalfd(-1, &set, SFD_CLOEXEC);
  WFSetNameLookups(0);
  if (!options.root.empty()) WFSetFileSystemRoot(options.root.c_str());

  std::string problem;
  const std::vector<int> listening = listeningSockets(options.port, problem);
  if (listening.empty()) return failed(problem);
  ProcessAuthenticator authenticator(authenticatorOf(options, ownProgram()));
  OverrideService service(
      {authenticator,
       [] { return std::chrono::steady_clock::now(); },
       accountName,
       accountNumber,
       [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); },
       logLine,
       {portOf(listening.front())},
       [] { return std::chrono::system_clock::now(); },
       options.stateDirectory.empty() ? "" : options.stateDirectory + "/override-attempts.json"});
  const HttpServer server(service, listening);
  if (!server.good()) return failed("the server could not start");
  logLine(6, "listening at port " + std::to_string(portOf(listening.front())));
  sd_notify(0, "READY=1");
  pollfd waiting{signals, POLLIN, 0};
  while (poll(&waiting, 1, kWatchdogMilliseconds) == 0) sd_notify(0, "WATCHDOG=1");
  sd_notify(0, "STOPPING=1");
  return 0;
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Lets an administrator open a page that was closed to a managed user, with name and password.\n"
      "Listens on this machine's loopback addresses. Runs until it is told to end (SIGTERM).");
  app.name("sifterra-override");
  app.set_version_flag("--version", std::string("sifterra-override ") + WFVersion());
  app.add_option("--port", options.port, "The port, 0 for a free one")
      ->capture_default_str()
      ->check(CLI::Range(0, 65535));
  app.add_option("--root", options.root, "The directory under which preference files lie")
      ->check(CLI::ExistingDirectory);
  app.add_option("--state-directory", options.stateDirectory,
                 "Where lockouts are kept over a restart; empty: nowhere")
      ->capture_default_str();
  app.add_option("--pam-service", options.pamService, "The PAM service that knows passwords")
      ->capture_default_str();
  app.add_option("--authenticator", options.authenticator,
                 "The program that is asked about passwords (default: this one)")
      ->check(CLI::ExistingFile);
  app.add_option("--approvers", options.approvers,
                 "The group whose members may open pages; once for each group")
      ->capture_default_str();
  app.add_flag("--authenticate", options.authenticate,
               "Read a name and a password, each ended by a zero byte, and end with 0 if they are those of "
               "somebody who may open pages");
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kError;
  }
  return options.authenticate ? authenticateFromInput(options.pamService, options.approvers) : serve(options);
}

}  // namespace
}  // namespace sifterra::override_service

int main(int argc, char** argv) {
  try {
    return sifterra::override_service::run(argc, argv);
  } catch (const std::exception& error) {
    return sifterra::override_service::failed(error.what());
  }
}
