#pragma once

#include <sys/stat.h>

#include "platform/linux/file_descriptor.h"
#include "platform/linux/programs/ditto/entry.h"
#include "platform/linux/programs/ditto/hard_links.h"
#include "platform/linux/programs/ditto/messages.h"
#include "platform/linux/programs/ditto/open_item.h"

namespace tavrine {

/// Copies everything but folders: files, links, fifos and devices, each with all it carries. Any thread may use it.
class ItemCopy final {
 public:
  explicit ItemCopy(Messages& messages) : messages_(messages) {}

  /// Names the copy of the tree, an open folder, below which files with several names are linked to one another.
  /// Without it they become files of their own. To be called before the first copy.
  void linkBelow(int tree);

  /// Copies one entry, which must not exist at the destination. A socket is only told about. Throws `CopyError`.
  void copy(const Entry& entry);

 private:
  void copyAlone(const Entry& entry, const struct stat& status);
  void copyFile(const Entry& entry, const struct stat& status);
  void copySpecial(const Entry& entry, const struct stat& status);
  void giveAttributes(const Entry& entry, const OpenItem& from, const OpenItem& to, const struct stat& status);
  bool linkToCopy(const std::string& path, const Entry& entry) const;

  Messages& messages_;
  HardLinks links_;
  FileDescriptor tree_;
};

}  // namespace tavrine
