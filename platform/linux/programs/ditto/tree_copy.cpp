#include "platform/linux/programs/ditto/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/linux/programs/ditto/attributes.h"
#include "platform/linux/programs/ditto/open_item.h"

namespace tavrine {
namespace {

/// Folders open at a time, two descriptors each. The walk's own chain must leave room for folders whose work goes on
/// behind it, or it would wait for itself.
constexpr ptrdiff_t openFolders = 64;
constexpr size_t openChain = 32;

/// More than there are processors, since most of a copy is waiting; the many small files of a tree gain most.
size_t threadCount() {
  return std::clamp(size_t{std::thread::hardware_concurrency()} * 2, size_t{4}, size_t{8});
}

bool isFolder(const Entry& entry) {
  struct stat status {};
  if (::fstatat(entry.sourceFolder(), entry.sourceName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) fail(Side::source);
  return S_ISDIR(status.st_mode);
}

}  // namespace

TreeCopy::TreeCopy(Messages& messages)
    : messages_(messages),
      slots_(openFolders),
      items_(messages),
      queue_(threadCount(), [this](Entry entry) { work(std::move(entry)); }) {}

TreeCopy::~TreeCopy() {
  // From the inside: a folder holds the one around it, and a deep chain freed from the outside would nest as deep.
  while (!chain_.empty()) chain_.pop_back();
}

void TreeCopy::run(const Path& source, const Path& destination) {
  const Entry top{nullptr, source.string(), destination.string()};
  try {
    if (!isFolder(top)) return items_.copy(top);
    enter(top);
    items_.linkBelow(chain_.front()->destination());
  } catch (const CopyError& error) {
    return report(top, error);
  }
  walk();
  queue_.waitUntilIdle();
}

void TreeCopy::walk() {
  while (!chain_.empty() && !isStopped_) {
    if (const auto listed = next()) {
      visit(*listed);
    } else {
      leave();
    }
  }
}

std::optional<Listed> TreeCopy::next() {
  try {
    return chain_.back()->next();
  } catch (const CopyError& error) {
    report(chain_.back()->entry(), error);
    return std::nullopt;
  }
}

void TreeCopy::visit(const Listed& listed) {
  Entry entry{chain_.back(), listed.name, listed.name};
  try {
    if (listed.isFolder ? *listed.isFolder : isFolder(entry)) return enter(entry);
    entry.folder->addWork();
    queue_.push(std::move(entry));
  } catch (const CopyError& error) {
    report(entry, error);
  }
}

void TreeCopy::enter(const Entry& entry) {
  makeRoom();
  chain_.push_back(Folder::open(entry, slots_, chain_.empty() ? nullptr : chain_.front().get()));
  if (entry.folder) entry.folder->addWork();
}

void TreeCopy::makeRoom() {
  if (chain_.size() - suspended_ < openChain) return;
  queue_.waitUntilIdle();  // nobody uses the descriptors any more
  Folder& outermost = *chain_[suspended_];
  try {
    outermost.suspend();
  } catch (const CopyError& error) {
    report(outermost.entry(), error);
    outermost.close();
  }
  ++suspended_;
}

void TreeCopy::leave() {
  std::shared_ptr<Folder> folder = std::move(chain_.back());
  chain_.pop_back();
  if (!chain_.empty() && chain_.size() == suspended_) {
    try {
      chain_.back()->resume(*folder);
      --suspended_;
    } catch (const CopyError& error) {
      report(chain_.back()->entry(), error);
      isStopped_ = true;  // there is no way back to what is left
    }
  }
  endWork(std::move(folder));
}

void TreeCopy::work(Entry entry) {
  try {
    if (!isStopped_) items_.copy(entry);
  } catch (const CopyError& error) {
    report(entry, error);
  }
  endWork(std::move(entry.folder));
}

void TreeCopy::endWork(std::shared_ptr<Folder> folder) {
  while (folder && folder->endWork()) {
    complete(*folder);
    folder = folder->entry().folder;
  }
}

void TreeCopy::complete(Folder& folder) {
  try {
    struct stat now {};
    if (::fstat(folder.source(), &now) != 0) fail(Side::source);
    if (isChanged(folder.status(), now)) failChanged();
    if (folder.isNew() && !isStopped_) giveAttributes(folder);
  } catch (const CopyError& error) {
    report(folder.entry(), error);
  }
  folder.close();
}

void TreeCopy::giveAttributes(const Folder& folder) {
  const std::string_view notice =
      copyAttributes(OpenItem::opened(folder.source()), OpenItem::opened(folder.destination()), folder.status());
  if (!notice.empty()) messages_.notice(folder.entry().path(Side::destination), notice);
}

void TreeCopy::report(const Entry& entry, const CopyError& error) {
  if (error.concernsAll() && isStopped_.exchange(true)) return;  // it was told once
  messages_.error(entry.path(error.side()), error.what());
}

}  // namespace tavrine
