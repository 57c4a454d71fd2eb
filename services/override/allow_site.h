// allow_site: puts a page or its site on the list that counts for a user.
#pragma once

#include <string>

namespace sifterra::override_service {

enum class Scope { Site, Page };

// What the list gets for an address: the host's root, or the page without its fragment. Empty for what is no
// http or https address with a host, and for one with a name or password before the host.
[[nodiscard]] std::string listedAddress(const std::string& url, Scope scope);
// "www.example.org", as people call a site.
[[nodiscard]] std::string siteName(const std::string& url);

// Whether the user is restricted and may ask at all.
[[nodiscard]] bool mayAsk(const std::string& user);
// Why the user's preference file cannot be read; empty when it can, or when there is none.
[[nodiscard]] std::string policyProblem(const std::string& user);

// Adds the address to the list by which the user's pages are decided: in allow-list-only mode (also when the
// content filter is on, since the list alone decides then) the sites with their titles, else the content
// filter's allow list. Then asks the judgement itself whether the page passes now. False, with the reason,
// when it was not written or does not.
[[nodiscard]] bool allowSite(const std::string& user, const std::string& url, const std::string& title,
                             Scope scope, std::string& problem);

}  // namespace sifterra::override_service
