#include "platform/linux/programs/hdiutil/served_volume.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "platform/file_manager.h"
#include "platform/linux/mount_table.h"
#include "platform/linux/programs/hdiutil/gocryptfs.h"
#include "platform/uuid.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::string_view tokenStart = "tavrine-";
constexpr int imageDescriptorNumber = 3;
constexpr const char* imageDescriptor = "fd/3";
constexpr const char* removedMark = " (deleted)";  // what the kernel puts behind the path of a folder that is gone

bool isToken(std::string_view text) {
  return text.starts_with(tokenStart) && Uuid::parse(text.substr(tokenStart.size()));
}

std::optional<ServedVolume> servedVolume(const Mount& mount) {
  if (mount.type != volumeType || !isToken(mount.source)) return std::nullopt;
  const std::string owner = mount.superOption("user_id");
  ServedVolume volume{mount.source, mount.mountPoint, 0};
  if (std::from_chars(owner.data(), owner.data() + owner.size(), volume.owner).ec != std::errc()) return std::nullopt;
  return volume;
}

bool isOurs(const ServedVolume& volume) {
  return ::geteuid() == 0 || volume.owner == ::geteuid();
}

Path processFolder(pid_t pid) {
  return Path("/proc") / std::to_string(pid);
}

std::string commandLine(pid_t pid) {
  try {
    return readFile(processFolder(pid) / "cmdline");
  } catch (const fs::filesystem_error&) {
    return {};  // it has ended meanwhile
  }
}

bool isOwnedBy(pid_t pid, uid_t owner) {
  struct stat status {};
  return ::stat(processFolder(pid).c_str(), &status) == 0 && status.st_uid == owner;
}

/// Resolved but for its last part: what is mounted there may be dead, and is not asked.
Path asKernelNames(const Path& mountPoint) {
  return Path(canonicalPath(mountPoint.parent_path())) / mountPoint.filename();
}

/// The words of a command line, each with a NUL behind it.
std::vector<std::string> wordsOf(const std::string& command) {
  std::vector<std::string> words;
  for (size_t start = 0; start < command.size();) {
    const size_t end = std::min(command.find('\0', start), command.size());
    words.push_back(command.substr(start, end - start));
    start = end + 1;
  }
  return words;
}

std::vector<pid_t> allProcesses() {
  std::vector<pid_t> pids;
  std::error_code error;
  for (fs::directory_iterator entry("/proc", error), end; !error && entry != end; entry.increment(error)) {
    const std::string name = entry->path().filename();
    pid_t pid = 0;
    const auto number = std::from_chars(name.data(), name.data() + name.size(), pid);
    if (number.ec == std::errc() && number.ptr == name.data() + name.size()) pids.push_back(pid);
  }
  return pids;
}

}  // namespace

std::string newToken() {
  return std::string(tokenStart) + Uuid::random().text();
}

std::vector<ServedVolume> servedVolumes() {
  std::vector<ServedVolume> volumes;
  for (const Mount& mount : mountTable()) {
    const auto volume = servedVolume(mount);
    if (volume && isOurs(*volume)) volumes.push_back(*volume);
  }
  return volumes;
}

std::optional<ServedVolume> servedVolumeAt(const Path& mountPoint) {
  const Path wanted = asKernelNames(mountPoint);
  const std::vector<Mount> mounts = mountTable();
  const auto top =
      std::find_if(mounts.rbegin(), mounts.rend(), [&](const Mount& mount) { return mount.mountPoint == wanted; });
  return top == mounts.rend() ? std::nullopt : servedVolume(*top);
}

std::optional<ServedVolume> unseenVolumeOf(const Path& mountPoint) {
  const Path wanted = asKernelNames(mountPoint);
  for (const pid_t pid : allProcesses()) {
    const std::string command = commandLine(pid);
    const std::vector<std::string> words = wordsOf(command);
    constexpr size_t tokenPlace = 2;
    if (words.size() <= tokenPlace || words.back() != wanted.string() || !isToken(words[tokenPlace])) continue;
    struct stat status {};
    if (::stat(processFolder(pid).c_str(), &status) != 0) continue;
    const ServedVolume volume{words[tokenPlace], wanted, status.st_uid};
    const bool isServing =
        command.starts_with(serverCommandStart(volume.token)) || command.starts_with(guardCommandStart(volume.token));
    if (isServing && isOurs(volume)) return volume;
  }
  return std::nullopt;
}

std::optional<ServedVolume> servedVolumeOf(const std::string& token) {
  for (const Mount& mount : mountTable()) {
    if (mount.source == token) return servedVolume(mount);
  }
  return std::nullopt;
}

std::string guardCommandStart(const std::string& token) {
  using namespace std::string_literals;
  return "hdiutil\0serve\0"s + token + '\0';
}

ServingProcesses::ServingProcesses(const ServedVolume& volume) {
  const std::string server = serverCommandStart(volume.token);
  const std::string guard = guardCommandStart(volume.token);
  for (const pid_t pid : allProcesses()) {
    // Held before it is looked at: from then on the number cannot come to mean another process.
    ProcessHandle handle(pid);
    if (!handle.isOpen() || !isOwnedBy(pid, volume.owner)) continue;
    const std::string command = commandLine(pid);
    const bool isServer = command.starts_with(server);
    if (isServer || command.starts_with(guard)) processes_.push_back({std::move(handle), isServer});
  }
}

FileDescriptor ServingProcesses::openImage() const {
  for (const Process& process : processes_) {
    // The very descriptor that was opened at the attach has not missed a failed write since; one opened anew may have.
    FileDescriptor held = process.handle.descriptor(imageDescriptorNumber);
    if (held.isOpen()) return held;
    const Path path = processFolder(process.handle.pid()) / imageDescriptor;
    FileDescriptor image(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (image.isOpen()) return image;
  }
  return {};
}

std::optional<Path> ServingProcesses::imagePath() const {
  const FileDescriptor image = openImage();
  if (!image.isOpen()) return std::nullopt;
  std::error_code error;
  const Path path = fs::read_symlink(Path("/proc/self/fd") / std::to_string(image.get()), error);
  if (error) return std::nullopt;
  struct stat status {};
  const bool isRemoved = ::fstat(image.get(), &status) == 0 && status.st_nlink == 0;
  return isRemoved ? Path(path.string().substr(0, path.string().rfind(removedMark))) : path;
}

bool ServingProcesses::waitForEnd(milliseconds limit) const {
  const auto deadline = steady_clock::now() + limit;
  return std::all_of(processes_.begin(), processes_.end(), [deadline](const Process& process) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - steady_clock::now());
    return process.handle.hasEnded(std::max(left, milliseconds::zero()));
  });
}

void ServingProcesses::killServer() const {
  for (const Process& process : processes_) {
    if (process.isServer) process.handle.killBetweenCalls();
  }
}

}  // namespace tavrine
