// xmlPropertyListProblem: a strict reading of the markup, element by element.
//
// Only what a property list needs passes: the ten elements, comments, processing instructions, a document
// type without declarations of its own, character data where there is text. Quotes are refused inside tags
// and processing instructions unless they come in pairs that hold no bracket, because libplist looks for the
// end of both outside quotes. So both readers find the same elements, and the depth counted here is the
// depth built there.
#include <algorithm>
#include <array>
#include <vector>

#include "platform/property_list_guard.h"

namespace sifterra::platform {
namespace {

constexpr std::string_view kWhiteSpace = " \t\r\n";
constexpr std::array<std::string_view, 2> kContainers = {"array", "dict"};
constexpr std::array<std::string_view, 6> kTexts = {"string", "key", "integer", "real", "date", "data"};
constexpr std::array<std::string_view, 2> kEmpties = {"true", "false"};

constexpr auto kNotXML = "it is neither an XML nor a binary property list";
constexpr auto kNotClosed = "an element is not closed";
constexpr auto kEndsInside = "it ends in the middle of its markup";

template <std::size_t N>
bool isOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

class Guard {
 public:
  explicit Guard(std::string_view bytes) : rest_(bytes) {}

  const char* run() {
    if (rest_.find('\0') != std::string_view::npos) return kNotXML;
    while (true) {
      skipWhiteSpace();
      if (rest_.empty()) break;
      if (rest_.front() != '<') return values_ == 0 ? kNotXML : "there is text where no text belongs";
      if (const char* problem = markup()) return problem;
      if (done_) return nullptr;
    }
    if (!open_.empty()) return kNotClosed;
    return values_ == 0 ? kNotXML : nullptr;
  }

 private:
  struct Element {
    std::string_view name;
    std::size_t keys = 0;  // directly inside, so far
  };

  bool startsWith(std::string_view text) const { return rest_.starts_with(text); }
  void skipWhiteSpace() { rest_.remove_prefix(std::min(rest_.find_first_not_of(kWhiteSpace), rest_.size())); }

  // Past the next occurrence of `end`, from `from` on.
  const char* skipPast(std::string_view end, std::size_t from) {
    const std::size_t at = rest_.find(end, from);
    if (at == std::string_view::npos) return kEndsInside;
    rest_.remove_prefix(at + end.size());
    return nullptr;
  }

  const char* markup() {
    if (startsWith("<!--")) return skipPast("-->", 4);
    if (startsWith("<?")) return processingInstruction();
    if (startsWith("<!DOCTYPE")) return documentType();
    if (startsWith("</")) return endTag();
    return startTag();
  }

  const char* processingInstruction() {
    const std::size_t end = rest_.find("?>", 2);
    if (end == std::string_view::npos) return kEndsInside;
    if (!quotesPair(rest_.substr(2, end - 2))) return "a processing instruction holds a single quote";
    rest_.remove_prefix(end + 2);
    return nullptr;
  }

  const char* documentType() {
    const std::size_t end = rest_.find_first_of("[>", 1);
    if (end == std::string_view::npos) return kEndsInside;
    if (rest_[end] == '[') return "its document type declares entities";
    if (!quotesPair(rest_.substr(0, end))) return "its document type holds a single quote";
    rest_.remove_prefix(end + 1);
    return nullptr;
  }

  const char* endTag() {
    const std::size_t end = rest_.find('>');
    if (end == std::string_view::npos) return kEndsInside;
    const std::string_view name = rest_.substr(2, end - 2);
    if (open_.empty() || name != open_.back().name) return "an end tag stands in the wrong place";
    open_.pop_back();
    rest_.remove_prefix(end + 1);
    // What follows the list is not looked at, here and there.
    done_ = name == "plist";
    return nullptr;
  }

  const char* startTag() {
    const std::size_t end = rest_.find_first_of("<>", 1);
    if (end == std::string_view::npos || rest_[end] != '>') return kEndsInside;
    std::string_view tag = rest_.substr(1, end - 1);
    rest_.remove_prefix(end + 1);
    const bool empty = tag.ends_with('/');
    if (empty) tag.remove_suffix(1);
    const std::string_view name = tag.substr(0, tag.find_first_of(kWhiteSpace));
    if (!quotesPair(tag)) return "a tag holds a single quote";
    if (name == "plist") return plistTag(empty);
    if (++values_ > kMostPropertyListValues) return "it holds more than 2,000,000 values";
    if (isOneOf(name, kContainers)) {
      if (empty) return nullptr;
      open_.push_back({name});
      return open_.size() - inPlist_ > kDeepestPropertyList ? "it is nested deeper than 64 levels" : nullptr;
    }
    if (name == "key" && !open_.empty()) compared_ += open_.back().keys++;
    if (compared_ > kMostComparedKeys) return "its dictionaries hold too many keys";
    if (isOneOf(name, kTexts)) return empty ? nullptr : text(name);
    if (isOneOf(name, kEmpties)) return empty ? nullptr : emptyElement(name);
    return "it holds an element that property lists do not have";
  }

  const char* plistTag(bool empty) {
    if (empty || inPlist_ || !open_.empty()) return "a plist element stands in the wrong place";
    inPlist_ = 1;
    open_.push_back({"plist"});
    return nullptr;
  }

  const char* emptyElement(std::string_view name) {
    skipWhiteSpace();
    return closing(name);
  }

  // Character data, comments and CDATA sections up to the element's end tag.
  const char* text(std::string_view name) {
    const char* const start = rest_.data();
    std::size_t references = 0;
    while (true) {
      const std::size_t next = std::min(rest_.find('<'), rest_.size());
      references += static_cast<std::size_t>(
          std::count(rest_.begin(), rest_.begin() + static_cast<std::ptrdiff_t>(next), '&'));
      rest_.remove_prefix(next);
      const char* problem = nullptr;
      if (startsWith("<!--")) {
        problem = skipPast("-->", 4);
      } else if (startsWith("<![CDATA[")) {
        problem = skipPast("]]>", 9);
      } else {
        break;
      }
      if (problem) return problem;
    }
    // Every reference moves what is behind it.
    const auto length = static_cast<std::size_t>(rest_.data() - start);
    moved_ += references * length;
    if (moved_ > kMostMovedBytes) return "its texts hold too many character references";
    return closing(name);
  }

  const char* closing(std::string_view name) {
    if (!startsWith("</") || rest_.substr(2, name.size()) != name || rest_.substr(2 + name.size(), 1) != ">")
      return rest_.empty() ? kNotClosed : "a text holds markup";
    rest_.remove_prefix(name.size() + 3);
    return nullptr;
  }

  // Whether the quotes pair off, with no angle bracket between them.
  static bool quotesPair(std::string_view text) {
    char open = 0;
    for (const char c : text) {
      if (open) {
        if (c == open) open = 0;
        if (c == '<' || c == '>' || c == '[') return false;
      } else if (c == '"' || c == '\'') {
        open = c;
      }
    }
    return !open;
  }

  std::string_view rest_;
  std::vector<Element> open_;  // the elements around the place
  std::size_t inPlist_ = 0;    // 1 inside the plist element, which does not count as a level
  std::size_t values_ = 0;
  std::size_t moved_ = 0;
  std::size_t compared_ = 0;
  bool done_ = false;
};

}  // namespace

const char* xmlPropertyListProblem(std::string_view bytes) {
  return Guard(bytes).run();
}

}  // namespace sifterra::platform
