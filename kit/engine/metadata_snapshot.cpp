#include "kit/engine/locker.h"
#include "kit/tools/file_walk.h"
#include "platform/tree_reader.h"

namespace tavrine {

Locker::MetadataSnapshot Locker::metadataSnapshot(const Path& root) {
  const Path rootPath = withoutSlashAtEnd(root);
  const TreeReader reader(rootPath);
  MetadataSnapshot snapshot;
  const auto record = [&](const std::string& path) {
    const FileStatus status = reader.status(path);
    snapshot.insert_or_assign(path, EntryMetadata{status.type, status.size, status.modified});
    return status.type;
  };
  if (record("") != FileType::folder) return snapshot;
  const size_t prefixLength = rootPath == "/" ? 1 : rootPath.native().size() + 1;
  FileWalk::walk(rootPath, [&](const FileWalk::Entry& entry) {
    record(entry.rawPath.substr(prefixLength));
    return FileWalk::Next::descend;
  });
  return snapshot;
}

}  // namespace tavrine
