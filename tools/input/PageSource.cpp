#include "input/PageSource.h"

#include <filesystem>
#include <system_error>

#include "input/FileSources.h"
#include "input/JsonLinesSource.h"
#include "input/WarcSource.h"
#include "input/ascii.h"

namespace sifterra::tools {
namespace {

bool endsWith(const std::string& path, std::string_view suffix) {
  return path.size() >= suffix.size() &&
         asciiEqual(std::string_view(path).substr(path.size() - suffix.size()), suffix);
}

}  // namespace

std::string PageRecord::name() const {
  if (number == 0) return path;
  return url.empty() ? path + ":" + std::to_string(number) : path + " " + url;
}

std::unique_ptr<PageSource> openPageSource(const std::string& path) {
  if (path == "warc:-") return std::make_unique<WarcSource>("-");
  if (path == "jsonl:-") return std::make_unique<JsonLinesSource>("-");
  std::error_code ignored;  // what cannot be looked at is reported when it is opened
  if (path != "-" && std::filesystem::is_directory(path, ignored))
    return std::make_unique<DirectorySource>(path);
  if (endsWith(path, ".warc") || endsWith(path, ".warc.gz")) return std::make_unique<WarcSource>(path);
  if (endsWith(path, ".jsonl") || endsWith(path, ".jsonl.gz")) return std::make_unique<JsonLinesSource>(path);
  return std::make_unique<FileSource>(path);
}

PageSources::PageSources(const std::vector<std::string>& paths) {
  bool known = true;
  for (const std::string& path : paths) {
    sources_.push_back(openPageSource(path));
    const std::uint64_t bytes = sources_.back()->bytesTotal();
    known = known && bytes > 0;
    total_ += bytes;
  }
  if (!known) total_ = 0;
}

PageSources::~PageSources() = default;

std::optional<PageItem> PageSources::next() {
  for (; at_ < sources_.size(); ++at_) {
    if (std::optional<PageItem> item = sources_[at_]->next()) return item;
    done_ += sources_[at_]->bytesTotal();
    sources_[at_] = nullptr;  // closes its file: thousands may follow
  }
  return std::nullopt;
}

std::uint64_t PageSources::bytesRead() const {
  return done_ + (at_ < sources_.size() ? sources_[at_]->bytesRead() : 0);
}

std::uint64_t PageSources::bytesTotal() const {
  return total_;
}

}  // namespace sifterra::tools
