#include "resolvers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace sifterra::netfilterd {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Resolvers, AreTheAddressesOfTheNameserverLines) {
  EXPECT_THAT(
      resolversOf(
          "# made by a program\nsearch example.org\nnameserver 192.0.2.1\n"
          " nameserver\t2001:db8::1 \nnameserver fe80::1%eth0\r\noptions edns0\nnameserver 192.0.2.2"),
      ElementsAre("192.0.2.1", "2001:db8::1", "fe80::1", "192.0.2.2"));
}

TEST(Resolvers, LinesOfAnotherFormArePassedOver) {
  EXPECT_THAT(resolversOf("nameserver\nnameserver dns.example\nnameservers 192.0.2.1\n#nameserver 192.0.2.1\n"
                          "nameserver 192.0.2.1,192.0.2.2\nnameserver 192.0.2.256\n"),
              IsEmpty());
  EXPECT_THAT(resolversOf(""), IsEmpty());
}

TEST(Resolvers, WhatIsAnAddress) {
  for (const char* good : {"192.0.2.1", "::1", "2001:db8::7", "::ffff:192.0.2.1"})
    EXPECT_TRUE(isAddress(good)) << good;
  for (const char* bad : {"", "192.0.2", "192.0.2.1/8", "192.0.2.1 }", "fe80::1%eth0", "host"})
    EXPECT_FALSE(isAddress(bad)) << bad;
  EXPECT_FALSE(isAddress(std::string("192.0.2.1\0", 10)));
}

}  // namespace
}  // namespace sifterra::netfilterd
