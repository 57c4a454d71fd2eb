// Numbers inside text compare by value.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/Unicode.h"
#include "reference/plain_numbers.h"
#include "reference/random_text.h"
#include "util/string_helpers.h"

namespace sifterra {
namespace {

struct Row {
  std::u16string a;
  std::u16string b;
  std::weak_ordering order;
};

TEST(NumericCompare, OrdersDigitRunsByValueAndTheRestByUnit) {
  const auto less = std::weak_ordering::less;
  const auto same = std::weak_ordering::equivalent;
  const std::vector<Row> rows = {
      {u"9", u"10", less},
      {u"file9", u"file10", less},
      {u"file9x", u"file9y", less},
      {u"file9y", u"file10x", less},
      {u"", u"", same},
      {u"", u"a", less},
      {u"", u"0", less},
      {u"a", u"ab", less},
      {u"A", u"a", less},     // case counts
      {u"a1", u"a01", same},  // zeros in front do not
      {u"a001b", u"a1b", same},
      {u"a01b", u"a1c", less},  // the comparison goes on behind equal values
      {u"0", u"000", same},
      {u"00", u"1", less},
      {u"1", u"a", less},
      {u"/", u"1", less},
      {u"1.9", u"1.10", less},                                                // a point ends a run
      {u"99999999999999999999999999", u"100000000000000000000000000", less},  // any length
      {u"18446744073709551616", u"18446744073709551617", less},
      {u"10", u"\u0669", less},  // other scripts' digits are plain units
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(platform::utf8FromUTF16(row.a + u" / " + row.b));
    EXPECT_TRUE(numericCompare(row.a, row.b) == row.order);
    EXPECT_TRUE(numericCompare(row.b, row.a) == (0 <=> row.order));
  }
}

TEST(NumericCompare, AgreesWithNumbersPaddedToOneLength) {
  const std::vector<std::u16string> pieces = {u"0", u"1", u"9", u"00", u"a", u"B", u".", u"/", u":"};
  reference::RandomText random(3);
  for (int round = 0; round < 20000; ++round) {
    const std::u16string a = random.of(pieces, 8);
    const std::u16string b = random.of(pieces, 8);
    SCOPED_TRACE(platform::utf8FromUTF16(a + u" / " + b));
    ASSERT_TRUE(numericCompare(a, b) == (reference::padded(a).compare(reference::padded(b)) <=> 0));
  }
}

}  // namespace
}  // namespace sifterra
