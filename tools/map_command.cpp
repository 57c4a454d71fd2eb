#include "map_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>
#include <string>

#include "Output.h"
#include "json_text.h"
#include "lsm/training/MapInfo.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

namespace sifterra::tools {
namespace {

struct Options {
  std::string path;
  bool json = false;
};

// The scores of the categories' signature words, between which every score is rescaled.
Json calibrationOf(const WFLSMScoreNormalizedMap& map) {
  Json calibration = Json::array();
  for (std::int64_t c = 1; c <= map.numberOfCategories(); ++c) {
    Json range;
    range["category"] = c;
    range["floor"] = map.floorForCategory(c);
    range["ceiling"] = map.ceilingForCategory(c);
    calibration.push_back(std::move(range));
  }
  return calibration;
}

Json describe(const lsm::MapInfo& info, const WFLSMScoreNormalizedMap& map) {
  Json description;
  description["version"] = info.formatVersion;
  description["tokeniser"] = info.tokeniserVersion;
  description["categories"] = info.categories;
  description["words"] = info.words;
  description["buckets"] = info.buckets;
  description["rank"] = info.rank;
  description["threshold"] = map.threshold();
  description["calibration"] = calibrationOf(map);
  description["size"] = info.bytes;
  description["checksum"] = info.checksum;
  // What the trainer noted: figures, and the map that pages were added to.
  for (const auto& [name, value] : info.properties) {
    if (const auto* text = std::get_if<std::string>(&value)) {
      description[name] = *text;
    } else {
      description[name] = std::get<float>(value);
    }
  }
  return description;
}

// "name: value" for each member, the calibration one line a category.
std::string readable(const Json& description) {
  std::string text;
  for (const auto& [name, value] : description.items()) {
    if (name != "calibration") {
      text += name + ": " + (value.is_string() ? value.get<std::string>() : value.dump()) + "\n";
      continue;
    }
    for (const Json& range : value) {
      char line[128];
      std::snprintf(line, sizeof line, "calibration: category %ld from %.6f to %.6f\n",
                    static_cast<long>(range["category"].get<std::int64_t>()),
                    static_cast<double>(range["floor"].get<float>()),
                    static_cast<double>(range["ceiling"].get<float>()));
      text += line;
    }
  }
  return text;
}

int runMapInfo(const Options& options) {
  std::string why;
  const std::optional<lsm::MapInfo> info = lsm::readMapInfo(options.path, why);
  const auto map = info ? WFLSMScoreNormalizedMap::mapFromFilePath(absolutePath(options.path)) : nullptr;
  if (!map) {
    printError(options.path + ": " + (why.empty() ? "is no map" : why));
    return kExitError;
  }
  const Json description = describe(*info, *map);
  Output output;
  output.write(options.json ? jsonLine(description) + "\n" : readable(description));
  return output.finish() ? kExitGood : kExitError;
}

}  // namespace

Action defineMapCommand(CLI::App& command) {
  const auto options = std::make_shared<Options>();
  CLI::App* info = command.add_subcommand("info", "Tell what a map file holds");
  command.require_subcommand(1, 1);
  command.footer(
      "Examples:\n"
      "  sifterra map info trained.map");
  info->footer(
      "Prints version and tokeniser version, number of categories, known words and n-gram buckets,\n"
      "rank (latent dimensions), the threshold that the last category's score must exceed, for each\n"
      "category the scores between which it is calibrated, size in bytes and checksum; and what the trainer\n"
      "noted: its figures, and the map that pages were added to.\n"
      "\n"
      "Examples:\n"
      "  sifterra map info trained.map\n"
      "  sifterra map info --json trained.map | jq .threshold");
  info->add_option("FILE", options->path, "The map file")->required()->type_name("");
  info->add_flag("--json", options->json, "One JSON object");
  return [options] { return runMapInfo(*options); };
}

}  // namespace sifterra::tools
