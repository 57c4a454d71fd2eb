// FileSources: one file as one page, and the pages of a directory.
#pragma once

#include <string>
#include <vector>

#include "input/PageSource.h"

namespace sifterra::tools {

// A file, or standard input for "-".
class FileSource : public PageSource {
 public:
  explicit FileSource(std::string path);
  [[nodiscard]] std::optional<PageItem> next() override;
  [[nodiscard]] std::uint64_t bytesRead() const override { return read_; }
  [[nodiscard]] std::uint64_t bytesTotal() const override { return total_; }

 private:
  std::string path_;
  bool done_ = false;
  std::uint64_t read_ = 0;
  std::uint64_t total_;
};

// The pages below a directory. Folders that are symbolic links are not entered (they may lead in
// circles), links to files are followed. A folder that cannot be listed is an error of its own.
class DirectorySource : public PageSource {
 public:
  explicit DirectorySource(const std::string& directory);
  [[nodiscard]] std::optional<PageItem> next() override;
  [[nodiscard]] std::uint64_t bytesRead() const override { return read_; }
  [[nodiscard]] std::uint64_t bytesTotal() const override { return total_; }

 private:
  struct Entry {
    std::string path;
    std::uint64_t size;
    std::string error;  // what stands there instead of a page
  };
  void list(const std::string& directory);
  [[nodiscard]] std::string siteOf(const std::string& path) const;

  std::string prefix_;  // the directory with its final slash
  std::vector<Entry> entries_;
  std::size_t at_ = 0;
  std::uint64_t read_ = 0;
  std::uint64_t total_ = 0;
};

// The page of a whole file as an item: its bytes, or why there are none.
[[nodiscard]] PageItem readPageFile(const std::string& path);
// The size of a regular file, else 0.
[[nodiscard]] std::uint64_t fileSize(const std::string& path);

}  // namespace sifterra::tools
