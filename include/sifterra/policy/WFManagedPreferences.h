// WFManagedPreferences: a user's managed preference file, for programs that show or change it.
//
//   WFManagedPreferences preferences = WFManagedPreferences::loadForEditing(user);
//   preferences.setValue(WFManagedPreferences::Switch::ContentFilter, true);
//   preferences.add(WFManagedPreferences::List::Deny, {{address, title}});
//   if (!preferences.save()) report(preferences.problem());
//
// Editing keeps other writers out until the object goes, so that nobody's change is lost; saving replaces the
// file as a whole, in the form it had (XML or binary), with its mode, its owner and every key that is not
// known here. A file that cannot be read is not saved over unless discardBroken was called.
//
// Judging reads the same file through WFWhitelistUserPreferences. Used by one thread at a time.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/PropertyList.h"
#include "sifterra/platform/String.h"

namespace sifterra {

class WF_API WFManagedPreferences {
 public:
  enum class State {
    Absent,  // there is no file: the user is not restricted
    Read,
    Broken,  // there is something that is no preference file, or no path for the user: problem tells why
  };
  enum class Switch {
    RestrictWeb,       // "restrictWeb": any restriction at all
    ContentFilter,     // "useContentFilter": pages are judged by their content
    AllowListOnly,     // "whitelistEnabled": only the listed sites
    AlwaysAllowHTTPS,  // "alwaysAllowHTTPS"
    NoOverridding,     // "noOverriddingAllowed": a block page offers no override
  };
  enum class List {
    Allow,  // "filterWhitelist": always allowed while the content filter is on
    Deny,   // "filterBlacklist": never allowed while the content filter is on
    Sites,  // "siteWhitelist": the only ones in allow-list-only mode
  };
  struct Site {
    platform::String address;
    platform::String title;  // of List::Sites alone; null when there is none
  };

  // The file's path below the root prefix; null for a name that makes none (WFWhitelistUserPreferences).
  [[nodiscard]] static platform::String pathForUser(const platform::String& user);
  // What the file holds now.
  [[nodiscard]] static WFManagedPreferences load(const platform::String& user);
  // The same, with other writers kept out; makes the directory of the user when there is none. Broken when
  // another writer does not finish in time, too.
  [[nodiscard]] static WFManagedPreferences loadForEditing(const platform::String& user);

  WFManagedPreferences(WFManagedPreferences&& other) noexcept;
  WFManagedPreferences& operator=(WFManagedPreferences&& other) noexcept;
  ~WFManagedPreferences();

  [[nodiscard]] State state() const noexcept { return state_; }
  [[nodiscard]] const platform::String& path() const noexcept { return path_; }
  // Why the file is broken or was not saved; null when all went well.
  [[nodiscard]] const platform::String& problem() const noexcept { return problem_; }
  [[nodiscard]] platform::PropertyList::Format format() const noexcept { return format_; }

  // The value of a switch, whatever its kind, as yes or no; nothing when the key is missing.
  [[nodiscard]] std::optional<bool> value(Switch which) const;
  void setValue(Switch which, bool on);

  // Whether the list's value is of another kind than a list. It then has no sites, and cannot be changed.
  [[nodiscard]] bool isMalformed(List list) const;
  // The entries that are read when pages are judged, oldest first.
  [[nodiscard]] std::vector<Site> sites(List list) const;
  // Appends the sites whose addresses are not on the list yet, and gives those that are the title that comes
  // with them, if one does. A site of List::Sites without a title has its address for one. How many were
  // appended.
  std::size_t add(List list, std::span<const Site> sites);
  // Takes the sites with these very addresses off the list. Which of the addresses were on it.
  std::vector<bool> remove(List list, std::span<const platform::String> addresses);
  // Takes all sites off the list; entries of another kind go with them.
  void clear(List list);

  // The keys of the file that are neither switches nor lists, in its order.
  [[nodiscard]] std::vector<platform::String> otherKeys() const;

  // Makes a broken file as good as an absent one, so that it may be saved over.
  void discardBroken() noexcept;
  // Writes the file if anything was changed; false, with a problem, when that went wrong, and then the file
  // is as before. Only of what loadForEditing answered.
  [[nodiscard]] bool save();

 private:
  class Writer;

  WFManagedPreferences();
  void read(const std::optional<std::string>& path);
  [[nodiscard]] const platform::PropertyList* find(std::u16string_view key) const noexcept;
  void set(std::u16string_view key, platform::PropertyList value);

  State state_ = State::Absent;
  platform::String path_;
  platform::String problem_;
  platform::PropertyList::Format format_ = platform::PropertyList::Format::XML;
  std::vector<platform::PropertyList::Entry> entries_;
  bool changed_ = false;
  std::unique_ptr<Writer> writer_;  // null unless for editing
};

}  // namespace sifterra
