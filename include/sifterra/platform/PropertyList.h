// PropertyList: a value of a property list, immutable and shared, and how lists are read and written.
//
//   const PropertyList::Reading reading = PropertyList::readFile(path);
//   if (!reading.ok()) report(reading.problem);
//   for (const PropertyList& site : reading.value["siteWhitelist"].array()) use(site["address"].string());
//
// Null is what is not there: the value of a key that a dictionary does not have, or any key of what is no
// dictionary. A getter for another kind answers null, 0 or nothing, so that untrusted lists need no tests.
//
// Both forms are read, XML and binary. What is read is untrusted: at most 64 MiB, 64 dictionaries and arrays
// inside each other and 2,000,000 values, with shared parts of a binary list counted each time; some 5,000
// keys in one dictionary; no entities of the list's own.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sifterra/platform/Data.h"
#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"

namespace sifterra::platform {

class WF_API PropertyList {
 public:
  enum class Kind { Null, Boolean, Integer, Real, String, Data, Date, Uid, Array, Dictionary };
  enum class Format { XML, Binary };

  // Since the beginning of 2001, UTC; negative before.
  struct Date {
    std::int32_t seconds = 0;
    std::int32_t microseconds = 0;
    friend bool operator==(const Date&, const Date&) = default;
  };
  // A reference of an archive, kept so that writing gives it back.
  struct Uid {
    std::uint64_t number = 0;
    friend bool operator==(const Uid&, const Uid&) = default;
  };
  struct Entry;

  PropertyList() noexcept = default;  // null
  explicit PropertyList(bool value) noexcept : value_(value) {}
  explicit PropertyList(std::int64_t value) noexcept : value_(value) {}
  explicit PropertyList(std::uint64_t value);
  explicit PropertyList(double value) noexcept : value_(value) {}
  explicit PropertyList(Date value) noexcept : value_(value) {}
  explicit PropertyList(Uid value) noexcept : value_(value) {}
  explicit PropertyList(const String& value);  // a null string or null data gives null
  explicit PropertyList(const Data& value);
  explicit PropertyList(std::vector<PropertyList> values);
  // Of entries with the same key the last one holds, at the place of the first.
  explicit PropertyList(std::vector<Entry> entries);
  // Literals would otherwise become booleans.
  template <class T>
  explicit PropertyList(const T*) = delete;

  [[nodiscard]] Kind kind() const noexcept;
  [[nodiscard]] bool isNull() const noexcept { return kind() == Kind::Null; }
  explicit operator bool() const noexcept { return !isNull(); }  // whether there is a value, not which
  [[nodiscard]] bool isArray() const noexcept { return kind() == Kind::Array; }
  [[nodiscard]] bool isDictionary() const noexcept { return kind() == Kind::Dictionary; }

  // The value as its kind; false, 0 or null for any other kind.
  [[nodiscard]] bool boolean() const noexcept;
  [[nodiscard]] std::int64_t integer() const noexcept;           // cut to the largest
  [[nodiscard]] std::uint64_t unsignedInteger() const noexcept;  // 0 for negative ones
  [[nodiscard]] double real() const noexcept;
  [[nodiscard]] String string() const;
  [[nodiscard]] Data data() const noexcept;
  [[nodiscard]] Date date() const noexcept;
  [[nodiscard]] Uid uid() const noexcept;
  // The elements or entries in the order of the list, borrowed from this value; empty for any other kind.
  [[nodiscard]] std::span<const PropertyList> array() const noexcept;
  [[nodiscard]] std::span<const Entry> dictionary() const noexcept;
  // The value of a key; null when there is none.
  [[nodiscard]] PropertyList operator[](std::u16string_view key) const noexcept;

  // Any value taken as yes or no. Numbers: other than 0. Texts: yes when the first letter is Y or T in either
  // case or the number at the start is not 0 (white space, a sign and zeros before are passed over). Null:
  // no. Everything else: yes.
  [[nodiscard]] bool truth() const;

  // Same kind and equal value; dictionaries in the same order.
  friend WF_API bool operator==(const PropertyList& a, const PropertyList& b);

  // ---- Reading and writing

  struct Reading;
  // The list that the bytes spell.
  [[nodiscard]] static Reading read(const platform::Data& bytes);
  // The list in a file. Links are followed; what is no regular file is not opened. A file that changes while
  // it is read is read again, a few times.
  [[nodiscard]] static Reading readFile(const std::string& path);
  // The bytes of the list; null when it cannot be written (null values, what is larger than can be read).
  [[nodiscard]] platform::Data write(Format format) const;

 private:
  using Array = std::shared_ptr<const std::vector<PropertyList>>;
  using Dictionary = std::shared_ptr<const std::vector<Entry>>;
  // A text as it was read, still UTF-8, in a block that it shares with its neighbours: most are asked for
  // once or never.
  struct ReadText {
    std::shared_ptr<const std::string> block;
    std::string_view utf8;
  };
  friend struct PropertyListMaker;

  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, platform::String, ReadText,
               platform::Data, Date, Uid, Array, Dictionary>
      value_;
};

struct PropertyList::Entry {
  platform::String key;
  PropertyList value;
};

// How reading went.
struct PropertyList::Reading {
  PropertyList value;           // null unless it went well
  Format format = Format::XML;  // of what was read
  platform::String problem;     // why it went wrong, in words; null when it went well
  bool missing = false;         // readFile: there is nothing at the path, not even a dangling link

  [[nodiscard]] bool ok() const noexcept { return problem.isNull(); }
};

}  // namespace sifterra::platform
