#include "kit/tools/disk_image_tool.h"

#include <algorithm>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "kit/errors/tavrine_error.h"
#include "platform/path_text.h"
#include "platform/property_list.h"

namespace tavrine {
namespace {

constexpr const char* passwordOnInput = "-stdinpass";
constexpr const char* quietly = "-quiet";
constexpr int32_t busyStatus = 16;
constexpr int detachRuns = 3;
constexpr std::chrono::microseconds detachPause(500'000);
constexpr double holdersTimeoutSeconds = 10;

std::string argument(const Path& path) {
  return withoutSlashAtEnd(path).string();
}

bool contains(const ProcessResult& result, std::string_view text) {
  return result.output.find(text) != std::string::npos;
}

bool isBusy(const ProcessResult& result) {
  return result.status == busyStatus || contains(result, "Resource busy");
}

void require(const ProcessResult& result) {
  if (result.status != 0) throw TavrineError::diskImage(DiskImageTool::clean(result.output));
}

void requireOpened(const ProcessResult& result) {
  if (result.status != 0 && contains(result, "Authentication error")) throw TavrineError::wrongPassword();
  require(result);
}

/// Both passwords, each with a NUL behind it, for a `Password` to wipe: nothing of them was left behind by a growing
/// text.
std::string oldAndNew(const Password& from, const Password& to) {
  std::string bytes;
  bytes.reserve(from.text().size() + to.text().size() + 2);
  bytes.append(from.text()).push_back('\0');
  bytes.append(to.text()).push_back('\0');
  return bytes;
}

/// The dictionaries that `value` lists; none where it is anything but a list of dictionaries alone.
const PropertyList::List& dictionaries(const PropertyList* value) {
  static const PropertyList::List none;
  if (value == nullptr || value->list() == nullptr) return none;
  for (const PropertyList& element : *value->list()) {
    if (element.dictionary() == nullptr) return none;
  }
  return *value->list();
}

std::optional<Path> pathMember(const PropertyList& dictionary, std::string_view key) {
  const PropertyList* value = dictionary.member(key);
  if (value == nullptr || value->text() == nullptr) return std::nullopt;
  return Path(pathFromText(*value->text()));
}

void addVolumes(std::vector<AttachedImage>& volumes, const PropertyList& image) {
  const auto path = pathMember(image, "image-path");
  if (!path) return;
  for (const PropertyList& entity : dictionaries(image.member("system-entities"))) {
    if (const auto mountPoint = pathMember(entity, "mount-point"))
      volumes.push_back({canonicalPath(*path), *mountPoint});
  }
}

/// The property list in the tool's answer, which may begin with notices.
PropertyList answeredList(std::string_view output) {
  const size_t start = output.find("<?xml");
  auto list = start == std::string_view::npos ? std::nullopt : PropertyList::parse(output.substr(start));
  if (!list || list->dictionary() == nullptr) throw TavrineError::diskImage("Could not list mounted disk images.");
  return *std::move(list);
}

std::string withoutPrefixes(std::string_view line) {
  constexpr std::string_view prefix = "hdiutil: ";
  std::string rest;
  for (size_t found = 0; (found = line.find(prefix)) != std::string_view::npos;) {
    rest += line.substr(0, found);
    line.remove_prefix(found + prefix.size());
  }
  return rest += line;
}

std::string trimmed(const std::string& text) {
  constexpr const char* blanks = " \t";
  const size_t first = text.find_first_not_of(blanks);
  return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace

void DiskImageTool::sleepFor(std::chrono::microseconds time) {
  std::this_thread::sleep_for(time);
}

ProcessResult DiskImageTool::run(const std::vector<std::string>& arguments, const Password* input) const {
  ProcessOptions options;
  if (input != nullptr) options.input = input->text();
  return ProcessRunner::run(hdiutil, arguments, options);
}

void DiskImageTool::create(const Path& image, const std::string& volumeName, const Password& password) const {
  if (pathExtension(image) != "sparsebundle") throw std::invalid_argument("an image is created as a sparsebundle");
  require(run({"create", "-size", std::string(virtualSize), "-type", "SPARSEBUNDLE", "-fs", "APFS", "-encryption",
               "AES-256", passwordOnInput, "-volname", volumeName, quietly, argument(image)},
              &password));
}

void DiskImageTool::attach(const Attachment& attachment) const {
  std::vector<std::string> arguments = {"attach",      passwordOnInput, "-nobrowse",
                                        "-noautoopen", "-mountpoint",   argument(attachment.mountPoint)};
  if (attachment.access == Access::readOnly) arguments.emplace_back("-readonly");
  arguments.push_back(argument(attachment.image));
  requireOpened(run(arguments, &attachment.password));
}

std::vector<std::string> DiskImageTool::detachArguments(const Path& mountPoint, Force force) {
  std::vector<std::string> arguments = {"detach", argument(mountPoint), quietly};
  if (force == Force::yes) arguments.emplace_back("-force");
  return arguments;
}

void DiskImageTool::detach(const Path& mountPoint, Force force) const {
  const std::vector<std::string> arguments = detachArguments(mountPoint, force);
  for (int runs = 1;; ++runs) {
    const ProcessResult result = run(arguments);
    if (!isBusy(result)) return require(result);
    if (runs == detachRuns) break;
    pause(detachPause);
  }
  const OpenFiles::Holders holders = OpenFiles::holders(mountPoint, holdersTimeoutSeconds, lsof);
  if (force == Force::yes || !OpenFiles::safeToAutoEject(holders, executablePath)) {
    throw TavrineError::inUse(OpenFiles::blockingNames(holders));
  }
  forceDetach(mountPoint);
}

void DiskImageTool::forceDetach(const Path& mountPoint) const {
  require(run(detachArguments(mountPoint, Force::yes)));
}

void DiskImageTool::changePassword(const Path& image, const Password& from, const Password& to) const {
  const Password both(oldAndNew(from, to));
  requireOpened(run({"chpass", "-oldstdinpass", "-newstdinpass", argument(image)}, &both));
}

std::vector<AttachedImage> DiskImageTool::attachedImages() const {
  const ProcessResult result = run({"info", "-plist"});
  require(result);
  const PropertyList list = answeredList(result.output);
  std::vector<AttachedImage> volumes;
  for (const PropertyList& image : dictionaries(list.member("images"))) addVolumes(volumes, image);
  return volumes;
}

std::string DiskImageTool::clean(std::string_view text) {
  std::string joined;
  bool isFirst = true;
  for (size_t start = 0; start < text.size();) {
    const size_t end = std::min(text.find('\n', start), text.size());
    if (end > start) {
      if (!std::exchange(isFirst, false)) joined += ' ';
      joined += withoutPrefixes(text.substr(start, end - start));
    }
    start = end + 1;
  }
  return trimmed(joined);
}

}  // namespace tavrine
