// site_line: one line of a list of sites, in any of the forms that lists come in.
//
//   example.com                        a domain; also ".example.com" (Squid's dstdomain) and "*.example.com"
//   0.0.0.0 a.example b.example        a line of a hosts file
//   example.com/games                  an address without its scheme, as squidGuard's "urls" have it
//   http://example.com/games <Tab> Chess for everybody         an address and the title of its page
//
// "#" begins a comment at the beginning of a line or after white space. A domain is a host name or a dotted
// IPv4 address.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sifterra::tools {

enum class ListForm {
  Auto,        // each line tells by itself
  Domains,     // one domain a line
  Hosts,       // an address and the names that a hosts file gives it
  Squid,       // one domain a line, with a dot before it for all that is below it
  SquidGuard,  // addresses without their scheme
  Urls,        // addresses, and titles
};

// The form of that name ("domains", "squidguard", ...); nothing for any other.
[[nodiscard]] std::optional<ListForm> listFormNamed(std::string_view name);

struct ListedSite {
  std::string address;  // "http://example.com", or the address as the list has it; ASCII, RFC 3986
  std::string title;    // "" when the line has none
};

// What a line holds. A line of a hosts file may hold good names beside a bad one.
struct SiteLine {
  std::vector<ListedSite> sites;
  std::string problem;  // what is wrong with the line, "" when nothing is
};

inline constexpr std::size_t kLongestSiteLine = 8192;  // bytes; a longer one is a bad line

// The sites of a line without its line end. Blank lines and comments have none and no problem.
[[nodiscard]] SiteLine parseSiteLine(std::string_view line, ListForm form);

// The line, without its end, that stands for the site in a list of that form (Auto: as Urls); nothing when
// the form cannot tell it, as a list of domains cannot tell a path. parseSiteLine gives the same site back,
// but for the scheme, a "/" as the whole path, and a title, which Urls alone keeps.
[[nodiscard]] std::optional<std::string> siteLine(const ListedSite& site, ListForm form);

// A title as one line: control characters become spaces.
[[nodiscard]] std::string titleLine(std::string_view title);

// The host of an http or https address, in lower case and with the brackets of a literal; "" for any other
// text.
[[nodiscard]] std::string hostOfAddress(std::string_view address);

}  // namespace sifterra::tools
