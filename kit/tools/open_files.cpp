#include "kit/tools/open_files.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <system_error>

#include "kit/tools/process_runner.h"
#include "platform/process.h"
#include "platform/system.h"
#include "platform/text.h"

namespace tavrine {
namespace {

/// The number that `text` is as a whole, else 0.
int32_t processNumber(std::string_view text) {
  const char* const end = text.data() + text.size();
  const bool hasPlus = text.size() > 1 && text[0] == '+' && text[1] != '-';
  int32_t number = 0;
  const auto [rest, error] = std::from_chars(text.data() + (hasPlus ? 1 : 0), end, number);
  return error == std::errc() && rest == end ? number : 0;
}

/// Puts the lister's lines together to holders.
class FieldReader final {
 public:
  void read(std::string_view line) {
    if (line.empty()) return;
    const std::string_view rest = line.substr(1);
    switch (line.front()) {
      case 'p':
        beginProcess(processNumber(rest));
        break;
      case 'c':
        commands_.try_emplace(current_, rest);
        break;
      case 'a':
        writers_[current_] |= rest == "w" || rest == "u";
        break;
      default:
        break;
    }
  }

  std::vector<OpenFiles::Holder> holders() const {
    std::vector<OpenFiles::Holder> holders;
    for (const int32_t pid : order_) {
      const auto command = commands_.find(pid);
      holders.push_back({command == commands_.end() ? "" : command->second, writers_.at(pid), pid});
    }
    return holders;
  }

 private:
  void beginProcess(int32_t pid) {
    current_ = pid;
    if (!seen_.insert(pid).second) return;
    writers_[pid] = false;
    order_.push_back(pid);
  }

  int32_t current_ = 0;
  std::map<int32_t, std::string> commands_;
  std::map<int32_t, bool> writers_;
  std::set<int32_t> seen_;
  std::vector<int32_t> order_;
};

template <typename Predicate>
std::vector<std::string> namesInFirstSeenOrder(const std::vector<OpenFiles::Holder>& holders, Predicate isWanted) {
  std::vector<std::string> names;
  for (const OpenFiles::Holder& holder : holders) {
    if (!isWanted(holder) || std::find(names.begin(), names.end(), holder.command) != names.end()) continue;
    names.push_back(holder.command);
  }
  return names;
}

bool isAllowed(const OpenFiles::Holder& holder) {
  return OpenFiles::autoEjectAllowlist().contains(holder.command);
}

bool isTrusted(const std::optional<std::string>& path) {
  const auto& roots = OpenFiles::trustedExecutableRoots;
  return path &&
         std::any_of(roots.begin(), roots.end(), [&](std::string_view root) { return path->starts_with(root); });
}

}  // namespace

const std::set<std::string, std::less<>>& OpenFiles::autoEjectAllowlist() {
  static const std::set<std::string, std::less<>> names = {
      "QuickLookUIService", "QuickLookSatellite", "quicklookd",     "com.apple.quicklook.ThumbnailsA", "mds",
      "mds_stores",         "mdworker",           "mdworker_shared"};
  return names;
}

Path OpenFiles::lsofPath() {
  return toolPath("lsof");
}

OpenFiles::Holders OpenFiles::holders(const Path& path, double timeoutSeconds, const Path& lsofPath) {
  std::error_code error;  // what cannot be looked at is not there, as far as the lister could tell
  const auto status = std::filesystem::status(path, error);
  if (!std::filesystem::exists(status)) return Holders::known({});
  std::vector<std::string> arguments = {"-F", "pcfa"};
  if (std::filesystem::is_directory(status)) arguments.emplace_back("+D");
  arguments.push_back(withoutSlashAtEnd(path).string());
  try {
    const ProcessResult result = ProcessRunner::run(lsofPath, arguments, {.timeoutSeconds = timeoutSeconds});
    return classify(result.status, result.timedOut, result.output);
  } catch (const std::system_error&) {
    return Holders::unknown();
  }
}

std::vector<std::string> OpenFiles::appNames(const Path& path, double timeoutSeconds) {
  return writerNames(holders(path, timeoutSeconds, lsofPath()));
}

OpenFiles::Holders OpenFiles::classify(int32_t status, bool timedOut, std::string_view output) {
  if (timedOut) return Holders::unknown();
  const bool isSilent = output.find_first_not_of(" \t\r\n\v\f") == std::string_view::npos;
  if (status != 0 && isSilent) return Holders::unknown();
  return Holders::known(parse(output));  // a lister that could not examine everything still tells what it found
}

std::vector<OpenFiles::Holder> OpenFiles::parse(std::string_view output) {
  FieldReader reader;
  while (!output.empty()) {
    const size_t end = std::min(output.find('\n'), output.size());
    reader.read(output.substr(0, end));
    output.remove_prefix(std::min(end + 1, output.size()));
  }
  return reader.holders();
}

std::vector<std::string> OpenFiles::writerNames(const Holders& holders) {
  if (holders.list() == nullptr) return {};
  return namesInFirstSeenOrder(*holders.list(), [](const Holder& holder) { return holder.isWriter; });
}

std::vector<std::string> OpenFiles::blockingNames(const Holders& holders) {
  if (holders.list() == nullptr) return {};
  std::vector<std::string> writers = writerNames(holders);
  if (!writers.empty()) return writers;
  return namesInFirstSeenOrder(*holders.list(), [](const Holder& holder) { return !isAllowed(holder); });
}

bool OpenFiles::safeToAutoEject(const Holders& holders, const ExecutablePath& executablePath) {
  if (holders.list() == nullptr || holders.list()->empty()) return false;  // what keeps it busy is not explained
  return std::all_of(holders.list()->begin(), holders.list()->end(), [&](const Holder& holder) {
    return !holder.isWriter && isAllowed(holder) && isTrusted(executablePath(holder.pid));
  });
}

std::optional<std::string> OpenFiles::executablePath(int32_t pid) {
  const auto path = executableOfProcess(pid);
  if (!path) return std::nullopt;
  return repairedUtf8(path->string());
}

}  // namespace tavrine
