// Tests of the control messages, byte by byte.
#include "sifterra/platform/ControlMessage.h"

#include <gtest/gtest.h>

#include <random>

namespace sifterra::platform {
namespace {

using namespace std::string_literals;

TEST(ControlMessage, RequestsAreSpeltAsDocumented) {
  struct Row {
    ControlRequest request;
    std::string packet;
  };
  const Row rows[] = {
      {{ControlOperation::Connect, 1, 0, 0, {}}, "WFQ1\1\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0"s},
      {{ControlOperation::SetOption, 0x01020304, 2, 0, "abc"}, "WFQ1\2\0\0\0\4\3\2\1\2\0\0\0\3\0\0\0abc"s},
      {{ControlOperation::GetOption, 7, 3, 28, {}}, "WFQ1\3\0\0\0\7\0\0\0\3\0\0\0\x1C\0\0\0"s},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.request.encoded(), row.packet);
    EXPECT_EQ(ControlRequest::decoded(row.packet), row.request);
  }
}

TEST(ControlMessage, RepliesAreSpeltAsDocumented) {
  struct Row {
    ControlReply reply;
    std::string packet;
  };
  const Row rows[] = {
      {{ControlOperation::Connect, 1, 0, {}}, "WFA1\1\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0"s},
      {{ControlOperation::SetOption, 9, 0x0A0B0C0D, {}}, "WFA1\2\0\0\0\x09\0\0\0\x0D\x0C\x0B\x0A\0\0\0\0"s},
      {{ControlOperation::GetOption, 7, 0, "ab"}, "WFA1\3\0\0\0\7\0\0\0\0\0\0\0\2\0\0\0ab"s},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(row.reply.encoded(), row.packet);
    EXPECT_EQ(ControlReply::decoded(row.packet), row.reply);
  }
}

TEST(ControlMessage, WhatIsNoMessageIsRefused) {
  const std::string set = "WFQ1\2\0\0\0\1\0\0\0\1\0\0\0\3\0\0\0abc"s;
  ASSERT_TRUE(ControlRequest::decoded(set));
  const std::string rows[] = {
      "",
      set.substr(0, 19),
      set.substr(0, 22),                                                // cut short
      set + "d",                                                        // too long
      "WFA1" + set.substr(4),                                           // a reply's mark
      "wfq1" + set.substr(4),                                           //
      "WFQ1\0\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0"s,                          // no operation
      "WFQ1\4\0\0\0\1\0\0\0\1\0\0\0\0\0\0\0"s,                          // none either
      "WFQ1\2\1\0\0\1\0\0\0\1\0\0\0\0\0\0\0"s,                          // nor with the higher byte
      "WFQ1\2\0\1\0\1\0\0\0\1\0\0\0\0\0\0\0"s,                          // the zero is not zero
      "WFQ1\1\0\0\0\1\0\0\0\0\0\0\0\1\0\0\0a"s,                         // a payload to connect with
      "WFQ1\3\0\0\0\1\0\0\0\1\0\0\0\1\0\0\0a"s,                         // a payload to get with
      "WFQ1\3\0\0\0\1\0\0\0\1\0\0\0\1\1\0\0"s,                          // room for 257 bytes
      "WFQ1\2\0\0\0\1\0\0\0\1\0\0\0\1\1\0\0"s + std::string(257, 'x'),  // 257 bytes
      "WFQ1\2\0\0\0\1\0\0\0\1\0\0\0\xFF\xFF\xFF\xFF"s,
  };
  for (const std::string& row : rows) {
    SCOPED_TRACE(row);
    EXPECT_FALSE(ControlRequest::decoded(row));
  }
  EXPECT_FALSE(ControlReply::decoded("WFA1\2\0\0\0\1\0\0\0\0\0\0\0\1\0\0\0a"s));  // a value of a set
  EXPECT_FALSE(ControlReply::decoded("WFA1\3\0\0\0\1\0\0\0\5\0\0\0\1\0\0\0a"s));  // a value with an error
  EXPECT_FALSE(ControlReply::decoded("WFA1\3\0\0\0\1\0\0\0\0\0\0\0\2\0\0\0a"s));
  EXPECT_FALSE(ControlReply::decoded("WFA1\4\0\0\0\1\0\0\0\0\0\0\0\0\0\0\0"s));
}

TEST(ControlMessage, TheLargestPayloadPasses) {
  const ControlRequest request{ControlOperation::SetOption, 1, 1, 0, std::string(256, 'x')};
  EXPECT_EQ(request.encoded().size(), kControlMostBytes);
  EXPECT_EQ(ControlRequest::decoded(request.encoded()), request);
  const ControlReply reply{ControlOperation::GetOption, 1, 0, std::string(256, 'x')};
  EXPECT_EQ(ControlReply::decoded(reply.encoded()), reply);
}

TEST(ControlMessage, WhatCannotBeSpeltIsEmpty) {
  const std::string large(257, 'x');
  EXPECT_EQ((ControlRequest{ControlOperation::SetOption, 1, 1, 0, large}.encoded()), "");
  EXPECT_EQ((ControlRequest{ControlOperation::SetOption, 1, 1, 4, "a"}.encoded()), "");
  EXPECT_EQ((ControlRequest{ControlOperation::GetOption, 1, 1, 257, {}}.encoded()), "");
  EXPECT_EQ((ControlRequest{ControlOperation::GetOption, 1, 1, 1, "a"}.encoded()), "");
  EXPECT_EQ((ControlRequest{ControlOperation::Connect, 1, 1, 0, "a"}.encoded()), "");
  EXPECT_EQ((ControlRequest{static_cast<ControlOperation>(9), 1, 1, 0, {}}.encoded()), "");
  EXPECT_EQ((ControlReply{ControlOperation::GetOption, 1, 0, large}.encoded()), "");
  EXPECT_EQ((ControlReply{ControlOperation::GetOption, 1, 5, "a"}.encoded()), "");
  EXPECT_EQ((ControlReply{ControlOperation::SetOption, 1, 0, "a"}.encoded()), "");
  EXPECT_EQ((ControlReply{static_cast<ControlOperation>(0), 1, 0, {}}.encoded()), "");
}

}  // namespace
}  // namespace sifterra::platform
