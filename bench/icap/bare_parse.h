// bare_parse.h: what the parser alone costs, the baseline that a filter's processor time is compared with.
#pragma once

#include <string>
#include <vector>

namespace sifterra::bench {

// The processor time in milliseconds that parsing and freeing each of `pages` once takes, by `threads`
// threads that share the pages; the parser has the same options as the library's.
[[nodiscard]] double bareParseMilliseconds(const std::vector<std::string>& pages, unsigned threads);

}  // namespace sifterra::bench
