#include "platform/uuid.h"

#include <gtest/gtest.h>

#include <regex>

namespace tavrine {
namespace {

TEST(Uuid, IsRandomOfVersionFourInUpperCase) {
  const Uuid one = Uuid::random();
  EXPECT_NE(one, Uuid::random());
  EXPECT_TRUE(
      std::regex_match(one.text(), std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
      << one.text();
}

TEST(Uuid, ParsesBothCasesAndNothingElse) {
  const std::string text = "0123ABCD-4567-89EF-0011-2233445566FF";
  EXPECT_EQ(Uuid::parse(text)->text(), text);
  EXPECT_EQ(Uuid::parse("0123abcd-4567-89ef-0011-2233445566ff"), Uuid::parse(text));
  for (const std::string wrong : {"", "0123ABCD", "0123ABCD-4567-89EF-0011-2233445566F",
                                  "0123ABCD-4567-89EF-0011-2233445566FG", "0123ABCD04567-89EF-0011-2233445566FF",
                                  "{123ABCD-4567-89EF-0011-2233445566FF", "0123ABCD-4567-89EF-0011-2233445566FF0"}) {
    EXPECT_EQ(Uuid::parse(wrong), std::nullopt) << wrong;
  }
}

}  // namespace
}  // namespace tavrine
