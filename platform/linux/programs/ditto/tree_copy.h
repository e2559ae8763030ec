#pragma once

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

#include "platform/linux/programs/ditto/folder.h"
#include "platform/linux/programs/ditto/item_copy.h"
#include "platform/linux/programs/ditto/messages.h"
#include "platform/linux/programs/ditto/work_queue.h"
#include "platform/paths.h"

namespace tavrine {

/// Copies one tree. The calling thread walks the folders and makes their copies; other threads copy what is in them,
/// and whoever ends the last work below a folder gives the copy its attributes. However large the tree, only so many
/// entries wait and only so many folders are open at a time.
class TreeCopy final {
 public:
  explicit TreeCopy(Messages& messages);
  TreeCopy(const TreeCopy&) = delete;
  TreeCopy& operator=(const TreeCopy&) = delete;
  ~TreeCopy();

  /// Copies `source` to `destination`, once. What goes wrong is told to the messages, and the rest is copied all the
  /// same, unless nothing more can be written.
  void run(const Path& source, const Path& destination);

 private:
  void walk();
  std::optional<Listed> next();
  void visit(const Listed& listed);
  void enter(const Entry& entry);
  void leave();
  void makeRoom();
  void work(Entry entry);
  void endWork(std::shared_ptr<Folder> folder);
  void complete(Folder& folder);
  void giveAttributes(const Folder& folder);
  void report(const Entry& entry, const CopyError& error);

  Messages& messages_;
  std::atomic<bool> isStopped_ = false;
  Folder::Slots slots_;
  ItemCopy items_;
  std::vector<std::shared_ptr<Folder>> chain_;  ///< from the top to the folder the walk is in
  size_t suspended_ = 0;                        ///< how many of them, from the top, are suspended
  WorkQueue queue_;                             ///< last: its threads use the others
};

}  // namespace tavrine
