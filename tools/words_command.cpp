#include "words_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Output.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMMap.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::string path;
  std::string charset;
  std::string map;
};

int runWords(const Options& options) {
  const platform::String mapPath =
      options.map.empty() ? WFJudge::defaultLSMMapPath() : absolutePath(options.map);
  const auto map = mapPath ? WFLSMMap::mapFromFilePath(mapPath) : nullptr;
  if (!map) {
    printError(mapPath ? mapPath.toUTF8() + ": is missing or no map" : "the library's own map is missing");
    return kExitError;
  }
  const std::optional<PageRecord> record = readOnePage(options.path);
  if (!record) return kExitError;
  const auto page = WFWebPageToFilterText::webPageWithString(decodedText(*record, options.charset));
  const platform::String dump = map->wordDump(page->plainText());
  if (!dump) {
    printError(options.path + ": its words could not be written to /tmp");
    return kExitError;
  }
  Output output;
  output.write(dump.toUTF8());
  return output.finish() ? kExitGood : kExitError;
}

}  // namespace

Action defineWordsCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "What pushed the page towards the last category and what away from it, one line for each word,\n"
      "strongest for it first: a key to sort by (0.5 is no push), how often the word stands in what "
      "decided,\n"
      "its points, the word and how it is written on the page. The first line is all together, one more is\n"
      "where every page starts; the points of all others add up to the first.\n"
      "\n"
      "Examples:\n"
      "  sifterra words page.html | head -20\n"
      "  sifterra words --map trained.map page.html");
  command.add_option("PATH", options->path, "The page, \"-\" for standard input")->required()->type_name("");
  command.add_option("--charset", options->charset, "Charset that the HTTP header told")->type_name("NAME");
  command.add_option("--map", options->map, "Map file to use in place of the library's own")
      ->type_name("FILE");
  return [options] { return runWords(*options); };
}

}  // namespace sifterra::tools
