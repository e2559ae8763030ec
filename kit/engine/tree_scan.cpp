#include "kit/engine/tree_scan.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "kit/errors/tavrine_error.h"

namespace tavrine {
namespace {

/// A batch spares small files the cost of a hand-over each; a large file must not make others wait behind it.
constexpr size_t batchFiles = 32;
constexpr int64_t batchBytes = 1 << 20;

[[noreturn]] void couldNotRead(const std::string& name) {
  throw TavrineError::copyFailed("Could not read " + name);
}

size_t readerCount(size_t trees) {
  const size_t processors = std::max(1U, std::thread::hardware_concurrency());
  return std::max(trees, std::min<size_t>(4, 2 * processors));
}

}  // namespace

TreeScan::TreeScan(const Path& root, const Options& options, const TreeScan* before)
    : root_(withoutSlashAtEnd(root)), options_(options), before_(before) {
  batch_.tree = this;
}

void TreeScan::walk(DigestQueue& queue, size_t lane) {
  queue_ = &queue;
  lane_ = lane;
  try {
    walkTree();
  } catch (const Abandoned&) {
    // A failure that counts is known.
  } catch (const FileWalk::WalkError&) {
    const auto failure = TavrineError::copyFailed("Could not read " + lastComponent(root_));
    fail(items_.size(), std::make_exception_ptr(failure));
  } catch (...) {  // handed on to the caller's thread
    fail(items_.size(), std::current_exception());
  }
  flush();  // what was found before a failure may hold an earlier one
  queue.closeLane();
}

void TreeScan::walkTree() {
  reader_.emplace(root_);
  const FileStatus root = reader_->status("");
  examine("", root);
  if (root.type != FileType::folder) return;
  const size_t prefixLength = root_ == "/" ? 1 : root_.native().size() + 1;
  FileWalk::walk(root_, [&](const FileWalk::Entry& entry) { return visit(entry, prefixLength); });
  checkListedFolder();
  if (!reader_->isStillInPlace()) couldNotRead(shown(""));
}

FileWalk::Next TreeScan::visit(const FileWalk::Entry& entry, size_t prefixLength) {
  abandonWherePointless();
  if (options_.cancel) options_.cancel->check();
  const std::string path = entry.rawPath.substr(prefixLength);
  if (path.find('/') == std::string::npos && options_.ignoredAtRoot.contains(path)) {
    return FileWalk::Next::skipDescendants;
  }
  if (entry.problem) couldNotRead(shown(path));
  checkListedFolder();
  examine(path, entry.info);
  return FileWalk::Next::descend;
}

void TreeScan::examine(const std::string& path, const FileStatus& walked) {
  const FileType expected = walked.type;
  if (expected == FileType::regular) return addFile(path, walked.size);
  TreeReader::Item item = reader_->examine(path);
  if (item.status.type != expected) couldNotRead(shown(path));
  if (expected == FileType::symbolicLink) {
    items_.push_back({path, LinkContent{std::move(item.linkTarget)}});
  } else if (expected == FileType::folder) {
    if (!item.canBeEntered) couldNotRead(shown(path));
    if (!path.empty()) items_.push_back({path, FolderContent{}});
    listedFolder_ = path;
  } else {
    items_.push_back({path, SpecialContent{expected}});
  }
}

/// The walk lists folders by their paths. Had a link taken a folder's place in that moment, the walk would have listed
/// what the link leads to; items in it cannot be opened, but an empty folder would look like an emptied one.
void TreeScan::checkListedFolder() {
  if (!listedFolder_) return;
  if (reader_->status(*listedFolder_).type != FileType::folder) couldNotRead(shown(*listedFolder_));
  listedFolder_.reset();
}

void TreeScan::addFile(const std::string& path, int64_t size) {
  items_.push_back({path, FileContent{}});
  batch_.jobs.push_back({&items_.back(), items_.size() - 1});
  batchBytes_ += size;
  if (batch_.jobs.size() >= batchFiles || batchBytes_ >= batchBytes) flush();
}

void TreeScan::flush() {
  if (batch_.jobs.empty()) return;
  queue_->add(lane_, std::exchange(batch_, {this, {}}));
  batchBytes_ = 0;
}

void TreeScan::readFiles(const DigestQueue::Batch& batch, ContentReader& reader) {
  for (const auto& [item, position] : batch.jobs) {
    if (position > failedAt_ || (before_ != nullptr && before_->failedAt_ != none)) return;
    try {
      if (options_.cancel && !item->path.empty()) options_.cancel->check();
      item->content = reader.read(*reader_, item->path, shown(item->path));
    } catch (...) {  // handed on to the caller's thread
      fail(position, std::current_exception());
    }
  }
}

void TreeScan::abandonWherePointless() const {
  if (failedAt_ != none || (before_ != nullptr && before_->failedAt_ != none)) throw Abandoned();
}

std::string TreeScan::shown(const std::string& path) const {
  return path.empty() ? lastComponent(root_) : path;
}

void TreeScan::fail(size_t position, std::exception_ptr failure) {
  const std::lock_guard lock(failureMutex_);
  if (position >= failedAt_) return;
  failedAt_ = position;
  failure_ = std::move(failure);
}

TreeItems TreeScan::takeItems() {
  if (failure_) std::rethrow_exception(failure_);
  return std::move(items_);
}

std::vector<TreeItems> readTrees(const std::vector<Path>& roots, const TreeScan::Options& options) {
  std::deque<TreeScan> scans;
  for (const Path& root : roots) scans.emplace_back(root, options, scans.empty() ? nullptr : &scans.back());
  std::deque<ContentReader> readers;
  while (readers.size() < readerCount(scans.size())) readers.emplace_back(options.cancel);
  DigestQueue queue(scans.size());
  std::vector<std::jthread> threads;
  try {
    for (size_t lane = 0; lane < scans.size(); ++lane) {
      threads.emplace_back([&scan = scans[lane], &queue, lane] { scan.walk(queue, lane); });
    }
    for (size_t index = 0; index < readers.size(); ++index) {
      threads.emplace_back([&reader = readers[index], &queue, lane = index % DigestQueue::laneCount] {
        while (const auto batch = queue.take(lane)) batch->tree->readFiles(*batch, reader);
      });
    }
  } catch (...) {  // no thread was to be had: those that run must end before the failure may go on
    queue.abandon();
    throw;
  }
  threads.clear();
  std::vector<TreeItems> trees;
  for (TreeScan& scan : scans) trees.push_back(scan.takeItems());
  return trees;
}

}  // namespace tavrine
