// plain_domain.h: the site of a host and the path of an address, by cutting labels off one at a time. Knows
// no name service: a numeric host is its own site.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "sifterra/platform/URL.h"

namespace sifterra::reference {

inline std::string plainLower(std::string text) {
  for (char& c : text) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return text;
}

inline std::optional<std::string> plainDomain(const platform::URL& url) {
  static const std::set<std::string> kTwoLabels = {"com", "edu", "gov", "mil", "net", "org", "us"};
  const std::string host = url.host().toUTF8();
  if (host.empty()) return std::nullopt;
  if (host.find_first_not_of(".0123456789") == std::string::npos) return host;
  std::vector<std::string> labels(1);
  for (const char c : plainLower(host)) {
    if (c == '.') {
      labels.emplace_back();
    } else {
      labels.back() += c;
    }
  }
  if (labels.size() == 1) return labels[0];
  if (kTwoLabels.count(labels.back()) != 0) return labels[labels.size() - 2] + "." + labels.back();
  std::string site;
  for (std::size_t i = labels[0] == "www" ? 1 : 0; i < labels.size(); ++i) {
    site += labels[i] + (i + 1 < labels.size() ? "." : "");
  }
  return site;
}

inline std::string plainPath(const platform::URL& url) {
  std::string path = plainLower(url.path().toUTF8());
  while (!path.empty() && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace sifterra::reference
