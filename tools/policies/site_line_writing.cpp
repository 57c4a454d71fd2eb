// siteLine: a site as a line of a list. What is written is read again at once, so that a form is never said
// to tell what it cannot ("localhost" in a hosts file, "192.0.2.1/24" without its scheme).
#include "input/ascii.h"
#include "policies/domain_text.h"
#include "policies/site_line.h"

namespace sifterra::tools {
namespace {

// The address without its scheme, which is http or https, and without a "/" that is the whole path.
std::string_view siteOf(std::string_view address) {
  address.remove_prefix(address.find("://") + 3);
  if (address.find('/') == address.size() - 1) address.remove_suffix(1);
  return address;
}

// The host, when the address holds nothing beside it.
std::string_view bareHost(std::string_view address) {
  const std::string_view site = siteOf(address);
  return site.find_first_of("/?#:@[") == std::string_view::npos ? site : std::string_view();
}

bool isReadAs(const std::string& address, const std::string& line, ListForm form) {
  const SiteLine read = parseSiteLine(line, form);
  return read.problem.empty() && read.sites.size() == 1 &&
         siteOf(read.sites.front().address) == siteOf(address);
}

std::string lineOf(const std::string& address, const std::string& title, ListForm form) {
  std::string host(bareHost(address));
  switch (form) {
    case ListForm::Domains:
      return host;
    case ListForm::Squid:
      // A dot before a numeric host or a single label would not stand for what is below it.
      return isDomainName(host) && host.find('.') != std::string::npos ? "." + host : host;
    case ListForm::Hosts:
      return isDomainName(host) ? "0.0.0.0 " + host : std::string();
    case ListForm::SquidGuard:
      return address.substr(address.find("://") + 3);
    case ListForm::Auto:
    case ListForm::Urls:
      break;
  }
  return title.empty() ? address : address + "\t" + title;
}

}  // namespace

std::optional<std::string> siteLine(const ListedSite& site, ListForm form) {
  if (site.address.find('\t') != std::string::npos) return std::nullopt;  // would be taken for a title
  const SiteLine read = parseSiteLine(site.address, ListForm::Urls);
  if (read.sites.empty()) return std::nullopt;
  const std::string& address = read.sites.front().address;
  std::string line = lineOf(address, titleLine(site.title), form);
  const bool isRead = isReadAs(address, line, form) && isReadAs(address, line, ListForm::Auto);
  return isRead ? std::optional(std::move(line)) : std::nullopt;
}

}  // namespace sifterra::tools
