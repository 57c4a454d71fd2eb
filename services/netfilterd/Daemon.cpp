// The rules may vanish without the daemon: `nft flush ruleset` is what many firewall scripts begin with. The
// kernel tells of changes by netlink, so they are back within milliseconds; a look every two seconds catches
// what was not told.
#include "Daemon.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <utility>
#include <vector>

#include "common/durable_file.h"
#include "common/log_line.h"
#include "ruleset.h"

namespace sifterra::netfilterd {
namespace {

constexpr std::size_t kMostFileBytes = 4 << 20;
constexpr std::chrono::milliseconds kLook{2000};

std::string stampOf(const std::string& path) {
  struct stat about {};
  if (stat(path.c_str(), &about) != 0) return "none";
  return std::to_string(about.st_ino) + ' ' + std::to_string(about.st_size) + ' ' +
         std::to_string(about.st_mtim.tv_sec) + '.' + std::to_string(about.st_mtim.tv_nsec);
}

std::int64_t secondsNow() {
  return std::time(nullptr);
}

// Who is paused now.
std::vector<std::string> pausedUsers(const Configuration& configuration) {
  std::vector<std::string> names;
  for (const ConfiguredUser& user : configuration.users) {
    if (secondsNow() < user.pausedUntil) names.push_back(user.name);
  }
  return names;
}

int signalDescriptor() {
  sigset_t set;
  sigemptyset(&set);
  for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

void logLine(int level, const std::string& text) {
  services::logLine("sifterra-netfilterd", level, text);
}

Daemon::Daemon(Paths paths, int listening, std::optional<gid_t> group)
    : _paths(std::move(paths)), _listening(listening), _group(group) {}

Daemon::~Daemon() {
  if (_signals >= 0) close(_signals);
}

FilterState Daemon::keptState() const {
  std::string problem;
  bool missing = false;
  const auto text = services::readWhole(stateFile(), kMostFileBytes, problem, &missing);
  if (missing) return {};
  if (text) {
    if (const auto state = stateOf(*text, problem)) return *state;
    problem = stateFile() + ": " + problem;
  }
  logLine(3, problem + "; the control socket starts with nothing set");
  return {};
}

bool Daemon::start() {
  _signals = signalDescriptor();  // from here on a signal waits until run() serves it
  ControlService::Actions actions;
  actions.change = [this](const FilterState& state) { return change(state); };
  actions.print = [this] { print(); };
  actions.log = [](const std::string& text) { logLine(4, text); };
  std::string ignored;
  _accounts = numbersIn(services::readWhole(accountsFile(), kMostFileBytes, ignored).value_or(""));
  _control = std::make_unique<ControlService>(_listening, keptState(), _group, std::move(actions));
  reload();
  if (_rules.empty() && !applyKept()) return false;
  logLine(6, "filtering " + std::to_string(_configuration ? _configuration->users.size() : 0) +
                 " configured users" +
                 (_control->state().managedUser ? " and one of the control socket" : ""));
  return true;
}

// What was good once, when what is there now is not.
bool Daemon::applyKept() {
  std::string problem;
  const auto rules = services::readWhole(rulesFile(), kMostFileBytes, problem);
  if (!rules) {
    logLine(3, "no rules are kept from an earlier run either: " + problem);
    return false;
  }
  if (!_filter.run(*rules)) {
    logLine(3, "the packet filter refuses the rules of " + rulesFile() + ": " + _filter.problem());
    return false;
  }
  _rules = *rules;
  _table = _filter.table();
  logLine(4, "the rules of the earlier run are in force, from " + rulesFile());
  return true;
}

void Daemon::reload() {
  _stamp = filesStamp();
  std::string problem;
  bool missing = false;
  const auto text = services::readWhole(_paths.configuration, kMostFileBytes, problem, &missing);
  // No file is a decision, too: nobody is managed but whom programs name.
  auto configuration = text || missing ? configurationIn(missing ? "{}" : *text, problem) : std::nullopt;
  if (!configuration) {
    logLine(3, (text ? _paths.configuration + ": " : "") + problem + "; the rules stay as they are");
    return;
  }
  if (missing)
    logLine(4, "there is no " + _paths.configuration + ": nobody is managed but whom programs name");
  for (const std::string& one : configuration->unknown) {
    logLine(4, _paths.configuration + ": " + one + "; the account is looked for again and again");
  }
  if (!configuration->proxyUid) {
    logLine(4, "there is no account \"" + configuration->proxyUser + "\" for the proxy: nothing is exempt");
  }
  const std::optional<Configuration> before = std::exchange(_configuration, std::move(configuration));
  if (!apply(_control->state())) {
    _configuration = before;
    return;
  }
  keepAccounts();
}

std::optional<Configuration> Daemon::configurationIn(std::string_view text, std::string& problem) const {
  const SystemAccounts accounts;
  return configurationOf(text, KeptAccounts(accounts, _accounts), problem);
}

void Daemon::keepAccounts() {
  KeptAccounts::Numbers numbers = numbersOf(*_configuration);
  if (numbers == _accounts) return;
  _accounts = std::move(numbers);
  std::string problem;
  if (!services::writeDurably(accountsFile(), numbersText(_accounts), 0600, problem)) logLine(4, problem);
}

bool Daemon::apply(const FilterState& state) {
  if (!_configuration) return false;
  Surroundings surroundings;
  std::string unread;
  if (!readSurroundings(_paths.subordinates, _paths.resolvers, surroundings, unread)) {
    // Tried again and again; told once.
    if (unread != _unread) logLine(3, unread + "; the rules stay as they are");
    _unread = unread;
    return false;
  }
  _unread.clear();
  if (state.managedUser) {
    surroundings.nameOfManagedUser = SystemAccounts().nameOf(*state.managedUser).value_or("");
  }
  const std::string rules = rulesetText(planOf(*_configuration, state, surroundings));
  if (!_filter.run(rules)) {
    logLine(3, "the packet filter refuses the rules, the former ones stay: " + _filter.problem());
    return false;
  }
  _table = _filter.table();
  _paused = pausedUsers(*_configuration);
  if (rules != _rules) {
    std::string problem;
    if (!services::writeDurably(rulesFile(), rules, 0600, problem)) logLine(4, problem);
  }
  _rules = rules;
  return true;
}

int Daemon::change(const FilterState& state) {
  std::string problem;
  if (!services::writeDurably(stateFile(), stateText(state), 0644, problem)) {
    logLine(3, problem);
    return EIO;
  }
  if (apply(state)) return 0;
  if (!services::writeDurably(stateFile(), stateText(_control->state()), 0644, problem)) logLine(3, problem);
  return EIO;
}

void Daemon::checkTable() {
  if (_rules.empty() || _filter.table() == _table) return;
  logLine(4, "somebody changed the rules of the table " + std::string(kTable) + "; they are put back");
  if (_filter.run(_rules)) {
    _table = _filter.table();
  } else {
    logLine(3, "the packet filter refuses the rules: " + _filter.problem());
  }
}

std::string Daemon::filesStamp() const {
  return stampOf(_paths.configuration) + '\n' + stampOf(_paths.subordinates) + '\n' +
         stampOf(_paths.resolvers);
}

// Accounts of a directory service may come late, or a user may be added after he was enrolled.
bool Daemon::someoneAppeared() const {
  if (!_configuration || _configuration->unknown.empty()) return false;
  std::string problem;
  const auto text = services::readWhole(_paths.configuration, kMostFileBytes, problem);
  const auto now = text ? configurationIn(*text, problem) : std::nullopt;
  return now && now->unknown != _configuration->unknown;
}

void Daemon::checkFiles() {
  if (filesStamp() != _stamp || !_unread.empty() || someoneAppeared()) {
    reload();
  } else if (_configuration && pausedUsers(*_configuration) != _paused) {
    (void)apply(
        _control->state());  // a pause ended, or the clock was set; a failure is logged and tried again
  }
}

void Daemon::print() const {
  std::string text = stateText(_control->state());
  std::replace(text.begin(), text.end(), '\n', ' ');
  logLine(6, "state: " + text);
  if (_configuration) {
    for (const ConfiguredUser& user : _configuration->users) {
      logLine(6, "configured: " + user.name + " (" + std::to_string(user.uid) + ") at the ports " +
                     std::to_string(user.httpPort) + " and " + std::to_string(user.httpsPort) +
                     (secondsNow() < user.pausedUntil ? ", paused until " + std::to_string(user.pausedUntil)
                                                      : ""));
    }
  }
  logLine(6, "rules: " + std::to_string(std::count(_table.begin(), _table.end(), '\n')) +
                 " lines in the table " + kTable);
}

void Daemon::waitAndServe(const RuleChanges& changes, std::chrono::milliseconds longest, bool& ending) {
  std::vector<pollfd> waiting;
  for (const int descriptor : _control->descriptors()) waiting.push_back({descriptor, POLLIN, 0});
  waiting.push_back({_signals, POLLIN, 0});
  if (changes.descriptor() >= 0) waiting.push_back({changes.descriptor(), POLLIN, 0});
  if (poll(waiting.data(), waiting.size(), static_cast<int>(longest.count())) <= 0) return;
  for (const pollfd& one : waiting) {
    if (one.revents == 0) continue;
    if (one.fd == _signals) {
      signalfd_siginfo info{};
      while (read(_signals, &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
        if (info.ssi_signo == SIGHUP) {
          reload();
        } else {
          ending = true;
        }
      }
    } else if (one.fd == changes.descriptor()) {
      changes.drain();
      checkTable();
    } else {
      _control->ready(one.fd);
    }
  }
}

int Daemon::run() {
  const RuleChanges changes;
  std::uint64_t watchdog = 0;
  std::chrono::milliseconds longest = kLook;
  if (sd_watchdog_enabled(0, &watchdog) > 0) {
    longest = std::min(longest, std::chrono::milliseconds(std::max<std::uint64_t>(watchdog / 2000, 1)));
  }
  sd_notify(0, "READY=1");
  auto nextLook = std::chrono::steady_clock::now() + kLook;
  for (bool ending = false; !ending;) {
    waitAndServe(changes, longest, ending);
    sd_notify(0, "WATCHDOG=1");
    if (std::chrono::steady_clock::now() < nextLook) continue;
    checkFiles();
    checkTable();
    nextLook = std::chrono::steady_clock::now() + kLook;
  }
  sd_notify(0, "STOPPING=1");
  logLine(6, "stopped; the rules stay");
  return 0;
}

}  // namespace sifterra::netfilterd
