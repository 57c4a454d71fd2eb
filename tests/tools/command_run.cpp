#include "tools/command_run.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "tools/fixtures.h"

extern char** environ;  // NOLINT(readability-redundant-declaration): only GNU's headers have it

namespace sifterra::tools {
namespace {

std::string contentsOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// Input and outputs go through files: nothing blocks, however much is written.
CommandRun run(std::vector<std::string> words, std::string_view input) {
  const TemporaryFolder folder;
  const std::string in = folder.write("in", input);
  const std::string out = folder.at("out");
  const std::string err = folder.at("err");
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  posix_spawn_file_actions_addopen(&files, STDIN_FILENO, in.c_str(), O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, out.c_str(), O_WRONLY | O_CREAT, 0600);
  posix_spawn_file_actions_addopen(&files, STDERR_FILENO, err.c_str(), O_WRONLY | O_CREAT, 0600);
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  pid_t process = 0;
  const int failure = posix_spawnp(&process, arguments[0], &files, nullptr, arguments.data(), environ);
  posix_spawn_file_actions_destroy(&files);
  if (failure != 0) throw std::runtime_error("cannot start " + words[0]);
  int status = 0;
  waitpid(process, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), contentsOf(out), contentsOf(err)};
}

}  // namespace

CommandRun runCommand(const std::vector<std::string>& arguments, std::string_view input) {
  std::vector<std::string> words{SIFTERRA_COMMAND};
  words.insert(words.end(), arguments.begin(), arguments.end());
  return run(std::move(words), input);
}

CommandRun runShell(const std::string& script) {
  setenv("SIFTERRA", SIFTERRA_COMMAND, 1);
  return run({"bash", "-c", script}, {});
}

std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

}  // namespace sifterra::tools
