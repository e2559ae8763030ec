#include <exception>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "app/commands.h"
#include "app/confirmation.h"
#include "app/item_loop.h"
#include "app/item_paths.h"
#include "app/progress_display.h"
#include "app/secret_question.h"
#include "kit/engine/volume_layout.h"
#include "kit/errors/tavrine_error.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

using Names = std::set<std::string>;

/// The volume of a file holds more than the file, and the user has not agreed to lose that.
class HoldsMore final : public std::exception {
 public:
  explicit HoldsMore(Names names) : names_(std::move(names)) {}

  const Names& names() const { return names_; }
  const char* what() const noexcept override { return "the volume holds more than its file"; }

 private:
  Names names_;
};

std::string sentence(const Path& path, const Names& names) {
  return lastComponent(path) + " also holds " + TavrineError::list({names.begin(), names.end()}) +
         ", saved there while it was unlocked.";
}

class LockRemoval final {
 public:
  LockRemoval(const Run& run, const std::vector<Path>& items) : run_(run), question_(run, items) {}

  ExitCode run(std::vector<Path> items) {
    while (!items.empty()) {
      std::map<Path, Names> open = removeThatAreClear(items);
      items.clear();
      // Asked between two sessions: nobody waits for the support directory while a person thinks. What the next session
      // finds is looked at again.
      for (auto& [path, names] : open) {
        if (isAgreed(path, names)) items.push_back(path);
      }
    }
    return outcome_.exitCode();
  }

 private:
  /// Those that hold more are left as they are and returned.
  std::map<Path, Names> removeThatAreClear(const std::vector<Path>& items) {
    Session session(run_.supportDirectory, run_.console, *run_.interruption.token());
    if (!secret_) secret_ = question_.take(session.locker());
    std::map<Path, Names> open;
    for (const Path& item : items) {
      bool isOpen = false;
      Outcome one;
      ItemLoop(run_, session, one).each({item}, "removing the lock from", [&](const Path& path) {
        try {
          remove(path, session.locker());
        } catch (const HoldsMore& more) {
          open[path] = more.names();
          isOpen = true;
        }
      });
      if (!isOpen) outcome_.add(one.exitCode());
    }
    return open;
  }

  void remove(const Path& path, const Locker& engine) {
    Locker locker = engine;
    locker.afterRestoreCopy = [&](const Path& copy) { requireAgreed(path, copy, locker); };
    const auto record = locker.index.item(path);
    ProgressDisplay display(run_.console, {.name = lastComponent(path),
                                           .folder = path.parent_path(),
                                           .suffix = ".restoring",
                                           .totalBytes = record ? record->contentSize.value_or(0) : 0});
    const Path restored = withPasswordThatOpens(*secret_, [&](const Password& password) {
      return locker.removeLock(path, password, run_.interruption.token(), display.callback());
    });
    display.stop();
    JsonLine json("restored");
    json.addPath("lockedPath", path).addPath("restoredPath", restored);
    run_.console.result(lastComponent(path) + " is an ordinary item again: " + restored.string(), json);
  }

  /// Looks into the volume while it is attached for reading alone, so that nothing can be saved there behind our back:
  /// throwing from here undoes the removal.
  void requireAgreed(const Path& path, const Path& copy, const Locker& locker) const {
    if (run_.request.yes) return;
    // The copy's name is ".tavrine-ID.restoring", the mount point's is ID.
    const std::string id = nameWithoutExtension(copy).substr(std::string_view(".tavrine-").size());
    const Path mount = locker.mountsRoot / id;
    const auto marker = ItemMarker::read(mount);
    const auto record = locker.index.item(path);
    // Not by what the copy is: a file may have been replaced by a folder of its name.
    const auto kind = marker ? marker->kind : record ? record->kind : LockedItem::Kind::folder;
    if (kind == LockedItem::Kind::folder) return;
    Names names;
    for (const std::string& name : namesIn(mount)) {
      if (!VolumeLayout::housekeeping().contains(name)) names.insert(name);
    }
    names.erase(Locker::itemName(marker, record, path));
    const auto agreed = agreed_.find(path);
    if (!names.empty() && (agreed == agreed_.end() || agreed->second != names)) throw HoldsMore(names);
  }

  bool isAgreed(const Path& path, const Names& names) {
    const std::string question =
        sentence(path, names) + " Removing the lock deletes that. Remove the lock all the same?";
    if (confirm(question, run_.interruption.stop())) {
      agreed_[path] = names;
      return true;
    }
    const Failure refusal{ExitCode::failed, "holdsMore",
                          sentence(path, names) + " Unlock it and move that elsewhere first. The item is locked."};
    const bool isCancelled = run_.interruption.token()->isCancelled();
    const Failure failure = isCancelled ? failureOf(TavrineError::cancelled()) : refusal;
    run_.console.failure(path, failure);
    outcome_.add(failure.code);
    return false;
  }

  const Run& run_;
  SecretQuestion question_;
  std::optional<StoredSecret> secret_;
  std::map<Path, Names> agreed_;
  Outcome outcome_;
};

}  // namespace

ExitCode runRemoveLock(const Run& run) {
  const std::vector<Path> items = itemPaths(run.request.paths, LastLink::isFollowed);
  return LockRemoval(run, items).run(items);
}

}  // namespace tavrine
