// Settings: what an administrator can choose about the service; docs/icap.md tells each by its directive.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

namespace sifterra::icap {

// What is answered where the policy of a user cannot say.
enum class Answer {
  Open,    // the page passes
  Closed,  // the page is refused
  Content  // the page is judged by its content alone
};

// How the name in a header is spelt.
enum class NameEncoding {
  Auto,  // X-Client-Username as it stands, X-Authenticated-User in base64 where it reads as such
  Plain,
  Base64
};

struct Settings {
  std::string root;         // in front of the library's fixed paths
  std::string defaultUser;  // for requests that nobody can be found for; empty: an unknown user
  std::string userMapPath;  // addresses and networks to users; empty: none
  NameEncoding nameEncoding = NameEncoding::Auto;
  std::size_t textLimit = std::size_t{256} << 10;  // bytes of a page that are judged
  std::chrono::milliseconds budget{2000};          // of work on one page
  Answer brokenPolicy = Answer::Closed;
  Answer unknownUser = Answer::Content;
  Answer undecodable = Answer::Closed;  // Open or Closed
  Answer overLimit = Answer::Closed;    // Open or Closed
  bool judgeConnect = true;             // CONNECT is judged by its host
  std::string overrideAddress;          // where block pages send their form; empty: pages without one
  bool logURL = false;
  std::string metricsPath;  // for node-exporter's textfile collector; empty: none
};

}  // namespace sifterra::icap
