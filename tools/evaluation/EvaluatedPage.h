// EvaluatedPage: a labelled page and what the judge said of it.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace sifterra::tools {

struct EvaluatedPage {
  std::string name;
  std::string title;   // "" without one
  int label = 0;       // category
  bool adult = false;  // the label is the map's last category
  bool restricted = false;
  std::int32_t evidence = 0;
  double score = 0;  // of the last category; 1 for a page that labels itself, 0 for one not analysed
  std::map<std::string, std::string> groups;  // "lang": "de", ...
};

}  // namespace sifterra::tools
