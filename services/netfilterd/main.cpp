// main: the program sifterra-netfilterd.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <optional>
#include <string>

#include "Daemon.h"
#include "common/accounts.h"
#include "common/durable_file.h"
#include "ruleset.h"
#include "sifterra/sifterra.h"

namespace sifterra::netfilterd {
namespace {

constexpr int kError = 2;

struct Options {
  Paths paths;
  std::string group = "sifterra";
  bool check = false;
  bool remove = false;
};

int failed(const std::string& what) {
  std::fprintf(stderr, "sifterra-netfilterd: %s\n", what.c_str());
  return kError;
}

// Prints the rules that the configuration would make, and touches nothing.
int check(const Options& options) {
  std::string problem;
  const auto text = services::readWhole(options.paths.configuration, 4 << 20, problem);
  if (!text) return failed(problem);
  const SystemAccounts accounts;
  const auto configuration = configurationOf(*text, accounts, problem);
  if (!configuration) return failed(options.paths.configuration + ": " + problem);
  if (!configuration->unknown.empty()) {
    return failed(options.paths.configuration + ": " + configuration->unknown.front());
  }
  Surroundings surroundings;
  if (!readSurroundings(options.paths.subordinates, options.paths.resolvers, surroundings, problem))
    return failed(problem);
  std::fputs(rulesetText(planOf(*configuration, {}, surroundings)).c_str(), stdout);
  return 0;
}

int remove() {
  PacketFilter filter;
  if (!filter.removeTable()) return failed("the rules could not be removed: " + filter.problem());
  return 0;
}

// The socket that systemd opened, or one of our own.
int listeningSocket(const std::string& path, std::string& problem) {
  if (sd_listen_fds(1) == 1 && sd_is_socket(SD_LISTEN_FDS_START, AF_UNIX, SOCK_SEQPACKET, 1) > 0) {
    return SD_LISTEN_FDS_START;
  }
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    problem = "the socket's path is too long: " + path;
    return -1;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  const int descriptor = socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  // What an earlier run left behind; a second daemon takes the socket over, which its supervisor prevents.
  unlink(path.c_str());
  if (descriptor < 0 || bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      chmod(path.c_str(), 0666) != 0 || listen(descriptor, SOMAXCONN) != 0) {
    problem = "cannot listen at " + path + ": " + std::strerror(errno);
    return -1;
  }
  return descriptor;
}

int serve(const Options& options) {
  std::string problem;
  const int listening = listeningSocket(options.paths.socket, problem);
  if (listening < 0) return failed(problem);
  const std::optional<gid_t> group = services::groupNumber(options.group);
  if (!group) logLine(4, "there is no group \"" + options.group + "\": only root may set options");
  Daemon daemon(options.paths, listening, group);
  return daemon.start() ? daemon.run() : kError;
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app(
      "Turns the web connections of managed users to the proxy and refuses their ways around it.\n"
      "Runs until it is told to end (SIGTERM); the rules stay then. SIGHUP reads the configuration again.");
  app.name("sifterra-netfilterd");
  app.set_version_flag("--version", std::string("sifterra-netfilterd ") + WFVersion());
  app.add_option("--config", options.paths.configuration, "Who is managed")->capture_default_str();
  app.add_option("--state-directory", options.paths.stateDirectory, "What is kept between runs")
      ->capture_default_str();
  app.add_option("--socket", options.paths.socket, "The control socket")->capture_default_str();
  app.add_option("--group", options.group, "Its members may set options, as root may")->capture_default_str();
  app.add_option("--subuid", options.paths.subordinates, "The user numbers that accounts are lent")
      ->capture_default_str();
  app.add_option("--resolv-conf", options.paths.resolvers, "Whom the machine asks for names")
      ->capture_default_str();
  auto* checking =
      app.add_flag("--check", options.check, "Check the configuration, print the rules, and end");
  app.add_flag("--remove", options.remove, "Remove the rules, so that nobody is filtered, and end")
      ->excludes(checking);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? 0 : kError;
  }
  if (options.check) return check(options);
  return options.remove ? remove() : serve(options);
}

}  // namespace
}  // namespace sifterra::netfilterd

int main(int argc, char** argv) {
  try {
    return sifterra::netfilterd::run(argc, argv);
  } catch (const std::exception& error) {
    return sifterra::netfilterd::failed(error.what());
  }
}
