#include "sniff_command.h"

#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "Output.h"
#include "input/ByteStream.h"
#include "json_text.h"
#include "sifterra/page/WFContentSniffer.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::vector<std::string> paths;
  bool json = false;
};

// The first bytes of a file; no test looks further. Throws InputError.
platform::Data beginningOf(const std::string& path) {
  FileStream file(path);
  std::string bytes(WFContentSniffer::kTextBytes, '\0');
  std::size_t used = 0;
  while (used < bytes.size()) {
    const std::size_t count = file.read(bytes.data() + used, bytes.size() - used);
    if (count == 0) break;
    used += count;
  }
  bytes.resize(used);
  return platform::Data(std::move(bytes));
}

std::string lineOf(const std::string& path, const platform::String& type, bool json) {
  if (!json) return type.toUTF8() + "\t" + harmless(path) + "\n";
  Json object;
  object["path"] = path;
  object["type"] = jsonText(type);
  object["isHTMLOrText"] = WFContentSniffer::MIMETypeIsHTMLOrText(type);
  return jsonLine(object) + "\n";
}

int runSniff(const Options& options) {
  Output output;
  bool allGood = true;
  for (const std::string& path : options.paths) {
    try {
      const platform::String type = WFContentSniffer::MIMETypeForData(beginningOf(path));
      if (!output.write(lineOf(path, type, options.json))) break;
    } catch (const InputError& error) {
      printError(path + ": " + error.what());
      allGood = false;
    }
  }
  return output.finish() && allGood ? kExitGood : kExitError;
}

}  // namespace

Action defineSniffCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "Prints the MIME type that the first bytes look like, a tab and the path. Pages worth judging are\n"
      "text/html, application/xhtml+xml and text/plain; what looks like nothing else is text/plain.\n"
      "With --json each line is an object: path, type, isHTMLOrText.\n"
      "\n"
      "Examples:\n"
      "  sifterra sniff saved/*\n"
      "  curl -s https://example.com/ | sifterra sniff -");
  command.add_option("PATH", options->paths, "Files, or \"-\" for standard input")->required()->type_name("");
  command.add_flag("--json", options->json, "One JSON object a line");
  return [options] { return runSniff(*options); };
}

}  // namespace sifterra::tools
