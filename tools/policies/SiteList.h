// SiteList: the sites of a whole list, and its bad lines by number.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "input/ByteStream.h"
#include "policies/site_line.h"

namespace sifterra::tools {

struct SiteList {
  struct BadLine {
    std::size_t number;  // from 1
    std::string problem;
  };
  // So many bad lines are told; of more there is only the number.
  static constexpr std::size_t kMostBadLinesTold = 20;
  // More sites are bad lines: no preference file could hold them (PropertyList.h).
  static constexpr std::size_t kMostSites = 1'000'000;

  std::vector<ListedSite> sites;  // in the order of the list, repeated ones too
  std::vector<BadLine> badLines;
  std::size_t badLineCount = 0;
  std::size_t lineCount = 0;
};

// Reads a list, plain or compressed with gzip. Throws InputError when the stream cannot be read.
[[nodiscard]] SiteList readSiteList(std::unique_ptr<ByteStream> stream, ListForm form);

}  // namespace sifterra::tools
