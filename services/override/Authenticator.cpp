#include "Authenticator.h"

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <security/pam_appl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "common/accounts.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): only GNU's headers have it

namespace sifterra::override_service {
namespace {

constexpr int kLongestMilliseconds = 30000;
constexpr std::size_t kMostInput = 4096;

// Answers PAM's question for the password, and no other.
int converse(int count, const pam_message** messages, pam_response** responses, void* data) {
  if (count <= 0 || count > PAM_MAX_NUM_MSG) return PAM_CONV_ERR;
  auto* answers =
      static_cast<pam_response*>(std::calloc(static_cast<std::size_t>(count), sizeof(pam_response)));
  if (answers == nullptr) return PAM_BUF_ERR;
  for (int i = 0; i < count; ++i) {
    if (messages[i]->msg_style == PAM_PROMPT_ECHO_OFF)
      answers[i].resp = strdup(static_cast<const char*>(data));
  }
  *responses = answers;
  return PAM_SUCCESS;
}

// Root is nobody here but by a group, like everybody: its password is typed in a session where others may
// read along.
bool mayApprove(const std::string& name, const std::vector<std::string>& approving) {
  std::string problem;
  const auto account = services::accountNamed(name, problem);
  if (!account) return false;
  int count = 256;
  std::vector<gid_t> groups(static_cast<std::size_t>(count));
  while (getgrouplist(name.c_str(), account->gid, groups.data(), &count) < 0) {
    if (count <= static_cast<int>(groups.size())) return false;
    groups.resize(static_cast<std::size_t>(count));
  }
  groups.resize(static_cast<std::size_t>(count));
  return std::any_of(approving.begin(), approving.end(), [&](const std::string& group) {
    const auto number = services::groupNumber(group);
    return number && std::find(groups.begin(), groups.end(), *number) != groups.end();
  });
}

bool pamAdmits(const std::string& service, const std::string& name, const std::string& password) {
  const pam_conv conversation{converse, const_cast<char*>(password.c_str())};
  pam_handle_t* handle = nullptr;
  if (pam_start(service.c_str(), name.c_str(), &conversation, &handle) != PAM_SUCCESS) return false;
  int result = pam_authenticate(handle, PAM_SILENT | PAM_DISALLOW_NULL_AUTHTOK);
  if (result == PAM_SUCCESS) result = pam_acct_mgmt(handle, PAM_SILENT);
  // A module may have taken another name for the account.
  const void* user = nullptr;
  if (result == PAM_SUCCESS && (pam_get_item(handle, PAM_USER, &user) != PAM_SUCCESS || user == nullptr ||
                                name != static_cast<const char*>(user))) {
    result = PAM_AUTH_ERR;
  }
  pam_end(handle, result);
  return result == PAM_SUCCESS;
}

// 0 only for a process that ended by itself with 0 in time.
int outcome(pid_t pid) {
  const int descriptor = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  pollfd waiting{descriptor, POLLIN, 0};
  int ready = -1;
  if (descriptor >= 0) {
    while ((ready = poll(&waiting, 1, kLongestMilliseconds)) < 0 && errno == EINTR) {
    }
    close(descriptor);
  }
  if (ready != 1) kill(pid, SIGKILL);
  int status = -1;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return ready == 1 && WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

}  // namespace

bool ProcessAuthenticator::admits(const std::string& name, const std::string& password) {
  if (name.empty() || name.find('\0') != std::string::npos || password.find('\0') != std::string::npos ||
      name.size() + password.size() + 2 > kMostInput) {
    return false;
  }
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  std::string input = name + '\0' + password + '\0';
  // Less than a pipe holds: writing never waits.
  const bool written = write(ends[1], input.data(), input.size()) == static_cast<ssize_t>(input.size());
  explicit_bzero(input.data(), input.size());
  close(ends[1]);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
  std::vector<std::string> command = _command;
  std::vector<char*> arguments;
  arguments.reserve(command.size() + 1);
  for (std::string& word : command) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t pid = 0;
  const bool spawned =
      written && posix_spawn(&pid, arguments[0], &actions, nullptr, arguments.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  close(ends[0]);
  return spawned && outcome(pid) == 0;
}

int authenticateFromInput(const std::string& pamService, const std::vector<std::string>& groups) {
  std::string input(kMostInput, '\0');
  std::size_t size = 0;
  ssize_t got = 0;
  while (size < input.size() && (got = read(STDIN_FILENO, input.data() + size, input.size() - size)) > 0) {
    size += static_cast<std::size_t>(got);
  }
  input.resize(size);
  const std::size_t first = input.find('\0');
  const std::size_t second = first == std::string::npos ? first : input.find('\0', first + 1);
  if (second == std::string::npos || second + 1 != input.size()) return 1;
  const std::string name = input.substr(0, first);
  const std::string password = input.substr(first + 1, second - first - 1);
  // The account is asked about last, so that the time tells nothing about it.
  return pamAdmits(pamService, name, password) && mayApprove(name, groups) ? 0 : 1;
}

}  // namespace sifterra::override_service
