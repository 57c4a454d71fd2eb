// How: standard output belongs to the page alone. The library prints what it has to say about the filter's
// control there, so before anything else descriptor 1 is moved away and standard error put in its place.
#include "filter_command.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Output.h"
#include "current_user.h"
#include "input/ByteStream.h"
#include "page_judgement.h"
#include "sifterra/blockpage/WebFilterEvaluator.h"

namespace sifterra::tools {
namespace {

using platform::Data;
using platform::String;
using platform::URL;

constexpr std::size_t kChunkBytes = std::size_t{64} << 10;

struct Options {
  std::string url;
  std::string user;
};

// What standard output was when the command began.
class PageOutput {
 public:
  PageOutput() : descriptor_(::dup(STDOUT_FILENO)) {
    if (descriptor_ < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0) failed(errno);
  }
  ~PageOutput() {
    if (descriptor_ >= 0) ::close(descriptor_);
  }
  PageOutput(const PageOutput&) = delete;
  PageOutput& operator=(const PageOutput&) = delete;

  // False when that is no longer possible; why is told once, unless the reader went away.
  bool write(std::string_view bytes) {
    while (good_ && !bytes.empty()) {
      const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
      if (count >= 0) {
        bytes.remove_prefix(static_cast<std::size_t>(count));
      } else if (errno != EINTR) {
        failed(errno);
      }
    }
    return good_;
  }
  [[nodiscard]] bool isGood() const noexcept { return good_; }

 private:
  void failed(int error) {
    good_ = false;
    if (error != EPIPE) printError(std::string("standard output cannot be written: ") + std::strerror(error));
  }

  int descriptor_;
  bool good_ = true;
};

// Standard input, piece by piece.
class Chunks {
 public:
  // The next bytes; nothing at the end. Throws InputError.
  [[nodiscard]] std::optional<Data> next() {
    std::string chunk(kChunkBytes, '\0');
    chunk.resize(input_.read(chunk.data(), chunk.size()));
    return chunk.empty() ? std::nullopt : std::optional<Data>(std::move(chunk));
  }

 private:
  FileStream input_{"-"};
};

// Reads until the evaluator has decided; what is to be passed on then, null when there should be a block page
// and is none.
Data decide(WebFilterEvaluator& evaluator, Chunks& chunks) {
  Data passed{std::string()};
  while (evaluator.filterState() == WebFilterStateBuffering) {
    const std::optional<Data> chunk = chunks.next();
    passed = chunk ? evaluator.addData(*chunk) : evaluator.dataComplete();
  }
  return passed;
}

int filter(const std::shared_ptr<WebFilterEvaluator>& evaluator, Chunks& chunks, PageOutput& output) {
  const Data first = evaluator ? decide(*evaluator, chunks) : Data(std::string());
  const bool refused = evaluator && evaluator->wasBlocked();
  if (!first) {
    printError("the page is refused, and its block page cannot be made");
    return kExitError;
  }
  output.write(first.chars());
  // The rest of a refused page is read all the same: whoever sends it is not to be told off for it.
  while (const std::optional<Data> chunk = chunks.next()) {
    if (!refused && !output.write(chunk->chars())) break;
  }
  if (!output.isGood()) return kExitError;
  return refused ? kExitRestricted : kExitGood;
}

int runFilter(const Options& options) {
  PageOutput output;
  if (!output.isGood()) return kExitError;
  const WebFilterResponse response{URL::fromString(String::fromUTF8(options.url))};
  if (!response.URL) {
    printError("\"" + options.url + "\" is no address");
    return kExitError;
  }
  // Who is asked for by name, or runs this, is not let pass because his file is broken.
  const std::string user = options.user.empty() ? currentUserName() : options.user;
  const UserPreferences preferences = preferencesOfUser(user);
  if (!preferences) return kExitError;
  // Nor because there is no judge: without a map the library judges nothing, not even by the user's lists.
  const bool judged = preferences->filterEnabled() || preferences->whitelistEnabled();
  if (judged && !judgeWithMap("")) return kExitError;
  const auto evaluator =
      options.user.empty() ? WebFilterEvaluator::createWithResponse(response)
                           : WebFilterEvaluator::createWithResponse(response, String::fromUTF8(options.user));
  try {
    Chunks chunks;
    return filter(evaluator, chunks, output);
  } catch (const InputError& error) {
    printError(std::string("standard input: ") + error.what());
    return kExitError;
  }
}

}  // namespace

Action defineFilterCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "Reads a page on standard input and prints it, or the block page that stands for it, as a program "
      "that\n"
      "loads pages does: nothing comes out until 32768 bytes or the end have come, and these are judged for "
      "the\n"
      "user, by the lists first and then by their content, which must be UTF-8. A user without restrictions\n"
      "gets the page as it comes. Everything but the page goes to standard error.\n"
      "\n"
      "Exit status: 0 the page was passed on, 1 it was refused, 2 an error.\n"
      "\n"
      "Examples:\n"
      "  sifterra filter --url http://example.com/ < saved.html > shown.html || echo refused\n"
      "  curl -s http://example.com/ | sifterra filter --url http://example.com/ --user ann > page.html");
  command.add_option("--url", options->url, "Address of the page")->required()->type_name("URL");
  command.add_option("--user", options->user, "The user to judge for, by default you")->type_name("NAME");
  return [options] { return runFilter(*options); };
}

}  // namespace sifterra::tools
