#include "Configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>

namespace sifterra::netfilterd {
namespace {

class KnownAccounts final : public Accounts {
 public:
  [[nodiscard]] Number numberOf(const std::string& name) const override {
    const auto found = _uids.find(name);
    if (found == _uids.end()) return {std::nullopt, "there is no account \"" + name + '"'};
    return {found->second, ""};
  }
  [[nodiscard]] std::optional<std::string> nameOf(std::uint32_t) const override { return std::nullopt; }

 private:
  std::map<std::string, std::uint32_t> _uids = {
      {"root", 0}, {"sifterra-proxy", 13}, {"ann", 1001}, {"ben", 1002}};
};

std::string problemOf(const std::string& text) {
  std::string problem;
  EXPECT_FALSE(configurationOf(text, KnownAccounts(), problem)) << text;
  return problem;
}

Configuration good(const std::string& text) {
  std::string problem;
  const auto configuration = configurationOf(text, KnownAccounts(), problem);
  EXPECT_EQ(problem, "");
  return configuration.value_or(Configuration{});
}

TEST(NetfilterdConfiguration, AnEmptyObjectManagesNobodyAndFiltersHttps) {
  const Configuration configuration = good("{}");
  EXPECT_TRUE(configuration.users.empty());
  EXPECT_TRUE(configuration.filterHttps);
  EXPECT_EQ(configuration.proxyUid, 13u);
  EXPECT_TRUE(configuration.tcpPorts.empty());
  EXPECT_TRUE(configuration.udpPorts.empty());
  EXPECT_EQ(configuration.resolvers, std::nullopt);
  EXPECT_THAT(configuration.closedLocalPorts,
              testing::ElementsAre(1080, 1344, 3128, 4444, 8118, 8123, 8888, 9040, 9050, 9051, 9150));
  EXPECT_THAT(configuration.guardedLocalPorts, testing::ElementsAre(10011));
  EXPECT_EQ(configuration.dnsOverHttps, knownDnsOverHttps());
}

TEST(NetfilterdConfiguration, EveryUserHasAnAccountAndPortsOfHisOwn) {
  const Configuration configuration = good(R"({"users": [
    {"name": "ann", "http-port": 3129, "https-port": 3130},
    {"name": "ben", "http-port": 3131, "https-port": 3132, "paused-until": 1800000000}]})");
  EXPECT_THAT(configuration.users, testing::ElementsAre(ConfiguredUser{"ann", 1001, 3129, 3130},
                                                        ConfiguredUser{"ben", 1002, 3131, 3132, 1800000000}));
}

TEST(NetfilterdConfiguration, EveryKeyIsRead) {
  const Configuration configuration = good(R"({"proxy-user": "ann", "filter-https": false, "tcp-ports": [22],
    "udp-ports": [123], "closed-local-ports": [8080], "guarded-local-ports": [], "resolvers": ["192.0.2.2"],
    "dns-over-https": ["192.0.2.1", "2001:db8::1"]})");
  EXPECT_EQ(configuration.proxyUid, 1001u);
  EXPECT_FALSE(configuration.filterHttps);
  EXPECT_THAT(configuration.tcpPorts, testing::ElementsAre(22));
  EXPECT_THAT(configuration.udpPorts, testing::ElementsAre(123));
  EXPECT_THAT(configuration.closedLocalPorts, testing::ElementsAre(8080));
  EXPECT_TRUE(configuration.guardedLocalPorts.empty());
  EXPECT_EQ(configuration.resolvers, std::vector<std::string>{"192.0.2.2"});
  EXPECT_THAT(configuration.dnsOverHttps, testing::ElementsAre("192.0.2.1", "2001:db8::1"));
}

TEST(NetfilterdConfiguration, AUserWithoutAnAccountIsToldApartAndLeavesTheOthersFiltered) {
  const Configuration configuration = good(R"({"users": [{"name": "cem", "http-port": 1, "https-port": 2},
    {"name": "ann", "http-port": 3129, "https-port": 3130}]})");
  EXPECT_THAT(configuration.users, testing::ElementsAre(ConfiguredUser{"ann", 1001, 3129, 3130}));
  EXPECT_THAT(configuration.unknown, testing::ElementsAre(R"(users[0].name: there is no account "cem")"));
}

TEST(NetfilterdConfiguration, AProxyWithoutAnAccountExemptsNobody) {
  EXPECT_EQ(good(R"({"proxy-user": "squid"})").proxyUid, std::nullopt);
}

TEST(NetfilterdConfiguration, AMistakeNamesItsKeyAndWhatWasExpected) {
  const std::string ann = R"("name": "ann", "http-port": 3129, "https-port": 3130)";
  const struct {
    std::string text;
    std::string problem;
  } rows[] = {
      {"[]", "the file: expected an object, found array"},
      {R"({"user": []})", "user: no such key"},
      {R"({"users": {}})", "users: expected a list, found {}"},
      {R"({"users": ["ann"]})", "users[0]: expected an object, found string"},
      {R"({"users": [{"http-port": 1, "https-port": 2}]})", "users[0].name: is missing"},
      {R"({"users": [{"name": "", "http-port": 1, "https-port": 2}]})",
       R"(users[0].name: expected a text that is not empty, found "")"},
      {R"({"users": [{"name": "ann", "https-port": 2}]})", "users[0].http-port: is missing"},
      {R"({"users": [{"name": "ann", "http-port": 0, "https-port": 2}]})",
       "users[0].http-port: expected a port from 1 to 65535, found 0"},
      {R"({"users": [{"name": "ann", "http-port": 1, "https-port": 65536}]})",
       "users[0].https-port: expected a port from 1 to 65535, found 65536"},
      {R"({"users": [{"name": "ann", "http-port": 7, "https-port": 7}]})",
       R"(users[0]: port 7 is used twice, here and for "ann")"},
      {R"({"users": [{"name": "root", "http-port": 1, "https-port": 2}]})",
       "users[0].name: root cannot be managed"},
      {R"({"users": [{"name": "sifterra-proxy", "http-port": 1, "https-port": 2}]})",
       "users[0].name: the proxy's account cannot be managed"},
      {"{\"users\": [{" + ann + "}, {\"name\": \"ann\", \"http-port\": 1, \"https-port\": 2}]}",
       R"(users[1].name: "ann" is listed twice)"},
      {"{\"users\": [{" + ann + "}, {\"name\": \"ben\", \"http-port\": 3130, \"https-port\": 2}]}",
       R"(users[1]: port 3130 is used twice, here and for "ann")"},
      {"{\"users\": [{" + ann + ", \"port\": 1}]}", "users[0].port: no such key"},
      {"{\"users\": [{" + ann + ", \"paused-until\": -1}]}",
       "users[0].paused-until: expected seconds since 1970, found -1"},
      {"{\"users\": [{" + ann + ", \"paused-until\": \"noon\"}]}",
       R"(users[0].paused-until: expected seconds since 1970, found "noon")"},
      {R"({"filter-https": "yes"})", R"(filter-https: expected true or false, found "yes")"},
      {R"({"proxy-user": 13})", "proxy-user: expected a text that is not empty, found 13"},
      {R"({"tcp-ports": [53, "http"]})", R"(tcp-ports[1]: expected a port from 1 to 65535, found "http")"},
      {R"({"tcp-ports": [443]})", "tcp-ports: port 443 is a way around the filter and cannot be opened"},
      {R"({"udp-ports": [853]})", "udp-ports: port 853 is a way around the filter and cannot be opened"},
      {R"({"resolvers": "192.0.2.1"})", R"(resolvers: expected a list, found "192.0.2.1")"},
      {R"({"resolvers": ["192.0.2.1/24"]})",
       R"(resolvers[0]: expected an IPv4 or IPv6 address, found "192.0.2.1/24")"},
      {R"({"dns-over-https": ["dns.example"]})",
       R"(dns-over-https[0]: expected an IPv4 or IPv6 address, found "dns.example")"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(problemOf(row.text), row.problem);
  }
}

TEST(NetfilterdConfiguration, WhatIsNoJsonIsToldWithItsPlace) {
  EXPECT_THAT(problemOf("{\n  \"users\": [,]\n}"),
              testing::AllOf(testing::StartsWith("not JSON: "), testing::HasSubstr("line 2, column 13")));
}

TEST(NetfilterdConfiguration, ANumberThatIsTooLargeIsToldToo) {
  EXPECT_THAT(problemOf("{\"paused-until\": 1e999}"),
              testing::AllOf(testing::StartsWith("not JSON: "), testing::HasSubstr("'1e999'")));
}

TEST(NetfilterdConfiguration, TheSystemsAccountsAreAsked) {
  EXPECT_EQ(SystemAccounts().numberOf("root").uid, 0u);
  EXPECT_EQ(SystemAccounts().numberOf("root").problem, "");
  EXPECT_EQ(SystemAccounts().numberOf("no such account").uid, std::nullopt);
  EXPECT_EQ(SystemAccounts().numberOf("no such account").problem, "there is no account \"no such account\"");
  EXPECT_EQ(SystemAccounts().nameOf(0), "root");
}

}  // namespace
}  // namespace sifterra::netfilterd
