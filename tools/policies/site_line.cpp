// How: a line is cut into its first word and the rest; the form, or what the first word looks like, says
// which of the small parsers below reads it.
#include "policies/site_line.h"

#include <algorithm>
#include <array>
#include <utility>

#include "input/ascii.h"
#include "policies/domain_text.h"
#include "sifterra/platform/URL.h"

namespace sifterra::tools {
namespace {

constexpr std::string_view kBlank = " \t";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kHttp = "http://";
constexpr std::string_view kHttps = "https://";
constexpr std::size_t kLongestExcerpt = 60;

constexpr std::pair<std::string_view, ListForm> kFormNames[] = {
    {"auto", ListForm::Auto},   {"domains", ListForm::Domains},       {"hosts", ListForm::Hosts},
    {"squid", ListForm::Squid}, {"squidguard", ListForm::SquidGuard}, {"urls", ListForm::Urls}};

// What hosts files name beside the sites that they block.
constexpr std::string_view kNamesOfTheMachine[] = {
    "localhost",     "localhost.localdomain", "localhost4",    "localhost6",   "local",
    "broadcasthost", "ip6-loopback",          "ip6-localhost", "ip6-localnet", "ip6-mcastprefix",
    "ip6-allnodes",  "ip6-allrouters",        "ip6-allhosts",  "0.0.0.0"};

SiteLine bad(std::string_view what, std::string_view word) {
  std::string problem = "\"";
  problem.append(word.substr(0, kLongestExcerpt)).append(word.size() > kLongestExcerpt ? "...\" " : "\" ");
  return {{}, problem.append(what)};
}

SiteLine oneSite(std::string address, std::string_view title = {}) {
  SiteLine line;
  line.sites.push_back({std::move(address), std::string(title)});
  return line;
}

std::string_view withoutComment(std::string_view line) {
  for (std::size_t at = line.find('#'); at != std::string_view::npos; at = line.find('#', at + 1)) {
    if (at == 0 || kBlank.find(line[at - 1]) != std::string_view::npos) return line.substr(0, at);
  }
  return line;
}

std::string_view firstWord(std::string_view text) {
  return text.substr(0, text.find_first_of(kBlank));
}

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// "1.2.3.0/24": no address, though it looks like one.
bool isNetwork(std::string_view word) {
  const std::size_t slash = word.find('/');
  return slash != std::string_view::npos && isIPv4Address(word.substr(0, slash)) &&
         word.find_first_not_of("0123456789", slash + 1) == std::string_view::npos && slash + 1 < word.size();
}

SiteLine domainLine(std::string_view word) {
  if (isIPv4Address(word)) return oneSite(std::string(kHttp).append(word));
  std::string_view name = word;
  const bool allBelow = name.starts_with('.') || name.starts_with("*.");
  if (allBelow) name.remove_prefix(name.front() == '.' ? 1 : 2);
  if (name.ends_with('.')) name.remove_suffix(1);  // the root, which addresses leave out
  if (!isASCII(name)) return bad("is not ASCII: an address bar sends the form that begins with xn--", word);
  if (!isDomainName(name)) return bad("is no domain", word);
  if (allBelow && name.find('.') == std::string_view::npos) {
    return bad("is a whole top-level domain, which a list cannot hold", word);
  }
  return oneSite(std::string(kHttp).append(asciiLower(name)));
}

SiteLine hostsLine(std::string_view rest) {
  SiteLine line;
  while (!(rest = asciiTrim(rest)).empty()) {
    const std::string_view word = firstWord(rest);
    rest.remove_prefix(word.size());
    const std::string name = asciiLower(word);
    if (std::find(std::begin(kNamesOfTheMachine), std::end(kNamesOfTheMachine), name) !=
        std::end(kNamesOfTheMachine)) {
      continue;
    }
    SiteLine one = domainLine(word);
    if (!one.problem.empty()) {
      line.problem = std::move(one.problem);  // of several, the last
    } else {
      line.sites.push_back(std::move(one.sites.front()));
    }
  }
  return line;
}

// What RFC 3986 wants escaped in a path or query, so that it compares with the addresses that browsers send.
std::string escaped(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  constexpr std::string_view kUnsafe = "\"<>[]\\^`{|}";
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    const auto byte = static_cast<unsigned char>(c);
    const bool stray =
        c == '%' && (text.size() - i < 3 || kDigits.find(asciiUpper(text[i + 1])) == kDigits.npos ||
                     kDigits.find(asciiUpper(text[i + 2])) == kDigits.npos);
    if (byte > 0x20 && byte < 0x7f && !stray && kUnsafe.find(c) == kUnsafe.npos) {
      out += c;
    } else {
      out.append({'%', kDigits[byte >> 4U], kDigits[byte & 15U]});
    }
  }
  return out;
}

bool isScheme(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
    return (asciiLower(c) >= 'a' && asciiLower(c) <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '-';
  });
}

SiteLine addressLine(std::string_view word, std::string_view title) {
  if (isNetwork(word)) return bad("is a range of addresses, which a list cannot hold", word);
  std::string_view scheme = kHttp;
  std::string_view rest = word;
  // "://" further behind belongs to the path, as in the address of a service that shows other pages.
  if (const std::size_t colon = word.find("://");
      colon != std::string_view::npos && isScheme(word.substr(0, colon))) {
    const std::string name = asciiLower(word.substr(0, colon + 3));
    if (name != kHttp && name != kHttps) return bad("is no http or https address", word);
    scheme = name == kHttp ? kHttp : kHttps;
    rest.remove_prefix(colon + 3);
  }
  const std::size_t end = std::min(rest.find_first_of("/?#"), rest.size());
  const std::string_view authority = rest.substr(0, end);
  if (!isASCII(authority))
    return bad("is not ASCII: an address bar sends the form that begins with xn--", word);
  if (authority.find('@') != std::string_view::npos) return bad("names a user, which is not compared", word);
  // A fragment never reaches a server, nor a list.
  const std::string_view path = rest.substr(end, rest.find('#', end) - end);
  std::string address = std::string(scheme).append(asciiLower(authority)).append(escaped(path));
  const std::string host = hostOfAddress(address);
  if (host.empty() || !(host.front() == '[' || isIPv4Address(host) || isDomainName(host))) {
    return bad("is no web address", word);
  }
  return oneSite(std::move(address), titleLine(title));
}

bool looksLikeHostsLine(std::string_view word, std::string_view rest) {
  return !rest.empty() && (isIPv4Address(word) || isIPv6Address(word));
}

}  // namespace

std::optional<ListForm> listFormNamed(std::string_view name) {
  for (const auto& [known, form] : kFormNames) {
    if (known == name) return form;
  }
  return std::nullopt;
}

std::string titleLine(std::string_view title) {
  std::string line(title);
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return std::string(asciiTrim(line));
}

std::string hostOfAddress(std::string_view address) {
  const platform::URL url = platform::URL::fromString(platform::String::fromUTF8(address));
  const std::string scheme = asciiLower(url.scheme().toUTF8());
  return scheme == "http" || scheme == "https" ? asciiLower(url.host().toUTF8()) : std::string();
}

SiteLine parseSiteLine(std::string_view line, ListForm form) {
  if (line.starts_with(kByteOrderMark)) line.remove_prefix(kByteOrderMark.size());
  if (line.size() > kLongestSiteLine) return bad("is longer than a line may be", line);
  const std::string_view whole = asciiTrim(line);
  const std::string_view text = asciiTrim(withoutComment(whole));
  if (text.empty()) return {};
  if (text.find('\0') != std::string_view::npos) return bad("holds a zero byte", text);
  const std::string_view word = firstWord(text);
  const std::string_view rest = asciiTrim(text.substr(word.size()));
  if (form == ListForm::Auto && looksLikeHostsLine(word, rest)) form = ListForm::Hosts;
  if (form == ListForm::Hosts) {
    return looksLikeHostsLine(word, rest) ? hostsLine(rest) : bad("is no line of a hosts file", text);
  }
  const bool addresses = form == ListForm::Urls || form == ListForm::SquidGuard ||
                         (form == ListForm::Auto && word.find_first_of("/:?") != std::string_view::npos);
  // A title may hold anything, "#" too; it begins behind a tab.
  const bool titled = addresses && whole.size() > word.size() && whole[word.size()] == '\t';
  if (!rest.empty() && !titled) return bad("holds more than one word", text);
  if (!addresses) return domainLine(word);
  return addressLine(word, titled ? asciiTrim(whole.substr(word.size())) : std::string_view());
}

}  // namespace sifterra::tools
