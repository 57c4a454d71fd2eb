#include "page_judgement.h"

#include <cstdio>

#include "Output.h"
#include "explanation_text.h"
#include "json_text.h"
#include "page_text.h"
#include "sifterra/classifier/WFLSMScoreNormalizedMap.h"

namespace sifterra::tools {
namespace {

// Score lines of two categories have this many columns; with it the titles below each other line up.
constexpr std::size_t kMessageColumns = 20;

std::string padded(std::string text, std::size_t columns) {
  if (text.size() < columns) text.append(columns - text.size(), ' ');
  return text;
}

// One line of UTF-8 that is safe on a terminal.
std::string printable(const std::string& text) {
  std::string line;
  bool space = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    const bool c1 = c == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
    if (c <= 0x20 || c == 0x7f || c1) {  // U+0080 to U+009F are two bytes of UTF-8
      i += c1 ? 1 : 0;
      space = !line.empty();
      continue;
    }
    if (space) line += ' ';
    space = false;
    line += text[i];
  }
  return line;
}

}  // namespace

std::string PageJudgement::jsonLine() const {
  Json object;
  object["path"] = path;
  object["url"] = url;
  object["restricted"] = restricted;
  object["evidence"] = evidence;
  object["message"] = jsonText(message);
  object["title"] = jsonText(title);
  object["scores"] = scores;
  if (explanation) object["explanation"] = explanationJson(*explanation, threshold);
  return tools::jsonLine(object) + "\n";
}

std::string PageJudgement::textLine() const {
  const std::string titleText = printable(title.toUTF8());
  return std::string(restricted ? "RESTRICTED" : "allowed   ") + "\t" + std::to_string(evidence) + "\t" +
         padded(message.toUTF8(), kMessageColumns) + "\t" + (titleText.empty() ? "-" : titleText) + "\t" +
         printable(name) + "\n" + (explanation ? explanationText(*explanation, threshold) : "");
}

std::shared_ptr<const WFJudge> judgeWithMap(const std::string& mapFile) {
  if (mapFile.empty()) {
    std::shared_ptr<const WFJudge> judge = WFJudge::defaultJudge();
    if (!judge) printError("the library's own map is missing or damaged");
    return judge;
  }
  std::shared_ptr<WFLSMMap> map = WFLSMScoreNormalizedMap::mapFromFilePath(absolutePath(mapFile));
  if (!map) {
    printError(mapFile + ": is missing or no map");
    return nullptr;
  }
  return std::make_shared<const WFJudge>(std::move(map));
}

UserPreferences preferencesOfUser(const std::string& user) {
  UserPreferences preferences =
      WFWhitelistUserPreferences::defaultWhitelistForUser(platform::String::fromUTF8(user));
  if (!preferences) {
    printError("\"" + user + "\": the user's name makes no path");
  } else if (preferences->fileState() == WFWhitelistUserPreferences::FileState::Broken) {
    printError("the preference file of \"" + user + "\" is broken: " + preferences->fileProblem().toUTF8());
    preferences = nullptr;
  }
  return preferences;
}

PageJudgement judgePage(const WFJudge& judge, const PageItem& item, const std::string& charset,
                        const UserPreferences& preferences) {
  PageJudgement page;
  page.error = item.error;
  if (page.error) return page;
  page.path = item.page.path;
  page.name = item.page.name();
  page.url = item.page.url;
  const platform::String content = decodedText(item.page, charset);
  const platform::String url = platform::String::fromUTF8Lossy(page.url);
  const auto verdict = preferences
                           ? judge.pronounceOnPageContent(content, url, preferences, nullptr, &page.title)
                           : judge.pronounceOnPageContent(content, url, nullptr, &page.title);
  page.restricted = verdict->restricted();
  page.evidence = verdict->evidence();
  page.message = verdict->message();
  if (const auto result = verdict->LSMEvaluationResult()) {
    page.message = result->debugDescription();
    for (std::int64_t c = 1; c <= result->numberOfCategories(); ++c) {
      page.scores.push_back(result->scoreForCategory(c));
    }
  }
  return page;
}

}  // namespace sifterra::tools
