#include "judge/LibraryMap.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "judge/default_judge.h"
#include "platform/Bundle.h"
#include "sifterra/text/WFWebPageToTrainingText.h"

namespace sifterra {

FakeScript calibratedScript(float first, float second) {
  FakeScript script;
  const auto word = [](std::int64_t category) {
    return std::u16string(WFWebPageToTrainingText::signatureForCategory(category).view());
  };
  script.answers[word(1)] = {{1, 0.9F}, {2, 0.2F}};
  script.answers[word(2)] = {{2, 0.8F}, {1, 0.1F}};
  script.otherwise = {{1, first}, {2, second}};
  return script;
}

LibraryMap::LibraryMap() {
  char name[] = "/tmp/sifterra-resources-XXXXXX";
  directory_ = ::mkdtemp(name);
  platform::Bundle::setLibraryDirectoryForTesting(directory_);
  setLoadableMap(nullptr);
  forgetJudge();
}

LibraryMap::~LibraryMap() {
  forgetJudge();
  setLoadableMap(nullptr);
  platform::Bundle::setLibraryDirectoryForTesting("");
  removeDirectory();
}

void LibraryMap::makeDirectory() const {
  std::filesystem::create_directory(directory_);
}
void LibraryMap::removeDirectory() const {
  std::filesystem::remove_all(directory_);
}
void LibraryMap::addMapFile() const {
  std::ofstream(directory_ + "/content_filter_map3") << "map";
}
void LibraryMap::setMap(FakeScript script) const {
  setLoadableMap(fakeMap(std::move(script)));
}
void LibraryMap::forgetJudge() const {
  resetDefaultJudgeForTesting();
}

}  // namespace sifterra
