#include "kit/commands/finder_menu_model.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kit/commands/shared_state.h"
#include "tests/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

using Entries = std::vector<FinderMenuEntry>;
using Unlocked = std::optional<std::set<std::string>>;

const Path taxes = "/none/Taxes.tavrlock";
const Path notes = "/none/Notes.tavrlock";
const FinderMenuEntry unlockTaxes{"Unlock with Tavrine", TavrineCommand::unlock(taxes)};
const FinderMenuEntry lockTaxesNow{"Lock Now", TavrineCommand::lockNow({taxes})};
const FinderMenuEntry removeTaxesLock{"Remove Lock…", TavrineCommand::removeLock(taxes)};
const FinderMenuEntry showTaxes{"Show Unlocked Files", TavrineCommand::reveal(taxes)};

TEST(FinderMenuModel, EntriesFollowTheSelectionAndWhatIsUnlocked) {
  struct Row {
    const char* name;
    std::vector<Path> selection;
    Unlocked unlocked;
    Entries entries;
  };
  const Unlocked unknown;
  const Unlocked none{std::in_place};
  const Unlocked taxesOnly{{taxes.string()}};
  const Path plain = "/none/a.txt";
  const Path shouting = "/none/Notes.TAVRLOCK";
  const Row rows[] = {
      {"nothing selected", {}, unknown, {}},
      {"ordinary items", {plain, shouting}, none, {{"Lock with Tavrine", TavrineCommand::lock({plain, shouting})}}},
      {"a mixed selection", {plain, taxes}, unknown, {}},
      {"one locked, unknown", {taxes}, unknown, {unlockTaxes, lockTaxesNow, removeTaxesLock}},
      {"one locked", {taxes}, none, {unlockTaxes, removeTaxesLock}},
      {"one unlocked", {taxes}, taxesOnly, {lockTaxesNow, showTaxes}},
      {"two, one unlocked", {notes, taxes}, taxesOnly, {lockTaxesNow}},
      {"two, none unlocked", {notes, taxes}, none, {}},
      {"two, unknown", {notes, taxes}, unknown, {{"Lock Now", TavrineCommand::lockNow({notes, taxes})}}},
      {"a path to be standardised",
       {"/none/x/../Taxes.tavrlock"},
       taxesOnly,
       {{"Lock Now", TavrineCommand::lockNow({"/none/x/../Taxes.tavrlock"})},
        {"Show Unlocked Files", TavrineCommand::reveal("/none/x/../Taxes.tavrlock")}}},
  };
  for (const Row& row : rows) EXPECT_EQ(FinderMenuModel::entries(row.selection, row.unlocked), row.entries) << row.name;
}

/// A locked item "Taxes.tavrlock" with a link to its folder, and the state file.
class CurrentEntries : public testing::Test {
 protected:
  CurrentEntries() {
    fs::create_directories(folder_ / "real/Taxes.tavrlock");
    fs::create_directory_symlink("real", folder_ / "link");
  }

  std::vector<std::string> titles(const Path& item) const {
    std::vector<std::string> result;
    for (const auto& entry : currentEntries({item}, folder_ / "state.json")) result.push_back(entry.title);
    return result;
  }

  void write(int64_t bootTime) const {
    SharedState{{canonicalPath(folder_ / "real/Taxes.tavrlock")}, bootTime}.write(folder_ / "state.json");
  }

  const TemporaryFolder folder_;
  const std::vector<std::string> unlocked_ = {"Lock Now", "Show Unlocked Files"};
  const std::vector<std::string> unknown_ = {"Unlock with Tavrine", "Lock Now", "Remove Lock…"};
};

TEST_F(CurrentEntries, KnowAnUnlockedItemByAnyOfItsPaths) {
  write(SharedState::currentBootTime());
  EXPECT_EQ(titles(folder_ / "link/Taxes.tavrlock"), unlocked_);
  EXPECT_EQ(titles(folder_ / "real/../real/Taxes.tavrlock"), unlocked_);
  EXPECT_EQ(titles(folder_ / "real/Other.tavrlock"), (std::vector<std::string>{"Unlock with Tavrine", "Remove Lock…"}));
}

TEST_F(CurrentEntries, AnOldOrMissingStateIsUnknown) {
  EXPECT_EQ(titles(folder_ / "real/Taxes.tavrlock"), unknown_);
  write(SharedState::currentBootTime() - 1);
  EXPECT_EQ(titles(folder_ / "real/Taxes.tavrlock"), unknown_);
}

}  // namespace
}  // namespace tavrine
