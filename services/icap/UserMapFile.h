// UserMapFile: a user map that follows its file.
//
// Looks at the file's date at each question and reads it again when it has changed. A file that became
// unreadable or wrong leaves the map that was good last, and one line in the log.
#pragma once

#include <sys/stat.h>

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "Log.h"
#include "UserMap.h"

namespace sifterra::icap {

class UserMapFile {
 public:
  // Without a path there is nobody behind any address.
  UserMapFile(std::string path, Log log);

  // Reads the file now; what is wrong with it, or nothing.
  [[nodiscard]] std::string load();
  [[nodiscard]] std::string userOf(std::string_view address);

 private:
  struct Stamp {
    timespec changed{};
    off_t size = -1;
    ino_t file = 0;
    [[nodiscard]] bool operator==(const Stamp& other) const;
  };
  [[nodiscard]] Stamp stampNow() const;
  [[nodiscard]] std::shared_ptr<const UserMap> current();

  std::string path_;
  Log log_;
  std::mutex lock_;  // guards the rest
  Stamp stamp_;
  std::shared_ptr<const UserMap> map_ = std::make_shared<UserMap>();
};

}  // namespace sifterra::icap
