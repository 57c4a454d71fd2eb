// PageMessages: pages as the ICAP messages that a proxy would send about them, made before the clock runs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sifterra::bench {

// One RESPMOD request. `head` goes out at once and ends with the preview; `rest` only after "100 Continue".
struct PageMessage {
  std::string head;
  std::string rest;  // empty when the preview held the whole body
  std::size_t bodyBytes = 0;
};

struct MessageOptions {
  std::string host;
  int port = 0;
  std::string service;
  std::string allow = "204";  // empty: no Allow header
  std::string header;         // one more line of the ICAP head, without its end
  bool preview = true;        // false: the whole body at once
  std::size_t previewBytes = 1024;
  std::size_t chunkBytes = 32 * 1024;  // of the rest, as a proxy reads it from the origin
};

// The bytes of the files of a directory, by name.
[[nodiscard]] std::vector<std::string> readPages(const std::string& directory);

[[nodiscard]] PageMessage messageOfPage(const std::string& page, std::size_t number,
                                        const MessageOptions& options);

}  // namespace sifterra::bench
