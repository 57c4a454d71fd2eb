// fixtures: files, archives and messages made for one test.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "input/PageSource.h"

namespace sifterra::tools {

// A directory of its own, gone at the end of the test.
class TemporaryFolder {
 public:
  TemporaryFolder();
  ~TemporaryFolder();
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::string& path() const { return path_; }
  // Writes a file, making the folders that lead to it; answers its path.
  std::string write(const std::string& name, std::string_view bytes) const;
  [[nodiscard]] std::string at(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// One gzip member; members may be put one behind the other.
[[nodiscard]] std::string gzipped(std::string_view bytes);
// HTTP's "deflate", with zlib's header or without.
[[nodiscard]] std::string deflated(std::string_view bytes, bool zlibHeader);

// An HTTP/1.1 message; `headers` are whole lines, each ending in CRLF.
[[nodiscard]] std::string httpMessage(std::string_view headers, std::string_view body,
                                      std::string_view status = "200 OK");
// The body in chunks of that size, with the last, empty one.
[[nodiscard]] std::string chunked(std::string_view body, std::size_t size);

// A WARC record; `fields` are whole lines, each ending in CRLF.
[[nodiscard]] std::string warcRecord(std::string_view fields, std::string_view block,
                                     std::string_view version = "1.0");
// A record of type response that holds that message.
[[nodiscard]] std::string warcResponse(std::string_view uri, std::string_view message);

// Everything that a source gives.
[[nodiscard]] std::vector<PageItem> allItems(PageSource& source);
// The texts of its errors, in order, each without `path` wherever it stands.
[[nodiscard]] std::vector<std::string> errorsOf(const std::vector<PageItem>& items, const std::string& path);
// The bytes of its pages, in order.
[[nodiscard]] std::vector<std::string> bytesOf(const std::vector<PageItem>& items);

}  // namespace sifterra::tools
