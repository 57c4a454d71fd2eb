// PageSource: pages out of files, directories, standard input, WARC archives and JSON lines.
//
//   PageSources pages({"crawl.warc.gz", "saved/", "-"});
//   while (std::optional<PageItem> item = pages.next()) {
//     if (item->error) report(*item->error);  // one sentence naming the file; the reading goes on
//     else judge(item->page);
//   }
//
// What a path is, is told by its name: a directory is walked recursively, in the order of its sorted paths,
// for .html .htm .xhtml .txt; .warc .warc.gz are archives of HTTP responses, of which the HTML pages are
// taken; .jsonl .jsonl.gz hold one JSON object a line; "-" is one page on standard input; any other file
// is one page. Pages are read one at a time: memory stays within a few times the largest page.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sifterra/platform/Data.h"

namespace sifterra::tools {

// A larger page (after decompression) is reported and passed over.
inline constexpr std::size_t kMaxPageBytes = std::size_t{64} << 20;

// The members of a JSON line that PageRecord has fields for; every other one becomes an attribute.
//   {"html" or "text", "url", "label", "site", ...}
struct PageRecord {
  std::string path;        // the file as the command line or the walk names it, "-" for standard input
  std::size_t number = 0;  // of the record or line inside the file, from 1; 0 when the file is the page
  std::string url;         // "" when not known
  std::string charset;     // of the HTTP header, "" when not told; "utf-8" for JSON lines
  platform::Data bytes;    // HTML; the "text" of a JSON line arrives escaped, so that it is read as text
  int label = 0;           // category of a self-labelled page, 1 to 9; 0 when unlabelled
  // Pages of one site look alike, so they must not be split between training and calibration: the
  // "site" of a JSON line, the host of the URL, the first folder below the directory, else the path.
  std::string site;
  std::map<std::string, std::string> attributes;  // "lang", "kind", ...: scalars as text, others left out

  // The page for a reader: the path, followed by URL or line for a page inside a file.
  [[nodiscard]] std::string name() const;
};

// A page, or what kept one from being read.
struct PageItem {
  PageRecord page;
  std::optional<std::string> error;
};

class PageSource {
 public:
  virtual ~PageSource() = default;
  // The next page or error; nothing at the end. Not called again after that.
  [[nodiscard]] virtual std::optional<PageItem> next() = 0;
  // Bytes of the input used so far, and in all (0 when nobody knows, as for a pipe); for progress bars.
  [[nodiscard]] virtual std::uint64_t bytesRead() const = 0;
  [[nodiscard]] virtual std::uint64_t bytesTotal() const = 0;
};

// Opens one path. Never null: a path that cannot be opened gives a source of that one error.
[[nodiscard]] std::unique_ptr<PageSource> openPageSource(const std::string& path);

// Several paths, one after the other. Directories are listed at once, files opened when their turn comes.
class PageSources : public PageSource {
 public:
  explicit PageSources(const std::vector<std::string>& paths);
  ~PageSources() override;
  [[nodiscard]] std::optional<PageItem> next() override;
  [[nodiscard]] std::uint64_t bytesRead() const override;
  [[nodiscard]] std::uint64_t bytesTotal() const override;

 private:
  std::vector<std::unique_ptr<PageSource>> sources_;
  std::size_t at_ = 0;       // the source that is being read
  std::uint64_t done_ = 0;   // bytes of the sources before it
  std::uint64_t total_ = 0;  // of all sources, 0 when one does not know its own
};

}  // namespace sifterra::tools
