// WarcSource: the HTML pages of a WARC archive, plain or compressed.
//
// Taken are the records of type "response" that hold an HTTP response whose Content-Type is HTML (or
// is absent, and the body begins like markup), whatever the status. Any other record is passed over. A
// record that cannot be read is an error, and the next one is tried, unless the archive itself is damaged
// there.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "input/PageSource.h"
#include "input/WarcReader.h"

namespace sifterra::tools {

class WarcSource : public PageSource {
 public:
  explicit WarcSource(std::string path);
  // Over a stream that is open already; `path` names it.
  WarcSource(std::string path, std::unique_ptr<ByteStream> stream);

  [[nodiscard]] std::optional<PageItem> next() override;
  [[nodiscard]] std::uint64_t bytesRead() const override;
  [[nodiscard]] std::uint64_t bytesTotal() const override { return total_; }

 private:
  [[nodiscard]] std::optional<PageItem> pageOf(const WarcRecord& record);

  std::string path_;
  std::uint64_t total_;
  std::unique_ptr<WarcReader> records_;
  bool done_ = false;
};

}  // namespace sifterra::tools
