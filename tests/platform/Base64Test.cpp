// Tests of the base64 transform: the vectors of RFC 4648, what is refused, and a plain version as the oracle.
#include "platform/Base64.h"

#include <gtest/gtest.h>

#include <random>

#include "reference/plain_base64.h"

namespace sifterra::platform {
namespace {

using namespace std::string_literals;

TEST(Base64, EncodesTheVectorsOfTheStandard) {
  struct Row {
    const char* bytes;
    const char* text;
  };
  constexpr Row kRows[] = {{"", ""},
                           {"a", "YQ=="},
                           {"f", "Zg=="},
                           {"fo", "Zm8="},
                           {"foo", "Zm9v"},
                           {"foob", "Zm9vYg=="},
                           {"fooba", "Zm9vYmE="},
                           {"foobar", "Zm9vYmFy"},
                           {"\xFB\xEF\xBE\xFF", "++++/w=="}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(base64Encoded(row.bytes), row.text);
    EXPECT_EQ(base64Decoded(row.text), row.bytes);
  }
}

TEST(Base64, WritesOneLineHoweverLongTheText) {
  const std::string text = base64Encoded(std::string(100, 'x'));
  EXPECT_EQ(text.size(), 136U);
  EXPECT_EQ(text.find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(base64Encoded(std::string(300000, 'x')).find_first_of("\r\n"), std::string::npos);
}

TEST(Base64, RefusesWhatNoEncoderWrites) {
  const std::string rows[] = {
      "not base64", "Zg",       "Zg=",     "Zg===",          "Z===", "====",        "=",
      "==",         "Zg==Zg==", "Zm=v",    "Z=9v",           "=m9v", "Zm9v\n",      "Zm9v\nZm9v\n\n\n",
      "Zm 9v   ",   " Zm9",     "\tZm9",   "Zg =",           "Zm9-", "Zm9_",        "Zm9\0"s,
      "\0\0\0\0"s,  "Zm9\xC3",  "Zm9\xFF", "Zm9v\xC3\xA9==", "Zm9*", "Zm9vZm9v    "};
  for (const std::string& row : rows) {
    SCOPED_TRACE(row);
    EXPECT_FALSE(base64Decoded(row));
    EXPECT_FALSE(reference::decodedBase64(row));
  }
}

TEST(Base64, LeavesTheUnusedBitsToTheEncoder) {
  EXPECT_EQ(base64Decoded("Zh=="), "f");
  EXPECT_EQ(base64Decoded("Zv=="), "f");
  EXPECT_EQ(base64Decoded("Zm9vZm9="), "foofo");
  EXPECT_EQ(base64Decoded("//=="), "\xFF");
}

TEST(Base64, AgreesWithThePlainVersion) {
  std::mt19937 random(8201);
  const std::string alphabet(reference::kBase64Alphabet);
  for (int round = 0; round < 20000; ++round) {
    std::string bytes(random() % 40, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const std::string text = reference::encodedBase64(bytes);
    ASSERT_EQ(base64Encoded(bytes), text);
    ASSERT_EQ(base64Decoded(text), bytes);
    std::string other = text;
    if (!other.empty()) other[random() % other.size()] = static_cast<char>(random());
    ASSERT_EQ(base64Decoded(other), reference::decodedBase64(other)) << other;
  }
}

}  // namespace
}  // namespace sifterra::platform
