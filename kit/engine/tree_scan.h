#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kit/engine/digest_queue.h"
#include "kit/engine/tree_content.h"
#include "kit/tools/cancel_token.h"
#include "kit/tools/file_walk.h"
#include "platform/paths.h"
#include "platform/tree_reader.h"

namespace tavrine {

/// One tree on its way into a list of its items: one thread walks it and examines each item, several read the files it
/// found. Whatever the threads meet first, the failure kept is the first in the order of the walk, as if one thread had
/// done it all.
class TreeScan final {
 public:
  using Names = std::set<std::string, std::less<>>;
  using Cancel = std::shared_ptr<const CancelToken>;

  struct Options {
    const Names& ignoredAtRoot;
    Cancel cancel;
  };

  /// A failure of `before`, the tree that counts first, makes this one pointless; null for the first.
  TreeScan(const Path& root, const Options& options, const TreeScan* before);
  TreeScan(const TreeScan&) = delete;
  TreeScan& operator=(const TreeScan&) = delete;

  /// Finds all items and puts the files into a lane of the queue, which it closes at last. Throws nothing.
  void walk(DigestQueue& queue, size_t lane);

  /// Reads files that `walk` put into the queue. Throws nothing.
  void readFiles(const DigestQueue::Batch& batch, ContentReader& reader);

  /// Once all threads are done: the items in the order of the walk, or the failure, thrown.
  TreeItems takeItems();

 private:
  static constexpr size_t none = std::numeric_limits<size_t>::max();
  struct Abandoned {};

  void walkTree();
  FileWalk::Next visit(const FileWalk::Entry& entry, size_t prefixLength);
  void examine(const std::string& path, const FileStatus& walked);
  void addFile(const std::string& path, int64_t size);
  void checkListedFolder();
  void flush();
  void abandonWherePointless() const;
  std::string shown(const std::string& path) const;
  void fail(size_t position, std::exception_ptr failure);

  const Path root_;
  const Options options_;
  const TreeScan* const before_;
  DigestQueue* queue_ = nullptr;
  size_t lane_ = 0;
  std::optional<TreeReader> reader_;
  TreeItems items_;
  DigestQueue::Batch batch_;
  int64_t batchBytes_ = 0;
  std::optional<std::string> listedFolder_;  ///< which the walk was about to list
  std::atomic<size_t> failedAt_ = none;      ///< the position of `failure_`
  std::mutex failureMutex_;
  std::exception_ptr failure_;
};

/// What several trees hold, at most two, read at the same time. Throws the first tree's failure before the second's.
std::vector<TreeItems> readTrees(const std::vector<Path>& roots, const TreeScan::Options& options);

}  // namespace tavrine
