#include "policies/SiteList.h"

#include <memory>
#include <optional>
#include <utility>

#include "input/BufferedReader.h"
#include "input/GzipStream.h"

namespace sifterra::tools {

SiteList readSiteList(std::unique_ptr<ByteStream> stream, ListForm form) {
  BufferedReader reader(std::make_unique<GzipStream>(std::move(stream)));
  SiteList list;
  // One byte more than a line may have, so that a line that is too long is seen to be.
  while (const std::optional<BufferedReader::Line> line = reader.readLine(kLongestSiteLine + 1)) {
    ++list.lineCount;
    SiteLine parsed = parseSiteLine(line->text, form);
    if (list.sites.size() + parsed.sites.size() > SiteList::kMostSites) {
      parsed = {{}, "there are more than " + std::to_string(SiteList::kMostSites) + " sites"};
    }
    for (ListedSite& site : parsed.sites) list.sites.push_back(std::move(site));
    if (parsed.problem.empty()) continue;
    ++list.badLineCount;
    if (list.badLines.size() < SiteList::kMostBadLinesTold) {
      list.badLines.push_back({list.lineCount, std::move(parsed.problem)});
    }
  }
  return list;
}

}  // namespace sifterra::tools
