#include "FilterState.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace sifterra::netfilterd {
namespace {

std::string ipv4(std::uint8_t length, std::uint8_t family, std::uint16_t port) {
  std::string value = {static_cast<char>(length),
                       static_cast<char>(family),
                       static_cast<char>(port >> 8),
                       static_cast<char>(port & 0xff),
                       127,
                       0,
                       0,
                       1};
  value.resize(16, '\0');
  return value;
}

std::string ipv6(std::uint16_t port) {
  std::string value(28, '\0');
  value[0] = 28;
  value[1] = 30;
  value[2] = static_cast<char>(port >> 8);
  value[3] = static_cast<char>(port & 0xff);
  value[23] = 1;
  return value;
}

FilterState everything() {
  FilterState state;
  EXPECT_TRUE(setManagedUser(state, std::string("\xf5\x01\0\0", 4)));
  EXPECT_TRUE(setIPv4Proxy(state, ipv4(16, 2, 8080)));
  EXPECT_TRUE(setIPv6Proxy(state, ipv6(8081)));
  state.httpsFiltering = true;
  return state;
}

TEST(FilterState, ValuesComeBackByteForByte) {
  const FilterState state = everything();
  EXPECT_EQ(state.managedUser, 501u);
  EXPECT_EQ(managedUserValue(state), std::string("\xf5\x01\0\0", 4));
  EXPECT_EQ(ipv4ProxyValue(state), ipv4(16, 2, 8080));
  EXPECT_EQ(ipv6ProxyValue(state), ipv6(8081));
}

TEST(FilterState, WhatWasNeverSetReadsAsZeros) {
  EXPECT_EQ(managedUserValue({}), std::string(4, '\0'));
  EXPECT_EQ(ipv4ProxyValue({}), std::string("\x10\x02", 2) + std::string(14, '\0'));
  EXPECT_EQ(ipv6ProxyValue({}), std::string("\x1c\x1e", 2) + std::string(26, '\0'));
}

TEST(FilterState, UserZeroMeansNobodyAndTheLastNumberIsNoUser) {
  FilterState state = everything();
  EXPECT_FALSE(setManagedUser(state, std::string(4, '\xff')));
  EXPECT_EQ(state.managedUser, 501u);
  EXPECT_TRUE(setManagedUser(state, std::string(4, '\0')));
  EXPECT_EQ(state.managedUser, std::nullopt);
}

TEST(FilterState, AddressRecordsOfAnotherShapeAreRefused) {
  FilterState state;
  EXPECT_FALSE(setManagedUser(state, "123"));
  EXPECT_FALSE(setIPv4Proxy(state, ""));
  EXPECT_FALSE(setIPv4Proxy(state, ipv4(16, 2, 0)));                 // no port
  EXPECT_FALSE(setIPv4Proxy(state, ipv4(15, 2, 80)));                // another length inside
  EXPECT_FALSE(setIPv4Proxy(state, ipv4(16, 10, 80)));               // Linux's number of another family
  EXPECT_FALSE(setIPv4Proxy(state, ipv4(16, 2, 80).substr(0, 15)));  // cut
  EXPECT_FALSE(setIPv6Proxy(state, ipv4(16, 2, 80)));
  EXPECT_FALSE(setIPv6Proxy(state, ipv6(0)));
  EXPECT_EQ(state, FilterState{});
}

TEST(FilterState, IsKeptAsTextThatPeopleRead) {
  EXPECT_EQ(stateText(everything()), R"({
  "https-filtering": true,
  "ipv4-proxy": {
    "address": "127.0.0.1",
    "port": 8080
  },
  "ipv6-proxy": {
    "address": "::1",
    "port": 8081
  },
  "managed-user": 501
}
)");
  std::string problem;
  EXPECT_EQ(stateOf(stateText(everything()), problem), everything());
  EXPECT_EQ(stateOf(stateText({}), problem), FilterState{});
  EXPECT_EQ(problem, "");
}

TEST(FilterState, ABrokenTextIsToldByItsKey) {
  const struct {
    const char* text;
    const char* problem;
  } rows[] = {
      {"", "expected a JSON object"},
      {"[1]", "expected a JSON object"},
      {R"({"https-filtering": 1})", "https-filtering: expected true or false, found 1"},
      {R"({"https-filtering": true, "managed-user": 0})",
       "managed-user: expected a user number or null, found 0"},
      {R"({"https-filtering": true, "managed-user": 4294967295})",
       "managed-user: expected a user number or null, found 4294967295"},
      {R"({"https-filtering": true, "ipv4-proxy": {"address": "::1", "port": 80}})",
       R"(ipv4-proxy: expected an IPv4 address with a port or null, found {"address":"::1","port":80})"},
      {R"({"https-filtering": true, "ipv6-proxy": {"address": "::1", "port": 65536}})",
       R"(ipv6-proxy: expected an IPv6 address with a port or null, found {"address":"::1","port":65536})"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    std::string problem;
    EXPECT_FALSE(stateOf(row.text, problem));
    EXPECT_EQ(problem, row.problem);
  }
}

}  // namespace
}  // namespace sifterra::netfilterd
