#include "input/FileSources.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "input/ByteStream.h"
#include "input/ascii.h"

namespace sifterra::tools {
namespace fs = std::filesystem;
namespace {

constexpr std::string_view kPageSuffixes[] = {".html", ".htm", ".xhtml", ".txt"};

bool hasPageSuffix(const fs::path& path) {
  const std::string suffix = asciiLower(path.extension().string());
  return std::find(std::begin(kPageSuffixes), std::end(kPageSuffixes), suffix) != std::end(kPageSuffixes);
}

// What may be a page: files, and what cannot be looked at, which is reported when its turn comes. Pipes,
// sockets and devices are none: opening one may wait for ever.
bool mayBePage(const fs::directory_entry& entry) {
  std::error_code ignored;
  const fs::file_type type = entry.status(ignored).type();
  return type != fs::file_type::directory && type != fs::file_type::fifo && type != fs::file_type::socket &&
         type != fs::file_type::block && type != fs::file_type::character && hasPageSuffix(entry.path());
}

}  // namespace

std::uint64_t fileSize(const std::string& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return 0;
  const std::uintmax_t size = fs::file_size(path, error);
  return error ? 0 : size;
}

PageItem readPageFile(const std::string& path) {
  PageItem item;
  item.page.path = path;
  item.page.site = path;
  try {
    FileStream file(path);
    item.page.bytes = platform::Data(readAll(file, kMaxPageBytes));
  } catch (const InputError& error) {
    item.error = path + ": " + error.what();
  }
  return item;
}

FileSource::FileSource(std::string path) : path_(std::move(path)), total_(fileSize(path_)) {}

std::optional<PageItem> FileSource::next() {
  if (done_) return std::nullopt;
  done_ = true;
  PageItem item = readPageFile(path_);
  read_ = total_;
  return item;
}

DirectorySource::DirectorySource(const std::string& directory)
    : prefix_(directory.empty() || directory.back() == '/' ? directory : directory + '/') {
  list(directory);
  if (entries_.empty()) {
    entries_.push_back({directory, 0, "is a directory without pages (.html, .htm, .xhtml or .txt)"});
  }
  std::sort(entries_.begin(), entries_.end(), [](const Entry& a, const Entry& b) { return a.path < b.path; });
  for (const Entry& entry : entries_) total_ += entry.size;
}

// Loops over the folders that are still to be listed, so that the depth of a tree costs no stack.
void DirectorySource::list(const std::string& directory) {
  std::vector<fs::path> folders{fs::path(directory)};
  while (!folders.empty()) {
    const fs::path folder = std::move(folders.back());
    folders.pop_back();
    std::error_code error;
    fs::directory_iterator entry(folder, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
      std::error_code ignored;  // of a single entry, as a link that leads nowhere
      if (entry->symlink_status(ignored).type() == fs::file_type::directory) {
        folders.push_back(entry->path());
      } else if (mayBePage(*entry)) {
        entries_.push_back({entry->path().string(), fileSize(entry->path().string()), {}});
      }
    }
    if (error) entries_.push_back({folder.string(), 0, "cannot be listed: " + error.message()});
  }
}

std::optional<PageItem> DirectorySource::next() {
  if (at_ == entries_.size()) return std::nullopt;
  const Entry& entry = entries_[at_++];
  if (!entry.error.empty()) {
    PageItem item;
    item.page.path = entry.path;
    item.error = entry.path + ": " + entry.error;
    return item;
  }
  PageItem item = readPageFile(entry.path);
  item.page.site = siteOf(entry.path);
  read_ += entry.size;
  return item;
}

std::string DirectorySource::siteOf(const std::string& path) const {
  const std::size_t slash = path.find('/', prefix_.size());
  return slash == std::string::npos ? path : path.substr(0, slash);
}

}  // namespace sifterra::tools
