#include "kit/records/stored_secret.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <new>
#include <stdexcept>

#include "kit/records/strict_json.h"

namespace tavrine {
namespace {

Password pw(const char* text) {
  return Password(std::string(text));
}

std::vector<std::string> texts(const std::vector<Password>& passwords) {
  std::vector<std::string> result;
  for (const Password& password : passwords) result.push_back(password.text());
  return result;
}

StoredSecret first() {
  return {pw("a"), 1, std::nullopt, {}};
}

TEST(StoredSecret, AChangeKeepsEveryEarlierPassword) {
  const StoredSecret b = first().changing(pw("b"));
  EXPECT_EQ(b, (StoredSecret{pw("b"), 2, pw("a"), {pw("a")}}));
  const StoredSecret c = b.changing(pw("c"));
  EXPECT_EQ(c, (StoredSecret{pw("c"), 3, pw("b"), {pw("a"), pw("b")}}));
  EXPECT_EQ(texts(c.openCandidates()), (std::vector<std::string>{"c", "b", "a"}));
  EXPECT_EQ(c.migrated(), (StoredSecret{pw("c"), 3, std::nullopt, {pw("a"), pw("b")}}));
  EXPECT_EQ(texts(c.migrated().openCandidates()), (std::vector<std::string>{"c", "b", "a"}));
}

TEST(StoredSecret, GoingBackToAnEarlierPasswordTriesEachOnce) {
  const StoredSecret back = first().changing(pw("b")).changing(pw("a"));
  EXPECT_EQ(back, (StoredSecret{pw("a"), 3, pw("b"), {pw("a"), pw("b")}}));
  EXPECT_EQ(texts(back.openCandidates()), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(back.changing(pw("c")).history, (std::vector<Password>{pw("b"), pw("a")})) << "retired again: last";
}

TEST(StoredSecret, PasswordsThatOnlyLookAlikeAreDifferent) {
  // Composed and decomposed, their bytes open different images: dropping one from the history would lose an item.
  const StoredSecret secret{pw("e\u0301"), 2, std::nullopt, {pw("é")}};
  EXPECT_EQ(secret.changing(pw("x")).history, (std::vector<Password>{pw("é"), pw("e\u0301")}));
}

TEST(StoredSecret, TheLastGenerationIsNotExceeded) {
  const StoredSecret last{pw("a"), std::numeric_limits<int64_t>::max(), std::nullopt, {}};
  EXPECT_THROW(last.changing(pw("b")), std::overflow_error);
}

TEST(StoredSecret, ItsJSONComesBackAndLeavesOutWhatIsAbsent) {
  EXPECT_EQ(first().json(), R"({"password":"a","generation":1,"history":[]})");
  const StoredSecret all{pw("p\"\\/\n\x1f\x7f😀"), -3, pw(""), {pw("x"), pw("")}};
  EXPECT_EQ(StoredSecret::fromJSON(all.json()), all);
  EXPECT_EQ(StoredSecret::fromJSON(R"({"password":"a","generation":1,"more":{}})"), first());
  EXPECT_THROW(StoredSecret({pw("\xFF"), 1, std::nullopt, {}}).json(), std::invalid_argument);
}

TEST(StoredSecret, UnreadableRecordsAreRefusedWithoutQuotingThem) {
  for (const char* text :
       {"", "[]", R"({"password":"hush"})", R"({"password":1,"generation":1})",
        R"({"password":"hush","generation":"1"})", R"({"password":"hush","generation":1,"history":"x"})",
        R"({"password":"hush","generation":1,"previous":null})", R"({"password":"hush","generation":1} hush)",
        R"({"password":"hush","generation":1,"history":[1]})"}) {
    try {
      StoredSecret::fromJSON(text);
      ADD_FAILURE() << text;
    } catch (const UnreadableRecord& error) {
      EXPECT_EQ(std::string(error.what()).find("hush"), std::string::npos) << error.what();
    }
  }
}

TEST(Password, WipesWhatItTakesAndLeaves) {
  std::string typed = "short";
  Password one(std::move(typed));
  // The move leaves the bytes of a short text where they were.
  EXPECT_EQ(std::string(typed.data(), 5), std::string(5, '\0'));  // NOLINT(bugprone-use-after-move)
  const Password two = std::move(one);
  EXPECT_EQ(two.text(), "short");
  EXPECT_EQ(std::string(one.text().data(), 5), std::string(5, '\0'));  // NOLINT(bugprone-use-after-move)
}

TEST(Password, IsWipedWhenItEnds) {
  alignas(Password) std::array<char, sizeof(Password)> memory{};
  auto* password = new (memory.data()) Password(std::string("short"));
  EXPECT_NE(std::string_view(memory.data(), memory.size()).find("short"), std::string_view::npos);
  password->~Password();
  EXPECT_EQ(std::string_view(memory.data(), memory.size()).find("short"), std::string_view::npos);
}

}  // namespace
}  // namespace tavrine
