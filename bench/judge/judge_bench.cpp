#include "judge/judge_bench.h"

#include <libxml/HTMLparser.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lsm/LsmEngine.h"
#include "page/parse_html.h"
#include "sifterra/judge/WFJudge.h"

extern "C" {
static void ignoreMessage(void*, const char*, ...) {}
}

namespace sifterra::bench {

JudgeOptions parseArguments(int argc, char** argv, std::size_t usualRounds) {
  JudgeOptions options;
  options.rounds = usualRounds;
  for (int i = 1; i < argc; ++i) {
    const std::string argument = argv[i];
    if (argument == "--rounds" && i + 1 < argc) {
      options.rounds = std::strtoul(argv[++i], nullptr, 10);
    } else if (argument == "--largest" && i + 1 < argc) {
      options.largest = std::strtoul(argv[++i], nullptr, 10);
    } else if (argument == "--map" && i + 1 < argc) {
      options.map = argv[++i];
    } else if (argument.starts_with("--benchmark_out=")) {
      options.json = argument.substr(std::strlen("--benchmark_out="));
    } else if (!argument.starts_with("--benchmark_")) {
      std::fprintf(stderr, "usage: %s [--rounds N] [--largest BYTES] [--map FILE] [--benchmark_out=FILE]\n",
                   argv[0]);
      std::exit(2);
    }
  }
  if (options.rounds == 0) options.rounds = 1;
  return options;
}

std::string mapToMeasure(const JudgeOptions& options) {
  xmlInitParser();
  xmlSetGenericErrorFunc(nullptr, ignoreMessage);
  std::string path = options.map.empty() ? WFJudge::defaultLSMMapPath().toUTF8() : options.map;
  std::string why = "there is none";
  if (!path.empty() && lsm::lsmMapLoad(path, 0, &why)) return path;
  std::fprintf(stderr, "no map: %s\n", why.c_str());
  return {};
}

std::vector<std::filesystem::path> examplePages() {
  std::vector<std::filesystem::path> paths;
  for (const auto& entry : std::filesystem::directory_iterator(SIFTERRA_SOURCE_DIR "/examples")) {
    if (entry.path().extension() == ".html") paths.push_back(entry.path());
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

void bareParse(const std::string& bytes) {
  xmlFreeDoc(
      htmlReadMemory(bytes.data(), static_cast<int>(bytes.size()), nullptr, "UTF-8", kHTMLParseOptions));
}

}  // namespace sifterra::bench
