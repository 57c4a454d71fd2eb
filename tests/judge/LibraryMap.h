// LibraryMap: a resource directory and an engine map for the default judge, for the life of a test.
#pragma once

#include <string>

#include "classifier/FakeEngine.h"

namespace sifterra {

// An engine map with floors 0.1 and 0.2, ceilings 0.9 and 0.8, and these raw scores for any page.
FakeScript calibratedScript(float first, float second);

class LibraryMap {
 public:
  LibraryMap();  // an empty directory, no map, no default judge
  ~LibraryMap();
  LibraryMap(const LibraryMap&) = delete;
  LibraryMap& operator=(const LibraryMap&) = delete;

  [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
  void makeDirectory() const;
  void removeDirectory() const;
  void addMapFile() const;               // content_filter_map3; its contents do not matter
  void setMap(FakeScript script) const;  // what the engine loads
  void forgetJudge() const;

 private:
  std::string directory_;
};

}  // namespace sifterra
