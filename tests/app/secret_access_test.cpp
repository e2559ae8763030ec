#include "app/secret_access.h"

#include <filesystem>
#include <memory>
#include <sstream>

#include "kit/errors/tavrine_error.h"
#include "platform/file_manager.h"
#include "tests/programs/hdiutil/image_tool.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

const char* const good = "secret of mine";

/// Commands that take the password from a file, with the fake image tool.
class SecretAccessTest : public ImageTest {
 protected:
  struct Command {
    PasswordSource passwords;
    SecretAccess access;
    Command(const Path& file, const StopRequest& stop, const SecretAccess::Options& options, std::ostream& messages)
        : passwords(file, stop, messages), access(options, passwords, messages) {}
  };

  SecretAccessTest() : ImageTest(Tool::fake) { makeFolder("support"); }

  /// A command that has asked.
  std::unique_ptr<Command> asked(const std::string& password) {
    replaceFile(path("password"), password + "\n");
    const SecretAccess::Options options{path("support"), SecretBox::leastCost, images_};
    auto command = std::make_unique<Command>(path("password"), stop_, options, messages_);
    command->access.ask();
    return command;
  }

  /// What a command gets, or why it gets nothing.
  std::string taken(const std::string& password) {
    try {
      return described(asked(password)->access.take(locker_));
    } catch (const std::exception& error) {
      return error.what();
    }
  }

  static std::string described(const StoredSecret& secret) {
    return secret.password.text() + " " + std::to_string(secret.generation);
  }

  /// An item whose image opens with that password.
  Path addItem(const std::string& name, int64_t generation, const std::string& password) const {
    const Path image = makeImage(name);
    EXPECT_DONE(changePassword(image, "secret", password));
    locker_.index.upsert({.id = Uuid::random(),
                          .displayName = name,
                          .kind = LockedItem::Kind::file,
                          .bookmark = std::nullopt,
                          .lastKnownPath = image,
                          .createdAt = currentDate(),
                          .passwordGeneration = generation,
                          .stage = LockedItem::Stage::complete});
    return image;
  }

  bool isStored() const { return fs::exists(store_.fileURL()); }

  std::vector<Path> images_;  ///< that the command is to open
  StopRequest stop_;
  std::ostringstream messages_;
  const Locker locker_{{path("support"), path("home")}, DiskImageTool{tool()}};
  const SecretStore store_{path("support"), SecretBox::leastCost};
  const std::string wrong_ = TavrineError::wrongPassword().what();
};

TEST_F(SecretAccessTest, FirstUseStoresWhenItIsTakenAndNotBefore) {
  EXPECT_EQ(taken("short"), "Use at least 8 characters.");
  const auto first = asked(good);
  EXPECT_FALSE(isStored()) << "a question changes nothing";
  EXPECT_EQ(described(first->access.take(locker_)), std::string(good) + " 1");
  EXPECT_EQ(taken(good), std::string(good) + " 1");
  EXPECT_EQ(taken("short"), wrong_);
}

TEST_F(SecretAccessTest, TheStoreThatIsThereWhenItIsTakenDecides) {
  const auto other = asked("another secret");
  const auto same = asked(good);
  ASSERT_EQ(taken(good), std::string(good) + " 1");
  EXPECT_THROW((void)other->access.take(locker_), TavrineError);
  EXPECT_EQ(described(same->access.take(locker_)), std::string(good) + " 1");
  const auto late = asked(good);
  store_.save(store_.open(Password(good))->changing(Password("a new secret")));
  EXPECT_THROW((void)late->access.take(locker_), TavrineError) << "what was checked before is not what counts";
  EXPECT_EQ(taken("a new secret"), "a new secret 2");
}

TEST_F(SecretAccessTest, ALostStoreIsMadeAnewByAPasswordThatOpensAnImage) {
  addItem("first", 2, "elder");
  const Path gone = addItem("gone", 5, "secret");
  const Path attachedImage = addItem("attached", 4, "secret");
  fs::remove_all(gone);
  EXPECT_DONE(attach(attachedImage, makeFolder("mount")));
  replaceFile(store_.fileURL(), "damaged");
  EXPECT_EQ(taken("not the one"), wrong_);
  EXPECT_EQ(readFile(store_.fileURL()), "damaged") << "nothing happens to it for a wrong password";
  EXPECT_EQ(taken("elder"), "elder 5") << "short passwords of old items open them too";
  EXPECT_EQ(store_.open(Password("elder"))->generation, 5);
  EXPECT_NE(messages_.str().find("secret.tavrine.damaged-"), std::string::npos);
  EXPECT_EQ(attached().size(), 1u) << "what was attached to look is detached";
  EXPECT_TRUE(fs::is_empty(locker_.mountsRoot));
  EXPECT_DONE(detach(path("mount")));
}

TEST_F(SecretAccessTest, AnImageFromElsewhereTakesItsOwnPasswordAndStoresNoSlip) {
  images_ = {makeImage("elsewhere")};
  EXPECT_EQ(taken("secrte"), wrong_);
  EXPECT_FALSE(isStored());
  EXPECT_EQ(taken("secret"), "secret 1") << "under no rule for new passwords";
  EXPECT_TRUE(isStored());
}

TEST_F(SecretAccessTest, ALostStoreStaysLostWhereNoImageCanTell) {
  fs::remove_all(addItem("gone", 1, "secret"));
  EXPECT_EQ(taken("secret").rfind("The password store is missing or damaged, and no locked item", 0), 0u);
  EXPECT_FALSE(isStored());
  const auto once = asked("secret");
  locker_.index.save({});
  EXPECT_THROW((void)once->access.take(locker_), std::runtime_error) << "it was never asked for as a new one";
  EXPECT_FALSE(isStored());
}

TEST_F(SecretAccessTest, ADamagedListStaysInItsPlaceWhileAsking) {
  replaceFile(locker_.index.fileURL(), "damaged");
  const auto command = asked(good);
  EXPECT_EQ(readFile(locker_.index.fileURL()), "damaged");
}

TEST_F(SecretAccessTest, AStopEndsTheSearchForAnImage) {
  addItem("item", 1, "secret");
  const auto command = asked("secret");
  stop_.raise();
  EXPECT_THROW((void)command->access.take(locker_), TavrineError);
  EXPECT_FALSE(isStored());
}

}  // namespace
}  // namespace tavrine
