// short_refresh.h: whether a refresh meta tag sends the visitor on within seconds.
#pragma once

#include <string_view>

namespace sifterra {

// A page that refreshes to this image search is not counted, however short the delay: it shows its
// results that way. The host prefix is the deployment's choice.
inline constexpr std::u16string_view kImageSearchRefresh = u"url=http://images.";
inline constexpr unsigned kLongestShortRefresh = 10;  // seconds, inclusive

// Whether the content of a refresh meta tag begins with a delay of at most ten seconds.
[[nodiscard]] bool isShortRefresh(std::u16string_view content);

}  // namespace sifterra
