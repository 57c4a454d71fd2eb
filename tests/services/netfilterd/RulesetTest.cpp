// The rules as text; network_test.py tests what the kernel makes of them.
#include "ruleset.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace sifterra::netfilterd {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

Configuration annAtHerPorts() {
  Configuration configuration;
  configuration.users = {{"ann", 1001, 3129, 3130}};
  configuration.proxyUid = 13;
  configuration.dnsOverHttps = {"192.0.2.53", "2001:db8::53"};
  return configuration;
}

FilterState programManages(std::uint32_t uid, std::uint8_t firstByte) {
  FilterState state;
  state.managedUser = uid;
  state.ipv4Proxy = ProxyAddress{{firstByte, 0, 0, 1}, 8080};
  state.ipv6Proxy = ProxyAddress{{}, 8080};
  return state;
}

std::string rules(const Configuration& configuration, const FilterState& state = {},
                  const std::string& subordinates = "") {
  return rulesetText(planOf(configuration, state, {subordinates, "cem", {"192.0.2.7", "2001:db8::7"}, 1000}));
}

TEST(Ruleset, ReplacesTheWholeTableInOneTransaction) {
  EXPECT_EQ(rules(annAtHerPorts()), R"(add table inet sifterra
delete table inet sifterra
table inet sifterra {
  chain to_proxy {
    type nat hook output priority -100; policy accept;
    meta skuid 13 accept
    fib daddr type local accept
    meta skuid { 1001 } meta nfproto ipv4 tcp dport 80 redirect to :3129
    meta skuid { 1001 } meta nfproto ipv4 tcp dport 443 redirect to :3130
    meta skuid { 1001 } meta nfproto ipv6 tcp dport 80 redirect to :3129
    meta skuid { 1001 } meta nfproto ipv6 tcp dport 443 redirect to :3130
  }
  chain refuse {
    meta l4proto tcp tcp sport { 1080, 1344, 3128, 3129, 3130, 4444, 8118, 8123, 8888, 9040, 9050, 9051, 9150, 10011 } drop
    ct status dnat accept
    fib daddr type local tcp dport { 1080, 1344, 3128, 3129, 3130, 4444, 8118, 8123, 8888, 9040, 9050, 9051, 9150 } reject with tcp reset
    fib daddr type local accept
    ip daddr { 192.0.2.7 } meta l4proto { tcp, udp } th dport 53 accept
    ip6 daddr { 2001:db8::7 } meta l4proto { tcp, udp } th dport 53 accept
    meta l4proto tcp reject with tcp reset
    reject with icmpx port-unreachable
  }
  chain refuse_detours {
    type filter hook output priority 0; policy accept;
    meta skuid 13 accept
    meta skuid { 1001 } jump refuse
  }
}
)");
}

TEST(Ruleset, NobodyManagedMeansNobodyTouched) {
  EXPECT_EQ(rules({}), R"(add table inet sifterra
delete table inet sifterra
table inet sifterra {
  chain to_proxy {
    type nat hook output priority -100; policy accept;
  }
  chain refuse_detours {
    type filter hook output priority 0; policy accept;
  }
}
)");
}

TEST(Ruleset, WithoutHttpsFilteringSecurePagesPassButNotResolvers) {
  Configuration configuration = annAtHerPorts();
  configuration.filterHttps = false;
  const std::string text = rules(configuration);
  EXPECT_THAT(text, Not(HasSubstr("tcp dport 443 redirect")));
  EXPECT_THAT(text, HasSubstr("    ip daddr { 192.0.2.53 } tcp dport 443 reject with tcp reset\n"
                              "    ip6 daddr { 2001:db8::53 } tcp dport 443 reject with tcp reset\n"
                              "    tcp dport 443 accept\n"));
}

TEST(Ruleset, OtherPortsAreOpenWhereTheAdministratorSaysSo) {
  Configuration configuration = annAtHerPorts();
  configuration.tcpPorts = {993, 22, 993};
  configuration.udpPorts = {123};
  configuration.resolvers = std::vector<std::string>{};
  const std::string text = rules(configuration);
  EXPECT_THAT(text, HasSubstr("    tcp dport { 22, 993 } accept\n    udp dport { 123 } accept\n"));
  EXPECT_THAT(text, Not(HasSubstr("dport 53")));
}

TEST(Ruleset, AProgramSwitchesHttpsFilteringOn) {
  Configuration configuration = annAtHerPorts();
  configuration.filterHttps = false;
  FilterState state;
  state.httpsFiltering = true;
  EXPECT_THAT(rules(configuration, state), HasSubstr("tcp dport 443 redirect to :3130"));
}

TEST(Ruleset, AContainersUserNumbersBelongToTheirOwner) {
  EXPECT_THAT(rules(annAtHerPorts(), {}, "ann:165536:65536\nben:5:5\n"),
              testing::AllOf(HasSubstr("meta skuid { 1001, 165536-231071 } meta nfproto ipv4 tcp dport 80"),
                             HasSubstr("meta skuid { 1001, 165536-231071 } jump refuse")));
}

TEST(Ruleset, TheUserThatAProgramNamesGoesToItsProxy) {
  const std::string text = rules({}, programManages(1003, 127), "cem:700000:10\n");
  EXPECT_THAT(
      text, HasSubstr("meta skuid { 1003, 700000-700009 } meta nfproto ipv4 tcp dport 80 redirect to :8080"));
  EXPECT_THAT(
      text,
      HasSubstr("meta skuid { 1003, 700000-700009 } meta nfproto ipv6 tcp dport 443 redirect to :8080"));
}

TEST(Ruleset, AProxyOnAnotherMachineIsReachedByItsAddress) {
  FilterState state = programManages(1003, 10);
  state.ipv6Proxy->bytes = {0x20, 0x01, 0x0d, 0xb8};
  const std::string text = rules({}, state);
  EXPECT_THAT(text, HasSubstr("meta nfproto ipv4 tcp dport 80 dnat ip to 10.0.0.1:8080\n"));
  EXPECT_THAT(text, HasSubstr("meta nfproto ipv6 tcp dport 80 dnat ip6 to [2001:db8::]:8080\n"));
}

TEST(Ruleset, AManagedUserWithoutAProxyReachesNothingOfTheWeb) {
  FilterState state;
  state.managedUser = 1003;
  const std::string text = rules({}, state);
  EXPECT_THAT(text, Not(HasSubstr("redirect")));
  EXPECT_THAT(text, HasSubstr("meta skuid { 1003 } jump refuse"));
  EXPECT_THAT(text, HasSubstr("meta l4proto tcp reject with tcp reset"));
}

TEST(Ruleset, AUserOfTheConfigurationKeepsHisPortsWhenAProgramNamesHimToo) {
  const std::string text = rules(annAtHerPorts(), programManages(1001, 127));
  EXPECT_THAT(text, HasSubstr("redirect to :3129"));
  EXPECT_THAT(text, Not(HasSubstr("8080")));
}

TEST(Ruleset, AUserIsNotTouchedBeforeHisPauseEnds) {
  Configuration configuration = annAtHerPorts();
  configuration.users[0].pausedUntil = 1001;
  EXPECT_THAT(rules(configuration), Not(HasSubstr("1001")));
  EXPECT_THAT(rules(configuration, programManages(1001, 127)), Not(HasSubstr("8080")));
  configuration.users[0].pausedUntil = 1000;
  EXPECT_THAT(rules(configuration), HasSubstr("meta skuid { 1001 } meta nfproto ipv4 tcp dport 80 redirect"));
}

TEST(Ruleset, OverlappingNumbersAreOneRange) {
  EXPECT_THAT(mergedRanges({{10, 20}, {5, 5}, {15, 30}, {31, 31}, {40, 0xfffffffe}, {50, 60}}),
              ElementsAre(IdRange{5, 5}, IdRange{10, 31}, IdRange{40, 0xfffffffe}));
  EXPECT_THAT(mergedRanges({}), ElementsAre());
}

}  // namespace
}  // namespace sifterra::netfilterd
