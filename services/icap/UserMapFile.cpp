#include "UserMapFile.h"

#include <utility>
#include <variant>

namespace sifterra::icap {

bool UserMapFile::Stamp::operator==(const Stamp& other) const {
  return changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec &&
         size == other.size && file == other.file;
}

UserMapFile::UserMapFile(std::string path, Log log) : path_(std::move(path)), log_(std::move(log)) {}

UserMapFile::Stamp UserMapFile::stampNow() const {
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0) return {};
  return {status.st_mtim, status.st_size, status.st_ino};
}

std::string UserMapFile::load() {
  if (path_.empty()) return {};
  const Stamp stamp = stampNow();
  auto read = UserMap::readFile(path_);
  const std::lock_guard held(lock_);
  stamp_ = stamp;
  if (auto* problem = std::get_if<std::string>(&read)) return std::move(*problem);
  map_ = std::make_shared<UserMap>(std::get<UserMap>(std::move(read)));
  return {};
}

std::shared_ptr<const UserMap> UserMapFile::current() {
  {
    const Stamp stamp = stampNow();
    const std::lock_guard held(lock_);
    if (stamp == stamp_) return map_;
    stamp_ = stamp;  // others keep using the old map while this thread reads
  }
  const std::string problem = load();
  if (problem.empty())
    log_("the user map " + path_ + " has changed and is in force");
  else
    log_("the user map stays as it was: " + problem);
  const std::lock_guard held(lock_);
  return map_;
}

std::string UserMapFile::userOf(std::string_view address) {
  return path_.empty() || address.empty() ? std::string() : current()->userOf(address);
}

}  // namespace sifterra::icap
