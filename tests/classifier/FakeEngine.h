// FakeEngine: an engine that answers from a script, linked in place of the real one.
//
//   const lsm::LsmMap map = fakeMap({.answers = {{u"word", {{1, 0.9F}, {2, 0.2F}}}}});
//
// Gives tests every score and every failure, also those that the real engine never shows.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "lsm/LsmEngine.h"

namespace sifterra {

struct FakeScript {
  std::int64_t categories = 2;
  bool hasProperties = true;
  lsm::LsmProperties properties = {};
  std::map<std::u16string, std::vector<lsm::LsmScore>> answers = {};  // by the whole text
  std::vector<lsm::LsmScore> otherwise = {};                          // for any other text
  bool textFails = false;
  int addWordsStatus = 0;
  bool evaluationFails = false;
  bool evaluationThrows = false;  // for any text without an answer
  std::string dump = {};
  bool dumpFails = false;
};

lsm::LsmMap fakeMap(FakeScript script);

// What lsmMapLoad answers for any path: nothing at first. Counts the loads.
void setLoadableMap(const lsm::LsmMap& map);
int loadCount();
// Texts that have been created and not yet dropped.
int liveTexts();
// The number of results that the last evaluation was asked for.
std::int64_t lastRequestedCount();

}  // namespace sifterra
