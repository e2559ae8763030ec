#include "app/tree_size.h"

#include <system_error>

#include "kit/tools/file_walk.h"
#include "platform/file_items.h"

namespace tavrine {
namespace {

struct Stopped {};

}  // namespace

TreeSize treeSize(const Path& place, const std::function<bool()>& isStopped) {
  TreeSize size;
  try {
    const FileStatus status = statusOf(place);
    if (status.type != FileType::folder) return {status.size, 1};
    FileWalk::walk(place, [&](const FileWalk::Entry& entry) {
      if (isStopped()) throw Stopped();
      if (entry.problem) return FileWalk::Next::descend;
      ++size.items;
      if (entry.info.type == FileType::regular) size.bytes += entry.info.size;
      return FileWalk::Next::descend;
    });
  } catch (const Stopped&) {
  } catch (const std::system_error&) {  // it grows and goes while we look
  } catch (const FileWalk::WalkError&) {
  }
  return size;
}

}  // namespace tavrine
