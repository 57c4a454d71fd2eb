// host_name: a host is split at its dots literally; empty labels count.
#include "policy/host_name.h"

#include <algorithm>
#include <array>

#include "platform/Unicode.h"

namespace sifterra {
namespace {

constexpr std::size_t kNone = std::u16string_view::npos;

constexpr std::array<std::u16string_view, 7> kReducedLabels = {u"com", u"edu", u"gov", u"mil",
                                                               u"net", u"org", u"us"};

bool isReduced(std::u16string_view label) noexcept {
  return std::any_of(kReducedLabels.begin(), kReducedLabels.end(), [&](std::u16string_view reduced) {
    // No other letters than the Latin ones have these in lower case.
    return label.size() == reduced.size() &&
           std::equal(label.begin(), label.end(), reduced.begin(),
                      [](char16_t a, char16_t b) { return (a >= u'A' && a <= u'Z' ? a | 0x20 : a) == b; });
  });
}

}  // namespace

bool isNumericHost(std::u16string_view host) noexcept {
  return !host.empty() && std::all_of(host.begin(), host.end(), [](char16_t unit) {
    return unit == u'.' || (unit >= u'0' && unit <= u'9');
  });
}

std::size_t lastTwoLabels(std::u16string_view host) noexcept {
  const std::size_t dot = host.rfind(u'.');
  if (dot == 0 || dot == kNone) return 0;
  const std::size_t before = host.rfind(u'.', dot - 1);
  return before == kNone ? 0 : before + 1;
}

std::u16string_view siteOfHost(std::u16string_view host) noexcept {
  const std::size_t lastDot = host.rfind(u'.');
  if (lastDot == kNone) return host;
  if (isReduced(host.substr(lastDot + 1))) return host.substr(lastTwoLabels(host));
  const bool www = host.size() >= 4 && (host[0] | 0x20) == u'w' && (host[1] | 0x20) == u'w' &&
                   (host[2] | 0x20) == u'w' && host[3] == u'.';
  return www ? host.substr(4) : host;
}

}  // namespace sifterra
