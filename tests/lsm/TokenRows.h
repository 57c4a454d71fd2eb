// TokenRows.h: texts beside their tokens, as the rows of a test.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "lsm/TokenList.h"
#include "platform/Unicode.h"

namespace sifterra::lsm {

struct TokenRow {
  const char16_t* text;
  const char* tokens;  // parted by one space
};

inline void expectRows(const std::vector<TokenRow>& rows) {
  for (const TokenRow& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.text));
    EXPECT_EQ(joinedTokens(row.text), row.tokens);
  }
}

}  // namespace sifterra::lsm
