// SiteListFuzz: a list of sites gives the same sites and bad lines however it arrives; a bad line costs no
// other line; whatever is read is a web address that is read again from every form that can tell it.
#include "policies/SiteList.h"

#include <cstdint>
#include <cstdlib>
#include <memory>

#include "policies/site_line.h"
#include "sifterra/platform/URL.h"

using namespace sifterra::tools;

namespace {

constexpr ListForm kForms[] = {ListForm::Auto,  ListForm::Domains,    ListForm::Hosts,
                               ListForm::Squid, ListForm::SquidGuard, ListForm::Urls};

void require(bool holds) {
  if (!holds) std::abort();
}

// Compressed input may unfold a thousandfold and is JsonLinesSourceFuzz's and WarcSourceFuzz's business.
bool isCompressed(std::string_view bytes) {
  return bytes.substr(0, 2) == "\x1f\x8b";
}

SiteList listOf(std::string_view bytes, std::size_t chunk, ListForm form) {
  return readSiteList(std::make_unique<MemoryStream>(bytes, chunk), form);
}

void requireSame(const SiteList& a, const SiteList& b) {
  require(a.sites.size() == b.sites.size() && a.badLineCount == b.badLineCount &&
          a.lineCount == b.lineCount && a.badLines.size() == b.badLines.size());
  for (std::size_t i = 0; i < a.sites.size(); ++i) {
    require(a.sites[i].address == b.sites[i].address && a.sites[i].title == b.sites[i].title);
  }
  for (std::size_t i = 0; i < a.badLines.size(); ++i) {
    require(a.badLines[i].number == b.badLines[i].number && a.badLines[i].problem == b.badLines[i].problem);
  }
}

void requireGood(const SiteList& list) {
  std::size_t before = 0;
  for (const SiteList::BadLine& line : list.badLines) {
    require(line.number > before && line.number <= list.lineCount && !line.problem.empty());
    before = line.number;
  }
  require(list.badLines.size() <= SiteList::kMostBadLinesTold && list.badLineCount >= list.badLines.size());
}

// The host and what follows it; a "/" alone is no path.
std::string compared(const std::string& address) {
  std::string rest = address.substr(address.find("://") + 3);
  if (rest.ends_with('/') && rest.find('/') == rest.size() - 1) rest.pop_back();
  return rest;
}

void requireRoundTrips(const ListedSite& site) {
  require(!hostOfAddress(site.address).empty());
  const auto asUrl = siteLine(site, ListForm::Urls);
  const SiteLine again = asUrl ? parseSiteLine(*asUrl, ListForm::Urls) : SiteLine();
  require(again.sites.size() == 1 && again.problem.empty());
  require(again.sites[0].address == site.address && again.sites[0].title == site.title);
  for (const ListForm form : kForms) {
    const auto line = siteLine({site.address, ""}, form);
    if (!line) continue;
    for (const ListForm reader : {form, ListForm::Auto}) {
      const SiteLine read = parseSiteLine(*line, reader);
      require(read.problem.empty() && read.sites.size() == 1);
      require(compared(read.sites[0].address) == compared(site.address));
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const ListForm form = kForms[data[0] % std::size(kForms)];
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (isCompressed(bytes)) return 0;
  const SiteList whole = listOf(bytes, SIZE_MAX, form);
  requireGood(whole);
  requireSame(whole, listOf(bytes, 1, form));
  requireSame(whole, listOf(bytes, 1 + size / 3, form));
  for (const ListedSite& site : whole.sites) requireRoundTrips(site);
  // A line that cannot be read, put before all others, changes nothing but the numbers.
  const std::string spoiled = "no such line\n" + std::string(bytes);
  const SiteList after = listOf(spoiled, SIZE_MAX, form);
  require(after.sites.size() == whole.sites.size() && after.badLineCount == whole.badLineCount + 1 &&
          after.lineCount == whole.lineCount + 1);
  return 0;
}
