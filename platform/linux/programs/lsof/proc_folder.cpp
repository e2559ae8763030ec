#include "platform/linux/programs/lsof/proc_folder.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <climits>
#include <system_error>

#include "platform/linux/directory_stream.h"

namespace tavrine {
namespace {

/// For returning after a failed call: nothing where the process has ended or belongs to somebody else.
std::nullopt_t outOfReach(const std::string& name) {
  switch (errno) {
    case ENOENT:
    case ESRCH:
    case EACCES:
    case EPERM:
      return std::nullopt;
    default:
      throw std::system_error(errno, std::generic_category(), "cannot read " + name + " of /proc");
  }
}

}  // namespace

std::optional<ProcFolder> ProcFolder::openAt(int parent, const std::string& name) {
  FileDescriptor fd(::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.isOpen()) return outOfReach(name);
  return ProcFolder(std::move(fd));
}

std::optional<ProcFolder> ProcFolder::open(const std::string& path) {
  return openAt(AT_FDCWD, path);
}

std::optional<ProcFolder> ProcFolder::folder(const std::string& name) const {
  return openAt(fd_.get(), name);
}

std::optional<std::string> ProcFolder::content(const std::string& name) const {
  const FileDescriptor file(::openat(fd_.get(), name.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) return outOfReach(name);
  std::string text;
  std::array<char, 16'384> chunk;
  for (;;) {
    const ssize_t count = ::read(file.get(), chunk.data(), chunk.size());
    if (count == 0) return text;
    if (count > 0) {
      text.append(chunk.data(), static_cast<size_t>(count));
    } else if (errno != EINTR) {
      return outOfReach(name);
    }
  }
}

std::optional<std::string> ProcFolder::link(const std::string& name) const {
  std::array<char, PATH_MAX> text;
  const ssize_t length = ::readlinkat(fd_.get(), name.c_str(), text.data(), text.size());
  if (length >= 0) return std::string(text.data(), static_cast<size_t>(length));
  if (errno == ENAMETOOLONG) return std::nullopt;
  return outOfReach(name);
}

std::optional<struct stat> ProcFolder::statusThrough(const std::string& name) const {
  struct stat status {};
  if (::fstatat(fd_.get(), name.c_str(), &status, 0) != 0) return std::nullopt;
  return status;
}

std::vector<std::string> ProcFolder::names() const {
  const DirectoryStream stream = entriesOf(fd_.get());
  std::vector<std::string> names;
  if (!stream) {
    (void)outOfReach("a folder");
    return names;
  }
  for (;;) {
    errno = 0;
    const dirent* entry = ::readdir(stream.get());  // NOLINT(concurrency-mt-unsafe): the stream is ours alone
    if (entry == nullptr) break;
    if (entry->d_name[0] != '.') names.emplace_back(entry->d_name);
  }
  if (errno != 0) (void)outOfReach("a folder");
  return names;
}

}  // namespace tavrine
