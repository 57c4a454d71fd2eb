// How: pages are read by whichever thread is free, judged by all of them, and printed in the order in
// which they were read. A page's memory is gone before its line is printed.
#include "check_command.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "Output.h"
#include "ProgressBar.h"
#include "explanation_text.h"
#include "ordered_parallel.h"
#include "page_judgement.h"
#include "page_text.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::vector<std::string> paths;
  std::string url;
  std::string charset;
  std::string map;
  std::string user;
  bool json = false;
  bool explain = false;
  std::size_t threads = 0;  // 0: one for each core
};

struct Summary {
  std::size_t restricted = 0;
  std::size_t allowed = 0;
  std::size_t errors = 0;
  std::map<std::int32_t, std::size_t> byEvidence;

  void add(const PageJudgement& page) {
    if (page.error) {
      ++errors;
      return;
    }
    ++(page.restricted ? restricted : allowed);
    ++byEvidence[page.evidence];
  }

  // "14 pages: 5 restricted, 9 allowed, 0 errors (evidence 0: 8, 3: 2, 5: 4)"
  [[nodiscard]] std::string line() const {
    const std::size_t pages = restricted + allowed;
    std::string text = std::to_string(pages) + (pages == 1 ? " page: " : " pages: ") +
                       std::to_string(restricted) + " restricted, " + std::to_string(allowed) + " allowed, " +
                       std::to_string(errors) + (errors == 1 ? " error" : " errors");
    const char* separator = " (evidence ";
    for (const auto& [evidence, count] : byEvidence) {
      text += separator + std::to_string(evidence) + ": " + std::to_string(count);
      separator = ", ";
    }
    return text + (byEvidence.empty() ? "\n" : ")\n");
  }

  [[nodiscard]] int exitStatus() const {
    if (errors > 0) return kExitError;
    return restricted > 0 ? kExitRestricted : kExitGood;
  }
};

// The map that explains: the judge keeps its own to itself. Null, after a message, when there is none.
std::shared_ptr<const WFLSMMap> explainingMap(const std::string& file) {
  const platform::String path = file.empty() ? WFJudge::defaultLSMMapPath() : absolutePath(file);
  std::shared_ptr<const WFLSMMap> map = path ? WFLSMMap::mapFromFilePath(path) : nullptr;
  if (!map) printError("there is no map to explain by");
  return map;
}

int runCheck(const Options& options) {
  const std::shared_ptr<const WFJudge> judge = judgeWithMap(options.map);
  if (!judge) return kExitError;
  const std::shared_ptr<const WFLSMMap> map = options.explain ? explainingMap(options.map) : nullptr;
  if (options.explain && !map) return kExitError;
  const UserPreferences preferences = options.user.empty() ? nullptr : preferencesOfUser(options.user);
  if (!options.user.empty() && !preferences) return kExitError;
  PageSources source(options.paths);
  // Read beside each page, as a thread that prints must not look into a source that another one reads.
  struct Item {
    PageItem page;
    std::uint64_t bytesRead;
  };
  const auto produce = [&]() -> std::optional<Item> {
    std::optional<PageItem> item = source.next();
    if (!item) return std::nullopt;
    if (!options.url.empty()) item->page.url = options.url;
    return Item{std::move(*item), source.bytesRead()};
  };
  const auto work = [&](const Item& item) {
    PageJudgement judgement = judgePage(*judge, item.page, options.charset, preferences);
    if (map && !judgement.scores.empty()) {
      judgement.explanation = explainPage(*map, item.page.page, options.charset);
      judgement.threshold = map->threshold();
    }
    return std::pair(std::move(judgement), item.bytesRead);
  };
  Output output;
  ProgressBar bar;
  Summary summary;
  std::size_t pages = 0;
  const auto consume = [&](const std::pair<PageJudgement, std::uint64_t>& judged) {
    const PageJudgement& page = judged.first;
    summary.add(page);
    if (page.error || Output::isTerminal()) bar.hide();
    if (page.error) printError(*page.error);
    if (!page.error && !output.write(options.json ? page.jsonLine() : page.textLine())) return false;
    bar.update(++pages, judged.second, source.bytesTotal());
    return true;
  };
  orderedParallel(options.threads != 0 ? options.threads : std::thread::hardware_concurrency(), produce, work,
                  consume);
  bar.hide();
  if (!options.json) output.write("\n" + summary.line());
  return output.finish() ? summary.exitStatus() : kExitError;
}

}  // namespace

Action defineCheckCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "PATH is a page, a directory (all .html, .htm, .xhtml and .txt files below it), a WARC archive\n"
      "(.warc, .warc.gz: each HTML response), JSON lines (.jsonl, .jsonl.gz: {\"html\": ...} or\n"
      "{\"text\": ...}), or standard input: \"-\" for a page, \"warc:-\" for an archive, \"jsonl:-\" for "
      "JSON\n"
      "lines.\n"
      "\n"
      "Each line tells, separated by tabs: verdict, evidence, score line or reason, title, path.\n"
      "Evidence: 0 classified, 2 nothing to classify, 3 labels itself as adult, 5 too little content,\n"
      "6 frameset, 7 short refresh; with --user also 8 found on a list of the user, 9 left to the user's "
      "policy,\n"
      "10 https always passes.\n"
      "With --json each line is an object: path, url (\"\" when not known), restricted, evidence, message,\n"
      "title (null without one), scores (by category, empty when not classified); no summary.\n"
      "With --explain each classified page's line is followed by what decided (the page as a whole, a part "
      "of\n"
      "it or a stretch), where it says so, and the words that push most each way. The points of all words "
      "and\n"
      "the start add up; a point more makes the adult category 2.7 times as likely.\n"
      "\n"
      "Exit status: 0 nothing restricted, 1 something restricted, 2 an error (the rest is judged).\n"
      "\n"
      "Examples:\n"
      "  sifterra check page.html\n"
      "  curl -s https://example.com/ | sifterra check --url https://example.com/ -\n"
      "  sifterra check --explain page.html\n"
      "  sifterra check --charset Shift_JIS page.html\n"
      "  sifterra check --user ann --url http://example.com/ page.html\n"
      "  sifterra check --json warc:- < shard-0001.warc.gz > shard-0001.jsonl\n"
      "  sifterra check --json -j 8 crawl.warc.gz | jq -r 'select(.restricted).url'");
  command.add_option("PATH", options->paths, "Pages, directories, archives or \"-\"")
      ->required()
      ->type_name("");
  command.add_option("--url", options->url, "Address of the page (of all, when there are several)")
      ->type_name("URL");
  command.add_option("--charset", options->charset, "Charset that the HTTP header told")->type_name("NAME");
  command.add_option("--map", options->map, "Map file to judge by in place of the library's own")
      ->type_name("FILE");
  command.add_option("--user", options->user, "Judge for this user, by the user's policy (see \"policy\")")
      ->type_name("NAME");
  command.add_flag("--json", options->json, "One JSON object a line");
  command.add_flag("--explain", options->explain, "Tell which words decided, ten each way");
  command.add_option("-j,--jobs", options->threads, "Threads (one for each core); the order stays")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  return [options] { return runCheck(*options); };
}

}  // namespace sifterra::tools
