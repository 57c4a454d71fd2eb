#include "explanation_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "page_text.h"
#include "sifterra/text/WFWebPageToFilterText.h"
#include "terminal_text.h"

namespace sifterra::tools {
namespace {

using Words = std::vector<const WFExplainedWord*>;

std::string signedPoints(double points) {
  std::array<char, 64> text{};
  std::snprintf(text.data(), text.size(), "%+.2f", points);
  return text.data();
}

std::string unsignedPoints(double points) {
  return signedPoints(points).substr(1);
}

// What the words that are not shown come to.
double pointsOfRest(const WFExplanation& explanation, const Words& forLast, const Words& against) {
  double rest = explanation.total - explanation.start;
  for (const Words* words : {&forLast, &against}) {
    for (const WFExplainedWord* word : *words) rest -= word->points;
  }
  return rest;
}

void appendWords(std::string& text, const char* title, const Words& words) {
  text += std::string("  ") + title + "\n";
  if (words.empty()) text += "    nothing\n";
  for (const WFExplainedWord* word : words) {
    const std::string points = signedPoints(word->points);
    text += "    " + std::string(points.size() < 7 ? 7 - points.size() : 0, ' ') + points + "  " +
            harmless(wordText(*word)) + "\n";
  }
}

Json wordsJson(const Words& words) {
  Json list = Json::array();
  for (const WFExplainedWord* word : words) {
    constexpr std::array<const char*, 3> kNatures = {"known", "unknown", "fixed"};
    Json object;
    object["word"] = jsonText(word->word);
    object["meaning"] = jsonText(word->meaning);
    object["nature"] = kNatures[static_cast<std::size_t>(word->nature)];
    object["points"] = static_cast<float>(word->points);
    object["count"] = word->count;
    object["places"] = Json::array();
    for (const platform::String& place : word->places) object["places"].push_back(jsonText(place));
    object["written"] = Json::array();
    for (const platform::String& form : word->written) object["written"].push_back(jsonText(form));
    list.push_back(std::move(object));
  }
  return list;
}

// Why the words come to something else than the page does.
std::string differenceText(const WFExplanation& explanation) {
  const WFExplainedStretch& decided = explanation.decided;
  if (decided.stretches == 0 && decided.takenOff == 0) return {};
  std::string text;
  if (decided.stretches > 1) {
    text =
        "  The words are those of the stretch that speaks plainest. One stretch may do so by chance: the "
        "page counts\n"
        "  by the mean of its " +
        std::to_string(decided.stretches) + " plainest stretches, " +
        signedPoints(decided.points + decided.takenOff);
  } else if (decided.stretches == 1) {
    text = "  The words are those of the stretch that speaks plainest, " + signedPoints(explanation.total);
  } else {
    text = "  The words are those of this part of the page alone, " + signedPoints(explanation.total);
  }
  if (decided.takenOff == 0) return text + ".\n";
  return text + ",\n  and " + unsignedPoints(decided.takenOff) + " points are taken off, because " +
         (decided.stretches != 0 ? "a long page has many stretches"
                                 : "a part proves less than the whole page") +
         ": " + signedPoints(decided.points) + ".\n";
}

Json stretchJson(const WFExplainedStretch& stretch) {
  Json object;
  object["name"] = jsonText(stretch.name);
  object["points"] = static_cast<float>(stretch.points);
  object["takenOff"] = static_cast<float>(stretch.takenOff);
  object["stretches"] = stretch.stretches;
  return object;
}

}  // namespace

std::shared_ptr<const WFExplanation> explainPage(const WFLSMMap& map, const PageRecord& page,
                                                 const std::string& charset) {
  const auto filterText = WFWebPageToFilterText::webPageWithString(decodedText(page, charset),
                                                                   platform::String::fromUTF8Lossy(page.url));
  return filterText ? map.explain(filterText->plainText()) : nullptr;
}

std::vector<const WFExplainedWord*> strongestWords(const WFExplanation& explanation, bool forLast) {
  Words words;
  const auto take = [&](const WFExplainedWord& word) {
    if (words.size() < kExplainedWords && (forLast ? word.points > 0 : word.points < 0))
      words.push_back(&word);
  };
  if (forLast) {
    std::for_each(explanation.words.begin(), explanation.words.end(), take);
  } else {
    std::for_each(explanation.words.rbegin(), explanation.words.rend(), take);
  }
  return words;
}

double pointsOfThreshold(float threshold) {
  const auto score = static_cast<double>(threshold);
  return std::log(score / (1 - score));
}

std::string wordText(const WFExplainedWord& word) {
  if (word.nature == WFExplainedWord::Nature::Fixed) return "(words that stand in every page)";
  std::string text = (word.meaning ? word.meaning : word.word).toUTF8();
  std::string notes = word.count == 1 ? "" : std::to_string(word.count) + " times";
  const auto append = [&notes](const std::string& separator, const std::string& more) {
    notes += (notes.empty() ? "" : separator) + more;
  };
  std::string separator = "; ";
  for (const platform::String& place : word.places) {
    append(separator, place.toUTF8());
    separator = ", ";
  }
  separator = "; written ";
  for (const platform::String& form : word.written) {
    append(separator, (notes.empty() ? "written \"" : "\"") + form.toUTF8() + "\"");
    separator = ", ";
  }
  if (word.nature == WFExplainedWord::Nature::Unknown) append("; ", "an unknown word, by its letters");
  return notes.empty() ? text : text + " (" + notes + ")";
}

std::string explanationText(const WFExplanation& explanation, float threshold) {
  const Words forLast = strongestWords(explanation, true);
  const Words against = strongestWords(explanation, false);
  std::string text = "  Decided by " + explanation.decided.name.toUTF8() + ": " +
                     signedPoints(explanation.decided.points) + " points, restricted above " +
                     signedPoints(pointsOfThreshold(threshold)) + "\n";
  if (explanation.excerpt && !explanation.excerpt.view().empty())
    text += "  It says: \"" + harmless(explanation.excerpt.toUTF8()) + "\"\n";
  appendWords(text, "For the adult category", forLast);
  appendWords(text, "Against it", against);
  text += "  Every page starts at " + signedPoints(explanation.start) + "; " +
          std::to_string(explanation.words.size() - forLast.size() - against.size()) +
          " more words come to " + signedPoints(pointsOfRest(explanation, forLast, against)) +
          "; all together " + signedPoints(explanation.total) + "\n";
  text += differenceText(explanation);
  if (!explanation.others.empty()) {
    text += "  Also judged";
    const char* separator = ": ";
    for (const WFExplainedStretch& stretch : explanation.others) {
      text += separator + stretch.name.toUTF8() + " " + signedPoints(stretch.points);
      separator = "; ";
    }
    text += "\n";
  }
  return text;
}

Json explanationJson(const WFExplanation& explanation, float threshold) {
  const Words forLast = strongestWords(explanation, true);
  const Words against = strongestWords(explanation, false);
  Json object;
  object["decided"] = stretchJson(explanation.decided);
  object["threshold"] = static_cast<float>(pointsOfThreshold(threshold));
  object["excerpt"] = jsonText(explanation.excerpt);
  object["start"] = static_cast<float>(explanation.start);
  object["total"] = static_cast<float>(explanation.total);
  object["for"] = wordsJson(forLast);
  object["against"] = wordsJson(against);
  object["rest"]["words"] = explanation.words.size() - forLast.size() - against.size();
  object["rest"]["points"] = static_cast<float>(pointsOfRest(explanation, forLast, against));
  object["others"] = Json::array();
  for (const WFExplainedStretch& stretch : explanation.others)
    object["others"].push_back(stretchJson(stretch));
  return object;
}

}  // namespace sifterra::tools
