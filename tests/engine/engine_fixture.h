#pragma once

#include <exception>
#include <string>
#include <vector>

#include "kit/engine/locker.h"
#include "tests/programs/hdiutil/image_tool.h"

namespace tavrine {

/// A test of the engine in a folder of its own: a home, a support directory and an image tool, the fake one or the real
/// one with keys that are quick to derive. The real one skips where no volume can be mounted. What a simulated crash
/// leaves attached is taken away at the end.
class EngineTest : public ImageTest {
 protected:
  explicit EngineTest(Tool tool = Tool::fake);
  void SetUp() override;
  void TearDown() override;

  Path work() const { return path("home/work"); }
  Path work(const Path& name) const { return work() / name; }

  /// A folder with files, folders, an empty one of each and a link; its mode and times are unusual.
  Path makeTree(const std::string& name = "Item") const;
  Path makeFile(const std::string& name = "File.txt", const std::string& content = "content") const;

  /// The item of that kind: the tree or the file.
  Path makeItem(LockedItem::Kind kind) const { return kind == LockedItem::Kind::folder ? makeTree() : makeFile(); }

  LockedItem lock(const Path& item) const;
  Path lockedImage(const Path& item) const { return lock(item).lastKnownPath; }
  Path removeLock(const Path& lockedURL) const;

  std::vector<LockedItem> records() const { return locker_.index.load(); }
  std::vector<JournalEntry> entries() const { return locker_.journal.load(); }

  /// The names in a folder, sorted; none where it is missing.
  static std::vector<std::string> names(const Path& folder);

  /// What no finished operation leaves: our temporary names in the work folder, journal entries, mount points and what
  /// is attached, each as one line.
  std::vector<std::string> leftovers() const;

  /// All that can be told of an item and of what is below it: kinds, modes, owners, times, extended attributes, link
  /// targets, contents.
  static std::string described(const Path& item);

  /// The same of the items in a folder, housekeeping left out.
  static std::string describedContents(const Path& folder);

  /// What `describedContents` says of a locked image's volume, and what it said of the volume of an item locked whole.
  std::string describedInside(const Path& lockedURL) const;
  static std::string describedAsVolume(const Path& item);

  /// Disk, image tool, journal and index as one line; the names of temporary items and images become what they are for.
  std::string state() const;

  /// Makes the fake's next run of the verb fail. With "+" behind the verb it does its work first.
  void failTool(const std::string& verb, const std::string& message = "hdiutil: broken", int status = 1) const;

  /// From now on the file can be neither read nor written: a folder with something in it is in its place.
  static void makeUnusable(const Path& file);

  Locker locker_;
  const Password password_{std::string("secret")};
  mutable std::vector<LockStep> steps_;  ///< of the last `lock` or `removeLock`
};

/// What the operation throws, as text; empty where it throws nothing.
template <typename Operation>
std::string failureOf(const Operation& operation) {
  try {
    operation();
  } catch (const std::exception& error) {
    return error.what();
  }
  return {};
}

}  // namespace tavrine
