// How: about a third of the bytes is running text, the rest markup, as on the front pages of real sites.
#include "judge/generated_page.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>

namespace sifterra::bench {
namespace {

// xorshift: the same numbers with every standard library.
class Random {
 public:
  std::uint64_t next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return state_;
  }
  double fraction() { return static_cast<double>(next() >> 11) / 9007199254740992.0; }

 private:
  std::uint64_t state_ = 0x9e3779b97f4a7c15ULL;
};

class Writer {
 public:
  explicit Writer(const std::vector<std::string>& words) : words_(words) {}

  void add(const std::string& text) { page_ += text; }
  std::size_t size() const { return page_.size(); }
  std::string take() { return std::move(page_); }

  void addWords(std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      page_ += random_.next() % 50 == 0 ? madeUp() : drawn();
      page_ += i + 1 == count ? "" : (i % 12 == 11 ? ". " : " ");
    }
  }
  std::string number() { return std::to_string(random_.next() % 100000); }

  void addArticle() {
    const std::string id = number();
    add("<article class=\"teaser teaser-wide\" id=\"a" + id + "\">\n<h2><a href=\"/news/" + id +
        ".html\" title=\"");
    addWords(6);
    add("\">");
    addWords(7);
    add("</a></h2>\n<figure><img src=\"/img/" + id + ".jpg\" width=\"640\" height=\"360\" alt=\"");
    addWords(5);
    add("\"></figure>\n");
    for (int paragraph = 0; paragraph < 2; ++paragraph) {
      add("<p class=\"text\">");
      addWords(25);
      add(" <b>");
      addWords(3);
      add("</b> <a href=\"/topic/" + number() + "?ref=front&amp;pos=" + number() +
          "\" class=\"more link-inline\">");
      addWords(3);
      add("</a>.</p>\n");
    }
    add("<ul class=\"meta\"><li>12 " + id + "</li><li><span class=\"by\">");
    addWords(2);
    add("</span></li></ul>\n</article>\n");
  }

  void addScript() {
    add("<script>var d" + number() + " = {\"slot\": \"ad-" + number() + "\", \"text\": \"");
    addWords(8);
    add("\"};\nwindow.push(function() { if (a < b && c > d) { show('#x" + number() +
        "', {speed: 300}); } });</script>\n");
  }

 private:
  // Zipf's law: rank r comes up about 1/r as often as the first.
  const std::string& drawn() {
    const double rank = std::exp(random_.fraction() * std::log(static_cast<double>(words_.size())));
    return words_[std::min(words_.size() - 1, static_cast<std::size_t>(rank) - 1)];
  }
  std::string madeUp() {
    static constexpr const char* kSyllables[] = {"ba",  "co",  "du",  "fel", "gri",
                                                 "hon", "jak", "lim", "mor", "nur"};
    std::string word;
    for (int i = 0; i < 4; ++i) word += kSyllables[random_.next() % std::size(kSyllables)];
    return word;
  }

  const std::vector<std::string>& words_;
  Random random_;
  std::string page_;
};

bool isWordByte(unsigned char byte) {
  return byte >= 0x80 || (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}

}  // namespace

std::vector<std::string> wordsByFrequency(const std::vector<std::string>& texts) {
  std::map<std::string, std::size_t> counts;
  for (const std::string& text : texts) {
    std::string word;
    for (const char c : text + " ") {
      if (isWordByte(static_cast<unsigned char>(c))) {
        word += c;
        continue;
      }
      if (word.size() > 1) ++counts[word];
      word.clear();
    }
  }
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& a, const auto& b) { return a.second > b.second; });
  std::vector<std::string> words;
  for (const auto& [word, count] : sorted) words.push_back(word);
  return words;
}

std::string generatedPage(std::size_t bytes, const std::vector<std::string>& words) {
  Writer writer(words);
  writer.add("<!DOCTYPE html>\n<html lang=\"en\"><head><meta charset=\"utf-8\"><title>");
  writer.addWords(8);
  writer.add("</title>\n<meta name=\"description\" content=\"");
  writer.addWords(25);
  writer.add("\">\n<meta name=\"keywords\" content=\"");
  writer.addWords(10);
  writer.add("\">\n<style>.teaser { margin: 0 auto; } .more:hover { color: #336699; }</style>\n");
  writer.addScript();
  writer.add("</head><body>\n");
  for (std::size_t article = 0; writer.size() + 64 < bytes; ++article) {
    writer.addArticle();
    if (article % 4 == 3) writer.addScript();
  }
  writer.add("</body></html>\n");
  return writer.take();
}

}  // namespace sifterra::bench
