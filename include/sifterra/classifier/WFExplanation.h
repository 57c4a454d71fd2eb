// WFExplanation: what pushed a text towards the last category, and what away from it.
//
// A map adds up log-odds; here they are called points. A point more makes the last category e times (2.7
// times) as likely as it was. Every page starts with the same points, and each different word adds its share:
//
//   total = start + the points of all words
//
// The map judges the whole page, its parts and stretches of it one by one, and the one that speaks most for
// the last category decides, after some points are taken off for the chance of finding one at all.
#pragma once

#include <cstdint>
#include <vector>

#include "sifterra/platform/String.h"

namespace sifterra {

struct WFExplainedWord {
  // Unknown: the map does not know the word, but its letters are like those of words that it knows. Fixed: it
  // stands in the text of every page.
  enum class Nature : std::uint8_t { Known, Unknown, Fixed };

  platform::String word;     // as the map knows it; null for a fixed one
  platform::String meaning;  // what it stands for, where it is no word of the page; else null
  Nature nature = Nature::Known;
  double points = 0;
  std::uint32_t count = 0;                // in what decided
  std::vector<platform::String> places;   // "title", "text", ...; none for a text without sections
  std::vector<platform::String> written;  // as it stands on the page, where that is something else
};

struct WFExplainedStretch {
  platform::String name;  // "the whole page", "the text", ...
  double points = 0;      // with what is taken off
  double takenOff = 0;
  // Of a long page's stretches the mean of so many, those that speak plainest, is what counts, and the words
  // are those of the very plainest. 0 for the page as a whole and its parts, which count by themselves.
  std::uint32_t stretches = 0;
};

struct WFExplanation {
  WFExplainedStretch decided;
  std::vector<WFExplainedStretch> others;  // that were judged as well
  double start = 0;
  double total = 0;                    // of what decided, with nothing taken off
  std::vector<WFExplainedWord> words;  // of what decided; what speaks most for the last category comes first
  platform::String excerpt;            // where what decided says it most plainly
};

}  // namespace sifterra
