#include "platform/linux/programs/lsof/process_scan.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <map>
#include <system_error>

#include "platform/linux/programs/lsof/command_name.h"

namespace tavrine {
namespace {

constexpr std::string_view deletedMark = " (deleted)";

/// The words of `line`, of which the last takes the rest of it.
template <size_t count>
std::array<std::string_view, count> words(std::string_view line) {
  std::array<std::string_view, count> found;
  for (size_t i = 0; i < count; ++i) {
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    const size_t end = i + 1 == count ? line.size() : std::min(line.find(' '), line.size());
    found[i] = line.substr(0, end);
    line.remove_prefix(end);
  }
  return found;
}

/// The value of "key:<tab>value" in the text of /proc/PID/fdinfo/N; empty where an old kernel does not give it.
std::string_view infoValue(std::string_view info, std::string_view key) {
  const size_t start = info.starts_with(key) ? 0 : info.find("\n" + std::string(key));
  if (start == std::string_view::npos) return {};
  info.remove_prefix(info.find(':', start) + 1);
  info = info.substr(0, info.find('\n'));
  info.remove_prefix(std::min(info.find_first_not_of(" \t"), info.size()));
  return info;
}

char accessOf(std::string_view octalFlags) {
  unsigned flags = 0;
  (void)std::from_chars(octalFlags.data(), octalFlags.data() + octalFlags.size(), flags,
                        8);  // the kernel writes no other text
  if ((flags & O_PATH) != 0) return ' ';
  switch (flags & O_ACCMODE) {
    case O_RDONLY:
      return 'r';
    case O_WRONLY:
      return 'w';
    default:
      return 'u';
  }
}

/// Looks through one process.
class ProcessScan final {
 public:
  ProcessScan(const ProcFolder& process, const Target& target, const std::vector<std::string>& places)
      : process_(process), target_(target), places_(places) {}

  std::vector<HeldFile> heldFiles() {
    addIfHeld("cwd");
    addIfHeld("root");
    addIfHeld("exe");
    addMappedFiles();
    addDescriptors();
    return std::move(files_);
  }

 private:
  void addIfHeld(const std::string& link) {
    const auto path = process_.link(link);
    if (!path || !isHeld(process_, link, *path)) return;
    files_.push_back({link == "root" ? "rtd" : link == "exe" ? "txt" : link});
    if (link == "exe") program_ = *path;
  }

  /// Whether the link `name` of `folder`, which reads `path`, leads to something of the target.
  bool isHeld(const ProcFolder& folder, const std::string& name, const std::string& path) const {
    const Target::Match match = target_.match(path, places_);
    if (match == Target::Match::below) return true;
    if (match == Target::Match::itself && !path.ends_with(deletedMark)) return true;
    if (match == Target::Match::none) return false;
    // The mark says that the file is gone, and then it is not what has this path now; or it is part of the file's name.
    const auto status = folder.statusThrough(name);
    return status && target_.isFile(*status);
  }

  void addDescriptors() {
    const auto descriptors = process_.folder("fd");
    const auto infos = process_.folder("fdinfo");
    if (!descriptors || !infos) return;
    for (const std::string& name : descriptors->names()) {
      const auto path = descriptors->link(name);
      if (!path) continue;
      const bool held = isHeld(*descriptors, name, *path);
      if (!held && !target_.hasOtherNames()) continue;
      const auto info = infos->content(name);
      if (!info) continue;
      if (held || isSameFile(*descriptors, name, *info)) files_.push_back({name, accessOf(infoValue(*info, "flags"))});
    }
  }

  /// Whether the descriptor is open on the target by another of its names. The numbers that the kernel tells are
  /// compared first, so that no file system but the target's is asked, which might not answer.
  bool isSameFile(const ProcFolder& descriptors, const std::string& name, std::string_view info) const {
    const std::string_view inode = infoValue(info, "ino");
    if (!inode.empty() && !target_.isInode(inode)) return false;
    const auto status = descriptors.statusThrough(name);
    return status && target_.isFile(*status);
  }

  void addMappedFiles() {
    const auto maps = process_.content("maps");
    if (!maps) return;
    std::map<std::string, bool> writableByPath;
    for (std::string_view rest = *maps; !rest.empty();) {
      const size_t end = std::min(rest.find('\n'), rest.size());
      addMapping(rest.substr(0, end), writableByPath);
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    for (const auto& [path, isWritable] : writableByPath) {
      // The program that runs is listed as such, unless it is also being changed.
      if (path != program_ || isWritable) files_.push_back({"mem", isWritable ? 'u' : ' '});
    }
  }

  /// A line of /proc/PID/maps: "RANGE rwxp OFFSET DEVICE INODE   PATH".
  void addMapping(std::string_view line, std::map<std::string, bool>& writableByPath) const {
    const auto [range, permissions, offset, device, inode, path] = words<6>(line);
    if (inode.empty() || inode == "0") return;
    const std::string text = mappedPath(range, path);
    const Target::Match match = target_.match(text, places_);
    const bool isHeld =
        match == Target::Match::below || (match == Target::Match::itself && !text.ends_with(deletedMark));
    if (!isHeld && !target_.isFile(device, inode)) return;
    bool& isWritable = writableByPath[text];
    isWritable = isWritable || (permissions.size() == 4 && permissions[1] == 'w' && permissions[3] == 's');
  }

  /// A line break of the name stands in the line as \012, and so do these four characters: the link of the range tells
  /// them apart.
  std::string mappedPath(std::string_view range, std::string_view path) const {
    if (path.find("\\012") == std::string_view::npos) return std::string(path);
    const auto exact = process_.link("map_files/" + std::string(range));
    return exact ? *exact : std::string(path);
  }

  const ProcFolder& process_;
  const Target& target_;
  const std::vector<std::string>& places_;
  std::vector<HeldFile> files_;
  std::string program_;
};

/// The part of the process that holds its files: another thread where the first one has ended before the others.
std::optional<ProcFolder> livingPart(const ProcFolder& process) {
  const auto tasks =
      process.content("stat").value_or("").find(") Z ") == std::string::npos ? std::nullopt : process.folder("task");
  if (tasks) {
    for (const std::string& thread : tasks->names()) {
      auto task = tasks->folder(thread);
      if (task && task->link("ns/mnt")) return task;
    }
  }
  return process.folder(".");
}

std::string commandOf(const ProcFolder& process, const ProcFolder& living) {
  std::string kernelName = process.content("comm").value_or("");
  if (kernelName.ends_with('\n')) kernelName.pop_back();
  return commandName(kernelName, living.link("exe").value_or(""));
}

std::optional<Holder> holderAt(const ProcFolder& process, Target& target) {
  const auto living = livingPart(process);
  if (!living) return std::nullopt;
  const auto* places = target.placesSeenBy(*living);
  if (places == nullptr) return std::nullopt;
  auto files = ProcessScan(*living, target, *places).heldFiles();
  if (files.empty()) return std::nullopt;
  return Holder{0, commandOf(process, *living), std::move(files)};
}

std::vector<int> processNumbers(const ProcFolder& proc) {
  std::vector<int> numbers;
  for (const std::string& name : proc.names()) {
    int number = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
    if (error == std::errc() && *end == '\0') numbers.push_back(number);
  }
  std::sort(numbers.begin(), numbers.end());
  return numbers;
}

}  // namespace

std::vector<Holder> holdersOf(Target& target) {
  const auto proc = ProcFolder::open("/proc");
  if (!proc) throw std::system_error(errno, std::generic_category(), "/proc");
  std::vector<Holder> holders;
  for (const int pid : processNumbers(*proc)) {
    if (pid == ::getpid()) continue;
    const auto process = proc->folder(std::to_string(pid));
    if (!process) continue;
    auto holder = holderAt(*process, target);
    if (!holder) continue;
    holder->pid = pid;
    holders.push_back(*std::move(holder));
  }
  return holders;
}

}  // namespace tavrine
