// WFWhitelistUserPreferences: what one user may see, as an administrator set it in the user's managed
// preference file.
//
//   const auto prefs = WFWhitelistUserPreferences::defaultWhitelistForUser(user);
//   bool shouldFilter = false;
//   const auto verdict = prefs->pronounceOnPageURLString(url, &shouldFilter);
//
// An address may be shown, is refused, or must be judged by its content (shouldFilter). Allow-list-only mode
// goes before everything; with the content filter on, the allow list goes before the deny list.
//
// Objects come from a cache by user name, read anew when the file's modification date changes. They may be
// shared between threads for reading; the switches have setters for callers that own an object.
#pragma once

#include <memory>
#include <mutex>

#include "sifterra/platform/Export.h"
#include "sifterra/platform/String.h"
#include "sifterra/platform/URL.h"
#include "sifterra/verdict/WFVerdict.h"

namespace sifterra {

class WFWhitelistSiteBuffer;

class WF_API WFWhitelistUserPreferences {
 public:
  // What became of the preference file. Absent and broken ones restrict nothing; a program that must not let
  // a broken file open the door looks here.
  enum class FileState {
    Absent,  // there is none: the user is not restricted
    Read,    // the switches and lists are those of the file
    Broken,  // there is something, but it could not be read as a dictionary: fileProblem tells why
  };

  // The preferences of a user; null, with a line in the log, for a null name or one that makes no path.
  [[nodiscard]] static std::shared_ptr<WFWhitelistUserPreferences> defaultWhitelistForUser(
      const platform::String& username);

  // init: the built-in sites, all switches off, no user name.
  WFWhitelistUserPreferences();
  ~WFWhitelistUserPreferences();
  // initWithPreferences: the same, then the file at the path; one that cannot be read changes nothing.
  [[nodiscard]] static std::shared_ptr<WFWhitelistUserPreferences> initWithPreferences(
      const platform::String& path);
  WFWhitelistUserPreferences(const WFWhitelistUserPreferences&) = delete;
  WFWhitelistUserPreferences& operator=(const WFWhitelistUserPreferences&) = delete;

  // Whether the address falls under a list. Addresses of hosts that serve many sites (see metasites.txt) are
  // compared by their path, unless they are https.
  [[nodiscard]] bool isURL(const platform::URL& url, const WFWhitelistSiteBuffer& onList) const;
  // Whether policy lets the address pass, and why; whether its content must be judged still; whether a list
  // decided. Null pointers are not written to.
  [[nodiscard]] bool isURLAllowed(const platform::URL& url, platform::String* reason, bool* shouldFilter,
                                  bool* foundOnList) const;
  [[nodiscard]] bool isURLAllowed(const platform::URL& url) const;
  // The same as a verdict, never null: evidence 8 when a list decided, else 9.
  [[nodiscard]] std::shared_ptr<WFVerdict> pronounceOnPageURLString(const platform::String& urlString,
                                                                    bool* shouldFilter) const;

  [[nodiscard]] bool filterEnabled() const noexcept { return _filterEnabled; }
  void setFilterEnabled(bool enabled) noexcept { _filterEnabled = enabled; }
  [[nodiscard]] bool whitelistEnabled() const noexcept { return _whitelistEnabled; }
  void setWhitelistEnabled(bool enabled) noexcept { _whitelistEnabled = enabled; }
  [[nodiscard]] bool alwaysAllowHTTPS() const noexcept { return _alwaysAllowHTTPS; }
  void setAlwaysAllowHTTPS(bool allow) noexcept { _alwaysAllowHTTPS = allow; }
  // May be read and set from several threads at once.
  [[nodiscard]] platform::String username() const;
  void setUsername(const platform::String& username);

  // Owned by this object; each has a lock of its own.
  [[nodiscard]] WFWhitelistSiteBuffer& filterWhitelist() const noexcept { return *_filterWhitelist; }
  [[nodiscard]] WFWhitelistSiteBuffer& filterBlacklist() const noexcept { return *_filterBlacklist; }
  [[nodiscard]] WFWhitelistSiteBuffer& webWhitelist() const noexcept { return *_webWhitelist; }

  [[nodiscard]] FileState fileState() const noexcept { return _fileState; }
  // Null unless the file is broken.
  [[nodiscard]] const platform::String& fileProblem() const noexcept { return _fileProblem; }

  // "<WFWhitelistUserPreferences:0x5581 username:ann filterEnabled:1 whitelistEnabled:0 filterWhitelist:{...}
  // filterBlacklist:{...} webWhitelist:{...}>" on one line. Kept: alwaysAllowHTTPS is not shown.
  [[nodiscard]] platform::String description() const;

 private:
  friend class PreferenceFile;  // takes over what it has read

  void addBuiltInSites();

  std::unique_ptr<WFWhitelistSiteBuffer> _filterWhitelist;
  std::unique_ptr<WFWhitelistSiteBuffer> _filterBlacklist;
  std::unique_ptr<WFWhitelistSiteBuffer> _webWhitelist;
  bool _filterEnabled = false;
  bool _whitelistEnabled = false;
  bool _alwaysAllowHTTPS = false;
  mutable std::mutex _usernameLock;
  platform::String _username;
  FileState _fileState = FileState::Absent;
  platform::String _fileProblem;
};

}  // namespace sifterra
