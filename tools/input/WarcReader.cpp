#include "input/WarcReader.h"

#include <charconv>

#include "input/ascii.h"

namespace sifterra::tools {
namespace {

// Target URIs are the longest fields by far; a header beyond these is no header of an archive.
constexpr std::size_t kMaxLine = 64 * 1024;
constexpr std::size_t kMaxHeader = 1024 * 1024;

std::string recordName(std::uint64_t number) {
  return "record " + std::to_string(number);
}

}  // namespace

const std::string& WarcRecord::field(const std::string& lowerCaseName) const {
  static const std::string kAbsent;
  const auto found = fields.find(lowerCaseName);
  return found == fields.end() ? kAbsent : found->second;
}

std::optional<WarcRecord> WarcReader::next() {
  passBlock();
  std::optional<BufferedReader::Line> line;
  do {  // two line ends stand behind a block, and writers differ in how many
    line = reader_.readLine(kMaxLine);
    if (!line) return std::nullopt;
  } while (line->text.empty() && line->complete);
  WarcRecord record;
  record.number = ++number_;
  if (line->text.compare(0, 5, "WARC/") != 0) {
    if (!line->terminated && std::string_view("WARC/").substr(0, line->text.size()) == line->text) {
      throw cutShort("its first line");
    }
    throw InputError(recordName(number_) +
                     ": does not begin with \"WARC/1.0\" or \"WARC/1.1\"; nothing behind it is read");
  }
  readFields(record);
  const std::string& length = record.field("content-length");
  const auto parsed = std::from_chars(length.data(), length.data() + length.size(), record.length);
  if (parsed.ec != std::errc() || parsed.ptr != length.data() + length.size()) {
    throw InputError(recordName(number_) + ": has no valid Content-Length; nothing behind it is read");
  }
  length_ = left_ = record.length;
  return record;
}

std::optional<std::string> WarcReader::readBlock(std::size_t limit) {
  if (left_ > limit) return std::nullopt;
  std::string block = reader_.readBytes(static_cast<std::size_t>(left_));
  left_ -= block.size();
  if (left_ > 0)
    throw cutShort("its block, after " + std::to_string(block.size()) + " of " + std::to_string(length_) +
                   " bytes");
  return block;
}

void WarcReader::passBlock() {
  const std::uint64_t before = length_ - left_;
  const std::uint64_t passed = reader_.skip(left_);
  left_ -= passed;
  if (left_ > 0) {
    throw cutShort("its block, after " + std::to_string(before + passed) + " of " + std::to_string(length_) +
                   " bytes");
  }
}

void WarcReader::readFields(WarcRecord& record) {
  std::size_t size = 0;
  std::string* value = nullptr;  // of the line before, which a line that begins with white space continues
  std::string dropped;
  for (std::string line = headerLine(); !line.empty(); line = headerLine()) {
    size += line.size();
    if (size > kMaxHeader)
      throw InputError(recordName(number_) + ": its header is too long; nothing behind it is read");
    if (line.front() == ' ' || line.front() == '\t') {
      if (value != nullptr) value->append(" ").append(asciiTrim(line));
      continue;
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string::npos) {
      throw InputError(recordName(number_) +
                       ": has a header line without a colon; nothing behind it is read");
    }
    const auto [field, isNew] =
        record.fields.try_emplace(asciiLower(asciiTrim(std::string_view(line).substr(0, colon))),
                                  asciiTrim(std::string_view(line).substr(colon + 1)));
    value = isNew ? &field->second : &dropped;
  }
}

std::string WarcReader::headerLine() {
  std::optional<BufferedReader::Line> line = reader_.readLine(kMaxLine);
  if (!line || !line->terminated) throw cutShort("its header");
  if (!line->complete)
    throw InputError(recordName(number_) + ": its header is too long; nothing behind it is read");
  return std::move(line->text);
}

InputError WarcReader::cutShort(const std::string& where) const {
  return InputError(recordName(number_) + ": the file is cut short inside " + where);
}

}  // namespace sifterra::tools
