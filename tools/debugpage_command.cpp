// How: the page is decoded here, whatever its charset, and handed on as UTF-8, which is the one encoding that
// the debug page takes for granted. The result begins with a byte-order mark, so that a browser believes it
// more than what the page says of itself.
#include "debugpage_command.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

#include "Output.h"
#include "c_objects.h"
#include "output_file.h"
#include "page_judgement.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMMap.h"
#include "sifterra/sifterra.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra::tools {
namespace {

using platform::String;

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

struct Options {
  std::string path;
  std::string url;
  std::string charset;
  std::string map;
  std::string message;
  std::string output;
};

String wordDumpOf(const String& text, const std::string& mapFile) {
  const String path = mapFile.empty() ? WFJudge::defaultLSMMapPath() : absolutePath(mapFile);
  const auto map = path ? WFLSMMap::mapFromFilePath(path) : nullptr;
  return map ? map->wordDump(text) : String();
}

// The whole page; empty, when there is none.
std::string compose(const String& content, const PageJudgement& judgement, const Options& options) {
  const auto page = WFWebPageToFilterText::webPageWithString(content);
  const String message = options.message.empty() ? judgement.message : String::fromUTF8Lossy(options.message);
  const CData bytes = dataObject(content.toUTF8());
  const CURL url(WFURLCreateWithUTF8(options.url.c_str()));
  const CString stripped = stringObject(page->pageContent());
  const CString dump = stringObject(wordDumpOf(page->plainText(), options.map));
  const CString told = stringObject(message);
  const char* html = WFStringGetUTF8(ComposeDebugPage(bytes.get(), url.get(), stripped.get(), dump.get(),
                                                      told.get(), judgement.restricted ? 1 : 0));
  return html ? html : "";
}

int runDebugPage(const Options& options) {
  const auto judge = judgeWithMap(options.map);
  if (!judge) return kExitError;
  std::optional<PageRecord> record = readOnePage(options.path);
  if (!record) return kExitError;
  if (!options.url.empty()) record->url = options.url;
  const PageJudgement judgement = judgePage(*judge, {*record, std::nullopt}, options.charset);
  std::string html = compose(shownText(*record, options.charset), judgement, options);
  if (!html.starts_with(kByteOrderMark)) html.insert(0, kByteOrderMark);
  return writeResult(options.output, html) ? kExitGood : kExitError;
}

}  // namespace

Action defineDebugPageCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "Prints the page as the library reads it, in UTF-8, with a header at the top of its body: the verdict, "
      "a message, the page's "
      "text\n"
      "and its words with their scores. The header's template is\n"
      "  /Library/Application Support/Vendrel/Wardenry/ContentFiltering/debugpageheader.html\n"
      "below --root; without it, or without a body, the page comes out alone. Nothing in the header is\n"
      "escaped: open it where a page can do no harm.\n"
      "\n"
      "Examples:\n"
      "  sifterra debugpage page.html -o debug.html\n"
      "  curl -s https://example.com/ | sifterra debugpage --url https://example.com/ - > debug.html");
  command.add_option("PATH", options->path, "The page, \"-\" for standard input")->required()->type_name("");
  command.add_option("--url", options->url, "Address of the page")->type_name("URL");
  command.add_option("--charset", options->charset, "Charset that the HTTP header told")->type_name("NAME");
  command.add_option("--map", options->map, "Map file to judge by in place of the library's own")
      ->type_name("FILE");
  command.add_option("--message", options->message, "Message to show, by default the verdict's reason")
      ->type_name("TEXT");
  command.add_option("-o,--output", options->output, "File to write in place of standard output")
      ->type_name("FILE");
  return [options] { return runDebugPage(*options); };
}

}  // namespace sifterra::tools
