#include "kit/engine/lock_policy.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "kit/engine/locker.h"
#include "platform/file_manager.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Refused = std::optional<LockRefusal>;
using enum LockRefusal;

constexpr ItemFacts there = {.exists = true};

struct Row {
  const char* path;
  Refused expected;
  ItemFacts facts = there;
};

void expectRefusals(const LockPolicy& policy, const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    const Refused refused = policy.refusal(row.path, row.facts);
    EXPECT_EQ(refused ? rawValue(*refused) : "none", row.expected ? rawValue(*row.expected) : "none") << row.path;
  }
}

const LockPolicy policy = {
    .home = "/Users/me", .mountsRoot = "/Users/me/Library/T/Open", .appBundle = "/Users/me/T.app"};

TEST(LockPolicy, JudgesByThePath) {
  expectRefusals(policy, {{"/Users/me/Library/T/Open/a", insideUnlockedItem},
                          {"/Users/me/Library/T/Opened", libraryFolder},
                          {"/", systemLocation},
                          {"/Users", systemLocation},
                          {"/Users/Shared/x", {}},
                          {"/Volumes/disk", {}},
                          {"/Library/x", systemLocation},
                          {"/Libraryx", {}},
                          {"/library", {}},
                          {"/private/etc/hosts", systemLocation},
                          {"/private/var/x", {}},
                          {"/Users/me", homeFolder},
                          {"/Users/me/", homeFolder},
                          {"/Users/you", {}},
                          {"/Users/me/Desktop", standardFolder},
                          {"/Users/me/Desktop/x", {}},
                          {"/Users/me/desktop", {}},
                          {"/Users/me/Library", libraryFolder},
                          {"/Users/me/Library/Preferences/x/y", libraryFolder},
                          {"/Users/me/Library/Mobile Documents/container", libraryFolder},
                          {"/Users/me/Library/Mobile Documents/container/x", {}},
                          {"/Users/me/Library/CloudStorage/c/x/y", {}},
                          {"/Users/me/Library/cloudstorage/c/x", libraryFolder}});
}

TEST(LockPolicy, JudgesByTheNamesOnTheWay) {
  expectRefusals(policy, {{"/Users/me/X.APP/file", application},
                          {"/Users/me/x.app", application},
                          {"/Users/me/x.apps", {}},
                          {"/Users/me/y.SparseBundle/x", insideLockedItem},
                          {"/Users/me/y.sparsebundle", {}},
                          {"/Users/me/z.tavrlock/x", insideLockedItem},
                          {"/Users/me/.Tavrine-1/x", insideLockedItem},
                          {"/Users/me/.tavrine", {}},
                          {"/Users/me/z.TavrLock", alreadyLocked},
                          {"/Users/me/.tavrine-1", alreadyLocked},
                          {"/Users/me/z.tavrlock2", {}}});
}

TEST(LockPolicy, TheFirstRuleThatMatchesDecides) {
  const ItemFacts everything = {true, false, true, true, LockPolicy::maxBytes + 1};
  const ItemFacts volume = {true, false, true, false, LockPolicy::maxBytes + 1};
  expectRefusals(policy, {{"/", doesNotExist, {.isSymlink = true}},
                          {"/", shortcut, {.exists = true, .isSymlink = true}},
                          {"/Users/me/T.app", tavrineItself, everything},
                          {"/usr/x.app", systemLocation, everything},
                          {"/Users/me/Library/x.app", libraryFolder, everything},
                          {"/Users/me/z.tavrlock/x.app", application, everything},
                          {"/Users/me/z.tavrlock/z.tavrlock", insideLockedItem, everything},
                          {"/Users/me/z.tavrlock", alreadyLocked, everything},
                          {"/Users/me/x", networkVolume, everything},
                          {"/Users/me/x", volumeRoot, volume},
                          {"/Users/me/x", tooLarge, {.exists = true, .size = 2'000'000'000'001}},
                          {"/Users/me/x", {}, {.exists = true, .size = 2'000'000'000'000}}});
  EXPECT_EQ((LockPolicy{.home = "/h", .mountsRoot = "/m"}.refusal("/T.app", there)), application);
}

/// A home with linked folders and a desktop of another name, and the engine's own places beside it.
class PlacesOfTheEngine : public testing::Test {
 protected:
  /// Made before the engine, which reads them once.
  struct Home {
    Home() {
      for (const char* made : {"home/dots/config", "home/.local", "app", "support"})
        fs::create_directories(folder / made);
      fs::create_symlink("dots/config", folder / "home/.config");
      fs::create_symlink("home", folder / "link");
      replaceFile(
          folder / "home/dots/config/user-dirs.dirs",
          "#XDG_DESKTOP_DIR=\"$HOME/No\"\nXDG_DESKTOP_DIR=\"$HOME/Schreibtisch\"\nXDG_MUSIC_DIR=\"$HOME/Musik\"\n");
    }
    const Path& path() const { return folder.path(); }
    Path operator/(const char* name) const { return folder / name; }

    const TemporaryFolder folder;
  };

  Refused refusal(const Path& path) const { return locker_.policy.refusal(path, there); }

  const Home folder_;
  const Locker locker_{{folder_ / "support", folder_ / "link", folder_ / "app"}, {.hdiutil = "/none"}};
};

TEST_F(PlacesOfTheEngine, AreRefusedBehindTheRules) {
  const std::vector<std::pair<Path, Refused>> rows = {
      {"/proc/1", systemLocation},
      {"/tmp", systemLocation},
      {"/home", systemLocation},
      {"/var", systemLocation},
      {"/var/x", {}},
      {folder_ / "home", homeFolder},
      {folder_ / "home/.local/x", libraryFolder},
      {folder_ / "home/dots/config/x", libraryFolder},
      {folder_ / "home/dots", {}},
      {folder_ / "home/.ssh", libraryFolder},
      {folder_ / "home/.sshx", {}},
      {folder_ / "home/Musik", {}},
      {folder_ / "home/x", {}},
      {folder_ / "support/items.json", tavrineItself},
      {folder_ / "app/x", tavrineItself},
      {folder_.path(), tavrineItself},
      {fs::read_symlink("/proc/self/exe"), tavrineItself},
  };
  for (const auto& [path, expected] : rows) EXPECT_EQ(refusal(path), expected) << path;
  if (std::getenv("XDG_CONFIG_HOME") != nullptr) GTEST_SKIP() << "the user's folders are named elsewhere";
  EXPECT_EQ(refusal(folder_ / "home/Schreibtisch"), standardFolder);
  EXPECT_EQ(refusal(folder_ / "home/Schreibtisch/x"), Refused());
}

TEST_F(PlacesOfTheEngine, StandInThePolicyAndTheDefaultsAreThere) {
  EXPECT_EQ(locker_.policy.home, folder_ / "home");
  EXPECT_EQ(locker_.policy.mountsRoot, folder_ / "support/Open");
  EXPECT_EQ(locker_.index.fileURL(), folder_ / "support/items.json");
  EXPECT_EQ(locker_.journal.fileURL(), folder_ / "support/operations.json");
  EXPECT_TRUE(fs::is_empty(folder_ / "support"));
  EXPECT_FALSE(locker_.crashPoint || locker_.afterVerify || locker_.afterRestoreCopy);
  EXPECT_EQ(locker_.spaceMargin, 250'000'000);
  EXPECT_EQ(locker_.cloudDownloadTimeout, 300.0);
}

TEST(ItemFacts, CountWhatIsBelowAndFollowNoLink) {
  const TemporaryFolder folder;
  fs::create_directories(folder / "item/.hidden");
  replaceFile(folder / "item/.hidden/a", std::string(5000, 'a'));
  replaceFile(folder / "item/b", "b");
  std::ofstream(folder / "item/hole") << "";
  fs::resize_file(folder / "item/hole", 1 << 20);
  fs::create_directory_symlink("item", folder / "link");
  EXPECT_EQ(ItemFacts::logicalSize(folder / "item"), 5001 + (1 << 20));
  const ItemFacts facts = ItemFacts::inspect(folder / "item");
  EXPECT_GE(facts.size, 5001);
  EXPECT_LT(facts.size, 1 << 20);
  EXPECT_EQ(facts, (ItemFacts{.exists = true, .size = facts.size}));
  for (const char* name : {"link", "link/"}) {
    EXPECT_EQ(ItemFacts::inspect(folder / name), (ItemFacts{.exists = true, .isSymlink = true})) << name;
  }
  EXPECT_EQ(ItemFacts::inspect(folder / "missing"), ItemFacts());
  EXPECT_TRUE(ItemFacts::inspect("/proc").isVolumeRoot);
}

}  // namespace
}  // namespace tavrine
