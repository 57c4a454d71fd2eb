// generated_page.h: pages of any size that look like those of a news site or a shop.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace sifterra::bench {

// The words of texts, most frequent first; what is not a letter parts them. UTF-8.
[[nodiscard]] std::vector<std::string> wordsByFrequency(const std::vector<std::string>& texts);

// A UTF-8 page of about `bytes` bytes: head with meta tags, style and script, then articles with
// headings, paragraphs, links and images. Words are drawn by Zipf's law; one in fifty is made up. The same
// arguments give the same page.
[[nodiscard]] std::string generatedPage(std::size_t bytes, const std::vector<std::string>& words);

}  // namespace sifterra::bench
