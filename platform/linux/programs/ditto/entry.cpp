#include "platform/linux/programs/ditto/entry.h"

#include <fcntl.h>

#include <vector>

#include "platform/linux/programs/ditto/folder.h"

namespace tavrine {

int Entry::sourceFolder() const {
  return folder ? folder->source() : AT_FDCWD;
}

int Entry::destinationFolder() const {
  return folder ? folder->destination() : AT_FDCWD;
}

bool Entry::mayInherit() const {
  return !folder || !folder->isNew();
}

std::string Entry::path(Side side) const {
  const Entry* top = this;
  while (top->folder) top = &top->folder->entry();
  const std::string& start = side == Side::source ? top->sourceName : top->destinationName;
  if (top == this) return start;
  return start + (start.ends_with('/') ? "" : "/") + pathInTree();
}

std::string Entry::pathInTree() const {
  std::vector<const std::string*> names;
  for (const Entry* entry = this; entry->folder; entry = &entry->folder->entry()) names.push_back(&entry->sourceName);
  std::string path;
  for (auto name = names.rbegin(); name != names.rend(); ++name) {
    if (!path.empty()) path += '/';
    path += **name;
  }
  return path;
}

}  // namespace tavrine
