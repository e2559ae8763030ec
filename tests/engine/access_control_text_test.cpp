#include "kit/engine/access_control_text.h"

#include <gtest/gtest.h>

namespace tavrine {
namespace {

constexpr const char* staff = "ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000014";

struct Case {
  const char* name;
  std::string text;
  bool denies;
};

class AccessControlText : public testing::TestWithParam<Case> {};

/// The list of one item: its header and one line.
std::string list(const std::string& line) {
  return "!#acl 1\n" + line + "\n";
}

TEST_P(AccessControlText, IsJudgedLineByLine) {
  const AccessLookups lookups{"ann", [] { return Uuid::parse("FFFFEEEE-DDDD-CCCC-BBBB-AAAA000001F5"); },
                              [](std::string_view group, const Uuid&) { return group == staff; }};
  EXPECT_EQ(deniesDeletion(GetParam().text, lookups), GetParam().denies);
}

INSTANTIATE_TEST_SUITE_P(
    Lines, AccessControlText,
    testing::Values(Case{"Everyone",
                         list("group:ABCDEFAB-CDEF-ABCD-EFAB-CDEF0000000C:everyone:12:deny:delete,readattr"), true},
                    Case{"Allowed", list("group:x:everyone:12:allow:delete"), false},
                    Case{"OtherRight", list("group:x:everyone:12:deny:delete_child,write"), false},
                    Case{"LastRight", list("group:x:everyone:12:deny:write,delete"), true},
                    Case{"Inherited", list("group:x:everyone:12:deny,inherited:delete"), false},
                    Case{"User", list("user:FFFFEEEE:ann:501:deny:delete"), true},
                    Case{"OtherUser", list("user:FFFFEEEE:anna:502:deny:delete"), false},
                    Case{"Group", list(std::string("group:") + staff + ":staff:20:deny:delete"), true},
                    Case{"OtherGroup", list("group:ABCDEFAB-CDEF-ABCD-EFAB-CDEF00000015:wheel:21:deny:delete"), false},
                    Case{"GroupsIdentifierOfAUser", list(std::string("user:") + staff + ":bob:502:deny:delete"), false},
                    Case{"EmptyFields", list("user::everyone::deny:delete"), true},
                    Case{"FiveFields", list("group:everyone:12:deny:delete"), false},
                    Case{"SevenFields", list("group:x:everyone:12:deny:delete:"), false},
                    Case{"LaterLine", list("user:x:bob:502:deny:delete\n\ngroup:x:everyone:12:deny:delete"), true},
                    Case{"Empty", "", false}),
    [](const auto& chosen) { return std::string(chosen.param.name); });

TEST(AccessControlLookups, AskForTheUserOnceAndNeverTakeAMissingOneForAMember) {
  int asked = 0;
  const AccessLookups lookups{"ann",
                              [&asked] {
                                ++asked;
                                return std::optional<Uuid>();
                              },
                              [](std::string_view, const Uuid&) { return true; }};
  const std::string group = std::string("group:") + staff + ":staff:20:deny:delete\n";
  EXPECT_FALSE(deniesDeletion(group + group, lookups));
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(deniesDeletion("user:x:ann:501:deny:delete\n", lookups));
  EXPECT_EQ(asked, 1);
}

}  // namespace
}  // namespace tavrine
