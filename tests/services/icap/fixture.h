// fixture: pages, and policies in a directory of the test's own.
#pragma once

#include <string>
#include <string_view>

namespace sifterra::icap {

// A directory that is gone at the end of the test.
class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  // Writes a file in one step, making the directories that lead to it; answers its path.
  std::string write(const std::string& name, std::string_view bytes) const;
  // The managed preferences of a user, below this root: the inside of the dictionary.
  void writePolicy(const std::string& user, std::string_view entries) const;
  // Something that is no policy, in its place.
  void breakPolicy(const std::string& user) const;
  [[nodiscard]] std::string policyPath(const std::string& user) const;

 private:
  std::string path_;
};

[[nodiscard]] std::string readFile(const std::string& path);

// Pages that the shipped map judges without doubt.
[[nodiscard]] std::string allowedPage();
[[nodiscard]] std::string refusedPage();

// The content filter, with lists of addresses.
[[nodiscard]] std::string contentFilter(std::string_view allowed = {}, std::string_view denied = {});

}  // namespace sifterra::icap
