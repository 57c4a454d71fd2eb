#include "user_name.h"

#include <gtest/gtest.h>

namespace sifterra::icap {
namespace {

struct Row {
  std::string_view value;
  const char* name;
};

TEST(ShortName, IsTakenOutOfWhateverTheProxyKnows) {
  constexpr Row kRows[] = {
      {"ann", "ann"},
      {"  ann \t", "ann"},
      {"EXAMPLE\\ann", "ann"},
      {"ann@example.com", "ann"},
      {"ann@example.com@EXAMPLE.COM", "ann"},
      {"WinNT://EXAMPLE/ann", "ann"},
      {"WinNT://EXAMPLE/HOST/ann,user", "ann"},
      {"Local://ann", "ann"},
      {"Kerberos://EXAMPLE.COM/ann@EXAMPLE.COM", "ann"},
      {"LDAP://ldap.example.com/cn=ann,ou=people,dc=example", "ann"},
      {"ldap://ldap.example.com/CN=Ann Miller,OU=people,UID=ann", "ann"},
      {"LDAP://ldap.example.com/CN=Ann%20Miller,sAMAccountName=ann", "ann"},
      {"LDAP://cn=ann", "ann"},
      {"LDAP://ldap.example.com/cn=ann\\2C the first,ou=people", "ann, the first"},
      {"LDAP://ldap.example.com/cn=ann\\, the first,ou=people", "ann, the first"},
      {"LDAP://ldap.example.com/uid=ann+cn=x,ou=people?uid?sub", "ann"},
      {"cn=ann,ou=people,dc=example", "ann"},
      {"J\xC3\xBCrgen", "J\xC3\xBCrgen"},
      {"ann miller", "ann miller"},
      {"a=b", "a=b"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.value);
    EXPECT_EQ(shortName(row.value), row.name);
  }
}

TEST(ShortName, IsNoneWhereItCouldLeadToAnotherFile) {
  const std::string zero("ann\0bob", 7);
  const std::string_view rows[] = {"",
                                   "   ",
                                   "-",
                                   ".",
                                   "..",
                                   "../ann",
                                   "a/b",
                                   "/etc/passwd",
                                   zero,
                                   "ann\n",
                                   "a\x01"
                                   "b",
                                   "a\x7F"
                                   "b",
                                   "\xFF\xFE",
                                   "EXAMPLE\\",
                                   "@example.com",
                                   "LDAP://ldap.example.com/",
                                   "LDAP://ldap.example.com/ou=people,dc=example",
                                   "LDAP://ldap.example.com/cn=a%2Fb",
                                   "LDAP://ldap.example.com/cn=a\\2Fb",
                                   "LDAP://ldap.example.com/cn=a%00b",
                                   "WinNT://EXAMPLE/.."};
  for (const std::string_view row : rows) {
    SCOPED_TRACE(row);
    if (row == "ann\n") {
      EXPECT_EQ(shortName(row), "ann");  // the end of a line
    } else {
      EXPECT_EQ(shortName(row), "");
    }
  }
  EXPECT_EQ(shortName(std::string(255, 'a')).size(), 255U);
  EXPECT_EQ(shortName(std::string(256, 'a')), "");
  EXPECT_EQ(shortName(std::string(100000, 'a') + "@x"), "");
}

TEST(UserFromHeader, ReadsBase64WhereItIsTold) {
  EXPECT_EQ(userFromHeader("YW5u", NameEncoding::Base64, false), "ann");
  EXPECT_EQ(userFromHeader("YW5u", NameEncoding::Plain, true), "YW5u");
  EXPECT_EQ(userFromHeader("no base64!", NameEncoding::Base64, true), "");
  // "LDAP://ldap.example.com/cn=ann,ou=people"
  EXPECT_EQ(
      userFromHeader("TERBUDovL2xkYXAuZXhhbXBsZS5jb20vY249YW5uLG91PXBlb3BsZQ==", NameEncoding::Base64, true),
      "ann");
  // "a\0b"
  EXPECT_EQ(userFromHeader("YQBi", NameEncoding::Base64, true), "");
}

TEST(UserFromHeader, GuessesBase64WhereItIsUsualAndReadsAsAName) {
  EXPECT_EQ(userFromHeader("YW5u", NameEncoding::Auto, true), "ann");
  EXPECT_EQ(userFromHeader("YW5u", NameEncoding::Auto, false), "YW5u");
  EXPECT_EQ(userFromHeader("V2luTlQ6Ly9FWEFNUExFL2Fubg==", NameEncoding::Auto, true), "ann");
  EXPECT_EQ(userFromHeader("WinNT://EXAMPLE/ann", NameEncoding::Auto, true), "ann");
  // Four letters are base64 of three bytes, which are no text here.
  EXPECT_EQ(userFromHeader("mary", NameEncoding::Auto, true), "mary");
  EXPECT_EQ(userFromHeader("bill", NameEncoding::Auto, true), "bill");
}

}  // namespace
}  // namespace sifterra::icap
