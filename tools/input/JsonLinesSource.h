// JsonLinesSource: pages as JSON objects, one a line, plain or compressed.
//
// Each object holds the page as "html", or as "text" without markup, and may tell "url", "label" (a
// category from 1 to 9, as number or as text), "site" and anything else; scalars become attributes. Blank
// lines are passed over. A line that is no such object is an error that names it; the next line is tried.
#pragma once

#include <memory>
#include <string>

#include "input/BufferedReader.h"
#include "input/PageSource.h"

namespace sifterra::tools {

class JsonLinesSource : public PageSource {
 public:
  explicit JsonLinesSource(std::string path);
  // Over a stream that is open already; `path` names it.
  JsonLinesSource(std::string path, std::unique_ptr<ByteStream> stream);

  [[nodiscard]] std::optional<PageItem> next() override;
  [[nodiscard]] std::uint64_t bytesRead() const override { return reader_ ? reader_->position() : 0; }
  [[nodiscard]] std::uint64_t bytesTotal() const override { return total_; }

 private:
  [[nodiscard]] PageItem pageOf(const BufferedReader::Line& line) const;

  std::string path_;
  std::uint64_t total_;
  std::unique_ptr<BufferedReader> reader_;
  std::size_t line_ = 0;
  bool done_ = false;
};

}  // namespace sifterra::tools
