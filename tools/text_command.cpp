#include "text_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Output.h"
#include "page_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "sifterra/text/WFWebPageToTrainingText.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::string path;
  std::string charset;
  bool raw = false;
  int training = 0;  // category whose training text is wanted, 0 for the filter text
};

// UTF-8; lone surrogates become U+FFFD.
std::string textOf(const WFWebPageDecorator& page, bool raw) {
  return (raw ? platform::String(page.rawPlainText()) : page.plainText()).toUTF8();
}

std::string textOf(const platform::String& content, const Options& options) {
  if (options.training == 0) {
    const auto page = WFWebPageToFilterText::webPageWithString(content);
    return textOf(*page, options.raw);
  }
  const auto page = WFWebPageToTrainingText::webPageWithString(content);
  page->setCategorySignature(WFWebPageToTrainingText::signatureForCategory(options.training));
  return textOf(*page, options.raw);
}

int runText(const Options& options) {
  const std::optional<PageRecord> page = readOnePage(options.path);
  if (!page) return kExitError;
  Output output;
  output.write(textOf(decodedText(*page, options.charset), options));
  return output.finish() ? kExitGood : kExitError;
}

}  // namespace

Action defineTextCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "The text is the page in labelled sections, each repeated by its weight, with tag words added; \n"
      "it is printed as UTF-8 with nothing added, not even a final line end.\n"
      "\n"
      "Examples:\n"
      "  sifterra text page.html | wc -w           how many words the classifier is given\n"
      "  sifterra text --raw page.html             before markup-like runs are taken out of it\n"
      "  sifterra text --training 2 page.html      as a lesson for category 2");
  command.add_option("PATH", options->path, "The page, \"-\" for standard input")->required()->type_name("");
  command.add_option("--charset", options->charset, "Charset that the HTTP header told")->type_name("NAME");
  command.add_flag("--raw", options->raw, "The text before its last clean-up");
  command.add_option("--training", options->training, "The training text for this category, 1 to 9")
      ->type_name("N")
      ->check(CLI::Range(1, 9).description(""));
  return [options] { return runText(*options); };
}

}  // namespace sifterra::tools
