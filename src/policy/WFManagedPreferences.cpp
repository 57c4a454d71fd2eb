// WFManagedPreferences: the entries of the file's dictionary, edited in place and written back.
#include "sifterra/policy/WFManagedPreferences.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "platform/FileReplacement.h"
#include "policy/managed_preferences.h"

namespace sifterra {

using platform::FileReplacement;
using platform::PropertyList;
using platform::String;

namespace {

constexpr std::u16string_view kAddress = u"address";
constexpr std::u16string_view kPageTitle = u"pageTitle";

// In the order of the enumerations.
constexpr std::array<std::u16string_view, 5> kSwitches = {
    u"restrictWeb", u"useContentFilter", u"whitelistEnabled", u"alwaysAllowHTTPS", u"noOverriddingAllowed"};
constexpr std::array<std::u16string_view, 3> kLists = {u"filterWhitelist", u"filterBlacklist",
                                                       u"siteWhitelist"};

std::u16string_view keyOf(WFManagedPreferences::Switch which) {
  return kSwitches.at(static_cast<std::size_t>(which));
}

std::u16string_view keyOf(WFManagedPreferences::List list) {
  return kLists.at(static_cast<std::size_t>(list));
}

bool isKnown(std::u16string_view key) {
  return std::find(kSwitches.begin(), kSwitches.end(), key) != kSwitches.end() ||
         std::find(kLists.begin(), kLists.end(), key) != kLists.end();
}

// The address of an entry; null for one that is passed over when pages are judged.
String addressOf(const PropertyList& entry, WFManagedPreferences::List list) {
  return list == WFManagedPreferences::List::Sites ? entry[kAddress].string() : entry.string();
}

PropertyList entryOf(const WFManagedPreferences::Site& site, WFManagedPreferences::List list) {
  if (list != WFManagedPreferences::List::Sites) return PropertyList(site.address);
  std::vector<PropertyList::Entry> members = {{String(kAddress), PropertyList(site.address)}};
  // A block page that offers the site wants a title to show.
  members.push_back({String(kPageTitle), PropertyList(site.title ? site.title : site.address)});
  return PropertyList(std::move(members));
}

// The same entry of List::Sites under another title; its other members stay.
PropertyList retitled(const PropertyList& entry, const String& title) {
  std::vector<PropertyList::Entry> members(entry.dictionary().begin(), entry.dictionary().end());
  members.push_back({String(kPageTitle), PropertyList(title)});  // the last one holds
  return PropertyList(std::move(members));
}

}  // namespace

// Keeps other writers out for as long as it lives.
class WFManagedPreferences::Writer {
 public:
  explicit Writer(std::string path) : file(std::move(path)) {}
  FileReplacement file;
};

WFManagedPreferences::WFManagedPreferences() = default;
WFManagedPreferences::WFManagedPreferences(WFManagedPreferences&& other) noexcept = default;
WFManagedPreferences& WFManagedPreferences::operator=(WFManagedPreferences&& other) noexcept = default;
WFManagedPreferences::~WFManagedPreferences() = default;

String WFManagedPreferences::pathForUser(const String& user) {
  const auto path = managedPreferencePath(user);
  return path ? String::fromUTF8Lossy(*path) : String();
}

WFManagedPreferences WFManagedPreferences::load(const String& user) {
  WFManagedPreferences preferences;
  const auto path = managedPreferencePath(user);
  if (path) preferences.path_ = String::fromUTF8Lossy(*path);
  preferences.read(path);
  return preferences;
}

WFManagedPreferences WFManagedPreferences::loadForEditing(const String& user) {
  WFManagedPreferences preferences;
  const auto path = managedPreferencePath(user);
  if (path) {
    preferences.path_ = String::fromUTF8Lossy(*path);
    preferences.writer_ = std::make_unique<Writer>(*path);
    FileReplacement& file = preferences.writer_->file;
    if (!file.begin()) {
      preferences.state_ = State::Broken;
      preferences.problem_ = String::fromUTF8Lossy(file.problem());
      preferences.writer_ = nullptr;  // without the lock nothing may be saved, discardBroken or not
      return preferences;
    }
  }
  preferences.read(path);
  return preferences;
}

void WFManagedPreferences::read(const std::optional<std::string>& path) {
  state_ = State::Broken;
  if (!path) {
    problem_ = String(u"the user's name makes no path");
    return;
  }
  const PropertyList::Reading reading = PropertyList::readFile(*path);
  if (reading.missing) {
    state_ = State::Absent;
  } else if (!reading.ok()) {
    problem_ = reading.problem;
  } else if (!reading.value.isDictionary()) {
    problem_ = String(u"it is no dictionary");
  } else {
    state_ = State::Read;
    format_ = reading.format;
    entries_.assign(reading.value.dictionary().begin(), reading.value.dictionary().end());
  }
}

const PropertyList* WFManagedPreferences::find(std::u16string_view key) const noexcept {
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const PropertyList::Entry& e) { return e.key.view() == key; });
  return entry == entries_.end() ? nullptr : &entry->value;
}

void WFManagedPreferences::set(std::u16string_view key, PropertyList value) {
  const auto entry = std::find_if(entries_.begin(), entries_.end(),
                                  [&](const PropertyList::Entry& e) { return e.key.view() == key; });
  if (entry == entries_.end()) {
    entries_.push_back({String(key), std::move(value)});
  } else if (entry->value == value) {
    return;
  } else {
    entry->value = std::move(value);
  }
  changed_ = true;
}

std::optional<bool> WFManagedPreferences::value(Switch which) const {
  const PropertyList* value = find(keyOf(which));
  return value ? std::optional(value->truth()) : std::nullopt;
}

void WFManagedPreferences::setValue(Switch which, bool on) {
  set(keyOf(which), PropertyList(on));
}

bool WFManagedPreferences::isMalformed(List list) const {
  const PropertyList* value = find(keyOf(list));
  return value != nullptr && !value->isArray();
}

std::vector<WFManagedPreferences::Site> WFManagedPreferences::sites(List list) const {
  std::vector<Site> sites;
  const PropertyList* value = find(keyOf(list));
  if (!value) return sites;
  for (const PropertyList& entry : value->array()) {
    if (String address = addressOf(entry, list)) {
      sites.push_back({std::move(address), list == List::Sites ? entry[kPageTitle].string() : String()});
    }
  }
  return sites;
}

std::size_t WFManagedPreferences::add(List list, std::span<const Site> sites) {
  if (isMalformed(list)) return 0;
  const PropertyList* value = find(keyOf(list));
  std::vector<PropertyList> entries;
  if (value) entries.assign(value->array().begin(), value->array().end());
  entries.reserve(entries.size() + sites.size());
  std::vector<String> kept;  // what the views of the table look at
  kept.reserve(entries.size() + sites.size());
  std::unordered_map<std::u16string_view, std::size_t> places;  // the first entry of an address
  places.reserve(entries.size() + sites.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    kept.push_back(addressOf(entries[i], list));
    if (kept.back()) places.emplace(kept.back().view(), i);
  }
  const std::size_t before = entries.size();
  for (const Site& site : sites) {
    if (!site.address) continue;
    kept.push_back(site.address);
    const auto [place, isNew] = places.emplace(kept.back().view(), entries.size());
    if (isNew) {
      entries.push_back(entryOf(site, list));
    } else if (list == List::Sites && site.title) {
      entries[place->second] = retitled(entries[place->second], site.title);
    }
  }
  const std::size_t added = entries.size() - before;
  if (value || added > 0) set(keyOf(list), PropertyList(std::move(entries)));
  return added;
}

std::vector<bool> WFManagedPreferences::remove(List list, std::span<const String> addresses) {
  std::vector<bool> wereThere(addresses.size(), false);
  const PropertyList* value = find(keyOf(list));
  if (!value || !value->isArray()) return wereThere;
  std::unordered_set<std::u16string_view> unwanted;
  for (const String& address : addresses) {
    if (address) unwanted.insert(address.view());
  }
  std::vector<PropertyList> entries;
  std::unordered_set<std::u16string_view> found;
  for (const PropertyList& entry : value->array()) {
    const String address = addressOf(entry, list);
    const auto hit = address ? unwanted.find(address.view()) : unwanted.end();
    if (hit == unwanted.end()) {
      entries.push_back(entry);
    } else {
      found.insert(*hit);  // a view of the argument, which outlives the entry
    }
  }
  for (std::size_t i = 0; i < addresses.size(); ++i) {
    wereThere[i] = addresses[i] && found.contains(addresses[i].view());
  }
  if (!found.empty()) set(keyOf(list), PropertyList(std::move(entries)));
  return wereThere;
}

void WFManagedPreferences::clear(List list) {
  const PropertyList* value = find(keyOf(list));
  if (value && value->isArray()) set(keyOf(list), PropertyList(std::vector<PropertyList>()));
}

std::vector<String> WFManagedPreferences::otherKeys() const {
  std::vector<String> keys;
  for (const PropertyList::Entry& entry : entries_) {
    if (!isKnown(entry.key.view())) keys.push_back(entry.key);
  }
  return keys;
}

void WFManagedPreferences::discardBroken() noexcept {
  if (state_ == State::Broken && writer_) state_ = State::Absent;
}

bool WFManagedPreferences::save() {
  if (state_ == State::Broken) return false;  // problem_ tells already
  if (!writer_) {
    problem_ = String(u"it was not loaded for editing");
    return false;
  }
  if (!changed_) return true;
  const platform::Data bytes = PropertyList(entries_).write(format_);
  // What cannot be read would be taken for no restrictions at all: rather keep the old file.
  if (!bytes || !PropertyList::read(bytes).ok()) {
    problem_ =
        String(u"it could not be read again: it would be too large, or hold characters that it must not");
    return false;
  }
  if (!writer_->file.replace(bytes.chars())) {
    problem_ = String::fromUTF8Lossy(writer_->file.problem());
    return false;
  }
  state_ = State::Read;
  problem_ = String();
  changed_ = false;
  return true;
}

}  // namespace sifterra
