#include "kit/tools/file_walk.h"

#include "platform/file_tree.h"
#include "platform/text.h"

namespace tavrine {
namespace {

using Visit = FileTree::Visit;

bool isProblem(const FileTree::Step& step) {
  return step.visit == Visit::unreadableFolder || step.visit == Visit::noStatus;
}

FileWalk::Entry entryOf(const FileTree::Step& step, size_t prefixLength) {
  FileWalk::Entry entry;
  entry.relativePath = repairedUtf8(step.path.substr(prefixLength));
  entry.info = step.status;
  entry.isDirectory = step.visit == Visit::folder || step.visit == Visit::unreadableFolder;
  if (isProblem(step)) entry.problem = step.error;
  entry.rawPath = step.path;
  return entry;
}

}  // namespace

FileWalk::WalkError::WalkError(std::string path, int32_t code)
    : path_(std::move(path)), code_(code), message_("Could not read " + repairedUtf8(lastComponent(path_)) + ".") {}

std::string FileWalk::Entry::name() const {
  const size_t slash = relativePath.rfind('/');
  return slash == std::string::npos ? relativePath : relativePath.substr(slash + 1);
}

void FileWalk::walk(const Path& root, const Visitor& visitor) {
  const std::string rootPath = withoutSlashAtEnd(root).string();
  const size_t prefixLength = rootPath == "/" ? 1 : rootPath.size() + 1;
  FileTree tree(rootPath);
  while (const auto step = tree.next()) {
    if (step->visit == Visit::folderAgain) continue;
    if (step->isRoot && isProblem(*step)) throw WalkError(rootPath, step->error);
    if (step->isRoot) continue;
    const Next next = visitor(entryOf(*step, prefixLength));
    if (next == Next::skipDescendants && step->visit == Visit::folder) tree.skipContents();
  }
}

std::vector<std::string> FileWalk::relativePaths(const Path& root) {
  std::vector<std::string> paths;
  walk(root, [&paths](const Entry& entry) {
    paths.push_back(entry.relativePath);
    return Next::descend;
  });
  return paths;
}

}  // namespace tavrine
