// IcapLoad: asks an ICAP server about pages over persistent connections and tells what that cost the server.
//
//   IcapLoad --port N --service NAME --pages DIRECTORY --server-pid PID [--parallel N] [--passes N]
//   [--seconds N]
//            [--preview BYTES|off] [--allow "204"] [--header "NAME: VALUE"] [--no-parse] [--host ADDRESS]
//
// Each pass takes every page once, shared out over `parallel` connections, one thread each. Before each pass
// the bare parser reads the same pages in this process, by as many threads as there are connections or
// processors, so that whatever else the machine does falls on both. The first pass warms up and does not
// count. Prints one JSON object.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

#include "icap/IcapConnection.h"
#include "icap/PageMessages.h"
#include "icap/ServerUsage.h"
#include "icap/bare_parse.h"

namespace sifterra::bench {
namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  MessageOptions message;
  bool previewGiven = false;
  std::string pages;
  unsigned parallel = 1;
  std::size_t passes = 5;
  double seconds = 60;
  int serverPid = 0;
  bool parse = true;
};

struct Counts {
  std::size_t untouched = 0;  // 204, or the page as it was sent
  std::size_t refused = 0;    // something else in the page's place
  std::size_t failed = 0;
  std::size_t wentOn = 0;
  std::size_t bytesBack = 0;

  void add(const Answer& answer, std::size_t sent) {
    if (answer.status == 204 || (answer.status == 206 && answer.httpStatus == 200) ||
        (answer.status == 200 && answer.bodyBytes == sent)) {
      ++untouched;
    } else if (answer.status == 200) {
      ++refused;
    } else {
      ++failed;
    }
    wentOn += answer.wentOn ? 1 : 0;
    bytesBack += answer.bodyBytes;
  }
  void add(const Counts& other) {
    untouched += other.untouched;
    refused += other.refused;
    failed += other.failed;
    wentOn += other.wentOn;
    bytesBack += other.bytesBack;
  }
};

struct Pass {
  std::vector<double> milliseconds;  // of each answer
  Counts counts;
};

double secondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

class Load {
 public:
  explicit Load(Options options) : options_(std::move(options)), pages_(readPages(options_.pages)) {
    for (std::size_t i = 0; i < pages_.size(); ++i) {
      messages_.push_back(messageOfPage(pages_[i], i, options_.message));
      bytes_ += pages_[i].size();
    }
    for (unsigned i = 0; i < options_.parallel; ++i) {
      connections_.push_back(std::make_unique<IcapConnection>(options_.message.host, options_.message.port));
    }
  }

  nlohmann::json run();

 private:
  Pass onePass();
  void sampleMemory(std::size_t requests);

  Options options_;
  std::vector<std::string> pages_;
  std::vector<PageMessage> messages_;
  std::size_t bytes_ = 0;
  std::vector<std::unique_ptr<IcapConnection>> connections_;
  nlohmann::json memory_ = nlohmann::json::array();
};

Pass Load::onePass() {
  std::atomic<std::size_t> next{0};
  std::vector<Pass> parts(options_.parallel);
  std::vector<std::thread> threads;
  for (unsigned i = 0; i < options_.parallel; ++i) {
    threads.emplace_back([&, i] {
      for (std::size_t page = next++; page < messages_.size(); page = next++) {
        const auto start = Clock::now();
        parts[i].counts.add(connections_[i]->ask(messages_[page]), messages_[page].bodyBytes);
        parts[i].milliseconds.push_back(secondsSince(start) * 1e3);
      }
    });
  }
  Pass all;
  for (unsigned i = 0; i < options_.parallel; ++i) {
    threads[i].join();
    all.counts.add(parts[i].counts);
    all.milliseconds.insert(all.milliseconds.end(), parts[i].milliseconds.begin(),
                            parts[i].milliseconds.end());
  }
  return all;
}

void Load::sampleMemory(std::size_t requests) {
  const ServerUsage usage = serverUsage(options_.serverPid, true);
  memory_.push_back({{"requests", requests},
                     {"pss_mib", static_cast<double>(usage.pssBytes) / 1048576.0},
                     {"rss_mib", static_cast<double>(usage.rssBytes) / 1048576.0},
                     {"processes", usage.processes}});
}

double quantile(std::vector<double>& values, double part) {
  if (values.empty()) return 0;
  const auto at = static_cast<std::size_t>(part * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(at), values.end());
  return values[at];
}

nlohmann::json Load::run() {
  const unsigned parseThreads =
      std::min(options_.parallel, std::max(1U, std::thread::hardware_concurrency()));
  const auto begin = Clock::now();
  (void)onePass();
  sampleMemory(messages_.size());
  Pass total;
  double parse = 0;
  double cpu = 0;
  double wall = 0;
  std::size_t passes = 0;
  const std::size_t betweenSamples = std::max<std::size_t>(1, options_.passes / 10);
  while (passes == 0 || (passes < options_.passes && secondsSince(begin) < options_.seconds)) {
    if (options_.parse) parse += bareParseMilliseconds(pages_, parseThreads);
    const double before = serverUsage(options_.serverPid, false).cpuMilliseconds;
    const auto start = Clock::now();
    Pass pass = onePass();
    wall += secondsSince(start);
    cpu += serverUsage(options_.serverPid, false).cpuMilliseconds - before;
    total.counts.add(pass.counts);
    total.milliseconds.insert(total.milliseconds.end(), pass.milliseconds.begin(), pass.milliseconds.end());
    if (++passes % betweenSamples == 0) sampleMemory((passes + 1) * messages_.size());
  }
  const auto asked = static_cast<double>(total.milliseconds.size());
  std::size_t made = 0;
  for (const auto& connection : connections_) made += connection->connectionsMade();
  return {{"service", options_.message.service},
          {"preview", options_.message.preview ? static_cast<long>(options_.message.previewBytes) : -1L},
          {"pages", pages_.size()},
          {"bytes", bytes_},
          {"parallel", options_.parallel},
          {"passes", passes},
          {"requests", total.milliseconds.size()},
          {"connections", made},
          {"pages_per_second", wall > 0 ? asked / wall : 0},
          {"pages_per_cpu_second", cpu > 0 ? asked / cpu * 1e3 : 0},
          {"p50_ms", quantile(total.milliseconds, 0.5)},
          {"p99_ms", quantile(total.milliseconds, 0.99)},
          {"cpu_ms_per_page", asked > 0 ? cpu / asked : 0},
          {"parse_ms_per_page", asked > 0 ? parse / asked : 0},
          {"ratio", parse > 0 ? cpu / parse : 0},
          {"untouched", total.counts.untouched},
          {"refused", total.counts.refused},
          {"failed", total.counts.failed},
          {"went_on", total.counts.wentOn},
          {"bytes_back", total.counts.bytesBack},
          {"memory", memory_}};
}

[[noreturn]] void usage(const char* program, const std::string& problem) {
  std::fprintf(
      stderr,
      "%s\nusage: %s --port N --service NAME --pages DIRECTORY --server-pid PID [--parallel N] [--passes N]"
      " [--seconds N] [--preview BYTES|off] [--allow TEXT] [--header LINE] [--no-parse] [--host ADDRESS]\n",
      problem.c_str(), program);
  std::exit(2);
}

Options parseArguments(int argc, char** argv) {
  Options options;
  options.message.host = "127.0.0.1";
  for (int i = 1; i < argc; ++i) {
    const std::string name = argv[i];
    if (name == "--no-parse") {
      options.parse = false;
      continue;
    }
    if (i + 1 == argc) usage(argv[0], name + ": unknown, or its value is missing");
    const std::string value = argv[++i];
    const unsigned long number = std::strtoul(value.c_str(), nullptr, 10);
    if (name == "--host") {
      options.message.host = value;
    } else if (name == "--port") {
      options.message.port = static_cast<int>(number);
    } else if (name == "--service") {
      options.message.service = value;
    } else if (name == "--pages") {
      options.pages = value;
    } else if (name == "--server-pid") {
      options.serverPid = static_cast<int>(number);
    } else if (name == "--parallel") {
      options.parallel = static_cast<unsigned>(std::clamp(number, 1UL, 256UL));
    } else if (name == "--passes") {
      options.passes = number;
    } else if (name == "--seconds") {
      options.seconds = static_cast<double>(number);
    } else if (name == "--preview") {
      options.previewGiven = true;
      options.message.preview = value != "off";
      options.message.previewBytes = number;
    } else if (name == "--allow") {
      options.message.allow = value;
    } else if (name == "--header") {
      options.message.header = value;
    } else {
      usage(argv[0], name + ": unknown");
    }
  }
  if (options.message.port <= 0 || options.message.service.empty() || options.pages.empty() ||
      options.serverPid <= 0) {
    usage(argv[0], "--port, --service, --pages and --server-pid are needed");
  }
  return options;
}

// As a proxy does: the preview that the server names in its answer to OPTIONS, none when it names none.
bool askForPreview(Options& options) {
  IcapConnection connection(options.message.host, options.message.port);
  const std::string head = connection.options(options.message.service);
  if (head.empty()) return false;
  if (options.previewGiven) return true;
  const std::size_t at = head.find("\r\nPreview:");
  options.message.preview = at != std::string::npos;
  if (options.message.preview)
    options.message.previewBytes = std::strtoul(head.c_str() + at + 10, nullptr, 10);
  return true;
}

}  // namespace
}  // namespace sifterra::bench

int main(int argc, char** argv) {
  using namespace sifterra::bench;
  Options options = parseArguments(argc, argv);
  if (!askForPreview(options)) {
    std::fprintf(stderr, "IcapLoad: nobody answers for %s at %s:%d\n", options.message.service.c_str(),
                 options.message.host.c_str(), options.message.port);
    return 1;
  }
  Load load(std::move(options));
  std::printf("%s\n", load.run().dump().c_str());
  return 0;
}
