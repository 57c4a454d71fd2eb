// page_judgement: one page judged, and how that is printed.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "input/PageSource.h"
#include "sifterra/classifier/WFExplanation.h"
#include "sifterra/judge/WFJudge.h"
#include "sifterra/platform/String.h"
#include "sifterra/policy/WFWhitelistUserPreferences.h"

namespace sifterra::tools {

struct PageJudgement {
  std::optional<std::string> error;  // why there is no judgement; nothing else is set then
  std::string path;
  std::string name;  // the path, and inside a file of several pages the URL or line
  std::string url;
  bool restricted = false;
  std::int32_t evidence = 0;
  platform::String message;                          // the score line of a classified page, else the reason
  platform::String title;                            // null without one
  std::vector<float> scores;                         // by category; empty when the page was not classified
  std::shared_ptr<const WFExplanation> explanation;  // when it was asked for and the page was classified
  float threshold = 0;                               // of the map that explained

  // {"path", "url", "restricted", "evidence", "message", "title", "scores"}, "explanation" when there is one,
  // and a line end.
  [[nodiscard]] std::string jsonLine() const;
  // Verdict, evidence, message, title and name, separated by tabs, and a line end. White space inside
  // a value becomes one space and control characters vanish, so that a page cannot forge lines. An
  // explanation follows in lines of its own.
  [[nodiscard]] std::string textLine() const;
};

// A judge over that map file, or the library's own for "". Null, after a message, when there is no usable
// map.
[[nodiscard]] std::shared_ptr<const WFJudge> judgeWithMap(const std::string& mapFile);

using UserPreferences = std::shared_ptr<const WFWhitelistUserPreferences>;

// The preferences of a user. Null, after a message, when the name makes no path or the file is broken: the
// library takes that for no restrictions, and whoever asks for a user wants to know.
[[nodiscard]] UserPreferences preferencesOfUser(const std::string& user);

// Judges the page (or passes its error on), by `charset` when that is not "", for the user of the
// preferences, by its content alone without them.
[[nodiscard]] PageJudgement judgePage(const WFJudge& judge, const PageItem& item, const std::string& charset,
                                      const UserPreferences& preferences = nullptr);

}  // namespace sifterra::tools
