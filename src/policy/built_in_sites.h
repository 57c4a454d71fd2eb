// built_in_sites.h: what every user may visit, whatever the lists say, so that signing in works.
#pragma once

#include <array>

namespace sifterra {

// On the allow list of the content filter and on that of allow-list-only mode: where a new user sets up the
// account of this machine's vendor, which the first log-in offers before anybody could allow it.
constexpr const char16_t* kAccountSetupSite = u"https://login.ubuntu.com";

// In allow-list-only mode only. None serves pages of strangers, and each entry covers its own host alone or
// begins with a path, so that no other part of the service comes with it.
constexpr std::array<const char16_t*, 9> kSignInAndHelpSites = {
    u"https://accounts.google.com",        // sign-in of schools' and families' accounts
    u"https://login.live.com",             // sign-in of personal Microsoft accounts
    u"https://login.microsoftonline.com",  // sign-in of school accounts
    u"https://accounts.firefox.com",       // account of the browser, with the bookmarks a parent set up
    u"https://login.yahoo.com/account",    // account creation and recovery; the rest of the host forwards
    u"https://github.com/login/oauth",     // what learning sites send pupils to; the code host stays closed
    u"https://support.mozilla.org",        // help pages that the browser links to
    u"https://mail.proton.me",             // mail, where addresses are confirmed
    u"https://flathub.org",                // store of applications, with parental controls of its own
};

}  // namespace sifterra
