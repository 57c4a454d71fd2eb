// WarcReader: the records of a WARC file (ISO 28500, versions 1.0 and 1.1), one at a time.
//
//   WarcReader records(stream);
//   while (auto record = records.next()) {
//     if (wanted(*record)) use(records.readBlock(limit));
//   }
//
// The block of a record that nobody reads is passed over without being held in memory.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "input/BufferedReader.h"

namespace sifterra::tools {

struct WarcRecord {
  std::uint64_t number = 0;                   // from 1
  std::uint64_t length = 0;                   // of the block, bytes
  std::map<std::string, std::string> fields;  // names in lower case; of a repeated one, the first

  // "" when absent.
  [[nodiscard]] const std::string& field(const std::string& lowerCaseName) const;
};

class WarcReader {
 public:
  explicit WarcReader(std::unique_ptr<ByteStream> stream) : reader_(std::move(stream)) {}

  // The next record; nothing at the end. Throws InputError for what is no record and for a file that
  // ends inside one; the file cannot be read on after that.
  [[nodiscard]] std::optional<WarcRecord> next();
  // The block of the record that next() gave. Nothing when it is longer than `limit`. Throws InputError
  // when the file ends inside it.
  [[nodiscard]] std::optional<std::string> readBlock(std::size_t limit);

  [[nodiscard]] std::uint64_t position() const { return reader_.position(); }

 private:
  void passBlock();
  void readFields(WarcRecord& record);
  [[nodiscard]] std::string headerLine();
  [[nodiscard]] InputError cutShort(const std::string& where) const;

  BufferedReader reader_;
  std::uint64_t number_ = 0;
  std::uint64_t length_ = 0;  // of the current block
  std::uint64_t left_ = 0;    // of it not yet read
};

}  // namespace sifterra::tools
