#include "platform/KeyedHash.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace sifterra::platform {
namespace {

TEST(KeyedHash, IsTheSameForTheSameBytes) {
  EXPECT_EQ(keyedHash("example.com"), keyedHash(std::string("example.") + "com"));
  EXPECT_NE(keyedHash("example.com"), keyedHash("example.org"));
}

TEST(KeyedHash, TellsManyNamesApart) {
  std::set<std::uint64_t> hashes;
  for (int i = 0; i < 100000; ++i) hashes.insert(keyedHash("site" + std::to_string(i) + ".com"));
  EXPECT_EQ(hashes.size(), 100000U);
}

}  // namespace
}  // namespace sifterra::platform
