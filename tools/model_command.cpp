#include "model_command.h"

#include <CLI/CLI.hpp>
#include <map>
#include <memory>
#include <string>

#include "Output.h"
#include "json_text.h"
#include "page_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::string path;
  std::string charset;
};

Json textArray(const std::vector<platform::String>& texts) {
  Json array = Json::array();
  for (const platform::String& text : texts) array.push_back(jsonText(text));
  return array;
}

// The model keeps the labels unordered; sorted, the same page prints the same bytes.
Json labelledTags(const WFMetaTags& tags) {
  std::map<std::string, platform::String> sorted;
  for (const auto& [label, content] : tags.contents) {
    sorted.emplace(platform::String(label).toUTF8(), content);
  }
  Json object = Json::object();
  for (const auto& [label, content] : sorted) object[label] = jsonText(content);
  return object;
}

Json imageArray(const std::vector<WFImg>& images) {
  Json array = Json::array();
  for (const WFImg& image : images) {
    Json object;
    object["alt"] = jsonText(image.alt());
    object["title"] = jsonText(image.title());
    object["src"] = jsonText(image.src());
    object["width"] = image.width();
    object["height"] = image.height();
    object["area"] = image.area();
    array.push_back(std::move(object));
  }
  return array;
}

Json linkArray(const std::vector<WFLink>& links) {
  Json array = Json::array();
  for (const WFLink& link : links) {
    Json object;
    object["title"] = jsonText(link.title());
    object["url"] = jsonText(link.url().absoluteString());
    array.push_back(std::move(object));
  }
  return array;
}

Json modelOf(const WFWebPageToFilterText& page) {
  std::int32_t evidence = 0;  // stays 0 when the page is worth analysing
  platform::String note;
  const bool worthAnalyzing = page.isWorthAnalyzingWithEvidence(evidence, note);
  Json model;
  model["pageTitle"] = jsonText(page.pageTitle());
  model["metaTagsLabeled"] = labelledTags(page.metaTagsLabeled());
  model["metaTagsUnlabeled"] = textArray(page.metaTagsUnlabeled());
  model["scriptBlocks"] = textArray(page.scriptBlocks());
  model["images"] = imageArray(page.images());
  model["links"] = linkArray(page.links());
  model["pageContent"] = jsonText(page.pageContent());
  model["hasFrameset"] = page.hasFrameset();
  model["hasShortRefresh"] = page.hasShortRefresh();
  model["selfRestricted"] = page.selfRestricted();
  model["worthAnalyzing"] = worthAnalyzing;
  model["evidence"] = evidence;
  model["note"] = jsonText(note);
  model["tags"] = jsonText(page.tags());
  return model;
}

int runModel(const Options& options) {
  const std::optional<PageRecord> record = readOnePage(options.path);
  if (!record) return kExitError;
  const auto page = WFWebPageToFilterText::webPageWithString(decodedText(*record, options.charset));
  Output output;
  output.write(jsonLine(modelOf(*page)) + "\n");
  return output.finish() ? kExitGood : kExitError;
}

}  // namespace

Action defineModelCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  command.footer(
      "Prints one JSON object: pageTitle, metaTagsLabeled, metaTagsUnlabeled, scriptBlocks, images,\n"
      "links, pageContent, hasFrameset, hasShortRefresh, selfRestricted, worthAnalyzing, evidence, note,\n"
      "tags. What the page does not hold is null, a length that an image does not tell is -1. evidence is 5\n"
      "(too little content), 6 (frameset) or 7 (short refresh) for a page that is not worth analysing, else "
      "0.\n"
      "\n"
      "Examples:\n"
      "  sifterra model page.html | jq .pageTitle\n"
      "  sifterra model page.html | jq -r .pageContent");
  command.add_option("PATH", options->path, "The page, \"-\" for standard input")->required()->type_name("");
  command.add_option("--charset", options->charset, "Charset that the HTTP header told")->type_name("NAME");
  return [options] { return runModel(*options); };
}

}  // namespace sifterra::tools
