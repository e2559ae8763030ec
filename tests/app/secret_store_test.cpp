#include "app/secret_store.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using State = SecretStore::State;

Password password(std::string text) {
  return Password(std::move(text));
}

class SecretStoreTest : public testing::Test {
 protected:
  std::string saved(const StoredSecret& secret) const {
    store_.save(secret);
    return readFile(store_.fileURL());
  }

  /// Whether the store takes these bytes for one that a password opens, and this one does.
  bool opens(const std::string& bytes) const {
    std::ofstream(store_.fileURL(), std::ios::trunc | std::ios::binary) << bytes;
    return store_.state() == State::present && store_.open(secret_.password);
  }

  const TemporaryFolder folder_;
  const SecretStore store_{folder_.path(), SecretBox::leastCost};
  const StoredSecret secret_ = {password("s\xc3\xa9"
                                         "cret \"1\""),
                                3,
                                password("two"),
                                {password("one"), password("two")}};
};

TEST_F(SecretStoreTest, OpensWithItsCurrentPasswordAlone) {
  EXPECT_EQ(store_.state(), State::missing);
  const std::string first = saved(secret_);
  EXPECT_EQ(store_.open(secret_.password), secret_);
  for (const char* wrong : {"two", "", "secret",
                            "s\xc3\xa9"
                            "cret \"1\" "})
    EXPECT_FALSE(store_.open(password(wrong)));
  EXPECT_EQ(fs::status(store_.fileURL()).permissions(), fs::perms(0600));
  EXPECT_NE(saved(secret_), first) << "another salt, another nonce";
}

TEST_F(SecretStoreTest, TellsNeitherAPasswordNorItsLength) {
  const std::string short1 = saved({password("1"), 1, std::nullopt, {}});
  const std::string long1 = saved({password(std::string(900, 'x')), 1, std::nullopt, {}});
  EXPECT_EQ(short1.size(), long1.size());
  EXPECT_EQ(long1.find(std::string(20, 'x')), std::string::npos);
}

TEST_F(SecretStoreTest, NoFlippedBitAndNoCutOpens) {
  const std::string bytes = saved(secret_);
  ASSERT_TRUE(opens(bytes));
  for (size_t at = 0; at < bytes.size(); ++at) {
    for (const char mask : {'\x01', '\x80'}) {
      std::string flipped = bytes;
      flipped[at] = static_cast<char>(flipped[at] ^ mask);
      EXPECT_FALSE(opens(flipped)) << at;
    }
    EXPECT_FALSE(opens(bytes.substr(0, at))) << at;
  }
  EXPECT_FALSE(opens(bytes + std::string(1024, ' ')));
}

TEST_F(SecretStoreTest, AHeaderThatAsksForTooMuchIsDamage) {
  const std::string bytes = saved(secret_);
  struct Row {
    size_t at;
    std::string value;
  };
  using namespace std::string_literals;
  const Row rows[] = {{12, "\x00\x00\x00\x00"s},
                      {12, "\x11\x00\x00\x00"s},
                      {12, "\xff\xff\xff\xff"s},
                      {16, "\xff\x1f\x00\x00"s},
                      {16, "\x01\x00\x00\x10"s},
                      {20, "\x00\x00\x00\x80"s},
                      {8, "\x02"s},
                      {0, "tavr"s}};
  for (const Row& row : rows) {
    std::string hostile = bytes;
    replaceFile(store_.fileURL(), hostile.replace(row.at, row.value.size(), row.value));
    EXPECT_EQ(store_.state(), State::damaged) << row.at;
    EXPECT_THROW((void)store_.open(secret_.password), std::runtime_error) << row.at;
  }
}

TEST_F(SecretStoreTest, WhatCannotBeReadIsNeitherMissingNorDamaged) {
  fs::create_directory(store_.fileURL());
  EXPECT_THROW((void)store_.state(), fs::filesystem_error);
}

TEST_F(SecretStoreTest, ADamagedOneIsSetAsideWhole) {
  replaceFile(store_.fileURL(), "damaged");
  const Path aside = store_.setAside();
  EXPECT_EQ(readFile(aside), "damaged");
  EXPECT_TRUE(aside.filename().string().starts_with("secret.tavrine.damaged-")) << aside;
  EXPECT_EQ(store_.state(), State::missing);
}

}  // namespace
}  // namespace tavrine
