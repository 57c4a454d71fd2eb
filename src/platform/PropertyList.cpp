// PropertyList: the values; PropertyListReading.cpp reads and writes them.
#include "sifterra/platform/PropertyList.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <utility>

#include "platform/Unicode.h"

namespace sifterra::platform {
namespace {

constexpr std::uint64_t kLargestSigned = std::numeric_limits<std::int64_t>::max();

// Below this many entries looking through all of them is faster than sorting.
constexpr std::size_t kFewEntries = 16;

// In the square of the number: for a few.
bool repeatsKey(const std::vector<PropertyList::Entry>& entries) {
  for (std::size_t i = 1; i < entries.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (entries[i].key == entries[j].key) return true;
    }
  }
  return false;
}

// Leaves one entry per key, at the place of its first with the value of its last.
void dropRepeatedKeys(std::vector<PropertyList::Entry>& entries) {
  if (entries.size() <= kFewEntries && !repeatsKey(entries)) return;
  std::vector<PropertyList::Entry> kept;
  kept.reserve(entries.size());
  std::map<std::u16string, std::size_t, std::less<>> places;
  const bool few = entries.size() <= kFewEntries;
  for (PropertyList::Entry& entry : entries) {
    const std::u16string_view key = entry.key.view();
    std::size_t place = kept.size();
    if (few) {
      const auto same = [key](const PropertyList::Entry& other) { return other.key.view() == key; };
      place = static_cast<std::size_t>(std::find_if(kept.begin(), kept.end(), same) - kept.begin());
    } else {
      place = places.try_emplace(std::u16string(key), place).first->second;
    }
    if (place == kept.size()) {
      kept.push_back(std::move(entry));
    } else {
      kept[place].value = std::move(entry.value);
    }
  }
  entries = std::move(kept);
}

bool isDigit(char16_t unit) noexcept {
  return unit >= u'0' && unit <= u'9';
}

bool truthOfText(std::u16string_view text) noexcept {
  text = trimmedWhitespaceAndNewlines(text);
  if (!text.empty() && (text.front() == u'+' || text.front() == u'-')) text.remove_prefix(1);
  while (!text.empty() && text.front() == u'0') text.remove_prefix(1);
  if (text.empty()) return false;
  const char16_t first = text.front();
  return first == u'Y' || first == u'y' || first == u'T' || first == u't' || isDigit(first);
}

}  // namespace

PropertyList::PropertyList(std::uint64_t value) {
  // One number, one form: what fits is signed.
  if (value <= kLargestSigned) {
    value_ = static_cast<std::int64_t>(value);
  } else {
    value_ = value;
  }
}

PropertyList::PropertyList(const platform::String& value) {
  if (value) value_ = value;
}

PropertyList::PropertyList(const platform::Data& value) {
  if (value) value_ = value;
}

PropertyList::PropertyList(std::vector<PropertyList> values)
    : value_(std::make_shared<const std::vector<PropertyList>>(std::move(values))) {}

PropertyList::PropertyList(std::vector<Entry> entries) {
  dropRepeatedKeys(entries);
  value_ = std::make_shared<const std::vector<Entry>>(std::move(entries));
}

PropertyList::Kind PropertyList::kind() const noexcept {
  // In the order of the variant's alternatives.
  constexpr std::array kKinds = {Kind::Null, Kind::Boolean, Kind::Integer, Kind::Integer,
                                 Kind::Real, Kind::String,  Kind::String,  Kind::Data,
                                 Kind::Date, Kind::Uid,     Kind::Array,   Kind::Dictionary};
  static_assert(kKinds.size() == std::variant_size_v<decltype(value_)>);
  return kKinds[value_.index()];
}

bool PropertyList::boolean() const noexcept {
  const bool* value = std::get_if<bool>(&value_);
  return value && *value;
}

std::int64_t PropertyList::integer() const noexcept {
  if (const std::int64_t* value = std::get_if<std::int64_t>(&value_)) return *value;
  return std::holds_alternative<std::uint64_t>(value_) ? std::numeric_limits<std::int64_t>::max() : 0;
}

std::uint64_t PropertyList::unsignedInteger() const noexcept {
  if (const std::uint64_t* value = std::get_if<std::uint64_t>(&value_)) return *value;
  return static_cast<std::uint64_t>(std::max<std::int64_t>(integer(), 0));
}

double PropertyList::real() const noexcept {
  const double* value = std::get_if<double>(&value_);
  return value ? *value : 0;
}

platform::String PropertyList::string() const {
  if (const ReadText* read = std::get_if<ReadText>(&value_)) return String::fromUTF8Lossy(read->utf8);
  const platform::String* value = std::get_if<platform::String>(&value_);
  return value ? *value : platform::String();
}

platform::Data PropertyList::data() const noexcept {
  const platform::Data* value = std::get_if<platform::Data>(&value_);
  return value ? *value : platform::Data();
}

PropertyList::Date PropertyList::date() const noexcept {
  const Date* value = std::get_if<Date>(&value_);
  return value ? *value : Date();
}

PropertyList::Uid PropertyList::uid() const noexcept {
  const Uid* value = std::get_if<Uid>(&value_);
  return value ? *value : Uid();
}

std::span<const PropertyList> PropertyList::array() const noexcept {
  const Array* value = std::get_if<Array>(&value_);
  return value ? std::span<const PropertyList>(**value) : std::span<const PropertyList>();
}

std::span<const PropertyList::Entry> PropertyList::dictionary() const noexcept {
  const Dictionary* value = std::get_if<Dictionary>(&value_);
  return value ? std::span<const Entry>(**value) : std::span<const Entry>();
}

PropertyList PropertyList::operator[](std::u16string_view key) const noexcept {
  for (const Entry& entry : dictionary()) {
    if (entry.key.view() == key) return entry.value;
  }
  return PropertyList();
}

bool PropertyList::truth() const {
  switch (kind()) {
    case Kind::Null:
      return false;
    case Kind::Boolean:
      return boolean();
    case Kind::Integer:
      return unsignedInteger() != 0 || integer() != 0;
    case Kind::Real:
      return real() != 0;
    case Kind::String:
      return truthOfText(string().view());
    default:
      return true;
  }
}

bool operator==(const PropertyList& a, const PropertyList& b) {
  if (a.kind() != b.kind()) return false;
  const auto equalBytes = [](const Data& x, const Data& y) { return x.chars() == y.chars(); };
  switch (a.kind()) {
    case PropertyList::Kind::Data:
      return equalBytes(a.data(), b.data());
    case PropertyList::Kind::Array:
      return std::equal(a.array().begin(), a.array().end(), b.array().begin(), b.array().end());
    case PropertyList::Kind::Dictionary: {
      const auto equalEntries = [](const PropertyList::Entry& x, const PropertyList::Entry& y) {
        return x.key == y.key && x.value == y.value;
      };
      return std::equal(a.dictionary().begin(), a.dictionary().end(), b.dictionary().begin(),
                        b.dictionary().end(), equalEntries);
    }
    case PropertyList::Kind::Null:
      return true;
    case PropertyList::Kind::Boolean:
      return a.boolean() == b.boolean();
    case PropertyList::Kind::Integer:
      return a.integer() == b.integer() && a.unsignedInteger() == b.unsignedInteger();
    case PropertyList::Kind::Real:
      return a.real() == b.real();
    case PropertyList::Kind::String:
      return a.string() == b.string();
    case PropertyList::Kind::Date:
      return a.date() == b.date();
    case PropertyList::Kind::Uid:
      return a.uid() == b.uid();
  }
  return false;
}

}  // namespace sifterra::platform
