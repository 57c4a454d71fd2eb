#include "input/JsonLinesSource.h"

#include <charconv>
#include <nlohmann/json.hpp>

#include "input/FileSources.h"
#include "input/GzipStream.h"
#include "input/ascii.h"
#include "input/page_site.h"

namespace sifterra::tools {
namespace {

using Json = nlohmann::json;

// Escapes may double a page and more; a longer line is no page that would be judged.
constexpr std::size_t kMaxLineBytes = 2 * kMaxPageBytes;
constexpr const char* kExpected =
    "expected {\"html\" or \"text\": \"...\", \"label\": 1 to 9, \"site\": ..., ...}";
constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

// The scalar members of the outermost object, taken as the parser passes them: no tree is built, so a
// line costs no more than its strings, however it nests.
class MemberReader : public nlohmann::json_sax<Json> {
 public:
  struct Member {
    std::string value;
    bool isString;
  };
  std::map<std::string, Member> members;  // of a repeated name, the last
  std::string error;
  bool isObject = false;

  bool null() override { return true; }
  bool boolean(bool value) override { return scalar(value ? "true" : "false"); }
  bool number_integer(number_integer_t value) override { return scalar(std::to_string(value)); }
  bool number_unsigned(number_unsigned_t value) override { return scalar(std::to_string(value)); }
  bool number_float(number_float_t, const string_t& written) override { return scalar(written); }
  bool string(string_t& value) override { return scalar(std::move(value), true); }
  bool binary(binary_t&) override { return true; }
  bool start_object(std::size_t) override {
    isObject = isObject || depth_ == 0;
    ++depth_;
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override {
    ++depth_;
    return true;
  }
  bool end_array() override { return close(); }
  bool key(string_t& name) override {
    if (depth_ == 1) name_ = std::move(name);
    return true;
  }
  bool parse_error(std::size_t position, const std::string&, const nlohmann::detail::exception&) override {
    error = "not valid JSON at byte " + std::to_string(position);
    return false;
  }

 private:
  bool scalar(std::string value, bool isString = false) {
    if (depth_ == 1 && isObject) members[name_] = {std::move(value), isString};
    return true;
  }
  bool close() {
    --depth_;
    return true;
  }
  std::size_t depth_ = 0;
  std::string name_;
};

// So that a parser of HTML reads back the same text.
std::string escapedText(std::string_view text) {
  std::string html;
  html.reserve(text.size());
  for (const char c : text) {
    if (c == '&') {
      html += "&amp;";
    } else if (c == '<') {
      html += "&lt;";
    } else {
      html += c;
    }
  }
  return html;
}

// Takes a text member out; nothing when it is absent. Throws InputError when it is no string.
std::optional<std::string> takeText(MemberReader& reader, const char* name) {
  auto node = reader.members.extract(name);
  if (node.empty()) return std::nullopt;
  if (!node.mapped().isString) throw InputError(std::string("\"") + name + "\" is no string; " + kExpected);
  return std::move(node.mapped().value);
}

// 0 when absent.
int takeLabel(MemberReader& reader) {
  const auto node = reader.members.extract("label");
  if (node.empty()) return 0;
  const std::string& text = node.mapped().value;
  int label = 0;
  const auto parsed = std::from_chars(text.data(), text.data() + text.size(), label);
  if (parsed.ec != std::errc() || parsed.ptr != text.data() + text.size() || label < 1 || label > 9) {
    throw InputError("\"label\" is no whole number from 1 to 9; " + std::string(kExpected));
  }
  return label;
}

PageRecord recordOf(const std::string& line) {
  MemberReader reader;
  Json::sax_parse(line, &reader);
  if (!reader.error.empty()) throw InputError(reader.error + "; " + kExpected);
  if (!reader.isObject) throw InputError(std::string("no JSON object; ") + kExpected);
  std::optional<std::string> html = takeText(reader, "html");
  std::optional<std::string> text = takeText(reader, "text");
  if (html.has_value() == text.has_value()) {
    throw InputError(std::string(html ? "both" : "neither") + " \"html\" " + (html ? "and" : "nor") +
                     " \"text\"; " + kExpected);
  }
  PageRecord page;
  std::string bytes = html ? std::move(*html) : escapedText(*text);
  if (bytes.size() > kMaxPageBytes) {
    throw InputError("its page is larger than " + std::to_string(kMaxPageBytes) + " bytes");
  }
  page.bytes = platform::Data(std::move(bytes));
  page.charset = "utf-8";
  reader.members.erase("charset");
  page.url = takeText(reader, "url").value_or("");
  page.site = takeText(reader, "site").value_or("");
  page.label = takeLabel(reader);
  for (auto& [name, member] : reader.members) page.attributes.emplace(name, std::move(member.value));
  return page;
}

}  // namespace

JsonLinesSource::JsonLinesSource(std::string path) : path_(std::move(path)), total_(fileSize(path_)) {}

JsonLinesSource::JsonLinesSource(std::string path, std::unique_ptr<ByteStream> stream)
    : path_(std::move(path)), total_(0), reader_(std::make_unique<BufferedReader>(std::move(stream))) {}

std::optional<PageItem> JsonLinesSource::next() {
  if (done_) return std::nullopt;
  try {
    if (!reader_) {
      reader_ =
          std::make_unique<BufferedReader>(std::make_unique<GzipStream>(std::make_unique<FileStream>(path_)));
    }
    while (std::optional<BufferedReader::Line> line = reader_->readLine(kMaxLineBytes)) {
      ++line_;
      if (line_ == 1 && line->text.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
        line->text.erase(0, kByteOrderMark.size());
      }
      if (!line->complete || !asciiTrim(line->text).empty()) return pageOf(*line);
    }
  } catch (const InputError& error) {
    done_ = true;
    PageItem item;
    item.page.path = path_;
    item.error = path_ + (line_ == 0 ? ": " : ":" + std::to_string(line_ + 1) + ": ") + error.what();
    return item;
  }
  done_ = true;
  return std::nullopt;
}

PageItem JsonLinesSource::pageOf(const BufferedReader::Line& line) const {
  PageItem item;
  try {
    if (!line.complete) throw InputError("is longer than " + std::to_string(kMaxLineBytes) + " bytes");
    item.page = recordOf(line.text);
  } catch (const InputError& error) {
    item.error = path_ + ":" + std::to_string(line_) + ": " + error.what();
  }
  item.page.path = path_;
  item.page.number = line_;
  if (item.page.site.empty())
    item.page.site = siteOfURL(item.page.url).value_or(path_ + ":" + std::to_string(line_));
  return item;
}

}  // namespace sifterra::tools
