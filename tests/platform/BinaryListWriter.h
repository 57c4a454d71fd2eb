// BinaryListWriter: binary property lists that no decent program writes. Object 0 is the root.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace sifterra::platform {

class BinaryListWriter {
 public:
  void array(const std::vector<std::uint32_t>& references) {
    std::string object = header(0xA, references.size());
    for (const std::uint32_t reference : references) object += number(reference, 4);
    objects_.push_back(object);
  }
  // One key and its value, by reference.
  void dictionary(std::uint32_t key, std::uint32_t value) {
    objects_.push_back(header(0xD, 1) + number(key, 4) + number(value, 4));
  }
  void utf16(const std::u16string& text) {
    std::string object = header(0x6, text.size());
    for (const char16_t unit : text) object += number(unit, 2);
    objects_.push_back(object);
  }
  void ascii(const std::string& text) { objects_.push_back(header(0x5, text.size()) + text); }

  [[nodiscard]] std::string bytes() const {
    std::string list = "bplist00";
    std::string table;
    for (const std::string& object : objects_) {
      table += number(list.size(), 4);
      list += object;
    }
    const std::size_t start = list.size();
    list += table + std::string(6, '\0') + '\4' + '\4';
    return list + number(objects_.size(), 8) + number(0, 8) + number(start, 8);
  }

  // `depth` arrays inside each other.
  static std::string chain(std::uint32_t depth) {
    BinaryListWriter writer;
    for (std::uint32_t i = 1; i < depth; ++i) writer.array({i});
    writer.array({});
    return writer.bytes();
  }
  // `levels` arrays, each of which holds the next one twice, and a text at the end.
  static std::string doubling(std::uint32_t levels, const std::string& leaf) {
    BinaryListWriter writer;
    for (std::uint32_t i = 1; i <= levels; ++i) writer.array({i, i});
    writer.ascii(leaf);
    return writer.bytes();
  }

 private:
  static std::string number(std::uint64_t value, int size) {
    std::string text;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8) text += static_cast<char>(value >> shift & 0xFF);
    return text;
  }
  static std::string header(unsigned kind, std::size_t count) {
    if (count < 15) return {static_cast<char>(kind << 4 | count)};
    return std::string{static_cast<char>(kind << 4 | 0xF), '\x12'} + number(count, 4);
  }

  std::vector<std::string> objects_;
};

}  // namespace sifterra::platform
