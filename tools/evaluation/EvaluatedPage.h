// EvaluatedPage: a labelled page and what the judge said of it.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace sifterra::tools {

// Why a mistake was made, in words.
struct ExplainedMistake {
  struct Word {
    std::string text;
    double points;  // above 0 towards the adult category
  };
  std::string decidedBy;  // "the whole page"
  double points = 0;      // of what decided
  std::string excerpt;
  std::vector<Word> forAdult;  // the strongest first
  std::vector<Word> against;
};

struct EvaluatedPage {
  std::string name;
  std::string title;   // "" without one
  int label = 0;       // category
  bool adult = false;  // the label is the map's last category
  bool restricted = false;
  std::int32_t evidence = 0;
  double score = 0;  // of the last category; 1 for a page that labels itself, 0 for one not analysed
  std::map<std::string, std::string> groups;            // "lang": "de", ...
  std::shared_ptr<const ExplainedMistake> explanation;  // of the worst mistakes, when asked for
};

}  // namespace sifterra::tools
